#include <algorithm>

#include "limes/kernels/equal_steps.h"
#include "limes/kernels/value_loops.h"
#include "limes/kernels/vector_kernels.h"

namespace limes {

bool detail::CopyWhereEqual(const float* src, std::uint32_t nIn, std::uint32_t srcInc, float* dst,
                            std::uint32_t nOut, float factor) {
  if (nIn == 0 || nOut == 0) {
    return true;
  }
  if (nIn != nOut) {
    return false;
  }
  if (srcInc == 1) {
    MoveValues(dst, src, nIn);
  } else {
    DVL::Interleave(dst, 1, src, srcInc, nIn);
  }
  DVL::MulFloatIp(dst, nOut, 1, factor);
  return true;
}

namespace DVL {

namespace {

// Up to two values, the most frequent case, are written without a branch.

/// k > 0 values from the left sample on towards the right one, which is not reached.
struct SLine {
  void operator()(float left, float right, float* dst, std::size_t k) const {
    const float step = (right - left) / static_cast<float>(k);
    float y = left + step;
    dst[k - 1] = y;
    dst[0] = left;
    for (std::size_t j = 1; k > 2 && j < k; ++j, y += step) {
      dst[j] = y;
    }
  }
};

/// k > 0 values, each that of the nearer sample; the middle belongs to the left one.
struct SNearest {
  void operator()(float left, float right, float* dst, std::size_t k) const {
    dst[k - 1] = left;
    dst[0] = left;
    if (k > 2) {
      const std::size_t half = k / 2 + 1;
      std::fill(dst, dst + half, left);
      std::fill(dst + half, dst + k, right);
    }
  }
};

/// Values of the nIn - 1 > 1 intervals between samples.
template <class Interval>
void Spread(const float* src, std::uint32_t nIn, std::size_t srcInc, float* dst, std::uint32_t nOut,
            Interval interval) {
  const float ratio = static_cast<float>(nOut) / static_cast<float>(nIn - 1);
  detail::EqualSteps ends(ratio, nOut);
  std::uint32_t from = 0;
  for (std::size_t i = 0; i + 1 < nIn && from < nOut; ++i) {
    const std::uint32_t end = ends.Next();
    if (end > from) {
      interval(src[i * srcInc], src[(i + 1) * srcInc], dst + from, end - from);
    }
    from = end;
  }
  std::fill(dst + from, dst + nOut, dst[from - 1]);
}

void Upsampling(unsigned flags, const float* src, std::uint32_t nIn, std::uint32_t srcInc,
                float* dst, std::uint32_t nOut) {
  if (nIn == 1) {
    SetConstant(dst, nOut, 1, src[0]);
  } else if (nIn == 2) {
    // kept: the second sample is the next one, whatever the increment is, and the row stops one
    // step short of it
    const auto steps = static_cast<float>(std::uint64_t{nOut} + 1);
    FloatRowIp(dst, nOut, 1, src[0], (src[1] - src[0]) / steps);
  } else if ((flags & kResampleLinear) != 0) {
    Spread(src, nIn, srcInc, dst, nOut, SLine());
  } else {
    Spread(src, nIn, srcInc, dst, nOut, SNearest());
  }
}

}  // namespace

void Resamling(unsigned flags, const float* src, std::uint32_t nIn, std::uint32_t srcInc,
               float* dst, std::uint32_t nOut, float factor) {
  if (detail::CopyWhereEqual(src, nIn, srcInc, dst, nOut, factor)) {
    return;
  }
  if (nIn < nOut) {
    Upsampling(flags, src, nIn, srcInc, dst, nOut);
    MulFloatIp(dst, nOut, 1, factor);
  } else if ((flags & kResampleMean) != 0) {
    DownsamlingMean(src, nIn, srcInc, dst, nOut, factor);
  } else {
    DownsamlingMax(src, nIn, srcInc, dst, nOut, factor);
  }
}

}  // namespace DVL

}  // namespace limes
