#include "apps/limes/report/svg_plot.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "limes/kernels/vector_kernels.h"
#include "limes/platform/text.h"

namespace limes::host {
namespace {

// The area inside the axes, in user units of the drawing, which is 560 wide.
constexpr double kLeft = 70.0;
constexpr double kRight = 548.0;
constexpr double kTop = 28.0;
constexpr double kBottom = 268.0;
constexpr double kRow = 20.0;

// Colours of Okabe and Ito, which colour-blind people tell apart; marks differ in shape as well.
constexpr const char* kMeanColour = "#0072B2";
constexpr const char* kBandColour = "#56B4E9";
constexpr const char* kLimitColour = "#D55E00";
constexpr const char* kPartColours[] = {"#000000", "#CC79A7", "#009E73", "#E69F00", "#808080"};

struct SRange {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();

  void Add(double value) {
    if (std::isfinite(value)) {
      low = std::min(low, value);
      high = std::max(high, value);
    }
  }

  /// Opens what is empty or a point, and leaves room for lines at the edge.
  void Widen(double share) {
    if (!(low <= high)) {
      low = 0.0;
      high = 1.0;
    }
    const double margin = high > low ? share * (high - low) : std::max(1.0, std::fabs(low) * 0.1);
    low -= margin;
    high += margin;
  }
};

/// A curve in a column of x.
struct SColumn {
  double x = 0.0;
  SExtremes y;
};

using Run = std::vector<SColumn>;

std::string Coordinate(double value, int digits = 2) {
  char text[32];
  const double shown = std::isfinite(value) ? std::clamp(value, -9999.0, 9999.0) : 0.0;
  return {text,
          std::to_chars(text, text + sizeof(text), shown, std::chars_format::fixed, digits).ptr};
}

/// A step of a path, to move ('M') or to draw ('L'). The script of a page reads the values of a
/// line off it, so y is finer than any eye.
std::string Step(char kind, double x, double y) {
  std::string step(1, kind);
  step += Coordinate(x);
  step += ',';
  step += Coordinate(y, 3);
  return step;
}

std::string Labelled(const std::string& name, const std::string& unit) {
  return unit.empty() ? name : name + " [" + unit + "]";
}

/// The end of a path tells parts apart, not its beginning.
std::string Ending(const std::string& name, std::size_t most) {
  if (name.size() <= most) {
    return name;
  }
  std::size_t first = name.size() - most;
  while (first < name.size() && (static_cast<unsigned char>(name[first]) & 0xC0) == 0x80) {
    ++first;  // not within a character
  }
  return "…" + name.substr(first);
}

class CDrawing {
 public:
  explicit CDrawing(const SPlot& plot) : plot_(plot), learnt_(*plot.sides.at(0)) {
    single_ = learnt_.kind == "value";
    FindRanges();
  }

  std::string Draw() {
    const double height = LegendTop() + kRow * static_cast<double>(plot_.parts.size()) + 10.0;
    const std::string name = Escaped(Labelled(learnt_.name, learnt_.unit));
    out_ = std::string("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 560 ") +
           Coordinate(height) + "\" width=\"560\" height=\"" + Coordinate(height) +
           "\" role=\"img\" font-family=\"sans-serif\" font-size=\"14\" fill=\"#222\" " +
           (single_     ? "data-single=\"1\" "
            : HasDots() ? "data-dots=\"1\" "
                        : "") +
           "data-x=\"" + Numbers(x_, kLeft, kRight) + "\" data-y=\"" + Numbers(y_, kBottom, kTop) +
           "\" data-x-name=\"" + XName() + "\" data-y-name=\"" + name + "\"><title>" + name +
           "</title>"
           "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>";
    DrawAxes(name);
    DrawRegions();
    DrawBand();
    DrawLine(Runs(learnt_.mean), "mean", kMeanColour, "1.5", "");
    for (const SLearntSummary* side : plot_.sides) {
      DrawLine(Runs(side->limit), std::string(SideText(side->side)) + " limit", kLimitColour, "2",
               " stroke-dasharray=\"7 3\"");
    }
    for (std::size_t i = 0; i < plot_.parts.size(); ++i) {
      DrawPart(i);
    }
    DrawLegend();
    return out_ + "</svg>\n";
  }

 private:
  std::string XName() const {
    return single_ ? "parts" : Escaped(Labelled(plot_.xName, learnt_.xUnit), 60);
  }

  bool HasDots() const { return !plot_.xs.empty(); }

  /// Single values have no numbers along x.
  double XNameTop() const { return kBottom + (single_ ? 18.0 : 36.0); }
  double LegendTop() const { return XNameTop() + 24.0; }

  /// Two values and where they are drawn, for a script that turns places into values.
  static std::string Numbers(const SRange& range, double first, double last) {
    return PlotNumber(range.low) + " " + PlotNumber(range.high) + " " + PlotNumber(first) + " " +
           PlotNumber(last);
  }

  double X(double x) const { return kLeft + (x - x_.low) / (x_.high - x_.low) * (kRight - kLeft); }
  double Y(double y) const {
    return kBottom - (y - y_.low) / (y_.high - y_.low) * (kBottom - kTop);
  }

  void FindRanges() {
    if (single_) {
      x_.Add(0.0);
      x_.Add(static_cast<double>(plot_.parts.size()) + 1.0);
    } else {
      x_.Add(learnt_.xFirst);
      x_.Add(learnt_.xLast);
    }
    if (!(x_.high > x_.low) || HasDots()) {
      x_.Widen(HasDots() ? 0.03 : 0.0);
    }
    for (std::size_t i = 0; i < learnt_.mean.size(); ++i) {
      y_.Add(learnt_.mean[i]);
      y_.Add(double{learnt_.mean[i]} + learnt_.spread[i]);
      y_.Add(double{learnt_.mean[i]} - learnt_.spread[i]);
    }
    for (const SLearntSummary* side : plot_.sides) {
      for (const float limit : side->limit) {
        y_.Add(limit);
      }
    }
    for (const SPlotPart& part : plot_.parts) {
      for (const SPlotMark& mark : part.marks) {
        y_.Add(mark.value);
      }
      for (const SExtremes& column : part.curve) {
        y_.Add(column.low);
        y_.Add(column.high);
      }
    }
    y_.Widen(0.05);
  }

  double PointX(double i, std::size_t points) const {
    return HasDots()    ? plot_.xs[static_cast<std::size_t>(i)]
           : points < 2 ? x_.low
                        : learnt_.xFirst + (learnt_.xLast - learnt_.xFirst) * i /
                                               static_cast<double>(points - 1);
  }

  /// Where the columns have values.
  std::vector<Run> Runs(const std::vector<SExtremes>& columns) const {
    std::vector<Run> runs(1);
    if (single_ && columns.size() == 1 && std::isfinite(columns[0].low)) {
      runs[0] = {{x_.low, columns[0]}, {x_.high, columns[0]}};
      return runs;
    }
    const std::size_t n = learnt_.mean.size();
    for (std::size_t c = 0; c < columns.size(); ++c) {
      if (std::isfinite(columns[c].low)) {
        const std::size_t first = c * n / columns.size();
        const std::size_t last = (c + 1) * n / columns.size();
        const double middle = (static_cast<double>(first) + static_cast<double>(last) - 1.0) / 2.0;
        runs.back().push_back({PointX(middle, n), columns[c]});
      } else if (!runs.back().empty()) {
        runs.emplace_back();
      }
    }
    return runs;
  }

  std::vector<Run> Runs(const std::vector<float>& values) const {
    return Runs(Thinned(values, plot_.columns));
  }

  void DrawAxes(const std::string& name) {
    const auto steps = [](const SRange& range) {
      const double rough = (range.high - range.low) / 5.0;
      const double ten = std::pow(10.0, std::floor(std::log10(rough)));
      return rough / ten > 5.0 ? 10.0 * ten : rough / ten > 2.0 ? 5.0 * ten : 2.0 * ten;
    };
    out_ += "<g stroke=\"#ddd\">";
    std::string texts;
    const double dy = steps(y_);
    const double firstY = std::ceil(y_.low / dy);
    for (int i = 0; i < 16 && (firstY + i) * dy <= y_.high; ++i) {
      const double y = Y((firstY + i) * dy);
      out_ += Line(kLeft, y, kRight, y);
      texts += Text(kLeft - 6.0, y + 5.0, "end", PlotNumber((firstY + i) * dy));
    }
    const double dx = steps(x_);
    const double firstX = std::ceil(x_.low / dx);
    for (int i = 0; !single_ && i < 16 && (firstX + i) * dx <= x_.high; ++i) {
      const double x = X((firstX + i) * dx);
      out_ += Line(x, kTop, x, kBottom);
      texts += Text(x, kBottom + 18.0, "middle", PlotNumber((firstX + i) * dx));
    }
    out_ += std::string("</g>") + texts +
            "<rect x=\"70\" y=\"28\" width=\"478\" height=\"240\" fill=\"none\" "
            "stroke=\"#555\"/>";
    out_ += Text(kLeft, kTop - 10.0, "start", name);
    out_ += Text(kRight, XNameTop(), "end", XName());
  }

  static std::string Line(double x0, double y0, double x1, double y1) {
    return std::string("<path d=\"") + Step('M', x0, y0) + Step('L', x1, y1) + "\"/>";
  }

  static std::string Text(double x, double y, const char* anchor, const std::string& escaped) {
    return std::string("<text x=\"") + Coordinate(x) + "\" y=\"" + Coordinate(y) +
           "\" text-anchor=\"" + anchor + "\">" + escaped + "</text>";
  }

  void DrawRegions() {
    for (const SPlotPart& part : plot_.parts) {
      for (const SPlotMark& mark : part.marks) {
        DrawRegion(mark);
      }
    }
  }

  void DrawRegion(const SPlotMark& mark) {
    if (mark.from && mark.to && !single_) {
      const double left = std::clamp(X(std::min(*mark.from, *mark.to)), kLeft, kRight);
      const double right = std::clamp(X(std::max(*mark.from, *mark.to)), kLeft, kRight);
      out_ += std::string("<rect class=\"excess\" x=\"") + Coordinate(left - 0.75) +
              "\" y=\"28\" width=\"" + Coordinate(right - left + 1.5) +
              "\" height=\"240\" fill=\"" + kLimitColour + "\" opacity=\".1\"/>";
    }
  }

  void DrawBand() {
    std::vector<float> low(learnt_.mean.size());
    std::vector<float> high(learnt_.mean.size());
    for (std::size_t i = 0; i < low.size(); ++i) {
      low[i] = learnt_.mean[i] - learnt_.spread[i];
      high[i] = learnt_.mean[i] + learnt_.spread[i];
    }
    const std::vector<Run> lows = Runs(low);
    const std::vector<Run> highs = Runs(high);
    std::string path;
    for (std::size_t r = 0; r < std::min(lows.size(), highs.size()); ++r) {
      for (std::size_t i = 0; i < highs[r].size(); ++i) {
        path += Step(i == 0 ? 'M' : 'L', X(highs[r][i].x), Y(highs[r][i].y.high));
      }
      for (std::size_t i = lows[r].size(); i-- > 0;) {
        path += Step('L', X(lows[r][i].x), Y(lows[r][i].y.low));
      }
    }
    hasBand_ = !path.empty();
    if (hasBand_) {
      out_ += std::string("<path class=\"band\" d=\"") + path + "\" fill=\"" + kBandColour +
              "\" opacity=\".4\"/>";
    }
  }

  void DrawLine(const std::vector<Run>& runs, const std::string& what, const char* colour,
                const char* width, const char* dashes) {
    std::string path;
    double before = 0.0;
    for (const Run& run : runs) {
      for (std::size_t i = 0; i < run.size(); ++i) {
        const auto [low, high] = run[i].y;
        // The end nearer to the line so far comes first, so that it does not run to and fro.
        const bool lowFirst = std::fabs(low - before) <= std::fabs(high - before);
        const float ends[] = {lowFirst ? low : high, lowFirst ? high : low};
        path += Step(i == 0 ? 'M' : 'L', X(run[i].x), Y(ends[0]));
        if (low != high) {
          path += Step('L', X(run[i].x), Y(ends[1]));
        }
        before = ends[1];
      }
      path += run.size() == 1 ? "h0" : "";
    }
    out_ += "<path class=\"line\" data-name=\"" + what + "\" d=\"" + path +
            "\" fill=\"none\" stroke-linecap=\"round\" stroke=\"" + colour + "\" stroke-width=\"" +
            width + "\"" + dashes + "/>";
    if (HasDots()) {
      DrawDots(runs, colour);
    }
  }

  void DrawDots(const std::vector<Run>& runs, const char* colour) {
    out_ += std::string("<path stroke-linecap=\"round\" stroke-width=\"6\" stroke=\"") + colour +
            "\" d=\"";
    for (const Run& run : runs) {
      for (const SColumn& column : run) {
        out_ += Step('M', X(column.x), Y(column.y.low)) + "h0";
      }
    }
    out_ += "\"/>";
  }

  static std::string Shape(std::size_t part, double x, double y, const std::string& attributes) {
    const double r = 4.5;
    std::string path;
    switch (part % 4) {
      case 0:
        return std::string("<circle cx=\"") + Coordinate(x) + "\" cy=\"" + Coordinate(y) +
               "\" r=\"4\"" + attributes;
      case 1:
        path = Step('M', x - 4, y - 4) + "h8v8h-8z";
        break;
      case 2:
        path = Step('M', x, y - r) + Step('L', x + r, y + r) + Step('L', x - r, y + r) + "z";
        break;
      default:
        path = Step('M', x, y - 6) + "l5,6l-5,6l-5,-6z";
    }
    return std::string("<path d=\"") + path + "\"" + attributes;
  }

  static const char* Colour(std::size_t part) { return kPartColours[part % 5]; }

  static std::string Paint(std::size_t part, bool filled) {
    return std::string(" fill=\"") + (filled ? Colour(part) : "#fff") + "\" stroke=\"" +
           Colour(part) + "\"";
  }

  void DrawPart(std::size_t i) {
    const SPlotPart& part = plot_.parts[i];
    if (!part.curve.empty() && !single_) {
      DrawLine(Runs(part.curve), Escaped(part.name, 80), Colour(i), "1.2", "");
    }
    for (const SPlotMark& mark : part.marks) {
      // Single values are drawn side by side.
      const double x = X(single_ ? static_cast<double>(i) + 1.0 : mark.x);
      if (!std::isfinite(mark.value) || !std::isfinite(x) || x < kLeft - 1 || x > kRight + 1) {
        continue;
      }
      const double y = Y(mark.value);
      out_ +=
          Shape(i, x, y,
                " class=\"mark\" data-shape=\"" + std::to_string(i % 4) + "\" data-at=\"" +
                    Coordinate(x) + " " + Coordinate(y, 3) + "\"" + Paint(i, mark.beyond) + ">");
      out_ += "<title>" + Escaped(part.name, 80) + ": " + Escaped(mark.text) + "</title>";
      out_ += i % 4 == 0 ? "</circle>" : "</path>";
    }
  }

  void DrawLegend() {
    double y = LegendTop();
    const auto sample = [&](double x, const char* colour, const char* more, const char* text) {
      out_ += std::string("<path d=\"") + Step('M', x, y - 5) + "h28\" stroke=\"" + colour + "\"" +
              more + "/>" + Text(x + 36, y, "start", text);
    };
    sample(kLeft, kMeanColour, " stroke-width=\"1.5\"", "mean");
    sample(kLeft + 110, kLimitColour, " stroke-width=\"2\" stroke-dasharray=\"7 3\"", "limit");
    if (hasBand_) {
      sample(kLeft + 220, kBandColour, " stroke-width=\"12\" opacity=\".4\"", "mean ± spread");
    }
    for (std::size_t i = 0; i < plot_.parts.size(); ++i) {
      const SPlotPart& part = plot_.parts[i];
      y += kRow;
      if (!part.curve.empty() && !single_) {
        sample(kLeft, Colour(i), " stroke-width=\"1.2\"", "");
      }
      const bool beyond = !part.marks.empty() && part.marks[0].beyond;
      out_ += Shape(i, kLeft + 14, y - 5, Paint(i, beyond) + "/>");
      out_ += Text(kLeft + 36, y, "start", Escaped(Ending(part.name, 56)));
    }
  }

  const SPlot& plot_;
  const SLearntSummary& learnt_;
  bool single_ = false;
  bool hasBand_ = false;
  SRange x_;
  SRange y_;
  std::string out_;
};

/// Whether XML has no such character.
bool IsNoCharacter(char16_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || c >= 0xFFFE || (c >= 0x202A && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x2069);
}

}  // namespace

std::string Escaped(std::string_view text, std::size_t most) {
  const bool cut = text.size() > most;
  std::size_t end = std::min(text.size(), most);
  while (cut && end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
    --end;  // not within a character
  }
  std::u16string wide = Utf8ToWide(std::string(text.substr(0, end)));
  std::replace_if(wide.begin(), wide.end(), IsNoCharacter, u'\uFFFD');
  std::string escaped;
  for (const char c : WideToUtf8(wide)) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += c;
    }
  }
  return cut ? escaped + "…" : escaped;
}

std::string PlotNumber(double value) {
  char text[40];
  // A step of an axis that ends at zero may miss it by a rounding.
  const double shown = std::fabs(value) < 1e-300 ? 0.0 : value;
  return {text, std::to_chars(text, text + sizeof(text), shown, std::chars_format::general, 6).ptr};
}

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

std::string DrawPlot(const SPlot& plot) { return CDrawing(plot).Draw(); }

}  // namespace limes::host
