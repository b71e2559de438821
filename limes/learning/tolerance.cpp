#include "limes/learning/tolerance.h"

#include <algorithm>
#include <cmath>

#include "limes/learning/distributions.h"

namespace limes {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

bool IsShare(double share) { return share > 0.0 && share < 1.0; }

/// P(T <= t) of the noncentral t, as P(Z <= t s / sqrt(v) - shift) over the distribution of s, a
/// chi variable with v degrees. In y = ln s the integrand falls off quickly at both ends, so that
/// equal steps converge exponentially.
double NoncentralShare(double t, double v, double shift) {
  const double scale = 1.0 / std::sqrt(v);
  const double step = 0.2 * std::min({1.0, 0.7 * scale, 1.0 / std::max(std::fabs(shift), 1.0)});
  const double middle = 0.5 * std::log(v);  // where the density in y is largest
  const double front = std::log(2.0) - 0.5 * v * std::log(2.0) - detail::LogGamma(0.5 * v);
  constexpr double kNegligible = 1e-18;
  const auto density = [&](double y) { return std::exp(front + v * y - 0.5 * std::exp(2.0 * y)); };
  const double largest = density(middle);
  double sum = 0.0;
  for (const double sign : {1.0, -1.0}) {
    for (double j = sign > 0.0 ? 0.0 : 1.0;; j += 1.0) {
      const double y = middle + sign * j * step;
      const double weight = density(y);
      if (weight < kNegligible * largest) {
        break;
      }
      sum += weight * detail::NormalShare(t * scale * std::exp(y) - shift);
    }
  }
  return sum * step;
}

/// Interval of an index that is 1 / spread of the process, from the distribution of its square.
SInterval ChiSquareInterval(double index, double degrees, double sure) {
  const auto end = [&](double share) {
    return index * std::sqrt(detail::ChiSquareQuantile(share, degrees) / degrees);
  };
  return {end(0.5 * (1.0 - sure)), end(0.5 * (1.0 + sure))};
}

}  // namespace

double ToleranceFactor(double n, double cover, double sure) {
  if (!(n > 1.0) || std::isinf(n) || !IsShare(cover) || !IsShare(sure)) {
    return kNaN;
  }
  const double v = n - 1.0;
  const double shift = detail::NormalQuantile(cover) * std::sqrt(n);
  const auto share = [=](double t) { return NoncentralShare(t, v, shift); };
  double reach = std::fabs(shift) + 10.0;
  while (reach < 1e150 && (share(reach) < sure || share(-reach) > sure)) {
    reach *= 2.0;
  }
  return detail::Solve(sure, -reach, reach, share) / std::sqrt(v);
}

SProcessSpread SpreadOf(std::span<const double> values) {
  SProcessSpread spread;
  spread.n = values.size();
  if (values.empty()) {
    return spread;
  }
  const auto n = static_cast<double>(values.size());
  double sum = 0.0;
  for (const double x : values) {
    sum += x - values[0];
  }
  spread.mean = values[0] + sum / n;
  if (values.size() < 2) {
    return spread;
  }
  double squares = 0.0;
  double ranges = 0.0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    squares += (values[i] - spread.mean) * (values[i] - spread.mean);
    ranges += i == 0 ? 0.0 : std::fabs(values[i] - values[i - 1]);
  }
  constexpr double kRangeOfTwo = 1.1283791670955126;  // mean range of two values: 2 / sqrt(pi)
  constexpr double kWorth = 0.62;
  spread.total = std::sqrt(squares / (n - 1.0));
  spread.within = ranges / (n - 1.0) / kRangeOfTwo;
  spread.withinDegrees = kWorth * (n - 1.0);
  return spread;
}

SCapability CapabilityOf(double n, double mean, double spread, double degrees,
                         const STolerance& tolerance, double sure) {
  SCapability capability{kNaN, {kNaN, kNaN}, kNaN, {kNaN, kNaN}};
  if (!(spread > 0.0) || !(degrees > 0.0) || !(n > 0.0)) {
    return capability;
  }
  const double width = tolerance.high - tolerance.low;
  if (std::isfinite(width)) {
    capability.index = width / (6.0 * spread);
    capability.between = ChiSquareInterval(capability.index, degrees, sure);
  }
  const double nearer = std::min(tolerance.high - mean, mean - tolerance.low) / (3.0 * spread);
  if (std::isfinite(nearer)) {
    // The interval's relative half width times the index, which may be 0.
    const double z = detail::NormalQuantile(0.5 * (1.0 + sure));
    const double half = z * std::sqrt(1.0 / (9.0 * n) + nearer * nearer / (2.0 * degrees));
    capability.nearer = nearer;
    capability.nearerBetween = {nearer - half, nearer + half};
  }
  return capability;
}

}  // namespace limes
