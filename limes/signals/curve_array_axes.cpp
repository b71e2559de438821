// T and x axis, search and time of the curve array.

#include <algorithm>
#include <cmath>
#include <limits>

#include "limes/platform/conversions.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"

namespace limes {

namespace {

/// T of a curve for searches: an empty slot lies nowhere.
float Place(const CSigCurveExt* curve) {
  return curve == nullptr ? std::numeric_limits<float>::quiet_NaN() : curve->Date();
}

}  // namespace

void CSigCurveArray::TBereich(float tMin, float tMax, float dt) {
  if (!(tMin <= tMax)) {
    return;
  }
  tMin_ = tMin;
  tvMin_ = tMin;
  tMax_ = tMax;
  tvMax_ = tMax;
  if (dt > 0.0F) {
    tDelta_ = dt;
  } else {
    tDelta_ = count_ >= 1 ? (tMax - tMin) / static_cast<float>(count_) : 1.0F;
  }
}

void CSigCurveArray::TVBereich(float min, float max) {
  const auto inside = [this](float t, float otherwise) {
    return std::isnan(t) ? otherwise : std::max(tMin_, std::min(tMax_, t));
  };
  tvMin_ = inside(min, tMin_);
  tvMax_ = inside(max, tMax_);
}

void CSigCurveArray::XVBereich(float min, float max) {
  vBereich_ = {min, max};
  if (const CSigCurveExt* const curve = FirstCurve()) {
    vBereich_ = {std::max(min, curve->XMin()), std::min(max, curve->XMax())};
  }
}

/// The x range becomes the first curve's.
void CSigCurveArray::TakeVBereich() {
  if (const CSigCurveExt* const curve = FirstCurve()) {
    vBereich_ = {curve->XMin(), curve->XMax()};
  }
}

void CSigCurveArray::AlleKurvenBereich(float xMin, float xMax, const CMeasuringUnit& xUnit,
                                       const CMeasuringUnit& yUnit) {
  for (int i = 0; i < count_; ++i) {
    if (CSigCurveExt* const curve = Slot(i)) {
      curve->SetXMinMax(xMin, xMax);
      curve->SetXUnit(xUnit);
      curve->SetYUnit(yUnit);
      curve->ResetVMinMax();
    }
  }
  vBereich_ = {xMin, xMax};
  xUnit_ = xUnit;
  yUnit_ = yUnit;
}

float CSigCurveArray::XDelta() const {
  const CSigCurveExt* const curve = FirstCurve();
  return curve == nullptr ? 0.0F : curve->XDelta();
}

float CSigCurveArray::TPos(int i) const {
  const CSigCurveExt* const curve = Slot(i);
  return curve == nullptr ? 0.0F : curve->Date();
}

void CSigCurveArray::TPos(int i, float t) {
  if (CSigCurveExt* const curve = Slot(i)) {
    curve->Date(t);
  }
}

int CSigCurveArray::FindeKurveZu(float t, int start) const {
  for (int i = std::max(start, 0); i < count_ - 1; ++i) {
    if (Place(Slot(i + 1)) > t) {
      return i;
    }
  }
  return count_ - 1;
}

int CSigCurveArray::FindeKurveHinter(float t, int start) const {
  int i = std::max(start, 0);
  while (i < count_ && !(Place(Slot(i)) >= t)) {
    ++i;
  }
  return i;
}

int CSigCurveArray::FindeKurveZuExtData(const CObject* data, int start) const {
  for (int i = std::max(start, 0); i < count_ - 1; ++i) {
    const CSigCurveExt* const next = Slot(i + 1);
    if (next != nullptr && next->ExtData() == data) {
      return i;
    }
  }
  return -1;
}

/// Place of curve i in the interval of a time series: 0 at its start, 1 at its end.
double CSigCurveArray::Fraction(int i) const { return TPos(i) / timeFactor_; }

std::int64_t CSigCurveArray::ZeitPos(int i) const {
  const double seconds = Fraction(i) * time_.Span();
  return std::isnan(seconds) ? time_.Start() : SaturatingSum(time_.Start(), TruncToInt64(seconds));
}

std::int64_t CSigCurveArray::ErsteZeit() const { return count_ > 0 ? ZeitPos(0) : StartZeit(); }

std::int64_t CSigCurveArray::LetzteZeit() const {
  return count_ > 0 ? ZeitPos(count_ - 1) : EndZeit();
}

bool CSigCurveArray::ZeitImBereich(std::int64_t time) const {
  const auto t = static_cast<float>(time_.ToFloat(time) * timeFactor_);
  return timeSeries_ && count_ > 0 && TPos(0) <= t && t <= TPos(count_ - 1);
}

void CSigCurveArray::ZeitraumAendern(std::int64_t start, std::int64_t end) {
  if (!timeSeries_) {
    return;
  }
  const CTimeFloatScaling changed(start, end);
  for (int i = 0; i < count_; ++i) {
    TPos(i, static_cast<float>(changed.ToFloat(ZeitPos(i)) * timeFactor_));
  }
  time_ = changed;
}

int CSigCurveArray::KurveBei(std::int64_t time, int start) const {
  return FindeKurveZu(static_cast<float>(time_.ToFloat(time) * timeFactor_), start);
}

}  // namespace limes
