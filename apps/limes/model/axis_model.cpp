#include "apps/limes/model/axis_model.h"

#include <iterator>

#include "limes/learning/curve_learning_tool.h"
#include "limes/results/defect_report.h"

namespace limes::host {
namespace {

constexpr std::int64_t kNoForgetting = CExpAverFacGenerator::kNoForgetting;
constexpr std::size_t kMostDefects = 100;  ///< per quantity and side, the worst ones
constexpr double kSamePlace = 0.01;        ///< of a step

}  // namespace

template <class Tool>
void CAxisModel<Tool>::AddItems(const SQuantityVerdict& q, const SPartJudgement& judgement,
                                const std::vector<SCurveExcess>& regions,
                                CProtocolItemList& items) const {
  if (q.verdict != Verdict::kFail) {
    CProtocolItem item;
    item.TakeFrom(judgement);
    AddItem(items, item, q, q.excessInS);
    return;
  }
  std::vector<SCurveExcess> worst = regions;
  std::stable_sort(worst.begin(), worst.end(), [](const SCurveExcess& a, const SCurveExcess& b) {
    return a.excess > b.excess;
  });
  worst.resize(std::min(worst.size(), settings_.onePerCurve ? 1 : kMostDefects));
  for (const SCurveExcess& region : worst) {
    CProtocolItem item;
    item.TakeFrom(judgement, &region);
    item.type = CDefectReport::kWithPlace;
    AddItem(items, item, q,
            region.spread > 0.0F
                ? std::optional(Show(Show(double{region.excess}) / double{region.spread}))
                : std::nullopt);
  }
}

template <class Tool>
void CAxisModel<Tool>::JudgeExpected() {
  if constexpr (!kTrack) {
    const auto floats = [](const std::vector<double>& values, double sign) {
      std::vector<float> result;
      std::transform(values.begin(), values.end(), std::back_inserter(result),
                     [=](double value) { return static_cast<float>(sign * value); });
      return result;
    };
    const std::vector<float> spread = floats(this->around_, 1.0);
    for (const Side side : tools_.Limited()) {
      const std::vector<float> expected = floats(this->expected_, double{this->Sign(side)});
      tools_.JudgeAnew(side, this->judgement_, [&](Tool& tool, auto& fitted, auto& regions) {
        return tool.JudgeExpected(fitted, expected, spread, settings_.minShare, regions);
      });
    }
  }
}

template <class Tool>
std::string CAxisModel<Tool>::TakeState(const SStoredQuantity::SState& state) {
  const Tool& tool = tools_[state.side];
  const CSigCurveExt& grid = *tool.Mittelwert();
  const bool same =
      grid.DLen() == Grid().DLen() && grid.XMin() == Grid().XMin() && grid.XMax() == Grid().XMax();
  if constexpr (kTrack) {
    if (grid.DLen() == 0 || !tool.HatGelernt() || !same) {
      return WideToUtf8(Text(LearnStateStatus::kContent));
    }
  }
  learnt_ = std::max<std::int64_t>(state.learnt, 0);
  return "";
}

template <class Tool>
std::string CAxisModel<Tool>::JoinStates(CQuantityModel& other) {
  auto& theirs = static_cast<CAxisModel&>(other);
  if constexpr (kTrack) {
    // Both grids become the range of both, unless they lie between each other's points.
    const double step = (double{Grid().XMax()} - Grid().XMin()) / Grid().DLen();
    const double first = (double{theirs.Grid().XMin()} - Grid().XMin()) / step;
    const double shift = std::nearbyint(first);
    const double more = shift + theirs.Grid().DLen() - Grid().DLen();
    const bool fits = std::fabs(first - shift) <= kSamePlace;
    if (!fits || !Grow(-shift, more) || !theirs.Grow(shift, -more)) {
      return WideToUtf8(Text(MergeStatus::kGrid));
    }
  }
  for (const Side side : tools_.Limited()) {
    Tool& tool = theirs.tools_[side];
    if constexpr (kTrack) {
      tool.Bildungsregel(tools_[side].Sockel(), tools_[side].Faktor());
      tool.BasisLernenAnzahl(tools_[side].BasisLernenAnzahl());
    } else if constexpr (kPrecise) {
      tool.Bildungsregel(tools_[side].Sockel(), tools_[side].Faktor());
    } else {
      // The same width gives another place where the axes begin a rounding step apart.
      tool.Bildungsregel(tools_[side].Sockel(), tools_[side].Faktor(), tools_[side].Width());
    }
    if (const MergeStatus status = tools_[side].Merge(tool); status != MergeStatus::kOk) {
      return WideToUtf8(Text(status));
    }
  }
  learnt_ += theirs.learnt_;
  this->SetStale();
  return "";
}

template <class Tool>
void CAxisModel<Tool>::Update() {
  if (!this->stale_) {
    return;
  }
  for (const Side side : tools_.Limited()) {
    if constexpr (kTrack) {
      spreads_[CSidedJudgement::Index(side)] = tools_[side].StdAbwKurve();
      if (spreads_[CSidedJudgement::Index(side)] == nullptr || !tools_[side].GrenzeBilden()) {
        throw std::bad_alloc();
      }
    } else if constexpr (kPrecise) {
      const CSigCurveExt* const limit = tools_[side].Grenzkurve();
      CSigCurveExt& spread = rounded_[CSidedJudgement::Index(side)];
      spread = Grid();
      if (limit == nullptr || spread.DLen() != Grid().DLen()) {
        throw std::bad_alloc();
      }
      for (std::int32_t i = 0; i < static_cast<std::int32_t>(spread.DLen()); ++i) {
        spread.ValArray()[i] = static_cast<float>(tools_[side].SpreadAt(i));
      }
      spreads_[CSidedJudgement::Index(side)] = &spread;
    } else {
      const bool formed = tools_[side].UpdateLimit() != 0 && tools_[side].StandardAbwBilden() != 0;
      if (!formed && Learnt() > 0) {
        throw std::bad_alloc();
      }
    }
  }
  this->stale_ = false;
}

template <class Tool>
const CSigCurveExt& CAxisModel<Tool>::Spread(Side side) const {
  if constexpr (kTrack || kPrecise) {
    return *spreads_[CSidedJudgement::Index(side)];
  } else {
    return *tools_[side].StandardAbw();
  }
}

template <class Tool>
std::int64_t CAxisModel<Tool>::LearntAt(std::int32_t i) const {
  if constexpr (kTrack) {
    const auto counts = tools_.First().LearnCounts();
    const auto at = static_cast<std::size_t>(std::max(i, 0));
    return at < counts.size() ? counts[at] : 0;
  } else {
    return Learnt();
  }
}

template <class Tool>
std::pair<std::int32_t, std::int32_t> CAxisModel<Tool>::LearntRange() const {
  std::int32_t first = Grid().IMin();
  std::int32_t last = Grid().IMax();
  for (; first < last && LearntAt(first) == 0; ++first) {
  }
  for (; last > first && LearntAt(last) == 0; --last) {
  }
  return {first, last};
}

template <class Tool>
std::vector<float> CAxisModel<Tool>::Judged() {
  std::vector<float> values;
  const CSigCurveExt& curve = tools_.Fitted(Side::kUpper).Curve();
  const auto [first, last] = LearntRange();
  for (std::int32_t i = first; i <= last; ++i) {
    values.push_back(this->fits_ && i >= curve.IMin() && i <= curve.IMax() ? curve[i] : kNone);
    if (const auto at = static_cast<std::size_t>(i); at < this->judgedBy_.size()) {
      const double mean = double{this->Sign(tools_.Limited()[0])} * double{Grid()[i]};
      values.back() = static_cast<float>(double{values.back()} - (this->judgedBy_[at] - mean));
    }
  }
  return values;
}

template <class Tool>
SLearntSummary CAxisModel<Tool>::Summary(Side side) {
  Update();
  SLearntSummary summary;
  const CSigCurveExt& mean = *tools_[side].Mittelwert();
  const CSigCurveExt& limit = *tools_[side].Grenzkurve();
  const CSigCurveExt& spread = Spread(side);
  const float sign = this->Sign(side);
  const auto [first, last] = LearntRange();
  summary.points = static_cast<std::size_t>(std::max(last - first + 1, 0));
  summary.step = Shown(mean.XDelta());
  summary.xFirst = Shown(mean.GetPoint(first));
  summary.xLast = Shown(mean.GetPoint(last));
  for (std::int32_t i = first; i <= last; ++i) {
    const std::int64_t parts = LearntAt(i);
    summary.learntAt.push_back(parts);
    summary.mean.push_back(parts > 0 ? sign * mean[i] : kNone);
    summary.spread.push_back(parts > 0 ? spread[i] : kNone);
    summary.limit.push_back(HasLimit(i) ? sign * limit[i] : kNone);
    if (const auto at = static_cast<std::size_t>(i); at < this->around_.size()) {
      const double factor = this->Factor(side).value_or(0.0);
      summary.spread.back() = static_cast<float>(this->around_[at]);
      summary.limit.back() =
          HasLimit(i)
              ? static_cast<float>(double{summary.mean.back()} +
                                   double{sign} * (settings_.base + factor * this->around_[at]))
              : kNone;
    }
  }
  return summary;
}

template <class Tool>
SCoarseSpread CAxisModel<Tool>::Coarse() {
  Update();
  const Side side = tools_.Limited()[0];
  if constexpr (kPrecise) {
    return CoarseValues(Grid(), Spread(side));
  } else {
    const std::int64_t scale = settings_.timeScale;
    const std::int64_t memory =
        scale < kNoForgetting ? scale : CExpAverFacGenerator::kSaturated * scale;
    SCoarseSpread coarse =
        CoarseSpread(*tools_[side].QuadratMW(), Spread(side),
                     [&](std::int32_t i) { return std::min(LearntAt(i), memory); });
    coarse.mayBePrecise = !kTrack && Learnt() >= kPartsBeforeScores && settings_.width == 0.0 &&
                          settings_.timeScale == kNoForgetting;
    return coarse;
  }
}

/// Of few parts the spread may be small at a point by chance.
template <class Tool>
std::string CAxisModel<Tool>::NeedsDouble() {
  if (Learnt() < kPartsBeforeScores) {
    return "";
  }
  const SCoarseSpread coarse = Coarse();
  return coarse.points == 0 || !coarse.mayBePrecise
             ? ""
             : "quantity " + Quoted(name_) + ": " + coarse.Fact();
}

template <class Tool>
std::string CAxisModel<Tool>::Warning() {
  if (!kTrack && Learnt() < 2) {
    return "";
  }
  const SCoarseSpread coarse = Coarse();
  std::string text = coarse.points == 0 ? "" : coarse.Fact() + coarse.Advice();
  if (const auto n = static_cast<double>(Grid().DLen());
      !kTrack && Grid().ILen() < kMinShareOfCurve * n) {
    text += (text.empty() ? "" : "; ") + std::string("only ") +
            NumberText(std::round(100.0 * Grid().ILen() / n)) +
            " % of the first part's x range is learnt, some parts covered no more";
  }
  return text.empty() ? "" : "quantity " + Quoted(name_) + ": " + text;
}

std::unique_ptr<CQuantityModel> MakeAxisModel(const SSettings& settings, const std::string& name,
                                              const SUnit& xUnit, const SUnit& unit) {
  if (settings.tracks) {
    return std::make_unique<CAxisModel<CTrackLernWerkzeug>>(settings, name, xUnit, unit);
  }
  if (settings.IsPrecise()) {
    return std::make_unique<CAxisModel<CPreciseCurveTool>>(settings, name, xUnit, unit);
  }
  return std::make_unique<CAxisModel<CKurvenLernWerkzeug>>(settings, name, xUnit, unit);
}

}  // namespace limes::host
