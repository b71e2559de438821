// Unit texts: parsing never fails badly, and what a built-in linear unit shows reads back as it.
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "limes/core/measuring_unit.h"
#include "limes/platform/arith_expression.h"
#include "limes/platform/print_window.h"

namespace {

bool ReadsBack(const limes::CMeasuringUnit& unit) {
  using Unit = limes::CMeasuringUnit;
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

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto kSilent = limes::PrWin::SetSink([](int, int, std::u16string_view) {});
  static_cast<void>(kSilent);
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const limes::wide_string text = limes::Utf8ToWide(bytes);
  limes::CMeasuringUnit unit;
  static_cast<void>(unit.set(text));
  if (ReadsBack(unit)) {
    limes::CMeasuringUnit back;
    static_cast<void>(back.set(unit.prefixunit()));
    if (!(back == unit)) {
      std::abort();
    }
  }
  static_cast<void>(unit.setA(bytes.c_str()));
  static_cast<void>(unit.prefixunitA());
  static_cast<void>(unit.mainunit());
  static_cast<void>(unit.ExactText());
  static_cast<void>(limes::CMeasuringUnit::FromText(text));

  limes::CArithExpression expression;
  try {
    expression.Process(text);
  } catch (const std::invalid_argument&) {
    return 0;
  }
  constexpr std::size_t kShort = 60;  // its infix form keeps within the limits of a text
  if (text.size() <= kShort) {
    limes::CArithExpression again;
    again.Process(expression.Infix());
    if (again.Infix() != expression.Infix() ||
        again.Tokens().size() != expression.Tokens().size()) {
      std::abort();
    }
  }
  return 0;
}
