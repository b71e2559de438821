#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "apps/limes/measurement/learnt.h"
#include "apps/limes/measurement/settings.h"
#include "apps/limes/measurement/verdict.h"
#include "apps/limes/store/database.h"

namespace limes::host {

/// A part that was learnt.
struct SLearntPart {
  static constexpr std::int64_t kNewRecording = 0;

  std::string name;
  std::optional<std::string> label;
  std::optional<std::int64_t> content;  ///< see ContentOf; empty when it was not stored
  std::vector<std::uint8_t> record{};   ///< see RecordOf; empty when it is not kept or not read
  std::int64_t id = 0;
  std::int64_t run = 0;
  bool kept = false;
  SScores scores{};                         ///< by what was learnt before it
  std::optional<std::int64_t> recording{};  ///< equal for pieces of one: the first one's id
  bool accepted = false;                    ///< learnt after it was held back
};

/// A part that is held back from learning.
struct SHeldPart {
  SLearntPart part;
  double score = 0.0;  ///< of its larger side
  double limit = 0.0;  ///< that good parts explained then
  std::string quantity;
  Side side = Side::kUpper;
  std::optional<double> x;  ///< where it lies furthest out; empty for a single value
};

/// A variant that a store knows.
struct SStoredVariant {
  std::int64_t id = 0;
  std::string name;         ///< see SVariant; empty in a store without variants
  std::int64_t learnt = 0;  ///< parts
  bool hasRule = false;     ///< of its own
};

/// A command that stored something.
struct SRun {
  std::int64_t id = 0;
  std::string command;
  std::string started;  ///< UTC
  std::int64_t learnt = 0;
  std::int64_t ok = 0;
  std::int64_t nok = 0;
  std::int64_t notJudged = 0;
};

/// A change of what is learnt, or of the rule: a line of the history that nothing rewrites.
struct SChange {
  std::int64_t run = 0;
  std::string time;  ///< UTC
  std::string command;
  std::string program;  ///< its version
  std::string user;     ///< empty, as all that follows, where an older program made it
  std::string host;
  std::string reason;
  std::vector<std::string> parts;  ///< that were named
  std::string variant;             ///< that it is about; empty: the whole store
  std::string before;              ///< the rule, as settings in JSON; empty: there was none
  std::string after;
  std::optional<std::int64_t> learnt;  ///< parts, after it
};

/// A file that came to a bench.
struct SArrival {
  std::int64_t id = 0;
  std::string folder;
  std::string name;
  std::int64_t bytes = 0;
  std::int64_t changed = 0;           ///< time of the file, in ns since 1970 UTC
  std::optional<std::string> reason;  ///< why it could not be used
  std::int64_t part = 0;              ///< number of its first part
  std::int64_t parts = 0;             ///< their numbers follow each other
  bool reported = false;
  std::optional<bool> published{};  ///< none: need not be
  std::optional<bool> learnt{};     ///< none: need not be
};

/// The store: one SQLite file in WAL mode, described in docs/store.md:
///   store     one row: settings (JSON), state_version (grows with every change of a learn state)
/// - quantity: what is measured: name, kind, units;
/// - state: learn state per quantity and side, the library's record;
/// - run: one row per command that stored something;
/// - history: parts, mean and limit of each quantity and side after each run that learnt;
/// - arrival: files that came to a folder that is watched;
/// - variant: whose quantities, parts and scores these are, where variants are told apart;
/// - part: every part: name, label, "learnt" or its verdict, what tells its content apart, scores;
/// - calibration: the scores of the good parts, of which limits for a rate are formed;
/// - modes: the common modes of all points, where there are any;
/// - kept: what was formed of the parts learnt last, so that they can be learnt again;
/// - base: the learn states from before the first part that is kept;
/// - verdict: numbers per judged part, quantity and side, the fields of measurement/verdict.h;
/// - curve: what was measured of judged parts, so that they can be drawn;
/// - limits: what single values were judged by, of parts that are kept as their values alone;
/// - defect: report lines per judged part, most important first.
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

  /// Ends a transaction that failed; never throws.
  void GiveUp();

  /// Differs when another process, or another object of this class, has changed the store.
  std::int64_t Changes() { return database_->Changes(); }
  bool InTransaction() const { return inTransaction_; }

  /// The variants of which something is learnt, in order of their names; one without a name where
  /// variants are not told apart.
  std::vector<SStoredVariant> Variants();

  /// Chooses the variant that everything learnt, its rule and the parts that follow are of; at
  /// first, from Begin on and after Rollback the one without a name. False when the store does not
  /// know it; then it is as before.
  bool Choose(const std::string& variant);

  /// The same; makes it when it is new. Needs an open transaction.
  void ChooseOrMake(const std::string& variant);
  const std::string& Chosen() const { return chosenName_; }

  /// By which the chosen variant is judged. SetSettings replaces them, for it alone where a variant
  /// is chosen.
  std::optional<SSettings> Settings();
  void SetSettings(const SSettings& settings);

  /// What a store made elsewhere does not have: when it was made, UTC, and where it has one its
  /// identity, which copies share.
  std::string Created();
  std::vector<std::uint8_t> Identity();

  /// Differs when some process changed a learn state.
  std::int64_t StateVersion();
  void NextStateVersion();

  /// A learn state per quantity and side: the present one, and that from before the parts that are
  /// kept, which has no quantities when all parts are kept.
  std::vector<SStoredQuantity> Quantities() { return ReadQuantities("state"); }
  std::vector<SStoredQuantity> Base() { return ReadQuantities("base"); }

  /// Replaces the learn states of quantities, which are added when they are new.
  void SetQuantities(const std::vector<SStoredQuantity>& quantities);
  void SetBase(const std::vector<SStoredQuantity>& quantities);

  /// The scores of the good parts: the present ones, and those from before the parts that are kept.
  std::optional<SStoredCalibration> Calibration() { return ReadCalibration(kNow); }
  std::optional<SStoredCalibration> BaseCalibration() { return ReadCalibration(kBefore); }
  void SetCalibration(const SStoredCalibration& scores) { WriteCalibration(kNow, scores); }
  void SetBaseCalibration(const SStoredCalibration& scores) { WriteCalibration(kBefore, scores); }

  /// The common modes, now and from before the parts that are kept; empty without any.
  std::vector<std::uint8_t> Modes() { return ReadModes(kNow); }
  std::vector<std::uint8_t> BaseModes() { return ReadModes(kBefore); }
  void SetModes(const std::vector<std::uint8_t>& record) { WriteModes(kNow, record); }
  void SetBaseModes(const std::vector<std::uint8_t>& record) { WriteModes(kBefore, record); }

  /// Why the runs that follow are made, in the words of who makes them.
  void SetReason(const std::string& reason) { reason_ = reason; }

  /// settings: by which the run learns or judges; parts: those it is about. Time, user, host,
  /// reason and the rule from before are kept with it, for good.
  std::int64_t AddRun(const std::string& command, const SSettings& settings,
                      const std::vector<std::string>& parts = {});

  /// All runs but those that only judged, the first one first; all: with them.
  std::vector<SChange> ChangesMade(bool all = false);

  /// Returns the part's id.
  std::int64_t AddLearnt(std::int64_t run, const SLearntPart& part);

  /// Replaces the scores of a learnt part.
  void SetScores(std::int64_t id, const SScores& scores);

  /// All of them, as all that follows of the chosen variant, without their records.
  std::vector<SLearntPart> LearntParts();

  /// The name of a learnt part with this content, and of a held one.
  std::optional<std::string> FindLearnt(std::int64_t content);
  std::optional<std::string> FindHeld(std::int64_t content);

  /// The parts that are kept, in the order of learning: name, record and id.
  std::vector<SLearntPart> KeptParts(std::int64_t behind, std::size_t most);
  std::int64_t KeptBytes();

  /// Removes what is kept of parts, up to the one with this id.
  void DropKept(std::int64_t last);

  /// Parts held back from learning, in the order in which they were; their values when asked for.
  std::vector<SHeldPart> HeldParts(bool withRecords);
  std::int64_t AddHeld(std::int64_t run, const SHeldPart& held);
  void DropHeld(std::int64_t id);

  /// The run in which what is learnt began anew; 0: it never did.
  std::int64_t BegunInRun();

  /// Turns a kept learnt part into a held one, of the recording that it names among held ones.
  std::int64_t HoldLearnt(const SHeldPart& held);

  /// Recordings with scored pieces that are learnt.
  std::int64_t ScoredRecordings();

  /// The guard's decisions on the last parts; see CLearnGuard.
  std::uint16_t GuardRecent();
  void SetGuardRecent(std::uint16_t recent);

  /// Drift alarms of the parts learnt, of those before the ones that are kept, and of judged ones.
  enum class DriftSource { kLearning, kBefore, kJudging };
  std::vector<SStoredDrift> Drift(DriftSource source);
  void SetDrift(DriftSource source, const std::vector<SStoredDrift>& alarms);
  void ClearDrift();

  /// judged: the part in the store, where it was judged.
  void AddAlarms(std::int64_t run, const std::vector<SDriftFound>& alarms,
                 std::optional<std::int64_t> judged);

  /// The latest alarms, in their order.
  std::vector<SDriftFound> Alarms(std::int64_t most);

  /// Puts the learn states and learnt parts aside, so that a new state can be begun. The run is
  /// that of the new beginning.
  void PutAside(std::int64_t run);

  /// The runs that put a state aside, and what was learnt before each.
  std::vector<std::int64_t> PutAsideIn();
  std::vector<SStoredQuantity> PastQuantities(std::int64_t run);

  /// Removes learnt parts themselves.
  void RemoveLearnt(const std::vector<std::int64_t>& ids);
  std::vector<SRun> Runs();

  /// Replaces what the run has left behind so far.
  void SetHistory(std::int64_t run, const std::vector<SHistory>& history);

  /// Of all quantities, each in order of the runs, the upper side first.
  std::vector<SHistory> History();

  /// Returns the part's id.
  std::int64_t AddJudged(std::int64_t run, const SPartVerdict& verdict);

  /// Hands out the judged parts in the order of judging: all verdicts, or the latest one of each
  /// part. Who has the same name and content is the same part. Those of the chosen variant; of all
  /// where none is.
  void ForEachJudged(bool all, const std::function<void(const SPartVerdict&)>& take,
                     bool withDefects = true);

  /// The judged parts with these numbers.
  void ForEachJudged(std::int64_t first, std::int64_t last,
                     const std::function<void(const SPartVerdict&)>& take);

  /// Files that came: one more, which gets its number; the latest of each name in a folder.
  void AddArrival(SArrival& arrival);
  std::vector<SArrival> LatestArrivals(const std::string& folder);
  std::int64_t LastArrival() { return database_->QueryInt("SELECT max(id) FROM arrival"); }

  /// Those of which something is still to be done, the first one first.
  enum class Step { kReported, kPublished, kLearnt };
  std::vector<SArrival> OpenArrivals(const std::string& folder, Step step, std::int64_t behind = 0,
                                     std::int64_t most = -1);
  void SetDone(Step step, std::int64_t arrival);

  /// Whether this very file came before: folder, name, size and time.
  bool IsKnown(const SArrival& arrival);

  std::int64_t CountParts(bool learnt);

  /// Removes parts judged before a moment, in ms since 1970 UTC, so many at most, with all that was
  /// stored of them; of the chosen variant, of all where none is. Those of files whose results are
  /// still to be told stay. How many. Needs an open transaction.
  std::int64_t DropJudged(std::int64_t before, std::int64_t most);

  /// Makes the file as small as what it holds. Waits for those who read it.
  void GiveSpaceBack();

  /// Keeps what was measured of a judged part (see RecordOf); stays: it is not dropped for being
  /// old alone.
  void KeepCurves(std::int64_t part, bool stays, std::span<const std::uint8_t> record);

  /// Drops what does not stay of all but the newest parts that are kept, then the oldest ones until
  /// the others take no more than so many bytes.
  void DropCurves(std::int64_t newest, std::int64_t most);

  /// What is kept of a part; empty when nothing is.
  std::vector<std::uint8_t> CurvesOf(std::int64_t part);
  std::int64_t CurveBytes();

 private:
  struct Statements;
  static constexpr std::int64_t kBefore = 0;  ///< rows of the scores
  static constexpr std::int64_t kNow = 1;

  std::optional<SStoredCalibration> ReadCalibration(std::int64_t row);
  void WriteCalibration(std::int64_t row, const SStoredCalibration& scores);
  std::vector<std::uint8_t> ReadModes(std::int64_t row);
  void WriteModes(std::int64_t row, const std::vector<std::uint8_t>& record);
  std::vector<SStoredQuantity> ReadQuantities(const std::string& table);
  void WriteQuantities(CStatement& setState, const std::vector<SStoredQuantity>& quantities);
  std::vector<std::pair<std::optional<std::int64_t>, SDriftFound>> ReadAlarms(
      const std::string& which);
  void ReadJudged(const std::string& which, std::int64_t first,
                  const std::function<void(const SPartVerdict&)>& take, bool withDefects);
  std::vector<SArrival> ReadArrivals(const std::string& which, const std::string& folder);

  void ShareChosen();

  /// A condition on rows of a table: they are of the chosen variant.
  std::string IsChosen(const std::string& table = "") const;

  /// The quantities of the chosen variant, as a set.
  std::string OwnQuantities() const { return "(SELECT id FROM quantity WHERE " + IsChosen() + ")"; }

  std::string path_;
  std::unique_ptr<CDatabase> database_;
  std::unique_ptr<Statements> statements_;
  std::int64_t version_ = 0;              ///< of the tables
  std::map<std::int64_t, double> bases_;  ///< of the rules of the runs begun here
  std::int64_t chosen_ = 0;               ///< variant
  std::string chosenName_;
  std::string reason_;
  std::optional<std::string> replaced_;  ///< settings that this transaction replaces
  bool inTransaction_ = false;
  bool mayWrite_ = false;  ///< the transaction
};

}  // namespace limes::host
