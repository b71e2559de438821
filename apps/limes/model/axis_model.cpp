#include "apps/limes/model/axis_model.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "apps/limes/errors.h"
#include "apps/limes/model/defects.h"
#include "limes/kernels/averaging_factors.h"
#include "limes/results/defect_report.h"
#include "recordings/forming/free_steps.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

constexpr std::int64_t kNoForgetting = CExpAverFacGenerator::kNoForgetting;
constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
constexpr double kStepTolerance = 1e-4;    ///< relative; other steps are another quantity
constexpr double kPlaceTolerance = 0.01;   ///< of a step; closer grids are the same
constexpr std::size_t kMostDefects = 100;  ///< per quantity and side, the worst ones

std::optional<double> InSpreads(float excess, float spread) {
  return spread > 0.0F ? std::optional(Shown(static_cast<float>(Shown(excess) / spread)))
                       : std::nullopt;
}

bool IsExcess(float value, float limit) {
  return value > limit && !IsRounding(double{value} - limit, value, limit);
}

}  // namespace

void CAxisModel::TakeValues(const SQuantity& q, const std::string& part, const CSigCurveExt* grid) {
  const std::size_t n = q.values.size();
  if (n == 0 || n > std::numeric_limits<std::int32_t>::max()) {
    throw CInputError(part, "quantity " + Quoted(name_) + " has no values or too many");
  }
  auto x0 = static_cast<float>(q.x0);
  auto x1 = static_cast<float>(q.x0 + q.dx * static_cast<double>(n));
  const float resolution =
      8.0F * std::numeric_limits<float>::epsilon() * std::max(std::fabs(x0), std::fabs(x1));
  if (!std::isfinite(x0) || !std::isfinite(x1) || !(q.dx > double{resolution})) {
    throw CInputError(part, "quantity " + Quoted(name_) + ": steps of " + NumberText(q.dx) +
                                " from " + NumberText(q.x0) +
                                " on are too fine for single precision");
  }
  if (grid != nullptr && grid->DLen() == n) {
    const double tolerance = kPlaceTolerance * q.dx + double{resolution};
    if (std::fabs(double{x0} - grid->XMin()) <= tolerance &&
        std::fabs(double{x1} - grid->XMax()) <= tolerance) {
      x0 = grid->XMin();
      x1 = grid->XMax();
    }
  }
  if (raw_.DLen() != n) {
    raw_ = CSigCurveExt::Make(static_cast<int>(n), x0, x1);
    if (raw_.DLen() != n) {
      throw std::bad_alloc();
    }
  }
  raw_.SetXMinMax(x0, x1);
  raw_.SetVIMinMax(0, static_cast<std::int32_t>(n) - 1);  // to the last value, not a step behind
  std::copy(q.values.begin(), q.values.end(), raw_.ValArray());
}

const SQuantity& CAxisModel::AtEqualSteps(const SQuantity& q, const std::string& part,
                                          const CSigCurveExt* grid) {
  if (q.x.empty()) {
    return q;
  }
  const std::string what = part + ": quantity " + Quoted(name_);
  drawn_ = grid == nullptr ? DrawnOnOwnGrid(q, what)
                           : DrawnOnGrid(q, what, grid->XMin(),
                                         (double{grid->XMax()} - grid->XMin()) / grid->DLen());
  return drawn_;
}

void CAxisModel::CheckStep(const SQuantity& q, const std::string& part,
                           const CSigCurveExt& grid) const {
  const double n = grid.DLen();
  const double step = (double{grid.XMax()} - grid.XMin()) / n;
  const double rounding = std::numeric_limits<float>::epsilon() *
                          std::max(std::fabs(grid.XMin()), std::fabs(grid.XMax())) / n;
  if (std::fabs(q.dx - step) > kStepTolerance * step + rounding) {
    throw CInputError(part, "quantity " + Quoted(name_) + " has steps of " + Place(q.dx) +
                                ", in the store " + Place(step));
  }
}

void CAxisModel::Update() {
  if (!stale_) {
    return;
  }
  for (const Side side : sides_) {
    Form(side);
  }
  stale_ = false;
}

void CAxisModel::SetStale() {
  stale_ = true;
  sureness_[0].reset();
  sureness_[1].reset();
}

SLimitSureness CAxisModel::Sureness(Side side) {
  std::optional<SLimitSureness>& sureness = sureness_[side == Side::kUpper ? 0 : 1];
  if (!sureness) {
    sureness = FormSureness(side);
  }
  return *sureness;
}

std::string CAxisModel::Place(double x) const {
  const std::string unit = xUnit_.Display();
  return NumberText(Shown(static_cast<float>(x))) + (unit.empty() ? "" : " " + unit);
}

std::string CAxisModel::Covered() const {
  return "quantity " + Quoted(name_) + " covers x from " + Place(raw_.XMin()) + " to " +
         Place(raw_.GetPoint(static_cast<int>(raw_.DLen()) - 1));
}

CSigCurveExt& CAxisModel::Fitted(Side side) {
  if (fittedSign_ != Sign(side)) {
    fitted_.MirrorY();
    fittedSign_ = Sign(side);
  }
  return fitted_;
}

/// The regions beyond the limit by more than rounding, the worst first.
std::vector<SCurveExcess> CAxisModel::Regions(Side side) {
  std::vector<SCurveExcess> regions = FindRegions(side);
  const CSigCurveExt& limit = Curves(side).limit;
  const CSigCurveExt& curve = Fitted(side);
  std::erase_if(regions, [&](const SCurveExcess& region) {
    const std::int32_t first = limit.GetIndex(region.x0);
    for (std::int32_t i = first; i < first + region.points; ++i) {
      if (IsExcess(curve[i], limit[i])) {
        return false;
      }
    }
    return true;
  });
  std::stable_sort(
      regions.begin(), regions.end(),
      [](const SCurveExcess& a, const SCurveExcess& b) { return a.excess > b.excess; });
  return regions;
}

/// Adds the items of the regions: the worst ones, or the worst alone.
void CAxisModel::AddRegions(const std::vector<SCurveExcess>& regions,
                            const SQuantityVerdict& verdict, CProtocolItemList& items) const {
  const std::size_t most = settings_.onePerCurve ? 1 : kMostDefects;
  for (std::size_t i = 0; i < std::min(regions.size(), most); ++i) {
    CProtocolItem item;
    item.TakeFrom(regions[i]);
    item.state = Verdict::kFail;
    item.type = CDefectReport::kWithPlace;
    AddItem(items, item, verdict, InSpreads(regions[i].excess, regions[i].spread));
  }
}

void CAxisModel::Judge(Side side, SQuantityVerdict& verdict, CProtocolItemList& items) {
  SCurveJudgement result;
  std::vector<SCurveExcess> regions;
  if (EnoughLearnt()) {
    Update();
    result = JudgeFitted(side);
  }
  if (result.verdict == Verdict::kFail) {
    regions = Regions(side);
    result.verdict = regions.empty() ? Verdict::kPass : Verdict::kFail;
    result.deviation = regions.empty() ? 0.0F : result.deviation;
    result.rms = regions.empty() ? 0.0F : result.rms;
  }
  if (result.verdict != Verdict::kNotJudged) {
    const float sign = Sign(side);
    verdict.maxDeviation = Shown(result.deviation);
    verdict.excessInS = InSpreads(result.deviation, result.spread);
    verdict.x = Shown(result.x);
    verdict.value = Shown(sign * result.value);
    verdict.limit = Shown(sign * result.limit);
    verdict.mean = Shown(sign * result.mean);
    verdict.spread = Shown(result.spread);
    verdict.rmsDeviation = Shown(result.rms);
    verdict.judgedShare = Shown(result.share);
    if (regions.empty() && verdict.judgedShare < settings_.minShare) {
      result.verdict = Verdict::kNotJudged;
    }
  }
  verdict.verdict = result.verdict;
  if (!regions.empty()) {
    AddRegions(regions, verdict, items);
    return;
  }
  CProtocolItem item;
  item.TakeFrom(result);
  AddItem(items, item, verdict, verdict.excessInS);
}

std::pair<std::int32_t, std::int32_t> CAxisModel::LearntRange() const {
  const CSigCurveExt& grid = Curves(sides_[0]).mean;
  std::int32_t first = grid.IMin();
  std::int32_t last = grid.IMax();
  for (; first < last && LearntAt(first) == 0; ++first) {
  }
  for (; last > first && LearntAt(last) == 0; --last) {
  }
  return {first, last};
}

std::vector<float> CAxisModel::Judged() {
  std::vector<float> values;
  const CSigCurveExt& curve = Fitted(Side::kUpper);
  const auto [first, last] = LearntRange();
  for (std::int32_t i = first; i <= last; ++i) {
    values.push_back(i >= curve.IMin() && i <= curve.IMax() ? curve[i] : kNone);
  }
  return values;
}

SLearntSummary CAxisModel::Summary(Side side) {
  Update();
  SLearntSummary summary;
  const SCurves learnt = Curves(side);
  const CSigCurveExt& grid = learnt.mean;
  const auto [first, last] = LearntRange();
  summary.points = static_cast<std::size_t>(std::max(last - first + 1, 0));
  summary.step = Shown(grid.XDelta());
  summary.xFirst = Shown(grid.GetPoint(first));
  summary.xLast = Shown(grid.GetPoint(last));
  for (std::int32_t i = first; i <= last; ++i) {
    const std::int64_t parts = LearntAt(i);
    summary.learntAt.push_back(parts);
    summary.mean.push_back(parts > 0 ? Sign(side) * grid[i] : kNone);
    summary.spread.push_back(parts > 0 ? learnt.spread[i] : kNone);
    summary.limit.push_back(HasLimit(i) ? Sign(side) * learnt.limit[i] : kNone);
  }
  return summary;
}

/// Mean and mean square are held in single precision and rounded with each part: a spread far below
/// the mean drowns in that, the sooner the more parts count.
std::string CAxisModel::Warning() {
  Update();
  const SCurves learnt = Curves(sides_[0]);
  const CSigCurveExt& grid = learnt.mean;
  const std::int64_t scale = settings_.timeScale;
  const std::int64_t memory = scale < kNoForgetting ? scale : 45 * scale;
  std::int32_t coarse = 0;
  double most = 64.0;  // roundings that add up, at least
  for (std::int32_t i = grid.IMin(); i <= grid.IMax(); ++i) {
    const double spread = learnt.spread[i];
    const double square = learnt.meanSquare[i];
    const std::int64_t parts = LearntAt(i);
    const double roundings = std::max(64.0, static_cast<double>(std::min(parts, memory)));
    if (parts > 1 && spread * spread < roundings / (1 << 24) * square) {
      ++coarse;
      most = std::max(most, roundings);
    }
  }
  if (coarse == 0) {
    return "";
  }
  return "quantity " + Quoted(name_) + ": at " + std::to_string(coarse) + " of " +
         std::to_string(grid.ILen()) + " points the mean is more than " +
         std::to_string(std::lround(std::sqrt((1 << 24) / most))) +
         " times the spread, which single precision cannot "
         "tell from rounding; take an offset off (--detrend) or give a --base" +
         (most > 64.0 ? ", or a --time-scale" : "");
}

}  // namespace limes::host
