#include "limes/learning/learn_record.h"

#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

#include "limes/core/measuring_unit.h"
#include "limes/signals/extended_curve.h"

namespace limes::detail {
namespace {

/// Grid and valid range of a curve; name, units and values follow.
struct SCurveHead {
  std::uint32_t n = 0;
  float xMin = 0.0F;
  float xMax = 0.0F;
  float vMin = 0.0F;
  float vMax = 0.0F;
  std::int32_t iMin = 0;
  std::int32_t iMax = 0;
  float date = 0.0F;
  std::int32_t curveId = 0;
  float scaleFactor = 0.0F;

  static constexpr auto Fields(auto& h) {
    return std::tie(h.n, h.xMin, h.xMax, h.vMin, h.vMax, h.iMin, h.iMax, h.date, h.curveId,
                    h.scaleFactor);
  }

  bool IsConsistent() const {
    return n <= static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max()) &&
           std::isfinite(xMin) && std::isfinite(xMax) && !std::isnan(vMin) && !std::isnan(vMax) &&
           iMin >= 0 && iMax >= -1 && (n == 0 || iMin < std::int64_t{n}) && iMax < std::int64_t{n};
  }
};

}  // namespace

void PutText(RecordWriter& out, std::u16string_view text) {
  out.Put(static_cast<std::uint32_t>(text.size()));
  out.PutArray(std::span<const char16_t>(text));
}

bool GetText(RecordReader& in, wide_string& text) {
  std::uint32_t length = 0;
  std::vector<char16_t> characters;
  if (!in.Get(length) || !in.GetArray(characters, length)) {
    return false;
  }
  text.assign(characters.begin(), characters.end());
  return true;
}

void PutUnit(RecordWriter& out, const CMeasuringUnit& unit) {
  out.PutFields(SMeasuringUnitPOD(unit));
  PutText(out, unit.baseunit());
}

bool GetUnit(RecordReader& in, CMeasuringUnit& unit) {
  SMeasuringUnitPOD fields;
  wide_string base;
  if (!in.GetFields(fields) || !GetText(in, base)) {
    return false;
  }
  if (fields.unit >= CMeasuringUnit::kBuiltInUnits) {
    if (base.empty()) {
      return false;
    }
    CMeasuringUnit::UnitStrings& strings = CMeasuringUnit::UnitStrings::theStrings();
    fields.unit = strings.FindOrAdd(base, true, strings.Complains());
  }
  unit.set(fields.unit, fields.exponent, fields.power, fields.logref);
  unit.set_log((fields.flags & 1U) != 0);
  return true;
}

bool PutCurve(RecordWriter& out, const CSigCurveExt& curve) {
  SCurveHead head;
  head.n = curve.DLen();
  head.xMin = curve.XMin();
  head.xMax = curve.XMax();
  head.vMin = curve.VMin();
  head.vMax = curve.VMax();
  head.iMin = curve.IMin();
  head.iMax = curve.IMax();
  head.date = curve.Date();
  head.curveId = curve.CurveId();
  head.scaleFactor = curve.ScaleFactor();
  out.PutFields(head);
  PutText(out, curve.Name());
  PutUnit(out, curve.XUnit());
  PutUnit(out, curve.YUnit());
  out.PutArray(curve.Values());
  return head.IsConsistent();
}

LearnStateStatus GetCurve(RecordReader& in, CSigCurveExt& curve) {
  SCurveHead head;
  wide_string name;
  CMeasuringUnit xUnit;
  CMeasuringUnit yUnit;
  if (!in.GetFields(head) || !head.IsConsistent() || !GetText(in, name) || !GetUnit(in, xUnit) ||
      !GetUnit(in, yUnit) || !in.Fits(head.n, sizeof(float))) {
    return LearnStateStatus::kContent;
  }
  if (!curve.Resize(head.n)) {
    return LearnStateStatus::kMemory;
  }
  if (!in.GetSpan(curve.Values())) {
    return LearnStateStatus::kContent;
  }
  if (!curve.SetName(name)) {
    return LearnStateStatus::kMemory;
  }
  curve.SetXUnit(xUnit);
  curve.SetYUnit(yUnit);
  curve.SetXMinMax(head.xMin, head.xMax);
  curve.SetScaleFactor(head.scaleFactor);
  curve.Date(head.date);
  curve.CurveId(head.curveId);
  curve.RestoreValidRange(head.vMin, head.vMax, head.iMin, head.iMax);
  return LearnStateStatus::kOk;
}

}  // namespace limes::detail
