#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string_view>

#include "apps/limes/measurement/number_text.h"
#include "apps/limes/measurement/promise_text.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/report/json_text.h"
#include "apps/limes/report/report.h"
#include "apps/limes/store/stored_model.h"
#include "recordings/measurement.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

using Json = nlohmann::ordered_json;

template <class T>
Json ToJson(const std::optional<T>& value) {
  return value ? Json(*value) : Json(nullptr);
}

void AddTo(CJsonText& json, const char* name, double value) { json.Add(name, value); }
void AddTo(CJsonText& json, const char* name, std::integral auto value) {
  json.Add(name, std::int64_t{value});
}
void AddTo(CJsonText& json, const char* name, const std::string& value) { json.Add(name, value); }
void AddTo(CJsonText& json, const char* name, Side value) { json.Add(name, SideText(value)); }
void AddTo(CJsonText& json, const char* name, Verdict value) { json.Add(name, VerdictText(value)); }
void AddTo(CJsonText&, const char*, const TCorners&) {}  // for the store alone
template <class T>
void AddTo(CJsonText& json, const char* name, const std::optional<T>& value) {
  if (value) {
    AddTo(json, name, *value);
  } else {
    json.AddNull(name);
  }
}

/// Adds the fields of a record that are shown.
void AddFields(CJsonText& json, const auto& record) {
  VisitFields(
      [&](const SField& field, const auto& value) {
        if (field.name != nullptr) {
          AddTo(json, field.name, value);
        }
      },
      record);
}

/// Calls visit(name, value) for the fields, nothing where it is not known.
void VisitSureness(auto visit, const std::optional<SLimitSureness>& sureness) {
  const SLimitSureness known = sureness.value_or(SLimitSureness());
  VisitFields(
      [&](const SField& field, const auto& value) {
        visit(field.name, sureness ? std::optional(value) : std::nullopt);
      },
      known);
}

/// The rule among the settings that a verdict was stored with.
Json RuleOf(const SPartVerdict& verdict) {
  Json rule = Json::object();
  const Json settings = Json::parse(verdict.rule, nullptr, false);
  for (const char* name :
       {"base", "reject", "factor", "cover", "sure", "width", "min-parts", "min-share"}) {
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

/// How much of each common mode is in the part.
void AddModes(CJsonText& json, const SPartVerdict& verdict) {
  json.Begin('[', "modes");
  for (const SQuantityVerdict& q : verdict.quantities) {
    if (IsMode(q)) {
      json.Begin('{');
      json.Add("name", q.name);
      json.Add("verdict", VerdictText(q.verdict));
      AddTo(json, "amount", q.value);
      AddTo(json, "limit", q.limit);
      json.End('}');
    }
  }
  json.End(']');
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

void PrintVerdictJson(std::ostream& out, CJsonText& json, const SPartVerdict& verdict) {
  json.Begin('{');
  json.Add("part", verdict.part);
  if (verdict.label) {
    json.Add("label", *verdict.label);
  }
  if (!verdict.variant.empty()) {
    json.Add("variant", verdict.variant);
  }
  if (!verdict.limitOf.empty()) {
    json.Add("limit_of", verdict.limitOf);
  }
  json.Add("verdict", VerdictText(verdict.verdict));
  if (verdict.reason) {
    json.Add("reason", *verdict.reason);
  }
  AddFields(json, verdict.scores);
  if (!verdict.rule.empty()) {
    json.AddJson("rule", RuleOf(verdict).dump());
  }
  json.Begin('[', "quantities");
  bool modes = false;
  for (const auto& q : verdict.quantities) {
    modes |= IsMode(q);
    if (IsMode(q)) {
      continue;
    }
    json.Begin('{');
    AddFields(json, q);
    VisitSureness([&](const char* name, const auto& value) { AddTo(json, name, value); },
                  q.sureness);
    json.End('}');
  }
  json.End(']');
  if (modes) {
    AddModes(json, verdict);
  }
  if (!verdict.drifts.empty()) {
    json.AddJson("drift", Dumped(DriftJson(verdict.drifts)));
  }
  json.Begin('[', "defects");
  for (const SDefect& defect : verdict.defects) {
    json.Add("", defect.text);
  }
  json.End(']');
  json.Begin('[', "findings");
  for (const SDefect& defect : verdict.defects) {
    json.Begin('{');
    VisitFields(
        [&](const SField& field, const auto& value) {
          if (field.name == nullptr) {
            return;
          }
          if (field.name == std::string_view("x") && !defect.from) {
            json.AddNull(field.name);
          } else {
            AddTo(json, field.name, value);
          }
        },
        defect);
    json.End('}');
  }
  json.End(']');
  json.End('}');
  out << json.Take() << '\n';
}

void PrintLimitsJson(std::ostream& out, CStore& store) {
  for (const SStoredVariant& variant : store.Variants()) {
    store.Choose(variant.name);
    const SSettings settings = store.Settings().value_or(SSettings());
    CModel model = LoadedModel(store, settings);
    const SPromise promise = PromiseOf(store, model);
    for (const SLearntSummary& summary : model.Summaries()) {
      PrintSummaryJson(out, summary, settings, promise, {}, variant.name,
                       LimitOf(variant, settings));
    }
  }
  store.Choose("");
}

void PrintSummaryJson(std::ostream& out, const SLearntSummary& s, const SSettings& settings,
                      const SPromise& promise, const std::vector<SDriftFound>& drifts,
                      const std::string& variant, const std::string& limitOf) {
  Json json;
  json["name"] = s.name;
  if (!variant.empty()) {
    json["variant"] = variant;
    json["limit_of"] = limitOf;
  }
  json["side"] = SideText(s.side);
  const bool single = s.kind == "value";
  json["kind"] = s.kind;
  if (settings.IsPrecise() && s.kind == "curve") {
    json["precise"] = true;
  }
  VisitSureness([&](const char* name, const auto& value) { json[name] = ToJson(value); },
                s.sureness);
  json["learnt"] = s.parts;
  json["unit"] = s.unit;
  json["x_unit"] = s.xUnit;
  json["x_first"] = single ? Json(nullptr) : Json(s.xFirst);
  json["x_last"] = single ? Json(nullptr) : Json(s.xLast);
  json["step"] = single ? Json(nullptr) : Json(s.step);
  json["base"] = settings.base;
  json["reject"] = ToJson(settings.reject);
  json["cover"] = ToJson(settings.cover);
  json["sure"] = ToJson(settings.sure);
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
