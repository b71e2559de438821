#include "apps/limes/report/plot.h"

#include <algorithm>
#include <cmath>

#include "apps/limes/report/markup.h"
#include "limes/kernels/vector_kernels.h"

namespace limes::host {
namespace {

// Colours of Okabe and Ito.
constexpr const char* kMeanColour = "#0072B2";
constexpr const char* kLimitColour = "#D55E00";
constexpr const char* kPartColours[] = {"#000000", "#CC79A7", "#009E73", "#E69F00", "#808080"};

std::string Labelled(const std::string& name, const std::string& unit) {
  return unit.empty() ? name : name + " [" + unit + "]";
}

SRange RangeOfX(const SPlot& plot, bool single) {
  const SLearntSummary& learnt = *plot.sides[0];
  SRange x;
  x.Add(single ? 0.0 : learnt.xFirst);
  x.Add(single ? static_cast<double>(plot.parts.size()) + 1.0 : learnt.xLast);
  if (!(x.high > x.low) || !plot.xs.empty()) {
    x.Widen(plot.xs.empty() ? 0.0 : 0.03);
  }
  return x;
}

SRange RangeOfY(const SPlot& plot) {
  const SLearntSummary& learnt = *plot.sides[0];
  SRange y;
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
    for (const SExtremes& column : part.curve) {
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
  const std::size_t columns = std::min(n, std::max<std::size_t>(plot.columns, 2));
  std::vector<double> xs(columns, learnt.xFirst);
  for (std::size_t c = 0; c < columns && n > 1; ++c) {
    const std::size_t first = c * n / columns;
    const std::size_t last = (c + 1) * n / columns;
    const double middle = (static_cast<double>(first) + static_cast<double>(last) - 1.0) / 2.0;
    xs[c] = plot.xs.empty() ? learnt.xFirst + (learnt.xLast - learnt.xFirst) * middle /
                                                  static_cast<double>(n - 1)
                            : plot.xs[static_cast<std::size_t>(middle)];
  }
  return xs;
}

std::vector<SExtremes> Band(const SLearntSummary& learnt, std::size_t columns) {
  std::vector<float> low(learnt.mean.size());
  std::vector<float> high(learnt.mean.size());
  for (std::size_t i = 0; i < low.size(); ++i) {
    low[i] = learnt.mean[i] - learnt.spread[i];
    high[i] = learnt.mean[i] + learnt.spread[i];
  }
  std::vector<SExtremes> band = Thinned(high, columns);
  const std::vector<SExtremes> lows = Thinned(low, columns);
  bool any = false;
  for (std::size_t c = 0; c < band.size(); ++c) {
    band[c].low = lows[c].low;
    any |= std::isfinite(band[c].low);
  }
  return any ? band : std::vector<SExtremes>();
}

}  // namespace

void SRange::Add(double value) {
  if (std::isfinite(value)) {
    low = std::min(low, value);
    high = std::max(high, value);
  }
}

void SRange::Widen(double share) {
  if (!(low <= high)) {
    low = 0.0;
    high = 1.0;
  }
  const double margin = high > low ? share * (high - low) : std::max(1.0, std::fabs(low) * 0.1);
  low -= margin;
  high += margin;
}

SPlotContent::SPlotContent(const SPlot& plot) {
  const SLearntSummary& learnt = *plot.sides.at(0);
  single = learnt.kind == "value";
  dots = !plot.xs.empty();
  xName = single ? "parts" : Shortened(Labelled(plot.xName, learnt.xUnit), 60);
  yName = Shortened(Labelled(learnt.name, learnt.unit));
  x = RangeOfX(plot, single);
  y = RangeOfY(plot);
  lines.push_back({"mean", kMeanColour, 1.5, false, Thinned(learnt.mean, plot.columns), "mean"});
  for (const SLearntSummary* side : plot.sides) {
    lines.push_back({std::string(SideText(side->side)) + " limit", kLimitColour, 2.0, true,
                     Thinned(side->limit, plot.columns), side == plot.sides[0] ? "limit" : ""});
  }
  band = Band(learnt, plot.columns);
  xs = MiddlesOfColumns(plot);
  if (single && xs.size() == 1) {
    StretchSingle();
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
        marks.push_back({i, std::move(mark)});
      }
    }
  }
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

std::vector<SExtremes> Thinned(const std::vector<float>& values, std::size_t columns) {
  const std::size_t n = values.size();
  std::vector<SExtremes> extremes(std::min(n, std::max<std::size_t>(columns, 2)));
  std::vector<float> kept;
  for (std::size_t c = 0; c < extremes.size(); ++c) {
    const auto at = [&](std::size_t column) {
      return values.begin() + static_cast<std::ptrdiff_t>(column * n / extremes.size());
    };
    kept.clear();
    std::copy_if(at(c), at(c + 1), std::back_inserter(kept),
                 [](float value) { return std::isfinite(value); });
    float ends[2] = {std::nanf(""), std::nanf("")};
    if (kept.size() == 1) {
      ends[0] = ends[1] = kept[0];
    } else if (!kept.empty()) {
      DVL::DownsamlingMinMax(kept.data(), static_cast<std::uint32_t>(kept.size()), 1, ends, 2,
                             1.0F);
    }
    extremes[c] = {ends[0], ends[1]};
  }
  return extremes;
}

}  // namespace limes::host
