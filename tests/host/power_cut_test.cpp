// What a store holds after the power went: a layer below it writes down what the disk was told, and
// stores are made of every moment of that, with what was not synced lost, torn or out of order.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "apps/limes/commands/ending.h"
#include "apps/limes/store/database.h"
#include "tests/host/host_fixture.h"

namespace limes::host {
namespace {

using test::RunLimes;

struct SOperation {
  enum Kind { kWrite, kTruncate, kSync, kDelete, kReported, kNoted };
  Kind kind = kWrite;
  std::string file;
  std::int64_t offset = 0;  ///< or size, whether the folder was synced too, what was reported
  std::string bytes;
};

/// The default file layer of the process, which records when it is asked to.
class CRecorder {
 public:
  CRecorder() {
    real_ = sqlite3_vfs_find(nullptr);
    layer_ = *real_;
    layer_.pNext = nullptr;
    layer_.zName = "limes-recorder";
    layer_.xOpen = Open;
    layer_.xDelete = Delete;
    sqlite3_vfs_register(&layer_, 1);
  }

  std::vector<SOperation> operations;
  bool records = false;

  void Add(SOperation::Kind kind, const std::string& file, std::int64_t offset,
           std::string bytes = {}) {
    if (records) {
      operations.push_back({kind, file, offset, std::move(bytes)});
    }
  }

 private:
  struct SFile {
    sqlite3_io_methods methods;
    const sqlite3_io_methods* real;
    std::string name;
    bool isNew;  ///< with its first sync goes one of its folder
  };

  static int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags);
  static int Delete(sqlite3_vfs*, const char* name, int sync);
  static SFile& Of(sqlite3_file* file);

  sqlite3_vfs* real_;
  sqlite3_vfs layer_{};
  std::map<sqlite3_file*, SFile> files_;
};

CRecorder recorder;  // before the first store is opened

CRecorder::SFile& CRecorder::Of(sqlite3_file* file) { return recorder.files_.at(file); }

int CRecorder::Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
  const int code = recorder.real_->xOpen(recorder.real_, name, file, flags, outFlags);
  if (code != SQLITE_OK || name == nullptr) {
    return code;
  }
  SFile& known = recorder.files_[file];
  const bool isLog = (flags & (SQLITE_OPEN_WAL | SQLITE_OPEN_MAIN_JOURNAL)) != 0;
  known = {*file->pMethods, file->pMethods, name, isLog && (flags & SQLITE_OPEN_CREATE) != 0};
  known.methods.xClose = [](sqlite3_file* f) {
    const sqlite3_io_methods* const real = Of(f).real;
    recorder.files_.erase(f);
    return real->xClose(f);
  };
  known.methods.xWrite = [](sqlite3_file* f, const void* data, int size, sqlite3_int64 offset) {
    recorder.Add(SOperation::kWrite, Of(f).name, offset,
                 std::string(static_cast<const char*>(data), static_cast<std::size_t>(size)));
    return Of(f).real->xWrite(f, data, size, offset);
  };
  known.methods.xTruncate = [](sqlite3_file* f, sqlite3_int64 size) {
    recorder.Add(SOperation::kTruncate, Of(f).name, size);
    return Of(f).real->xTruncate(f, size);
  };
  known.methods.xSync = [](sqlite3_file* f, int how) {
    const int done = Of(f).real->xSync(f, how);
    recorder.Add(SOperation::kSync, Of(f).name, std::exchange(Of(f).isNew, false) ? 1 : 0);
    return done;
  };
  file->pMethods = &known.methods;
  return code;
}

int CRecorder::Delete(sqlite3_vfs*, const char* name, int sync) {
  recorder.Add(SOperation::kDelete, name, sync);
  return recorder.real_->xDelete(recorder.real_, name, sync);
}

using TRandom = std::mt19937;
using TContent = std::optional<std::string>;

/// A file on a disk that keeps what was synced, and of the rest what it happens to.
class CDiskFile {
 public:
  void Take(const SOperation& operation) {
    pending_.push_back(&operation);
    if (operation.kind == SOperation::kSync) {
      Keep(pending_.end());
    }
  }

  /// The folder is synced: what was deleted stays so.
  void KeepDeleted() {
    Keep(std::find_if(pending_.rbegin(), pending_.rend(), [](const SOperation* o) {
           return o->kind == SOperation::kDelete;
         }).base());
  }

  /// What is found after a cut: all that was told, or any part of what was not synced.
  TContent AfterCut(TRandom& random) const {
    TContent content = durable_;
    const unsigned mode = random() % 4;
    for (const SOperation* each : pending_) {
      if (mode == 0 || (mode > 1 && random() % 2 == 0)) {
        if (each->kind == SOperation::kDelete) {
          break;  // what came after is in a file that has no name yet
        }
        continue;
      }
      mode == 3 && each->kind == SOperation::kWrite ? Tear(*each, content, random)
                                                    : Apply(*each, content);
    }
    return content;
  }

 private:
  static constexpr std::size_t kSector = 512;

  void Keep(std::vector<const SOperation*>::iterator end) {
    for (auto each = pending_.begin(); each != end; ++each) {
      Apply(**each, durable_);
    }
    pending_.erase(pending_.begin(), end);
  }

  static void Put(std::string& content, std::size_t offset, const std::string& bytes) {
    content.resize(std::max(content.size(), offset + bytes.size()));
    content.replace(offset, bytes.size(), bytes);
  }

  static void Apply(const SOperation& operation, TContent& content) {
    if (operation.kind == SOperation::kDelete) {
      content.reset();
      return;
    }
    if (!content) {
      content.emplace();
    }
    const auto offset = static_cast<std::size_t>(operation.offset);
    if (operation.kind == SOperation::kWrite) {
      Put(*content, offset, operation.bytes);
    } else if (operation.kind == SOperation::kTruncate) {
      content->resize(offset);
    }
  }

  /// Some sectors of a write.
  static void Tear(const SOperation& write, TContent& content, TRandom& random) {
    if (!content) {
      content.emplace();
    }
    const auto offset = static_cast<std::size_t>(write.offset);
    for (std::size_t i = 0; i < write.bytes.size();) {
      const std::size_t n = std::min(kSector - (offset + i) % kSector, write.bytes.size() - i);
      if (random() % 2 == 0) {
        Put(*content, offset + i, write.bytes.substr(i, n));
      }
      i += n;
    }
  }

  TContent durable_;
  std::vector<const SOperation*> pending_;
};

class PowerCut : public test::HostTest {
 protected:
  std::string store_ = File("store.limes");

  std::string Table(int number) {
    const std::string n = std::to_string(number);
    return Write("t" + n + ".csv", "a,b,c\n" + n + ",2,3\n" + n + ",5,6\n");
  }

  /// Runs a command, and writes down how many parts the store holds then.
  void Run(std::vector<std::string> words) {
    words.insert(words.begin() + 1, store_);
    const auto ran = RunLimes(words);
    ASSERT_LE(ran.code, 1) << words[0] << ": " << ran.err;
    CDatabase now(store_, CDatabase::Mode::kReading);
    const std::int64_t parts = now.QueryInt("SELECT count(*) FROM part");
    recorder.Add(SOperation::kReported, store_, parts);
    recorder.Add(SOperation::kNoted, store_, 0, Read(store_ + "-last"));
  }

  /// Watches a folder until its files are told.
  void Watch() {
    const std::filesystem::path in = File("in");
    std::filesystem::create_directory(in);
    std::vector<std::filesystem::path> told;
    for (const int number : {30, 31}) {
      const std::filesystem::path table = Table(number);
      told.emplace_back(in / table.filename()) += ".limes.json";
      std::filesystem::rename(table, in / table.filename());
    }
    std::atomic<bool> ended = false;
    std::thread waiting([&] {
      const auto isTold = [](const auto& path) { return std::filesystem::exists(path); };
      for (int i = 0; i < 3000 && !std::all_of(told.begin(), told.end(), isTold); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }
      while (!ended) {
        CEnding::Want();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }
    });
    Run({"watch", in.string(), "--beside", "--still", "0.01"});
    ended = true;
    waiting.join();
    EXPECT_TRUE(std::filesystem::exists(told.back()));
  }
};

TEST_F(PowerCut, LosesNothingThatWasReported) {
  const std::string there = File("other.limes");
  ASSERT_EQ(RunLimes({"learn", there, Table(20), Table(21), "--values"}).code, 0);
  recorder.records = true;
  Run({"learn", Table(1), Table(2), "--values"});
  std::optional<CDatabase> other;  // while others read nothing is carried over from the log
  other.emplace(store_, CDatabase::Mode::kReading);
  EXPECT_GT(other->QueryInt("SELECT count(*) FROM part"), 0);
  Run({"learn", Table(3), Table(4), Table(5)});
  Run({"test", Table(6), Table(99)});
  Run({"learn", Table(7), Table(8), "--guard"});
  other.reset();
  Run({"forget", Table(3) + ":2"});
  Run({"merge", there});
  Run({"set", "--reject", "2%"});
  Watch();
  recorder.records = false;

  const char* const wanted = std::getenv("LIMES_POWER_CUTS");
  const int cuts = wanted != nullptr ? std::atoi(wanted) : 300;
  const std::vector<SOperation>& told = recorder.operations;
  std::cout << told.size() << " operations, " << cuts << " cuts\n";
  TRandom random(17);
  for (int i = 0; i < cuts; ++i) {
    const std::size_t at = static_cast<std::size_t>(i) * told.size() / static_cast<unsigned>(cuts);
    std::map<std::string, CDiskFile> disk;
    std::int64_t before = 0;
    std::string note;  // the latest that can be there: it never accuses a store that is whole
    for (std::size_t k = 0; k < at; ++k) {
      if (told[k].kind == SOperation::kReported) {
        before = told[k].offset;
        continue;
      }
      if (told[k].kind == SOperation::kNoted) {
        note = told[k].bytes;
        continue;
      }
      disk[told[k].file].Take(told[k]);
      const bool folder = told[k].kind == SOperation::kSync || told[k].kind == SOperation::kDelete;
      if (folder && told[k].offset == 1) {
        for (auto& [name, file] : disk) {
          file.KeepDeleted();
        }
      }
    }
    const auto next = std::find_if(told.begin() + static_cast<std::ptrdiff_t>(at), told.end(),
                                   [](const SOperation& o) { return o.kind == o.kReported; });
    const std::int64_t after = next == told.end() ? before : next->offset;
    for (const char* end : {"", "-wal", "-shm", "-journal", "-last"}) {
      std::filesystem::remove(store_ + end);
    }
    for (const auto& [name, file] : disk) {
      if (const TContent content = file.AfterCut(random)) {
        Write(std::filesystem::path(name).filename().string(), *content);
      }
    }
    if (!note.empty()) {
      Write("store.limes-last", note);
    }
    if (before == 0 && (!std::filesystem::exists(store_) || std::filesystem::is_empty(store_))) {
      continue;  // nothing was reported yet
    }
    const auto show = RunLimes({"show", store_, "--json"});
    if (before == 0 && show.code != 0) {
      continue;  // told that it is none
    }
    ASSERT_EQ(show.code, 0) << "cut at " << at << ": " << show.err;
    CDatabase found(store_, CDatabase::Mode::kReading);
    const std::int64_t parts = found.QueryInt("SELECT count(*) FROM part");
    EXPECT_GE(parts, std::min(before, after)) << "cut at " << at;
    EXPECT_LE(parts, std::max(before, after)) << "cut at " << at;
    EXPECT_EQ(found.QueryInt("SELECT count(*) FROM state WHERE learnt != "
                             "(SELECT count(*) FROM part WHERE verdict = 'learnt')"),
              0)
        << "cut at " << at;
    CStatement check(found.Handle(), "PRAGMA integrity_check");
    ASSERT_TRUE(check.Step());
    EXPECT_EQ(check.Text(0), "ok") << "cut at " << at;
  }
}

}  // namespace
}  // namespace limes::host
