#include "limes/signals/extended_curve.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>

#include "tests/support/bits.h"
#include "tests/support/curves.h"

namespace limes {
namespace {

using test::MakeCurve;
using test::MakeRamp;
using test::Same;
using test::ValuesOf;
using Floats = std::vector<float>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

CSigCurveExt Ramp(int n) { return MakeRamp<CSigCurveExt>(n); }

/// Ramp 0 .. n-1 with step 1 from x0 on, valid from index i0 to i1.
CSigCurveExt Valid(int n, int i0, int i1, float x0 = 0) {
  CSigCurveExt curve = Ramp(n);
  curve.SetXMinMax(x0, x0 + static_cast<float>(n));
  curve.SetVIMinMax(i0, i1);
  return curve;
}

struct SRange {
  float vMin, vMax;
  int iMin, iMax;
  bool operator==(const SRange&) const = default;
};
std::ostream& operator<<(std::ostream& out, const SRange& r) {
  return out << r.vMin << ".." << r.vMax << " " << r.iMin << ".." << r.iMax;
}
SRange RangeOf(const CSigCurveExt& c) { return {c.VMin(), c.VMax(), c.IMin(), c.IMax()}; }

TEST(ExtendedCurve, StartsWithDefaults) {
  const CSigCurveExt empty;
  EXPECT_TRUE(empty.IsSigCurveExt());
  EXPECT_FALSE(empty.IsValid());
  EXPECT_EQ(RangeOf(empty), (SRange{0, 1, 0, -1}));
  const CSigCurveExt ten(10);
  EXPECT_TRUE(ten.IsValid());
  EXPECT_EQ(ten.ILen(), 10);
  EXPECT_EQ(ten.Size(), 40U + 63U + 5U);
  EXPECT_EQ(ten.CurveId(), 0);
  EXPECT_EQ(RangeOf(CSigCurveExt::Make(4, 10, 50)), (SRange{10, 50, 0, 3}));
}

TEST(ExtendedCurve, RangeTable) {
  const struct {
    const char* name;
    std::function<void(CSigCurveExt&)> operation;  ///< on a ramp of 10, valid from 2 to 6
    SRange expected;
  } kCases[] = {
      {"indices", LIMES_DO(c.SetVIMinMax(1, 8)), {1, 8, 1, 8}},
      {"indices beyond", LIMES_DO(c.SetVIMinMax(-3, 12)), {-3, 12, 0, 9}},
      {"invalidate", LIMES_DO(c.Invalidate()), {1, 0, 1, 0}},
      {"x", LIMES_DO(c.SetVMinMax(1.4F, 3.6F)), {1.4F, 3.6F, 1, 4}},
      {"x beyond", LIMES_DO(c.SetVMinMax(-5, 50)), {0, 10, 0, 9}},
      {"NaN gives the grid", LIMES_DO(c.SetVMinMax(kNaN, kNaN)), {0, 10, 0, 0}},
      {"reset", LIMES_DO(c.ResetVMinMax()), {0, 10, 0, 9}},
      {"widen", LIMES_DO(c.Expandieren(1, 4)), {1, 6, 1, 6}},
      {"narrow", LIMES_DO(c.Schrumpfen(1, 4)), {2, 4, 2, 4}},
      {"widen by a curve",
       LIMES_DO(const auto o = Valid(10, 5, 8); c.Expandieren(&o)),
       {2, 8, 2, 8}},
      {"narrow by a curve",
       LIMES_DO(const auto o = Valid(10, 5, 8); c.Schrumpfen(&o)),
       {5, 6, 5, 6}},
      {"by none", LIMES_DO(c.Schrumpfen(nullptr), c.Expandieren(nullptr)), {2, 6, 2, 6}},
      {"resize", LIMES_DO(ASSERT_TRUE(c.Resize(4U))), {0, 10, 0, 3}},
      {"range", LIMES_DO(float a = 1, b = 5; ASSERT_EQ(c.Resize(a, b), 1)), {1, 5, 0, 3}},
      {"cut left", LIMES_DO(c.CutLeft(3)), {3, 6, 0, 3}},
      {"cut right", LIMES_DO(c.CutRight(5)), {2, 5, 2, 5}},
      {"cut both", LIMES_DO(c.CutLR(1, 8)), {1, 8, 0, 7}},
      {"cut to grid", LIMES_DO(c.CutToGrid(4, 8)), {4, 6, 0, 2}},
      {"cut beside", LIMES_DO(c.CutToGrid(8, 9)), {8, 6, 0, -1}},
      {"extend", LIMES_DO(c.ExtendRange(-2, 12)), {2, 6, 4, 8}},
      {"append", LIMES_DO(c.Append(Valid(4, 1, 3))), {2, 8, 2, 8}},
      {"append plain", LIMES_DO(c.Append(MakeRamp(4))), {2, 10, 2, 10}},
      {"append itself", LIMES_DO(CSigCurve& base = c; base.Append(c)), {2, 10, 2, 10}},
      {"header", LIMES_DO(c.InitHeader()), {0, 1, 0, -1}},
      {"mirror", LIMES_DO(c.MirrorX()), {2, 6, 2, 6}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    CSigCurveExt curve = Valid(10, 2, 6);
    c.operation(curve);
    EXPECT_EQ(RangeOf(curve), c.expected);
    EXPECT_EQ(curve.XLen(), static_cast<std::uint32_t>(std::max(curve.ILen(), 0)));
    EXPECT_TRUE(curve.IsSigCurveExt());
  }
  CSigCurveExt empty;
  empty.SetVIMinMax(3, 5);
  EXPECT_EQ(RangeOf(empty), (SRange{0, 0, 0, -1}));
  empty.SetVMinMax(0.2F, 0.8F);
  EXPECT_EQ(empty.IMax(), -1);
}

TEST(ExtendedCurve, CopyTable) {
  CSigCurveExt source = Valid(5, 1, 3);
  source.CurveId(8);
  source.Date(2.5F);
  CSigCurveExt target(2);
  target = source;
  EXPECT_EQ(RangeOf(target), RangeOf(source));
  EXPECT_EQ(target.CurveId(), 8);
  EXPECT_EQ(target.Date(), 2.5F);
  EXPECT_EQ(ValuesOf(target), ValuesOf(source));
  static_cast<CSigCurve&>(target) = MakeRamp(3);
  EXPECT_EQ(RangeOf(target), (SRange{0, 3, 0, 2})) << "through the base as well";
  target = static_cast<const CSigCurve&>(source);
  EXPECT_EQ(RangeOf(target), (SRange{0, 5, 0, 4}));
  EXPECT_EQ(target.CurveId(), -1);
  EXPECT_EQ(target.Date(), 0.0F);
  ASSERT_TRUE(target.Copy(source, false));
  EXPECT_EQ(target.CurveId(), 8);
  EXPECT_EQ(target.InfoID(), source.InfoID());
  ASSERT_TRUE(target.Copy(MakeRamp(2), true)) << "a plain curve";
  EXPECT_EQ(RangeOf(target), (SRange{0, 2, 0, 1}));
  EXPECT_FALSE(target.Copy(target, true));
  const std::unique_ptr<CSigCurve> clone(static_cast<CSigCurve&>(source).Clone(true));
  EXPECT_EQ(RangeOf(dynamic_cast<CSigCurveExt&>(*clone)), RangeOf(source));
  target.Date(9);
  target.MakeSameSize(source);
  EXPECT_EQ(RangeOf(target), RangeOf(source));
  EXPECT_EQ(ValuesOf(target), Floats(5, 0.0F));
  EXPECT_EQ(target.Date(), 9.0F) << "the date stays";
  const CSigCurve plain(source, true);
  EXPECT_TRUE(plain.IsSigCurve());
  EXPECT_EQ(AsExtended(static_cast<const CSigRaw*>(&plain)), nullptr);
}

TEST(ExtendedCurve, ValueTable) {
  CSigCurveExt curve = Valid(10, 2, 6);
  const struct {
    float x, expected;
  } kCases[] = {{-9, 2},      {2, 2},       {2.0009F, 2}, {2.5F, 2.5F},
                {5.5F, 5.5F}, {5.9995F, 6}, {50, 6},      {kNaN, kNaN}};
  for (const auto& c : kCases) {
    EXPECT_TRUE(Same(curve.GetValue(c.x), c.expected)) << c.x << ": " << curve.GetValue(c.x);
  }
  EXPECT_EQ(curve.GetIndexV(-9), 2);
  EXPECT_EQ(curve.GetIndexV(4.6F), 5);
  EXPECT_EQ(curve.GetIndexV(99), 6);
  EXPECT_TRUE(curve.IsInRange(2) && curve.IsInRange(6) && !curve.IsInRange(1.9F));
  float lo = 0;
  float hi = 0;
  curve.GetXRange(lo, hi);
  EXPECT_TRUE(lo == 2 && hi == 6);
}

TEST(ExtendedCurve, YRangeTable) {
  const struct {
    unsigned i0, i1;
    float lo, hi;
  } kCases[] = {{0, 9, 2, 6}, {3, 4, 3, 4},   {0, 0xFFFFFFFF, 2, 6}, {0, 1, 2, 2},
                {8, 9, 8, 8}, {5, 4, -1, -1}, {10, 12, -1, -1}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.i0);
    float lo = -1;
    float hi = -1;
    Valid(10, 2, 6).GetYRangeXI(lo, hi, c.i0, c.i1);
    EXPECT_TRUE(lo == c.lo && hi == c.hi) << lo << " " << hi;
  }
  float lo = -1;
  float hi = -1;
  CSigCurveExt curve = Valid(10, 2, 6);
  curve.GetYRangeX(lo, hi, 3.3F, 99);
  EXPECT_TRUE(lo == 3 && hi == 6);
  curve.Invalidate();
  lo = -1;
  curve.GetYRange(lo, hi);
  EXPECT_EQ(lo, -1.0F);
}

TEST(ExtendedCurve, DistanceTable) {
  const CSigCurveExt curve = Valid(10, 2, 6);
  const struct {
    float x, y, byIndex, byValue;
    int index;
  } kCases[] = {{-1, 6, 5, 5, 2}, {9, 2, 5, 5, 6}, {4, 7, 3, 3, 4}, {4.25F, 4, 0.25F, 0.25F, 4}};
  for (const auto& c : kCases) {
    int index = -1;
    EXPECT_EQ(curve.PointDistance(c.x, c.y, &index), c.byIndex);
    EXPECT_EQ(index, c.index);
    EXPECT_EQ(curve.PointDistance(c.x, c.y, nullptr), c.byValue);
  }
  EXPECT_EQ(Valid(10, 1, 0).PointDistance(3, 3, nullptr), 0.0F);
}

TEST(ExtendedCurve, ArithmeticTable) {
  const CSigCurveExt other = [] {
    CSigCurveExt curve = MakeCurve<CSigCurveExt>({10, kNaN, 1, 30}, 0, 4);
    curve.SetVIMinMax(1, 3);
    return curve;
  }();
  CSigCurveExt finer = other;
  finer.SetXMinMax(0, 2);
  const CSigCurveExt right = Valid(4, 0, 3, 8);
  const struct {
    const char* name;
    std::function<void(CSigCurveExt&)> operation;  ///< on 0 1 2 3 4, valid from 1 to 3
    Floats after;
  } kCases[] = {
      {"= number", LIMES_DO(c = 9.0F), {0, 9, 9, 9, 4}},
      {"+= number", LIMES_DO(c += 2.0F), {0, 3, 4, 5, 4}},
      {"Add is the whole curve's", LIMES_DO(c.Add(2)), {2, 3, 4, 5, 6}},
      {"*= is the whole curve's", LIMES_DO(c *= 2.0F), {0, 2, 4, 6, 8}},
      {"+= curve", LIMES_DO(c += MakeCurve({5, 5, 5})), {0, 6, 7, 3, 4}},
      {"+= itself", LIMES_DO(c += c), {0, 2, 4, 6, 4}},
      {"|=", LIMES_DO(c |= other), {0, kNaN, 1, 30, 4}},
      {"|= other step", LIMES_DO(c |= finer), {0, 1, 2, 3, 4}},
      {"larger", LIMES_DO(c.Maximize(&other, 1)), {0, 1, 2, 30, 4}},
      {"smaller", LIMES_DO(c.Maximize(&other, 0)), {0, 1, 1, 3, 4}},
      {"smaller of a part",
       LIMES_DO(const auto o = Valid(2, 0, 1, 2); c.Maximize(&o, 0)),
       {0, 1, 0, 1, 4}},
      {"beside", LIMES_DO(c.Maximize(&right, 1), c.Maximize(nullptr, 1)), {0, 1, 2, 3, 4}},
      {"weight 0", LIMES_DO(c.AddWithWeight(other, 0, 0)), {0, 1, 2, 3, 4}},
      {"offset", LIMES_DO(c.AddWithWeight(MakeCurve({5}), 2, 1)), {0, 1, 12, 13, 4}},
      {"before the curve", LIMES_DO(c.AddWithWeight(MakeRamp(5), 1, -3)), {2, 4, 6, 7, 4}},
      {"squares", LIMES_DO(c.AddSquared(MakeCurve({5}), 2, 1)), {0, 1, 52, 3, 4}},
      {"of nothing", LIMES_DO(c.AddWithWeight(CSigCurve(), 2, 0)), {0, 1, 2, 3, 4}},
      {"itself moved", LIMES_DO(c.AddWithWeight(c, 1, 1)), {0, 1, 3, 6, 4}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    CSigCurveExt curve = Valid(5, 1, 3);
    c.operation(curve);
    for (std::size_t i = 0; i < c.after.size(); ++i) {
      EXPECT_TRUE(Same(curve.ValArray()[i], c.after[i])) << i << ": " << curve.ValArray()[i];
    }
    EXPECT_EQ(curve.IMin(), 1);
    EXPECT_EQ(curve.IMax(), 3);
  }
}

TEST(ExtendedCurve, UnionTable) {
  const struct {
    const char* name;
    CSigCurveExt other;
    Floats after;
    SRange range;
  } kCases[] = {
      // This curve is 10 times its index, valid from 3 to 5; the others are ramps from their start.
      {"left", Valid(10, 1, 4), {0, 1, 2, 30, 40, 50, 60, 70}, {1, 5, 1, 5}},
      {"right", Valid(10, 4, 7), {0, 10, 20, 30, 40, 50, 6, 7}, {3, 7, 3, 7}},
      {"both, moved", Valid(7, 0, 6, 1), {0, 0, 1, 30, 40, 50, 5, 6}, {1, 7, 1, 7}},
      {"inside", Valid(10, 4, 4), {0, 10, 20, 30, 40, 50, 60, 70}, {3, 5, 3, 5}},
      {"disjoint", Valid(10, 6, 9), {0, 10, 20, 30, 40, 50, 60, 70}, {3, 5, 3, 5}},
      {"shorter", Valid(7, 2, 6), {0, 10, 2, 30, 40, 50, 6, 70}, {2, 6, 2, 6}},
      {"empty", CSigCurveExt(), {0, 10, 20, 30, 40, 50, 60, 70}, {3, 5, 3, 5}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    CSigCurveExt curve = Valid(8, 3, 5);
    curve *= 10.0F;
    curve ^= c.other;
    EXPECT_EQ(ValuesOf(curve), c.after);
    EXPECT_EQ(RangeOf(curve), c.range);
    EXPECT_EQ(curve.XLen(), 3U) << "kept";
  }
}

TEST(ExtendedCurve, SectionSumTable) {
  const struct {
    const char* name;
    float x0, x1;
    bool dB;
    float expected;
  } kCases[] = {{"all", -9, 99, false, 20},        {"part", 3, 4, false, 7},
                {"left", 0, 1.9F, false, 0},       {"right", 6.1F, 9, false, 0},
                {"crossed", 5, 3, false, 0},       {"level", 4, 4, true, 4},
                {"levels", -9, 99, true, 11.2174F}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    EXPECT_NEAR(Valid(10, 2, 6).AbschnittSumme(c.x0, c.x1, c.dB), c.expected, 1e-4);
  }
  EXPECT_NEAR(MakeCurve<CSigCurveExt>({0, 0}).AbschnittSumme(0, 1, true), 3.0103, 1e-4);
  EXPECT_NEAR(MakeCurve<CSigCurveExt>({2000, 2000}).AbschnittSumme(0, 1, true), 2003.0103, 1e-3);
  EXPECT_EQ(MakeCurve<CSigCurveExt>({0, kNaN}).AbschnittSumme(0, 1, true), 0.0F);
  EXPECT_EQ(MakeCurve<CSigCurveExt>({-kInf}).AbschnittSumme(0, 1, true), 0.0F);
}

TEST(ExtendedCurve, StaleIndicesStayInside) {
  CSigCurveExt curve;
  curve.InitHeader(Valid(10, 4, 9));  // indices of values that this curve does not have
  ASSERT_EQ(curve.IMax(), 9);
  const CSigCurveExt full = Ramp(10);
  for (int round = 0; round < 2; ++round) {
    float lo = 0;
    float hi = 0;
    int index = 0;
    curve.GetYRange(lo, hi);
    curve += 1.0F;
    curve = 2.0F;
    curve += full;
    curve |= full;
    curve ^= full;
    curve.Maximize(&full, 1);
    curve.AddWithWeight(full, 1, -20);
    curve.AddSquared(full, 1, 20);
    static_cast<void>(curve.PointDistance(99, 1, &index));
    EXPECT_LT(index, std::max<int>(1, static_cast<int>(curve.DLen())));
    static_cast<void>(curve.AbschnittSumme(0, 9, true) + curve.GetValue(9));
    CSigCurveExt other = full;
    other += curve;
    other |= curve;
    other.Maximize(&curve, 0);
    other.AddWithWeight(curve, 1, 0);
    ASSERT_NE(curve.Malloc(2), nullptr);
  }
}

TEST(ExtendedCurve, CodeAndClassBothDecide) {
  CSigCurveExt curve = Valid(5, 1, 3);
  EXPECT_EQ(AsExtended(&curve), &curve);
  curve.MakeSameSize(MakeRamp(5));  // the base's: code 102 on an extended curve
  EXPECT_TRUE(curve.IsSigCurve());
  EXPECT_EQ(AsExtended(&curve), nullptr);
  CSigCurveExt copy;
  ASSERT_TRUE(copy.Copy(curve, true));
  EXPECT_EQ(copy.ILen(), 5) << "as a plain curve";
}

TEST(ExtendedCurve, KeepsRangeOfConstructorWhateverTheAxis) {
  CSigCurveExt curve(10);
  curve.SetXMinMax(0, 1000);
  EXPECT_EQ(RangeOf(curve), (SRange{0, 1, 0, 9}));
  curve.SetAt(9, 5);
  EXPECT_EQ(curve.GetValue(500), 5.0F);
  EXPECT_EQ(static_cast<CSigCurve&>(curve).GetValue(500), 0.0F);
  EXPECT_EQ(curve[500.0F], 0.0F) << "c[x] is the whole curve's";
}

TEST(ExtendedCurve, KeepsOneMoreWeightedValueThanSquares) {
  for (const bool squares : {false, true}) {
    CSigCurveExt target(10);
    const CSigCurveExt source = Valid(10, 4, 6);
    squares ? target.AddSquared(source, 1, 0) : target.AddWithWeight(source, 1, 0);
    EXPECT_EQ(Floats(target.ValArray(), target.ValArray() + 5),
              squares ? (Floats{16, 25, 36, 0, 0}) : (Floats{4, 5, 6, 7, 0}));
  }
  CSigCurveExt target(10);
  target.AddWithWeight(Valid(7, 4, 6), 1, 0);
  EXPECT_EQ(target[3], 6.0F) << "behind the end the last value";
}

TEST(ExtendedCurve, KeepsIMaxAfterReset) {
  CSigCurveExt curve = Valid(10, 2, 6);
  curve.Reset();
  EXPECT_EQ(RangeOf(curve), (SRange{0, 1, 0, 9}));
}

TEST(ExtendedCurve, KeepsWideningWhenCutBesideTheCurve) {
  CSigCurveExt curve = Valid(10, 2, 6);
  curve.CutLeft(-5);
  EXPECT_EQ(RangeOf(curve), (SRange{0, 6, 0, 6}));
}

TEST(ExtendedCurve, KeepsOneValueOfDisjointRanges) {
  CSigCurveExt curve = Valid(10, 2, 6);
  curve.Schrumpfen(20, 30);
  EXPECT_EQ(RangeOf(curve), (SRange{20, 6, 9, 6}));
  curve = Valid(10, 2, 9);
  curve.Schrumpfen(20, 30);
  EXPECT_TRUE(curve.IsValid());
  EXPECT_EQ(curve.ILen(), 1);
  CSigCurveExt one(1);
  one.Invalidate();
  EXPECT_TRUE(one.IsValid());
}

}  // namespace
}  // namespace limes
