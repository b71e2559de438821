#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <iostream>
#include <random>
#include <set>
#include <thread>
#include <tuple>

#include "apps/limes/commands/relearn.h"
#include "apps/limes/store/checked_pages.h"
#include "apps/limes/store/database.h"
#include "apps/limes/store/store_schema.h"
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
    std::vector<std::string> words = {"learn", store_,    "--values", "--sides",
                                      "both",  "--again", "--json"};
    for (int i = first; i < last; ++i) {
      words.push_back(Table(i));
    }
    return words;
  }

  /// Another one in each repetition with --gtest_shuffle.
  static unsigned Seed() {
    return 11 + static_cast<unsigned>(testing::UnitTest::GetInstance()->random_seed());
  }

  /// Runs a command in a process of its own, its results in a file. No file grows beyond most.
  /// Root, who may write anything, becomes somebody else.
  static pid_t Start(const std::vector<std::string>& words, const std::string& out,
                     rlim_t most = RLIM_INFINITY, bool asRoot = true) {
    const pid_t child = fork();
    if (child == 0) {
      const rlimit limit{most, most};
      setrlimit(RLIMIT_FSIZE, &limit);
      signal(SIGXFSZ, SIG_IGN);
      std::ofstream results(out);
      std::ofstream messages(out + ".err");
      SConsole console{results, messages};
      constexpr unsigned kNobody = 65534;
      const bool drops = !asRoot && getuid() == 0;
      const bool dropped = drops && setgid(kNobody) == 0 && setuid(kNobody) == 0;
      const int code = drops && !dropped ? -1 : RunHost(words, console);
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

  /// Whole lines about parts in JSON output.
  static std::int64_t PartsIn(const std::string& json) {
    std::int64_t parts = 0;
    for (std::size_t end, at = 0; (end = json.find('\n', at)) != std::string::npos; at = end + 1) {
      parts += json.compare(at, 8, "{\"part\":") == 0 ? 1 : 0;
    }
    return parts;
  }

  void Execute(const std::string& sql) {
    sqlite3* database = nullptr;
    constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    ASSERT_EQ(sqlite3_open_v2(store_.c_str(), &database, kFlags, CheckedPages()), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
  }
};

TEST_F(Store, HoldsWholePartsAfterAKillAtAnyMoment) {
  std::mt19937 random(Seed());
  const auto words = Learn(0, 60);
  auto judging = words;
  judging.erase(judging.begin() + 2, judging.begin() + 6);
  judging[0] = "test";
  std::int64_t before = 0;
  std::int64_t judgedBefore = 0;
  for (int i = 0; i < 40; ++i) {
    const bool learns = i % 3 != 2 || before == 0;
    const std::string out = File("out");
    std::ofstream(out).close();  // a child killed early has not emptied what the last one reported
    const pid_t child = Start(learns ? words : judging, out);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 60000));
    kill(child, SIGKILL);
    Wait(child);
    const std::string reported = Read(out);
    const auto lines = PartsIn(reported);
    if (!std::filesystem::exists(store_)) {
      EXPECT_EQ(lines, 0);
      continue;
    }
    const std::int64_t parts = LearntParts();
    EXPECT_EQ(parts % 2, 0) << "a file of two parts is stored as a whole";
    EXPECT_GE(parts, before + (learns ? lines : 0));
    before = parts;
    const std::int64_t judged = PartsIn(RunLimes({"report", store_, "--all-runs", "--json"}).out);
    EXPECT_GE(judged, judgedBefore + (learns ? 0 : lines));
    judgedBefore = judged;
  }
  EXPECT_EQ(Wait(Start(words, File("out"))), 0);
  EXPECT_EQ(LearntParts(), before + 120);
}

TEST_F(Store, KeepsWhatWasReportedWhenItCannotGrow) {
  std::mt19937 random(Seed());
  std::int64_t before = 0;
  for (int i = 0; i < 12; ++i) {
    const pid_t child = Start(Learn(0, 20), File("out"), 1 + random() % 150000);
    EXPECT_THAT(Wait(child), testing::AnyOf(0, 4));
    if (std::filesystem::exists(store_)) {
      const std::string reported = Read(File("out"));
      const std::int64_t parts = LearntParts();
      EXPECT_GE(parts, before + PartsIn(reported));
      before = parts;
    }
  }
  EXPECT_EQ(RunLimes(Learn(0, 1)).code, 0);  // there is space again
  EXPECT_EQ(LearntParts(), before + 2);
}

TEST_F(Store, ThatMustNotBeWrittenIsLeftAlone) {
  constexpr auto kAll = std::filesystem::perms(0777);
  constexpr auto kFileOnly = std::filesystem::perms(0444);
  constexpr auto kFolderOnly = std::filesystem::perms(0555);
  const auto learn = Learn(0, 2);
  EXPECT_EQ(RunLimes(learn).code, 0);
  auto fresh = learn;
  fresh[1] = File("new.limes");
  const std::vector<std::string> test = {"test", store_, Table(1)};
  const std::string folder = std::filesystem::path(store_).parent_path();
  const std::string before = Read(store_);
  constexpr const char* kMessage = "the store or its folder must not be written";
  const std::tuple<std::filesystem::perms, std::filesystem::perms, std::vector<std::string>, int,
                   const char*>
      cases[] = {{kFolderOnly, kAll, learn, 4, kMessage},
                 {kFolderOnly, kAll, test, 4, kMessage},
                 {kFolderOnly, kAll, fresh, 4, "new.limes: the store cannot be opened"},
                 {kFolderOnly, kAll, {"show", store_}, 0, ""},
                 {kAll, kFileOnly, learn, 4, "the store must not be written"},
                 {kAll, kFileOnly, test, 4, "the store must not be written"},
                 {kAll, kFileOnly, {"show", store_}, 0, ""}};
  Write("out", "");
  Write("out.err", "");
  for (const auto& [ofFolder, ofStore, words, code, message] : cases) {
    std::filesystem::permissions(store_, ofStore);
    std::filesystem::permissions(folder, ofFolder);
    EXPECT_EQ(Wait(Start(words, File("out"), RLIM_INFINITY, false)), code) << words[0];
    std::filesystem::permissions(folder, kAll);
    EXPECT_THAT(Read(File("out.err")), HasSubstr(message));
    EXPECT_EQ(Read(store_), before);
  }
  std::filesystem::permissions(store_, kAll);
  EXPECT_EQ(RunLimes(learn).code, 0);
  EXPECT_EQ(LearntParts(), 8);
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

TEST_F(Store, RefusesOtherFilesAndLeavesThemAlone) {
  const auto expect = [&](const std::string& message) {
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
  const std::string newer = std::to_string(kSchemaVersion + 1);
  Execute("PRAGMA user_version = " + newer);
  expect("has schema version " + newer + ", this program knows up to");
}

TEST_F(Store, OfVersion1IsReadAndBroughtUpToDate) {
  Write("store.limes", Read(LIMES_TEST_DATA "/store_v1.limes"));
  const std::string before = RunLimes({"report", store_}).out;
  EXPECT_THAT(before, HasSubstr("NOK"));
  const auto old = RunLimes({"report", store_, "--json"}).Lines().at(0);
  EXPECT_TRUE(old.at("quantities").at(0).at("learnt").is_null());
  EXPECT_EQ(RunLimes({"test", store_, Table(99)}).code, 1);
  EXPECT_EQ(Read(store_)[20], 8) << "no room for checks";
  EXPECT_EQ(
      RunLimes({"report", store_, "--json"}).Lines().at(3).at("quantities").at(0).at("learnt"), 4);
}

TEST_F(Store, TellsOfValuesThatPassedWhatWasSaidWhenTheyWereJudged) {
  std::string table = "a [V],b \xC2\xB5\\ [A]\n";
  for (int i = 0; i < 40; ++i) {
    table += std::to_string(i % 7) + ".1," + std::to_string(i * i % 11) + "e-3\n";
  }
  const std::string file = Write("values.csv", table);
  for (const char* sides : {"upper", "lower", "both"}) {
    std::filesystem::remove(store_);
    RunLimes({"learn", store_, file, "--values", "--sides", sides, "--base", "0.25"});
    for (const std::string base : {"0.25", "0.5"}) {
      SCOPED_TRACE(sides + (" " + base));
      const auto said =
          RunLimes({"test", store_, file, "--json", "--factor", "3", "--base", base}).Lines();
      auto kept = RunLimes({"report", store_, "--json"}).Lines();
      ASSERT_EQ(said.size(), 40U);
      ASSERT_EQ(kept.size(), 40U);
      for (std::size_t i = 0; i < kept.size(); ++i) {
        kept[i].erase("rule");
        EXPECT_EQ(kept[i], said[i]);
      }
    }
  }
  CDatabase database(store_, CDatabase::Mode::kReading);
  EXPECT_EQ(database.QueryInt("SELECT count(*) FROM verdict"), 0);
  EXPECT_EQ(database.QueryInt("SELECT count(*) FROM limits"), 8)
      << "the same for all parts of a run";
  EXPECT_EQ(database.QueryInt("SELECT count(*) FROM judged WHERE max_deviation < 0"), 2 * 4 * 40);
}

TEST_F(Store, LeavesNoHalfPageBehindWhenStopped) {
  ASSERT_EQ(RunLimes(Learn(1, 3)).code, 0);  // else nobody reads the pipe
  ASSERT_EQ(mkfifo(File("slow.csv").c_str(), 0600), 0);
  const std::string page = File("page.html");
  const pid_t child = Start({"test", store_, File("slow.csv"), "--report", page}, File("out"));
  const int feed = open(File("slow.csv").c_str(), O_WRONLY);  // waits until the child reads
  EXPECT_TRUE(std::filesystem::exists(page + ".unfinished"));
  kill(child, SIGTERM);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
  close(feed);
  EXPECT_FALSE(std::filesystem::exists(page + ".unfinished"));
  EXPECT_FALSE(std::filesystem::exists(page));
}

TEST_F(Store, ForgetsExactlyWhatItStillKeeps) {
  const auto learnt = [&](const std::vector<std::string>& words) {
    EXPECT_EQ(RunLimes(words).code, 0);
    return RunLimes({"show", store_, "--json"}).out;
  };
  const std::string before = learnt(Learn(1, 9));
  learnt(Learn(9, 11));
  {
    CStore store(store_, CStore::Mode::kExisting);
    store.Begin();
    LimitKept(store, *store.Settings(), store.KeptBytes() / 2);
    EXPECT_EQ(store.KeptParts(0, 100).size(), 5U);
    store.Commit();
  }
  EXPECT_THAT(RunLimes({"forget", store_, "t1.csv:1"}).err, HasSubstr("5 parts are kept"));
  EXPECT_EQ(learnt({"forget", store_, "--run", "2"}), before);
  Write("store.limes", Read(LIMES_TEST_DATA "/store_v1.limes"));
  EXPECT_EQ(RunLimes({"test", store_, Table(99)}).code, 1);  // brings it up to date
  const std::string old = RunLimes({"show", store_, "--json"}).out;
  EXPECT_NE(learnt({"learn", store_, Table(7)}), old);
  EXPECT_EQ(learnt({"forget", store_, "t7.csv:1", "t7.csv:2"}), old);
}

TEST_F(Store, JudgesByNoScoresThatCannotBeRead) {
  EXPECT_EQ(RunLimes(Learn(1, 9)).code, 0);
  {
    CStore store(store_, CStore::Mode::kExisting);
    store.Begin();
    SStoredCalibration scores = *store.Calibration();
    scores.record[scores.record.size() / 2] ^= 1;
    store.SetCalibration(scores);
    store.Commit();
  }
  const auto test = RunLimes({"test", store_, Table(3), "--reject", "1%"});
  EXPECT_EQ(test.code, 4);
  EXPECT_THAT(test.err, HasSubstr("limes calibrate forms them anew"));
  EXPECT_EQ(RunLimes({"learn", store_, Table(20)}).code, 4) << "nothing is written over";
  EXPECT_EQ(RunLimes({"test", store_, Table(3), "--factor", "3"}).code, 0);
  EXPECT_EQ(RunLimes({"calibrate", store_}).code, 0);
  EXPECT_EQ(RunLimes({"learn", store_, Table(20)}).code, 0);
}

TEST_F(Store, ReportsDamageToAnyOfItsBytes) {
  constexpr std::array kFiles = {"", "-wal", "-shm", "-last"};
  using TContent = std::array<std::string, kFiles.size()>;
  const auto restore = [&](const TContent& files) {
    for (std::size_t i = 0; i < files.size(); ++i) {
      std::filesystem::remove(store_ + kFiles[i]);
      if (!files[i].empty()) {
        Write(std::string("store.limes") + kFiles[i], files[i]);
      }
    }
  };
  const auto all = [&] {  // both must tell: the first may not repair what it reports
    const auto show = RunLimes({"show", store_, "--json"});
    const auto report = RunLimes({"report", store_, "--json"});
    return std::pair(std::max(show.code, report.code), show.out + report.out);
  };
  std::mt19937 random(Seed());
  int damaged = 0;
  int reported = 0;
  const auto damage = [&](const TContent& files, std::size_t which, std::size_t each,
                          unsigned most) {
    restore(files);
    const auto whole = all();
    EXPECT_EQ(whole.first, 0);
    const std::string& bytes = files[which];
    for (std::size_t at = 0; at < bytes.size(); at += 1 + random() % (at < each ? 4 : most)) {
      TContent changed = files;
      changed[which].resize(at % 5 == 0 && at > 4096 ? at + 1 : bytes.size());
      char& byte = changed[which][at];
      byte = static_cast<char>(byte ^ (at % 2 == 0 ? 1 << random() % 8 : 0xFF));
      restore(changed);
      const auto result = all();
      EXPECT_TRUE(result.first == 4 || result == whole) << kFiles[which] << at << " misread";
      reported += result.first == 4 ? 1 : 0;
      ++damaged;
    }
  };
  EXPECT_EQ(RunLimes(Learn(1, 9)).code, 0);
  EXPECT_EQ(RunLimes({"test", store_, Table(99)}).code, 1);
  const TContent closed = {Read(store_), "", "", ""};
  EXPECT_FALSE(std::filesystem::exists(store_ + "-last"));
  TContent killed;
  {
    CDatabase other(store_, CDatabase::Mode::kReading);  // the log stays while others read
    EXPECT_EQ(other.QueryInt("SELECT count(*) FROM part"), 18);
    EXPECT_EQ(RunLimes(Learn(9, 12)).code, 0);
    EXPECT_EQ(RunLimes({"test", store_, Table(98)}).code, 1);
    std::transform(kFiles.begin(), kFiles.end(), killed.begin(),
                   [&](const char* end) { return Read(store_ + end); });
  }
  ASSERT_EQ(closed[0][20], 8);  // left for the checks
  damage(closed, 0, 112, 600);
  EXPECT_GT(reported, 40);  // other pages are free, or their tables are not asked for
  damage(killed, 0, 0, 2000);
  damage(killed, 2, 96, 4000);
  damage(killed, 3, 4000, 1);
  const int before = damaged - reported;
  damage(killed, 1, 56, 5000);
  TContent cut = killed;
  cut[2].clear();  // the power went
  damage(cut, 1, 56, 5000);
  EXPECT_EQ(damaged - reported, before) << "a part of the log was lost";
  std::cout << "damaged " << damaged << " reported " << reported << '\n';

  restore({closed[0], "", "", killed[3]});
  EXPECT_EQ(all().first, 4) << "an older copy in place of a store in use";
  EXPECT_THAT(RunLimes(Learn(20, 21)).err, HasSubstr("are missing ("));
  std::filesystem::remove(store_ + "-last");
  EXPECT_EQ(all().first, 0);

  // Other programs may read what a killed process left, and so tidy it up.
  restore(killed);
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(store_.c_str(), &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database, "SELECT * FROM part", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(database);
  EXPECT_FALSE(std::filesystem::exists(store_ + "-wal"));
  EXPECT_EQ(all().first, 0);
}

}  // namespace
}  // namespace limes::host
