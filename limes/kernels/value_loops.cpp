#include "limes/kernels/value_loops.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "limes/kernels/element_loops.h"
#include "limes/platform/cpu_clones.h"

namespace limes::detail {

namespace {

template <class Op>
inline void ForEach(float* y, std::size_t n, Op op) {
  LIMES_UNROLL
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = op(y[i]);
  }
}

// The compiler tests for overlap itself and then runs the plain loop.
template <class Op>
inline void ForBoth(float* y, const float* s, std::size_t n, Op op) {
  LIMES_UNROLL
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = op(y[i], s[i]);
  }
}

}  // namespace

LIMES_CLONES void FillValues(float* y, std::size_t n, float c) {
  ForEach(y, n, [c](float) { return c; });
}

LIMES_CLONES void AddConstant(float* y, std::size_t n, float c) {
  ForEach(y, n, [c](float v) { return v + c; });
}

LIMES_CLONES void SubtractConstant(float* y, std::size_t n, float c) {
  ForEach(y, n, [c](float v) { return v - c; });
}

LIMES_CLONES void MultiplyBy(float* y, std::size_t n, float c) {
  ForEach(y, n, [c](float v) { return v * c; });
}

LIMES_CLONES void NegateValues(float* y, std::size_t n) {
  ForEach(y, n, [](float v) { return -v; });
}

LIMES_CLONES void AbsoluteValues(float* y, std::size_t n) {
  ForEach(y, n, [](float v) { return std::fabs(v); });
}

LIMES_CLONES void SquareValues(float* y, std::size_t n) {
  ForEach(y, n, [](float v) { return v * v; });
}

LIMES_CLONES void RootOfValues(float* y, std::size_t n) {
  // The choice before the root leaves no branch in the loop.
  ForEach(y, n, [](float v) { return std::sqrt(v > 0.0F ? v : 0.0F); });
}

LIMES_CLONES void RaiseTo(float* y, std::size_t n, float c) {
  ForEach(y, n, [c](float v) { return v <= c ? c : v; });
}

LIMES_CLONES void LowerTo(float* y, std::size_t n, float c) {
  ForEach(y, n, [c](float v) { return v >= c ? c : v; });
}

LIMES_CLONES void AddValues(float* y, const float* s, std::size_t n) {
  ForBoth(y, s, n, [](float v, float o) { return v + o; });
}

LIMES_CLONES void SubtractValues(float* y, const float* s, std::size_t n) {
  ForBoth(y, s, n, [](float v, float o) { return v - o; });
}

LIMES_CLONES void SubtractSquares(float* y, const float* s, std::size_t n) {
  ForBoth(y, s, n, [](float v, float o) { return v - o * o; });
}

LIMES_CLONES void AddScaled(float* y, const float* s, std::size_t n, float w) {
  ForBoth(y, s, n, [w](float v, float o) { return v + w * o; });
}

LIMES_CLONES void AddScaledSquares(float* y, const float* s, std::size_t n, float w) {
  ForBoth(y, s, n, [w](float v, float o) { return v + w * (o * o); });
}

LIMES_CLONES void AddScaledTimes(float* y, const float* s, std::size_t n, float w) {
  ForBoth(y, s, n, [w](float v, float o) { return v + (w * o) * o; });
}

LIMES_CLONES void TakeSmaller(float* y, const float* s, std::size_t n) {
  ForBoth(y, s, n, [](float v, float o) { return o < v ? o : v; });
}

LIMES_CLONES void TakeLarger(float* y, const float* s, std::size_t n) {
  ForBoth(y, s, n, [](float v, float o) { return o > v ? o : v; });
}

void MoveValues(float* target, const float* source, std::size_t n) {
  if (n > 0) {
    std::memmove(target, source, n * sizeof(float));
  }
}

namespace {

// Eight lanes, which the compiler halves where the processor's are shorter; four rows at a time, so
// that no minimum waits for the one before.
using Lanes __attribute__((vector_size(32))) = float;
constexpr std::size_t kWidth = 8;
constexpr std::size_t kRows = 4;
constexpr std::size_t kStep = kWidth * kRows;
constexpr std::size_t kBlock = 512;  ///< values between two looks at the lanes

// By reference: vectors that are passed as such depend on the processor.

/// a becomes the lower (the higher) one of both; it stays where they tie or b is NaN.
struct SLower {
  void operator()(Lanes& a, const Lanes& b) const { a = b < a ? b : a; }
};
struct SHigher {
  void operator()(Lanes& a, const Lanes& b) const { a = b > a ? b : a; }
};

/// All lanes of all rows against each other.
template <class Of>
__attribute__((always_inline)) inline float Fold(Lanes (&rows)[kRows], Of of) {
  of(rows[0], rows[1]);
  of(rows[2], rows[3]);
  of(rows[0], rows[2]);
  Lanes& v = rows[0];
  of(v, __builtin_shufflevector(v, v, 4, 5, 6, 7, 0, 1, 2, 3));
  of(v, __builtin_shufflevector(v, v, 2, 3, 0, 1, 6, 7, 4, 5));
  of(v, __builtin_shufflevector(v, v, 1, 0, 3, 2, 5, 4, 7, 6));
  return v[0];
}

/// Extremes of n >= kStep values, begun at the given bounds. A lane keeps its value on NaN and on
/// ties, as the plain loop does; only the sign of a zero may be another's.
LIMES_CLONES SBounds LaneBounds(const float* y, std::size_t n, SBounds start) {
  Lanes low[kRows];
  Lanes high[kRows];
  for (std::size_t r = 0; r < kRows; ++r) {
    low[r] = start.min - Lanes{};
    high[r] = start.max - Lanes{};
  }
  for (std::size_t i = 0; i < n; i += kStep) {
    const float* const rows = y + std::min(i, n - kStep);  // some once more at the end
    for (std::size_t r = 0; r < kRows; ++r) {
      Lanes row;
      std::memcpy(&row, rows + r * kWidth, sizeof(row));
      SLower()(low[r], row);
      SHigher()(high[r], row);
    }
  }
  return {Fold(low, SLower()), Fold(high, SHigher())};
}

/// The same, one by one where that is faster.
inline SBounds BoundsFrom(SBounds start, const float* y, std::size_t n) {
  if (n >= kWorthLanes) {
    return LaneBounds(y, n, start);
  }
  for (std::size_t i = 0; i < n; ++i) {
    start.min = y[i] < start.min ? y[i] : start.min;
    start.max = y[i] > start.max ? y[i] : start.max;
  }
  return start;
}

/// Index of the first of n values that equals value; n when there is none.
LIMES_CLONES std::size_t FirstEqual(const float* y, std::size_t n, float value) {
  constexpr std::size_t kRow = 64;
  std::size_t i = 0;
  for (; i + kRow <= n; i += kRow) {
    unsigned hit = 0;
#pragma GCC unroll 1
    for (std::size_t k = 0; k < kRow; ++k) {
      hit |= static_cast<unsigned>(y[i + k] == value);
    }
    if (hit != 0) {
      break;
    }
  }
  while (i < n && y[i] != value) {
    ++i;
  }
  return i;
}

}  // namespace

namespace {

/// Bounds of start and n values behind those of it.
SBounds JoinBounds(SBounds start, const float* y, std::size_t n) {
  SBounds bounds = BoundsFrom(start, y, n);
  // Of zeros the first one counts, with its sign.
  if (bounds.min == 0.0F && start.min != 0.0F) {
    bounds.min = y[FirstEqual(y, n, 0.0F)];
  }
  if (bounds.max == 0.0F && start.max != 0.0F) {
    bounds.max = y[FirstEqual(y, n, 0.0F)];
  }
  return bounds;
}

}  // namespace

SBounds FindBounds(const float* y, std::size_t n) { return JoinBounds({y[0], y[0]}, y, n); }

SBounds FindBounds(const float* y, std::size_t n, std::size_t inc) {
  SBounds bounds{y[0], y[0]};
  if (inc == 1) {
    return JoinBounds(bounds, y, n);
  }
  constexpr std::size_t kGathered = 512;
  float row[kGathered];
  for (std::size_t i = 0; i < n; i += kGathered) {
    const std::size_t size = std::min(kGathered, n - i);
    for (std::size_t k = 0; k < size; ++k) {
      row[k] = y[(i + k) * inc];
    }
    bounds = JoinBounds(bounds, row, size);
  }
  return bounds;
}

namespace {

/// The extreme values of n > 0, and the blocks where they lie first; zeros of either sign are
/// alike.
struct SPlaces {
  SPlaces(const float* y, std::size_t n) {
    const SBounds first{y[0], y[0]};
    value = first;
    for (std::size_t i = 0; i < n; i += kBlock) {
      const SBounds bounds = BoundsFrom(first, y + i, std::min(kBlock, n - i));
      block.min = bounds.min < value.min ? i : block.min;
      block.max = bounds.max > value.max ? i : block.max;
      value.min = bounds.min < value.min ? bounds.min : value.min;
      value.max = bounds.max > value.max ? bounds.max : value.max;
    }
  }

  SBounds value;
  SExtremes block = {0, 0};
};

/// Index of a value that is there from the block on; 0 for NaN, which only the first one can be.
std::size_t IndexOf(float value, const float* y, std::size_t n, std::size_t block) {
  return std::isnan(value) ? 0 : block + FirstEqual(y + block, n - block, value);
}

}  // namespace

SExtremes FindExtremes(const float* y, std::size_t n) {
  const SPlaces places(y, n);
  return {IndexOf(places.value.min, y, n, places.block.min),
          IndexOf(places.value.max, y, n, places.block.max)};
}

std::size_t FindSmallest(const float* y, std::size_t n) {
  const SPlaces places(y, n);
  return IndexOf(places.value.min, y, n, places.block.min);
}

std::size_t FindLargest(const float* y, std::size_t n) {
  const SPlaces places(y, n);
  return IndexOf(places.value.max, y, n, places.block.max);
}

LIMES_CLONES void CodeValues(const float* y, std::size_t n, SBounds bounds, std::uint8_t* bytes) {
  const float scale = bounds.max == bounds.min ? 0.0F : 1.0F / (bounds.max - bounds.min);
  for (std::size_t i = 0; i < n; ++i) {
    const float relative = (y[i] - bounds.min) * scale;
    const float q = relative < 2.0F ? relative : 0.0F;  // NaN and infinities are no bytes
    // trunc(q * 255 + 0.5) of the exact product, with floats only: the rounding error of the
    // product is a float too (T. J. Dekker, A floating-point technique for extending the available
    // precision, 1971), and so are all differences below where they decide.
    const float level = q * 255.0F;
    const float error = (q * 256.0F - level) - q;
    const auto whole = static_cast<std::int32_t>(level);
    const float above = (level - static_cast<float>(whole)) - 0.5F;
    bytes[i] = static_cast<std::uint8_t>(whole + (above >= -error ? 1 : 0));
  }
}

LIMES_CLONES void DecodeValues(const std::uint8_t* bytes, std::size_t n, SBounds bounds, float* y) {
  const float span = bounds.max - bounds.min;
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = static_cast<float>(bytes[i]) / 255.0F * span + bounds.min;
  }
}

float Distance(float x0, float y0, float x1, float y1) {
  const double dx = double{x0} - double{x1};
  const double dy = double{y0} - double{y1};
  return static_cast<float>(std::sqrt(dx * dx + dy * dy));
}

}  // namespace limes::detail
