// The checked calls of the curve learner.
#include <algorithm>
#include <new>

#include "limes/learning/checked_calls.h"
#include "limes/learning/curve_fit.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_loops.h"
#include "limes/learning/part_judgement.h"

namespace limes {

detail::SLearntCurves CKurvenLernWerkzeug::Learnt(const CSigCurveExt& limit) const {
  return {limit,
          *mean_,
          base_,
          {},
          static_cast<double>(mean_->DLen()),
          0.0,
          [this](std::int64_t i, std::size_t n, float* out) {
            if (count_ >= 2) {
              detail::SpreadValues(out, mean_->ValArray() + i, meanSquare_->ValArray() + i, n);
            } else {
              std::fill_n(out, n, 0.0F);
            }
          }};
}

PartStatus CKurvenLernWerkzeug::Fit(const SCurvePart& part, CFittedPart& fitted) const {
  const bool whole =
      mean_ != nullptr && meanSquare_ != nullptr && meanSquare_->DLen() == mean_->DLen();
  return whole ? fitted.Fit(part, *mean_, true) : PartStatus::kNothingLearnt;
}

PartStatus CKurvenLernWerkzeug::CheckForLearning(const SCurvePart& part, const SPartRule& rule,
                                                 CFittedPart& fitted) const {
  if (!HasLearnt()) {
    return fitted.CheckTemplate(part, rule);
  }
  if (const PartStatus status = Fit(part, fitted); status != PartStatus::kOk) {
    return status;
  }
  if (fitted.Health() == SignalHealth::kClipped) {
    return PartStatus::kClipped;
  }
  if ((!rule.allowConstant && detail::IsDead(fitted, *mean_)) ||
      detail::IsFarBelow(fitted, Learnt(*mean_))) {
    return PartStatus::kNoSignal;
  }
  if (!rule.allowShort && !(fitted.PartShare() >= rule.minShare)) {
    return PartStatus::kLongerThanTemplate;
  }
  return rule.allowShort || fitted.GridShare() >= rule.minShare ? PartStatus::kOk
                                                                : PartStatus::kCoversTooLittle;
}

bool CKurvenLernWerkzeug::MakeRoom(const SCurvePart& part, const CFittedPart& /*fitted*/,
                                   Room& room) const {
  CSigCurveExt valid;
  if (!detail::CopyValid(part.curve, valid)) {
    return false;
  }
  room.Vorlage(&valid);
  return room.mean_ != nullptr;
}

void CKurvenLernWerkzeug::TakeRoom(Room& room) noexcept {
  mean_.swap(room.mean_);
  meanSquare_.swap(room.meanSquare_);
  spread_.swap(room.spread_);
  limit_.swap(room.limit_);
  formed_.swap(room.formed_);
  name_.swap(room.name_);
  Neustart(generator_->GetTimeScale());
}

void CKurvenLernWerkzeug::LearnFitted(CFittedPart& fitted) {
  fitted.Keep(mean_->ValArray(), fitted.keptMean);
  fitted.Keep(meanSquare_->ValArray(), fitted.keptSquare);
  NeueMessung(&fitted.Curve());
  fitted.PutBack(mean_->ValArray(), fitted.keptMean);
  fitted.PutBack(meanSquare_->ValArray(), fitted.keptSquare);
}

SPartJudgement CKurvenLernWerkzeug::JudgeFitted(CFittedPart& fitted, double minShare,
                                                std::vector<SCurveExcess>& regions) {
  SPartJudgement judgement;
  regions.clear();
  if (!HasLearnt()) {
    return judgement;
  }
  const bool current = formed_ != nullptr && formed_->Holds(base_, factor_, width_);
  if (!current && UpdateLimit() == 0) {
    judgement.reason = PartStatus::kMemory;
    return judgement;
  }
  detail::SLearntCurves learnt = Learnt(*limit_);
  learnt.width = Widening();
  return detail::JudgeAlong(fitted, learnt, minShare, regions);
}

LearnStatus CKurvenLernWerkzeug::LearnPart(const SCurvePart& part, const SPartRule& rule) {
  return detail::LearnPart(*this, part, rule, fitted_);
}

SPartJudgement CKurvenLernWerkzeug::JudgePart(const SCurvePart& part, double minShare,
                                              std::vector<SCurveExcess>* regions) {
  return detail::JudgePart(*this, part, minShare, regions, fitted_);
}

}  // namespace limes
