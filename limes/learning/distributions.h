#pragma once

namespace limes::detail {

// Distribution functions in double, the same on every machine up to the rounding of exp and log.
// Quantiles are found by halving, so they are as exact as the distribution function. A share
// outside of 0 to 1 or NaN gives NaN.

/// ln Gamma(x) for x > 0.
double LogGamma(double x);

/// Regularised incomplete beta function I_x(a, b) for a, b > 0, with y = 1 - x given for its
/// precision (NIST Digital Library of Mathematical Functions, 8.17.22).
double IncompleteBeta(double x, double y, double a, double b);

/// The value that Beta(a, b) stays below with a probability of share.
double BetaQuantile(double share, double a, double b);

/// P(Z <= z) of the standard Normal distribution, and its inverse.
double NormalShare(double z);
double NormalQuantile(double share);

/// P(X <= x) of chi-square with degrees > 0 (DLMF 8.11.4, 8.9.2), and its inverse.
double ChiSquareShare(double x, double degrees);
double ChiSquareQuantile(double share, double degrees);

/// P(F > f) of Fisher's F with the degrees of numerator and denominator.
double FisherTail(double f, double numerator, double denominator);

/// Where a growing function of x reaches a value between low and high, by halving until the ends
/// are neighbours to 1e-15 of themselves; low or high when it does so nowhere between.
template <class Function>
double Solve(double value, double low, double high, Function function) {
  constexpr int kMostHalvings = 1100;  // from any double to any other
  constexpr double kClose = 1e-15;
  for (int i = 0; i < kMostHalvings; ++i) {
    const double middle = 0.5 * (low + high);
    if (!(low < middle && middle < high) ||
        high - low <= kClose * (middle < 0.0 ? -middle : middle)) {
      break;
    }
    (function(middle) < value ? low : high) = middle;
  }
  return 0.5 * (low + high);
}

}  // namespace limes::detail
