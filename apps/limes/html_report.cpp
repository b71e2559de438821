#include "apps/limes/html_report.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <tuple>

#include "apps/limes/model.h"

namespace limes::host {
namespace {

// What the page holds at most, so that it stays below 2 MB.
constexpr std::size_t kMostPlots = 100;
constexpr std::size_t kMostParts = 300;
constexpr std::size_t kMostDefects = 200;
constexpr std::size_t kMostFrequent = 20;
constexpr std::size_t kMostRuns = 100;
constexpr std::size_t kWorstParts = 5;        ///< drawn per quantity
constexpr std::size_t kMostMarks = 1000;      ///< on all plots
constexpr std::size_t kCurveBytes = 900'000;  ///< of all plots
constexpr std::size_t kColumnBytes = 112;     ///< of a column of a plot: mean, band, two limits
constexpr int kSections = 16;                 ///< of an axis, in which defects are counted

constexpr const char* kHead = R"html(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'"/>
<meta name="viewport" content="width=device-width, initial-scale=1"/>
<style>
body{font:16px/1.4 system-ui,sans-serif;color:#222;max-width:60rem;margin:0 auto;padding:.5rem}
svg{width:100%;height:auto;max-width:46rem}
div{overflow-x:auto}
table{border-collapse:collapse;font-size:.9rem}
td,th{padding:.2rem .6rem;border-bottom:1px solid #ddd;text-align:left;overflow-wrap:anywhere}
th{overflow-wrap:normal}
td.n,th.n{text-align:right;white-space:nowrap}
.NOK{color:#a33c00;font-weight:bold}
.note{color:#555;font-size:.9rem}
section{break-inside:avoid}
@media print{body{max-width:none;font-size:11pt}div{overflow:visible}.hover{display:none}}
</style>
)html";

/// Reads the values of the lines at the pointer off the drawing itself.
constexpr const char* kScript = R"html(<script>
document.querySelectorAll("section svg").forEach(svg => {
  const out = svg.parentNode.querySelector(".hover");
  const [x, y] = [svg.dataset.x, svg.dataset.y].map(t => t.split(" ").map(Number));
  const value = (a, p) => a[0] + (p - a[2]) / (a[3] - a[2]) * (a[1] - a[0]);
  const lines = [...svg.querySelectorAll(".line")].map(line => [line.dataset.name,
    [...line.getAttribute("d").matchAll(/[ML]([-\d.]+),([-\d.]+)/g)].map(m => [+m[1], +m[2]])]);
  svg.addEventListener("pointermove", event => {
    const box = svg.getBoundingClientRect();
    const at = (event.clientX - box.left) / box.width * svg.viewBox.baseVal.width;
    const shown = lines.filter(line => line[1].length).map(([name, points]) => {
      const p = points.reduce((a, b) => Math.abs(b[0] - at) < Math.abs(a[0] - at) ? b : a);
      return [value(x, p[0]), name + " " + value(y, p[1]).toPrecision(4)];
    });
    out.textContent = (svg.dataset.single ? "" : "x " + (shown[0]?.[0] ?? NaN).toPrecision(5) + ": ")
      + shown.map(s => s[1]).join(", ");
  });
});
</script>
)html";

/// Keeps the items with the largest keys; of equal ones the first.
template <class T>
class CTop {
 public:
  explicit CTop(std::size_t most) : most_(most) {}

  void Add(double key, T item) {
    items_.push_back({key, count_++, std::move(item)});
    if (items_.size() >= 2 * most_ + 16) {
      Cut();
    }
  }

  std::size_t Count() const { return count_; }

  /// The largest first.
  const std::vector<std::tuple<double, std::size_t, T>>& Items() {
    Cut();
    return items_;
  }

 private:
  void Cut() {
    std::sort(items_.begin(), items_.end(), [](const auto& a, const auto& b) {
      return std::get<0>(a) != std::get<0>(b) ? std::get<0>(a) > std::get<0>(b)
                                              : std::get<1>(a) < std::get<1>(b);
    });
    if (items_.size() > most_) {
      items_.resize(most_);
    }
  }

  std::size_t most_;
  std::size_t count_ = 0;
  std::vector<std::tuple<double, std::size_t, T>> items_;
};

struct SPartLine {
  std::string part;
  std::string label;
  Verdict verdict = Verdict::kNotJudged;
  std::string worst;
};

/// What the judged parts say of a quantity.
struct SJudged {
  std::vector<const SLearntSummary*> sides;
  CTop<std::vector<SPlotMark>> worst{kWorstParts};
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

std::string WithUnit(double value, const std::string& unit) {
  return PlotNumber(value) + (unit.empty() ? "" : " " + unit);
}

std::string Cell(const std::string& escaped, const char* type = "") {
  return std::string("<td") + type + ">" + escaped + "</td>";
}

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

std::string ClosestText(const SQuantityVerdict& q) {
  return WithUnit(std::fabs(*q.maxDeviation), q.unit) +
         (*q.maxDeviation > 0.0 ? " beyond" : " within") + " the " + SideText(q.side) + " limit" +
         (q.x ? " at " + WithUnit(*q.x, q.xUnit) : "");
}

class CPage {
 public:
  explicit CPage(CStore& store) : name_(store.Path()) {
    store.BeginReading();
    const SSettings settings = store.Settings().value_or(SSettings());
    CModel model(settings);
    model.Load(store);
    learnt_ = store.CountParts(true);
    runs_ = store.Runs();
    summaries_ = model.Summaries();
    for (const SLearntSummary& summary : summaries_) {
      if (judged_.try_emplace(summary.name).second) {
        names_.push_back(summary.name);
      }
      judged_.at(summary.name).sides.push_back(&summary);
    }
    marksPerPart_ = std::clamp<std::size_t>(
        kMostMarks / kWorstParts / std::max<std::size_t>(names_.size(), 1), 1, 12);
    const std::string good = settings.good.value_or("good");
    store.ForEachJudged([&](const SPartVerdict& verdict) {
      counts_.Add(verdict, good);
      Take(verdict);
    });
    store.Rollback();
  }

  std::string Write() {
    out_ = kHead;
    out_ += "<title>" + Escaped(name_) + "</title></head><body>\n<h1>" + Escaped(name_) + "</h1>\n";
    WriteCounts();
    WriteFrequent();
    WriteQuantities();
    WriteDefects();
    WriteParts();
    WriteRuns();
    return out_ + kScript + "</body></html>\n";
  }

 private:
  void Take(const SPartVerdict& verdict) {
    const SQuantityVerdict* worst = nullptr;
    std::map<std::string, double> beyond;
    for (const SQuantityVerdict& q : verdict.quantities) {
      if (q.maxDeviation && (worst == nullptr || Excess(q) > Excess(*worst))) {
        worst = &q;
      }
      const auto judged = judged_.find(q.name);
      if (judged == judged_.end()) {
        continue;
      }
      if (q.maxDeviation && q.side == judged->second.sides[0]->side) {
        judged->second.first = judged->second.first ? judged->second.first : q;
        judged->second.last = q;
      }
      if (q.verdict == Verdict::kFail) {
        const auto [entry, isNew] = beyond.try_emplace(q.name, Excess(q));
        entry->second = std::max(entry->second, Excess(q));
      }
    }
    for (const auto& [name, excess] : beyond) {
      SJudged& judged = judged_.at(name);
      ++judged.nok;
      std::vector<SPlotMark> marks = MarksOfPart(verdict, name);
      marks.resize(std::min(marks.size(), marksPerPart_));
      judged.worst.Add(excess, std::move(marks));
    }
    TakeDefects(verdict);
    const double rank = verdict.verdict == Verdict::kFail   ? 2e300
                        : verdict.verdict == Verdict::kPass ? 0.0
                                                            : 1e300;
    parts_.Add(rank + std::clamp(worst != nullptr ? Excess(*worst) : 0.0, -4e299, 4e299),
               {verdict.part, verdict.label.value_or(""), verdict.verdict,
                worst == nullptr ? "" : worst->name + ": " + ClosestText(*worst)});
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

  void WriteCounts() {
    out_ += "<p><b>" + std::to_string(learnt_) + "</b> parts learnt, <b>" +
            std::to_string(counts_.parts) + "</b> judged: <b>" + std::to_string(counts_.ok) +
            "</b> OK, <b class=\"NOK\">" + std::to_string(counts_.nok) + " NOK</b>, <b>" +
            std::to_string(counts_.notJudged) + "</b> not judged.";
    if (counts_.good + counts_.bad > 0) {
      out_ += " False alarms: " + std::to_string(counts_.falseAlarms) + " of " +
              std::to_string(counts_.good) + " good; misses: " + std::to_string(counts_.misses) +
              " of " + std::to_string(counts_.bad) + " bad.";
    }
    out_ += "</p>\n";
  }

  void WriteFrequent() {
    if (frequent_.empty()) {
      return;
    }
    CTop<const std::pair<const FrequentKey, SFrequent>*> top(kMostFrequent);
    for (const auto& kind : frequent_) {
      top.Add(static_cast<double>(kind.second.parts), &kind);
    }
    out_ += "<h2>Most frequent defects</h2>\n";
    Note(frequent_.size(), kMostFrequent, "kinds of defects");
    Table(
        "<th class=\"n\">parts</th><th>quantity</th><th>limit</th><th>x</th>"
        "<th class=\"n\">highest priority</th>");
    for (const auto& [count, number, kind] : top.Items()) {
      const SFrequent& f = kind->second;
      const SLearntSummary& learnt = *judged_.at(std::get<0>(kind->first)).sides[0];
      std::string place;
      if (f.low <= f.high) {
        place = (f.low < f.high ? PlotNumber(f.low) + " … " : "") + WithUnit(f.high, learnt.xUnit);
      }
      Row(CountCell(static_cast<std::int64_t>(f.parts)) + Cell(Escaped(std::get<0>(kind->first))) +
          Cell(SideText(std::get<1>(kind->first))) + Cell(Escaped(place)) + CountCell(f.priority));
    }
    EndTable();
  }

  void WriteQuantities() {
    CTop<std::string> order(kMostPlots);
    for (const std::string& name : names_) {
      order.Add(static_cast<double>(judged_.at(name).nok), name);
    }
    out_ += "<h2>Quantities</h2>\n";
    Note(names_.size(), kMostPlots, "quantities, those with the most NOK parts first");
    const std::size_t plots = std::max<std::size_t>(order.Items().size(), 1);
    const std::size_t columns =
        std::clamp<std::size_t>(kCurveBytes / kColumnBytes / plots, 24, SPlot::kMostColumns);
    for (const auto& [nok, number, name] : order.Items()) {
      SJudged& judged = judged_.at(name);
      SPlot plot{judged.sides, {}, columns};
      for (const auto& [excess, place, marks] : judged.worst.Items()) {
        plot.marks.insert(plot.marks.end(), marks.begin(), marks.end());
      }
      out_ += "<section><h3>" + Escaped(name) + "</h3>\n" + DrawPlot(plot) +
              "<p class=\"hover note\"></p>\n<p class=\"note\">" + Learnt(judged) +
              "</p></section>\n";
    }
  }

  /// How much is learnt, and how the limit moved while parts were judged.
  static std::string Learnt(const SJudged& judged) {
    const SLearntSummary& learnt = *judged.sides[0];
    std::string text = std::to_string(learnt.parts) + (learnt.parts == 1 ? " part" : " parts") +
                       " learnt, effective " +
                       PlotNumber(std::round(learnt.sureness.effectiveParts * 10.0) / 10.0) + "; " +
                       std::to_string(judged.nok) +
                       (judged.nok == 1 ? " judged part NOK" : " judged parts NOK");
    if (judged.nok > kWorstParts) {
      text += ", the worst " + std::to_string(kWorstParts) + " are marked";
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
    Table("<th class=\"n\">priority</th><th>part</th><th>defect</th>");
    for (const auto& [key, number, found] : defects_.Items()) {
      Row(CountCell(found.second.priority) + Cell(Escaped(found.first)) +
          Cell(Escaped(found.second.text, 300)));
    }
    EndTable();
  }

  void WriteParts() {
    if (parts_.Count() == 0) {
      return;
    }
    out_ += "<h2>Parts</h2>\n";
    Note(parts_.Count(), kMostParts, "parts, the worst first");
    Table("<th>verdict</th><th>part</th><th>label</th><th>largest deviation</th>");
    for (const auto& [key, number, line] : parts_.Items()) {
      Row(VerdictCell(line.verdict) + Cell(Escaped(line.part)) + Cell(Escaped(line.label, 60)) +
          Cell(Escaped(line.worst, 300)));
    }
    EndTable();
  }

  void WriteRuns() {
    out_ += "<h2>History</h2>\n";
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
        Row(Cell(Escaped(run.started, 40)) + Cell(Escaped(run.command, 40)) +
            CountCell(run.learnt) + CountCell(learnt) + CountCell(run.ok) + CountCell(run.nok) +
            CountCell(run.notJudged));
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

  void Table(const char* heads) {
    out_ += std::string("<div><table><thead><tr>") + heads + "</tr></thead><tbody>\n";
  }
  void Row(const std::string& cells) { out_ += "<tr>" + cells + "</tr>\n"; }
  void EndTable() { out_ += "</tbody></table></div>\n"; }

  std::string name_;
  std::int64_t learnt_ = 0;
  std::vector<SRun> runs_;
  std::vector<SLearntSummary> summaries_;
  std::vector<std::string> names_;  ///< of the quantities, as stored
  std::map<std::string, SJudged> judged_;
  std::map<FrequentKey, SFrequent> frequent_;
  CTop<std::pair<std::string, SDefect>> defects_{kMostDefects};
  CTop<SPartLine> parts_{kMostParts};
  std::size_t marksPerPart_ = 1;
  SCounts counts_;
  std::string out_;
};

}  // namespace

std::vector<SPlotMark> MarksOfPart(const SPartVerdict& verdict, const std::string& quantity) {
  std::vector<SPlotMark> marks;
  for (const SDefect& d : verdict.defects) {
    if (d.quantity == quantity) {
      marks.push_back({verdict.part, d.place, d.value, d.from, d.to, true, d.text});
    }
  }
  for (const SQuantityVerdict& q : verdict.quantities) {
    if (marks.empty() && q.name == quantity && q.value && q.maxDeviation) {
      marks.push_back({verdict.part, q.x.value_or(0.0), *q.value, std::nullopt, std::nullopt,
                       *q.maxDeviation > 0.0, ClosestText(q)});
    }
  }
  return marks;
}

std::string HtmlReport(CStore& store) { return CPage(store).Write(); }

}  // namespace limes::host
