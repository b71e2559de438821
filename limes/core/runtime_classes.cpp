#include "limes/core/runtime_classes.h"

namespace limes::detail {

// Weak: the curves' own records take their place.
extern const CRuntimeClass kCurveClass __attribute__((weak));
extern const CRuntimeClass kCurveExtClass __attribute__((weak));
constinit const CRuntimeClass kCurveClass = {"CSigCurve", nullptr, nullptr};
constinit const CRuntimeClass kCurveExtClass = {"CSigCurveExt", nullptr, nullptr};

}  // namespace limes::detail
