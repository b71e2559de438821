#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/limes/report/report.h"

namespace limes::host {

/// Text from files as it may stand in HTML and XML, in quotes too: what is no character there
/// becomes U+FFFD, what is longer than the given bytes is cut and ends in an ellipsis.
std::string Escaped(std::string_view text, std::size_t most = 160);

/// Six digits, the shortest way to write them.
std::string PlotNumber(double value);

/// Where a part lies beyond a limit, or came closest to it.
struct SPlotMark {
  double x = 0.0;  ///< ignored for a single value
  double value = 0.0;
  std::optional<double> from;  ///< region beyond the limit
  std::optional<double> to;
  bool beyond = false;
  std::string text;  ///< what hovering shows
};

/// Smallest and largest value of a stretch of a curve; NaN where there is none.
struct SExtremes {
  float low = 0.0F;
  float high = 0.0F;
};

/// A judged part as it is drawn; marks and curve share colour and shape.
struct SPlotPart {
  std::string name;
  std::vector<SPlotMark> marks;
  std::vector<SExtremes> curve;  ///< as many columns as the learnt curves are drawn in, or none
};

/// A learnt quantity as it is drawn.
struct SPlot {
  static constexpr std::size_t kMostColumns = 480;

  std::vector<const SLearntSummary*> sides;  ///< of one quantity; at least one
  std::vector<SPlotPart> parts;
  std::size_t columns = kMostColumns;  ///< along x; curves with more points are thinned
  std::vector<double> xs{};  ///< of the points, each then drawn; empty: evenly from xFirst to xLast
  std::string xName = "x";
};

/// A curve in at most as many stretches, at least two. O(points).
std::vector<SExtremes> Thinned(const std::vector<float>& values, std::size_t columns);

/// The plot as one svg element: mean, spread band where there is a spread, limits, parts, axes with
/// name and unit, legend. A column of x keeps its smallest and largest value. O(points).
std::string DrawPlot(const SPlot& plot);

}  // namespace limes::host
