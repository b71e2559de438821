#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "apps/limes/measurement/drift.h"

namespace limes::host {

/// A JSON object and a line end. Bytes of names that are no UTF-8 become U+FFFD.
void PrintJsonLine(std::ostream& out, const nlohmann::ordered_json& json);

/// A list of alarms.
nlohmann::ordered_json DriftJson(const std::vector<SDriftFound>& drifts);

}  // namespace limes::host
