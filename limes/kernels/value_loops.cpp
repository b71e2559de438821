#include "limes/kernels/value_loops.h"

#include <cmath>
#include <cstring>

#include "limes/kernels/element_loops.h"
#include "limes/platform/cpu_clones.h"

namespace limes::detail {

namespace {

template <class Op>
inline void ForEach(float* y, std::size_t n, Op op) {
  ForEach(y, n, 1, op);
}

template <class Op>
inline void ForBoth(float* y, const float* s, std::size_t n, Op op) {
  ForBoth(y, 1, s, 1, n, op);
}

}  // namespace

LIMES_CLONES void FillValues(float* y, std::size_t n, float c) {
  ForEach(y, n, [c](float) { return c; });
}

LIMES_CLONES void AddConstant(float* y, std::size_t n, float c) {
  ForEach(y, n, [c](float v) { return v + c; });
}

LIMES_CLONES void SubtractConstant(float* y, std::size_t n, float c) {
  ForEach(y, n, [c](float v) { return v - c; });
}

LIMES_CLONES void MultiplyBy(float* y, std::size_t n, float c) {
  ForEach(y, n, [c](float v) { return v * c; });
}

LIMES_CLONES void NegateValues(float* y, std::size_t n) {
  ForEach(y, n, [](float v) { return -v; });
}

LIMES_CLONES void AbsoluteValues(float* y, std::size_t n) {
  ForEach(y, n, [](float v) { return std::fabs(v); });
}

LIMES_CLONES void SquareValues(float* y, std::size_t n) {
  ForEach(y, n, [](float v) { return v * v; });
}

LIMES_CLONES_AVX2 void RootOfValues(float* y, std::size_t n) {
  // The choice before the root leaves no branch in the loop. A root of 512 bits takes longer than
  // two of 256.
  ForEach(y, n, [](float v) { return std::sqrt(v > 0.0F ? v : 0.0F); });
}

// Only where both are zeros it matters whose is taken, and the other choice is one instruction.

LIMES_CLONES void RaiseTo(float* y, std::size_t n, float c) {
  if (c != 0.0F) {
    ForEach(y, n, [c](float v) { return c > v ? c : v; });
  } else {
    ForEach(y, n, [c](float v) { return v <= c ? c : v; });
  }
}

LIMES_CLONES void LowerTo(float* y, std::size_t n, float c) {
  if (c != 0.0F) {
    ForEach(y, n, [c](float v) { return c < v ? c : v; });
  } else {
    ForEach(y, n, [c](float v) { return v >= c ? c : v; });
  }
}

LIMES_CLONES void AddValues(float* y, const float* s, std::size_t n) {
  ForBoth(y, s, n, [](float v, float o) { return v + o; });
}

LIMES_CLONES void SubtractValues(float* y, const float* s, std::size_t n) {
  ForBoth(y, s, n, [](float v, float o) { return v - o; });
}

LIMES_CLONES void SubtractSquares(float* y, const float* s, std::size_t n) {
  ForBoth(y, s, n, [](float v, float o) { return v - o * o; });
}

LIMES_CLONES void AddScaled(float* y, const float* s, std::size_t n, float w) {
  ForBoth(y, s, n, [w](float v, float o) { return v + w * o; });
}

LIMES_CLONES void AddScaledSquares(float* y, const float* s, std::size_t n, float w) {
  ForBoth(y, s, n, [w](float v, float o) { return v + w * (o * o); });
}

LIMES_CLONES void AddScaledTimes(float* y, const float* s, std::size_t n, float w) {
  ForBoth(y, s, n, [w](float v, float o) { return v + (w * o) * o; });
}

LIMES_CLONES void TakeSmaller(float* y, const float* s, std::size_t n) {
  ForBoth(y, s, n, [](float v, float o) { return o < v ? o : v; });
}

LIMES_CLONES void TakeLarger(float* y, const float* s, std::size_t n) {
  ForBoth(y, s, n, [](float v, float o) { return o > v ? o : v; });
}

namespace {

template <class Op>
inline void Each(float* __restrict y, const float* __restrict a, const float* __restrict b,
                 const float* __restrict c, const float* __restrict d, const float* __restrict e,
                 const float* __restrict f, const float* __restrict g, const float* __restrict h,
                 std::size_t n, const SEight& s, Op op) {
  const float w0 = s.w[0];
  const float w1 = s.w[1];
  const float w2 = s.w[2];
  const float w3 = s.w[3];
  const float w4 = s.w[4];
  const float w5 = s.w[5];
  const float w6 = s.w[6];
  const float w7 = s.w[7];
  for (std::size_t i = 0; i < n; ++i) {
    float v = op(op(op(op(y[i], a[i], w0), b[i], w1), c[i], w2), d[i], w3);
    v = op(op(op(op(v, e[i], w4), f[i], w5), g[i], w6), h[i], w7);
    y[i] = v;
  }
}

template <class Op>
inline void ForEight(float* y, const SEight& s, std::size_t n, Op op) {
  Each(y, s.source[0], s.source[1], s.source[2], s.source[3], s.source[4], s.source[5], s.source[6],
       s.source[7], n, s, op);
}

}  // namespace

LIMES_CLONES void AddEight(float* y, const SEight& s, std::size_t n) {
  ForEight(y, s, n, [](float v, float o, float) { return v + o; });
}

LIMES_CLONES void AddScaledEight(float* y, const SEight& s, std::size_t n) {
  ForEight(y, s, n, [](float v, float o, float w) { return v + w * o; });
}

LIMES_CLONES void AddScaledTimesEight(float* y, const SEight& s, std::size_t n) {
  ForEight(y, s, n, [](float v, float o, float w) { return v + (w * o) * o; });
}

LIMES_CLONES void TakeSmallerEight(float* y, const SEight& s, std::size_t n) {
  ForEight(y, s, n, [](float v, float o, float) { return o < v ? o : v; });
}

LIMES_CLONES void TakeLargerEight(float* y, const SEight& s, std::size_t n) {
  ForEight(y, s, n, [](float v, float o, float) { return o > v ? o : v; });
}

LIMES_CLONES void RaiseEight(float* y, const SEight& s, std::size_t n) {
  ForEight(y, s, n, [](float v, float o, float) { return v > o ? v : o; });
}

void MoveValues(float* target, const float* source, std::size_t n) {
  if (n > 0) {
    std::memmove(target, source, n * sizeof(float));
  }
}

LIMES_CLONES void CodeValues(const float* y, std::size_t n, SBounds bounds, std::uint8_t* bytes) {
  const float scale = bounds.max == bounds.min ? 0.0F : 1.0F / (bounds.max - bounds.min);
  for (std::size_t i = 0; i < n; ++i) {
    const float relative = (y[i] - bounds.min) * scale;
    const float q = relative < 2.0F ? relative : 0.0F;  // NaN and infinities are no bytes
    // trunc(q * 255 + 0.5) of the exact product, with floats only: the rounding error of the
    // product is a float too (T. J. Dekker, A floating-point technique for extending the available
    // precision, 1971), and so are all differences below where they decide.
    const float level = q * 255.0F;
    const float error = (q * 256.0F - level) - q;
    const auto whole = static_cast<std::int32_t>(level);
    const float above = (level - static_cast<float>(whole)) - 0.5F;
    bytes[i] = static_cast<std::uint8_t>(whole + (above >= -error ? 1 : 0));
  }
}

LIMES_CLONES void DecodeValues(const std::uint8_t* bytes, std::size_t n, SBounds bounds, float* y) {
  const float span = bounds.max - bounds.min;
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = static_cast<float>(bytes[i]) / 255.0F * span + bounds.min;
  }
}

float Distance(float x0, float y0, float x1, float y1) {
  const double dx = double{x0} - double{x1};
  const double dy = double{y0} - double{y1};
  return static_cast<float>(std::sqrt(dx * dx + dy * dy));
}

}  // namespace limes::detail
