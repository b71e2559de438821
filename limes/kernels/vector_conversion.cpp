#include <array>
#include <cmath>
#include <limits>

#include "limes/kernels/element_loops.h"
#include "limes/kernels/vector_kernels.h"
#include "limes/platform/cpu_clones.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace limes::DVL {

using detail::Convert;
using detail::ExtentOf;
using detail::MayReadAhead;

LIMES_CLONES void Int32ToFloat(float* dst, std::uint32_t dstInc, const std::int32_t* src,
                               std::uint32_t srcInc, std::uint32_t n, float scale) {
  Convert<float, std::int32_t>(dst, dstInc, src, srcInc, n, [scale](std::int32_t value) {
    return static_cast<float>(value) * scale;
  });
}

LIMES_CLONES void Int32ToFloatIp(void* p, std::uint32_t inc, std::uint32_t n, float scale) {
  Convert<float, std::int32_t>(
      p, inc, p, inc, n, [scale](std::int32_t value) { return static_cast<float>(value) * scale; });
}

LIMES_CLONES void I2FOffsetIp(void* p, float scale, float offset, std::uint32_t n,
                              std::uint32_t inc) {
  Convert<float, std::int32_t>(p, inc, p, inc, n, [scale, offset](std::int32_t value) {
    return static_cast<float>(value) * scale + offset;
  });
}

namespace {

constexpr float kEndOfInt32 = 2147483648.0F;

/// Saturated; the smallest integer for NaN.
inline std::int32_t RoundToInt32(float x) {
  if (!(x >= -kEndOfInt32)) {
    return std::numeric_limits<std::int32_t>::min();
  }
  return x >= kEndOfInt32 ? std::numeric_limits<std::int32_t>::max()
                          : static_cast<std::int32_t>(detail::RoundToEven(double{x}));
}

/// Converts whole rows; returns how many elements.
std::size_t RoundRows(std::int32_t* dst, const float* src, std::size_t n, float scale) {
  std::size_t i = 0;
#if defined(__SSE2__)
  const __m128 factor = _mm_set1_ps(scale);
  const __m128 end = _mm_set1_ps(kEndOfInt32);
  LIMES_UNROLL
  for (; i + 4 <= n; i += 4) {
    const __m128 x = _mm_mul_ps(_mm_loadu_ps(src + i), factor);
    // What is no integer becomes the smallest one; above the end all its bits are turned over.
    const __m128i above = _mm_castps_si128(_mm_cmpge_ps(x, end));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_xor_si128(_mm_cvtps_epi32(x), above));
  }
#else
  static_cast<void>(dst);
  static_cast<void>(src);
  static_cast<void>(n);
  static_cast<void>(scale);
#endif
  return i;
}

}  // namespace

void FloatToInt32(std::int32_t* dst, std::uint32_t dstInc, const float* src, std::uint32_t srcInc,
                  std::uint32_t n, float scale) {
  if (n == 0) {
    return;
  }
  const std::size_t size = ExtentOf(src, n, 1);
  const bool rows = dstInc == 1 && srcInc == 1 && MayReadAhead(dst, size, src, size);
  const std::size_t done = rows ? RoundRows(dst, src, n, scale) : 0;
  Convert<std::int32_t, float>(dst + done, dstInc, src + done, srcInc, n - done,
                               [scale](float x) { return RoundToInt32(x * scale); });
}

namespace {

constexpr std::size_t kRow = 16;

/// From the last row to the first; each is read whole before its floats are written.
LIMES_CLONES void WidenRows(unsigned char* dst, const unsigned char* src, std::size_t rows,
                            float scale) {
  while (rows-- > 0) {
    std::array<std::int16_t, kRow> values;
    std::array<float, kRow> floats;
    std::memcpy(values.data(), src + rows * sizeof(values), sizeof(values));
#pragma GCC unroll 1  // else g++ unrolls before it looks for vectors, and then finds none
    for (std::size_t k = 0; k < kRow; ++k) {
      floats[k] = static_cast<float>(values[k]) * scale;
    }
    std::memcpy(dst + rows * sizeof(floats), floats.data(), sizeof(floats));
  }
}

}  // namespace

void Int16ToFloat(float* dst, std::uint32_t dstInc, const std::int16_t* src, std::uint32_t srcInc,
                  std::uint32_t n, float scale) {
  if (n == 0) {
    return;
  }
  auto* to = reinterpret_cast<unsigned char*>(dst);
  const auto* from = reinterpret_cast<const unsigned char*>(src);
  // Floats that begin at or behind the integers never reach those of an earlier row.
  const bool rows =
      dstInc == 1 && srcInc == 1 &&
      (to >= from || detail::Disjoint(to, ExtentOf(dst, n, 1), from, ExtentOf(src, n, 1)));
  const std::size_t whole = rows ? n / kRow : 0;
  for (std::size_t i = n; i-- > whole * kRow;) {
    std::int16_t value;
    std::memcpy(&value, from + i * srcInc * sizeof(value), sizeof(value));
    const float result = static_cast<float>(value) * scale;
    std::memcpy(to + i * dstInc * sizeof(result), &result, sizeof(result));
  }
  WidenRows(to, from, whole, scale);
}

namespace {

/// The low 16 bits of the integer part.
inline std::int16_t WrapToInt16(double x) {
  if (!std::isfinite(x)) {
    return 0;
  }
  const auto rest = static_cast<std::int32_t>(std::fmod(std::trunc(x), 65536.0));
  return static_cast<std::int16_t>(rest);
}

/// Rows whose products are 32-bit integers are converted as vectors.
LIMES_CLONES std::size_t WrapRows(std::int16_t* dst, const float* src, std::size_t n,
                                  double scale) {
  constexpr double kEnd = 2147483648.0;
  std::size_t i = 0;
  for (; i + kRow <= n; i += kRow) {
    std::array<std::int16_t, kRow> row;
    unsigned odd = 0;
#pragma GCC unroll 1
    for (std::size_t k = 0; k < kRow; ++k) {
      const double x = double{src[i + k]} * scale;
      const bool inside = std::fabs(x) < kEnd;
      odd |= static_cast<unsigned>(!inside);
      row[k] = static_cast<std::int16_t>(static_cast<std::int32_t>(inside ? x : 0.0));
    }
    if (odd != 0) {
      for (std::size_t k = 0; k < kRow; ++k) {
        row[k] = WrapToInt16(double{src[i + k]} * scale);
      }
    }
    std::memcpy(dst + i, row.data(), sizeof(row));
  }
  return i;
}

}  // namespace

void FloatToInt16(std::int16_t* dst, std::uint32_t dstInc, const float* src, std::uint32_t srcInc,
                  std::uint32_t n, float scale) {
  if (n == 0) {
    return;
  }
  const bool rows = dstInc == 1 && srcInc == 1 &&
                    MayReadAhead(dst, ExtentOf(dst, n, 1), src, ExtentOf(src, n, 1));
  const std::size_t done = rows ? WrapRows(dst, src, n, scale) : 0;
  Convert<std::int16_t, float>(dst + done, dstInc, src + done, srcInc, n - done,
                               [scale](float x) { return WrapToInt16(double{x} * double{scale}); });
}

namespace {

/// Bytes of up to 2^22 levels: the sum with 1.5 * 2^23 has the rounded level in its low bits.
LIMES_CLONES void FewLevels(const float* src, std::size_t n, float lo, float hi, std::uint8_t* dst,
                            float scale, std::size_t srcInc, std::size_t dstInc) {
  Convert<std::uint8_t, float>(dst, dstInc, src, srcInc, n, [lo, hi, scale](float x) {
    const float above = x > lo ? x : lo;  // NaN too becomes lo
    const float level = ((above < hi ? above : hi) - lo) * scale;
    const float sum = (level > 0.0F ? level : 0.0F) + 12582912.0F;
    std::uint32_t bits;
    std::memcpy(&bits, &sum, sizeof(bits));
    return static_cast<std::uint8_t>(bits);
  });
}

void ManyLevels(const float* src, std::size_t n, float lo, float hi, std::uint8_t* dst, float scale,
                std::size_t srcInc, std::size_t dstInc) {
  Convert<std::uint8_t, float>(dst, dstInc, src, srcInc, n, [lo, hi, scale](float x) {
    const float above = x > lo ? x : lo;
    const float level = ((above < hi ? above : hi) - lo) * scale;
    return level > 0.0F ? static_cast<std::uint8_t>(
                              static_cast<std::uint64_t>(detail::RoundToEven(double{level})))
                        : std::uint8_t{0};
  });
}

}  // namespace

void Float2ByteVector(const float* src, std::uint32_t n, float lo, float hi, std::uint8_t* dst,
                      std::uint32_t levels, std::uint32_t srcInc, std::uint32_t dstInc) {
  if (n == 0 || levels == 0) {
    return;
  }
  if (hi <= lo || levels == 1) {
    std::memset(dst, 0, n);  // kept: side by side, whatever the increment
    return;
  }
  const float scale = static_cast<float>(levels - 1) / (hi - lo);
  if (!std::isfinite(scale)) {
    detail::ForEach(dst, n, dstInc, [](std::uint8_t) { return std::uint8_t{0}; });
  } else if (levels <= (1U << 22U)) {
    FewLevels(src, n, lo, hi, dst, scale, srcInc, dstInc);
  } else {
    ManyLevels(src, n, lo, hi, dst, scale, srcInc, dstInc);
  }
}

void Float2ColorVector(const float* /*src*/, std::uint32_t n, float lo, float hi,
                       std::uint32_t* dst, const std::uint32_t* palette, std::uint32_t count,
                       std::uint32_t /*srcInc*/) {
  if (n == 0 || count == 0) {
    return;
  }
  std::uint32_t index = 0;
  if (!(hi <= lo || count == 1)) {
    // kept: the scale itself is the index, so all elements get one colour
    const float scale = static_cast<float>(count - 1) / (hi - lo);
    if (scale >= static_cast<float>(count - 1)) {
      index = count - 1;
    } else if (scale > 0.0F) {
      index = static_cast<std::uint32_t>(detail::RoundToEven(double{scale}));
    }
  }
  const std::uint32_t colour = palette[index];
  detail::ForIndex(dst, n, 1, [colour](std::uint32_t) { return colour; });
}

}  // namespace limes::DVL
