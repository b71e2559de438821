#include "limes/learning/score.h"

#include <cmath>
#include <limits>

namespace limes {
namespace {

/// Wallace's stretch of the score with v degrees of freedom.
double Stretch(double v) { return (8.0 * v + 1.0) / (8.0 * v + 3.0); }

}  // namespace

double ScoreOf(double excess, double n) {
  if (std::isnan(excess) || std::isnan(n)) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  const double v = n - 1.0;
  if (std::isinf(excess) || std::isinf(v) || excess == 0.0) {
    return v > 0.0 || std::isinf(excess) ? excess : 0.0;
  }
  if (!(v > 0.0)) {
    return 0.0;
  }
  const double r = std::fabs(excess) / std::sqrt(v + 2.0);  // t / sqrt(v)
  constexpr double kLarge = 1e8;                            // from here on 1 + r^2 is r^2
  const double logarithm = r < kLarge ? std::log1p(r * r) : 2.0 * std::log(r);
  return std::copysign(Stretch(v) * std::sqrt(v) * std::sqrt(logarithm), excess);
}

double FactorOf(double score, double n) {
  if (std::isnan(score) || std::isnan(n)) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  const double v = n - 1.0;
  if (score == 0.0 || std::isinf(score) || v == std::numeric_limits<double>::infinity()) {
    return score;
  }
  if (!(v > 0.0)) {
    return std::copysign(std::numeric_limits<double>::infinity(), score);
  }
  const double w = std::fabs(score) / Stretch(v) / std::sqrt(v);
  constexpr double kLarge = 20.0;  // from here on exp(w^2) - 1 is exp(w^2), which may overflow
  const double r = w < kLarge ? std::sqrt(std::expm1(w * w)) : std::exp(0.5 * w * w);
  return std::copysign(r * std::sqrt(v + 2.0), score);
}

}  // namespace limes
