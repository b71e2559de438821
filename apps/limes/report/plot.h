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
  std::size_t drawn = kMostColumns;    ///< of them, in the drawing without scripts
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
  bool joined = true;  ///< points are joined
  double dot = 0.0;    ///< size of its points; 0: not shown
};

/// What a drawing and the script of a page show of a plot, in its units. Texts are
/// plain and short.
struct SPlotContent {
  /// A mark in the colour and shape of its part. Single values lie side by side.
  struct SMark {
    SPlotMark mark;
    std::size_t shape = 0;
    std::string colour;
    bool filled = false;
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
  std::vector<std::string> texts;  ///< of the columns: what hovering shows, too; or none
  std::vector<double> times;       ///< of the columns, in s since 1970 UTC; or none
  bool fixed = false;              ///< all of it is shown over this y, whatever the lines hold
  std::string like;                ///< the plot of the page that it shares columns with; or none
  std::size_t shared = 0;          ///< lines that it shares with it, as the band

  /// The same in at most so many columns, without losing a peak; texts and times stay behind.
  SPlotContent Coarser(std::size_t columns) const;

 private:
  /// A single value holds from edge to edge.
  void StretchSingle();
};

/// Colour of a part, of those that colour-blind people tell apart.
const char* PartColour(std::size_t part);

/// Marks of parts differ in shape as well: 0 to 3.
inline std::size_t PartShape(std::size_t part) { return part % 4; }

/// Triangles.
inline constexpr std::size_t kShapeUp = 2;
inline constexpr std::size_t kShapeDown = 4;

}  // namespace limes::host
