// The checked calls of the limit of a single value.
#include <algorithm>
#include <cmath>
#include <limits>

#include "limes/learning/learning_limit_value.h"
#include "limes/learning/limit_sureness.h"
#include "limes/platform/memory_errors.h"

namespace limes {

/// The exact state, made of the plain one where there is none.
CLernenderGrenzwert::SExact CLernenderGrenzwert::SState::ExactOrPlain() const {
  return exact.on ? exact
                  : SExact{true, mean, 0.0, std::max(meanSquare - mean * mean, 0.0), kFloatStep};
}

const CMeasuringUnit& CLernenderGrenzwert::UnitOrNone(const std::optional<CMeasuringUnit>& unit) {
  static const CMeasuringUnit kNone;
  return unit ? *unit : kNone;
}

void CLernenderGrenzwert::FindGiven() {
  const double read = state_.limit;
  GrenzwertErneuern(1.0F);
  state_.given = static_cast<float>(state_.limit) != static_cast<float>(read);
  state_.limit = read;
}

void CLernenderGrenzwert::TakeRoom(Room& room) noexcept { state_.unit.swap(room); }

PartStatus CLernenderGrenzwert::Fit(const SValuePart& part, SFittedValue& fitted) const {
  fitted = {};
  fitted.value = part.value;
  fitted.resolution = part.resolution;
  if (!std::isfinite(part.value)) {
    return PartStatus::kNotFinite;
  }
  if (state_.count == 0 && !state_.unit) {
    return PartStatus::kOk;  // nothing learnt, or a limit that was set
  }
  return CompareUnits(UnitOrNone(part.unit), UnitOrNone(state_.unit));
}

PartStatus CLernenderGrenzwert::CheckForLearning(const SValuePart& part, const SPartRule& /*rule*/,
                                                 SFittedValue& fitted) const {
  const PartStatus status = Fit(part, fitted);
  fitted.room.start = state_.count == 0 && (part.unit || state_.unit);
  return status != PartStatus::kNotFinite && state_.count == 0 ? PartStatus::kOk : status;
}

bool CLernenderGrenzwert::MakeRoom(const SValuePart& part, const SFittedValue& /*fitted*/,
                                   Room& room) const {
  return detail::IfMemoryAllows([&] { room = part.unit; });
}

void CLernenderGrenzwert::LearnFitted(SFittedValue& fitted) {
  if (state_.count == 0) {
    state_.generator.ResetTime();  // else the first value would count twice
    state_.exact = {true, fitted.value, 0.0, 0.0, std::numeric_limits<double>::epsilon()};
  } else {
    state_.exact = state_.ExactOrPlain();
  }
  Learn(fitted.value);
}

namespace {

/// Whether a value is so far below the mean, or so near to 0, that a sensor came off; asked of what
/// would pass. Of values with their sign changed means are negative, and nothing is said.
bool HasNoSignal(double x, double mean, double spread) {
  const double gap = mean - x;
  return mean > 0.0 &&
         ((gap > 0.5 * mean && gap > 20.0 * spread) || (gap >= 0.8 * mean && gap > 4.0 * spread));
}

}  // namespace

SPartJudgement CLernenderGrenzwert::JudgeFitted(SFittedValue& fitted, double minShare,
                                                std::vector<SCurveExcess>& regions) {
  SPartJudgement judgement;
  regions.clear();
  if (state_.count <= 0 && !GrenzeVorhanden()) {
    return judgement;
  }
  if (!state_.given) {
    GrenzwertErneuern(1.0F);
  }
  if (!std::isfinite(state_.limit)) {
    judgement.reason = PartStatus::kNotFinite;
    return judgement;
  }
  const double x = fitted.value;
  const double spread = SpreadInLimit(1.0F);
  const double step = state_.exact.on ? state_.exact.step : kFloatStep;
  const double rounding = 4.0 * step * std::max(std::fabs(x), std::fabs(state_.limit));
  const double excess = x - state_.limit;
  const bool beyond = excess > rounding;
  judgement.share = 1.0;
  judgement.value = x;
  judgement.limit = state_.limit;
  judgement.mean = Mean();
  judgement.spread = spread;
  judgement.deviation = beyond ? excess : std::min(excess, 0.0);
  judgement.rms = std::max(judgement.deviation, 0.0);
  const double overMean = x - (Mean() + state_.base);
  if (fitted.margin != nullptr && (spread > 0.0 || x - Mean() > rounding)) {
    fitted.margin->Add(x - Mean(), spread);
  }
  if (spread > 0.0 || overMean > rounding) {
    judgement.inSpreads = overMean / spread;
  }
  // A spread that is no more than rounding says nothing of the next part.
  const double resolution = std::max(fitted.resolution, spread > 0.0 ? step * std::fabs(x) : 0.0);
  const double ofBase = state_.limit - Mean() - std::max(state_.factor, 0.0) * spread;
  const bool blurred = state_.count > 0 && !state_.given && state_.hasFixedUpper == 0 &&
                       spread < resolution && ofBase < resolution && excess <= resolution;
  if (blurred) {
    judgement.reason = PartStatus::kResolution;
  } else if (!beyond && !(minShare <= 1.0)) {
    judgement.reason = PartStatus::kCoversTooLittle;
  } else if (!beyond && HasNoSignal(x, Mean(), spread)) {
    judgement.reason = PartStatus::kNoSignal;
  } else {
    judgement.verdict = beyond ? Verdict::kFail : Verdict::kPass;
    judgement.reason = PartStatus::kOk;
  }
  return judgement;
}

SPartScoring CLernenderGrenzwert::ScoreFitted(const SFittedValue& fitted, double base) const {
  SPartScoring scoring;
  const double spread = SpreadInLimit(1.0F);
  scoring.isScored = state_.count >= kPartsBeforeScores;
  if (scoring.isScored &&
      spread > (state_.exact.on ? state_.exact.step : kFloatStep) * std::fabs(Mean())) {
    scoring.excess = ExcessOf(fitted.value - Mean(), 0.0, spread, base);
    scoring.scores = ScoresOf(scoring.excess, EffectiveParts(*this));
  }
  return scoring;
}

}  // namespace limes
