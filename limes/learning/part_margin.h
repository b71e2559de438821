#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "limes/export.h"

namespace limes {

/// For every base at once the factor at which a part lies just on the limit base + M + factor S,
/// so that a stored part can be judged by another rule without its values.
///
/// The factor for a base is the steepest line from it, over S = 0, to the points (S, x - M): only
/// the corners of their upper convex hull can touch it, and of these only the ones with larger S
/// than that for base 0, ten or so of thousands. Keeps its memory from part to part.
class LIMES_EXPORT CPartMargin {
 public:
  struct SCorner {
    double spread = 0.0;
    double excess = 0.0;  ///< x - M; in the sign of the side that is limited

    friend bool operator==(const SCorner&, const SCorner&) = default;
  };

  void Clear();

  /// Adds a point. One that does not vary, with S 0, is beyond the limit of any factor when its
  /// excess is above the base; NaN and infinite numbers take no part. Throws std::bad_alloc.
  void Add(double excess, double spread);

  /// The corners of what was added, by rising spread; the first has spread 0 where a point that
  /// does not vary lies above M. Valid until the next call. O(points log corners) after Add,
  /// their square at worst.
  std::span<const SCorner> Corners();

 private:
  void Reduce();
  void AddBetween(std::span<SCorner> points, const SCorner& from, const SCorner& to);

  std::vector<SCorner> points_;
  std::vector<SCorner> hull_;
  std::vector<SCorner> corners_;
  double unvarying_ = 0.0;   ///< largest excess of points with S 0
  std::size_t reduced_ = 0;  ///< points when they were corners last
};

/// The factor for a base from 0 on, by the corners: minus infinity without any, infinite where a
/// point that does not vary is beyond the base. Points with S 0 count only when wanted. O(corners).
LIMES_EXPORT double FactorFor(std::span<const CPartMargin::SCorner> corners, double base,
                              bool unvarying = true);

}  // namespace limes
