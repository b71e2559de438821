#include <algorithm>
#include <cmath>

#include "limes/kernels/value_loops.h"
#include "limes/platform/memory_errors.h"
#include "limes/signals/curve.h"

namespace limes {

namespace {

std::size_t Common(const CSigCurve& a, const CSigCurve& b) { return std::min(a.DLen(), b.DLen()); }

/// base to an integer power by repeated squaring; a negative one is the reciprocal.
double IntegerPower(double base, int exponent) {
  double power = 1.0;
  for (int rest = std::abs(exponent); rest > 0; rest /= 2) {
    if (rest % 2 != 0) {
      power *= base;
    }
    base *= base;
  }
  return exponent < 0 ? 1.0 / power : power;
}

/// Changes the unit of y; false, with nothing changed, when memory is short.
template <class Change>
bool ChangeYUnit(CSigCurve& curve, Change change) {
  return detail::IfMemoryAllows([&] {
    CMeasuringUnit unit = curve.YUnit();
    change(unit);
    curve.SetYUnit(unit);
  });
}

}  // namespace

CSigCurve& CSigCurve::operator=(float c) {
  detail::FillValues(FloatData(), DLen(), c);
  return *this;
}

CSigCurve& CSigCurve::operator+=(float c) {
  detail::AddConstant(FloatData(), DLen(), c);
  return *this;
}

CSigCurve& CSigCurve::operator-=(float c) {
  detail::SubtractConstant(FloatData(), DLen(), c);
  return *this;
}

CSigCurve& CSigCurve::operator*=(float c) {
  detail::MultiplyBy(FloatData(), DLen(), c);
  return *this;
}

CSigCurve& CSigCurve::operator/=(float c) { return c == 0.0F ? *this : *this *= 1.0F / c; }

void CSigCurve::Add(float c) { CSigCurve::operator+=(c); }

void CSigCurve::Scale(float c) { *this *= c; }

CSigCurve& CSigCurve::operator+=(const CSigCurve& other) {
  detail::AddValues(FloatData(), other.FloatData(), Common(*this, other));
  return *this;
}

CSigCurve& CSigCurve::operator-=(const CSigCurve& other) {
  detail::SubtractValues(FloatData(), other.FloatData(), Common(*this, other));
  return *this;
}

void CSigCurve::AddWithWeight(const CSigCurve& other, float w) {
  detail::AddScaled(FloatData(), other.FloatData(), Common(*this, other), w);
}

void CSigCurve::AddSquared(const CSigCurve& other, float w) {
  detail::AddScaledSquares(FloatData(), other.FloatData(), Common(*this, other), w);
}

void CSigCurve::SubtractSquared(const CSigCurve& other) {
  detail::SubtractSquares(FloatData(), other.FloatData(), Common(*this, other));
}

void CSigCurve::Min(const CSigCurve& other) {
  detail::TakeSmaller(FloatData(), other.FloatData(), Common(*this, other));
}

void CSigCurve::Max(const CSigCurve& other) {
  detail::TakeLarger(FloatData(), other.FloatData(), Common(*this, other));
}

void CSigCurve::Abs() { detail::AbsoluteValues(FloatData(), DLen()); }

CSigCurve& CSigCurve::MirrorY() {
  detail::NegateValues(FloatData(), DLen());
  return *this;
}

void CSigCurve::Clip(float limit, bool upper) {
  if (upper) {
    detail::LowerTo(FloatData(), DLen(), limit);
  } else {
    detail::RaiseTo(FloatData(), DLen(), limit);
  }
}

CSigCurve& CSigCurve::Square() {
  if (ChangeYUnit(*this, [](CMeasuringUnit& unit) { unit.power(2); })) {
    detail::SquareValues(FloatData(), DLen());
  }
  return *this;
}

CSigCurve& CSigCurve::SquareRoot() {
  if (ChangeYUnit(*this, [](CMeasuringUnit& unit) { static_cast<void>(unit.root(2)); })) {
    detail::RootOfValues(FloatData(), DLen());
  }
  return *this;
}

CSigCurve& CSigCurve::Log(float ref) {
  const int p = YUnit().power();
  const auto level = [=](CMeasuringUnit& unit) {
    if (unit.root(static_cast<short>(p))) {
      unit.set(unit.Unit_e(), unit.exponent(), unit.power(), ref);
    }
  };
  if (p == 0 || !ChangeYUnit(*this, level)) {
    return *this;
  }
  const double k = IntegerPower(double{ref}, -p);
  const double factor = 20.0 / p;
  for (float& v : Values()) {
    v = v > 0.0F ? static_cast<float>(factor * std::log10(double{v} * k)) : 0.0F;
  }
  return *this;
}

}  // namespace limes
