#include "apps/limes/store/stored_model.h"

#include <algorithm>
#include <set>
#include <utility>

#include "apps/limes/errors.h"

namespace limes::host {

std::optional<SLearntState> LearntStateOf(CStore& store) {
  const auto settings = store.Settings();
  if (!settings) {
    return std::nullopt;
  }
  return SLearntState{*settings,
                      store.Quantities(),
                      store.Calibration(),
                      store.Modes(),
                      store.Drift(CStore::DriftSource::kLearning),
                      store.LearntParts()};
}

CModel LoadedModel(const SLearntState& state, const std::string& name) {
  CModel model(state.settings);
  model.Load(state.quantities, state.calibration, name, state.modes);
  model.Drift().Load(state.drift, name);
  return model;
}

CModel LoadedModel(CStore& store, const SSettings& settings) {
  CModel model(settings);
  LoadModel(store, model);
  return model;
}

void LoadModel(CStore& store, CModel& model) {
  model.Load(store.Quantities(), store.Calibration(), store.Path(), store.Modes());
  model.Drift().Load(store.Drift(CStore::DriftSource::kLearning), store.Path());
}

std::string LimitOf(const SStoredVariant& variant, const SSettings& settings) {
  return variant.name.empty() || variant.learnt >= settings.ownFrom ? variant.name : kAllVariants;
}

SParentModel ParentOf(CStore& store, const SSettings& settings) {
  SParentModel parent{std::make_shared<CModel>(settings), ""};
  for (const SStoredVariant& variant : store.Variants()) {
    store.Choose(variant.name);
    CModel own(settings);
    LoadModel(store, own);
    try {
      const SJoined joined = parent.model->Join(std::move(own));
      if (!joined.onlyHere.empty() || !joined.onlyThere.empty()) {
        throw CUsageError("its quantities are not those of the others");
      }
    } catch (const CUsageError& e) {
      parent = {nullptr, variant.name + ": " + e.what()};
      break;
    }
  }
  store.Choose("");
  return parent;
}

SPromise PromiseOf(CStore& store, CModel& model) {
  SPromise promise = model.Promise();
  const bool isCut = model.Settings().cut > 0;
  if (promise.source != ScoreSource::kLearning || (!promise.lone && !isCut)) {
    return promise;
  }
  std::set<std::int64_t> recordings;
  double furthest = kLowestScore;
  for (const SLearntPart& part : store.LearntParts()) {
    recordings.insert(part.recording.value_or(part.id));
    const SPartScores scores = model.InSides(part.scores);
    if (promise.lone && std::max(scores.above, scores.below) > furthest) {
      furthest = std::max(scores.above, scores.below);
      promise.loneName = part.name;
    }
  }
  if (isCut) {
    promise.groups = static_cast<std::int64_t>(recordings.size());
  }
  return promise;
}

}  // namespace limes::host
