#include <cmath>
#include <cstring>

#include "limes/kernels/vector_kernels.h"

// Sums in order, as in vector_sums.cpp.

namespace limes::DVL {

namespace {

using Lanes __attribute__((vector_size(16))) = float;
constexpr std::size_t kLanes = 4;

inline Lanes LoadLanes(const float* p) {
  Lanes lanes;
  std::memcpy(&lanes, p, sizeof(lanes));
  return lanes;
}

/// What the values so far give, of which the first one is known.
struct SBlock {
  float min;
  float max;
  float sum = 0.0F;
  float squares = 0.0F;

  void Add(float x) {
    min = x < min ? x : min;
    max = x > max ? x : max;
    sum += x;
    squares += x * x;
  }

  void Add(const float* p, std::size_t n, std::size_t inc);
  void AddRow(const float* p, std::size_t n);
};

void SBlock::Add(const float* p, std::size_t n, std::size_t inc) {
  if (inc == 1) {
    AddRow(p, n);
    return;
  }
  for (std::size_t i = 0; i < n; ++i, p += inc) {
    Add(*p);
  }
}

/// n neighbours: both chains of additions leave room for the extremes in lanes, which keep to the
/// rule of Add, except for the sign of a zero.
void SBlock::AddRow(const float* p, std::size_t n) {
  const SBlock before = *this;
  Lanes low = min - Lanes{};
  Lanes high = max - Lanes{};
  std::size_t i = 0;
  for (; i + kLanes <= n; i += kLanes) {
    const Lanes row = LoadLanes(p + i);
    low = row < low ? row : low;
    high = row > high ? row : high;
    for (std::size_t k = i; k < i + kLanes; ++k) {
      sum += p[k];
      squares += p[k] * p[k];
    }
  }
  for (std::size_t k = 0; k < kLanes; ++k) {
    min = low[k] < min ? low[k] : min;
    max = high[k] > max ? high[k] : max;
  }
  for (; i < n; ++i) {
    Add(p[i]);
  }
  const bool minIsNew = min == 0.0F && before.min != 0.0F;
  const bool maxIsNew = max == 0.0F && before.max != 0.0F;
  if (minIsNew || maxIsNew) {
    std::size_t zero = 0;  // the first one counts, with its sign
    while (p[zero] != 0.0F) {
      ++zero;
    }
    min = minIsNew ? p[zero] : min;
    max = maxIsNew ? p[zero] : max;
  }
}

}  // namespace

void VectorStatistics(const float* p, std::uint32_t n, std::uint32_t inc, float& min, float& max,
                      float& mean, float& meanSquare, std::uint32_t* count) {
  const std::uint32_t before = count == nullptr ? 0 : *count;
  if (before == 0) {
    min = max = mean = meanSquare = 0.0F;
  }
  if (n == 0) {
    return;
  }
  SBlock block{p[0], p[0]};
  block.Add(p, n, inc);
  const auto size = static_cast<float>(n);
  const float blockMean = block.sum / size;
  const float blockSquare = block.squares / size;
  if (before == 0) {
    min = block.min;
    max = block.max;
    mean = blockMean;
    meanSquare = blockSquare;
  } else {
    const auto old = static_cast<float>(before);
    min = block.min < min ? block.min : min;
    max = block.max > max ? block.max : max;
    mean = (mean * old + size * blockMean) / (old + size);
    meanSquare = (meanSquare * old + size * blockSquare) / (old + size);
  }
  if (count != nullptr) {
    *count = before + n;
  }
}

void VectorStatistics(const float* p, std::uint32_t n, std::uint32_t inc, float* out,
                      std::uint32_t* count) {
  VectorStatistics(p, n, inc, out[0], out[1], out[2], out[3], count);
}

void VectorStatistics(const float* p, std::uint32_t n, std::uint32_t inc, StatisticsData_t& s) {
  VectorStatistics(p, n, inc, s.min, s.max, s.mean, s.meanSquare, &s.count);
}

bool MatrixElementStats(const float* data, std::uint32_t pitch, std::uint32_t rows,
                        std::uint32_t x0, std::uint32_t y0, std::uint32_t width,
                        std::uint32_t height, float& min, float& max, float& sum, float& mean,
                        float& rms, std::uint32_t& count, bool reset) {
  if (pitch == 0 || rows == 0 || width == 0 || height == 0) {
    if (reset) {
      min = max = sum = mean = rms = 0.0F;
      count = 0;
    }
    return false;
  }
  const float* first = data + std::size_t{pitch} * y0 + x0;
  SBlock block{*first, *first};
  for (std::size_t row = 0; row < height; ++row) {
    block.AddRow(first + row * pitch, width);
  }
  const std::uint64_t elements = std::uint64_t{width} * height;
  block.sum = elements == 1 ? *first : block.sum;  // -0.0 too
  if (reset) {
    const auto k = static_cast<float>(elements);
    min = block.min;
    max = block.max;
    sum = block.sum;
    mean = sum / k;
    rms = std::sqrt(block.squares / k);
    count = static_cast<std::uint32_t>(elements);
    return true;
  }
  const auto before = static_cast<float>(count);
  const float all = before + static_cast<float>(elements);
  min = block.min < min ? block.min : min;
  max = block.max > max ? block.max : max;
  sum += block.sum;
  mean = sum / all;
  rms = std::sqrt((rms * rms * before + block.squares) / all);
  count += static_cast<std::uint32_t>(elements);
  return true;
}

StatisticsData_t& StatisticsData_t::operator=(const StatisticsData_t& other) = default;

void StatisticsData_t::reset() { *this = StatisticsData_t(); }

bool StatisticsData_t::valid() const {
  return min < max && count > 0;  // kept: equal samples alone are not valid
}

void StatisticsData_t::calc_stddev() {
  stdDev = std::sqrt(meanSquare - mean * mean);  // kept: not clamped, may be NaN
}

float Kurtosis(const float* p, std::uint32_t n) {
  if (n == 0) {
    return 0.0F;
  }
  const float mean = VectorMean(p, n, 1);
  Lanes squares = {};
  Lanes fourths = {};
  std::size_t i = 0;
  for (; i + kLanes <= n; i += kLanes) {
    const Lanes d = LoadLanes(p + i) - mean;
    squares += d * d;
    fourths += (d * d) * (d * d);
  }
  float sum2 = squares[1] + squares[0] + squares[2] + squares[3];
  float sum4 = fourths[1] + fourths[0] + fourths[2] + fourths[3];
  for (; i < n; ++i) {
    const float square = (p[i] - mean) * (p[i] - mean);
    sum2 += square;
    sum4 += square * square;
  }
  return sum4 / (sum2 * sum2) * static_cast<float>(n);
}

}  // namespace limes::DVL
