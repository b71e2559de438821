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
#include "limes/learning/judgement.h"
#include "limes/learning/learn_merge.h"
#include "limes/learning/learn_state.h"
#include "limes/learning/part.h"
#include "limes/platform/text.h"

namespace limes {

class CFileStream;
class CSerializer;

/// Upper limit of a single value, learnt from good parts: limit = base + M + factor * S.
///
/// M and Q are weighted running means of the values and their squares, S = sqrt(Q - M^2) with the
/// divisor n. Call Neustart before learning: without it the first value counts twice. Held in
/// double, handed out as float. LearnPart and JudgePart check the value and its unit, and keep a
/// spread that is far smaller than the mean; NeueMessung and Judge check nothing. A lower limit is
/// learnt on negated values. One thread at a time.
class LIMES_EXPORT CLernenderGrenzwert {
 public:
  /// Base 5, factor 3, no band, no fixed limits, nothing learnt.
  CLernenderGrenzwert() = default;
  CLernenderGrenzwert(const CLernenderGrenzwert&) = default;
  CLernenderGrenzwert& operator=(const CLernenderGrenzwert&) = delete;
  virtual ~CLernenderGrenzwert();

  using Part = SValuePart;
  using Fitted = SFittedValue;
  static constexpr double kMinShare = 1.0;

  /// Learns a value and forms the limit; the first unit given is learnt too, until the next
  /// restart. kOk, or why nothing was learnt: kNotFinite, kUnit, kReference, kMemory.
  [[nodiscard]] LearnStatus LearnPart(const SValuePart& part, const SPartRule& rule = {});

  /// Judges a value by the rule as it is now, or by a limit that was set or read. Not judged for a
  /// reason of LearnPart, without a limit, and for kResolution: unless the base alone can be told
  /// from 0, or the value is beyond the limit by more than the resolution. The share is 1. The
  /// regions are left empty.
  [[nodiscard]] SPartJudgement JudgePart(const SValuePart& part, double minShare = kMinShare,
                                         std::vector<SCurveExcess>* regions = nullptr);

  // The steps of both, for those who prepare a part once: see CSided.
  PartStatus CheckForLearning(const SValuePart& part, const SPartRule& rule,
                              SFittedValue& fitted) const;
  using Room = std::optional<CMeasuringUnit>;
  bool MakeRoom(const SValuePart& part, const SFittedValue& fitted, Room& room) const;
  void TakeRoom(Room& room) noexcept { unit_.swap(room); }
  PartStatus Fit(const SValuePart& part, SFittedValue& fitted) const;
  void LearnFitted(SFittedValue& fitted);
  SPartJudgement JudgeFitted(SFittedValue& fitted, double minShare,
                             std::vector<SCurveExcess>& regions);

  /// Unit of the values, as LearnPart learnt it; none when it was never given.
  const std::optional<CMeasuringUnit>& Unit() const { return unit_; }

  /// Everything back to its default, name and rule included.
  // kept: the time of the averaging stays, so call Neustart too
  void Reset();

  /// Restarts the learning; rule, band, fixed limits and name stay. A time scale below 1 is 10000.
  void Neustart(std::int32_t timeScale);

  /// Sets the time scale alone: negative becomes 10000; 0 makes the mean follow the last value.
  void Zeitskala(std::int32_t timeScale) { generator_.SetTimeScale(timeScale); }

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
  void MitGrenzenGrenzen(bool on) { bounded_ = on; }
  bool MitGrenzenGrenzen() const { return bounded_; }

  /// Sets the fixed lower limit, which is kept for the host and takes no part in the limit.
  void FesteUGSetzen(float value, bool present);

  /// Sets the fixed upper limit, which replaces the learnt one from the next update on.
  void FesteOGSetzen(float value, bool present);

  /// Sets the limit.
  void GrenzwertSetzen(double limit) {
    limit_ = limit;
    given_ = true;
  }

  /// Sets the limit for the time of base learning: the fixed one, else the band's upper bound.
  void BasislernenGrenze();

  /// Learns one value and forms the limit.
  void NeueMessung(double x);
  void NeueMessung(float x) { NeueMessung(double{x}); }
  template <std::integral T>
  void NeueMessung(T x) {
    NeueMessung(static_cast<double>(x));
  }

  /// Forms the limit from M and Q, the variance multiplied by a factor first.
  void GrenzwertErneuern(float varianceFactor);

  /// Sets the name, at most 79 characters of it.
  void NameIst(std::u16string_view name);
  /// The same; null changes nothing.
  void NameIst(const wide_char* name);
  const wide_char* Name() const { return name_.data(); }

  /// Sets a code that the host keeps here; 0 after Reset.
  void ErrorcodeSetzen(int code) { errorcode_ = code; }
  int Errorcode() const { return errorcode_; }

  /// The last value learnt.
  float& LetzteMessung() { return last_; }
  float LetzteMessung() const { return last_; }

  /// Number of values learnt since the last restart.
  std::int32_t NrGelernt() const { return count_; }
  float Mittelwert() const { return static_cast<float>(mean_); }
  float QMittelwert() const { return static_cast<float>(meanSquare_); }
  float Grenzwert() const { return static_cast<float>(limit_); }
  float Sockel() const { return static_cast<float>(base_); }
  float Faktor() const { return static_cast<float>(factor_); }
  float UntGrenze() const { return static_cast<float>(lower_); }
  float ObGrenze() const { return static_cast<float>(upper_); }
  float FixUntGrenze() const { return static_cast<float>(fixedLower_); }
  float FixObGrenze() const { return static_cast<float>(fixedUpper_); }
  bool FixUGVorhanden() const { return hasFixedLower_; }
  bool FixOGVorhanden() const { return hasFixedUpper_; }
  const CExpAverFacGenerator& Generator() const { return generator_; }

  /// Spread sqrt(|Q - M^2|).
  // kept: of the magnitude, and before two values are learnt, unlike the spread in the limit
  float StdDev() const;

  /// True unless the limit is exactly 0.0; a limit that is NaN counts as present.
  bool GrenzeVorhanden() const { return limit_ != 0.0; }

  /// True when the limit is above (below) x; false for both when either is NaN.
  bool operator>(float x) const { return limit_ > double{x}; }
  bool operator<(float x) const { return limit_ < double{x}; }

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

  struct SState;

  double SpreadInLimit(float varianceFactor) const;
  double Mean() const { return exact_.on ? exact_.origin + exact_.mean : mean_; }

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

  SExact ExactOrPlain() const;

  /// Whether the limit that was read is another one than the rule forms.
  void FindGiven();

  double mean_ = 0.0;
  double meanSquare_ = 0.0;
  double limit_ = 0.0;
  std::int32_t count_ = 0;
  float last_ = 0.0F;
  std::int32_t errorcode_ = 0;
  double base_ = 5.0;
  double factor_ = 3.0;
  double lower_ = 0.0;
  double upper_ = 0.0;
  bool bounded_ = false;
  bool externalOn_ = false;
  float external_ = 0.0F;
  CExpAverFacGenerator generator_;
  double fixedLower_ = 0.0;
  double fixedUpper_ = 0.0;
  bool hasFixedLower_ = false;
  bool hasFixedUpper_ = false;
  std::array<wide_char, kNameLength> name_{};
  SExact exact_;
  bool given_ = false;  ///< the limit was set or read, not formed
  std::optional<CMeasuringUnit> unit_;
};

}  // namespace limes
