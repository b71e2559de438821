#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/limes/report/report.h"
#include "limes/display/vis_axis.h"
#include "limes/display/vis_data_vector.h"

namespace limes::host {

/// Where a part lies beyond a limit, or came closest to it.
struct SPlotMark {
  double x = 0.0;  ///< ignored for a single value
  double value = 0.0;
  std::optional<double> from;  ///< region beyond the limit
  std::optional<double> to;
  bool beyond = false;
  std::string text;  ///< what hovering shows
};

/// A judged part as it is drawn; marks and curve share colour and shape.
struct SPlotPart {
  std::string name;
  std::vector<SPlotMark> marks;
  std::vector<SVisExtremes> curve;  ///< as many columns as the learnt curves are drawn in, or none
};

/// A learnt quantity that is to be drawn.
struct SPlot {
  static constexpr std::size_t kMostColumns = 480;

  std::vector<const SLearntSummary*> sides;  ///< of one quantity; at least one
  std::vector<SPlotPart> parts;
  std::size_t columns = kMostColumns;  ///< along x; curves with more points are thinned
  std::vector<double> xs{};  ///< of the points, each then drawn; empty: evenly from xFirst to xLast
  std::string xName = "x";
};

/// A line with the values it has in each column.
struct SPlotLine {
  std::string name;
  std::string colour;
  double width = 1.0;
  bool dashed = false;
  std::vector<SVisExtremes> columns;
  std::string legend;  ///< what the legend says of it; empty: nothing
};

/// What a drawing and the script of a page show of a plot, in its units. Texts are
/// plain and short.
struct SPlotContent {
  /// A mark of a part. Single values lie side by side.
  struct SMark {
    std::size_t part = 0;
    SPlotMark mark;
  };

  SPlotContent() = default;
  explicit SPlotContent(const SPlot& plot);

  bool single = false;
  bool dots = false;  ///< each point is drawn
  std::string xName;
  std::string yName;
  SVisRange x;
  SVisRange y;
  std::vector<double> xs;          ///< of the columns
  std::vector<SPlotLine> lines;    ///< mean, limits, parts with a curve
  std::vector<SVisExtremes> band;  ///< mean ± spread; empty where no column has one
  std::vector<SMark> marks;        ///< finite and inside x
  std::vector<SVisRange> regions;  ///< along x, beyond a limit

 private:
  /// A single value holds from edge to edge.
  void StretchSingle();
};

/// Colour of a part, of those that colour-blind people tell apart.
const char* PartColour(std::size_t part);

/// Marks of parts differ in shape as well: 0 to 3.
inline std::size_t PartShape(std::size_t part) { return part % 4; }

}  // namespace limes::host
