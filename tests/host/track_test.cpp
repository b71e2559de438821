#include <gmock/gmock.h>

#include <cmath>

#include "tests/host/host_fixture.h"

namespace limes::host {
namespace {

using test::RunLimes;
using testing::ElementsAre;
using testing::HasSubstr;

class Tracks : public test::HostTest {
 protected:
  std::string store_ = File("store");

  /// A column over speed from first to last in steps of ten, level apart from a peak.
  std::string Part(int first, int last, double level, int peak = 0) {
    std::string text = "Speed [rpm],Order [dB(Pa)]\n";
    for (int x = first; x <= last; x += 10) {
      text += std::to_string(x) + "," + std::to_string(x == peak ? level + 50.0 : level) + "\n";
    }
    return Write(std::to_string(first) + "-" + std::to_string(last), text);
  }

  void Learn(const std::string& store, int from, int to) {
    for (int i = from; i < to; ++i) {
      const std::string part = Part(100 - 10 * i, 200 + 20 * i, 60.0 + i);
      EXPECT_EQ(RunLimes({"learn", store, part, "--tracks", "--sides", "both"}).code, 0);
    }
  }

  nlohmann::json Test(const std::string& part, const char* verdict) {
    const auto result = RunLimes({"test", store_, part, "--json"});
    const auto line = result.Lines().at(0);
    EXPECT_EQ(line.at("verdict"), verdict) << result.out << result.err;
    return line;
  }
};

TEST_F(Tracks, LearnAndJudgeEachPartOnItsOwnRange) {
  Learn(store_, 0, 5);
  const auto upper = RunLimes({"show", store_, "--json"}).Lines().at(0);
  EXPECT_EQ(upper.at("kind"), "track");
  EXPECT_EQ(upper.at("x_first"), 60.0);
  EXPECT_EQ(upper.at("x_last"), 280.0);
  EXPECT_THAT(upper.at("learnt_at"),
              ElementsAre(1, 2, 3, 4, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 4, 4, 3, 3, 2, 2, 1, 1));
  EXPECT_TRUE(upper.at("limit").at(1).is_null());  // fewer than three parts
  EXPECT_TRUE(upper.at("limit").at(19).is_null());
  EXPECT_NEAR(upper.at("limit").at(10), 62.0 + 3.0 * std::sqrt(2.5), 1e-2);
  EXPECT_EQ(Test(Part(80, 240, 62.0), "OK").at("quantities").at(0).at("judged_share"), 1.0);
  EXPECT_EQ(Test(Part(60, 280, 62.0, 70), "OK").at("defects").size(), 0U);
  EXPECT_THAT(Test(Part(110, 230, 62.0, 180), "NOK").at("defects").at(0),
              HasSubstr("180.00 rpm above upper limit"));
  Test(Part(110, 170, 62.0), "not judged");   // less than half of the limit
  Test(Part(-400, 240, 62.0), "not judged");  // less than half of the part
  Test(Part(5000, 6000, 62.0), "not judged");
  EXPECT_EQ(RunLimes({"learn", File("s"), Part(0, 9, 1.0), "--tracks", "--width", "9"}).code, 2);
}

TEST_F(Tracks, OfTwoBenchesAreJoined) {
  Learn(store_, 0, 8);
  Learn(File("one"), 0, 5);
  Learn(File("other"), 5, 8);
  EXPECT_EQ(RunLimes({"merge", File("one"), File("other")}).code, 0);
  const auto joined = RunLimes({"show", File("one"), "--json"}).Lines().at(0);
  const auto expected = RunLimes({"show", store_, "--json"}).Lines().at(0);
  EXPECT_EQ(joined.at("learnt"), 8);
  EXPECT_EQ(joined.at("learnt_at"), expected.at("learnt_at"));
  EXPECT_EQ(joined.at("x_first"), expected.at("x_first"));
  EXPECT_NEAR(joined.at("limit").at(12), expected.at("limit").at(12), 1e-2);
}

}  // namespace
}  // namespace limes::host
