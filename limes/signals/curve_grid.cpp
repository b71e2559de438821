#include <algorithm>
#include <cmath>
#include <limits>

#include "limes/platform/conversions.h"
#include "limes/signals/curve.h"

namespace limes {

namespace {

constexpr std::uint32_t kFirstSize = 100;  ///< values that Resize gives an empty curve
constexpr float kFirstSpan = 100.0F;       ///< x span that Resize gives a curve without one

/// An x max that n steps from xMin lead to with exactly the step's bits, if a float near the guess
/// does; otherwise the guess. Curves are compared by their step.
float EndOfGrid(float xMin, std::uint32_t n, float step, float guess) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  const float up = std::nextafter(guess, kInfinity);
  const float down = std::nextafter(guess, -kInfinity);
  for (const float xMax :
       {guess, up, down, std::nextafter(up, kInfinity), std::nextafter(down, -kInfinity)}) {
    if ((xMax - xMin) / static_cast<float>(n) == step) {
      return xMax;
    }
  }
  return guess;
}

/// Steps from the start, a whole number when within a thousandth of one.
double SnapSteps(double steps) {
  const double whole = std::round(steps);
  return std::fabs(steps - whole) < 0.001 ? whole : steps;
}

}  // namespace

void CSigCurve::CutLeft(float x) {
  int i = 0;
  if (!GetIndexValidate(x, i)) {
    return;
  }
  ShiftData(-i);
  Shorten(DLen() - static_cast<std::uint32_t>(i));
  xMin_ = x;  // kept: the given x, not its grid point, so that x min is what was asked for
  SetXLen(DLen());
}

void CSigCurve::CutRight(float x) {
  int i = 0;
  if (!GetIndexValidate(x, i)) {
    return;
  }
  Shorten(static_cast<std::uint32_t>(i) + 1);
  xMax_ = x;  // kept: the given x, not one step behind the last value; the step changes
  SetXLen(DLen());
}

void CSigCurve::CutLR(float a, float b) {
  CutLeft(a);
  CutRight(b);
}

CSigCurve& CSigCurve::CutPositive() {
  CutRight(0.0F);
  return *this;
}

CSigCurve& CSigCurve::CutNegative() {
  CutLeft(0.0F);
  return *this;
}

int CSigCurve::Resize(float& a, float& b) {
  if (DLen() == 0 && !CSignal::Resize(kFirstSize)) {
    return 0;
  }
  if (xMax_ == xMin_) {
    xMax_ = xMin_ + kFirstSpan;
  }
  const int ia = GetIndexA(a);
  const int ib = GetIndexA(b);
  a = GetPoint(ia);
  b = GetPoint(ib);
  const std::int64_t n = std::int64_t{ib} - ia;
  if (n <= 0 || n > std::int64_t{kMaxWords} || !Reserve(static_cast<std::uint32_t>(n)) ||
      !TrySetXLen(static_cast<std::uint32_t>(n))) {
    return 0;
  }
  ShiftData(-std::max(ia, -std::numeric_limits<int>::max()));
  if (!Resize(static_cast<unsigned>(n))) {
    return 0;
  }
  xMin_ = a;
  xMax_ = b;
  GridChanged(true, 0);
  return 1;
}

bool CSigCurve::ExtendRange(float a, float b) {
  if (!HasXSpan() || !(a <= b)) {
    return false;
  }
  const double step = (double{xMax_} - double{xMin_}) / DLen();
  const double qa = SnapSteps((double{a} - double{xMin_}) / step);
  const double qb = SnapSteps((double{b} - double{xMin_}) / step);
  const std::int64_t first = std::min<std::int64_t>(TruncToInt64(std::floor(std::min(qa, qb))), 0);
  const std::int64_t end =
      std::max<std::int64_t>(TruncToInt64(std::ceil(std::max(qa, qb))), DLen());
  constexpr std::int64_t kMost = kMaxWords;
  if (first < -kMost || end > kMost || end - first > kMost) {
    return false;
  }
  const float xMin = GetPoint(static_cast<int>(first));
  const auto n = static_cast<std::uint32_t>(end - first);
  const float xMax = EndOfGrid(xMin, n, XDelta(), GetPoint(static_cast<int>(end)));
  if (!CSignal::Resize(n)) {
    return false;
  }
  ShiftData(static_cast<int>(-first));
  xMin_ = xMin;
  xMax_ = xMax;
  GridChanged(false, -first);
  return true;
}

bool CSigCurve::CutToGrid(float a, float b) {
  const int first = GetIndex(a);
  const int last = GetIndex(b);
  if (!HasXSpan() || std::isnan(a) || std::isnan(b) || last < first) {
    return false;
  }
  const float xMin = GetPoint(first);
  const auto n = static_cast<std::uint32_t>(last - first) + 1;
  const float xMax = EndOfGrid(xMin, n, XDelta(), GetPoint(last + 1));
  if (!TrySetXLen(n)) {
    return false;
  }
  ShiftData(-first);
  Shorten(n);
  xMin_ = xMin;
  xMax_ = xMax;
  GridChanged(false, -std::int64_t{first});
  return true;
}

void CSigCurve::GridChanged(bool /*whole*/, std::int64_t /*shift*/) {}

CSigCurve& CSigCurve::MirrorX() {
  std::reverse(FloatData(), FloatData() + DLen());
  const float xMax = xMax_;
  xMax_ = -xMin_;
  xMin_ = -xMax;
  return *this;
}

}  // namespace limes
