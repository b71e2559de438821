#include "limes/platform/time_scaling.h"

#include <cmath>
#include <limits>

#include "limes/platform/conversions.h"

namespace limes {

std::int64_t SaturatingSum(std::int64_t a, std::int64_t b) {
  using Limits = std::numeric_limits<std::int64_t>;
  if (b > 0 && a > Limits::max() - b) {
    return Limits::max();
  }
  return b < 0 && a < Limits::min() - b ? Limits::min() : a + b;
}

std::int64_t SaturatingDifference(std::int64_t a, std::int64_t b) {
  using Limits = std::numeric_limits<std::int64_t>;
  if (b < 0 && a > Limits::max() + b) {
    return Limits::max();
  }
  return b > 0 && a < Limits::min() + b ? Limits::min() : a - b;
}

void CTimeFloatScaling::Set(std::int64_t start, std::int64_t end) {
  start_ = start;
  end_ = end;
  span_ = static_cast<double>(SaturatingDifference(end, start));
  scale_ = span_ == 0.0 ? 1.0 : 1.0 / span_;
}

float CTimeFloatScaling::ToFloat(std::int64_t t) const {
  return SpanToFloat(SaturatingDifference(t, start_));
}

float CTimeFloatScaling::SpanToFloat(std::int64_t seconds) const {
  return span_ == 0.0 ? 0.0F : static_cast<float>(static_cast<double>(seconds) * scale_);
}

std::int64_t CTimeFloatScaling::ToTime(float x) const {
  if (std::isnan(x)) {
    return start_;
  }
  const double offset = span_ == 0.0 ? 0.0 : std::trunc(double{x} * span_);
  if (std::fabs(offset) >= 0x1p64) {
    using Limits = std::numeric_limits<std::int64_t>;
    return offset < 0.0 ? Limits::min() : Limits::max();
  }
  // In halves, for an offset beyond 64 bits may still lead to a time within them.
  const double half = std::trunc(offset / 2.0);
  return SaturatingSum(SaturatingSum(start_, TruncToInt64(half)), TruncToInt64(offset - half));
}

}  // namespace limes
