#pragma once

#include <optional>

#include "limes/core/unit_conversion.h"
#include "recordings/measurement.h"

namespace limes::recordings {

using limes::SUnitConversion;

/// As limes::ConversionBetween; empty without units and for levels. Units of the same meaning in
/// another spelling (Ohm and Ω) convert by the identity. At last rounded to the float or double
/// that is kept.
std::optional<SUnitConversion> ConversionBetween(const SUnit& from, const SUnit& to);

/// Converts values and x; both conversions are those of its units to the ones given.
void Convert(SQuantity& quantity, const SUnitConversion& values, const SUnit& unit,
             const SUnitConversion& x, const SUnit& xUnit);

/// How people write units that the library knows otherwise: "degC" is °C, "N·m" is Nm, "m/s2" is
/// m/s². The text itself where there is nothing to change.
std::string UsualSpelling(std::string_view text);

}  // namespace limes::recordings
