#include "limes/signals/curve.h"

#include <climits>

#include "limes/kernels/compressed_vector.h"
#include "tests/support/curves.h"

namespace limes::test {
namespace {

TEST(Curve, EmptyCurveAnswers) {
  CSigCurve curve;
  EXPECT_EQ(State(curve), "{} 0 1 0");
  float lo = 7;
  float hi = 8;
  int index = 5;
  curve.GetYRange(lo, hi);
  curve.GetYRangeX(lo, hi, 0, 1);
  curve.GetYRangeXI(lo, hi, 0, 0);
  EXPECT_SHOWN("7 8 0 0 0 0 0 5", lo, hi, curve.GetValue(0.5F), curve[0], curve[0.5F],
               curve.GetPoint(3), curve.PointDistance(3, 4, &index), index);
  EXPECT_SHOWN("-1 0 0 0 0 0", curve.GetIndexFromY(0), curve.GetIndex(0.7F),
               curve.GetIndexValidate(0.5F, index), curve.XDelta(), curve.ExtendRange(0, 2),
               curve.CutToGrid(0, 2));
  curve.CutLR(0.2F, 0.8F);
  curve.SetAt(0, 1);
  EXPECT_SHOWN("0 0,0,0,0 79 0.25 0 1", curve.DLen(), curve.YRange(), CSigCurve(4).Size(),
               CSigCurve(4).XDelta(), CSigCurve(-1).XLen(), curve.IsSigCurve());
}

TEST(Curve, IndexTable) {
  const CSigCurve curve = MakeRamp(10);
  const std::tuple<float, int, int> kCases[] = {
      // x, index unclamped and clamped
      {0, 0, 0},           {-0.1F, 0, 0},        {-1, 0, 0},        {-1.4F, 0, 0}, {-1.5F, -1, 0},
      {0.49F, 0, 0},       {0.5F, 1, 1},         {9.4F, 9, 9},      {9.6F, 10, 9}, {10, 10, 9},
      {1e30F, INT_MAX, 9}, {-1e30F, INT_MIN, 0}, {kNaN, INT_MIN, 0}};
  for (const auto& [x, unclamped, clamped] : kCases) {
    int index = 77;
    EXPECT_EQ(std::tuple(curve.GetIndexA(x), curve.GetIndex(x)), std::tuple(unclamped, clamped));
    EXPECT_EQ(curve.GetIndexValidate(x, index), unclamped == clamped) << x;
    EXPECT_EQ(index, unclamped);
  }
  EXPECT_SHOWN("3 4 4 -2", curve.GetIndex(3), curve.GetIndex(3.6), curve.GetPoint(4),
               curve.GetPoint(-2));
  const CSigCurve noSpan = MakeCurve({1, 2, 3}, 5, 5);
  int index = 77;
  EXPECT_SHOWN("0 0 0 77", noSpan.GetIndexA(9), noSpan.GetIndex(9.0F),
               noSpan.GetIndexValidate(5, index), index);
}

TEST(Curve, ValueTable) {
  const CSigCurve curve = MakeCurve({10, 20, 40}, 1, 4);
  const std::pair<float, float> kCases[] = {{-5, 10}, {1, 10},     {1.0009F, 10}, {1.5F, 15},
                                            {2, 20},  {2.75F, 35}, {3, 40},       {3.7F, 40},
                                            {4, 40},  {kInf, 40},  {kNaN, kNaN}};
  for (const auto& [x, expected] : kCases) {
    EXPECT_TRUE(Same(curve.GetValue(x), expected)) << x << ": " << curve.GetValue(x);
    EXPECT_TRUE(Same(curve[x], expected));
  }
  EXPECT_SHOWN("20 40 10", curve[1], curve[std::size_t{9}], curve[-1]) << "the nearest value";
  CSigCurve foreign;
  float word = 5;
  foreign.SetBuffer(&word, 1);
  EXPECT_EQ(foreign.GetValue(0.9F), 5.0F) << "no word behind the last one is read";
}

TEST(Curve, DistanceTable) {
  const CSigCurve curve = MakeCurve({3, 0, 7}, 0, 3);
  const std::tuple<float, float, const char*> kCases[] = {
      // by index, this index, by value
      {-4, 0, "5 0 5"},      {0, 1, "2 0 2"}, {9, 3, "4 2 4"},
      {3, 7, "0 2 0"},       {1, 4, "4 1 4"}, {0.75F, 4, "4.007805 1 3.25"},
      {kNaN, 1, "nan 0 nan"}};
  for (const auto& [x, y, expected] : kCases) {
    int index = -1;
    EXPECT_SHOWN(expected, curve.PointDistance(x, y, &index), index,
                 curve.PointDistance(x, y, nullptr));
  }
}

TEST(Curve, RangesTable) {
  const std::pair<Floats, const char*> kCases[] = {
      // smallest and largest, each with its x
      {{2, 1, 5, 1, 5}, "12,1,14,5"},       // ties take the first
      {{kNaN, 1, 2}, "10,nan,10,nan"},      // a leading NaN sticks
      {{1, kNaN, -2, kNaN}, "15,-2,10,1"},  // other NaN are passed over
      {{0.0F, -0.0F}, "10,0,10,0"},         // the first zero's sign
      {{-0.0F, 0.0F}, "10,-0,10,-0"},      {{0, kInf, -kInf, 0}, "15,-inf,12.5,inf"},
  };
  for (const auto& [values, expected] : kCases) {
    const CSigCurve curve = MakeCurve(values, 10, 20);
    float lo = 0;
    float hi = 0;
    curve.YMinMax(lo, hi);
    const CSignal::Range range = curve.YRange();
    EXPECT_SHOWN(expected, range);
    EXPECT_TRUE(Same(lo, range.first.second) && Same(hi, range.second.second));
  }
  const CSigCurve curve = MakeRamp(10);
  float lo = -9;
  float hi = -9;
  curve.GetYRangeXI(lo, hi, 10, 12);
  curve.GetYRangeXI(lo, hi, 5, 4);
  EXPECT_EQ(lo, -9.0F);
  curve.GetYRangeXI(lo, hi, 7, 4000000000U);
  EXPECT_SHOWN("7 9", lo, hi);
  curve.GetYRangeX(lo, hi, 1.6F, 5);
  EXPECT_SHOWN("2 5 1 1 0 7 -1", lo, hi, curve.IsInRange(10), curve.IsInRange(0),
               curve.IsInRange(kNaN), curve.FindIndexOfY(6.9F, 0.2F), curve.FindIndexOfY(6.9F));
}

TEST(Curve, CutTable) {
  const Cases<CSigCurve> cases = {
      {LIMES_DO(c.CutLeft(1.6F)), "{2 3 4} 1.6 5 3"},
      {LIMES_DO(c.CutLeft(-2)), "{0 1 2 3 4} 0 5 5"},
      {LIMES_DO(c.CutLeft(kNaN)), "{0 1 2 3 4} 0 5 5"},
      {LIMES_DO(c.CutRight(2.2F)), "{0 1 2} 0 2.2 3"},
      {LIMES_DO(c.CutRight(5)), "{0 1 2 3 4} 0 5 5"},
      {LIMES_DO(c.SetXMinMax(-2, 3), c.CutPositive()), "{0 1 2} -2 0 3"},
      {LIMES_DO(c.SetXMinMax(-2, 3), c.CutNegative()), "{2 3 4} 0 3 3"},
      {LIMES_DO(c.CutToGrid(0.7F, 3.2F)), "{1 2 3} 1 4 3"},
      {LIMES_DO(c.CutToGrid(-9, 99)), "{0 1 2 3 4} 0 5 5"},
      {LIMES_DO(c.CutToGrid(3, 2)), "{0 1 2 3 4} 0 5 5"},
      {LIMES_DO(c.CutToGrid(kNaN, 2)), "{0 1 2 3 4} 0 5 5"},
      {LIMES_DO(c.ExtendRange(-1.5F, 6)), "{0 0 0 1 2 3 4 0} -2 6 8"},
      {LIMES_DO(c.ExtendRange(1, 2)), "{0 1 2 3 4} 0 5 5"},
      {LIMES_DO(c.ExtendRange(0, 1e30F)), "{0 1 2 3 4} 0 5 5"},
      {LIMES_DO(c.SetXMinMax(1, 6), c.MirrorX()), "{4 3 2 1 0} -6 -1 5"},
  };
  for (const auto& [operation, state] : cases) {
    CSigCurve curve = MakeRamp(5);
    operation(curve);
    EXPECT_EQ(State(curve), state);
  }
  CSigCurve tenths = MakeCurve(std::vector<float>(8), 0.1F, 0.8F);
  const float step = tenths.XDelta();
  EXPECT_TRUE(tenths.CutToGrid(tenths.GetPoint(1), tenths.GetPoint(6)));
  EXPECT_EQ(tenths.XDelta(), step) << "to the bit";
}

TEST(Curve, ResizeTable) {
  std::tuple<float, float, const char*> cases[] = {
      // range, result and range snapped to the grid; state of 1 2 3 4 5 afterwards
      {1.2F, 3.8F, "1 1 4, {2 3 4} 1 4 3"},
      {-2.5F, 5, "1 -2 5, {0 0 1 2 3 0 0} -2 5 7"},  // loses what is pushed out
      {0, 7, "1 0 7, {1 2 3 4 5 0 0} 0 7 7"},
      {10, 12, "1 10 12, {0 0} 10 12 2"},
      {2.1F, 2.3F, "0 2 2, {1 2 3 4 5} 0 5 5"},
      {4, 1, "0 4 1, {1 2 3 4 5} 0 5 5"},
      {-1e30F, 1e30F, "0 -2147483648 2147483648, {1 2 3 4 5} 0 5 5"},
  };
  for (auto& [a, b, expected] : cases) {
    CSigCurve curve = MakeCurve({1, 2, 3, 4, 5}, 0, 5);
    const int result = curve.Resize(a, b);
    EXPECT_EQ(Exact(result, a, b).text + ", " + State(curve), expected);
  }
  CSigCurve empty;
  empty.SetXMinMax(3, 3);
  float a = 4;
  float b = 13;
  EXPECT_SHOWN("1 9 13", empty.Resize(a, b), empty.DLen(), empty.XMax());
}

TEST(Curve, CopiesAndSizes) {
  CSigCurve source = MakeCurve({1, 2, 3}, 5, 8);
  source.SetScaleFactor(-4);
  source.SetXUnit(u"s");
  CSigCurve target = MakeCurve({9, 9});
  target.MakeSameSize(source);
  EXPECT_SHOWN("{0 0 0} 5 8 3 -0.25 1", State(target), target.InvScaleFactor(),
               target.XUnit().empty());
  target.CopyData(source);
  EXPECT_EQ(ValuesOf(target), ValuesOf(source));
  target.Reset();
  EXPECT_EQ(State(target), "{0 0 0} 0 1 3");
  target.SetScaleFactor(0);
  EXPECT_EQ(target.InvScaleFactor(), 1.0F);

  CSigCurve itself = MakeCurve({1, 2}, 3, 5);
  EXPECT_SHOWN("1 {1 2 1 2} 3 7 4", itself.Append(itself), State(itself));
  float words[2] = {1, 2};
  itself.SetBuffer(words, 2);
  EXPECT_SHOWN("0 7", itself.Append(itself), itself.XMax()) << "foreign words cannot grow";
}

TEST(Curve, FitTable) {
  const CSigCurve curve = MakeCurve({1, 2}, 0, 1);
  EXPECT_FALSE(curve.FitTogether(nullptr));
  const std::tuple<float, float, bool> kCases[] = {
      {0, 1, true}, {0.0001F, 1, false}, {0.00009F, 1, true}, {0, kNaN, false}};
  for (const auto& [xMin, xMax, fits] : kCases) {
    const CSigCurve other = MakeCurve({1, 2}, xMin, xMax);
    EXPECT_EQ(curve.FitTogether(&other), fits) << xMin;
  }
}

TEST(Curve, OwnsItsCoder) {
  CSigCurve curve;
  auto* const coder = new CCompressedVector;
  curve.KompressorAnbinden(coder);
  curve.KompressorAnbinden(coder);
  EXPECT_EQ(curve.Kompressor(), coder);
  curve.KompressorAnbinden(nullptr);
  EXPECT_EQ(curve.Kompressor(), nullptr);
}

TEST(Curve, KeepsIndexFromFirstValueOnlyAndXMaxWhereItWasCut) {
  const CSigCurve three = MakeCurve({1, 2, 3});
  EXPECT_SHOWN("0 -1", three.GetIndexFromY(1), three.GetIndexFromY(2));
  CSigCurve curve = MakeRamp(1000);
  curve.CutRight(500);
  EXPECT_SHOWN("501 0.998004 499.00198", curve.DLen(), curve.XDelta(), curve.GetPoint(500));
}

}  // namespace
}  // namespace limes::test
