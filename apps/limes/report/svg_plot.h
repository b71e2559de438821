#pragma once

#include <string>

#include "apps/limes/report/plot.h"

namespace limes::host {

/// A plot as one svg element: mean, spread band where there is a spread, limits, parts, axes with
/// name and unit, legend. O(columns and parts).
std::string DrawPlot(const SPlot& plot);

/// The same of what it shows, without parts.
std::string DrawPlot(const SPlotContent& content);

/// A plot on a page: the drawing, its values for the page's script, and the line that the script
/// fills with the values at the pointer.
std::string PlotOnPage(const SPlot& plot);

}  // namespace limes::host
