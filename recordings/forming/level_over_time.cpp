#include "recordings/forming/level_over_time.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace limes::recordings {

SLevelOverTime LevelOverTime(const std::vector<float>& signal, double dx, double timeConstant,
                             double reference) {
  SLevelOverTime result;
  const double samples = timeConstant / dx;
  if (!(samples >= 8.0 && 2.0 * samples <= static_cast<double>(signal.size()))) {
    return result;
  }
  const auto first = static_cast<std::size_t>(samples);
  const auto step = static_cast<std::size_t>(samples / 4.0);
  double mean = 0.0;
  for (std::size_t i = 0; i < first; ++i) {
    mean += double{signal[i]} * signal[i] / static_cast<double>(first);
  }
  const double share = -std::expm1(-1.0 / samples);
  for (std::size_t i = first; i < signal.size(); ++i) {
    mean += share * (double{signal[i]} * signal[i] - mean);
    if ((i - first) % step == 0) {
      result.levels.push_back(
          static_cast<float>(20.0 * std::log10(std::max(std::sqrt(mean), 1e-12) / reference)));
    }
  }
  result.x0 = static_cast<double>(first) * dx;
  result.dx = static_cast<double>(step) * dx;
  return result;
}

}  // namespace limes::recordings
