#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "limes/display/vis_axis.h"
#include "limes/display/vis_data_vector.h"
#include "limes/export.h"
#include "limes/kernels/polygon_coding.h"

namespace limes {

class CSigPairs;

/// A point in the units of two axes, or in places of a view.
struct LIMES_EXPORT SVisPoint {
  double x = 0.0;
  double y = 0.0;

  bool operator==(const SVisPoint&) const = default;
};

/// Points in places that a view joins by straight lines; a single one is a dot.
using VisRun = std::vector<SVisPoint>;

/// A line through columns: a run where they hold values, broken where they hold none. In a column
/// of several values it runs from the end nearer to where it comes from to the other one. xs: of
/// the columns; as many are drawn as both have. O(columns).
LIMES_EXPORT std::vector<VisRun> VisLine(std::span<const double> xs,
                                         std::span<const SVisExtremes> columns, const CVisAxis& x,
                                         const CVisAxis& y);

/// The area between the ends of columns: of each run of them the upper ends and back the lower
/// ones, to be closed and filled. O(columns).
LIMES_EXPORT std::vector<VisRun> VisBand(std::span<const double> xs,
                                         std::span<const SVisExtremes> columns, const CVisAxis& x,
                                         const CVisAxis& y);

/// Points joined by lines, prepared to be drawn: limit polylines, freely spaced measurements. A
/// point with a number that is not finite breaks the line. One thread at a time.
class LIMES_EXPORT CVisDataPolygon {
 public:
  /// Takes over copies of points, also of a polyline, or the pairs of a signal; all of it is dirty
  /// then. False, with nothing changed, when memory is short. O(n).
  [[nodiscard]] bool Set(std::span<const SVisPoint> points);
  [[nodiscard]] bool Set(const CPolygonCodierung& polyline);
  [[nodiscard]] bool Set(const CSigPairs& pairs);

  /// Whether the first and the last point hold on to the ends of the axis, as a limit's do.
  void SetFlatEnds(bool flat) { flatEnds_ = flat; }

  /// Adds a point behind the last one; false when memory is short.
  [[nodiscard]] bool Append(const SVisPoint& point);

  std::span<const SVisPoint> Points() const { return points_; }

  /// Of the points; empty without one.
  SVisRange XRange() const;
  SVisRange YRange() const;

  /// What lies on both axes: the lines cut at their ends, and of many points that fall on the same
  /// pixel along x only the first, the last and those furthest out between them, so that runs do
  /// not grow beyond four points a pixel while x rises, and no peak is lost. Places count pixels.
  /// O(n).
  std::vector<VisRun> Runs(const CVisAxis& x, const CVisAxis& y) const;

  /// The point nearest to a place, by pixels; false without one that has a place. O(n).
  [[nodiscard]] bool At(const CVisAxis& x, const CVisAxis& y, const SVisPoint& place,
                        std::size_t& index) const;

  /// Points that changed since the last call.
  SVisIndices TakeDirty();

 private:
  std::vector<SVisPoint> Placed(const CVisAxis& x, const CVisAxis& y) const;

  std::vector<SVisPoint> points_;
  bool flatEnds_ = false;
  SVisIndices dirty_;
};

}  // namespace limes
