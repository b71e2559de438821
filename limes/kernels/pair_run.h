#pragma once

#include <cstddef>

#include "limes/kernels/polygon_point.h"

namespace limes::detail {

/// A pair of a run, as it lies in the data of a pair signal.
using XyPair = SPolygonPoint;

/// A run of pairs, in any order, NaN and equal x included, and what is known of its x. It is looked
/// up as its marks say, whether they fit or not.
struct SPairRun {
  const XyPair* p = nullptr;
  std::size_t n = 0;
  bool rises = true;       ///< marked as strictly rising
  bool falls = true;       ///< marked as strictly falling
  bool neverFalls = true;  ///< known: no x is NaN or below the one before
  bool neverRises = true;  ///< known: no x is NaN or above the one before
};

}  // namespace limes::detail
