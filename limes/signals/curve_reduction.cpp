// The curves' headers say first what is combined where; the values then pass through memory once,
// while a block of the target stays in the cache.

#include "limes/signals/curve_reduction.h"

#include <algorithm>
#include <vector>

#include "limes/kernels/value_loops.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/sum_runs.h"

namespace limes::detail {
namespace {

using Kind = Reduction::Kind;

using Curves = std::span<const CSigCurveExt* const>;
using Weights = std::span<const float>;

constexpr std::int64_t kBlock = 32768;  ///< values of the target at a time

/// Target values that are combined with a curve's.
struct Step : SumRun {
  float w = 1.0F;
};

void CombineOne(Kind kind, float* y, const float* s, std::size_t n, float w) {
  switch (kind) {
    case Kind::kSum:
      return AddValues(y, s, n);
    case Kind::kWeightedSum:
      return AddScaled(y, s, n, w);
    case Kind::kSquares:
      return AddScaledTimes(y, s, n, w);
    case Kind::kLargest:
      return TakeLarger(y, s, n);
    case Kind::kSmallest:
      return TakeSmaller(y, s, n);
  }
}

void CombineEight(Kind kind, float* y, const SEight& s, std::size_t n) {
  switch (kind) {
    case Kind::kSum:
      return AddEight(y, s, n);
    case Kind::kWeightedSum:
      return AddScaledEight(y, s, n);
    case Kind::kSquares:
      return AddScaledTimesEight(y, s, n);
    case Kind::kLargest:
      return TakeLargerEight(y, s, n);
    case Kind::kSmallest:
      return TakeSmallerEight(y, s, n);
  }
}

void Apply(const Step& step, Kind kind, float* target, std::int64_t from, std::int64_t to) {
  from = std::max(from, step.i0);
  to = std::min(to, step.i1);
  if (from < to) {
    CombineOne(kind, target + from, step.source + (from - step.i0),
               static_cast<std::size_t>(to - from), step.w);
  }
}

/// Applies steps from first on to target values from to to - 1: the number of steps, eight when
/// they all cover these values.
std::size_t ApplySome(std::span<const Step> steps, Kind kind, float* target, std::int64_t from,
                      std::int64_t to) {
  SEight eight;
  constexpr std::size_t kAtOnce = std::size(eight.source);
  std::size_t k = 0;
  while (k < std::min(kAtOnce, steps.size()) && steps[k].i0 <= from && to <= steps[k].i1) {
    eight.source[k] = steps[k].source + (from - steps[k].i0);
    eight.w[k] = steps[k].w;
    ++k;
  }
  if (k < kAtOnce) {
    Apply(steps[0], kind, target, from, to);
    return 1;
  }
  CombineEight(kind, target + from, eight, static_cast<std::size_t>(to - from));
  return k;
}

void ApplyAll(std::span<const Step> steps, Kind kind, float* target, std::int64_t from,
              std::int64_t to) {
  while (!steps.empty()) {
    steps = steps.subspan(ApplySome(steps, kind, target, from, to));
  }
}

/// By index over the target's valid range, as += of extended curves.
void PlanByIndex(const CSigCurveExt& target, const CSigCurveExt& curve, float w,
                 std::vector<Step>& steps) {
  const SIndexRange valid = target.ValidIndices();
  const std::int64_t end = std::min(valid.last + 1, std::int64_t{curve.DLen()});
  if (valid.first < end) {
    steps.push_back({{valid.first, end, curve.ValArray() + valid.first}, w});
  }
}

/// By count of the valid values and one more, as AddWithWeight of extended curves.
void PlanByCount(const CSigCurveExt& target, const CSigCurveExt& curve, float w,
                 std::vector<Step>& steps) {
  for (const SumRun& run : SumRuns(target, curve, 0, true)) {
    if (w != 0.0F && run.i0 < run.i1) {
      steps.push_back({run, w});
    }
  }
}

/// Sum of the weights, the number of curves without.
float Total(Curves curves, Weights weights) {
  float sum = weights.empty() ? static_cast<float>(curves.size()) : 0.0F;
  for (const float w : weights) {
    sum += w;
  }
  return sum;
}

void Finish(const Reduction& recipe, float total, float* y, std::size_t n) {
  if (recipe.divided && total != 0.0F) {
    MultiplyBy(y, n, 1.0F / total);
  } else if (recipe.divided && recipe.rooted) {
    FillValues(y, n, 0.0F);
  }
  if (recipe.rooted) {
    RootOfValues(y, n);
  }
}

/// Makes the target a copy of the first curve, narrows it to all others, and plans their steps.
bool Plan(Curves curves, Weights weights, Kind kind, CSigCurveExt& target,
          std::vector<Step>& steps) {
  const auto weight = [weights](std::size_t k) { return weights.empty() ? 1.0F : weights[k]; };
  steps.reserve(2 * curves.size());  // nothing fails after the copy
  if (!target.Copy(*curves[0], true)) {
    return false;
  }
  if (kind == Kind::kSquares) {
    steps.push_back({{0, target.DLen(), curves[0]->ValArray()}, weight(0)});
  }
  for (std::size_t k = 1; k < curves.size(); ++k) {
    target.Schrumpfen(curves[k]->XMin(), curves[k]->XMax());
    if (kind == Kind::kWeightedSum) {
      PlanByCount(target, *curves[k], weight(k), steps);
    } else {
      PlanByIndex(target, *curves[k], weight(k), steps);
    }
  }
  return true;
}

bool Sum(Curves curves, Weights weights, const Reduction& recipe, CSigCurveExt& target) {
  std::vector<Step> steps;
  if (!Plan(curves, weights, recipe.kind, target, steps)) {
    return false;
  }
  const float total = Total(curves, weights);
  float* const y = target.ValArray();
  const auto n = std::int64_t{target.DLen()};
  for (std::int64_t from = 0; from < n; from += kBlock) {
    const std::int64_t to = std::min(from + kBlock, n);
    const auto size = static_cast<std::size_t>(to - from);
    if (recipe.kind == Kind::kSquares) {
      FillValues(y + from, size, 0.0F);
    } else if (recipe.kind == Kind::kWeightedSum) {
      MultiplyBy(y + from, size, weights.front());
    }
    ApplyAll(steps, recipe.kind, y, from, to);
    Finish(recipe, total, y + from, size);
  }
  if (recipe.kind == Kind::kSquares && !recipe.rooted) {
    CMeasuringUnit unit = target.YUnit();
    target.SetYUnit(unit.power(2));
  }
  return true;
}

bool SameRange(const CSigCurveExt& a, const CSigCurveExt& b) {
  return a.DLen() == b.DLen() && a.XMin() == b.XMin() && a.XMax() == b.XMax() &&
         a.VMin() == b.VMin() && a.VMax() == b.VMax() && a.IMin() == b.IMin() &&
         a.IMax() == b.IMax();
}

/// Maximize of each curve in turn, for curves that all have one valid range: no range grows. There
/// is room for as many steps.
void MaximizeInBlocks(Curves curves, Kind kind, CSigCurveExt& target, std::vector<Step>& steps) {
  const std::int64_t start = target.IMin();
  const std::int64_t offset = target.GetIndex(target.VMin()) - start;
  const std::int64_t i0 = std::max({start, std::int64_t{0}, -offset});
  const std::int64_t i1 =
      std::min({std::int64_t{target.GetIndex(target.VMax())} + 1, std::int64_t{target.DLen()},
                std::int64_t{target.DLen()} - offset});
  for (std::size_t k = 1; k < curves.size() && i0 < i1; ++k) {
    steps.push_back({{i0, i1, curves[k]->ValArray() + i0 + offset}});
  }
  for (std::int64_t from = i0; from < i1; from += kBlock) {
    ApplyAll(steps, kind, target.ValArray(), from, std::min(from + kBlock, i1));
  }
}

bool Maximize(Curves curves, Kind kind, CSigCurveExt& target) {
  std::vector<Step> steps;
  steps.reserve(curves.size());  // nothing fails after the copy
  if (!target.Copy(*curves[0], true)) {
    return false;
  }
  const bool alike = std::all_of(curves.begin(), curves.end(), [&](const CSigCurveExt* curve) {
    return SameRange(*curve, target);
  });
  if (alike && target.VMin() <= target.VMax()) {
    MaximizeInBlocks(curves, kind, target, steps);
    return true;
  }
  for (std::size_t k = 1; k < curves.size(); ++k) {
    target.Maximize(curves[k], kind == Kind::kLargest ? 1 : 0);
    target ^= *curves[k];
  }
  return true;
}

}  // namespace

bool Reduce(std::span<const CSigCurveExt* const> curves, std::span<const float> weights,
            const Reduction& recipe, CSigCurveExt& target) {
  const bool extremes = recipe.kind == Kind::kLargest || recipe.kind == Kind::kSmallest;
  return extremes ? Maximize(curves, recipe.kind, target) : Sum(curves, weights, recipe, target);
}

}  // namespace limes::detail
