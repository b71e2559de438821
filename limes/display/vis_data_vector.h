#pragma once

#include <cstddef>
#include <limits>
#include <span>
#include <vector>

#include "limes/display/vis_axis.h"
#include "limes/export.h"

namespace limes {

class CSigCurve;

/// Smallest and largest of the finite values of a stretch; NaN where there is none.
struct LIMES_EXPORT SVisExtremes {
  float low = std::numeric_limits<float>::quiet_NaN();
  float high = std::numeric_limits<float>::quiet_NaN();

  bool IsEmpty() const { return !(low <= high); }
  void Add(const SVisExtremes& other);

  bool operator==(const SVisExtremes&) const = default;
};

/// Of all values. Reads each once.
LIMES_EXPORT SVisExtremes VisExtremesOf(std::span<const float> values);

/// Values in equal stretches, as many as there are columns: column c of m holds the values from
/// c n / m on, rounded down, up to those of the next one; where there are fewer values than
/// columns, some hold none. No peak is lost. Reads each value once.
LIMES_EXPORT void VisThin(std::span<const float> values, std::span<SVisExtremes> columns);

/// The same in as many columns as there are values, at most so many, and two at least.
LIMES_EXPORT std::vector<SVisExtremes> VisThinned(std::span<const float> values,
                                                  std::size_t columns);

/// Where the middles of these columns lie, counted in values: 0 is the first one.
LIMES_EXPORT std::vector<double> VisMiddles(std::size_t values, std::size_t columns);

/// A stretch of indices, the last one excluded.
struct LIMES_EXPORT SVisIndices {
  std::size_t first = 0;
  std::size_t last = 0;

  bool IsEmpty() const { return first >= last; }

  /// Grows to hold the other, too, and what is between them.
  void Add(const SVisIndices& other);
};

/// A stretch of places, from low to high.
using SVisPlaces = SVisRange;

/// The values of a curve, prepared to be drawn again and again at any zoom: value i lies at
/// x0 + i dx. Keeps a copy of them and the extremes of their blocks, so that a view of a million
/// values costs as much as one of thousands, and no peak is ever lost. One thread at a time.
class LIMES_EXPORT CVisDataVector {
 public:
  /// What a view shows of it: at xs[i] the values from columns[i].low to columns[i].high.
  struct SView {
    std::vector<double> xs;
    std::vector<SVisExtremes> columns;
  };

  /// What lies below a cursor.
  struct SPoint {
    std::size_t index = 0;
    double x = 0.0;
    float value = 0.0F;   ///< may be NaN
    SVisExtremes around;  ///< of all values that are drawn at the same pixel
  };

  /// Takes over copies of the values; all of it is dirty then. False, with nothing changed, unless
  /// x0 and dx are finite and dx is above 0, and when memory is short. O(n).
  [[nodiscard]] bool Set(std::span<const float> values, double x0, double dx);

  /// The values of a curve that count. False for one whose x does not rise. O(n).
  [[nodiscard]] bool Set(const CSigCurve& curve);

  /// Adds values behind the last one. False, with nothing changed, when memory is short. O(added).
  [[nodiscard]] bool Append(std::span<const float> values);

  /// Replaces values from an index on; those that would lie behind the last one are left out.
  /// O(replaced).
  void Replace(std::size_t first, std::span<const float> values);

  std::span<const float> Values() const { return values_; }
  double XOf(std::size_t i) const { return x0_ + static_cast<double>(i) * dx_; }

  /// From the first value to the last one, empty without values; and of the values.
  SVisRange XRange() const;
  SVisRange YRange() const;

  /// Smallest and largest of a stretch; indices behind the last value are left out.
  /// O(n / 256 + 512).
  SVisExtremes Extremes(const SVisIndices& indices) const;

  /// What lies on the axis, and the next value on both sides, so that lines run to its edges: each
  /// value, or so many columns of them at most (at least two), on a linear axis of equally many
  /// values, else of equally many places. O(columns + n / 256).
  SView View(const CVisAxis& x, std::size_t columns) const;

  /// The value nearest to a place, on an axis whose places count pixels. False without values and
  /// for a place that is not finite.
  [[nodiscard]] bool At(const CVisAxis& x, double place, SPoint& point) const;

  /// What has changed since the last call, and where that is on an axis, with the lines to the
  /// next value on both sides; empty when nothing has, or nothing that lies on the axis.
  SVisIndices TakeDirty();
  SVisPlaces PlacesOf(const SVisIndices& indices, const CVisAxis& x) const;

 private:
  std::size_t IndexFrom(double x) const;
  void FormBlocks(const SVisIndices& changed);

  double x0_ = 0.0;
  double dx_ = 1.0;
  std::vector<float> values_;
  std::vector<SVisExtremes> blocks_;
  SVisIndices dirty_;
};

}  // namespace limes
