#pragma once

#include "limes/export.h"

namespace limes {

/// Normal score of an excess of so many spreads, (x - M - base) / S with the divisor n in S, of a
/// further part beyond what was learnt from n parts; with a time scale n is EffectiveParts.
///
/// t = e sqrt((n - 1) / (n + 1)) is Student's t of one further value (Hahn, Meeker, Escobar,
/// Statistical Intervals, 2nd ed. 2017, section 4.7), turned into a Normal score by Wallace's
/// closed form (Annals of Mathematical Statistics 30, 1959, 1121): scores of parts that were judged
/// with different n compare. Off the exact score by 0.03 at n = 10, 0.001 at n = 50 (up to 5).
/// 0 for n <= 1, where S says nothing; infinite for an infinite excess; NaN gives NaN.
LIMES_EXPORT double ScoreOf(double excess, double n);

/// The inverse: the factor of S at which a part of this score lies just on the limit when n parts
/// were learnt. For n <= 1 infinite with the score's sign, and 0 for 0; NaN gives NaN.
LIMES_EXPORT double FactorOf(double score, double n);

}  // namespace limes
