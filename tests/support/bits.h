#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace limes::test {

using Floats = std::vector<float>;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

/// Equal bits, or both NaN: which NaN a computation keeps is the compiler's choice.
template <std::floating_point T>
bool Same(T a, T b) {
  return std::isnan(a) ? std::isnan(b) : a == b && std::signbit(a) == std::signbit(b);
}

/// Where two rows of floats differ; empty when their bits are the same.
inline std::string Difference(std::span<const float> a, std::span<const float> b) {
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
    if (!Same(a[i], b[i])) {
      return std::to_string(a[i]) + " and " + std::to_string(b[i]) + " at " + std::to_string(i);
    }
  }
  return a.size() == b.size() ? "" : "other lengths";
}

/// Floats from raw generator bits, so that a failure repeats on every system. Kinds: 0 moderate
/// values, 1 any bit pattern (NaN, infinities, denormals), 2 few distinct values (ties, signed
/// zeros).
float RandomFloat(auto& random, int kind) {
  const auto bits = static_cast<std::uint32_t>(random());
  switch (kind) {
    case 1:
      return std::bit_cast<float>(bits);
    case 2: {
      constexpr float kFew[] = {0.0F, -0.0F, 1.0F, -1.0F, 2.0F, 0.5F, 1e-40F, 3.0F};
      return kFew[bits >> 29];
    }
    default:
      return (static_cast<float>(bits >> 8) - 8388608.0F) / 65536.0F;
  }
}

inline Floats RandomFloats(std::mt19937& random, std::size_t n, int kind) {
  Floats values(n);
  for (float& v : values) {
    v = RandomFloat(random, kind);
  }
  return values;
}

}  // namespace limes::test
