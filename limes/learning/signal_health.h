#pragma once

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

/// The health in words, in English.
LIMES_EXPORT const wide_char* Text(SignalHealth health);

/// Looks at the samples of a recording, before spectra and levels are made of them. Unknown for
/// fewer than 2 samples. NaN is a value like any other. O(n).
LIMES_EXPORT SignalHealth HealthOf(std::span<const float> samples);

}  // namespace limes
