#include "apps/limes/model/coarse_spread.h"

#include <algorithm>
#include <cmath>

namespace limes::host {
namespace {

constexpr double kSteps = 1 << 24;        ///< of single precision within a number
constexpr double kLeastRoundings = 64.0;  ///< that add up, at least
constexpr double kStepsOfSpread = 16.0;   ///< a spread of fewer steps is not sure to a tenth

}  // namespace

std::string SCoarseSpread::Fact() const {
  return "at " + std::to_string(points) + " of " + std::to_string(of) +
         " points the mean is more than " + std::to_string(times) + " times the spread, which " +
         (isPrecise ? "the measured values, held in single precision, do not show"
                    : "single precision cannot tell from rounding");
}

std::string SCoarseSpread::Advice() const {
  return std::string("; take an offset off (--detrend) or give a --base") +
         (addsUp ? ", or a --time-scale" : "") +
         (mayBePrecise ? ", or learn in double precision (limes set --precise)" : "");
}

SCoarseSpread CoarseSpread(const CSigCurveExt& meanSquare, const CSigCurveExt& spread,
                           const std::function<std::int64_t(std::int32_t)>& counted) {
  SCoarseSpread coarse;
  double most = kLeastRoundings;
  for (std::int32_t i = meanSquare.IMin(); i <= meanSquare.IMax(); ++i) {
    const std::int64_t parts = counted(i);
    const double roundings = std::max(kLeastRoundings, static_cast<double>(parts));
    const double s = spread[i];
    if (parts > 1 && s * s < roundings / kSteps * double{meanSquare[i]}) {
      ++coarse.points;
      most = std::max(most, roundings);
    }
  }
  coarse.of = meanSquare.ILen();
  coarse.times = std::lround(std::sqrt(kSteps / most));
  coarse.addsUp = most > kLeastRoundings;
  return coarse;
}

SCoarseSpread CoarseValues(const CSigCurveExt& mean, const CSigCurveExt& spread) {
  SCoarseSpread coarse;
  for (std::int32_t i = mean.IMin(); i <= mean.IMax(); ++i) {
    const double s = spread[i];
    coarse.points += s > 0.0 && s < kStepsOfSpread / kSteps * std::fabs(double{mean[i]}) ? 1 : 0;
  }
  coarse.of = mean.ILen();
  coarse.times = std::lround(kSteps / kStepsOfSpread);
  coarse.isPrecise = true;
  return coarse;
}

}  // namespace limes::host
