// Derivative and integral of curves, with their units.
#include <algorithm>
#include <optional>
#include <vector>

#include "limes/learning/curve_assistant.h"
#include "limes/platform/memory_errors.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

using Unit = CMeasuringUnit;

/// None where the units cannot say it, or one is missing.
Unit OrNone(const Unit& y, const Unit& x, const std::optional<Unit>& combined) {
  return y.empty() || x.empty() || !combined || combined->empty() ? Unit() : *combined;
}

double Step(const CSigCurveExt& c) {
  return c.DLen() == 0 ? 0.0 : (double{c.XMax()} - double{c.XMin()}) / c.DLen();
}

}  // namespace

bool CSigCurveAssistent::Derive(CSigCurveExt& c) {
  return detail::IfMemoryAllows(false, [&] {
    const std::span<float> y = c.ValidValues();
    const std::vector<float> from(y.begin(), y.end());
    const double step = Step(c);
    c.SetYUnit(OrNone(c.YUnit(), c.XUnit(), c.YUnit() / c.XUnit()));  // nothing fails from here on
    for (std::size_t i = 0; i < y.size(); ++i) {
      const std::size_t left = i > 0 ? i - 1 : 0;
      const std::size_t right = std::min(i + 1, y.size() - 1);
      const double width = static_cast<double>(right - left) * step;
      y[i] = left == right ? 0.0F
                           : static_cast<float>((double{from[right]} - double{from[left]}) / width);
    }
    return true;
  });
}

double CSigCurveAssistent::Integral(const CSigCurveExt& c, float x0, float x1) {
  const SIndexRange valid = c.ValidIndices();
  double sum = 0.0;
  if (x0 <= x1) {
    const std::int64_t first = std::max<std::int64_t>(c.GetIndexA(x0), valid.first);
    const std::int64_t last = std::min<std::int64_t>(c.GetIndexA(x1), valid.last);
    for (std::int64_t i = first; i <= last; ++i) {
      sum += double{c.ValArray()[i]};
    }
  }
  return sum * Step(c);
}

bool CSigCurveAssistent::IntegralCurve(CSigCurveExt& c) {
  return detail::IfMemoryAllows(false, [&] {
    const double step = Step(c);
    c.SetYUnit(OrNone(c.YUnit(), c.XUnit(), c.YUnit() * c.XUnit()));  // nothing fails from here on
    double sum = 0.0;
    for (float& y : c.ValidValues()) {
      sum += double{y};
      y = static_cast<float>(sum * step);
    }
    return true;
  });
}

}  // namespace limes
