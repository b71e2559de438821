#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <tuple>
#include <vector>

#include "limes/export.h"
#include "limes/kernels/averaging_factors.h"
#include "limes/learning/aligned_row.h"
#include "limes/learning/calibration.h"
#include "limes/learning/judgement.h"
#include "limes/learning/learn_merge.h"
#include "limes/learning/learn_state.h"
#include "limes/learning/symmetric_eigen.h"

namespace limes {

class CFileStream;

/// What the modes tell of a part; keeps its memory from part to part.
struct SModesOfPart {
  /// How much of each mode is in the part, in spreads of that mode.
  std::vector<double> amounts;

  /// For each point what is to be expected of this part, M + S (sum of its modes), and the spread
  /// of good parts about that: a limit is base + expected + factor spread. Spread 0 where the point
  /// does not vary.
  std::vector<double> expected;
  std::vector<double> spread;

  /// How far all points together lie out, about 1 or less for good parts: the root mean square over
  /// the points of the deviation in each direction, in the spread of good parts in that direction.
  /// 0 unless it is learnt.
  double whole = 0.0;
};

/// How far a part lies out, of its residual point by point and of the amounts of its modes.
struct SModesScoring {
  /// Of either side the residual's, or the modes' where that is larger; of the whole ln(whole^2).
  SPartScores scores;
  std::size_t aboveAt = 0;          ///< points of the largest residuals
  std::size_t belowAt = 0;          ///<
  std::size_t mode = 0;             ///< with the largest amount
  double modeScore = kLowestScore;  ///< its score
  SPartScores residual;             ///< the points' alone
};

/// The K main ways in which good parts differ all together, learnt with mean M and spread S in one
/// pass: what these modes explain of a part is expected of it, and its residual is judged point by
/// point, far more narrowly where many points vary alike; the amounts are K single values.
///
/// A part is the values of all its points, of all quantities one behind the other; NaN where it was
/// not measured. The sums of squares about the mean are held in a sketch of at most 2 L rows, L the
/// larger of 32 and 2 K: exact up to 2 L parts, then the L leading ones are kept (Brand, Linear
/// Algebra and its Applications 415, 2006, 20). Modes are principal components of (x - M) / S,
/// formed anew whenever an eighth more parts are learnt. Residual spreads come of parts that were
/// learnt after the modes they are judged by. All in double, the same bits on every machine; 8 (2 L
/// + K + 8) bytes a point. Learning allocates with the first part only. One thread at a time.
///
/// With the whole, one number more tells of faults that are small at every point: the distance from
/// the mean in the covariance of the points, that of the sketch (L at least 64, of 2 L rows three
/// quarters are kept, as also small variances count) shrunk towards
/// equal variances by the oracle approximating estimator (Chen, Wiesel, Eldar, Hero, IEEE
/// Transactions on Signal Processing 58, 2010, 5016, eq. 23). It takes 4 L rows in place of 2 L +
/// K.
class LIMES_EXPORT CCommonModes {
 public:
  static constexpr std::int32_t kMostModes = 50;

  /// modes is kept from 1 to kMostModes, with the whole from 0: then a part's residual is its plain
  /// deviation in spreads S. Time scale as of CExpAverFacGenerator.
  explicit CCommonModes(std::int32_t modes = 3,
                        std::int32_t timeScale = CExpAverFacGenerator::kNoForgetting,
                        bool whole = false);

  std::int32_t Wanted() const { return head_.wanted; }
  bool HasWhole() const { return hasWhole_; }
  std::int32_t TimeScale() const { return head_.timeScale; }
  std::int64_t Learnt() const { return head_.count; }
  std::size_t Points() const { return head_.points; }

  /// Parts from which on modes are formed: 4 K, K no more than half of the points, at least 10.
  std::int64_t PartsNeeded() const;

  /// Whether modes were formed. Their number is K, less where fewer points than 2 K or fewer ways
  /// to vary are there: 0 when nothing varies.
  bool IsFormed() const { return head_.formedAt > 0; }
  std::size_t Modes() const { return head_.modes; }

  /// Share of the squares of (x - M) / S that a mode explains; largest mode first. Over the points
  /// that vary, all modes together at most 1.
  double VarianceShare(std::size_t mode) const;

  /// Spread of a mode's amounts, and the mode as a curve: what one spread of it adds to each
  /// point, in the points' units. O(n).
  double ModeSpread(std::size_t mode) const;
  void ModeCurve(std::size_t mode, std::span<double> curve) const;

  double Mean(std::size_t point) const { return mean_[point]; }
  double Spread(std::size_t point) const { return spread_[point]; }

  /// Of good parts about what is expected of them.
  double SpreadAbout(std::size_t point) const;

  /// By how many spreads S a part must deviate at a single point for its residual there to become
  /// one spread of the residual larger, as the modes take a share of it: the geometric mean over
  /// the points that vary, 1 without any. O(K n).
  double ResidualScale() const;

  /// Parts that factors and scores are told by: those that count, less one for each mode.
  double Effective() const;

  /// Learns a part: kOk, or with nothing changed kNoValues for another number of points, kNotFinite
  /// (and for magnitudes beyond 1e100), kGaps when the first part has a NaN, kMemory. A point that
  /// was not measured keeps mean and spread. O(K n), every L parts O(L^2 n).
  [[nodiscard]] LearnStatus Learn(std::span<const double> part);

  /// Forms the modes of all parts learnt, when they are enough; happens by itself while learning.
  void Form();

  /// kOk; kNothingLearnt before modes are formed, kNoValues, kNotFinite, kCoversTooLittle where too
  /// few points were measured to tell the amounts, which are those of least squares, kMemory.
  /// Allocates nothing once there is room. O(K n), with the whole O(L n); with gaps O(K^2 n), O(L^2
  /// n).
  [[nodiscard]] JudgeReason Explain(std::span<const double> part, SModesOfPart& told);

  /// Scores of a part that was explained; points that do not vary or were not measured take no
  /// part. O(n).
  SModesScoring Score(std::span<const double> part, const SModesOfPart& told, double base) const;

  /// The amount of a mode, in spreads and of either sign, at which a part lies just on the limit.
  double AmountLimit(const SCalibratedLimit& limit, ScoreSides sides) const;

  /// The whole at which a part lies just on the limit.
  static double WholeLimit(const SCalibratedLimit& limit);

  /// Joins with what was learnt elsewhere from the same points, as if learnt later: mean, spread
  /// and rows as if all parts were learnt here, then cut to L rows; the modes are formed anew.
  /// kGrid, kRule (another K, or one alone has the whole) or kTimeScale with nothing changed. O(L^2
  /// n).
  MergeStatus Merge(const CCommonModes& other);

  /// Writes everything, bit for bit. True; false when memory is short; what the stream throws
  /// passes through.
  [[nodiscard]] bool WriteState(CFileStream& file) const;

  /// Reads what WriteState wrote: all of it, or nothing and the reason.
  [[nodiscard]] LearnStateStatus ReadState(CFileStream& file);

 private:
  /// The numbers of the record; the rows follow.
  struct SHead {
    std::int32_t wanted = 3;
    std::int32_t timeScale = CExpAverFacGenerator::kNoForgetting;
    std::int64_t count = 0;
    std::int64_t formedAt = 0;  ///< parts learnt when the modes were formed; 0: never
    double sum = 0.0;           ///< of the weights, the last one 1
    double scale = 1.0;         ///< the rows are to be multiplied by this
    double unseen = 0.0;        ///< parts, weighted alike, in the residual squares
    std::uint32_t points = 0;
    std::uint32_t rows = 0;
    std::uint32_t modes = 0;

    static constexpr auto Fields(auto& h) {
      return std::tie(h.wanted, h.timeScale, h.count, h.formedAt, h.sum, h.scale, h.unseen,
                      h.points, h.rows, h.modes);
    }
    bool IsConsistent(bool whole) const;
  };

  /// The numbers of the record that the whole adds.
  struct SWhole {
    std::uint32_t directions = 0;  ///< formed, the modes among them
    double shrink = 1.0;           ///< share of equal variances in the covariance
    double rest = 1.0;             ///< variance in all other directions

    static constexpr auto Fields(auto& w) { return std::tie(w.directions, w.shrink, w.rest); }
  };
  using Row = detail::AlignedRow;

  static constexpr double kLeastShrink = 1e-4;  ///< what is below may be rounding of the values

  /// Room for forming modes of rows.
  struct SRoom {
    detail::SymmetricEigen eigen;
    Row tile;

    void Make(std::size_t rows);
  };

  std::int32_t Most() const;
  std::size_t MostDirections() const;
  std::size_t HalfRows() const;
  std::size_t KeptRows() const;
  std::size_t Stride() const;
  bool MakeRoom(std::size_t points);
  bool IsDue() const;
  static double WeightSum(std::int64_t n, std::int32_t timeScale);
  CCommonModes Joined(const CCommonModes& later) const;
  bool IsConsistent() const;
  bool IsWholeConsistent() const;
  bool RowsAreSmall() const;
  double Counting() const;
  double ResidualSquare(std::size_t i) const;
  PartStatus Check(std::span<const double> part, bool& gaps) const;
  void Project(const double* z, Row& amounts) const;
  bool ProjectWithGaps(std::span<const double> part, const double* z, Row& amounts) const;
  void TakeResidual(std::span<const double> part, double share, bool gaps);
  void FormSpreads();
  void FormWhole();
  double VarianceAlong(std::size_t direction) const;
  double WholeOf(std::span<const double> part, bool gaps);
  double SquareWithGaps(std::span<const double> part, double square);
  void Decompose(SRoom& room, const Row& rows, std::size_t count, std::size_t wanted) const;
  void Turn(SRoom& room, const Row& rows, std::size_t count, Row& out, std::size_t outs) const;
  void Cut(SRoom& room, Row& rows, std::size_t count) const;
  template <class Self, class Call>
  static bool ForEachRow(Self& modes, Call call);
  void FormInverse();

  SHead head_;
  bool hasWhole_ = false;
  SWhole whole_;
  Row mean_;      ///< padded, as all rows
  Row square_;    ///< sum of squares about the mean, weighted
  Row residual_;  ///< sum of squares of residuals of parts that the modes had not seen
  Row learnt_;    ///< mean square of the residuals of those they were formed of
  Row rows_;      ///< at most 2 L, Stride() from one to the next
  Row modes_;     ///< unit vectors, alike; with the whole the other directions behind the modes
  Row lambda_;    ///< mean squares of the amounts, largest first

  Row spread_;         ///< S, 0 where nothing varies
  Row inverse_;        ///< 1 / S, 0 alike
  Row about_;          ///< spread about what is expected
  bool stale_ = true;  ///< about_ is older than the rest
  Row part_;
  Row deviation_;
  Row amounts_;
  Row along_;  ///< amounts in all directions, with the whole
  Row gaps_;   ///< work on parts that have any
  SRoom room_;
};

}  // namespace limes
