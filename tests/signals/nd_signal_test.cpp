#include "limes/signals/nd_signal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "limes/platform/file_stream.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/pair_signal.h"
#include "tests/support/curves.h"
#include "tests/support/hostile.h"
#include "tests/support/messages.h"

namespace limes {
namespace {

using Floats = std::vector<float>;

std::string Rows(const CSigNDBase& table) {
  std::string text;
  for (std::uint32_t i = 0; i < table.xdim(); ++i) {
    text += i == 0 ? "" : " ";
    text += test::Exact{table[i]}.text;
  }
  return text;
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
  EXPECT_SHOWN("-6 nan nan 0 0 0 1", table.getVal(1, 2), table.getVal(2, 0), table.getVal(0, 3),
               table.setVal(0, 3, 1.0F), table.setRow(0, Floats{1, 2}),
               table.setCol(3, Floats{1, 2}), table.setCol(0, Floats{7, 8}));
  EXPECT_EQ(Rows(table), "{7 2 3} {8 nan -6}");
  EXPECT_SHOWN("{7 8} {}", table.col(0), table.col(9));
  EXPECT_NE(table, table) << "a NaN is equal to nothing";

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
  EXPECT_SHOWN("0 0 1", table.append(Floats{1, 2}), table.append(Floats{}),
               table.append(Floats{7, 8, 9}, kHertz));
  EXPECT_EQ(table.describe(2), kHertz);
  EXPECT_EQ(table.describe(0), CDimDescription());
  const CSigNDBase part = table.slice({2, 0, 2});
  EXPECT_EQ(Rows(part), "{7 8 9} {1 2 3} {7 8 9}");
  EXPECT_EQ(part.describe(0), kHertz);
  EXPECT_TRUE(table.slice({0, 3}).empty());

  CSigNDBase other = Table();
  EXPECT_FALSE(other.append(table)) << "other rows";
  EXPECT_TRUE(other.append(Table()) && other.append(other));
  EXPECT_EQ(Rows(other), "{1 2 3 1 2 3 1 2 3 1 2 3} {4 nan -6 4 nan -6 4 nan -6 4 nan -6}");
  other.describe(0, kHertz);
  EXPECT_FALSE(other.append(Table())) << "other descriptions";
  CSigNDBase empty;
  EXPECT_SHOWN("1 2", empty.append(Floats{1, 2}), empty.ydim());
}

// ---- Signals

TEST(NDSignal, OfCurvesAndBack) {
  auto a = test::MakeCurve<CSigCurveExt>({1, 2, 3, 4}, 10, 18);
  a.SetXUnit(u"Hz");
  a.SetYUnit(u"Pa");
  a.SetName(u"left");
  const auto b = test::MakeCurve<CSigCurveExt>({5, 6, 7}, 10, 16);
  const std::vector<const CSigCurve*> curves{&a, nullptr, &b};
  CSigND table(curves);
  EXPECT_EQ(Rows(table), "{10 12 14} {1 2 3} {5 6 7}") << "as long as the shortest";
  EXPECT_SHOWN("Hz Pa", table.describe(0).Unit().mainunit(), table.describe(1).Unit().mainunit());

  const CSigCurveArray array = table.SigCurveArray();
  ASSERT_EQ(array.Anzahl(), 2);
  EXPECT_EQ(test::State(*array[1]), "{5 6 7} 10 16 3, valid 10 16 0 2");
  EXPECT_EQ(array.TPos(1), 1.0F);
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
  const test::Messages messages;
  const auto a = test::MakeRamp(4);
  const auto b = test::MakeRamp(5);
  const std::vector<const CSigCurve*> curves{&a, &b, &a};
  EXPECT_EQ(CDimDescriptionVec(curves).size(), 3U);
  CSigPairs short1;
  short1.NeuesPaar(0, 1);
  CSigPairs short2;
  short2.NeuesPaar(1, 1);
  const std::vector<const CSigPairs*> pairs{&short1, &short2, &short1};
  EXPECT_EQ(CDimDescriptionVec(pairs).size(), 3U);
  EXPECT_EQ(std::count(messages.printed.begin(), messages.printed.end(), '\n'), 2);
  EXPECT_TRUE(CDimDescriptionVec(std::span<const CSigCurve* const>()).empty());
}

// ---- File records

constexpr auto kWrite = [](const auto& object, CFileStream& file) {
  return object.WriteToFile(file);
};
constexpr auto kRead = [](auto& object, CFileStream& file) { return object.ReadFromFile(file); };

TEST(NDSignalRecord, OfATableWithoutDescriptions) {
  CSigNDBase table(2, 2);
  table.setRow(1, Floats{1, -2});
  const test::Bytes record = test::Written(table, kWrite);
  EXPECT_EQ(record, test::Golden("nd_table_v0.bin"));
  CSigNDBase read;
  EXPECT_TRUE(test::ReadBlock(read, record, kRead));
  EXPECT_EQ(read, table);
  test::ExpectHostileSafe(
      record, [] { return CSigNDBase(); }, kRead, kWrite);
  for (const std::size_t at : {4U, 8U, 16U, 20U}) {  // sizes and counts that contradict each other
    test::Bytes changed = record;
    changed[at] = changed[at + 3] = 0xFF;
    EXPECT_FALSE(test::ReadBlock(read, changed, kRead)) << at;
    EXPECT_EQ(read, table) << "nothing changed";
  }
}

TEST(NDSignalRecord, KeepsEndingAtTheFirstText) {
  CMemoryStream one;
  EXPECT_FALSE(kHertz.WriteToFile(one));
  EXPECT_EQ(one.Bytes().size(), 4U);
  one.Seek(0);
  CDimDescription read;
  EXPECT_FALSE(read.ReadFromFile(one));

  CSigND table;
  table.append(Floats{1, 2}, kHertz);
  CMemoryStream file;
  EXPECT_FALSE(table.WriteToFile(file));
  EXPECT_EQ(test::Written(table, kWrite), test::Golden("nd_described_v0.bin"))
      << "no count, but values";
  CSigND plain;
  plain.append(Floats{1, 2});
  CMemoryStream texts;
  EXPECT_FALSE(plain.WriteToFile(texts));
  EXPECT_EQ(texts.Bytes().size(), 4U + 8 + 8 + 4 + 8) << "the whole table, no texts";
  texts.Seek(0);
  EXPECT_FALSE(plain.ReadFromFile(texts));
  EXPECT_EQ(plain.ydim(), 2U);

  CSightSeeing settings;
  settings.SetDims({1, 2, 3});
  CSightSeeing again;
  EXPECT_EQ(test::Written(settings, kWrite), test::Golden("nd_settings_v0.bin"));
  EXPECT_TRUE(test::ReadBlock(again, test::Golden("nd_settings_v0.bin"), kRead));
  EXPECT_EQ(again, settings);
}

}  // namespace
}  // namespace limes
