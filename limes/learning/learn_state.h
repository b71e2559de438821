#pragma once

#include <memory>

#include "limes/export.h"
#include "limes/platform/text.h"

namespace limes {

class CFileStream;
class CSerializer;
class CSigCurveExt;

/// What came of reading a learn state.
enum class LearnStateStatus {
  kOk,
  kCutShort,   ///< the stream ends inside the record
  kNoState,    ///< something else than a learn state
  kOtherKind,  ///< a learn state of another kind of learner
  kVersion,    ///< written by a newer version
  kChecksum,   ///< damaged
  kContent,    ///< fields that contradict each other
  kMemory,     ///< memory is short
};

/// The status in words, in English.
LIMES_EXPORT const wide_char* Text(LearnStateStatus status);

namespace detail {

struct SLearntCurves;

/// What every learner along x has learnt, and the rule of its limit. Copies share the curves.
struct SLearntMeans {
  std::shared_ptr<CSigCurveExt> mean;
  std::shared_ptr<CSigCurveExt> meanSquare;
  wide_string name = u"Limes";
  float base = 0.0F;
  float factor = 1.0F;

  /// Whether both curves are there and equally long.
  bool IsWhole() const;
};

}  // namespace detail
}  // namespace limes
