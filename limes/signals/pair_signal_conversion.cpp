#include <algorithm>
#include <cstdint>

#include "limes/kernels/pair_loops.h"
#include "limes/kernels/polygon_coding.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/pair_signal.h"

namespace limes {

namespace {

/// Line from index a to index b of a curve, as far as it lies on the indices used.
void DrawSegment(float* values, const SIndexRange& used, std::int64_t a, float ya, std::int64_t b,
                 float yb) {
  if (b < used.first || b < a || a > used.last) {
    return;
  }
  if (a == b) {
    values[b] = (ya + yb) * 0.5F;
    return;
  }
  const float slope = (yb - ya) / static_cast<float>(b - a);
  float value = ya;
  if (a < used.first) {
    value = ya + static_cast<float>(used.first - a) * slope;
    a = used.first;
  }
  b = std::min(b, used.last);
  for (; a <= b; ++a) {
    values[a] = value;
    value += slope;
  }
}

}  // namespace

void CSigPairs::AusSigCurveBilden(const CSigCurve& curve) {
  EmptyRun();
  if (curve.DLen() == 0 || !NeueGroesse(curve.DLen())) {
    return;
  }
  SetName(curve.Name());
  TakeUnits(curve);
  const SIndexRange used = curve.ValidIndices();
  if (!used.IsEmpty()) {
    // In double, as floats would drift by many steps over a long curve.
    const double step = (double{curve.XMax()} - double{curve.XMin()}) / curve.DLen();
    double x = curve.GetPoint(static_cast<int>(used.first));
    detail::XyPair* pair = Pairs();
    for (std::int64_t i = used.first; i <= used.last; ++i, ++pair) {
      *pair = {static_cast<float>(x), curve.ValArray()[i]};
      x += step;
    }
    SetCount(static_cast<std::uint32_t>(used.Size()));
    NoteOrder();
  }
  sorted_ = true;
  inverse_ = false;
}

void CSigPairs::KurveBilden(CSigCurve* target, bool setXRange) const {
  const std::uint32_t n = NPaare();
  if (target == nullptr || target->DLen() == 0 || n < 2) {
    return;
  }
  target->SetName(Name());
  target->TakeUnits(*this);
  const bool falling = Punkt(n - 1) <= Punkt(0);
  const float lo = Punkt(falling ? n - 1 : 0);
  const float hi = Punkt(falling ? 0 : n - 1);
  target->SetScaleFactor(falling ? -1.0F : 1.0F);
  if (setXRange) {
    target->SetXMinMax(lo, hi);
  }
  if (CSigCurveExt* const extended = AsExtended(target)) {
    extended->SetVMinMax(lo, hi);
  }
  const SIndexRange used = target->ValidIndices();
  float* const values = target->ValArray();
  int before = target->GetIndexA(Punkt(0));
  for (std::uint32_t i = 1; i < n; ++i) {
    const int at = target->GetIndexA(Punkt(i));
    if (falling) {
      DrawSegment(values, used, at, Wert(i), before, Wert(i - 1));
    } else {
      DrawSegment(values, used, before, Wert(i - 1), at, Wert(i));
    }
    before = at;
  }
}

void CSigPairs::AusPolygonCodierungBilden(const CPolygonCodierung& polygon) {
  EmptyRun();
  for (const auto& point : polygon.Points()) {
    if (NeuesPaar(point.x, point.y) == 0) {
      break;
    }
  }
  PruefeSortierung();
}

}  // namespace limes
