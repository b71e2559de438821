#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "limes/display/vis_axis.h"
#include "limes/display/vis_data_polygon.h"
#include "limes/display/vis_data_vector.h"
#include "limes/export.h"

namespace limes {

class CSigCurveArray;

/// Rows of equally many values over x, taken at rising places along a second axis t: spectra over
/// time or speed. Column c lies at x0 + c dx. Keeps a copy. One thread at a time.
class LIMES_EXPORT CVisDataArray {
 public:
  /// A row of a waterfall: a curve that stands on its place along t.
  struct STrace {
    std::size_t row = 0;
    double base = 0.0;         ///< place along t
    std::vector<VisRun> runs;  ///< in places
  };

  /// No rows, of so many columns. False, with nothing changed, unless there are columns, x0 and dx
  /// are finite and dx is above 0.
  [[nodiscard]] bool Clear(std::size_t columns, double x0, double dx);

  /// The curves of an array at their T, on the grid of the first one; values that a curve does not
  /// have there are NaN, empty slots no rows. False, with nothing changed, without a curve, where x
  /// or T does not rise, and when memory is short. O(values).
  [[nodiscard]] bool Set(const CSigCurveArray& curves);

  /// Adds a row behind the last one; what it lacks is NaN, what it has too many is left out. False,
  /// with nothing changed, unless t is finite and above that of the last row, and when memory is
  /// short. O(columns).
  [[nodiscard]] bool Append(double t, std::span<const float> values);

  std::size_t Rows() const { return ts_.size(); }
  std::size_t Columns() const { return columns_; }
  std::span<const float> Row(std::size_t row) const {
    return std::span(values_).subspan(row * columns_, columns_);
  }
  double XOf(std::size_t column) const { return x0_ + static_cast<double>(column) * dx_; }
  double TOf(std::size_t row) const { return ts_[row]; }

  /// From the first to the last column and row, and of the finite values; empty without any.
  SVisRange XRange() const;
  SVisRange TRange() const;
  SVisRange ValueRange() const;

  /// The rows on the axis t as curves, those at its end first, so that each covers the ones behind
  /// it; drawn on their place along t, upwards by the distance of their places on the axis of
  /// values from its first one. Each in so many columns at most. O(values).
  std::vector<STrace> Waterfall(const CVisAxis& x, const CVisAxis& t, const CVisAxis& values,
                                std::size_t columns) const;

  /// A picture of width times height cells over the two axes, row by row from the first place of
  /// t: the extremes of all values that fall on a cell, so that no peak is lost; of fewer values
  /// than cells the one nearest to the middle of the cell, never something between two. Beyond half
  /// a step outside of what was measured nothing. Reads each value once at most:
  /// O(values + width height).
  std::vector<SVisExtremes> Cells(const CVisAxis& x, const CVisAxis& t, std::size_t width,
                                  std::size_t height) const;

  /// The value nearest to a place, which counts pixels; false where nothing was measured.
  [[nodiscard]] bool At(const CVisAxis& x, const CVisAxis& t, const SVisPoint& place,
                        std::size_t& row, std::size_t& column) const;

  /// Rows that were added since the last call, and all after Set and Clear.
  SVisIndices TakeDirty();

 private:
  SVisIndices ColumnsBetween(double low, double high) const;
  SVisIndices RowsBetween(double low, double high) const;
  SVisIndices NearestColumn(double x) const;
  SVisIndices NearestRow(double t) const;

  double x0_ = 0.0;
  double dx_ = 1.0;
  std::size_t columns_ = 0;
  std::vector<double> ts_;
  std::vector<float> values_;
  SVisIndices dirty_;
};

}  // namespace limes
