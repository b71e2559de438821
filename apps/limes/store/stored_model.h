#pragma once

#include "apps/limes/measurement/settings.h"
#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"

namespace limes::host {

/// What a store holds, by the settings of a run. Throws CStoreError.
CModel LoadedModel(CStore& store, const SSettings& settings);
void LoadModel(CStore& store, CModel& model);

}  // namespace limes::host
