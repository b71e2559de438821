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

}  // namespace

SCurveShift FindShift(std::span<const float> curve, std::span<const float> mean, std::size_t lag) {
  const auto most = static_cast<std::ptrdiff_t>(std::min(lag, mean.size() / 2));
  SCurveShift found;
  double best = kNone;
  for (std::ptrdiff_t steps = -most; steps <= most; ++steps) {
    const double here = Correlation(curve, mean, steps);
    const bool nearer = std::abs(steps) < std::abs(found.steps);
    if (here > best || (here == best && nearer)) {
      best = here;
      found.steps = steps;
    }
  }
  const std::ptrdiff_t at = found.steps;
  const double unmoved = Correlation(curve, mean, 0);
  found.steps = 0;
  found.correlation = best == kNone ? 0.0 : best;
  if (best < kClear || at == 0 || (unmoved != kNone && 1.0 - best > kWorth * (1.0 - unmoved))) {
    found.basis = best >= kClear ? ShiftBasis::kFound : ShiftBasis::kUnclear;
    return found;
  }
  if (std::abs(at) == most) {
    found.basis = ShiftBasis::kAtEdge;
    found.shift = static_cast<double>(at);
    return found;
  }
  found.basis = ShiftBasis::kFound;
  found.steps = at;
  const double before = Correlation(curve, mean, at - 1);
  const double behind = Correlation(curve, mean, at + 1);
  const double bend = 2.0 * best - before - behind;
  found.shift = static_cast<double>(at);
  if (before != kNone && behind != kNone && bend > 0.0) {
    found.shift += 0.5 * (behind - before) / bend;
  }
  return found;
}

}  // namespace limes
