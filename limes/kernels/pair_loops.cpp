#include "limes/kernels/pair_loops.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "limes/platform/cpu_clones.h"

namespace limes::detail {

namespace {

constexpr std::size_t kBlock = 32;  ///< pairs looked at before a search may end

/// Search upwards: whole blocks without a branch on data, then the block that holds the hit.
template <class Hit>
inline std::size_t SearchUp(const XyPair* p, std::size_t start, std::size_t n, Hit hit) {
  std::size_t i = start;
  for (; i + kBlock <= n; i += kBlock) {
    unsigned any = 0;
#pragma GCC unroll 1
    for (std::size_t k = 0; k < kBlock; ++k) {
      any |= static_cast<unsigned>(hit(p[i + k].x));
    }
    if (any != 0) {
      break;
    }
  }
  while (i < n && !hit(p[i].x)) {
    ++i;
  }
  return i;
}

template <class Hit>
inline std::size_t SearchDown(const XyPair* p, std::size_t n, Hit hit) {
  constexpr std::size_t kNear = 8;  // nearly ordered arrivals belong near the end
  for (std::size_t k = 0; k < kNear && n > 0; ++k, --n) {
    if (hit(p[n - 1].x)) {
      return n;
    }
  }
  for (; n >= kBlock; n -= kBlock) {
    unsigned any = 0;
#pragma GCC unroll 1
    for (std::size_t k = 0; k < kBlock; ++k) {
      any |= static_cast<unsigned>(hit(p[n - kBlock + k].x));
    }
    if (any != 0) {
      break;
    }
  }
  while (n > 0 && !hit(p[n - 1].x)) {
    --n;
  }
  return n;
}

}  // namespace

LIMES_CLONES std::size_t FindAtOrAbove(const XyPair* p, std::size_t start, std::size_t n, float x) {
  return SearchUp(p, start, n, [x](float at) { return at >= x; });
}

LIMES_CLONES std::size_t FindAtOrBelow(const XyPair* p, std::size_t start, std::size_t n, float x) {
  return SearchUp(p, start, n, [x](float at) { return at <= x; });
}

LIMES_CLONES std::size_t BehindAtOrBelow(const XyPair* p, std::size_t n, float x) {
  return SearchDown(p, n, [x](float at) { return at <= x; });
}

LIMES_CLONES std::size_t BehindAtOrAbove(const XyPair* p, std::size_t n, float x) {
  return SearchDown(p, n, [x](float at) { return at >= x; });
}

LIMES_CLONES SRunOrder FindOrder(const XyPair* p, std::size_t n) {
  unsigned notAbove = 0;
  unsigned notBelow = 0;
  unsigned notAtOrAbove = 0;
  unsigned notAtOrBelow = 0;
  for (std::size_t i = 1; i < n; ++i) {
    const float a = p[i - 1].x;
    const float b = p[i].x;
    notAbove |= static_cast<unsigned>(!(b > a));
    notBelow |= static_cast<unsigned>(!(b < a));
    notAtOrAbove |= static_cast<unsigned>(!(b >= a));
    notAtOrBelow |= static_cast<unsigned>(!(b <= a));
  }
  const bool single = n == 1 && std::isnan(p[0].x);
  return {notAbove == 0, notBelow == 0, notAtOrAbove == 0 && !single, notAtOrBelow == 0 && !single};
}

SRunExtremes FindPairExtremes(const float* first, std::size_t n) {
  SRunExtremes at;
  float min = first[0];
  float max = first[0];
  for (std::size_t i = 1; i < n; ++i) {
    const float v = first[2 * i];
    if (v < min) {
      min = v;
      at.min = i;
    }
    if (v > max) {
      max = v;
      at.max = i;
    }
  }
  return at;
}

namespace {

// Lanes, which the compiler splits where the processor's are shorter.
using Floats __attribute__((vector_size(32))) = float;
using Ints __attribute__((vector_size(32))) = std::int32_t;
constexpr std::size_t kWidth = 8;
constexpr std::size_t kRows = 8;
constexpr std::size_t kOutputs = kWidth * kRows;

/// Window sums and counts of kOutputs pairs side by side, each over ascending j: so every sum keeps
/// its order. A sum begun at 0 is never -0, so that adding 0 for a pair outside changes nothing.
LIMES_CLONES void SumWindows(const XyPair* p, std::size_t i, std::size_t n, std::size_t lo,
                             std::size_t hi, float w, float* sums, std::int32_t* counts) {
  float centres[kOutputs];
  for (std::size_t k = 0; k < kOutputs; ++k) {
    centres[k] = p[std::min(i + k, n - 1)].x;
  }
  const Floats width = w - Floats{};
  constexpr std::int32_t kMagnitude = 0x7FFFFFFF;
  for (std::size_t half = 0; half < 2; ++half) {
    constexpr std::size_t kHalf = kRows / 2;
    Floats x[kHalf];
    Floats sum[kHalf];
    Ints count[kHalf];
    for (std::size_t r = 0; r < kHalf; ++r) {
      std::memcpy(&x[r], centres + (half * kHalf + r) * kWidth, sizeof(x[r]));
      sum[r] = Floats{};
      count[r] = Ints{};
    }
    for (std::size_t j = lo; j < hi; ++j) {
      const Floats xj = p[j].x - Floats{};
      const Ints yj = (Ints)(p[j].y + -Floats{});
      for (std::size_t r = 0; r < kHalf; ++r) {
        const Ints in = (Floats)((Ints)(x[r] - xj) & kMagnitude) < width;
        sum[r] += (Floats)(in & yj);
        count[r] -= in;
      }
    }
    for (std::size_t r = 0; r < kHalf; ++r) {
      std::memcpy(sums + (half * kHalf + r) * kWidth, &sum[r], sizeof(sum[r]));
      std::memcpy(counts + (half * kHalf + r) * kWidth, &count[r], sizeof(count[r]));
    }
  }
}

}  // namespace

void SmoothPairs(const XyPair* p, std::size_t n, float w, bool inOrder, float* means) {
  std::size_t lo = 0;
  std::size_t hi = inOrder ? 0 : n;
  float sums[kOutputs];
  std::int32_t counts[kOutputs];
  for (std::size_t i = 0; i < n; i += kOutputs) {
    const std::size_t last = std::min(n, i + kOutputs) - 1;
    if (inOrder) {
      // Differences are rounded, but in order: the first pair's window begins first, the last one's
      // ends last.
      while (lo < i && !(std::fabs(p[i].x - p[lo].x) < w)) {
        ++lo;
      }
      hi = std::max(hi, last + 1);
      while (hi < n && std::fabs(p[last].x - p[hi].x) < w) {
        ++hi;
      }
    }
    SumWindows(p, i, n, lo, hi, w, sums, counts);
    for (std::size_t k = i; k <= last; ++k) {
      means[k] = counts[k - i] != 0 ? sums[k - i] / static_cast<float>(counts[k - i]) : p[k].y;
    }
  }
}

LIMES_CLONES void TakeEverySecond(const float* source, std::size_t n, float* target) {
  for (std::size_t i = 0; i < n; ++i) {
    target[i] = source[2 * i];
  }
}

LIMES_CLONES void PutEverySecond(const float* source, std::size_t n, float* target) {
  for (std::size_t i = 0; i < n; ++i) {
    target[2 * i] = source[i];
  }
}

}  // namespace limes::detail
