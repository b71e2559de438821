#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/limes/measurement/learnt.h"
#include "apps/limes/measurement/settings.h"
#include "apps/limes/measurement/verdict.h"
#include "apps/limes/store/database.h"

namespace limes::host {

/// A part that was learnt.
struct SLearntPart {
  std::string name;
  std::optional<std::string> label;
};

/// A command that stored something.
struct SRun {
  std::string command;
  std::string started;  ///< UTC
  std::int64_t learnt = 0;
  std::int64_t ok = 0;
  std::int64_t nok = 0;
  std::int64_t notJudged = 0;
};

/// The store: one SQLite file in WAL mode, described in docs/store.md:
///   store     one row: settings (JSON), state_version (grows with every change of a learn state)
///   quantity  what is measured: name, kind, units
///   state     learn state per quantity and side, the library's record
///   run       one row per learn or test command that stored something
///   history   parts, mean and limit of each quantity and side after each run that learnt
///   part      every part: name, label, "learnt" or its verdict
///   verdict   numbers per judged part, quantity and side
///   defect    report lines per judged part, most important first
/// Everything about one part is written in one transaction. Throws CStoreError.
class CStore {
 public:
  using Mode = CDatabase::Mode;

  CStore(const std::string& path, Mode mode);
  ~CStore();

  const std::string& Path() const { return path_; }

  /// Starts a transaction that may write (a store opened for reading must not); waits for other
  /// processes.
  void Begin();

  /// Starts a transaction that only reads: all of one moment, and waits for nobody.
  void BeginReading();
  void Commit();
  void Rollback();
  bool InTransaction() const { return inTransaction_; }

  std::optional<SSettings> Settings();
  void SetSettings(const SSettings& settings);

  /// Differs when some process changed a learn state.
  std::int64_t StateVersion();
  void NextStateVersion();

  std::vector<SStoredQuantity> Quantities();

  /// Replaces the learn states of quantities, which are added when they are new.
  void SetQuantities(const std::vector<SStoredQuantity>& quantities);

  std::int64_t AddRun(const std::string& command);
  void AddLearnt(std::int64_t run, const SLearntPart& part);
  std::vector<SLearntPart> LearntParts();
  std::vector<SRun> Runs();

  /// Replaces what the run has left behind so far.
  void SetHistory(std::int64_t run, const std::vector<SHistory>& history);

  /// Of all quantities, each in order of the runs, the upper side first.
  std::vector<SHistory> History();

  void AddJudged(std::int64_t run, const SPartVerdict& verdict);

  /// Hands out the judged parts in the order of judging.
  template <class Take>
  void ForEachJudged(Take take) {
    for (std::int64_t id = 0; NextJudged(id, judged_);) {
      take(judged_);
    }
  }

  std::int64_t CountParts(bool learnt);

 private:
  struct Statements;

  bool NextJudged(std::int64_t& id, SPartVerdict& verdict);
  void ReadVerdicts(std::int64_t part, SPartVerdict& verdict);
  void ReadDefects(std::int64_t part, SPartVerdict& verdict);

  std::string path_;
  std::unique_ptr<CDatabase> database_;
  std::unique_ptr<Statements> statements_;
  SPartVerdict judged_;
  std::int64_t version_ = 0;  ///< of the tables
  bool inTransaction_ = false;
};

}  // namespace limes::host
