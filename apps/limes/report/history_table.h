#pragma once

#include <string>
#include <vector>

#include "apps/limes/report/report.h"
#include "apps/limes/store/store.h"

namespace limes::host {

/// How mean and limit moved from run to run, as HTML of at most some bytes of plots and 400 rows of
/// a table: a plot of each quantity that at least two runs learnt, and the last runs of each with
/// what moved since the run before. Empty without history.
std::string LearningHistory(const std::vector<SHistory>& history,
                            const std::vector<SLearntSummary>& summaries, std::size_t plotBytes);

}  // namespace limes::host
