// Curve records of any bytes: read by every reader and version, used, written and read again.
#include <cmath>

#include "fuzz/fuzz.h"
#include "limes/signals/extended_curve.h"

namespace limes::fuzz {
namespace {

/// Operations whose indices come from the bytes; none may leave the values.
void Use(CSigCurve& curve) {
  float lo = 0;
  float hi = 0;
  int index = 0;
  const float middle = curve.XMin() + (curve.XMax() - curve.XMin()) * 0.7F;
  for (const float x : {curve.XMin(), curve.XMax(), middle, 0.0F, std::nanf("")}) {
    static_cast<void>(curve.GetValue(x) + curve.PointDistance(x, 1, &index));
    Require(curve.GetIndex(x) >= 0 && curve.GetIndex(x) <= static_cast<int>(curve.DLen()));
    curve.GetYRangeX(lo, hi, x, middle);
  }
  curve.GetYRange(lo, hi);
  static_cast<void>(curve.YRange());
}

template <class Curve>
void Run(Input input, unsigned version) {
  CMemoryStream file(input);
  CMemoryStream again(input);
  Curve curve(3);
  Curve checked(3);
  const bool ok = curve.ReadFromFile(file, version);
  const CurveReadStatus status = checked.ReadFromFileChecked(again, version);
  Require(curve.XLen() == curve.DLen() || curve.IsSigCurveExt());
  Require(status == CurveReadStatus::kOk || checked.DLen() == 3);
  Require(ok || status != CurveReadStatus::kOk);
  Use(curve);
  if (status == CurveReadStatus::kOk) {
    // A unit registered by its text has no text in the record, so it does not come back.
    checked.ClearUnits();
    const auto write = [](const Curve& c, CFileStream& f) { return c.WriteToFileRaw(f, 2); };
    const auto read = [](Curve& c, CFileStream& f) {
      return c.ReadFromFileChecked(f, 2) == CurveReadStatus::kOk;
    };
    Require(RoundTrip(curve, Written(checked, write), read, write));
  }
  curve.CutLeft(curve.XMin() + 1);
  curve.CutRight(curve.XMax() - 1);
  float a = curve.XMin() - 2;
  float b = curve.XMin() + 40 * curve.XDelta();
  if (std::fabs(a) < 1e3F && curve.XDelta() > 0.01F && curve.XDelta() < 1e6F) {
    curve.Resize(a, b);
  }
  Use(curve);
}

}  // namespace

void Try(Input input) {
  const unsigned way = TakeByte(input);
  ((way & 4U) != 0 ? Run<CSigCurveExt> : Run<CSigCurve>)(input, way & 3U);
}

}  // namespace limes::fuzz
