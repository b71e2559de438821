#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// g++ writes one vector a turn, of which some processors run only every other cycle; clang unrolls
// by itself, and not at all after the request.
#if defined(__clang__)
#define LIMES_UNROLL
#else
#define LIMES_UNROLL _Pragma("GCC unroll 4")
#endif

namespace limes::detail {

// Each loop is written twice: neighbouring elements, which the compiler turns into vectors, and
// the rest. It tests by itself whether two buffers overlap, and then runs the plain loop.

/// p[i] = op(p[i])
template <class T, class Op>
inline void ForEach(T* p, std::size_t n, std::size_t inc, Op op) {
  if (inc == 1) {
    LIMES_UNROLL
    for (std::size_t i = 0; i < n; ++i) {
      p[i] = op(p[i]);
    }
  } else {
    LIMES_UNROLL
    for (std::size_t i = 0; i < n; ++i, p += inc) {
      *p = op(*p);
    }
  }
}

/// p[i] = op(i)
template <class T, class Op>
inline void ForIndex(T* p, std::uint32_t n, std::size_t inc, Op op) {
  if (inc == 1) {
    LIMES_UNROLL
    for (std::uint32_t i = 0; i < n; ++i) {
      p[i] = op(i);
    }
  } else {
    for (std::uint32_t i = 0; i < n; ++i, p += inc) {
      *p = op(i);
    }
  }
}

/// dst[i] = op(dst[i], src[i])
template <class D, class S, class Op>
inline void ForBoth(D* dst, std::size_t dstInc, const S* src, std::size_t srcInc, std::size_t n,
                    Op op) {
  if (dstInc == 1 && srcInc == 1) {
    LIMES_UNROLL
    for (std::size_t i = 0; i < n; ++i) {
      dst[i] = op(dst[i], src[i]);
    }
  } else {
    LIMES_UNROLL
    for (std::size_t i = 0; i < n; ++i, dst += dstInc, src += srcInc) {
      *dst = op(*dst, *src);
    }
  }
}

/// dst[i] = op(src[i]), where both may be the same memory under two types.
template <class D, class S, class Op>
inline void Convert(void* dst, std::size_t dstInc, const void* src, std::size_t srcInc,
                    std::size_t n, Op op) {
  auto* to = static_cast<unsigned char*>(dst);
  const auto* from = static_cast<const unsigned char*>(src);
  const auto one = [=](std::size_t i, std::size_t k) {
    S value;
    std::memcpy(&value, from + k * sizeof(S), sizeof(S));
    const D result = op(value);
    std::memcpy(to + i * sizeof(D), &result, sizeof(D));
  };
  if (dstInc == 1 && srcInc == 1) {
    LIMES_UNROLL
    for (std::size_t i = 0; i < n; ++i) {
      one(i, i);
    }
  } else {
    for (std::size_t i = 0; i < n; ++i) {
      one(i * dstInc, i * srcInc);
    }
  }
}

/// Whether the bytes [a, a + sizeA) and [b, b + sizeB) have none in common.
inline bool Disjoint(const void* a, std::size_t sizeA, const void* b, std::size_t sizeB) {
  const auto first = reinterpret_cast<std::uintptr_t>(a);
  const auto second = reinterpret_cast<std::uintptr_t>(b);
  return first + sizeA <= second || second + sizeB <= first;
}

/// Bytes from the first to behind the last of n > 0 elements.
template <class T>
std::size_t ExtentOf(const T*, std::size_t n, std::size_t inc) {
  return ((n - 1) * inc + 1) * sizeof(T);
}

/// Whether reading several elements of src before writing as many of dst gives what the plain
/// ascending loop gives: no element of dst lies where a later one of src is.
inline bool MayReadAhead(const void* dst, std::size_t dstSize, const void* src,
                         std::size_t srcSize) {
  return reinterpret_cast<std::uintptr_t>(dst) <= reinterpret_cast<std::uintptr_t>(src) ||
         Disjoint(dst, dstSize, src, srcSize);
}

/// The nearest integer, of two the even one, for |x| < 2^51: the sum has no place for a fraction.
inline double RoundToEven(double x) {
  constexpr double kMagic = 6755399441055744.0;  // 1.5 * 2^52
  return (x + kMagic) - kMagic;
}

}  // namespace limes::detail
