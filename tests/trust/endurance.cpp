// Learns ten million measurements and compares with weighted means in extended precision; prints
// one line per learner, time scale and steadiness, and returns 1 when a promise is broken. usage:
// endurance [MEASUREMENTS]
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/signals/extended_curve.h"

namespace limes::test {
namespace {

/// Weighted means of values and squares.
struct Means {
  long double mean = 0.0L;
  long double square = 0.0L;

  void Learn(long double a, long double x) {
    mean = a * mean + (1.0L - a) * x;
    square = a * square + (1.0L - a) * x * x;
  }
  double Mean() const { return static_cast<double>(mean); }
  double Spread() const {
    return static_cast<double>(std::sqrt(std::max(square - mean * mean, 0.0L)));
  }
};

/// The weight of the mean so far, not rounded to float.
long double ExactFactor(std::int32_t n, std::int32_t scale) {
  if (n <= 1) {
    return 0.0L;
  }
  if (scale >= CExpAverFacGenerator::kNoForgetting) {
    return (n - 1.0L) / n;
  }
  const long double q = std::exp(-1.0L / scale);
  const long double end = std::exp(-static_cast<long double>(n) / scale);
  return (q - end) / (1.0L - end);
}

/// Means of values of size 1 over their spread, one point of a curve each.
constexpr std::array kSteadiness = {1.0, 10.0, 100.0, 300.0, 1000.0};
constexpr std::size_t kPoints = kSteadiness.size();

bool g_broken = false;

void Promise(bool kept, const char* what) {
  if (!kept) {
    std::printf("broken: %s\n", what);
    g_broken = true;
  }
}

/// Prints errors in units of the spread. Each step rounds mean and square by at most 3 units
/// `epsilon` of the largest value, and forgets as it forgets values.
void Compare(const char* learner, std::int32_t scale, double steadiness, double epsilon,
             double memory, double mean, double spread, const Means& same, const Means& exact) {
  const double s = same.Spread();
  const double largest = 1.0 + 2.0 / steadiness;
  const double error = 3.0 * epsilon * memory * largest;
  const double readout = std::ldexp(largest, -24);
  const double allowedMean = error + readout;
  // Of the spread's square: errors of the mean square and of the squared mean, at most all of it.
  const double allowedSquare = 3.0 * largest * error + 4.0 * epsilon * largest * largest;
  const double allowedSpread = std::sqrt(s * s + allowedSquare) - s + std::ldexp(s, -23);
  const double missing = s - std::sqrt(std::max(s * s - allowedSquare, 0.0)) + std::ldexp(s, -23);
  std::printf("%-6s %11d %7.0f  %10.2e of %8.1e  %10.2e of %8.1e  %10.2e %10.2e\n", learner, scale,
              steadiness, std::fabs(mean - same.Mean()) / s, allowedMean / s,
              std::fabs(spread - s) / s, std::max(allowedSpread, missing) / s,
              std::fabs(mean - exact.Mean()) / s, std::fabs(spread - exact.Spread()) / s);
  Promise(std::fabs(mean - same.Mean()) <= allowedMean, "mean");
  Promise(spread - s <= allowedSpread && s - spread <= missing, "spread");
}

void Learn(std::int32_t measurements, std::int32_t scale) {
  std::array<CLernenderGrenzwert, kPoints> values;
  CSigCurveExt curve = CSigCurveExt::Make(static_cast<int>(kPoints), 0.0F, 1.0F);
  CKurvenLernWerkzeug tool;
  tool.Bildungsregel(0.0F, 3.0F, 0.0F);
  tool.Vorlage(&curve);
  tool.Neustart(scale);
  for (CLernenderGrenzwert& value : values) {
    value.Neustart(scale);
  }
  std::array<Means, kPoints> same;
  std::array<Means, kPoints> exact;
  std::mt19937 random(7);
  const auto uniform = [&] { return static_cast<double>(random()) * 0x1p-32 - 0.5; };
  rusage before{};
  for (std::int32_t i = 0; i < measurements; ++i) {
    for (std::size_t p = 0; p < kPoints; ++p) {
      const double noise = uniform() + uniform();
      curve.ValArray()[p] = static_cast<float>(1.0 + noise * std::sqrt(6.0) / kSteadiness[p]);
    }
    tool.NeueMessung(&curve);
    tool.StandardAbwBilden();
    tool.UpdateLimit();
    const long double a = tool.Generator().CurrentFactor();
    const long double exactA = ExactFactor(tool.Generator().GetTime(), scale);
    for (std::size_t p = 0; p < kPoints; ++p) {
      const float x = curve.ValArray()[p];
      values[p].NeueMessung(x);
      same[p].Learn(a, x);
      exact[p].Learn(exactA, x);
    }
    if (i == 1) {
      getrusage(RUSAGE_SELF, &before);
    }
  }
  rusage after{};
  getrusage(RUSAGE_SELF, &after);
  Promise(after.ru_maxrss - before.ru_maxrss <= 512, "memory stays the same");
  const auto stop =
      static_cast<std::int32_t>(std::min(std::int64_t{measurements}, 45 * std::int64_t{scale}));
  Promise(tool.NrGelernt() == measurements && tool.Generator().GetTime() == stop, "curve's counts");
  const double memory = 1.0 / (1.0 - double{tool.Generator().CurrentFactor()});
  for (std::size_t p = 0; p < kPoints; ++p) {
    const CLernenderGrenzwert& value = values[p];
    Promise(value.NrGelernt() == measurements && value.Generator().GetTime() == stop,
            "value's counts");
    Compare("value", scale, kSteadiness[p], 0x1p-53, memory, value.Mittelwert(), value.StdDev(),
            same[p], exact[p]);
  }
  for (std::size_t p = 0; p < kPoints; ++p) {
    const int i = static_cast<int>(p);
    Compare("curve", scale, kSteadiness[p], 0x1p-24, memory, (*tool.Mittelwert())[i],
            (*tool.StandardAbw())[i], same[p], exact[p]);
  }
}

/// The counts stop at the largest number instead of becoming negative.
void LearnToTheEnd() {
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  CSigCurveExt curve = CSigCurveExt::Make(1, 0.0F, 1.0F);
  CKurvenLernWerkzeug tool;
  tool.Vorlage(&curve);
  tool.Neustart(kMost);
  tool.ExterneLernzahl(kMost - 1);
  CLernenderGrenzwert value;
  value.Neustart(kMost);
  value.ExterneLernzahl(kMost - 1);
  for (int i = 0; i < 3; ++i) {
    tool.NeueMessung(&curve);
    value.NeueMessung(1.0F);
  }
  Promise(tool.NrGelernt() == kMost && value.NrGelernt() == kMost &&
              value.Generator().GetTime() == kMost,
          "counts stop at the largest number");
}

}  // namespace
}  // namespace limes::test

int main(int argc, char** argv) {
  const std::int32_t measurements = argc > 1 ? std::atoi(argv[1]) : 10'000'000;
  std::printf("%d measurements; errors in units of the spread\n", measurements);
  std::printf(
      "learner time scale    M/S  of the mean    allowed  of the spread  allowed"
      "  both with exact weights\n");
  for (const std::int32_t scale : {100, 1000, 10000, std::numeric_limits<std::int32_t>::max()}) {
    limes::test::Learn(measurements, scale);
  }
  limes::test::LearnToTheEnd();
  return limes::test::g_broken ? 1 : 0;
}
