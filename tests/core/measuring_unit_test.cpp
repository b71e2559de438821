#include "limes/core/measuring_unit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "limes/platform/file_stream.h"
#include "tests/support/hostile.h"
#include "tests/support/messages.h"

namespace limes {
namespace {

/// Unit, exponent, power, whether it is a level, and the text shown.
std::string State(const CMeasuringUnit& unit) {
  return test::Exact{unit.Unit_e(), unit.Exponent(), unit.Power(), unit.is_log(), unit.prefixunit()}
      .text;
}

TEST(MeasuringUnit, ParsesAndShowsTexts) {
  constexpr struct {
    const char16_t* text;
    const char* state;
  } kCases[] = {
      {u"kHz", "8 3 1 0 kHz"},
      {u"UpM", "9 0 1 0 rpm"},
      {u"m/s²", "16 0 1 0 m/s²"},
      {u"m/s^2", "16 0 1 0 m/s²"},
      {u"km/s²", "16 3 1 0 km/s²"},
      {u"rad/s^2", "0 0 1 0 -"},
      {u"m²", "18 0 2 0 m²"},
      {u"km²", "18 6 2 0 km²"},
      {u"%²", "6 0 2 0 %²"},
      {u"°C²", "15 0 2 0 °C²"},
      {u"(m/s)²", "23 0 2 0 (m/s)²"},
      {u"(km/s)²", "23 6 2 0 (km/s)²"},
      {u"(m/s²)^4", "16 0 4 0 (m/s²)^4"},
      {u"km^4", "18 12 4 0 km^4"},
      {u"kHz^(-1)", "8 -3 -1 0 kHz^(-1)"},
      {u"Hz^(2*3-4)", "8 0 2 0 Hz²"},
      {u"V^0", "12 0 0 0 V^0"},
      {u"dB(Pa)", "13 0 1 1 dB(Pa)"},
      {u"dB(A)", "13 0 1 1 dB(Pa)"},
      {u"dB(m/s²)", "16 0 1 1 dB(m/s²)"},
      {u"dB(V²)", "12 0 2 1 (dB(V))²"},
      {u"dB(kV)", "12 3 1 1 kdB(V)"},
      {u"dB((m/s)²)", "0 0 2 1 -"},
      {u"kdB(Pa)", "0 3 1 0 -"},
      {u"(dB(Pa))²", "0 0 2 0 -"},
      {u"(m^2)²", "18 0 3 0 m³"},
      {u"kkm/h", "21 3 1 0 kkm/h"},
      {u"Hz^(1/2)", "0 0 1 0 -"},
      {u"Hz^1001", "0 0 1 0 -"},
      {u"Hz^f(2)", "0 0 1 0 -"},
      {u"((((", "0 0 1 0 -"},
  };
  const test::Messages messages;
  for (const auto& c : kCases) {
    CMeasuringUnit unit;
    EXPECT_TRUE(unit.set(c.text));
    EXPECT_EQ(State(unit), c.state);
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
  test::Messages messages;
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

TEST(MeasuringUnit, LinearTextsReadBackAsShown) {
  const test::Messages messages;
  for (unsigned base = 1; base < CMeasuringUnit::kBuiltInUnits; ++base) {
    for (int thousands = -5; thousands <= 4; ++thousands) {
      const bool splits = base == 21 || base == 22 || base == 27;  // km/h, mph, pu
      for (const int power : {1, 2, 3, 4, -1, -2, 0}) {
        if (splits && (thousands == 0 || power == 0)) {
          continue;
        }
        CMeasuringUnit unit;
        unit.set(base, static_cast<short>(3 * thousands * power), static_cast<short>(power), 0.0F);
        CMeasuringUnit back;
        EXPECT_TRUE(back.set(unit.prefixunit()));
        EXPECT_EQ(back, unit) << WideToUtf8(unit.prefixunit());
      }
    }
  }
}

/// Parentheses that change nothing keep a text from the short way through the parser.
void ExpectSameTheLongWay(const wide_string& text) {
  CMeasuringUnit shortWay;
  CMeasuringUnit longWay;
  EXPECT_EQ(shortWay.set(text), longWay.set(Format(u"(%s)", text)));
  EXPECT_EQ(shortWay, longWay) << WideToUtf8(text);
  EXPECT_EQ(shortWay.prefixunit(), longWay.prefixunit());
}

TEST(MeasuringUnit, ShortWayThroughTheParserGivesWhatTheLongOneGives) {
  const test::Messages messages;
  const auto& strings = CMeasuringUnit::UnitStrings::theStrings();
  for (unsigned base = 1; base < CMeasuringUnit::kBuiltInUnits; ++base) {
    for (const char16_t* prefix : {u"", u"k", u"m", u"µ", u"u", u"T", u"q", u" "}) {
      for (const char16_t* suffix : {u"", u"²", u"³", u" ", u" ²", u"²³", u"^4", u"^x", u"/s²"}) {
        const wide_string text = Format(u"%s%s%s", prefix, strings[base], suffix);
        if (text.size() > 1) {
          ExpectSameTheLongWay(text);
        }
      }
    }
  }
  std::mt19937 random(7);
  constexpr std::u16string_view kLetters = u"mksHzVµ°% /^²³2";
  for (int i = 0; i < 20000; ++i) {
    wide_string text;
    for (std::size_t n = 2 + random() % 6; n > 0; --n) {
      text += kLetters[random() % kLetters.size()];
    }
    ExpectSameTheLongWay(text);
  }
}

TEST(MeasuringUnit, ShowsPrefixPowerAndLevel) {
  constexpr struct {
    unsigned unit;
    int exponent, power;
    float logref;
    const char* texts;  ///< shown, main unit, exact
  } kCases[] = {
      {7, -1, 1, 0.0F, "ms|s|10^-1 s"},
      {7, 1, 1, 0.0F, "s|s|10^1 s"},
      {18, 6, 2, 0.0F, "km²|m²|km²"},
      {18, 15, 1, 0.0F, "10^15·m|m|10^15·m"},
      {18, -18, 1, 0.0F, "10^-18·m|m|10^-18·m"},
      {13, 3, 1, 2e-5F, "kdB(Pa)|dB(Pa)|kdB(Pa)"},
      {12, 0, 2, 1.0F, "(dB(V))²|dB(V²)|(dB(V))²"},
      {12, 5, 0, 0.0F, "V^0|V^0|10^5 V^0"},
      {999, 0, 1, 0.0F, "?|?|?"},
      {7, 32767, -32768, 0.0F, "s^(-32768)|s^(-32768)|10^32767 s^(-32768)"},
  };
  for (const auto& c : kCases) {
    CMeasuringUnit unit;
    unit.set(c.unit, static_cast<short>(c.exponent), static_cast<short>(c.power), c.logref);
    EXPECT_SHOWN(c.texts, unit.prefixunit() + u"|" + unit.mainunit() + u"|" + unit.ExactText());
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
  const struct {
    CMeasuringUnit unit;
    const char* inverse;
  } kCases[] = {
      {{commonUnits::second, -3}, "8 3 1 0 kHz"}, {{commonUnits::hertz}, "7 0 1 0 s"},
      {{commonUnits::volt}, "12 0 -1 0 V^(-1)"},  {CMeasuringUnit(u"dB(Pa)"), "13 0 1 1 dB(Pa)"},
      {{commonUnits::degree}, "11 0 1 0 ord"},    {{}, "0 0 -1 0 -"}};
  for (const auto& c : kCases) {
    CMeasuringUnit inverse = c.unit;
    inverse.invert();
    EXPECT_EQ(State(inverse), c.inverse);
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
  const test::Messages messages;
  constexpr struct {
    const char16_t* text;
    const char* shown;  ///< exact, unit, exponent
  } kCases[] = {{u"km/h", "1 21 0"}, {u"mph", "1 22 0"},   {u"rad/s^2", "1 25 0"},
                {u"kHz", "1 8 3"},   {u"kg", "0 17 3"},    {u"furlong", "0 0 -15"},
                {u"", "0 0 0"},      {u"dB(Pa)", "1 13 0"}};
  for (const auto& c : kCases) {
    bool exact = c.shown[0] == '0';
    const CMeasuringUnit unit = CMeasuringUnit::FromText(c.text, &exact);
    EXPECT_SHOWN(c.shown, exact, unit.Unit_e(), unit.exponent());
  }
}

TEST(UnitStrings, RejectsOrRegistersUnknownTexts) {
  const test::Messages messages;
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
        const test::Messages messages;
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

TEST(UnitStrings, ServesManyThreads) {
  const test::Messages messages;
  auto& strings = CMeasuringUnit::UnitStrings::theStrings();
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&strings, t] {
      const wide_string& first = strings[strings.FindOrAdd(u"unit 0", true, false)];
      for (int i = 0; i < 200; ++i) {
        for (const int own : {0, 1000 * t}) {
          const wide_string text = Format(u"unit %d", own + i);
          const unsigned unit = strings.FindOrAdd(text, true, false);
          EXPECT_EQ(strings[unit], text);
          EXPECT_EQ(strings.index(text.c_str()), unit);
        }
        EXPECT_EQ(CMeasuringUnit(u"kHz"), u"kHz");
        EXPECT_EQ(first, u"unit 0") << "references stay valid";
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(MeasuringUnitRecord, IsPinnedAndReadsBack) {
  const CMeasuringUnit unit(commonUnits::pascal, 3, 1, 2e-5F);
  const test::Bytes expected = {2, 0, 13, 0, 0, 0, 3, 0, 1, 0, 0xAC, 0xC5, 0xA7, 0x37, 1, 0, 0, 0};
  EXPECT_EQ(test::Written(unit, [](auto& u, CFileStream& file) { return u.WriteToFile(file); }),
            expected);
  CMemoryStream file(expected);
  CMeasuringUnit back;
  EXPECT_TRUE(back.ReadFromFile(file));
  EXPECT_EQ(back, unit);
  EXPECT_EQ(back, u"kdB(Pa)");
}

TEST(MeasuringUnitRecord, ReadsAllVersionsAndRefusesTheRest) {
  const test::Messages messages;
  const struct {
    test::Bytes bytes;
    const char* shown;
  } kCases[] = {
      {{13, 0, 8, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0}, "0 km"},
      {{1, 0, 8, 0, 0, 0, 3, 0, 1, 0, 0, 0, 0, 0}, "1 kHz"},
      {{0, 0, 1, 2, 3, 4, 5, 6, 7, 8}, "1 -"},  // version 0, no text
      {{0, 0, 1, 2}, "0 -"},
      {{0, 2, 'H', 'z', 3, 0, 1, 0, 0, 0, 0, 0}, "1 kHz"},
      {{1, 5, 's', 'm', 'o', 'o', 't', 99, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0}, "1 smoot"},
      {{0, 3, 'V', 0, 'x', 3, 0, 1, 0, 0, 0, 0, 0}, "1 kV"},  // a 0 ends the text
      {{2, 5, 's'}, "0 "},
      {{2, 0, 8, 0, 0, 0, 3, 0, 1, 0, 0, 0, 0, 0, 1}, "0 "},
  };
  for (const auto& c : kCases) {
    CMemoryStream file(c.bytes);
    CMeasuringUnit unit(commonUnits::metre, 3);
    EXPECT_SHOWN(c.shown, unit.ReadFromFile(file), unit.prefixunit());
  }
  CMeasuringUnit added;
  auto& strings = CMeasuringUnit::UnitStrings::theStrings();
  added.set(strings.FindOrAdd(u"smoot", true, false), 0, 1, 0.0F);
  const auto write = [](const CMeasuringUnit& unit, CFileStream& stream) {
    return unit.WriteToFileWithText(stream);
  };
  test::ExpectHostileSafe(
      test::Written(added, write), [] { return CMeasuringUnit(); },
      [](CMeasuringUnit& unit, CFileStream& stream) { return unit.ReadFromFile(stream); }, write,
      {.keepsState = false});
  for (const wide_string& text : {wide_string(u"\u2126"), wide_string(256, u'a')}) {
    CMemoryStream none;
    added.set(strings.FindOrAdd(text, true, false), 0, 1, 0.0F);
    EXPECT_FALSE(added.WriteToFileWithText(none));
    EXPECT_TRUE(none.Bytes().empty());
  }
}

TEST(MeasuringUnitRecord, KeepsTextOfRegisteredUnitsOut) {
  const test::Messages messages;
  CMeasuringUnit added;
  added.set(CMeasuringUnit::UnitStrings::theStrings().FindOrAdd(u"smoot", true, false), 0, 1, 0.0F);
  CMemoryStream file;
  EXPECT_TRUE(added.WriteToFile(file));
  file.Seek(0);
  EXPECT_TRUE(added.ReadFromFile(file));
  EXPECT_EQ(added.baseunit(), u"");
  EXPECT_GE(added.Unit_e(), CMeasuringUnit::kBuiltInUnits);
}

}  // namespace
}  // namespace limes
