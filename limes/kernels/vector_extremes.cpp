#include <algorithm>
#include <cmath>

#include "limes/kernels/value_bounds.h"
#include "limes/kernels/vector_kernels.h"
#include "limes/platform/cpu_clones.h"

namespace limes::DVL {

namespace {

/// Index of the first element that no other one is before; beats says which of two wins.
template <class Beats>
inline std::size_t FirstBest(const float* p, std::size_t n, std::size_t inc, Beats beats) {
  std::size_t best = 0;
  float value = p[0];
  for (std::size_t i = 1; i < n; ++i) {
    if (const float x = p[i * inc]; beats(x, value)) {
      value = x;
      best = i;
    }
  }
  return best;
}

void Deliver(const float* p, std::size_t inc, std::size_t best, float& value,
             std::uint32_t& index) {
  value = p[best * inc];
  index = static_cast<std::uint32_t>(best);
}

}  // namespace

void VectorMinMax(const float* p, std::uint32_t n, std::uint32_t inc, float& min, float& max) {
  if (n == 0) {
    return;
  }
  const detail::SBounds bounds = detail::FindBounds(p, n, inc);
  min = bounds.min;
  max = bounds.max;
}

float VectorAbsMax(const float* p, std::uint32_t n, std::uint32_t inc) {
  if (n == 0) {
    return 0.0F;
  }
  if (inc == 1) {
    return detail::LargestMagnitude(p, n, std::fabs(p[0]));
  }
  const detail::SBounds bounds = detail::FindBounds(p, n, inc);
  const float low = std::fabs(bounds.min);
  const float high = std::fabs(bounds.max);
  return low > high ? low : high;
}

void VectorMinIdx(const float* p, std::uint32_t n, std::uint32_t inc, float& value,
                  std::uint32_t& index) {
  if (n == 0) {
    value = 0.0F;
    index = 0;
  } else if (inc == 1) {
    Deliver(p, 1, detail::FindSmallest(p, n), value, index);
  } else {
    const auto best = FirstBest(p, n, inc, [](float x, float least) { return x < least; });
    Deliver(p, inc, best, value, index);
  }
}

void VectorMaxIdx(const float* p, std::uint32_t n, std::uint32_t inc, float& value,
                  std::uint32_t& index) {
  if (n == 0) {
    value = 0.0F;
    index = 0;
  } else if (inc == 1) {
    Deliver(p, 1, detail::FindLargest(p, n), value, index);
  } else {
    const auto best = FirstBest(p, n, inc, [](float x, float largest) { return x > largest; });
    Deliver(p, inc, best, value, index);
  }
}

namespace {

constexpr std::size_t kRow = 64;  ///< values that a search tests at a time

/// First index in [i, n) that passes the test; n when there is none.
template <class Test>
inline std::size_t FirstWhere(const float* a, const float* b, std::size_t i, std::size_t n,
                              Test test) {
  for (; i + kRow <= n; i += kRow) {
    unsigned hit = 0;
#pragma GCC unroll 1  // else g++ unrolls before it looks for vectors, and then finds none
    for (std::size_t k = i; k < i + kRow; ++k) {
      hit |= static_cast<unsigned>(test(a[k], b[k]));
    }
    if (hit != 0) {
      break;
    }
  }
  while (i < n && !test(a[i], b[i])) {
    ++i;
  }
  return i;
}

LIMES_CLONES std::size_t FirstAbove(const float* a, const float* b, std::size_t i, std::size_t n) {
  return FirstWhere(a, b, i, n, [](float x, float y) { return x > y; });
}

LIMES_CLONES std::size_t FirstBelow(const float* a, const float* b, std::size_t i, std::size_t n) {
  return FirstWhere(a, b, i, n, [](float x, float y) { return x - y < 0.0F; });
}

LIMES_CLONES std::size_t FirstDifferenceOf(const float* a, const float* b, std::size_t i,
                                           std::size_t n, float d) {
  return FirstWhere(a, b, i, n, [d](float x, float y) { return x - y == d; });
}

/// Last index below n with this difference, which there is.
LIMES_CLONES std::size_t LastDifferenceOf(const float* a, const float* b, std::size_t n, float d) {
  for (; n >= kRow; n -= kRow) {
    unsigned hit = 0;
#pragma GCC unroll 1
    for (std::size_t k = n - kRow; k < n; ++k) {
      hit |= static_cast<unsigned>(a[k] - b[k] == d);
    }
    if (hit != 0) {
      break;
    }
  }
  do {
    --n;
  } while (a[n] - b[n] != d);
  return n;
}

}  // namespace

float MaxDifference(const float* a, const float* b, std::uint32_t n, std::uint32_t* pos) {
  constexpr std::size_t kBlock = 2048;
  if (n == 0 && (a == nullptr || b == nullptr)) {
    constexpr float kZero = 0.0F;
    return MaxDifference(&kZero, &kZero, 1, pos);
  }
  float best = a[0] - b[0];  // kept: read for n = 0 too
  std::size_t end = 1;       // of the block where the last largest difference lies
  for (std::size_t i = 0; i < n && !std::isnan(best); i += kBlock) {
    const std::size_t size = std::min(kBlock, n - i);
    const float high = detail::LargestDifference(a + i, b + i, size, -HUGE_VALF);
    end = high >= best ? i + size : end;
    best = high >= best ? high : best;
  }
  const std::size_t last = std::isnan(best) ? 0 : LastDifferenceOf(a, b, end, best);
  if (pos != nullptr) {
    *pos = static_cast<std::uint32_t>(last);
  }
  return a[last] - b[last];
}

bool LocalMaxDifferencePosition(const float* a, const float* b, std::uint32_t n,
                                std::uint32_t start, std::uint32_t& end, std::uint32_t& pos) {
  constexpr std::uint32_t kNone = 65535;
  if (start >= n) {
    return false;
  }
  const std::size_t begin = FirstAbove(a, b, start, n);
  const std::size_t stop = FirstBelow(a, b, begin, n);
  const float largest = detail::LargestDifference(a + begin, b + begin, stop - begin, 0.0F);
  end = static_cast<std::uint32_t>(stop) + 1;
  pos = kNone;
  if (largest > 0.0F) {
    pos = static_cast<std::uint32_t>(FirstDifferenceOf(a, b, begin, stop, largest));
  }
  return pos != kNone;  // kept: a place that is this number counts as none
}

}  // namespace limes::DVL
