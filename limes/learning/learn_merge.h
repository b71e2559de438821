#pragma once

#include <concepts>
#include <cstdint>
#include <limits>

#include "limes/export.h"
#include "limes/kernels/averaging_factors.h"
#include "limes/learning/learn_state.h"
#include "limes/platform/text.h"

namespace limes {

/// What came of joining two learn states.
enum class MergeStatus {
  kOk,
  kGrid,       ///< other x axes, or none yet
  kRange,      ///< the learnt ranges have nothing in common
  kUnit,       ///< other units
  kRule,       ///< other rules
  kTimeScale,  ///< other time scales
  kFactor,     ///< one was learnt with a factor from outside, which tells no weights
  kMemory,     ///< memory is short
};

/// The status in words, in English.
LIMES_EXPORT const wide_char* Text(MergeStatus status);

namespace detail {

/// Share of an earlier mean of n1 steps in the mean of these and n2 later ones: n1 / (n1 + n2)
/// without forgetting (T >= 10000, n1 <= 45 T), else q^n2 w(n1) / w(n1 + n2) with the weight sums
/// w(n) = (1 - q^n) / (1 - q), q = e^(-1/T).
double EarlierShare(std::int64_t n1, std::int64_t n2, std::int32_t timeScale);

/// Sum of two counts, kept inside what their type holds.
template <std::integral Count>
Count JointCount(Count n1, Count n2) {
  using Limits = std::numeric_limits<Count>;
  const std::int64_t sum = std::int64_t{n1} + n2;
  return sum < Limits::min()   ? Limits::min()
         : sum > Limits::max() ? Limits::max()
                               : static_cast<Count>(sum);
}

/// Whether two curves have the same points and units; kGrid for null and without points.
MergeStatus CheckCurves(const CSigCurveExt* a, const CSigCurveExt* b);

/// Whether two states are averaged alike and lead to limits by the same rule.
template <class State>
MergeStatus CheckAveraging(const State& a, const State& b) {
  if (State::Rule(a) != State::Rule(b)) {
    return MergeStatus::kRule;
  }
  if (a.Averaging().GetTimeScale() != b.Averaging().GetTimeScale()) {
    return MergeStatus::kTimeScale;
  }
  return a.externalOn != 0 || b.externalOn != 0 ? MergeStatus::kFactor : MergeStatus::kOk;
}

/// Joins n points of the means from i on, of which the earlier ones keep a share.
void MixMeans(const SLearntMeans& mine, const SLearntMeans& later, std::size_t i, std::size_t n,
              double share);

/// Share of the earlier mean in the joint one, and its steps as far as they are counted.
struct SJoin {
  SJoin(const CExpAverFacGenerator& earlier, std::int32_t count, const CExpAverFacGenerator& later);

  double share;
  std::int32_t time;
};

}  // namespace detail
}  // namespace limes
