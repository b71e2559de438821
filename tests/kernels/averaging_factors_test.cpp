#include "limes/kernels/averaging_factors.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

namespace limes::test {
namespace {

using Generator = CExpAverFacGenerator;

TEST(AveragingFactors, Table) {
  constexpr std::tuple<std::int32_t, std::int32_t, float, float> kCases[] = {
      {1, 5, 0.0F, 1.0F},
      {5, 0, 0.0F, 1.0F},
      {5, -3, 0.0F, 1.0F},
      {10, 10000, 0.9F, 1.111111F},
      {2, 1, 0.268941F, 2.543081F},
      {10, 5, 0.790359F, 1.150573F},
      {450000, 10000, 0.9999978F, 1.0000022F},  // the last step
      {500000, 10000, 0.99990001F, 1.00005F},
  };
  for (const auto& [n, scale, factor, correction] : kCases) {
    EXPECT_NEAR(Generator::GetFactor(n, scale), factor, 1e-6) << n << ' ' << scale;
    EXPECT_NEAR(Generator::GetCorrFactor(n, scale), correction, 1e-6);
  }
  EXPECT_TRUE(std::isnan(Generator::GetFactor(5, std::nan(""))));
  // Just below 10000 the general formula holds; it differs from the plain mean's.
  EXPECT_NE(Generator::GetFactor(10000, 9999.5), Generator::GetFactor(10000, 10000.0));
  EXPECT_GT(Generator::GetFactor(5, std::numeric_limits<std::uint32_t>::max()), 0.0F);
}

TEST(AveragingFactors, CounterSaturatesAndSettersCorrect) {
  Generator generator(-7, -1);
  EXPECT_TRUE(generator.GetTime() == 0 && generator.GetTimeScale() == 10000);
  generator.SetTimeScale(10);
  for (int i = 0; i < 500; ++i) {
    ++generator;
  }
  EXPECT_EQ(generator++, 450);
  EXPECT_EQ(++generator, 450);
  generator.SetTimeScale(0);
  generator.ResetTime();
  EXPECT_EQ(generator.TimeStep(), 0);
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  EXPECT_EQ(++Generator(kMost, kMost), kMost);
  EXPECT_EQ(Generator().GetTime(), 1);
}

}  // namespace
}  // namespace limes::test
