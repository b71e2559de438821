#pragma once

#include <span>

namespace limes {

class CSigCurveExt;

namespace detail {

/// How curves are combined into one, and what becomes of the result.
struct Reduction {
  enum Kind { kSum, kWeightedSum, kSquares, kLargest, kSmallest };

  Kind kind;
  bool divided = false;  ///< by the number of curves or the sum of the weights
  bool rooted = false;
};

/// Combines at least one curve into the target, which is none of them, as the reductions of a curve
/// array: with as many weights, or with none. False, with nothing changed, when memory is short;
/// std::bad_alloc where there is not even room for the plan. O(values).
bool Reduce(std::span<const CSigCurveExt* const> curves, std::span<const float> weights,
            const Reduction& recipe, CSigCurveExt& target);

}  // namespace detail
}  // namespace limes
