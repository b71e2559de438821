// Draws the pictures of docs/pictures.md with the library itself: what polylines, runs of pairs and
// kernels make of a signal. usage: example_pictures [FOLDER]

#include <cmath>
#include <cstdio>
#include <span>
#include <string>
#include <vector>

#include "limes/limes.h"

namespace {

using Points = std::vector<limes::SPolygonPoint>;

constexpr const char* kGrey = "#9a9a9a";
constexpr const char* kBlue = "#0072b2";
constexpr const char* kOrange = "#d55e00";

/// Panels side by side, each with an x range of its own and y from 0 to 1.
class CPicture {
 public:
  /// The next panel shows x from x0 to x1.
  void Panel(const char* title, double x0, double x1) {
    x0_ = x0;
    scale_ = kWidth / (x1 - x0);
    left_ = kGap + panels_ * (kWidth + kGap);
    ++panels_;
    Add("<rect x='%.0f' y='24' width='%.0f' height='%.0f' fill='none' stroke='#ccc'/>\n", left_,
        kWidth, kHeight);
    Add("<text x='%.0f' y='16'>%s</text>\n", left_, title);
  }

  void Line(std::span<const limes::SPolygonPoint> points, const char* colour, bool dots = false) {
    Add("<polyline fill='none' stroke='%s' stroke-width='1.5' points='", colour);
    for (const auto& [x, y] : points) {
      Add("%.1f,%.1f ", X(x), Y(y));
    }
    text_ += "'/>\n";
    for (std::size_t i = 0; dots && i < points.size(); ++i) {
      Add("<circle cx='%.1f' cy='%.1f' r='3' fill='%s'/>\n", X(points[i].x), Y(points[i].y),
          colour);
    }
  }

  void Line(const limes::CSigCurve& curve, const char* colour) {
    Points points;
    for (int i = 0; i < static_cast<int>(curve.DLen()); ++i) {
      points.push_back({curve.GetPoint(i), curve[i]});
    }
    Line(points, colour);
  }

  bool Write(const std::string& file) const {
    std::FILE* const to = std::fopen(file.c_str(), "w");
    if (to == nullptr) {
      return false;
    }
    std::fprintf(to,
                 "<svg xmlns='http://www.w3.org/2000/svg' width='%.0f' height='%.0f' "
                 "font-family='sans-serif' font-size='12'>\n<rect width='100%%' height='100%%' "
                 "fill='white'/>\n%s</svg>\n",
                 kGap + panels_ * (kWidth + kGap), kHeight + 34.0, text_.c_str());
    return std::fclose(to) == 0;
  }

 private:
  static constexpr double kWidth = 230.0;
  static constexpr double kHeight = 130.0;
  static constexpr double kGap = 14.0;

  double X(double x) const { return left_ + (x - x0_) * scale_; }
  static double Y(double y) { return 24.0 + kHeight * (1.0 - y); }

  template <class... Args>
  void Add(const char* format, Args... args) {
    char piece[256];
    std::snprintf(piece, sizeof piece, format, args...);
    text_ += piece;
  }

  std::string text_;
  double panels_ = 0.0;
  double x0_ = 0.0;
  double scale_ = 1.0;
  double left_ = 0.0;
};

/// A spectrum of 100 lines with three peaks, the same everywhere: no random numbers.
limes::CSigCurve Spectrum() {
  std::vector<float> values(100);
  for (int i = 0; i < 100; ++i) {
    const int peak = i == 20 ? 55 : i == 50 ? 35 : i == 51 ? 30 : i == 80 ? 45 : 0;
    values[static_cast<std::size_t>(i)] = static_cast<float>(20 + (i * 37) % 13 + peak) * 0.01F;
  }
  limes::CSigCurve curve = limes::CSigCurveExt::Make(values, 0.0F, 100.0F);
  return curve;
}

bool Polylines(const std::string& folder) {
  limes::CPolygonCodierung line;
  for (const auto& [x, y] : Points{{10, 0.5F}, {40, 0.4F}, {60, 0.6F}, {90, 0.3F}}) {
    line.NeuerPunkt(x, y);
  }
  CPicture picture;
  const struct {
    const char* title;
    int mode;
  } kModes[] = {
      {"kUpperLimit", limes::CPolygonCodierung::kUpperLimit},
      {"kLowerLimit", limes::CPolygonCodierung::kLowerLimit},
      {"kReplaceBetween", limes::CPolygonCodierung::kReplaceBetween},
  };
  for (const auto& [title, mode] : kModes) {
    picture.Panel(title, 0.0, 100.0);
    limes::CSigCurve curve = Spectrum();
    picture.Line(curve, kGrey);
    line.KurveBegrenzen(&curve, mode);
    picture.Line(curve, kBlue);
    picture.Line(line.Points(), kOrange, true);
  }
  return picture.Write(folder + "/polylines.svg");
}

bool Pairs(const std::string& folder) {
  limes::CSigPairs a;
  limes::CSigPairs b;
  const bool set = a.SetPoints(Points{{0, 0.3F}, {30, 0.7F}, {60, 0.2F}}) &&
                   b.SetPoints(Points{{20, 0.2F}, {50, 0.6F}, {90, 0.5F}});
  CPicture picture;
  const auto panel = [&](const char* title, auto combine) {
    picture.Panel(title, 0.0, 100.0);
    limes::CSigPairs run = a;
    combine(run);
    picture.Line(a.Points(), kGrey, true);
    picture.Line(b.Points(), kGrey, true);
    picture.Line(run.Points(), kBlue, true);
  };
  panel("kMaximum", [&](auto& run) { run.Verrechnen(b, limes::CSigPairs::kMaximum); });
  panel("kIntersection", [&](auto& run) { run.Verrechnen(b, limes::CSigPairs::kIntersection); });
  panel("UnionWith", [&](auto& run) { run.UnionWith(b); });
  return set && picture.Write(folder + "/pairs.svg");
}

bool Kernels(const std::string& folder) {
  const limes::CSigCurve source = Spectrum();
  CPicture picture;
  picture.Panel("VectorTiefpass: low pass", 0.0, 100.0);
  limes::CSigCurve filtered = source;
  float state = 0.0F;
  limes::DVL::VectorTiefpass(filtered.ValArray(), filtered.DLen(), 1, 0.8F, state, true);
  picture.Line(source, kGrey);
  picture.Line(filtered, kBlue);

  picture.Panel("DownsamlingMean, -MinMax: to 24", 0.0, 100.0);
  std::vector<float> few(24);
  picture.Line(source, kGrey);
  limes::DVL::DownsamlingMean(source.ValArray(), source.DLen(), 1, few.data(), 24, 1.0F);
  picture.Line(limes::CSigCurveExt::Make(few, 0.0F, 100.0F), kOrange);
  limes::DVL::DownsamlingMinMax(source.ValArray(), source.DLen(), 1, few.data(), 24, 1.0F);
  picture.Line(limes::CSigCurveExt::Make(few, 0.0F, 100.0F), kBlue);

  picture.Panel("Glaetten: median of 5, maximum of 5", 0.0, 100.0);
  picture.Line(source, kGrey);
  using Assistent = limes::CSigCurveAssistent;
  bool smoothed = true;
  for (const auto& [mode, colour] : {std::pair(Assistent::Smoothing::kMedian, kBlue),
                                     std::pair(Assistent::Smoothing::kMaximum, kOrange)}) {
    limes::CSigCurveExt curve = limes::CSigCurveExt::Make(source.Values(), 0.0F, 100.0F);
    smoothed = Assistent::Glaetten(curve, 2, mode) && smoothed;
    picture.Line(curve, colour);
  }
  return smoothed && picture.Write(folder + "/kernels.svg");
}

/// How much part k of 300 still counts in the mean, relative to the largest weight.
Points Weights(int timeScale) {
  constexpr int kParts = 300;
  std::vector<double> weights(kParts + 1, 0.0);
  for (int n = 1; n <= kParts; ++n) {
    const double kept = limes::CExpAverFacGenerator::GetFactor(n, timeScale);
    for (int k = 1; k < n; ++k) {
      weights[static_cast<std::size_t>(k)] *= kept;
    }
    weights[static_cast<std::size_t>(n)] = 1.0 - kept;
  }
  Points points;
  for (int k = 1; k <= kParts; k += 2) {
    points.push_back({static_cast<float>(k),
                      static_cast<float>(weights[static_cast<std::size_t>(k)] / weights.back())});
  }
  return points;
}

bool Learning(const std::string& folder) {
  CPicture picture;
  picture.Panel("weights: time scale 30, 100, none", 0.0, 300.0);
  picture.Line(Weights(30), kBlue);
  picture.Line(Weights(100), kOrange);
  picture.Line(Weights(limes::CExpAverFacGenerator::kNoForgetting), kGrey);
  for (const auto& [title, width] : {std::pair("limit of 40 parts: base 0.1, factor 3", 0.0F),
                                     std::pair("the same, widened by 3", 3.0F)}) {
    picture.Panel(title, 0.0, 100.0);
    limes::CKurvenLernWerkzeug tool;
    tool.Bildungsregel(0.1F, 3.0F, width);
    limes::CSigCurveExt part = limes::CSigCurveExt::Make(Spectrum().Values(), 0.0F, 100.0F);
    for (int k = 0; k < 40; ++k) {
      limes::CSigCurveExt measured = part;
      for (int i = 0; i < 100; ++i) {
        measured.SetAt(i, part[i] + 0.003F * static_cast<float>((i * 7 + k * 11) % 9));
      }
      if (tool.LearnPart(measured) != limes::LearnStatus::kOk) {
        return false;
      }
    }
    picture.Line(*tool.Mittelwert(), kGrey);
    if (tool.UpdateLimit() == 0) {
      return false;
    }
    picture.Line(*tool.Grenzkurve(), kOrange);
  }
  return picture.Write(folder + "/learning.svg");
}

}  // namespace

int main(int count, char** arguments) {
  const std::string folder = count > 1 ? arguments[1] : ".";
  return Polylines(folder) && Pairs(folder) && Kernels(folder) && Learning(folder) ? 0 : 1;
}
