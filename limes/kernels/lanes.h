#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "limes/kernels/extremes_rule.h"

namespace limes::detail {

/// Eight floats side by side, which the compiler halves where the processor's vectors are shorter.
/// Functions take them by reference: vectors passed by value depend on the processor.
using Lanes __attribute__((vector_size(32))) = float;
using LaneBits __attribute__((vector_size(32))) = std::uint32_t;
constexpr std::size_t kLanes = 8;

/// From so many values on lanes are faster than one by one.
constexpr std::size_t kWorthLanes = 48;

/// Loads lanes for TakeLanes.
inline auto LanesAt(const float* p) {
  return [p](std::size_t i, Lanes& lanes) { std::memcpy(&lanes, p + i, sizeof(lanes)); };
}

/// The extreme of a start value and of rows of lanes: four at a time, so that no comparison waits
/// for the one before. As the values do not come in order, the sign of a zero may be another's.
template <class Rule>
class LaneExtreme {
 public:
  static constexpr std::size_t kRows = 4;

  explicit LaneExtreme(float start) {
    for (Lanes& row : rows_) {
      row = start - Lanes{};
    }
  }

  void Take(std::size_t row, const Lanes& lanes) { Rule()(rows_[row], lanes); }

  /// Compares all lanes with each other; the end.
  __attribute__((always_inline)) float Value() {
    const Rule rule;
    rule(rows_[0], rows_[1]);
    rule(rows_[2], rows_[3]);
    rule(rows_[0], rows_[2]);
    Lanes& v = rows_[0];
    rule(v, __builtin_shufflevector(v, v, 4, 5, 6, 7, 0, 1, 2, 3));
    rule(v, __builtin_shufflevector(v, v, 2, 3, 0, 1, 6, 7, 4, 5));
    rule(v, __builtin_shufflevector(v, v, 1, 0, 3, 2, 5, 4, 7, 6));
    return v[0];
  }

 private:
  Lanes rows_[kRows];
};

constexpr std::size_t kLaneBlock = LaneExtreme<SLower>::kRows * kLanes;

/// Takes n >= kLaneBlock values into extremes; load(i, lanes) gives those from i on. The last ones
/// are taken twice where n is no multiple of a block.
template <class Load, class... Extreme>
__attribute__((always_inline)) inline void TakeLanes(std::size_t n, Load load,
                                                     Extreme&... extremes) {
  const auto take = [&](std::size_t at) __attribute__((always_inline)) {
    for (std::size_t r = 0; r < kLaneBlock / kLanes; ++r) {
      Lanes lanes;
      load(at + r * kLanes, lanes);
      (extremes.Take(r, lanes), ...);
    }
  };
  std::size_t i = 0;
  for (; i + kLaneBlock <= n; i += kLaneBlock) {
    take(i);
  }
  if (i < n) {
    take(n - kLaneBlock);
  }
}

}  // namespace limes::detail
