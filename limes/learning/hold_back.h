#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "limes/export.h"
#include "limes/learning/calibration.h"
#include "limes/platform/standard_parts.h"

namespace limes {

/// Which of some parts to hold back from learning, and the score of each: the larger of its sides,
/// at most 60; of held parts by those that are not.
struct SHeldParts {
  std::vector<std::uint8_t> held;  ///< 1 or 0
  std::vector<double> scores;
};

/// The values of a part, as COtherParts takes them; valid until the next call.
using PartValues = std::function<std::span<const float>(std::size_t part)>;

/// Holds back the parts that the others cannot explain: from the 90 % of the smallest scores on,
/// the next larger one is taken in while it is at most the 0.1 % tail of those in or their largest;
/// what is left is held. Repeated with the kept parts until nothing changes, at most 10 times (a
/// forward search: Atkinson, Riani, Cerioli, Exploring Multivariate Data with the Forward Search,
/// 2004). Bad parts that resemble good ones are not found. Reads each part some 20 times at most.
/// False, with held unchanged, when parts differ in their points or memory is short.
///
/// groups, unless empty, holds a number for each part: those with the same one, as the pieces of a
/// recording, are scored by the other groups and count as one, by their largest score.
[[nodiscard]] LIMES_EXPORT bool HoldBack(std::size_t parts, const PartValues& values,
                                         std::span<const float> base, ScoreSides sides,
                                         SHeldParts& held,
                                         std::span<const std::size_t> groups = {});

/// Guards learning in one pass: holds parts back that the scores so far do not explain, and notices
/// when the process itself has moved. One thread at a time.
class LIMES_EXPORT CLearnGuard {
 public:
  /// Scores from which on parts are held. The parts before are kept by the host and go through
  /// HoldBack together before they count.
  static constexpr std::int64_t kStart = 20;

  /// Decides on a part from the scores of those that were kept: true to hold it back, and not add
  /// its scores. A recording of many pieces, with their largest scores, is one part.
  bool Holds(const CLimitCalibration& kept, const SPartScores& part, std::int64_t pieces = 1);

  /// True when 5 of the last 10 parts were held: a step, not single parts. Learning goes on when
  /// they are released or the state is begun anew.
  bool HasStepped() const;

  /// The decisions on the last 10 parts, the newest in bit 0; for the host's store.
  std::uint16_t Recent() const { return recent_; }
  void SetRecent(std::uint16_t recent) { recent_ = recent & kMask; }

 private:
  static constexpr std::uint16_t kMask = (1U << 10) - 1;

  std::uint16_t recent_ = 0;
};

}  // namespace limes
