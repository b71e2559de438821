#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "limes/core/signal_key.h"
#include "recordings/measurement.h"
#include "recordings/read_settings.h"

namespace limes::recordings {

/// Names of what tells variants apart stand for the coordinates of a signal's name, in its order.
inline constexpr std::size_t kMostVariantNames = CQuinterMFC::kFields;

/// Why names, or a pattern of file names such as "{product}_{gear}_{serial}.wav", cannot be used;
/// empty when they can.
std::string FaultOfVariant(const std::vector<std::string>& names,
                           const std::optional<std::string>& pattern);

/// Tells which variant a part of a file is of: by its columns, which a reader put into the values,
/// by the name of the file and by what is given for all parts, which must not contradict each
/// other. Else the fault says why. Nothing without names. O(length of the file's name).
void TellVariant(const SReadSettings& settings, const std::vector<SCondition>& given,
                 const std::string& path, SVariant& variant);

/// The values in "product=A,gear=3"; of a piece without "=" an empty one.
std::vector<SCondition> ValuesOf(std::string_view variant);

/// Whether a variant, as SVariant names it, has all these values.
bool IsVariant(std::string_view variant, const std::vector<std::string>& names,
               const std::vector<SCondition>& values);

}  // namespace limes::recordings
