#pragma once

#include "apps/limes/commands/console.h"
#include "apps/limes/commands/options.h"
#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"

namespace limes::host {

/// Prints Cp, Cpk, Pp and Ppk of the learnt single values against the given tolerances. Throws
/// CUsageError when there is none to be said. Needs a transaction that reads.
void ShowCapability(const SOptions& options, CStore& store, CModel& model, SConsole& console);

}  // namespace limes::host
