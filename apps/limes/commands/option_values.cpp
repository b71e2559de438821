#include "apps/limes/commands/option_values.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <string_view>

#include "apps/limes/errors.h"
#include "limes/learning/common_modes.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

bool ParseCount(std::string_view text, std::uint64_t& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

std::vector<std::string> SplitNames(const char* option, const std::string& text) {
  std::vector<std::string> names;
  std::istringstream in(text);
  for (std::string name; std::getline(in, name, ',');) {
    if (!name.empty()) {
      names.push_back(name);
    }
  }
  if (names.empty()) {
    throw CUsageError(std::string(option) + " needs at least one name");
  }
  return names;
}

SCondition ParseCondition(const std::string& text) {
  const auto equals = text.find('=');
  if (equals == std::string::npos || equals == 0) {
    throw CUsageError("--where needs COLUMN=VALUE, not " + Quoted(text));
  }
  return {text.substr(0, equals), text.substr(equals + 1)};
}

void ParseVariant(const std::string& text, SOptions& options, bool names) {
  std::vector<std::string> known = options.settings.variant.value_or(std::vector<std::string>());
  for (const std::string& pair : SplitNames("--variant", text)) {
    const auto equals = pair.find('=');
    known.push_back(pair.substr(0, equals));
    if (equals != std::string::npos && equals > 0 && equals + 1 < pair.size()) {
      options.variant.push_back({known.back(), pair.substr(equals + 1)});
    } else if (!names || equals != std::string::npos) {
      throw CUsageError("--variant needs NAME=VALUE, not " + Quoted(pair));
    }
  }
  options.settings.variant = names ? std::optional(known) : std::nullopt;
}

double ParseShare(const char* option, const std::string& text) {
  double share = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), share);
  const std::string_view behind(end, text.data() + text.size());
  if (error != std::errc() || !(behind.empty() || behind == "%" || behind == " %")) {
    throw CUsageError(std::string(option) + " needs a share such as 1% or 0.01, not " +
                      Quoted(text));
  }
  return behind.empty() ? share : share / 100.0;
}

std::int32_t ParseModes(const std::string& text) {
  std::uint64_t modes = 0;
  if (text == "auto") {
    return kAutoModes;
  }
  if (!ParseCount(text, modes) || modes > CCommonModes::kMostModes) {
    throw CUsageError("--modes needs a number from 0 to " +
                      std::to_string(CCommonModes::kMostModes) + " or auto, not " + Quoted(text));
  }
  return static_cast<std::int32_t>(modes);
}

std::chrono::milliseconds ParseSeconds(const char* option, const std::string& text) {
  constexpr double kMost = 86400.0;
  double seconds = -1.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (error != std::errc() || end != text.data() + text.size() ||
      !(seconds >= 0.0 && seconds <= kMost)) {
    throw CUsageError(std::string(option) + " needs seconds such as 0.5, not " + Quoted(text));
  }
  return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000.0));
}

std::vector<int> ParseShifts(const std::string& text) {
  std::vector<int> shifts;
  for (const std::string& time : SplitNames("--shifts", text)) {
    const std::size_t colon = time.find(':');
    std::uint64_t hours = 24;
    std::uint64_t minutes = 60;
    const bool good = colon != std::string::npos && colon + 3 == time.size() &&
                      ParseCount(std::string_view(time).substr(0, colon), hours) &&
                      ParseCount(std::string_view(time).substr(colon + 1), minutes);
    const int begins = static_cast<int>(std::min<std::uint64_t>(hours, 24) * 60 + minutes);
    if (!good || hours > 23 || minutes > 59 || (!shifts.empty() && begins <= shifts.back())) {
      throw CUsageError("--shifts needs times that rise, such as 6:00,14:00,22:00, not " +
                        Quoted(text));
    }
    shifts.push_back(begins);
  }
  return shifts;
}

std::chrono::milliseconds ParseAge(const char* option, const std::string& text) {
  constexpr std::uint64_t kMostHours = 100 * 366 * 24;
  const std::string_view number = std::string_view(text).substr(0, text.size() - !text.empty());
  const char unit = text.empty() ? ' ' : text.back();
  const std::uint64_t hours = unit == 'h' ? 1 : unit == 'd' ? 24 : unit == 'w' ? 168 : 0;
  std::uint64_t count = 0;
  if (hours == 0 || !ParseCount(number, count) || count > kMostHours / hours) {
    throw CUsageError(std::string(option) + " needs an age such as 90d, 12h or 8w, not " +
                      Quoted(text));
  }
  return std::chrono::hours(static_cast<std::int64_t>(count * hours));
}

void ParseSpectrum(const std::string& text, SGivenSettings& settings) {
  std::string_view number = text;
  std::uint64_t samples = 0;
  double resolution = 0.0;
  if (number.ends_with("Hz")) {
    number.remove_suffix(2);
    number = number.substr(0, number.find_last_not_of(' ') + 1);
    if (recordings::ParseNumber(number, resolution)) {
      settings.resolution = resolution;
      return;
    }
  } else if (ParseCount(number, samples) && samples <= UINT32_MAX) {
    settings.spectrum = static_cast<std::uint32_t>(samples);
    return;
  }
  throw CUsageError("--spectrum needs a number of samples or a resolution such as 12.5Hz, not " +
                    Quoted(text));
}

double ParseTimeConstant(const std::string& text) {
  constexpr double kFast = 0.125;  // IEC 61672-1
  double seconds = text == "fast" ? kFast : 1.0;
  if (text != "fast" && text != "slow" && !recordings::ParseNumber(text, seconds)) {
    throw CUsageError("--level needs fast, slow or seconds, not " + Quoted(text));
  }
  return seconds;
}

void ParseEvery(const std::string& text, SSelection& selection) {
  const auto colon = text.find(':');
  const bool good = colon != std::string::npos &&
                    ParseCount(std::string_view(text).substr(0, colon), selection.every) &&
                    ParseCount(std::string_view(text).substr(colon + 1), selection.everyStart);
  if (!good || selection.every == 0 || selection.everyStart >= selection.every) {
    throw CUsageError("--every needs K:I with 0 <= I < K, not " + Quoted(text));
  }
}

void ParseParts(const std::string& text, SSelection& selection) {
  const auto dash = text.find('-');
  const std::string_view whole = text;
  bool good = ParseCount(whole.substr(0, dash), selection.first);
  if (dash == std::string::npos) {
    selection.last = selection.first;
  } else if (dash + 1 < whole.size()) {
    good = good && ParseCount(whole.substr(dash + 1), selection.last);
  }
  if (!good || selection.first == 0 || selection.last < selection.first) {
    throw CUsageError("--parts needs A-B, A- or A with 1 <= A <= B, not " + Quoted(text));
  }
}

}  // namespace limes::host
