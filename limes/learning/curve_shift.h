#pragma once

#include <cstddef>
#include <span>

#include "limes/export.h"

namespace limes {

/// Why a curve is moved along x or stays where it was measured.
enum class ShiftBasis {
  kFound,    ///< the largest correlation lies within the lag, clearly
  kUnclear,  ///< the curves are too unlike, or one is constant or empty
  kAtEdge,   ///< the correlation still grows at the lag: the curve lies further off, or elsewhere
};

/// How far a curve lies off another one.
struct SCurveShift {
  ShiftBasis basis = ShiftBasis::kUnclear;

  /// Steps to move it by: value i + steps belongs where value i of the other one is. 0 unless
  /// found, and where moving gains too little.
  std::ptrdiff_t steps = 0;

  /// How far it lies off, between steps: by a parabola through the correlation there and its
  /// neighbours, half a step from the steps at most; at the edge the lag, unclear 0.
  double shift = 0.0;

  double correlation = 0.0;  ///< there; unclear where nothing can be compared: 0
};

/// The shift within lag steps either way of the largest correlation with the mean, each about its
/// own mean over the values that both have there (NaN: none), at least half of the mean's and
/// three. The lag is cut to half of the mean's length. A curve is clearly alike from a correlation
/// of 0.9 on, and is moved when that leaves at most 0.8 of the squares that are left unmoved. O(n
/// lag).
LIMES_EXPORT SCurveShift FindShift(std::span<const float> curve, std::span<const float> mean,
                                   std::size_t lag);

}  // namespace limes
