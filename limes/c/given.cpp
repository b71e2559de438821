#include "limes/c/given.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace limes::c {

std::optional<CMeasuringUnit> UnitOf(const char* text) {
  if (text == nullptr) {
    return std::nullopt;
  }
  if (*text == '\0') {
    return CMeasuringUnit();
  }
  if (std::string_view(text) == "dB") {
    return CMeasuringUnit().logref(1.0F);
  }
  bool exact = false;
  CMeasuringUnit unit = CMeasuringUnit::FromText(Utf8ToWide(text), &exact);
  if (!exact || unit.empty()) {
    throw SFailure{LIMES_UNIT, std::string("no known unit: ") + text};
  }
  return unit;
}

SRatedRule RuleOf(const limes_rule& rule) {
  SRatedRule made;
  Require(rule.sides >= LIMES_UPPER && rule.sides <= LIMES_BOTH, "no such sides");
  made.sides = static_cast<Sides>(rule.sides);
  made.base = rule.base;
  made.reject = rule.reject;
  made.timeScale = rule.time_scale;
  made.minParts = rule.min_parts;
  if (!std::isnan(rule.factor)) {
    made.factor = rule.factor;
  }
  Require(rule.precise == 0 || rule.precise == 1, "neither precise nor not");
  Require(made.IsValid(), "a rule with a number out of its range");
  return made;
}

limes_rule RuleOf(const SRatedRule& rule) {
  limes_rule made = {};
  made.size = sizeof made;
  made.sides = static_cast<std::int32_t>(rule.sides);
  made.time_scale = rule.timeScale;
  made.base = rule.base;
  made.reject = rule.reject;
  made.factor = rule.factor.value_or(kNone);
  made.min_parts = rule.minParts;
  return made;
}

Side SideOf(limes_side side) {
  Require(side == LIMES_UPPER || side == LIMES_LOWER, "no such side");
  return side == LIMES_UPPER ? Side::kUpper : Side::kLower;
}

namespace {

void MakeGrid(SLastCurve& last, const limes_curve& given, float end) {
  last.isSet = false;
  last.curve = CSigCurveExt::Make(static_cast<int>(given.count), static_cast<float>(given.x0), end);
  if (last.curve.DLen() != given.count) {
    throw std::bad_alloc();
  }
  last.curve.SetXUnit(UnitOf(given.x_unit).value_or(CMeasuringUnit()));
  CMeasuringUnit unit = UnitOf(given.unit).value_or(CMeasuringUnit());
  if (given.reference != 0.0) {
    Require(given.reference > 0.0 && std::isfinite(static_cast<float>(given.reference)),
            "a reference that is not above 0");
    unit.logref(static_cast<float>(given.reference));
  }
  last.curve.SetYUnit(unit);
  last.xUnit = given.x_unit == nullptr ? "" : given.x_unit;
  last.unit = given.unit == nullptr ? "" : given.unit;
  last.x0 = given.x0;
  last.dx = given.dx;
  last.reference = given.reference;
  last.isSet = true;
}

/// Infinite beyond what a float holds.
float ToFloat(double x) {
  constexpr double kMost = std::numeric_limits<float>::max();
  return std::fabs(x) > kMost ? std::copysign(std::numeric_limits<float>::infinity(),
                                              static_cast<float>(std::copysign(1.0, x)))
                              : static_cast<float>(x);
}

}  // namespace

SGivenCurve::SGivenCurve(SLastCurve& last, const limes_curve* given) : curve(last.curve) {
  Check(given, LeastSize<limes_curve>(kCurveSize));
  Require((given->floats != nullptr) != (given->doubles != nullptr) || given->count == 0,
          "values as floats or as doubles, not both");
  Require(given->count <= std::size_t{std::numeric_limits<std::int32_t>::max()}, "too many values");
  const double end = given->x0 + given->dx * static_cast<double>(given->count);
  Require(given->dx > 0.0 && std::isfinite(static_cast<float>(given->x0)) &&
              std::isfinite(static_cast<float>(end)),
          "x that is not finite or does not rise");
  if (!last.IsLike(*given)) {
    MakeGrid(last, *given, static_cast<float>(end));
  }
  if (given->floats != nullptr) {
    std::copy_n(given->floats, given->count, curve.ValArray());
  } else if (given->doubles != nullptr) {
    std::transform(given->doubles, given->doubles + given->count, curve.ValArray(), ToFloat);
  }
  covered = given->covered == nullptr ? std::span<const std::uint8_t>()
                                      : std::span(given->covered, given->count);
}

}  // namespace limes::c
