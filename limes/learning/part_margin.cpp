#include "limes/learning/part_margin.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace limes {
namespace {

using SCorner = CPartMargin::SCorner;

constexpr std::size_t kAtOnce = 4096;  ///< points gathered before they are reduced

/// Whether b lies on or below the line from a to c.
bool IsBelow(const SCorner& a, const SCorner& b, const SCorner& c) {
  return (b.excess - a.excess) * (c.spread - a.spread) <=
         (c.excess - a.excess) * (b.spread - a.spread);
}

}  // namespace

void CPartMargin::Clear() {
  points_.clear();
  unvarying_ = 0.0;
  reduced_ = 0;
}

void CPartMargin::Add(double excess, double spread) {
  if (!std::isfinite(excess) || !std::isfinite(spread)) {
    return;
  }
  if (!(spread > 0.0)) {
    unvarying_ = std::max(unvarying_, excess);
    return;
  }
  points_.push_back({spread, excess});
  if (points_.size() - reduced_ >= kAtOnce) {
    Reduce();
  }
}

/// The upper hull by monotone chain (Andrew, Information Processing Letters 9, 1979, 216).
void CPartMargin::Reduce() {
  std::sort(points_.begin(), points_.end(), [](const SCorner& a, const SCorner& b) {
    return a.spread < b.spread || (a.spread == b.spread && a.excess > b.excess);
  });
  std::size_t n = 0;
  for (const SCorner& point : points_) {
    if (n > 0 && points_[n - 1].spread == point.spread) {
      continue;
    }
    while (n > 1 && IsBelow(points_[n - 2], points_[n - 1], point)) {
      --n;
    }
    points_[n++] = point;
  }
  points_.resize(n);
  const auto steepest = std::max_element(
      points_.begin(), points_.end(),
      [](const SCorner& a, const SCorner& b) { return a.excess / a.spread < b.excess / b.spread; });
  points_.erase(points_.begin(), steepest);
  reduced_ = points_.size();
}

std::span<const SCorner> CPartMargin::Corners() {
  Reduce();
  corners_.clear();
  if (unvarying_ > 0.0) {
    corners_.push_back({0.0, unvarying_});
  }
  corners_.insert(corners_.end(), points_.begin(), points_.end());
  return corners_;
}

double FactorFor(std::span<const SCorner> corners, double base, bool unvarying) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  double factor = -kInfinity;
  for (const SCorner& corner : corners) {
    if (corner.spread > 0.0) {
      factor = std::max(factor, (corner.excess - base) / corner.spread);
    } else if (unvarying && corner.excess > base) {
      return kInfinity;
    }
  }
  return factor;
}

}  // namespace limes
