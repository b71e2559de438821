#pragma once

#include "limes/platform/object.h"

namespace limes::detail {

// The records are defined, constant, beside their classes, so that each may name its base.
extern const CRuntimeClass kArchivableClass;  ///< CSObject
extern const CRuntimeClass kRawClass;         ///< CSigRaw
extern const CRuntimeClass kSignalClass;      ///< CSignal
extern const CRuntimeClass kPairsClass;       ///< CSigPairs

// The classes that the object archive creates by name.
extern const CRuntimeClass kCurveClass;     ///< CSigCurve
extern const CRuntimeClass kCurveExtClass;  ///< CSigCurveExt

}  // namespace limes::detail
