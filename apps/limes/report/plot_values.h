#pragma once

#include <string>

#include "apps/limes/report/plot.h"

namespace limes::host {

/// The values of a plot for the script of a page, as JSON without "<".
std::string PlotJson(const SPlotContent& content, double left, double right);

/// The values of a plot for the script of a page, as an element of JSON: names, columns of x, ends
/// of each line in them (null where it has none; without "high" where both ends are the same),
/// marks, regions beyond a limit. Ends are floats in base 64, NaN for none, which are exact and
/// short; what another plot of the page has is left out. Texts are plain; no bytes of a file end
/// the element.
std::string PlotValues(const SPlotContent& content, double left, double right);

}  // namespace limes::host
