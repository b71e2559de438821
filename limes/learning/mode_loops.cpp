#include "limes/learning/mode_loops.h"

#include <algorithm>
#include <cmath>

#include "limes/platform/cpu_clones.h"

namespace limes::detail {
namespace {

constexpr std::size_t kLanes = kModeLanes;
constexpr double kNoSpread = 0x1p-24;  ///< of |M|: S is a rounding of the values

/// kRows dot products side by side, each in kLanes lanes that are added in one order.
template <std::size_t kRows>
inline __attribute__((always_inline)) void Dots(const double* __restrict x,
                                                const double* __restrict rows, std::size_t stride,
                                                std::size_t n, double* __restrict out) {
  double sums[kRows][kLanes] = {};
  for (std::size_t i = 0; i < n; i += kLanes) {
    for (std::size_t r = 0; r < kRows; ++r) {
      for (std::size_t j = 0; j < kLanes; ++j) {
        sums[r][j] += x[i + j] * rows[r * stride + i + j];
      }
    }
  }
  for (std::size_t r = 0; r < kRows; ++r) {
    const double* const s = sums[r];
    out[r] += ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7]));
  }
}

}  // namespace

LIMES_CLONES void AddDots(const double* x, const double* rows, std::size_t stride,
                          std::size_t count, std::size_t n, double* out) {
  std::size_t r = 0;
  for (; r + 4 <= count; r += 4) {
    Dots<4>(x, rows + r * stride, stride, n, out + r);
  }
  for (; r < count; ++r) {
    Dots<1>(x, rows + r * stride, stride, n, out + r);
  }
}

LIMES_CLONES void SubtractRows(double* __restrict x, const double* __restrict rows,
                               std::size_t stride, std::size_t count, std::size_t n,
                               const double* __restrict factors) {
  std::size_t r = 0;
  for (; r + 4 <= count; r += 4) {
    const double* const a = rows + r * stride;
    const double* const b = a + stride;
    const double* const c = b + stride;
    const double* const d = c + stride;
    for (std::size_t i = 0; i < n; ++i) {
      x[i] = (((x[i] - factors[r] * a[i]) - factors[r + 1] * b[i]) - factors[r + 2] * c[i]) -
             factors[r + 3] * d[i];
    }
  }
  for (; r < count; ++r) {
    for (std::size_t i = 0; i < n; ++i) {
      x[i] -= factors[r] * rows[r * stride + i];
    }
  }
}

LIMES_CLONES void CombineRows(double* __restrict out, std::size_t outStride, std::size_t outs,
                              const double* __restrict rows, std::size_t stride, std::size_t count,
                              std::size_t n, const double* __restrict factors,
                              std::size_t factorStride) {
  for (std::size_t k = 0; k < outs; ++k) {
    double* __restrict y = out + k * outStride;
    const double* const f = factors + k * factorStride;
    std::fill(y, y + n, 0.0);
    std::size_t r = 0;
    for (; r + 8 <= count; r += 8) {
      const double* const x = rows + r * stride;
      for (std::size_t i = 0; i < n; ++i) {
        const double a = f[r] * x[i] + f[r + 1] * x[stride + i];
        const double b = f[r + 2] * x[2 * stride + i] + f[r + 3] * x[3 * stride + i];
        const double c = f[r + 4] * x[4 * stride + i] + f[r + 5] * x[5 * stride + i];
        const double d = f[r + 6] * x[6 * stride + i] + f[r + 7] * x[7 * stride + i];
        y[i] += (a + b) + (c + d);
      }
    }
    for (; r < count; ++r) {
      for (std::size_t i = 0; i < n; ++i) {
        y[i] += f[r] * rows[r * stride + i];
      }
    }
  }
}

LIMES_CLONES void MultiplyRow(double* __restrict y, const double* __restrict x,
                              const double* __restrict w, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = x[i] * w[i];
  }
}

LIMES_CLONES void SpreadModeValues(const SModeValues& values, std::size_t n, double sum) {
  const double* __restrict m = values.mean;
  const double* __restrict q = values.square;
  double* __restrict s = values.spread;
  double* __restrict inverse = values.inverse;
  for (std::size_t i = 0; i < n; ++i) {
    const double spread = std::sqrt(q[i] / sum);
    const bool varies = spread > kNoSpread * std::fabs(m[i]);
    s[i] = varies ? spread : 0.0;
    inverse[i] = varies ? 1.0 / spread : 0.0;
  }
}

LIMES_CLONES void LearnModeValues(const SModeValues& values, double* __restrict d,
                                  const double* __restrict x, std::size_t n, double a, double share,
                                  double before, double sum) {
  double* __restrict m = values.mean;
  double* __restrict q = values.square;
  const double kept = before > 0.0 ? sum / before : 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    const bool has = x[i] == x[i];
    const double step = has ? x[i] - m[i] : 0.0;
    m[i] += a * step;
    q[i] = has ? share * q[i] + (1.0 - a) * (step * step) : kept * q[i];
    d[i] = step;
  }
  SpreadModeValues(values, n, sum);
}

LIMES_CLONES void AddSquares(double* __restrict y, const double* __restrict x, std::size_t n,
                             double share) {
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = share * y[i] + x[i] * x[i];
  }
}

LIMES_CLONES void ExpectValues(double* __restrict y, const double* __restrict m,
                               const double* __restrict s, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = m[i] + s[i] * y[i];
  }
}

}  // namespace limes::detail
