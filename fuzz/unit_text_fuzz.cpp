// Unit texts: parsing never fails badly, and what a built-in linear unit shows reads back as it.
#include <stdexcept>
#include <string>

#include "fuzz/fuzz.h"
#include "limes/core/measuring_unit.h"
#include "limes/platform/arith_expression.h"

namespace limes::fuzz {
namespace {

bool ReadsBack(const CMeasuringUnit& unit) {
  using Unit = CMeasuringUnit;
  const unsigned base = unit.Unit_e();
  const int power = unit.power();
  const int thousands = power == 0 ? 0 : unit.exponent() / power / 3;
  // km/h, mph and pu begin with a prefix letter, which parsing splits off.
  const bool splits =
      base == Unit::kilometrePerHour || base == Unit::milePerHour || base == Unit::perUnit;
  return base > 0 && base < Unit::kBuiltInUnits && !unit.is_log() && power >= -1000 &&
         power <= 1000 && unit.exponent() == 3 * thousands * power && thousands >= -5 &&
         thousands <= 4 && !(splits && thousands == 0);
}

}  // namespace

void Try(Input input) {
  const std::string bytes(TextOf(input));
  const wide_string text = Utf8ToWide(bytes);
  CMeasuringUnit unit;
  static_cast<void>(unit.set(text));
  if (ReadsBack(unit)) {
    CMeasuringUnit back;
    static_cast<void>(back.set(unit.prefixunit()));
    Require(back == unit);
  }
  static_cast<void>(unit.setA(bytes.c_str()));
  static_cast<void>(unit.prefixunitA());
  static_cast<void>(unit.mainunit());
  static_cast<void>(unit.ExactText());
  static_cast<void>(CMeasuringUnit::FromText(text));

  CArithExpression expression;
  try {
    expression.Process(text);
  } catch (const std::invalid_argument&) {
    return;
  }
  constexpr std::size_t kShort = 60;  // its infix form keeps within the limits of a text
  if (text.size() <= kShort) {
    CArithExpression again;
    again.Process(expression.Infix());
    Require(again.Infix() == expression.Infix() &&
            again.Tokens().size() == expression.Tokens().size());
  }
}

}  // namespace limes::fuzz
