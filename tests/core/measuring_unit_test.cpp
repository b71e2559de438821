#include "limes/core/measuring_unit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "limes/platform/file_stream.h"
#include "limes/platform/print_window.h"
#include "tests/support/hostile.h"

namespace limes {
namespace {

/// Collects what is printed while it lives.
class Printed {
 public:
  Printed()
      : former_(PrWin::SetSink([this](int category, int style, std::u16string_view text) {
          category_ = category;
          style_ = style;
          text_ += WideToUtf8(text);
        })) {}
  ~Printed() { PrWin::SetSink(former_); }
  std::string text_;
  int category_ = -1;
  int style_ = -1;

 private:
  PrWin::Sink former_;
};

TEST(MeasuringUnit, ParsesAndShowsTexts) {
  constexpr struct {
    const char16_t* text;
    unsigned unit;
    int exponent, power;
    bool log;
    const char16_t* shown;
  } kCases[] = {
      {u"kHz", 8, 3, 1, false, u"kHz"},
      {u"UpM", 9, 0, 1, false, u"rpm"},
      {u"m/s²", 16, 0, 1, false, u"m/s²"},
      {u"m/s^2", 16, 0, 1, false, u"m/s²"},
      {u"km/s²", 16, 3, 1, false, u"km/s²"},
      {u"rad/s^2", 0, 0, 1, false, u"-"},
      {u"m²", 18, 0, 2, false, u"m²"},
      {u"km²", 18, 6, 2, false, u"km²"},
      {u"%²", 6, 0, 2, false, u"%²"},
      {u"°C²", 15, 0, 2, false, u"°C²"},
      {u"(m/s)²", 23, 0, 2, false, u"(m/s)²"},
      {u"(km/s)²", 23, 6, 2, false, u"(km/s)²"},
      {u"(m/s²)^4", 16, 0, 4, false, u"(m/s²)^4"},
      {u"km^4", 18, 12, 4, false, u"km^4"},
      {u"kHz^(-1)", 8, -3, -1, false, u"kHz^(-1)"},
      {u"Hz^(2*3-4)", 8, 0, 2, false, u"Hz²"},
      {u"V^0", 12, 0, 0, false, u"V^0"},
      {u"dB(Pa)", 13, 0, 1, true, u"dB(Pa)"},
      {u"dB(A)", 13, 0, 1, true, u"dB(Pa)"},
      {u"dB(m/s²)", 16, 0, 1, true, u"dB(m/s²)"},
      {u"dB(V²)", 12, 0, 2, true, u"(dB(V))²"},
      {u"dB(kV)", 12, 3, 1, true, u"kdB(V)"},
      {u"dB((m/s)²)", 0, 0, 2, true, u"-"},
      {u"kdB(Pa)", 0, 3, 1, false, u"-"},
      {u"(dB(Pa))²", 0, 0, 2, false, u"-"},
      {u"(m^2)²", 18, 0, 3, false, u"m³"},
      {u"kkm/h", 21, 3, 1, false, u"kkm/h"},
      {u"Hz^(1/2)", 0, 0, 1, false, u"-"},
      {u"Hz^1001", 0, 0, 1, false, u"-"},
      {u"((((", 0, 0, 1, false, u"-"},
  };
  const Printed printed;
  for (const auto& c : kCases) {
    SCOPED_TRACE(WideToUtf8(c.text));
    CMeasuringUnit unit;
    EXPECT_TRUE(unit.set(c.text));
    EXPECT_EQ(unit.Unit_e(), c.unit);
    EXPECT_EQ(unit.Exponent(), c.exponent);
    EXPECT_EQ(unit.Power(), c.power);
    EXPECT_EQ(unit.is_log(), c.log);
    EXPECT_EQ(WideToUtf8(unit.prefixunit()), WideToUtf8(c.shown));
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
  Printed printed;
  EXPECT_EQ(CMeasuringUnit(u"kg").exponent(), 3);
  for (const char16_t* text : {u"km/h", u"mph", u"pu"}) {
    EXPECT_TRUE(CMeasuringUnit(text).empty());
    EXPECT_EQ(CMeasuringUnit(text, 0, 2).baseunit(), text) << "taken whole with a power";
  }
  printed.text_.clear();
  EXPECT_EQ(CMeasuringUnit(u"dB((m/s)²)").power(), 2);
  EXPECT_EQ(printed.text_,
            "CMeasuringUnit::set(): Invalid argument: dB((m/s)²) caused: operand expected\n"
            "CMeasuringUnit::UnitStrings: Unknown measuring unit ‘...’ rejected!\n");
}

TEST(MeasuringUnit, LinearTextsReadBackAsShown) {
  const Printed printed;
  for (unsigned base = 1; base < CMeasuringUnit::kBuiltInUnits; ++base) {
    for (int thousands = -5; thousands <= 4; ++thousands) {
      const bool splits = base == 21 || base == 22 || base == 27;  // km/h, mph, pu
      if (thousands == 0 && splits) {
        continue;
      }
      for (const int power : {1, 2, 3, 4, -1, -2, 0}) {
        if (power == 0 && splits) {
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
  const Printed printed;
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
    const char16_t *shown, *main, *exact;
  } kCases[] = {
      {7, -1, 1, 0.0F, u"ms", u"s", u"10^-1 s"},
      {7, 1, 1, 0.0F, u"s", u"s", u"10^1 s"},
      {18, 6, 2, 0.0F, u"km²", u"m²", u"km²"},
      {18, 15, 1, 0.0F, u"10^15·m", u"m", u"10^15·m"},
      {18, -18, 1, 0.0F, u"10^-18·m", u"m", u"10^-18·m"},
      {13, 3, 1, 2e-5F, u"kdB(Pa)", u"dB(Pa)", u"kdB(Pa)"},
      {12, 0, 2, 1.0F, u"(dB(V))²", u"dB(V²)", u"(dB(V))²"},
      {12, 5, 0, 0.0F, u"V^0", u"V^0", u"10^5 V^0"},
      {999, 0, 1, 0.0F, u"?", u"?", u"?"},
      {7, 32767, -32768, 0.0F, u"s^(-32768)", u"s^(-32768)", u"10^32767 s^(-32768)"},
  };
  for (const auto& c : kCases) {
    CMeasuringUnit unit;
    unit.set(c.unit, static_cast<short>(c.exponent), static_cast<short>(c.power), c.logref);
    EXPECT_EQ(WideToUtf8(unit.prefixunit()), WideToUtf8(c.shown));
    EXPECT_EQ(WideToUtf8(unit.mainunit()), WideToUtf8(c.main));
    EXPECT_EQ(WideToUtf8(unit.ExactText()), WideToUtf8(c.exact));
  }
  CMeasuringUnit::SetGlobalFlags(3);
  EXPECT_EQ(CMeasuringUnit(u"dB(Pa)"), u"dB(A)");
  EXPECT_EQ(CMeasuringUnit(commonUnits::gravity, 3, 1, 1.0F), u"kdB");
  CMeasuringUnit::SetGlobalFlag(32, false);
  EXPECT_FALSE(CMeasuringUnit::TestGlobalFlag(0));
  CMeasuringUnit::SetGlobalFlags(0);
  EXPECT_STREQ(CMeasuringUnit(u"µm").prefixunitA(), "\xB5m");
  CMeasuringUnit latin;
  EXPECT_TRUE(latin.setA("m/s\xB2"));
  EXPECT_EQ(latin.Unit_e(), commonUnits::metrePerSecond2);
  EXPECT_FALSE(latin.setA(nullptr));
  const SMeasuringUnitPOD plain(CMeasuringUnit(u"dB(kV)"));
  EXPECT_EQ(std::tie(plain.unit, plain.exponent, plain.power, plain.logref, plain.flags),
            std::make_tuple(12U, 3, 1, 1.0F, 1U));
}

TEST(MeasuringUnit, PowersRootsAndInverse) {
  CMeasuringUnit unit(commonUnits::metre, 3);
  EXPECT_EQ(unit.power(2), u"km²");
  EXPECT_TRUE(unit.root(2));
  EXPECT_EQ(unit, u"km");
  unit.power(3);
  EXPECT_FALSE(unit.root(2));
  EXPECT_FALSE(unit.root(0));
  EXPECT_FALSE(unit.root(6));
  EXPECT_EQ(unit, u"km³");

  CMeasuringUnit time(commonUnits::second, -3);
  time.invert();
  EXPECT_EQ(time, u"kHz");
  CMeasuringUnit volt(commonUnits::volt);
  volt.invert();
  EXPECT_EQ(volt.power(), -1);
  CMeasuringUnit level(u"dB(Pa)");
  level.invert();
  EXPECT_EQ(level, u"dB(Pa)");
  CMeasuringUnit angle(commonUnits::degree);
  angle.invert();
  angle.invert();
  EXPECT_EQ(angle, u"rev");
  CMeasuringUnit no;
  no.invert();
  EXPECT_EQ(no.power(), -1);
  CMeasuringUnit huge(commonUnits::volt, -32768, -32768);
  EXPECT_TRUE(huge.root(-1));
  EXPECT_EQ(huge.power(3).exponent(), -32768) << "16 bits are kept";
}

TEST(MeasuringUnit, KeepsPowerZeroWhereOneIsMeant) {
  CMeasuringUnit unit(commonUnits::volt, 3);
  unit.clearPower();
  EXPECT_EQ(unit, u"V^0");
  unit.clearExponent();
  EXPECT_FALSE(unit.root(1));
  EXPECT_EQ(SMeasuringUnitPOD().power, 0);
}

TEST(MeasuringUnit, KeepsTextsUntouchedByReferenceAndFlag) {
  CMeasuringUnit unit(commonUnits::volt);
  unit.logref(1.0F);
  EXPECT_TRUE(unit.is_log());
  EXPECT_EQ(unit, u"V");
  unit.logref(std::numeric_limits<float>::quiet_NaN());
  EXPECT_TRUE(unit.is_log());
  EXPECT_FALSE(unit == CMeasuringUnit(unit));
  unit.logref(-0.0F);
  EXPECT_FALSE(unit.is_log());
  unit.clear();
  EXPECT_EQ(unit, u"");
}

TEST(MeasuringUnit, FromTextLooksUpBeforeItParses) {
  const Printed printed;
  constexpr struct {
    const char16_t* text;
    bool exact;
    unsigned unit;
    int exponent;
  } kCases[] = {
      {u"km/h", true, 21, 0}, {u"mph", true, 22, 0},    {u"rad/s^2", true, 25, 0},
      {u"kHz", true, 8, 3},   {u"kg", false, 17, 3},    {u"furlong", false, 0, -15},
      {u"", false, 0, 0},     {u"dB(Pa)", true, 13, 0},
  };
  for (const auto& c : kCases) {
    bool exact = !c.exact;
    const CMeasuringUnit unit = CMeasuringUnit::FromText(c.text, &exact);
    EXPECT_EQ(exact, c.exact) << WideToUtf8(c.text);
    EXPECT_EQ(unit.Unit_e(), c.unit);
    EXPECT_EQ(unit.exponent(), c.exponent);
  }
}

TEST(UnitStrings, RejectsOrRegistersUnknownTexts) {
  Printed printed;
  auto& strings = CMeasuringUnit::UnitStrings::theStrings();
  EXPECT_EQ(strings.index(u"smoot"), 0U);
  EXPECT_EQ(printed.text_,
            "CMeasuringUnit::UnitStrings: Unknown measuring unit ‘smoot’ rejected!\n");
  EXPECT_EQ(printed.category_, 1);
  EXPECT_EQ(printed.style_, 3);
  EXPECT_FALSE(strings.allowAddNewUnits(true));
  const unsigned added = strings.index(u"smoot");
  EXPECT_GE(added, CMeasuringUnit::kBuiltInUnits);
  EXPECT_NE(printed.text_.find("‘smoot’ registered as #" + std::to_string(added)),
            std::string::npos);
  EXPECT_EQ(strings.index(u"smoot"), added);
  EXPECT_TRUE(strings.allowAddNewUnits(false));
  EXPECT_EQ(CMeasuringUnit(u"ksmoot"), u"ksmoot");
  bool exact = true;
  strings.allowAddNewUnits(true);
  EXPECT_FALSE(CMeasuringUnit::FromText(u"min", &exact).empty());
  strings.allowAddNewUnits(false);
  EXPECT_FALSE(exact) << "milli-in, not known before";
}

TEST(UnitStrings, KeepsReciprocalOfTheRowBehindForTexts) {
  EXPECT_EQ(CMeasuringUnit::UnitStrings::inverseIndex(7U), 8U);
  EXPECT_EQ(CMeasuringUnit::UnitStrings::inverseIndex(u"s"), 7U);
  EXPECT_EQ(CMeasuringUnit::UnitStrings::inverseIndex(u"W"), 0U);
}

TEST(UnitStringsDeathTest, RejectWhatIsBeyondTheLargestTable) {
  EXPECT_EXIT(
      {
        const Printed printed;
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
  const Printed printed;
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
  CMemoryStream file;
  EXPECT_TRUE(unit.WriteToFile(file));
  const std::vector<std::uint8_t> expected = {2, 0,    13,   0,    0,    0, 3, 0, 1,
                                              0, 0xAC, 0xC5, 0xA7, 0x37, 1, 0, 0, 0};
  EXPECT_EQ(std::vector<std::uint8_t>(file.Bytes().begin(), file.Bytes().end()), expected);
  file.Seek(0);
  CMeasuringUnit back;
  EXPECT_TRUE(back.ReadFromFile(file));
  EXPECT_EQ(back, unit);
  EXPECT_EQ(back, u"kdB(Pa)");
}

TEST(MeasuringUnitRecord, ReadsAllVersionsAndRefusesTheRest) {
  const Printed printed;
  struct Case {
    const char* name;
    std::vector<std::uint8_t> bytes;
    bool ok;
    const char16_t* shown;
  };
  const Case cases[] = {
      {"version 13", {13, 0, 8, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0}, false, u"km"},
      {"version 1", {1, 0, 8, 0, 0, 0, 3, 0, 1, 0, 0, 0, 0, 0}, true, u"kHz"},
      {"version 0, no text", {0, 0, 1, 2, 3, 4, 5, 6, 7, 8}, true, u"-"},
      {"version 0, no text, short", {0, 0, 1, 2}, false, u"-"},
      {"version 0, text", {0, 2, 'H', 'z', 3, 0, 1, 0, 0, 0, 0, 0}, true, u"kHz"},
      {"by text",
       {1, 5, 's', 'm', 'o', 'o', 't', 99, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0},
       true,
       u"smoot"},
      {"text short", {2, 5, 's'}, false, u""},
      {"flags short", {2, 0, 8, 0, 0, 0, 3, 0, 1, 0, 0, 0, 0, 0, 1}, false, u""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CMemoryStream file(c.bytes);
    CMeasuringUnit unit(commonUnits::metre, 3);
    EXPECT_EQ(unit.ReadFromFile(file), c.ok);
    EXPECT_EQ(WideToUtf8(unit.prefixunit()), WideToUtf8(c.shown));
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
  const Printed printed;
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
