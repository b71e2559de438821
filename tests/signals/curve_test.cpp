#include "limes/signals/curve.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <memory>

#include "limes/core/object_archive.h"
#include "limes/kernels/compressed_vector.h"
#include "tests/support/bits.h"
#include "tests/support/curves.h"

namespace limes {
namespace {

using test::MakeCurve;
using test::MakeRamp;
using test::ValuesOf;
using Floats = std::vector<float>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

TEST(Curve, StartsWithDefaults) {
  const CSigCurve empty;
  EXPECT_TRUE(empty.IsSigCurve());
  EXPECT_EQ(empty.XMin(), 0.0F);
  EXPECT_EQ(empty.XMax(), 1.0F);
  EXPECT_EQ(empty.ScaleFactor(), 1.0F);
  EXPECT_EQ(empty.Kompressor(), nullptr);
  const CSigCurve four(4);
  EXPECT_EQ(ValuesOf(four), Floats(4, 0.0F));
  EXPECT_EQ(four.XLen(), 4U);
  EXPECT_EQ(four.Size(), 16U + 63U);
  EXPECT_EQ(four.XDelta(), 0.25F);
  EXPECT_EQ(CSigCurve(-1).XLen(), 0U);
}

TEST(Curve, EmptyCurveAnswers) {
  CSigCurve curve;
  float lo = 7;
  float hi = 8;
  int index = 5;
  curve.GetYRange(lo, hi);
  curve.GetYRangeX(lo, hi, 0, 1);
  curve.GetYRangeXI(lo, hi, 0, 0);
  EXPECT_EQ(lo, 7.0F);
  EXPECT_EQ(hi, 8.0F);
  EXPECT_EQ(curve.GetValue(0.5F), 0.0F);
  EXPECT_EQ(curve[0], 0.0F);
  EXPECT_EQ(curve[0.5F], 0.0F);
  EXPECT_EQ(curve.GetPoint(3), 0.0F);
  EXPECT_EQ(curve.PointDistance(3, 4, &index), 0.0F);
  EXPECT_EQ(index, 5);
  EXPECT_EQ(curve.YRange(), CSignal::Range());
  EXPECT_EQ(curve.GetIndexFromY(0), -1);
  EXPECT_EQ(curve.GetIndex(0.7F), 0);
  EXPECT_FALSE(curve.GetIndexValidate(0.5F, index));
  EXPECT_EQ(curve.XDelta(), 0.0F);
  EXPECT_FALSE(curve.ExtendRange(0, 2));
  EXPECT_FALSE(curve.CutToGrid(0, 2));
  curve.CutLR(0.2F, 0.8F);
  curve.SetAt(0, 1);
  EXPECT_EQ(curve.DLen(), 0U);
}

TEST(Curve, IndexTable) {
  const CSigCurve curve = MakeRamp(10);
  const struct {
    float x;
    int unclamped;
    int clamped;
  } kCases[] = {{0, 0, 0},         {-0.1F, 0, 0}, {-1, 0, 0},          {-1.4F, 0, 0},
                {-1.5F, -1, 0},    {0.49F, 0, 0}, {0.5F, 1, 1},        {9.4F, 9, 9},
                {9.6F, 10, 9},     {10, 10, 9},   {1e30F, INT_MAX, 9}, {-1e30F, INT_MIN, 0},
                {kNaN, INT_MIN, 0}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.x);
    int index = 77;
    EXPECT_EQ(curve.GetIndexA(c.x), c.unclamped);
    EXPECT_EQ(curve.GetIndex(c.x), c.clamped);
    EXPECT_EQ(curve.GetIndexValidate(c.x, index), c.unclamped == c.clamped);
    EXPECT_EQ(index, c.unclamped);
  }
  EXPECT_EQ(curve.GetIndex(3), 3);
  EXPECT_EQ(curve.GetIndex(3.6), 4);
  EXPECT_EQ(curve.GetPoint(4), 4.0F);
  EXPECT_EQ(curve.GetPoint(-2), -2.0F);
}

TEST(Curve, NoXSpanHasIndexZero) {
  CSigCurve curve = MakeCurve({1, 2, 3}, 5, 5);
  int index = 77;
  EXPECT_EQ(curve.GetIndexA(9), 0);
  EXPECT_EQ(curve.GetIndex(9.0F), 0);
  EXPECT_FALSE(curve.GetIndexValidate(5, index));
  EXPECT_EQ(index, 77);
}

TEST(Curve, ValueTable) {
  const CSigCurve curve = MakeCurve({10, 20, 40}, 1, 4);
  const struct {
    const char* name;
    float x;
    float expected;
  } kCases[] = {
      {"left", -5, 10},      {"start", 1, 10},        {"within a thousandth", 1.0009F, 10},
      {"between", 1.5F, 15}, {"grid point", 2, 20},   {"second part", 2.75F, 35},
      {"last point", 3, 40}, {"last step", 3.7F, 40}, {"end", 4, 40},
      {"right", kInf, 40},   {"NaN", kNaN, kNaN}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    EXPECT_TRUE(test::Same(curve.GetValue(c.x), c.expected)) << curve.GetValue(c.x);
    EXPECT_TRUE(test::Same(curve[c.x], c.expected));
  }
  EXPECT_EQ(curve[1], 20.0F);
  EXPECT_EQ(curve[std::size_t{9}], 40.0F) << "the nearest value";
  EXPECT_EQ(curve[-1], 10.0F);
}

TEST(Curve, ValuesStayInsideForAnyRange) {
  for (const float xMax : {-3.0F, 1.0F, 1e38F, -1e38F, kInf, kNaN}) {
    for (const float x : {-2.5F, 0.0F, 1.0F, 1e38F, -kInf, kNaN}) {
      const CSigCurve curve = MakeCurve({1, 2, 3}, 1, xMax);
      const float value = curve.GetValue(x);
      EXPECT_TRUE(std::isnan(value) || std::isfinite(value) || !std::isfinite(xMax) ||
                  std::fabs(xMax) > 1e37F)
          << value;
    }
  }
  CSigCurve foreign;
  float word = 5;
  foreign.SetBuffer(&word, 1);
  EXPECT_EQ(foreign.GetValue(0.9F), 5.0F) << "no word behind the last one is read";
}

TEST(Curve, DistanceTable) {
  const CSigCurve curve = MakeCurve({3, 0, 7}, 0, 3);
  constexpr int kNone = -1;
  const struct {
    float x, y;
    float byIndex, byValue;
    int index;
  } kCases[] = {{-4, 0, 5, 5, 0},        {0, 1, 2, 2, 0}, {9, 3, 4, 4, 2},
                {3, 7, 0, 0, 2},         {1, 4, 4, 4, 1}, {0.75F, 4, std::sqrt(16.0625F), 3.25F, 1},
                {kNaN, 1, kNaN, kNaN, 0}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.x);
    int index = kNone;
    EXPECT_TRUE(test::Same(curve.PointDistance(c.x, c.y, &index), c.byIndex));
    EXPECT_EQ(index, c.index);
    EXPECT_TRUE(test::Same(curve.PointDistance(c.x, c.y, nullptr), c.byValue));
  }
}

TEST(Curve, RangesTable) {
  const struct {
    const char* name;
    Floats values;
    float lo, hi;
    int iLo, iHi;
  } kCases[] = {
      {"ties take the first", {2, 1, 5, 1, 5}, 1, 5, 1, 2},
      {"leading NaN sticks", {kNaN, 1, 2}, kNaN, kNaN, 0, 0},
      {"other NaN are passed over", {1, kNaN, -2, kNaN}, -2, 1, 2, 0},
      {"first zero's sign", {0.0F, -0.0F}, 0.0F, 0.0F, 0, 0},
      {"first zero's sign, negative", {-0.0F, 0.0F}, -0.0F, -0.0F, 0, 0},
      {"infinities", {0, kInf, -kInf}, -kInf, kInf, 2, 1},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    const CSigCurve curve = MakeCurve(c.values, 10, 20);
    float lo = 0;
    float hi = 0;
    curve.YMinMax(lo, hi);
    EXPECT_TRUE(test::Same(lo, c.lo) && test::Same(hi, c.hi)) << lo << " " << hi;
    const CSignal::Range range = curve.YRange();
    EXPECT_EQ(range.first.first, curve.GetPoint(c.iLo));
    EXPECT_EQ(range.second.first, curve.GetPoint(c.iHi));
    EXPECT_TRUE(test::Same(range.first.second, c.lo) && test::Same(range.second.second, c.hi));
  }
  const CSigCurve curve = MakeRamp(10);
  float lo = -9;
  float hi = -9;
  curve.GetYRangeXI(lo, hi, 10, 12);
  curve.GetYRangeXI(lo, hi, 5, 4);
  EXPECT_EQ(lo, -9.0F);
  curve.GetYRangeXI(lo, hi, 7, 4000000000U);
  EXPECT_TRUE(lo == 7 && hi == 9);
  curve.GetYRangeX(lo, hi, 1.6F, 5);
  EXPECT_TRUE(lo == 2 && hi == 5);
  EXPECT_TRUE(curve.IsInRange(10) && curve.IsInRange(0) && !curve.IsInRange(kNaN));
  EXPECT_EQ(curve.FindIndexOfY(6.9F, 0.2F), 7);
  EXPECT_EQ(curve.FindIndexOfY(6.9F), -1);
}

TEST(Curve, CutTable) {
  struct Result {
    Floats values;
    float xMin, xMax;
  };
  const auto cut = [](auto operation) {
    CSigCurve curve = MakeRamp(5);
    operation(curve);
    EXPECT_EQ(curve.XLen(), curve.DLen());
    return curve;
  };
  const struct {
    const char* name;
    CSigCurve curve;
    Result expected;
  } kCases[] = {
      {"left", cut(LIMES_DO(c.CutLeft(1.6F))), {{2, 3, 4}, 1.6F, 5}},
      {"left of all", cut(LIMES_DO(c.CutLeft(-2))), {{0, 1, 2, 3, 4}, 0, 5}},
      {"left by NaN", cut(LIMES_DO(c.CutLeft(kNaN))), {{0, 1, 2, 3, 4}, 0, 5}},
      {"right", cut(LIMES_DO(c.CutRight(2.2F))), {{0, 1, 2}, 0, 2.2F}},
      {"right of all", cut(LIMES_DO(c.CutRight(5))), {{0, 1, 2, 3, 4}, 0, 5}},
      {"both", cut(LIMES_DO(c.CutLR(1, 3))), {{1, 2, 3}, 1, 3}},
      {"positive", cut(LIMES_DO(c.SetXMinMax(-2, 3), c.CutPositive())), {{0, 1, 2}, -2, 0}},
      {"negative", cut(LIMES_DO(c.SetXMinMax(-2, 3), c.CutNegative())), {{2, 3, 4}, 0, 3}},
      {"grid", cut(LIMES_DO(c.CutToGrid(0.7F, 3.2F))), {{1, 2, 3}, 1, 4}},
      {"grid clamps", cut(LIMES_DO(c.CutToGrid(-9, 99))), {{0, 1, 2, 3, 4}, 0, 5}},
      {"grid empty", cut(LIMES_DO(c.CutToGrid(3, 2))), {{0, 1, 2, 3, 4}, 0, 5}},
      {"grid NaN", cut(LIMES_DO(c.CutToGrid(kNaN, 2))), {{0, 1, 2, 3, 4}, 0, 5}},
      {"extend", cut(LIMES_DO(c.ExtendRange(-1.5F, 6))), {{0, 0, 0, 1, 2, 3, 4, 0}, -2, 6}},
      {"extend inside", cut(LIMES_DO(c.ExtendRange(1, 2))), {{0, 1, 2, 3, 4}, 0, 5}},
      {"extend too far", cut(LIMES_DO(c.ExtendRange(0, 1e30F))), {{0, 1, 2, 3, 4}, 0, 5}},
      {"mirror", cut(LIMES_DO(c.SetXMinMax(1, 6), c.MirrorX())), {{4, 3, 2, 1, 0}, -6, -1}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(ValuesOf(c.curve), c.expected.values);
    EXPECT_EQ(c.curve.XMin(), c.expected.xMin);
    EXPECT_EQ(c.curve.XMax(), c.expected.xMax);
  }
}

TEST(Curve, CutToGridKeepsTheStep) {
  std::mt19937 random(5);
  int exact = 0;
  for (int i = 0; i < 500; ++i) {
    CSigCurve curve(1000);
    curve.SetXMinMax(test::RandomFloat(random, 0), 0);
    curve.SetXMinMax(curve.XMin(), curve.XMin() + std::fabs(test::RandomFloat(random, 0)) + 1);
    const float step = curve.XDelta();
    const int first = static_cast<int>(random() % 500);
    ASSERT_TRUE(curve.CutToGrid(curve.GetPoint(first), curve.GetPoint(first + 300)));
    exact += curve.XDelta() == step ? 1 : 0;
    EXPECT_NEAR(curve.XDelta(), step, std::fabs(step) * 1e-4F);
  }
  EXPECT_GT(exact, 50);
}

TEST(Curve, ResizeTable) {
  const struct {
    const char* name;
    float a, b;
    int result;
    float snappedA, snappedB;
    Floats values;
  } kCases[] = {
      {"snaps", 1.2F, 3.8F, 1, 1, 4, {2, 3, 4}},
      {"loses what is pushed out", -2.5F, 5, 1, -2, 5, {0, 0, 1, 2, 3, 0, 0}},
      {"grows right", 0, 7, 1, 0, 7, {1, 2, 3, 4, 5, 0, 0}},
      {"beside the curve", 10, 12, 1, 10, 12, {0, 0}},
      {"empty", 2.1F, 2.3F, 0, 2, 2, {1, 2, 3, 4, 5}},
      {"backwards", 4, 1, 0, 4, 1, {1, 2, 3, 4, 5}},
      {"beyond all memory", -1e30F, 1e30F, 0, -2147483648.0F, 2147483648.0F, {1, 2, 3, 4, 5}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    CSigCurve curve = MakeCurve({1, 2, 3, 4, 5}, 0, 5);
    float a = c.a;
    float b = c.b;
    EXPECT_EQ(curve.Resize(a, b), c.result);
    EXPECT_EQ(a, c.snappedA);
    EXPECT_EQ(b, c.snappedB);
    EXPECT_EQ(ValuesOf(curve), c.values);
    EXPECT_EQ(curve.XMin(), c.result == 1 ? c.snappedA : 0.0F);
    EXPECT_EQ(curve.XLen(), curve.DLen());
  }
  CSigCurve empty;
  empty.SetXMinMax(3, 3);
  float a = 4;
  float b = 13;
  EXPECT_EQ(empty.Resize(a, b), 1);
  EXPECT_EQ(empty.DLen(), 9U);
  EXPECT_EQ(empty.XMax(), 13.0F);
}

TEST(Curve, CopiesAndSizes) {
  CSigCurve source = MakeCurve({1, 2, 3}, 5, 8);
  source.SetScaleFactor(-4);
  source.SetName(u"source");
  source.SetXUnit(u"s");
  CSigCurve target = MakeCurve({9, 9});
  target.MakeSameSize(source);
  EXPECT_EQ(ValuesOf(target), Floats(3, 0.0F));
  EXPECT_TRUE(target.XUnit().empty()) << "header only";
  EXPECT_EQ(target.XLen(), 3U);
  EXPECT_EQ(target.InvScaleFactor(), -0.25F);
  target.CopyData(source);
  EXPECT_EQ(ValuesOf(target), ValuesOf(source));
  target.Reset();
  EXPECT_EQ(ValuesOf(target), Floats(3, 0.0F));
  EXPECT_EQ(target.XMax(), 1.0F);
  target = source;
  EXPECT_EQ(target.Name(), std::u16string(u"source"));
  EXPECT_EQ(target.XMin(), 5.0F);
  const std::unique_ptr<CSigCurve> clone(source.Clone(true));
  EXPECT_EQ(ValuesOf(*clone), ValuesOf(source));
  EXPECT_TRUE(clone->FitTogether(&source));
  target.SetScaleFactor(0);
  EXPECT_EQ(target.InvScaleFactor(), 1.0F);
}

TEST(Curve, AppendsItself) {
  CSigCurve curve = MakeCurve({1, 2}, 3, 5);
  ASSERT_TRUE(curve.Append(curve));
  EXPECT_EQ(ValuesOf(curve), (Floats{1, 2, 1, 2}));
  EXPECT_EQ(curve.XMax(), 7.0F);
  EXPECT_EQ(curve.XLen(), 4U);
  float words[2] = {1, 2};
  curve.SetBuffer(words, 2);
  EXPECT_FALSE(curve.Append(curve)) << "foreign words cannot grow";
  EXPECT_EQ(curve.XMax(), 7.0F);
}

TEST(Curve, FitTable) {
  const CSigCurve curve = MakeCurve({1, 2}, 0, 1);
  EXPECT_TRUE(curve.FitTogether(&curve));
  EXPECT_FALSE(curve.FitTogether(nullptr));
  CSigCurve other = curve;
  other.SetXMinMax(0.0001F, 1);
  EXPECT_FALSE(curve.FitTogether(&other)) << "exactly the tolerance";
  other.SetXMinMax(0.00009F, 1);
  EXPECT_TRUE(curve.FitTogether(&other));
  other.SetXMinMax(0, kNaN);
  EXPECT_FALSE(curve.FitTogether(&other));
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

TEST(Curve, KeepsArchivesWithoutContent) {
  std::vector<std::uint32_t> words(200);
  for (const bool extended : {false, true}) {
    CSerializer out(words.data(), 200, 0);
    CSigCurve plain = MakeRamp(5);
    CSigCurveExt ext = MakeRamp<CSigCurveExt>(5);
    EXPECT_EQ(out.StoreObject(extended ? &ext : &plain), 0);
    EXPECT_EQ(out.GetPosition(), 40U);
    CSerializer in(words.data(), 200, CSerializer::kLoad);
    const std::unique_ptr<CSObject> object(in.LoadObject());
    ASSERT_NE(object, nullptr);
    EXPECT_STREQ(object->GetRuntimeClass()->name, extended ? "CSigCurveExt" : "CSigCurve");
    EXPECT_EQ(dynamic_cast<CSigCurveExt*>(object.get()) != nullptr, extended);
    EXPECT_EQ(dynamic_cast<CSigCurve&>(*object).DLen(), 0U);
    EXPECT_TRUE(object->IsKindOf(CSigCurve::GetThisClass()));
    EXPECT_TRUE(object->IsKindOf(CObject::GetThisClass()));
  }
}

TEST(Curve, KeepsIndexFromFirstValueOnly) {
  const CSigCurve curve = MakeCurve({1, 2, 3});
  EXPECT_EQ(curve.GetIndexFromY(1), 0);
  EXPECT_EQ(curve.GetIndexFromY(2), -1);
}

TEST(Curve, KeepsXMaxWhereItWasCut) {
  CSigCurve curve = MakeRamp(1000);
  curve.CutRight(500);
  EXPECT_EQ(curve.DLen(), 501U);
  EXPECT_FLOAT_EQ(curve.XDelta(), 500.0F / 501.0F);
  EXPECT_LT(curve.GetPoint(500), 499.1F);
}

}  // namespace
}  // namespace limes
