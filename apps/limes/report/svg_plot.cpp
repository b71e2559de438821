#include "apps/limes/report/svg_plot.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

#include "apps/limes/errors.h"
#include "apps/limes/report/markup.h"
#include "apps/limes/report/plot_values.h"
#include "limes/display/vis_axis.h"
#include "limes/display/vis_data_polygon.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

// The area inside the axes, in user units of the drawing, which is 560 wide.
constexpr double kLeft = 70.0;
constexpr double kRight = 548.0;
constexpr double kTop = 28.0;
constexpr double kBottom = 268.0;
constexpr double kRow = 20.0;
constexpr double kEntry = 110.0;  ///< of the legend's first row

constexpr const char* kBandColour = "#56B4E9";

}  // namespace

std::string SvgNumber(double value) {
  char text[32];
  const double shown = std::isfinite(value) ? std::clamp(value, -9999.0, 9999.0) : 0.0;
  return {text, std::to_chars(text, text + sizeof(text), shown, std::chars_format::fixed, 2).ptr};
}

std::string SvgText(double x, double y, const char* anchor, const std::string& text) {
  return "<text x=\"" + SvgNumber(x) + "\" y=\"" + SvgNumber(y) + "\" text-anchor=\"" + anchor +
         "\">" + Markup(text) + "</text>";
}

namespace {

/// A step of a path, to move ('M') or to draw ('L').
std::string Step(char kind, double x, double y) {
  return std::string(1, kind) + SvgNumber(x) + "," + SvgNumber(y);
}

std::string Rectangle(double left, double right, const std::string& attributes) {
  return "<rect x=\"" + SvgNumber(left) + "\" y=\"" + SvgNumber(kTop) + "\" width=\"" +
         SvgNumber(right - left) + "\" height=\"" + SvgNumber(kBottom - kTop) + "\" " + attributes +
         "/>";
}

/// A mark around a place, without the end of its element.
std::string Shape(std::size_t shape, const std::string& colour, double x, double y, bool filled) {
  std::string path;
  switch (shape) {
    case 0:
      path = Step('M', x - 4, y) + "a4,4 0 1 0 8,0a4,4 0 1 0 -8,0z";
      break;
    case 1:
      path = Step('M', x - 4, y - 4) + "h8v8h-8z";
      break;
    case 2:
      path = Step('M', x, y - 4.5) + "l4.5,9h-9z";
      break;
    case kShapeDown:
      path = Step('M', x, y + 4.5) + "l4.5,-9h-9z";
      break;
    default:
      path = Step('M', x, y - 6) + "l5,6l-5,6l-5,-6z";
  }
  return "<path d=\"" + path + "\" fill=\"" + (filled ? colour : "#fff") + "\" stroke=\"" + colour +
         "\"";
}

class CDrawing {
 public:
  CDrawing(const std::vector<SPlotPart>& parts, SPlotContent content)
      : parts_(parts),
        content_(std::move(content)),
        x_(content_.x, kLeft, kRight),
        y_(content_.y, kBottom, kTop) {}

  std::string Draw() {
    const double height = LegendTop() + kRow * static_cast<double>(parts_.size()) + 10.0;
    out_ = kPlotMark + std::string("xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 560 ") +
           SvgNumber(height) + "\" width=\"560\" height=\"" + SvgNumber(height) +
           "\" role=\"img\" font-family=\"sans-serif\" font-size=\"14\" fill=\"#222\"><title>" +
           Markup(content_.yName) + "</title><rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>";
    DrawAxes();
    for (const SVisRange& region : content_.regions) {
      out_ += Rectangle(x_.PlaceInside(region.low) - 0.75, x_.PlaceInside(region.high) + 0.75,
                        "fill=\"" + content_.lines[1].colour + "\" opacity=\".1\"");
    }
    DrawBand();
    for (const SPlotLine& line : content_.lines) {
      if (line.joined) {
        DrawLine(line);
      }
      DrawDots(line);
    }
    DrawMarks();
    DrawLegend();
    return out_ + "</svg>\n";
  }

 private:
  /// Single values have no numbers along x.
  double XNameTop() const { return kBottom + (content_.single ? 18.0 : 36.0); }
  double LegendTop() const { return XNameTop() + 24.0; }

  double XOf(std::size_t column) const { return x_.PlaceOf(content_.xs[column]); }

  void DrawAxes() {
    std::string texts;
    out_ += "<g stroke=\"#ddd\">";
    for (const auto& tick : y_.Ticks()) {
      out_ += "<path d=\"" + Step('M', kLeft, tick.place) + Step('L', kRight, tick.place) + "\"/>";
      texts += SvgText(kLeft - 6.0, tick.place + 5.0, "end", tick.text);
    }
    for (const auto& tick : content_.single ? std::vector<CVisAxis::STick>() : x_.Ticks()) {
      out_ += "<path d=\"" + Step('M', tick.place, kTop) + Step('L', tick.place, kBottom) + "\"/>";
      texts += SvgText(tick.place, kBottom + 18.0, "middle", tick.text);
    }
    out_ += "</g>" + texts + Rectangle(kLeft, kRight, "fill=\"none\" stroke=\"#555\"");
    out_ += SvgText(kLeft, kTop - 10.0, "start", content_.yName);
    out_ += SvgText(kRight, XNameTop(), "end", content_.xName);
  }

  /// The steps of a line; a point alone is a dot.
  static std::string Path(const VisRun& run) {
    std::string path = Step('M', run[0].x, run[0].y);
    path += run.size() == 1 || run[1].x != run[0].x ? "h0" : "";
    for (std::size_t i = 1; i < run.size(); ++i) {
      path += Step('L', run[i].x, run[i].y);
    }
    return path;
  }

  void DrawBand() {
    std::string path;
    for (const VisRun& run : VisBand(content_.xs, content_.band, x_, y_)) {
      path += Path(run);
    }
    if (!path.empty()) {
      out_ +=
          "<path class=\"band\" d=\"" + path + "\" fill=\"" + kBandColour + "\" opacity=\".4\"/>";
    }
  }

  void DrawLine(const SPlotLine& line) {
    std::string path;
    for (const VisRun& run : VisLine(content_.xs, line.columns, x_, y_)) {
      path += Path(run);
    }
    out_ += "<path class=\"line\" data-name=\"" + Markup(line.name) + "\" d=\"" + path +
            "\" fill=\"none\" stroke-linecap=\"round\"" + Stroke(line) + "/>";
  }

  static std::string Stroke(const SPlotLine& line) {
    if (!line.joined) {
      return " stroke=\"" + line.colour + "\" stroke-linecap=\"round\" stroke-width=\"" +
             NumberText(line.dot) + "\" stroke-dasharray=\"0 9\"";
    }
    return " stroke=\"" + line.colour + "\" stroke-width=\"" + NumberText(line.width) + "\"" +
           (line.dashed ? " stroke-dasharray=\"7 3\"" : "");
  }

  void DrawDots(const SPlotLine& line) {
    std::string path;
    for (std::size_t c = 0; line.dot > 0.0 && c < line.columns.size(); ++c) {
      if (std::isfinite(line.columns[c].low)) {
        path += Step('M', XOf(c), y_.PlaceOf(line.columns[c].low)) + "h0";
      }
    }
    if (!path.empty()) {
      out_ += "<path stroke-linecap=\"round\" stroke-width=\"" + NumberText(line.dot) +
              "\" stroke=\"" + line.colour + "\" d=\"" + path + "\"/>";
    }
  }

  void DrawMarks() {
    for (const auto& [mark, shape, colour, filled] : content_.marks) {
      out_ += Shape(shape, colour, x_.PlaceOf(mark.x), y_.PlaceOf(mark.value), filled) +
              " class=\"mark\"><title>" + Markup(mark.text, 500) + "</title></path>";
    }
  }

  void DrawLegend() {
    double y = LegendTop();
    const auto sample = [&](double x, const std::string& stroke, const std::string& text) {
      out_ += "<path d=\"" + Step('M', x, y - 5) + "h28\"" + stroke + "/>" +
              SvgText(x + 36, y, "start", text);
    };
    double x = kLeft;
    for (const SPlotLine& line : content_.lines) {
      if (!line.legend.empty()) {
        sample(x, Stroke(line), line.legend);
        x += std::max(kEntry, 50.0 + 8.0 * static_cast<double>(line.legend.size()));
      }
    }
    if (!content_.band.empty()) {
      sample(x, std::string(" stroke=\"") + kBandColour + "\" stroke-width=\"12\" opacity=\".4\"",
             "mean ± spread");
    }
    for (std::size_t i = 0; i < parts_.size(); ++i) {
      const SPlotPart& part = parts_[i];
      y += kRow;
      if (!part.curve.empty() && !content_.single) {
        sample(kLeft, std::string(" stroke=\"") + PartColour(i) + "\" stroke-width=\"1.2\"", "");
      }
      const bool beyond = !part.marks.empty() && part.marks[0].beyond;
      out_ += Shape(PartShape(i), PartColour(i), kLeft + 14, y - 5, beyond) + "/>";
      out_ += SvgText(kLeft + 36, y, "start", Ending(part.name, 56));
    }
  }

  const std::vector<SPlotPart>& parts_;
  const SPlotContent content_;
  CVisAxis x_;
  CVisAxis y_;
  std::string out_;
};

}  // namespace

std::string DrawPlot(const SPlot& plot) {
  const SPlotContent content(plot);
  return CDrawing(plot.parts, content).Draw();
}

std::string DrawPlot(const SPlotContent& content) {
  const std::vector<SPlotPart> none;
  return CDrawing(none, content).Draw();
}

namespace {

std::string OnPage(const std::vector<SPlotPart>& parts, const SPlotContent& content,
                   std::size_t drawn) {
  return CDrawing(parts, content.Coarser(drawn)).Draw() + PlotValues(content, kLeft, kRight) +
         "<p class=\"hover note\"></p>\n";
}

}  // namespace

std::string PlotOnPage(const SPlot& plot) { return PlotOnPage(plot, ""); }

std::string PlotOnPage(const SPlot& plot, const std::string& like) {
  SPlotContent content(plot);
  content.like = like;
  content.shared = 1 + plot.sides.size();
  return OnPage(plot.parts, content, plot.drawn);
}

std::string PlotOnPage(const SPlotContent& content, std::size_t drawn) {
  const std::vector<SPlotPart> none;
  return OnPage(none, content, drawn);
}

}  // namespace limes::host
