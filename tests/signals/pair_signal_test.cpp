#include "limes/signals/pair_signal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "limes/kernels/polygon_coding.h"
#include "limes/signals/extended_curve.h"
#include "tests/support/bits.h"
#include "tests/support/curves.h"

namespace limes {
namespace {

using Floats = std::vector<float>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

/// Pairs (x, 10 x), appended.
CSigPairs MakeRun(const Floats& x) {
  CSigPairs run;
  for (const float at : x) {
    run.NeuesPaar(at, 10 * at);
  }
  return run;
}

Floats XOf(const CSigPairs& run) { return {run.Punkte(), run.PunkteEnd()}; }

TEST(PairSignal, EmptyRunAnswers) {
  CSigPairs run;
  EXPECT_TRUE(run.IsSigPairs() && run.IstSortiert() && run.IstInversSortiert());
  float lo = 7;
  float hi = 8;
  int index = 5;
  run.XBereich(lo, hi);
  run.GetYRangeX(lo, hi, 0, 1);
  run.GetYRangeXI(lo, hi, 0, 1);
  EXPECT_EQ(run.FindeYMin(lo, &index) + run.FindeYMax(hi) + lo + hi + run.WertBei(1), 15.0F);
  EXPECT_EQ(index + run.IndexZu(1, 0) + run.Aendern(0, 1, 2), -1);
  EXPECT_FALSE(run.HatWertBei(0, 1) || run.IsInRange(0) || run < run);
  EXPECT_EQ(run.PointDistance(1, 1), 0.0F);
  run.CutLeft(1);
  run.CutRight(1);
  run.DatenWenden();
  EXPECT_EQ(run.PunkteEnd() - run.Punkte(), 0);
}

TEST(PairSignal, IndexAndValueTable) {
  const struct {
    Floats x;
    float at;
    int lower, higher, nearest;
    float value;
  } kCases[] = {
      {{1, 2}, 1.5F, 0, 1, 1, 15},      {{2, 1}, 1.5F, 1, 0, 1, 15}, {{2, 1}, 1.9F, 1, 0, 1, 19},
      {{1, 2}, 1.4F, 0, 1, 0, 14},      {{1, 2, 3}, 2, 1, 1, 1, 20}, {{1, 2, 3}, 0, 0, 0, 0, 10},
      {{1, 2, 3}, 9, 2, 2, 2, 30},      {{3, 2, 1}, 9, 0, 0, 0, 30}, {{3, 2, 1}, 0, 2, 2, 2, 10},
      {{1, 3, 2}, 2.6F, 1, 1, 1, 0},    {{1, 3, 3}, 2, 0, 0, 0, 0},  {{1, 2, 3}, kNaN, 2, 2, 2, 30},
      {{1, 2, kInf}, 5, 1, 2, 1, kNaN}, {{4}, kNaN, 0, 0, 0, 40}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(c.x) + " at " + std::to_string(c.at));
    const CSigPairs run = MakeRun(c.x);
    EXPECT_EQ(run.IndexZu(c.at, 0), c.lower);
    EXPECT_EQ(run.IndexZu(c.at, 1), c.higher);
    EXPECT_EQ(run.IndexZu(c.at, 2), c.nearest);
    EXPECT_TRUE(test::Same(run.WertBei(c.at), c.value)) << run.WertBei(c.at);
    EXPECT_TRUE(test::Same(run[c.at], c.value));
  }
}

/// An operation as a row of a table: its result as an integer, what it leaves of x, and the flags.
#define LIMES_ROW(x, operation, ...)                                                             \
  {                                                                                              \
#operation, Floats x, [](CSigPairs & r) { return static_cast<int>(operation); }, __VA_ARGS__ \
  }

constexpr int kNone = 0;
constexpr int kRises = 1;
constexpr int kFalls = 2;

int FlagsOf(const CSigPairs& run) { return run.IstSortiert() + 2 * run.IstInversSortiert(); }

TEST(PairSignal, EditingTable) {
  const struct {
    const char* name;
    Floats x;
    int (*operation)(CSigPairs&);
    int result;
    Floats left;
    int flags;
  } kCases[] = {
      LIMES_ROW(({1, 2, 3}), r.NeuesPaarEinsortieren(2, 5), 2, {1, 2, 2, 3}, kRises),
      LIMES_ROW(({3, 1, 4}), r.NeuesPaarEinsortieren(2, 5), 1, {1, 2, 3, 4}, kRises),
      LIMES_ROW(({1, 3, 5}), r.Aendern(0, 5, 5), 2, {3, 5, 5}, kRises),
      LIMES_ROW(({1}), r.Aendern(1, 5, 5), 0, {1}, kRises + kFalls),
      LIMES_ROW(({1, 2, 3, 4}), (r.CutLeft(2.5F), 0), 0, {2, 3, 4}, kRises),
      LIMES_ROW(({1, 2}), (r.CutLeft(2), 0), 0, {}, kRises + kFalls),
      LIMES_ROW(({1, 2, 3, 4}), (r.CutRight(2.5F), 0), 0, {1, 2}, kRises),
      LIMES_ROW(({1, 2}), (r.CutRight(1), 0), 0, {}, kRises + kFalls),
      LIMES_ROW(({1, 2, 3}), r.Resize(2), 1, {1, 2}, kRises),
      LIMES_ROW(({1, 2, 3}), r.AbschnittKopieren(r, 2, 9), 2, {2, 3}, kRises),
      LIMES_ROW(({3, 2, 1}), r.AbschnittKopierenIdx(r, -4, 1), 2, {3, 2}, kFalls),
      LIMES_ROW(({1, 2}), r.Append(r), 1, {1, 2, 1, 2}, kNone),
      LIMES_ROW(({1, 2}), r.Resize(1U << 31) || r.NeueGroesse(1U << 30), 0, {1, 2}, kRises),
      LIMES_ROW(({1, 2}), (r.Free(), 0), 0, {}, kRises),
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    CSigPairs run = MakeRun(c.x);
    EXPECT_EQ(c.operation(run), c.result);
    EXPECT_EQ(XOf(run), c.left);
    EXPECT_EQ(FlagsOf(run), c.flags);
  }
}

TEST(PairSignal, ArithmeticTable) {
  const struct {
    const char* name;
    Floats x;
    int (*operation)(CSigPairs&);
    int result;
    Floats left;
    int flags;
  } kCases[] = {
      LIMES_ROW(({1, 2}), (r /= 0, 0), 0, {0, 0}, kRises),
      LIMES_ROW(({1, 2}), (r /= 4, r += 1, r -= 2, 0), 0, {1.5F, 4}, kRises),
      LIMES_ROW(({1, 2, 3}), (r << 20, 0), 0, {10, 20, 20}, kRises),
      LIMES_ROW(({1, 2, kNaN}), (r >> 15, 0), 0, {15, 20, kNaN}, kNone),
      LIMES_ROW(({-1, 10}), (r.WurzelZiehen(), 0), 0, {0, 10}, kRises),
      LIMES_ROW(({-1, 1}), (r.Abs(), r.DatenSpiegeln(), 0), 0, {-10, -10}, kRises),
      LIMES_ROW(({1, 2, 3}), r.Mittelwert(), 20, {10, 20, 30}, kRises),
      LIMES_ROW(({1, 2, 3}), (r /= r - MakeRun({2, 4}), 0), 0, {0, 0}, kRises),
      LIMES_ROW(({2, 3}), (r += MakeRun({5, 6}), 0), 0, {}, kRises + kFalls),
      LIMES_ROW(({2, 3}), (r.Vereinigen(MakeRun({6, 5})), 0), 0, {20, 30, 50, 60}, kRises),
      LIMES_ROW(({1, 2, 3, 4, 5}), (r.Unterabtasten(3, true), 0), 0, {10, 30, 50}, kRises),
      LIMES_ROW(({1, 2, 3, 4, 5}), (r.Unterabtasten(3, false), 0), 0, {10, 40, 50}, kRises),
      LIMES_ROW(({1, 4}), r < MakeRun({1, 4}) + MakeRun({1, 4}), 1, {10, 40}, kRises),
      LIMES_ROW(({1, 4}), r > MakeRun({7, 9}), 0, {10, 40}, kRises),
      LIMES_ROW(({1, 4}), r > test::MakeCurve({5, 9}, 0, 8), 1, {10, 40}, kRises),
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    CSigPairs run = MakeRun(c.x);
    EXPECT_EQ(c.operation(run), c.result);
    EXPECT_EQ(FlagsOf(run), c.flags);
    ASSERT_EQ(run.NPaare(), c.left.size());
    for (std::uint32_t i = 0; i < run.NPaare(); ++i) {
      EXPECT_TRUE(test::Same(run.Wert(i), c.left[i])) << run.Wert(i);
    }
  }
}

TEST(PairSignal, StatisticsAndTolerance) {
  CSigPairs run = MakeRun({0, 0, 10});
  run = 0.0F;
  run.PunktEntfernen(0);
  EXPECT_FLOAT_EQ(run.MittelwertDb(), 1.505150F);
  run = MakeRun({0, 1, 2, 3, 4, 5, 6, 7, 8, 10});
  float x = 0;
  float deviation = 0;
  run.Mittelwert(&deviation);
  EXPECT_FLOAT_EQ(deviation, 30.397368F);
  EXPECT_FLOAT_EQ(run.RmsWert(), 55.136196F);
  EXPECT_EQ(run.MaxKurvenAbstand(test::MakeCurve({60, 60}, 2, 7), &x, true), 40.0F);
  EXPECT_EQ(x, 2.0F);
  for (const float stored : {0.05F, -5.0F, -101.0F}) {
    stored < -100 ? run.PunktgleichheitAutoToleranz() : run.PunktgleichheitToleranz(stored);
    ASSERT_TRUE(run.OperationVorbereiten(run, x));
    EXPECT_FLOAT_EQ(x, 0.05F);
  }
  run.PunktgleichheitToleranzP(5);
  EXPECT_EQ(run.PunktgleichheitToleranz(), -5.0F);
  run.Nummer() = -1;
  run.SetzeNummerOH(7);
  EXPECT_EQ(run.Nummer(), 0x7FFFF);
  run.NummerOH_Neu();
  EXPECT_EQ(run.Nummer() + run.NummerOH(), 0xFFFF);
}

TEST(PairSignal, CurvesThereAndBack) {
  CSigCurveExt curve = test::MakeCurve<CSigCurveExt>({1, 2, 3, 4}, 10, 50);
  curve.SetVIMinMax(1, 2);
  curve.SetXUnit(u"Hz");
  CSigPairs run(curve);
  EXPECT_EQ(XOf(run), (Floats{20, 30}));
  EXPECT_EQ(FlagsOf(run), kRises);
  EXPECT_EQ(run.XUnit(), curve.XUnit());
  const struct {
    Floats x;
    bool setRange;
    Floats values;
  } kCases[] = {{{10, 50}, false, {100, 200, 300, 400}},   {{50, 10}, false, {100, 200, 300, 400}},
                {{20, 25, 40}, false, {7, 200, 250, 400}}, {{-20, 30}, false, {50, 175, 300, 7}},
                {{1, 5}, true, {10, 20, 30, 40}},          {{60, 90}, false, {7, 7, 7, 7}}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(c.x));
    CSigCurve target = test::MakeCurve({7, 7, 7, 7}, 10, 50);
    MakeRun(c.x).KurveBilden(&target, c.setRange);
    EXPECT_EQ(test::ValuesOf(target), c.values);
    EXPECT_EQ(target.XMax(), c.setRange ? 5.0F : 50.0F);
    EXPECT_EQ(target.InvScaleFactor(), c.x[0] > c.x[1] ? -1.0F : 1.0F);
  }
  CSigCurve fine = test::MakeCurve(Floats(65536), 0, 20000);
  run = fine;
  EXPECT_EQ(run.Punkt(65535), fine.GetPoint(65535)) << "no drift";
  CPolygonCodierung polygon;
  polygon.NeuerPunkt(2, 3);
  polygon.NeuerPunkt(1, 4);
  run.AusPolygonCodierungBilden(polygon);
  EXPECT_EQ(FlagsOf(run), kFalls);
  EXPECT_EQ(run.WertBei(1.5F), 3.5F);
}

}  // namespace
}  // namespace limes
