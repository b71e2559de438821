#include "apps/limes/commands/learning.h"

#include <algorithm>
#include <bit>
#include <nlohmann/json.hpp>
#include <ostream>
#include <set>
#include <utility>

#include "apps/limes/commands/modes_choice.h"
#include "apps/limes/commands/relearn.h"
#include "apps/limes/errors.h"
#include "apps/limes/measurement/part_record.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/report/report_texts.h"
#include "apps/limes/store/stored_model.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// After how many parts it is looked whether single precision will do: whatever the batches are.
bool IsLookedAt(std::int64_t parts) {
  return parts >= 16 && std::has_single_bit(static_cast<std::uint64_t>(parts));
}

/// Parts that are looked at together take a few times as much memory.
constexpr std::int64_t kMostTogetherBytes = std::int64_t{256} << 20;

}  // namespace

CLearning::CLearning(const SOptions& options, SConsole& console, const SSettings& settings,
                     std::string variant, CWaitingRecords& waiting)
    : options_(options),
      console_(console),
      settings_(settings),
      variant_(std::move(variant)),
      model_(settings),
      waiting_(waiting) {}

void CLearning::Begin(CStore* store, bool isStale) {
  taken_.clear();
  if (store != nullptr && store->Settings()) {
    if (const auto precise = store->Settings()->precise; precise != settings_.precise) {
      settings_.precise = precise;  // set meanwhile
      model_ = CModel(settings_);
      isStale = true;
    }
    if (isStale) {
      LoadModel(*store, model_);
    }
    guard_.SetRecent(store->GuardRecent());
  }
  starting_ = settings_.guard && (store == nullptr || MayLookTogether(*store, model_, settings_));
}

void CLearning::BeginFile() {
  if (settings_.cut > 0) {
    model_.Freeze();
  }
  if (IsGuardedAsWhole()) {
    cutRecording_.Begin(model_);
  }
}

void CLearning::EndFile(CStore* store) {
  if (IsGuardedAsWhole() && !starting_) {
    HoldRecording(store);
  }
}

/// Takes back what was learnt of the recording at hand, if good ones do not explain it: a file
/// that is cut is a batch of its own.
void CLearning::HoldRecording(CStore* store) {
  const auto held = pending_.empty() ? std::nullopt : cutRecording_.HeldBack(guard_);
  if (!held) {
    return;
  }
  for (SPending& pending : std::exchange(pending_, {})) {
    SHeldPart& piece = held_.emplace_back(*held);
    piece.part = std::move(pending.part);
    piece.part.recording = SLearntPart::kNewRecording;
  }
  model_ = LoadedModel(*store, settings_);
}

void CLearning::Learn(CStore* store, const SPart& part) {
  SLearntPart learnt{part.name, part.label, std::nullopt, RecordOf(part)};
  learnt.content = ContentOf(part, learnt.record);
  const auto same = taken_.find(*learnt.content);
  auto known =
      same == taken_.end() ? std::nullopt : std::optional(pending_[same->second].part.name);
  if (!known && store != nullptr) {
    known = store->FindLearnt(*learnt.content);
  }
  if (known && !options_.again) {
    refused_.push_back({part.name, "is learnt already" +
                                       (*known == part.name ? "" : ", as " + *known) +
                                       " (--again learns it once more)"});
    return;
  }
  if (IsHeld(store, learnt)) {
    refused_.push_back({part.name, "is held back already (limes accept learns it)"});
    return;
  }
  if (TakePart(part, learnt, known.has_value(), settings_.guard && !starting_)) {
    waiting_.Put(learnt);
    taken_.try_emplace(*learnt.content, pending_.size());
    pending_.push_back({std::move(learnt), known.has_value(), false});
  }
}

bool CLearning::IsHeld(CStore* store, const SLearntPart& part) const {
  return (store != nullptr && store->FindHeld(*part.content)) ||
         std::any_of(held_.begin(), held_.end(),
                     [&](const SHeldPart& held) { return held.part.content == part.content; });
}

/// True when the part was learnt; else it is noted why not.
bool CLearning::TakePart(const SPart& part, SLearntPart& learnt, bool known, bool guards) {
  std::string reason = model_.Prepare(part, options_.allowShort);
  reason = reason.empty() && !options_.allowShort ? model_.FarOff() : reason;
  if (!reason.empty()) {
    refused_.push_back({part.name, std::move(reason)});
    return false;
  }
  // What is known already tells nothing of other parts.
  learnt.scores = known ? SScores() : model_.Score().scores;
  if (!known && IsGuardedAsWhole()) {
    cutRecording_.Take(model_);
  }
  if (auto held =
          guards && !known && settings_.cut == 0 ? HeldBack(model_, guard_) : std::nullopt) {
    held->part = std::move(learnt);
    held_.push_back(std::move(*held));
    return false;
  }
  model_.LearnPrepared(learnt.scores);
  if (needsDouble_.empty() && IsLookedAt(model_.Parts())) {
    needsDouble_ = model_.NeedsDouble();
  }
  return true;
}

void CLearning::Write(CStore& store, std::int64_t run) {
  run_ = run;
  taken_.clear();
  recording_.reset();
  if (starting_) {
    LearnStart(store);
  } else {
    for (SPending& pending : pending_) {
      Add(store, pending.part);
    }
    AddHeld(store);
  }
  SaveModel(store, model_, run_);
  alarms_ = model_.TakeAlarms();
  store.AddAlarms(run_, alarms_, std::nullopt);
  store.SetGuardRecent(guard_.Recent());
}

void CLearning::LimitKept(CStore& store) {
  const auto variants = static_cast<std::int64_t>(store.Variants().size());
  host::LimitKept(store, settings_, kMostKeptBytes / std::max<std::int64_t>(variants, 1));
}

void CLearning::TakePrecise(CStore& store) {
  settings_.precise = true;
  model_ = LoadedModel(store, settings_);
}

void CLearning::Add(CStore& store, SLearntPart& learnt) {
  if (settings_.cut > 0) {  // a file that is cut is a batch of its own
    learnt.recording = recording_.value_or(SLearntPart::kNewRecording);
  }
  waiting_.Get(learnt);
  const std::int64_t id = store.AddLearnt(run_, learnt);
  recording_ = recording_.value_or(id);
  std::vector<std::uint8_t>().swap(learnt.record);  // from here on it is told of only
}

void CLearning::AddHeld(CStore& store) {
  CMovedRecordings recordings;
  for (SHeldPart& held : held_) {
    SHeldPart whole = held;
    waiting_.Get(whole.part);
    recordings.Move(whole.part, [&] { return store.AddHeld(run_, whole); });
  }
}

/// While the guard starts, the parts of a batch were learnt to see whether they fit. Now they are
/// taken one by one, and looked at together at the start and when their number has doubled.
void CLearning::LearnStart(CStore& store) {
  const std::vector<SHeldPart> before = store.HeldParts(false);
  const std::vector<SStoredQuantity> quantities = model_.States();
  model_ = LoadedModel(store, settings_);
  if (settings_.cut > 0) {
    StartRecording(store, before, quantities);
    return;
  }
  std::vector<SPending> learnt;
  std::uint64_t parts = static_cast<std::uint64_t>(store.CountParts(true)) + before.size();
  for (SPending& pending : std::exchange(pending_, {})) {
    const SPart part = PartOf(pending.part, quantities);
    const bool wasStart = IsStart(store, model_, settings_);
    const std::size_t held = held_.size();
    if (TakePart(part, pending.part, pending.known, !wasStart)) {
      Add(store, pending.part);
      learnt.push_back(std::move(pending));
    } else if (held_.size() > held) {
      store.AddHeld(run_, held_.back());
    }
    const bool doubled = std::has_single_bit(++parts) && parts <= kLookedAt;
    const bool starts = IsStart(store, model_, settings_);
    if ((wasStart && !starts) || (doubled && !starts && !guard_.HasStepped())) {
      Look(store);
    }
  }
  if (IsStart(store, model_, settings_)) {
    Look(store);
  }
  Compare(store, before, std::move(learnt));
}

/// The same of the pieces of a recording.
void CLearning::StartRecording(CStore& store, const std::vector<SHeldPart>& before,
                               const std::vector<SStoredQuantity>& quantities) {
  model_.Freeze();
  cutRecording_.Begin(model_);
  for (SPending& pending : std::exchange(pending_, {})) {
    const SPart part = PartOf(pending.part, quantities);
    if (TakePart(part, pending.part, pending.known, false)) {
      waiting_.Put(pending.part);
      pending_.push_back(std::move(pending));
    }
  }
  const bool isStart = IsStart(store, model_, settings_);
  if (!isStart) {
    HoldRecording(&store);
  }
  for (SPending& pending : pending_) {
    Add(store, pending.part);
  }
  AddHeld(store);
  if (isStart) {
    Look(store);
  }
  Compare(store, before, std::exchange(pending_, {}));
}

/// The part that waits, to be learnt once more.
SPart CLearning::PartOf(SLearntPart& waiting, const std::vector<SStoredQuantity>& quantities) {
  waiting_.Get(waiting);
  SPart part = PartFromRecord(waiting.record, quantities);
  part.name = waiting.name;
  return part;
}

namespace {

/// Whether something can be told of the recordings: of one alone nothing can.
bool HasOthers(CStore& store) {
  std::set<std::int64_t> kept;
  for (const SLearntPart& part : store.LearntParts()) {
    if (part.kept) {
      kept.insert(part.recording.value_or(part.id));
    }
  }
  return kept.size() > 1 || !store.HeldParts(false).empty();
}

}  // namespace

/// All that is kept comes into memory for it.
void CLearning::Look(CStore& store) {
  if (!HasOthers(store)) {
    return;
  }
  if (store.KeptBytes() > kMostTogetherBytes) {
    Warn(console_,
         "the parts learnt so far are too large to be compared with each other (--guard "
         "compares those to come with them)");
    return;
  }
  if (LookTogether(store, model_, settings_, run_)) {
    guard_.SetRecent(0);
  }
}

/// What became of the parts: those of this batch, and those learnt or held before.
void CLearning::Compare(CStore& store, const std::vector<SHeldPart>& before,
                        std::vector<SPending> learnt) {
  const auto has = [](const std::vector<SHeldPart>& list, auto same) {
    return std::any_of(list.begin(), list.end(), same);
  };
  const std::vector<SHeldPart> now = store.HeldParts(false);
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

bool CLearning::ChooseModes(CStore& store, std::int64_t run) {
  const bool whole = settings_.whole;
  TakeBestModes(store, settings_, options_.whole, options_.json ? console_.err : console_.out);
  if (!settings_.modes && settings_.whole == whole) {
    return false;
  }
  model_ = WithModes(store, settings_);
  store.SetSettings(settings_);
  SaveModel(store, model_, run);
  return true;
}

namespace {

void AddDrift(nlohmann::ordered_json& json, const std::vector<SDriftFound>& alarms,
              const std::string& part) {
  std::vector<SDriftFound> drifts;
  std::copy_if(alarms.begin(), alarms.end(), std::back_inserter(drifts),
               [&](const SDriftFound& drift) { return drift.part == part; });
  if (!drifts.empty()) {
    json["drift"] = DriftJson(drifts);
  }
}

}  // namespace

/// A text for people, of which variant it is.
std::string CLearning::Named(const std::string& text) const {
  return variant_.empty() ? text : variant_ + ": " + text;
}

void CLearning::Report() {
  if (options_.json) {
    for (const auto& [learnt, known, released] : pending_) {
      nlohmann::ordered_json json;
      json["part"] = learnt.name;
      if (learnt.label) {
        json["label"] = *learnt.label;
      }
      if (!variant_.empty()) {
        json["variant"] = variant_;
      }
      json["learnt"] = true;
      AddDrift(json, alarms_, learnt.name);
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
      PrintHeldJson(console_.out, held, variant_, &guard_);
    }
    console_.err << "held back  " << Escaped(Named(HeldText(held))) << '\n';
  }
  for (const SDriftFound& drift : alarms_) {
    Warn(console_, Named(DriftText(drift)));
  }
  if (settings_.guard && guard_.HasStepped() && !std::exchange(stepped_, true)) {
    Warn(console_, Named(SteppedText(options_.store)));
  }
  learntBefore_ += pending_.size();
  heldBefore_ += held_.size();
  pending_.clear();
  held_.clear();
  alarms_.clear();
}

}  // namespace limes::host
