#include <gmock/gmock.h>

#include "apps/limes/commands/options.h"
#include "apps/limes/errors.h"

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

}  // namespace
}  // namespace limes::host
