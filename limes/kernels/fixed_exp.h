#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace limes::detail {

/// x = e^x within 1 ulp, of additions and products in a fixed order: the same bits on every
/// processor, while library functions differ with the processor's fused multiply-add. Overflows to
/// infinity and underflows by denormals to 0; NaN stays NaN. For a float, or a vector of them with
/// as many 32-bit unsigned integers. By reference: how a vector is passed depends on the processor.
///
/// x = k ln 2 + r as in W. J. Cody and W. Waite, Software Manual for the Elementary Functions,
/// 1980; the polynomial in r is S. L. Moshier's, Methods and Programs for Mathematical Functions,
/// 1989.
template <class Float, class Bits>
__attribute__((always_inline)) inline void TakeFixedExp(Float& x) {
  constexpr float kRound = 12582912.0F;      // 1.5 * 2^23: the sum has no place for a fraction
  const Float largest = 89.0F - Float{};     // infinite from here on
  const Float smallest = -104.0F - Float{};  // 0 from here on
  x = x > largest ? largest : x;
  x = x < smallest ? smallest : x;
  const Float shifted = x * 1.44269504F + kRound;
  const Float k = shifted - kRound;
  const Float r = (x - k * 0.693359375F) + k * 2.12194440e-4F;
  Float p = 1.9875691500e-4F * r + 1.3981999507e-3F;
  p = p * r + 8.3334519073e-3F;
  p = p * r + 4.1665795894e-2F;
  p = p * r + 1.6666665459e-1F;
  p = p * r + 5.0000001201e-1F;
  p = p * (r * r) + r + 1.0F;
  // 2^k as two factors that are floats both, so that only the last product is rounded.
  constexpr std::uint32_t kTwoBiases = 254;
  Bits exponents;
  std::memcpy(&exponents, &shifted, sizeof(exponents));
  exponents -= std::bit_cast<std::uint32_t>(kRound) - kTwoBiases;
  Bits half = exponents >> 1U;
  exponents = (exponents - half) << 23U;
  half <<= 23U;
  std::memcpy(&x, &half, sizeof(half));
  p *= x;
  std::memcpy(&x, &exponents, sizeof(exponents));
  x *= p;
}

inline float FixedExp(float x) {
  TakeFixedExp<float, std::uint32_t>(x);
  return x;
}

}  // namespace limes::detail
