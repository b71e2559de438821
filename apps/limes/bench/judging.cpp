#include "apps/limes/bench/judging.h"

#include <chrono>
#include <utility>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/part_record.h"
#include "apps/limes/store/stored_model.h"
#include "recordings/text.h"

namespace limes::host {

CJudging::CJudging(const std::string& path, const SGivenSettings& given, std::string command,
                   bool storing)
    : path_(path),
      given_(given),
      command_(std::move(command)),
      storing_(storing),
      store_(path, storing ? CStore::Mode::kExisting : CStore::Mode::kReading) {
  store_.BeginReading();
  Open();
  store_.Rollback();
}

/// Needs a transaction, so that settings and learn states are of one moment.
void CJudging::Open() {
  changes_ = store_.Changes();
  settings_ = Resolved();
  rule_ = SettingsToText(*store_.Settings());
  curves_.SetMost(storing_ ? settings_.KeptBytes() : 0);
  stateVersion_ = store_.StateVersion();
  known_.clear();
  parents_.clear();
  const std::vector<SStoredVariant> variants = store_.Variants();
  limits_ = Loaded(HasVariants() && !variants.empty() ? variants[0].name : "");
}

/// The rule of the variant that is chosen.
SSettings CJudging::Resolved() {
  const auto stored = store_.Settings();
  if (!stored) {
    throw CStoreError(path_ + ": nothing is learnt in this store");
  }
  SSettings settings = Resolve(given_, stored, false);
  if (settings.reject && settings.base != stored->base) {
    throw CUsageError(
        "a rate is promised for the --base that parts were scored with, " +
        NumberText(stored->base) +
        ": give --factor with another one, or change it by limes set or limes calibrate");
  }
  return settings;
}

/// The limits of a variant as they are stored. Needs a transaction.
std::shared_ptr<CJudging::SLimits> CJudging::Loaded(const std::string& variant) {
  auto& limits = known_[variant];
  limits = std::make_shared<SLimits>();
  limits->settings = settings_;
  limits->rule = SettingsToText(settings_);
  if (!store_.Choose(variant)) {
    limits->reason = Quoted(variant) + " is no variant that was learnt";
    return limits;
  }
  limits->settings = Resolved();
  limits->rule = SettingsToText(limits->settings);
  auto model = std::make_shared<CModel>(limits->settings);
  LoadModel(store_, *model);
  limits->watch = CDriftWatch(limits->settings.drift);
  LoadWatch(*limits);
  limits->promise = PromiseOf(store_, *model);
  limits->limitOf = variant;
  const SStoredVariant own{0, variant, HasVariants() ? store_.CountParts(true) : 0, false};
  store_.Choose("");
  if (HasVariants() && model->IsEmpty()) {
    limits->reason = Quoted(variant) + " is no variant that was learnt";
    return limits;
  }
  limits->model = std::move(model);
  if (LimitOf(own, limits->settings) == kAllVariants) {
    TakeParent(*limits, Quoted(variant) + " has learnt " + std::to_string(own.learnt) + " of " +
                            std::to_string(limits->settings.ownFrom) + " parts");
  }
  return limits;
}

/// A young variant is judged by the limits of all together.
void CJudging::TakeParent(SLimits& limits, const std::string& young) {
  if (!parents_.contains(limits.rule)) {
    parents_.emplace(limits.rule, ParentOf(store_, limits.settings));
  }
  const SParentModel& parent = parents_.at(limits.rule);
  limits.model = parent.model;
  limits.limitOf = kAllVariants;
  limits.watches = false;  // where it lies among others says nothing of how it moves
  if (parent.model) {
    limits.promise = parent.model->Promise();
  } else {
    limits.reason = young + ", and there is no limit of all variants: " + parent.reason;
  }
}

const std::shared_ptr<CJudging::SLimits>& CJudging::LimitsFor(const std::string& variant) {
  const auto known = known_.find(variant);
  if (known == known_.end()) {
    store_.BeginReading();
    try {
      Loaded(variant);
    } catch (const CHostError&) {
      known_.erase(variant);
      store_.Choose("");
      store_.GiveUp();
      throw;
    }
    store_.Rollback();
  }
  return known_.at(variant);
}

/// The alarm goes on where judging left it, at first where learning did: so it knows what good
/// parts look like, and parts that have moved from the first one on are a drift.
void CJudging::LoadWatch(SLimits& limits) {
  std::vector<SStoredDrift> drift = store_.Drift(CStore::DriftSource::kJudging);
  if (drift.empty()) {
    drift = store_.Drift(CStore::DriftSource::kLearning);
  }
  limits.watch.Load(drift, store_.Path());
}

bool CJudging::Renew() {
  if (store_.Changes() == changes_) {
    return false;
  }
  const std::string before = rule_;
  bool changed = false;
  try {
    store_.BeginReading();
    changes_ = store_.Changes();
    const auto stored = store_.Settings();
    changed =
        !stored || SettingsToText(*stored) != before || store_.StateVersion() != stateVersion_;
    if (changed) {
      ++renewals_;
      Open();
    }
  } catch (const CHostError&) {
    store_.GiveUp();
    throw;
  }
  store_.Rollback();
  return changed;
}

const SPartVerdict& CJudging::Judge(SPart& part, const NoteTaker& note) {
  SPartVerdict verdict;
  if (HasVariants() && !part.variant.fault.empty()) {
    limits_ = std::make_shared<SLimits>();
    limits_->settings = settings_;
    limits_->rule = SettingsToText(settings_);
    limits_->reason = part.variant.fault;
  } else if (HasVariants()) {
    limits_ = LimitsFor(part.variant.name);
  }
  if (limits_->model && limits_->reason.empty()) {
    limits_->model->ConvertUnits(part, note);
    verdict = limits_->model->Judge(part);
  } else {
    verdict.part = part.name;
    verdict.label = part.label;
    verdict.reason = limits_->reason;
  }
  verdict.variant = part.variant.name;
  verdict.limitOf = limits_->reason.empty() ? limits_->limitOf : "";
  std::vector<std::uint8_t> record = RecordOf(part);
  verdict.content = ContentOf(part, record);
  curves_.Add(pending_.size(), part, verdict.verdict, std::move(record));
  verdict.at = std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
                   .count();
  waiting_.push_back({limits_->model ? limits_->model->Shifts() : std::vector<SShift>(), limits_});
  pending_.push_back(std::move(verdict));
  return pending_.back();
}

void CJudging::Drop(std::size_t kept) {
  pending_.resize(kept);
  waiting_.resize(kept);
  curves_.Drop(kept);
}

/// A run has one rule.
std::int64_t CJudging::RunOf(const SLimits& limits) {
  std::int64_t& run = runs_[limits.rule];
  if (run == 0) {
    store_.Choose("");
    run = store_.AddRun(command_, limits.settings);
  }
  return run;
}

std::vector<SPartVerdict> CJudging::Write(const Also& also) {
  if (!storing_) {
    Watch(false);
  } else {
    const auto runs = runs_;
    try {
      store_.Begin();
      Watch(true);
      for (std::size_t i = 0; i < pending_.size(); ++i) {
        SPartVerdict& verdict = pending_[i];
        const std::int64_t run = RunOf(*waiting_[i].limits);
        store_.ChooseOrMake(verdict.variant);
        verdict.id = store_.AddJudged(run, verdict);
        store_.AddAlarms(run, verdict.drifts, verdict.id);
      }
      store_.Choose("");
      curves_.Write(store_, pending_);
      if (also) {
        also(pending_);
      }
      store_.Commit();
    } catch (const CStoreError&) {
      runs_ = runs;
      store_.Choose("");
      store_.GiveUp();
      throw;
    }
  }
  waiting_.clear();
  curves_.Drop(0);
  return std::exchange(pending_, {});
}

/// Parts that are NOK or not judged tell of themselves, not of the process.
void CJudging::Watch(bool storing) {
  std::map<SLimits*, std::string> moved;
  for (std::size_t i = 0; i < pending_.size(); ++i) {
    SLimits& limits = *waiting_[i].limits;
    SPartVerdict& verdict = pending_[i];
    if (!limits.watches || !limits.model) {
      continue;
    }
    if (storing && moved.emplace(&limits, verdict.variant).second) {
      store_.Choose(verdict.variant);
      LoadWatch(limits);  // others judge, too
    }
    if (verdict.verdict == Verdict::kPass) {
      verdict.drifts =
          limits.watch.Add(verdict.part, waiting_[i].shifts, limits.model->Quantities());
    }
  }
  for (const auto& [limits, variant] : moved) {
    store_.Choose(variant);
    store_.SetDrift(CStore::DriftSource::kJudging, limits->watch.Stored());
  }
  store_.Choose("");
}

}  // namespace limes::host
