#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace limes::detail {

/// e^x within 1 ulp, of additions and products in a fixed order: the same bits on every processor,
/// while library functions differ with the processor's fused multiply-add. Overflows to infinity
/// and underflows by denormals to 0; NaN stays NaN.
///
/// x = k ln 2 + r as in W. J. Cody and W. Waite, Software Manual for the Elementary Functions,
/// 1980; the polynomial in r is S. L. Moshier's, Methods and Programs for Mathematical Functions,
/// 1989.
inline float FixedExp(float x) {
  constexpr float kLargest = 89.0F;      // infinite from here on
  constexpr float kSmallest = -104.0F;   // 0 from here on
  constexpr float kRound = 12582912.0F;  // 1.5 * 2^23: the sum has no place for a fraction
  const float below = x > kLargest ? kLargest : x;
  const float y = below < kSmallest ? kSmallest : below;
  const float shifted = y * 1.44269504F + kRound;
  const float k = shifted - kRound;
  const float r = (y - k * 0.693359375F) + k * 2.12194440e-4F;
  float p = 1.9875691500e-4F;
  p = p * r + 1.3981999507e-3F;
  p = p * r + 8.3334519073e-3F;
  p = p * r + 4.1665795894e-2F;
  p = p * r + 1.6666665459e-1F;
  p = p * r + 5.0000001201e-1F;
  p = p * (r * r) + r + 1.0F;
  // 2^k as two factors that are floats both, so that only the last product is rounded.
  const std::int32_t exponent =
      std::bit_cast<std::int32_t>(shifted) - std::bit_cast<std::int32_t>(kRound);
  const std::int32_t half = exponent >> 1;
  constexpr std::uint32_t kBias = 127;
  const auto power = [](std::int32_t e) {
    return std::bit_cast<float>((static_cast<std::uint32_t>(e) + kBias) << 23U);
  };
  return p * power(half) * power(exponent - half);
}

/// Values that ScaledExps takes at a time.
inline constexpr std::size_t kExpRow = 32;

/// y = FixedExp(x * scale) * factor for kExpRow values; x and y must not overlap.
void ScaledExps(const float* x, float scale, float factor, float* y);

}  // namespace limes::detail
