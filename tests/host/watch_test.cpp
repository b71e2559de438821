#include <gmock/gmock.h>

#include "apps/limes/store/database.h"
#include "tests/host/host_fixture.h"

namespace limes::host {
namespace {

using test::RunLimes;
using testing::AllOf;
using testing::HasSubstr;

class Watch : public test::HostTest {
 protected:
  std::string store_ = File("store.limes");

  void Learn() {
    Write("good.csv", "a\n1\n2\n3\n1\n2\n3\n1\n2\n4\n");
    ASSERT_EQ(RunLimes({"learn", store_, File("good.csv"), "--values", "--factor", "3", "--because",
                        "first batch"})
                  .code,
              0);
  }
};

TEST_F(Watch, TheHistoryStays) {
  Learn();
  RunLimes({"set", store_, "--base", "2", "--because", "too many false alarms"});
  RunLimes({"forget", store_, "good.csv:9", "--because", "was bad"});
  RunLimes({"test", store_, File("good.csv")});
  const auto lines = RunLimes({"log", store_, "--json"}).Lines();
  ASSERT_EQ(lines.size(), 3U) << "judging changes nothing";
  constexpr struct {
    const char* command;
    const char* reason;
    int learnt;
    double before, after;
  } kExpected[] = {{"learn", "first batch", 9, -1, 0},
                   {"set", "too many false alarms", 9, 0, 2},
                   {"forget", "was bad", 8, 2, 2}};
  for (std::size_t i = 0; i < lines.size(); ++i) {
    SCOPED_TRACE(kExpected[i].command);
    EXPECT_EQ(lines[i].at("command"), kExpected[i].command);
    EXPECT_EQ(lines[i].at("reason"), kExpected[i].reason);
    EXPECT_EQ(lines[i].at("learnt"), kExpected[i].learnt);
    const auto& before = lines[i].at("before");
    EXPECT_EQ(before.is_null() ? -1.0 : before.at("base").get<double>(), kExpected[i].before);
    EXPECT_EQ(lines[i].at("after").at("base"), kExpected[i].after);
    EXPECT_FALSE(lines[i].at("user").get<std::string>().empty());
    EXPECT_FALSE(lines[i].at("host").get<std::string>().empty());
  }
  EXPECT_EQ(lines[2].at("parts").at(0), File("good.csv") + ":9");
  EXPECT_THAT(RunLimes({"log", store_}).out,
              AllOf(HasSubstr("base 0 → 2"), HasSubstr("because: was bad")));
  CDatabase database(store_, CDatabase::Mode::kExisting);
  for (const char* rewriting : {"DELETE FROM run", "UPDATE run SET user = 'somebody else'"}) {
    EXPECT_ANY_THROW(database.Execute(rewriting)) << rewriting;
  }
}

TEST_F(Watch, RefusesWhatCannotWork) {
  Learn();
  std::filesystem::create_directory(File("in"));
  const struct {
    std::vector<std::string> words;
    int code;
    const char* text;
  } kCases[] = {{{"nowhere"}, 4, "no such folder"},
                {{File("in"), "--done", File("in")}, 2, "names the folder that is watched"},
                {{File("in"), "--still", "soon"}, 2, "needs seconds"}};
  for (const auto& c : kCases) {
    std::vector<std::string> words = {"watch", store_};
    words.insert(words.end(), c.words.begin(), c.words.end());
    const auto result = RunLimes(words);
    EXPECT_EQ(result.code, c.code) << result.err;
    EXPECT_THAT(result.err, HasSubstr(c.text));
  }
}

}  // namespace
}  // namespace limes::host
