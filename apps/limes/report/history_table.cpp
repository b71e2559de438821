#include "apps/limes/report/history_table.h"

#include <algorithm>
#include <cmath>

#include "apps/limes/measurement/number_text.h"
#include "apps/limes/report/markup.h"
#include "apps/limes/report/report_texts.h"
#include "apps/limes/report/svg_plot.h"

namespace limes::host {
namespace {

constexpr std::size_t kMostRuns = 12;   ///< per quantity and side
constexpr std::size_t kMostRows = 400;  ///< together
constexpr std::size_t kMostPlots = 100;
constexpr std::size_t kPlotBytes = 2000;  ///< but for its points
constexpr std::size_t kRunBytes = 120;    ///< of a run in a plot: mean and two limits, with dots

std::string Number(const std::optional<double>& value) {
  return "<td class=\"n\">" + (value ? Brief(*value) : "–") + "</td>";
}

/// What moved since the run before.
std::string Drift(const std::optional<double>& now, const std::optional<double>& before) {
  if (!now || !before) {
    return Number(std::nullopt);
  }
  const double drift = *now - *before;
  return std::string("<td class=\"n\">") +
         (drift > 0.0   ? "+"
          : drift < 0.0 ? "-"
                        : "") +
         Brief(std::fabs(drift)) + "</td>";
}

const SLearntSummary* Find(const std::vector<SLearntSummary>& summaries, const std::string& name) {
  const auto found = std::find_if(summaries.begin(), summaries.end(),
                                  [&name](const SLearntSummary& s) { return s.name == name; });
  return found == summaries.end() ? nullptr : &*found;
}

bool IsSame(const SHistory& a, const SHistory& b) {
  return a.quantity == b.quantity && a.side == b.side;
}

/// Evenly chosen ones, the first and the last among them.
void Choose(std::vector<const SHistory*>& runs, std::size_t most) {
  const std::size_t n = runs.size();
  for (std::size_t i = 0; n > most && i < most; ++i) {
    runs[i] = runs[i * (n - 1) / (most - 1)];
  }
  runs.resize(std::min(n, most));
}

/// Mean and limits over the parts learnt.
class CDrift {
 public:
  explicit CDrift(const SLearntSummary* learnt) : learnt_(learnt) {}

  void Add(const SHistory& history) {
    (history.side == Side::kUpper ? upper_ : lower_).push_back(&history);
  }

  std::string Section(std::size_t mostRuns) {
    if (upper_.size() != lower_.size() && !upper_.empty()) {
      lower_.clear();  // a store changed by other hands
    }
    const std::size_t runs = std::max(upper_.size(), lower_.size());
    if (runs < 2) {
      return "";
    }
    SPlot plot;
    plot.xName = "parts learnt";
    std::vector<SLearntSummary> sides;
    for (std::vector<const SHistory*>* side : {&upper_, &lower_}) {
      Choose(*side, mostRuns);
      if (!side->empty()) {
        sides.push_back(Line(*side));
      }
    }
    for (const SHistory* history : upper_.empty() ? lower_ : upper_) {
      plot.xs.push_back(static_cast<double>(history->learnt));
    }
    const auto [least, most] = std::minmax_element(plot.xs.begin(), plot.xs.end());
    for (SLearntSummary& side : sides) {
      side.xFirst = *least;
      side.xLast = *most;
      plot.sides.push_back(&side);
    }
    return "<section><h3>" + Markup(learnt_->name) + "</h3>\n" + PlotOnPage(plot) +
           (runs > mostRuns ? "<p class=\"note\">" + std::to_string(mostRuns) + " of " +
                                  std::to_string(runs) + " runs are drawn.</p>"
                            : "") +
           "</section>\n";
  }

 private:
  SLearntSummary Line(const std::vector<const SHistory*>& runs) const {
    SLearntSummary line;
    line.name = (learnt_->kind == "value" ? "" : "average ") + learnt_->name;
    line.unit = learnt_->unit;
    line.side = runs[0]->side;
    line.kind = "curve";
    const auto value = [](const std::optional<double>& number) {
      return static_cast<float>(number.value_or(std::nan("")));
    };
    for (const SHistory* run : runs) {
      line.mean.push_back(value(run->mean));
      line.limit.push_back(value(run->limit));
    }
    line.spread.assign(runs.size(), std::nanf(""));
    return line;
  }

  const SLearntSummary* learnt_;
  std::vector<const SHistory*> upper_;
  std::vector<const SHistory*> lower_;
};

std::string Plots(const std::vector<SHistory>& history,
                  const std::vector<SLearntSummary>& summaries, std::size_t bytes) {
  std::vector<std::pair<std::string, CDrift>> drifts;  // as stored
  for (const SHistory& run : history) {
    const SLearntSummary* learnt = Find(summaries, run.quantity);
    if (learnt == nullptr) {
      continue;
    }
    if (drifts.empty() || drifts.back().first != run.quantity) {
      if (drifts.size() == kMostPlots) {
        break;
      }
      drifts.emplace_back(run.quantity, CDrift(learnt));
    }
    drifts.back().second.Add(run);
  }
  const std::size_t each = bytes / std::max<std::size_t>(drifts.size(), 1);
  const std::size_t runs =
      std::clamp<std::size_t>((each - std::min(each, kPlotBytes)) / kRunBytes, 8, 200);
  std::string out;
  for (auto& [name, drift] : drifts) {
    out += drift.Section(runs);
  }
  return out.empty() ? "" : "<div class=\"plots\">\n" + out + "</div>\n";
}

}  // namespace

std::string LearningHistory(const std::vector<SHistory>& history,
                            const std::vector<SLearntSummary>& summaries, std::size_t plotBytes) {
  if (history.empty()) {
    return "";
  }
  std::string out =
      "<h2>Learning history</h2>\n<p class=\"note\">After each run that learnt; of curves the "
      "averages over x. Drifts are those since the run before.</p>\n" +
      Plots(history, summaries, plotBytes) +
      "<div class=\"table\"><table><thead><tr><th>quantity</th><th>limit</th><th>run started "
      "(UTC)</th>"
      "<th class=\"n\">parts</th><th class=\"n\">mean</th><th class=\"n\">drift</th>"
      "<th class=\"n\">limit</th><th class=\"n\">drift</th></tr></thead><tbody>\n";
  std::size_t rows = 0;
  for (std::size_t i = 0; i < history.size() && rows < kMostRows; ++i) {
    const SHistory& now = history[i];
    const auto isSame = [&now](const SHistory& other) { return IsSame(now, other); };
    const auto here = history.begin() + static_cast<std::ptrdiff_t>(i);
    const std::size_t window = 2 * kMostRuns + 2;  // both sides of a run lie side by side
    const auto end =
        history.size() - i > window ? here + static_cast<std::ptrdiff_t>(window) : history.end();
    if (static_cast<std::size_t>(std::count_if(here, end, isSame)) > kMostRuns) {
      continue;
    }
    const auto first = i > 2 ? here - 2 : history.begin();
    const auto before =
        std::find_if(std::make_reverse_iterator(here), std::make_reverse_iterator(first), isSame);
    const bool known = before != std::make_reverse_iterator(first);
    const SLearntSummary* learnt = Find(summaries, now.quantity);
    const std::string unit =
        learnt == nullptr || learnt->unit.empty() ? "" : " [" + learnt->unit + "]";
    out += "<tr><td class=\"q\">" + Markup(now.quantity + unit) + "</td><td>" + SideText(now.side) +
           "</td><td class=\"w\">" + Markup(TimeText(now.started), 40) + "</td><td class=\"n\">" +
           std::to_string(now.learnt) + "</td>" + Number(now.mean) +
           Drift(now.mean, known ? before->mean : std::nullopt) + Number(now.limit) +
           Drift(now.limit, known ? before->limit : std::nullopt) + "</tr>\n";
    ++rows;
  }
  return out + "</tbody></table></div>\n" +
         (rows == kMostRows
              ? "<p class=\"note\">The first " + std::to_string(kMostRows) + " lines.</p>\n"
              : "");
}

}  // namespace limes::host
