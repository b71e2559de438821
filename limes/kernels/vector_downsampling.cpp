#include <algorithm>
#include <cstring>
#include <type_traits>

#include "limes/kernels/element_loops.h"
#include "limes/kernels/equal_steps.h"
#include "limes/kernels/value_bounds.h"
#include "limes/kernels/vector_kernels.h"
#include "limes/platform/cpu_clones.h"

// Sums in order, as in vector_sums.cpp.

namespace limes::DVL {

namespace {

/// Calls bin(k, first sample, count) for bin k of at most so many, as long as there are samples. A
/// bin without a sample gets the next one, which stays for the bins behind it, too. Returns the
/// number of calls, at least 1.
template <class Bin>
inline std::uint32_t ForBins(std::uint32_t nIn, std::uint32_t bins, float step, Bin bin) {
  detail::EqualSteps ends(step, nIn);
  std::uint32_t k = 0;
  for (std::uint32_t from = 0; k < bins && from < nIn; ++k) {
    const std::uint32_t end = ends.Next();
    bin(k, std::size_t{from}, std::size_t{end == from ? 1 : end - from});
    from = end;
  }
  return k;
}

inline float StepOf(std::uint32_t nIn, std::uint32_t bins) {
  return static_cast<float>(nIn) / static_cast<float>(bins);
}

/// Values behind the last bin repeat it; then the factor.
void Finish(float* dst, std::uint32_t written, std::uint32_t nOut, float factor) {
  std::fill(dst + written, dst + nOut, dst[written - 1]);
  MulFloatIp(dst, nOut, 1, factor);
}

template <class Inc>
inline float MeanOf(const float* p, std::size_t n, Inc inc) {
  if (n == 1) {
    return *p;
  }
  float sum = 0.0F;
#pragma GCC unroll 2  // short bins are mostly jumps else
  for (std::size_t i = 0; i < n; ++i, p += inc) {
    sum += *p;
  }
  return sum / static_cast<float>(n);
}

constexpr std::size_t kBeside = 8;  ///< sums that hide each other's additions

struct SBins {
  const float* first[kBeside];
  std::uint32_t count[kBeside];
};

/// Brings a line of samples nearer, wherever it lies.
inline void Prefetch(const float* p, std::size_t ahead) {
  const auto at = reinterpret_cast<std::uintptr_t>(p) + ahead * sizeof(float);
  __builtin_prefetch(reinterpret_cast<const void*>(at));
}

/// The means of the first so many bins, each sum in order. So many streams of memory are more than
/// the processor follows by itself: it is told what comes next.
template <class Inc>
inline void MeansBeside(SBins& bins, std::size_t used, Inc inc, float* dst) {
  constexpr std::size_t kLine = 16;
  constexpr std::size_t kNear = 1024;
  std::size_t common = bins.count[0];
  for (std::size_t k = 1; k < kBeside; ++k) {
    if (k >= used) {  // what is left does the last one's work again
      bins.first[k] = bins.first[k - 1];
      bins.count[k] = bins.count[k - 1];
    }
    common = std::min<std::size_t>(common, bins.count[k]);
  }
  const std::size_t ahead = common > kNear ? kNear / 2 : kBeside * common;
  float sum[kBeside] = {};
  const auto add = [&](std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i) {
#pragma GCC unroll 8
      for (std::size_t k = 0; k < kBeside; ++k) {
        sum[k] += bins.first[k][i * inc];
      }
    }
  };
  std::size_t done = 0;
  for (; inc == 1 && done + kLine <= common; done += kLine) {
    for (std::size_t k = 0; k < kBeside; ++k) {
      Prefetch(bins.first[k] + done, ahead);
    }
    add(done, done + kLine);
  }
  add(done, common);
  for (std::size_t k = 0; k < used; ++k) {
    for (std::size_t i = common; i < bins.count[k]; ++i) {
      sum[k] += bins.first[k][i * inc];
    }
    dst[k] = bins.count[k] == 1 ? *bins.first[k] : sum[k] / static_cast<float>(bins.count[k]);
  }
}

template <class Inc>
std::uint32_t LongMeans(const float* src, std::uint32_t nIn, Inc inc, float* dst,
                        std::uint32_t nOut) {
  SBins bins;
  std::size_t waiting = 0;
  const auto written = ForBins(nIn, nOut, StepOf(nIn, nOut),
                               [&](std::uint32_t k, std::size_t from, std::size_t count) {
                                 bins.first[waiting] = src + from * inc;
                                 bins.count[waiting] = static_cast<std::uint32_t>(count);
                                 if (++waiting == kBeside) {
                                   MeansBeside(bins, kBeside, inc, dst + k + 1 - kBeside);
                                   waiting = 0;
                                 }
                               });
  if (waiting > 0) {
    MeansBeside(bins, waiting, inc, dst + written - waiting);
  }
  return written;
}

template <class Inc>
std::uint32_t Means(const float* src, std::uint32_t nIn, Inc inc, float* dst, std::uint32_t nOut) {
  constexpr std::uint32_t kLong = 24;  // shorter bins hide each other's additions by themselves
  if (nIn / nOut >= kLong && inc != 0 &&
      detail::MayReadAhead(dst, detail::ExtentOf(dst, nOut, 1), src,
                           detail::ExtentOf(src, nIn, inc))) {
    return LongMeans(src, nIn, inc, dst, nOut);
  }
  return ForBins(nIn, nOut, StepOf(nIn, nOut),
                 [=](std::uint32_t k, std::size_t from, std::size_t count) {
                   dst[k] = MeanOf(src + from * inc, count, inc);
                 });
}

}  // namespace

void DownsamlingMean(const float* src, std::uint32_t nIn, std::uint32_t srcInc, float* dst,
                     std::uint32_t nOut, float factor) {
  if (detail::CopyWhereEqual(src, nIn, srcInc, dst, nOut, factor)) {
    return;
  }
  if (nOut == 1) {
    *dst = VectorMean(src, nIn, srcInc) * factor;
    return;
  }
  const std::uint32_t written =
      srcInc == 1 ? Means(src, nIn, std::integral_constant<std::size_t, 1>(), dst, nOut)
                  : Means(src, nIn, std::size_t{srcInc}, dst, nOut);
  Finish(dst, written, nOut, factor);
}

namespace {

inline float MaxOf(const float* p, std::size_t n, std::size_t inc, float start) {
  for (std::size_t i = 0; i < n; ++i, p += inc) {
    start = *p > start ? *p : start;
  }
  return start;
}

std::uint32_t Maxima(const float* src, std::uint32_t nIn, float* dst, std::uint32_t nOut) {
  const float step = StepOf(nIn, nOut);
  if (step < static_cast<float>(detail::kWorthLanes)) {
    return ForBins(nIn, nOut, step, [=](std::uint32_t k, std::size_t from, std::size_t count) {
      dst[k] = MaxOf(src + from, count, 1, src[from]);
    });
  }
  return ForBins(nIn, nOut, step, [=](std::uint32_t k, std::size_t from, std::size_t count) {
    dst[k] = detail::LargestValue(src + from, count);
  });
}

}  // namespace

void DownsamlingMax(const float* src, std::uint32_t nIn, std::uint32_t srcInc, float* dst,
                    std::uint32_t nOut, float factor) {
  if (detail::CopyWhereEqual(src, nIn, srcInc, dst, nOut, factor)) {
    return;
  }
  if (nOut == 1) {
    *dst = detail::FindBounds(src, nIn, srcInc).max * factor;
    return;
  }
  if (srcInc == 1) {
    Finish(dst, Maxima(src, nIn, dst, nOut), nOut, factor);
    return;
  }
  const auto written = ForBins(nIn, nOut, StepOf(nIn, nOut),
                               [=](std::uint32_t k, std::size_t from, std::size_t count) {
                                 const float* bin = src + from * srcInc;
                                 dst[k] = MaxOf(bin, count, srcInc, *bin);
                               });
  Finish(dst, written, nOut, factor);
}

void DownsamlingMinMax(const float* src, std::uint32_t nIn, std::uint32_t srcInc, float* dst,
                       std::uint32_t nOut, float factor) {
  if (detail::CopyWhereEqual(src, nIn, srcInc, dst, nOut, factor)) {
    return;
  }
  if (nOut == 1) {
    *dst = VectorMean(src, nIn, srcInc) * factor;
    return;
  }
  if (nOut < 4) {
    const detail::SBounds bounds = detail::FindBounds(src, nIn, srcInc);
    dst[0] = bounds.min * factor;
    dst[1] = bounds.max * factor;
    if (nOut == 3) {
      dst[2] = factor * 0.5F * (dst[0] + dst[1]);  // kept: the factor counts twice
    }
    return;
  }
  const std::uint32_t pairs = nOut / 2;
  const float step = 2.0F * static_cast<float>(nIn) / static_cast<float>(2 * pairs);
  const auto put = [dst](std::size_t k, detail::SBounds bounds) {
    dst[2 * k] = bounds.min;
    dst[2 * k + 1] = bounds.max;
  };
  const std::size_t written =
      ForBins(nIn, pairs, step, [=](std::uint32_t k, std::size_t from, std::size_t count) {
        put(k, detail::BoundsOfBin(src + from * srcInc, count, srcInc));
      });
  const detail::SBounds last{dst[2 * written - 2], dst[2 * written - 1]};
  for (std::size_t k = written; k < pairs; ++k) {
    put(k, last);
  }
  if (nOut % 2 != 0) {
    dst[nOut - 1] = 0.5F * (last.min + last.max);
  }
  MulFloatIp(dst, nOut, 1, factor);
}

}  // namespace limes::DVL
