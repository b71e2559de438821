#include "limes/core/signal_key.h"

#include <functional>
#include <stdexcept>

#include "limes/platform/string_table.h"
#include "tests/support/show.h"

namespace limes::test {
namespace {

using Name = CQuinterMFC;

const Name kFull(u"m", u"c", u"l", u"i", u"p", u"s");

/// The six fields in their order.
std::string Fields(const Name& name) {
  std::string text;
  for (unsigned i = 0; i < 6; ++i) {
    text += WideToUtf8(name.Field(i)) + "|";
  }
  return text;
}

TEST(Clavis, PositionsAndNames) {
  CClavis key;
  key.Mode(10);
  key.Instrument(11);
  key.Channel(12);
  key.Location(13);
  key.InstrParam(14);
  key.ApplicationSignal(15);
  EXPECT_EQ(key, CClavis(10, 11, 12, 13, 14, 15));
  EXPECT_SHOWN("10 11 12 13 14 15 14 15 10,11,12,13,14,15", key.Mode(), key.Instrument(),
               key.Channel(), key.Location(), key.Parameter(), key.Sensor(), key.InstrParam(),
               key.ApplicationSignal(), key.Base().value);
  key[0] = 7;
  SClavis record = key.Base();
  EXPECT_EQ(CClavis(record)[0], 7);
  Clavis::SClavisClear(record);
  key.clear();
  EXPECT_EQ(key, CClavis(record));
  EXPECT_EQ(key, CClavis(-1, -1, -1, -1, -1, -1));
}

template <class T>
bool Rise(const std::vector<T>& keys) {
  return std::adjacent_find(keys.begin(), keys.end(), std::greater_equal<>()) == keys.end();
}

TEST(Clavis, OrderIsLexicographicAndSigned) {
  EXPECT_TRUE(Rise<CClavis>({{-2, 9, 9, 9, 9, 9},
                             {-1, -1, 9, 9, 9, 9},
                             {0, -1, 9, 9, 9, 9},
                             {0, 0, 9, 9, 9, 9},
                             {0, 1, 1, 1, 0, 9},
                             {0, 1, 1, 1, 1, 0},
                             {0, 1, 1, 1, 1, 1}}));
}

TEST(Quinter, KeepsTheOrderOfPositions) {
  const std::vector<SQuinter> kSorted = {{{-1, 9, 9, 9, 9}}, {{0, 9, 9, 0, 9}}, {{0, 0, 9, 1, 9}},
                                         {{0, 1, 0, 1, 9}},  {{0, 1, 1, 1, 0}}, {{0, 1, 1, 1, 1}}};
  for (std::size_t i = 0; i < kSorted.size(); ++i) {
    for (std::size_t j = 0; j < kSorted.size(); ++j) {
      EXPECT_EQ(Quinter::SQuinterLessThan(kSorted[i], kSorted[j]), i < j) << i << j;
      EXPECT_EQ(Quinter::SQuinterEquals(kSorted[i], kSorted[j]), i == j);
    }
  }
  SQuinter copy;
  Quinter::SQuinterCopy(copy, kSorted[4]);
  EXPECT_SHOWN("0,1,1,1,0 0", copy.value, Quinter::SQuinterIsEmpty(copy));
  Quinter::SQuinterClear(copy);
  RQuinter other{{1, 2, 3, 4, 5}};
  Clavis::RQuinterClear(other);
  EXPECT_SHOWN("1 -1,-1,-1,-1,-1", Quinter::SQuinterIsEmpty(copy), other.value);
}

TEST(Quinter, DisplayNamesStayForTheProcess) {
  EXPECT_EQ(Quinter::ModeName(), u"Test step");
  platform::SetLanguage(platform::Language::kGerman);
  EXPECT_EQ(Quinter::ModeName(), u"Test step");
  EXPECT_EQ(Quinter::LocationName(), u"Objekt") << "first call in German";
  platform::SetLanguage(platform::Language::kEnglish);
  EXPECT_SHOWN("Instrument Channel Parameter Sensor", Quinter::InstrumentName(),
               Quinter::ChannelName(), Quinter::ParameterName(), Quinter::SensorName());
}

TEST(SignalName, FieldsByNameAndPosition) {
  Name name;
  name.Mode(u"m");
  name.Channel(u"c");
  name.Location(u"l");
  name.Instrument(u"i");
  name.Parameter(u"p");
  name.Sensor(u"s");
  EXPECT_EQ(name, kFull);
  EXPECT_SHOWN("m|c|l|i|p|s| m c l i p s", Fields(name), name.Mode(), name.Channel(),
               name.Location(), name.Instrument(), name.Parameter(), name.Sensor());
  name.clear();
  EXPECT_EQ(name, Name(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
}

TEST(SignalName, ChannelAndSensorTable) {
  // Text: channel, sensor, both.
  for (const auto& [text, shown] :
       Rows("Vib,X: Vib|X|Vib,X; Vib: Vib||Vib; ,X: ,X||,X; ,a,b: ,a,b||,a,b; "
            "a,b,c: a|b,c|a,b,c; a,: a||a; : ||")) {
    const Name name(u"m", text.c_str(), u"l", u"i", u"p", u"");
    const wide_string parts =
        name.Channel() + u"|" + name.Sensor() + u"|" + name.GetChanPlusSensor();
    EXPECT_EQ(WideToUtf8(parts), shown);
  }
  Name name(u"m", u"a,b", u"l", u"i", u"p", u"s");
  EXPECT_EQ(name.Channel(), u"a,b") << "a sensor is given";
  name.SetChanPlusSensor(name.Channel());
  EXPECT_EQ(name.Sensor(), u"b") << "from its own field";
  name.Channel(std::u16string(98, u'c'));
  EXPECT_EQ(name.GetChanPlusSensor(), std::u16string(98, u'c') + u",");
  name.Sensor(u"");
  name.Channel(std::u16string(150, u'c'));
  EXPECT_EQ(name.GetChanPlusSensor().size(), 150U) << "no buffer without a sensor";
}

TEST(SignalName, IdentificationThereAndBack) {
  wide_char buffer[3000];
  for (const Name& name :
       {Name(), kFull, Name(u"", u"", u"l", u"", u"", u"s"), Name::TheAsterisks()}) {
    ASSERT_TRUE(name.BuildIdentificationString(buffer, 100));
    Name back(u"x", u"x", u"x", u"x", u"x", u"x");
    EXPECT_TRUE(back.ReadIdentificationString(buffer));
    EXPECT_EQ(back, name);
  }
  wide_char six[8] = u"zzzzzzz";
  EXPECT_FALSE(Name().BuildIdentificationString(six, 5));
  EXPECT_EQ(six[0], u'z');
  EXPECT_TRUE(Name().BuildIdentificationString(six, 6));
  EXPECT_EQ(std::u16string(six) + six[6], u"¦¦¦¦¦z");
  EXPECT_FALSE(Name().BuildIdentificationString(nullptr, 100));

  Name name;
  name.Mode(std::u16string(1194, u'm'));
  EXPECT_TRUE(name.BuildIdentificationString(buffer, 1200));
  EXPECT_FALSE(name.BuildIdentificationString(buffer, 1199));
  name.Mode(std::u16string(1195, u'm'));
  EXPECT_FALSE(name.BuildIdentificationString(buffer, 3000));
  EXPECT_TRUE(name.ReadIdentificationString((std::u16string(1 << 20, u'x') + u"¦y").c_str()));
  EXPECT_TRUE(name.Mode().size() == 1199 && name.Channel().empty());
  name.ReadIdentificationString(u"a¦b¦¦\xD800¦e¦f¦surplus¦");
  EXPECT_EQ(name, Name(u"a", u"b", u"", u"\xD800", u"e", u"f"));
  name.ReadIdentificationString(name.Channel().c_str());
  EXPECT_EQ(name.Mode(), u"b") << "from its own field";
  name.ReadIdentificationString(nullptr);
  EXPECT_EQ(name, Name());
}

TEST(SignalName, Patterns) {
  const Name stars = Name::TheAsterisks();
  Name part = kFull;
  part.Location(Name::Asterisk());
  const struct {
    Name name, pattern;
    const char* shown;  ///< name matches; pattern has a wildcard, is total, is empty
  } kCases[] = {
      {kFull, part, "1 1 0 0"},   {part, kFull, "0 0 0 0"},
      {Name(), stars, "1 1 1 1"}, {kFull, Name(u"M", u"*", u"*", u"*", u"*", u"*"), "0 1 0 0"},
      {kFull, Name(), "0 0 0 1"}, {kFull, Name(u"*", u"", u"*", u"", u"", u""), "0 1 0 1"}};
  for (const auto& c : kCases) {
    EXPECT_SHOWN(c.shown, c.name.matchesPattern(c.pattern), c.pattern.hasWildcard(),
                 c.pattern.isTotalPattern(), c.pattern.IsEmpty());
  }
  Name name(u"*", u"x", u"*", u"*", u"*", u"*");
  EXPECT_FALSE(name.Overlay(kFull));
  EXPECT_EQ(Fields(name), "m|x|l|i|p|s|");
  name.Sensor(u"*");
  EXPECT_TRUE(name.Overlay(stars)) << "one stays";
  name = stars;
  EXPECT_TRUE(name.Overlay(stars));
  EXPECT_FALSE(name.Overlay(Name())) << "an empty field replaces it";
  EXPECT_EQ(name, Name());
}

TEST(SignalName, OrderOfTexts) {
  EXPECT_TRUE(Rise<Name>(
      {Name(), Name(u"A", u"z", u"z", u"z", u"z", u"z"), Name(u"a", u"", u"", u"", u"", u"b"),
       Name(u"a", u"B", u"z", u"z", u"z", u"z"), Name(u"a", u"b", u"a", u"a", u"a", u"a"),
       Name(u"a", u"b", u"a", u"a", u"a", u"b"), Name(u"aa", u"", u"", u"", u"", u"b")}));
}

TEST(SignalName, KeepsRaisingOnTheSixthField) {
  EXPECT_THROW(static_cast<void>(Name::TheAsterisks().isPattern()), std::out_of_range);
  try {
    static_cast<void>(Name().pattern());
    FAIL();
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "invalid bitset<N> position");
  }
}

}  // namespace
}  // namespace limes::test
