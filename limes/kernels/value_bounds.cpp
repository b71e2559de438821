#include "limes/kernels/value_bounds.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "limes/platform/cpu_clones.h"

namespace limes::detail {

namespace {

constexpr std::size_t kBlock = 512;  ///< values between two looks at the lanes

/// Extremes of start and n >= kLaneBlock values but for the sign of a zero.
LIMES_CLONES_AVX2 SBounds LaneBounds(const float* y, std::size_t n, SBounds start) {
  LaneExtreme<SLower> low(start.min);
  LaneExtreme<SHigher> high(start.max);
  TakeLanes(n, LanesAt(y), low, high);
  return {low.Value(), high.Value()};
}

/// The same, one by one where that is faster.
inline SBounds BoundsFrom(SBounds start, const float* y, std::size_t n) {
  if (n >= kWorthLanes) {
    return LaneBounds(y, n, start);
  }
  for (std::size_t i = 0; i < n; ++i) {
    SLower()(start.min, y[i]);
    SHigher()(start.max, y[i]);
  }
  return start;
}

/// Index of the first of n values that equals value; n when there is none.
LIMES_CLONES_AVX2 std::size_t FirstEqual(const float* y, std::size_t n, float value) {
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

namespace {

/// The largest of start and n values by load, as TakeLanes has it, or one by one.
template <class Load, class One>
__attribute__((always_inline)) inline float LargestOf(std::size_t n, float start, Load load,
                                                      One one) {
  if (n < kLaneBlock) {
    for (std::size_t i = 0; i < n; ++i) {
      SHigher()(start, one(i));
    }
    return start;
  }
  LaneExtreme<SHigher> high(start);
  TakeLanes(n, load, high);
  return high.Value();
}

}  // namespace

LIMES_CLONES_AVX2 float LargestValue(const float* y, std::size_t n) {
  const float max = LargestOf(n, y[0], LanesAt(y), [y](std::size_t i) { return y[i]; });
  return max == 0.0F ? *std::find(y, y + n, 0.0F) : max;  // of zeros the first one counts
}

LIMES_CLONES_AVX2 float LargestMagnitude(const float* y, std::size_t n, float start) {
  const auto load = [y](std::size_t i, Lanes& lanes) {
    LaneBits bits;
    std::memcpy(&bits, y + i, sizeof(bits));
    bits &= 0x7FFFFFFFU;
    std::memcpy(&lanes, &bits, sizeof(lanes));
  };
  return LargestOf(n, start, load, [y](std::size_t i) { return std::fabs(y[i]); });
}

LIMES_CLONES_AVX2 float LargestDifference(const float* a, const float* b, std::size_t n,
                                          float start) {
  const auto load = [a, b](std::size_t i, Lanes& lanes) {
    Lanes y;
    std::memcpy(&lanes, a + i, sizeof(lanes));
    std::memcpy(&y, b + i, sizeof(y));
    lanes -= y;
  };
  return LargestOf(n, start, load, [a, b](std::size_t i) { return a[i] - b[i]; });
}

}  // namespace limes::detail
