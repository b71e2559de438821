#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/limes/report.h"

namespace limes::host {

/// Text from files as it may stand in HTML and XML, in quotes too: what is no character there
/// becomes U+FFFD, what is longer than the given bytes is cut and ends in an ellipsis.
std::string Escaped(std::string_view text, std::size_t most = 160);

/// Six digits, the shortest way to write them.
std::string PlotNumber(double value);

/// Where a part lies beyond a limit, or came closest to it.
struct SPlotMark {
  std::string part;
  double x = 0.0;  ///< ignored for a single value
  double value = 0.0;
  std::optional<double> from;  ///< region beyond the limit
  std::optional<double> to;
  bool beyond = false;
  std::string text;  ///< what hovering shows
};

/// A learnt quantity as it is drawn. Marks of one part share colour and shape.
struct SPlot {
  static constexpr std::size_t kMostColumns = 480;

  std::vector<const SLearntSummary*> sides;  ///< of one quantity; at least one
  std::vector<SPlotMark> marks;              ///< those of a part in one run
  std::size_t columns = kMostColumns;        ///< along x; curves with more points are thinned
};

/// The plot as one svg element: mean, spread band, limits, marks, axes with name and unit, legend.
/// A column of x keeps its smallest and largest value. O(points).
std::string DrawPlot(const SPlot& plot);

}  // namespace limes::host
