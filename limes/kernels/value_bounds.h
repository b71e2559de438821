#pragma once

#include <cstddef>

#include "limes/kernels/lanes.h"

namespace limes::detail {

// Extremes of values, by strict comparisons from the first on: a leading NaN is both, another one
// neither; of zeros the first one's sign. All O(n).

struct SBounds {
  float min;
  float max;
};

/// Smallest and largest of n > 0 values.
SBounds FindBounds(const float* y, std::size_t n);

/// The same of values at distances of inc.
SBounds FindBounds(const float* y, std::size_t n, std::size_t inc);

/// FindBounds for bins that may be short, which spares them the call.
inline SBounds BoundsOfBin(const float* y, std::size_t n, std::size_t inc = 1) {
  if (n >= kWorthLanes) {
    return FindBounds(y, n, inc);
  }
  SBounds bounds{*y, *y};
  for (std::size_t i = 0; i < n; ++i, y += inc) {
    SLower()(bounds.min, *y);
    SHigher()(bounds.max, *y);
  }
  return bounds;
}

struct SExtremes {
  std::size_t min;
  std::size_t max;
};

/// Indices of the first smallest and the first largest of n > 0 values, or only of one of them,
/// which takes half the time.
SExtremes FindExtremes(const float* y, std::size_t n);
std::size_t FindSmallest(const float* y, std::size_t n);
std::size_t FindLargest(const float* y, std::size_t n);

/// Largest of n > 0 values.
float LargestValue(const float* y, std::size_t n);

/// The largest of start and |y|, or a - b, of n values; a NaN is passed over.
float LargestMagnitude(const float* y, std::size_t n, float start);
float LargestDifference(const float* a, const float* b, std::size_t n, float start);

}  // namespace limes::detail
