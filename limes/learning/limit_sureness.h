#pragma once

#include <cstdint>

#include "limes/export.h"

namespace limes {

class CKurvenLernWerkzeug;
class CLernenderGrenzwert;
class CPreciseCurveTool;
class CTrackLernWerkzeug;

/// How sure a learnt limit is. All 0 while nothing is learnt.
struct SLimitSureness {
  std::int32_t parts = 0;  ///< learnt; along a track, at the point learnt least often that counts
  double effectiveParts = 0.0;  ///< of the weighted mean, see EffectiveParts

  /// Share of good parts that the limit rejects by chance, 0 to 1, for normally distributed and
  /// independent measurements: at a value, or at the curve's worst point.
  double rejectedPerPoint = 0.0;

  /// Bound of the share over all judged points: the sum over the points, at most 1, however they
  /// depend on each other (Boole's inequality).
  double rejectedBound = 0.0;
};

/// Parts whose plain mean is as sure as the weighted mean of n parts with the given time scale:
/// W^2 / V = r / (r - 1), with the sums W of the weights and V of their squares, and r the
/// correction factor of the variance (CExpAverFacGenerator::GetCorrFactor). In closed form
/// tanh(n / 2T) / tanh(1 / 2T); n without forgetting (T >= 10000, n <= 45 T), 1 for T <= 0, 0 for n
/// <= 0.
LIMES_EXPORT double EffectiveParts(std::int32_t n, std::int32_t timeScale);

/// Of the weights as the learner holds them.
LIMES_EXPORT double EffectiveParts(const CLernenderGrenzwert& limit);
LIMES_EXPORT double EffectiveParts(const CKurvenLernWerkzeug& tool);
LIMES_EXPORT double EffectiveParts(const CPreciseCurveTool& tool);

/// Share of good parts beyond mean + spreads * S, 0 to 1, when M and S (divisor n) come from n
/// normally distributed values and the new value is a further one: P(T > spreads * sqrt((n - 1) /
/// (n + 1))) for Student's T with n - 1 degrees of freedom; 1/2 for n <= 1, where S says nothing.
/// A NaN gives NaN. About 1 us.
///
/// The one-sided prediction interval of a single future value: Hahn, Meeker, Escobar, Statistical
/// Intervals (2nd ed., 2017), section 4.7. The same share is the predictive probability given M and
/// S under the usual flat prior: Gelman et al., Bayesian Data Analysis (3rd ed., 2013),
/// section 3.2; so a constant part of the limit counts as base / S further spreads.
LIMES_EXPORT double ChanceRejection(double n, double spreads);

/// Of the limit base + M + factor * S as the learner holds it. Band, fixed limits and widening are
/// not looked at: the first may raise or lower the share, widening lowers it. Nor is a factor from
/// outside, which tells no weights. O(n).
LIMES_EXPORT SLimitSureness SurenessOf(const CLernenderGrenzwert& limit);
LIMES_EXPORT SLimitSureness SurenessOf(const CKurvenLernWerkzeug& tool);
LIMES_EXPORT SLimitSureness SurenessOf(const CPreciseCurveTool& tool);

/// Of the points learnt often enough to be judged. O(n).
LIMES_EXPORT SLimitSureness SurenessOf(const CTrackLernWerkzeug& tool);

namespace detail {

/// P(T > t) for Student's T with degrees of freedom above 0, t of either sign. By the regularised
/// incomplete beta function (NIST Digital Library of Mathematical Functions, 8.17.22), beyond 1e5
/// degrees of freedom by the normal distribution.
LIMES_EXPORT double StudentTail(double t, double degrees);

}  // namespace detail
}  // namespace limes
