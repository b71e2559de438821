#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace limes::host {

/// A value of a stored text. Throws std::exception for one of another kind, and for a number that
/// the type does not hold, which the library would wrap around.
template <class T>
T ValueOf(const nlohmann::json& json) {
  if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>) {
    const bool fits = json.is_number_unsigned()
                          ? std::in_range<T>(json.get<std::uint64_t>())
                          : json.is_number_integer() && std::in_range<T>(json.get<std::int64_t>());
    if (!fits) {
      throw std::range_error("a number is not whole, or out of range");
    }
  }
  return json.get<T>();
}

}  // namespace limes::host
