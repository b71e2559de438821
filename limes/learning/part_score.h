#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "limes/export.h"
#include "limes/learning/calibration.h"

namespace limes {

/// How far a part lies beyond what was learnt before it, at its worst points on either side:
/// (x - M - base) / S above and (M - base - x) / S below, S with the divisor n; minus infinity
/// while nothing was compared. Points of which S is at most 2^-24 |M| do not vary and take no part.
struct SPartExcess {
  float above = -std::numeric_limits<float>::infinity();
  float below = -std::numeric_limits<float>::infinity();
  std::size_t aboveAt = 0;   ///< index of the point, the first one on ties
  std::size_t belowAt = 0;   ///<
  double shiftSum = 0.0;     ///< sum of (x - M) / S over the points
  std::uint64_t points = 0;  ///< that took part

  /// Mean shift of the part in spreads, the input of CDriftAlarm; 0 without points.
  double MeanShift() const { return points == 0 ? 0.0 : shiftSum / static_cast<double>(points); }
};

/// What a part tells before it is learnt, of one side's learner: above is further out on its side.
struct SPartScoring {
  bool isScored = false;  ///< kPartsBeforeScores were learnt before, at a point at least
  SPartScores scores;
  SPartExcess excess;
  double aboveX = 0.0;  ///< places of the excess; 0 of a value
  double belowX = 0.0;

  /// The same in the sign of the measurement, of the learner of a lower limit.
  LIMES_EXPORT SPartScoring Mirrored() const;
};

/// The scores of an excess with n parts learnt; kLowestScore where nothing was compared.
LIMES_EXPORT SPartScores ScoresOf(const SPartExcess& excess, double n);

/// Side by side the larger score: of a part over its quantities, or over points learnt differently
/// often.
LIMES_EXPORT SPartScores Larger(const SPartScores& a, const SPartScores& b);

/// Of the points of both: the larger excess of either side, of equal ones the first one's.
LIMES_EXPORT SPartExcess Joined(const SPartExcess& a, const SPartExcess& b);

/// Excess of a single value.
LIMES_EXPORT SPartExcess ExcessOf(double x, double mean, double spread, double base);

namespace detail {

/// Adds the excess of n values k over what was learnt, mean m and mean square q, to that of points
/// before; the first has the index first. In float; the same bits on every machine. NaN take no
/// part. O(n).
void ScoreValues(const float* m, const float* q, const float* k, std::size_t n, float base,
                 std::size_t first, SPartExcess& excess);

/// The same of means and variances in double, about an offset.
void ScorePreciseValues(const float* offset, const double* shift, const double* variance,
                        const float* k, std::size_t n, float base, std::size_t first,
                        SPartExcess& excess);

}  // namespace detail
}  // namespace limes
