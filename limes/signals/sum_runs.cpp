#include "limes/signals/sum_runs.h"

#include <algorithm>

#include "limes/signals/extended_curve.h"

namespace limes::detail {

std::array<SumRun, 2> SumRuns(const CSigCurveExt& target, const CSigCurve& source, int offset,
                              bool oneMore) {
  const CSigCurveExt* const extended = AsExtended(&source);
  const std::int64_t stored = source.DLen();
  const std::int64_t start = extended != nullptr ? extended->IMin() : 0;
  const std::int64_t end =
      extended != nullptr ? std::min(std::int64_t{extended->IMax()} + 1, stored) : stored;
  const std::int64_t shift = std::int64_t{target.IMin()} + offset - start;
  const std::int64_t i0 = std::max<std::int64_t>(start + shift, 0);
  const std::int64_t i1 = std::min({end + shift + (oneMore ? 1 : 0),
                                    std::int64_t{target.IMax()} + 1, std::int64_t{target.DLen()}});
  if (stored == 0 || i0 >= i1) {
    return {};
  }
  const float* const values = source.ValArray();
  const std::int64_t split = std::clamp(stored + shift, i0, i1);
  return {{{i0, split, i0 < split ? values + (i0 - shift) : nullptr},
           {split, i1, values + (stored - 1)}}};
}

}  // namespace limes::detail
