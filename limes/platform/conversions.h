#pragma once

#include <concepts>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace limes {

/// The integer part of value, defined for every input: NaN gives the smallest value of Int, what
/// lies out of range the nearest end.
template <class Int>
constexpr Int TruncTo(double value) noexcept {
  static_assert(std::is_integral_v<Int>);
  using Limits = std::numeric_limits<Int>;
  // 2^digits is exact where the largest value of 64 bits is not.
  constexpr double kEnd = 2.0 * static_cast<double>(std::uint64_t{1} << (Limits::digits - 1));
  if (!(value > static_cast<double>(Limits::min()))) {
    return Limits::min();
  }
  return value >= kEnd ? Limits::max() : static_cast<Int>(value);
}

constexpr std::uint8_t TruncToUint8(double value) noexcept { return TruncTo<std::uint8_t>(value); }
constexpr std::int16_t TruncToInt16(double value) noexcept { return TruncTo<std::int16_t>(value); }
constexpr std::int32_t TruncToInt32(double value) noexcept { return TruncTo<std::int32_t>(value); }
constexpr std::uint32_t TruncToUint32(double value) noexcept {
  return TruncTo<std::uint32_t>(value);
}
constexpr std::int64_t TruncToInt64(double value) noexcept { return TruncTo<std::int64_t>(value); }

/// The value, or the end of Int nearest to it.
template <std::integral Int, std::integral From>
constexpr Int SaturateTo(From value) noexcept {
  using Limits = std::numeric_limits<Int>;
  if constexpr (std::is_signed_v<From>) {
    if (value < 0) {
      return std::is_signed_v<Int> && std::intmax_t{value} >= std::intmax_t{Limits::min()}
                 ? static_cast<Int>(value)
                 : Limits::min();
    }
  }
  return static_cast<std::uintmax_t>(value) > static_cast<std::uintmax_t>(Limits::max())
             ? Limits::max()
             : static_cast<Int>(value);
}

}  // namespace limes
