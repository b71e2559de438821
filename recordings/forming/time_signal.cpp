#include "recordings/forming/time_signal.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <string>

#include "recordings/errors.h"
#include "recordings/text.h"

namespace limes::recordings {

void Refuse(const std::string& part, const SQuantity& q, const std::string& why) {
  throw CInputError(part, "quantity " + Quoted(q.name) + why);
}

void ScaleBy(double factor, std::vector<float>& values) {
  if (factor != 1.0) {
    for (float& v : values) {
      v = static_cast<float>(v * factor);
    }
  }
}

std::optional<double> SecondsIn(const SUnit& unit) {
  const std::string text = unit.Display();
  return text == "s"    ? std::optional(1.0)
         : text == "ms" ? std::optional(1e-3)
         : text == "µs" ? std::optional(1e-6)
                        : std::nullopt;
}

double Seconds(const std::string& part, const SQuantity& q) {
  if (const auto seconds = SecondsIn(q.xUnit)) {
    return *seconds;
  }
  const std::string unit = q.xUnit.Display();
  Refuse(part, q,
         " is over " + (unit.empty() ? std::string("x without a unit") : "x in " + unit) +
             ", not over time in s, ms or µs (--x-unit names it where the file does not)");
}

double RecordedTime(const SQuantity& quantity, std::span<const float> samples) {
  const std::size_t least = std::max(samples.size() / 20, kLeastConstant);
  std::size_t moved = samples.size();
  for (std::size_t i = 0; i < samples.size();) {
    std::size_t end = i + 1;
    while (end < samples.size() && samples[end] == samples[i]) {
      ++end;
    }
    // Of a signal that never moves its health tells.
    moved -= end - i >= least && end - i < samples.size() ? end - i : 0;
    i = end;
  }
  return static_cast<double>(moved) * quantity.dx * SecondsIn(quantity.xUnit).value_or(1.0);
}

double RmsAboutMean(std::span<const float> samples) {
  constexpr std::size_t kLanes = 8;
  const auto mean = [samples](auto of) {
    std::array<double, kLanes> sums{};
    std::size_t i = 0;
    for (; i + kLanes <= samples.size(); i += kLanes) {
      for (std::size_t j = 0; j < kLanes; ++j) {
        sums[j] += of(double{samples[i + j]});
      }
    }
    for (; i < samples.size(); ++i) {
      sums[0] += of(double{samples[i]});
    }
    return std::accumulate(sums.begin(), sums.end(), 0.0) / static_cast<double>(samples.size());
  };
  if (samples.empty()) {
    return 0.0;
  }
  const double middle = mean([](double x) { return x; });
  return std::sqrt(mean([middle](double x) { return (x - middle) * (x - middle); }));
}

}  // namespace limes::recordings
