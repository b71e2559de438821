#include "limes/core/signal_key.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "limes/platform/string_table.h"

namespace limes {
namespace {

using Name = CQuinterMFC;

TEST(Clavis, PositionsAndNames) {
  CClavis key(1, 2, 3, 4, 5, 6);
  EXPECT_EQ(key.Mode() * 100000 + key.Instrument() * 10000 + key.Channel() * 1000 +
                key.Location() * 100 + key.Parameter() * 10 + key.Sensor(),
            123456);
  EXPECT_EQ(key.InstrParam(), 5);
  EXPECT_EQ(key.ApplicationSignal(), 6);
  key.Mode(10);
  key.Instrument(11);
  key.Channel(12);
  key.Location(13);
  key.InstrParam(14);
  key.ApplicationSignal(15);
  for (unsigned i = 0; i < 6; ++i) {
    EXPECT_EQ(key[i], 10 + static_cast<int>(i));
  }
  key[0] = 7;
  EXPECT_EQ(key.Base().value[0], 7);
  key.clear();
  EXPECT_EQ(key, CClavis());
  EXPECT_EQ(key[5], -1);
  SClavis record = CClavis(1, 2, 3, 4, 5, 6).Base();
  key = record;
  EXPECT_EQ(key, CClavis(record));
  Clavis::SClavisClear(record);
  EXPECT_EQ(CClavis(record), CClavis());
}

TEST(Clavis, OrderIsLexicographicAndSigned) {
  const std::vector<CClavis> kSorted = {
      {-2, 9, 9, 9, 9, 9}, {-1, -1, -1, -1, -1, -1}, {0, -1, -1, -1, -1, -1},
      {0, 0, 9, 9, 9, 9},  {0, 1, 0, 9, 9, 9},       {0, 1, 1, 0, 9, 9},
      {0, 1, 1, 1, 0, 9},  {0, 1, 1, 1, 1, 0},       {0, 1, 1, 1, 1, 1}};
  for (std::size_t i = 0; i < kSorted.size(); ++i) {
    for (std::size_t j = 0; j < kSorted.size(); ++j) {
      const CClavis& a = kSorted[i];
      const CClavis& b = kSorted[j];
      EXPECT_EQ(a < b, i < j);
      EXPECT_EQ(a > b, i > j);
      EXPECT_EQ(a <= b, i <= j);
      EXPECT_EQ(a >= b, i >= j);
      EXPECT_EQ(a == b, i == j);
      EXPECT_EQ(a != b, i != j);
    }
  }
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
  EXPECT_TRUE(Quinter::SQuinterEquals(copy, kSorted[4]));
  EXPECT_FALSE(Quinter::SQuinterIsEmpty(copy));
  Quinter::SQuinterClear(copy);
  EXPECT_TRUE(Quinter::SQuinterIsEmpty(copy));
  RQuinter other{{1, 2, 3, 4, 5}};
  Clavis::RQuinterClear(other);
  EXPECT_EQ(other.value, RQuinter().value);
  EXPECT_EQ(other.value[4], -1);
}

TEST(Quinter, DisplayNamesStayForTheProcess) {
  EXPECT_EQ(Quinter::ModeName(), u"Test step");
  platform::SetLanguage(platform::Language::kGerman);
  EXPECT_EQ(Quinter::ModeName(), u"Test step");
  EXPECT_EQ(Quinter::LocationName(), u"Objekt") << "first call in German";
  platform::SetLanguage(platform::Language::kEnglish);
  EXPECT_EQ(Quinter::InstrumentName(), u"Instrument");
  EXPECT_EQ(Quinter::ChannelName(), u"Channel");
  EXPECT_EQ(Quinter::ParameterName(), u"Parameter");
  EXPECT_EQ(Quinter::SensorName(), u"Sensor");
}

TEST(SignalName, FieldsByNameAndPosition) {
  Name name(u"m", u"c", u"l", u"i", u"p", u"s");
  const wide_string* const fields[] = {&name.Mode(),       &name.Channel(),   &name.Location(),
                                       &name.Instrument(), &name.Parameter(), &name.Sensor()};
  for (unsigned i = 0; i < 6; ++i) {
    EXPECT_EQ(*fields[i], name.Field(i));
    EXPECT_EQ(name.Field(i), wide_string(1, u"mclips"[i]));
  }
  name.Mode(u"M");
  name.Channel(u"C");
  name.Location(u"L");
  name.Instrument(u"I");
  name.Parameter(u"P");
  name.Sensor(u"S");
  EXPECT_EQ(name, Name(u"M", u"C", u"L", u"I", u"P", u"S"));
  name.clear();
  EXPECT_EQ(name, Name());
  EXPECT_EQ(Name(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), Name());
}

TEST(SignalName, ChannelAndSensorTable) {
  const struct {
    const char16_t *text, *channel, *sensor, *back;
  } kCases[] = {
      {u"Vib,X", u"Vib", u"X", u"Vib,X"},
      {u"Vib", u"Vib", u"", u"Vib"},
      {u",X", u",X", u"", u",X"},
      {u",a,b", u",a,b", u"", u",a,b"},
      {u"a,b,c", u"a", u"b,c", u"a,b,c"},
      {u"a,", u"a", u"", u"a"},
      {u"", u"", u"", u""},
  };
  for (const auto& c : kCases) {
    Name name(u"m", c.text, u"l", u"i", u"p", u"");
    EXPECT_EQ(name.Channel(), c.channel);
    EXPECT_EQ(name.Sensor(), c.sensor);
    EXPECT_EQ(name.GetChanPlusSensor(), c.back);
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

TEST(SignalName, IdentificationRoundTrip) {
  const Name kNames[] = {Name(), Name(u"m", u"c", u"l", u"i", u"p", u"s"),
                         Name(u"", u"", u"l", u"", u"", u"s"), Name::TheAsterisks()};
  for (const Name& name : kNames) {
    wide_char buffer[100];
    ASSERT_TRUE(name.BuildIdentificationString(buffer, 100));
    Name back(u"x", u"x", u"x", u"x", u"x", u"x");
    EXPECT_TRUE(back.ReadIdentificationString(buffer));
    EXPECT_EQ(back, name);
  }
  wide_char six[7] = u"zzzzzz";
  EXPECT_FALSE(Name().BuildIdentificationString(six, 5));
  EXPECT_EQ(six[0], u'z');
  EXPECT_TRUE(Name().BuildIdentificationString(six, 6));
  EXPECT_EQ(std::u16string(six), u"¦¦¦¦¦");
  EXPECT_FALSE(Name().BuildIdentificationString(nullptr, 100));
}

TEST(SignalName, IdentificationLimits) {
  std::vector<wide_char> buffer(3000);
  Name name;
  name.Mode(std::u16string(1194, u'm'));
  EXPECT_TRUE(name.BuildIdentificationString(buffer.data(), 1200));
  EXPECT_FALSE(name.BuildIdentificationString(buffer.data(), 1199));
  name.Mode(std::u16string(1195, u'm'));
  EXPECT_FALSE(name.BuildIdentificationString(buffer.data(), 3000));

  EXPECT_TRUE(name.ReadIdentificationString((std::u16string(1 << 20, u'x') + u"¦y").c_str()));
  EXPECT_EQ(name.Mode().size(), 1199U);
  EXPECT_EQ(name.Channel(), u"");
  name.ReadIdentificationString(u"a¦b¦¦\xD800¦e¦f¦surplus¦");
  EXPECT_EQ(name, Name(u"a", u"b", u"", u"\xD800", u"e", u"f"));
  name.ReadIdentificationString(name.Channel().c_str());
  EXPECT_EQ(name.Mode(), u"b") << "from its own field";
  name.ReadIdentificationString(nullptr);
  EXPECT_EQ(name, Name());
}

TEST(SignalName, Patterns) {
  const Name full(u"m", u"c", u"l", u"i", u"p", u"s");
  Name part = full;
  part.Location(u"*");
  EXPECT_TRUE(full.matchesPattern(part));
  EXPECT_FALSE(part.matchesPattern(full));
  EXPECT_TRUE(Name().matchesPattern(Name::TheAsterisks()));
  EXPECT_FALSE(full.matchesPattern(Name(u"M", u"*", u"*", u"*", u"*", u"*"))) << "case";
  EXPECT_TRUE(Name::TheAsterisks().isTotalPattern());
  EXPECT_FALSE(part.isTotalPattern());
  EXPECT_TRUE(part.hasWildcard());
  EXPECT_FALSE(full.hasWildcard());
  EXPECT_EQ(Name::Asterisk(), u"*");
  EXPECT_TRUE(Name().IsEmpty());
  EXPECT_TRUE(Name(u"*", u"", u"*", u"", u"", u"").IsEmpty());
  EXPECT_FALSE(full.IsEmpty());
}

TEST(SignalName, OverlayFillsWildcards) {
  const Name full(u"m", u"c", u"l", u"i", u"p", u"s");
  Name name(u"*", u"x", u"*", u"*", u"*", u"*");
  EXPECT_FALSE(name.Overlay(full));
  EXPECT_EQ(name, Name(u"m", u"x", u"l", u"i", u"p", u"s"));
  name.Sensor(u"*");
  EXPECT_TRUE(name.Overlay(Name::TheAsterisks())) << "one stays";
  name = Name::TheAsterisks();
  EXPECT_TRUE(name.Overlay(Name::TheAsterisks()));
  EXPECT_FALSE(name.Overlay(Name())) << "an empty field replaces it";
  EXPECT_EQ(name, Name());
}

TEST(SignalName, OrderOfTexts) {
  const std::vector<Name> kSorted = {Name(),
                                     Name(u"A", u"z", u"z", u"z", u"z", u"z"),
                                     Name(u"a", u"", u"", u"", u"", u"b"),
                                     Name(u"a", u"B", u"z", u"z", u"z", u"z"),
                                     Name(u"a", u"b", u"a", u"a", u"a", u"a"),
                                     Name(u"a", u"b", u"a", u"a", u"a", u"b"),
                                     Name(u"aa", u"", u"", u"", u"", u"b")};
  for (std::size_t i = 0; i < kSorted.size(); ++i) {
    for (std::size_t j = 0; j < kSorted.size(); ++j) {
      EXPECT_EQ(kSorted[i] < kSorted[j], i < j) << i << " " << j;
      EXPECT_EQ(kSorted[i] >= kSorted[j], i >= j);
      EXPECT_EQ(kSorted[i] == kSorted[j], i == j);
    }
  }
}

TEST(SignalName, KeepsRaisingOnTheSixthField) {
  for (const Name& name : {Name(), Name::TheAsterisks()}) {
    EXPECT_THROW(static_cast<void>(name.isPattern()), std::out_of_range);
    try {
      static_cast<void>(name.pattern());
      FAIL();
    } catch (const std::out_of_range& error) {
      EXPECT_STREQ(error.what(), "invalid bitset<N> position");
    }
  }
}

}  // namespace
}  // namespace limes
