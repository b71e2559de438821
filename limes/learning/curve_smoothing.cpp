// Smoothing of curves.
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "limes/learning/curve_assistant.h"
#include "limes/platform/memory_errors.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

/// The values that have a neighbour so many places on, and these neighbours.
struct Pairs {
  Pairs(std::size_t n, std::ptrdiff_t shift)
      : own(shift < 0 ? static_cast<std::size_t>(-shift) : 0),
        neighbour(shift > 0 ? static_cast<std::size_t>(shift) : 0),
        count(n - own - neighbour) {}

  std::size_t own;
  std::size_t neighbour;
  std::size_t count;
};

/// Adds neighbour after neighbour to all windows at once: each sum is in ascending order of x.
void Means(std::span<const float> y, std::size_t width, std::vector<float>& out) {
  std::vector<double> sums(y.size());
  std::vector<std::uint32_t> counts(y.size());
  const auto w = static_cast<std::ptrdiff_t>(width);
  for (std::ptrdiff_t shift = -w; shift <= w; ++shift) {
    const Pairs pairs(y.size(), shift);
    const float* const neighbours = y.data() + pairs.neighbour;
    for (std::size_t i = 0; i < pairs.count; ++i) {
      const bool number = neighbours[i] == neighbours[i];
      sums[pairs.own + i] += number ? double{neighbours[i]} : 0.0;
      counts[pairs.own + i] += number ? 1U : 0U;
    }
  }
  for (std::size_t i = 0; i < y.size(); ++i) {
    out[i] = static_cast<float>(sums[i] / counts[i]);  // 0 / 0 is NaN
  }
}

void Maxima(std::span<const float> y, std::size_t width, std::vector<float>& out) {
  std::fill(out.begin(), out.end(), std::numeric_limits<float>::quiet_NaN());
  const auto w = static_cast<std::ptrdiff_t>(width);
  for (std::ptrdiff_t shift = -w; shift <= w; ++shift) {
    const Pairs pairs(y.size(), shift);
    const float* const neighbours = y.data() + pairs.neighbour;
    float* const largest = out.data() + pairs.own;
    for (std::size_t i = 0; i < pairs.count; ++i) {
      const bool takes = neighbours[i] > largest[i] || std::isnan(largest[i]);
      largest[i] = takes ? neighbours[i] : largest[i];
    }
  }
}

float Median(const std::vector<float>& sorted) {
  if (sorted.empty()) {
    return std::numeric_limits<float>::quiet_NaN();
  }
  const std::size_t middle = sorted.size() / 2;
  return sorted.size() % 2 == 1
             ? sorted[middle]
             : static_cast<float>((double{sorted[middle - 1]} + double{sorted[middle]}) / 2.0);
}

/// Keeps the window sorted; one value comes and one goes per step.
void Medians(std::span<const float> y, std::size_t width, std::vector<float>& out) {
  std::vector<float> sorted;
  sorted.reserve(std::min(y.size(), 2 * width + 1));
  const auto enter = [&sorted](float v) {
    if (!std::isnan(v)) {
      sorted.insert(std::upper_bound(sorted.begin(), sorted.end(), v), v);
    }
  };
  for (std::size_t i = 0; i < std::min(width, y.size()); ++i) {
    enter(y[i]);
  }
  for (std::size_t i = 0; i < y.size(); ++i) {
    if (i + width < y.size()) {
      enter(y[i + width]);
    }
    if (i > width && !std::isnan(y[i - width - 1])) {
      sorted.erase(std::lower_bound(sorted.begin(), sorted.end(), y[i - width - 1]));
    }
    out[i] = Median(sorted);
  }
}

}  // namespace

bool CSigCurveAssistent::Glaetten(CSigCurveExt& c, int halfWidth, Smoothing mode) {
  return detail::IfMemoryAllows(false, [&] {
    const std::span<float> y = c.ValidValues();
    if (halfWidth < 1 || y.empty()) {
      return true;
    }
    const std::size_t width = std::min(static_cast<std::size_t>(halfWidth), y.size() - 1);
    std::vector<float> smooth(y.size());
    switch (mode) {
      case Smoothing::kMean:
        Means(y, width, smooth);
        break;
      case Smoothing::kMedian:
        Medians(y, width, smooth);
        break;
      case Smoothing::kMaximum:
        Maxima(y, width, smooth);
        break;
    }
    std::copy(smooth.begin(), smooth.end(), y.begin());
    return true;
  });
}

}  // namespace limes
