#pragma once

#include <cstddef>

namespace limes::detail {

/// Vectors that are combined into one in a single pass: the target is read and written once, and
/// more of memory is under way at a time than with one after the other.
struct SEight {
  const float* source[8];
  float w[8];  ///< one weight each
};

// The loops of value_loops.h for eight sources in turn, with the same bits. The target overlaps no
// source. All O(n).

void AddEight(float* y, const SEight& s, std::size_t n);
void AddScaledEight(float* y, const SEight& s, std::size_t n);
void AddScaledTimesEight(float* y, const SEight& s, std::size_t n);
void TakeSmallerEight(float* y, const SEight& s, std::size_t n);
void TakeLargerEight(float* y, const SEight& s, std::size_t n);

/// y where it is larger, else s: a NaN takes the next source's value.
void RaiseEight(float* y, const SEight& s, std::size_t n);

}  // namespace limes::detail
