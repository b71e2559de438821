#pragma once

#include <string>
#include <vector>

#include "apps/limes/store.h"

namespace limes::host {

/// The last runs of each quantity as HTML, with what moved since the run before; empty without
/// history.
std::string HistoryTable(const std::vector<SHistory>& history);

}  // namespace limes::host
