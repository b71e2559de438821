#include "limes/kernels/compressed_vector.h"
#include "limes/signals/curve.h"
#include "limes/signals/extended_curve.h"

// The operations of the compressed vector that take a curve.

namespace limes {

int CCompressedVector::Komprimieren(const CSigCurve* curve, int method) {
  if (curve == nullptr) {
    return 0;
  }
  return Komprimieren(curve->ValArray(), static_cast<int>(curve->DLen()), curve->XMin(),
                      curve->XMax(), method);
}

int CCompressedVector::Dekomprimieren(CSigCurve* curve) const {
  if (curve == nullptr) {
    return 0;
  }
  return 0;
}

}  // namespace limes
