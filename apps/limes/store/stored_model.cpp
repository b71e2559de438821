#include "apps/limes/store/stored_model.h"

namespace limes::host {

CModel LoadedModel(CStore& store, const SSettings& settings) {
  CModel model(settings);
  LoadModel(store, model);
  return model;
}

void LoadModel(CStore& store, CModel& model) {
  model.Load(store.Quantities(), store.Calibration(), store.Path());
}

}  // namespace limes::host
