#include <cmath>
#include <random>

#include "tests/host/host_fixture.h"

namespace limes::host::test {
namespace {

using Json = nlohmann::json;

/// Curves with one bump that comes early or late.
class Align : public HostTest {
 protected:
  struct SBump {
    double late = 0.0;
    double height = 10.0;
  };

  std::string Parts(const std::string& name, const std::vector<SBump>& bumps, unsigned seed) {
    std::mt19937 random(seed);
    const auto noise = [&] { return static_cast<double>(random() % 2001) / 1000.0 - 1.0; };
    std::string text = "p0";
    for (int i = 1; i < 60; ++i) {
      text += ",p" + std::to_string(i);
    }
    for (const SBump& bump : bumps) {
      for (int i = 0; i < 60; ++i) {
        const double x = i - 30.0 - bump.late;
        text += (i == 0 ? "\n" : ",") +
                std::to_string(50.0 + bump.height * std::exp(-0.03 * x * x) + 0.2 * noise());
      }
    }
    return Write(name, text + "\n");
  }

  /// Good ones, the first in the middle.
  std::string Good() {
    std::vector<SBump> bumps(60);
    for (std::size_t i = 0; i < bumps.size(); ++i) {
      bumps[i].late = static_cast<double>(i * i % 7) - 3.0 * (i > 0 ? 1.0 : 0.0);
    }
    return Parts("good.csv", bumps, 1);
  }

  SResult Learn(const std::string& store, const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {"learn",    File(store), Good(), "--rows",
                                          "--reject", "5%",        "--dx", "0.5"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunLimes(arguments);
  }
};

TEST_F(Align, FindsWhatPlacesHide) {
  ASSERT_EQ(Learn("plain.limes", {}).code, 0);
  const std::string bad = Parts(
      "bad.csv", {{2.0, 10.0}, {0.0, 8.8}, {7.0, 10.0}, {-8.0, 10.0}, {20.0, 10.0}, {0.0, 0.0}}, 9);
  for (const char* sides : {"both", "upper", "lower"}) {
    SCOPED_TRACE(sides);
    const std::string store = std::string(sides) + ".limes";
    const SResult learnt = Learn(store, {"--align", "4", "--sides", sides});
    ASSERT_EQ(learnt.code, 0) << learnt.err;
    EXPECT_EQ(learnt.err.find("not learnt"), std::string::npos) << learnt.err;
    const std::vector<Json> parts = RunLimes({"test", File(store), bad, "--json"}).Lines();
    ASSERT_EQ(parts.size(), 6U);
    const auto shift = [](const Json& part) { return part["quantities"].back(); };
    EXPECT_EQ(parts[0]["verdict"], "OK");
    EXPECT_EQ(shift(parts[0])["name"], "shift of curve");
    EXPECT_NEAR(std::fabs(shift(parts[0])["value"].get<double>()), 1.0, 0.2);
    EXPECT_EQ(parts[2]["verdict"], "NOK") << "later than good ones";
    EXPECT_EQ(parts[2]["findings"][0]["quantity"], "shift of curve");
    EXPECT_EQ(parts[3]["verdict"], "NOK") << "at the edge: judged where it is";
    EXPECT_EQ(shift(parts[3])["verdict"], "not judged");
    EXPECT_EQ(parts[4]["verdict"], "NOK") << "far off: judged where it is";
    if (sides != std::string("upper")) {
      EXPECT_EQ(parts[5]["verdict"], "NOK") << "without a bump there is nothing to align";
      EXPECT_EQ(parts[1]["verdict"], "NOK") << "a low bump, hidden without --align";
      EXPECT_NEAR(parts[1]["findings"][0]["x"].get<double>(), 15.0, 2.0);
    }
  }
  EXPECT_EQ(RunLimes({"test", File("plain.limes"), bad, "--json"}).Lines()[1]["verdict"], "OK");
}

TEST_F(Align, SaysNothingOfWhatItCannotPlace) {
  std::vector<SBump> bumps(30, {0.0, 0.0});
  const std::string noise = Parts("noise.csv", bumps, 3);
  const SResult learnt =
      RunLimes({"learn", File("n.limes"), noise, "--rows", "--reject", "10%", "--align", "3"});
  EXPECT_NE(learnt.err.find("of 29 of 30 parts is too unlike the mean"), std::string::npos)
      << learnt.err;
  bumps.resize(12);
  for (const Json& part :
       RunLimes({"test", File("n.limes"), Parts("more.csv", bumps, 4), "--json"}).Lines()) {
    EXPECT_NE(part["verdict"], "OK");
    EXPECT_EQ(part["quantities"].back()["verdict"], "not judged");
    EXPECT_EQ(part["quantities"].back()["value"], nullptr);
  }
}

TEST_F(Align, StaysWithTheStore) {
  ASSERT_EQ(Learn("a.limes", {"--align", "4", "--modes", "1", "--whole"}).code, 0);
  const SResult other = RunLimes({"test", File("a.limes"), File("good.csv"), "--align", "3"});
  EXPECT_EQ(other.code, 2);
  EXPECT_NE(RunLimes({"show", File("a.limes")}).out.find("shift of curve"), std::string::npos);
  for (const auto& limit : RunLimes({"show", File("a.limes"), "--json"}).Lines()) {
    if (limit["name"] == "shift of curve") {  // around its modes
      const auto number = [&](const char* name) { return limit[name].at(0).get<double>(); };
      const double sign = limit["side"] == "upper" ? 1.0 : -1.0;
      EXPECT_NEAR(number("limit"),
                  number("mean") + sign * limit["factor"].get<double>() * number("spread"), 1e-5);
    }
  }
  EXPECT_EQ(RunLimes({"calibrate", File("a.limes")}).code, 0);
  const SResult edge =
      RunLimes({"learn", File("a.limes"), Parts("edge.csv", {{8.0, 10.0}, {1.0, 10.0}}, 5)});
  EXPECT_NE(edge.err.find("as far off what is learnt as --align reaches"), std::string::npos)
      << edge.err;
  EXPECT_NE(edge.out.find("learnt 1 part; 61"), std::string::npos) << edge.out;
  EXPECT_EQ(RunLimes({"forget", File("a.limes"), File("good.csv") + ":1"}).code, 0);
  ASSERT_EQ(Learn("b.limes", {"--align", "3", "--modes", "1", "--whole"}).code, 0);
  EXPECT_EQ(RunLimes({"merge", File("a.limes"), File("b.limes")}).code, 2);
  const std::string good = File("good.csv");
  const std::pair<std::vector<std::string>, const char*> kWrong[] = {
      {{"--rows", "--align", "0"}, "--align must be positive"},
      {{"--rows", "--align", "0.4"}, "--align is less than a step of x, 1"},
      {{"--values", "--align", "3"}, "not for --values"},
      {{"--rows", "--align", "3", "--whole", "--base", "1"}, "needs a --base of 0"}};
  for (const auto& [wrong, told] : kWrong) {
    std::vector<std::string> arguments = {"learn", File("wrong.limes"), good};
    arguments.insert(arguments.end(), wrong.begin(), wrong.end());
    const SResult refused = RunLimes(arguments);
    EXPECT_GE(refused.code, 2);
    EXPECT_NE(refused.err.find(told), std::string::npos) << refused.err;
  }
}

TEST_F(Align, MergesWhatLiesAtTheSamePlaceOnly) {
  const auto learn = [&](const std::string& store, double first, unsigned seed) {
    std::vector<SBump> bumps(30);
    bumps[0].late = first;
    const std::string parts = Parts(store + ".csv", bumps, seed);
    return RunLimes({"learn", File(store), parts, "--rows", "--align", "4", "--factor", "3"}).code;
  };
  ASSERT_EQ(learn("first", 0.0, 1), 0);
  ASSERT_EQ(learn("same", 0.0, 2), 0);
  ASSERT_EQ(learn("late", 2.0, 3), 0);
  EXPECT_EQ(RunLimes({"merge", File("first"), File("same")}).code, 0);
  const SResult late = RunLimes({"merge", File("first"), File("late")});
  EXPECT_EQ(late.code, 2);
  EXPECT_NE(late.err.find("later there than here"), std::string::npos) << late.err;
}

}  // namespace
}  // namespace limes::host::test
