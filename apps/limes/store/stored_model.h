#pragma once

#include "apps/limes/measurement/settings.h"
#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"

namespace limes::host {

/// What a store holds, by the settings of a run. Throws CStoreError.
CModel LoadedModel(CStore& store, const SSettings& settings);
void LoadModel(CStore& store, CModel& model);

/// The promise of a model that was loaded, with what only the store knows: the name of a part that
/// stands alone, and of how many recordings the pieces are.
SPromise PromiseOf(CStore& store, CModel& model);

}  // namespace limes::host
