#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <tuple>

namespace limes::detail {

/// Sum of numbers, each rounded to a multiple of 2^-bits, as an integer of 128 bits: the same
/// whatever the order of adding and joining. Numbers below 2^(62 - bits) in magnitude; 2^64 of
/// them.
template <int bits>
struct ExactSum {
  std::uint64_t low = 0;
  std::uint64_t high = 0;  ///< two's complement

  friend bool operator==(const ExactSum&, const ExactSum&) = default;

  void Add(double value) {
    const auto units = std::llround(std::ldexp(value, bits));
    Add({static_cast<std::uint64_t>(units), units < 0 ? ~std::uint64_t{0} : 0});
  }

  void Add(ExactSum other) {  // by value: it may be this one
    low += other.low;
    high += other.high + (low < other.low ? 1 : 0);
  }

  /// Correct to a rounding or two.
  double Value() const {
    const bool negative = (high >> 63) != 0;
    const std::uint64_t l = negative ? ~low + 1 : low;
    const std::uint64_t h = negative ? ~high + (low == 0 ? 1 : 0) : high;
    const double magnitude =
        std::ldexp(static_cast<double>(h), 64 - bits) + std::ldexp(static_cast<double>(l), -bits);
    return negative ? -magnitude : magnitude;
  }
};

/// Count, sum and sum of squares of scores from -1024 to 1024.
struct ScoreMoments {
  ExactSum<51> sum;
  ExactSum<41> squares;

  static constexpr auto Fields(auto& m) {
    return std::tie(m.sum.low, m.sum.high, m.squares.low, m.squares.high);
  }

  friend bool operator==(const ScoreMoments&, const ScoreMoments&) = default;

  void Add(double score) {
    sum.Add(score);
    squares.Add(score * score);
  }

  void Add(const ScoreMoments& other) {
    sum.Add(other.sum);
    squares.Add(other.squares);
  }

  double Mean(double n) const { return sum.Value() / n; }

  /// With the divisor n.
  double Spread(double n) const {
    const double mean = Mean(n);
    return std::sqrt(std::fmax(squares.Value() / n - mean * mean, 0.0));
  }

  /// Excess of one of the n scores over the mean of the others, in their spreads; minus infinity
  /// when the others have none.
  double ExcessOverOthers(double score, double n) const {
    const double mean = (sum.Value() - score) / (n - 1.0);
    const double variance = (squares.Value() - score * score) / (n - 1.0) - mean * mean;
    // The sums know variances to some 1e-13: what is below comes of rounding.
    const double least = 1e-12 * (1.0 + mean * mean);
    return variance > least ? (score - mean) / std::sqrt(variance)
                            : -std::numeric_limits<double>::infinity();
  }
};

}  // namespace limes::detail
