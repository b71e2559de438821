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

/// The same of a plot whose mean, limits and band are those of another one on the page, in the
/// element of that id, where there is one.
std::string PlotOnPage(const SPlot& plot, const std::string& like);

/// The same of what it shows, drawn in at most so many columns.
std::string PlotOnPage(const SPlotContent& content, std::size_t drawn);

/// A number and a text of a drawing; anchor: "start", "middle" or "end".
std::string SvgNumber(double value);
std::string SvgText(double x, double y, const char* anchor, const std::string& text);

}  // namespace limes::host
