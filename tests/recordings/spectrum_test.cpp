#include "recordings/forming/spectrum.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>

#include "tests/support/bits.h"

namespace limes::recordings {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;

/// The formula as it stands, in double; the window's values have the sum n / 2.
std::vector<double> Plain(const std::vector<float>& signal, std::size_t n, double reference) {
  const double turn = kTwoPi / static_cast<double>(n);
  std::vector<double> power(n / 2 - 1);
  double segments = 0.0;
  for (std::size_t start = 0; start + n <= signal.size(); start += n / 2, ++segments) {
    for (std::size_t k = 1; k < n / 2; ++k) {
      std::complex<double> x;
      for (std::size_t i = 0; i < n; ++i) {
        x += (0.5 - 0.5 * std::cos(turn * static_cast<double>(i))) * signal[start + i] *
             std::polar(1.0, -turn * static_cast<double>(k * i % n));
      }
      power[k - 1] += std::norm(x);
    }
  }
  for (double& p : power) {
    p = 20.0 * std::log10(std::sqrt(2.0 * p / segments) * 2.0 / static_cast<double>(n) / reference);
  }
  return power;
}

TEST(LevelSpectrum, IsTheFormula) {
  std::mt19937 random(5);
  for (const std::uint32_t n : {4U, 6U, 14U, 64U, 100U, 250U}) {
    for (const std::size_t extra : {0U, 1U, 3U * n + 7U, 9U * n}) {
      const std::vector<float> signal = limes::test::RandomFloats(random, n + extra, 0);
      CLevelSpectrum spectrum(n, 2e-5);
      std::vector<float> levels;
      spectrum.Form(signal, levels);
      const auto plain = Plain(signal, n, 2e-5);
      ASSERT_EQ(levels.size(), plain.size());
      for (std::size_t k = 0; k < plain.size(); ++k) {
        EXPECT_NEAR(levels[k], plain[k], 0.02) << n << " " << k;
      }
    }
  }
}

TEST(LevelSpectrum, HasAFloorAndNeedsOneSegment) {
  CLevelSpectrum spectrum(16, 1.0);
  std::vector<float> levels;
  spectrum.Form(std::vector<float>(16), levels);
  EXPECT_EQ(levels, std::vector<float>(7, -240.0F));
  spectrum.Form(std::vector<float>(15), levels);
  EXPECT_TRUE(levels.empty());
}

}  // namespace
}  // namespace limes::recordings
