// Joining what two curve learning tools have learnt.
#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_loops.h"
#include "limes/signals/extended_curve.h"

namespace limes {

MergeStatus CKurvenLernWerkzeug::Merge(const CKurvenLernWerkzeug& other) {
  const SState& later = other.state_;
  if (const MergeStatus status = detail::CheckCurves(state_.mean.get(), later.mean.get());
      status != MergeStatus::kOk) {
    return status;
  }
  if (const MergeStatus status = detail::CheckAveraging(state_, later);
      status != MergeStatus::kOk) {
    return status;
  }
  if (!state_.IsWhole() || !later.IsWhole()) {
    return MergeStatus::kGrid;
  }
  if (later.count == 0) {
    return MergeStatus::kOk;
  }
  CSigCurveExt& mean = *state_.mean;
  const float lo = later.mean->VMin();
  const float hi = later.mean->VMax();
  if (!(lo <= mean.VMax()) || !(mean.VMin() <= hi)) {
    return MergeStatus::kRange;
  }
  if (lo > mean.VMin() || hi < mean.VMax()) {
    mean.Schrumpfen(lo, hi);
    state_.meanSquare->SetVIMinMax(mean.IMin(), mean.IMax());
  }
  const detail::SJoin join(*state_.generator, state_.count, *later.generator);
  detail::MixMeans(state_, later, 0, mean.DLen(), join.share);
  state_.generator->SetTime(join.time);
  state_.count = detail::JointCount(state_.count, later.count);
  state_.stale = 1;
  Outdate();
  return MergeStatus::kOk;
}

}  // namespace limes
