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

/// By the steepness of the line from the origin; of equal ones the left one is the steeper.
bool IsFlatter(const SCorner& a, const SCorner& b) {
  const double one = a.excess / a.spread;
  const double other = b.excess / b.spread;
  return one < other || (one == other && a.spread > b.spread);
}

/// Of equally far ones the upper is the right one.
bool IsLeft(const SCorner& a, const SCorner& b) {
  return a.spread < b.spread || (a.spread == b.spread && a.excess < b.excess);
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

/// The upper hull right of its steepest point (Barber, Dobkin, Huhdanpaa, The quickhull algorithm,
/// ACM Trans. Math. Softw. 22, 1996, 469).
void CPartMargin::Reduce() {
  hull_.clear();
  if (!points_.empty()) {
    const SCorner steepest = *std::max_element(points_.begin(), points_.end(), IsFlatter);
    const SCorner last = *std::max_element(points_.begin(), points_.end(), IsLeft);
    hull_.push_back(steepest);
    if (last.spread > steepest.spread) {
      const auto above = std::partition(points_.begin(), points_.end(), [&](const SCorner& point) {
        return steepest.spread < point.spread && !IsBelow(steepest, point, last);
      });
      AddBetween(std::span(points_.begin(), above), steepest, last);
      hull_.push_back(last);
    }
  }
  points_ = hull_;
  reduced_ = points_.size();
}

/// Adds the corners among points that lie above the line between two corners.
void CPartMargin::AddBetween(std::span<SCorner> points, const SCorner& from, const SCorner& to) {
  if (points.empty()) {
    return;
  }
  const auto height = [&](const SCorner& p) {
    return (p.excess - from.excess) * (to.spread - from.spread) -
           (to.excess - from.excess) * (p.spread - from.spread);
  };
  const SCorner top =
      *std::max_element(points.begin(), points.end(), [&](const SCorner& a, const SCorner& b) {
        return height(a) < height(b) || (height(a) == height(b) && a.spread > b.spread);
      });
  const auto left = std::partition(points.begin(), points.end(), [&](const SCorner& point) {
    return point.spread < top.spread && !IsBelow(from, point, top);
  });
  const auto right = std::partition(left, points.end(), [&](const SCorner& point) {
    return point.spread > top.spread && !IsBelow(top, point, to);
  });
  AddBetween(std::span(points.begin(), left), from, top);
  hull_.push_back(top);
  AddBetween(std::span(left, right), top, to);
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
