// Derivative and integral of curves, with their units.
#include <algorithm>
#include <array>
#include <vector>

#include "limes/learning/curve_assistant.h"
#include "limes/platform/memory_errors.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

using Unit = CMeasuringUnit;

/// rate * time = amount, of base units.
struct SRate {
  Unit::commonUnits amount;
  Unit::commonUnits time;
  Unit::commonUnits rate;
};

constexpr std::array kRates = {
    SRate{Unit::metre, Unit::second, Unit::metrePerSecond},
    SRate{Unit::metrePerSecond, Unit::second, Unit::metrePerSecond2},
    SRate{Unit::radian, Unit::second, Unit::radianPerSecond},
    SRate{Unit::radianPerSecond, Unit::second, Unit::radianPerSecond2},
};

/// Exponents and powers keep 16 bits, as everywhere in units.
short Narrow(int value) { return static_cast<short>(value); }

bool IsSimple(const Unit& unit) { return !unit.empty() && !unit.is_log() && unit.Power() == 1; }

/// Unit of y * x (sign 1) or y / x (sign -1); none where no unit of the table says it.
Unit Combined(const Unit& y, const Unit& x, int sign) {
  if (y.empty() || y.is_log() || x.is_log()) {
    return Unit();
  }
  const short exponent = Narrow(y.Exponent() + sign * x.Exponent());
  if (y.Unit_e() == x.Unit_e()) {
    const int power = y.Power() + sign * x.Power();
    Unit unit;
    if (power != 0) {
      unit.set(y.Unit_e(), exponent, Narrow(power), 0.0F);
    }
    return unit;
  }
  for (const SRate& rate : kRates) {
    const auto from = sign > 0 ? rate.rate : rate.amount;
    if (IsSimple(y) && IsSimple(x) && y.Unit_e() == from && x.Unit_e() == rate.time) {
      return {sign > 0 ? rate.amount : rate.rate, exponent};
    }
  }
  return Unit();
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
    c.SetYUnit(Combined(c.YUnit(), c.XUnit(), -1));  // nothing fails from here on
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
    c.SetYUnit(Combined(c.YUnit(), c.XUnit(), 1));  // nothing fails from here on
    double sum = 0.0;
    for (float& y : c.ValidValues()) {
      sum += double{y};
      y = static_cast<float>(sum * step);
    }
    return true;
  });
}

}  // namespace limes
