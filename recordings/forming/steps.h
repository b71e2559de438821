#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace limes::recordings {

/// Index of the first x that lies further than a tenth of a step from equal steps between the first
/// and the last one, which must rise: times printed with few digits are that coarse. Nothing when
/// all lie near. x holds at least two. O(n).
std::optional<std::size_t> FirstOffSteps(std::span<const double> x);

/// Whether x lies within a tenth of a step, which must be positive, of first + i * step.
bool IsOnSteps(double x, double first, double step, std::uint64_t i);

/// x as float where steps are not equal, which must rise or fall from value to value. Returns the
/// index of the first one that does neither, or that no float holds; nothing when all is well.
/// O(n).
std::optional<std::size_t> TakeFreeSteps(std::span<const double> x, std::vector<float>& taken);

/// Mean step of x, which holds at least two.
double MeanStep(std::span<const double> x);

}  // namespace limes::recordings
