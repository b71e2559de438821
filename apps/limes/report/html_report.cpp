#include "apps/limes/report/html_report.h"

#include <algorithm>
#include <cmath>

#include "apps/limes/measurement/number_text.h"
#include "apps/limes/measurement/promise_text.h"
#include "apps/limes/model/model.h"
#include "apps/limes/report/history_table.h"
#include "apps/limes/report/margin_charts.h"
#include "apps/limes/report/markup.h"
#include "apps/limes/report/modes_text.h"
#include "apps/limes/report/nok_sections.h"
#include "apps/limes/report/page_files.h"
#include "apps/limes/report/page_table.h"
#include "apps/limes/report/report_texts.h"
#include "apps/limes/report/svg_plot.h"
#include "apps/limes/store/stored_curves.h"
#include "apps/limes/store/stored_model.h"

namespace limes::host {
namespace {

constexpr std::size_t kMostFrequent = 20;
constexpr std::size_t kMostRuns = 100;
constexpr std::size_t kMostDrifts = 20;
constexpr std::size_t kMostModes = 12;  ///< curves of modes
constexpr std::size_t kModeColumns = 60;
constexpr std::size_t kHistoryBytes = 200'000;  ///< of all plots of the learning history

constexpr const char* kHead = R"html(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'"/>
<meta name="viewport" content="width=device-width, initial-scale=1"/>
)html";

constexpr const char* kPriority =
    "<p class=\"note\">Priority: how far beyond the limit, in hundredths of the spread there: 300 "
    "is "
    "3 spreads beyond.</p>\n";

class CPage {
 public:
  /// drifts: alarms that are not in the store.
  CPage(const CJudgedParts& judged, const SPromise& promise, const std::vector<SDriftFound>& drifts,
        const std::vector<SLearntSummary>& modes, const std::string& modesText)
      : judged_(judged), promise_(promise), drifts_(drifts), modes_(modes), modesText_(modesText) {}

  std::string Write(CStore& store) {
    const std::string name = Markup(store.Path());
    const std::string title = judged_.Counts().parts > 0 ? "Test report" : "Learnt limits";
    learnt_ = store.CountParts(true);
    runs_ = store.Runs();
    out_ = std::string(kHead) + kPageMark;
    out_.append("<style>\n").append(kReportStyle).append(kChartStyle).append("</style>\n");
    out_ += "<title>" + title + ": " + name + "</title></head><body>\n<h1>" + title + "</h1>\n";
    WriteOrigin(name);
    WriteCounts();
    WriteMargins();
    WriteFrequent();
    WriteQuantities();
    out_ += NokSections(judged_);
    WriteModes();
    WriteParts();
    WriteDefects();
    WriteDrifts(store);
    out_ += LearningHistory(store.History(), judged_.Summaries(), kHistoryBytes);
    WriteRuns();
    if (!kChartScript.empty()) {
      out_.append("<script>\n/*").append(kChartLicence).append("*/\n");
      out_.append(kChartScript).append("</script>\n");
    }
    out_.append("<script>\n").append(kReportScript).append("</script>\n</body></html>\n");
    return std::move(out_);
  }

 private:
  void WriteOrigin(const std::string& name) {
    out_ += "<p class=\"note\">Limits of " + name;
    if (!runs_.empty()) {
      out_ += ", last run " + Markup(TimeText(runs_.back().started), 40) + " UTC";
    }
    if (!judged_.Folder().Name().empty()) {
      out_ += "; parts from " + Markup(judged_.Folder().Name());
    }
    out_ += "</p>\n";
  }

  void WriteCounts() {
    const SCounts& counts = judged_.Counts();
    const auto tile = [this](std::uint64_t count, const char* what, const char* kind = "") {
      out_ += std::string("<span") + kind + "><b>" + std::to_string(count) + "</b> " + what +
              "</span>\n";
    };
    out_ += "<p class=\"counts\">";
    tile(static_cast<std::uint64_t>(learnt_), "parts learnt");
    tile(counts.parts, "judged");
    tile(counts.ok, "OK");
    tile(counts.nok, "NOK", counts.nok > 0 ? " class=\"NOK\"" : "");
    tile(counts.notJudged, "not judged");
    out_ += "</p>\n";
    for (const std::string& text : PromiseTexts(promise_)) {
      out_ += "<p class=\"note\">" + Markup(text, 500) + "</p>\n";
    }
    if (counts.good + counts.bad > 0) {
      const auto share = [](std::uint64_t wrong, std::uint64_t all, const char* what) {
        return all == 0 ? "" : std::to_string(wrong) + " of " + std::to_string(all) + what;
      };
      out_ += "<p>By the labels of the parts: " +
              share(counts.falseAlarms, counts.good, " good ones NOK (false alarms)") +
              (counts.good > 0 && counts.bad > 0 ? ", " : "") +
              share(counts.misses, counts.bad, " bad ones OK (misses)") + ".</p>\n";
    }
  }

  void WriteFrequent() {
    const auto& kinds = judged_.Kinds();
    if (kinds.empty()) {
      return;
    }
    using Kind = std::pair<const CJudgedParts::DefectKey, CJudgedParts::SDefectKind>;
    const auto isPlaced = [](const Kind& kind) {
      return kind.second.places.low <= kind.second.places.high;
    };
    CTop<const Kind*> top(kMostFrequent);
    for (const Kind& kind : kinds) {
      top.Add(kind.second.Rank(), &kind);
    }
    const bool placed = std::any_of(kinds.begin(), kinds.end(), isPlaced);
    out_ += "<h2>Kinds of defects</h2>\n";
    Note(kinds.size(), kMostFrequent, "kinds of defects, the most frequent");
    out_ +=
        "<p class=\"note\">NOK parts by their most important defect, of " +
        std::to_string(judged_.Counts().nok) +
        " in all, and how many have a defect of that kind among others. The examples of the first "
        "ones are drawn below.</p>\n";
    out_ += kPriority;
    CPageTable table(
        out_, "kinds",
        std::string("<th class=\"n\">parts</th><th>share</th><th class=\"n\">among others</th>"
                    "<th>quantity</th><th>limit</th>") +
            (placed ? "<th>at x</th>" : "") +
            "<th class=\"n\">highest priority</th><th>example</th>");
    for (const Kind* entry : top.Items()) {
      const auto& [key, kind] = *entry;
      const auto& [name, side, section] = key;
      const auto [low, high] = kind.places;
      const std::string place = !isPlaced(*entry)
                                    ? ""
                                    : (low < high ? PlaceNumber(low) + " … " : "") +
                                          WithUnit(PlaceNumber(high), judged_.XUnitOf(name));
      table.Row(CountCell(static_cast<std::int64_t>(kind.leading)) + ShareCell(kind.leading) +
                CountCell(static_cast<std::int64_t>(kind.parts)) + QuantityCell(name) +
                Cell(SideText(side)) + (placed ? TextCell(place) : "") + CountCell(kind.priority) +
                PartCell(kind.shown.name));
    }
  }

  /// A bar as long as the share of the NOK parts.
  std::string ShareCell(std::size_t parts) const {
    const double nok = static_cast<double>(std::max<std::uint64_t>(judged_.Counts().nok, 1));
    const double share = std::min(static_cast<double>(parts) / nok, 1.0);
    return Cell(
        "<svg class=\"bar\" viewBox=\"0 0 100 10\" width=\"100\" height=\"10\"><rect "
        "width=\"" +
            SvgNumber(100.0 * share) + "\" height=\"10\" fill=\"#D55E00\"/></svg> " +
            Percent(share),
        " class=\"w\"");
  }

  /// How near all parts come to their limits.
  void WriteMargins() {
    const CMarginRun& margins = judged_.Margins();
    if (margins.Count() == 0) {
      return;
    }
    out_ +=
        "<h2>Distance to the limits</h2>\n<p class=\"note\">Of each part the quantity and point "
        "nearest to its limit, or furthest beyond: " +
        MarginsText(margins) + "</p>\n<div class=\"plots\">\n";
    WriteMarginPlots(margins, true);
    out_ += "</div>\n";
  }

  void WriteMarginPlots(const CMarginRun& margins, bool named) {
    out_ += "<section>" + PlotOnPage(MarginsOverParts(margins, named), 2 * SPlot::kMostColumns) +
            "</section>\n<section class=\"bars\"><div>" + MarginHistogram(margins) +
            "</div></section>\n";
  }

  void WriteQuantities() {
    out_ += "<h2>Quantities</h2>\n";
    Note(judged_.Names().size(), CJudgedParts::kMostPlots,
         "quantities, those with the most NOK parts first");
    out_ += "<div class=\"plots\">\n";
    for (const std::string& name : judged_.PlottedQuantities()) {
      const CJudgedParts::SQuantity& quantity = judged_.Quantity(name);
      SPlot plot{quantity.sides, judged_.ShownParts(name), judged_.Columns(),
                 judged_.DrawnColumns(false)};
      for (SPlotPart& part : plot.parts) {
        part.name = judged_.Folder().Inside(part.name);
      }
      const bool single = quantity.sides[0]->kind == "value";
      out_ += std::string("<section id=\"") + judged_.IdOf(name) + "\"" +
              (single ? "" : " class=\"wide\"") + "><h3>" + Markup(name) + "</h3>\n" +
              PlotOnPage(plot) + "<p class=\"note\">" + Learnt(quantity) + "</p></section>\n";
      if (judged_.Names().size() > 1 && quantity.margins.Count() > 0) {
        WriteMarginPlots(quantity.margins, false);
      }
    }
    out_ += "</div>\n";
  }

  /// The common modes as small curves: what one spread of each adds.
  void WriteModes() {
    if (modes_.empty()) {
      return;
    }
    out_ += "<h2>Common modes</h2>\n<p class=\"note\">" + Markup(modesText_, 500) +
            ". Curves: what one spread of a mode adds to each point.</p>\n<div class=\"plots\">\n";
    for (const SLearntSummary& mode : modes_) {
      SPlot plot{{&mode}, {}, kModeColumns};
      out_ += "<section><h3>" + Markup(mode.name) + "</h3>\n" + PlotOnPage(plot) + "</section>\n";
    }
    out_ += "</div>\n";
  }

  /// Mean and limits of a single value.
  static std::string NumbersOf(const CJudgedParts::SQuantity& judged) {
    std::string text;
    for (const SLearntSummary* side : judged.sides) {
      if (side->kind == "value" && !side->mean.empty() && !side->limit.empty()) {
        text +=
            (text.empty() ? "; mean " + WithUnit(Brief(side->mean[0], side->spread[0]), side->unit)
                          : "") +
            ", " + SideText(side->side) + " limit " +
            WithUnit(Brief(side->limit[0], side->spread[0]), side->unit);
      }
    }
    return text;
  }

  static std::string Moved(double from, double to, const std::string& unit) {
    const double by = std::fabs(to - from);
    return Brief(from, by) + " → " + WithUnit(Brief(to, by), unit);
  }

  /// How much is learnt, and how the limit moved while parts were judged.
  std::string Learnt(const CJudgedParts::SQuantity& judged) const {
    const SLearntSummary& learnt = *judged.sides[0];
    const double effective = std::round(learnt.sureness.effectiveParts * 10.0) / 10.0;
    std::string text = std::string(judged.sides.size() > 1 ? "Limits: " : "Limit: ") +
                       RuleText(judged_.Settings(), judged.sides) + NumbersOf(judged) + ". " +
                       std::to_string(learnt.parts) + (learnt.parts == 1 ? " part" : " parts") +
                       " learnt";
    if (effective != static_cast<double>(learnt.parts)) {
      text += ", effective " + Brief(effective);
    }
    text += "; " + std::to_string(judged.nok) +
            (judged.nok == 1 ? " judged part NOK" : " judged parts NOK");
    if (judged.nok > CJudgedParts::kWorstParts) {
      text += ", drawn is one of each of the most frequent kinds of defects, then the worst, " +
              std::to_string(CJudgedParts::kWorstParts) + " in all";
    }
    if (judged.first && judged.first->sureness && judged.last->sureness &&
        judged.first->sureness->parts != judged.last->sureness->parts) {
      text += ". Limit from " + std::to_string(judged.first->sureness->parts) +
              " parts at the first verdict, " + std::to_string(judged.last->sureness->parts) +
              " at the last";
      if (learnt.kind == "value" && judged.first->limit && judged.last->limit &&
          judged.first->mean && judged.last->mean) {
        text += "; mean " + Moved(*judged.first->mean, *judged.last->mean, learnt.unit) +
                ", limit " + Moved(*judged.first->limit, *judged.last->limit, learnt.unit);
      }
    }
    return Markup(text + ".", 500);
  }

  void WriteDefects() {
    if (judged_.Defects().Count() == 0) {
      return;
    }
    out_ += "<h2>Defects by priority</h2>\n";
    Note(judged_.Defects().Count(), CJudgedParts::kMostDefects, "defects");
    out_ += kPriority;
    CPageTable table(
        out_, "defects",
        "<th class=\"n\">priority</th><th>part</th><th>quantity</th><th>beyond</th><th>at x</th>"
        "<th class=\"n\">value</th><th class=\"n\">limit</th>");
    for (const auto& [part, defect] : judged_.Defects().Items()) {
      const double excess = std::fabs(defect.value - defect.limit);
      const std::string beyond =
          (defect.side == Side::kUpper ? "+" : "−") + WithUnit(Brief(excess, excess), defect.unit);
      table.Row(CountCell(defect.priority) + PartCell(part) + QuantityCell(defect.quantity) +
                Cell(Markup(beyond), " class=\"w\"") +
                Cell(Markup(PlaceText(defect, judged_.XUnitOf(defect.quantity))), " class=\"w\"") +
                Cell(Brief(defect.value, excess), " class=\"n\"") +
                Cell(Brief(defect.limit, excess), " class=\"n\""));
    }
  }

  std::string PartCell(const std::string& part) const {
    return Cell(Markup(judged_.Folder().Inside(part), 240), " class=\"t p\"");
  }

  void WriteParts() {
    if (judged_.Parts().Count() == 0) {
      return;
    }
    const bool labels = judged_.HaveLabels();
    out_ += "<h2>Parts</h2>\n";
    Note(judged_.Parts().Count(), CJudgedParts::kMostParts, "parts, the worst first");
    out_ += "<p class=\"note\">The worst of each verdict first, by the deviation in spreads.</p>\n";
    CPageTable table(out_, "parts",
                     std::string("<th>verdict</th><th>part</th>") +
                         (labels ? "<th>label</th>" : "") + "<th>largest deviation</th>" +
                         (modes_.empty() ? "" : "<th>modes, in spreads</th>"));
    for (const CJudgedParts::SPartLine& line : judged_.Parts().Items()) {
      table.Row(VerdictCell(line.verdict) + PartCell(line.part) +
                (labels ? Cell(Markup(line.label, 60)) : "") + TextCell(line.worst) +
                (modes_.empty() ? "" : TextCell(line.modes)));
    }
  }

  /// The latest alarms, in their order.
  void WriteDrifts(CStore& store) {
    std::vector<SDriftFound> drifts = store.Alarms(static_cast<std::int64_t>(kMostDrifts) + 1);
    drifts.insert(drifts.end(), drifts_.begin(), drifts_.end());
    if (drifts.empty()) {
      return;
    }
    out_ += "<h2>Drift</h2>\n";
    if (drifts.size() > kMostDrifts) {
      drifts.erase(drifts.begin(), drifts.end() - static_cast<std::ptrdiff_t>(kMostDrifts));
      out_ += "<p class=\"note\">The latest " + std::to_string(kMostDrifts) + " alarms.</p>\n";
    }
    CPageTable table(
        out_, "drift",
        "<th>quantity</th><th>moved</th><th class=\"n\">for parts</th><th>until part</th>"
        "<th>most at x</th>");
    for (const SDriftFound& drift : drifts) {
      table.Row(QuantityCell(drift.quantity) + Cell(drift.up ? "up" : "down") +
                CountCell(drift.parts) + PartCell(drift.part) +
                TextCell(drift.x ? WithUnit(PlaceNumber(*drift.x), drift.xUnit) : ""));
    }
  }

  void WriteRuns() {
    out_ += "<h2>Runs</h2>\n";
    const std::size_t first = runs_.size() - std::min(runs_.size(), kMostRuns);
    Note(runs_.size(), kMostRuns, "runs, the last ones");
    CPageTable table(
        out_, "runs",
        "<th>started (UTC)</th><th>run</th><th class=\"n\">learnt</th><th class=\"n\">in all</th>"
        "<th class=\"n\">OK</th><th class=\"n\">NOK</th><th class=\"n\">not judged</th>");
    std::int64_t learnt = 0;
    for (std::size_t i = 0; i < runs_.size(); ++i) {
      const SRun& run = runs_[i];
      learnt += run.learnt;
      if (i >= first) {
        table.Row(Cell(Markup(TimeText(run.started), 40), " class=\"w\"") +
                  Cell(Markup(run.command, 40)) + CountCell(run.learnt) + CountCell(learnt) +
                  CountCell(run.ok) + CountCell(run.nok) + CountCell(run.notJudged));
      }
    }
  }

  void Note(std::size_t all, std::size_t most, const char* what) {
    if (all > most) {
      out_ += "<p class=\"note\">" + std::to_string(most) + " of " + std::to_string(all) + " " +
              what + ".</p>\n";
    }
  }

  const CJudgedParts& judged_;
  const SPromise& promise_;
  const std::vector<SDriftFound>& drifts_;
  const std::vector<SLearntSummary>& modes_;
  const std::string& modesText_;
  std::int64_t learnt_ = 0;
  std::vector<SRun> runs_;
  std::string out_;
};

}  // namespace

CHtmlReport::CHtmlReport(CModel& model)
    : judged_(model.Settings(), model.Summaries()),
      promise_(model.Promise()),
      modes_(ModeCurves(model, kMostModes)),
      modesText_(ModesText(model)) {}

void CHtmlReport::AddUnusable(const std::string& file, const std::string& reason) {
  judged_.AddUnusable(file, reason);
}

void CHtmlReport::Add(const SPartVerdict& verdict, const CurveOf& curveOf) {
  judged_.Add(verdict, curveOf);
}

void CHtmlReport::AddDrift(const SDriftFound& drift, bool stored) {
  judged_.AddDrift(drift);
  if (stored) {
    return;
  }
  if (drifts_.size() > kMostDrifts) {
    drifts_.erase(drifts_.begin());
  }
  drifts_.push_back(drift);
}

std::string CHtmlReport::Page(CStore& store) const {
  return CPage(judged_, promise_, drifts_, modes_, modesText_).Write(store);
}

std::string HtmlReport(CStore& store, bool allRuns) {
  store.BeginReading();
  CModel model = LoadedModel(store, store.Settings().value_or(SSettings()));
  CHtmlReport report(model);
  CStoredCurves curves(store, model);
  store.ForEachJudged(allRuns, [&](const SPartVerdict& verdict) {
    const auto curveOf = [&](const std::string& name) { return curves.Of(verdict.id, name); };
    report.Add(verdict, curves.Any() ? CHtmlReport::CurveOf(curveOf) : CHtmlReport::CurveOf());
  });
  std::string page = report.Page(store);
  store.Rollback();
  return page;
}

}  // namespace limes::host
