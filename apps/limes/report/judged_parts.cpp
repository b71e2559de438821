#include "apps/limes/report/judged_parts.h"

#include <algorithm>
#include <cmath>

#include "apps/limes/measurement/number_text.h"

namespace limes::host {
namespace {

constexpr std::size_t kMostMarks = 1000;      ///< on all plots
constexpr std::size_t kCurveBytes = 900'000;  ///< of all plots
constexpr std::size_t kColumnBytes = 180;     ///< of a column of a plot: mean, band, two limits
constexpr double kNotJudgedRank = 10.0;       ///< between NOK and OK
constexpr std::size_t kPartBytes = 45;        ///< of a column of the curve of a part

/// A value at a place when it was expected in place of the learnt mean.
double AsDrawn(const SLearntSummary& learnt, double value, double expected, double place) {
  const double step = learnt.step > 0.0 ? learnt.step : 1.0;
  const double at = std::nearbyint((place - learnt.xFirst) / step);
  const bool inside = at >= 0.0 && at < static_cast<double>(learnt.mean.size());
  const float mean = inside ? learnt.mean[static_cast<std::size_t>(at)] : std::nanf("");
  return std::isnan(mean) ? value : value - expected + double{mean};
}

}  // namespace

std::vector<SPlotMark> MarksOfPart(const SPartVerdict& verdict, const SLearntSummary& learnt,
                                   bool modes) {
  std::vector<SPlotMark> marks;
  const std::string& quantity = learnt.name;
  const auto same = std::find_if(verdict.quantities.begin(), verdict.quantities.end(),
                                 [&](const SQuantityVerdict& q) { return q.name == quantity; });
  const std::string xUnit = same == verdict.quantities.end() ? "" : same->xUnit;
  for (const SDefect& d : verdict.defects) {
    if (d.quantity == quantity) {
      const double value = modes ? AsDrawn(learnt, d.value, d.mean, d.place) : d.value;
      marks.push_back({d.place, value, d.from, d.to, true, DefectText(d, xUnit)});
    }
  }
  for (const SQuantityVerdict& q : verdict.quantities) {
    if (marks.empty() && q.name == quantity && q.value && q.maxDeviation) {
      const double x = q.x.value_or(0.0);
      const double value = modes && q.mean ? AsDrawn(learnt, *q.value, *q.mean, x) : *q.value;
      marks.push_back(
          {x, value, std::nullopt, std::nullopt, *q.maxDeviation > 0.0, DeviationText(q)});
    }
  }
  return marks;
}

CJudgedParts::CJudgedParts(const SSettings& settings, std::vector<SLearntSummary> summaries)
    : settings_(settings), summaries_(std::move(summaries)) {
  for (const SLearntSummary& summary : summaries_) {
    if (quantities_.try_emplace(summary.name).second) {
      names_.push_back(summary.name);
    }
    quantities_.at(summary.name).sides.push_back(&summary);
  }
  const std::size_t plots = std::clamp<std::size_t>(names_.size(), 1, kMostPlots);
  marksPerPart_ = std::clamp<std::size_t>(kMostMarks / kWorstParts / plots, 1, 12);
  SetColumns(kColumnBytes);
}

/// As many as fit the page when each takes as many bytes.
void CJudgedParts::SetColumns(std::size_t bytes) {
  const std::size_t plots = std::clamp<std::size_t>(names_.size(), 1, kMostPlots);
  columns_ = std::clamp<std::size_t>(kCurveBytes / bytes / plots, 24, SPlot::kMostColumns);
}

void CJudgedParts::Add(const SPartVerdict& verdict, const CurveOf& curveOf) {
  counts_.Add(verdict, settings_.good);
  folder_.Add(verdict.part);
  labels_ |= verdict.label && !verdict.label->empty();
  if (curveOf && !curves_) {
    curves_ = true;
    SetColumns(kColumnBytes + kWorstParts * kPartBytes);
    marksPerPart_ = std::min<std::size_t>(marksPerPart_, 3);  // the curve itself shows the others
  }
  TakeQuantities(verdict, curveOf);
  TakeDefects(verdict);
  std::string amounts;
  for (const SQuantityVerdict& q : verdict.quantities) {
    if (IsMode(q)) {
      amounts += (amounts.empty() ? "" : ", ") + Brief(q.value.value_or(0.0), 1.0);
    }
  }
  const SQuantityVerdict* worst = Worst(verdict);
  const double excess = worst != nullptr ? InSpreads(*worst) : 0.0;
  const double rank = verdict.verdict == Verdict::kFail   ? 20.0
                      : verdict.verdict == Verdict::kPass ? 0.0
                                                          : kNotJudgedRank;
  parts_.Add(rank + excess / (1.0 + std::fabs(excess)),
             {verdict.part, verdict.label.value_or(""), verdict.verdict,
              worst == nullptr ? "" : worst->name + ": " + DeviationText(*worst), amounts});
}

void CJudgedParts::AddUnusable(const std::string& file, const std::string& reason) {
  counts_.Add(Verdict::kNotJudged, std::nullopt);
  folder_.Add(file);
  parts_.Add(kNotJudgedRank, {file, "", Verdict::kNotJudged, reason});
}

void CJudgedParts::TakeQuantities(const SPartVerdict& verdict, const CurveOf& curveOf) {
  struct SWorst {
    double excess = 0.0;
    bool beyond = false;
  };
  std::map<std::string, SWorst> found;
  for (const SQuantityVerdict& q : verdict.quantities) {
    const auto quantity = quantities_.find(q.name);
    if (!q.maxDeviation || quantity == quantities_.end()) {
      continue;
    }
    if (q.side == quantity->second.sides[0]->side) {
      quantity->second.first = quantity->second.first ? quantity->second.first : q;
      quantity->second.last = q;
    }
    SWorst& worst = found.try_emplace(q.name, SWorst{InSpreads(q)}).first->second;
    worst.excess = std::max(worst.excess, InSpreads(q));
    worst.beyond |= q.verdict == Verdict::kFail;
  }
  for (const auto& [name, worst] : found) {
    SQuantity& quantity = quantities_.at(name);
    quantity.nok += worst.beyond ? 1 : 0;
    if (quantity.worst.Takes(worst.excess)) {
      SPlotPart part{
          verdict.part, MarksOfPart(verdict, *quantity.sides[0], settings_.modes.has_value()), {}};
      part.marks.resize(std::min(part.marks.size(), marksPerPart_));
      if (curveOf) {
        part.curve = VisThinned(curveOf(name), columns_);
      }
      quantity.worst.Add(worst.excess, std::move(part));
    }
  }
}

void CJudgedParts::TakeDefects(const SPartVerdict& verdict) {
  for (const SDefect& defect : verdict.defects) {
    defects_.Add(defect.priority, {verdict.part, defect});
    const auto quantity = quantities_.find(defect.quantity);
    if (quantity == quantities_.end()) {
      continue;
    }
    const SLearntSummary& learnt = *quantity->second.sides[0];
    const double width = learnt.xLast - learnt.xFirst;
    const bool placed = defect.from && width > 0.0 && std::isfinite(defect.place);
    const double share = placed ? (defect.place - learnt.xFirst) / width : 0.0;
    const int section = static_cast<int>(std::clamp(share, 0.0, 0.999) * kSections);
    SDefectKind& kind = kinds_[{defect.quantity, defect.side, section}];
    kind.parts += kind.lastPart != counts_.parts ? 1 : 0;
    kind.lastPart = counts_.parts;
    kind.priority = std::max(kind.priority, defect.priority);
    if (placed) {
      kind.places.Add(defect.place);
    }
  }
}

std::string CJudgedParts::XUnitOf(const std::string& quantity) const {
  const auto found = quantities_.find(quantity);
  return found == quantities_.end() ? "" : found->second.sides[0]->xUnit;
}

}  // namespace limes::host
