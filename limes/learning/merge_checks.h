#pragma once

#include "limes/learning/learn_merge.h"

namespace limes {

class CSigCurveExt;

namespace detail {

/// Whether two curves have the same points and units; kGrid for null and without points.
MergeStatus CheckCurves(const CSigCurveExt* a, const CSigCurveExt* b);

}  // namespace detail
}  // namespace limes
