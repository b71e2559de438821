#pragma once

#include <cstdint>

#include "limes/export.h"

namespace limes {

/// Maps the times of an interval to fractions 0..1 of it and back. Times are whole seconds since
/// 1970-01-01 UTC; any values are allowed, differences saturate. One thread at a time.
class LIMES_EXPORT CTimeFloatScaling {
 public:
  /// An interval of length 0 at time 0.
  CTimeFloatScaling() = default;
  CTimeFloatScaling(std::int64_t start, std::int64_t end) { Set(start, end); }

  void Set(std::int64_t start, std::int64_t end);

  std::int64_t Start() const { return start_; }
  std::int64_t End() const { return end_; }

  /// Length in seconds; negative when the end lies before the start.
  double Span() const { return span_; }

  /// 1 / span; 1.0 for an empty span.
  double Scale() const { return scale_; }

  /// Fraction of t in the interval, (t - start) * scale in double, as float; 0.0 for an empty span.
  float ToFloat(std::int64_t t) const;

  /// A length of time as a fraction of the interval; 0.0 for an empty span.
  float SpanToFloat(std::int64_t seconds) const;

  /// start + x * span, the product truncated to whole seconds; the sum saturates. NaN gives the
  /// start, and so does an empty span.
  std::int64_t ToTime(float x) const;

 private:
  std::int64_t start_ = 0;
  std::int64_t end_ = 0;
  double span_ = 0.0;
  double scale_ = 1.0;
};

/// a - b and a + b, limited to the 64-bit range.
LIMES_EXPORT std::int64_t SaturatingDifference(std::int64_t a, std::int64_t b);
LIMES_EXPORT std::int64_t SaturatingSum(std::int64_t a, std::int64_t b);

}  // namespace limes
