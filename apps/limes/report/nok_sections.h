#pragma once

#include <string>

#include "apps/limes/report/judged_parts.h"

namespace limes::host {

/// The NOK parts of a page one by one, those furthest beyond a limit first: their defects, their
/// curves over mean and limits, and the parts judged just before and behind them; empty without
/// any. The plots of the quantities must stand on the page before.
std::string NokSections(const CJudgedParts& judged);

}  // namespace limes::host
