#pragma once

#include <cstdint>
#include <vector>

#include "limes/learning/precise_curve_tool.h"

namespace limes {

/// What was learnt of each point of the grid.
struct CPreciseCurveTool::SPoints {
  /// Counts stay at this one, so that two of them can be added.
  static constexpr std::int64_t kMostLearnt = std::int64_t{1} << 53;

  /// Nothing yet, on the grid of a curve. Throws std::bad_alloc.
  explicit SPoints(const CSigCurveExt& curve);

  void RoundMean(std::size_t i) {
    mean.ValArray()[i] = static_cast<float>(double{offset[i]} + shift[i]);
  }

  /// Whether numbers that were read can be of so many parts.
  bool IsConsistent(std::int64_t count) const;

  CSigCurveExt mean;                  ///< offset + shift in float; grid, range, name and units
  std::vector<float> offset;          ///< the first part
  std::vector<double> shift;          ///< of the mean from there
  std::vector<double> variance;       ///< divisor n
  std::vector<std::uint32_t> counts;  ///< parts measured at the point
};

}  // namespace limes
