// Reductions of a curve array into one curve. The curves' headers say first what is combined where;
// the values then pass through memory once, while a block of the target stays in the cache.

#include <algorithm>
#include <new>
#include <span>

#include "limes/kernels/eight_loops.h"
#include "limes/kernels/value_loops.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"

namespace limes {

namespace detail {

/// How a reduction combines values, and what becomes of the result.
struct ArrayReduction {
  enum Kind { kSum, kWeightedSum, kSquares, kLargest, kSmallest };

  Kind kind;
  bool divided = false;  ///< by the number of curves or the sum of the weights
  bool rooted = false;
};

}  // namespace detail

namespace {

using Recipe = detail::ArrayReduction;
using Kind = Recipe::Kind;

using Curves = std::vector<const CSigCurveExt*>;
using Weights = std::vector<float>;

constexpr std::int64_t kBlock = 32768;  ///< values of the target at a time

/// Target values i0 to i1 - 1, each combined with the source's in turn.
struct Step {
  std::int64_t i0;
  std::int64_t i1;
  const float* source;
  float w = 1.0F;
  bool constant = false;  ///< with the first of the source only
};

void CombineOne(Kind kind, float* y, const float* s, std::size_t n, float w) {
  switch (kind) {
    case Kind::kSum:
      return detail::AddValues(y, s, n);
    case Kind::kWeightedSum:
      return detail::AddScaled(y, s, n, w);
    case Kind::kSquares:
      return detail::AddScaledTimes(y, s, n, w);
    case Kind::kLargest:
      return detail::TakeLarger(y, s, n);
    case Kind::kSmallest:
      return detail::TakeSmaller(y, s, n);
  }
}

void CombineEight(Kind kind, float* y, const detail::SEight& s, std::size_t n) {
  switch (kind) {
    case Kind::kSum:
      return detail::AddEight(y, s, n);
    case Kind::kWeightedSum:
      return detail::AddScaledEight(y, s, n);
    case Kind::kSquares:
      return detail::AddScaledTimesEight(y, s, n);
    case Kind::kLargest:
      return detail::TakeLargerEight(y, s, n);
    case Kind::kSmallest:
      return detail::TakeSmallerEight(y, s, n);
  }
}

void Apply(const Step& step, Kind kind, float* target, std::int64_t from, std::int64_t to) {
  from = std::max(from, step.i0);
  to = std::min(to, step.i1);
  if (!step.constant && from < to) {
    CombineOne(kind, target + from, step.source + (from - step.i0),
               static_cast<std::size_t>(to - from), step.w);
  }
  for (; step.constant && from < to; ++from) {
    CombineOne(kind, target + from, step.source, 1, step.w);
  }
}

/// Applies steps from first on to target values from to to - 1: the number of steps, eight when
/// they all cover these values.
std::size_t ApplySome(std::span<const Step> steps, Kind kind, float* target, std::int64_t from,
                      std::int64_t to) {
  detail::SEight eight;
  constexpr std::size_t kAtOnce = std::size(eight.source);
  std::size_t k = 0;
  while (k < std::min(kAtOnce, steps.size()) && !steps[k].constant && steps[k].i0 <= from &&
         to <= steps[k].i1) {
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
    steps.push_back({valid.first, end, curve.ValArray() + valid.first, w});
  }
}

/// By count of the valid values and one more, as AddWithWeight of extended curves.
void PlanByCount(const CSigCurveExt& target, const CSigCurveExt& curve, float w,
                 std::vector<Step>& steps) {
  const bool extended = AsExtended(&curve) != nullptr;
  const std::int64_t start = extended ? curve.IMin() : 0;
  const std::int64_t valid = extended ? curve.ILen() : std::int64_t{curve.DLen()};
  const std::int64_t i0 = target.IMin();
  const std::int64_t i1 =
      std::min({i0 + valid + 1, std::int64_t{target.IMax()} + 1, std::int64_t{target.DLen()}});
  if (w == 0.0F || curve.DLen() == 0 || i0 >= i1) {
    return;
  }
  const std::int64_t stored = std::clamp(i0 + curve.DLen() - start, i0, i1);
  if (i0 < stored) {
    steps.push_back({i0, stored, curve.ValArray() + start, w});
  }
  if (stored < i1) {
    steps.push_back({stored, i1, curve.ValArray() + (curve.DLen() - 1), w, true});
  }
}

/// Sum of the weights, the number of curves without.
float Total(const Curves& curves, const Weights* weights) {
  if (weights == nullptr) {
    return static_cast<float>(curves.size());
  }
  float sum = 0.0F;
  for (const float w : *weights) {
    sum += w;
  }
  return sum;
}

void Finish(const Recipe& recipe, float total, float* y, std::size_t n) {
  if (recipe.divided && total != 0.0F) {
    detail::MultiplyBy(y, n, 1.0F / total);
  } else if (recipe.divided && recipe.rooted) {
    detail::FillValues(y, n, 0.0F);
  }
  if (recipe.rooted) {
    detail::RootOfValues(y, n);
  }
}

/// Makes the target a copy of the first curve, narrows it to all others, and plans their steps.
bool Plan(const Curves& curves, const Weights* weights, Kind kind, CSigCurveExt& target,
          std::vector<Step>& steps) {
  const auto weight = [weights](std::size_t k) {
    return weights == nullptr ? 1.0F : (*weights)[k];
  };
  steps.reserve(2 * curves.size());  // nothing fails after the copy
  if (!target.Copy(*curves[0], true)) {
    return false;
  }
  if (kind == Kind::kSquares) {
    steps.push_back({0, target.DLen(), curves[0]->ValArray(), weight(0)});
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

/// The target must be none of the curves.
bool Reduce(const Curves& curves, const Weights* weights, const Recipe& recipe,
            CSigCurveExt& target) {
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
      detail::FillValues(y + from, size, 0.0F);
    } else if (recipe.kind == Kind::kWeightedSum) {
      detail::MultiplyBy(y + from, size, weights->front());
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

/// Maximize of each curve in turn, for curves that all have one valid range: no range grows.
void MaximizeInBlocks(const Curves& curves, Kind kind, CSigCurveExt& target) {
  const std::int64_t start = target.IMin();
  const std::int64_t offset = target.GetIndex(target.VMin()) - start;
  const std::int64_t i0 = std::max({start, std::int64_t{0}, -offset});
  const std::int64_t i1 =
      std::min({std::int64_t{target.GetIndex(target.VMax())} + 1, std::int64_t{target.DLen()},
                std::int64_t{target.DLen()} - offset});
  std::vector<Step> steps;
  steps.reserve(curves.size());
  for (std::size_t k = 1; k < curves.size() && i0 < i1; ++k) {
    steps.push_back({i0, i1, curves[k]->ValArray() + i0 + offset});
  }
  for (std::int64_t from = i0; from < i1; from += kBlock) {
    ApplyAll(steps, kind, target.ValArray(), from, std::min(from + kBlock, i1));
  }
}

bool Maximize(const Curves& curves, int mode, CSigCurveExt& target) {
  if (!target.Copy(*curves[0], true)) {
    return false;
  }
  const bool alike = std::all_of(curves.begin(), curves.end(), [&](const CSigCurveExt* curve) {
    return SameRange(*curve, target);
  });
  if (alike && target.VMin() <= target.VMax()) {
    MaximizeInBlocks(curves, mode != 0 ? Kind::kLargest : Kind::kSmallest, target);
    return true;
  }
  for (std::size_t k = 1; k < curves.size(); ++k) {
    target.Maximize(curves[k], mode);
    target ^= *curves[k];
  }
  return true;
}

/// Runs a reduction; into a curve of its own first when the target is one of the curves.
template <class Operation>
bool Into(CSigCurveExt* target, const Curves& curves, Operation reduce) {
  if (curves.empty()) {
    return false;
  }
  if (std::find(curves.begin(), curves.end(), target) == curves.end()) {
    return reduce(*target);
  }
  CSigCurveExt result;
  return reduce(result) && target->Copy(result, true);
}

}  // namespace

bool CSigCurveArray::Reduced(CSigCurveExt* target, const detail::ArrayReduction& recipe) const {
  if (target == nullptr) {
    return false;
  }
  try {
    const auto curves = Curves();
    return Into(target, curves,
                [&](CSigCurveExt& result) { return Reduce(curves, nullptr, recipe, result); });
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool CSigCurveArray::Reduced(CSigCurveExt* target, const CSigPairs* weights,
                             const detail::ArrayReduction& recipe) const {
  if (target == nullptr || weights == nullptr) {
    return false;
  }
  try {
    const auto curves = Curves();
    const auto factors = Weights(*weights);
    return Into(target, curves,
                [&](CSigCurveExt& result) { return Reduce(curves, &factors, recipe, result); });
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool CSigCurveArray::Mittelwert(CSigCurveExt* target) const {
  return Reduced(target, {.kind = Recipe::kSum, .divided = true});
}

bool CSigCurveArray::Mittelwert(CSigCurveExt* target, const CSigPairs* weights) const {
  return Reduced(target, weights, {.kind = Recipe::kWeightedSum, .divided = true});
}

bool CSigCurveArray::Summe(CSigCurveExt* target) const {
  return Reduced(target, {.kind = Recipe::kSum});
}

bool CSigCurveArray::Summe(CSigCurveExt* target, const CSigPairs* weights) const {
  return Reduced(target, weights, {.kind = Recipe::kWeightedSum});
}

bool CSigCurveArray::RMS(CSigCurveExt* target) const {
  return Reduced(target, {.kind = Recipe::kSquares, .divided = true, .rooted = true});
}

bool CSigCurveArray::RMS(CSigCurveExt* target, const CSigPairs* weights) const {
  return Reduced(target, weights, {.kind = Recipe::kSquares, .divided = true, .rooted = true});
}

bool CSigCurveArray::QuadratSumme(CSigCurveExt* target) const {
  return Reduced(target, {.kind = Recipe::kSquares});
}

bool CSigCurveArray::QuadratSumme(CSigCurveExt* target, const CSigPairs* weights) const {
  return Reduced(target, weights, {.kind = Recipe::kSquares});
}

bool CSigCurveArray::Maximum(CSigCurveExt* target, int mode) const {
  if (target == nullptr) {
    return false;
  }
  try {
    const auto curves = Curves();
    return Into(target, curves,
                [&](CSigCurveExt& result) { return Maximize(curves, mode, result); });
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace limes
