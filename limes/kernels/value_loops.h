#pragma once

#include <cstddef>
#include <cstdint>

#include "limes/kernels/value_bounds.h"

namespace limes::detail {

// Loops over the values of curves, each element by itself and in ascending order. Source and target
// may overlap in any way: the result is that of the plain loop. All O(n).

void FillValues(float* y, std::size_t n, float c);
void AddConstant(float* y, std::size_t n, float c);
void SubtractConstant(float* y, std::size_t n, float c);
void MultiplyBy(float* y, std::size_t n, float c);
void NegateValues(float* y, std::size_t n);
void AbsoluteValues(float* y, std::size_t n);
void SquareValues(float* y, std::size_t n);

/// 0.0 for values not above 0.
void RootOfValues(float* y, std::size_t n);

/// Values at most c (at least c) become c; NaN stay.
void RaiseTo(float* y, std::size_t n, float c);
void LowerTo(float* y, std::size_t n, float c);

void AddValues(float* y, const float* s, std::size_t n);
void SubtractValues(float* y, const float* s, std::size_t n);
void SubtractSquares(float* y, const float* s, std::size_t n);

/// y + w * s
void AddScaled(float* y, const float* s, std::size_t n, float w);

/// y + w * (s * s)
void AddScaledSquares(float* y, const float* s, std::size_t n, float w);

/// y + (w * s) * s
void AddScaledTimes(float* y, const float* s, std::size_t n, float w);

/// s where it is smaller (larger) than y, else y: a NaN replaces nothing and is not replaced.
void TakeSmaller(float* y, const float* s, std::size_t n);
void TakeLarger(float* y, const float* s, std::size_t n);

/// Vectors that are combined into one in a single pass: the target is read and written once, and
/// more of memory is under way at a time than with one after the other.
struct SEight {
  const float* source[8];
  float w[8];  ///< one weight each
};

// The same for eight sources in turn, with the same bits. The target overlaps no source.

void AddEight(float* y, const SEight& s, std::size_t n);
void AddScaledEight(float* y, const SEight& s, std::size_t n);
void AddScaledTimesEight(float* y, const SEight& s, std::size_t n);
void TakeSmallerEight(float* y, const SEight& s, std::size_t n);
void TakeLargerEight(float* y, const SEight& s, std::size_t n);

/// y where it is larger, else s: a NaN takes the next source's value.
void RaiseEight(float* y, const SEight& s, std::size_t n);

/// Moves values that may overlap; n may be 0 with null pointers.
void MoveValues(float* target, const float* source, std::size_t n);

/// Values as bytes over their bounds: the low 8 bits of trunc(q * 255 + 0.5) with the float
/// q = (y - min) / (max - min); 0 where that is no 32-bit integer.
void CodeValues(const float* y, std::size_t n, SBounds bounds, std::uint8_t* bytes);

/// Bytes as values: the float byte / 255 times (max - min) plus min.
void DecodeValues(const std::uint8_t* bytes, std::size_t n, SBounds bounds, float* y);

/// Distance of two points in the plane, formed in double.
float Distance(float x0, float y0, float x1, float y1);

}  // namespace limes::detail
