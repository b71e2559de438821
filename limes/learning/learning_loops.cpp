#include "limes/learning/learning_loops.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "limes/kernels/value_bounds.h"
#include "limes/platform/cpu_clones.h"

namespace limes::detail {
namespace {

constexpr float kLowest = -std::numeric_limits<float>::infinity();

float Root(float square) {
  // A choice, not a branch, so that the loop is turned into vector code.
  const float root = std::sqrt(square > 0.0F ? square : 0.0F);
  return square > 0.0F ? root : 0.0F;
}

}  // namespace

LIMES_CLONES void LearnValues(float* __restrict m, float* __restrict q, const float* __restrict k,
                              std::size_t n, float a, float v) {
  for (std::size_t i = 0; i < n; ++i) {
    const float t = v * k[i];
    m[i] = m[i] * a + t;
    q[i] = q[i] * a + t * k[i];
  }
}

LIMES_CLONES void LearnPreciseValues(double* __restrict shift, double* __restrict variance,
                                     float* __restrict mean, const float* __restrict offset,
                                     const float* __restrict k, std::size_t n, double a) {
  for (std::size_t i = 0; i < n; ++i) {
    const double from = offset[i];
    const double x = k[i] - from;
    const double d = x - shift[i];
    const double moved = shift[i] + d * a;
    variance[i] += (d * (x - moved) - variance[i]) * a;
    shift[i] = moved;
    mean[i] = static_cast<float>(from + moved);
  }
}

// A root of 512 bits takes longer than two of 256.

LIMES_CLONES_AVX2 void SpreadValues(float* __restrict y, const float* __restrict m,
                                    const float* __restrict q, std::size_t n, float factor) {
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = Root(q[i] - m[i] * m[i]) * factor;
  }
}

LIMES_CLONES_AVX2 void LimitValues(float* __restrict y, const float* __restrict m,
                                   const float* __restrict q, std::size_t n, float factor,
                                   float base) {
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = Root(q[i] - m[i] * m[i]) * factor + m[i] + base;
  }
}

LIMES_CLONES void LearnTrackValues(float* m, float* q, const float* k, std::size_t n, float a,
                                   float v) {
  for (std::size_t i = 0; i < n; ++i) {
    const float x = k[i];
    m[i] = a * m[i] + v * x;
    q[i] = a * q[i] + v * (x * x);
  }
}

LIMES_CLONES void StartTrackValues(float* m, float* q, const float* k, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    const float x = k[i];
    m[i] = x;
    q[i] = x * x;
  }
}

namespace {

float CorrectedRoot(float square, double r) {
  const double corrected = double{square} * r;
  return static_cast<float>(std::sqrt(corrected > 0.0 ? corrected : 0.0));
}

}  // namespace

LIMES_CLONES void TrackLimitValues(float* __restrict y, const float* __restrict m,
                                   const float* __restrict q, std::size_t n, double r, float factor,
                                   float base) {
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = (m[i] + base) + factor * CorrectedRoot(q[i] - m[i] * m[i], r);
  }
}

LIMES_CLONES void TrackSpreadValues(float* __restrict y, const float* __restrict m,
                                    const float* __restrict q, std::size_t n, double r) {
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = CorrectedRoot(q[i] - m[i] * m[i], r);
  }
}

LIMES_CLONES void AddMeanAndBase(float* __restrict y, const float* __restrict m, std::size_t n,
                                 float base) {
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = (m[i] + base) + y[i];
  }
}

LIMES_CLONES void MixValues(float* y, const float* other, std::size_t n, double share) {
  if (share == 0.0) {
    for (std::size_t i = 0; i < n; ++i) {
      y[i] = other[i];
    }
    return;
  }
  const double rest = 1.0 - share;
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = static_cast<float>(share * y[i] + rest * other[i]);
  }
}

LIMES_CLONES std::size_t EqualRun(const std::uint32_t* counts, std::size_t n) {
  constexpr std::size_t kRow = 64;
  const std::uint32_t first = n > 0 ? counts[0] : 0;
  std::size_t i = 0;
  for (; i + kRow <= n; i += kRow) {
    std::uint32_t other = 0;
    for (std::size_t j = 0; j < kRow; ++j) {
      other |= counts[i + j] ^ first;
    }
    if (other != 0) {
      break;
    }
  }
  while (i < n && counts[i] == first) {
    ++i;
  }
  return i;
}

LIMES_CLONES void CountUp(std::uint32_t* counts, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    counts[i] += counts[i] != std::numeric_limits<std::uint32_t>::max() ? 1U : 0U;
  }
}

namespace {

constexpr std::size_t kBlock = 2048;
constexpr std::size_t kWindow = kBlock + 2 * kMostWidening;

LIMES_CLONES void MaximaOfNeighbours(float* y, std::size_t n, std::size_t step) {
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = y[i + step] > y[i] ? y[i + step] : y[i];
  }
}

LIMES_CLONES void LargerOf(float* __restrict out, const float* a, const float* b, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    out[i] = b[i] > a[i] ? b[i] : a[i];
  }
}

/// True when doubling gives the bits of the plain loop: without NaN, and without zeros of which the
/// order decides.
LIMES_CLONES bool IsSimple(const float* y, std::size_t n) {
  std::uint32_t odd = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const auto bits = std::bit_cast<std::uint32_t>(y[i]);
    odd |= (y[i] != y[i] ? 1U : 0U) | (bits == 0x80000000U ? 1U : 0U);
  }
  return odd == 0;
}

/// The plain loop for outputs side by side: maxima of the 2 w values from each place of the window
/// on, in order; where all are NaN the value in the middle.
LIMES_CLONES void MaximaInOrder(float* __restrict out, const float* window, std::size_t n,
                                std::size_t w) {
  for (std::size_t i = 0; i < n; ++i) {
    out[i] = window[i];
  }
  for (std::size_t j = 1; j < 2 * w; ++j) {
    const float* const y = window + j;
    for (std::size_t i = 0; i < n; ++i) {
      const float other = out[i] == out[i] ? out[i] : y[i];
      out[i] = y[i] > out[i] ? y[i] : other;
    }
  }
  for (std::size_t i = 0; i < n; ++i) {
    out[i] = out[i] == out[i] ? out[i] : window[w + i];
  }
}

}  // namespace

void WidenValues(float* y, std::size_t n, std::size_t w) {
  // The window of a block: w values before it as they stood, the block, and w - 1 behind it. What
  // lies outside the values is NaN or the lowest number, which both replace nothing.
  std::array<float, kWindow> window;
  std::array<float, kMostWidening> before;
  before.fill(std::numeric_limits<float>::quiet_NaN());
  std::size_t known = 0;  // values of `before` that are real ones
  for (std::size_t start = 0; start < n; start += kBlock) {
    const std::size_t count = std::min(kBlock, n - start);
    const std::size_t behind = std::min(w - 1, n - start - count);
    const std::size_t real = known + count + behind;
    std::copy_n(before.data() + (w - known), known, window.data() + (w - known));
    std::copy_n(y + start, count + behind, window.data() + w);
    const bool simple = IsSimple(window.data() + (w - known), real);
    const float outside = simple ? kLowest : std::numeric_limits<float>::quiet_NaN();
    std::fill_n(window.data(), w - known, outside);
    std::fill_n(window.data() + w + count + behind, w - 1 - behind, outside);
    // The block's last values are the next one's `before`; a last block has no next one.
    if (count == kBlock) {
      std::copy_n(window.data() + count, w, before.data());
      known = w;
    }
    if (!simple) {
      MaximaInOrder(y + start, window.data(), count, w);
      continue;
    }
    const std::size_t length = 2 * w;
    std::size_t size = 1;  // of the runs whose maxima the window holds
    std::size_t valid = count + length - 1;
    while (2 * size <= length) {
      valid -= size;
      MaximaOfNeighbours(window.data(), valid, size);
      size *= 2;
    }
    LargerOf(y + start, window.data(), window.data() + (length - size), count);
  }
}

LIMES_CLONES std::size_t FirstDifference(const float* k, const float* r, std::size_t n,
                                         float difference) {
  constexpr std::size_t kRow = 64;
  std::size_t i = 0;
  for (; i + kRow <= n; i += kRow) {
    std::uint32_t found = 0;
    for (std::size_t j = 0; j < kRow; ++j) {
      found |= k[i + j] - r[i + j] == difference ? 1U : 0U;
    }
    if (found != 0) {
      break;
    }
  }
  while (i < n && k[i] - r[i] != difference) {
    ++i;
  }
  return i;
}

SLargest FindLargestDifference(const float* k, const float* r, std::size_t n) {
  constexpr std::size_t kSearched = 512;
  float largest = kLowest;
  std::size_t block = 0;
  for (std::size_t start = 0; start < n; start += kSearched) {
    const float here =
        LargestDifference(k + start, r + start, std::min(kSearched, n - start), kLowest);
    if (here > largest) {
      largest = here;
      block = start;
    }
  }
  const std::size_t i = block + FirstDifference(k + block, r + block, n - block, largest);
  return i < n ? SLargest{i, k[i] - r[i]} : SLargest{0, std::numeric_limits<float>::quiet_NaN()};
}

namespace {

/// k - r where it is above 0, that is exactly where k > r, else 0.
LIMES_CLONES void ExcessOf(const float* __restrict k, const float* __restrict r,
                           float* __restrict excess, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    const float d = k[i] - r[i];
    excess[i] = d > 0.0F ? d : 0.0F;
  }
}

}  // namespace

double AddSquaredExcess(double sum, const float* k, const float* r, std::size_t n) {
  // In two loops, so that no branch depends on data; adding +0.0 changes no sum that began at +0.0.
  std::array<float, 512> excess;
  for (std::size_t start = 0; start < n; start += excess.size()) {
    const std::size_t count = std::min(excess.size(), n - start);
    ExcessOf(k + start, r + start, excess.data(), count);
    for (std::size_t i = 0; i < count; ++i) {
      const double d = excess[i];
      sum += d * d;
    }
  }
  return sum;
}

LIMES_CLONES bool AreFinite(const float* k, const float* r, std::size_t n) {
  unsigned odd = 0;
  for (std::size_t i = 0; i < n; ++i) {
    // x - x is 0 for finite numbers only.
    odd |= (k[i] - k[i]) + (r[i] - r[i]) != 0.0F ? 1U : 0U;
  }
  return odd == 0;
}

}  // namespace limes::detail
