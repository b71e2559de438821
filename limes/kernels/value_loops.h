#pragma once

#include <cstddef>
#include <cstdint>

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

/// Moves values that may overlap; n may be 0 with null pointers.
void MoveValues(float* target, const float* source, std::size_t n);

struct SBounds {
  float min;
  float max;
};

/// Smallest and largest of n > 0 values, by strict comparisons from the first on: a leading NaN is
/// both, another one neither; of zeros the first one's sign.
SBounds FindBounds(const float* y, std::size_t n);

/// The same of values at distances of inc.
SBounds FindBounds(const float* y, std::size_t n, std::size_t inc);

/// From so many values on lanes are faster than one by one.
inline constexpr std::size_t kWorthLanes = 48;

/// FindBounds for bins that may be short, which spares them the call.
inline SBounds BoundsOfBin(const float* y, std::size_t n, std::size_t inc = 1) {
  if (n >= kWorthLanes) {
    return FindBounds(y, n, inc);
  }
  SBounds bounds{*y, *y};
  for (std::size_t i = 0; i < n; ++i, y += inc) {
    bounds.min = *y < bounds.min ? *y : bounds.min;
    bounds.max = *y > bounds.max ? *y : bounds.max;
  }
  return bounds;
}

struct SExtremes {
  std::size_t min;
  std::size_t max;
};

/// Indices of the first smallest and the first largest of n > 0 values by the same rule.
SExtremes FindExtremes(const float* y, std::size_t n);

/// One of both.
std::size_t FindSmallest(const float* y, std::size_t n);
std::size_t FindLargest(const float* y, std::size_t n);

/// Values as bytes over their bounds: the low 8 bits of trunc(q * 255 + 0.5) with the float
/// q = (y - min) / (max - min); 0 where that is no 32-bit integer.
void CodeValues(const float* y, std::size_t n, SBounds bounds, std::uint8_t* bytes);

/// Bytes as values: the float byte / 255 times (max - min) plus min.
void DecodeValues(const std::uint8_t* bytes, std::size_t n, SBounds bounds, float* y);

/// Distance of two points in the plane, formed in double.
float Distance(float x0, float y0, float x1, float y1);

}  // namespace limes::detail
