#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string_view>
#include <tuple>
#include <vector>

#include "limes/export.h"
#include "limes/kernels/averaging_factors.h"
#include "limes/learning/checked_calls.h"
#include "limes/learning/learn_merge.h"
#include "limes/learning/learn_state.h"
#include "limes/learning/part_score.h"
#include "limes/platform/text.h"

namespace limes {

/// Upper limit of a single value, learnt from good parts: limit = base + M + factor * S.
///
/// M and Q are weighted running means of the values and their squares, S = sqrt(Q - M^2) with the
/// divisor n. Call Neustart before learning: without it the first value counts twice. Held in
/// double, handed out as float. LearnPart and JudgePart check the value and its unit, and keep a
/// spread that is far smaller than the mean; NeueMessung and Judge check nothing. A lower limit is
/// learnt on negated values. One thread at a time.
///
/// LearnPart forms the limit too, and learns the unit of the first part, until the next restart; it
/// gives kOk, kNotFinite, kUnit, kReference or kMemory. What was learnt without a unit, or read
/// from an archive, fits parts without one only: see SetUnit. JudgePart judges by a limit that was
/// set or read as well. Not judged for a reason of LearnPart, without a limit, and for kResolution:
/// unless the base alone can be told from 0, or the value is beyond the limit by more than the
/// resolution. The share is 1; the regions are left empty.
class LIMES_EXPORT CLernenderGrenzwert
    : public detail::CheckedCalls<CLernenderGrenzwert, SValuePart, SFittedValue> {
 public:
  /// Base 5, factor 3, no band, no fixed limits, nothing learnt.
  CLernenderGrenzwert() = default;
  CLernenderGrenzwert(const CLernenderGrenzwert&) = default;
  CLernenderGrenzwert& operator=(const CLernenderGrenzwert&) = delete;
  CLernenderGrenzwert(CLernenderGrenzwert&&) noexcept = default;
  virtual ~CLernenderGrenzwert();

  static constexpr double kMinShare = 1.0;

  // The steps of the checked calls, for those who prepare a part once: see CSided.
  static SFittedValue Scratch() { return {}; }
  PartStatus CheckForLearning(const SValuePart& part, const SPartRule& rule,
                              SFittedValue& fitted) const;
  using Room = std::optional<CMeasuringUnit>;
  bool MakeRoom(const SValuePart& part, const SFittedValue& fitted, Room& room) const;
  void TakeRoom(Room& room) noexcept;
  PartStatus Fit(const SValuePart& part, SFittedValue& fitted) const;
  void LearnFitted(SFittedValue& fitted);
  SPartJudgement JudgeFitted(SFittedValue& fitted, double minShare,
                             std::vector<SCurveExcess>& regions);

  /// Scores of a part that was fitted, by what is learnt and for a base, before it is learnt. O(n).
  SPartScoring ScoreFitted(const SFittedValue& fitted, double base) const;

  /// Unit of the values, as LearnPart learnt it; none when it was never given.
  const std::optional<CMeasuringUnit>& Unit() const { return state_.unit; }

  /// Says which unit the values had that were learnt, or the limit that was set, without one.
  void SetUnit(const CMeasuringUnit& unit) { state_.unit = unit; }

  /// Everything back to its default, name and rule included.
  // kept: the time of the averaging stays, so call Neustart too
  void Reset();

  /// Restarts the learning; rule, band, fixed limits and name stay. A time scale below 1 is 10000.
  void Neustart(std::int32_t timeScale);

  /// Sets the time scale alone: negative becomes 10000; 0 makes the mean follow the last value.
  void Zeitskala(std::int32_t timeScale) { state_.generator.SetTimeScale(timeScale); }

  /// Sets the number of values learnt, and the time of the averaging to it.
  void ExterneLernzahl(std::int32_t count);

  /// Weight of the mean so far from outside, a >= 0; below 0 or NaN: the time scale's again.
  void ExternerLernFaktor(float a);

  /// Sets mean and mean square; the limit stays until it is formed again.
  void ExterneVorgaben(float mean, float meanSquare);

  /// Sets base and factor of the rule; the limit stays until it is formed again.
  void Bildungsregel(float base, float factor);

  /// Sets the band that limits are kept in, and switches it on. The upper bound wins.
  void GrenzenGrenzen(float lower, float upper);

  /// Switches the band on or off.
  void MitGrenzenGrenzen(bool on) { state_.bounded = on ? 1 : 0; }
  bool MitGrenzenGrenzen() const { return state_.bounded != 0; }

  /// Sets the fixed lower limit, which is kept for the host and takes no part in the limit.
  void FesteUGSetzen(float value, bool present);

  /// Sets the fixed upper limit, which replaces the learnt one from the next update on.
  void FesteOGSetzen(float value, bool present);

  /// Sets the limit.
  void GrenzwertSetzen(double limit) {
    state_.limit = limit;
    state_.given = true;
  }

  /// Sets the limit for the time of base learning: the fixed one, else the band's upper bound.
  void BasislernenGrenze();

  /// Learns one value, rounded to float as the values it is compared with, and forms the limit.
  void NeueMessung(float x) { Learn(double{x}); }
  void NeueMessung(double x);
  template <std::integral T>
  void NeueMessung(T x) {
    NeueMessung(static_cast<float>(x));
  }

  /// Forms the limit from M and Q, the variance multiplied by a factor first.
  void GrenzwertErneuern(float varianceFactor);

  /// Sets the name, at most 79 characters of it.
  void NameIst(std::u16string_view name);
  /// The same; null changes nothing.
  void NameIst(const wide_char* name);
  const wide_char* Name() const { return state_.name.data(); }

  /// Sets a code that the host keeps here; 0 after Reset.
  void ErrorcodeSetzen(int code) { state_.errorcode = code; }
  int Errorcode() const { return state_.errorcode; }

  /// The last value learnt.
  float& LetzteMessung() { return state_.last; }
  float LetzteMessung() const { return state_.last; }

  /// Number of values learnt since the last restart.
  std::int32_t NrGelernt() const { return state_.count; }
  float Mittelwert() const { return static_cast<float>(state_.mean); }
  float QMittelwert() const { return static_cast<float>(state_.meanSquare); }
  float Grenzwert() const { return static_cast<float>(state_.limit); }
  float Sockel() const { return static_cast<float>(state_.base); }
  float Faktor() const { return static_cast<float>(state_.factor); }
  float UntGrenze() const { return static_cast<float>(state_.lower); }
  float ObGrenze() const { return static_cast<float>(state_.upper); }
  float FixUntGrenze() const { return static_cast<float>(state_.fixedLower); }
  float FixObGrenze() const { return static_cast<float>(state_.fixedUpper); }
  bool FixUGVorhanden() const { return state_.hasFixedLower != 0; }
  bool FixOGVorhanden() const { return state_.hasFixedUpper != 0; }
  const CExpAverFacGenerator& Generator() const { return state_.generator; }

  /// Spread sqrt(|Q - M^2|).
  // kept: of the magnitude, and before two values are learnt, unlike the spread in the limit
  float StdDev() const;

  /// True unless the limit is exactly 0.0; a limit that is NaN counts as present.
  bool GrenzeVorhanden() const { return state_.limit != 0.0; }

  /// True when the limit is above (below) x; false for both when either is NaN.
  bool operator>(float x) const { return state_.limit > double{x}; }
  bool operator<(float x) const { return state_.limit < double{x}; }

  /// Judges a value. Not judged without a limit, and when value or limit is not finite.
  SValueJudgement Judge(float x) const;

  /// Joins the state with one that was learnt elsewhere, as if its values had been learnt after
  /// these: the same as learning them, but for rounding. Nothing changes unless kOk.
  MergeStatus Merge(const CLernenderGrenzwert& other);

  /// Stores 31 words: floats, and 40 characters of the name. False when the archive is full; what
  /// fitted stays in it. Use WriteState to keep everything.
  [[nodiscard]] bool InArchivSchreiben(CSerializer* archive) const;

  /// Loads those words. False when they end early.
  // kept: what was complete before stays applied
  [[nodiscard]] bool AusArchivLaden(CSerializer* archive);

  /// Writes everything, bit for bit. True; false when memory is short; what the stream throws
  /// passes through.
  [[nodiscard]] bool WriteState(CFileStream& file) const;

  /// Reads what WriteState wrote: all of it, or nothing and the reason.
  [[nodiscard]] LearnStateStatus ReadState(CFileStream& file);

 private:
  static constexpr std::size_t kNameLength = 80;  ///< with the terminator

  /// Mean and mean square beside an origin: exact where Q - M^2 drowns in rounding.
  struct SExact {
    bool on = false;      ///< since LearnPart learnt
    double origin = 0.0;  ///< first value, or the mean that was there before
    double mean = 0.0;
    double square = 0.0;
    double step = 0.0;  ///< relative rounding of what was learnt

    static constexpr auto Fields(auto& e) { return std::tie(e.origin, e.mean, e.square, e.step); }
  };
  static constexpr double kFloatStep = 1.0 / (1 << 24);

  /// All there is. Flags are 0 or 1, as in records.
  struct SState {
    double mean = 0.0;
    double meanSquare = 0.0;
    double limit = 0.0;
    std::int32_t count = 0;
    float last = 0.0F;
    std::int32_t errorcode = 0;
    double base = 5.0;
    double factor = 3.0;
    double lower = 0.0;
    double upper = 0.0;
    std::uint8_t bounded = 0;
    std::uint8_t externalOn = 0;
    float external = 0.0F;
    CExpAverFacGenerator generator;
    double fixedLower = 0.0;
    double fixedUpper = 0.0;
    std::uint8_t hasFixedLower = 0;
    std::uint8_t hasFixedUpper = 0;
    std::array<wide_char, kNameLength> name{};
    SExact exact;
    bool given = false;  ///< the limit was set or read, not formed
    std::optional<CMeasuringUnit> unit;

    /// The numbers in the order of the learn state; what LearnPart learnt follows.
    static constexpr auto Fields(auto& s) {
      return std::tuple_cat(
          std::tie(s.mean, s.meanSquare, s.limit, s.count, s.last, s.errorcode, s.base, s.factor,
                   s.lower, s.upper, s.bounded, s.externalOn, s.external),
          CExpAverFacGenerator::Fields(s.generator),
          std::tie(s.fixedLower, s.fixedUpper, s.hasFixedLower, s.hasFixedUpper, s.name));
    }

    /// The numbers that archives hold, as floats.
    static constexpr auto ArchiveFields(auto& s) {
      return std::tie(s.mean, s.meanSquare, s.limit, s.last, s.base, s.factor, s.lower, s.upper);
    }

    static constexpr auto Rule(auto& s) {
      return std::tie(s.base, s.factor, s.bounded, s.lower, s.upper, s.hasFixedLower, s.fixedLower,
                      s.hasFixedUpper, s.fixedUpper);
    }

    const CExpAverFacGenerator& Averaging() const { return generator; }
    bool IsConsistent() const;
    SExact ExactOrPlain() const;
  };

  void Learn(double x);
  double SpreadInLimit(float varianceFactor) const;
  double Mean() const {
    return state_.exact.on ? state_.exact.origin + state_.exact.mean : state_.mean;
  }

  static const CMeasuringUnit& UnitOrNone(const std::optional<CMeasuringUnit>& unit);

  /// Whether the limit that was read is another one than the rule forms.
  void FindGiven();

  SState state_;
};

}  // namespace limes
