// The checked calls of the track learner.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "limes/learning/curve_fit.h"
#include "limes/learning/learning_loops.h"
#include "limes/learning/limit_sureness.h"
#include "limes/learning/part_judgement.h"
#include "limes/learning/score.h"
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

double EffectiveAt(std::uint32_t count) {
  return EffectiveParts(static_cast<std::int32_t>(std::min<std::uint32_t>(count, INT32_MAX)),
                        CTrackLernWerkzeug::kTimeScale);
}

}  // namespace

detail::SLearntCurves CTrackLernWerkzeug::Learnt(const CSigCurveExt& limit) const {
  return {limit,
          *state_.mean,
          state_.base,
          {},
          1.0,
          0.0,
          [this](std::int64_t i, std::size_t n, float* out) { Spreads(i, n, out); }};
}

PartStatus CTrackLernWerkzeug::Fit(const SCurvePart& part, CFittedPart& fitted) const {
  return state_.IsCounted() ? fitted.Fit(part, *state_.mean, false) : PartStatus::kNothingLearnt;
}

CFittedPart& CTrackLernWerkzeug::Scratch() { return detail::Made(fitted_); }

PartStatus CTrackLernWerkzeug::CheckForLearning(const SCurvePart& part, const SPartRule& rule,
                                                CFittedPart& fitted) const {
  if (state_.learnt == 0 || state_.mean == nullptr) {
    return fitted.CheckTemplate(part, rule);
  }
  const PartStatus status = Fit(part, fitted);
  if (status != PartStatus::kOk && status != PartStatus::kNoCommonPoint) {
    return status;
  }
  if (fitted.Health() == SignalHealth::kClipped) {
    return PartStatus::kClipped;
  }
  if (!rule.allowConstant && detail::IsDead(fitted, *state_.mean)) {
    return PartStatus::kNoSignal;
  }
  if (status == PartStatus::kOk && detail::IsFarBelow(fitted, Learnt(*state_.mean))) {
    return PartStatus::kNoSignal;
  }
  if (!PlanRoom(part.curve, *state_.mean, fitted.room)) {
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
  return room.state_.mean != nullptr && PlanRoom(part.curve, *room.state_.mean, more) &&
         room.ExtendGrid(more.before, more.behind);
}

void CTrackLernWerkzeug::TakeRoom(Room& room) noexcept {
  state_.mean.swap(room.state_.mean);
  state_.meanSquare.swap(room.state_.meanSquare);
  state_.counts.swap(room.state_.counts);
  formed_ = current_ = false;
  if (room.limit_ != nullptr) {  // of a template
    limit_.swap(room.limit_);
    state_.name.swap(room.state_.name);
    state_.learnt = 0;
    qualified_ = false;
  }
}

void CTrackLernWerkzeug::LearnFitted(CFittedPart& fitted) {
  CSigCurveExt& curve = fitted.Curve();
  curve.SetVIMinMax(curve.IMin(), curve.IMax() + 1);  // the last valid point is not learnt
  fitted.Keep(state_.mean->ValArray(), fitted.keptMean);
  fitted.Keep(state_.meanSquare->ValArray(), fitted.keptSquare);
  fitted.Keep(state_.counts.data(), fitted.keptCounts);
  NeueMessung(&curve);
  fitted.PutBack(state_.mean->ValArray(), fitted.keptMean);
  fitted.PutBack(state_.meanSquare->ValArray(), fitted.keptSquare);
  fitted.PutBack(state_.counts.data(), fitted.keptCounts);
  curve.SetVIMinMax(curve.IMin(), curve.IMax() - 1);
}

SPartJudgement CTrackLernWerkzeug::JudgeFitted(CFittedPart& fitted, double minShare,
                                               std::vector<SCurveExcess>& regions) {
  SPartJudgement judgement;
  regions.clear();
  if (state_.learnt == 0) {
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

/// The factor in the limit at a point that was learnt so often.
float CTrackLernWerkzeug::FactorAt(std::uint32_t count) const {
  if (!limitScore_) {
    return state_.factor;
  }
  const double n = EffectiveAt(count);
  // The spread of this learner is unbiased, that of a score has the divisor n.
  const double bias = n > 1.0 ? std::sqrt((n - 1.0) / n) : 1.0;
  return static_cast<float>(std::max(FactorOf(*limitScore_, n), 0.0) * bias);
}

SPartScoring CTrackLernWerkzeug::ScoreFitted(const CFittedPart& fitted, double base) const {
  SPartScoring scoring;
  if (state_.learnt == 0 || state_.mean == nullptr || state_.meanSquare == nullptr) {
    return scoring;
  }
  const auto score = [&](std::size_t first, const float* k, std::size_t n) {
    detail::ForEachRun(state_.counts, first, first + n,
                       [&](std::size_t i, std::size_t points, std::uint32_t count) {
                         if (count < kPartsBeforeScores) {
                           return;
                         }
                         SPartExcess run;
                         detail::ScoreValues(state_.mean->ValArray() + i,
                                             state_.meanSquare->ValArray() + i, k + (i - first),
                                             points, static_cast<float>(base), i, run);
                         scoring.isScored = true;
                         scoring.scores = Larger(scoring.scores, ScoresOf(run, EffectiveAt(count)));
                         scoring.excess = Joined(scoring.excess, run);
                       });
  };
  detail::ForEachCovered(detail::CurveOverlap(&fitted.Curve(), state_.mean.get()), fitted.Covered(),
                         score);
  scoring.aboveX = state_.mean->GetPoint(static_cast<int>(scoring.excess.aboveAt));
  scoring.belowX = state_.mean->GetPoint(static_cast<int>(scoring.excess.belowAt));
  return scoring;
}

}  // namespace limes
