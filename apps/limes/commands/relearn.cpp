#include "apps/limes/commands/relearn.h"

#include <optional>
#include <vector>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/part_record.h"

namespace limes::host {
namespace {

/// Learns kept parts in their order, on top of the store's base; those are scored that were, pieces
/// of one recording as when they were learnt.
class CRelearning {
 public:
  CRelearning(CStore& store, const SSettings& settings)
      : quantities_(store.Quantities()), model_(settings) {
    model_.Load(store.Base(), store.BaseCalibration(), store.Path(), store.BaseModes());
    model_.Drift().Load(store.Drift(CStore::DriftSource::kBefore), store.Path());
  }

  /// Its scores; empty where it was not scored.
  SScores Learn(const SLearntPart& kept) {
    if (kept.recording != recording_) {
      recording_ = kept.recording;
      recording_ ? model_.Freeze() : model_.Thaw();
    }
    SPart part = PartFromRecord(kept.record, quantities_);
    part.name = kept.name;
    const bool scored = kept.scores.above.has_value();
    if (const std::string reason = model_.Learn(part, true, scored); !reason.empty()) {
      throw CStoreError(part.name + " does not fit what is left: " + reason);
    }
    return scored ? model_.Scored().scores : SScores();
  }

  CModel& Model() { return model_; }

 private:
  std::vector<SStoredQuantity> quantities_;
  CModel model_;
  std::optional<std::int64_t> recording_;
};

}  // namespace

void ForEachKept(CStore& store, const std::function<bool(const SLearntPart&)>& take) {
  constexpr std::size_t kAtOnce = 64;  // parts read at a time
  std::int64_t last = 0;
  for (;;) {
    const std::vector<SLearntPart> parts = store.KeptParts(last, kAtOnce);
    for (const SLearntPart& kept : parts) {
      if (!take(kept)) {
        return;
      }
      last = kept.id;
    }
    if (parts.empty()) {
      return;
    }
  }
}

CModel Relearn(CStore& store, const SSettings& settings, const std::set<std::int64_t>& leftOut,
               const TakeLearnt& tell) {
  CRelearning relearning(store, settings);
  ForEachKept(store, [&](const SLearntPart& kept) {
    if (!leftOut.contains(kept.id)) {
      const SScores scores = relearning.Learn(kept);
      if (tell) {
        tell(kept.id, scores);
      }
    }
    return true;
  });
  return std::move(relearning.Model());
}

SSettings Precisely(SSettings settings) {
  settings.precise = true;
  return Resolve(SGivenSettings(), settings, false);
}

bool TurnPrecise(CStore& store) {
  bool gaveUpScores = false;
  store.Choose("");
  const SSettings common = Precisely(store.Settings().value());
  store.SetSettings(common);
  const std::int64_t run = store.AddRun("set", common);
  for (const SStoredVariant& variant : store.Variants()) {
    store.Choose(variant.name);
    const SSettings settings = Precisely(store.Settings().value());
    if (variant.hasRule) {
      store.SetSettings(settings);
    }
    const auto before = store.Calibration();
    gaveUpScores |= before && before->source != ScoreSource::kLearning;
    CModel model = Relearn(store, settings, {}, [&](std::int64_t id, const SScores& scores) {
      store.SetScores(id, scores);
    });
    SaveModel(store, model, run);
  }
  store.Choose("");
  return gaveUpScores;
}

void SaveModel(CStore& store, CModel& model, std::int64_t run) {
  store.SetQuantities(model.States());
  store.SetQuantities(model.Modes().Quantities());
  store.SetModes(model.Modes().Record());
  store.SetCalibration(model.Calibration());
  store.SetDrift(CStore::DriftSource::kLearning, model.Drift().Stored());
  store.SetHistory(run, model.Moment());
  store.NextStateVersion();
}

void SaveBase(CStore& store, CModel& model) {
  store.SetBase(model.States());
  store.SetBaseModes(model.Modes().Record());
  store.SetBaseCalibration(model.Calibration());
  store.SetDrift(CStore::DriftSource::kBefore, model.Drift().Stored());
}

void LimitKept(CStore& store, const SSettings& settings, std::int64_t most) {
  std::int64_t left = store.KeptBytes();
  if (left <= most) {
    return;
  }
  CRelearning relearning(store, settings);
  std::int64_t last = 0;
  std::optional<std::int64_t> recording;  // is not torn
  ForEachKept(store, [&](const SLearntPart& kept) {
    if (left <= most / 2 && !(kept.recording && kept.recording == recording)) {
      return false;
    }
    left -= static_cast<std::int64_t>(kept.record.size());
    last = kept.id;
    recording = kept.recording;
    relearning.Learn(kept);
    return true;
  });
  SaveBase(store, relearning.Model());
  store.DropKept(last);
}

}  // namespace limes::host
