// How a curve compares with what was learnt.
#include <cmath>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/curve_overlap.h"

namespace limes {

const CSigCurveExt* CKurvenLernWerkzeug::Reference(bool limit) const {
  return state_.count == 0 ? nullptr : limit ? limit_.get() : state_.mean.get();
}

// kept: the two measures take opposite references unless told which
float CKurvenLernWerkzeug::RmsAbweichung(const CSigCurve* k, int reference) const {
  const detail::CurveOverlap overlap(k, Reference(reference == 1));
  return overlap.IsEmpty() ? 0.0F : detail::RmsExcess(overlap);
}

float CKurvenLernWerkzeug::MaxAbweichung(const CSigCurve* k, float* result, int reference) const {
  return detail::MaxDeviation(detail::CurveOverlap(k, Reference(reference != 0)), result);
}

SCurveJudgement CKurvenLernWerkzeug::Judge(const CSigCurve& k) const {
  const detail::CurveOverlap overlap(&k, Reference(true));
  if (overlap.IsEmpty() || !formed_->limit || !HasLearnt() || limit_->ILen() <= 0) {
    return {};
  }
  const detail::SComparison comparison = detail::Compare(overlap);
  SCurveJudgement judgement = detail::JudgementOf(overlap, comparison);
  if (judgement.verdict == Verdict::kNotJudged) {
    return judgement;
  }
  judgement.share = static_cast<float>(static_cast<double>(comparison.points) / limit_->ILen());
  judgement.mean = (*state_.mean)[comparison.index];
  judgement.spread = SpreadAt(static_cast<int>(comparison.index));
  return judgement;
}

bool CKurvenLernWerkzeug::Excesses(const CSigCurve& k, std::vector<SCurveExcess>& regions) const {
  const bool judged = Judge(k).verdict != Verdict::kNotJudged;
  const detail::CurveOverlap overlap(judged ? &k : nullptr, Reference(true));
  if (!detail::FindExcess(overlap, regions)) {
    return false;
  }
  for (SCurveExcess& region : regions) {
    region.mean = (*state_.mean)[region.index];
    region.spread = SpreadAt(region.index);
  }
  return true;
}

float CKurvenLernWerkzeug::SpreadAt(int i) const {
  const float mean = (*state_.mean)[i];
  const float square = (*state_.meanSquare)[i] - mean * mean;
  return state_.count >= 2 && square > 0.0F ? std::sqrt(square) : 0.0F;
}

}  // namespace limes
