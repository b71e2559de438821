#include "limes/learning/part_score.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "limes/learning/learning_loops.h"
#include "limes/learning/score.h"
#include "limes/platform/cpu_clones.h"

namespace limes {
namespace {

constexpr float kNoSpread = 0x1p-24F;  ///< of |M|: S is a rounding of the values
constexpr std::size_t kBlock = 512;
constexpr std::size_t kLanes = 16;

/// What a block of points comes to.
struct BlockExcess {
  float above;
  float below;
  float shiftSum;
  std::uint32_t points;
};

/// Shift of each point in spreads, NaN where nothing varies, its opposite, and the base in spreads.
LIMES_CLONES void ShiftValues(float* __restrict shift, float* __restrict opposite,
                              float* __restrict least, const float* __restrict m,
                              const float* __restrict q, const float* __restrict k, std::size_t n,
                              float base) {
  for (std::size_t i = 0; i < n; ++i) {
    const float square = q[i] - m[i] * m[i];
    const float spread = std::sqrt(square > 0.0F ? square : 0.0F);
    const bool varies = spread > kNoSpread * std::fabs(m[i]);
    const float inverse = 1.0F / (varies ? spread : 1.0F);
    const float z = varies ? (k[i] - m[i]) * inverse : std::numeric_limits<float>::quiet_NaN();
    shift[i] = z;
    opposite[i] = -z;
    least[i] = base * inverse;
  }
}

/// The same of means and variances in double, about an offset.
LIMES_CLONES void ShiftPreciseValues(float* __restrict shift, float* __restrict opposite,
                                     float* __restrict least, const float* __restrict offset,
                                     const double* __restrict mean,
                                     const double* __restrict variance, const float* __restrict k,
                                     std::size_t n, double base) {
  for (std::size_t i = 0; i < n; ++i) {
    const double from = offset[i];
    const double spread = std::sqrt(variance[i]);
    const bool varies = spread > double{kNoSpread} * std::fabs(from + mean[i]);
    const double inverse = 1.0 / (varies ? spread : 1.0);
    const float z = varies ? static_cast<float>(((k[i] - from) - mean[i]) * inverse)
                           : std::numeric_limits<float>::quiet_NaN();
    shift[i] = z;
    opposite[i] = -z;
    least[i] = static_cast<float>(base * inverse);
  }
}

/// The largest of both sides, and the sum, in as many lanes on every processor.
LIMES_CLONES BlockExcess Gather(const float* shift, const float* least, std::size_t n) {
  float above[kLanes];
  float below[kLanes];
  float sum[kLanes];
  std::uint32_t points[kLanes];
  for (std::size_t j = 0; j < kLanes; ++j) {
    above[j] = below[j] = -std::numeric_limits<float>::infinity();
    sum[j] = 0.0F;
    points[j] = 0;
  }
  for (std::size_t i = 0; i < n; i += kLanes) {  // the block is padded to whole lanes
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC unroll 1
#endif
    for (std::size_t j = 0; j < kLanes; ++j) {
      const float z = shift[i + j];
      const float up = z - least[i + j];
      const float down = -z - least[i + j];
      above[j] = up > above[j] ? up : above[j];
      below[j] = down > below[j] ? down : below[j];
      sum[j] += z == z ? z : 0.0F;
      points[j] += z == z ? 1U : 0U;
    }
  }
  BlockExcess block{above[0], below[0], sum[0], points[0]};
  for (std::size_t j = 1; j < kLanes; ++j) {
    block.above = std::max(block.above, above[j]);
    block.below = std::max(block.below, below[j]);
    block.shiftSum += sum[j];
    block.points += points[j];
  }
  return block;
}

}  // namespace

SPartScores ScoresOf(const SPartExcess& excess, double n) {
  return {std::max(ScoreOf(excess.above, n), kLowestScore),
          std::max(ScoreOf(excess.below, n), kLowestScore)};
}

SPartScoring SPartScoring::Mirrored() const {
  SPartScoring mirrored = *this;
  std::swap(mirrored.scores.above, mirrored.scores.below);
  std::swap(mirrored.excess.above, mirrored.excess.below);
  std::swap(mirrored.excess.aboveAt, mirrored.excess.belowAt);
  std::swap(mirrored.aboveX, mirrored.belowX);
  mirrored.excess.shiftSum = -excess.shiftSum;
  return mirrored;
}

SPartScores Larger(const SPartScores& a, const SPartScores& b) {
  return {std::max(a.above, b.above), std::max(a.below, b.below), std::max(a.whole, b.whole)};
}

SPartExcess Joined(const SPartExcess& a, const SPartExcess& b) {
  SPartExcess both = a;
  if (b.above > a.above) {
    both.above = b.above;
    both.aboveAt = b.aboveAt;
  }
  if (b.below > a.below) {
    both.below = b.below;
    both.belowAt = b.belowAt;
  }
  both.shiftSum += b.shiftSum;
  both.points += b.points;
  return both;
}

SPartExcess ExcessOf(double x, double mean, double spread, double base) {
  SPartExcess excess;
  if (spread > double{kNoSpread} * std::fabs(mean) && !std::isnan(x)) {
    excess.above = static_cast<float>((x - mean - base) / spread);
    excess.below = static_cast<float>((mean - base - x) / spread);
    excess.shiftSum = (x - mean) / spread;
    excess.points = 1;
  }
  return excess;
}

namespace detail {

namespace {

/// Adds the excess of n points, block by block: shiftBlock(shift, opposite, least, start, count)
/// gives the shifts of one.
template <class ShiftBlock>
void ScoreBlocks(std::size_t n, std::size_t first, SPartExcess& excess, ShiftBlock shiftBlock) {
  std::array<float, kBlock> shift;
  std::array<float, kBlock> opposite;
  std::array<float, kBlock> least;
  for (std::size_t start = 0; start < n; start += kBlock) {
    const std::size_t count = std::min(kBlock, n - start);
    const std::size_t padded = (count + kLanes - 1) / kLanes * kLanes;
    shiftBlock(shift.data(), opposite.data(), least.data(), start, count);
    std::fill(shift.data() + count, shift.data() + padded, std::numeric_limits<float>::quiet_NaN());
    std::fill(least.data() + count, least.data() + padded, 0.0F);
    const BlockExcess block = Gather(shift.data(), least.data(), padded);
    const auto place = [&](const auto& values, float largest) {
      return first + start + FirstDifference(values.data(), least.data(), count, largest);
    };
    if (block.above > excess.above) {
      excess.above = block.above;
      excess.aboveAt = place(shift, block.above);
    }
    if (block.below > excess.below) {
      excess.below = block.below;
      excess.belowAt = place(opposite, block.below);
    }
    excess.shiftSum += double{block.shiftSum};
    excess.points += block.points;
  }
}

}  // namespace

void ScoreValues(const float* m, const float* q, const float* k, std::size_t n, float base,
                 std::size_t first, SPartExcess& excess) {
  ScoreBlocks(n, first, excess,
              [=](float* shift, float* opposite, float* least, std::size_t at, std::size_t count) {
                ShiftValues(shift, opposite, least, m + at, q + at, k + at, count, base);
              });
}

void ScorePreciseValues(const float* offset, const double* shift, const double* variance,
                        const float* k, std::size_t n, float base, std::size_t first,
                        SPartExcess& excess) {
  ScoreBlocks(n, first, excess,
              [=](float* shifts, float* opposite, float* least, std::size_t at, std::size_t count) {
                ShiftPreciseValues(shifts, opposite, least, offset + at, shift + at, variance + at,
                                   k + at, count, double{base});
              });
}

}  // namespace detail
}  // namespace limes
