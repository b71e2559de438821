#include <algorithm>
#include <cmath>
#include <random>

#include "apps/limes/store/store.h"
#include "tests/host/host_fixture.h"

namespace limes::host::test {
namespace {

using Json = nlohmann::json;

/// Curves of 40 points that all rise and fall together by far more than each point by itself.
class Modes : public HostTest {
 protected:
  /// A table with a row per part: amount of the common way, a bump at point 11, and a ripple.
  std::string Parts(const std::string& name, int count, unsigned seed, double bump = 0.0,
                    double more = 0.0, double ripple = 0.0) {
    std::mt19937 random(seed);
    const auto noise = [&] {  // nearly Normal, the same everywhere
      double sum = 0.0;
      for (int i = 0; i < 12; ++i) {
        sum += static_cast<double>(random() % 10001) / 10000.0 - 0.5;
      }
      return sum;
    };
    std::string text = "p0";
    for (int i = 1; i < 40; ++i) {
      text += ",p" + std::to_string(i);
    }
    for (int part = 0; part < count; ++part) {
      const double amount = 3.0 * noise() + more;
      for (int i = 0; i < 40; ++i) {
        const double value = 50.0 + amount * std::cos(0.05 * i) + 0.2 * noise() +
                             (i == 11 ? bump : 0.0) + (i % 2 == 0 ? ripple : -ripple);
        text += (i == 0 ? "\n" : ",") + std::to_string(value);
      }
    }
    return Write(name, text + "\n");
  }

  SResult Learn(const std::string& store, const std::vector<std::string>& more,
                const std::string& parts) {
    std::vector<std::string> arguments = {"learn", File(store), parts, "--rows", "--reject", "5%"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunLimes(arguments);
  }

  Json Test(const std::string& store, const std::string& parts) {
    const SResult result = RunLimes({"test", File(store), parts, "--json", "--no-store"});
    EXPECT_LE(result.code, 1) << result.err;
    return result.Lines().at(0);
  }
};

TEST_F(Modes, FindWhatThePointsHide) {
  const std::string good = Parts("good.csv", 100, 1);
  ASSERT_EQ(Learn("plain.limes", {}, good).code, 0);
  const SResult learnt = Learn("modes.limes", {"--modes", "1"}, good);
  ASSERT_EQ(learnt.code, 0) << learnt.err;

  const std::string bump = Parts("bump.csv", 1, 7, 1.6);
  EXPECT_EQ(Test("plain.limes", bump)["verdict"], "OK");
  const Json found = Test("modes.limes", bump);
  EXPECT_EQ(found["verdict"], "NOK");
  ASSERT_FALSE(found["findings"].empty());
  EXPECT_EQ(found["findings"][0]["x"], 11.0);
  const Json& upper = found["quantities"][0];
  EXPECT_NEAR(
      upper["limit"].get<double>(),
      upper["mean"].get<double>() + upper["factor"].get<double>() * upper["spread"].get<double>(),
      1e-3);

  const Json far = Test("modes.limes", Parts("far.csv", 1, 7, 0.0, 25.0));
  EXPECT_EQ(far["verdict"], "NOK");
  ASSERT_FALSE(far["findings"].empty());
  EXPECT_EQ(far["findings"][0]["quantity"], "mode 1");
  EXPECT_GT(far["modes"][0]["amount"].get<double>(), far["modes"][0]["limit"].get<double>());
  EXPECT_EQ(far["quantities"][0]["verdict"], "OK");  // its points are as good ones'

  const SResult judged = RunLimes({"test", File("modes.limes"), File("far.csv")});
  EXPECT_NE(judged.out.find("mode 1: "), std::string::npos) << judged.out;
  const SResult shown = RunLimes({"show", File("modes.limes")});
  EXPECT_NE(shown.out.find("1 mode of 40 points, explaining of the variance 9"), std::string::npos)
      << shown.out;
  const Json curves = RunLimes({"show", File("modes.limes"), "--json"}).Lines().back();
  EXPECT_EQ(curves["modes"][0]["curves"].begin()->size(), 40U);
  const SResult stored = RunLimes({"report", File("modes.limes"), "--json"});
  EXPECT_EQ(stored.Lines().at(0)["modes"][0]["name"], "mode 1");
  for (const Json& line : RunLimes({"tune", File("modes.limes"), "--json"}).Lines()) {
    if (line["kind"] == "rate" && line["reject"] == 0.05) {
      EXPECT_EQ(line["rejected"], 1) << line;  // of the one part that was stored
    }
  }
}

TEST_F(Modes, PromiseOneRateForPointsAndAmounts) {
  ASSERT_EQ(Learn("a.limes", {"--modes", "3"}, Parts("good.csv", 200, 2)).code, 0);
  const SResult result = RunLimes({"test", File("a.limes"), Parts("more.csv", 400, 3), "--json"});
  int nok = 0;
  for (const Json& part : result.Lines()) {
    nok += part["verdict"] == "NOK" ? 1 : 0;
  }
  EXPECT_GE(nok, 4);
  EXPECT_LE(nok, 40);
}

// Of a fault that is small at every point the points say nothing, with modes or without.
TEST_F(Modes, WholeFindsWhatIsSmallEverywhere) {
  const std::string good = Parts("good.csv", 100, 1);
  const std::string ripple = Parts("ripple.csv", 1, 7, 0.0, 0.0, 0.3);
  const std::string more = Parts("more.csv", 200, 3);
  for (const char* modes : {"0", "1"}) {
    SCOPED_TRACE(modes);
    const std::string points = std::string("points") + modes + ".limes";
    const std::string whole = std::string("whole") + modes + ".limes";
    ASSERT_EQ(Learn(points, {"--modes", modes}, good).code, 0);
    ASSERT_EQ(Learn(whole, {"--modes", modes, "--whole"}, good).code, 0);
    EXPECT_EQ(Test(points, ripple)["verdict"], "OK");
    const SResult result = RunLimes({"test", File(whole), ripple, more, "--json"});
    const std::vector<Json> parts = result.Lines();
    ASSERT_EQ(parts.size(), 201U) << result.err;
    EXPECT_EQ(parts[0]["findings"][0]["quantity"], "whole part");
    const Json& told = parts[0]["modes"].back();
    EXPECT_GT(told["amount"].get<double>(), told["limit"].get<double>());
    const auto nok = std::count_if(parts.begin() + 1, parts.end(),
                                   [](const Json& part) { return part["verdict"] == "NOK"; });
    EXPECT_LE(nok, 21) << "one rate for points, amounts and the whole";
    EXPECT_GE(nok, 1);
    for (const Json& line : RunLimes({"tune", File(whole), "--json"}).Lines()) {
      if (line["kind"] == "rate" && line["reject"] == 0.05) {
        EXPECT_EQ(line["rejected"], nok + 1) << line;
      }
    }
    EXPECT_EQ(RunLimes({"calibrate", File(whole)}).code, 0);
    EXPECT_EQ(Test(whole, ripple)["verdict"], "NOK");
    EXPECT_EQ(RunLimes({"merge", File(whole), File(points)}).code, 2);
    EXPECT_EQ(RunLimes({"set", File(whole), "--factor", "3"}).code, 2);
    ASSERT_EQ(RunLimes({"set", File(whole), "--no-whole"}).code, 0);
    EXPECT_EQ(RunLimes({"show", File(whole), "--json"}).out,
              RunLimes({"show", File(points), "--json"}).out);
  }
  const SResult few = Learn("few.limes", {"--whole"}, Parts("few.csv", 9, 1));
  EXPECT_NE(few.err.find("--whole needs 10 parts, 9 parts are learnt"), std::string::npos)
      << few.err;
  EXPECT_EQ(Test("few.limes", File("few.csv"))["verdict"], "not judged");
}

TEST_F(Modes, WaitForPartsEnough) {
  const SResult learnt = Learn("few.limes", {"--modes", "5"}, Parts("few.csv", 15, 1));
  EXPECT_EQ(learnt.code, 0);
  EXPECT_NE(learnt.err.find("5 modes of all points need 20 parts, 15 parts are learnt: limes set "
                            "--modes 3 needs no more"),
            std::string::npos)
      << learnt.err;
  const Json judged = Test("few.limes", File("few.csv"));
  EXPECT_EQ(judged["verdict"], "not judged");
  const std::string reason = judged["quantities"][0]["reason"];
  EXPECT_NE(reason.find("need 20 parts"), std::string::npos) << reason;
  EXPECT_EQ(Learn("few.limes", {"--modes", "2"}, File("few.csv")).code, 2);
  EXPECT_EQ(RunLimes({"learn", File("no.limes"), File("few.csv"), "--rows", "--modes", "51"}).code,
            2);
}

TEST_F(Modes, JudgeNothingWhenTheyCannotBeRead) {
  ASSERT_EQ(Learn("a.limes", {"--modes", "1"}, Parts("good.csv", 30, 1)).code, 0);
  {
    CStore store(File("a.limes"), CStore::Mode::kExisting);
    store.Begin();
    std::vector<std::uint8_t> record = store.Modes();
    record[record.size() / 2] ^= 1;
    store.SetModes(record);
    store.Commit();
  }
  const SResult test = RunLimes({"test", File("a.limes"), File("good.csv")});
  EXPECT_EQ(test.code, 4);
  EXPECT_NE(test.err.find("the modes: "), std::string::npos) << test.err;
}

TEST_F(Modes, AreChosenWhereTheyHelp) {
  const std::string good = Parts("good.csv", 120, 4);
  const SResult learnt = Learn("auto.limes", {"--modes", "auto"}, good);
  ASSERT_EQ(learnt.code, 0) << learnt.err;
  EXPECT_NE(learnt.out.find("modes 3; "), std::string::npos) << learnt.out;
  EXPECT_NE(learnt.out.find("the whole is judged, too"), std::string::npos) << learnt.out;
  ASSERT_EQ(Learn("three.limes", {"--modes", "3", "--whole"}, good).code, 0);
  const auto limits = [&](const char* store) {
    return RunLimes({"show", File(store), "--json"}).out;
  };
  EXPECT_EQ(limits("auto.limes"), limits("three.limes"));
  // There and back again, bit for bit.
  ASSERT_EQ(Learn("plain.limes", {}, good).code, 0);
  ASSERT_EQ(RunLimes({"set", File("three.limes"), "--modes", "0", "--no-whole"}).code, 0);
  EXPECT_EQ(limits("three.limes"), limits("plain.limes"));
  ASSERT_EQ(RunLimes({"set", File("plain.limes"), "--modes", "auto"}).code, 0);
  EXPECT_EQ(limits("auto.limes"), limits("plain.limes"));
}

TEST_F(Modes, AreForgottenJoinedAndCalibrated) {
  const std::string good = Parts("good.csv", 90, 5);
  ASSERT_EQ(Learn("all.limes", {"--modes", "2"}, good).code, 0);
  ASSERT_EQ(Learn("less.limes", {"--modes", "2", "--parts", "1-89"}, good).code, 0);
  const auto parts = RunLimes({"forget", File("all.limes"), "good.csv:90"});
  ASSERT_EQ(parts.code, 0) << parts.err;
  const auto limits = [&](const char* store) {
    return RunLimes({"show", File(store), "--json"}).out;
  };
  EXPECT_EQ(limits("all.limes"), limits("less.limes"));

  ASSERT_EQ(Learn("rest.limes", {"--modes", "2"}, Parts("rest.csv", 60, 6)).code, 0);
  const SResult merged =
      RunLimes({"merge", File("joint.limes"), File("less.limes"), File("rest.limes")});
  ASSERT_EQ(merged.code, 0) << merged.err;
  EXPECT_EQ(RunLimes({"show", File("joint.limes"), "--json"}).Lines().back()["learnt"], 149);
  ASSERT_EQ(Learn("other.limes", {"--modes", "3"}, File("rest.csv")).code, 0);
  EXPECT_EQ(RunLimes({"merge", File("joint.limes"), File("other.limes")}).code, 2);

  const SResult calibrated = RunLimes({"calibrate", File("less.limes")});
  EXPECT_EQ(calibrated.code, 0) << calibrated.err;
  EXPECT_NE(calibrated.out.find("calibrated by 89 parts"), std::string::npos) << calibrated.out;
  EXPECT_EQ(Test("less.limes", Parts("bump.csv", 1, 7, 1.6))["verdict"], "NOK");
}

}  // namespace
}  // namespace limes::host::test
