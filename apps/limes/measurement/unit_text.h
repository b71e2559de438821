#pragma once

#include <string>

#include "apps/limes/errors.h"
#include "recordings/measurement.h"

namespace limes::host {

/// A unit by its fields, as a store keeps it.
std::string UnitToText(const SUnit& unit);

/// Throws std::exception when the text is not what UnitToText gives.
SUnit UnitFromText(const std::string& text);

}  // namespace limes::host
