#include "apps/limes/report/plot.h"

#include <algorithm>
#include <cmath>

#include "apps/limes/report/markup.h"

namespace limes::host {
namespace {

// Colours of Okabe and Ito.
constexpr const char* kMeanColour = "#0072B2";
constexpr const char* kLimitColour = "#D55E00";
constexpr const char* kPartColours[] = {"#000000", "#CC79A7", "#009E73", "#E69F00", "#808080"};

std::string Labelled(const std::string& name, const std::string& unit) {
  return unit.empty() ? name : name + " [" + unit + "]";
}

SVisRange RangeOfX(const SPlot& plot, bool single) {
  const SLearntSummary& learnt = *plot.sides[0];
  SVisRange x;
  x.Add(single ? 0.0 : learnt.xFirst);
  x.Add(single ? static_cast<double>(plot.parts.size()) + 1.0 : learnt.xLast);
  if (!(x.high > x.low) || !plot.xs.empty()) {
    x.Widen(plot.xs.empty() ? 0.0 : 0.03);
  }
  return x;
}

SVisRange RangeOfY(const SPlot& plot) {
  const SLearntSummary& learnt = *plot.sides[0];
  SVisRange y;
  for (std::size_t i = 0; i < learnt.mean.size(); ++i) {
    y.Add(learnt.mean[i]);
    y.Add(double{learnt.mean[i]} + learnt.spread[i]);
    y.Add(double{learnt.mean[i]} - learnt.spread[i]);
  }
  for (const SLearntSummary* side : plot.sides) {
    std::for_each(side->limit.begin(), side->limit.end(), [&y](float limit) { y.Add(limit); });
  }
  for (const SPlotPart& part : plot.parts) {
    for (const SPlotMark& mark : part.marks) {
      y.Add(mark.value);
    }
    for (const SVisExtremes& column : part.curve) {
      y.Add(column.low);
      y.Add(column.high);
    }
  }
  y.Widen(0.05);
  return y;
}

/// Middle of the points of each column.
std::vector<double> MiddlesOfColumns(const SPlot& plot) {
  const SLearntSummary& learnt = *plot.sides[0];
  const std::size_t n = learnt.mean.size();
  std::vector<double> xs = VisMiddles(n, plot.columns);
  for (double& x : xs) {
    x = !plot.xs.empty() ? plot.xs[static_cast<std::size_t>(x)]
        : n > 1 ? learnt.xFirst + (learnt.xLast - learnt.xFirst) * x / static_cast<double>(n - 1)
                : learnt.xFirst;
  }
  return xs;
}

std::vector<SVisExtremes> Band(const SLearntSummary& learnt, std::size_t columns) {
  std::vector<float> low(learnt.mean.size());
  std::vector<float> high(learnt.mean.size());
  for (std::size_t i = 0; i < low.size(); ++i) {
    low[i] = learnt.mean[i] - learnt.spread[i];
    high[i] = learnt.mean[i] + learnt.spread[i];
  }
  std::vector<SVisExtremes> band = VisThinned(high, columns);
  const std::vector<SVisExtremes> lows = VisThinned(low, columns);
  bool any = false;
  for (std::size_t c = 0; c < band.size(); ++c) {
    band[c].low = lows[c].low;
    any |= std::isfinite(band[c].low);
  }
  return any ? band : std::vector<SVisExtremes>();
}

}  // namespace

SPlotContent::SPlotContent(const SPlot& plot) {
  const SLearntSummary& learnt = *plot.sides.at(0);
  single = learnt.kind == "value";
  dots = !plot.xs.empty();
  xName = single ? "parts" : Shortened(Labelled(plot.xName, learnt.xUnit), 60);
  yName = Shortened(Labelled(learnt.name, learnt.unit));
  x = RangeOfX(plot, single);
  y = RangeOfY(plot);
  lines.push_back({"mean", kMeanColour, 1.5, false, VisThinned(learnt.mean, plot.columns), "mean"});
  for (const SLearntSummary* side : plot.sides) {
    lines.push_back({std::string(SideText(side->side)) + " limit", kLimitColour, 2.0, true,
                     VisThinned(side->limit, plot.columns), side == plot.sides[0] ? "limit" : ""});
  }
  band = Band(learnt, plot.columns);
  xs = MiddlesOfColumns(plot);
  if (single && xs.size() == 1) {
    StretchSingle();
  }
  for (SPlotLine& line : lines) {
    line.dot = dots ? 6.0 : 0.0;
  }
  for (std::size_t i = 0; i < plot.parts.size(); ++i) {
    const SPlotPart& part = plot.parts[i];
    const std::string name = Shortened(Ending(part.name, 80));
    if (part.curve.size() == xs.size() && !single) {
      lines.push_back({name, PartColour(i), 1.2, false, part.curve, ""});
    }
    for (SPlotMark mark : part.marks) {
      mark.x = single ? static_cast<double>(i) + 1.0 : mark.x;
      mark.text = name + ": " + Shortened(mark.text);
      if (mark.from && mark.to && !single) {
        regions.push_back({std::min(*mark.from, *mark.to), std::max(*mark.from, *mark.to)});
      }
      const double margin = 0.002 * (x.high - x.low);
      if (std::isfinite(mark.value) && mark.x >= x.low - margin && mark.x <= x.high + margin) {
        const bool filled = mark.beyond;
        marks.push_back({std::move(mark), PartShape(i), PartColour(i), filled});
      }
    }
  }
}

namespace {

std::vector<SVisExtremes> Joined(const std::vector<SVisExtremes>& columns, std::size_t most) {
  std::vector<SVisExtremes> joined(std::min(columns.size(), most));
  for (std::size_t i = 0; i < columns.size(); ++i) {
    joined[i * joined.size() / columns.size()].Add(columns[i]);
  }
  return joined;
}

}  // namespace

SPlotContent SPlotContent::Coarser(std::size_t columns) const {
  SPlotContent coarser = *this;
  coarser.texts.clear();
  coarser.times.clear();
  const std::size_t most = std::max<std::size_t>(columns, 2);
  if (xs.size() <= most) {
    return coarser;
  }
  for (SPlotLine& line : coarser.lines) {
    line.columns = Joined(line.columns, most);
  }
  coarser.band = Joined(band, most);
  coarser.xs.assign(most, 0.0);
  std::vector<double> count(most, 0.0);
  for (std::size_t i = 0; i < xs.size(); ++i) {
    coarser.xs[i * most / xs.size()] += xs[i];
    count[i * most / xs.size()] += 1.0;
  }
  for (std::size_t c = 0; c < most; ++c) {
    coarser.xs[c] /= count[c];
  }
  return coarser;
}

void SPlotContent::StretchSingle() {
  xs = {x.low, x.high};
  for (SPlotLine& line : lines) {
    line.columns.push_back(line.columns[0]);
  }
  if (!band.empty()) {
    band.push_back(band[0]);
  }
}

const char* PartColour(std::size_t part) { return kPartColours[part % std::size(kPartColours)]; }

}  // namespace limes::host
