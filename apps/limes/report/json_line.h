#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>

namespace limes::host {

/// A JSON object and a line end. Bytes of names that are no UTF-8 become U+FFFD.
void PrintJsonLine(std::ostream& out, const nlohmann::ordered_json& json);

}  // namespace limes::host
