#pragma once

#include <vector>

#include "apps/limes/verdict.h"

namespace limes::host {

/// The excess of a curve over a region of x; the numbers are those of the verdict at its peak.
SDefect CurveDefect(const SQuantityVerdict& numbers, double from, double to);

/// The excess of a single value.
SDefect ValueDefect(const SQuantityVerdict& numbers);

/// Puts the defects of a part through the library's report folder: each gets its report line, and
/// they are ordered by priority.
void OrderDefects(std::vector<SDefect>& defects);

}  // namespace limes::host
