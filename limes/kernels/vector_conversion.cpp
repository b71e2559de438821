#include <array>
#include <cmath>
#include <limits>

#include "limes/kernels/element_loops.h"
#include "limes/kernels/vector_kernels.h"
#include "limes/platform/cpu_clones.h"

#if defined(LIMES_HAS_WIDE)
#include <immintrin.h>
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

#if defined(LIMES_HAS_WIDE)
/// Whole rows of eight, four; each returns how many elements. What is no integer becomes the
/// smallest one; above the end all its bits are turned over.
LIMES_WIDE std::size_t RoundEights(std::int32_t* dst, const float* src, std::size_t n,
                                   float scale) {
  const __m256 factor = _mm256_set1_ps(scale);
  const __m256 end = _mm256_set1_ps(kEndOfInt32);
  std::size_t i = 0;
  LIMES_UNROLL
  for (; i + 8 <= n; i += 8) {
    const __m256 x = _mm256_mul_ps(_mm256_loadu_ps(src + i), factor);
    const __m256i above = _mm256_castps_si256(_mm256_cmp_ps(x, end, _CMP_GE_OQ));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i),
                        _mm256_xor_si256(_mm256_cvtps_epi32(x), above));
  }
  return i;
}

std::size_t RoundFours(std::int32_t* dst, const float* src, std::size_t n, float scale) {
  const __m128 factor = _mm_set1_ps(scale);
  const __m128 end = _mm_set1_ps(kEndOfInt32);
  std::size_t i = 0;
  LIMES_UNROLL
  for (; i + 4 <= n; i += 4) {
    const __m128 x = _mm_mul_ps(_mm_loadu_ps(src + i), factor);
    const __m128i above = _mm_castps_si128(_mm_cmpge_ps(x, end));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_xor_si128(_mm_cvtps_epi32(x), above));
  }
  return i;
}

std::size_t RoundRows(std::int32_t* dst, const float* src, std::size_t n, float scale) {
  return detail::HasWide() ? RoundEights(dst, src, n, scale) : RoundFours(dst, src, n, scale);
}
#else
std::size_t RoundRows(std::int32_t*, const float*, std::size_t, float) { return 0; }
#endif

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

/// Buffers side by side that have nothing in common.
LIMES_CLONES void WidenApart(unsigned char* __restrict dst, const unsigned char* __restrict src,
                             std::size_t n, float scale) {
  LIMES_UNROLL
  for (std::size_t i = 0; i < n; ++i) {
    std::int16_t value;
    std::memcpy(&value, src + i * sizeof(value), sizeof(value));
    const float result = static_cast<float>(value) * scale;
    std::memcpy(dst + i * sizeof(result), &result, sizeof(result));
  }
}

}  // namespace

void Int16ToFloat(float* dst, std::uint32_t dstInc, const std::int16_t* src, std::uint32_t srcInc,
                  std::uint32_t n, float scale) {
  if (n == 0) {
    return;
  }
  constexpr std::size_t kFew = 16;
  auto* to = reinterpret_cast<unsigned char*>(dst);
  const auto* from = reinterpret_cast<const unsigned char*>(src);
  std::size_t rest = n;
  if (dstInc == 1 && srcInc == 1) {
    if (detail::Disjoint(to, ExtentOf(dst, n, 1), from, ExtentOf(src, n, 1))) {
      WidenApart(to, from, n, scale);
      return;
    }
    // Floats that begin with the integers or behind: those of the upper half lie behind them all.
    while (to >= from && rest > kFew) {
      const std::size_t half = (rest + 1) / 2;
      WidenApart(to + half * sizeof(float), from + half * sizeof(std::int16_t), rest - half, scale);
      rest = half;
    }
  }
  for (std::size_t i = rest; i-- > 0;) {
    std::int16_t value;
    std::memcpy(&value, from + i * srcInc * sizeof(value), sizeof(value));
    const float result = static_cast<float>(value) * scale;
    std::memcpy(to + i * dstInc * sizeof(result), &result, sizeof(result));
  }
}

namespace {

/// The low 16 bits of the integer part.
inline std::int16_t WrapToInt16(double x) {
  if (std::fabs(x) < double{kEndOfInt32}) {
    return static_cast<std::int16_t>(static_cast<std::int32_t>(x));
  }
  const double rest = std::isfinite(x) ? std::fmod(x, 65536.0) : 0.0;
  return static_cast<std::int16_t>(static_cast<std::int32_t>(rest));
}

#if defined(LIMES_HAS_WIDE)
/// One by one.
template <std::size_t kCount>
inline void WrapRow(std::int16_t* dst, const float* src, double scale) {
  std::array<std::int16_t, kCount> words;
  for (std::size_t k = 0; k < kCount; ++k) {
    words[k] = WrapToInt16(double{src[k]} * scale);
  }
  std::memcpy(dst, words.data(), sizeof(words));
}

/// Rows of eight. A product that is no 32-bit integer becomes the smallest one, and its row is
/// converted one by one.
LIMES_WIDE inline void WrapEight(std::int16_t* dst, const float* src, double scale) {
  const __m256d factor = _mm256_set1_pd(scale);
  const __m128i odd = _mm_set1_epi32(std::numeric_limits<std::int32_t>::min());
  const __m128i low = _mm_set1_epi32(0xFFFF);
  const __m128i a = _mm256_cvttpd_epi32(_mm256_mul_pd(_mm256_cvtps_pd(_mm_loadu_ps(src)), factor));
  const __m128i b =
      _mm256_cvttpd_epi32(_mm256_mul_pd(_mm256_cvtps_pd(_mm_loadu_ps(src + 4)), factor));
  if (_mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi32(a, odd), _mm_cmpeq_epi32(b, odd))) != 0) {
    WrapRow<8>(dst, src, scale);
  } else {
    const __m128i words = _mm_packus_epi32(_mm_and_si128(a, low), _mm_and_si128(b, low));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), words);
  }
}

/// Rows of sixteen. A product rounded to float, unless that is an integer, has the integer part of
/// the exact one, since rounding never crosses an integer.
LIMES_WIDE std::size_t WrapSixteens(std::int16_t* dst, const float* src, std::size_t n,
                                    float scale) {
  const __m256 factor = _mm256_set1_ps(scale);
  const __m256i none = _mm256_set1_epi32(std::numeric_limits<std::int32_t>::min());
  const __m256i low = _mm256_set1_epi32(0xFFFF);
  std::size_t i = 0;
  for (; i + 16 <= n; i += 16) {
    __m256i words[2];
    __m256i odd = _mm256_setzero_si256();
    for (std::size_t k = 0; k < 2; ++k) {
      const __m256 x = _mm256_mul_ps(_mm256_loadu_ps(src + i + 8 * k), factor);
      const __m256i whole = _mm256_cvttps_epi32(x);
      // The bits of all integers but 0, which is the exact one's integer part in any case.
      const __m256 same = _mm256_and_ps(_mm256_cmp_ps(_mm256_cvtepi32_ps(whole), x, _CMP_EQ_OQ), x);
      odd = _mm256_or_si256(
          odd, _mm256_or_si256(_mm256_castps_si256(same), _mm256_cmpeq_epi32(whole, none)));
      words[k] = _mm256_and_si256(whole, low);
    }
    if (_mm256_testz_si256(odd, odd) == 0) {
      WrapEight(dst + i, src + i, double{scale});
      WrapEight(dst + i + 8, src + i + 8, double{scale});
      continue;
    }
    const __m256i packed = _mm256_packus_epi32(words[0], words[1]);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i),
                        _mm256_permute4x64_epi64(packed, 0xD8));
  }
  return i;
}

/// Rows of four, likewise.
std::size_t WrapFours(std::int16_t* dst, const float* src, std::size_t n, double scale) {
  const __m128d factor = _mm_set1_pd(scale);
  const __m128i odd = _mm_set1_epi32(std::numeric_limits<std::int32_t>::min());
  std::size_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128 x = _mm_loadu_ps(src + i);
    const __m128d first = _mm_mul_pd(_mm_cvtps_pd(x), factor);
    const __m128d second = _mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(x, x)), factor);
    const __m128i row = _mm_unpacklo_epi64(_mm_cvttpd_epi32(first), _mm_cvttpd_epi32(second));
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(row, odd)) != 0) {
      WrapRow<4>(dst + i, src + i, scale);
      continue;
    }
    // With the sign of the low half in all of the high one, the saturating pack is exact.
    const __m128i halves = _mm_srai_epi32(_mm_slli_epi32(row, 16), 16);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + i), _mm_packs_epi32(halves, halves));
  }
  return i;
}

std::size_t WrapRows(std::int16_t* dst, const float* src, std::size_t n, float scale) {
  return detail::HasWide() ? WrapSixteens(dst, src, n, scale)
                           : WrapFours(dst, src, n, double{scale});
}
#else
std::size_t WrapRows(std::int16_t*, const float*, std::size_t, float) { return 0; }
#endif

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

#if defined(LIMES_HAS_WIDE)
/// Rows of 32 bytes as below; returns how many.
LIMES_WIDE std::size_t ByteRows(const float* src, std::size_t n, float lo, float hi,
                                std::uint8_t* dst, float scale) {
  const __m256 low = _mm256_set1_ps(lo);
  const __m256 high = _mm256_set1_ps(hi);
  const __m256 factor = _mm256_set1_ps(scale);
  const __m256 magic = _mm256_set1_ps(12582912.0F);
  const __m256i byte = _mm256_set1_epi32(0xFF);
  std::size_t i = 0;
  for (; i + 32 <= n; i += 32) {
    __m256i levels[4];
    for (std::size_t k = 0; k < 4; ++k) {
      const __m256 above = _mm256_max_ps(_mm256_loadu_ps(src + i + 8 * k), low);  // NaN becomes lo
      const __m256 x = _mm256_sub_ps(_mm256_min_ps(above, high), low);
      const __m256 sum = _mm256_add_ps(_mm256_mul_ps(x, factor), magic);
      levels[k] = _mm256_and_si256(_mm256_castps_si256(sum), byte);
    }
    // Both packs work within each half, so groups of four bytes come out in this order.
    const __m256i bytes = _mm256_packus_epi16(_mm256_packus_epi32(levels[0], levels[1]),
                                              _mm256_packus_epi32(levels[2], levels[3]));
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i),
                        _mm256_permutevar8x32_epi32(bytes, order));
  }
  return i;
}
#endif

/// Bytes of up to 2^22 levels: the sum with 1.5 * 2^23 has the rounded level in its low bits.
LIMES_CLONES void FewLevels(const float* src, std::size_t n, float lo, float hi, std::uint8_t* dst,
                            float scale, std::size_t srcInc, std::size_t dstInc) {
  std::size_t done = 0;
#if defined(LIMES_HAS_WIDE)
  if (srcInc == 1 && dstInc == 1 && detail::HasWide() &&
      MayReadAhead(dst, n, src, n * sizeof(float))) {
    done = ByteRows(src, n, lo, hi, dst, scale);
  }
#endif
  Convert<std::uint8_t, float>(
      dst + done, dstInc, src + done, srcInc, n - done, [lo, hi, scale](float x) {
        const float above = x > lo ? x : lo;  // NaN too becomes lo
        const float sum = ((above < hi ? above : hi) - lo) * scale + 12582912.0F;
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
    return static_cast<std::uint8_t>(
        static_cast<std::uint64_t>(detail::RoundToEven(double{level})));
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
  if (!(std::isfinite(scale) && scale > 0.0F)) {  // an infinite span too has one level alone
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
