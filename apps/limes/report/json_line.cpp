#include "apps/limes/report/json_line.h"

#include <nlohmann/json.hpp>
#include <ostream>

namespace limes::host {

std::string Dumped(const nlohmann::ordered_json& json) {
  return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void PrintJsonLine(std::ostream& out, const nlohmann::ordered_json& json) {
  out << Dumped(json) << '\n';
}

nlohmann::ordered_json DriftJson(const std::vector<SDriftFound>& drifts) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const SDriftFound& d : drifts) {
    list.push_back({{"quantity", d.quantity},
                    {"direction", d.up ? "up" : "down"},
                    {"parts", d.parts},
                    {"x", d.x ? nlohmann::ordered_json(*d.x) : nullptr}});
  }
  return list;
}

}  // namespace limes::host
