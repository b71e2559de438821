#include "apps/limes/history_table.h"

#include <algorithm>

#include "apps/limes/svg_plot.h"

namespace limes::host {
namespace {

constexpr std::size_t kMostRuns = 12;   ///< per quantity and side
constexpr std::size_t kMostRows = 400;  ///< together

std::string Number(const std::optional<double>& value) {
  return "<td class=\"n\">" + (value ? PlotNumber(*value) : "–") + "</td>";
}

/// What moved since the run before.
std::string Drift(const std::optional<double>& now, const std::optional<double>& before) {
  if (!now || !before) {
    return Number(std::nullopt);
  }
  const double drift = *now - *before;
  return std::string("<td class=\"n\">") + (drift > 0.0 ? "+" : "") + PlotNumber(drift) + "</td>";
}

bool IsSame(const SHistory& a, const SHistory& b) {
  return a.quantity == b.quantity && a.side == b.side;
}

}  // namespace

std::string HistoryTable(const std::vector<SHistory>& history) {
  if (history.empty()) {
    return "";
  }
  std::string out =
      "<h2>Learning history</h2>\n<p class=\"note\">After each run that learnt; of curves the "
      "averages over x. Drifts are those since the run before.</p>\n<div "
      "class=\"table\"><table><thead><tr><th>quantity</th><th>limit</th><th>run started (UTC)</th>"
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
    out += "<tr><td class=\"t\">" + Escaped(now.quantity) + "</td><td>" + SideText(now.side) +
           "</td><td>" + Escaped(now.started, 40) + "</td><td class=\"n\">" +
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
