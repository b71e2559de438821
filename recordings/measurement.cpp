#include "recordings/measurement.h"

#include <charconv>
#include <nlohmann/json.hpp>

#include "limes/platform/text.h"

namespace limes::host {

bool SUnit::IsDecibel() const { return unit.is_log() || text == "dB" || text.starts_with("dB("); }

std::string SUnit::Display() const {
  return !text.empty() ? text : unit.empty() ? "" : WideToUtf8(unit.prefixunit());
}

std::string SUnit::DisplayFull() const {
  const float ref = text.empty() ? unit.logref() : reference;
  const std::string shown = IsNone() ? "no unit" : Display();
  return IsDecibel() && ref != 0.0F ? shown + " re " + NumberText(Shown(ref)) : shown;
}

SUnit ParseUnit(std::string_view text) {
  SUnit result;
  if (text.empty() || text == "-") {
    return result;
  }
  bool exact = false;
  result.unit = CMeasuringUnit::FromText(Utf8ToWide(text), &exact);
  if (!exact || result.unit.empty()) {
    result.unit = CMeasuringUnit();
    result.text = text;
  }
  return result;
}

SUnit ReciprocalUnit(const SUnit& unit) {
  SUnit result = unit;
  if (!unit.text.empty()) {
    result.text = "1/(" + unit.text + ")";
  } else if (!unit.IsNone()) {
    result.unit.invert();
  }
  return result;
}

SUnit LevelUnit(const SUnit& unit, double reference) {
  SUnit result;
  if (unit.text.empty() && !unit.IsNone()) {
    result.unit.set(static_cast<unsigned>(unit.unit.Unit_e()), unit.unit.Exponent(),
                    unit.unit.Power(), static_cast<float>(reference));
  } else {
    result.text = unit.text.empty() ? "dB" : "dB(" + unit.text + ")";
    result.reference = static_cast<float>(reference);
  }
  return result;
}

bool SetReference(SUnit& unit, double reference) {
  if (!unit.IsDecibel()) {
    return false;
  }
  if (!unit.text.empty()) {
    unit.reference = static_cast<float>(reference);
  } else {
    unit.unit.set(static_cast<unsigned>(unit.unit.Unit_e()), unit.unit.Exponent(),
                  unit.unit.Power(), static_cast<float>(reference));
  }
  return true;
}

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
    result.unit.set(json.at("unit").get<unsigned>(), json.at("exponent").get<short>(),
                    json.at("power").get<short>(), json.at("reference").get<float>());
  }
  return result;
}

double Shown(float value) {
  char text[32];
  double result = value;
  const auto end = std::to_chars(text, text + sizeof(text), value).ptr;
  std::from_chars(text, end, result);
  return result;
}

std::string NumberText(double value) {
  char text[40];
  return {text, std::to_chars(text, text + sizeof(text), value).ptr};
}

}  // namespace limes::host
