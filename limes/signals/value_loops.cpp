#include "limes/signals/value_loops.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "limes/platform/cpu_clones.h"

namespace limes::detail {

namespace {

template <class Op>
inline void ForEach(float* y, std::size_t n, Op op) {
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = op(y[i]);
  }
}

// The compiler tests for overlap itself and then runs the plain loop.
template <class Op>
inline void ForBoth(float* y, const float* s, std::size_t n, Op op) {
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

constexpr std::size_t kLanes = 32;
constexpr std::size_t kBlock = 4096;  ///< values between two looks at the lanes

struct SBounds {
  float min;
  float max;
};

/// Extremes of whole rows of lanes, begun at the given bounds. A lane keeps its value on NaN and on
/// ties, as the plain loop does.
LIMES_CLONES SBounds LaneBounds(const float* y, std::size_t n, SBounds start) {
  alignas(64) std::array<float, kLanes> low;
  alignas(64) std::array<float, kLanes> high;
  low.fill(start.min);
  high.fill(start.max);
  for (std::size_t i = 0; i + kLanes <= n; i += kLanes) {
    const float* const row = y + i;
#pragma GCC unroll 1
    for (std::size_t k = 0; k < kLanes; ++k) {
      low[k] = row[k] < low[k] ? row[k] : low[k];
      high[k] = row[k] > high[k] ? row[k] : high[k];
    }
  }
  for (std::size_t k = 0; k < kLanes; ++k) {
    start.min = low[k] < start.min ? low[k] : start.min;
    start.max = high[k] > start.max ? high[k] : start.max;
  }
  return start;
}

std::size_t FirstEqual(const float* y, std::size_t from, float value) {
  while (y[from] != value) {
    ++from;
  }
  return from;
}

}  // namespace

SExtremes FindExtremes(const float* y, std::size_t n) {
  SBounds best = {y[0], y[0]};
  SExtremes block = {0, 0};  // where the first extreme value lies, zeros of either sign alike
  for (std::size_t i = 0; i < n; i += kBlock) {
    const std::size_t size = std::min(kBlock, n - i);
    SBounds bounds = LaneBounds(y + i, size, best);
    for (std::size_t k = size - size % kLanes; k < size; ++k) {
      bounds.min = y[i + k] < bounds.min ? y[i + k] : bounds.min;
      bounds.max = y[i + k] > bounds.max ? y[i + k] : bounds.max;
    }
    block.min = bounds.min < best.min ? i : block.min;
    block.max = bounds.max > best.max ? i : block.max;
    best = bounds;
  }
  if (std::isnan(y[0])) {
    return {0, 0};
  }
  return {FirstEqual(y, block.min, best.min), FirstEqual(y, block.max, best.max)};
}

float Distance(float x0, float y0, float x1, float y1) {
  const double dx = double{x0} - double{x1};
  const double dy = double{y0} - double{y1};
  return static_cast<float>(std::sqrt(dx * dx + dy * dy));
}

}  // namespace limes::detail
