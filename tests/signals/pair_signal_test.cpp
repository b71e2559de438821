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

TEST(PairSignal, FlagTable) {
  const struct {
    Floats x;
    bool sorted, inverse;
  } kCases[] = {{{}, true, true},           {{1}, true, true},
                {{1, 2, 3}, true, false},   {{1, 2, 3, 3}, false, false},
                {{3, 2, 1}, false, true},   {{kNaN, 1}, false, false},
                {{-0.0F, 0}, false, false}, {{1, kInf}, true, false}};
  for (const auto& c : kCases) {
    CSigPairs run = MakeRun(c.x);
    EXPECT_EQ(run.IstSortiert(), c.sorted);
    EXPECT_EQ(run.IstInversSortiert(), c.inverse);
    EXPECT_EQ(run.PruefeSortierung(), c.sorted);
    EXPECT_EQ(run.PruefeInverseSortierung(), c.inverse);
    EXPECT_EQ(run.XLen(), c.x.size());
    EXPECT_EQ(run.NPaare(), c.x.size());
    EXPECT_TRUE(run.IsSigPairs());
  }
}

TEST(PairSignal, EmptyRunAnswers) {
  CSigPairs run;
  float lo = 7;
  float hi = 8;
  int index = 5;
  run.XBereich(lo, hi);
  run.YBereich(lo, hi, 0);
  run.GetYRangeX(lo, hi, 0, 1);
  run.GetYRangeXI(lo, hi, 0, 1);
  EXPECT_EQ(run.FindeYMin(lo, &index) + run.FindeYMax(hi, &index), 0.0F);
  EXPECT_EQ(lo + hi, 15.0F) << "untouched";
  EXPECT_EQ(index, -1);
  EXPECT_EQ(run.WertBei(1) + run.MinStepSize() + run.Mittelwert() + run.RmsWert(), 0.0F);
  EXPECT_EQ(run.IndexZu(1, 0) + run.Aendern(0, 1, 2), 0);
  EXPECT_FALSE(run.HatWertBei(0, 1) || run.IsInRange(0) || run.Gueltig());
  EXPECT_EQ(run.PointDistance(1, 1, &index), 0.0F);
  EXPECT_EQ(run.YRange(), CSignal::Range());
  run.CutLeft(1);
  run.CutRight(1);
  run.PunktEntfernen(0);
  run.DatenWenden();
  run.Glaetten(1);
  EXPECT_FALSE(run < run);
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
      LIMES_ROW(({1, 3}), r.NeuesPaarEinsortieren(2, 5), 1, {1, 2, 3}, kRises),
      LIMES_ROW(({1, 2, 3}), r.NeuesPaarEinsortieren(2, 5), 2, {1, 2, 2, 3}, kRises),
      LIMES_ROW(({3, 1}), r.NeuesPaarEinsortieren(2, 5), 1, {3, 2, 1}, kFalls),
      LIMES_ROW(({3, 1, 4}), r.NeuesPaarEinsortieren(2, 5), 1, {1, 2, 3, 4}, kRises),
      LIMES_ROW(({3}), r.NeuesPaarEinsortieren(2, 5), 0, {2, 3}, kRises),
      LIMES_ROW(({1, 2}), r.NeuesPaarEinsortieren(-kInf, 5), 0, {-kInf, 1, 2}, kRises),
      LIMES_ROW(({1, 3, 5}), r.Aendern(1, 4, 5), 1, {1, 4, 5}, kRises),
      LIMES_ROW(({1, 3, 5}), r.Aendern(0, 5, 5), 2, {3, 5, 5}, kRises),
      LIMES_ROW(({5, 3, 1}), r.Aendern(0, 2, 5), 1, {3, 2, 1}, kFalls),
      LIMES_ROW(({1}), r.Aendern(1, 5, 5), 0, {1}, kRises + kFalls),
      LIMES_ROW(({1, 2, 3}), (r.PunkteEntfernen(1, 9), 0), 0, {1}, kRises),
      LIMES_ROW(({1, 2, 3}), (r.DatenWenden(), 0), 0, {3, 2, 1}, kFalls),
      LIMES_ROW(({3, 2, 1}), (r.DatenSortieren(), 0), 0, {1, 2, 3}, kRises),
      LIMES_ROW(({1, 2, 3, 4}), (r.CutLeft(2.5F), 0), 0, {2, 3, 4}, kRises),
      LIMES_ROW(({1, 2, 3, 4}), (r.CutLeft(3), 0), 0, {2, 3, 4}, kRises),
      LIMES_ROW(({1, 2}), (r.CutLeft(2), 0), 0, {}, kRises + kFalls),
      LIMES_ROW(({4, 3, 2, 1}), (r.CutLeft(3.5F), 0), 0, {3, 4}, kRises),
      LIMES_ROW(({1, 2, 3, 4}), (r.CutRight(2.5F), 0), 0, {1, 2}, kRises),
      LIMES_ROW(({1, 2, 3}), (r.CutRight(2), 0), 0, {1, 2}, kRises),
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

}  // namespace
}  // namespace limes
