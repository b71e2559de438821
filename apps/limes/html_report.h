#pragma once

#include <string>
#include <vector>

#include "apps/limes/store.h"
#include "apps/limes/svg_plot.h"

namespace limes::host {

/// Where a judged part lies beyond the limits of a quantity, most important first; else where it
/// comes closest to each.
std::vector<SPlotMark> MarksOfPart(const SPartVerdict& verdict, const std::string& quantity);

/// All that a store holds as one page of HTML below 2 MB that needs no other file: counts, most
/// frequent and most important defects, plots of the quantities with their worst parts, runs.
/// What is too much is cut, and the page says so. Reads a moment of the store.
std::string HtmlReport(CStore& store);

}  // namespace limes::host
