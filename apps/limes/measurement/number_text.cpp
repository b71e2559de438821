#include "apps/limes/measurement/number_text.h"

#include <algorithm>
#include <cmath>

#include "apps/limes/errors.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// Place of the first digit: 0 for the ones, 1 for the tens.
int Magnitude(double value) { return static_cast<int>(std::floor(std::log10(std::fabs(value)))); }

}  // namespace

double Rounded(double value, int digits) {
  if (value == 0.0 || !std::isfinite(value)) {
    return value == 0.0 ? 0.0 : value;
  }
  const int decimals = std::clamp(digits - 1 - Magnitude(value), -300, 300);
  const double unit = std::pow(10.0, std::abs(decimals));
  const double rounded =
      decimals < 0 ? std::round(value / unit) * unit : std::round(value * unit) / unit;
  return std::isfinite(rounded) ? rounded : value;
}

std::string Brief(double value, double resolution) {
  constexpr int kDigits = 4;
  const bool told = value != 0.0 && resolution > 0.0 && std::isfinite(resolution);
  const int digits =
      told && std::isfinite(value) ? 2 + Magnitude(value) - Magnitude(resolution) : 0;
  return NumberText(Rounded(value, std::max(kDigits, digits)));
}

std::string PlaceNumber(double value) { return NumberText(Rounded(value, kPlaceDigits)); }

std::string Percent(double share) { return Brief(100.0 * share) + " %"; }

std::string WithUnit(const std::string& number, const std::string& unit) {
  return unit.empty() ? number : number + " " + unit;
}

}  // namespace limes::host
