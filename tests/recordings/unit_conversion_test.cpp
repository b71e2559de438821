#include "recordings/unit_conversion.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/messages.h"

namespace limes::recordings {
namespace {

TEST(Units, SpellingsOfKnownUnitsAreThese) {
  const test::Messages messages;
  const std::pair<const char*, const char*> cases[] = {
      {"degC", "°C"},     {"N·m", "Nm"},      {"kN*m", "kNm"},    {"m/s2", "m/s²"},
      {"mm/s2", "mm/s²"}, {"m/s**2", "m/s²"}, {"J", "J"},         {"kg", "kg"},
      {"Ohm", "Ohm"},     {"1/min", "1/min"}, {"l/min", "l/min"}, {"Nm/rad", "Nm/rad"},
      {"H2", "H2"},       {"g²/Hz", "g²/Hz"}, {"m·s", "m·s"},
  };
  for (const auto& [text, shown] : cases) {
    EXPECT_EQ(ParseUnit(text).Display(), shown);
  }
}

TEST(Units, ConversionsAreExactInDecimals) {
  const test::Messages messages;
  constexpr struct {
    const char* from;
    const char* to;
    double value;
    double expected;
  } kCases[] = {
      {"mm", "m", 1234.5, 1.2345},
      {"m", "mm", 0.1, 100.0},
      {"kHz", "Hz", 1.5, 1500.0},
      {"°C", "K", 20.0, 293.15},
      {"K", "degC", 273.15, 0.0},
      {"°F", "°C", 32.0, 0.0},
      {"°C", "°F", 100.0, 212.0},
      {"bar", "kPa", 1.25, 125.0},
      {"mbar", "Pa", 3.0, 300.0},
      {"min", "s", 1.5, 90.0},
      {"ms", "h", 7200000.0, 2.0},
      {"km/h", "m/s", 36.0, 10.0},
      {"mph", "km/h", 100.0, 160.9344},
      {"l/min", "m³/h", 50.0, 3.0},
      {"l/min", "m3/h", 50.0, 3.0},
      {"1/min", "rpm", 900.0, 900.0},
      {"U/min", "1/min", 7.0, 7.0},
      {"kg", "g", 0.25, 250.0},
      {"t", "kg", 2.0, 2000.0},
      {"mg", "kg", 5.0, 5e-6},
      {"N·mm", "mN·m", 1.0, NAN},
      {"kN·m", "Nm", 2.0, 2000.0},
      {"Ohm", "kΩ", 470.0, 0.47},
      {"kWh", "MJ", 1.0, 3.6},
      {"N/mm²", "N/m²", 1.0, 1e6},
      {"N/mm2", "kN/m^2", 1.0, 1e3},
      {"W/(m·K)", "mW/(mm·K)", 2.0, 2.0},
      {"°C/min", "K/s", 60.0, 1.0},
      {"inch", "mm", 10.0, 254.0},
      {"mm/s2", "m/s²", 5.0, 0.005},
      {"m/s2", "g", 9.81, NAN},
      {"Hz", "rpm", 50.0, NAN},
      {"Nm", "J", 1.0, NAN},
      {"m", "s", 1.0, NAN},
      {"dB(Pa)", "dB(kPa)", 1.0, NAN},
      {"", "m", 1.0, NAN},
      {"foo", "kfoo", 1.0, NAN},
      {"m^", "mm^", 1.0, NAN},
      {"(m", "(mm", 1.0, NAN},
      {"m/", "mm/", 1.0, NAN},
      {"Tm^9", "fm^9", 1.0, NAN},
      {"°", "rad", 1.0, NAN},
  };
  for (const auto& c : kCases) {
    const auto conversion = ConversionBetween(ParseUnit(c.from), ParseUnit(c.to));
    ASSERT_EQ(conversion.has_value(), !std::isnan(c.expected)) << c.from << " " << c.to;
    if (conversion) {
      EXPECT_EQ((*conversion)(c.value), c.expected) << c.from << " " << c.to;
      const auto back = ConversionBetween(ParseUnit(c.to), ParseUnit(c.from));
      EXPECT_FLOAT_EQ(static_cast<float>((*back)(c.expected)), static_cast<float>(c.value));
    }
  }
}

TEST(Units, QuantitiesConvertWithTheirX) {
  SQuantity q;
  q.values = {0.1F, 3.3F};
  q.x0 = -20.0;
  q.dx = 0.5;
  q.x = {0.1F, 0.3F};
  Convert(q, {1.0, 0.0, 1000.0}, ParseUnit("m"), {1.0, 273.15, 1.0}, ParseUnit("K"));
  EXPECT_EQ(q.values, (std::vector<float>{static_cast<float>(double{0.1F} / 1000.0),
                                          static_cast<float>(double{3.3F} / 1000.0)}));
  EXPECT_EQ(q.x0, 253.14999999999998);
  EXPECT_EQ(q.dx, 0.5);
  EXPECT_EQ(q.x[0], static_cast<float>(double{0.1F} + 273.15));
  EXPECT_EQ(q.unit.Display() + " over " + q.xUnit.Display(), "m over K");
}

}  // namespace
}  // namespace limes::recordings
