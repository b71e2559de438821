#include "limes/signals/extended_curve.h"

#include "tests/support/curves.h"

namespace limes::test {
namespace {

/// Ramp 0 .. n-1 with step 1 from x0 on, valid from index i0 to i1.
CSigCurveExt Valid(int n, int i0, int i1, float x0 = 0) {
  auto curve = MakeRamp<CSigCurveExt>(n);
  curve.SetXMinMax(x0, x0 + static_cast<float>(n));
  curve.SetVIMinMax(i0, i1);
  return curve;
}

TEST(ExtendedCurve, KeepsRangesAsOperationsLeaveThem) {
  const Cases<CSigCurveExt> cases = {
      {LIMES_DO(c.SetVIMinMax(1, 8)), "1 8 1 8"},
      {LIMES_DO(c.SetVIMinMax(-3, 12)), "-3 12 0 9"},
      {LIMES_DO(c.Invalidate()), "1 0 1 0"},
      {LIMES_DO(c.SetVMinMax(1.4F, 3.6F)), "1.4 3.6 1 4"},
      {LIMES_DO(c.SetVMinMax(-5, 50)), "0 10 0 9"},
      {LIMES_DO(c.SetVMinMax(kNaN, kNaN)), "0 10 0 0"},
      {LIMES_DO(c.ResetVMinMax()), "0 10 0 9"},
      {LIMES_DO(c.Expandieren(1, 4)), "1 6 1 6"},
      {LIMES_DO(c.Schrumpfen(1, 4)), "2 4 2 4"},
      {LIMES_DO(const auto o = Valid(10, 5, 8); c.Expandieren(&o)), "2 8 2 8"},
      {LIMES_DO(const auto o = Valid(10, 5, 8); c.Schrumpfen(&o)), "5 6 5 6"},
      {LIMES_DO(c.Schrumpfen(nullptr), c.Expandieren(nullptr)), "2 6 2 6"},
      {LIMES_DO(ASSERT_TRUE(c.Resize(4U))), "0 10 0 3"},
      {LIMES_DO(float a = 1, b = 5; ASSERT_EQ(c.Resize(a, b), 1)), "1 5 0 3"},
      {LIMES_DO(c.CutLeft(3)), "3 6 0 3"},
      {LIMES_DO(c.CutRight(5)), "2 5 2 5"},
      {LIMES_DO(c.CutLR(1, 8)), "1 8 0 7"},
      {LIMES_DO(c.CutToGrid(4, 8)), "4 6 0 2"},
      {LIMES_DO(c.CutToGrid(8, 9)), "8 6 0 -1"},
      {LIMES_DO(c.ExtendRange(-2, 12)), "2 6 4 8"},
      {LIMES_DO(c.Append(Valid(4, 1, 3))), "2 8 2 8"},
      {LIMES_DO(c.Append(MakeRamp(4))), "2 10 2 10"},
      {LIMES_DO(CSigCurve& base = c; base.Append(c)), "2 10 2 10"},
      {LIMES_DO(c.InitHeader()), "0 1 0 -1"},
      {LIMES_DO(c.MirrorX()), "2 6 2 6"},
      {LIMES_DO(c.Reset()), "0 1 0 9"},      // the last index stays
      {LIMES_DO(c.CutLeft(-5)), "0 6 0 6"},  // wider when cut beside the curve
      {LIMES_DO(c.Schrumpfen(20, 30)), "20 6 9 6"},
  };
  for (const auto& [operation, valid] : cases) {
    CSigCurveExt curve = Valid(10, 2, 6);
    operation(curve);
    EXPECT_EQ(ValidOf(curve), valid);
    EXPECT_EQ(curve.XLen(), static_cast<std::uint32_t>(std::max(curve.ILen(), 0))) << valid;
    EXPECT_TRUE(curve.IsSigCurveExt());
  }
  CSigCurveExt empty;
  EXPECT_SHOWN("0 1 0 -1 0", ValidOf(empty), empty.IsValid());
  empty.SetVIMinMax(3, 5);
  EXPECT_EQ(ValidOf(empty), "0 0 0 -1");
  empty.SetVMinMax(0.2F, 0.8F);
  EXPECT_EQ(empty.IMax(), -1);
  EXPECT_SHOWN("10 50 0 3 108 0", ValidOf(CSigCurveExt::Make(4, 10, 50)), CSigCurveExt(10).Size(),
               CSigCurveExt(10).CurveId());
}

TEST(ExtendedCurve, CopyTable) {
  CSigCurveExt source = Valid(5, 1, 3);
  source.CurveId(8);
  source.Date(2.5F);
  const auto all = [](const CSigCurveExt& c) {
    return Exact(State(c), c.CurveId(), c.Date()).text;
  };
  CSigCurveExt target(2);
  target = source;
  EXPECT_EQ(all(target), "{0 1 2 3 4} 0 5 3, valid 1 3 1 3 8 2.5");
  static_cast<CSigCurve&>(target) = MakeRamp(3);
  EXPECT_EQ(ValidOf(target), "0 3 0 2") << "through the base as well";
  target = static_cast<const CSigCurve&>(source);
  EXPECT_EQ(all(target), "{0 1 2 3 4} 0 5 5, valid 0 5 0 4 -1 0");
  EXPECT_SHOWN("1 8 1", target.Copy(source, false), target.CurveId(),
               target.InfoID() == source.InfoID());
  EXPECT_SHOWN("1 0 2 0 1 0", target.Copy(MakeRamp(2), true), ValidOf(target),
               target.Copy(target, true));
  const std::unique_ptr<CSigCurve> clone(static_cast<CSigCurve&>(source).Clone(true));
  EXPECT_EQ(all(dynamic_cast<CSigCurveExt&>(*clone)), all(source));
  target.Date(9);
  target.MakeSameSize(source);
  EXPECT_SHOWN("{0 0 0 0 0} 0 5 3, valid 1 3 1 3 9", State(target), target.Date());
  const CSigCurve plain(source, true);
  EXPECT_TRUE(plain.IsSigCurve());
  CSigCurve assigned;
  EXPECT_TRUE(assigned.Copy(source, false));
  EXPECT_SHOWN("x lengths 5 5 3 3", "x lengths", plain.XLen(), assigned.XLen(),
               CSigCurveExt(source, false).XLen(), source.XLen());
  EXPECT_EQ(AsExtended(static_cast<const CSigRaw*>(&plain)), nullptr);
}

TEST(ExtendedCurve, ValueTable) {
  CSigCurveExt curve = Valid(10, 2, 6);
  const std::pair<float, float> kCases[] = {{-9, 2},      {2, 2},       {2.0009F, 2}, {2.5F, 2.5F},
                                            {5.5F, 5.5F}, {5.9995F, 6}, {50, 6},      {kNaN, kNaN}};
  for (const auto& [x, expected] : kCases) {
    EXPECT_TRUE(Same(curve.GetValue(x), expected)) << x << ": " << curve.GetValue(x);
  }
  float lo = 0;
  float hi = 0;
  curve.GetXRange(lo, hi);
  EXPECT_SHOWN("2 5 6 1 1 0 2 6", curve.GetIndexV(-9), curve.GetIndexV(4.6F), curve.GetIndexV(99),
               curve.IsInRange(2), curve.IsInRange(6), curve.IsInRange(1.9F), lo, hi);
}

TEST(ExtendedCurve, YRangeAndDistanceTable) {
  const std::tuple<unsigned, unsigned, const char*> kCases[] = {
      {0, 9, "2 6"}, {3, 4, "3 4"},   {0, 0xFFFFFFFF, "2 6"}, {0, 1, "2 2"},
      {8, 9, "8 8"}, {5, 4, "-1 -1"}, {10, 12, "-1 -1"}};
  CSigCurveExt curve = Valid(10, 2, 6);
  float lo = -1;
  float hi = -1;
  for (const auto& [i0, i1, expected] : kCases) {
    lo = hi = -1;
    curve.GetYRangeXI(lo, hi, i0, i1);
    EXPECT_SHOWN(expected, lo, hi);
  }
  curve.GetYRangeX(lo, hi, 3.3F, 99);
  EXPECT_SHOWN("3 6", lo, hi);
  // By index, this index, by value.
  const std::tuple<float, float, const char*> kDistances[] = {
      {-1, 6, "5 2 5"}, {9, 2, "5 6 5"}, {4, 7, "3 4 3"}, {4.25F, 4, "0.25 4 0.25"}};
  for (const auto& [x, y, expected] : kDistances) {
    int index = -1;
    EXPECT_SHOWN(expected, curve.PointDistance(x, y, &index), index,
                 curve.PointDistance(x, y, nullptr));
  }
  curve.Invalidate();
  curve.GetYRange(lo, hi);
  EXPECT_SHOWN("3 6 0", lo, hi, curve.PointDistance(3, 3, nullptr));
}

TEST(ExtendedCurve, ArithmeticTable) {
  CSigCurveExt other = MakeCurve<CSigCurveExt>({10, kNaN, 1, 30}, 0, 4);
  other.SetVIMinMax(1, 3);
  CSigCurveExt finer = other;
  finer.SetXMinMax(0, 2);
  const CSigCurveExt right = Valid(4, 0, 3, 8);
  const Cases<CSigCurveExt> cases = {
      {LIMES_DO(c = 9.0F), "{0 9 9 9 4}"},
      {LIMES_DO(c.Add(2)), "{2 3 4 5 6}"},  // this and *= are the whole curve's
      {LIMES_DO(c *= 2.0F), "{0 2 4 6 8}"},
      {LIMES_DO(c += MakeCurve({5, 5, 5})), "{0 6 7 3 4}"},
      {LIMES_DO(c += c), "{0 2 4 6 4}"},
      {LIMES_DO(c |= other), "{0 nan 1 30 4}"},
      {LIMES_DO(c |= finer), "{0 1 2 3 4}"},
      {LIMES_DO(c.Maximize(&other, 1)), "{0 1 2 30 4}"},
      {LIMES_DO(c.Maximize(&other, 0)), "{0 1 1 3 4}"},
      {LIMES_DO(const auto o = Valid(2, 0, 1, 2); c.Maximize(&o, 0)), "{0 1 0 1 4}"},
      {LIMES_DO(c.Maximize(&right, 1), c.Maximize(nullptr, 1)), "{0 1 2 3 4}"},
      {LIMES_DO(c.AddWithWeight(other, 0, 0)), "{0 1 2 3 4}"},
      {LIMES_DO(c.AddWithWeight(MakeCurve({5}), 2, 1)), "{0 1 12 13 4}"},
      {LIMES_DO(c.AddWithWeight(MakeRamp(5), 1, -3)), "{2 4 6 7 4}"},
      {LIMES_DO(c.AddSquared(MakeCurve({5}), 2, 1)), "{0 1 52 3 4}"},
      {LIMES_DO(c.AddWithWeight(CSigCurve(), 2, 0)), "{0 1 2 3 4}"},
      {LIMES_DO(c.AddWithWeight(c, 1, 1)), "{0 1 3 6 4}"},
  };
  for (const auto& [operation, values] : cases) {
    CSigCurveExt curve = Valid(5, 1, 3);
    operation(curve);
    EXPECT_EQ(State(curve), values + std::string(" 0 5 3, valid 1 3 1 3"));
  }
}

TEST(ExtendedCurve, UnionTable) {
  const std::pair<CSigCurveExt, const char*> kCases[] = {
      // This curve is 10 times its index, valid from 3 to 5; the others are ramps from their start.
      {Valid(10, 1, 4), "{0 1 2 30 40 50 60 70} 0 8 3, valid 1 5 1 5"},
      {Valid(10, 4, 7), "{0 10 20 30 40 50 6 7} 0 8 3, valid 3 7 3 7"},
      {Valid(7, 0, 6, 1), "{0 0 1 30 40 50 5 6} 0 8 3, valid 1 7 1 7"},
      {Valid(10, 4, 4), "{0 10 20 30 40 50 60 70} 0 8 3, valid 3 5 3 5"},
      {Valid(10, 6, 9), "{0 10 20 30 40 50 60 70} 0 8 3, valid 3 5 3 5"},
      {Valid(7, 2, 6), "{0 10 2 30 40 50 6 70} 0 8 3, valid 2 6 2 6"},
      {CSigCurveExt(), "{0 10 20 30 40 50 60 70} 0 8 3, valid 3 5 3 5"},
  };
  for (const auto& [other, after] : kCases) {
    CSigCurveExt curve = Valid(8, 3, 5);
    curve *= 10.0F;
    curve ^= other;
    EXPECT_EQ(State(curve), after);
  }
}

TEST(ExtendedCurve, SectionSumTable) {
  const CSigCurveExt curve = Valid(10, 2, 6);
  const std::tuple<CSigCurveExt, float, float, bool, double> kCases[] = {
      {curve, -9, 99, false, 20},
      {curve, 3, 4, false, 7},
      {curve, 0, 1.9F, false, 0},
      {curve, 6.1F, 9, false, 0},
      {curve, 5, 3, false, 0},
      {curve, 4, 4, true, 4},
      {curve, -9, 99, true, 11.2174},
      {MakeCurve<CSigCurveExt>({2000, 2000}), 0, 1, true, 2003.0103},
      {MakeCurve<CSigCurveExt>({0, kNaN}), 0, 1, true, 0},
      {MakeCurve<CSigCurveExt>({-kInf}), 0, 1, true, 0}};
  for (const auto& [c, x0, x1, dB, expected] : kCases) {
    EXPECT_NEAR(c.AbschnittSumme(x0, x1, dB), expected, 1e-4) << x0 << x1;
  }
}

TEST(ExtendedCurve, StaleIndicesStayInside) {
  CSigCurveExt curve;
  curve.InitHeader(Valid(10, 4, 9));  // indices of values that this curve does not have
  ASSERT_EQ(curve.IMax(), 9);
  const auto full = MakeRamp<CSigCurveExt>(10);
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
  EXPECT_EQ(AsExtended(&curve), nullptr);
  CSigCurveExt copy;
  EXPECT_SHOWN("1 5", copy.Copy(curve, true), copy.ILen()) << "as a plain curve";
}

TEST(ExtendedCurve, KeepsOneMoreWeightedValueThanSquares) {
  for (const bool squares : {false, true}) {
    CSigCurveExt target(10);
    const CSigCurveExt source = Valid(10, 4, 6);
    squares ? target.AddSquared(source, 1, 0) : target.AddWithWeight(source, 1, 0);
    EXPECT_SHOWN(squares ? "{16 25 36 0 0 0 0 0 0 0}" : "{4 5 6 7 0 0 0 0 0 0}", ValuesOf(target));
  }
  CSigCurveExt target(10);
  target.AddWithWeight(Valid(7, 4, 6), 1, 0);
  EXPECT_EQ(target[3], 6.0F) << "behind the end the last value";
  CSigCurveExt stale = Valid(10, 1, 8);
  stale.SetBuffer(stale.ValArray(), 10);
  stale.CopyData(MakeRamp(3));
  target = 0.0F;
  target.AddWithWeight(stale, 1, 0);
  target.AddSquared(stale, 1, 5);
  EXPECT_SHOWN("{1 2 2 0 0 1 4 0 0 0}", ValuesOf(target)) << "once, whatever the indices say";
}

TEST(ExtendedCurve, KeepsOddRanges) {
  CSigCurveExt curve(10);
  curve.SetXMinMax(0, 1000);
  EXPECT_EQ(ValidOf(curve), "0 1 0 9") << "of the constructor, whatever the axis";
  curve.SetAt(9, 5);
  EXPECT_SHOWN("5 0 0", curve.GetValue(500), static_cast<CSigCurve&>(curve).GetValue(500),
               curve[500.0F]);
  curve = Valid(10, 2, 9);
  curve.Schrumpfen(20, 30);
  EXPECT_SHOWN("1 1", curve.IsValid(), curve.ILen()) << "one value of disjoint ranges";
  CSigCurveExt one(1);
  one.Invalidate();
  EXPECT_TRUE(one.IsValid());
}

}  // namespace
}  // namespace limes::test
