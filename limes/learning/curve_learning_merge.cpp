// Joining what two curve learning tools have learnt.
#include <cmath>
#include <tuple>

#include "limes/core/measuring_unit.h"
#include "limes/learning/curve_fit.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_loops.h"
#include "limes/learning/merge_checks.h"
#include "limes/signals/extended_curve.h"

namespace limes {

MergeStatus detail::CheckCurves(const CSigCurveExt* a, const CSigCurveExt* b) {
  if (a == nullptr || b == nullptr || a->DLen() != b->DLen()) {
    return MergeStatus::kGrid;
  }
  const double near = kSamePlace * std::fabs(double{a->XMax()} - a->XMin()) / a->DLen();
  if (!(std::fabs(double{a->XMin()} - b->XMin()) <= near) ||
      !(std::fabs(double{a->XMax()} - b->XMax()) <= near)) {
    return MergeStatus::kGrid;
  }
  return a->XUnit() == b->XUnit() && a->YUnit() == b->YUnit() ? MergeStatus::kOk
                                                              : MergeStatus::kUnit;
}

MergeStatus CKurvenLernWerkzeug::Merge(const CKurvenLernWerkzeug& other) {
  if (const MergeStatus status = detail::CheckCurves(mean_.get(), other.mean_.get());
      status != MergeStatus::kOk) {
    return status;
  }
  const auto rule = [](const CKurvenLernWerkzeug& t) {
    return std::tie(t.base_, t.factor_, t.width_);
  };
  const std::int32_t scale = generator_->GetTimeScale();
  if (rule(*this) != rule(other)) {
    return MergeStatus::kRule;
  }
  if (scale != other.generator_->GetTimeScale()) {
    return MergeStatus::kTimeScale;
  }
  if (externalOn_ != 0 || other.externalOn_ != 0) {
    return MergeStatus::kFactor;
  }
  if (meanSquare_->DLen() != mean_->DLen() || other.meanSquare_->DLen() != mean_->DLen()) {
    return MergeStatus::kGrid;
  }
  if (other.count_ == 0) {
    return MergeStatus::kOk;
  }
  const float lo = other.mean_->VMin();
  const float hi = other.mean_->VMax();
  if (!(lo <= mean_->VMax()) || !(mean_->VMin() <= hi)) {
    return MergeStatus::kRange;
  }
  const std::int32_t n1 = count_ == 0 ? 0 : generator_->GetTime();
  const std::int32_t n2 = other.generator_->GetTime();
  const double share = detail::EarlierShare(n1, std::max(n2, 1), scale);
  if (lo > mean_->VMin() || hi < mean_->VMax()) {
    mean_->Schrumpfen(lo, hi);
    meanSquare_->SetVIMinMax(mean_->IMin(), mean_->IMax());
  }
  detail::MixValues(mean_->ValArray(), other.mean_->ValArray(), mean_->DLen(), share);
  detail::MixValues(meanSquare_->ValArray(), other.meanSquare_->ValArray(), mean_->DLen(), share);
  generator_->SetTime(detail::JointTime(n1, n2, scale));
  count_ = detail::JointCount(count_, other.count_);
  stale_ = 1;
  Outdate();
  return MergeStatus::kOk;
}

}  // namespace limes
