#include "limes/signals/signal_lists.h"

#include "limes/signals/pair_signal.h"
#include "tests/support/curves.h"
#include "tests/support/hostile.h"

namespace limes::test {
namespace {

CClavis Key(int a, int b) { return {a, b, -1, -1, -1, -1}; }

template <class Signal>
std::unique_ptr<Signal> Named(const wide_char* name) {
  auto signal = std::make_unique<Signal>();
  signal->SetName(name);
  return signal;
}

std::vector<int> Order(const CSigCurveList& list) {
  std::vector<int> order;
  for (const auto& curve : list) {
    order.push_back(curve->CurveId());
  }
  return order;
}

TEST(SignalLists, SortFindAndHandOver) {
  CSigCurveList list;
  constexpr float kDates[] = {3, kNaN, 1, 3};
  constexpr const wide_char* kNames[] = {u"c", u"b", u"a", u"b"};
  for (int i = 0; i < 4; ++i) {
    list.Add(Named<CSigCurveExt>(kNames[i]), Key(i / 2, 5 - i))->Date(kDates[i]);
    list[i]->CurveId(i);
  }
  EXPECT_SHOWN("1 3 -1", list.Find(u"b"), list.Find(u"b", 2), list.Find(u"B"));
  EXPECT_SHOWN("2 3 -1", list.FindKey(Key(1, -1)), list.FindKey(Key(-1, 2), -9),
               list.FindKey(Key(0, 2)));
  list.SortByName();
  EXPECT_SHOWN("{2 1 3 0} 1,3,-1,-1,-1,-1", Order(list), list.Key(0).Base().value);
  list.SortByDate();
  EXPECT_SHOWN("{2 3 0 1}", Order(list)) << "NaN last, equal ones in order";
  list.SortByKey();
  EXPECT_SHOWN("{1 0 3 2} 1 1 1", Order(list), list.Add(nullptr) == nullptr,
               list.Detach(4) == nullptr, list[-1] == nullptr);
  const CSigCurveList copy = list;
  EXPECT_SHOWN("0 {1 3 2} {1 0 3 2}", list.Detach(1)->CurveId(), Order(list), Order(copy));

  CSigPairsList pairs;
  pairs.Add(Named<CSigPairs>(u"x"))->Nummer() = 7;
  pairs.Add(Named<CSigPairs>(u"y"))->Nummer() = -7;
  EXPECT_EQ(pairs.FindNumber(-7), 1);
  pairs.SortByNumber();
  EXPECT_EQ(pairs.FindNumber(7), 1);
}

TEST(SignalLists, RecordsSurviveHostileBytes) {
  CSigCurveList curves;
  curves.Add(std::make_unique<CSigCurveExt>(MakeCurve<CSigCurveExt>({1, 1}, 2, 4)));
  curves.Add(Named<CSigCurveExt>(u"second"));
  ExpectHostileSafe(curves);
  EXPECT_EQ(Written(curves, kWrite), Golden("curve_list_v2.bin"));
  CSigPairsList pairs;
  pairs.Add(Named<CSigPairs>(u"run"))->NeuesPaar(1, 2);
  ExpectHostileSafe(pairs);
  EXPECT_EQ(Written(pairs, kWrite), Golden("pairs_list_v2.bin"));
}

TEST(SignalLists, CollectionByKeyAndName) {
  CSigCurveCollection part;
  part.List(Key(1, 2)).Add(Named<CSigCurveExt>(u"plain"));
  CQuinterMFC names;
  names.Mode(u"warm");
  part.List(Key(1, 3)).Add(Named<CSigCurveExt>(u"named"))->SetQuinter(names);
  CSigCurveCollection other;
  other.List(Key(1, 3)).Add(Named<CSigCurveExt>(u"merged"), Key(9, 9));
  part.Merge(std::move(other));
  EXPECT_SHOWN("3 1 1", part.Anzahl(), part.FindList(Key(1, 3))->FindKey(Key(9, -1)),
               part.FindList(Key(1, -1)) == nullptr);
  EXPECT_SHOWN("2 1", part.Find(Key(1, -1)).size(), part.Find(Key(-1, 3)).size());
  ASSERT_EQ(part.Find(names).size(), 1U);
  EXPECT_EQ(part.Find(names)[0], (*part.FindList(Key(1, 3)))[0]);
}

}  // namespace
}  // namespace limes::test
