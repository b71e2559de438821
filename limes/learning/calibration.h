#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "limes/export.h"
#include "limes/learning/exact_sum.h"
#include "limes/learning/learn_merge.h"
#include "limes/learning/learn_state.h"

namespace limes {

class CFileStream;

/// Score of a part of which nothing varied so far, and the least score there is.
inline constexpr double kLowestScore = -40.0;

/// The largest score there is: larger ones count as this one.
inline constexpr double kHighestScore = 1000.0;

/// Parts learnt before the first one is scored: with fewer S is too uncertain.
inline constexpr std::int32_t kPartsBeforeScores = 10;

/// Scores (ScoreOf) of one part: its largest over all quantities and points, above and below M;
/// and how far out it lies as a whole, on a scale of its own.
struct SPartScores {
  double above = kLowestScore;
  double below = kLowestScore;
  double whole = kLowestScore;

  friend bool operator==(const SPartScores&, const SPartScores&) = default;
};

/// The largest factor of S that is still a limit.
inline constexpr double kMostFactor = 100.0;

/// Whether parts are judged on one side (above counts alone) or on both.
enum class ScoreSides : std::uint8_t { kOne = 1, kBoth = 2 };

/// What a calibrated limit rests on.
enum class CalibrationBasis {
  kNone,          ///< fewer than 4 scores, or no rate between 0 and 1: no limit
  kRank,          ///< a rank of the scores: the rate is promised
  kExtrapolated,  ///< too few scores for the rate: a guess from the tail of those there are
};

/// The limiting scores for a wanted rate of rejected good parts.
struct SCalibratedLimit {
  CalibrationBasis basis = CalibrationBasis::kNone;
  double above = std::numeric_limits<double>::infinity();
  double below = std::numeric_limits<double>::infinity();
  std::int64_t scores = 0;  ///< it was formed from

  /// Chance that a further good part is rejected, at most the wanted one; extrapolated: the
  /// smallest that can be promised, 1 / (scores + 1).
  double promised = 1.0;

  /// Interval of the rate that this one calibration reaches (central, of the Beta distribution);
  /// extrapolated: 0, and what the rate of the largest score stays below.
  double low = 0.0;
  double high = 1.0;

  double whole = std::numeric_limits<double>::infinity();  ///< score of the whole, on its own scale

  /// Whether a factor with n parts learnt would let everything pass: beyond kMostFactor spreads.
  /// One part among few that does not belong is enough for that.
  LIMES_EXPORT bool IsTooWide(double n) const;

  /// Factors of S in base + M + factor S with n parts learnt; never negative, as a limit below the
  /// mean is no limit: then fewer are rejected than promised.
  LIMES_EXPORT double FactorAbove(double n) const;
  LIMES_EXPORT double FactorBelow(double n) const;
};

/// A score that stands alone: the largest one, and up to where the others explain it.
struct SLoneScore {
  double score = 0.0;
  double explained = 0.0;
};

/// Number of parts, at least or exactly.
struct SPartsBeyond {
  std::int64_t parts = 0;
  bool exact = true;
};

/// A range of shares or counts.
struct SInterval {
  double low = 0.0;
  double high = 0.0;
};

/// Rank, counted from the smallest of m scores, whose score further good parts exceed with a chance
/// of at most rate: ceil((1 - rate)(m + 1)); m + 1 when the scores are too few. Ranks alone promise
/// this, for any distribution; between two of them nothing is proven (Vovk, Gammerman, Shafer,
/// Algorithmic Learning in a Random World, 2005).
LIMES_EXPORT std::int64_t RejectRank(std::int64_t m, double rate);

/// Scores needed to promise a rate: 19 for 5 %, 99 for 1 %. Parts needed in one pass are
/// kPartsBeforeScores more. The largest number for a rate that is not above 0.
LIMES_EXPORT std::int64_t ScoresNeeded(double rate);

/// The rate that lies at a rank of m scores is distributed as Beta(m + 1 - rank, rank); its central
/// interval that holds it with the probability sure.
LIMES_EXPORT SInterval AchievedRate(std::int64_t m, std::int64_t rank, double sure = 0.95);

/// Of so many judged good parts as many are rejected: central interval of the Beta-binomial
/// distribution. O(judged).
LIMES_EXPORT SInterval RejectedParts(std::int64_t m, std::int64_t rank, std::int64_t judged,
                                     double sure = 0.95);

/// Forms the limit for a wanted rate of rejected good parts from the scores of parts, each judged
/// by a state that had not learnt it.
///
/// Keeps the number of scores, per side their sum and sum of squares, and of either side the parts
/// with the kKept largest, 48 kB at most: rates down from kKept / (parts + 1) are exact, of larger
/// rates fewer are rejected than promised. The state does not depend on the order in which scores
/// were added or states joined, bit for bit: sums are integers, and the largest of parts are those
/// of all. Both sides have one rate together, after each is put in its own mean and spread, so that
/// neither side's tail sets the limit of the other. With the score of parts as a whole that is one
/// more side, which most of the rate is left to: points must lie kPointsBehind further out. One
/// thread at a time.
class LIMES_EXPORT CLimitCalibration {
 public:
  static constexpr std::size_t kKept = 512;

  /// Spreads of their scores that points lie further out than a part as a whole to be rejected.
  static constexpr double kPointsBehind = 1.0;

  explicit CLimitCalibration(ScoreSides sides = ScoreSides::kBoth, bool whole = false)
      : sides_(sides), hasWhole_(whole) {}

  ScoreSides Sides() const { return sides_; }
  bool HasWhole() const { return hasWhole_; }
  std::int64_t Scores() const { return count_; }

  /// Makes the room that Add needs, which allocates nothing then. False when memory is short.
  [[nodiscard]] bool MakeRoom();

  /// Adds a part, its scores kept from kLowestScore to kHighestScore. False, with nothing changed,
  /// for a NaN and when memory is short. Allocates once. O(kKept) at most.
  [[nodiscard]] bool Add(const SPartScores& part);

  /// The limit for a rate, 0 to 1; with parts as a whole none from fewer than kPartsBeforeScores.
  /// Allocates nothing. About 0.1 ms.
  SCalibratedLimit ForRate(double rate, double sure = 0.95) const;

  /// How many of the parts had a score beyond these limits; at least as many when the number
  /// reaches kKept.
  SPartsBeyond Beyond(double above, double below,
                      double whole = std::numeric_limits<double>::infinity()) const;

  /// Score (the larger one of a part's sides) up to which good parts can explain it: the largest so
  /// far, or the tail of the scores that one part in 1000 exceeds, or one recording of so many
  /// pieces, if that is larger; infinite with fewer than 4.
  double HoldLimit(std::int64_t pieces = 1) const;

  /// The largest score (the larger one of a part's sides) where the others do not explain it:
  /// beyond the second largest and beyond what the tail of the others reaches in one series of a
  /// hundred. One such part widens a limit for a small rate alone. None with fewer than 5 scores.
  std::optional<SLoneScore> Lone() const;

  /// Joins the scores of another calibration. kRule when the sides differ, or one alone has scores
  /// of parts as a whole, with nothing changed.
  MergeStatus Merge(const CLimitCalibration& other);

  /// Writes everything, bit for bit. True; false when memory is short; what the stream throws
  /// passes through.
  [[nodiscard]] bool WriteState(CFileStream& file) const;

  /// Reads what WriteState wrote: all of it, or nothing and the reason.
  [[nodiscard]] LearnStateStatus ReadState(CFileStream& file);

 private:
  struct SHead;
  using Parts = std::vector<SPartScores>;

  bool IsBalanced() const;
  void Keep(const SPartScores& part);
  bool IsOrdered() const;
  bool IsConsistent() const;
  std::span<const SPartScores> Kept(std::span<SPartScores> room) const;
  std::span<const double> LargestOf(std::span<double> room, bool balanced) const;

  ScoreSides sides_;
  bool hasWhole_;
  std::int64_t count_ = 0;
  detail::ScoreMoments above_;
  detail::ScoreMoments below_;
  detail::ScoreMoments whole_;
  Parts highest_;   ///< at most kKept, the largest above first; of equal ones the larger below
  Parts deepest_;   ///< the same with the sides exchanged; none with one side
  Parts farthest_;  ///< the largest as a whole first; none without
};

namespace detail {

/// Score that a share of parts exceeds, by an exponential tail over the largest quarter (at least
/// 3, at most kKept - 1) of m scores, of which the largest are given, largest first; infinite when
/// there are too few.
double TailScore(std::span<const double> largest, std::int64_t m, double share);

/// The share of parts beyond which one is held back while learning.
inline constexpr double kHoldShare = 0.001;

/// The share of series in which a largest score stands alone by chance.
inline constexpr double kLoneShare = 0.01;

}  // namespace detail
}  // namespace limes
