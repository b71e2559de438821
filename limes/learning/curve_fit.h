#pragma once

#include <cstdint>

#include "limes/learning/curve_assistant.h"
#include "limes/signals/extended_curve.h"

namespace limes::detail {

/// Part of a step within which points on two axes are the same.
inline constexpr double kSamePlace = 0.01;

/// A curve's grid in double, with the indices that hold values.
struct SGrid {
  explicit SGrid(const CSigCurve& curve);

  /// Finite and rising, and there are values.
  bool IsUsable() const;
  double X(std::int64_t i) const { return start + step * static_cast<double>(i); }
  double Index(double x) const { return (x - start) / step; }

  double start;
  double step;
  std::int64_t first;
  std::int64_t last;
};

/// The indices of a grid that values on another one cover.
SIndexRange CoveredRange(const SGrid& from, const SGrid& to);

/// Writes k's values at a range of points of another grid; NaN is drawn as NaN.
void FillFitted(const CSigCurve& k, const SGrid& from, const SGrid& to, SIndexRange range,
                CSigCurveAssistent::Binning binning, float* out);

/// Makes a range of points the valid one, with the same numbers as the grid's where it ends with
/// the grid's own, so that learning finds the same indices in both curves.
void SetValidPoints(CSigCurveExt& out, SIndexRange range, const CSigCurveExt& grid,
                    SIndexRange own);

/// A curve of its valid values alone: all of it is valid. False when memory is short.
[[nodiscard]] bool CopyValid(const CSigCurve& curve, CSigCurveExt& out);

}  // namespace limes::detail
