#pragma once

#include <optional>
#include <vector>

#include "apps/limes/measurement/verdict.h"
#include "limes/results/protocol_item_list.h"

namespace limes::host {

/// Adds an item to the protocol of a part, as a learner judged it: gives it the texts of its
/// quantity and the priority. Throws std::bad_alloc.
void AddItem(CProtocolItemList& items, CProtocolItem item, const SQuantityVerdict& verdict,
             const std::optional<double>& excessInS);

/// The failed items of a part as defects, most important first, each with its line of the report.
/// The items' groups are places in the quantities. Throws std::bad_alloc.
std::vector<SDefect> DefectsOf(const CProtocolItemList& items,
                               const std::vector<SQuantityVerdict>& quantities);

}  // namespace limes::host
