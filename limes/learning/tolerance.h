#pragma once

#include <cstddef>
#include <limits>
#include <span>

#include "limes/export.h"
#include "limes/learning/calibration.h"

namespace limes {

/// Factor k with which M + k S (S with the divisor n) lies above a share cover of a Normal
/// population with the confidence sure, M and S from n values: the one-sided tolerance factor, by
/// the noncentral t distribution (ISO 16269-6; Krishnamoorthy, Mathew, Statistical Tolerance
/// Regions, 2009, chapter 2). With a time scale n is EffectiveParts. NaN for n <= 1 and for shares
/// not between 0 and 1. About 1 ms.
LIMES_EXPORT double ToleranceFactor(double n, double cover, double sure);

/// Limits that values must keep; infinite where there is none.
struct STolerance {
  double low = -std::numeric_limits<double>::infinity();
  double high = std::numeric_limits<double>::infinity();
};

/// Mean and spreads of values in the order in which they were made.
struct SProcessSpread {
  std::size_t n = 0;
  double mean = 0.0;
  double total = 0.0;          ///< with the divisor n - 1; 0 for fewer than 2 values
  double within = 0.0;         ///< of neighbours: mean moving range / 1.128
  double withinDegrees = 0.0;  ///< of freedom that is worth, 0.62 (n - 1)
};

/// The moving ranges' spread leaves out what moves slowly (Montgomery, Introduction to Statistical
/// Quality Control, section 6.4; degrees: Cryer, Ryan, Journal of Quality Technology 22, 1990,
/// 187). O(n).
LIMES_EXPORT SProcessSpread SpreadOf(std::span<const double> values);

/// What a process is capable of.
struct SCapability {
  double index;             ///< (high - low) / 6 s: Cp or Pp; NaN with one limit
  SInterval between;        ///< chi-square interval of it
  double nearer;            ///< distance of the nearer limit / 3 s: Cpk or Ppk; NaN without limits
  SInterval nearerBetween;  ///< Normal approximation: Bissell, Applied Statistics 39, 1990, 331
};

/// Cp and Cpk from a spread within, Pp and Ppk from a total one (divisor n - 1), with the degrees
/// of freedom of the spread and intervals that hold the true index with the confidence sure. All
/// NaN for a spread that is not above 0 or no degrees.
LIMES_EXPORT SCapability CapabilityOf(double n, double mean, double spread, double degrees,
                                      const STolerance& tolerance, double sure = 0.95);

}  // namespace limes
