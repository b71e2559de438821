#include "limes/learning/mode_loops.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <random>

#include "limes/learning/aligned_row.h"
#include "tests/support/bits.h"

namespace limes::test {
namespace {

using detail::AlignedRow;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Sums in eight lanes, one value at a time.
double PlainDot(const double* x, const double* y, std::size_t n) {
  double s[8] = {};
  for (std::size_t i = 0; i < n; ++i) {
    s[i % 8] += x[i] * y[i];
  }
  return ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7]));
}

AlignedRow Random(std::size_t n) {
  std::mt19937_64 random(n);
  AlignedRow row(n);
  for (double& x : row) {
    x = std::ldexp(static_cast<double>(random() >> 11), -40) - 3e3;
  }
  return row;
}

bool SameBits(double x, double y) {
  return std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(y);
}

TEST(ModeLoops, VectorsGiveTheBitsOfPlainLoops) {
  constexpr std::size_t kStride = 88;
  for (const std::size_t n : {0U, 8U, 24U, 80U}) {
    for (std::size_t count = 0; count < 21; ++count) {
      const AlignedRow rows = Random(21 * kStride);
      const AlignedRow factors = Random(21 * 32);
      AlignedRow dots(count, 0.5);
      AlignedRow products(21 * 24, 0.25);
      AlignedRow sums(9 * kStride, 7.0);
      detail::AddDots(rows.data(), rows.data(), kStride, count, n, dots.data());
      detail::AddProducts(rows.data(), kStride, count, n, products.data(), 24);
      detail::CombineRows(sums.data(), kStride, 9, rows.data(), kStride, count, n, factors.data(),
                          32);
      bool same = true;
      for (std::size_t r = 0; r < count; ++r) {
        const double* const row = rows.data() + r * kStride;
        same &= SameBits(dots[r], 0.5 + PlainDot(rows.data(), row, n));
        for (std::size_t c = 0; c <= r; ++c) {
          const double dot = PlainDot(row, rows.data() + c * kStride, n);
          same &= SameBits(products[r * 24 + c], 0.25 + dot);
        }
      }
      for (std::size_t k = 0; k < 9; ++k) {
        for (std::size_t i = 0; i < n; ++i) {
          const double* const f = factors.data() + k * 32;
          const auto term = [&](std::size_t r) { return f[r] * rows[r * kStride + i]; };
          double sum = 0.0;
          std::size_t r = 0;
          for (; r + 8 <= count; r += 8) {
            sum += ((term(r) + term(r + 1)) + (term(r + 2) + term(r + 3))) +
                   ((term(r + 4) + term(r + 5)) + (term(r + 6) + term(r + 7)));
          }
          for (; r < count; ++r) {
            sum += term(r);
          }
          same &= SameBits(sums[k * kStride + i], sum);
        }
        same &= sums[k * kStride + n] == 7.0;
      }
      EXPECT_TRUE(same) << count << " rows of " << n;
    }
  }
}

TEST(ModeLoops, FindsWhereAPointLiesFarthestOut) {
  std::mt19937 random(5);
  const auto draw = [&random](unsigned of) { return static_cast<double>(random() % of); };
  for (std::size_t n = 0; n < 150; ++n) {
    AlignedRow x(n);
    AlignedRow expected(n);
    AlignedRow spread(n);
    detail::SFarthest plain{-kInfinity, -kInfinity};
    std::int64_t measured = 0;
    for (std::size_t i = 0; i < n; ++i) {
      x[i] = draw(9) == 0.0 ? std::nan("") : draw(7);  // many ties
      expected[i] = draw(3);
      spread[i] = draw(4);
      measured += std::isnan(x[i]) ? 0 : 1;
      const double up = spread[i] > 0.0 ? (x[i] - expected[i] - 0.5) / spread[i] : -kInfinity;
      const double down = spread[i] > 0.0 ? (expected[i] - x[i] - 0.5) / spread[i] : -kInfinity;
      plain.aboveAt = up > plain.above ? i : plain.aboveAt;
      plain.belowAt = down > plain.below ? i : plain.belowAt;
      plain.above = up > plain.above ? up : plain.above;
      plain.below = down > plain.below ? down : plain.below;
    }
    const auto found = detail::FarthestOut(x.data(), expected.data(), spread.data(), n, 0.5);
    EXPECT_EQ(found.above, plain.above) << n;
    EXPECT_EQ(found.below, plain.below) << n;
    EXPECT_EQ(found.aboveAt, plain.aboveAt) << n;
    EXPECT_EQ(found.belowAt, plain.belowAt) << n;
    const detail::SModeCounts counts = detail::CountModeValues(x.data(), n, 5.0);
    EXPECT_EQ(counts.measured, measured);
    EXPECT_EQ(counts.beyond, std::count(x.begin(), x.end(), 6.0));
  }
}

}  // namespace
}  // namespace limes::test
