#include "recordings/variant.h"

#include <gtest/gtest.h>

namespace limes::recordings {
namespace {

TEST(Variant, IsToldByNameColumnAndOptionTogether) {
  constexpr const char* kPattern = "{product}_{gear}_{serial}.wav";
  struct SCase {
    const char* what;
    const char* pattern;  ///< null: none
    const char* path;
    std::vector<std::string> columns;
    std::vector<SCondition> given;
    const char* name;   ///< empty: there is a fault
    const char* fault;  ///< a piece of it
  };
  const SCase cases[] = {
      {"name", kPattern, "in/A_3_0815.wav", {}, {}, "product=A,gear=3", ""},
      {"another ending", kPattern, "in/A_3_0815.csv", {}, {}, "", "does not fit"},
      {"a field too few", kPattern, "A_3.wav", {}, {}, "", "does not fit"},
      {"an empty field", kPattern, "A__3.wav", {}, {}, "", "does not fit"},
      {"a text too many", kPattern, "A_3_08_15.wav", {}, {}, "", "in several ways"},
      {"the folder is no part of it", kPattern, "A_3_1.wav/x", {}, {}, "", "does not fit"},
      {"long texts", "x{product}--{gear}--y", "xA-1--2--y", {}, {}, "product=A-1,gear=2", ""},
      {"one ends where another begins", "{product}aa{gear}", "xaaay", {}, {}, "", "several ways"},
      {"a comma", kPattern, "A,B_3_1.wav", {}, {}, "", "cannot name a variant"},
      {"any", kPattern, "*_3_1.wav", {}, {}, "", "cannot name a variant"},
      {"columns", nullptr, "t.csv", {"A", "3"}, {}, "product=A,gear=3", ""},
      {"an empty cell", nullptr, "t.csv", {"A", ""}, {}, "", "what its gear is"},
      {"option", nullptr, "-", {}, {{"gear", "3"}, {"product", "A"}}, "product=A,gear=3", ""},
      {"all agree", kPattern, "A_3_1.wav", {"A", ""}, {{"gear", "3"}}, "product=A,gear=3", ""},
      {"a name that is none", nullptr, "-", {"A", "3"}, {{"serial", "1"}}, "", "'serial' does not"},
      {"name against option", kPattern, "A_3_1.wav", {}, {{"gear", "4"}}, "", "'3' by its file"},
      {"column against name", kPattern, "A_3_1.wav", {"B", ""}, {}, "", "'B' by its column"},
  };
  for (const SCase& c : cases) {
    SCOPED_TRACE(c.what);
    SReadSettings settings;
    settings.values = true;
    settings.variant = {"product", "gear"};
    if (c.pattern != nullptr) {
      settings.variantPattern = c.pattern;
      EXPECT_EQ(FaultOfVariant(settings.variant, settings.variantPattern), "");
    }
    SVariant variant{c.columns, "of the part before", ""};
    TellVariant(settings, c.given, c.path, variant);
    EXPECT_EQ(variant.name, c.name);
    EXPECT_NE(variant.fault.find(c.fault), std::string::npos) << variant.fault;
    EXPECT_EQ(variant.fault.empty(), !variant.name.empty());
  }
}

TEST(Variant, RefusesPatternsThatTellNothing) {
  for (const char* pattern : {"", "plain.wav", "{product", "product}", "{}_{product}.wav",
                              "{product}{gear}.wav", "{product}_{product}", "{serial}.wav"}) {
    EXPECT_NE(FaultOfVariant({"product", "gear"}, pattern), "") << pattern;
  }
  for (const std::vector<std::string>& names : std::vector<std::vector<std::string>>{
           {"a", "a"}, {"a,b"}, {"{a}"}, {""}, {"1", "2", "3", "4", "5", "6", "7"}}) {
    EXPECT_NE(FaultOfVariant(names, std::nullopt), "") << names[0];
  }
}

TEST(Variant, IsMeantByTheValuesGiven) {
  const std::vector<std::string> names = {"product", "gear"};
  const auto is = [&](const std::vector<SCondition>& values) {
    return IsVariant("product=A,gear=3", names, values);
  };
  EXPECT_TRUE(is({}));
  EXPECT_TRUE(is({{"gear", "3"}}));
  EXPECT_FALSE(is({{"gear", "3"}, {"product", "B"}}));
  EXPECT_TRUE(is({{"gear", "*"}}));
}

}  // namespace
}  // namespace limes::recordings
