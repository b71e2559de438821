#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "limes/signals/extended_curve.h"

namespace limes::host {

/// Points at which a spread cannot be told from rounding.
struct SCoarseSpread {
  std::int32_t points = 0;
  std::int32_t of = 0;        ///< that are learnt
  std::int64_t times = 0;     ///< the spread must be larger than the mean over this
  bool addsUp = false;        ///< it would be fewer points if fewer parts counted
  bool isPrecise = false;     ///< of means in double: the measured values are too coarse
  bool mayBePrecise = false;  ///< --precise would keep the spread

  std::string Fact() const;
  std::string Advice() const;
};

/// Of mean and mean square in single precision, rounded with each part: a spread far below the mean
/// drowns in that, the sooner the more parts count. counted(i): parts that count at a point.
SCoarseSpread CoarseSpread(const CSigCurveExt& meanSquare, const CSigCurveExt& spread,
                           const std::function<std::int64_t(std::int32_t)>& counted);

/// Of means in double, where only the measured values are rounded.
SCoarseSpread CoarseValues(const CSigCurveExt& mean, const CSigCurveExt& spread);

}  // namespace limes::host
