#include "recordings/forming/steps.h"

#include <cmath>

namespace limes::recordings {
namespace {

constexpr double kPlaceTolerance = 0.1;  ///< of a step

}  // namespace

double MeanStep(std::span<const double> x) {
  return (x.back() - x.front()) / static_cast<double>(x.size() - 1);
}

bool IsOnSteps(double x, double first, double step, std::uint64_t i) {
  const double expected = first + static_cast<double>(i) * step;
  return step > 0.0 && std::fabs(x - expected) <= kPlaceTolerance * step;
}

std::optional<std::size_t> FirstOffSteps(std::span<const double> x) {
  const double step = MeanStep(x);
  for (std::size_t i = 0; i < x.size(); ++i) {
    if (!IsOnSteps(x[i], x.front(), step, i)) {
      return i;
    }
  }
  return std::nullopt;
}

std::optional<std::size_t> TakeFreeSteps(std::span<const double> x, std::vector<float>& taken) {
  taken.clear();
  const bool rises = x.back() > x.front();
  for (const double place : x) {
    const auto value = static_cast<float>(place);
    if (!std::isfinite(value) ||
        (!taken.empty() && !(rises ? value > taken.back() : value < taken.back()))) {
      return taken.size();
    }
    taken.push_back(value);
  }
  return std::nullopt;
}

}  // namespace limes::recordings
