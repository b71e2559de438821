
#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "limes/learning/curve_fit.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_loops.h"
#include "limes/learning/part_judgement.h"
#include "limes/learning/precise_curve_points.h"

namespace limes {
CPreciseCurveTool::SPoints::SPoints(const CSigCurveExt& curve) : mean(curve) {
  const std::size_t n = curve.DLen();
  if (mean.DLen() != n) {
    throw std::bad_alloc();
  }
  offset.assign(n, 0.0F);
  shift.assign(n, 0.0);
  variance.assign(n, 0.0);
  counts.assign(n, 0);
}

const CSigCurveExt* CPreciseCurveTool::Mittelwert() const {
  return HasLearnt() ? &points_->mean : nullptr;
}

const CSigCurveExt* CPreciseCurveTool::Grid() const {
  return points_ != nullptr ? &points_->mean : nullptr;
}

double CPreciseCurveTool::MeanAt(std::int64_t i) const {
  const auto at = static_cast<std::size_t>(i);
  return double{points_->offset[at]} + points_->shift[at];
}

double CPreciseCurveTool::SpreadAt(std::int64_t i) const {
  return std::sqrt(points_->variance[static_cast<std::size_t>(i)]);
}

detail::SLearntCurves CPreciseCurveTool::Learnt(const CSigCurveExt& limit) const {
  return {limit,
          points_->mean,
          static_cast<float>(base_),
          {},
          static_cast<double>(points_->mean.DLen()),
          0.0,
          [this](std::int64_t i, std::size_t n, float* out) {
            for (std::size_t j = 0; j < n; ++j) {
              out[j] = static_cast<float>(SpreadAt(i + static_cast<std::int64_t>(j)));
            }
          }};
}

PartStatus CPreciseCurveTool::Fit(const SCurvePart& part, CFittedPart& fitted) const {
  return points_ != nullptr ? fitted.Fit(part, points_->mean, true) : PartStatus::kNothingLearnt;
}

CFittedPart& CPreciseCurveTool::Scratch() { return detail::Made(fitted_); }

PartStatus CPreciseCurveTool::CheckForLearning(const SCurvePart& part, const SPartRule& rule,
                                               CFittedPart& fitted) const {
  if (!HasLearnt()) {
    return fitted.CheckTemplate(part, rule);
  }
  const PartStatus status = Fit(part, fitted);
  return status == PartStatus::kOk ? detail::CheckFitted(fitted, Learnt(points_->mean), rule)
                                   : status;
}

bool CPreciseCurveTool::MakeRoom(const SCurvePart& part, const CFittedPart& /*fitted*/,
                                 Room& room) const {
  CSigCurveExt valid;
  if (!detail::CopyValid(part.curve, valid)) {
    return false;
  }
  room = std::make_shared<SPoints>(valid);
  return true;
}

void CPreciseCurveTool::TakeRoom(Room& room) noexcept {
  points_.swap(room);
  count_ = 0;
  formed_ = false;
}

void CPreciseCurveTool::LearnFitted(CFittedPart& fitted) {
  SPoints& p = *points_;
  const CSigCurveExt& k = fitted.Curve();
  if (count_ == 0) {
    std::copy_n(k.ValArray(), p.offset.size(), p.offset.begin());
  }
  p.mean.Schrumpfen(k.VMin(), k.VMax());
  detail::ForEachCovered(
      detail::CurveOverlap(&k, &p.mean), fitted.Covered(),
      [&](std::size_t first, const float* values, std::size_t n) {
        detail::ForEachRun(
            p.counts, first, first + n, [&](std::size_t i, std::size_t run, std::uint32_t count) {
              detail::LearnPreciseValues(p.shift.data() + i, p.variance.data() + i,
                                         p.mean.ValArray() + i, p.offset.data() + i,
                                         values + (i - first), run, 1.0 / (count + 1.0));
            });
        detail::CountUp(p.counts.data() + first, n);
      });
  count_ = std::min(count_ + 1, SPoints::kMostLearnt);
  formed_ = false;
}

SPartScoring CPreciseCurveTool::ScoreFitted(const CFittedPart& fitted, double base) const {
  SPartScoring scoring;
  scoring.isScored = count_ >= kPartsBeforeScores;
  if (!scoring.isScored) {
    return scoring;
  }
  const SPoints& p = *points_;
  detail::ForEachCovered(detail::CurveOverlap(&fitted.Curve(), &p.mean), fitted.Covered(),
                         [&](std::size_t i, const float* k, std::size_t n) {
                           detail::ScorePreciseValues(p.offset.data() + i, p.shift.data() + i,
                                                      p.variance.data() + i, k, n,
                                                      static_cast<float>(base), i, scoring.excess);
                         });
  scoring.scores = ScoresOf(scoring.excess, static_cast<double>(count_));
  scoring.aboveX = p.mean.GetPoint(static_cast<int>(scoring.excess.aboveAt));
  scoring.belowX = p.mean.GetPoint(static_cast<int>(scoring.excess.belowAt));
  return scoring;
}

void CPreciseCurveTool::Bildungsregel(double base, double factor) {
  base_ = base;
  factor_ = factor;
  formed_ = false;
}

bool CPreciseCurveTool::FormLimit() {
  if (!formed_) {
    limit_.MakeSameSize(points_->mean);
    if (limit_.DLen() != points_->mean.DLen()) {
      return false;
    }
    limit_.TakeUnits(points_->mean);
    for (std::size_t i = 0; i < limit_.DLen(); ++i) {
      // Defined for what a float does not hold, which only bytes from elsewhere lead to.
      const double value = LimitAt(static_cast<std::int64_t>(i));
      constexpr double kMost = std::numeric_limits<float>::max();
      limit_.ValArray()[i] = static_cast<float>(std::clamp(value, -kMost, kMost));
    }
    formed_ = true;
  }
  return true;
}

SPartJudgement CPreciseCurveTool::JudgeFitted(CFittedPart& fitted, double minShare,
                                              std::vector<SCurveExcess>& regions) {
  SPartJudgement judgement;
  regions.clear();
  if (!HasLearnt()) {
    return judgement;
  }
  if (!FormLimit()) {
    judgement.reason = PartStatus::kMemory;
    return judgement;
  }
  return detail::JudgeAlong(fitted, Learnt(limit_), minShare, regions);
}

SPartJudgement CPreciseCurveTool::JudgeExpected(CFittedPart& fitted,
                                                std::span<const float> expected,
                                                std::span<const float> spread, double minShare,
                                                std::vector<SCurveExcess>& regions) {
  SPartJudgement judgement;
  regions.clear();
  if (!HasLearnt() || expected.size() != points_->mean.DLen() || spread.size() != expected.size()) {
    return judgement;
  }
  if (!FormLimit() || !detail::IfMemoryAllows([&] { ownLimit_ = limit_; }) ||
      ownLimit_.DLen() != limit_.DLen()) {
    judgement.reason = PartStatus::kMemory;
    return judgement;
  }
  for (std::size_t i = 0; i < expected.size(); ++i) {
    ownLimit_.ValArray()[i] =
        static_cast<float>(base_) + (expected[i] + static_cast<float>(factor_) * spread[i]);
  }
  detail::SLearntCurves learnt = Learnt(ownLimit_);
  learnt.expected = expected;
  learnt.spreads = [spread](std::int64_t i, std::size_t n, float* out) {
    std::copy_n(spread.data() + i, n, out);
  };
  return detail::JudgeAlong(fitted, learnt, minShare, regions);
}

const CSigCurveExt* CPreciseCurveTool::Grenzkurve() {
  return HasLearnt() && FormLimit() ? &limit_ : nullptr;
}

MergeStatus CPreciseCurveTool::Merge(const CPreciseCurveTool& other) {
  if (!HasLearnt() || !other.HasLearnt()) {
    return other.HasLearnt() ? MergeStatus::kGrid : MergeStatus::kOk;
  }
  SPoints& p = *points_;
  const SPoints& later = *other.points_;
  if (const MergeStatus status = detail::CheckCurves(&p.mean, &later.mean);
      status != MergeStatus::kOk) {
    return status;
  }
  if (base_ != other.base_ || factor_ != other.factor_) {
    return MergeStatus::kRule;
  }
  const float lo = later.mean.VMin();
  const float hi = later.mean.VMax();
  if (!(lo <= p.mean.VMax()) || !(p.mean.VMin() <= hi)) {
    return MergeStatus::kRange;
  }
  if (lo > p.mean.VMin() || hi < p.mean.VMax()) {
    p.mean.Schrumpfen(lo, hi);
  }
  for (std::size_t i = 0; i < p.counts.size(); ++i) {
    const double earlier = p.counts[i];
    const double both = earlier + later.counts[i];
    if (both > earlier) {
      const double share = later.counts[i] / both;
      const double distance =
          (double{later.offset[i]} - p.offset[i]) + (later.shift[i] - p.shift[i]);
      p.variance[i] += share * (later.variance[i] - p.variance[i]) +
                       share * (earlier / both) * (distance * distance);
      p.shift[i] += share * distance;
      p.counts[i] = detail::JointCount(p.counts[i], later.counts[i]);
      p.RoundMean(i);
    }
  }
  count_ = std::min(count_ + other.count_, SPoints::kMostLearnt);
  formed_ = false;
  return MergeStatus::kOk;
}

bool CPreciseCurveTool::TakeFrom(const CKurvenLernWerkzeug& tool) {
  if (tool.NrGelernt() <= 0 || tool.Mittelwert() == nullptr || tool.QuadratMW() == nullptr) {
    return false;
  }
  return detail::IfMemoryAllows(false, [&] {
    auto points = std::make_shared<SPoints>(*tool.Mittelwert());
    for (std::size_t i = 0; i < points->offset.size(); ++i) {
      const float m = points->mean.ValArray()[i];
      const double square = double{tool.QuadratMW()->ValArray()[i]} - double{m} * double{m};
      points->offset[i] = m;
      points->variance[i] = tool.NrGelernt() > 1 ? std::fmax(square, 0.0) : 0.0;
      points->counts[i] = static_cast<std::uint32_t>(tool.NrGelernt());
    }
    TakeRoom(points);
    Bildungsregel(double{tool.Sockel()}, double{tool.Faktor()});
    count_ = tool.NrGelernt();
    return true;
  });
}

bool CKurvenLernWerkzeug::TakeFrom(const CPreciseCurveTool& tool) {
  if (tool.Mittelwert() == nullptr) {
    return false;
  }
  CKurvenLernWerkzeug made;
  made.Vorlage(tool.Mittelwert());
  if (made.state_.mean == nullptr) {
    return false;
  }
  TakeRoom(made);
  for (std::uint32_t i = 0; i < state_.mean->DLen(); ++i) {
    const double mean = tool.MeanAt(i);
    const double spread = tool.SpreadAt(i);
    state_.mean->ValArray()[i] = static_cast<float>(mean);
    state_.meanSquare->ValArray()[i] = static_cast<float>(mean * mean + spread * spread);
  }
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  state_.count = static_cast<std::int32_t>(std::min(tool.NrGelernt(), kMost));
  const std::int64_t end =
      std::int64_t{CExpAverFacGenerator::kSaturated} * state_.generator->GetTimeScale();
  state_.generator->SetTime(static_cast<std::int32_t>(std::min<std::int64_t>(state_.count, end)));
  return true;
}

}  // namespace limes
