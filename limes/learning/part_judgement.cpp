#include "limes/learning/part_judgement.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "limes/kernels/value_bounds.h"
#include "limes/learning/learning_loops.h"

namespace limes::detail {
namespace {

/// Calls use(i, value, mean, spread) for each point of the overlap that counts.
template <class Use>
void ForEachPoint(const CurveOverlap& overlap, PointMask mask, const SLearntCurves& learnt,
                  Use use) {
  std::array<float, 256> spreads;
  overlap.ForEachPiece([&](std::int64_t first, const float* k, const float*, std::size_t n) {
    for (std::size_t start = 0; start < n; start += spreads.size()) {
      const std::size_t count = std::min(spreads.size(), n - start);
      const std::int64_t i0 = first + static_cast<std::int64_t>(start);
      learnt.spreads(i0, count, spreads.data());
      for (std::size_t j = 0; j < count; ++j) {
        const std::int64_t i = i0 + static_cast<std::int64_t>(j);
        if (mask.empty() || mask[static_cast<std::size_t>(i)] != 0) {
          use(i, k[start + j], learnt.Middle(i), spreads[j]);
        }
      }
    }
  });
}

constexpr double kNone = -std::numeric_limits<double>::infinity();
constexpr double kShareFarBelow = 0.95;   ///< of the points that tell of a signal
constexpr std::int64_t kLeastPoints = 8;  ///< that tell of it

/// The factor at which a value reaches the limit of a point; the lowest where any factor will do.
double FactorAt(const SLearntCurves& learnt, double value, float mean, float spread) {
  const double middle = double{mean} + double{learnt.base};
  const double excess = value - middle;
  if (!(spread > 0.0F) && (!(excess > 0.0) || IsRounding(excess, value, middle))) {
    return kNone;
  }
  return excess / double{spread};
}

/// The same of a limit that is widened: the smallest factor of the neighbours, any of which may
/// hold the limit there; at most as many as are needed to be no more than enough.
double WidenedFactorAt(const SLearntCurves& learnt, double value, std::int64_t i, double own,
                       double enough) {
  const SIndexRange valid = learnt.limit.ValidIndices();
  if (i < valid.first || i >= valid.last) {
    return own;  // the last valid point is neither widened nor looked at
  }
  std::array<float, 2 * kMostWidening> spreads;
  const std::int64_t first = std::max(valid.first, i - learnt.width);
  const std::int64_t end = std::min(valid.last, i + learnt.width);
  learnt.spreads(first, static_cast<std::size_t>(end - first), spreads.data());
  for (std::int64_t j = first; j < end && own > enough; ++j) {
    const double factor =
        FactorAt(learnt, value, learnt.Middle(j), spreads[static_cast<std::size_t>(j - first)]);
    own = factor < own ? factor : own;
  }
  return own;
}

/// A rounding of the mean is beyond no limit.
void AddTo(CPartMargin& margin, double value, double mean, double spread) {
  const double excess = value - mean;
  if (!IsRounding(std::fabs(excess), value, mean)) {
    margin.Add(excess, spread);
  }
}

/// The factor at which the part would just pass.
void FindInSpreads(const CurveOverlap& overlap, PointMask mask, const SLearntCurves& learnt,
                   CPartMargin* margin, SPartJudgement& judgement) {
  double most = kNone;
  std::int64_t where = -1;
  ForEachPoint(overlap, mask, learnt, [&](std::int64_t i, float value, float mean, float spread) {
    if (margin != nullptr && learnt.width == 0) {
      AddTo(*margin, double{value}, double{mean}, double{spread});
    }
    double factor = FactorAt(learnt, value, mean, spread);
    if (factor > most && learnt.width > 0) {
      factor = WidenedFactorAt(learnt, value, i, factor, most);
    }
    if (factor > most) {
      most = factor;
      where = i;
    }
  });
  if (where >= 0) {
    judgement.inSpreads = most;
    judgement.xInSpreads = double{overlap.X(where)};
  }
}

float SpreadAt(const SLearntCurves& learnt, std::int64_t i) {
  float spread = 0.0F;
  learnt.spreads(i, 1, &spread);
  return spread;
}

/// Whether a part is about 0 where good parts are not, or levels by far lower everywhere: what a
/// cable that came off leaves, and a limit on one side passes. Only asked of parts that would pass,
/// as a part of which all comes too late is about 0 there, too.
bool IsAboutZero(const CurveOverlap& overlap, PointMask mask, const SLearntCurves& learnt,
                 bool mirrored) {
  constexpr double kShare = 0.2;  // also a gain of 0.1 instead of 1
  constexpr double kLevels = 14.0;
  const float* const mean = learnt.mean.ValArray();
  const SIndexRange range = learnt.mean.ValidIndices();
  const bool decibel = learnt.mean.YUnit().is_log();
  const float largest =
      LargestValue(mean + range.first, static_cast<std::size_t>(range.last - range.first + 1));
  if (decibel ? mirrored : !(largest > 0.0F)) {
    return false;
  }
  std::int64_t points = 0;
  std::int64_t low = 0;
  const auto isDecided = [&](std::int64_t all) {
    return static_cast<double>(points - low) > (1.0 - kShareFarBelow) * static_cast<double>(all);
  };
  const auto isLow = [decibel](double value, double middle) {
    return decibel ? middle - value > kLevels : value <= kShare * middle;
  };
  const std::int64_t all = overlap.Last() - overlap.First() + 1;
  ForEachCovered(overlap, mask, [&](std::size_t first, const float* k, std::size_t n) {
    for (std::size_t i = 0; i < n && !isDecided(all); ++i) {
      const float middle = mean[first + i];
      if (decibel || middle >= 0.5F * largest) {
        ++points;
        low += isLow(double{k[i]}, double{middle}) ? 1 : 0;
      }
    }
  });
  if (isDecided(points)) {
    return false;
  }
  points = low = 0;
  ForEachPoint(overlap, mask, learnt, [&](std::int64_t, float value, float middle, float spread) {
    const bool tells = decibel || middle >= 0.5F * largest;
    points += tells ? 1 : 0;
    low += tells && isLow(double{value}, double{middle}) && middle - value > 4.0F * spread ? 1 : 0;
  });
  return points >= kLeastPoints && !isDecided(points);
}

/// Why nothing can be passed; kOk when the part may be.
PartStatus Obstacle(const CFittedPart& part, const SPartJudgement& judgement, double minShare) {
  if (!(part.PartShare() >= minShare) && part.GridShare() >= minShare) {
    return PartStatus::kLongerThanTemplate;
  }
  if (!(judgement.share >= minShare) || !(judgement.share > 0.0)) {
    return PartStatus::kCoversTooLittle;
  }
  return part.Health() == SignalHealth::kClipped ? PartStatus::kClipped : PartStatus::kOk;
}

}  // namespace

bool IsRounding(double excess, double value, double limit) {
  constexpr double kFourSteps = 4.0 / (1 << 24);
  return std::isfinite(limit) &&
         excess <= kFourSteps * std::max(std::fabs(value), std::fabs(limit));
}

bool IsDead(const CFittedPart& part, const CSigCurveExt& mean) {
  if (part.Health() != SignalHealth::kSilent && part.Health() != SignalHealth::kConstant) {
    return false;
  }
  const SIndexRange range = mean.ValidIndices();
  const float* const m = mean.ValArray();
  return std::any_of(m + range.first, m + range.last + 1,
                     [&](float value) { return value != m[range.first]; });
}

namespace {

/// Whether enough points lie below the mean at all; most parts are done with this, without spreads,
/// as soon as so many points do not that the rest cannot make up for them.
bool AreBelow(const CurveOverlap& overlap, PointMask mask, const float* mean, bool mirrored) {
  constexpr std::size_t kAtOnce = 64;
  const double most =
      (1.0 - kShareFarBelow) * static_cast<double>(overlap.Last() - overlap.First() + 1);
  std::size_t points = 0;
  std::size_t below = 0;
  const auto isDecided = [&] { return static_cast<double>(points - below) > most; };
  ForEachCovered(overlap, mask, [&](std::size_t first, const float* k, std::size_t n) {
    for (std::size_t i = 0; i < n && !isDecided(); i += kAtOnce) {
      const std::size_t end = std::min(n, i + kAtOnce);
      for (std::size_t j = i; j < end; ++j) {
        below += (mirrored ? k[j] > mean[first + j] : k[j] < mean[first + j]) ? 1U : 0U;
      }
      points += end - i;
    }
  });
  return !isDecided() && static_cast<double>(below) >= kShareFarBelow * static_cast<double>(points);
}

}  // namespace

bool IsFarBelow(CFittedPart& part, const SLearntCurves& learnt) {
  constexpr double kSpreads = 20.0;
  const CurveOverlap overlap(&part.Curve(), &learnt.limit);
  const PointMask mask = part.Masked(learnt.judged);
  if (!AreBelow(overlap, mask, learnt.mean.ValArray(), part.IsMirrored())) {
    return false;
  }
  const SIndexRange range = learnt.mean.ValidIndices();
  float largest = 0.0F;
  for (std::int64_t i = range.first; i <= range.last; ++i) {
    largest = std::max(largest, std::fabs(learnt.mean.ValArray()[i]));
  }
  const double sign = part.IsMirrored() ? -1.0 : 1.0;
  std::int64_t points = 0;
  std::int64_t below = 0;
  ForEachPoint(overlap, mask, learnt, [&](std::int64_t, float value, float mean, float spread) {
    const double least = std::max(kSpreads * double{spread}, 0.5 * double{largest});
    ++points;
    below += sign * (double{mean} - double{value}) > least ? 1 : 0;
  });
  return points >= kLeastPoints &&
         static_cast<double>(below) >= kShareFarBelow * static_cast<double>(points);
}

PartStatus CheckFitted(CFittedPart& part, const SLearntCurves& learnt, const SPartRule& rule) {
  if (part.Health() == SignalHealth::kClipped) {
    return PartStatus::kClipped;
  }
  if ((!rule.allowConstant && IsDead(part, learnt.mean)) || IsFarBelow(part, learnt)) {
    return PartStatus::kNoSignal;
  }
  if (!rule.allowShort && !(part.PartShare() >= rule.minShare)) {
    return PartStatus::kLongerThanTemplate;
  }
  return rule.allowShort || part.GridShare() >= rule.minShare ? PartStatus::kOk
                                                              : PartStatus::kCoversTooLittle;
}

SPartJudgement JudgeAlong(CFittedPart& part, const SLearntCurves& learnt, double minShare,
                          std::vector<SCurveExcess>& regions) {
  SPartJudgement judgement;
  regions.clear();
  const CurveOverlap overlap(&part.Curve(), &learnt.limit);
  const PointMask mask = part.Masked(learnt.judged);
  const SComparison comparison = Compare(overlap, mask);
  if (comparison.points == 0) {
    judgement.reason = PartStatus::kNoCommonPoint;
    return judgement;
  }
  const SCurveJudgement numbers = JudgementOf(overlap, comparison);
  if (numbers.verdict == Verdict::kNotJudged) {
    judgement.reason = PartStatus::kNotFinite;
    return judgement;
  }
  bool complete = true;
  if (numbers.verdict == Verdict::kFail) {
    complete = AddExcess(overlap, regions, mask, IsRounding);
    for (SCurveExcess& region : regions) {
      region.mean = learnt.Middle(region.index);
      region.spread = SpreadAt(learnt, region.index);
    }
  }
  const bool beyond = !regions.empty() || !complete;
  const bool none = numbers.verdict == Verdict::kFail && !beyond;  // within rounding
  judgement.share = static_cast<double>(comparison.points) / learnt.gridPoints;
  if (learnt.partPoints > 0.0) {
    judgement.share =
        std::min(judgement.share, static_cast<double>(comparison.points) / learnt.partPoints);
  }
  judgement.x0 = double{numbers.x0};
  judgement.x1 = double{numbers.x1};
  judgement.deviation = none ? 0.0 : double{numbers.deviation};
  judgement.rms = none ? 0.0 : double{numbers.rms};
  judgement.x = double{numbers.x};
  judgement.value = double{numbers.value};
  judgement.limit = double{numbers.limit};
  judgement.mean = double{learnt.Middle(comparison.index)};
  judgement.spread = double{SpreadAt(learnt, comparison.index)};
  FindInSpreads(overlap, mask, learnt, part.margin, judgement);
  SLearntCurves usual = learnt;  // a dead sensor is no part of its own
  usual.expected = {};
  if (IsDead(part, learnt.mean) || IsFarBelow(part, usual)) {
    judgement.reason = PartStatus::kNoSignal;
    regions.clear();
  } else if (beyond) {
    judgement.verdict = Verdict::kFail;
    judgement.reason = complete ? PartStatus::kOk : PartStatus::kMemory;
  } else {
    judgement.reason = IsAboutZero(overlap, mask, usual, part.IsMirrored())
                           ? PartStatus::kNoSignal
                           : Obstacle(part, judgement, minShare);
    judgement.verdict = judgement.reason == PartStatus::kOk ? Verdict::kPass : Verdict::kNotJudged;
  }
  return judgement;
}

}  // namespace limes::detail
