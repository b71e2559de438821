#include <gmock/gmock.h>

#include "apps/limes/errors.h"
#include "apps/limes/options.h"

namespace limes::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(CommandLine, ReadsEveryOptionWithoutSwallowingFiles) {
  const SParsed p =
      ParseCommandLine({"learn",   "s",  "--use",  "a,b",     "f.csv", "--where", "c=1=2",
                        "--where", "d=", "g.csv",  "--x0",    "-5",    "--every", "3:2",
                        "--parts", "4-", "--rows", "--sides", "both",  "--json",  "h.csv"});
  ASSERT_TRUE(p.run) << p.message;
  const SOptions& o = p.options;
  EXPECT_EQ(o.store, "s");
  EXPECT_THAT(o.files, ElementsAre("f.csv", "g.csv", "h.csv"));
  EXPECT_THAT(*o.settings.use, ElementsAre("a", "b"));
  EXPECT_EQ(o.settings.x0, -5.0);
  EXPECT_EQ(o.settings.rows, true);
  EXPECT_EQ(o.settings.values, std::nullopt);
  EXPECT_TRUE(o.json);
  ASSERT_EQ(o.where.size(), 2U);
  EXPECT_EQ(o.where[0].value, "1=2");
  std::vector<std::uint64_t> taken;
  for (std::uint64_t i = 0; i < 12; ++i) {
    if (o.selection.Takes(i)) {
      taken.push_back(i);
    }
  }
  EXPECT_THAT(taken, ElementsAre(5, 8, 11));
}

TEST(CommandLine, RefusesWhatItDoesNotUnderstand) {
  const struct {
    std::vector<std::string> arguments;
    const char* message;
  } cases[] = {
      {{}, "subcommand"},
      {{"judge"}, "subcommand"},
      {{"learn", "s"}, "FILE"},
      {{"test"}, "STORE"},
      {{"show", "s", "x"}, "not expected"},
      {{"learn", "s", "f", "--bases", "1"}, "--bases"},
      {{"learn", "s", "f", "--base", "x"}, "--base"},
      {{"learn", "s", "f", "--spectrum", "-1"}, "--spectrum"},
      {{"learn", "s", "f", "--where", "c"}, "COLUMN=VALUE"},
      {{"learn", "s", "f", "--every", "2"}, "K:I"},
      {{"learn", "s", "f", "--every", "2:2"}, "K:I"},
      {{"learn", "s", "f", "--parts", "0-3"}, "A-B"},
      {{"learn", "s", "f", "--parts", "4-3"}, "A-B"},
      {{"learn", "s", "f", "--use", ","}, "--use"},
  };
  for (const auto& c : cases) {
    const SParsed p = ParseCommandLine(c.arguments);
    EXPECT_FALSE(p.run);
    EXPECT_EQ(p.exitCode, 2);
    EXPECT_THAT(p.message, HasSubstr(c.message));
  }
  EXPECT_EQ(ParseCommandLine({"--help"}).exitCode, 0);
  EXPECT_THAT(ParseCommandLine({"learn", "--help"}).message, HasSubstr("--detrend"));
}

SSettings Parse(std::vector<std::string> words) {
  words.insert(words.begin(), {"learn", "s", "f"});
  const SParsed p = ParseCommandLine(words);
  EXPECT_TRUE(p.run) << p.message;
  return p.options.settings;
}

TEST(Settings, AreWholeAfterTheStore) {
  SSettings s = Parse({"--rows", "--dx", "0.1", "--use", "a,b", "--unit", "m/s²", "--ref", "1e-6",
                       "--label-column", "ok", "--sides", "both"});
  SetDefaults(s);
  const SSettings back = SettingsFromText(SettingsToText(s));
  EXPECT_EQ(SettingsToText(back), SettingsToText(s));
  EXPECT_EQ(back.dx, 0.1);
  EXPECT_EQ(back.good, "good");
  EXPECT_EQ(back.WhichSides(), Sides::kBoth);
  EXPECT_ANY_THROW(SettingsFromText("{\"dx\":\"a\"}"));
}

TEST(Settings, OnlyWhatKeepsPartsComparableMayDifferFromTheStore) {
  SSettings stored = Parse({"--rows", "--dx", "0.1", "--base", "3"});
  SetDefaults(stored);
  const struct {
    std::vector<std::string> words;
    bool learn;
    bool test;
  } cases[] = {
      {{}, true, true},
      {{"--rows", "--dx", "0.1", "--base", "3"}, true, true},
      {{"--dx", "0.2"}, false, false},
      {{"--values"}, false, false},
      {{"--spectrum", "64"}, false, false},
      {{"--sides", "both"}, false, false},
      {{"--time-scale", "5"}, false, false},
      {{"--base", "4"}, false, true},
      {{"--min-parts", "9"}, false, true},
      {{"--scale", "2"}, true, true},
      {{"--label-column", "x", "--good", "y"}, true, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.words));
    for (const bool learning : {true, false}) {
      const bool good = learning ? c.learn : c.test;
      try {
        const SSettings s = Resolve(Parse(c.words), stored, learning);
        EXPECT_TRUE(good);
        EXPECT_EQ(s.dx, 0.1);
      } catch (const CUsageError& e) {
        EXPECT_FALSE(good) << e.what();
        EXPECT_THAT(e.what(), HasSubstr("contradicts the store"));
      }
    }
  }
}

TEST(Settings, RefuseNumbersAndCombinationsWithoutMeaning) {
  const std::vector<std::string> cases[] = {
      {"--dx", "0"},
      {"--dx", "nan"},
      {"--x0", "inf"},
      {"--scale", "0"},
      {"--ref", "-1"},
      {"--base", "nan"},
      {"--base", "-1e39"},
      {"--factor", "-1"},
      {"--width", "-1"},
      {"--time-scale", "0"},
      {"--min-parts", "0"},
      {"--min-share", "1.1"},
      {"--spectrum", "7"},
      {"--spectrum", "2"},
      {"--sides", "left"},
      {"--rows", "--values"},
      {"--first-value", "a"},
      {"--label-column", "a"},
      {"--good", "a"},
      {"--part-column", "a"},
      {"--values", "--cut", "4"},
      {"--values", "--tracks"},
      {"--tracks", "--time-scale", "9"},
      {"--rows", "--quantity-column", "a"},
      {"--rows", "--use", "a"},
  };
  for (const auto& words : cases) {
    EXPECT_THROW(Validate(Parse(words)), CUsageError) << testing::PrintToString(words);
  }
}

}  // namespace
}  // namespace limes::host
