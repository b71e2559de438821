#include <algorithm>
#include <cmath>
#include <cstring>

#include "limes/kernels/value_loops.h"
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

namespace {

using Lanes __attribute__((vector_size(32))) = float;
using Bits __attribute__((vector_size(32))) = std::uint32_t;
constexpr std::size_t kWidth = 8;
constexpr std::size_t kRows = 4;
constexpr std::size_t kStep = kWidth * kRows;

/// The largest of start and n values, but for the sign of a zero; a NaN among them is passed over.
/// load(i, lanes) gives the values from i on, one(i) a single one.
template <class Load, class One>
__attribute__((always_inline)) inline float Largest(std::size_t n, float start, Load load,
                                                    One one) {
  for (std::size_t i = 0; n < kStep && i < n; ++i) {
    start = one(i) > start ? one(i) : start;
  }
  if (n < kStep) {
    return start;
  }
  const Lanes first = start - Lanes{};
  Lanes high[kRows] = {first, first, first, first};
  for (std::size_t i = 0; i < n; i += kStep) {
    const std::size_t at = std::min(i, n - kStep);  // some once more at the end
    for (std::size_t r = 0; r < kRows; ++r) {
      Lanes lanes;
      load(at + r * kWidth, lanes);
      high[r] = lanes > high[r] ? lanes : high[r];
    }
  }
  high[0] = high[1] > high[0] ? high[1] : high[0];
  high[2] = high[3] > high[2] ? high[3] : high[2];
  high[0] = high[2] > high[0] ? high[2] : high[0];
  for (std::size_t k = 0; k < kWidth; ++k) {
    start = high[0][k] > start ? high[0][k] : start;
  }
  return start;
}

inline void Load(const float* p, Lanes& lanes) { std::memcpy(&lanes, p, sizeof(lanes)); }

LIMES_CLONES float LargestMagnitude(const float* p, std::size_t n) {
  const auto load = [p](std::size_t i, Lanes& lanes) {
    Bits bits;
    std::memcpy(&bits, p + i, sizeof(bits));
    bits &= 0x7FFFFFFFU;
    std::memcpy(&lanes, &bits, sizeof(lanes));
  };
  return Largest(n, std::fabs(p[0]), load, [p](std::size_t i) { return std::fabs(p[i]); });
}

LIMES_CLONES float LargestDifference(const float* a, const float* b, std::size_t n, float start) {
  const auto load = [a, b](std::size_t i, Lanes& lanes) {
    Lanes y;
    Load(a + i, lanes);
    Load(b + i, y);
    lanes -= y;
  };
  return Largest(n, start, load, [a, b](std::size_t i) { return a[i] - b[i]; });
}

}  // namespace

float VectorAbsMax(const float* p, std::uint32_t n, std::uint32_t inc) {
  if (n == 0) {
    return 0.0F;
  }
  if (inc == 1) {
    return LargestMagnitude(p, n);
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
    const float high = LargestDifference(a + i, b + i, size, -HUGE_VALF);
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
  const float largest = LargestDifference(a + begin, b + begin, stop - begin, 0.0F);
  end = static_cast<std::uint32_t>(stop) + 1;
  pos = kNone;
  if (largest > 0.0F) {
    pos = static_cast<std::uint32_t>(FirstDifferenceOf(a, b, begin, stop, largest));
  }
  return pos != kNone;  // kept: a place that is this number counts as none
}

}  // namespace limes::DVL
