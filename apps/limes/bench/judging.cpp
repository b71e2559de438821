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
      store_(path, storing ? CStore::Mode::kExisting : CStore::Mode::kReading),
      settings_(Resolved()),
      model_(settings_),
      watch_(settings_.drift) {
  Load();
  store_.Rollback();
}

/// Opens a transaction, so that settings and learn states are of one moment.
SSettings CJudging::Resolved() {
  store_.BeginReading();
  changes_ = store_.Changes();
  const auto stored = store_.Settings();
  if (!stored) {
    throw CStoreError(path_ + ": nothing is learnt in this store");
  }
  rule_ = SettingsToText(*stored);
  SSettings settings = Resolve(given_, stored, false);
  if (settings.reject && settings.base != stored->base) {
    throw CUsageError(
        "a rate is promised for the --base that parts were scored with, " +
        NumberText(stored->base) +
        ": give --factor with another one, or change it by limes set or limes calibrate");
  }
  return settings;
}

void CJudging::Load() {
  stateVersion_ = store_.StateVersion();
  LoadModel(store_, model_);
  LoadWatch();
  curves_.SetMost(storing_ ? settings_.KeptBytes() : 0);
  promise_ = PromiseOf(store_, model_);
}

/// The alarm goes on where judging left it, at first where learning did: so it knows what good
/// parts look like, and parts that have moved from the first one on are a drift.
void CJudging::LoadWatch() {
  std::vector<SStoredDrift> drift = store_.Drift(CStore::DriftSource::kJudging);
  if (drift.empty()) {
    drift = store_.Drift(CStore::DriftSource::kLearning);
  }
  watch_.Load(drift, store_.Path());
}

bool CJudging::Renew() {
  if (store_.Changes() == changes_) {
    return false;
  }
  const std::string before = rule_;
  bool changed = false;
  try {
    SSettings settings = Resolved();
    changed = rule_ != before || store_.StateVersion() != stateVersion_;
    if (changed) {
      settings_ = std::move(settings);
      model_ = CModel(settings_);
      watch_ = CDriftWatch(settings_.drift);
      Load();
      run_ = rule_ == before ? run_ : 0;  // a run has one rule
    }
  } catch (const CHostError&) {
    store_.GiveUp();
    throw;
  }
  store_.Rollback();
  return changed;
}

const SPartVerdict& CJudging::Judge(SPart& part, const NoteTaker& note) {
  model_.ConvertUnits(part, note);
  SPartVerdict verdict = model_.Judge(part);
  std::vector<std::uint8_t> record = RecordOf(part);
  verdict.content = ContentOf(part, record);
  curves_.Add(pending_.size(), part, verdict.verdict, std::move(record));
  verdict.at = std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
                   .count();
  shifts_.push_back(model_.Shifts());
  pending_.push_back(std::move(verdict));
  return pending_.back();
}

void CJudging::Drop(std::size_t kept) {
  pending_.resize(kept);
  shifts_.resize(kept);
  curves_.Drop(kept);
}

std::vector<SPartVerdict> CJudging::Write(const Also& also) {
  if (!storing_) {
    Watch();
  } else {
    std::int64_t run = run_;
    try {
      store_.Begin();
      LoadWatch();  // others judge, too
      Watch();
      store_.SetDrift(CStore::DriftSource::kJudging, watch_.Stored());
      if (run == 0 && !pending_.empty()) {
        run = store_.AddRun(command_, settings_);
      }
      for (SPartVerdict& verdict : pending_) {
        verdict.id = store_.AddJudged(run, verdict);
        store_.AddAlarms(run, verdict.drifts, verdict.id);
      }
      curves_.Write(store_, pending_);
      if (also) {
        also(pending_);
      }
      store_.Commit();
    } catch (const CStoreError&) {
      store_.GiveUp();
      throw;
    }
    run_ = run;
  }
  shifts_.clear();
  curves_.Drop(0);
  return std::exchange(pending_, {});
}

/// Parts that are NOK or not judged tell of themselves, not of the process.
void CJudging::Watch() {
  for (std::size_t i = 0; i < pending_.size(); ++i) {
    if (pending_[i].verdict == Verdict::kPass) {
      pending_[i].drifts = watch_.Add(pending_[i].part, shifts_[i], model_.Quantities());
    }
  }
}

}  // namespace limes::host
