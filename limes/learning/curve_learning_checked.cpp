// The checked calls of the curve learner.
#include <algorithm>
#include <new>

#include "limes/learning/curve_fit.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_loops.h"
#include "limes/learning/limit_sureness.h"
#include "limes/learning/part_judgement.h"
#include "limes/platform/memory_errors.h"

namespace limes {

detail::SLearntCurves CKurvenLernWerkzeug::Learnt(const CSigCurveExt& limit) const {
  return {limit,
          *state_.mean,
          state_.base,
          {},
          static_cast<double>(state_.mean->DLen()),
          0.0,
          [this](std::int64_t i, std::size_t n, float* out) {
            if (state_.count >= 2) {
              detail::SpreadValues(out, state_.mean->ValArray() + i,
                                   state_.meanSquare->ValArray() + i, n);
            } else {
              std::fill_n(out, n, 0.0F);
            }
          }};
}

PartStatus CKurvenLernWerkzeug::Fit(const SCurvePart& part, CFittedPart& fitted) const {
  return state_.IsWhole() ? fitted.Fit(part, *state_.mean, true) : PartStatus::kNothingLearnt;
}

CFittedPart& CKurvenLernWerkzeug::Scratch() { return detail::Made(fitted_); }

PartStatus CKurvenLernWerkzeug::CheckForLearning(const SCurvePart& part, const SPartRule& rule,
                                                 CFittedPart& fitted) const {
  if (!HasLearnt()) {
    return fitted.CheckTemplate(part, rule);
  }
  const PartStatus status = Fit(part, fitted);
  return status == PartStatus::kOk ? detail::CheckFitted(fitted, Learnt(*state_.mean), rule)
                                   : status;
}

bool CKurvenLernWerkzeug::MakeRoom(const SCurvePart& part, const CFittedPart& /*fitted*/,
                                   Room& room) const {
  CSigCurveExt valid;
  if (!detail::CopyValid(part.curve, valid)) {
    return false;
  }
  room.Vorlage(&valid);
  return room.state_.mean != nullptr;
}

void CKurvenLernWerkzeug::TakeRoom(Room& room) noexcept {
  state_.mean.swap(room.state_.mean);
  state_.meanSquare.swap(room.state_.meanSquare);
  spread_.swap(room.spread_);
  limit_.swap(room.limit_);
  formed_.swap(room.formed_);
  state_.name.swap(room.state_.name);
  Neustart(state_.generator->GetTimeScale());
}

void CKurvenLernWerkzeug::LearnFitted(CFittedPart& fitted) {
  fitted.Keep(state_.mean->ValArray(), fitted.keptMean);
  fitted.Keep(state_.meanSquare->ValArray(), fitted.keptSquare);
  NeueMessung(&fitted.Curve());
  fitted.PutBack(state_.mean->ValArray(), fitted.keptMean);
  fitted.PutBack(state_.meanSquare->ValArray(), fitted.keptSquare);
}

SPartScoring CKurvenLernWerkzeug::ScoreFitted(const CFittedPart& fitted, double base) const {
  SPartScoring scoring;
  scoring.isScored = HasLearnt() && state_.count >= kPartsBeforeScores;
  if (!scoring.isScored) {
    return scoring;
  }
  detail::ForEachCovered(detail::CurveOverlap(&fitted.Curve(), state_.mean.get()), fitted.Covered(),
                         [&](std::size_t i, const float* k, std::size_t n) {
                           detail::ScoreValues(state_.mean->ValArray() + i,
                                               state_.meanSquare->ValArray() + i, k, n,
                                               static_cast<float>(base), i, scoring.excess);
                         });
  scoring.scores = ScoresOf(scoring.excess, EffectiveParts(*this));
  scoring.aboveX = state_.mean->GetPoint(static_cast<int>(scoring.excess.aboveAt));
  scoring.belowX = state_.mean->GetPoint(static_cast<int>(scoring.excess.belowAt));
  return scoring;
}

bool CKurvenLernWerkzeug::HasCurrentLimit() {
  return (formed_ != nullptr && formed_->Holds(state_.base, state_.factor, state_.width)) ||
         UpdateLimit() != 0;
}

SPartJudgement CKurvenLernWerkzeug::JudgeFitted(CFittedPart& fitted, double minShare,
                                                std::vector<SCurveExcess>& regions) {
  SPartJudgement judgement;
  regions.clear();
  if (!HasLearnt()) {
    return judgement;
  }
  if (!HasCurrentLimit()) {
    judgement.reason = PartStatus::kMemory;
    return judgement;
  }
  detail::SLearntCurves learnt = Learnt(*limit_);
  learnt.width = Widening();
  return detail::JudgeAlong(fitted, learnt, minShare, regions);
}

SPartJudgement CKurvenLernWerkzeug::JudgeExpected(CFittedPart& fitted,
                                                  std::span<const float> expected,
                                                  std::span<const float> spread, double minShare,
                                                  std::vector<SCurveExcess>& regions) {
  SPartJudgement judgement;
  regions.clear();
  if (!HasLearnt() || expected.size() != state_.mean->DLen() || spread.size() != expected.size()) {
    return judgement;
  }
  if (!HasCurrentLimit() || !Make(ownLimit_, 0) ||
      !detail::IfMemoryAllows([&] { *ownLimit_ = *limit_; })) {
    judgement.reason = PartStatus::kMemory;
    return judgement;
  }
  float* const y = ownLimit_->ValArray();
  for (std::size_t i = 0; i < expected.size(); ++i) {
    y[i] = state_.base + (expected[i] + state_.factor * spread[i]);
  }
  Widen(*ownLimit_, Widening());
  detail::SLearntCurves learnt = Learnt(*ownLimit_);
  learnt.width = Widening();
  learnt.expected = expected;
  learnt.spreads = [spread](std::int64_t i, std::size_t n, float* out) {
    std::copy_n(spread.data() + i, n, out);
  };
  return detail::JudgeAlong(fitted, learnt, minShare, regions);
}

}  // namespace limes
