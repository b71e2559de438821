#pragma once

#include <cstdint>
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

  void Add(double value);

  void Add(ExactSum other) {  // by value: it may be this one
    low += other.low;
    high += other.high + (low < other.low ? 1 : 0);
  }

  /// Correct to a rounding or two.
  double Value() const;
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
  double Spread(double n) const;

  /// Excess of one of the n scores over the mean of the others, in their spreads; minus infinity
  /// when the others have none.
  double ExcessOverOthers(double score, double n) const;
};

}  // namespace limes::detail
