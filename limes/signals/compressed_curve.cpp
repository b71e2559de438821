#include "limes/kernels/compressed_vector.h"
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

}  // namespace limes
