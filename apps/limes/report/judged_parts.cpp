#include "apps/limes/report/judged_parts.h"

#include <algorithm>
#include <cmath>

#include "apps/limes/measurement/number_text.h"

namespace limes::host {
namespace {

constexpr std::size_t kMostMarks = 1000;        ///< on all plots
constexpr std::size_t kCurveBytes = 1'800'000;  ///< of all curves
constexpr std::size_t kDrawnBytes = 500'000;    ///< of the drawings of quantities, and of parts
constexpr std::size_t kMostColumns = 50'000;
constexpr std::size_t kLineBytes = 6;        ///< of a column of a line, packed
constexpr std::size_t kDrawnLineBytes = 20;  ///< of a column of a line in a drawing
constexpr std::size_t kLearntLines = 5;      ///< mean, band, two limits
constexpr std::size_t kLatest = 10'000;      ///< parts that an alarm may name
constexpr double kNotJudgedRank = 10.0;      ///< between NOK and OK

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
  SetColumns(0, 0);
}

/// As many as fit the page when each plot of a quantity shows so many parts, and so many curves are
/// shown with NOK parts. A thinned line has two ends.
void CJudgedParts::SetColumns(std::size_t parts, std::size_t nok) {
  const std::size_t plots = std::clamp<std::size_t>(names_.size(), 1, kMostPlots);
  const std::size_t lines = plots * (kLearntLines + parts) + nok;
  columns_ = std::clamp<std::size_t>(kCurveBytes / lines / kLineBytes, 24, kMostColumns);
  const bool thinned =
      std::any_of(summaries_.begin(), summaries_.end(),
                  [this](const SLearntSummary& s) { return s.mean.size() > columns_; });
  columns_ = thinned ? std::max<std::size_t>(columns_ / 2, 24) : columns_;
}

std::size_t CJudgedParts::DrawnColumns(bool ofPart) const {
  const std::size_t names = std::clamp<std::size_t>(names_.size(), 1, kMostPlots);
  const std::size_t plots =
      ofPart ? CNokParts::kMost * std::min(names, CNokParts::kMostQuantities) : names;
  const std::size_t lines = kLearntLines + (ofPart ? 3 : curves_ ? kWorstParts : 0);
  return std::clamp<std::size_t>(kDrawnBytes / plots / lines / kDrawnLineBytes, 24,
                                 SPlot::kMostColumns);
}

void CJudgedParts::Add(const SPartVerdict& verdict, const CurveOf& curveOf) {
  counts_.Add(verdict, settings_.good);
  folder_.Add(verdict.part);
  labels_ |= verdict.label && !verdict.label->empty();
  if (curveOf && !curves_) {
    curves_ = true;
    SetColumns(kWorstParts,
               3 * CNokParts::kMost * std::min(names_.size(), CNokParts::kMostQuantities));
    marksPerPart_ = std::min<std::size_t>(marksPerPart_, 3);  // the curve itself shows the others
  }
  latest_.push_back({verdict.part, counts_.parts});
  if (latest_.size() > kLatest) {
    latest_.pop_front();
  }
  TakeQuantities(verdict, curveOf);
  TakeMargins(verdict);
  TakeDefects(verdict, curveOf);
  const auto drawn = [&](const std::string& name) { return VisThinned(curveOf(name), columns_); };
  const auto marks = [&](const std::string& name) {
    const auto quantity = quantities_.find(name);
    return quantity == quantities_.end() ? std::vector<SPlotMark>()
                                         : Drawn(verdict, quantity->second, {}).marks;
  };
  nok_.Add(verdict, counts_.parts, marks, curveOf ? CNokParts::DrawnOf(drawn) : nullptr);
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
      quantity.worst.Add(worst.excess, Drawn(verdict, quantity, curveOf));
    }
  }
}

SPlotPart CJudgedParts::Drawn(const SPartVerdict& verdict, const SQuantity& quantity,
                              const CurveOf& curveOf) const {
  const SLearntSummary& learnt = *quantity.sides[0];
  SPlotPart part{verdict.part, MarksOfPart(verdict, learnt, settings_.modes.has_value()), {}};
  part.marks.resize(std::min(part.marks.size(), marksPerPart_));
  if (curveOf) {
    part.curve = VisThinned(curveOf(learnt.name), columns_);
  }
  return part;
}

void CJudgedParts::TakeMargins(const SPartVerdict& verdict) {
  const auto add = [&](CMarginRun& run, const std::string* quantity) {
    auto margin = MarginOf(verdict, quantity);
    const bool beyond = std::any_of(
        verdict.quantities.begin(), verdict.quantities.end(), [&](const SQuantityVerdict& q) {
          return q.verdict == Verdict::kFail && (quantity == nullptr || q.name == *quantity);
        });
    if (beyond && !(margin && *margin < 0.0)) {
      margin = CMarginRun::kWithoutSpread;
    }
    if (margin) {
      run.Add({*margin, counts_.parts, beyond, verdict.part, verdict.at});
    }
  };
  add(margins_, nullptr);
  for (const std::string& name : names_) {
    add(quantities_.at(name).margins, &name);
  }
  for (const SDriftFound& drift : verdict.drifts) {
    AddDrift(drift);
  }
}

void CJudgedParts::AddDrift(const SDriftFound& drift) {
  const auto part = std::find_if(latest_.rbegin(), latest_.rend(),
                                 [&](const auto& known) { return known.first == drift.part; });
  const auto quantity = quantities_.find(drift.quantity);
  if (part != latest_.rend()) {
    margins_.AddAlarm({part->second, DriftText(drift)});
    if (quantity != quantities_.end()) {
      quantity->second.margins.AddAlarm({part->second, DriftText(drift)});
    }
  }
}

std::vector<std::string> CJudgedParts::PlottedQuantities() const {
  CTop<std::string> order(kMostPlots);
  for (const std::string& name : names_) {
    order.Add(static_cast<double>(quantities_.at(name).nok), name);
  }
  return order.Items();
}

std::vector<SPlotPart> CJudgedParts::ShownParts(const std::string& name) const {
  const SQuantity& quantity = quantities_.at(name);
  CTop<const SPlotPart*> kinds(kWorstParts);
  for (const auto& [key, kind] : kinds_) {
    if (std::get<0>(key) == name) {
      kinds.Add(kind.Rank(), &kind.shown);
    }
  }
  std::vector<SPlotPart> shown;
  const auto add = [&](const SPlotPart& part) {
    const bool isNew = std::none_of(shown.begin(), shown.end(), [&](const SPlotPart& other) {
      return other.name == part.name;
    });
    if (isNew && shown.size() < std::min(std::max<std::size_t>(quantity.nok, 1), kWorstParts)) {
      shown.push_back(part);
    }
  };
  for (const SPlotPart* part : kinds.Items()) {
    add(*part);
  }
  for (const SPlotPart& part : quantity.worst.Items()) {
    add(part);
  }
  return shown;
}

void CJudgedParts::TakeDefects(const SPartVerdict& verdict, const CurveOf& curveOf) {
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
    const bool leads = &defect == verdict.defects.data();
    kind.leading += leads ? 1 : 0;
    if (leads > kind.leads || (leads == kind.leads && defect.priority > kind.priority)) {
      kind.shown = Drawn(verdict, quantity->second, curveOf);
    }
    kind.leads |= leads;
    kind.priority = std::max(kind.priority, defect.priority);
    if (placed) {
      kind.places.Add(defect.place);
    }
  }
}

std::string CJudgedParts::IdOf(const std::string& quantity) const {
  const auto found = std::find(names_.begin(), names_.end(), quantity);
  return found == names_.end() ? ""
                               : std::string("q").append(std::to_string(found - names_.begin()));
}

std::string CJudgedParts::XUnitOf(const std::string& quantity) const {
  const auto found = quantities_.find(quantity);
  return found == quantities_.end() ? "" : found->second.sides[0]->xUnit;
}

}  // namespace limes::host
