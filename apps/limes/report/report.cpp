#include "apps/limes/report/report.h"

#include <algorithm>
#include <cmath>
#include <ostream>
#include <sstream>

#include "apps/limes/measurement/number_text.h"
#include "apps/limes/measurement/promise_text.h"
#include "apps/limes/report/report_texts.h"
#include "recordings/measurement.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

constexpr std::size_t kMostShown = 10;  ///< defects of a part in text

const char* Colour(Verdict verdict) {
  return verdict == Verdict::kPass   ? "\033[32m"
         : verdict == Verdict::kFail ? "\033[31m"
                                     : "\033[33m";
}

/// Smallest and largest of the values that are numbers; NaN when there are none.
std::pair<float, float> Extremes(const std::vector<float>& values) {
  std::pair<float, float> extremes(std::nanf(""), std::nanf(""));
  for (const float value : values) {
    extremes = {std::fmin(extremes.first, value), std::fmax(extremes.second, value)};
  }
  return extremes;
}

std::string Range(const std::vector<float>& values, double resolution = 0.0) {
  const auto [low, high] = Extremes(values);
  return std::isnan(low) ? "-"
         : low == high   ? Brief(low, resolution)
                         : Brief(low, resolution) + " .. " + Brief(high, resolution);
}

/// A curve in 32 characters, each the largest value of its stretch.
std::string Sparkline(const std::vector<float>& values) {
  constexpr std::size_t kWidth = 32;
  constexpr const char* kBars[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
  const auto [low, high] = Extremes(values);
  const std::size_t width = std::min(kWidth, values.size());
  std::string text;
  for (std::size_t i = 0; i < width; ++i) {
    const auto first = values.begin() + static_cast<std::ptrdiff_t>(i * values.size() / width);
    const auto last = values.begin() + static_cast<std::ptrdiff_t>((i + 1) * values.size() / width);
    const double top = Extremes({first, last}).second;
    const double share = high > low ? (top - low) / (double{high} - low) : 0.0;
    text += std::isnan(top) || std::isnan(share)
                ? " "
                : kBars[static_cast<std::size_t>(std::clamp(share * 7.0 + 0.5, 0.0, 7.0))];
  }
  return text;
}

std::string SurenessText(const SLimitSureness& s) {
  std::string text = std::to_string(s.parts) + (s.parts == 1 ? " part" : " parts") +
                     " learnt, effective " + Brief(s.effectiveParts);
  if (!std::isnan(s.rejectedPerPoint)) {
    text += "; if Normal, " + Percent(s.rejectedPerPoint) + " of good parts beyond it" +
            (s.rejectedBound > s.rejectedPerPoint ? " at its worst point" : "");
  }
  return text;
}

}  // namespace

void PrintReason(std::ostream& out, const SPartVerdict& verdict) {
  if (verdict.reason) {
    out << "  " << *verdict.reason;
    return;
  }
  const auto q = std::find_if(verdict.quantities.begin(), verdict.quantities.end(),
                              [](const auto& v) { return v.verdict == Verdict::kNotJudged; });
  if (q != verdict.quantities.end()) {
    out << "  " << q->name << ": " << q->reason.value_or("no limit held for it");
  }
}

void PrintVerdict(std::ostream& out, const SPartVerdict& verdict, bool colours) {
  const char* text = VerdictText(verdict.verdict);
  out << (colours ? Colour(verdict.verdict) + std::string(text) + "\033[0m" : text);
  std::ostringstream line;
  line << "  " << verdict.part;
  if (verdict.label) {
    line << "  (" << *verdict.label << ")";
  }
  if (!verdict.variant.empty()) {
    line << "  [" << verdict.variant << "]";
    line << (verdict.limitOf == kAllVariants ? " by the limit of all variants" : "");
  }
  if (verdict.verdict == Verdict::kNotJudged) {
    PrintReason(line, verdict);
  } else if (const SQuantityVerdict* q = Worst(verdict)) {
    const double deviation = std::fabs(*q->maxDeviation);
    line << "  " << q->name << ": ";
    if (!q->x && q->value) {
      line << WithUnit(Brief(*q->value, deviation), q->unit) << ", ";
    }
    line << DistanceText(*q->maxDeviation, q->side, q->unit);
    if (!q->x && q->limit) {
      line << " of " << WithUnit(Brief(*q->limit, deviation), q->unit);
    }
    if (q->x) {
      line << " at " << WithUnit(Brief(*q->x), q->xUnit);
    }
  }
  out << Escaped(line.str()) << '\n';
  std::size_t shown = 0;
  for (const SDefect& defect : verdict.defects) {
    if (shown++ == kMostShown) {
      out << "    and " << verdict.defects.size() - kMostShown << " more\n";
      break;
    }
    out << "    " << Escaped(defect.text) << '\n';
  }
}

void PrintSureness(std::ostream& out, const SPartVerdict& verdict) {
  for (const SQuantityVerdict& q : verdict.quantities) {
    if (q.sureness && q.sureness->parts > 0 && !IsMode(q)) {
      out << Escaped(q.name) << ", " << SideText(q.side) << " limit: " << SurenessText(*q.sureness)
          << '\n';
    }
  }
}

void PrintPromise(std::ostream& out, const SPromise& promise) {
  for (const std::string& text : PromiseTexts(promise)) {
    out << text << '\n';
  }
}

void SCounts::Add(const SPartVerdict& verdict, const std::string& goodLabel) {
  Add(verdict.verdict, verdict.label ? std::optional(*verdict.label == goodLabel) : std::nullopt);
}

void SCounts::Add(Verdict verdict, std::optional<bool> isGood) {
  ++parts;
  ++(verdict == Verdict::kPass ? ok : verdict == Verdict::kFail ? nok : notJudged);
  if (isGood) {
    ++(*isGood ? good : bad);
    falseAlarms += *isGood && verdict == Verdict::kFail ? 1 : 0;
    misses += !*isGood && verdict == Verdict::kPass ? 1 : 0;
  }
}

void PrintCounts(std::ostream& out, const SCounts& c) {
  out << c.parts << (c.parts == 1 ? " part: " : " parts: ") << c.ok << " OK, " << c.nok << " NOK, "
      << c.notJudged << " not judged\n";
  if (c.good + c.bad > 0) {
    out << "false alarms: " << c.falseAlarms << " of " << c.good << " good; misses: " << c.misses
        << " of " << c.bad << " bad\n";
  }
}

void PrintSummary(std::ostream& out, const SLearntSummary& s, const SSettings& settings) {
  const std::string unit = Escaped(s.unit);
  const std::string xUnit = Escaped(s.xUnit);
  out << Escaped(s.name) << (unit.empty() ? "" : " [" + unit + "]") << ", " << SideText(s.side)
      << " limit, " << s.parts << (s.parts == 1 ? " part" : " parts") << " learnt"
      << (settings.IsPrecise() && s.kind == "curve" ? " in double precision" : "");
  if (s.parts < settings.minParts) {
    out << " (judged from " << settings.minParts << " on)";
  }
  out << '\n';
  if (s.kind != "value") {
    out << "  x       " << Brief(s.xFirst) << " .. " << WithUnit(Brief(s.xLast), xUnit) << ", step "
        << WithUnit(Brief(s.step), xUnit) << ", " << s.points << " points\n";
  }
  if (s.kind == "track" && !s.learntAt.empty()) {
    const auto [least, most] = std::minmax_element(s.learntAt.begin(), s.learntAt.end());
    const auto limits = std::count_if(s.limit.begin(), s.limit.end(),
                                      [](float limit) { return !std::isnan(limit); });
    out << "  learnt  " << *least << " .. " << *most << " parts per point, limit at " << limits
        << " points\n";
  }
  const char* sign = s.side == Side::kUpper ? " + " : " - ";
  out << "  rule    mean" << sign << (s.factor ? Brief(*s.factor) : "?") << " * spread" << sign
      << WithUnit(Brief(settings.base), unit) << '\n';
  const double spread = s.kind == "value" && s.spread.size() == 1 ? s.spread[0] : 0.0;
  out << "  mean    " << Range(s.mean, spread) << '\n';
  out << "  spread  " << Range(s.spread) << '\n';
  out << "  limit   " << Range(s.limit, spread);
  if (s.limit.size() > 1) {
    out << "  " << Sparkline(s.limit);
  }
  out << "\n  sure    " << SurenessText(s.sureness) << '\n';
}

}  // namespace limes::host
