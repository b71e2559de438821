#include "limes/kernels/resample_tool.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "limes/kernels/resample_bins.h"
#include "limes/kernels/value_bounds.h"
#include "limes/kernels/value_loops.h"
#include "limes/platform/cpu_clones.h"
#include "limes/platform/memory_errors.h"

namespace limes {

namespace {

/// Last sample of the process's last upsampling, where kContinue goes on.
std::atomic<float> lastSample{0.0F};

float MeanOf(const float* values, std::size_t n) {
  float sum = values[0];
  for (std::size_t i = 1; i < n; ++i) {
    sum += values[i];
  }
  return sum / static_cast<float>(n);
}

float MidRangeOf(const float* values, std::size_t n) {
  const detail::SBounds bounds = detail::BoundsOfBin(values, n);
  return (bounds.min + bounds.max) * 0.5F;
}

template <class Value>
void Down(const float* src, int nIn, float* dst, int nOut, Value value) {
  detail::BinWalk walk(nIn, nOut);
  int start = 0;
  int k = 0;
  for (; k < nOut && start < nIn; ++k) {
    const int end = walk.Next();
    dst[k] = value(src + start, static_cast<std::size_t>(end - start));
    start = end;
  }
  std::fill(dst + k, dst + nOut, src[nIn - 1]);
}

/// A sample that spreads over two outputs gets this one first.
float FirstOfTwo(CResampleTool::InterpOpts mode, float previous, float sample) {
  switch (mode) {
    case CResampleTool::kMaximum:
      return sample > previous ? sample : previous;
    case CResampleTool::kMinimum:
      return sample < previous ? sample : previous;
    case CResampleTool::kMean:
    case CResampleTool::kMidRange:
    case CResampleTool::kInterpolate:
      return (previous + sample) * 0.5F;
    default:
      return sample;
  }
}

/// Steps from behind the previous sample to this one, which is reached exactly.
void Ramp(float previous, float sample, float* dst, int k) {
  const float step = (sample - previous) / static_cast<float>(k);
  float y = previous;
  for (int j = 0; j < k - 1; ++j) {
    y += step;
    dst[j] = y;
  }
  dst[k - 1] = sample;
}

/// The k outputs of one sample.
void Spread(CResampleTool::InterpOpts mode, float previous, float sample, float* dst, int k) {
  if (k == 2) {
    dst[0] = FirstOfTwo(mode, previous, sample);
    dst[1] = sample;
  } else if (k > 2 && (mode == CResampleTool::kMean || mode == CResampleTool::kInterpolate)) {
    Ramp(previous, sample, dst, k);
  } else {
    const int half = mode == CResampleTool::kMidRange && k > 2 ? k / 2 : 0;
    std::fill(dst, dst + half, (previous + sample) * 0.5F);
    std::fill(dst + half, dst + k, sample);
  }
}

bool Usable(const float* src, int nIn, const float* dst, int nOut) {
  return src != nullptr && dst != nullptr && nIn > 0 && nOut > 0;
}

LIMES_CLONES void ToIntegers(const float* src, std::size_t n, float lo, float scale,
                             std::int32_t* dst, int maxValue) {
  for (std::size_t i = 0; i < n; ++i) {
    const double value = double{(src[i] - lo) * scale} + 0.5;
    const double above = value > 0.0 ? value : 0.0;  // NaN too
    dst[i] = static_cast<std::int32_t>(above < maxValue ? above : maxValue);
  }
}

/// Makes the buffer hold n values when it has fewer than least, all 0 then; false, with nothing
/// changed, when memory is short.
bool Grow(std::vector<float>& buffer, std::uint64_t least, std::uint64_t n) {
  constexpr std::uint64_t kMost =
      std::uint64_t{std::numeric_limits<std::ptrdiff_t>::max()} / sizeof(float);
  return least <= buffer.size() || (n <= kMost && detail::IfMemoryAllows([&] {
                                      buffer = std::vector<float>(static_cast<std::size_t>(n));
                                    }));
}

}  // namespace

namespace detail {

BinWalk::BinWalk(int count, int bins, float startBins, int end)
    : count_(count),
      end_(end),
      step_(1.0F / static_cast<float>(count)),
      bin_(1.0F / static_cast<float>(bins)),
      half_(bin_ * 0.5F),
      place_(startBins * bin_) {}

namespace {

// Four lanes, which need not cross between the halves of wider vectors.
using Four __attribute__((vector_size(16))) = float;
constexpr std::size_t kWidth = 4;

inline Four Larger(Four a, const Four& b) {
  SHigher()(a, b);
  return a;
}

inline Four Raised(const Four& former, const float* row) {
  Four next;
  std::memcpy(&next, row, sizeof(next));
  return Larger(former, next);
}

/// Brings the three cache lines from value i on nearer, wherever they lie.
inline void Prefetch(const float* values, std::size_t i) {
  constexpr std::uintptr_t kLine = 64;
  const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(values) + i * sizeof(float);
  __builtin_prefetch(reinterpret_cast<const void*>(at));
  __builtin_prefetch(reinterpret_cast<const void*>(at + kLine));
  __builtin_prefetch(reinterpret_cast<const void*>(at + 2 * kLine));
}

/// Lanes whose largest is that of n values: rows of them from the first on, the last row, and one
/// between where that leaves a gap. All lanes begin at the first value, so that a NaN there stays;
/// a value that two lanes see changes nothing.
template <bool kGap>
inline Four Highest(const float* values, std::size_t n, std::size_t rows) {
  Four high = values[0] - Four{};
#pragma GCC unroll 4
  for (std::size_t r = 0; r < rows; ++r) {
    high = Raised(high, values + r * kWidth);
  }
  if constexpr (kGap) {
    high = Raised(high, values + std::min(rows * kWidth, n - kWidth));
  }
  return Raised(high, values + n - kWidth);
}

/// Maxima of the bins from 1 on, four at a time: lanes are compared across them, which takes a
/// fourth of the steps. The index of the first bin that is left. A fixed number of rows spares the
/// inner loop; 0 stands for any.
template <std::size_t kRows, bool kGap>
inline std::size_t MaximaOfFours(const float* values, const SBins& bins, const float* next,
                                 float* maxima) {
  constexpr std::size_t kAhead = 1024;  // values: the processor itself stops at each page
  const std::uint32_t* const ends = bins.ends.data();
  const std::size_t rows = kRows == 0 ? bins.shortest / kWidth : kRows;
  const std::size_t count = bins.ends.size();
  const std::size_t total = ends[count - 1];
  std::size_t k = 1;
  for (; k + kWidth <= count; k += kWidth) {
    const float* const bin = values + ends[k - 1];
    const std::size_t at = ends[k - 1] + kAhead;
    Prefetch(at < total ? values : next, at < total ? at : at - total);
    const Four a = Highest<kGap>(bin, ends[k] - ends[k - 1], rows);
    const Four b = Highest<kGap>(values + ends[k], ends[k + 1] - ends[k], rows);
    const Four c = Highest<kGap>(values + ends[k + 1], ends[k + 2] - ends[k + 1], rows);
    const Four d = Highest<kGap>(values + ends[k + 2], ends[k + 3] - ends[k + 2], rows);
    const Four ab = Larger(__builtin_shufflevector(a, b, 0, 4, 1, 5),
                           __builtin_shufflevector(a, b, 2, 6, 3, 7));
    const Four cd = Larger(__builtin_shufflevector(c, d, 0, 4, 1, 5),
                           __builtin_shufflevector(c, d, 2, 6, 3, 7));
    const Four all = Larger(__builtin_shufflevector(ab, cd, 0, 1, 4, 5),
                            __builtin_shufflevector(ab, cd, 2, 3, 6, 7));
    std::memcpy(maxima + k, &all, sizeof(all));
  }
  return k;
}

template <bool kGap>
inline std::size_t MaximaOfAlike(const float* values, const SBins& bins, const float* next,
                                 float* maxima) {
  switch (bins.shortest / kWidth) {
    case 1:
      return MaximaOfFours<1, kGap>(values, bins, next, maxima);
    case 2:
      return MaximaOfFours<2, kGap>(values, bins, next, maxima);
    case 3:
      return MaximaOfFours<3, kGap>(values, bins, next, maxima);
    default:
      return MaximaOfFours<0, kGap>(values, bins, next, maxima);
  }
}

/// Of zeros the first one of a bin counts, with its sign.
inline void SignZeros(const float* values, const SBins& bins, float* maxima) {
  const std::size_t count = bins.ends.size();
  unsigned zeros = 0;
  for (std::size_t k = 0; k < count; ++k) {
    zeros |= static_cast<unsigned>(maxima[k] == 0.0F);
  }
  for (std::size_t k = 0; zeros != 0 && k < count; ++k) {
    if (maxima[k] == 0.0F) {
      const float* const bin = values + (k == 0 ? 0 : bins.ends[k - 1]);
      maxima[k] = *std::find(bin, values + bins.ends[k], 0.0F);
    }
  }
}

}  // namespace

SBins::SBins(int count, int bins) {
  BinWalk walk(count, bins);
  ends.reserve(static_cast<std::size_t>(bins));
  shortest = std::numeric_limits<std::uint32_t>::max();
  std::uint32_t start = 0;
  while (ends.size() < static_cast<std::size_t>(bins) && start < static_cast<unsigned>(count)) {
    const auto end = static_cast<std::uint32_t>(walk.Next());
    if (!ends.empty()) {
      shortest = std::min(shortest, end - start);
      longest = std::max(longest, end - start);
    }
    ends.push_back(end);
    start = end;
  }
}

LIMES_CLONES void MaximaOfBins(const float* values, const SBins& bins, const float* next,
                               float* maxima) {
  const std::size_t count = bins.ends.size();
  if (count == bins.ends.back()) {
    MoveValues(maxima, values, count);
    return;
  }
  const std::size_t rows = bins.shortest / kWidth;
  maxima[0] = BoundsOfBin(values, bins.ends[0]).max;
  std::size_t k = 1;
  if (rows > 0 && bins.shortest < kWorthLanes && bins.longest <= (rows + 2) * kWidth) {
    k = bins.longest <= (rows + 1) * kWidth ? MaximaOfAlike<false>(values, bins, next, maxima)
                                            : MaximaOfAlike<true>(values, bins, next, maxima);
  }
  for (; k < count; ++k) {
    maxima[k] = BoundsOfBin(values + bins.ends[k - 1], bins.ends[k] - bins.ends[k - 1]).max;
  }
  SignZeros(values, bins, maxima);
}

}  // namespace detail

CResampleTool::~CResampleTool() = default;

void CResampleTool::Resample1d(const float* src, int nIn, float* dst, int nOut, InterpOpts opts) {
  if (!Usable(src, nIn, dst, nOut)) {
    return;
  }
  if (nIn == nOut) {
    detail::MoveValues(dst, src, static_cast<std::size_t>(nIn));
  } else if (nOut < nIn) {
    Resample1dDown(src, nIn, dst, nOut, opts);
  } else {
    Resample1dUp(src, nIn, dst, nOut, opts);
  }
}

void CResampleTool::Resample1dDown(const float* src, int nIn, float* dst, int nOut,
                                   InterpOpts opts) {
  if (!Usable(src, nIn, dst, nOut)) {
    return;
  }
  switch (opts & kModeMask) {
    case kMaximum:
    case kInterpolate:
      return Down(src, nIn, dst, nOut, [](const float* values, std::size_t n) {
        return detail::BoundsOfBin(values, n).max;
      });
    case kMinimum:
      return Down(src, nIn, dst, nOut, [](const float* values, std::size_t n) {
        return detail::BoundsOfBin(values, n).min;
      });
    case kMean:
      return Down(src, nIn, dst, nOut, MeanOf);
    case kMidRange:
      return Down(src, nIn, dst, nOut, MidRangeOf);
    default:
      return Down(src, nIn, dst, nOut, [](const float* values, std::size_t) { return *values; });
  }
}

void CResampleTool::Resample1dUp(const float* src, int nIn, float* dst, int nOut, InterpOpts opts) {
  if (!Usable(src, nIn, dst, nOut)) {
    return;
  }
  if (opts == kInterpolate) {
    Resample1dUpInterpol(src, nIn, dst, nOut);
    return;
  }
  const bool goOn = (opts & kContinue) != 0;
  detail::BinWalk walk(nOut, nIn, goOn ? -0.5F : 0.0F);
  float previous = goOn ? lastSample.load(std::memory_order_relaxed) : src[0];
  int end = 0;
  for (int i = 0; i < nIn && end < nOut; ++i) {
    const int start = end;
    end = walk.Next();
    Spread(opts & kModeMask, previous, src[i], dst + start, end - start);
    previous = src[i];
  }
  const float last = src[nIn - 1];
  lastSample.store(last, std::memory_order_relaxed);
  std::fill(dst + end, dst + nOut, last);
}

void CResampleTool::Resample1dUpInterpol(const float* src, int nIn, float* dst, int nOut) {
  if (!Usable(src, nIn, dst, nOut)) {
    return;
  }
  detail::BinWalk walk(nOut, nIn, -1.0F, 1);
  dst[0] = src[0];
  int end = 1;
  for (int i = 1; i < nIn && end < nOut; ++i) {
    const int start = end;
    end = walk.Next();
    Spread(kMean, src[i - 1], src[i], dst + start, end - start);
  }
  std::fill(dst + end, dst + nOut, src[nIn - 1]);
}

void CResampleTool::Resample1dDownMaxi(const float* src, int nIn, float* dst, int nOut) {
  Resample1dDown(src, nIn, dst, nOut, kMaximum);
}

void CResampleTool::Resample1dDmUi(const float* src, int nIn, float* dst, int nOut) {
  if (nOut > nIn) {
    Resample1dUpInterpol(src, nIn, dst, nOut);
  } else {
    Resample1dDownMaxi(src, nIn, dst, nOut);
  }
}

void CResampleTool::IntConversion(const float* src, unsigned n, float lo, float hi,
                                  std::int32_t* dst, int maxValue) {
  if (src == nullptr || dst == nullptr) {
    return;
  }
  const auto largest = static_cast<float>(maxValue);
  ToIntegers(src, n, lo, hi == lo ? largest : largest / (hi - lo), dst, maxValue);
}

bool CResampleTool::Adjust1dPuffer(unsigned n) { return Grow(line_, n, std::uint64_t{2} * n); }

bool CResampleTool::Adjust2dPuffer(unsigned width, unsigned height) {
  const std::uint64_t points = std::uint64_t{width} * height;
  // kept: twice the points must fit, so a grid may be replaced that would have been large enough
  if (points > std::numeric_limits<std::uint64_t>::max() / 2 ||
      !Grow(grid_, 2 * points, 2 * points)) {
    return false;
  }
  width_ = width;
  height_ = height;
  return true;
}

void CResampleTool::Setze2dAusschnitt(bool enabled, float xFrom, float xTo, float zFrom,
                                      float zTo) {
  sectionEnabled_ = enabled;
  section_ = {xFrom, xTo, zFrom, zTo};
}

}  // namespace limes
