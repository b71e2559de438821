#include "limes/signals/nd_signal.h"

#include "limes/signals/curve_array.h"
#include "limes/signals/pair_signal.h"
#include "tests/support/curves.h"
#include "tests/support/hostile.h"
#include "tests/support/messages.h"

namespace limes::test {
namespace {

std::string Rows(const CSigNDBase& table) {
  Exact rows;
  for (std::uint32_t i = 0; i < table.xdim(); ++i) {
    rows.Fields(table[i]);
  }
  return rows.text;
}

CSigNDBase Table() {
  CSigNDBase table(2, 3);
  table.setRow(0, Floats{1, 2, 3});
  table.setRow(1, Floats{4, NAN, -6});
  return table;
}

const CDimDescription kHertz(CMeasuringUnit(commonUnits::hertz), u"f", 1.0F, 3.0F, 1.0F);

TEST(NDSignal, DescriptionsCompareExactly) {
  const CMeasuringUnit hertz(commonUnits::hertz);
  EXPECT_EQ(CDimDescription(hertz, u"f", 1, 3, 1), kHertz);
  EXPECT_NE(CDimDescription(hertz, u"f", 1, 3, std::nextafter(1.0F, 2.0F)), kHertz);
  EXPECT_NE(CDimDescription(hertz, u"F", 1, 3, 1), kHertz);
  EXPECT_NE(CDimDescription(CMeasuringUnit(commonUnits::rpm), u"f", 1, 3, 1), kHertz);
}

TEST(NDSignal, ValuesInsideAndOutside) {
  CSigNDBase table = Table();
  EXPECT_SHOWN("inside -6 outside nan nan", "inside", table.getVal(1, 2), "outside",
               table.getVal(2, 0), table.getVal(0, 3));
  EXPECT_FALSE(table.setVal(0, 3, 1.0F) || table.setRow(0, Floats{1, 2}) ||
               table.setCol(3, Floats{1, 2}));
  EXPECT_TRUE(table.setCol(0, Floats{7, 8}));
  EXPECT_EQ(Rows(table), "{7 2 3} {8 nan -6}");
  EXPECT_SHOWN("{7 8} {} 0", table.col(0), table.col(9), table == table) << "not with a NaN";

  float lo = 99.0F;
  float hi = 99.0F;
  EXPECT_SHOWN("0 0 99", table.range(2, lo, hi), table.defRange(0, lo, hi), lo);
  EXPECT_SHOWN("1 -6 8", table.range(1, lo, hi), lo, hi);
  table.describe(0, kHertz);
  EXPECT_SHOWN("1 3 1", table.defRange(0, lo, hi), hi, table.step(0) - table.step(1));
  EXPECT_TRUE(CSigNDBase(65536, 65536).empty()) << "more values than can be counted";
}

TEST(NDSignal, JoinsAndSlices) {
  CSigNDBase table = Table();
  EXPECT_FALSE(table.append(Floats{1, 2}) || table.append(Floats{}));
  EXPECT_TRUE(table.append(Floats{7, 8, 9}, kHertz));
  EXPECT_TRUE(table.describe(2) == kHertz && table.describe(0) == CDimDescription());
  const CSigNDBase part = table.slice({2, 0, 2});
  EXPECT_EQ(Rows(part), "{7 8 9} {1 2 3} {7 8 9}");
  EXPECT_SHOWN("1 1", part.describe(0) == kHertz, table.slice({0, 3}).empty());

  CSigNDBase other = Table();
  EXPECT_TRUE(!other.append(table) && other.append(Table()) && other.append(other));
  EXPECT_EQ(Rows(other), "{1 2 3 1 2 3 1 2 3 1 2 3} {4 nan -6 4 nan -6 4 nan -6 4 nan -6}");
  other.describe(0, kHertz);
  CSigNDBase empty;
  EXPECT_FALSE(other.append(Table())) << "other descriptions";
  EXPECT_TRUE(empty.append(Floats{1, 2}) && empty.ydim() == 2);
}

TEST(NDSignal, DescriptionsMayBeThereBeforeTheirRows) {
  CSigNDBase table;
  table.describe().push_back(kHertz);
  table.describe().push_back(CDimDescription());
  EXPECT_TRUE(table.append(Floats{1, 2}) && table.append(table[0], kHertz));
  EXPECT_SHOWN("{1 2} {1 2} of 2", Rows(table), "of", table.describe().size());
  EXPECT_TRUE(table.describe(0) == kHertz && table.describe(1) == kHertz);
}

TEST(NDSignal, WhatIsMovedIsEmpty) {
  CSigND table;
  table.append(Floats{1, 2}, kHertz);
  CSigND second = std::move(table);
  CSigND third;
  third = std::move(second);
  EXPECT_SHOWN("{1 2}", Rows(third));
  for (const CSigND* const moved : {&table, &second}) {
    EXPECT_TRUE(moved->xdim() == 0 && moved->ydim() == 0 && moved->describe().empty());
  }
}

TEST(NDSignal, RowsCostTheirValuesOnly) {
  CSigNDBase table;
  const Floats row(64, 1.0F);
  const float* values = nullptr;
  int moves = 0;
  for (int i = 0; i < 4096; ++i) {
    ASSERT_TRUE(table.append(row));
    moves += std::exchange(values, table[0].data()) != values ? 1 : 0;
  }
  EXPECT_LT(moves, 16);
}

// ---- Signals

TEST(NDSignal, OfCurvesAndBack) {
  auto a = MakeCurve<CSigCurveExt>({1, 2, 3, 4}, 10, 18);
  a.SetXUnit(u"Hz");
  a.SetYUnit(u"Pa");
  a.SetName(u"left");
  const auto b = MakeCurve<CSigCurveExt>({5, 6, 7}, 10, 16);
  const std::vector<const CSigCurve*> curves{&a, nullptr, &b};
  CSigND table(curves);
  EXPECT_EQ(Rows(table), "{10 12 14} {1 2 3} {5 6 7}") << "as long as the shortest";
  EXPECT_SHOWN("Hz Pa", table.describe(0).Unit().mainunit(), table.describe(1).Unit().mainunit());

  const CSigCurveArray array = table.SigCurveArray();
  ASSERT_EQ(array.Anzahl(), 2);
  EXPECT_SHOWN("{5 6 7} 10 16 3, valid 10 16 0 2 1", State(*array[1]), array.TPos(1));
  const CSigPairs pairs = table.SigPairs(0, 2);
  EXPECT_SHOWN("{10 12 14} {5 6 7} 0", Floats(pairs.Punkte(), pairs.PunkteEnd()),
               Floats(pairs.Werte(), pairs.WerteEnd()), table.SigPairs(0, 9).NPaare());
  EXPECT_SHOWN("1 0", table.setRow(2, pairs.Punkte()), table.setRow(3, pairs.Werte()));
  EXPECT_EQ(Rows(table), "{10 12 14} {1 2 3} {10 12 14}");

  const std::vector<const CSigPairs*> signals{&pairs};
  EXPECT_EQ(Rows(CSigND(signals)), "{10 12 14} {5 6 7}");
  table.setVal(0, 1, 12.1F);
  EXPECT_EQ(table.SigCurveArray().Anzahl(), 0) << "no equal steps";
}

TEST(NDSignal, DifferingAxesAreTold) {
  const Messages messages;
  const auto a = MakeRamp(4);
  const auto b = MakeRamp(5);
  const std::vector<const CSigCurve*> curves{&a, &b, &a};
  CSigPairs short1;
  short1.NeuesPaar(0, 1);
  CSigPairs short2;
  short2.NeuesPaar(1, 1);
  const std::vector<const CSigPairs*> runs{&short1, &short2, &short1};
  EXPECT_SHOWN("3 3 0", CDimDescriptionVec(curves).size(), CDimDescriptionVec(runs).size(),
               CDimDescriptionVec(std::span<const CSigCurve* const>()).size());
  EXPECT_EQ(std::count(messages.printed.begin(), messages.printed.end(), '\n'), 2);
}

// ---- File records

TEST(NDSignalRecord, OfATableWithoutDescriptions) {
  CSigNDBase table(2, 2);
  table.setRow(1, Floats{1, -2});
  const Bytes record = Written(table, kWrite);
  EXPECT_EQ(record, Golden("nd_table_v0.bin"));
  ExpectHostileSafe(table);
  for (const std::size_t at : {4U, 8U, 16U, 20U}) {  // sizes and counts that contradict each other
    Bytes changed = record;
    changed[at] = changed[at + 3] = 0xFF;
    CSigNDBase read = table;
    EXPECT_FALSE(ReadBlock(read, changed, kRead)) << at;
    EXPECT_EQ(read, table) << "nothing changed";
  }
}

TEST(NDSignalRecord, KeepsEndingAtTheFirstText) {
  CMemoryStream one;
  EXPECT_SHOWN("0 4", kHertz.WriteToFile(one), one.Bytes().size());
  one.Seek(0);
  EXPECT_FALSE(CDimDescription().ReadFromFile(one));

  CSigND table;
  table.append(Floats{1, 2}, kHertz);
  CMemoryStream file;
  EXPECT_FALSE(table.WriteToFile(file));
  EXPECT_EQ(Written(table, kWrite), Golden("nd_described_v0.bin")) << "no count, but values";
  CSigND plain;
  plain.append(Floats{1, 2});
  CMemoryStream texts;
  EXPECT_SHOWN("0 32", plain.WriteToFile(texts), texts.Bytes().size()) << "the table, no texts";
  texts.Seek(0);
  EXPECT_SHOWN("0 2", plain.ReadFromFile(texts), plain.ydim());

  CSightSeeing settings;
  settings.SetDims({1, 2, 3});
  EXPECT_EQ(Written(settings, kWrite), Golden("nd_settings_v0.bin"));
  ExpectHostileSafe(settings);
}

}  // namespace
}  // namespace limes::test
