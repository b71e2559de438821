#pragma once

#include <bit>
#include <cstdint>

namespace limes::detail {

/// Rounded multiples of a step, added up in float: rounding is part of the result, so a multiple
/// may be off by one, and beyond 2^24 the sum may stand still.
class EqualSteps {
 public:
  /// No multiple is above last.
  EqualSteps(float step, std::uint32_t last) : step_(step), last_(last) {}

  /// The next multiple, rounded to the nearest, of two the even one.
  std::uint32_t Next() {
    constexpr double kMagic = 6755399441055744.0;  // 1.5 * 2^52: its last bits count ones
    place_ += step_;
    const double place = place_;
    const auto nearest = static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(place + kMagic));
    return place < last_ && nearest < last_ ? nearest : last_;
  }

 private:
  float step_;
  std::uint32_t last_;
  float place_ = 0.0F;
};

/// What each kind of resampling begins with: nothing for counts of 0, a copy for equal ones. True
/// when that was all.
bool CopyWhereEqual(const float* src, std::uint32_t nIn, std::uint32_t srcInc, float* dst,
                    std::uint32_t nOut, float factor);

}  // namespace limes::detail
