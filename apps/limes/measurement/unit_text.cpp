#include "apps/limes/measurement/unit_text.h"

#include <nlohmann/json.hpp>

#include "apps/limes/measurement/json_number.h"

namespace limes::host {

std::string UnitToText(const SUnit& unit) {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  if (!unit.text.empty()) {
    json["text"] = unit.text;
    json["reference"] = unit.reference;
  } else if (!unit.IsNone()) {
    json["unit"] = static_cast<unsigned>(unit.unit.Unit_e());
    json["exponent"] = unit.unit.Exponent();
    json["power"] = unit.unit.Power();
    json["reference"] = unit.unit.logref();
    json["shown"] = unit.Display();
  }
  return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

SUnit UnitFromText(const std::string& text) {
  SUnit result;
  const auto json = nlohmann::json::parse(text);
  if (json.contains("text")) {
    result.text = json.at("text").get<std::string>();
    result.reference = json.at("reference").get<float>();
  } else if (json.contains("unit")) {
    result.unit.set(ValueOf<unsigned>(json.at("unit")), ValueOf<short>(json.at("exponent")),
                    ValueOf<short>(json.at("power")), json.at("reference").get<float>());
  }
  return result;
}

}  // namespace limes::host
