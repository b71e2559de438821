#include <gmock/gmock.h>

#include <cmath>
#include <random>

#include "apps/limes/model/model.h"
#include "tests/host/host_fixture.h"

namespace limes::host::test {
namespace {

using Json = nlohmann::json;
using testing::HasSubstr;

/// Curves of 12 points with a spread of 1 about a level.
class Precise : public HostTest {
 protected:
  std::string store_ = File("store.limes");

  static std::vector<float> Curve(std::mt19937& random, double level) {
    std::vector<float> values;
    for (int i = 0; i < 12; ++i) {
      double sum = -6.0;
      for (int k = 0; k < 12; ++k) {
        sum += static_cast<double>(random() % 10001) / 10000.0;
      }
      values.push_back(static_cast<float>(level + i + sum));
    }
    return values;
  }

  /// A table with a row per part, of two products where these are given.
  std::string Table(const std::string& name, int count, unsigned seed, double level,
                    double fault = 0.0, bool products = false) {
    std::mt19937 random(seed);
    std::ostringstream text;
    text.precision(9);
    for (int part = -1; part < count; ++part) {
      text << (!products ? "" : part < 0 ? "product," : part % 2 == 0 ? "A," : "B,");
      const std::vector<float> values = Curve(random, level);
      for (std::size_t i = 0; i < values.size(); ++i) {
        text << (i == 0 ? "" : ",") << (part < 0 ? "p" : "");
        part < 0 ? text << i : text << values[i] + (i == 7 ? fault : 0.0);
      }
      text << "\n";
    }
    return Write(name, text.str());
  }

  SResult Run(const std::string& command, std::vector<std::string> more) {
    more.insert(more.begin(), {command, store_});
    return RunLimes(more);
  }

  SResult Learn(const std::string& table, std::vector<std::string> more = {}) {
    more.insert(more.begin(), {table, "--rows"});
    return Run("learn", more);
  }

  std::vector<Json> Shown() { return Run("show", {"--json"}).Lines(); }
  bool IsPrecise() { return Shown().at(0).value("precise", false); }
};

/// The spread of a curve far above 0 is lost in float sums, and kept in double.
TEST_F(Precise, KeepsTheSpreadOfManyParts) {
  constexpr int kParts = 4000;
  constexpr double kLevel = 1000.0;
  for (const bool precise : {false, true}) {
    SGivenSettings given;
    given.precise = precise;
    CModel model(Resolve(given, std::nullopt, true));
    std::mt19937 random(5);
    std::vector<long double> sums(12);
    std::vector<long double> squares(12);
    for (int n = 0; n < kParts; ++n) {
      SPart part;
      part.name = "part";
      part.quantities.emplace_back().name = "curve";
      part.quantities[0].values = Curve(random, kLevel);
      for (std::size_t i = 0; i < 12; ++i) {
        const long double distance = part.quantities[0].values[i] - kLevel;
        sums[i] += distance;
        squares[i] += distance * distance;
      }
      ASSERT_EQ(model.Learn(part, false), "");
    }
    double worst = 0.0;
    const SLearntSummary learnt = model.Summaries().at(0);
    for (std::size_t i = 0; i < 12; ++i) {
      const long double mean = sums[i] / kParts;
      const double exact = std::sqrt(static_cast<double>(squares[i] / kParts - mean * mean));
      worst = std::max(worst, std::fabs(learnt.spread.at(i) / exact - 1.0));
    }
    EXPECT_EQ(worst < 1e-6, precise) << worst;
    EXPECT_EQ(worst > 0.3, !precise) << worst;
    EXPECT_EQ(model.Warnings().empty(), precise);
    EXPECT_EQ(model.NeedsDouble().empty(), precise);
  }
}

/// Where single precision will do, both give the same verdicts and nearly the same numbers.
TEST_F(Precise, JudgesAsInSinglePrecision) {
  const std::string good = Table("good.csv", 60, 1, 20.0);
  const std::string judged = Table("judged.csv", 20, 2, 20.0, 2.0);
  for (const std::vector<std::string>& rule : {std::vector<std::string>{"--reject", "5%"},
                                               {"--factor", "3", "--base", "0.2"},
                                               {"--sides", "lower", "--factor", "2"},
                                               {"--cover", "99%"},
                                               {"--modes", "1"}}) {
    std::vector<std::vector<Json>> lines;
    for (const bool precise : {false, true}) {
      std::filesystem::remove(store_);
      auto options = rule;
      if (precise) {
        options.emplace_back("--precise");
      }
      ASSERT_EQ(Learn(good, options).code, 0);
      EXPECT_EQ(IsPrecise(), precise);
      lines.push_back(Run("test", {judged, "--json"}).Lines());
      ASSERT_EQ(lines.back().size(), 20U);
      EXPECT_EQ(Run("show", {}).out.find("learnt in double precision") != std::string::npos,
                precise);
    }
    for (std::size_t n = 0; n < 20; ++n) {
      const Json& single = lines[0][n];
      const Json& precise = lines[1][n];
      EXPECT_EQ(single["verdict"], precise["verdict"]) << rule[0];
      for (const char* name : {"limit", "mean", "spread", "x", "max_deviation", "factor"}) {
        EXPECT_NEAR(single["quantities"][0][name].get<double>(),
                    precise["quantities"][0][name].get<double>(), 5e-3)
            << rule[0] << " " << name;
      }
    }
  }
}

/// A state that all commands go on with: what is left is what was never learnt otherwise.
TEST_F(Precise, GoesOnWithAllCommands) {
  const std::string first = Table("first.csv", 30, 1, 1000.0);
  const std::string second = Table("second.csv", 10, 2, 1000.0);
  ASSERT_EQ(Learn(first, {"--precise", "--guard"}).code, 0);
  const auto before = Shown();
  ASSERT_EQ(Learn(second).code, 0);
  EXPECT_NE(Shown(), before);
  ASSERT_EQ(Run("forget", {"--run", "2"}).code, 0);
  EXPECT_EQ(Shown(), before) << "bit for bit";

  const std::string bad = Table("bad.csv", 1, 3, 1000.0, 30.0);
  EXPECT_EQ(Run("test", {bad}).code, 1);
  EXPECT_THAT(Learn(bad).err, HasSubstr("held back"));
  EXPECT_EQ(Shown(), before);
  const std::string held = Run("show", {"--held", "--json"}).Lines().at(0).at("part");
  EXPECT_EQ(Run("accept", {held}).code, 0);
  EXPECT_EQ(Run("forget", {held}).code, 0);
  EXPECT_EQ(Shown(), before);
  EXPECT_EQ(Run("calibrate", {}).code, 0);
  EXPECT_EQ(Run("tune", {}).code, 0);
  EXPECT_EQ(Run("set", {"--factor", "4"}).code, 0);
  EXPECT_THAT(Learn(Table("far.csv", 1, 4, 1000.0, 90.0)).err, HasSubstr("held back"));
  EXPECT_EQ(Run("rebase", {}).code, 0);
  EXPECT_EQ(Run("show", {"--past", "--json"}).Lines().at(0).at("learnt"), 30);
  EXPECT_TRUE(IsPrecise());
}

/// Joined in any order, also with what was learnt in single precision before.
TEST_F(Precise, IsJoined) {
  const std::string whole = store_;
  ASSERT_EQ(Learn(Table("all.csv", 40, 1, 50.0), {"--precise", "--factor", "3"}).code, 0);
  const Json all = Shown().at(0);
  for (const bool single : {false, true}) {
    const std::string name = single ? "s" : "p";
    const auto part = [&](const std::string& rows, const std::vector<std::string>& more) {
      store_ = File(name + rows + ".limes");
      std::vector<std::string> options = {"--parts", rows, "--factor", "3"};
      options.insert(options.end(), more.begin(), more.end());
      EXPECT_EQ(Learn(File("all.csv"), options).code, 0);
      return store_;
    };
    const std::string here = part("1-25", {"--precise"});
    const std::string there =
        part("26-40", single ? std::vector<std::string>{} : std::vector<std::string>{"--precise"});
    if (single) {
      EXPECT_THAT(RunLimes({"merge", there, here}).err, HasSubstr("limes set"));
    }
    const SResult merged = RunLimes({"merge", here, there});
    EXPECT_EQ(merged.code, 0);
    EXPECT_EQ(merged.err.find("single precision") != std::string::npos, single);
    store_ = here;
    const Json joined = Shown().at(0);
    EXPECT_EQ(joined["learnt"], 40);
    for (std::size_t i = 0; i < 12; ++i) {
      EXPECT_NEAR(joined["spread"][i].get<double>(), all["spread"][i].get<double>(), 1e-3);
    }
  }
}

/// Turned on by itself, or later, the store is that of one that was learnt with it.
TEST_F(Precise, IsTurnedOn) {
  const std::string offset = Table("offset.csv", 30, 1, 1000.0);
  ASSERT_EQ(Learn(offset, {"--precise"}).code, 0);
  const auto expected = Shown();
  const struct {
    std::vector<std::string> options;
    const char* table;
    bool turns;
  } kCases[] = {
      {{}, "offset.csv", true},
      {{"--no-precise"}, "offset.csv", false},
      {{"--parts", "1-9"}, "offset.csv", false},  // of few parts it may be chance
      {{"--time-scale", "100"}, "offset.csv", false},
      {{"--width", "1"}, "offset.csv", false},
      {{}, "near.csv", false},
      {{"--variant", "product"}, "products.csv", true},
  };
  Table("near.csv", 30, 1, 10.0);
  Table("products.csv", 30, 1, 1000.0, 0.0, true);
  for (const auto& c : kCases) {
    std::filesystem::remove(store_);
    const SResult learnt = Learn(File(c.table), c.options);
    EXPECT_EQ(learnt.code, 0);
    EXPECT_EQ(learnt.err.find("are learnt in double") != std::string::npos, c.turns) << learnt.err;
    EXPECT_EQ(IsPrecise(), c.turns) << learnt.err;
    if (c.turns && c.options.empty()) {
      EXPECT_EQ(Shown(), expected);
      EXPECT_THAT(Run("log", {}).out, HasSubstr("precise"));
    }
  }
  std::filesystem::remove(store_);
  ASSERT_EQ(Learn(offset, {"--no-precise"}).code, 0);
  EXPECT_THAT(Learn(offset, {"--precise"}).err, HasSubstr("limes set --precise turns it"));
  EXPECT_EQ(Run("set", {"--precise"}).code, 0);
  EXPECT_EQ(Shown(), expected);
  EXPECT_THAT(Run("set", {"--precise"}).err, HasSubstr("changes nothing"));
  EXPECT_EQ(Learn(offset, {"--no-precise"}).code, 2);
}

TEST_F(Precise, SaysWhatItIsNotFor) {
  const std::string good = Table("good.csv", 12, 1, 20.0);
  const struct {
    std::vector<std::string> options;
    const char* said;
  } kRefused[] = {{{"--width", "1"}, "are not widened"},
                  {{"--time-scale", "200"}, "counts all parts alike"},
                  {{"--tracks"}, "--tracks are learnt in single precision"}};
  for (const auto& [options, said] : kRefused) {
    auto more = options;
    more.emplace_back("--precise");
    EXPECT_THAT(Learn(good, more).err, HasSubstr(said));
    EXPECT_FALSE(std::filesystem::exists(store_));
    ASSERT_EQ(Learn(good, options).code, 0);
    EXPECT_THAT(Run("set", {"--precise"}).err, HasSubstr(said));
    std::filesystem::remove(store_);
  }
  EXPECT_THAT(Run("learn", {good, "--values", "--precise"}).err, HasSubstr("always learnt in"));
}

}  // namespace
}  // namespace limes::host::test
