#include <algorithm>
#include <cstring>

#include "limes/kernels/element_loops.h"
#include "limes/kernels/vector_kernels.h"
#include "limes/platform/cpu_clones.h"

#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

namespace limes::DVL {

using detail::Disjoint;
using detail::ExtentOf;
using detail::ForBoth;

LIMES_CLONES void VectorAddVector(float* dst, std::uint32_t dstInc, const float* src,
                                  std::uint32_t srcInc, std::uint32_t n, float f) {
  ForBoth(dst, dstInc, src, srcInc, n, [f](float d, float s) { return d + s * f; });
}

LIMES_CLONES void VectorWeightedSum(float* dst, std::uint32_t dstInc, const float* src,
                                    std::uint32_t srcInc, std::uint32_t n, float wDst, float wSrc) {
  ForBoth(dst, dstInc, src, srcInc, n,
          [wDst, wSrc](float d, float s) { return d * wDst + s * wSrc; });
}

namespace {

/// Both passes in one, for buffers side by side that do not overlap.
LIMES_CLONES void Combine(const float* __restrict a, float fa, const float* __restrict b, float fb,
                          float* __restrict dst, std::size_t n) {
  LIMES_UNROLL
  for (std::size_t i = 0; i < n; ++i) {
    dst[i] = a[i] * fa + b[i] * fb;
  }
}

}  // namespace

void VectorLinCombi(const float* a, float fa, const float* b, float fb, float* dst, std::uint32_t n,
                    std::uint32_t incA, std::uint32_t incB, std::uint32_t incDst) {
  if (n == 0 || (fa == 0.0F && fb == 0.0F)) {
    return;  // kept: both factors 0 leave the old values
  }
  const std::size_t size = ExtentOf(dst, n, incDst);
  const bool bApart = incDst != 0 && Disjoint(b, ExtentOf(b, n, incB), dst, size);
  if (bApart && a == dst && incA == incDst) {
    VectorWeightedSum(dst, incDst, b, incB, n, fa, fb);
  } else if (bApart && incA == 1 && incB == 1 && incDst == 1 && Disjoint(a, size, dst, size)) {
    Combine(a, fa, b, fb, dst, n);
  } else {
    ForBoth(dst, incDst, a, incA, n, [fa](float, float s) { return s * fa; });
    ForBoth(dst, incDst, b, incB, n, [fb](float d, float s) { return d + s * fb; });
  }
}

namespace {

template <class Word>
inline void CopyWords(Word* dst, std::uint32_t dstInc, const Word* src, std::uint32_t srcInc,
                      std::uint32_t n) {
  static_assert(sizeof(Word) == sizeof(std::uint32_t));
  detail::Convert<std::uint32_t, std::uint32_t>(dst, dstInc, src, srcInc, n,
                                                [](std::uint32_t word) { return word; });
}

}  // namespace

LIMES_CLONES void Interleave(int* dst, std::uint32_t dstInc, const int* src, std::uint32_t srcInc,
                             std::uint32_t n) {
  CopyWords(dst, dstInc, src, srcInc, n);
}

LIMES_CLONES void Interleave(unsigned* dst, std::uint32_t dstInc, const unsigned* src,
                             std::uint32_t srcInc, std::uint32_t n) {
  CopyWords(dst, dstInc, src, srcInc, n);
}

LIMES_CLONES void Interleave(float* dst, std::uint32_t dstInc, const float* src,
                             std::uint32_t srcInc, std::uint32_t n) {
  CopyWords(dst, dstInc, src, srcInc, n);
}

namespace {

constexpr std::size_t kTile = 64;  ///< rows and columns: a tile of both matrices stays in the cache

/// Columns [c0, c1) of the rows [r0, r1), element by element.
inline void TransposeWords(float* dst, const float* src, std::size_t width, std::size_t height,
                           std::size_t r0, std::size_t r1, std::size_t c0, std::size_t c1) {
  for (std::size_t c = c0; c < c1; ++c) {
    for (std::size_t r = r0; r < r1; ++r) {
      std::memcpy(dst + c * height + r, src + r * width + c, sizeof(float));
    }
  }
}

#if defined(__SSE2__)
inline void TransposeFour(float* dst, const float* src, std::size_t width, std::size_t height) {
  __m128 a = _mm_loadu_ps(src);
  __m128 b = _mm_loadu_ps(src + width);
  __m128 c = _mm_loadu_ps(src + 2 * width);
  __m128 d = _mm_loadu_ps(src + 3 * width);
  _MM_TRANSPOSE4_PS(a, b, c, d);
  _mm_storeu_ps(dst, a);
  _mm_storeu_ps(dst + height, b);
  _mm_storeu_ps(dst + 2 * height, c);
  _mm_storeu_ps(dst + 3 * height, d);
}

void TransposeTile(float* dst, const float* src, std::size_t width, std::size_t height,
                   std::size_t r0, std::size_t r1, std::size_t c0, std::size_t c1) {
  const std::size_t rows = r0 + (r1 - r0) / 4 * 4;
  const std::size_t columns = c0 + (c1 - c0) / 4 * 4;
  for (std::size_t r = r0; r < rows; r += 4) {
    for (std::size_t c = c0; c < columns; c += 4) {
      TransposeFour(dst + c * height + r, src + r * width + c, width, height);
    }
  }
  TransposeWords(dst, src, width, height, rows, r1, c0, columns);
  TransposeWords(dst, src, width, height, r0, r1, columns, c1);
}
#else
void TransposeTile(float* dst, const float* src, std::size_t width, std::size_t height,
                   std::size_t r0, std::size_t r1, std::size_t c0, std::size_t c1) {
  TransposeWords(dst, src, width, height, r0, r1, c0, c1);
}
#endif

}  // namespace

void MatrixTanspose(float* dst, const float* src, std::uint32_t width, std::uint32_t height) {
  const std::uint64_t count = std::uint64_t{width} * height;
  if (count == 0) {
    return;
  }
  const std::size_t size = static_cast<std::size_t>(count) * sizeof(float);
  if (!Disjoint(dst, size, src, size)) {
    for (std::size_t r = 0; r < height; ++r) {
      Interleave(dst + r, height, src + r * width, 1, width);
    }
    return;
  }
  for (std::size_t r = 0; r < height; r += kTile) {
    for (std::size_t c = 0; c < width; c += kTile) {
      TransposeTile(dst, src, width, height, r, std::min<std::size_t>(height, r + kTile), c,
                    std::min<std::size_t>(width, c + kTile));
    }
  }
}

LIMES_CLONES void MaximizeVectors(float* dst, const float* src, std::uint32_t n) {
  ForBoth(dst, 1, src, 1, n, [](float d, float s) { return d > s ? d : s; });
}

LIMES_CLONES void MinimizeVectors(float* dst, const float* src, std::uint32_t n) {
  ForBoth(dst, 1, src, 1, n, [](float d, float s) { return d < s ? d : s; });
}

LIMES_CLONES void MaximizeVectorsWithInc(float* dst, std::uint32_t dstInc, const float* src,
                                         std::uint32_t srcInc, std::uint32_t n) {
  ForBoth(dst, dstInc, src, srcInc, n, [](float d, float s) { return d > s ? d : s; });
}

LIMES_CLONES void MinimizeVectorsWithInc(float* dst, std::uint32_t dstInc, const float* src,
                                         std::uint32_t srcInc, std::uint32_t n) {
  ForBoth(dst, dstInc, src, srcInc, n, [](float d, float s) { return d < s ? d : s; });
}

namespace {

/// v[i] = join(v[i], line at i) over i0..i1. False when that is not even one step.
template <class Join>
inline bool JoinLine(float* v, std::int32_t i0, std::int32_t i1, float y0, float y1, Join join) {
  const std::int64_t steps = std::int64_t{i1} - i0;
  if (steps < 1) {
    return false;
  }
  const auto slope = static_cast<float>((double{y1} - double{y0}) / static_cast<double>(steps));
  float y = y0;
  float* p = v + i0;
  for (std::int64_t i = 0; i <= steps; ++i) {
    p[i] = join(p[i], y);
    y += slope;  // kept: accumulated, so the last value may miss y1
  }
  return true;
}

}  // namespace

void SetVectorToPolygon(float* v, std::int32_t i0, std::int32_t i1, float y0, float y1) {
  if (!JoinLine(v, i0, i1, y0, y1, [](float, float y) { return y; })) {
    v[i1] = y1;
  }
}

void MaximizeVectorAndPolygon(float* v, std::int32_t i0, std::int32_t i1, float y0, float y1) {
  if (!JoinLine(v, i0, i1, y0, y1, [](float x, float y) { return x > y ? x : y; }) && y1 > v[i1]) {
    v[i1] = y1;
  }
}

void MinimizeVectorAndPolygon(float* v, std::int32_t i0, std::int32_t i1, float y0, float y1) {
  if (!JoinLine(v, i0, i1, y0, y1, [](float x, float y) { return x < y ? x : y; }) && y1 < v[i1]) {
    v[i1] = y1;
  }
}

}  // namespace limes::DVL
