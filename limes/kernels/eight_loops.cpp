#include "limes/kernels/eight_loops.h"

#include "limes/platform/cpu_clones.h"

namespace limes::detail {

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

}  // namespace limes::detail
