#include "apps/limes/measurement/settings.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <type_traits>

#include "limes/learning/common_modes.h"
#include "limes/learning/track_learning_tool.h"
#include "recordings/tables/dialect.h"
#include "recordings/text.h"

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
  Require(s.reject.value_or(kDefaultReject) > 0.0 && s.reject.value_or(kDefaultReject) < 1.0,
          "--reject must lie between 0 and 1: 1% or 0.01");
  Require(s.width >= 0.0, "--width must not be negative");
  Require(s.drift == 0.0 || (s.drift >= 100.0 && s.drift <= 1e12),
          "--drift must be a number of parts from 100 on, or 0 for no alarm");
  Require(s.timeScale >= 1, "--time-scale must be at least 1");
  Require(s.minParts >= 1, "--min-parts must be at least 1");
  Require(s.minShare >= 0.0 && s.minShare <= 1.0, "--min-share must lie between 0 and 1");
  const std::uint32_t n = s.spectrum;
  Require(n == 0 || (n >= 4 && n % 2 == 0 && n <= (1U << 24)),
          "--spectrum must be an even number from 4 to 16777216");
  Require(s.cut <= (std::uint64_t{1} << 31), "--cut must be at most 2147483648");
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
  Require(!s.modes || !s.tracks, "--modes needs parts that cover the same range, not --tracks");
  Require(s.sides == "upper" || s.sides == "lower" || s.sides == "both",
          "--sides must be upper, lower or both");
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
  if (!result.factor && !result.reject) {
    result.reject = kDefaultReject;
  }
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
  if (given.reject) {
    result.factor.reset();
  } else if (given.factor) {
    result.reject.reset();
  }
  return result;
}

}  // namespace

SSettings Resolve(const SGivenSettings& given, const std::optional<SSettings>& stored,
                  bool learning) {
  Require(!given.reject || !given.factor, "--reject and --factor exclude each other");
  SSettings result = WithDefaults(given);
  ValidateNumbers(result);
  if (stored) {
    result = Joined(given, *stored, learning);
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
          value = found->template get<T>();
        }
      },
      given);
  return WithDefaults(given);
}

}  // namespace limes::host
