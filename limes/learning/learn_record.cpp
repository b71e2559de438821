#include "limes/learning/learn_record.h"

#include <cmath>
#include <limits>
#include <tuple>
#include <typeinfo>

#include "limes/core/measuring_unit.h"
#include "limes/signals/extended_curve.h"

namespace limes::detail {
namespace {

struct SHead {
  std::uint32_t magic = 0x534D494C;  ///< "LIMS"
  std::uint16_t version = 1;
  std::uint16_t kind = 0;
  std::uint64_t payloadBytes = 0;

  static constexpr auto Fields(auto& h) {
    return std::tie(h.magic, h.version, h.kind, h.payloadBytes);
  }
};

constexpr std::size_t kSizeAt = 8;  ///< of payloadBytes in the record
constexpr std::size_t kHeadBytes = 16;

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

void BeginLearnState(RecordWriter& record, LearnStateKind kind, std::uint16_t version) {
  SHead head;
  head.version = version;
  head.kind = static_cast<std::uint16_t>(kind);
  record.PutFields(head);
}

void FinishLearnState(RecordWriter& record, CFileStream& file) {
  record.PutAt(kSizeAt, std::uint64_t{record.Bytes().size() - kHeadBytes});
  record.Put(Crc32(record.Bytes()));
  record.WriteTo(file);
}

constexpr std::uint16_t kNewestVersion = 2;  ///< of any kind of limit

namespace {

/// The next n bytes, which the stream may still hold; those of a memory stream stay where they are.
bool GetPayload(CFileStream& file, RecordReader& in, std::uint64_t n, SPayload& payload) {
  if (typeid(file) == typeid(CMemoryStream)) {
    const auto at = static_cast<std::size_t>(file.Position());
    const auto size = static_cast<std::size_t>(n);
    payload.bytes = static_cast<CMemoryStream&>(file).Bytes().subspan(at, size);
    file.Seek(static_cast<std::int64_t>(at + size));
    return true;
  }
  const bool read = in.GetArray(payload.made, n);
  payload.bytes = payload.made;
  return read;
}

}  // namespace

LearnStateStatus ReadPayload(CFileStream& file, LearnStateKind kind, SPayload& payload,
                             std::uint16_t& version) {
  RecordReader in(file);
  SHead head;
  if (!in.GetFields(head)) {
    return LearnStateStatus::kCutShort;
  }
  if (head.magic != SHead().magic) {
    return LearnStateStatus::kNoState;
  }
  const bool ofThisKind = head.kind == static_cast<std::uint16_t>(kind);
  if (head.version < 1 || head.version > (ofThisKind ? version : kNewestVersion)) {
    return LearnStateStatus::kVersion;
  }
  version = head.version;
  std::uint32_t stated = 0;
  if (!in.Fits(head.payloadBytes, 1)) {
    return LearnStateStatus::kCutShort;
  }
  if (!GetPayload(file, in, head.payloadBytes, payload)) {
    // With bytes enough, the array was not made: memory is short.
    return payload.made.size() < head.payloadBytes && in.Remaining() > 0
               ? LearnStateStatus::kMemory
               : LearnStateStatus::kCutShort;
  }
  if (!in.Get(stated)) {
    return LearnStateStatus::kCutShort;
  }
  RecordWriter bytes;
  bytes.PutFields(head);
  if (Crc32(payload.bytes, Crc32(bytes.Bytes())) != stated) {
    return LearnStateStatus::kChecksum;
  }
  return ofThisKind ? LearnStateStatus::kOk : LearnStateStatus::kOtherKind;
}

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

bool PutMeans(RecordWriter& out, const SLearntMeans& learnt, std::size_t bytesBehind) {
  constexpr std::size_t kTexts = 1024;  // heads, names and units, roughly
  out.Reserve(2 * sizeof(float) * learnt.mean->DLen() + bytesBehind + kTexts);
  PutText(out, learnt.name);
  return PutCurve(out, *learnt.mean) && PutCurve(out, *learnt.meanSquare);
}

LearnStateStatus GetMeans(RecordReader& in, SLearntMeans& learnt) {
  if (!GetText(in, learnt.name)) {
    return LearnStateStatus::kContent;
  }
  for (std::shared_ptr<CSigCurveExt>* const curve : {&learnt.mean, &learnt.meanSquare}) {
    *curve = std::make_shared<CSigCurveExt>();
    if (const LearnStateStatus status = GetCurve(in, **curve); status != LearnStateStatus::kOk) {
      return status;
    }
  }
  return learnt.IsWhole() ? LearnStateStatus::kOk : LearnStateStatus::kContent;
}

}  // namespace limes::detail
