#include "limes/learning/exact_sum.h"

#include <cmath>
#include <limits>

namespace limes::detail {

template <int bits>
void ExactSum<bits>::Add(double value) {
  const auto units = std::llround(std::ldexp(value, bits));
  Add({static_cast<std::uint64_t>(units), units < 0 ? ~std::uint64_t{0} : 0});
}

template <int bits>
double ExactSum<bits>::Value() const {
  const bool negative = (high >> 63) != 0;
  const std::uint64_t l = negative ? ~low + 1 : low;
  const std::uint64_t h = negative ? ~high + (low == 0 ? 1 : 0) : high;
  const double magnitude =
      std::ldexp(static_cast<double>(h), 64 - bits) + std::ldexp(static_cast<double>(l), -bits);
  return negative ? -magnitude : magnitude;
}

template struct ExactSum<51>;
template struct ExactSum<41>;

double ScoreMoments::Spread(double n) const {
  const double mean = Mean(n);
  return std::sqrt(std::fmax(squares.Value() / n - mean * mean, 0.0));
}

double ScoreMoments::ExcessOverOthers(double score, double n) const {
  const double mean = (sum.Value() - score) / (n - 1.0);
  const double variance = (squares.Value() - score * score) / (n - 1.0) - mean * mean;
  // The sums know variances to some 1e-13: what is below comes of rounding.
  const double least = 1e-12 * (1.0 + mean * mean);
  return variance > least ? (score - mean) / std::sqrt(variance)
                          : -std::numeric_limits<double>::infinity();
}

}  // namespace limes::detail
