#include "apps/limes/report/report.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>

#include "apps/limes/measurement/number_text.h"
#include "apps/limes/measurement/promise_text.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/report/report_texts.h"
#include "recordings/measurement.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMostShown = 10;  ///< defects of a part in text

Json ToJson(const auto& value) { return Json(value); }
Json ToJson(const std::optional<double>& value) { return value ? Json(*value) : Json(nullptr); }
Json ToJson(const std::optional<std::string>& value) {
  return value ? Json(*value) : Json(nullptr);
}
Json ToJson(const TCorners&) { return nullptr; }  // for the store alone
Json ToJson(const Side& side) { return SideText(side); }
Json ToJson(const Verdict& verdict) { return VerdictText(verdict); }

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

/// Adds the fields of a record that are shown.
void AddFields(Json& json, const auto& record) {
  VisitFields(
      [&](const SField& field, const auto& value) {
        if (field.name != nullptr) {
          json[field.name] = ToJson(value);
        }
      },
      record);
}

void AddSureness(Json& json, const std::optional<SLimitSureness>& sureness) {
  const SLimitSureness known = sureness.value_or(SLimitSureness());
  VisitFields([&](const SField& field,
                  const auto& value) { json[field.name] = sureness ? Json(value) : Json(nullptr); },
              known);
}

/// The rule among the settings that a verdict was stored with.
Json RuleOf(const SPartVerdict& verdict) {
  Json rule = Json::object();
  const Json settings = Json::parse(verdict.rule, nullptr, false);
  for (const char* name : {"base", "reject", "factor", "width", "min-parts", "min-share"}) {
    if (settings.is_object() && settings.contains(name)) {
      std::string key = name;
      std::replace(key.begin(), key.end(), '-', '_');
      rule[key] = settings[name];
    }
  }
  return rule;
}

Json Curve(const std::vector<float>& values) {
  Json list = Json::array();
  for (const float v : values) {
    list.push_back(Shown(v));
  }
  return list;
}

}  // namespace

void PrintReason(std::ostream& out, const SPartVerdict& verdict) {
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

void PrintRule(std::ostream& out, const SPartVerdict& verdict) {
  std::string text;
  const Json rule = RuleOf(verdict);
  for (const auto& [name, value] : rule.items()) {
    text += (text.empty() ? "rule: " : ", ") + name + " " +
            (value.is_number() ? Brief(value.get<double>()) : value.dump());
  }
  if (!text.empty()) {
    out << text << '\n';
  }
}

void PrintVerdictJson(std::ostream& out, const SPartVerdict& verdict) {
  Json json;
  json["part"] = verdict.part;
  if (verdict.label) {
    json["label"] = *verdict.label;
  }
  json["verdict"] = VerdictText(verdict.verdict);
  if (!verdict.rule.empty()) {
    json["rule"] = RuleOf(verdict);
  }
  json["quantities"] = Json::array();
  for (const auto& q : verdict.quantities) {
    Json entry;
    AddFields(entry, q);
    AddSureness(entry, q.sureness);
    json["quantities"].push_back(std::move(entry));
  }
  if (!verdict.drifts.empty()) {
    json["drift"] = DriftJson(verdict.drifts);
  }
  json["defects"] = Json::array();
  for (const SDefect& defect : verdict.defects) {
    json["defects"].push_back(defect.text);
  }
  json["findings"] = Json::array();
  for (const SDefect& defect : verdict.defects) {
    Json finding;
    AddFields(finding, defect);
    if (!defect.from) {
      finding["x"] = nullptr;
    }
    json["findings"].push_back(std::move(finding));
  }
  PrintJsonLine(out, json);
}

void PrintSureness(std::ostream& out, const SPartVerdict& verdict) {
  for (const SQuantityVerdict& q : verdict.quantities) {
    if (q.sureness && q.sureness->parts > 0) {
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
      << " limit, " << s.parts << (s.parts == 1 ? " part" : " parts") << " learnt";
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

void PrintSummaryJson(std::ostream& out, const SLearntSummary& s, const SSettings& settings) {
  Json json;
  json["name"] = s.name;
  json["side"] = SideText(s.side);
  const bool single = s.kind == "value";
  json["kind"] = s.kind;
  AddSureness(json, s.sureness);
  json["learnt"] = s.parts;
  json["unit"] = s.unit;
  json["x_unit"] = s.xUnit;
  json["x_first"] = single ? Json(nullptr) : Json(s.xFirst);
  json["x_last"] = single ? Json(nullptr) : Json(s.xLast);
  json["step"] = single ? Json(nullptr) : Json(s.step);
  json["base"] = settings.base;
  json["reject"] = ToJson(settings.reject);
  json["factor"] = ToJson(s.factor);
  json["width"] = settings.width;
  json["time_scale"] = settings.timeScale;
  json["min_parts"] = settings.minParts;
  if (s.kind == "track") {
    json["learnt_at"] = s.learntAt;
  }
  json["mean"] = Curve(s.mean);
  json["spread"] = Curve(s.spread);
  json["limit"] = Curve(s.limit);
  PrintJsonLine(out, json);
}

}  // namespace limes::host
