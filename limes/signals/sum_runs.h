#pragma once

#include <array>
#include <cstdint>

namespace limes {

class CSigCurve;
class CSigCurveExt;

namespace detail {

/// Target values i0 to i1 - 1, each with the source's in turn.
struct SumRun {
  std::int64_t i0 = 0;
  std::int64_t i1 = 0;
  const float* source = nullptr;
};

/// What a weighted sum of extended curves adds where: the source's valid values (all of a plain
/// curve) in turn to the target's valid ones from IMin + offset on, both as far as there are
/// values. With one more the value behind the source's valid ones is added, too; the last one where
/// none is stored behind it, which is the second run.
std::array<SumRun, 2> SumRuns(const CSigCurveExt& target, const CSigCurve& source, int offset,
                              bool oneMore);

}  // namespace detail
}  // namespace limes
