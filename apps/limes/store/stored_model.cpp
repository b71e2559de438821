#include "apps/limes/store/stored_model.h"

namespace limes::host {

CModel LoadedModel(CStore& store, const SSettings& settings) {
  CModel model(settings);
  LoadModel(store, model);
  return model;
}

void LoadModel(CStore& store, CModel& model) {
  model.Load(store.Quantities(), store.Calibration(), store.Path());
  model.Drift().Load(store.Drift(CStore::DriftSource::kLearning), store.Path());
}

}  // namespace limes::host
