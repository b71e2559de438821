#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "limes/export.h"
#include "limes/learning/calibration.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learn_merge.h"
#include "limes/learning/learn_state.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/learning/precise_curve_tool.h"
#include "limes/learning/sided.h"
#include "limes/learning/track_learning_tool.h"

namespace limes {

/// How the limits of one quantity follow from what is learnt.
struct SRatedRule {
  Sides sides = Sides::kBoth;
  double base = 0.0;               ///< beyond the mean in any case, in the unit; from 0 on
  double reject = 0.01;            ///< rate of good parts that may be rejected, between 0 and 1
  std::optional<double> factor{};  ///< of the spread, from 0 on; empty: it follows from the rate
  std::int32_t timeScale = CExpAverFacGenerator::kNoForgetting;  ///< of values and curves, from 1
  std::int32_t minParts = 3;  ///< fewer learnt parts judge nothing; from 1 on

  LIMES_EXPORT bool IsValid() const;
  friend bool operator==(const SRatedRule&, const SRatedRule&) = default;
};

/// Limits of one quantity with all that belongs to them: a learner for each side, the scores of the
/// good parts, each by those before it, and the rule; learnt, judged, joined, written and read as
/// one. Tool is CLernenderGrenzwert, CKurvenLernWerkzeug, CTrackLernWerkzeug or CPreciseCurveTool,
/// which needs a rule that forgets nothing. One thread at a time.
template <class Tool>
class LIMES_EXPORT CRatedLimit {
 public:
  using Part = typename Tool::Part;

  /// Nothing learnt. The rule must be valid. Throws std::bad_alloc.
  explicit CRatedLimit(const SRatedRule& rule = {});

  const SRatedRule& Rule() const { return rule_; }

  /// Parts learnt.
  std::int64_t Learnt() const { return learnt_; }

  /// Scores that the rate is promised by.
  const CLimitCalibration& Calibration() const { return calibration_; }

  /// Learns a part with its scores: kOk, or why nothing was learnt. O(n).
  [[nodiscard]] LearnStatus LearnPart(const Part& part, const SPartRule& rule = {});

  /// The same in two steps, for a part of several quantities that is learnt wholly or not at all:
  /// what can fail, and what cannot.
  [[nodiscard]] LearnStatus PrepareLearning(const Part& part, const SPartRule& rule = {});
  void Learn();

  /// Judges a part on each side, as JudgePart of the tool does. kNothingLearnt also with fewer than
  /// minParts, kNoLimit while none can be formed for the rate: with fewer than 4 scores, or where
  /// it would be too wide (SCalibratedLimit::IsTooWide). O(n).
  void JudgePart(const Part& part, CSidedJudgement& judgement, double minShare = Tool::kMinShare);

  /// What the limit promises; kNone with a given factor. Kept until something is learnt or joined.
  const SCalibratedLimit& Promise() const;

  /// The factor in the limit of a side; empty while no limit can be formed.
  std::optional<double> Factor(Side side) const;

  /// Whether enough is learnt to judge by.
  bool HasLimit() const;

  /// Joins with what was learnt elsewhere by the same rule, as if those parts had been learnt after
  /// these, but for the scores, which stay by what each had learnt. Nothing changes unless kOk.
  MergeStatus Merge(const CRatedLimit& other);

  /// Takes over what was learnt of curves in float or precisely, see the learner's TakeFrom, with
  /// scores and rule. False, with nothing changed, when the rule forgets or memory is short. O(n).
  template <class Other>
  bool TakeFrom(const CRatedLimit<Other>& other);

  /// The learners, in the sign of their side, with the limits formed where there are any.
  CSided<Tool>& Formed();

  /// Writes everything, bit for bit. True; false when memory is short; what the stream throws
  /// passes through. O(n).
  [[nodiscard]] bool WriteState(CFileStream& file) const;

  /// Reads what WriteState wrote: all of it, or nothing and the reason. O(n).
  [[nodiscard]] LearnStateStatus ReadState(CFileStream& file);

  /// What lies apart, as in a store of the program: the state of the learner of each side that the
  /// rule limits, the upper one first, and the scores; none where the factor is given. All of it,
  /// or nothing and the reason. O(n).
  [[nodiscard]] LearnStateStatus ReadRecords(const SRatedRule& rule,
                                             std::span<const std::span<const std::uint8_t>> sides,
                                             std::span<const std::uint8_t> scores);

 private:
  template <class Other>
  friend class CRatedLimit;
  struct SHead;

  bool Agrees() const;

  double Effective() const;
  void Form();
  void Outdate();

  SRatedRule rule_;
  std::unique_ptr<CSided<Tool>> tools_;
  CLimitCalibration calibration_;
  std::int64_t learnt_ = 0;
  SPartScoring scoring_;  ///< of the part that was prepared
  bool formed_ = false;   ///< the rule of the tools is of what is learnt now
  mutable std::optional<SCalibratedLimit> promise_;  ///< of what is learnt now, once asked for
};

}  // namespace limes
