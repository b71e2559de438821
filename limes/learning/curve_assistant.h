#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "limes/export.h"
#include "limes/learning/judgement.h"
#include "limes/platform/text.h"

namespace limes {

class CFileStream;
class CSigCurve;
class CSigCurveArray;
class CSigCurveExt;

/// What came of reading a curve from text.
enum class CurveTextStatus {
  kOk,
  kEmpty,   ///< no line of numbers
  kHeader,  ///< a line of the head is malformed
  kNumber,  ///< a line is no pair of numbers
  kSteps,   ///< x does not rise in equal steps: read pairs instead
  kMemory,  ///< memory is short
};

/// The status in words, in English.
LIMES_EXPORT const wide_char* Text(CurveTextStatus status);

/// Operations over curves for hosts and learners. Stateless; results go into the caller's curves,
/// which may be the given ones. Where nothing else is said they work on the valid range, compute in
/// double, round once to float, and are false with nothing changed when memory is short.
/// All functions are static: any thread, each with objects of its own.
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
  [[nodiscard]] static bool FitTo(const CSigCurve& k, const CSigCurveExt& raster, CSigCurveExt& out,
                                  Binning binning = Binning::kMean);

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
  [[nodiscard]] static bool Excesses(const CSigCurve& k, const CSigCurveExt& limit,
                                     std::vector<SCurveExcess>& regions);

  /// What a smoothed value is of the values in its window.
  enum class Smoothing { kMean, kMedian, kMaximum };

  /// Replaces each value by the mean, median (of an even number the mean of the middle two) or
  /// maximum of its window: halfWidth neighbours on either side, fewer at the ends. NaN are passed
  /// over; a window of NaN gives NaN. No effect for a width below 1. O(n * width), the median
  /// O(n * width) moves.
  [[nodiscard]] static bool Glaetten(CSigCurveExt& c, int halfWidth, Smoothing mode);

  /// Replaces the values by their derivative: central differences, one-sided at the ends, 0 for a
  /// single value. The y unit becomes y / x where the units can say so, else none. O(n).
  [[nodiscard]] static bool Derive(CSigCurveExt& c);

  /// Sum of the values from the grid point at x0 to that at x1, times the step: the integral with
  /// each value standing for one step. 0.0 beside the valid range and for x0 > x1. O(n).
  static double Integral(const CSigCurveExt& c, float x0, float x1);

  /// Replaces each value by the integral up to and with it. The y unit becomes x * y where the
  /// units can say so, else none. O(n).
  [[nodiscard]] static bool IntegralCurve(CSigCurveExt& c);

  /// Mean of curves on one grid with a weight each: sum of w * y over sum of w, valid where all
  /// are. Name and units are the first one's. False, with out unchanged, without curves, for null
  /// ones, other grids or units, ranges with nothing in common, as many weights as curves missing,
  /// or weights whose sum is 0 or not finite. O(curves * n).
  [[nodiscard]] static bool WeightedMean(std::span<const CSigCurveExt* const> curves,
                                         std::span<const float> weights, CSigCurveExt& out);

  /// Mean and spread (divisor n) of curves on one grid in two passes, valid where all are. The
  /// reference for the learners' running means. False as above; the mean may be the new one then
  /// when memory is short. O(curves * n).
  [[nodiscard]] static bool MeanAndSpread(std::span<const CSigCurveExt* const> curves,
                                          CSigCurveExt& mean, CSigCurveExt& stdDev);

  /// Sum and largest values of an array's curves, added and compared as CSigCurveArray does it.
  /// False, with out unchanged, without curves and when memory is short. O(values).
  [[nodiscard]] static bool Summe(const CSigCurveArray& array, CSigCurveExt& out);
  [[nodiscard]] static bool Maximum(const CSigCurveArray& array, CSigCurveExt& out);

  /// Section across an array's curves: their values at x over T, as CSigCurveArray::Querschnitt.
  /// False, with out unchanged, when x lies in no valid range and when memory is short. O(curves).
  [[nodiscard]] static bool Section(const CSigCurveArray& array, float x, CSigCurveExt& out);

  /// Raises values to the lower and lowers them to the upper limit where these are valid; the upper
  /// one wins, a NaN limits nothing. False, with nothing changed, for limits on another grid. O(n).
  [[nodiscard]] static bool ClampBetween(CSigCurveExt& c, const CSigCurveExt& lower,
                                         const CSigCurveExt& upper);

  /// Writes a curve as text: a head of lines "# key: value" with name, units, x axis and valid
  /// range, and date, number and scale factor unless they are 0 or 1; then a line "x<TAB>y" per
  /// value, numbers in the shortest form that reads back the same.
  /// False, with nothing written, for what could not be read back: no values, an x axis that does
  /// not rise or is not finite, a head beyond 64 KB. What the stream throws passes through. O(n).
  [[nodiscard]] static bool TextExport(const CSigCurveExt& c, CFileStream& file);

  /// Reads such a text: values and head bit for bit (of a NaN that it is one). Without a head the x
  /// column gives the axis; it must rise in steps equal to 1e-4 of one. Units are registered only
  /// when the whole text is a curve. c is unchanged unless kOk. Memory grows with the bytes read.
  /// O(n).
  [[nodiscard]] static CurveTextStatus TextImport(CFileStream& file, CSigCurveExt& c);
};

}  // namespace limes
