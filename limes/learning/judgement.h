#pragma once

#include <cstdint>

#include "limes/export.h"
#include "limes/platform/text.h"

namespace limes {

/// What a limit says of a part.
enum class Verdict {
  kPass,
  kFail,
  kNotJudged,  ///< nothing learnt, no overlap with the limit, or a value that is no number
};

/// The verdict in words: "pass", "fail", "not judged".
LIMES_EXPORT const wide_char* Text(Verdict verdict);

/// Judgement of a value by a learnt limit. All but the verdict is 0 when nothing was judged.
struct SValueJudgement {
  Verdict verdict = Verdict::kNotJudged;
  float value = 0.0F;
  float limit = 0.0F;
  float mean = 0.0F;
  float spread = 0.0F;     ///< S as it stands in the limit: 0 before two values are learnt
  float deviation = 0.0F;  ///< value - limit: above 0 beyond the limit
};

/// Judgement of a curve by a learnt limit curve. All but the verdict is 0 when nothing was judged.
struct SCurveJudgement {
  Verdict verdict = Verdict::kNotJudged;
  float x0 = 0.0F;         ///< first x judged
  float x1 = 0.0F;         ///< last x judged
  float share = 0.0F;      ///< part of the limit's valid points that was judged, 0 to 1
  float deviation = 0.0F;  ///< largest value - limit: above 0 beyond the limit
  float rms = 0.0F;        ///< RMS of the excess over all points judged
  float x = 0.0F;          ///< where the largest deviation lies; what follows is that point's
  float value = 0.0F;
  float limit = 0.0F;
  float mean = 0.0F;
  float spread = 0.0F;
};

/// A run of neighbouring points at which a curve lies above a limit.
struct SCurveExcess {
  float x0 = 0.0F;  ///< first and last point of the run
  float x1 = 0.0F;
  std::int32_t points = 0;  ///< of the run
  float excess = 0.0F;      ///< largest value - limit, the first one on ties
  std::int32_t index = 0;   ///< where that lies on the limit's grid; what follows is that point's
  float x = 0.0F;
  float value = 0.0F;
  float limit = 0.0F;
  float mean = 0.0F;  ///< 0 when the limit alone is known, and so is the spread
  float spread = 0.0F;
};

}  // namespace limes
