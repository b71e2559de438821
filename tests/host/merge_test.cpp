#include <gmock/gmock.h>

#include <random>

#include "tests/host/host_fixture.h"

namespace limes::host {
namespace {

using test::RunLimes;
using testing::ElementsAre;
using testing::HasSubstr;

class Merge : public test::HostTest {
 protected:
  std::string Learn(const std::string& name, int parts, const std::vector<std::string>& options,
                    const std::string& header = "a [mm],b,c") {
    std::mt19937 random(static_cast<unsigned>(parts));
    std::string text = header + "\n";
    for (int i = 0; i < parts; ++i) {
      for (int k = 0; k < 3; ++k) {
        text += std::to_string(random() % 1000) + (k < 2 ? "," : "\n");
      }
    }
    std::vector<std::string> words = {"learn", File(name), Write(name + ".csv", text)};
    words.insert(words.end(), options.begin(), options.end());
    EXPECT_EQ(RunLimes(words).code, 0);
    return File(name);
  }
};

TEST_F(Merge, GivesWhatLearningOneAfterTheOtherGives) {
  for (const std::vector<std::string>& options :
       {std::vector<std::string>{"--rows", "--sides", "both"},
        {"--values", "--time-scale", "9", "--base", "2"}}) {
    const std::string id = options[0];
    const std::string a = Learn("a" + id, 31, options);
    const std::string b = Learn("b" + id, 12, options);
    EXPECT_EQ(RunLimes({"merge", File("joint" + id), a, b}).code, 0);
    EXPECT_EQ(RunLimes({"merge", a, b, "--json"}).Lines().at(0).at("parts"), 12);
    const std::string one = Learn("one" + id, 31, options);
    EXPECT_EQ(RunLimes({"learn", one, File("b" + id + ".csv")}).code, 0);
    const auto expected = RunLimes({"show", one, "--json"}).Lines();
    EXPECT_EQ(RunLimes({"show", a, "--json"}).out,
              RunLimes({"show", File("joint" + id), "--json"}).out);
    const auto joined = RunLimes({"show", a, "--json"}).Lines();
    ASSERT_EQ(joined.size(), expected.size());
    for (std::size_t i = 0; i < joined.size(); ++i) {
      EXPECT_EQ(joined[i].at("learnt"), 43);
      EXPECT_NEAR(joined[i].at("limit").at(0), expected[i].at("limit").at(0), 0.01);
    }
  }
}

TEST_F(Merge, RefusesOtherStatesWithAReasonAndChangesNothing) {
  const std::string a = Learn("a", 5, {"--values"});
  const std::string fits = Learn("fits", 6, {"--values"}, "b,a [mm],d");
  const std::string before = RunLimes({"show", a, "--json"}).out;
  const struct {
    std::string other;
    int code;
    const char* message;
  } cases[] = {
      {Learn("unit", 4, {"--values"}, "b,a [inch],c"), 2, "quantity 'a': the units differ: inch"},
      {Learn("rule", 4, {"--values", "--base", "3"}), 2, "quantity 'a': --base 3.0 there, 0.0"},
      {Learn("scale", 4, {"--values", "--time-scale", "7"}), 2, "--time-scale 7 there"},
      {Learn("kind", 4, {"--rows", "--name", "b"}), 2, "quantity 'b': is a curve there"},
      {Learn("names", 4, {"--values"}, "x,y,z"), 2, "no quantity that both"},
      {a, 2, "are the same store"},
      {fits, 2, "are the same store"},
      {File("none"), 4, "there is no such store"},
      {Write("text", "text"), 4, "is no store of limes"},
  };
  for (const auto& c : cases) {
    const auto result = RunLimes({"merge", a, fits, c.other});
    EXPECT_EQ(result.code, c.code);
    EXPECT_THAT(result.err, HasSubstr(c.message));
    EXPECT_EQ(RunLimes({"show", a, "--json"}).out, before);
  }
  const auto curve = Learn("curve", 5, {"--rows"});
  EXPECT_THAT(RunLimes({"merge", curve, Learn("step", 5, {"--rows", "--dx", "2"})}).err,
              HasSubstr("quantity 'curve': the x axes differ"));
  EXPECT_EQ(RunLimes({"merge", File("new"), a, curve}).code, 2);
  EXPECT_FALSE(std::filesystem::exists(File("new")));
  const auto line = RunLimes({"merge", a, fits, "--json"}).Lines().at(0);
  EXPECT_THAT(line.at("joined"), ElementsAre("b", "a"));
  EXPECT_THAT(line.at("left_out"), ElementsAre("d"));
  EXPECT_THAT(line.at("unchanged"), ElementsAre("c"));
}

}  // namespace
}  // namespace limes::host
