#pragma once

#include <cstddef>
#include <span>

#include "limes/export.h"
#include "limes/platform/text.h"

namespace limes {

/// What a recording says of its sensor.
enum class SignalHealth {
  kUnknown,   ///< not looked at
  kHealthy,   ///< none of the others
  kSilent,    ///< all values are 0
  kConstant,  ///< all values are the same
  kClipped,   ///< it ran at full scale
};

/// Fewer values may all be the same by nature, as the levels of a few bands: that tells nothing.
inline constexpr std::size_t kLeastConstant = 16;

/// The health in words, in English.
LIMES_EXPORT const wide_char* Text(SignalHealth health);

/// Looks at the samples of a recording, before spectra and levels are made of them. Clipped is one
/// that swings about 0, has more than 32 different values, and lies at its outermost value, on a
/// side that reaches at least half as far as the other, either 3 times for 3 samples and more, or
/// 8 times and 4 times as often as at the next value inside. A recording scaled afterwards is
/// found all the same. Unknown for fewer than 2 samples, and for fewer than kLeastConstant that are
/// all the same. NaN counts for nothing. O(n).
LIMES_EXPORT SignalHealth HealthOf(std::span<const float> samples);

}  // namespace limes
