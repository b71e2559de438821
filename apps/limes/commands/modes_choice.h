#pragma once

#include <optional>
#include <ostream>

#include "apps/limes/measurement/settings.h"
#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"

namespace limes::host {

/// What the parts of a store give with the modes of the settings, which may be others than the
/// store's: all are learnt anew and their scores are stored. Throws CUsageError where not all are
/// kept. Needs an open transaction.
CModel WithModes(CStore& store, const SSettings& settings);

/// Sets the number of modes, of 3 and 10, with which limits lie nearest to good parts; none where
/// it is not much better than without. Each part is judged before it is learnt, so good parts that
/// were not learnt decide. The whole is judged, too, when parts are enough, or of recordings that
/// were cut these, unless it is said. What was found is told. Leaves scores of another number in
/// the store. Throws as WithModes.
void TakeBestModes(CStore& store, SSettings& settings, std::optional<bool> whole,
                   std::ostream& out);

}  // namespace limes::host
