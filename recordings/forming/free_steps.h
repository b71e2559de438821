#pragma once

#include <string>

#include "limes/signals/extended_curve.h"
#include "limes/signals/pair_signal.h"
#include "recordings/measurement.h"

namespace limes::recordings {

/// The quantity as a run of pairs with name and units, in the order of its values.
CSigPairs MakePairs(const SQuantity& quantity);

/// Curve of n values on an x axis that is told in double. Throws CInputError, which names it by
/// what, when single precision cannot hold the axis.
CSigCurveExt MakeCurveOn(const std::string& what, double x0, double dx, std::size_t n);

/// A quantity without equal steps, drawn by lines on the grid of x = origin + i * step as far as it
/// reaches: each of its points counts at the grid point nearest to it. Grid points with no
/// measurement within 1.5 steps, or within the median step of the measurement where that is larger
/// (at most three steps), are not covered. Throws CInputError, which names it by what, when it
/// covers one x only or too many steps.
SQuantity DrawnOnGrid(const SQuantity& quantity, const std::string& what, double origin,
                      double step);

/// The same on a grid of its own, with as many values from its lowest to its highest x.
SQuantity DrawnOnOwnGrid(const SQuantity& quantity, const std::string& what);

}  // namespace limes::recordings
