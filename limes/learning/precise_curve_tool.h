#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <tuple>
#include <vector>

#include "limes/export.h"
#include "limes/learning/checked_calls.h"
#include "limes/learning/learn_merge.h"
#include "limes/learning/learn_state.h"
#include "limes/learning/part_score.h"
#include "limes/signals/extended_curve.h"

namespace limes {

class CKurvenLernWerkzeug;

/// Upper limit along a curve as of CKurvenLernWerkzeug, for archives: states of any number of parts
/// joined in any order give the limits of learning them one after the other, within 1e-9 of the
/// spread while the mean of the parts stays within 1e4 spreads of the first one.
///
/// Of each point holds the first part's value, the mean of the distances from it and their variance
/// with the divisor n in double, and how many parts were measured there: 24 bytes. All parts count
/// alike, for ever: there is no time scale. What is judged by, and handed out as curves, is rounded
/// to float once. Grid, checks, valid range and reasons are those of CKurvenLernWerkzeug; limits
/// are not widened. One thread at a time.
///
/// The mean and variance of one more and of two sets of numbers: Chan, Golub, LeVeque, Algorithms
/// for computing the sample variance, The American Statistician 37 (1983), equations 1.3 and 2.1.
class LIMES_EXPORT CPreciseCurveTool
    : public detail::CheckedCalls<CPreciseCurveTool, SCurvePart, CFittedPart> {
 public:
  static constexpr double kMinShare = kMinShareOfCurve;

  // The steps of the checked calls, for those who prepare a part once: see CSided.
  CFittedPart& Scratch();
  PartStatus CheckForLearning(const SCurvePart& part, const SPartRule& rule,
                              CFittedPart& fitted) const;
  struct SPoints;
  using Room = std::shared_ptr<SPoints>;
  bool MakeRoom(const SCurvePart& part, const CFittedPart& fitted, Room& room) const;
  void TakeRoom(Room& room) noexcept;
  PartStatus Fit(const SCurvePart& part, CFittedPart& fitted) const;
  void LearnFitted(CFittedPart& fitted);
  SPartJudgement JudgeFitted(CFittedPart& fitted, double minShare,
                             std::vector<SCurveExcess>& regions);

  /// As JudgeFitted, by a limit of this part's own, as the same of CKurvenLernWerkzeug. O(n).
  SPartJudgement JudgeExpected(CFittedPart& fitted, std::span<const float> expected,
                               std::span<const float> spread, double minShare,
                               std::vector<SCurveExcess>& regions);

  /// Scores of a part that was fitted, by what is learnt and for a base, before it is learnt. O(n).
  SPartScoring ScoreFitted(const CFittedPart& fitted, double base) const;

  /// Sets base and factor of the rule.
  void Bildungsregel(double base, double factor);

  double Sockel() const { return base_; }
  double Faktor() const { return factor_; }

  /// Number of curves learnt.
  std::int64_t NrGelernt() const { return count_; }

  /// The mean, with the grid and the range learnt; null before the first part. Owned by the tool.
  const CSigCurveExt* Mittelwert() const;

  /// The same, also of a first part that was prepared and is not learnt yet.
  const CSigCurveExt* Grid() const;

  /// The limit rounded to float, formed anew where it is older than what is learnt; null before the
  /// first part and when memory is short. Owned by the tool. O(n).
  const CSigCurveExt* Grenzkurve();

  /// Mean, spread and limit at an index of the grid, as they are held. Something must be learnt.
  double MeanAt(std::int64_t i) const;
  double SpreadAt(std::int64_t i) const;
  double LimitAt(std::int64_t i) const { return base_ + MeanAt(i) + factor_ * SpreadAt(i); }

  /// Joins with what was learnt elsewhere. The learnt range narrows to what both cover. Nothing
  /// changes unless kOk. O(n).
  MergeStatus Merge(const CPreciseCurveTool& other);

  /// Takes over what was learnt in float, as it is held there: the parts count alike from now on.
  /// False, with nothing changed, when nothing was learnt or memory is short. O(n).
  bool TakeFrom(const CKurvenLernWerkzeug& tool);

  /// Writes everything, bit for bit. True; false when nothing is learnt or memory is short; what
  /// the stream throws passes through. O(n).
  [[nodiscard]] bool WriteState(CFileStream& file) const;

  /// Reads what WriteState wrote: all of it, or nothing and the reason. O(n).
  [[nodiscard]] LearnStateStatus ReadState(CFileStream& file);

 private:
  bool HasLearnt() const { return points_ != nullptr && count_ > 0; }
  detail::SLearntCurves Learnt(const CSigCurveExt& limit) const;
  bool FormLimit();

  double base_ = 0.0;
  double factor_ = 1.0;
  std::int64_t count_ = 0;
  std::shared_ptr<SPoints> points_;
  CSigCurveExt limit_;
  CSigCurveExt ownLimit_;  ///< of the part that was judged by what was expected of it
  bool formed_ = false;    ///< the limit is of what is learnt now
  std::shared_ptr<CFittedPart> fitted_;
};

}  // namespace limes
