#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "apps/limes/errors.h"
#include "limes/learning/part.h"
#include "limes/learning/sided.h"
#include "recordings/read_settings.h"

namespace limes::host {

/// The share of good parts that limits reject unless another one, a factor or a share to cover is
/// given, and how sure it is that a share is covered.
inline constexpr double kDefaultReject = 0.01;
inline constexpr double kDefaultSure = 0.95;

inline constexpr double kDefaultKeepCurves = 50.0;

/// The least rate that can be asked for; it takes a million scores to promise.
inline constexpr double kLeastReject = 1e-6;

/// The rule of the limits.
template <class Form>
struct TRule {
  template <class T>
  using Field = typename Form::template Holder<T>::Type;

  Field<bool> tracks = Form::Default(false);             ///< each part covers its own range of x
  Field<std::string> sides = Form::Default("both");      ///< upper, lower or both
  Field<std::int32_t> timeScale = Form::Default(10000);  ///< of the running means, in parts
  Field<double> base = Form::Default(0.0);               ///< limit = base + mean + factor * spread
  std::optional<double> reject;       ///< share of good parts that is rejected; the factor follows
  std::optional<double> factor;       ///< see base
  std::optional<double> cover;        ///< share of Normal values within limits; one of the three
  std::optional<double> sure;         ///< confidence of cover
  std::optional<std::int32_t> modes;  ///< common modes of all points; empty: none
  Field<bool> whole = Form::Default(false);         ///< judge how far all points lie out together
  std::optional<bool> precise;                      ///< curves are learnt in double; empty: no
  std::optional<double> align;                      ///< curves are moved so far at most, in x
  Field<double> width = Form::Default(0.0);         ///< half-width of the running maximum, in x
  Field<std::int32_t> minParts = Form::Default(3);  ///< fewer learnt parts judge nothing
  Field<double> minShare =
      Form::Default(kMinShareOfCurve);             ///< least share of the limit range for an OK
  Field<bool> onePerCurve = Form::Default(false);  ///< one defect per curve, not per region

  Sides WhichSides() const requires std::is_same_v<Form, SResolved> {
    return sides == "both" ? Sides::kBoth : sides == "lower" ? Sides::kLower : Sides::kUpper;
  }

  Field<double> drift = Form::Default(10000.0);     ///< parts between false alarms; 0: no alarm
  Field<bool> guard = Form::Default(false);         ///< hold back what good parts do not explain
  Field<std::int32_t> ownFrom = Form::Default(20);  ///< fewer parts: a variant's limit is all's

  std::optional<double> keepCurves;  ///< MB of curves of judged parts; see KeptBytes

  bool IsPrecise() const { return precise.value_or(false); }

  /// How many bytes of curves of judged parts are kept.
  std::int64_t KeptBytes() const {
    return static_cast<std::int64_t>(keepCurves.value_or(kDefaultKeepCurves) * 1e6);
  }

  /// Calls visit(name, policy, member of each) for every setting.
  template <class Visit, class... Rules>
  static void ForEach(Visit visit, Rules&... r) {
    visit("--tracks", Policy::kFixed, r.tracks...);
    visit("--sides", Policy::kFixed, r.sides...);
    visit("--time-scale", Policy::kFixed, r.timeScale...);
    visit("--base", Policy::kJudging, r.base...);
    visit("--reject", Policy::kJudging, r.reject...);
    visit("--factor", Policy::kJudging, r.factor...);
    visit("--align", Policy::kFixed, r.align...);
    visit("--modes", Policy::kFixed, r.modes...);
    visit("--whole", Policy::kFixed, r.whole...);
    visit("--precise", Policy::kFixed, r.precise...);
    visit("--cover", Policy::kJudging, r.cover...);
    visit("--sure", Policy::kJudging, r.sure...);
    visit("--width", Policy::kJudging, r.width...);
    visit("--min-parts", Policy::kJudging, r.minParts...);
    visit("--min-share", Policy::kJudging, r.minShare...);
    visit("--one-per-curve", Policy::kReading, r.onePerCurve...);
    visit("--drift", Policy::kJudging, r.drift...);
    visit("--guard", Policy::kReading, r.guard...);
    visit("--keep-curves", Policy::kReading, r.keepCurves...);
    visit("--own-from", Policy::kJudging, r.ownFrom...);
  }
};

/// How measurements are read and judged: one member per option of the command line. A store
/// remembers them.
template <class Form>
struct TSettings : TReadSettings<Form>, TRule<Form> {
  template <class Visit, class... Settings>
  static void ForEach(Visit visit, Settings&... s) {
    TReadSettings<Form>::ForEach(visit, s...);
    TRule<Form>::ForEach(visit, s...);
  }
};

using SGivenSettings = TSettings<SGiven>;
using SSettings = TSettings<SResolved>;

/// What holds for this run: what is given, else what the store has, else the defaults. Throws
/// CUsageError where a given one contradicts the store, for numbers out of range and for
/// combinations without meaning.
SSettings Resolve(const SGivenSettings& given, const std::optional<SSettings>& stored,
                  bool learning);

/// The first of the options by which two settings differ, as "--base 3.0 there, 0.0 here"; empty
/// when they agree.
std::string Difference(const SSettings& here, const SSettings& there,
                       std::initializer_list<std::string_view> options);

std::string SettingsToText(const SSettings& settings);

/// Throws std::exception when the text is not what SettingsToText gives.
SSettings SettingsFromText(const std::string& text);

}  // namespace limes::host
