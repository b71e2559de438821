#pragma once

#include <cstdint>
#include <optional>

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

/// What came of learning or judging a part by the checked calls.
enum class PartStatus {
  kOk,
  kNothingLearnt,       ///< there is no limit yet
  kNoValues,            ///< no values, or an x axis that does not rise or is not finite
  kNotFinite,           ///< a value, or the limit there, is no finite number
  kUnit,                ///< another unit than learnt
  kReference,           ///< a level in dB over another reference, or with and without
  kXUnit,               ///< another unit of the x axis
  kStep,                ///< another step of the x axis
  kGaps,                ///< the first part, whose grid is learnt, was not measured everywhere
  kNoCommonPoint,       ///< no measured point lies in the learnt range
  kCoversTooLittle,     ///< less than the least share was measured
  kLongerThanTemplate,  ///< the learnt grid covers less than the least share of the part
  kNoSignal,            ///< silent, constant, far below what was learnt, or not a fifth of it
  kClipped,             ///< the recording ran at full scale
  kResolution,          ///< the spread is smaller than what the measurement can show
  kTooLong,             ///< the grid of the tracks would become too large
  kMemory,              ///< memory is short
  kNoLimit,             ///< the parts learnt give no limit for the wanted rate yet
};
using LearnStatus = PartStatus;  ///< why a part was not learnt
using JudgeReason = PartStatus;  ///< why a part was not judged

/// The status in words, in English.
LIMES_EXPORT const wide_char* Text(PartStatus status);

/// Judgement of a part by the checked calls: of a value, or along a curve or track. The numbers are
/// 0 when nothing could be compared.
struct SPartJudgement {
  Verdict verdict = Verdict::kNotJudged;
  JudgeReason reason = JudgeReason::kNothingLearnt;  ///< kOk when it was judged

  /// Part of the learnt grid that was judged, of the first part's range however far the learnt one
  /// has narrowed, 0 to 1. Of a track that of the limit or of the part, whichever is smaller.
  double share = 0.0;
  double x0 = 0.0;  ///< first and last x judged
  double x1 = 0.0;
  double deviation = 0.0;  ///< largest value - limit: above 0 beyond the limit
  double rms = 0.0;        ///< RMS of the excess over all points judged
  double x = 0.0;          ///< where the largest deviation lies; what follows is that point's
  double value = 0.0;
  double limit = 0.0;
  double mean = 0.0;
  double spread = 0.0;

  /// Largest value - mean - base in spreads: the factor at which the part would just pass, of a
  /// widened limit too; infinite when no factor would do, absent when no point has a spread. And
  /// where that is.
  std::optional<double> inSpreads;
  double xInSpreads = 0.0;
};

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
