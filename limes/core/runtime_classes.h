#pragma once

#include "limes/platform/object.h"

namespace limes::detail {

/// The classes that the object archive creates by name; the records are defined, constant, beside
/// their classes.
extern const CRuntimeClass kCurveClass;     ///< CSigCurve
extern const CRuntimeClass kCurveExtClass;  ///< CSigCurveExt

}  // namespace limes::detail
