#include <gmock/gmock.h>

#include <exception>
#include <string>

#include "apps/limes/commands/options.h"
#include "apps/limes/errors.h"
#include "apps/limes/measurement/unit_text.h"

namespace limes::host {
namespace {

using testing::ElementsAre;

TEST(CommandLine, ReadsEveryOptionWithoutSwallowingFiles) {
  const SParsed p =
      ParseCommandLine({"learn",   "s",  "--use",  "a,b",     "f.csv", "--where", "c=1=2",
                        "--where", "d=", "g.csv",  "--x0",    "-5",    "--every", "3:2",
                        "--parts", "4-", "--rows", "--sides", "both",  "--json",  "h.csv"});
  ASSERT_TRUE(p.run) << p.message;
  const SOptions& o = p.options;
  EXPECT_THAT(o.files, ElementsAre("f.csv", "g.csv", "h.csv"));
  EXPECT_THAT(*o.settings.use, ElementsAre("a", "b"));
  EXPECT_TRUE(o.store == "s" && o.settings.x0 == -5.0 && o.settings.rows == true && o.json);
  EXPECT_EQ(o.settings.values, std::nullopt);
  EXPECT_EQ(o.where.at(0).value + o.where.at(1).value, "1=2");
  std::vector<std::uint64_t> taken;
  for (std::uint64_t i = 0; i < 12; ++i) {
    if (o.selection.Takes(i)) {
      taken.push_back(i);
    }
  }
  EXPECT_THAT(taken, ElementsAre(5, 8, 11));
  EXPECT_EQ(ParseCommandLine({"--help"}).exitCode, 0);
  EXPECT_THAT(ParseCommandLine({"learn", "--help"}).message, testing::HasSubstr("--detrend"));
}

/// What the program did not write is no number that only resembles it.
TEST(StoredTexts, RefuseNumbersOutOfRange) {
  const std::string unit = R"({"unit":1,"power":1,"reference":0,"exponent":)";
  for (const char* exponent : {"70000", "-3.3e40", "0.5", "true", "\"1\"", "null"}) {
    EXPECT_THROW(UnitFromText(unit + exponent + "}"), std::exception) << exponent;
  }
  EXPECT_EQ(UnitFromText(unit + "-3}").unit.Exponent(), -3);
  for (const char* spectrum : {"-1024", "4294967297", "1e30", "1024.5"}) {
    EXPECT_THROW(SettingsFromText(std::string(R"({"spectrum":)") + spectrum + "}"), std::exception);
  }
  EXPECT_EQ(SettingsFromText(R"({"spectrum":1024})").spectrum, 1024U);
}

TEST(Settings, AreWholeAfterTheStore) {
  const SSettings s = Resolve(ParseCommandLine({"learn",
                                                "s",
                                                "f",
                                                "--rows",
                                                "--dx",
                                                "0.1",
                                                "--use",
                                                "a,b",
                                                "--unit",
                                                "m/s²",
                                                "--ref",
                                                "1e-6",
                                                "--label-column",
                                                "ok",
                                                "--sides",
                                                "both",
                                                "--part-column",
                                                "p",
                                                "--quantity-column",
                                                "q"})
                                  .options.settings,
                              std::nullopt, true);
  const SSettings back = SettingsFromText(SettingsToText(s));
  EXPECT_EQ(SettingsToText(back), SettingsToText(s));
  EXPECT_EQ(back.dx, 0.1);
  EXPECT_EQ(back.good, "good");
  EXPECT_EQ(back.WhichSides(), Sides::kBoth);
  EXPECT_ANY_THROW(SettingsFromText("{\"dx\":\"a\"}"));
}

/// What is wrong with forming by these options, where the store was learnt with others.
std::string Contradiction(std::vector<std::string> words,
                          const std::optional<SSettings>& stored = std::nullopt) {
  words.insert(words.begin(), {"learn", "s", "f"});
  const SParsed parsed = ParseCommandLine(words);
  if (!parsed.run) {
    return parsed.message;
  }
  try {
    Resolve(parsed.options.settings, stored, !stored);
  } catch (const CUsageError& e) {
    return e.what();
  }
  return "";
}

TEST(Settings, OfFormingFitTogether) {
  const std::vector<std::string> good[] = {
      {"--spectrum", "12.5Hz"},
      {"--spectrum", "1024", "--bands", "3"},
      {"--level", "fast", "--weighting", "A"},
      {"--single", "rms,100:500", "--spectrum", "2 Hz"},
      {"--envelope", "1e3:5e3", "--spectrum", "1Hz"},
      {"--orders", "0.25:32", "--speed", "n", "--order-cuts", "1,2.5", "--tracks"},
  };
  for (const auto& words : good) {
    EXPECT_EQ(Contradiction(words), "") << words[0];
  }
  const std::pair<std::vector<std::string>, const char*> wrong[] = {
      {{"--spectrum", "12.5m"}, "needs a number of samples or a resolution"},
      {{"--spectrum", "-1Hz"}, "must be positive"},
      {{"--bands", "2"}, "1 or 3"},
      {{"--level", "often"}, "fast, slow or seconds"},
      {{"--level", "fast", "--bands", "1"}, "exclude each other"},
      {{"--weighting", "B"}, "A or C"},
      {{"--envelope", "500:100"}, "LOW:HIGH"},
      {{"--single", "mean"}, "not 'mean'"},
      {{"--orders", "0.3:32", "--speed", "n"}, "whole number"},
      {{"--orders", "0.25:32"}, "needs --speed"},
      {{"--order-cuts", "1"}, "need --orders"},
      {{"--orders", "0.5:9", "--speed", "n", "--order-cuts", "1.2"}, "no multiple"},
      {{"--values", "--single", "rms"}, "single values already"},
  };
  for (const auto& [words, why] : wrong) {
    EXPECT_THAT(Contradiction(words), testing::HasSubstr(why)) << words[0];
  }
  SGivenSettings given;
  given.resolution = 5.0;
  const SSettings stored = SettingsFromText(SettingsToText(Resolve(given, std::nullopt, true)));
  EXPECT_EQ(Contradiction({}, stored), "");
  for (const std::vector<std::string>& words : {std::vector<std::string>{"--spectrum", "2Hz"},
                                                {"--spectrum", "1024"},
                                                {"--weighting", "A"}}) {
    EXPECT_THAT(Contradiction(words, stored), testing::HasSubstr("contradicts the store"));
  }
}

}  // namespace
}  // namespace limes::host
