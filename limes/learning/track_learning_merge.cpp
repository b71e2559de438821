// Joining what two track learning tools have learnt.
#include <algorithm>

#include "limes/learning/learning_loops.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/signals/extended_curve.h"

namespace limes {

MergeStatus CTrackLernWerkzeug::Merge(const CTrackLernWerkzeug& other) {
  const SState& later = other.state_;
  if (const MergeStatus status = detail::CheckCurves(state_.mean.get(), later.mean.get());
      status != MergeStatus::kOk) {
    return status;
  }
  const std::size_t n = state_.mean->DLen();
  if (!state_.IsWhole() || !later.IsWhole() || later.counts.size() < n) {
    return MergeStatus::kGrid;  // the loading of one of them failed
  }
  if (SState::Rule(state_) != SState::Rule(later)) {
    return MergeStatus::kRule;
  }
  if (!GrowCounts(n)) {
    return MergeStatus::kMemory;
  }
  if (later.learnt == 0) {
    return MergeStatus::kOk;
  }
  std::size_t end1 = 0;  // of the runs of equal counts that i lies in
  std::size_t end2 = 0;
  for (std::size_t i = 0; i < n;) {
    end1 = i < end1 ? end1 : i + detail::EqualRun(state_.counts.data() + i, n - i);
    end2 = i < end2 ? end2 : i + detail::EqualRun(later.counts.data() + i, n - i);
    const std::uint32_t n1 = state_.counts[i];
    const std::uint32_t n2 = later.counts[i];
    const std::size_t points = std::min(end1, end2) - i;
    if (n2 > 0) {
      detail::MixMeans(state_, later, i, points, detail::EarlierShare(n1, n2, kTimeScale));
      std::fill_n(state_.counts.begin() + static_cast<std::ptrdiff_t>(i), points,
                  detail::JointCount(n1, n2));
    }
    i += points;
  }
  state_.mean->Expandieren(later.mean.get());
  state_.meanSquare->Expandieren(later.meanSquare.get());
  state_.learnt = 1;
  current_ = false;
  return MergeStatus::kOk;
}

}  // namespace limes
