#include <gmock/gmock.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>

#include <chrono>
#include <random>
#include <set>
#include <thread>

#include "tests/host/host_fixture.h"

namespace limes::host {
namespace {

using test::RunLimes;
using testing::HasSubstr;

class Store : public test::HostTest {
 protected:
  std::string store_ = File("store.limes");

  /// A table of two parts with three quantities each.
  std::string Table(int number) {
    const std::string n = std::to_string(number);
    return Write("t" + n + ".csv", "a,b,c\n" + n + ",2,3\n" + n + ",5,6\n");
  }

  std::vector<std::string> Learn(int first, int last) {
    std::vector<std::string> words = {"learn", store_, "--values", "--sides", "both", "--json"};
    for (int i = first; i < last; ++i) {
      words.push_back(Table(i));
    }
    return words;
  }

  /// Runs a command in a process of its own, its results in a file.
  static pid_t Start(const std::vector<std::string>& words, const std::string& out) {
    const pid_t child = fork();
    if (child == 0) {
      std::ofstream results(out);
      std::ofstream messages(out + ".err");
      SConsole console{results, messages};
      const int code = RunHost(words, console);
      results.flush();
      messages.flush();
      _exit(code);
    }
    return child;
  }

  static int Wait(pid_t child) {
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  /// Parts in the store, after a check that every learn state has learnt just these.
  std::int64_t LearntParts() {
    const auto show = RunLimes({"show", store_});
    if (show.code == 4) {
      EXPECT_THAT(show.err, HasSubstr("holds no store"));  // killed while it was made
      return 0;
    }
    const std::string text = show.out;
    const auto count = text.find(": ") + 2;
    const std::int64_t parts = std::stoll(text.substr(count));
    for (const auto& state : RunLimes({"show", store_, "--json"}).Lines()) {
      EXPECT_EQ(state.at("learnt"), parts);
    }
    return parts;
  }

  void Execute(const char* sql) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(store_.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
  }
};

TEST_F(Store, HoldsWholePartsAfterAKillAtAnyMoment) {
  std::mt19937 random(11);
  const auto words = Learn(0, 60);
  std::int64_t before = 0;
  for (int i = 0; i < 40; ++i) {
    const std::string out = File("out");
    std::ofstream(out).close();  // a child killed early has not emptied what the last one reported
    const pid_t child = Start(words, out);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 60000));
    kill(child, SIGKILL);
    Wait(child);
    const std::string reported = Read(out);
    const auto lines = std::count(reported.begin(), reported.end(), '\n');
    if (!std::filesystem::exists(store_)) {
      EXPECT_EQ(lines, 0);
      continue;
    }
    const std::int64_t parts = LearntParts();
    EXPECT_EQ(parts % 2, 0) << "a file of two parts is stored as a whole";
    EXPECT_GE(parts, before + lines);
    before = parts;
  }
  EXPECT_EQ(Wait(Start(words, File("out"))), 0);
  EXPECT_EQ(LearntParts(), before + 120);
}

TEST_F(Store, LosesNothingWhenProcessesLearnAtOnce) {
  constexpr int kProcesses = 4;
  constexpr int kFiles = 12;
  std::vector<pid_t> children;
  for (int i = 0; i < kProcesses; ++i) {  // the store does not exist yet
    children.push_back(Start(Learn(i * kFiles, (i + 1) * kFiles), File("out" + std::to_string(i))));
  }
  for (std::size_t i = 0; i < children.size(); ++i) {
    EXPECT_EQ(Wait(children[i]), 0) << Read(File("out" + std::to_string(i) + ".err"));
  }
  EXPECT_EQ(LearntParts(), 2 * kProcesses * kFiles);
  const auto a = RunLimes({"show", store_, "--json"}).Lines().at(0);
  EXPECT_NEAR(a.at("mean").at(0), (kProcesses * kFiles - 1) / 2.0, 1e-4);
}

TEST_F(Store, IsNotMadeByARunThatLearnsNothing) {
  Write("bad.csv", "a,b\n1,x\n");
  EXPECT_EQ(RunLimes({"learn", store_, File("bad.csv"), "--values"}).code, 3);
  EXPECT_EQ(RunLimes({"learn", store_, File("none.csv"), "--values"}).code, 4);
  EXPECT_EQ(RunLimes({"learn", store_, Table(1), "--values", "--sides", "left"}).code, 2);
  EXPECT_FALSE(std::filesystem::exists(store_));
  for (const char* command : {"show", "report"}) {
    EXPECT_EQ(RunLimes({command, store_}).code, 4);
  }
  EXPECT_EQ(RunLimes({"test", store_, Table(1)}).code, 4);
  EXPECT_EQ(RunLimes({"learn", "", Table(1), "--values"}).code, 4);
  EXPECT_FALSE(std::filesystem::exists(store_));
}

TEST_F(Store, RefusesOtherFilesAndLeavesThemAlone) {
  const auto expect = [&](const char* message) {
    const std::string before = Read(store_);
    for (const auto& words : {Learn(1, 2), {"test", store_, Table(1)}, {"show", store_}}) {
      const auto result = RunLimes(words);
      EXPECT_EQ(result.code, 4);
      EXPECT_THAT(result.err, HasSubstr(message));
    }
    EXPECT_EQ(Read(store_), before);
  };
  Write("store.limes", std::string(5000, 'x'));
  expect("is no store of limes");
  std::filesystem::remove(store_);
  Execute("CREATE TABLE notes(text)");
  expect("is a database, but no store of limes");
  std::filesystem::remove(store_);
  EXPECT_EQ(RunLimes(Learn(1, 3)).code, 0);
  Execute("UPDATE state SET record = substr(record, 1, 60)");
  EXPECT_EQ(RunLimes({"show", store_}).code, 4);
  EXPECT_THAT(RunLimes(Learn(1, 2)).err, HasSubstr("quantity 'a': the learn state"));
  Execute("PRAGMA user_version = 3");
  expect("has schema version 3, this program knows up to 2");
}

TEST_F(Store, OfVersion1IsReadAndBroughtUpToDate) {
  EXPECT_EQ(RunLimes(Learn(1, 3)).code, 0);
  EXPECT_EQ(RunLimes({"test", store_, Table(99)}).code, 1);
  Execute(
      "ALTER TABLE verdict DROP COLUMN learnt; ALTER TABLE verdict DROP COLUMN effective_parts;"
      "ALTER TABLE verdict DROP COLUMN chance_per_point; ALTER TABLE verdict DROP COLUMN "
      "chance_bound; ALTER TABLE defect DROP COLUMN verdict; ALTER TABLE defect DROP COLUMN excess;"
      "ALTER TABLE defect DROP COLUMN x_from; ALTER TABLE defect DROP COLUMN x_to;"
      "PRAGMA user_version = 1");
  const std::string before = RunLimes({"report", store_}).out;
  EXPECT_THAT(before, HasSubstr("NOK"));
  const auto old = RunLimes({"report", store_, "--json"}).Lines().at(0);
  EXPECT_TRUE(old.at("quantities").at(0).at("learnt").is_null());
  EXPECT_EQ(RunLimes({"test", store_, Table(99)}).code, 1);
  EXPECT_EQ(
      RunLimes({"report", store_, "--json"}).Lines().at(3).at("quantities").at(0).at("learnt"), 4);
}

}  // namespace
}  // namespace limes::host
