#include "apps/limes/report/margin_charts.h"

#include <algorithm>
#include <cmath>

#include "apps/limes/measurement/number_text.h"
#include "apps/limes/report/markup.h"
#include "apps/limes/report/svg_plot.h"
#include "limes/display/vis_axis.h"

namespace limes::host {
namespace {

constexpr const char* kInside = "#0072B2";
constexpr const char* kBeyond = "#D55E00";
constexpr double kDot = 5.0;
constexpr std::size_t kMostBars = 48;

std::string DistanceText(double margin) {
  if (margin <= CMarginRun::kWithoutSpread) {
    return "beyond, where good parts do not vary";
  }
  return Brief(std::fabs(margin)) + " spreads " + (margin < 0.0 ? "beyond" : "within");
}

/// The parts on one side of the limit, in columns; NaN where a column has none.
SPlotLine Dots(const char* name, const char* colour, std::vector<SVisExtremes> columns) {
  return {name, colour, 1.0, false, std::move(columns), name, false, kDot};
}

}  // namespace

SPlotContent MarginsOverParts(const CMarginRun& run, bool named) {
  SPlotContent content;
  content.dots = true;
  content.fixed = true;
  content.xName = "parts, in the order of judging";
  content.yName = "distance to limit [spreads]";
  const std::size_t n = run.Points().size();
  std::vector<SVisExtremes> inside(n);
  std::vector<SVisExtremes> beyond(n);
  content.y.Add(run.ShownTo());
  content.y.Add(run.ShownFrom());
  SVisRange edges = content.y;  // where marks lie
  edges.Widen(0.03);
  content.y.Widen(0.08);
  bool timed = named && n > 0;
  for (std::size_t i = 0; i < n; ++i) {
    const CMarginRun::SPoint& point = run.Points()[i];
    content.xs.push_back(static_cast<double>(point.number));
    content.x.Add(content.xs.back());
    timed = timed && point.at;
    const auto margin = static_cast<float>(point.margin);
    const std::string text = Shortened(Ending(point.part, 60));
    if (point.margin < run.ShownFrom()) {
      SPlotMark mark;
      mark.x = content.xs.back();
      mark.value = edges.low;
      mark.text = text + ": " + DistanceText(point.margin) + ", below this picture";
      content.marks.push_back({std::move(mark), kShapeDown, kBeyond, true});
    } else {
      (point.beyond ? beyond : inside)[i] = {margin, margin};
    }
    if (named) {
      content.texts.push_back(text);
    }
  }
  for (std::size_t i = 0; timed && i < n; ++i) {
    content.times.push_back(static_cast<double>(*run.Points()[i].at) / 1000.0);
  }
  for (const CMarginRun::SAlarm& alarm : run.Alarms()) {
    SPlotMark mark;
    mark.x = static_cast<double>(alarm.number);
    mark.value = edges.high;
    mark.text = Shortened(alarm.text);
    content.marks.push_back({std::move(mark), kShapeUp, "#000000", true});
  }
  content.x.Widen(0.02);
  content.lines.push_back(
      {"limit", kBeyond, 2.0, true, std::vector<SVisExtremes>(n, {0.0F, 0.0F}), "limit"});
  content.lines.push_back(Dots("inside", kInside, std::move(inside)));
  content.lines.push_back(Dots("beyond", kBeyond, std::move(beyond)));
  return content;
}

std::string MarginsText(const CMarginRun& run) {
  return std::to_string(run.Count()) + (run.Count() == 1 ? " part" : " parts") + ", " +
         std::to_string(run.Beyond()) + " beyond the limit" +
         (run.Each() > 1 ? "; each point is the smallest distance of " +
                               std::to_string(run.Each()) + " that follow each other"
                         : "") +
         ". A spread is the standard deviation of the good parts at the point "
         "that decides; below 0 a part is beyond the limit." +
         (run.Points().empty() || run.ShownFrom() <= run.Least()
              ? ""
              : " ▼ marks parts further beyond than the picture shows.") +
         (run.Alarms().empty() ? "" : " ▲ marks a drift alarm.");
}

namespace {

constexpr double kLeft = 70.0;
constexpr double kRight = 548.0;
constexpr double kTop = 28.0;
constexpr double kBottom = 188.0;

class CHistogram {
 public:
  explicit CHistogram(const CMarginRun& run)
      : bars_(run.Bars(run.ShownFrom(), kMostBars, width_)), below_(run.Count()) {
    for (const CMarginRun::SBar& bar : bars_) {
      below_ -= bar.parts;
      most_ = std::max(most_, bar.parts);
    }
    most_ = std::max(most_, below_);
  }

  std::string Draw() {
    const double first = bars_.empty() ? 0.0 : std::min(bars_.front().low, 0.0);
    const double last = bars_.empty() ? 1.0 : std::max(bars_.back().low + width_, width_);
    // A bar and a gap on the left are for those further beyond.
    const CVisAxis x({below_ > 0 ? first - 2.5 * width_ : first - width_, last}, kLeft, kRight);
    const CVisAxis y({0.0, static_cast<double>(most_)}, kBottom, kTop);
    out_ = kPlotMark +
           std::string(
               "xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 560 240\" width=\"560\" "
               "height=\"240\" role=\"img\" font-family=\"sans-serif\" font-size=\"14\" "
               "fill=\"#222\"><title>parts over their distance to the limit</title>"
               "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>");
    DrawAxes(x, y, first);
    for (const CMarginRun::SBar& bar : bars_) {
      const std::string text = Brief(bar.low) + " … " + Brief(bar.low + width_) + " spreads";
      DrawBar(x, y, bar.low, bar.parts, bar.low < 0.0, text);
    }
    if (below_ > 0) {
      DrawBar(x, y, first - 2.0 * width_, below_, true, "further beyond the limit");
      out_ += SvgText(x.PlaceOf(first - 1.5 * width_), kBottom + 18.0, "middle", "…");
    }
    const double limit = x.PlaceOf(0.0);
    out_ += "<path d=\"M" + SvgNumber(limit) + "," + SvgNumber(kTop) + "V" + SvgNumber(kBottom) +
            "\" stroke=\"" + kBeyond + "\" stroke-width=\"2\" stroke-dasharray=\"7 3\"/>" +
            SvgText(limit + 4.0, kTop + 12.0, "start", "limit");
    return out_ + "</svg>\n";
  }

 private:
  void DrawAxes(const CVisAxis& x, const CVisAxis& y, double first) {
    for (const CVisAxis::STick& tick : y.Ticks(4)) {
      if (tick.value == std::round(tick.value)) {
        out_ += "<path stroke=\"#ddd\" d=\"M" + SvgNumber(kLeft) + "," + SvgNumber(tick.place) +
                "H" + SvgNumber(kRight) + "\"/>" +
                SvgText(kLeft - 6.0, tick.place + 5.0, "end", tick.text);
      }
    }
    for (const CVisAxis::STick& tick : x.Ticks(6)) {
      if (tick.value >= first) {
        out_ += SvgText(tick.place, kBottom + 18.0, "middle", tick.text);
      }
    }
    out_ += SvgText(kLeft, kTop - 10.0, "start", "parts") +
            SvgText(kRight, kBottom + 38.0, "end", "distance to the limit [spreads]");
  }

  /// One part is seen, too.
  void DrawBar(const CVisAxis& x, const CVisAxis& y, double low, std::uint64_t parts, bool beyond,
               const std::string& text) {
    if (parts == 0) {
      return;
    }
    const double top = std::min(y.PlaceOf(static_cast<double>(parts)), kBottom - 1.5);
    out_ += "<rect x=\"" + SvgNumber(x.PlaceOf(low) + 0.5) + "\" y=\"" + SvgNumber(top) +
            "\" width=\"" + SvgNumber(x.PlaceOf(low + width_) - x.PlaceOf(low) - 1.0) +
            "\" height=\"" + SvgNumber(kBottom - top) + "\" fill=\"" +
            (beyond ? kBeyond : kInside) + "\"><title>" + text + ": " + std::to_string(parts) +
            (parts == 1 ? " part" : " parts") + "</title></rect>";
  }

  double width_ = 1.0;
  std::vector<CMarginRun::SBar> bars_;
  std::uint64_t below_;
  std::uint64_t most_ = 1;
  std::string out_;
};

}  // namespace

std::string MarginHistogram(const CMarginRun& run) { return CHistogram(run).Draw(); }

}  // namespace limes::host
