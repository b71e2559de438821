#include "apps/limes/measurement/settings.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <type_traits>

#include "apps/limes/errors.h"
#include "limes/learning/track_learning_tool.h"

namespace limes::host {
namespace {

template <class T>
std::string AsText(const std::optional<T>& value) {
  return value
             ? nlohmann::json(*value).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)
             : "nothing";
}

/// How a store was made without an option.
template <class T>
bool IsUnset(const std::optional<T>& value) {
  if constexpr (std::is_same_v<T, bool>) {
    return !value.value_or(false);
  } else if constexpr (std::is_unsigned_v<T>) {
    return value.value_or(0) == 0;
  } else if constexpr (requires { value->empty(); }) {
    return !value || value->empty();
  } else {
    return !value;
  }
}

template <class T>
void Default(std::optional<T>& value, std::type_identity_t<T> standard) {
  if (!value) {
    value = std::move(standard);
  }
}

void Require(bool condition, const std::string& message) {
  if (!condition) {
    throw CUsageError(message);
  }
}

constexpr std::int32_t kTrackTimeScale = CTrackLernWerkzeug::kTimeScale;

void ValidateNumbers(const SSettings& s) {
  const auto finite = [](const std::optional<double>& v) { return !v || std::isfinite(*v); };
  Require(finite(s.x0), "--x0 must be finite");
  Require(!s.dx || (std::isfinite(*s.dx) && *s.dx > 0.0), "--dx must be positive");
  Require(finite(s.scale) && s.scale != 0.0, "--scale must be finite and not 0");
  Require(!s.ref || (std::isfinite(*s.ref) && *s.ref > 0.0), "--ref must be positive");
  const auto single = [](const std::optional<double>& v) {
    return !v || std::fabs(*v) <= double{std::numeric_limits<float>::max()};
  };
  Require(single(s.base) && single(s.factor) && single(s.width),
          "--base, --factor and --width must be numbers of single precision");
  Require(!s.factor || (std::isfinite(*s.factor) && *s.factor >= 0.0),
          "--factor must not be negative");
  Require(!s.width || (std::isfinite(*s.width) && *s.width >= 0.0), "--width must not be negative");
  Require(s.timeScale.value_or(1) >= 1, "--time-scale must be at least 1");
  Require(s.minParts.value_or(1) >= 1, "--min-parts must be at least 1");
  Require(!s.minShare || (*s.minShare >= 0.0 && *s.minShare <= 1.0),
          "--min-share must lie between 0 and 1");
  const std::uint32_t n = s.spectrum.value_or(0);
  Require(n == 0 || (n >= 4 && n % 2 == 0 && n <= (1U << 24)),
          "--spectrum must be an even number from 4 to 16777216");
  Require(s.cut.value_or(0) <= (std::uint64_t{1} << 31), "--cut must be at most 2147483648");
}

}  // namespace

Sides SSettings::WhichSides() const {
  const std::string text = sides.value_or("upper");
  return text == "both" ? Sides::kBoth : text == "lower" ? Sides::kLower : Sides::kUpper;
}

void SetDefaults(SSettings& s) {
  Default(s.rows, false);
  Default(s.values, false);
  Default(s.noHeader, false);
  Default(s.x0, 0.0);
  Default(s.use, {});
  Default(s.skip, {});
  Default(s.cut, 0);
  Default(s.detrend, false);
  Default(s.spectrum, 0);
  Default(s.scale, 1.0);
  Default(s.tracks, false);
  Default(s.sides, "upper");
  Default(s.timeScale, *s.tracks ? kTrackTimeScale : 10000);
  Default(s.base, 0.0);
  Default(s.factor, 3.0);
  Default(s.width, 0.0);
  Default(s.minParts, 3);
  Default(s.minShare, *s.tracks ? 0.5 : 0.9);
  Default(s.onePerCurve, false);
  if (s.labelColumn) {
    Default(s.good, "good");
  }
}

SSettings Resolve(const SSettings& given, const SSettings& stored, bool learning) {
  ValidateNumbers(given);
  SSettings result = stored;
  VisitSettings(
      [&](const char* option, Policy policy, auto& target, const auto& wish) {
        const bool fixed = policy == Policy::kFixed || (policy == Policy::kJudging && learning);
        if (wish && fixed && wish != target) {
          const bool flag = std::is_same_v<decltype(*wish), const bool&>;
          throw CUsageError(std::string(option) + (flag ? "" : " " + AsText(wish)) +
                            " contradicts the store, which " +
                            (IsUnset(target) ? "was learnt without" : "has " + AsText(target)) +
                            "; leave it out, or learn another store");
        }
        if (wish) {
          target = wish;
        }
      },
      result, given);
  SetDefaults(result);
  return result;
}

std::string Difference(const SSettings& here, const SSettings& there,
                       std::initializer_list<std::string_view> options) {
  std::string text;
  VisitSettings(
      [&](const char* option, Policy, const auto& a, const auto& b) {
        const bool asked = std::find(options.begin(), options.end(), option) != options.end();
        if (asked && text.empty() && a != b) {
          text = std::string(option) + " " + AsText(b) + " there, " + AsText(a) + " here";
        }
      },
      here, there);
  return text;
}

void Validate(const SSettings& s) {
  ValidateNumbers(s);
  try {
    SettingsToText(s);
  } catch (const nlohmann::json::exception&) {
    throw CUsageError("the options are not all UTF-8 text");
  }
  const bool rows = s.rows.value_or(false);
  const bool values = s.values.value_or(false);
  Require(!(rows && values), "--rows and --values exclude each other");
  Require(s.IsTable() || !s.firstValue, "--first-value needs --rows or --values");
  Require(s.IsTable() || !s.labelColumn, "--label-column needs --rows or --values");
  Require(s.IsTable() || !s.partColumn, "--part-column needs --rows or --values");
  Require(s.partColumn || !s.quantityColumn, "--quantity-column needs --part-column");
  Require(!rows || s.quantityColumn || !s.use || s.use->empty(),
          "--use picks quantities; with --rows they need a --quantity-column");
  Require(s.labelColumn || !s.good, "--good needs --label-column");
  Require(!values || (!s.dx && s.cut.value_or(0) == 0 && s.spectrum.value_or(0) == 0 &&
                      !s.detrend.value_or(false) && s.width.value_or(0.0) == 0.0 &&
                      !s.tracks.value_or(false)),
          "--dx, --cut, --detrend, --spectrum, --width and --tracks are for curves, not for "
          "--values");
  Require(!s.tracks.value_or(false) || (s.width.value_or(0.0) == 0.0 &&
                                        s.timeScale.value_or(kTrackTimeScale) == kTrackTimeScale),
          "--tracks has no --width, and its --time-scale is " + std::to_string(kTrackTimeScale));
  const std::string sides = s.sides.value_or("upper");
  Require(sides == "upper" || sides == "lower" || sides == "both",
          "--sides must be upper, lower or both");
}

std::string SettingsToText(const SSettings& settings) {
  nlohmann::json json = nlohmann::json::object();
  VisitSettings(
      [&](const char* option, Policy, const auto& value) {
        if (value) {
          json[option + 2] = *value;
        }
      },
      settings);
  return json.dump();
}

SSettings SettingsFromText(const std::string& text) {
  SSettings settings;
  const nlohmann::json json = nlohmann::json::parse(text);
  VisitSettings(
      [&](const char* option, Policy, auto& value) {
        using T = typename std::remove_reference_t<decltype(value)>::value_type;
        if (const auto found = json.find(option + 2); found != json.end()) {
          value = found->template get<T>();
        }
      },
      settings);
  return settings;
}

}  // namespace limes::host
