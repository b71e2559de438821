#include "limes/learning/curve_shift.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace limes {
namespace {

constexpr double kClear = 0.9;
constexpr double kWorth = 0.8;   ///< of the squares left
constexpr double kNone = -2.0;   ///< below any correlation
constexpr double kNoise = 1e-9;  ///< of a mean square: a constant but for rounding

/// Correlation of curve[i + steps] with mean[i].
double Correlation(std::span<const float> curve, std::span<const float> mean,
                   std::ptrdiff_t steps) {
  const auto length = static_cast<std::ptrdiff_t>(mean.size());
  const std::ptrdiff_t first = std::max<std::ptrdiff_t>(0, -steps);
  const std::ptrdiff_t last = std::min(length, static_cast<std::ptrdiff_t>(curve.size()) - steps);
  const auto each = [&](auto use) {
    for (std::ptrdiff_t i = first; i < last; ++i) {
      const double x = curve[static_cast<std::size_t>(i + steps)];
      const double y = mean[static_cast<std::size_t>(i)];
      if (std::isfinite(x) && std::isfinite(y)) {
        use(x, y);
      }
    }
  };
  double n = 0.0;
  double sumX = 0.0;
  double sumY = 0.0;
  each([&](double x, double y) {
    n += 1.0;
    sumX += x;
    sumY += y;
  });
  if (n < 3.0 || 2.0 * n < static_cast<double>(length)) {
    return kNone;
  }
  const double middleX = sumX / n;
  const double middleY = sumY / n;
  double xx = 0.0;
  double yy = 0.0;
  double xy = 0.0;
  each([&](double x, double y) {
    xx += (x - middleX) * (x - middleX);
    yy += (y - middleY) * (y - middleY);
    xy += (x - middleX) * (y - middleY);
  });
  const bool vary = xx > kNoise * n * middleX * middleX && yy > kNoise * n * middleY * middleY;
  return vary ? xy / std::sqrt(xx) / std::sqrt(yy) : kNone;
}

/// The top of a parabola through the correlations at a shift and beside it, half a step off at
/// most.
double BetweenSteps(std::span<const float> curve, std::span<const float> mean,
                    std::ptrdiff_t steps) {
  const double here = Correlation(curve, mean, steps);
  const double before = Correlation(curve, mean, steps - 1);
  const double behind = Correlation(curve, mean, steps + 1);
  const double bend = 2.0 * here - before - behind;
  if (before == kNone || here == kNone || behind == kNone || before == behind) {
    return 0.0;
  }
  return bend > 0.0 ? std::clamp(0.5 * (behind - before) / bend, -0.5, 0.5)
                    : std::copysign(0.5, behind - before);
}

}  // namespace

SCurveShift FindShift(std::span<const float> curve, std::span<const float> mean, std::size_t lag) {
  const auto most = static_cast<std::ptrdiff_t>(std::min(lag, mean.size() / 2));
  std::ptrdiff_t at = 0;
  double best = kNone;
  for (std::ptrdiff_t steps = -most; steps <= most; ++steps) {
    const double here = Correlation(curve, mean, steps);
    if (here > best || (here == best && std::abs(steps) < std::abs(at))) {
      best = here;
      at = steps;
    }
  }
  const double unmoved = Correlation(curve, mean, 0);
  SCurveShift found;
  found.correlation = best == kNone ? 0.0 : best;
  if (best < kClear) {
    return found;
  }
  found.basis = ShiftBasis::kFound;
  if (unmoved != kNone && 1.0 - best > kWorth * (1.0 - unmoved)) {
    found.shift = BetweenSteps(curve, mean, 0);
    return found;
  }
  if (at != 0 && std::abs(at) == most) {
    found.basis = ShiftBasis::kAtEdge;
    found.shift = static_cast<double>(at);
    return found;
  }
  found.steps = at;
  found.shift = static_cast<double>(at) + BetweenSteps(curve, mean, at);
  return found;
}

}  // namespace limes
