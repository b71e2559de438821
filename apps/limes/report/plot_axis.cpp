#include "apps/limes/report/plot_axis.h"

#include <algorithm>
#include <cmath>

#include "apps/limes/measurement/number_text.h"

namespace limes::host {
namespace {

/// 1, 2 or 5 times a power of ten, about a fifth of the width.
double StepOf(double width) {
  const double rough = width / 5.0;
  const double ten = std::pow(10.0, std::floor(std::log10(rough)));
  return rough / ten > 5.0 ? 10.0 * ten : rough / ten > 2.0 ? 5.0 * ten : 2.0 * ten;
}

}  // namespace

CPlotAxis::CPlotAxis(const SRange& range, double first, double last)
    : range_(range), first_(first), last_(last) {}

double CPlotAxis::PlaceOf(double value) const {
  return first_ + (value - range_.low) / (range_.high - range_.low) * (last_ - first_);
}

double CPlotAxis::PlaceInside(double value) const {
  return PlaceOf(std::clamp(value, range_.low, range_.high));
}

std::vector<CPlotAxis::STick> CPlotAxis::Ticks() const {
  constexpr int kMost = 16;
  std::vector<STick> ticks;
  const double step = StepOf(range_.high - range_.low);
  const double first = std::ceil(range_.low / step);
  for (int i = 0; i < kMost && (first + i) * step <= range_.high; ++i) {
    ticks.push_back({PlaceOf((first + i) * step), PlaceNumber((first + i) * step)});
  }
  return ticks;
}

}  // namespace limes::host
