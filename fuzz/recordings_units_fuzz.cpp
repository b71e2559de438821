// Texts of units, parted by a line end: what converts there converts back to nearly the same.
#include <cmath>

#include "fuzz/fuzz.h"
#include "recordings/unit_conversion.h"

void limes::fuzz::Try(Input input) {
  using namespace limes::recordings;
  const std::string_view text = TextOf(input);
  const std::size_t end = std::min(text.find('\n'), text.size());
  const SUnit from = ParseUnit(text.substr(0, end));
  const SUnit to = ParseUnit(text.substr(std::min(end + 1, text.size())));
  const auto there = ConversionBetween(from, to);
  const auto back = ConversionBetween(to, from);
  Require(there.has_value() == back.has_value());
  if (there) {
    constexpr double kValue = 1.5;
    const double size = std::fabs(there->offset / there->factor) + kValue;
    Require(std::fabs((*back)((*there)(kValue)) - kValue) <= 1e-12 * size);
  }
}
