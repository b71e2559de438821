#include "apps/limes/report/tuning.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "apps/limes/errors.h"
#include "limes/learning/score.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/text.h"

namespace limes::host {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::size_t Index(Side side) { return CSidedJudgement::Index(side); }

bool IsTried(Sides sides, Side side) {
  return sides == Sides::kBoth || (sides == Sides::kUpper) == (side == Side::kUpper);
}

/// Whether a value beyond the limit is NOK all the same where a part was not judged.
bool MayFail(const SQuantityVerdict& q) {
  const auto is = [&](PartStatus status) {
    return q.reason && q.reason->starts_with(WideToUtf8(Text(status)));
  };
  return q.maxDeviation && !is(PartStatus::kNoSignal) && !is(PartStatus::kResolution);
}

/// Which of these numbers lies on both sides of a limit.
CLimitCalibration OfParts(const std::vector<SLearntPart>& parts, Sides sides, bool whole) {
  CLimitCalibration calibration(sides == Sides::kBoth ? ScoreSides::kBoth : ScoreSides::kOne,
                                whole);
  for (const SLearntPart& part : parts) {
    if (part.scores.above && part.scores.below) {
      SPartScores scores{*part.scores.above, *part.scores.below,
                         part.scores.whole.value_or(kLowestScore)};
      if (sides == Sides::kLower) {
        std::swap(scores.above, scores.below);
      }
      if (!calibration.Add(scores)) {
        throw std::bad_alloc();
      }
    }
  }
  return calibration;
}

}  // namespace

CTuning::CTuning(CStore& store) : settings_(store.Settings().value_or(SSettings())) {
  for (const SStoredQuantity& quantity : store.Quantities()) {
    for (const SStoredQuantity::SState& state : quantity.states) {
      learnt_[quantity.name] = state.learnt;
    }
  }
  store.ForEachJudged(
      false, [this](const SPartVerdict& verdict) { Add(verdict); }, false);
  ReadScores(store);
}

void CTuning::Add(const SPartVerdict& verdict) {
  const auto [rule, isNew] = bases_.try_emplace(verdict.rule, settings_.base);
  if (isNew && !verdict.rule.empty()) {
    rule->second = SettingsFromText(verdict.rule).base;
  }
  SStored& part = parts_.emplace_back();
  part.name = verdict.part;
  part.label = verdict.label;
  part.base = rule->second;
  part.scores = verdict.scores;
  bool outdated = false;
  for (const SQuantityVerdict& q : verdict.quantities) {
    SMargin& margin = part.margins.emplace_back();
    const bool whole = q.verdict == Verdict::kFail && q.judgedShare >= settings_.minShare;
    const bool beyond = q.maxDeviation && *q.maxDeviation > 0.0;
    // How much of a mode is in a part counts on every side that is limited.
    margin.side = !IsMode(q)                                ? q.side
                  : settings_.WhichSides() == Sides::kLower ? Side::kLower
                                                            : Side::kUpper;
    margin.mayFail = MayFail(q) && !IsWhole(q);  // which has a limit for a rate alone
    part.isMeasured = part.isMeasured && MayFail(q);
    margin.mayPass = q.verdict == Verdict::kPass || whole;
    margin.factor = q.largestInS.value_or(beyond ? kInfinity : -kInfinity);
    margin.n = q.sureness ? q.sureness->effectiveParts : 0.0;
    margin.corners = q.corners;
    outdated |= q.sureness && !IsMode(q) && q.sureness->parts != learnt_[q.name];
    effectiveParts_ = std::max(effectiveParts_, margin.n);
  }
  outdated_ += outdated ? 1 : 0;
}

/// The scores as the store holds them; of one side where each learnt part has its own.
void CTuning::ReadScores(CStore& store) {
  const auto stored = store.Calibration();
  if (!stored) {
    return;
  }
  const Sides sides = settings_.WhichSides();
  CLimitCalibration calibration;
  CMemoryStream record{std::span<const std::uint8_t>(stored->record)};
  if (calibration.ReadState(record) != LearnStateStatus::kOk) {
    throw CStoreError(store.Path() + ": the scores of the learnt parts cannot be read");
  }
  scoredBase_ = stored->base;
  if (sides == Sides::kBoth) {
    const std::vector<SLearntPart> learnt = store.LearntParts();
    for (const Sides one : {Sides::kUpper, Sides::kLower}) {
      CLimitCalibration ofSide = OfParts(learnt, one, settings_.whole);
      if (ofSide.Scores() == calibration.Scores()) {
        calibrations_.emplace(one, std::move(ofSide));
      }
    }
  }
  calibrations_.emplace(sides, std::move(calibration));
}

std::vector<STunedPart> CTuning::AtBase(double base) const {
  std::vector<STunedPart> tuned;
  tuned.reserve(parts_.size());
  for (const SStored& part : parts_) {
    tuned.push_back(Tuned(part, base));
  }
  return tuned;
}

STunedPart CTuning::Tuned(const SStored& part, double base) const {
  STunedPart tuned;
  const bool own = base == part.base;
  tuned.factors = tuned.scores = {-kInfinity, -kInfinity};
  if (part.isMeasured) {
    tuned.whole = part.scores.whole;
  }
  bool mayFail = false;
  for (const SMargin& margin : part.margins) {
    const std::size_t side = Index(margin.side);
    tuned.passes[side] = tuned.passes[side] && margin.mayPass;
    if (!margin.mayFail) {
      continue;
    }
    mayFail = true;
    const bool any = !margin.corners.empty();
    tuned.isKnown = tuned.isKnown && (own || any);
    const double factor = any ? FactorFor(margin.corners, base) : margin.factor;
    const double varying = any ? FactorFor(margin.corners, base, false) : factor;
    tuned.factors[side] = std::max(tuned.factors[side], factor);
    tuned.scores[side] = std::max(tuned.scores[side], ScoreOf(varying, margin.n));
    if (factor == kInfinity) {
      tuned.scores[side] = kInfinity;
    }
  }
  // What was not measured has scores, too, and they are far out.
  if (own && part.isMeasured && part.scores.above && part.scores.below) {
    const std::array<double, 2> stored = {*part.scores.above, *part.scores.below};
    for (std::size_t side = 0; side < 2; ++side) {
      tuned.scores[side] = tuned.scores[side] == kInfinity ? kInfinity : stored[side];
    }
  } else {
    tuned.isScored = !settings_.tracks || !mayFail;
  }
  return tuned;
}

std::optional<bool> CTuning::IsGood(std::size_t part) const {
  const auto& label = parts_[part].label;
  return label ? std::optional(*label == settings_.good) : std::nullopt;
}

STried CTuning::Try(const STrial& trial, const std::vector<STunedPart>& parts) const {
  STried tried{trial, {}, 0};
  // The factor of a limit is never negative.
  const std::array<double, 2> limits =
      trial.rate ? std::array{std::max(trial.limit.above, 0.0), std::max(trial.limit.below, 0.0)}
                 : std::array{trial.factor, trial.factor};
  const bool isNone = IsTooWide(trial);
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const STunedPart& part = parts[i];
    if (!part.isKnown || (trial.rate && !part.isScored)) {
      ++tried.unknown;
      continue;
    }
    const std::array<double, 2>& numbers = trial.rate ? part.scores : part.factors;
    Verdict verdict = isNone ? Verdict::kNotJudged : Verdict::kPass;
    if (!isNone && trial.rate && part.whole && *part.whole > trial.limit.whole) {
      verdict = Verdict::kFail;
    }
    for (const Side side : {Side::kUpper, Side::kLower}) {
      if (!isNone && IsTried(trial.sides, side) && verdict != Verdict::kFail) {
        verdict = numbers[Index(side)] > limits[Index(side)] ? Verdict::kFail
                  : part.passes[Index(side)]                 ? verdict
                                                             : Verdict::kNotJudged;
      }
    }
    tried.counts.Add(verdict, IsGood(i));
  }
  return tried;
}

std::optional<STrial> CTuning::ForRate(double rate, double base, Sides sides) {
  const auto found = calibrations_.find(sides);
  if (found == calibrations_.end() || base != scoredBase_) {
    return std::nullopt;
  }
  STrial trial{base, sides, 0.0, rate, found->second.ForRate(rate)};
  if (sides == Sides::kLower) {
    trial.limit.below = trial.limit.above;
  }
  return trial.limit.basis == CalibrationBasis::kNone ? std::nullopt : std::optional(trial);
}

std::vector<double> CTuning::Bases(double factor) const {
  double most = 0.0;
  double least = kInfinity;
  for (const SStored& part : parts_) {
    for (const SMargin& margin : part.margins) {
      for (const CPartMargin::SCorner& corner : margin.corners) {
        most = std::max(most, corner.excess - factor * corner.spread);
        least = corner.spread > 0.0 ? std::min(least, corner.spread) : least;
      }
    }
  }
  std::vector<double> bases = {0.0};
  constexpr std::size_t kMost = 8;
  for (int power = most > 0.0 ? static_cast<int>(std::ceil(std::log10(most))) : -400;
       power > -300 && bases.size() < kMost; --power) {
    for (const double digit : {5.0, 2.0, 1.0}) {
      const double base = digit * std::pow(10.0, power);
      if (base < 2.5 * most && base > least / 2.0 && bases.size() < kMost) {
        bases.insert(bases.begin() + 1, base);
      }
    }
    if (std::pow(10.0, power) < least / 2.0) {
      break;
    }
  }
  return bases;
}

std::optional<CTuning::SLeastError> CTuning::LeastError(
    const STrial& trial, const std::vector<STunedPart>& parts) const {
  STrial tried = trial;
  tried.rate.reset();
  tried.factor = kInfinity;
  SCounts counts = Try(tried, parts).counts;  // all pass that can
  if (counts.good == 0 || counts.bad == 0) {
    return std::nullopt;
  }
  struct SNeed {
    double factor;
    bool good;
    bool passes;
  };
  std::vector<SNeed> needs;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (const auto good = IsGood(i); good && parts[i].isKnown) {
      SNeed need{-kInfinity, *good, true};
      for (const Side side : {Side::kUpper, Side::kLower}) {
        if (IsTried(trial.sides, side)) {
          need.factor = std::max(need.factor, parts[i].factors[Index(side)]);
          need.passes = need.passes && parts[i].passes[Index(side)];
        }
      }
      needs.push_back(need);
    }
  }
  std::sort(needs.begin(), needs.end(),
            [](const SNeed& a, const SNeed& b) { return a.factor > b.factor; });
  // Downwards from an infinite factor: one part more is rejected with each step.
  SLeastError best;
  double least = kInfinity;
  double above = kInfinity;
  for (std::size_t i = 0; i <= needs.size(); ++i) {
    const double here = i < needs.size() ? std::max(needs[i].factor, 0.0) : 0.0;
    const double error =
        static_cast<double>(counts.falseAlarms) / static_cast<double>(counts.good) +
        static_cast<double>(counts.misses) / static_cast<double>(counts.bad);
    if (here < above && error < least) {
      least = error;
      best = {here, above, counts};
    }
    if (i == needs.size() || !(needs[i].factor > 0.0)) {
      break;
    }
    counts.falseAlarms += needs[i].good ? 1 : 0;
    counts.misses -= !needs[i].good && needs[i].passes ? 1 : 0;
    above = here;
  }
  return best;
}

}  // namespace limes::host
