#include "limes/signals/pair_signal.h"

#include "limes/kernels/polygon_coding.h"
#include "tests/support/curves.h"
#include "tests/support/pair_model.h"

namespace limes::test {
namespace {

/// Pairs (x, x |x|), appended: on no line, so that each wrong neighbour shows.
CSigPairs MakeRun(const Floats& x) {
  CSigPairs run;
  for (const float at : x) {
    run.NeuesPaar(at, at * std::fabs(at));
  }
  return run;
}

Floats XOf(const CSigPairs& run) { return {run.Punkte(), run.PunkteEnd()}; }

/// 1 rises, 2 falls.
int FlagsOf(const CSigPairs& run) { return run.IstSortiert() + 2 * run.IstInversSortiert(); }

TEST(PairSignal, EmptyRunAnswers) {
  CSigPairs run;
  EXPECT_SHOWN("1 3", run.IsSigPairs(), FlagsOf(run));
  float lo = 7;
  float hi = 8;
  int index = 5;
  run.XBereich(lo, hi);
  run.GetYRangeX(lo, hi, 0, 1);
  run.GetYRangeXI(lo, hi, 0, 1);
  EXPECT_SHOWN("0 0 7 8 0 -1 0 0", run.FindeYMin(lo, &index), run.FindeYMax(hi), lo, hi,
               run.WertBei(1), index, run.IndexZu(1, 0), run.Aendern(0, 1, 2));
  EXPECT_SHOWN("0 0 0 0", run.HatWertBei(0, 1), run.IsInRange(0), run < run,
               run.PointDistance(1, 1));
  EXPECT_EQ(run.PunkteEnd() - run.Punkte(), 0);
}

/// An operation on pairs (x, 10 x) as a row of a table; its result, x, y and the flags of order.
#define LIMES_ROW(x, operation, shown)                                                     \
  {                                                                                        \
#operation, Floats x, [](CSigPairs & r) { return static_cast<int>(operation); }, shown \
  }

TEST(PairSignal, EveryStepAgreesWithPlainLoops) {
  for (unsigned seed = 0; seed < 2500; ++seed) {
    pairs::Source from{std::mt19937(seed), static_cast<int>(seed % 4)};
    CSigPairs run;
    pairs::Model model;
    Fill(from, run, model);
    for (int step = 0; step < 8; ++step) {
      const unsigned what = Step(from, run, model);
      ASSERT_TRUE(Agree(run, model) && LooksUpAlike(from, run, model))
          << "seed " << seed << " step " << step << " op " << what;
    }
  }
}

// What the loops above do not compare.
TEST(PairSignal, OperationTable) {
  const std::tuple<const char*, Floats, int (*)(CSigPairs&), const char*> kCases[] = {
      LIMES_ROW(({1}), r.Aendern(1, 5, 5), "0 {1} {1} 3"),
      LIMES_ROW(({1, 2, 3}), r.Resize(2), "1 {1 2} {1 4} 1"),
      LIMES_ROW(({1, 2, 3}), r.AbschnittKopieren(r, 2, 9), "2 {2 3} {4 9} 1"),
      LIMES_ROW(({3, 2, 1}), r.AbschnittKopierenIdx(r, -4, 1), "2 {3 2} {9 4} 2"),
      LIMES_ROW(({1, 2}), r.Append(r), "1 {1 2 1 2} {1 4 1 4} 0"),
      LIMES_ROW(({1, 2}), r.Resize(1U << 31) || r.NeueGroesse(1U << 30), "0 {1 2} {1 4} 1"),
      LIMES_ROW(({1, 2}), (r.Free(), 0), "0 {} {} 1"),
      LIMES_ROW(({1, 2}), (r /= 0, 0), "0 {1 2} {0 0} 1"),
      LIMES_ROW(({1, 2}), (r /= 4, r += 1, r -= 2, 0), "0 {1 2} {-0.75 0} 1"),
      LIMES_ROW(({1, 2, 3}), (r << 5, 0), "0 {1 2 3} {1 4 5} 1"),
      LIMES_ROW(({1, 2, kNaN}), (r >> 3, 0), "0 {1 2 nan} {3 4 nan} 0"),
      LIMES_ROW(({-1, 10}), (r.WurzelZiehen(), 0), "0 {-1 10} {0 10} 1"),
      LIMES_ROW(({-1, 1}), (r.Abs(), r.DatenSpiegeln(), 0), "0 {-1 1} {-1 -1} 1"),
      LIMES_ROW(({1, 2, 4}), r.Mittelwert(), "7 {1 2 4} {1 4 16} 1"),
      LIMES_ROW(({1, 2, 3}), (r /= r - MakeRun({2, 4}), 0), "0 {2 3} {0 -9} 1"),
      LIMES_ROW(({2, 3}), (r += MakeRun({5, 6}), 0), "0 {} {} 3"),
      LIMES_ROW(({2, 3}), (r.UnionWith(MakeRun({6, 5})), 0), "0 {2 3 5 6} {4 9 25 36} 1"),
      LIMES_ROW(({1, 2, 3, 4, 5}), (r.Unterabtasten(3, true), 0), "0 {1 4 5} {1 9.666667 25} 1"),
      LIMES_ROW(({1, 2, 3, 4, 5}), (r.Unterabtasten(3, false), 0), "0 {1 4 5} {1 16 25} 1"),
      LIMES_ROW(({1, 4}), r < MakeRun({1, 4}) + MakeRun({1, 4}), "1 {1 4} {1 16} 1"),
      LIMES_ROW(({1, 4}), r > MakeRun({7, 9}), "0 {1 4} {1 16} 1"),
      LIMES_ROW(({3, 4}), r > MakeCurve({5, 9}, 0, 8), "1 {3 4} {9 16} 1"),
  };
  for (const auto& [name, x, operation, expected] : kCases) {
    CSigPairs run = MakeRun(x);
    const int result = operation(run);
    const Floats y(run.Werte(), run.WerteEnd());
    EXPECT_SHOWN(expected, result, XOf(run), y, FlagsOf(run)) << name;
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
  EXPECT_SHOWN("30.871346 43.326664 56 2", deviation, run.RmsWert(),
               run.MaxKurvenAbstand(MakeCurve({60, 60}, 2, 7), &x, true), x);
  for (const float stored : {0.05F, -5.0F, -101.0F}) {
    stored < -100 ? run.PunktgleichheitAutoToleranz() : run.PunktgleichheitToleranz(stored);
    ASSERT_TRUE(run.OperationVorbereiten(run, x));
    EXPECT_FLOAT_EQ(x, 0.05F);
  }
  run.PunktgleichheitToleranzP(5);
  run.Nummer() = -1;
  run.SetzeNummerOH(7);
  EXPECT_SHOWN("-5 524287", run.PunktgleichheitToleranz(), run.Nummer());
  run.NummerOH_Neu();
  EXPECT_EQ(run.Nummer() + run.NummerOH(), 0xFFFF);
}

TEST(PairSignal, CurvesThereAndBack) {
  CSigCurveExt curve = MakeCurve<CSigCurveExt>({1, 2, 3, 4}, 10, 50);
  curve.SetVIMinMax(1, 2);
  curve.SetXUnit(u"Hz");
  CSigPairs run(curve);
  EXPECT_SHOWN("{20 30} 1 Hz", XOf(run), FlagsOf(run), run.XUnit().mainunit());
  const std::pair<Floats, const char*> kCases[] = {// values, x max, inverse scale
                                                   {{10, 50}, "{100 700 1300 1900} 50 1"},
                                                   {{50, 10}, "{100 700 1300 1900} 50 -1"},
                                                   {{20, 25, 40}, "{7 400 625 1600} 50 1"},
                                                   {{-20, 30}, "{250 575 900 7} 50 1"},
                                                   {{1, 5}, "{1 7 13 19} 5 1"},
                                                   {{60, 90}, "{7 7 7 7} 50 1"}};
  for (const auto& [x, expected] : kCases) {
    CSigCurve target = MakeCurve({7, 7, 7, 7}, 10, 50);
    MakeRun(x).KurveBilden(&target, x[1] == 5);
    EXPECT_SHOWN(expected, ValuesOf(target), target.XMax(), target.InvScaleFactor());
  }
  CSigCurve fine = MakeCurve(Floats(65536), 0, 20000);
  run = fine;
  EXPECT_EQ(run.Punkt(65535), fine.GetPoint(65535)) << "no drift";
  run.SetYUnit(u"dB(Pa)");
  CMeasuringUnit::SetGlobalFlag(CMeasuringUnit::kShowDbA, true);
  fine.SetYUnit(u"dB(Pa)");
  CMeasuringUnit::SetGlobalFlag(CMeasuringUnit::kShowDbA, false);
  run = fine;
  EXPECT_EQ(run.YUnit(), u"dB(A)") << "units are copied with the text they show";
  CPolygonCodierung polygon;
  polygon.NeuerPunkt(2, 3);
  polygon.NeuerPunkt(1, 4);
  run.AusPolygonCodierungBilden(polygon);
  EXPECT_SHOWN("2 3.5", FlagsOf(run), run.WertBei(1.5F));
}

TEST(PairSignal, OperatorsAreCombinations) {
  using Run = CSigPairs;
  const Run a = MakeRun({1, 2, 4});
  const Run b = MakeRun({2, 3});
  const auto expect = [&](int code, const Run& made, const Run& applied) {
    Run combined = a;
    combined.Verrechnen(b, code);
    for (const Run* const run : {&made, &applied}) {
      EXPECT_EQ(XOf(*run), XOf(combined)) << code;
      EXPECT_EQ(Floats(run->Werte(), run->WerteEnd()),
                Floats(combined.Werte(), combined.WerteEnd()))
          << code;
    }
  };
  expect(Run::kUnion, a | b, Run(a) |= b);
  expect(Run::kIntersection, a & b, Run(a) &= b);
  expect(Run::kPlus, a + b, Run(a) += b);
  expect(Run::kMinus, a - b, Run(a) -= b);
  expect(Run::kTimes, a * b, Run(a) *= b);
  expect(Run::kDivided, a / b, Run(a) /= b);
  expect(Run::kPlusSquare, Run(a).AddSquared(b), Run(a).AddSquared(b));
  expect(Run::kMinusSquare, Run(a).SubtractSquared(b), Run(a).SubtractSquared(b));
}

}  // namespace
}  // namespace limes::test
