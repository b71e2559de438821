#include "limes/core/measuring_unit.h"

#include <cmath>
#include <cstdlib>
#include <random>

#include "limes/core/unit_conversion.h"
#include "tests/support/hostile.h"
#include "tests/support/messages.h"

namespace limes::test {
namespace {

/// Unit, exponent, power, whether it is a level, and the text shown.
std::string State(const CMeasuringUnit& unit) {
  return Exact{unit.Unit_e(), unit.Exponent(), unit.Power(), unit.is_log(), unit.prefixunit()}.text;
}

TEST(MeasuringUnit, ParsesAndShowsTexts) {
  const Messages messages;
  for (const auto& [text, state] :
       Rows("kHz: 8 3 1 0 kHz; UpM: 9 0 1 0 rpm; m/s²: 16 0 1 0 m/s²; m/s^2: 16 0 1 0 m/s²; "
            "km/s²: 16 3 1 0 km/s²; m²: 18 0 2 0 m²; km²: 18 6 2 0 km²; %²: 6 0 2 0 %²; "
            "°C²: 15 0 2 0 °C²; (m/s)²: 23 0 2 0 (m/s)²; (km/s)²: 23 6 2 0 (km/s)²; "
            "(m/s²)^4: 16 0 4 0 (m/s²)^4; km^4: 18 12 4 0 km^4; kHz^(-1): 8 -3 -1 0 kHz^(-1); "
            "Hz^(2*3-4): 8 0 2 0 Hz²; V^0: 12 0 0 0 V^0; V^9: 12 0 9 0 V^9; dB(Pa): 13 0 1 1 "
            "dB(Pa); "
            "dB(A): 13 0 1 1 dB(Pa); dB(m/s²): 16 0 1 1 dB(m/s²); dB(V²): 12 0 2 1 (dB(V))²; "
            "dB(kV): 12 3 1 1 kdB(V); (m^2)²: 18 0 3 0 m³; kkm/h: 21 3 1 0 kkm/h; "
            "dB((m/s)²): 0 0 2 1 -; kdB(Pa): 0 3 1 0 -; (dB(Pa))²: 0 0 2 0 -; "
            "rad/s^2: 0 0 1 0 -; Hz^(1/2): 0 0 1 0 -; Hz^1001: 0 0 1 0 -; Hz^f(2): 0 0 1 0 -; "
            "((((: 0 0 1 0 -")) {
    CMeasuringUnit unit;
    EXPECT_TRUE(unit.set(text));
    EXPECT_EQ(State(unit), state) << WideToUtf8(text);
  }
  CMeasuringUnit unit(u"dB(Pa)");
  EXPECT_EQ(unit.Logref(), 2e-5F);
  for (const char16_t* text : {u"", u"dB(", u"dB()"}) {
    EXPECT_FALSE(unit.set(text));
    EXPECT_EQ(unit.is_log(), *text != 0);
    EXPECT_EQ(unit == u"-", *text == 0);
  }
}

TEST(MeasuringUnit, KeepsPrefixBeforeLookUp) {
  Messages messages;
  EXPECT_EQ(CMeasuringUnit(u"kg").exponent(), 3);
  for (const char16_t* text : {u"km/h", u"mph", u"pu"}) {
    EXPECT_TRUE(CMeasuringUnit(text).empty());
    EXPECT_EQ(CMeasuringUnit(text, 0, 2).baseunit(), text) << "taken whole with a power";
  }
  messages.printed.clear();
  EXPECT_EQ(CMeasuringUnit(u"dB((m/s)²)").power(), 2);
  EXPECT_EQ(messages.printed,
            "0 0 CMeasuringUnit::set(): Invalid argument: dB((m/s)²) caused: operand expected\n"
            "1 3 CMeasuringUnit::UnitStrings: Unknown measuring unit ‘...’ rejected!\n");
}

/// Ends after the table of units, which is made later.
const struct Last {
  ~Last() { EXPECT_EQ(CMeasuringUnit(u"kHz").baseunit(), u"Hz"); }
} g_last;

TEST(MeasuringUnit, TextsReadBackAsShown) {
  for (unsigned base = 1; base < CMeasuringUnit::kBuiltInUnits; ++base) {
    const bool splits = base == 21 || base == 22 || base == 27;  // km/h, mph, pu
    for (int thousands = -7; thousands <= 6; ++thousands) {
      for (const int power : {1, 2, 3, 4, -1, -2, 0}) {
        for (const float logref : {0.0F, base == commonUnits::pascal ? 2e-5F : 1.0F}) {
          CMeasuringUnit unit;
          unit.set(base, static_cast<short>(3 * thousands * power), static_cast<short>(power),
                   logref);
          const wide_string text = unit.prefixunit();
          if (base != commonUnits::ampere || logref == 0.0F) {  // dB(A) is of sound pressure
            EXPECT_EQ(CMeasuringUnit::FromText(text), unit) << WideToUtf8(text);
          }
          if (thousands >= -5 && thousands <= 4 && logref == 0.0F &&
              (!splits || (thousands != 0 && power != 0))) {
            EXPECT_EQ(CMeasuringUnit(text), unit) << WideToUtf8(text);
          }
        }
      }
    }
  }
  const CMeasuringUnit hidden(commonUnits::metrePerSecond, -4, 3);
  EXPECT_EQ(CMeasuringUnit::FromText(hidden.ExactText()), hidden);
}

/// Parentheses that change nothing keep a text from the short way through the parser.
void ExpectSameTheLongWay(const wide_string& text) {
  if (text.size() < 2) {
    return;
  }
  CMeasuringUnit shortWay;
  CMeasuringUnit longWay;
  EXPECT_EQ(shortWay.set(text), longWay.set(Format(u"(%s)", text)));
  EXPECT_EQ(shortWay, longWay) << WideToUtf8(text);
  EXPECT_EQ(shortWay.prefixunit(), longWay.prefixunit());
}

TEST(MeasuringUnit, ShortWayThroughTheParserGivesWhatTheLongOneGives) {
  const Messages messages;
  const auto& strings = CMeasuringUnit::UnitStrings::theStrings();
  for (unsigned base = 1; base < CMeasuringUnit::kBuiltInUnits; ++base) {
    for (const char16_t* prefix : {u"", u"k", u"m", u"µ", u"u", u"T", u"q", u" "}) {
      for (const char16_t* suffix : {u"", u"²", u"³", u" ", u" ²", u"²³", u"^4", u"^x", u"/s²"}) {
        ExpectSameTheLongWay(Format(u"%s%s%s", prefix, strings[base], suffix));
      }
    }
  }
  std::mt19937 random(7);
  for (int i = 0; i < 20000; ++i) {
    wide_string text;
    for (std::size_t n = 2 + random() % 6; n > 0; --n) {
      text += u"mksHzVµ°% /^²³2"[random() % 15];
    }
    ExpectSameTheLongWay(text);
  }
}

TEST(MeasuringUnit, ShowsPrefixPowerAndLevel) {
  // Unit, exponent, power, reference: shown, main unit, exact.
  for (const auto& [fields, texts] :
       Rows("7 -1 1 0: ms|s|10^-1 s; 7 1 1 0: s|s|10^1 s; 18 6 2 0: km²|m²|km²; "
            "18 15 1 0: 10^15·m|m|10^15·m; 18 -18 1 0: 10^-18·m|m|10^-18·m; "
            "13 3 1 2e-5: kdB(Pa)|dB(Pa)|kdB(Pa); 12 0 2 1: (dB(V))²|dB(V²)|(dB(V))²; "
            "12 5 0 0: V^0|V^0|10^5 V^0; 999 0 1 0: ?|?|?; "
            "7 32767 -32768 0: s^(-32768)|s^(-32768)|10^32767 s^(-32768)")) {
    std::int32_t base = 0, exponent = 0, power = 0;
    float logref = 0.0F;
    Scan(fields, u"%d %d %d %f", &base, &exponent, &power, &logref);
    CMeasuringUnit unit;
    unit.set(static_cast<unsigned>(base), static_cast<short>(exponent), static_cast<short>(power),
             logref);
    EXPECT_SHOWN(texts, unit.prefixunit() + u"|" + unit.mainunit() + u"|" + unit.ExactText());
  }
  CMeasuringUnit::SetGlobalFlags(3);
  EXPECT_EQ(CMeasuringUnit(u"dB(Pa)"), u"dB(A)");
  EXPECT_EQ(CMeasuringUnit(commonUnits::gravity, 3, 1, 1.0F), u"kdB");
  CMeasuringUnit::SetGlobalFlag(32, false);
  EXPECT_FALSE(CMeasuringUnit::TestGlobalFlag(0));
  CMeasuringUnit::SetGlobalFlags(0);
  EXPECT_STREQ(CMeasuringUnit(u"µm").prefixunitA(), "\xB5m");
  CMeasuringUnit latin;
  EXPECT_SHOWN("1 16 0", latin.setA("m/s\xB2"), latin.Unit_e(), latin.setA(nullptr));
  const SMeasuringUnitPOD plain(CMeasuringUnit(u"dB(kV)"));
  EXPECT_SHOWN("12 3 1 1 1", plain.unit, plain.exponent, plain.power, plain.logref, plain.flags);
}

TEST(MeasuringUnit, PowersRootsAndInverse) {
  CMeasuringUnit unit(commonUnits::metre, 3);
  EXPECT_EQ(unit.power(2), u"km²");
  EXPECT_TRUE(unit.root(2));
  EXPECT_EQ(unit, u"km");
  unit.power(3);
  EXPECT_FALSE(unit.root(2) || unit.root(0) || unit.root(6));
  EXPECT_EQ(unit, u"km³");
  for (const auto& [text, inverse] :
       Rows("ms: 8 3 1 0 kHz; Hz: 7 0 1 0 s; V: 12 0 -1 0 V^(-1); "
            "dB(Pa): 13 0 1 1 dB(Pa); °: 11 0 1 0 ord; : 0 0 -1 0 -")) {
    CMeasuringUnit of(text);
    of.invert();
    EXPECT_EQ(State(of), inverse);
  }
  CMeasuringUnit angle(commonUnits::degree);
  angle.invert();
  angle.invert();
  EXPECT_EQ(angle, u"rev");
  CMeasuringUnit huge(commonUnits::volt, -32768, -32768);
  EXPECT_TRUE(huge.root(-1));
  EXPECT_EQ(huge.power(3).exponent(), -32768) << "16 bits are kept";
}

TEST(MeasuringUnit, KeepsPowerZeroAndTextsUntouchedByReferenceAndFlag) {
  CMeasuringUnit unit(commonUnits::volt, 3);
  unit.clearPower();
  EXPECT_EQ(unit, u"V^0");
  unit.clearExponent();
  EXPECT_FALSE(unit.root(1));
  EXPECT_EQ(SMeasuringUnitPOD().power, 0);
  unit = CMeasuringUnit(commonUnits::volt);
  for (const float reference : {1.0F, std::nanf("")}) {
    unit.logref(reference);
    EXPECT_TRUE(unit.is_log());
    EXPECT_EQ(unit, u"V");
  }
  EXPECT_FALSE(unit == CMeasuringUnit(unit)) << "NaN";
  unit.logref(-0.0F);
  EXPECT_FALSE(unit.is_log());
  unit.clear();
  EXPECT_EQ(unit, u"");
}

TEST(MeasuringUnit, FromTextLooksUpBeforeItParses) {
  const Messages messages;
  for (const auto& [text, shown] :
       Rows("km/h: 1 21 0; mph: 1 22 0; rad/s^2: 1 25 0; kHz: 1 8 3; kg: 0 17 3; "
            "furlong: 0 0 0; : 0 0 0; dB(Pa): 1 13 0; \u03BCPa: 1 13 -6; "
            "V^(1200-300): 1 12 0; kV^(1200-100): 0 0 0; parsec²: 0 0 0")) {
    bool exact = shown[0] == '0';
    const CMeasuringUnit unit = CMeasuringUnit::FromText(text, &exact);
    EXPECT_SHOWN(shown, exact, unit.Unit_e(), unit.exponent()) << WideToUtf8(text);
  }
  EXPECT_EQ(CMeasuringUnit::FromText(u"V^(1200-300)").power(), 900);
  EXPECT_NE(messages.printed.find("‘furlong’ rejected"), std::string::npos) << "named whole";
}

TEST(UnitStrings, RejectsOrRegistersUnknownTexts) {
  const Messages messages;
  auto& strings = CMeasuringUnit::UnitStrings::theStrings();
  EXPECT_EQ(strings.index(u"smoot"), 0U);
  EXPECT_EQ(messages.printed,
            "1 3 CMeasuringUnit::UnitStrings: Unknown measuring unit ‘smoot’ rejected!\n");
  EXPECT_FALSE(strings.allowAddNewUnits(true));
  const unsigned added = strings.index(u"smoot");
  EXPECT_GE(added, CMeasuringUnit::kBuiltInUnits);
  EXPECT_NE(messages.printed.find("‘smoot’ registered as #" + std::to_string(added)),
            std::string::npos);
  EXPECT_EQ(strings.index(u"smoot"), added);
  bool exact = true;
  EXPECT_FALSE(CMeasuringUnit::FromText(u"min", &exact).empty());
  EXPECT_SHOWN("0 1", exact, strings.allowAddNewUnits(false)) << "milli-in, not known before";
  EXPECT_EQ(CMeasuringUnit(u"ksmoot"), u"ksmoot");
}

TEST(UnitStrings, KeepsReciprocalOfTheRowBehindForTexts) {
  EXPECT_EQ(CMeasuringUnit::UnitStrings::inverseIndex(u"s"), 7U);
  EXPECT_EQ(CMeasuringUnit::UnitStrings::inverseIndex(u"-"), 27U);
  EXPECT_EQ(CMeasuringUnit::UnitStrings::inverseIndex(u"W"), 0U);
  wide_string all;
  for (unsigned unit = 0; unit <= CMeasuringUnit::kBuiltInUnits; ++unit) {
    all += Format(u"%u ", CMeasuringUnit::UnitStrings::inverseIndex(unit));
  }
  EXPECT_EQ(WideToUtf8(all),
            "0 27 0 0 0 0 0 8 7 0 11 10 0 0 0 0 0 0 0 11 11 0 0 0 0 0 0 1 0 0 0 0 ");
}

TEST(UnitStringsDeathTest, RejectWhatIsBeyondTheLargestTable) {
  EXPECT_EXIT(
      {
        const Messages messages;
        auto& strings = CMeasuringUnit::UnitStrings::theStrings();
        unsigned last = 0;
        for (unsigned i = 0, unit = 1; unit != 0; ++i) {
          unit = strings.FindOrAdd(Format(u"unit %u", i), true, false);
          last = std::max(last, unit);
        }
        std::_Exit(last == 65535 && strings[last + 1] == u"?" ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

constexpr auto kWriteWithText = [](const CMeasuringUnit& unit, CFileStream& file) {
  return unit.WriteToFileWithText(file);
};

CMeasuringUnit Registered(const wide_string& text) {
  auto& strings = CMeasuringUnit::UnitStrings::theStrings();
  CMeasuringUnit unit;
  unit.set(strings.FindOrAdd(text, true, false), 0, 1, 0.0F);
  return unit;
}

TEST(MeasuringUnitRecord, ReadsAllVersionsAndRefusesTheRest) {
  const Messages messages;
  const CMeasuringUnit level(commonUnits::pascal, 3, 1, 2e-5F);
  const Bytes pinned = {2, 0, 13, 0, 0, 0, 3, 0, 1, 0, 0xAC, 0xC5, 0xA7, 0x37, 1, 0, 0, 0};
  EXPECT_EQ(Written(level, [](auto& u, CFileStream& file) { return u.WriteToFile(file); }), pinned);
  const std::pair<Bytes, const char*> cases[] = {
      {pinned, "1 kdB(Pa)"},
      {{13, 0, 8, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0}, "0 km"},
      {{1, 0, 8, 0, 0, 0, 3, 0, 1, 0, 0, 0, 0, 0}, "1 kHz"},
      {{0, 0, 1, 2, 3, 4, 5, 6, 7, 8}, "1 -"},  // version 0, no text
      {{0, 0, 1, 2}, "0 -"},
      {{0, 2, 'H', 'z', 3, 0, 1, 0, 0, 0, 0, 0}, "1 kHz"},
      {{1, 5, 's', 'm', 'o', 'o', 't', 99, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0}, "1 smoot"},
      {{0, 3, 'V', 0, 'x', 3, 0, 1, 0, 0, 0, 0, 0}, "1 kV"},  // a 0 ends the text
      {{0, 4, 'b', 'l', 'i', 'p', 3, 0, 1, 0, 0, 0, 0, 0}, "1 kblip"},
      {{2, 5, 's'}, "0 "},
      {{2, 0, 8, 0, 0, 0, 3, 0, 1, 0, 0, 0, 0, 0, 1}, "0 "},
  };
  for (const auto& [bytes, shown] : cases) {
    CMemoryStream file(bytes);
    CMeasuringUnit unit(commonUnits::metre, 3);
    const bool ok = unit.ReadFromFile(file);
    EXPECT_SHOWN(shown, ok, unit.prefixunit());
    EXPECT_TRUE(!ok || file.Remaining() == 0) << shown;
  }
  ExpectHostileSafe(
      Written(Registered(u"smoot"), kWriteWithText), [] { return CMeasuringUnit(); },
      [](CMeasuringUnit& unit, CFileStream& stream) { return unit.ReadFromFile(stream); },
      kWriteWithText, {.keepsState = false});
  for (const wide_string& text : {wide_string(u"\u2126"), wide_string(256, u'a')}) {
    CMemoryStream none;
    EXPECT_FALSE(Registered(text).WriteToFileWithText(none));
    EXPECT_TRUE(none.Bytes().empty());
  }
  CMeasuringUnit outside;
  outside.set(999999, 0, 1, 0.0F);
  CMemoryStream file;
  EXPECT_FALSE(outside.WriteToFileWithText(file)) << "not in the table";
}

CMeasuringUnit Level(std::u16string_view text, float reference) {
  CMeasuringUnit unit = CMeasuringUnit::FromText(text);
  return unit.logref(reference);
}

TEST(MeasuringUnit, ConvertsWithinADimension) {
  const Messages messages;
  const auto unit = [](std::u16string_view text) { return CMeasuringUnit::FromText(text); };
  constexpr double kNone = -1.0;
  const struct {
    CMeasuringUnit from, to;
    double value, expected;
  } kCases[] = {
      {unit(u"mm"), unit(u"m"), 1234.5, 1.2345},
      {unit(u"km²"), unit(u"m²"), 2, 2e6},
      {unit(u"km/h"), unit(u"m/s"), 36, 10},
      {unit(u"mph"), unit(u"km/h"), 100, 160.9344},
      {CMeasuringUnit(commonUnits::gravity), unit(u"m/s²"), 2, 19.6133},
      {unit(u"bar"), unit(u"kPa"), 1.25, 125},
      {unit(u"Hz"), CMeasuringUnit(commonUnits::second, 0, -1), 50, 50},
      {CMeasuringUnit(commonUnits::second, -1), unit(u"s"), 5, 0.5},
      {unit(u"%"), unit(u"%"), 7, 7},
      {Level(u"dB(Pa)", 2e-5F), Level(u"dB(Pa)", 2e-4F), 60, 40},
      {Level(u"dB(bar)", 1), Level(u"dB(Pa)", 1), 0, 100},
      {Level(u"dB(Pa)", 0), Level(u"dB(Pa)", 1), 0, kNone},
      {unit(u"Pa"), Level(u"dB(Pa)", 1), 1, kNone},
      {unit(u"°"), unit(u"rad"), 1, kNone},
      {unit(u"rpm"), unit(u"Hz"), 1, kNone},
      {unit(u"V"), unit(u"V²"), 1, kNone},
      {unit(u"%"), unit(u"n"), 1, kNone},
      {CMeasuringUnit(commonUnits::metre, 30), unit(u"m"), 1, kNone},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(WideToUtf8(c.from.prefixunit() + u" " + c.to.prefixunit()));
    const auto there = c.from.ConversionTo(c.to);
    ASSERT_EQ(there.has_value(), c.expected != kNone);
    EXPECT_EQ(c.from.SameDimension(c.to), there.has_value());
    if (there) {
      EXPECT_NEAR((*there)(c.value), c.expected, 1e-5);  // references are floats
      EXPECT_NEAR((*c.to.ConversionTo(c.from))((*there)(c.value)), c.value, 1e-9);
    }
  }
}

TEST(MeasuringUnit, MultipliesAndDivides) {
  const Messages messages;
  constexpr struct {
    const wide_char* a;
    const wide_char* b;
    const wide_char* product;
    const wide_char* quotient;
  } kCases[] = {
      {u"m", u"km", u"10^3 m²", u""}, {u"m/s²", u"s", u"m/s", u""}, {u"V", u"A", u"W", u""},
      {u"Nm", u"m", u"", u"N"},       {u"W", u"V", u"", u"A"},      {u"kV", u"mA", u"W", u""},
      {u"Pa", u"m²", u"N", u""},      {u"m", u"-", u"m", u"m"},     {u"dB(Pa)", u"s", u"", u""},
      {u"%", u"m", u"", u""},         {u"km/h", u"s", u"", u""},    {u"Hz", u"s", u"-", u"Hz²"},
  };
  for (const auto& [a, b, product, quotient] : kCases) {
    const auto x = CMeasuringUnit::FromText(a);
    const auto y = CMeasuringUnit::FromText(b);
    const auto text = [](const auto& unit) { return unit ? unit->ExactText() : wide_string(); };
    EXPECT_EQ(text(x * y), product) << WideToUtf8(a);
    EXPECT_EQ(text(x / y), quotient) << WideToUtf8(a);
  }
}

TEST(MeasuringUnitRecord, KeepsTextOfRegisteredUnitsOut) {
  const Messages messages;
  CMeasuringUnit added = Registered(u"smoot");
  CMemoryStream file;
  EXPECT_TRUE(added.WriteToFile(file));
  file.Seek(0);
  EXPECT_TRUE(added.ReadFromFile(file));
  EXPECT_SHOWN("1 ", added.Unit_e() >= CMeasuringUnit::kBuiltInUnits, added.baseunit());
}

}  // namespace
}  // namespace limes::test
