#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <tuple>
#include <vector>

#include "limes/export.h"
#include "limes/learning/checked_calls.h"
#include "limes/learning/learn_merge.h"
#include "limes/learning/learn_state.h"
#include "limes/learning/part_score.h"
#include "limes/platform/text.h"

namespace limes {

/// Upper limit along a curve, learnt from curves that each cover a part of the x axis (tracks, such
/// as an order over a run-up whose range differs from part to part): limit = base + M + factor * S.
///
/// Every point has its own learn count n and its own weights with the time scale 200; the spread is
/// corrected for bias by the factor of CExpAverFacGenerator::GetCorrFactor. The learnt range grows
/// to the union of the ranges seen, and the limit holds from the first to the last point that was
/// learnt often enough. M and Q are held in float, so S is sure only while |M| / S stays below
/// about 300. Call LearnPart and JudgePart, which check the curve and let the grid grow. The calls
/// below them check nothing: Vorlage once, then NeueMessung with curves on its grid. One thread at
/// a time.
///
/// LearnPart draws a curve on the grid of the first one, which gives name and units; the grid grows
/// to hold it, with an eighth more. Nothing is learnt for all reasons but kNothingLearnt,
/// kNoCommonPoint, kResolution and the two of the share. What the mask takes out keeps what was
/// learnt and does not count. JudgePart judges where enough was learnt; the share is that of the
/// limit, and of the curve. Else as with a curve learning tool.
class LIMES_EXPORT CTrackLernWerkzeug
    : public detail::CheckedCalls<CTrackLernWerkzeug, SCurvePart, CFittedPart> {
 public:
  /// Thrown by NeueMessung as plain ints: there is no template yet, or the curve has another grid.
  static constexpr int NotInitializedException = 1;
  static constexpr int CurvesDontFitException = 2;

  /// Time scale of the weights of each point.
  static constexpr std::int32_t kTimeScale = 200;

  /// Name "Limes", base 0, factor 1, limit from 5 learnt curves on; no curves yet.
  CTrackLernWerkzeug();
  CTrackLernWerkzeug(CTrackLernWerkzeug&& other) noexcept;
  CTrackLernWerkzeug& operator=(CTrackLernWerkzeug&& other) noexcept;
  virtual ~CTrackLernWerkzeug();

  static constexpr double kMinShare = kMinShareOfTrack;

  /// Most points of a grid that grows by itself.
  static constexpr std::uint32_t kMostPoints = 1U << 24;

  // The steps of the checked calls, for those who prepare a part once: see CSided.
  CFittedPart& Scratch();
  PartStatus CheckForLearning(const SCurvePart& part, const SPartRule& rule,
                              CFittedPart& fitted) const;
  using Room = CTrackLernWerkzeug;
  bool MakeRoom(const SCurvePart& part, const CFittedPart& fitted, Room& room) const;
  void TakeRoom(Room& room) noexcept;
  PartStatus Fit(const SCurvePart& part, CFittedPart& fitted) const;
  void LearnFitted(CFittedPart& fitted);
  SPartJudgement JudgeFitted(CFittedPart& fitted, double minShare,
                             std::vector<SCurveExcess>& regions);

  /// Scores of a part that was fitted, by what is learnt and for a base, before it is learnt. O(n).
  SPartScoring ScoreFitted(const CFittedPart& fitted, double base) const;

  /// Sets name, grid, units and valid range from a template and restarts. Nothing changes for null
  /// and when memory is short. O(n).
  // kept: the template's valid range counts as learnt
  void Vorlage(const CSigCurveExt* vorlage);

  /// Restarts the learning with zero curves and counts. O(n).
  // kept: the valid ranges stay
  void Neustart();

  /// Sets base and factor of the rule.
  void Bildungsregel(float base, float factor);

  /// Forms the limit, until the next rule, with the factor at each point that a part of this score
  /// reaches just there, as often as the point was learnt; it is no part of the state.
  void LimitScore(double score);

  /// The factor at a point that was learnt so often.
  float FactorAt(std::uint32_t count) const;

  /// Sets how many curves a point must have learnt to belong to the limit.
  void BasisLernenAnzahl(std::uint32_t count) {
    state_.baseCount = count;
    current_ = false;
  }
  std::uint32_t BasisLernenAnzahl() const { return state_.baseCount; }

  /// The rule in words: " 0.00 + M +  1.00 * S".
  wide_string GrenzParameterText() const;

  /// Learns one curve in one pass. No effect for null and when memory is short. Throws the int 1
  /// before Vorlage and the int 2 for a curve that does not fit the template (FitTogether); the
  /// state is then unchanged. Allocates nothing after the first call. O(n).
  // kept: the curve's last valid point is not learnt, though it widens the learnt range
  void NeueMessung(const CSigCurveExt* k);

  /// Adds points to the grid, of which nothing is learnt, so that curves from further out can be
  /// learnt: what is learnt stays at its x. Form the limit anew. Nothing changes and false before
  /// Vorlage, beyond 2^31 - 1 points, and when memory is short. O(n).
  [[nodiscard]] bool ExtendGrid(std::uint32_t before, std::uint32_t behind);

  /// Forms the limit curve; false when nothing is learnt or memory is short. Where no point is
  /// learnt often enough the limit is left without a valid range. Allocates nothing after the first
  /// call. O(n).
  // kept: point 0 is not the first valid one when another one can be, and points between the first
  // and the last valid one belong to the limit however often they were learnt; Judge looks
  bool GrenzeBilden();

  /// The spread S, formed now, unit none: 0 where fewer than two curves were learnt. Owned by the
  /// tool; null when memory is short. O(n).
  const CSigCurveExt* StdAbwKurve();

  /// The learn counts as a curve, unit n. Owned by the tool; null when memory is short. O(n).
  const CSigCurveExt* LernzahlKurve();

  /// Largest k - limit over the overlap of the valid ranges; 0.0 without a limit or an overlap.
  /// result, unless null, receives x, k and the limit there. Allocates nothing. O(n).
  // kept: 0.0 also stands for a curve that was not compared; Judge tells
  float MaxAbweichung(const CSigCurveExt* k, float* result = nullptr) const;

  /// Judges a curve by the limit as it was last formed, only where enough curves had been learnt
  /// then. Not judged when no limit was formed since the last restart, no such point overlaps, or
  /// no point is beyond the limit but at one the value or the limit is not finite. The share is
  /// that of the points learnt often enough. Allocates nothing. O(n).
  SCurveJudgement Judge(const CSigCurveExt& k) const;

  /// The regions where a curve lies above the limit, in order of x, with mean and spread at their
  /// peaks; none when nothing is judged. False, with regions unchanged, when memory is short. O(n).
  [[nodiscard]] bool Excesses(const CSigCurveExt& k, std::vector<SCurveExcess>& regions) const;

  /// Joins the state with one that was learnt elsewhere, as if its curves had been learnt after
  /// these: the same as learning them, but for rounding to float. Form the limit anew. Nothing
  /// changes unless kOk. O(n).
  MergeStatus Merge(const CTrackLernWerkzeug& other);

  /// True once a curve was learnt or a state loaded.
  bool HatGelernt() const { return state_.learnt != 0; }

  const wide_string& Name() const { return state_.name; }
  float Sockel() const { return state_.base; }
  float Faktor() const { return state_.factor; }

  /// Mean M, mean square Q and limit; null until they are made. Owned by the tool, until the next
  /// Vorlage, ExtendGrid or ReadState.
  const CSigCurveExt* Mittelwert() const { return state_.mean.get(); }
  const CSigCurveExt* QuadratMW() const { return state_.meanSquare.get(); }
  const CSigCurveExt* Grenzkurve() const { return limit_.get(); }

  /// Curves learnt per point; at least as many counts as the mean has points.
  std::span<const std::uint32_t> LearnCounts() const {
    return {state_.counts.data(), state_.counts.size()};
  }

  /// Stores version, counts and curves as an archived object: false.
  // kept: curves keep nothing in archives, so this never succeeds; use WriteState
  [[nodiscard]] bool InArchivSchreiben(CSerializer* archive) const;

  /// Loads those: false; discard the tool then.
  [[nodiscard]] bool AusArchivLaden(CSerializer* archive);

  /// Writes everything that learning and judging needs, bit for bit. True; false before Vorlage and
  /// when memory is short; what the stream throws passes through. O(n).
  [[nodiscard]] bool WriteState(CFileStream& file) const;

  /// Reads what WriteState wrote: all of it, or nothing and the reason. The limit is formed anew
  /// when asked for. O(n).
  [[nodiscard]] LearnStateStatus ReadState(CFileStream& file);

 private:
  bool GrowCounts(std::size_t n);
  bool Extend(std::uint32_t before, std::uint32_t behind, CTrackLernWerkzeug& into) const;
  bool TakeFirstName(std::u16string_view name);
  void SetLimitRange();
  bool MakeShown(std::unique_ptr<CSigCurveExt>& curve, bool onGrid, const wide_char* name,
                 const wide_char* unit);
  float SpreadAt(std::int64_t i) const;
  void Spreads(std::int64_t first, std::size_t n, float* out) const;
  detail::SLearntCurves Learnt(const CSigCurveExt& limit) const;

  /// All there is to keep.
  struct SState : detail::SLearntMeans {
    std::uint32_t baseCount = 5;
    std::int32_t timeScale = kTimeScale;  ///< always
    std::uint8_t learnt = 0;              ///< 0 or 1
    std::vector<std::uint32_t> counts;

    /// The numbers in the order of the learn state; name, curves and counts follow.
    static constexpr auto Fields(auto& s) {
      return std::tie(s.base, s.factor, s.baseCount, s.timeScale, s.learnt);
    }

    static constexpr auto Rule(auto& s) { return std::tie(s.base, s.factor, s.baseCount); }

    /// Whether every point has its count too.
    bool IsCounted() const;
  };

  SState state_;

  // Made of the state when they are asked for.
  std::unique_ptr<CSigCurveExt> limit_;
  std::unique_ptr<CSigCurveExt> spread_;
  std::unique_ptr<CSigCurveExt> countCurve_;
  std::vector<std::uint8_t> mask_;  ///< 1 where enough was learnt when the limit was formed
  bool qualified_ = false;          ///< the limit has a point that was learnt often enough
  bool formed_ = false;             ///< the limit was formed since the last restart
  bool current_ = false;            ///< of the means and by the rule as they are
  std::optional<double> limitScore_;
  std::unique_ptr<CFittedPart> fitted_;
};

}  // namespace limes
