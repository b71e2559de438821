#pragma once

#include <vector>

#include "limes/export.h"
#include "limes/learning/judgement.h"

namespace limes {

class CSigCurve;
class CSigCurveExt;

/// Operations over curves for hosts and learners. Stateless; results go into the caller's curves.
class LIMES_EXPORT CSigCurveAssistent {
 public:
  /// How several values of a finer curve become one.
  enum class Binning { kMean, kMaximum };

  /// Fits a curve to a grid: out is k on the raster's grid, valid where k and the raster's valid
  /// range overlap, 0 elsewhere; name and units are k's.
  ///
  /// Values are copied where the grids match, interpolated linearly where k is coarser, and
  /// binned round each grid point where it is finer. The safe way into learners and judgements.
  /// False, with out unchanged, without overlap, for an x range that is not finite or empty, and
  /// when memory is short. Allocates nothing once out has the raster's size. O(n).
  [[nodiscard]] static bool AnpassenAn(const CSigCurve& k, const CSigCurveExt& raster,
                                       CSigCurveExt& out, Binning binning = Binning::kMean);

  /// Adds a measured curve k with weight v to a mean, and its squares to a mean square, and narrows
  /// both valid ranges to k's. O(n).
  // kept: k is taken by index when the steps are equal, wherever the valid ranges begin, and with
  // its own step when they are not; fit it first
  static void AddierenMitQuadrat(CSigCurveExt& mean, CSigCurveExt& meanSquare, const CSigCurve& k,
                                 float v);

  /// Largest k - r over the overlap of the valid ranges, at r's grid points, the first one on ties,
  /// NaN passed over (NaN when all are); 0.0 without overlap, with result untouched. result, unless
  /// null, receives x, k and r there. O(n).
  static float MaxAbweichung(const CSigCurveExt& k, const CSigCurveExt& r, float* result);

  /// The regions where k lies above a limit, in order of x, at the limit's grid points over the
  /// overlap of the valid ranges; NaN lies above nothing. False, with regions unchanged, when
  /// memory is short. O(n).
  [[nodiscard]] static bool Ueberschreitungen(const CSigCurve& k, const CSigCurveExt& limit,
                                              std::vector<SCurveExcess>& regions);
};

}  // namespace limes
