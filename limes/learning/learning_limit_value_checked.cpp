// The checked calls of the limit of a single value.
#include <algorithm>
#include <cmath>
#include <limits>

#include "limes/learning/checked_calls.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/platform/memory_errors.h"

namespace limes {

/// The exact state, made of the plain one where there is none.
CLernenderGrenzwert::SExact CLernenderGrenzwert::ExactOrPlain() const {
  if (exact_.on) {
    return exact_;
  }
  return {true, mean_, 0.0, std::max(meanSquare_ - mean_ * mean_, 0.0), kFloatStep};
}

void CLernenderGrenzwert::FindGiven() {
  const double read = limit_;
  GrenzwertErneuern(1.0F);
  given_ = static_cast<float>(limit_) != static_cast<float>(read);
  limit_ = read;
}

PartStatus CLernenderGrenzwert::Fit(const SValuePart& part, SFittedValue& fitted) const {
  fitted = {};
  fitted.value = part.value;
  fitted.resolution = part.resolution;
  if (!std::isfinite(part.value)) {
    return PartStatus::kNotFinite;
  }
  return unit_ && part.unit ? CompareUnits(*part.unit, *unit_) : PartStatus::kOk;
}

PartStatus CLernenderGrenzwert::CheckForLearning(const SValuePart& part, const SPartRule& /*rule*/,
                                                 SFittedValue& fitted) const {
  const PartStatus status = Fit(part, fitted);
  fitted.room.start = part.unit && (count_ == 0 || !unit_);
  return status != PartStatus::kNotFinite && count_ == 0 ? PartStatus::kOk : status;
}

bool CLernenderGrenzwert::MakeRoom(const SValuePart& part, const SFittedValue& /*fitted*/,
                                   Room& room) const {
  return detail::IfMemoryAllows([&] { room = part.unit; });
}

void CLernenderGrenzwert::LearnFitted(SFittedValue& fitted) {
  if (count_ == 0) {
    generator_.ResetTime();  // else the first value would count twice
    exact_ = {true, fitted.value, 0.0, 0.0, std::numeric_limits<double>::epsilon()};
  } else {
    exact_ = ExactOrPlain();
  }
  NeueMessung(fitted.value);
}

SPartJudgement CLernenderGrenzwert::JudgeFitted(SFittedValue& fitted, double minShare,
                                                std::vector<SCurveExcess>& regions) {
  SPartJudgement judgement;
  regions.clear();
  if (count_ <= 0 && !GrenzeVorhanden()) {
    return judgement;
  }
  if (!given_) {
    GrenzwertErneuern(1.0F);
  }
  if (!std::isfinite(limit_)) {
    judgement.reason = PartStatus::kNotFinite;
    return judgement;
  }
  const double x = fitted.value;
  const double spread = SpreadInLimit(1.0F);
  const double step = exact_.on ? exact_.step : kFloatStep;
  const double rounding = 4.0 * step * std::max(std::fabs(x), std::fabs(limit_));
  const double excess = x - limit_;
  const bool beyond = excess > rounding;
  judgement.share = 1.0;
  judgement.value = x;
  judgement.limit = limit_;
  judgement.mean = Mean();
  judgement.spread = spread;
  judgement.deviation = beyond ? excess : std::min(excess, 0.0);
  judgement.rms = std::max(judgement.deviation, 0.0);
  const double overMean = x - (Mean() + base_);
  if (spread > 0.0 || overMean > rounding) {
    judgement.inSpreads = overMean / spread;
  }
  // A spread that is no more than rounding says nothing of the next part.
  const double resolution = std::max(fitted.resolution, spread > 0.0 ? step * std::fabs(x) : 0.0);
  const double ofBase = limit_ - Mean() - std::max(factor_, 0.0) * spread;
  const bool blurred = count_ > 0 && !given_ && !hasFixedUpper_ && spread < resolution &&
                       ofBase < resolution && excess <= resolution;
  if (blurred) {
    judgement.reason = PartStatus::kResolution;
  } else if (!beyond && !(minShare <= 1.0)) {
    judgement.reason = PartStatus::kCoversTooLittle;
  } else {
    judgement.verdict = beyond ? Verdict::kFail : Verdict::kPass;
    judgement.reason = PartStatus::kOk;
  }
  return judgement;
}

LearnStatus CLernenderGrenzwert::LearnPart(const SValuePart& part, const SPartRule& rule) {
  SFittedValue fitted;
  return detail::LearnPart(*this, part, rule, fitted);
}

SPartJudgement CLernenderGrenzwert::JudgePart(const SValuePart& part, double minShare,
                                              std::vector<SCurveExcess>* regions) {
  SFittedValue fitted;
  return detail::JudgePart(*this, part, minShare, regions, fitted);
}

}  // namespace limes
