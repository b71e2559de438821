// Curve records of any bytes: read by every reader and version, used, written and read again.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "limes/platform/file_stream.h"
#include "limes/platform/print_window.h"
#include "limes/signals/extended_curve.h"

namespace {

using limes::CMemoryStream;
using limes::CurveReadStatus;

void Require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

/// Operations whose indices come from the bytes; none may leave the values.
void Use(limes::CSigCurve& curve) {
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
std::vector<std::uint8_t> Raw(const Curve& curve, unsigned version) {
  CMemoryStream file;
  Require(curve.WriteToFileRaw(file, version));
  return {file.Bytes().begin(), file.Bytes().end()};
}

template <class Curve>
void Run(std::span<const std::uint8_t> bytes, unsigned version) {
  CMemoryStream file(bytes);
  CMemoryStream again(bytes);
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
    const auto once = Raw(checked, 2);
    Curve back;
    CMemoryStream stored{std::span<const std::uint8_t>(once)};
    Require(back.ReadFromFileChecked(stored, 2) == CurveReadStatus::kOk);
    Require(Raw(back, 2) == once);
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

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto kQuiet =
      limes::PrWin::SetSink([](int, int, std::u16string_view) {});  // unit messages
  if (size == 0) {
    return 0;
  }
  const std::span<const std::uint8_t> bytes(data + 1, size - 1);
  const unsigned version = data[0] & 3U;
  if ((data[0] & 4U) != 0) {
    Run<limes::CSigCurveExt>(bytes, version);
  } else {
    Run<limes::CSigCurve>(bytes, version);
  }
  return 0;
}
