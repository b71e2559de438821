#include "apps/limes/report/html_report.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <tuple>

#include "apps/limes/model/model.h"
#include "apps/limes/report/history_table.h"
#include "apps/limes/report/page_files.h"
#include "apps/limes/report/report_texts.h"
#include "apps/limes/report/top_items.h"

namespace limes::host {
namespace {

// What the page holds at most, so that it stays below 2 MB.
constexpr std::size_t kMostPlots = 100;
constexpr std::size_t kMostParts = 300;
constexpr std::size_t kMostDefects = 200;
constexpr std::size_t kMostFrequent = 20;
constexpr std::size_t kMostRuns = 100;
constexpr std::size_t kWorstParts = 5;          ///< drawn per quantity
constexpr std::size_t kMostMarks = 1000;        ///< on all plots
constexpr std::size_t kCurveBytes = 900'000;    ///< of all plots
constexpr std::size_t kColumnBytes = 120;       ///< of a column of a plot: mean, band, two limits
constexpr std::size_t kPartBytes = 30;          ///< of a column of the curve of a part
constexpr std::size_t kHistoryBytes = 200'000;  ///< of all plots of the learning history
constexpr int kSections = 16;                   ///< of an axis, in which defects are counted

constexpr const char* kHead = R"html(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'"/>
<meta name="viewport" content="width=device-width, initial-scale=1"/>
)html";

struct SPartLine {
  std::string part;
  std::string label;
  Verdict verdict = Verdict::kNotJudged;
  std::string worst;
};

/// What the judged parts say of a quantity.
struct SJudged {
  std::vector<const SLearntSummary*> sides;
  CTop<SPlotPart> worst{kWorstParts};
  std::size_t nok = 0;
  std::optional<SQuantityVerdict> first;  ///< of the upper side, or the only one
  std::optional<SQuantityVerdict> last;
};

/// A kind of defect: quantity, side and section of its axis.
struct SFrequent {
  std::size_t parts = 0;
  std::int64_t lastNumber = -1;
  std::int32_t priority = std::numeric_limits<std::int32_t>::min();
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();
};

using FrequentKey = std::tuple<std::string, Side, int>;

std::string Cell(const std::string& escaped, const char* type = "") {
  return std::string("<td") + type + ">" + escaped + "</td>";
}

std::string TextCell(const std::string& text) { return Cell(Escaped(text, 240), " class=\"t\""); }

std::string QuantityCell(const std::string& name) { return Cell(Escaped(name), " class=\"q\""); }

std::string CountCell(std::int64_t count) { return Cell(std::to_string(count), " class=\"n\""); }

std::string VerdictCell(Verdict verdict) {
  return Cell(VerdictText(verdict), verdict == Verdict::kFail ? " class=\"NOK\"" : "");
}

/// By how many spreads beyond the limit; a large number where the spread is 0.
double Excess(const SQuantityVerdict& q) {
  constexpr double kMost = 1e300;
  return q.excessInS       ? std::clamp(*q.excessInS, -kMost, kMost)
         : !q.maxDeviation ? -kMost
                           : std::copysign(kMost, *q.maxDeviation);
}

}  // namespace

class CHtmlReport::CContent {
 public:
  CContent(const SSettings& settings, std::vector<SLearntSummary> summaries)
      : settings_(settings),
        summaries_(std::move(summaries)),
        good_(settings.good.value_or("good")) {
    for (const SLearntSummary& summary : summaries_) {
      if (judged_.try_emplace(summary.name).second) {
        names_.push_back(summary.name);
      }
      judged_.at(summary.name).sides.push_back(&summary);
    }
    const std::size_t plots = std::clamp<std::size_t>(names_.size(), 1, kMostPlots);
    marksPerPart_ = std::clamp<std::size_t>(kMostMarks / kWorstParts / plots, 1, 12);
    SetColumns(kColumnBytes);
  }

  /// Columns that fit the page when each takes as many bytes.
  void SetColumns(std::size_t bytes) {
    const std::size_t plots = std::clamp<std::size_t>(names_.size(), 1, kMostPlots);
    columns_ = std::clamp<std::size_t>(kCurveBytes / bytes / plots, 24, SPlot::kMostColumns);
  }

  std::string Write(CStore& store) {
    const std::string name = Escaped(store.Path());
    const std::string title = counts_.parts > 0 ? "Test report" : "Learnt limits";
    learnt_ = store.CountParts(true);
    runs_ = store.Runs();
    out_ = kHead;
    out_.append("<style>\n").append(kReportStyle).append(kChartStyle).append("</style>\n");
    out_ += "<title>" + title + ": " + name + "</title></head><body>\n<h1>" + title + "</h1>\n";
    WriteOrigin(name);
    WriteCounts();
    WriteFrequent();
    WriteQuantities();
    WriteParts();
    WriteDefects();
    out_ += LearningHistory(store.History(), summaries_, kHistoryBytes);
    WriteRuns();
    if (!kChartScript.empty()) {
      out_.append("<script>\n/*").append(kChartLicence).append("*/\n");
      out_.append(kChartScript).append("</script>\n");
    }
    out_.append("<script>\n").append(kReportScript).append("</script>\n</body></html>\n");
    return std::move(out_);
  }

  void Take(const SPartVerdict& verdict, const CurveOf& curveOf) {
    counts_.Add(verdict, good_);
    folder_.Add(verdict.part);
    labels_ |= verdict.label && !verdict.label->empty();
    if (curveOf && !curves_) {
      curves_ = true;
      SetColumns(kColumnBytes + kWorstParts * kPartBytes);
      marksPerPart_ = std::min<std::size_t>(marksPerPart_, 3);  // the curve itself shows the others
    }
    const SQuantityVerdict* worst = nullptr;
    std::map<std::string, std::pair<double, bool>> excesses;  ///< and whether it is beyond
    for (const SQuantityVerdict& q : verdict.quantities) {
      const auto judged = judged_.find(q.name);
      if (!q.maxDeviation || judged == judged_.end()) {
        continue;
      }
      worst = worst == nullptr || Excess(q) > Excess(*worst) ? &q : worst;
      if (q.side == judged->second.sides[0]->side) {
        judged->second.first = judged->second.first ? judged->second.first : q;
        judged->second.last = q;
      }
      const auto [entry, isNew] = excesses.try_emplace(q.name, Excess(q), false);
      entry->second.first = std::max(entry->second.first, Excess(q));
      entry->second.second |= q.verdict == Verdict::kFail;
    }
    for (const auto& [name, excess] : excesses) {
      TakeQuantity(verdict, name, excess.first, excess.second, curveOf);
    }
    TakeDefects(verdict);
    const double excess = worst != nullptr ? Excess(*worst) : 0.0;
    const double rank = verdict.verdict == Verdict::kFail   ? 20.0
                        : verdict.verdict == Verdict::kPass ? 0.0
                                                            : 10.0;
    parts_.Add(rank + excess / (1.0 + std::fabs(excess)),
               {verdict.part, verdict.label.value_or(""), verdict.verdict,
                worst == nullptr ? "" : worst->name + ": " + DeviationText(*worst)});
  }

 private:
  void TakeQuantity(const SPartVerdict& verdict, const std::string& name, double excess,
                    bool beyond, const CurveOf& curveOf) {
    SJudged& judged = judged_.at(name);
    judged.nok += beyond ? 1 : 0;
    if (!judged.worst.Takes(excess)) {
      return;
    }
    SPlotPart part{verdict.part, MarksOfPart(verdict, name), {}};
    part.marks.resize(std::min(part.marks.size(), marksPerPart_));
    if (curveOf) {
      part.curve = Thinned(curveOf(name), columns_);
    }
    judged.worst.Add(excess, std::move(part));
  }

  void TakeDefects(const SPartVerdict& verdict) {
    for (const SDefect& defect : verdict.defects) {
      defects_.Add(defect.priority, {verdict.part, defect});
      const auto judged = judged_.find(defect.quantity);
      if (judged == judged_.end()) {
        continue;
      }
      const SLearntSummary& learnt = *judged->second.sides[0];
      const double width = learnt.xLast - learnt.xFirst;
      const bool placed = defect.from && width > 0.0 && std::isfinite(defect.place);
      const double share = placed ? (defect.place - learnt.xFirst) / width : 0.0;
      const int section = static_cast<int>(std::clamp(share, 0.0, 0.999) * kSections);
      SFrequent& kind = frequent_[{defect.quantity, defect.side, section}];
      const auto number = static_cast<std::int64_t>(counts_.parts);
      kind.parts += kind.lastNumber != number ? 1 : 0;
      kind.lastNumber = number;
      kind.priority = std::max(kind.priority, defect.priority);
      if (placed) {
        kind.low = std::min(kind.low, defect.place);
        kind.high = std::max(kind.high, defect.place);
      }
    }
  }

  void WriteOrigin(const std::string& name) {
    out_ += "<p class=\"note\">Limits of " + name;
    if (!runs_.empty()) {
      out_ += ", last run " + Escaped(TimeText(runs_.back().started), 40) + " UTC";
    }
    if (!folder_.Name().empty()) {
      out_ += "; parts from " + Escaped(folder_.Name());
    }
    out_ += "</p>\n";
  }

  void WriteCounts() {
    const auto tile = [this](std::uint64_t count, const char* what, const char* kind = "") {
      out_ += std::string("<span") + kind + "><b>" + std::to_string(count) + "</b> " + what +
              "</span>\n";
    };
    out_ += "<p class=\"counts\">";
    tile(static_cast<std::uint64_t>(learnt_), "parts learnt");
    tile(counts_.parts, "judged");
    tile(counts_.ok, "OK");
    tile(counts_.nok, "NOK", counts_.nok > 0 ? " class=\"NOK\"" : "");
    tile(counts_.notJudged, "not judged");
    out_ += "</p>\n";
    if (counts_.good + counts_.bad > 0) {
      const auto share = [](std::uint64_t wrong, std::uint64_t all, const char* what) {
        return all == 0 ? "" : std::to_string(wrong) + " of " + std::to_string(all) + what;
      };
      out_ += "<p>By the labels of the parts: " +
              share(counts_.falseAlarms, counts_.good, " good ones NOK (false alarms)") +
              (counts_.good > 0 && counts_.bad > 0 ? ", " : "") +
              share(counts_.misses, counts_.bad, " bad ones OK (misses)") + ".</p>\n";
    }
  }

  void WriteFrequent() {
    if (frequent_.empty()) {
      return;
    }
    CTop<const std::pair<const FrequentKey, SFrequent>*> top(kMostFrequent);
    for (const auto& kind : frequent_) {
      top.Add(static_cast<double>(kind.second.parts), &kind);
    }
    const bool placed = std::any_of(frequent_.begin(), frequent_.end(), [](const auto& kind) {
      return kind.second.low <= kind.second.high;
    });
    out_ += "<h2>Most frequent defects</h2>\n";
    Note(frequent_.size(), kMostFrequent, "kinds of defects");
    Table(std::string("<th class=\"n\">parts</th><th>quantity</th><th>limit</th>") +
          (placed ? "<th>at x</th>" : "") + "<th class=\"n\">highest priority</th>");
    for (const auto& [count, number, kind] : top.Items()) {
      const SFrequent& f = kind->second;
      const SLearntSummary& learnt = *judged_.at(std::get<0>(kind->first)).sides[0];
      std::string place;
      if (f.low <= f.high) {
        place = (f.low < f.high ? PlotNumber(f.low) + " … " : "") + WithUnit(f.high, learnt.xUnit);
      }
      Row(CountCell(static_cast<std::int64_t>(f.parts)) + QuantityCell(std::get<0>(kind->first)) +
          Cell(SideText(std::get<1>(kind->first))) + (placed ? TextCell(place) : "") +
          CountCell(f.priority));
    }
    EndTable();
    out_ +=
        "<p class=\"note\">Priority: how far beyond the limit, in hundredths of the spread "
        "there.</p>\n";
  }

  void WriteQuantities() {
    CTop<std::string> order(kMostPlots);
    for (const std::string& name : names_) {
      order.Add(static_cast<double>(judged_.at(name).nok), name);
    }
    out_ += "<h2>Quantities</h2>\n";
    Note(names_.size(), kMostPlots, "quantities, those with the most NOK parts first");
    out_ += "<div class=\"plots\">\n";
    for (const auto& [nok, number, name] : order.Items()) {
      SJudged& judged = judged_.at(name);
      SPlot plot{judged.sides, {}, columns_};
      // Where no part is beyond the limit, the one that comes closest is shown.
      const std::size_t shown = std::max<std::size_t>(judged.nok, 1);
      for (const auto& [excess, place, part] : judged.worst.Items()) {
        if (plot.parts.size() < shown) {
          plot.parts.push_back(part);
          plot.parts.back().name = folder_.Inside(part.name);
        }
      }
      const bool single = judged.sides[0]->kind == "value";
      out_ += std::string("<section") + (single ? "" : " class=\"wide\"") + "><h3>" +
              Escaped(name) + "</h3>\n" + DrawPlot(plot) +
              "<p class=\"hover note\"></p>\n<p class=\"note\">" + Learnt(judged) +
              "</p></section>\n";
    }
    out_ += "</div>\n";
  }

  /// Mean and limits of a single value.
  static std::string NumbersOf(const SJudged& judged) {
    std::string text;
    for (const SLearntSummary* side : judged.sides) {
      if (side->kind == "value" && !side->mean.empty() && !side->limit.empty()) {
        text += (text.empty() ? "; mean " + WithUnit(side->mean[0], side->unit) : "") + ", " +
                SideText(side->side) + " limit " + WithUnit(side->limit[0], side->unit);
      }
    }
    return text;
  }

  /// How much is learnt, and how the limit moved while parts were judged.
  std::string Learnt(const SJudged& judged) const {
    const SLearntSummary& learnt = *judged.sides[0];
    const double effective = std::round(learnt.sureness.effectiveParts * 10.0) / 10.0;
    std::string text = std::string(judged.sides.size() > 1 ? "Limits: " : "Limit: ") +
                       RuleText(settings_, judged.sides) + NumbersOf(judged) + ". " +
                       std::to_string(learnt.parts) + (learnt.parts == 1 ? " part" : " parts") +
                       " learnt";
    if (effective != static_cast<double>(learnt.parts)) {
      text += ", effective " + PlotNumber(effective);
    }
    if (learnt.sureness.parts > 0) {
      text += "; of good parts at most " + ChanceText(judged.sides) + " are beyond by chance";
    }
    text += "; " + std::to_string(judged.nok) +
            (judged.nok == 1 ? " judged part NOK" : " judged parts NOK");
    if (judged.nok > kWorstParts) {
      text += ", the worst " + std::to_string(kWorstParts) + " are drawn";
    }
    if (judged.first && judged.first->sureness && judged.last->sureness &&
        judged.first->sureness->parts != judged.last->sureness->parts) {
      text += ". Limit from " + std::to_string(judged.first->sureness->parts) +
              " parts at the first verdict, " + std::to_string(judged.last->sureness->parts) +
              " at the last";
      if (learnt.kind == "value" && judged.first->limit && judged.last->limit &&
          judged.first->mean && judged.last->mean) {
        text += "; mean " + PlotNumber(*judged.first->mean) + " → " +
                WithUnit(*judged.last->mean, learnt.unit) + ", limit " +
                PlotNumber(*judged.first->limit) + " → " +
                WithUnit(*judged.last->limit, learnt.unit);
      }
    }
    return Escaped(text + ".", 500);
  }

  void WriteDefects() {
    if (defects_.Count() == 0) {
      return;
    }
    out_ += "<h2>Defects by priority</h2>\n";
    Note(defects_.Count(), kMostDefects, "defects");
    Table(
        "<th class=\"n\">priority</th><th>part</th><th>quantity</th><th>beyond</th><th>at x</th>"
        "<th class=\"n\">value</th><th class=\"n\">limit</th>");
    for (const auto& [key, number, found] : defects_.Items()) {
      const SDefect& defect = found.second;
      const SComparison shown(defect.value, defect.limit);
      const std::string beyond = (defect.side == Side::kUpper ? "+" : "−") + shown.apart +
                                 (defect.unit.empty() ? "" : " " + defect.unit);
      Row(CountCell(defect.priority) + PartCell(found.first) + QuantityCell(defect.quantity) +
          Cell(Escaped(beyond), " class=\"w\"") +
          Cell(Escaped(PlaceText(defect, XUnitOf(defect.quantity))), " class=\"w\"") +
          Cell(shown.value, " class=\"n\"") + Cell(shown.limit, " class=\"n\""));
    }
    EndTable();
  }

  std::string XUnitOf(const std::string& quantity) const {
    const auto judged = judged_.find(quantity);
    return judged == judged_.end() ? "" : judged->second.sides[0]->xUnit;
  }

  std::string PartCell(const std::string& part) const {
    return Cell(Escaped(folder_.Inside(part), 240), " class=\"t p\"");
  }

  void WriteParts() {
    if (parts_.Count() == 0) {
      return;
    }
    out_ += "<h2>Parts</h2>\n";
    Note(parts_.Count(), kMostParts, "parts, the worst first");
    out_ += "<p class=\"note\">The worst of each verdict first, by the deviation in spreads.</p>\n";
    Table(std::string("<th>verdict</th><th>part</th>") + (labels_ ? "<th>label</th>" : "") +
          "<th>largest deviation</th>");
    for (const auto& [key, number, line] : parts_.Items()) {
      Row(VerdictCell(line.verdict) + PartCell(line.part) +
          (labels_ ? Cell(Escaped(line.label, 60)) : "") + TextCell(line.worst));
    }
    EndTable();
  }

  void WriteRuns() {
    out_ += "<h2>Runs</h2>\n";
    const std::size_t first = runs_.size() - std::min(runs_.size(), kMostRuns);
    Note(runs_.size(), kMostRuns, "runs, the last ones");
    Table(
        "<th>started (UTC)</th><th>run</th><th class=\"n\">learnt</th><th class=\"n\">in all</th>"
        "<th class=\"n\">OK</th><th class=\"n\">NOK</th><th class=\"n\">not judged</th>");
    std::int64_t learnt = 0;
    for (std::size_t i = 0; i < runs_.size(); ++i) {
      const SRun& run = runs_[i];
      learnt += run.learnt;
      if (i >= first) {
        Row(Cell(Escaped(TimeText(run.started), 40), " class=\"w\"") +
            Cell(Escaped(run.command, 40)) + CountCell(run.learnt) + CountCell(learnt) +
            CountCell(run.ok) + CountCell(run.nok) + CountCell(run.notJudged));
      }
    }
    EndTable();
  }

  void Note(std::size_t all, std::size_t most, const char* what) {
    if (all > most) {
      out_ += "<p class=\"note\">" + std::to_string(most) + " of " + std::to_string(all) + " " +
              what + ".</p>\n";
    }
  }

  void Table(const std::string& heads) {
    out_ += "<div class=\"table\"><table><thead><tr>" + heads + "</tr></thead><tbody>\n";
  }
  void Row(const std::string& cells) { out_ += "<tr>" + cells + "</tr>\n"; }
  void EndTable() { out_ += "</tbody></table></div>\n"; }

  SSettings settings_;
  std::int64_t learnt_ = 0;
  std::vector<SRun> runs_;
  std::vector<SLearntSummary> summaries_;
  std::vector<std::string> names_;  ///< of the quantities, as stored
  std::map<std::string, SJudged> judged_;
  std::map<FrequentKey, SFrequent> frequent_;
  CTop<std::pair<std::string, SDefect>> defects_{kMostDefects};
  CTop<SPartLine> parts_{kMostParts};
  std::size_t marksPerPart_ = 1;
  std::size_t columns_ = SPlot::kMostColumns;
  bool curves_ = false;
  bool labels_ = false;  ///< of any part
  CCommonFolder folder_;
  SCounts counts_;
  std::string good_;  ///< label
  std::string out_;
};

std::vector<SPlotMark> MarksOfPart(const SPartVerdict& verdict, const std::string& quantity) {
  std::vector<SPlotMark> marks;
  const auto same = std::find_if(verdict.quantities.begin(), verdict.quantities.end(),
                                 [&](const SQuantityVerdict& q) { return q.name == quantity; });
  const std::string xUnit = same == verdict.quantities.end() ? "" : same->xUnit;
  for (const SDefect& d : verdict.defects) {
    if (d.quantity == quantity) {
      marks.push_back({d.place, d.value, d.from, d.to, true, DefectText(d, xUnit)});
    }
  }
  for (const SQuantityVerdict& q : verdict.quantities) {
    if (marks.empty() && q.name == quantity && q.value && q.maxDeviation) {
      marks.push_back({q.x.value_or(0.0), *q.value, std::nullopt, std::nullopt,
                       *q.maxDeviation > 0.0, DeviationText(q)});
    }
  }
  return marks;
}

CHtmlReport::CHtmlReport(const SSettings& settings, std::vector<SLearntSummary> summaries)
    : content_(std::make_unique<CContent>(settings, std::move(summaries))) {}

CHtmlReport::~CHtmlReport() = default;

void CHtmlReport::Add(const SPartVerdict& verdict, const CurveOf& curveOf) {
  content_->Take(verdict, curveOf);
}

std::string CHtmlReport::Page(CStore& store) { return content_->Write(store); }

std::string HtmlReport(CStore& store) {
  store.BeginReading();
  const SSettings settings = store.Settings().value_or(SSettings());
  CModel model(settings);
  model.Load(store.Quantities(), store.Path());
  CHtmlReport report(settings, model.Summaries());
  store.ForEachJudged([&](const SPartVerdict& verdict) { report.Add(verdict); });
  std::string page = report.Page(store);
  store.Rollback();
  return page;
}

}  // namespace limes::host
