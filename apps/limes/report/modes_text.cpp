#include "apps/limes/report/modes_text.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "apps/limes/measurement/number_text.h"
#include "apps/limes/measurement/promise_text.h"
#include "apps/limes/report/json_line.h"
#include "recordings/text.h"

namespace limes::host {

std::string ModesText(CModel& model) {
  if (!model.Modes().AreOn()) {
    return "";
  }
  const CCommonModes& modes = model.Modes().Learner();
  if (!modes.IsFormed()) {
    return model.Modes().WaitsFor();
  }
  const std::string points = " of " + std::to_string(modes.Points()) + " points";
  const auto most = model.AmountLimit();
  std::string text;
  for (std::size_t k = 0; k < modes.Modes(); ++k) {
    text += (k == 0 ? " " : ", ") + Percent(modes.VarianceShare(k));
  }
  if (!text.empty()) {
    text = Count(static_cast<std::int64_t>(modes.Modes()), "mode") + points +
           ", explaining of the variance" + text +
           (most ? "; amounts up to " + Brief(*most) + " spreads" : "");
  }
  if (const auto whole = model.WholeLimit()) {
    text += (text.empty() ? "the whole" + points : "; the whole") + " up to " + Brief(*whole) +
            " spreads";
  }
  return text;
}

std::vector<SLearntSummary> ModeCurves(CModel& model, std::size_t most) {
  std::vector<SLearntSummary> curves;
  if (!model.Modes().AreOn()) {
    return curves;
  }
  const CCommonModes& modes = model.Modes().Learner();
  const std::vector<SLearntSummary> quantities = model.Summaries();
  for (std::size_t k = 0; k < modes.Modes(); ++k) {
    std::vector<double> curve(modes.Points());
    modes.ModeCurve(k, curve);
    model.ForEachStretch([&](const std::string& name, std::size_t first, std::size_t n) {
      const auto learnt = std::find_if(quantities.begin(), quantities.end(),
                                       [&](const auto& summary) { return summary.name == name; });
      if (learnt->kind == "value" || learnt->points != n || curves.size() == most) {
        return;
      }
      SLearntSummary& drawn = curves.emplace_back(*learnt);
      drawn.name = CModelModes::NameOf(k) + ": " + name;
      drawn.mean.assign(n, 0.0F);
      std::transform(curve.begin() + static_cast<std::ptrdiff_t>(first),
                     curve.begin() + static_cast<std::ptrdiff_t>(first + n), drawn.mean.begin(),
                     [](double value) { return static_cast<float>(value); });
      drawn.spread.assign(n, 0.0F);
      drawn.limit.assign(n, std::nanf(""));
    });
  }
  return curves;
}

void PrintModes(std::ostream& out, CModel& model) {
  if (const std::string text = ModesText(model); !text.empty()) {
    out << text << '\n';
  }
}

void PrintModesJson(std::ostream& out, CModel& model) {
  if (!model.Modes().AreOn()) {
    return;
  }
  using Json = nlohmann::ordered_json;
  const CCommonModes& modes = model.Modes().Learner();
  Json json;
  json["name"] = "modes";
  json["kind"] = "modes";
  json["wanted"] = modes.Wanted();
  json["learnt"] = modes.Learnt();
  json["points"] = modes.Points();
  const auto most = model.AmountLimit();
  json["amount_limit"] = most ? Json(*most) : Json(nullptr);
  if (modes.HasWhole()) {
    const auto whole = model.WholeLimit();
    json["whole_limit"] = whole ? Json(*whole) : Json(nullptr);
  }
  json["modes"] = Json::array();
  for (std::size_t k = 0; k < modes.Modes(); ++k) {
    Json mode;
    mode["name"] = CModelModes::NameOf(k);
    mode["share"] = modes.VarianceShare(k);
    std::vector<double> curve(modes.Points());
    modes.ModeCurve(k, curve);
    model.ForEachStretch([&](const std::string& name, std::size_t first, std::size_t n) {
      Json& values = mode["curves"][name] = Json::array();
      for (std::size_t i = first; i < first + n; ++i) {
        values.push_back(Shown(static_cast<float>(curve[i])));
      }
    });
    json["modes"].push_back(std::move(mode));
  }
  PrintJsonLine(out, json);
}

}  // namespace limes::host
