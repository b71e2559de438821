#pragma once

#include <optional>
#include <string_view>

#include "limes/export.h"

namespace limes {

/// How values in one unit become values in another: (value * factor + offset) / divisor, all three
/// exact in decimals (but the offset between levels), each step in double.
struct SUnitConversion {
  double factor = 1.0;
  double offset = 0.0;
  double divisor = 1.0;

  bool IsIdentity() const { return factor == divisor && offset == 0.0; }
  double operator()(double value) const { return (value * factor + offset) / divisor; }

  /// Of a step or a spread, which have no offset.
  double Step(double step) const { return step * factor / divisor; }
};

/// Between linear units as people write them, of one kind and with an exact ratio: prefixes (mm and
/// m), products and powers of such (N/mm² and MPa are not: their kinds differ in name), °C, °F and
/// K, h, min and s, bar and Pa, l and m³, km/h and m/s, t and kg, rpm and 1/min; g is the gram.
/// Empty for others. O(length of the texts).
LIMES_EXPORT std::optional<SUnitConversion> ConversionBetween(std::u16string_view from,
                                                              std::u16string_view to);

}  // namespace limes
