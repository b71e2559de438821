#include "limes/signals/signal_lists.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "limes/signals/extended_curve.h"
#include "limes/signals/pair_signal.h"
#include "tests/support/curves.h"
#include "tests/support/hostile.h"

namespace limes {
namespace {

std::unique_ptr<CSigCurveExt> Named(std::u16string name, float date = 0.0F) {
  auto curve = std::make_unique<CSigCurveExt>(test::MakeCurve<CSigCurveExt>({1, 2, 3}));
  curve->SetName(name);
  curve->Date(date);
  return curve;
}

std::u16string Names(const CSigCurveList& list) {
  std::u16string names;
  for (const auto& curve : list) {
    names += curve->Name();
  }
  return names;
}

CClavis Key(int mode, int channel) { return {mode, -1, channel, -1, -1, -1}; }

TEST(SignalLists, OwnFindAndSort) {
  CSigCurveList list;
  list.Add(Named(u"b", 3), Key(1, 1));
  list.Add(Named(u"c", std::nanf("")), Key(0, 2));
  list.Add(Named(u"a", 1), Key(1, 0));
  list.Add(Named(u"b", 2));
  EXPECT_EQ(list.Add(nullptr), nullptr);
  EXPECT_EQ(list.Anzahl(), 4);
  EXPECT_EQ(list[4], nullptr);
  EXPECT_EQ(list[-1], nullptr);
  EXPECT_EQ(list.Find(u"b", 1), 3);
  EXPECT_EQ(list.Find(u"B"), -1);
  EXPECT_EQ(list.FindKey(Key(1, -1), 1), 2);
  EXPECT_EQ(list.FindKey(Key(7, -1)), -1);

  CSigCurveList copy = list;
  EXPECT_NE(copy[0], list[0]) << "copies own their signals";
  copy.SortByName();
  EXPECT_EQ(Names(copy), u"abbc");
  EXPECT_EQ(copy[1]->Date(), 3.0F) << "equal ones keep their order";
  EXPECT_EQ(copy.Key(0), Key(1, 0)) << "keys go along";
  list.SortByDate();
  EXPECT_EQ(Names(list), u"abbc");
  EXPECT_EQ(list[1]->Date(), 2.0F);
  list.SortByKey();
  EXPECT_EQ(list.Key(0), CClavis());
  EXPECT_EQ(Names(list), u"bcab");
  EXPECT_EQ(list.Detach(0)->Name(), std::u16string(u"b"));
  EXPECT_EQ(list.Detach(9), nullptr);
  EXPECT_EQ(Names(list), u"cab");

  CSigPairsList pairs;
  for (const int number : {5, 3, 5}) {
    pairs.Add(std::make_unique<CSigPairs>())->Nummer() = number;
  }
  EXPECT_EQ(pairs.FindNummer(5, 1), 2);
  pairs.SortByNummer();
  EXPECT_EQ(pairs[0]->Nummer(), 3);
}

TEST(SignalLists, RecordsAreBounded) {
  // A unit registered by its text has no text in the record, so it does not come back.
  const auto write = [](const CSigCurveList& list, CFileStream& file) {
    const CSigCurveList copy = list;
    for (const auto& curve : copy) {
      curve->ClearUnits();
    }
    return copy.WriteToFile(file);
  };
  const auto read = [](CSigCurveList& list, CFileStream& file) { return list.ReadFromFile(file); };
  CSigCurveList list;
  list.Add(Named(u"gear"));
  list.Add(Named(u"axle"));
  test::ExpectHostileSafe(test::Written(list, write), [] { return CSigCurveList(); }, read, write,
                          {.exact = false});
  const test::Bytes many{0xFF, 0xFF, 0xFF, 0xFF, 1, 2, 3};
  EXPECT_FALSE(test::ReadBlock(list, many, read));
  EXPECT_EQ(Names(list), u"gearaxle") << "nothing changed";
}

TEST(SignalLists, CollectionsFindByPattern) {
  CSigCurveCollection part;
  const CQuinterMFC names[] = {{u"up", u"1", u"gear", u"", u"", u""},
                               {u"down", u"1", u"axle", u"", u"", u""}};
  for (int i = 0; i < 2; ++i) {
    auto curve = Named(i == 0 ? u"a" : u"b");
    curve->SetQuinter(names[i]);
    part.List(Key(i, 1)).Add(std::move(curve));
  }
  part.List(Key(0, 1)).Add(Named(u"nameless"));
  EXPECT_EQ(part.Anzahl(), 3);
  EXPECT_EQ(part.Find(Key(-1, 1)).size(), 2U);
  EXPECT_EQ(part.Find(Key(1, -1)).size(), 1U);
  EXPECT_EQ(part.FindList(Key(-1, 1)), nullptr) << "a pattern is no key";
  const CQuinterMFC first(u"*", u"1", u"*", u"*", u"*", u"*");
  EXPECT_EQ(part.Find(first).size(), 2U);
  const CQuinterMFC gear(u"*", u"*", u"gear", u"*", u"*", u"*");
  ASSERT_EQ(part.Find(gear).size(), 1U);
  EXPECT_EQ(part.Find(gear)[0]->Name(), std::u16string(u"a"));

  CSigCurveCollection other;
  other.List(Key(0, 1)).Add(Named(u"c"));
  other.List(Key(5, 5)).Add(Named(u"d"));
  part.Merge(std::move(other));
  EXPECT_EQ(part.Anzahl(), 5);
  EXPECT_EQ(Names(part.List(Key(0, 1))), u"anamelessc");
  part.Clear();
  EXPECT_EQ(part.Anzahl(), 0);
}

}  // namespace
}  // namespace limes
