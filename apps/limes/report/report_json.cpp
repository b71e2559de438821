#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "apps/limes/measurement/number_text.h"
#include "apps/limes/measurement/promise_text.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/report/report.h"
#include "recordings/measurement.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

using Json = nlohmann::ordered_json;

Json ToJson(const auto& value) { return Json(value); }
Json ToJson(const std::optional<double>& value) { return value ? Json(*value) : Json(nullptr); }
Json ToJson(const std::optional<std::string>& value) {
  return value ? Json(*value) : Json(nullptr);
}
Json ToJson(const TCorners&) { return nullptr; }  // for the store alone
Json ToJson(const Side& side) { return SideText(side); }
Json ToJson(const Verdict& verdict) { return VerdictText(verdict); }

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

/// What the limits do to good parts; null where no rate is wanted or nothing can be said.
void AddPromise(Json& json, const SPromise& promise) {
  const bool known = promise.rate && promise.limit.basis != CalibrationBasis::kNone;
  const auto number = [&](double value) { return known ? Json(value) : Json(nullptr); };
  json["basis"] = !promise.rate                                            ? Json(nullptr)
                  : promise.limit.basis == CalibrationBasis::kRank         ? Json("rank")
                  : promise.limit.basis == CalibrationBasis::kExtrapolated ? Json("extrapolated")
                                                                           : Json("none");
  json["promised"] = number(promise.limit.promised);
  json["achieved_low"] = number(promise.limit.low);
  json["achieved_high"] = number(promise.limit.high);
  json["scores"] = promise.scores;
  json["scores_beyond"] = promise.beyond.parts;
  json["scores_from"] = SourceText(promise.source);
  json["at_most"] = promise.atMost;
  json["lone_part"] = promise.lone ? Json(promise.loneName) : Json(nullptr);
  json["lone_score"] = promise.lone ? Json(promise.lone->score) : Json(nullptr);
  json["groups"] = promise.groups ? Json(*promise.groups) : Json(nullptr);
  json["parts_for_1_percent"] = PartsNeeded(0.01, promise.learnt, promise.scores);
  json["parts_for_0.1_percent"] = PartsNeeded(0.001, promise.learnt, promise.scores);
}

/// The latest alarms of a quantity, with the parts that gave them.
void AddDrift(Json& json, const std::string& quantity, const std::vector<SDriftFound>& drifts) {
  constexpr std::size_t kMost = 10;
  std::vector<SDriftFound> own;
  std::copy_if(drifts.begin(), drifts.end(), std::back_inserter(own),
               [&](const SDriftFound& drift) { return drift.quantity == quantity; });
  own.erase(own.begin(), own.end() - static_cast<std::ptrdiff_t>(std::min(own.size(), kMost)));
  if (!own.empty()) {
    json["drift"] = DriftJson(own);
  }
  for (std::size_t i = 0; i < own.size(); ++i) {
    json["drift"][i]["part"] = own[i].part;
  }
}

}  // namespace

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
  AddFields(json, verdict.scores);
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

void PrintSummaryJson(std::ostream& out, const SLearntSummary& s, const SSettings& settings,
                      const SPromise& promise, const std::vector<SDriftFound>& drifts) {
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
  AddPromise(json, promise);
  json["width"] = settings.width;
  json["time_scale"] = settings.timeScale;
  json["min_parts"] = settings.minParts;
  if (s.kind == "track") {
    json["learnt_at"] = s.learntAt;
  }
  AddDrift(json, s.name, drifts);
  json["mean"] = Curve(s.mean);
  json["spread"] = Curve(s.spread);
  json["limit"] = Curve(s.limit);
  PrintJsonLine(out, json);
}

}  // namespace limes::host
