#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "limes/learning/curve_overlap.h"
#include "limes/learning/part.h"
#include "limes/platform/standard_parts.h"

namespace limes::detail {

/// What a learner of curves or tracks holds, all on one grid.
struct SLearntCurves {
  const CSigCurveExt& limit;
  const CSigCurveExt& mean;
  float base;
  PointMask judged;   ///< points at which the limit counts; empty: all of its valid range
  double gridPoints;  ///< that the share judged refers to
  double partPoints;  ///< that part of it, whichever share is smaller counts; 0: not looked at

  /// Writes the spreads of n points from i on as they stand in the limit.
  std::function<void(std::int64_t i, std::size_t n, float* out)> spreads;

  /// w of WidenValues, by which the limit was widened; 0: it was not.
  std::int64_t width = 0;

  /// What is expected of this part at each point, in place of the mean; empty: the mean itself.
  std::span<const float> expected = {};

  float Middle(std::int64_t i) const {
    return expected.empty() ? mean.ValArray()[i] : expected[static_cast<std::size_t>(i)];
  }
};

/// Calls use(first index, measured values, count) for piece after piece of the points that count.
template <class Use>
void ForEachCovered(const CurveOverlap& overlap, PointMask mask, Use use) {
  overlap.ForEachPiece([&](std::int64_t first, const float* k, const float*, std::size_t n) {
    const auto start = static_cast<std::size_t>(first);
    const auto counts = [&](std::size_t i) { return mask.empty() || mask[start + i] != 0; };
    for (std::size_t i = 0; i < n;) {
      std::size_t end = mask.empty() ? n : i + 1;
      while (end < n && counts(end) == counts(i)) {
        ++end;
      }
      if (counts(i)) {
        use(start + i, k + i, end - i);
      }
      i = end;
    }
  });
}

/// Judges a part on the learnt grid and gives the regions beyond the limit. Allocates nothing once
/// part and regions have their room. O(n).
SPartJudgement JudgeAlong(CFittedPart& part, const SLearntCurves& learnt, double minShare,
                          std::vector<SCurveExcess>& regions);

/// Whether a part lies below the mean by more than 20 spreads, and by more than half of the
/// largest magnitude of the mean, at 95 % of at least 8 points: a sensor that is dead or was not
/// plugged in. Never before two parts are learnt, when there is no spread. O(n).
bool IsFarBelow(CFittedPart& part, const SLearntCurves& learnt);

/// Whether a part has one value only and what was learnt has more.
bool IsDead(const CFittedPart& part, const CSigCurveExt& mean);

/// Whether a part that was fitted may be learnt as a curve: kOk, or kClipped, kNoSignal,
/// kLongerThanTemplate, kCoversTooLittle. O(n).
PartStatus CheckFitted(CFittedPart& part, const SLearntCurves& learnt, const SPartRule& rule);

/// A limit computed in float may lie a few rounding steps beside the values it was learnt from; an
/// excess within this is none.
bool IsRounding(double excess, double value, double limit);

}  // namespace limes::detail
