// The checked calls of the track learner.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "limes/learning/checked_calls.h"
#include "limes/learning/curve_fit.h"
#include "limes/learning/part_judgement.h"
#include "limes/learning/track_learning_tool.h"

namespace limes {
namespace {

/// Points to add on a side of a grid of n points, with a reserve so that it seldom grows.
std::uint32_t WithReserve(double wanted, double n) {
  constexpr double kReserve = 0.125;
  return wanted > 0.0 ? static_cast<std::uint32_t>(wanted + std::floor(kReserve * n)) : 0;
}

/// What a grid lacks for a part: one point stays free before and behind, as the tool judges nothing
/// at the first point of all and learns nothing at the last valid one. False when it is too much.
bool PlanRoom(const CSigCurve& part, const CSigCurveExt& grid, CFittedPart::SRoom& room) {
  const detail::SGrid from(part);
  const detail::SGrid to(grid);
  const double n = grid.DLen();
  const double first = to.Index(from.X(from.first));
  const double last = to.Index(from.X(from.last));
  const double before = 1.0 - std::floor(first + detail::kSamePlace);
  const double behind = std::ceil(last - detail::kSamePlace) + 2.0 - n;
  if (!(n + std::max(before, 0.0) + std::max(behind, 0.0) <=
        std::max(double{CTrackLernWerkzeug::kMostPoints} / 1.25, n))) {
    return false;
  }
  room.before = WithReserve(before, n);
  room.behind = WithReserve(behind, n);
  return true;
}

}  // namespace

detail::SLearntCurves CTrackLernWerkzeug::Learnt(const CSigCurveExt& limit) const {
  return {limit, *mean_, base_, {}, 1.0, 0.0, [this](std::int64_t i, std::size_t n, float* out) {
            Spreads(i, n, out);
          }};
}

PartStatus CTrackLernWerkzeug::Fit(const SCurvePart& part, CFittedPart& fitted) const {
  const bool whole = mean_ != nullptr && meanSquare_ != nullptr &&
                     meanSquare_->DLen() == mean_->DLen() && counts_.size() >= mean_->DLen();
  return whole ? fitted.Fit(part, *mean_, false) : PartStatus::kNothingLearnt;
}

PartStatus CTrackLernWerkzeug::CheckForLearning(const SCurvePart& part, const SPartRule& rule,
                                                CFittedPart& fitted) const {
  if (!learnt_ || mean_ == nullptr) {
    return fitted.CheckTemplate(part, rule);
  }
  const PartStatus status = Fit(part, fitted);
  if (status != PartStatus::kOk && status != PartStatus::kNoCommonPoint) {
    return status;
  }
  if (fitted.Health() == SignalHealth::kClipped) {
    return PartStatus::kClipped;
  }
  if (!rule.allowConstant && detail::IsDead(fitted, *mean_)) {
    return PartStatus::kNoSignal;
  }
  if (status == PartStatus::kOk && detail::IsFarBelow(fitted, Learnt(*mean_))) {
    return PartStatus::kNoSignal;
  }
  if (!PlanRoom(part.curve, *mean_, fitted.room)) {
    return PartStatus::kTooLong;
  }
  return fitted.room.IsNeeded() ? PartStatus::kOk : status;
}

bool CTrackLernWerkzeug::MakeRoom(const SCurvePart& part, const CFittedPart& fitted,
                                  Room& room) const {
  if (!fitted.room.start) {
    return Extend(fitted.room.before, fitted.room.behind, room);
  }
  CSigCurveExt valid;
  if (!detail::CopyValid(part.curve, valid)) {
    return false;
  }
  room.Vorlage(&valid);
  CFittedPart::SRoom more;
  return room.mean_ != nullptr && PlanRoom(part.curve, *room.mean_, more) &&
         room.ExtendGrid(more.before, more.behind);
}

void CTrackLernWerkzeug::TakeRoom(Room& room) noexcept {
  mean_.swap(room.mean_);
  meanSquare_.swap(room.meanSquare_);
  counts_.swap(room.counts_);
  formed_ = current_ = false;
  if (room.limit_ != nullptr) {  // of a template
    limit_.swap(room.limit_);
    name_.swap(room.name_);
    learnt_ = qualified_ = false;
  }
}

void CTrackLernWerkzeug::LearnFitted(CFittedPart& fitted) {
  CSigCurveExt& curve = fitted.Curve();
  curve.SetVIMinMax(curve.IMin(), curve.IMax() + 1);  // the last valid point is not learnt
  fitted.Keep(mean_->ValArray(), fitted.keptMean);
  fitted.Keep(meanSquare_->ValArray(), fitted.keptSquare);
  fitted.Keep(counts_.data(), fitted.keptCounts);
  NeueMessung(&curve);
  fitted.PutBack(mean_->ValArray(), fitted.keptMean);
  fitted.PutBack(meanSquare_->ValArray(), fitted.keptSquare);
  fitted.PutBack(counts_.data(), fitted.keptCounts);
  curve.SetVIMinMax(curve.IMin(), curve.IMax() - 1);
}

SPartJudgement CTrackLernWerkzeug::JudgeFitted(CFittedPart& fitted, double minShare,
                                               std::vector<SCurveExcess>& regions) {
  SPartJudgement judgement;
  regions.clear();
  if (!learnt_) {
    return judgement;
  }
  if (!current_ && !GrenzeBilden()) {
    judgement.reason = PartStatus::kMemory;
    return judgement;
  }
  if (!qualified_ || !limit_->IsValid()) {
    return judgement;
  }
  detail::SLearntCurves learnt = Learnt(*limit_);
  learnt.judged = mask_;
  learnt.gridPoints = static_cast<double>(
      std::count(mask_.begin() + limit_->IMin(), mask_.begin() + limit_->IMax() + 1, 1));
  learnt.partPoints = fitted.PartPoints();
  return detail::JudgeAlong(fitted, learnt, minShare, regions);
}

LearnStatus CTrackLernWerkzeug::LearnPart(const SCurvePart& part, const SPartRule& rule) {
  return detail::LearnPart(*this, part, rule, fitted_);
}

SPartJudgement CTrackLernWerkzeug::JudgePart(const SCurvePart& part, double minShare,
                                             std::vector<SCurveExcess>* regions) {
  return detail::JudgePart(*this, part, minShare, regions, fitted_);
}

}  // namespace limes
