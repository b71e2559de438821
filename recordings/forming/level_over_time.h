#pragma once

#include <vector>

namespace limes::recordings {

/// Time-weighted mean square of a signal, IEC 61672-1:2013, equation (1): the squares averaged
/// exponentially with a time constant, 0.125 s for F and 1 s for S.
///
/// The average begins with that of the first time constant, and is handed out from its end on
/// every quarter of a time constant.
struct SLevelOverTime {
  std::vector<float> levels;  ///< in decibels
  double x0 = 0.0;            ///< behind the first sample, in seconds
  double dx = 0.0;
};

/// dx and timeConstant in seconds. No levels when the signal is shorter than two time constants, or
/// the time constant than 8 samples. Amplitudes below 1e-12 count as 1e-12. O(n).
SLevelOverTime LevelOverTime(const std::vector<float>& signal, double dx, double timeConstant,
                             double reference);

}  // namespace limes::recordings
