#pragma once

#include <string>

namespace limes::host {

/// Digits of places along an axis and of what a page computes with.
inline constexpr int kPlaceDigits = 6;

/// The number nearest to a value that has so many digits, at least 1.
double Rounded(double value, int digits);

/// A number as people read it: four digits, or as many as show two digits of a resolution, which is
/// what it is to be told apart by.
std::string Brief(double value, double resolution = 0.0);

/// A place along an axis.
std::string PlaceNumber(double value);

/// A share as a percentage.
std::string Percent(double share);

/// A text of a number and its unit, where there is one.
std::string WithUnit(const std::string& number, const std::string& unit);

}  // namespace limes::host
