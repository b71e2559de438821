#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <tuple>
#include <vector>

#include "limes/export.h"
#include "limes/kernels/averaging_factors.h"
#include "limes/learning/checked_calls.h"
#include "limes/learning/curve_assistant.h"
#include "limes/learning/learn_merge.h"
#include "limes/learning/learn_state.h"
#include "limes/learning/part_score.h"
#include "limes/platform/text.h"

namespace limes {

class CPreciseCurveTool;

/// Upper limit along a curve, learnt from the curves of good parts: limit = base + M + factor * S,
/// point by point, optionally widened along x by a running maximum.
///
/// M and Q are weighted running means of the curves and their squares, held in float;
/// S = sqrt(Q - M^2) with the divisor n. Each curve learnt rounds both, so S is sure to about a
/// tenth only while |M| / S stays below 300 and 4000 / sqrt(N), with the N curves that count: the
/// time scale, or without forgetting all that are learnt, at most 450000 (where that makes 6).
/// Call LearnPart and JudgePart, which check the curve. The calls below them check nothing: call
/// Vorlage, then Neustart, then NeueMessung with curves fitted to the grid of Mittelwert() (see
/// CSigCurveAssistent::FitTo). The valid range narrows to what all learnt curves cover;
/// only Vorlage widens it again. A lower limit is learnt on mirrored curves. Copies share the
/// curves and the time of the averaging. One thread at a time, all copies together.
///
/// LearnPart draws a curve on the grid of the first one, which is the template and gives name and
/// units; set the time scale before it. Nothing is learnt for all reasons but kNothingLearnt,
/// kResolution and kTooLong. What the mask takes out keeps what was learnt. JudgePart passes a
/// curve only when that share of the template's grid and of the curve was compared, and a point
/// was; an excess of a few rounding steps is none. Not judged for a reason of LearnPart, and for
/// kClipped unless it is beyond the limit. Allocate nothing from the second curve on, and once the
/// regions have room.
class LIMES_EXPORT CKurvenLernWerkzeug
    : public detail::CheckedCalls<CKurvenLernWerkzeug, SCurvePart, CFittedPart> {
 public:
  /// Name "Limes", base 0, factor 1, no widening, no curves yet.
  CKurvenLernWerkzeug();

  /// Shares the other's curves and time of averaging.
  CKurvenLernWerkzeug(const CKurvenLernWerkzeug& other) = default;
  CKurvenLernWerkzeug& operator=(const CKurvenLernWerkzeug& other) = default;

  /// Takes over all; the other has no curves then, and a time of averaging of its own as far as
  /// memory allows.
  CKurvenLernWerkzeug(CKurvenLernWerkzeug&& other) noexcept;
  CKurvenLernWerkzeug& operator=(CKurvenLernWerkzeug&& other) noexcept;
  virtual ~CKurvenLernWerkzeug();

  static constexpr double kMinShare = kMinShareOfCurve;

  // The steps of the checked calls, for those who prepare a part once: see CSided.
  CFittedPart& Scratch();
  PartStatus CheckForLearning(const SCurvePart& part, const SPartRule& rule,
                              CFittedPart& fitted) const;
  using Room = CKurvenLernWerkzeug;
  bool MakeRoom(const SCurvePart& part, const CFittedPart& fitted, Room& room) const;
  void TakeRoom(Room& room) noexcept;
  PartStatus Fit(const SCurvePart& part, CFittedPart& fitted) const;
  void LearnFitted(CFittedPart& fitted);
  SPartJudgement JudgeFitted(CFittedPart& fitted, double minShare,
                             std::vector<SCurveExcess>& regions);

  /// As JudgeFitted, by a limit of this part's own on the learnt grid: base + expected + factor
  /// spread, widened as the rule says. In the tool's sign; one number a point, both, else nothing
  /// is judged. The mean told is what was expected. O(n).
  SPartJudgement JudgeExpected(CFittedPart& fitted, std::span<const float> expected,
                               std::span<const float> spread, double minShare,
                               std::vector<SCurveExcess>& regions);

  /// Scores of a part that was fitted, by what is learnt and for a base, before it is learnt. O(n).
  SPartScoring ScoreFitted(const CFittedPart& fitted, double base) const;

  /// Sets name, grid, units and valid range of the four curves from a template. Leaves the tool
  /// without curves when memory is short. O(n).
  // kept: the template's values stay in mean and mean square until Neustart
  void Vorlage(const CSigCurve* vorlage);

  /// Makes the curves that are missing with n points, and sets the x range of all four. Leaves the
  /// tool without curves when memory is short. O(n).
  // kept: a suffix is appended to the present name of each curve; present curves keep their n
  void Vorlage(int n, float x0, float x1, const wide_char* name = nullptr);

  /// Sets base, factor and widening width of the rule. The width is a place on the x axis: the
  /// running maximum reaches as many points as that place's index, at most 31.
  void Bildungsregel(float base, float factor, float width);

  /// The rule in words: " 0.00 + M +  1.00 * S".
  wide_string GrenzParameterText() const;

  /// Restarts the learning with zero curves; a time scale below 1 is 10000. O(n).
  // kept: a narrowed valid range stays
  void Neustart(std::int32_t timeScale);

  /// Sets the time scale alone: negative becomes 10000; 0 makes the mean follow the last curve.
  void Zeitskala(std::int32_t timeScale) { state_.generator->SetTimeScale(timeScale); }

  /// Sets the number of curves learnt, when there are curves.
  // kept: the time of the averaging stays, unlike with the limit of a value
  void ExterneLernzahl(int count);

  /// Weight of the mean so far from outside, a >= 0; below 0 or NaN: the time scale's again.
  void ExternerLernFaktor(float a);

  /// Learns one curve; no effect before Vorlage. One pass over M, Q and the curve; allocates
  /// nothing. O(n).
  void NeueMessung(const CSigCurve* k);

  /// Forms S: 1, or 0 when nothing is learnt or memory is short. Allocates nothing after the first
  /// call. O(n).
  int StandardAbwBilden();

  /// Forms the limit curve and names it: 1, or 0 when nothing is learnt or memory is short. O(n).
  // kept: the tool's name, and so the curve's, grows by "-lim" each time
  int GrenzeBilden();

  /// As GrenzeBilden without the naming. Allocates nothing after the first call. O(n).
  int UpdateLimit();

  /// What RmsAbweichung and MaxAbweichung compare with.
  enum Reference : int { kMean = 0, kLimit = 1 };

  /// RMS of the excess of a curve over the mean, or over the limit with reference 1, over all
  /// points that both have; 0.0 without any. Allocates nothing. O(n).
  float RmsAbweichung(const CSigCurve* k, int reference = kMean) const;

  /// Largest k - limit, or k - mean with reference 0, over all points that both have, negative when
  /// k stays below; 0.0 without any. result, unless null, receives x, k and the reference there.
  /// The first of equal ones; NaN are passed over, NaN when all are. Allocates nothing. O(n).
  float MaxAbweichung(const CSigCurve* k, float* result = nullptr, int reference = kLimit) const;

  /// Judges a curve by the limit curve as it was last formed. Not judged when no limit was formed
  /// since the last restart, nothing overlaps, or no point is beyond the limit but at one the value
  /// or the limit is not finite. Allocates nothing. O(n).
  SCurveJudgement Judge(const CSigCurve& k) const;

  /// The regions where a curve lies above the limit, in order of x, with mean and spread at their
  /// peaks; none when nothing is judged. False, with regions unchanged, when memory is short. O(n).
  [[nodiscard]] bool Excesses(const CSigCurve& k, std::vector<SCurveExcess>& regions) const;

  /// Joins the state with one that was learnt elsewhere, as if its curves had been learnt after
  /// these: the same as learning them, but for rounding to float. The learnt range narrows to what
  /// both cover. Form the limit anew. Nothing changes unless kOk. O(n).
  MergeStatus Merge(const CKurvenLernWerkzeug& other);

  /// Number of curves learnt since the last restart.
  std::int32_t NrGelernt() const { return state_.count; }
  std::int32_t HatGelernt() const { return state_.count; }

  /// Mean M, mean square Q, spread S and limit; null until they are made. Owned by the tool.
  /// Vorlage and the first LearnPart behind it may make them anew: ask again for a pointer then.
  CSigCurveExt* Mittelwert() const { return state_.mean.get(); }
  CSigCurveExt* QuadratMW() const { return state_.meanSquare.get(); }
  CSigCurveExt* StandardAbw() const { return spread_.get(); }
  CSigCurveExt* Grenzkurve() const { return limit_.get(); }

  const wide_string& Name() const { return state_.name; }
  float Sockel() const { return state_.base; }
  float Faktor() const { return state_.factor; }
  float Width() const { return state_.width; }
  bool LimitIsStale() const { return state_.stale != 0; }
  const CExpAverFacGenerator& Generator() const { return *state_.generator; }

  /// Stores the counts and both curves as archived objects: 0.
  // kept: curves keep nothing in archives, so this never succeeds; use WriteState
  int InArchivSchreiben(CSerializer* archive) const;

  /// Loads those: 0. The counts are set before the curves fail, so discard the tool.
  int AusArchivLaden(CSerializer* archive);

  /// Takes over what was learnt precisely, rounded to float: mean and mean square each by 2^-24 of
  /// their size at most, so the spread by M^2 / S 2^-24. False, with nothing changed, when nothing
  /// was learnt or memory is short. O(n).
  bool TakeFrom(const CPreciseCurveTool& tool);

  /// Writes everything that learning and judging needs, bit for bit. True; false before Vorlage,
  /// for a grid that is not finite, and when memory is short; what the stream throws passes
  /// through. O(n).
  [[nodiscard]] bool WriteState(CFileStream& file) const;

  /// Reads what WriteState wrote: all of it, or nothing and the reason. Curves that were shared
  /// with copies are left to them. S and limit are formed anew when asked for. O(n).
  [[nodiscard]] LearnStateStatus ReadState(CFileStream& file);

 private:
  using Curve = std::shared_ptr<CSigCurveExt>;

  static bool Make(Curve& curve, int n);
  bool MakeLimit(int n);
  bool MakeCurves(int n);
  template <class Set>
  void SetCurves(int n, const wide_char* name, Set set);
  bool HasLearnt() const {
    return state_.count != 0 && state_.mean != nullptr && state_.meanSquare != nullptr;
  }
  bool FormLimit();
  bool HasCurrentLimit();
  void Outdate();
  static void Widen(CSigCurveExt& limit, int points);
  int Widening() const;
  const CSigCurveExt* Reference(bool limit) const;
  float SpreadAt(int i) const;
  detail::SLearntCurves Learnt(const CSigCurveExt& limit) const;

  /// What the limit curve holds; shared as the curve is.
  struct SFormed {
    bool limit = false;    ///< a limit
    bool current = false;  ///< of the means as they are, by this rule
    float base = 0.0F;
    float factor = 0.0F;
    float width = 0.0F;

    bool Holds(float itsBase, float itsFactor, float itsWidth) const {
      return limit && current && base == itsBase && factor == itsFactor && width == itsWidth;
    }
  };

  /// All there is to keep; the curves and the averaging are shared with copies.
  struct SState : detail::SLearntMeans {
    float width = 0.0F;
    std::int32_t count = 0;
    std::int32_t stale = 0;
    std::int32_t externalOn = 0;  ///< 0 or 1
    float external = 0.0F;
    std::shared_ptr<CExpAverFacGenerator> generator;

    SState();

    /// The numbers in the order of the learn state; name and curves follow.
    static constexpr auto Fields(auto& s) {
      return std::tuple_cat(
          std::tie(s.base, s.factor, s.width, s.count, s.stale, s.externalOn, s.external),
          CExpAverFacGenerator::Fields(*s.generator));
    }

    static constexpr auto Rule(auto& s) { return std::tie(s.base, s.factor, s.width); }

    const CExpAverFacGenerator& Averaging() const { return *generator; }
    bool IsConsistent() const;
  };

  SState state_;

  // Made of the state when they are asked for.
  Curve spread_;
  Curve limit_;
  Curve ownLimit_;  ///< of the part that was judged by what was expected of it
  std::shared_ptr<SFormed> formed_;
  std::shared_ptr<CFittedPart> fitted_;
};

}  // namespace limes
