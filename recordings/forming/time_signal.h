#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "recordings/measurement.h"

namespace limes::recordings {

/// Samples of a segment at most.
inline constexpr std::uint32_t kMostSegment = 1U << 24;

/// Throws CInputError about a quantity of a part.
[[noreturn]] void Refuse(const std::string& part, const SQuantity& quantity,
                         const std::string& why);

void ScaleBy(double factor, std::vector<float>& values);

/// Seconds in a unit of time; nothing for any other unit.
std::optional<double> SecondsIn(const SUnit& unit);

/// Seconds in the unit of x, which must be known where frequencies are told in Hz. Throws
/// CInputError.
double Seconds(const std::string& part, const SQuantity& quantity);

/// How long these samples of a quantity at equal steps were recorded, in s or in the unit of x,
/// without stretches at one value, of a twentieth of them and more: there the sensor was off, or
/// the recorder filled in what it missed. O(n).
double RecordedTime(const SQuantity& quantity, std::span<const float> samples);

/// Root of the mean square about the mean; 0 without samples. Summed in double, in eight sums side
/// by side, which are the same on every processor. O(n).
double RmsAboutMean(std::span<const float> samples);

}  // namespace limes::recordings
