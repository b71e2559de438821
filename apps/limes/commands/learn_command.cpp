#include <algorithm>
#include <bit>
#include <chrono>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <set>
#include <thread>
#include <unordered_map>
#include <utility>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/guarded_learning.h"
#include "apps/limes/commands/modes_choice.h"
#include "apps/limes/commands/part_learner.h"
#include "apps/limes/commands/relearn.h"
#include "apps/limes/commands/waiting_records.h"
#include "apps/limes/errors.h"
#include "apps/limes/measurement/part_record.h"
#include "apps/limes/measurement/promise_text.h"
#include "apps/limes/model/model.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/report/report_texts.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/stored_model.h"
#include "recordings/part_source.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

using Clock = std::chrono::steady_clock;

/// Parts are learnt in batches, one transaction each: files that hold one part are gathered for
/// this long, a file that can hold several is a batch of its own, so that a bad row in it leaves
/// the store as it was.
constexpr auto kBatchTime = std::chrono::milliseconds(200);

/// Parts that are looked at together take a few times as much memory.
constexpr std::int64_t kMostTogetherBytes = std::int64_t{256} << 20;

/// Another process made the store that this run was about to make.
struct CBegunElsewhere {};

class CLearnRun {
 public:
  CLearnRun(const SOptions& options, SConsole& console) : options_(options), console_(console) {
    std::error_code error;
    const bool exists = std::filesystem::exists(options.store, error) &&
                        std::filesystem::file_size(options.store, error) > 0;
    std::optional<SSettings> stored;
    if (exists) {
      store_ = std::make_unique<CStore>(options.store, CStore::Mode::kCreate);
      stored = store_->Settings();
    }
    if (options.modes && *options.modes == kAutoModes && stored) {
      throw CUsageError("--modes auto is for a new store; limes set --modes auto chooses anew");
    }
    if (options.modes == 0 && stored && stored->modes) {
      throw CUsageError("--modes 0 contradicts the store, which has " +
                        std::to_string(*stored->modes) + "; limes set --modes changes it");
    }
    if (options.whole == false && stored && stored->whole) {
      throw CUsageError("--no-whole contradicts the store; limes set --no-whole changes it");
    }
    const NoteTaker note = [&console](const std::string& text) { Warn(console, text); };
    SGivenSettings given = stored ? options.settings : SettingsWithSkip(options, note);
    if (options.modes.value_or(0) > 0) {
      given.modes = options.modes;
    }
    if (options.whole == true) {
      given.whole = true;
    }
    settings_ = Resolve(given, stored, true);
    model_ = std::make_unique<CModel>(settings_);
    if (options.files.empty()) {  // parts are handed over
      return;
    }
    source_ = std::make_unique<CPartSource>(
        options.files, CPartSource::SConfig{settings_, options.selection, options.where, true,
                                            false, note, JobsOf(options)});
    source_->CheckFiles();
  }

  int Run() {
    CProgressBar bar(console_);
    while (source_->OpenNext()) {
      LearnFile(bar);
    }
    Commit();
    bar.Clear();
    ReportRefused();
    if (learntBefore_ + heldBefore_ == 0 && !refused_.empty()) {
      throw CHostError(ExitCode::kBadInput, "nothing is learnt");
    }
    if (learntBefore_ + heldBefore_ == 0) {
      throw CHostError(ExitCode::kBadInput, source_->WhyNone() + "; nothing is learnt");
    }
    ChooseModes();
    const SPromise promise = PromiseOf(*store_, *model_);
    for (const std::string& warning : model_->Warnings(promise.groups)) {
      Warn(console_, warning);
    }
    if (promise.lone) {
      Warn(console_, LoneText(promise));
    }
    (options_.json ? console_.err : console_.out)
        << "learnt " << learntBefore_ << (learntBefore_ == 1 ? " part; " : " parts; ")
        << store_->CountParts(true) << " in " << Escaped(options_.store);
    if (heldBefore_ > 0) {
      (options_.json ? console_.err : console_.out)
          << "; " << heldBefore_ << " held back (limes show --held)";
    }
    (options_.json ? console_.err : console_.out) << '\n';
    return static_cast<int>(refused_.empty() ? ExitCode::kAllGood : ExitCode::kBadInput);
  }

  /// Learns a part that was read elsewhere; it is stored by Store.
  void Take(const SPart& part) {
    Begin();
    part_ = part;
    model_->ConvertUnits(part_, [this](const std::string& text) { Warn(console_, text); });
    LearnPart();
  }

  void Store() {
    Commit();
    refused_.clear();
  }

 private:
  /// A part that is not stored yet.
  struct SPending {
    SLearntPart part;
    bool known = false;     ///< learnt before, too
    bool released = false;  ///< held before
  };

  void LearnFile(CProgressBar& bar) {
    const bool several = source_->MayHoldSeveral();
    if (several) {
      Commit();
    }
    Begin();
    if (settings_.cut > 0) {
      model_->Freeze();
    }
    if (IsGuardedAsWhole()) {
      cutRecording_.Begin(*model_);
    }
    try {
      while (source_->Next(part_)) {
        model_->ConvertUnits(part_, [this](const std::string& text) { Warn(console_, text); });
        LearnPart();
        if (bar.IsDue()) {
          bar.Show(source_->Progress());
        }
      }
    } catch (const CInputError&) {
      if (!several) {
        Commit();  // what came before is whole
      }
      throw;
    }
    if (IsGuardedAsWhole() && !starting_) {
      HoldRecording();
    }
    if (several || Clock::now() - begun_ > kBatchTime) {
      Commit();
    }
  }

  /// Whether the pieces of a recording are learnt or held together.
  bool IsGuardedAsWhole() const { return settings_.guard && settings_.cut > 0; }

  /// Takes back what was learnt of the recording at hand, if good ones do not explain it: a file
  /// that is cut is a batch of its own.
  void HoldRecording() {
    const auto held = pending_.empty() ? std::nullopt : cutRecording_.HeldBack(guard_);
    if (!held) {
      return;
    }
    for (SPending& pending : std::exchange(pending_, {})) {
      SHeldPart& piece = held_.emplace_back(*held);
      piece.part = std::move(pending.part);
      piece.part.recording = SLearntPart::kNewRecording;
    }
    *model_ = LoadedModel(*store_, settings_);
  }

  /// Learns the part, or notes why it is refused.
  void LearnPart() {
    SLearntPart learnt{part_.name, part_.label, std::nullopt, RecordOf(part_)};
    learnt.content = ContentOf(part_, learnt.record);
    const auto same = taken_.find(*learnt.content);
    auto known =
        same == taken_.end() ? std::nullopt : std::optional(pending_[same->second].part.name);
    if (!known && store_) {
      known = store_->FindLearnt(*learnt.content);
    }
    if (known && !options_.again) {
      refused_.push_back({part_.name, "is learnt already" +
                                          (*known == part_.name ? "" : ", as " + *known) +
                                          " (--again learns it once more)"});
      return;
    }
    if (IsHeld(learnt)) {
      refused_.push_back({part_.name, "is held back already (limes accept learns it)"});
      return;
    }
    if (TakePart(part_, learnt, known.has_value(), settings_.guard && !starting_)) {
      waiting_.Put(learnt);
      taken_.try_emplace(*learnt.content, pending_.size());
      pending_.push_back({std::move(learnt), known.has_value(), false});
    }
  }

  bool IsHeld(const SLearntPart& part) {
    return (store_ && store_->FindHeld(*part.content)) ||
           std::any_of(held_.begin(), held_.end(),
                       [&](const SHeldPart& held) { return held.part.content == part.content; });
  }

  /// True when the part was learnt; else it is noted why not.
  bool TakePart(const SPart& part, SLearntPart& learnt, bool known, bool guards) {
    if (std::string reason = model_->Prepare(part, options_.allowShort); !reason.empty()) {
      refused_.push_back({part.name, std::move(reason)});
      return false;
    }
    // What is known already tells nothing of other parts.
    learnt.scores = known ? SScores() : model_->Score().scores;
    if (!known && IsGuardedAsWhole()) {
      cutRecording_.Take(*model_);
    }
    if (auto held =
            guards && !known && settings_.cut == 0 ? HeldBack(*model_, guard_) : std::nullopt) {
      held->part = std::move(learnt);
      held_.push_back(std::move(*held));
      return false;
    }
    model_->LearnPrepared(learnt.scores);
    return true;
  }

  void Begin() {
    if (inBatch_) {
      return;
    }
    inBatch_ = true;
    begun_ = Clock::now();
    if (store_) {
      BeginWriting();
    }
    starting_ = settings_.guard && (!store_ || MayLookTogether(*store_, *model_, settings_));
  }

  /// Starts the transaction and takes over what other processes have learnt meanwhile.
  void BeginWriting() {
    store_->Begin();
    if (store_->Settings()) {
      const std::int64_t version = store_->StateVersion();
      if (version != stateVersion_) {
        LoadModel(*store_, *model_);
        stateVersion_ = version;
      }
      guard_.SetRecent(store_->GuardRecent());
    }
  }

  void Commit() {
    if (!inBatch_) {
      return;
    }
    inBatch_ = false;
    taken_.clear();
    if (!pending_.empty() || !held_.empty()) {
      Write();
    } else if (store_) {
      store_->Rollback();
    }
  }

  void Write() {
    if (!store_) {  // a run that learns nothing makes no store
      store_ = std::make_unique<CStore>(options_.store, CStore::Mode::kCreate);
      store_->Begin();
      if (store_->Settings()) {
        throw CBegunElsewhere();
      }
    }
    if (!store_->Settings()) {
      store_->SetSettings(settings_);
    }
    if (run_ == 0) {
      store_->SetReason(options_.reason);
      run_ = store_->AddRun("learn", settings_);
    }
    recording_.reset();
    if (starting_) {
      LearnStart();
    } else {
      for (SPending& pending : pending_) {
        Add(pending.part);
      }
      AddHeld();
    }
    waiting_.Clear();
    SaveModel(*store_, *model_, run_);
    LimitKept(*store_, settings_);
    alarms_ = model_->TakeAlarms();
    store_->AddAlarms(run_, alarms_, std::nullopt);
    store_->SetGuardRecent(guard_.Recent());
    stateVersion_ = store_->StateVersion();
    store_->Commit();
    Report();
    // Leaves others time to get in; they look every millisecond.
    const auto pause = (Clock::now() - begun_) / 20;
    std::this_thread::sleep_for(std::min<Clock::duration>(pause, std::chrono::milliseconds(3)));
  }

  void Add(SLearntPart& learnt) {
    if (settings_.cut > 0) {  // a file that is cut is a batch of its own
      learnt.recording = recording_.value_or(SLearntPart::kNewRecording);
    }
    waiting_.Get(learnt);
    const std::int64_t id = store_->AddLearnt(run_, learnt);
    recording_ = recording_.value_or(id);
    learnt.record = {};  // from here on it is told of only
  }

  void AddHeld() {
    CMovedRecordings recordings;
    for (SHeldPart& held : held_) {
      SHeldPart whole = held;
      waiting_.Get(whole.part);
      recordings.Move(whole.part, [&] { return store_->AddHeld(run_, whole); });
    }
  }

  /// While the guard starts, the parts of a batch were learnt to see whether they fit. Now they are
  /// taken one by one, and looked at together at the start and when their number has doubled.
  void LearnStart() {
    const std::vector<SHeldPart> before = store_->HeldParts(false);
    const std::vector<SStoredQuantity> quantities = model_->States();
    *model_ = LoadedModel(*store_, settings_);
    if (settings_.cut > 0) {
      StartRecording(before, quantities);
      return;
    }
    std::vector<SPending> learnt;
    std::uint64_t parts = static_cast<std::uint64_t>(store_->CountParts(true)) + before.size();
    for (SPending& pending : std::exchange(pending_, {})) {
      SPart part = PartOf(pending.part, quantities);
      const bool wasStart = IsStart(*store_, *model_, settings_);
      const std::size_t held = held_.size();
      if (TakePart(part, pending.part, pending.known, !wasStart)) {
        Add(pending.part);
        learnt.push_back(std::move(pending));
      } else if (held_.size() > held) {
        store_->AddHeld(run_, held_.back());
      }
      const bool doubled = std::has_single_bit(++parts) && parts <= kLookedAt;
      const bool starts = IsStart(*store_, *model_, settings_);
      if ((wasStart && !starts) || (doubled && !starts && !guard_.HasStepped())) {
        Look();
      }
    }
    if (IsStart(*store_, *model_, settings_)) {
      Look();
    }
    Compare(before, std::move(learnt));
  }

  /// The same of the pieces of a recording.
  void StartRecording(const std::vector<SHeldPart>& before,
                      const std::vector<SStoredQuantity>& quantities) {
    model_->Freeze();
    cutRecording_.Begin(*model_);
    for (SPending& pending : std::exchange(pending_, {})) {
      const SPart part = PartOf(pending.part, quantities);
      if (TakePart(part, pending.part, pending.known, false)) {
        waiting_.Put(pending.part);
        pending_.push_back(std::move(pending));
      }
    }
    const bool isStart = IsStart(*store_, *model_, settings_);
    if (!isStart) {
      HoldRecording();
    }
    for (SPending& pending : pending_) {
      Add(pending.part);
    }
    AddHeld();
    if (isStart) {
      Look();
    }
    Compare(before, std::exchange(pending_, {}));
  }

  /// The part that waits, to be learnt once more.
  SPart PartOf(SLearntPart& waiting, const std::vector<SStoredQuantity>& quantities) {
    waiting_.Get(waiting);
    SPart part = PartFromRecord(waiting.record, quantities);
    part.name = waiting.name;
    return part;
  }

  /// Whether something can be told of the recordings: of one alone nothing can.
  bool HasOthers() {
    std::set<std::int64_t> kept;
    for (const SLearntPart& part : store_->LearntParts()) {
      if (part.kept) {
        kept.insert(part.recording.value_or(part.id));
      }
    }
    return kept.size() > 1 || !store_->HeldParts(false).empty();
  }

  /// All that is kept comes into memory for it.
  void Look() {
    if (!HasOthers()) {
      return;
    }
    if (store_->KeptBytes() > kMostTogetherBytes) {
      Warn(console_,
           "the parts learnt so far are too large to be compared with each other (--guard "
           "compares those to come with them)");
      return;
    }
    if (LookTogether(*store_, *model_, settings_, run_)) {
      guard_.SetRecent(0);
    }
  }

  /// What became of the parts: those of this batch, and those learnt or held before.
  void Compare(const std::vector<SHeldPart>& before, std::vector<SPending> learnt) {
    const auto has = [](const std::vector<SHeldPart>& list, auto same) {
      return std::any_of(list.begin(), list.end(), same);
    };
    const std::vector<SHeldPart> now = store_->HeldParts(false);
    held_.clear();
    for (const SHeldPart& held : now) {
      if (!has(before, [&](const SHeldPart& b) { return b.part.id == held.part.id; })) {
        held_.push_back(held);
      }
    }
    for (const SHeldPart& held : before) {
      if (!has(now, [&](const SHeldPart& n) { return n.part.id == held.part.id; })) {
        pending_.push_back({held.part, false, true});
      }
    }
    for (SPending& pending : learnt) {
      if (!has(held_, [&](const SHeldPart& held) {
            return held.part.content == pending.part.content && held.part.name == pending.part.name;
          })) {
        pending_.push_back(std::move(pending));
      }
    }
  }

  struct SRefused {
    std::string part;
    std::string reason;
  };

  /// All parts are learnt, of which the number of modes follows.
  void ChooseModes() {
    if (options_.modes != kAutoModes) {
      return;
    }
    store_->Begin();
    const bool whole = settings_.whole;
    TakeBestModes(*store_, settings_, options_.whole, options_.json ? console_.err : console_.out);
    if (!settings_.modes && settings_.whole == whole) {
      store_->Rollback();  // scores are as they were
      return;
    }
    *model_ = WithModes(*store_, settings_);
    store_->SetSettings(settings_);
    SaveModel(*store_, *model_, run_);
    store_->Commit();
  }

  /// Names every part that was not learnt.
  void ReportRefused() {
    for (const SRefused& refused : refused_) {
      if (options_.json) {
        PrintJsonLine(console_.out,
                      {{"part", refused.part}, {"learnt", false}, {"reason", refused.reason}});
      }
      console_.err << "not learnt  " << Escaped(refused.part + "  " + refused.reason) << '\n';
    }
  }

  void Report() {
    if (options_.json) {
      for (const auto& [learnt, known, released] : pending_) {
        nlohmann::ordered_json json;
        json["part"] = learnt.name;
        if (learnt.label) {
          json["label"] = *learnt.label;
        }
        json["learnt"] = true;
        AddDrift(json, learnt.name);
        PrintJsonLine(console_.out, json);
      }
      console_.out.flush();
    }
    std::vector<SHeldPart> released;
    for (const SPending& pending : pending_) {
      if (pending.released) {
        released.emplace_back().part = pending.part;
      }
    }
    for (const SHeldName& held : HeldNames(released)) {
      console_.err << "learnt after all  " << Escaped(held.name) << '\n';
    }
    for (const SHeldName& held : HeldNames(held_)) {
      if (options_.json) {
        PrintHeldJson(console_.out, held, &guard_);
      }
      console_.err << "held back  " << Escaped(HeldText(held)) << '\n';
    }
    for (const SDriftFound& drift : alarms_) {
      Warn(console_, DriftText(drift));
    }
    if (settings_.guard && guard_.HasStepped() && !std::exchange(stepped_, true)) {
      Warn(console_, SteppedText(options_.store));
    }
    learntBefore_ += pending_.size();
    heldBefore_ += held_.size();
    pending_.clear();
    held_.clear();
    alarms_.clear();
  }

  void AddDrift(nlohmann::ordered_json& json, const std::string& part) const {
    std::vector<SDriftFound> drifts;
    std::copy_if(alarms_.begin(), alarms_.end(), std::back_inserter(drifts),
                 [&](const SDriftFound& drift) { return drift.part == part; });
    if (!drifts.empty()) {
      json["drift"] = DriftJson(drifts);
    }
  }

  const SOptions& options_;
  SConsole& console_;
  SSettings settings_;
  std::unique_ptr<CStore> store_;  ///< null until there is something to store
  std::unique_ptr<CModel> model_;
  std::unique_ptr<CPartSource> source_;
  SPart part_;
  std::vector<SPending> pending_;                        ///< learnt, not yet stored
  std::unordered_map<std::int64_t, std::size_t> taken_;  ///< places in pending_ by content
  CWaitingRecords waiting_{options_.store};
  std::vector<SHeldPart> held_;  ///< held back, not yet stored
  std::vector<SDriftFound> alarms_;
  CLearnGuard guard_;
  CGuardedRecording cutRecording_;
  bool starting_ = false;  ///< the guard has not seen enough parts yet
  bool stepped_ = false;   ///< said that the process has moved
  std::optional<std::int64_t> recording_;
  std::uint64_t heldBefore_ = 0;
  std::vector<SRefused> refused_;
  std::uint64_t learntBefore_ = 0;
  std::int64_t stateVersion_ = -1;
  std::int64_t run_ = 0;
  bool inBatch_ = false;
  Clock::time_point begun_;
};

class CGivenParts : public CPartLearner {
 public:
  CGivenParts(SOptions options, SConsole& console)
      : options_(std::move(options)), run_(options_, console) {}

  void Learn(const SPart& part) override { run_.Take(part); }
  void Store() override { run_.Store(); }

 private:
  SOptions options_;
  CLearnRun run_;
};

}  // namespace

std::unique_ptr<CPartLearner> MakePartLearner(const std::string& store, bool guards,
                                              SConsole& console) {
  SOptions options;
  options.store = store;
  options.settings.guard = guards;
  return std::make_unique<CGivenParts>(std::move(options), console);
}

int RunLearn(const SOptions& options, SConsole& console) {
  for (;;) {
    try {
      return CLearnRun(options, console).Run();
    } catch (const CBegunElsewhere&) {
      // nothing was stored yet: begin again, on top of the other's store
    }
  }
}

}  // namespace limes::host
