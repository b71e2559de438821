#include "limes/learning/curve_shift.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace limes::test {
namespace {

constexpr float kGap = std::numeric_limits<float>::quiet_NaN();

/// A bump and a slope, late by so many steps, and noise.
std::vector<float> Bump(double late, double noise = 0.02, std::size_t n = 60) {
  std::mt19937 random(3);
  std::vector<float> curve;
  for (std::size_t i = 0; i < n; ++i) {
    const double x = static_cast<double>(i) - late;
    const double error = static_cast<double>(random() % 2001) / 1000.0 - 1.0;
    curve.push_back(static_cast<float>(5.0 + 3.0 * std::exp(-0.02 * (x - 30.0) * (x - 30.0)) +
                                       0.01 * x + noise * error));
  }
  return curve;
}

TEST(CurveShift, Table) {
  std::vector<float> gaps = Bump(4.0);
  std::fill(gaps.begin() + 5, gaps.begin() + 20, kGap);
  std::vector<float> mostlyGaps = Bump(4.0);
  std::fill(mostlyGaps.begin(), mostlyGaps.begin() + 40, kGap);
  const std::vector<float> mean = Bump(0.0, 0.0);
  const struct {
    const char* name;
    std::vector<float> curve, mean;
    std::size_t lag;
    ShiftBasis basis;
    std::ptrdiff_t steps;
    double shift;
  } cases[] = {
      {"as the mean", Bump(0.0), mean, 8, ShiftBasis::kFound, 0, 0.0},
      {"late", Bump(5.0), mean, 8, ShiftBasis::kFound, 5, 5.0},
      {"less than half a step", Bump(-0.4), mean, 8, ShiftBasis::kFound, 0, -0.4},
      {"early, between steps", Bump(-3.3), mean, 8, ShiftBasis::kFound, -3, -3.3},
      {"with gaps", gaps, mean, 8, ShiftBasis::kFound, 4, 4.0},
      {"too little is there", mostlyGaps, mean, 8, ShiftBasis::kUnclear, 0, 0.0},
      {"at the edge", Bump(8.0), mean, 8, ShiftBasis::kAtEdge, 0, 8.0},
      {"beyond the edge", Bump(-9.0), mean, 8, ShiftBasis::kAtEdge, 0, -8.0},
      {"further, where it is unlike", Bump(-11.0), mean, 8, ShiftBasis::kUnclear, 0, 0.0},
      {"far away", Bump(28.0), mean, 4, ShiftBasis::kUnclear, 0, 0.0},
      {"lag beyond the curve", Bump(5.0), mean, 1000, ShiftBasis::kFound, 5, 5.0},
      {"no lag", Bump(5.0), mean, 0, ShiftBasis::kUnclear, 0, 0.0},
      {"noise", Bump(0.0, 30.0), mean, 8, ShiftBasis::kUnclear, 0, 0.0},
      {"constant curve", std::vector<float>(60, 2.0F), mean, 8, ShiftBasis::kUnclear, 0, 0.0},
      {"constant mean", Bump(5.0), std::vector<float>(60, 2.0F), 8, ShiftBasis::kUnclear, 0, 0.0},
      {"no mean", Bump(5.0), {}, 8, ShiftBasis::kUnclear, 0, 0.0},
      {"no curve", {}, mean, 8, ShiftBasis::kUnclear, 0, 0.0},
      {"two points", {1.0F, 2.0F}, {2.0F, 1.0F}, 8, ShiftBasis::kUnclear, 0, 0.0},
      {"shorter than the mean", Bump(5.0, 0.02, 45), mean, 8, ShiftBasis::kFound, 5, 5.0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const SCurveShift found = FindShift(c.curve, c.mean, c.lag);
    EXPECT_EQ(found.basis, c.basis) << found.correlation;
    EXPECT_EQ(found.steps, c.steps);
    EXPECT_NEAR(found.shift, c.shift, 0.2);
  }
}

}  // namespace
}  // namespace limes::test
