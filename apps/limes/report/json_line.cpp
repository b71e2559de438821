#include "apps/limes/report/json_line.h"

#include <nlohmann/json.hpp>
#include <ostream>

namespace limes::host {

void PrintJsonLine(std::ostream& out, const nlohmann::ordered_json& json) {
  out << json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

}  // namespace limes::host
