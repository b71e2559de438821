#include "limes/learning/score.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "limes/learning/distributions.h"

namespace limes {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(Score, Table) {
  const struct {
    double excess, n, score;
  } cases[] = {{3, 3, 1.373737232},    {3, 10, 2.257741660},   {3, 50, 2.807666184},
               {3, 1000, 2.989549550}, {-2, 12, -1.680065230}, {1e6, 10, 14.667914787}};
  for (const auto& c : cases) {
    EXPECT_NEAR(ScoreOf(c.excess, c.n), c.score, 6e-10) << c.excess << ", " << c.n;
  }
  const struct {
    double n, factor;
  } factors[] = {{4, 12.666682713}, {10, 4.539708471}, {50, 3.224555371}, {1000, 3.010534232}};
  for (const auto& c : factors) {
    EXPECT_NEAR(FactorOf(3.0, c.n), c.factor, 6e-10) << c.n;
  }
}

TEST(Score, FactorIsTheExactInverse) {
  for (const double n : {1.25, 2.0, 3.0, 7.3, 10.0, 100.0, 1e4, 1e9}) {
    for (const double e : {1e-12, 0.1, 1.0, 3.0, 20.0, 1e9, 1e200}) {
      const double u = ScoreOf(e, n);
      ASSERT_TRUE(std::isfinite(u) && u > 0.0);
      // Where the score grows with the logarithm of the excess, its own rounding is magnified.
      const double magnified = 1.0 + u * u / (n - 1.0);
      EXPECT_NEAR(FactorOf(u, n) / e, 1.0, 2e-15 * magnified) << n << ", " << e;
      EXPECT_EQ(ScoreOf(-e, n), -u);
      EXPECT_EQ(FactorOf(-u, n), -FactorOf(u, n));
    }
  }
}

TEST(Score, IsDefinedForAllInputs) {
  const struct {
    double value, n, score, factor;
  } cases[] = {
      {3, 1, 0, kInf},       {-3, 0, 0, -kInf},     {3, -kInf, 0, kInf},      {0, 1, 0, 0},
      {3, kInf, 3, 3},       {kInf, 5, kInf, kInf}, {-kInf, 1, -kInf, -kInf}, {kNaN, 5, kNaN, kNaN},
      {3, kNaN, kNaN, kNaN}, {1e4, 10, 11.7, kInf}};
  for (const auto& c : cases) {
    const auto same = [](double a, double b) {
      return a == b || (std::isnan(a) && std::isnan(b)) || std::fabs(a - b) < 2.0;
    };
    EXPECT_TRUE(same(ScoreOf(c.value, c.n), c.score)) << c.value << ", " << c.n;
    EXPECT_TRUE(same(FactorOf(c.value, c.n), c.factor)) << c.value << ", " << c.n;
  }
}

TEST(Distributions, Quantiles) {
  using namespace detail;
  const struct {
    double got, expected, most;
  } cases[] = {{NormalQuantile(0.975), 1.959963984540054, 1e-14},
               {NormalQuantile(0.01), -2.326347874040841, 1e-14},
               {NormalQuantile(1e-12), -7.034483825301131, 1e-12},
               {NormalQuantile(0.5), 0.0, 0.0},
               {ChiSquareQuantile(0.95, 10), 18.307038053275146, 1e-11},
               {ChiSquareQuantile(0.025, 49), 31.554916462667137, 1e-11},
               {ChiSquareQuantile(0.975, 1), 5.023886187314888, 1e-11},
               {BetaQuantile(0.5, 2, 3), 0.38572756813238945, 1e-13},
               {FisherTail(3.325834530413012, 5, 10), 0.05, 1e-12}};
  for (const auto& c : cases) {
    EXPECT_NEAR(c.got, c.expected, c.most) << c.expected;
  }
  EXPECT_TRUE(std::isnan(NormalQuantile(1.5)) && std::isnan(BetaQuantile(kNaN, 1, 1)));
  EXPECT_TRUE(std::isnan(ChiSquareQuantile(0.5, 0.0)));
}

}  // namespace
}  // namespace limes
