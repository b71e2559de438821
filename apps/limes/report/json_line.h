#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "apps/limes/measurement/drift.h"

namespace limes::host {

/// JSON in one line. Bytes of names that are no UTF-8 become U+FFFD.
std::string Dumped(const nlohmann::ordered_json& json);

/// A JSON object and a line end.
void PrintJsonLine(std::ostream& out, const nlohmann::ordered_json& json);

/// A list of alarms.
nlohmann::ordered_json DriftJson(const std::vector<SDriftFound>& drifts);

}  // namespace limes::host
