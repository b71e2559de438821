#include "limes/learning/distributions.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace limes::detail {
namespace {

constexpr double kTiny = 1e-300;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

bool IsShare(double share) { return share >= 0.0 && share <= 1.0; }

/// Continued fraction of the incomplete beta function by Lentz's method; converges quickly for
/// x < (a + 1) / (a + b + 2).
double BetaFraction(double x, double a, double b) {
  constexpr int kMostSteps = 10000;
  const auto away = [](double v) { return std::fabs(v) < kTiny ? kTiny : v; };
  double c = 1.0;
  double d = 1.0 / away(1.0 - (a + b) * x / (a + 1.0));
  double value = d;
  for (int m = 1; m <= kMostSteps; ++m) {
    const double even = m * (b - m) * x / ((a + 2 * m - 1) * (a + 2 * m));
    d = 1.0 / away(1.0 + even * d);
    c = away(1.0 + even / c);
    value *= c * d;
    const double odd = -(a + m) * (a + b + m) * x / ((a + 2 * m) * (a + 2 * m + 1));
    d = 1.0 / away(1.0 + odd * d);
    c = away(1.0 + odd / c);
    value *= c * d;
    if (std::fabs(c * d - 1.0) < 1e-15) {
      break;
    }
  }
  return value;
}

}  // namespace

double LogGamma(double x) {
  // Stirling's series behind a shift (DLMF 5.11.1); std::lgamma would write a variable of the
  // process.
  double product = 1.0;
  for (; x < 12.0; x += 1.0) {
    product *= x;
  }
  const double r = 1.0 / (x * x);
  const double series = (1.0 / 12 - r * (1.0 / 360 - r * (1.0 / 1260 - r / 1680))) / x;
  return (x - 0.5) * std::log(x) - x + 0.5 * std::log(2.0 * std::numbers::pi) + series -
         std::log(product);
}

double IncompleteBeta(double x, double y, double a, double b) {
  if (x <= 0.0 || y <= 0.0) {
    return x <= 0.0 ? 0.0 : 1.0;
  }
  const double front =
      std::exp(LogGamma(a + b) - LogGamma(a) - LogGamma(b) + a * std::log(x) + b * std::log(y));
  return x < (a + 1.0) / (a + b + 2.0) ? front * BetaFraction(x, a, b) / a
                                       : 1.0 - front * BetaFraction(y, b, a) / b;
}

double BetaQuantile(double share, double a, double b) {
  return !IsShare(share)
             ? kNaN
             : Solve(share, 0.0, 1.0, [=](double x) { return IncompleteBeta(x, 1.0 - x, a, b); });
}

double NormalShare(double z) { return 0.5 * std::erfc(-z / std::numbers::sqrt2); }

double NormalQuantile(double share) {
  constexpr double kMost = 40.0;  // the tail beyond is below the smallest double
  if (!IsShare(share)) {
    return kNaN;
  }
  // The lower tail is the precise one, so the upper half is mirrored.
  const double lower = share < 0.5 ? share : 1.0 - share;
  const double z = lower == 0.5 ? 0.0 : Solve(lower, -kMost, 0.0, NormalShare);
  return share < 0.5 ? z : -z;
}

double ChiSquareShare(double x, double degrees) {
  if (!(x > 0.0)) {
    return 0.0;
  }
  constexpr int kMostSteps = 100000;
  const double a = 0.5 * degrees;
  const double z = 0.5 * x;
  const double front = std::exp(a * std::log(z) - z - LogGamma(a));
  if (z < a + 1.0) {  // the series
    double term = 1.0 / a;
    double sum = term;
    for (int k = 1; k < kMostSteps && term > 1e-17 * sum; ++k) {
      term *= z / (a + k);
      sum += term;
    }
    return front * sum;
  }
  double b = z + 1.0 - a;  // the continued fraction of the upper tail, by Lentz's method
  double c = 1.0 / kTiny;
  double d = 1.0 / b;
  double value = d;
  for (int k = 1; k < kMostSteps; ++k) {
    const double an = -k * (k - a);
    b += 2.0;
    d = 1.0 / (an * d + b);
    c = b + an / c;
    value *= c * d;
    if (std::fabs(c * d - 1.0) < 1e-15) {
      break;
    }
  }
  return 1.0 - front * value;
}

double ChiSquareQuantile(double share, double degrees) {
  if (!IsShare(share) || !(degrees > 0.0)) {
    return kNaN;
  }
  double high = degrees + 1.0;
  while (ChiSquareShare(high, degrees) < share && high < 1e300) {
    high *= 2.0;
  }
  return Solve(share, 0.0, high, [=](double x) { return ChiSquareShare(x, degrees); });
}

double FisherTail(double f, double numerator, double denominator) {
  if (!(f > 0.0)) {
    return 1.0;
  }
  const double ratio = numerator * f / denominator;
  const double x = std::isinf(ratio) ? 0.0 : 1.0 / (1.0 + ratio);
  return IncompleteBeta(x, 1.0 - x, 0.5 * denominator, 0.5 * numerator);
}

}  // namespace limes::detail
