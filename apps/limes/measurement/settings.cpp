#include "apps/limes/measurement/settings.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <type_traits>

#include "apps/limes/measurement/json_number.h"
#include "limes/kernels/averaging_factors.h"
#include "limes/learning/common_modes.h"
#include "limes/learning/track_learning_tool.h"
#include "recordings/forming/former.h"
#include "recordings/tables/dialect.h"
#include "recordings/text.h"
#include "recordings/variant.h"

namespace limes::host {
namespace {

constexpr std::int32_t kTrackTimeScale = CTrackLernWerkzeug::kTimeScale;

template <class T>
constexpr bool kMayBeAbsent = false;
template <class T>
constexpr bool kMayBeAbsent<std::optional<T>> = true;

template <class T>
std::string AsText(const T& value) {
  if constexpr (kMayBeAbsent<T>) {
    return value ? AsText(*value) : "nothing";
  } else {
    return nlohmann::json(value).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  }
}

/// How a store was made without an option.
template <class T>
bool IsUnset(const T& value) {
  if constexpr (kMayBeAbsent<T>) {
    return !value || IsUnset(*value);
  } else if constexpr (std::is_unsigned_v<T>) {
    return value == T{};
  } else if constexpr (requires { value.empty(); }) {
    return value.empty();
  } else {
    return false;
  }
}

void Require(bool condition, const std::string& message) {
  if (!condition) {
    throw CUsageError(message);
  }
}

void ValidateNumbers(const SSettings& s) {
  Require(!s.x0 || std::isfinite(*s.x0), "--x0 must be finite");
  Require(!s.dx || (std::isfinite(*s.dx) && *s.dx > 0.0), "--dx must be positive");
  Require(std::isfinite(s.scale) && s.scale != 0.0, "--scale must be finite and not 0");
  Require(!s.ref || (std::isfinite(*s.ref) && *s.ref > 0.0), "--ref must be positive");
  const auto single = [](double v) {
    return std::fabs(v) <= double{std::numeric_limits<float>::max()};
  };
  Require(single(s.base) && single(s.factor.value_or(0.0)) && single(s.width),
          "--base, --factor and --width must be numbers of single precision");
  Require(s.factor.value_or(0.0) >= 0.0, "--factor must not be negative");
  const auto isShare = [](std::optional<double> share) {
    return !share || (*share > 0.0 && *share < 1.0);
  };
  Require(isShare(s.reject), "--reject must lie between 0 and 1: 1% or 0.01");
  Require(isShare(s.cover), "--cover must lie between 0 and 1: 99% or 0.99");
  Require(isShare(s.sure), "--sure must lie between 0 and 1: 95% or 0.95");
  Require(s.width >= 0.0, "--width must not be negative");
  Require(s.drift == 0.0 || (s.drift >= 100.0 && s.drift <= 1e12),
          "--drift must be a number of parts from 100 on, or 0 for no alarm");
  Require(s.keepCurves.value_or(0.0) >= 0.0 && s.keepCurves.value_or(0.0) <= 1e6,
          "--keep-curves must be a number of MB from 0 to 1000000");
  Require(s.timeScale >= 1, "--time-scale must be at least 1");
  Require(s.minParts >= 1, "--min-parts must be at least 1");
  Require(s.ownFrom >= 1, "--own-from must be at least 1");
  Require(s.minShare >= 0.0 && s.minShare <= 1.0, "--min-share must lie between 0 and 1");
  const std::uint32_t n = s.spectrum;
  Require(n == 0 || (n >= 4 && n % 2 == 0 && n <= (1U << 24)),
          "--spectrum must be an even number from 4 to 16777216");
  Require(s.cut <= (std::uint64_t{1} << 31), "--cut must be at most 2147483648");
}

/// Whether it is an order that the spectrum over orders holds.
bool IsOrder(const std::string& text, double step, double most) {
  double order = 0.0;
  return recordings::ParseNumber(text, order) && order > 0.0 && order <= most &&
         std::fabs(order / step - std::round(order / step)) < 1e-6;
}

void ValidateOrders(const SSettings& s) {
  Require(s.orders || (s.orderCuts.empty() && !s.speed && !s.pulses),
          "--order-cuts, --speed and --pulses need --orders");
  if (!s.orders) {
    return;
  }
  const auto range = recordings::RangeOf(*s.orders);
  const double turns = range && range->first > 0.0 ? 1.0 / range->first : 0.0;
  Require(
      turns >= 1.0 && turns <= 1000.0 && std::fabs(turns - std::round(turns)) < 1e-6 &&
          range->second <= 10000.0,
      "--orders needs STEP:MOST, such as 0.25:32, with STEP one over a whole number up to 1000");
  Require(s.speed.has_value(), "--orders needs --speed, the channel of speed or pulses");
  Require(!s.pulses || (std::isfinite(*s.pulses) && *s.pulses > 0.0), "--pulses must be positive");
  for (const std::string& order : s.orderCuts) {
    Require(
        IsOrder(order, range->first, range->second),
        "--order-cuts: " + recordings::Quoted(order) + " is no multiple of the step of --orders");
  }
}

/// What is learnt in double.
void ValidatePrecise(const SSettings& s) {
  Require(!s.IsPrecise() || !(s.values || !s.single.empty()),
          "--precise is for curves; single values are always learnt in double precision");
  Require(!s.IsPrecise() || !s.tracks,
          "--precise is for parts that cover the same range: --tracks are learnt in single "
          "precision");
  Require(!s.IsPrecise() || s.timeScale == CExpAverFacGenerator::kNoForgetting,
          "--precise counts all parts alike, without --time-scale");
  Require(!s.IsPrecise() || s.width == 0.0, "--precise limits are not widened, without --width");
}

/// What is formed of time signals.
void ValidateForming(const SSettings& s) {
  const int ways =
      (s.level ? 1 : 0) + (s.bands > 0 ? 1 : 0) + (s.orders ? 1 : 0) + (s.single.empty() ? 0 : 1);
  const bool segments = s.spectrum > 0 || s.resolution;
  Require(
      ways <= 1 && !(segments && (s.level || s.orders)),
      "--level, --bands, --single, --orders and --spectrum exclude each other; --spectrum gives "
      "the segments of --bands and --single");
  Require(s.spectrum == 0 || !s.resolution, "--spectrum is a length or a resolution");
  Require(!s.resolution || (std::isfinite(*s.resolution) && *s.resolution > 0.0),
          "the resolution of --spectrum must be positive");
  Require(s.bands == 0 || s.bands == 1 || s.bands == 3, "--bands must be 1 or 3");
  Require(!s.level || (std::isfinite(*s.level) && *s.level > 0.0), "--level must be positive");
  Require(!s.weighting || *s.weighting == "A" || *s.weighting == "C", "--weighting must be A or C");
  Require(!s.envelope || recordings::RangeOf(*s.envelope), "--envelope needs LOW:HIGH in Hz");
  for (const std::string& name : s.single) {
    Require(name == "rms" || name == "peak" || name == "crest" || name == "kurtosis" ||
                recordings::RangeOf(name),
            "--single takes rms, peak, crest, kurtosis or LOW:HIGH in Hz, not " +
                recordings::Quoted(name));
  }
  Require(s.single.empty() || (!s.tracks && s.width == 0.0),
          "--width and --tracks are for curves, not for --single");
  Require(!s.values || !s.Forms(),
          "--values has single values already, of which nothing is formed");
  ValidateOrders(s);
}

void ValidateAlign(const SSettings& s) {
  Require(!s.align || (std::isfinite(*s.align) && *s.align > 0.0), "--align must be positive");
  Require(!s.align || (!s.values && s.single.empty() && !s.tracks),
          "--align is for curves that cover the same range, not for --values, --single and "
          "--tracks");
  Require(!s.align || s.base == 0.0 || !(s.modes || s.whole),
          "--align with --modes or --whole needs a --base of 0, as it would widen the limit of the "
          "shift");
}

void ValidateCombinations(const SSettings& s) {
  Require(!(s.rows && s.values), "--rows and --values exclude each other");
  Require(s.longForm.empty() || !(s.rows || s.values), "--long excludes --rows and --values");
  Require(s.longForm.empty() || s.longForm.size() >= 3,
          "--long needs the columns of part, x and values");
  Require(s.longForm.empty() || (!s.dx && !s.firstValue && !s.labelColumn && !s.partColumn),
          "--dx, --first-value, --label-column and --part-column are not for --long");
  const auto unknown = recordings::UnknownTableWord(s.table);
  Require(!unknown, "--table does not know " + recordings::Quoted(unknown.value_or("")) +
                        "; it takes comma, semicolon, tab, decimal-point, decimal-comma, "
                        "units-row and no-units-row");
  Require(s.IsTable() || !s.firstValue, "--first-value needs --rows or --values");
  Require(s.IsTable() || !s.labelColumn, "--label-column needs --rows or --values");
  Require(s.IsTable() || !s.partColumn, "--part-column needs --rows or --values");
  Require(s.partColumn || !s.quantityColumn, "--quantity-column needs --part-column");
  Require(!s.rows || s.quantityColumn || s.use.empty(),
          "--use picks quantities; with --rows they need a --quantity-column");
  Require(!s.values ||
              (!s.dx && s.cut == 0 && s.spectrum == 0 && !s.detrend && s.width == 0.0 && !s.tracks),
          "--dx, --cut, --detrend, --spectrum, --width and --tracks are for curves, not for "
          "--values");
  Require(!s.tracks || (s.width == 0.0 && s.timeScale == kTrackTimeScale),
          "--tracks has no --width, and its --time-scale is " + std::to_string(kTrackTimeScale));
  Require(!s.modes || (*s.modes >= 1 && *s.modes <= CCommonModes::kMostModes),
          "--modes must lie between 1 and " + std::to_string(CCommonModes::kMostModes) +
              ", or be 0 or auto");
  Require((!s.modes && !s.whole) || !s.tracks,
          "--modes and --whole need parts that cover the same range, not --tracks");
  ValidatePrecise(s);
  ValidateAlign(s);
  ValidateForming(s);
  const std::string variantFault = recordings::FaultOfVariant(s.variant, s.variantPattern);
  Require(variantFault.empty(), variantFault);
  Require(s.cover || !s.sure, "--sure needs --cover");
  Require(!s.cover || !(s.modes || s.whole),
          "--cover is for limits at each point alone, without --modes and --whole");
  Require(!s.whole || s.reject, "--whole needs --reject, of which its limit follows");
  Require(s.sides == "upper" || s.sides == "lower" || s.sides == "both",
          "--sides must be upper, lower or both");
}

/// Of the rules one is left: the one given. Of several stored ones there is only one.
void KeepOneRule(const SGivenSettings& given, SSettings& s) {
  if (given.reject || given.factor) {
    s.cover.reset();
    s.sure.reset();
  }
  if (given.reject || given.cover) {
    s.factor.reset();
  }
  if (given.factor || given.cover) {
    s.reject.reset();
  }
  if (s.cover && !s.sure) {
    s.sure = kDefaultSure;
  }
}

/// Nothing but what is given and the defaults, some of which follow from what is given.
SSettings WithDefaults(const SGivenSettings& given) {
  SSettings result;
  SSettings::ForEach(
      [](const char*, Policy, auto& target, const auto& wish) {
        if (wish) {
          target = *wish;
        }
      },
      result, given);
  if (!result.factor && !result.reject && !result.cover) {
    result.reject = kDefaultReject;
  }
  KeepOneRule(given, result);
  if (result.tracks) {
    result.timeScale = given.timeScale.value_or(kTrackTimeScale);
    result.minShare = given.minShare.value_or(kMinShareOfTrack);
  }
  return result;
}

SSettings Joined(const SGivenSettings& given, const SSettings& stored, bool learning) {
  SSettings result = stored;
  SSettings::ForEach(
      [&](const char* option, Policy policy, auto& target, const auto& wish) {
        if (!wish) {
          return;
        }
        const bool fixed = policy == Policy::kFixed || (policy == Policy::kJudging && learning);
        if (fixed && target != *wish) {
          const bool flag = std::is_same_v<decltype(*wish), const bool&>;
          throw CUsageError(std::string(option) + (flag ? "" : " " + AsText(*wish)) +
                            " contradicts the store, which " +
                            (IsUnset(target) ? "was learnt without" : "has " + AsText(target)) +
                            "; leave it out, or learn another store");
        }
        target = *wish;
      },
      result, given);
  KeepOneRule(given, result);
  return result;
}

/// Some names of what tells variants apart may be given again.
SGivenSettings WithoutKnownNames(SGivenSettings given, const SSettings& stored) {
  const auto isKnown = [&](const std::string& name) {
    return std::find(stored.variant.begin(), stored.variant.end(), name) != stored.variant.end();
  };
  if (given.variant && std::all_of(given.variant->begin(), given.variant->end(), isKnown)) {
    given.variant.reset();
  }
  return given;
}

}  // namespace

SSettings Resolve(const SGivenSettings& given, const std::optional<SSettings>& stored,
                  bool learning) {
  Require(!given.reject || !given.factor, "--reject and --factor exclude each other");
  Require(!given.reject || !given.cover, "--reject and --cover exclude each other");
  Require(!given.factor || !given.cover, "--factor and --cover exclude each other");
  SSettings result = WithDefaults(given);
  ValidateNumbers(result);
  Require(given.reject.value_or(kDefaultReject) >= kLeastReject,
          "--reject must be at least one part in a million (0.0001%), which takes a million good "
          "parts to promise; --factor sets limits without a rate");
  if (stored) {
    result = Joined(WithoutKnownNames(given, *stored), *stored, learning);
    ValidateNumbers(result);
  }
  try {
    SettingsToText(result);
  } catch (const nlohmann::json::exception&) {
    throw CUsageError("the options are not all UTF-8 text");
  }
  Require(result.labelColumn || !given.good, "--good needs --label-column");
  ValidateCombinations(result);
  return result;
}

std::string Difference(const SSettings& here, const SSettings& there,
                       std::initializer_list<std::string_view> options) {
  std::string text;
  SSettings::ForEach(
      [&](const char* option, Policy, const auto& a, const auto& b) {
        const bool asked = std::find(options.begin(), options.end(), option) != options.end();
        if (asked && text.empty() && a != b) {
          text = std::string(option) + " " + AsText(b) + " there, " + AsText(a) + " here";
        }
      },
      here, there);
  return text;
}

std::string SettingsToText(const SSettings& settings) {
  nlohmann::json json = nlohmann::json::object();
  SSettings::ForEach(
      [&](const char* option, Policy, const auto& value) {
        if constexpr (kMayBeAbsent<std::decay_t<decltype(value)>>) {
          if (value) {
            json[option + 2] = *value;
          }
        } else {
          json[option + 2] = value;
        }
      },
      settings);
  return json.dump();
}

SSettings SettingsFromText(const std::string& text) {
  SGivenSettings given;
  const nlohmann::json json = nlohmann::json::parse(text);
  SGivenSettings::ForEach(
      [&](const char* option, Policy, auto& value) {
        using T = typename std::remove_reference_t<decltype(value)>::value_type;
        if (const auto found = json.find(option + 2); found != json.end()) {
          value = ValueOf<T>(*found);
        }
      },
      given);
  return WithDefaults(given);
}

}  // namespace limes::host
