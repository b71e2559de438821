#include <random>

#include "tests/host/host_fixture.h"

namespace limes::host::test {
namespace {

class TuneTest : public HostTest {
 protected:
  /// Rows of levels, the bad ones with a bump; a point in ten never varies but in a bad part. The
  /// last of the good ones are of a sensor that came off.
  std::string Rows(const std::string& name, int good, int bad, unsigned seed, int off = 0) const {
    std::mt19937 random(seed);
    std::string text = "label";
    for (int i = 0; i < 40; ++i) {
      text += ",v" + std::to_string(i);
    }
    for (int part = 0; part < good + bad; ++part) {
      text += part < good ? "\ngood" : "\nbad";
      for (int i = 0; i < 40; ++i) {
        const double noise = static_cast<double>(random() % 1000) / 500.0 - 1.0;
        const double bump = part >= good && i == part % 40 ? 1.0 + 0.1 * (part % 20) : 0.0;
        if (part < good && part >= good - off) {
          text += "," + std::to_string(noise);
          continue;
        }
        text += "," + std::to_string(i % 10 == 3 ? 50.0 + bump : 60.0 + (1 + i % 4) * noise + bump);
      }
    }
    return Write(name, text + "\n");
  }

  nlohmann::json Judged(const std::string& file, const std::string& base, const std::string& how,
                        const std::string& number) const {
    nlohmann::json counts = {{"good_rejected", 0}, {"bad_passed", 0}};
    for (const auto& part :
         RunLimes({"test", File("s"), file, "--base", base, how, number, "--no-store", "--json"})
             .Lines()) {
      const bool good = part["label"] == "good";
      counts["good_rejected"] =
          counts["good_rejected"].get<int>() + (good && part["verdict"] == "NOK" ? 1 : 0);
      counts["bad_passed"] =
          counts["bad_passed"].get<int>() + (!good && part["verdict"] == "OK" ? 1 : 0);
    }
    return counts;
  }
};

TEST_F(TuneTest, TellsWhatJudgingAnewWouldFind) {
  const std::string learnt = Rows("learn.csv", 30, 0, 1);
  const std::string judged = Rows("judge.csv", 65, 40, 2, 5);
  for (const char* sides : {"both", "upper"}) {
    std::filesystem::remove(File("s"));
    ASSERT_EQ(RunLimes({"learn", File("s"), learnt, "--rows", "--first-value", "v0",
                        "--label-column", "label", "--sides", sides, "--factor", "3"})
                  .code,
              0);
    ASSERT_EQ(RunLimes({"test", File("s"), judged, "--base", "0.3"}).code, 1);
    for (const std::string base : {"0", "0.3", "1"}) {
      int compared = 0;
      for (const auto& line : RunLimes({"tune", File("s"), "--base", base, "--json"}).Lines()) {
        const bool byRate = line["kind"] == "rate";
        if (byRate || line["kind"] == "factor" || line["kind"] == "base") {
          std::ostringstream atBase;
          std::ostringstream number;
          atBase << line["base"].get<double>();
          number << line[byRate ? "reject" : "factor_above"].get<double>();
          const nlohmann::json counts =
              Judged(judged, atBase.str(), byRate ? "--reject" : "--factor", number.str());
          EXPECT_EQ(line["good_rejected"], counts["good_rejected"]) << line;
          EXPECT_EQ(line["bad_passed"], counts["bad_passed"]) << line;
          EXPECT_EQ(line["unknown"], 0) << line;
          ++compared;
        }
      }
      EXPECT_GT(compared, 12);
    }
  }
}

TEST_F(TuneTest, SaysWhatItCannotTell) {
  const std::string rows = Rows("rows.csv", 30, 5, 3);
  ASSERT_EQ(RunLimes({"learn", File("s"), rows, "--rows", "--first-value", "v0", "--label-column",
                      "label", "--width", "3", "--sides", "upper"})
                .code,
            0);
  EXPECT_NE(RunLimes({"tune", File("s")}).err.find("no part was judged"), std::string::npos);
  ASSERT_LE(RunLimes({"test", File("s"), rows}).code, 1);
  EXPECT_EQ(RunLimes({"tune", File("s"), "--base", "2", "--json"}).Lines()[0]["unknown"], 35)
      << "a widened limit tells of no other base";
  EXPECT_EQ(RunLimes({"tune", File("s"), "--sides", "lower"}).code, 2);
  ASSERT_EQ(RunLimes({"tune", File("s"), "--out", File("p.svg")}).code, 0);
  EXPECT_TRUE(Read(File("p.svg")).starts_with("<svg"));
}

TEST_F(TuneTest, TellsOfValuesThatNeverChanged) {
  ASSERT_EQ(RunLimes({"learn", File("s"), Rows("learn.csv", 30, 0, 1), "--rows", "--first-value",
                      "v0", "--label-column", "label"})
                .code,
            0);
  const std::string shown = RunLimes({"show", File("s")}).out;
  EXPECT_NE(
      shown.find("4 values have never changed; a change is rejected, by chance at most 12.9 %"),
      std::string::npos)
      << shown;
}

}  // namespace
}  // namespace limes::host::test
