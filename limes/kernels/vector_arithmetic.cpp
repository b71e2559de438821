#include <algorithm>
#include <cmath>

#include "limes/kernels/element_loops.h"
#include "limes/kernels/vector_kernels.h"
#include "limes/platform/aligned_memory.h"
#include "limes/platform/cpu_clones.h"

#if defined(LIMES_HAS_WIDE)
#include <immintrin.h>
#endif

namespace limes::DVL {

using detail::ForEach;
using detail::ForIndex;

namespace {

template <class T>
T* NewAligned(std::uint64_t n) {
  static_assert(sizeof(T) == 4);
  const std::uint64_t bytes = n > 0 ? n * sizeof(T) : 1;
  if (bytes > SIZE_MAX / 2) {
    return nullptr;
  }
  return static_cast<T*>(
      platform::AllocateAligned(static_cast<std::size_t>(bytes), kKernelAlignment));
}

}  // namespace

float* NewAlignedFloat(unsigned n) noexcept { return NewAligned<float>(n); }

int* NewAlignedInt(int n) noexcept {
  return n < 0 ? nullptr : NewAligned<int>(static_cast<unsigned>(n));
}

unsigned* NewAlignedUnsigned(unsigned n) noexcept { return NewAligned<unsigned>(n); }

void DeleteAlignedFloat(float* block) noexcept { platform::FreeAligned(block, kKernelAlignment); }

void DeleteAlignedInt(int* block) noexcept { platform::FreeAligned(block, kKernelAlignment); }

void DeleteAlignedUnsigned(unsigned* block) noexcept {
  platform::FreeAligned(block, kKernelAlignment);
}

LIMES_CLONES void SetConstant(int* p, std::uint32_t n, std::uint32_t inc, int value) {
  ForIndex(p, n, inc, [value](std::uint32_t) { return value; });
}

LIMES_CLONES void SetConstant(float* p, std::uint32_t n, std::uint32_t inc, float value) {
  ForIndex(p, n, inc, [value](std::uint32_t) { return value; });
}

LIMES_CLONES void SetConstant(double* p, std::uint32_t n, std::uint32_t inc, double value) {
  ForIndex(p, n, inc, [value](std::uint32_t) { return value; });
}

LIMES_CLONES void AddFloatIp(float* p, std::uint32_t n, std::uint32_t inc, float c) {
  if (c == 0.0F) {
    return;  // kept: not even read, so -0.0 stays
  }
  ForEach(p, n, inc, [c](float x) { return x + c; });
}

LIMES_CLONES void SubFloatIp(float* p, std::uint32_t n, std::uint32_t inc, float c) {
  if (c == 0.0F) {
    return;  // kept: not even read
  }
  ForEach(p, n, inc, [c](float x) { return x - c; });
}

LIMES_CLONES void MulFloatIp(float* p, std::uint32_t n, std::uint32_t inc, float c) {
  if (c == 1.0F) {
    return;  // kept: not even read
  }
  ForEach(p, n, inc, [c](float x) { return x * c; });
}

LIMES_CLONES void LinTransfromIp(float* p, std::uint32_t n, std::uint32_t inc, float a, float b) {
  if (a == 1.0F && b == 0.0F) {
    return;  // kept: not even read, so -0.0 stays
  }
  ForEach(p, n, inc, [a, b](float x) { return x * a + b; });
}

LIMES_CLONES void SquareIp(float* p, std::uint32_t n, std::uint32_t inc) {
  ForEach(p, n, inc, [](float x) { return x * x; });
}

LIMES_CLONES_AVX2 void SquareRootIp(float* p, std::uint32_t n, std::uint32_t inc) {
  // The choice before the root leaves no branch in the loop. A root of 512 bits takes longer than
  // two of 256.
  ForEach(p, n, inc, [](float x) { return std::sqrt(x > 0.0F ? x : 0.0F); });
}

LIMES_CLONES void VectorAbsValIp(float* p, std::uint32_t n, std::uint32_t inc) {
  ForEach(p, n, inc, [](float x) { return std::fabs(x); });
}

LIMES_CLONES void ClipVectorIp(float* p, std::uint32_t n, std::uint32_t inc, float lo, float hi) {
  ForEach(p, n, inc, [lo, hi](float x) {
    const float above = x > lo ? x : lo;  // NaN too becomes lo
    return above < hi ? above : hi;
  });
}

LIMES_CLONES void FloatRowIp(float* p, std::uint32_t n, std::uint32_t inc, float start,
                             float step) {
  ForIndex(p, n, inc, [start, step](std::uint32_t i) {
    return static_cast<float>(static_cast<std::int32_t>(i)) * step + start;
  });
}

LIMES_CLONES void Int32RowIp(int* p, std::uint32_t n, std::uint32_t inc, int start, int step) {
  auto value = static_cast<std::uint32_t>(start);  // unsigned numbers wrap
  ForIndex(p, n, inc, [&value, by = static_cast<std::uint32_t>(step)](std::uint32_t) {
    const std::uint32_t current = value;
    value += by;
    return static_cast<int>(current);
  });
}

namespace {

constexpr std::size_t kRow = 32;

/// Divides rows up to the first that holds a zero or NaN; returns how many elements it divided.
std::size_t DivideRows(float* p, std::size_t n) {
  std::size_t i = 0;
  for (; i + kRow <= n; i += kRow) {
    unsigned odd = 0;
#pragma GCC unroll 1  // else g++ unrolls before it looks for vectors, and then finds none
    for (std::size_t k = i; k < i + kRow; ++k) {
      odd |= static_cast<unsigned>(!(std::fabs(p[k]) > 0.0F));
    }
    if (odd != 0) {
      break;
    }
#pragma GCC unroll 1
    for (std::size_t k = i; k < i + kRow; ++k) {
      p[k] = 1.0F / p[k];
    }
  }
  return i;
}

#if defined(LIMES_HAS_WIDE)
LIMES_WIDE std::size_t DivideWideRows(float* p, std::size_t n) {
  const __m256 one = _mm256_set1_ps(1.0F);
  const __m256 zero = _mm256_setzero_ps();
  std::size_t i = 0;
  for (; i + kRow <= n; i += kRow) {
    __m256 odd = zero;
    for (std::size_t k = i; k < i + kRow; k += 8) {
      odd = _mm256_or_ps(odd, _mm256_cmp_ps(_mm256_loadu_ps(p + k), zero, _CMP_EQ_UQ));
    }
    if (_mm256_movemask_ps(odd) != 0) {
      break;
    }
    for (std::size_t k = i; k < i + kRow; k += 8) {
      _mm256_storeu_ps(p + k, _mm256_div_ps(one, _mm256_loadu_ps(p + k)));
    }
  }
  for (; i + 8 <= n; i += 8) {
    const __m256 x = _mm256_loadu_ps(p + i);
    if (_mm256_movemask_ps(_mm256_cmp_ps(x, zero, _CMP_EQ_UQ)) != 0) {
      break;
    }
    _mm256_storeu_ps(p + i, _mm256_div_ps(one, x));
  }
  return i;
}

std::size_t DivideNeighbours(float* p, std::size_t n) {
  return detail::HasWide() ? DivideWideRows(p, n) : DivideRows(p, n);
}
#else
std::size_t DivideNeighbours(float* p, std::size_t n) { return DivideRows(p, n); }
#endif

}  // namespace

void ReciprocalIp(float* p, std::uint32_t n, std::uint32_t inc) {
  float last = 0.0F;
  for (std::size_t i = 0; i < n;) {
    if (inc == 1) {
      const std::size_t done = DivideNeighbours(p + i, n - i);
      last = done > 0 ? p[i + done - 1] : last;
      i += done;
    }
    for (const std::size_t end = std::min<std::size_t>(n, i + kRow); i < end; ++i) {
      float& x = p[i * inc];
      last = x < 0.0F || x > 0.0F ? 1.0F / x : last;
      x = last;
    }
  }
}

}  // namespace limes::DVL
