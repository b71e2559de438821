#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "limes/signals/extended_curve.h"

namespace limes::detail {

/// Indices of a curve's values that count.
struct SPointRange {
  std::int64_t first = 0;
  std::int64_t last = -1;

  bool IsEmpty() const { return first > last; }
  std::size_t Size() const { return IsEmpty() ? 0 : static_cast<std::size_t>(last - first + 1); }
};

/// Those of the valid range, kept inside the values.
inline SPointRange ValidRange(const CSigCurveExt& c) {
  return {std::max<std::int64_t>(c.IMin(), 0),
          std::min<std::int64_t>(c.IMax(), std::int64_t{c.DLen()} - 1)};
}

/// The valid values themselves.
inline std::span<float> ValidPoints(CSigCurveExt& c) {
  const SPointRange range = ValidRange(c);
  return range.IsEmpty() ? std::span<float>()
                         : c.Values().subspan(static_cast<std::size_t>(range.first), range.Size());
}

}  // namespace limes::detail
