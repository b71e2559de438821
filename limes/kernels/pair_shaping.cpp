#include "limes/kernels/pair_shaping.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "limes/kernels/lanes.h"
#include "limes/platform/cpu_clones.h"

namespace limes::detail {

namespace {

using LaneCounts __attribute__((vector_size(32))) = std::int32_t;
constexpr std::size_t kRows = 8;
constexpr std::size_t kOutputs = kLanes * kRows;

/// Window sums and counts of kOutputs pairs side by side, each over ascending j: so every sum keeps
/// its order. A sum begun at 0 is never -0, so that adding 0 for a pair outside changes nothing.
LIMES_CLONES void SumWindows(const XyPair* p, std::size_t i, std::size_t n, std::size_t lo,
                             std::size_t hi, float w, float* sums, std::int32_t* counts) {
  float centres[kOutputs];
  for (std::size_t k = 0; k < kOutputs; ++k) {
    centres[k] = p[std::min(i + k, n - 1)].x;
  }
  const Lanes width = w - Lanes{};
  constexpr std::int32_t kMagnitude = 0x7FFFFFFF;
  for (std::size_t half = 0; half < 2; ++half) {
    constexpr std::size_t kHalf = kRows / 2;
    Lanes x[kHalf];
    Lanes sum[kHalf];
    LaneCounts count[kHalf];
    for (std::size_t r = 0; r < kHalf; ++r) {
      std::memcpy(&x[r], centres + (half * kHalf + r) * kLanes, sizeof(x[r]));
      sum[r] = Lanes{};
      count[r] = LaneCounts{};
    }
    for (std::size_t j = lo; j < hi; ++j) {
      const Lanes xj = p[j].x - Lanes{};
      const LaneCounts yj = (LaneCounts)(p[j].y + -Lanes{});
      for (std::size_t r = 0; r < kHalf; ++r) {
        const LaneCounts in = (Lanes)((LaneCounts)(x[r] - xj) & kMagnitude) < width;
        sum[r] += (Lanes)(in & yj);
        count[r] -= in;
      }
    }
    for (std::size_t r = 0; r < kHalf; ++r) {
      std::memcpy(sums + (half * kHalf + r) * kLanes, &sum[r], sizeof(sum[r]));
      std::memcpy(counts + (half * kHalf + r) * kLanes, &count[r], sizeof(count[r]));
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

std::size_t SubsamplePairs(XyPair* p, std::size_t n, std::size_t step, bool average) {
  std::size_t kept = 1;
  for (std::size_t previous = 0; previous < n - 1;) {
    const std::size_t current = previous + std::min(step, n - 1 - previous);
    XyPair pair = p[current];
    if (average) {
      float sum = 0.0F;
      for (std::size_t i = previous + 1; i <= current; ++i) {
        sum += p[i].y;
      }
      pair.y = sum / static_cast<float>(current - previous);
    }
    p[kept++] = pair;
    previous = current;
  }
  return kept;
}

std::size_t ThinPairs(XyPair* p, std::size_t n, float tol) {
  std::size_t anchor = 0;  // the pairs up to here stay; candidate may go, behind it all are new
  std::size_t candidate = 1;
  while (candidate + 1 < n) {
    const XyPair a = p[anchor];
    const float slope = (p[candidate].y - a.y) / (p[candidate].x / a.x);
    while (candidate + 1 < n &&
           std::fabs((p[candidate + 1].y - a.y) - (p[candidate + 1].x - a.x) * slope) < tol) {
      ++candidate;
    }
    p[++anchor] = p[candidate++];
  }
  if (candidate < n) {
    p[++anchor] = p[candidate];
  }
  return anchor + 1;
}

LIMES_CLONES void PutEverySecond(const float* source, std::size_t n, float* target) {
  for (std::size_t i = 0; i < n; ++i) {
    target[2 * i] = source[i];
  }
}

}  // namespace limes::detail
