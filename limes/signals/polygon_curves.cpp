#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "limes/kernels/polygon_coding.h"
#include "limes/signals/curve.h"
#include "limes/signals/extended_curve.h"

// The operations of the polyline that take a curve.

namespace limes {
namespace {

// Joins the samples i0 to i1 - 1 with the values line(i - i0), by the mode. A difference of 32 bits
// becomes a float in vectors.
template <class Line>
void Join(float* v, std::int64_t i0, std::int64_t i1, int mode, Line line) {
  const auto n = static_cast<std::int32_t>(i1 - i0);
  const auto each = [v = v + i0, n, line](auto take) {
    for (std::int32_t k = 0; k < n; ++k) {
      v[k] = take(v[k], line(k));
    }
  };
  switch (mode) {
    case CPolygonCodierung::kUpperLimit:
      each([](float x, float p) { return x > p ? p : x; });
      break;
    case CPolygonCodierung::kReplace:
    case CPolygonCodierung::kReplaceBetween:
      each([](float, float p) { return p; });
      break;
    default:
      each([](float x, float p) { return x < p ? p : x; });
  }
}

// Joins the samples from that of the point (i0, y0) to that of (i1, y1), as far as there are any.
void JoinSegment(float* v, std::int64_t n, std::int64_t i0, float y0, std::int64_t i1, float y1,
                 int mode) {
  if (i1 < 0 || i1 < i0 || i0 >= n) {
    return;
  }
  if (i0 == i1) {
    const float mean = (y0 + y1) / 2.0F;
    Join(v, i0, i0 + 1, mode, [mean](std::int32_t) { return mean; });
    return;
  }
  if (i0 >= 0) {
    Join(v, i0, i0 + 1, mode, [y0](std::int32_t) { return y0; });  // y0 even with an infinite slope
  }
  const float slope = (y1 - y0) / static_cast<float>(i1 - i0);
  const std::int64_t first = std::max<std::int64_t>(i0 + 1, 0);
  const std::int64_t end = std::min(i1 + 1, n);
  const auto join = [=](auto skipped) {
    Join(v, first, end, mode,
         [=](std::int32_t k) { return y0 + static_cast<float>(skipped + k) * slope; });
  };
  if (i1 - i0 < std::numeric_limits<std::int32_t>::max()) {
    join(static_cast<std::int32_t>(first - i0));
  } else {
    join(first - i0);
  }
}

// Calls see(x, difference) for each valid sample in the polyline's x range, unless one is NaN.
template <class See>
void ForEachDistance(const CPolygonCodierung& polygon, const CSigCurve& curve, int mode, See see) {
  const SIndexRange valid = curve.ValidIndices();
  for (std::int64_t i = valid.first; i <= valid.last; ++i) {
    const float x = curve.GetPoint(static_cast<int>(i));
    if (!polygon.LiegtImBereich(x)) {
      continue;
    }
    const double above = double{curve.ValArray()[i]} - double{polygon.WertBei(x)};
    const double difference = mode == CPolygonCodierung::kAbove   ? above
                              : mode == CPolygonCodierung::kBelow ? -above
                                                                  : std::fabs(above);
    if (!std::isnan(difference)) {
      see(x, difference);
    }
  }
}

}  // namespace

void CPolygonCodierung::Apply(CSigCurve* curve, int mode, float dx, float dy,
                              bool fromBeside) const {
  if (points_.empty() || curve == nullptr || curve->DLen() == 0 || curve->XMin() == curve->XMax()) {
    return;
  }
  float* const v = curve->ValArray();
  const std::int64_t n = curve->DLen();
  const auto joinFlat = [&](std::int64_t from, std::int64_t to, float y) {
    Join(v, std::clamp<std::int64_t>(from, 0, n), std::min(to, n), mode,
         [y](std::int32_t) { return y; });
  };
  const auto isTreated = [=](std::int64_t i) {
    return mode != kReplaceBetween && (fromBeside || (i >= 0 && i < n));
  };
  const auto moved = [dy](float y) { return dy == 0.0F ? y : y + dy; };  // 0.0 would turn -0.0
  std::int64_t i0 = curve->GetIndexA(points_.front().x + dx);
  if (isTreated(i0)) {
    joinFlat(0, i0 + 1, moved(points_.front().y));
  }
  for (std::size_t k = 1; k < points_.size(); ++k) {
    const std::int64_t i1 = curve->GetIndexA(points_[k].x + dx);
    JoinSegment(v, n, i0, moved(points_[k - 1].y), i1, moved(points_[k].y), mode);
    i0 = i1;
  }
  if (isTreated(i0)) {
    joinFlat(i0 + 1, n, moved(points_.back().y));
  }
}

void CPolygonCodierung::KurveBegrenzen(CSigCurve* curve, int mode) const {
  Apply(curve, mode, 0.0F, 0.0F, false);
}

void CPolygonCodierung::LimitCurveFlat(CSigCurve* curve, int mode) const {
  Apply(curve, mode, 0.0F, 0.0F, true);
}

void CPolygonCodierung::KurveBilden(CSigCurve* curve) const {
  if (!Gueltig(true) || curve == nullptr) {
    return;
  }
  curve->SetXMinMax(points_.front().x, points_.back().x);
  KurveBegrenzen(curve, kReplace);
  if (CSigCurveExt* const extended = AsExtended(curve)) {
    extended->ResetVMinMax();
  }
}

void CPolygonCodierung::HutAufsetzen(CSigCurve* curve, float dx, float dy) const {
  Apply(curve, kReplaceBetween, dx, dy, false);
}

float CPolygonCodierung::MaxKurvenAbstand(const CSigCurve& curve, float* position, int mode) const {
  double largest = 0.0;
  bool found = false;
  ForEachDistance(*this, curve, mode, [&](float x, double difference) {
    if (!found || difference > largest) {
      largest = difference;
      found = true;
      if (position != nullptr) {
        *position = x;
      }
    }
  });
  return static_cast<float>(largest);
}

float CPolygonCodierung::IntegralAbstand(const CSigCurve& curve, int mode) const {
  double sum = 0.0;
  ForEachDistance(*this, curve, mode,
                  [&sum](float, double difference) { sum += std::max(difference, 0.0); });
  return static_cast<float>(sum * double{curve.XDelta()});
}

}  // namespace limes
