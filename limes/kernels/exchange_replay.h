#pragma once

#include <cstdint>
#include <limits>
#include <vector>

namespace limes::detail {

/// Steps of a replay before it ends with a stable sort: seconds. The plain way would take hours
/// then; no shuffled run below 50000 points gets here.
inline constexpr std::uint64_t kReplaySteps = 1'000'000'000;

/// Where PlainExchangeSort leaves points: for each place the index of its point.
///
/// The level of a point is the number of points with smaller x, but at most `top`: points that are
/// this high or higher have no equal one that may be told apart, and come in any order. A swap
/// costs O(1) mostly. With the steps spent, points of equal level stay in the order reached.
std::vector<std::uint32_t> ReplayedOrder(std::vector<std::uint32_t> levels, std::uint32_t top,
                                         std::uint64_t steps = kReplaySteps);

}  // namespace limes::detail
