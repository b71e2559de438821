#include "limes/kernels/compressed_vector.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/record_io.h"
#include "limes/signals/curve.h"
#include "limes/signals/extended_curve.h"

// The operations of the compressed vector that take a curve.

namespace limes {

int CCompressedVector::Komprimieren(const CSigCurve* curve, int method) {
  if (curve == nullptr) {
    return Komprimieren(nullptr, 0, 0.0F, 0.0F, method);
  }
  return Komprimieren(curve->ValArray(), static_cast<int>(curve->DLen()), curve->XMin(),
                      curve->XMax(), method);
}

int CCompressedVector::Dekomprimieren(CSigCurve* curve) const {
  if (curve == nullptr || !curve->AllocateValues(ValueCount())) {
    return 0;
  }
  Dekomprimieren(curve->ValArray());
  curve->SetXMinMax(head_.xFirst, head_.xLast);
  if (CSigCurveExt* const extended = AsExtended(curve)) {
    extended->ResetVMinMax();
  }
  return head_.dataBytes;
}

CurveReadStatus CCompressedVector::ReadInto(CSigCurve& curve, std::uint32_t room,
                                            CFileStream& file) {
  SHead head;
  const bool begun = ReadHead(file, head);
  if (begun && (head.IsByteCoded() || head.ValueCount() <= room || file.Remaining() < 0)) {
    return ReadData(file, head) ? CurveReadStatus::kOk : CurveReadStatus::kValues;
  }
  Clear();
  if (!begun) {
    return CurveReadStatus::kValues;
  }
  if (!curve.AllocateValues(head.ValueCount())) {
    return CurveReadStatus::kMemory;
  }
  detail::RecordReader in(file);
  if (!in.GetSpan(curve.Values()) || !in.Skip(static_cast<std::uint64_t>(head.dataBytes % 4))) {
    return CurveReadStatus::kValues;
  }
  curve.SetXMinMax(head.xFirst, head.xLast);
  return CurveReadStatus::kOk;
}

}  // namespace limes
