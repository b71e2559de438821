#pragma once

#include <optional>

#include "recordings/measurement.h"

namespace limes::recordings {

/// How values in one unit become values in another: (value * factor + offset) / divisor, all three
/// exact in decimals, each step in double, at last rounded to the float or double that is kept.
struct SUnitConversion {
  double factor = 1.0;
  double offset = 0.0;
  double divisor = 1.0;

  bool IsIdentity() const { return factor == divisor && offset == 0.0; }
  double operator()(double value) const { return (value * factor + offset) / divisor; }

  /// Of a step, which has no offset.
  double Step(double step) const { return step * factor / divisor; }
};

/// Between units of one kind whose ratio is exact: prefixes (mm and m), products and powers of such
/// (N/mm² and MPa are not: their kinds differ in name), °C, °F and K, h, min and s, bar and Pa, l
/// and m³, km/h and m/s, t and kg, rpm and 1/min; empty for others, and for levels. Units of the
/// same meaning in another spelling (Ohm and Ω) convert by the identity. O(length of the texts).
std::optional<SUnitConversion> ConversionBetween(const SUnit& from, const SUnit& to);

/// Converts values and x; both conversions are those of its units to the ones given.
void Convert(SQuantity& quantity, const SUnitConversion& values, const SUnit& unit,
             const SUnitConversion& x, const SUnit& xUnit);

/// How people write units that the library knows otherwise: "degC" is °C, "N·m" is Nm, "m/s2" is
/// m/s². The text itself where there is nothing to change.
std::string UsualSpelling(std::string_view text);

}  // namespace limes::recordings
