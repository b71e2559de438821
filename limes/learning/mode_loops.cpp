#include "limes/learning/mode_loops.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "limes/platform/cpu_clones.h"

namespace limes::detail {
namespace {

constexpr std::size_t kLanes = kModeLanes;
constexpr double kNoSpread = 0x1p-24;  ///< of |M|: S is a rounding of the values
constexpr double kNone = -std::numeric_limits<double>::infinity();

/// Of a type of vectors of doubles: how many there are in a register, and registers in kLanes.
template <class Vector>
constexpr std::size_t kWidth = sizeof(Vector) / sizeof(double);
template <class Vector>
constexpr std::size_t kRegisters = kLanes / kWidth<Vector>;

using Two __attribute__((vector_size(16))) = double;

/// Runs work.template operator()<Vector>() with the widest vectors that the processor has. It is
/// inlined into each form, and so has to be everything that it calls.
#if defined(LIMES_HAS_WIDE)
using Four __attribute__((vector_size(32))) = double;
using Eight __attribute__((vector_size(64))) = double;

template <class Work>
LIMES_WIDE void WithFours(const Work& work) {
  work.template operator()<Four>();
}

template <class Work>
LIMES_WIDEST void WithEights(const Work& work) {
  work.template operator()<Eight>();
}

template <class Work>
void WithVectors(const Work& work) {
  if (HasWidest()) {
    WithEights(work);
  } else if (HasWide()) {
    WithFours(work);
  } else {
    work.template operator()<Two>();
  }
}
#else
template <class Work>
void WithVectors(const Work& work) {
  work.template operator()<Two>();
}
#endif

#define LIMES_INLINED __attribute__((always_inline))

template <class Vector>
LIMES_INLINED inline void Load(const double* p, Vector& v) {
  std::memcpy(&v, p, sizeof(v));
}

/// The lanes of one sum, always added in the same order.
template <class Vector>
LIMES_INLINED inline double SumOfLanes(const Vector (&s)[kRegisters<Vector>]) {
  if constexpr (kRegisters<Vector> == 1) {
    const auto four = __builtin_shufflevector(s[0], s[0], 0, 1, 2, 3) +
                      __builtin_shufflevector(s[0], s[0], 4, 5, 6, 7);
    const auto two =
        __builtin_shufflevector(four, four, 0, 1) + __builtin_shufflevector(four, four, 2, 3);
    return two[0] + two[1];
  } else if constexpr (kRegisters<Vector> == 2) {
    const Vector four = s[0] + s[1];
    const auto two =
        __builtin_shufflevector(four, four, 0, 1) + __builtin_shufflevector(four, four, 2, 3);
    return two[0] + two[1];
  } else {
    const Vector two = (s[0] + s[2]) + (s[1] + s[3]);
    return two[0] + two[1];
  }
}

/// out[k outStride + r] += the dot product of x row k and y row r, all side by side.
template <class Vector, std::size_t kXs, std::size_t kYs>
LIMES_INLINED inline void Dots(const double* x, const double* y, std::size_t stride, std::size_t n,
                               double* out, std::size_t outStride) {
  constexpr std::size_t kParts = kRegisters<Vector>;
  Vector sums[kXs][kYs][kParts] = {};
  for (std::size_t i = 0; i < n; i += kLanes) {
    Vector xs[kXs][kParts];
#pragma GCC unroll 8
    for (std::size_t k = 0; k < kXs; ++k) {
#pragma GCC unroll 8
      for (std::size_t p = 0; p < kParts; ++p) {
        Load(x + k * stride + i + p * kWidth<Vector>, xs[k][p]);
      }
    }
#pragma GCC unroll 8
    for (std::size_t r = 0; r < kYs; ++r) {
#pragma GCC unroll 8
      for (std::size_t p = 0; p < kParts; ++p) {
        Vector v;
        Load(y + r * stride + i + p * kWidth<Vector>, v);
#pragma GCC unroll 8
        for (std::size_t k = 0; k < kXs; ++k) {
          sums[k][r][p] += xs[k][p] * v;
        }
      }
    }
  }
#pragma GCC unroll 8
  for (std::size_t k = 0; k < kXs; ++k) {
#pragma GCC unroll 8
    for (std::size_t r = 0; r < kYs; ++r) {
      out[k * outStride + r] += SumOfLanes(sums[k][r]);
    }
  }
}

/// kXs rows of x with count rows of y, as many at a time as there are registers.
template <class Vector, std::size_t kXs>
LIMES_INLINED inline void DotsWithAll(const double* x, const double* y, std::size_t stride,
                                      std::size_t count, std::size_t n, double* out,
                                      std::size_t outStride) {
  constexpr std::size_t kSums = 8;  // for the latency of additions
  constexpr std::size_t kYs = std::max<std::size_t>(kSums / (kXs * kRegisters<Vector>), 1);
  std::size_t r = 0;
  for (; r + kYs <= count; r += kYs) {
    Dots<Vector, kXs, kYs>(x, y + r * stride, stride, n, out + r, outStride);
  }
  for (; r < count; ++r) {
    Dots<Vector, kXs, 1>(x, y + r * stride, stride, n, out + r, outStride);
  }
}

/// out[k outStride] = sum over r of factors[k factorStride + r] rows[r stride], of kOuts outputs.
template <class Vector, std::size_t kOuts>
LIMES_INLINED inline void Combine(double* out, std::size_t outStride, const double* rows,
                                  std::size_t stride, std::size_t count, const double* factors,
                                  std::size_t factorStride) {
  constexpr std::size_t kGroup = 8;
  Vector sums[kOuts] = {};
  std::size_t r = 0;
  for (; r + kGroup <= count; r += kGroup) {
    Vector x[kGroup];
#pragma GCC unroll 8
    for (std::size_t j = 0; j < kGroup; ++j) {
      Load(rows + (r + j) * stride, x[j]);
    }
#pragma GCC unroll 8
    for (std::size_t k = 0; k < kOuts; ++k) {
      const double* const f = factors + k * factorStride + r;
      sums[k] += ((f[0] * x[0] + f[1] * x[1]) + (f[2] * x[2] + f[3] * x[3])) +
                 ((f[4] * x[4] + f[5] * x[5]) + (f[6] * x[6] + f[7] * x[7]));
    }
  }
  for (; r < count; ++r) {
    Vector x;
    Load(rows + r * stride, x);
#pragma GCC unroll 8
    for (std::size_t k = 0; k < kOuts; ++k) {
      sums[k] += factors[k * factorStride + r] * x;
    }
  }
#pragma GCC unroll 8
  for (std::size_t k = 0; k < kOuts; ++k) {
    std::memcpy(out + k * outStride, &sums[k], sizeof(Vector));
  }
}

}  // namespace

void AddDots(const double* x, const double* rows, std::size_t stride, std::size_t count,
             std::size_t n, double* out) {
  WithVectors([=]<class Vector>()
                  LIMES_INLINED { DotsWithAll<Vector, 1>(x, rows, stride, count, n, out, 0); });
}

void AddProducts(const double* rows, std::size_t stride, std::size_t count, std::size_t n,
                 double* out, std::size_t outStride) {
  WithVectors([=]<class Vector>() LIMES_INLINED {
    constexpr std::size_t kXs = kRegisters<Vector> == 1 ? 4 : kRegisters<Vector> == 2 ? 2 : 1;
    std::size_t r = 0;
    for (; r + kXs <= count; r += kXs) {
      DotsWithAll<Vector, kXs>(rows + r * stride, rows, stride, r + kXs, n, out + r * outStride,
                               outStride);
    }
    for (; r < count; ++r) {
      DotsWithAll<Vector, 1>(rows + r * stride, rows, stride, r + 1, n, out + r * outStride, 0);
    }
  });
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

void CombineRows(double* out, std::size_t outStride, std::size_t outs, const double* rows,
                 std::size_t stride, std::size_t count, std::size_t n, const double* factors,
                 std::size_t factorStride) {
  WithVectors([=]<class Vector>() LIMES_INLINED {
    constexpr std::size_t kOuts = 4;
    for (std::size_t i = 0; i < n; i += kWidth<Vector>) {
      std::size_t k = 0;
      for (; k + kOuts <= outs; k += kOuts) {
        Combine<Vector, kOuts>(out + k * outStride + i, outStride, rows + i, stride, count,
                               factors + k * factorStride, factorStride);
      }
      for (; k < outs; ++k) {
        Combine<Vector, 1>(out + k * outStride + i, outStride, rows + i, stride, count,
                           factors + k * factorStride, factorStride);
      }
    }
  });
}

LIMES_CLONES SModeCounts CountModeValues(const double* x, std::size_t n, double most) {
  SModeCounts counts;
  for (std::size_t i = 0; i < n; ++i) {
    counts.measured += x[i] == x[i] ? 1 : 0;
    counts.beyond += std::fabs(x[i]) > most ? 1 : 0;
  }
  return counts;
}

namespace {

/// How far points lie out on one side, one at a time or a vector of them.
struct SSide {
  const double* x;
  const double* expected;
  const double* spread;
  double base;
  double sign;

  template <class Value>
  LIMES_INLINED inline void At(std::size_t i, Value& out) const {
    Value value;
    Value mean;
    Value width;
    std::memcpy(&value, x + i, sizeof(value));
    std::memcpy(&mean, expected + i, sizeof(mean));
    std::memcpy(&width, spread + i, sizeof(width));
    const Value far = (sign * (value - mean) - base) / width;
    out = width > 0.0 ? far : Value{} + kNone;
  }
};

/// The largest of the points from first to end, where NaN do not count.
template <class Vector>
LIMES_INLINED inline double LargestFrom(const SSide& side, std::size_t first, std::size_t end) {
  double largest = kNone;
  std::size_t i = first;
  if (first + kLanes <= end) {
    Vector lanes = Vector{} + kNone;
    for (; i + kWidth<Vector> <= end; i += kWidth<Vector>) {
      Vector next;
      side.At(i, next);
      lanes = next > lanes ? next : lanes;
    }
#pragma GCC unroll 8
    for (std::size_t k = 0; k < kWidth<Vector>; ++k) {
      largest = lanes[k] > largest ? lanes[k] : largest;
    }
  }
  for (; i < end; ++i) {
    double next = 0.0;
    side.At(i, next);
    largest = next > largest ? next : largest;
  }
  return largest;
}

struct SPlace {
  double value = kNone;
  std::size_t at = 0;
};

/// Where it is largest first, of n points: found in the block that holds it.
SPlace FindLargest(const SSide& side, std::size_t n) {
  constexpr std::size_t kBlock = 64;
  SPlace place;
  WithVectors([&]<class Vector>() LIMES_INLINED {
    for (std::size_t i = 0; i < n; i += kBlock) {
      const double largest = LargestFrom<Vector>(side, i, std::min(i + kBlock, n));
      if (largest > place.value) {
        place = {largest, i};
      }
    }
  });
  for (double value = 0.0; place.value > kNone; ++place.at) {
    side.At(place.at, value);
    if (value == place.value) {
      break;
    }
  }
  return place;
}

}  // namespace

SFarthest FarthestOut(const double* x, const double* expected, const double* spread, std::size_t n,
                      double base) {
  const SPlace above = FindLargest({x, expected, spread, base, 1.0}, n);
  const SPlace below = FindLargest({x, expected, spread, base, -1.0}, n);
  return {above.value, below.value, above.at, below.at};
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
