#include <algorithm>
#include <cmath>
#include <cstring>

#include "limes/kernels/fixed_exp.h"
#include "limes/kernels/lanes.h"
#include "limes/kernels/vector_kernels.h"
#include "limes/platform/cpu_clones.h"

// Sums in order, as in vector_sums.cpp.

namespace limes::DVL {

namespace {

using detail::kLanes;
using detail::Lanes;
constexpr std::size_t kBlock = 4 * kLanes;

/// sum + e^(x * scale) * factor of n values, in order. In short blocks: the processor adds the
/// terms of one while it forms those of the next.
LIMES_CLONES float AddExps(float sum, const float* x, std::size_t n, float scale, float factor) {
  alignas(Lanes) float terms[kBlock];
  float padded[kBlock] = {};
  for (std::size_t size = kBlock; n > 0; n -= size, x += size) {
    if (n < kBlock) {
      size = n;
      std::copy(x, x + size, padded);
    }
    const float* block = size < kBlock ? padded : x;
#pragma GCC unroll 1  // else the terms are shuffled out of vectors instead of loaded
    for (std::size_t i = 0; i < kBlock; i += kLanes) {
      Lanes lanes;
      std::memcpy(&lanes, block + i, sizeof(lanes));
      lanes *= scale;
      detail::TakeFixedExp<Lanes, detail::LaneBits>(lanes);
      lanes *= factor;
      std::memcpy(terms + i, &lanes, sizeof(lanes));
    }
    for (std::size_t i = 0; i < size; ++i) {
      sum += terms[i];
    }
  }
  return sum;
}

/// Sum of e^(x * scale) * factor, in order. Values that lie apart are gathered.
class ExpSum {
 public:
  ExpSum(float scale, float factor) : scale_(scale), factor_(factor) {}

  void Add(const float* p, std::size_t n, std::size_t inc) {
    if (inc == 1 && waiting_ == 0) {
      const std::size_t whole = n / kBlock * kBlock;
      sum_ = AddExps(sum_, p, whole, scale_, factor_);
      p += whole;
      n -= whole;
    }
    while (n > 0) {
      const std::size_t size = std::min(n, kRow - waiting_);
      for (std::size_t i = 0; i < size; ++i, p += inc) {
        row_[waiting_ + i] = *p;
      }
      waiting_ += size;
      n -= size;
      if (waiting_ == kRow) {
        Total();
      }
    }
  }

  float Total() {
    sum_ = AddExps(sum_, row_, waiting_, scale_, factor_);
    waiting_ = 0;
    return sum_;
  }

 private:
  static constexpr std::size_t kRow = 128;

  float scale_;
  float factor_;
  float sum_ = 0.0F;
  std::size_t waiting_ = 0;
  float row_[kRow];
};

/// Natural logarithm, rounded once: libraries differ in the last bit of that of floats.
inline float LogOf(float x) { return static_cast<float>(std::log(double{x})); }

constexpr float kPerDecibel = 0.230258509516716F;  // ln 10 / 10

/// Level of the sum of the powers, divided by over, of n > 1 levels.
float LevelOf(const float* p, std::uint32_t n, std::uint32_t inc, float over) {
  constexpr float kLeast = 1e-9F;
  const float reference = detail::FixedExp(p[0] * kPerDecibel);
  ExpSum sum(kPerDecibel, 1.0F / reference);
  sum.Add(p, n, inc);
  const float total = sum.Total();
  if (!(total > kLeast)) {
    return 0.0F;
  }
  return LogOf(total / over * reference) / kPerDecibel;
}

}  // namespace

float VectorLogSum(const float* p, std::uint32_t n, std::uint32_t inc) {
  if (n < 2) {
    return n == 0 ? 0.0F : p[0];
  }
  return LevelOf(p, n, inc, 1.0F);
}

float VectorLogMean(const float* p, std::uint32_t n, std::uint32_t inc) {
  if (n < 2) {
    return n == 0 ? 0.0F : p[0];
  }
  return LevelOf(p, n, inc, static_cast<float>(n));
}

bool MatrixElementLogStats(const float* data, std::uint32_t pitch, std::uint32_t rows,
                           std::uint32_t x0, std::uint32_t y0, std::uint32_t width,
                           std::uint32_t height, float& logMean, float& meanOfLogMeans,
                           std::uint32_t& count, bool reset) {
  if (pitch == 0 || rows == 0 || width == 0 || height == 0) {
    if (reset) {
      logMean = meanOfLogMeans = 0.0F;
      count = 0;
    }
    return false;
  }
  constexpr float kE = 2.7182817459106445F;
  constexpr float kOverE = 0.3678794503211975F;
  const float* first = data + std::size_t{pitch} * y0 + x0;
  const std::uint64_t elements = std::uint64_t{width} * height;
  const float g = 1.0F / *first;
  ExpSum sum(g, kOverE);
  for (std::size_t row = 0; row < height; ++row) {
    sum.Add(first + row * pitch, width, 1);
  }
  const float total = sum.Total();
  const auto k = static_cast<float>(elements);
  const float blockMean = LogOf(total / k * kE) / g;
  if (reset) {
    logMean = LogOf(total * kE) / g;
    meanOfLogMeans = blockMean;
    count = static_cast<std::uint32_t>(elements);
    return true;
  }
  const auto before = static_cast<float>(count);
  logMean = LogOf((total + detail::FixedExp(g * logMean) * kOverE) * kE) / g;
  meanOfLogMeans = (before * meanOfLogMeans + k * blockMean) / (before + k);
  ++count;  // kept: by one, although the weights are elements
  return true;
}

}  // namespace limes::DVL
