#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace limes::recordings {

/// A time of day, with or without a date in front, as nanoseconds: "2024-01-31T10:00:00.25",
/// "31.01.2024 10:00:00,25", "10:00:00". Nothing for anything else. A date counts from 1970.
std::optional<std::int64_t> ParseTimeStamp(std::string_view text);

}  // namespace limes::recordings
