#include "recordings/unit_conversion.h"

#include <string>
#include <string_view>
#include <utility>

#include "limes/platform/text.h"

namespace limes::recordings {
namespace {

/// Empty without a unit and for levels.
std::optional<wide_string> LinearText(const SUnit& unit) {
  if (unit.IsNone() || unit.IsDecibel()) {
    return std::nullopt;
  }
  return unit.text.empty() ? unit.unit.ExactText() : Utf8ToWide(unit.text);
}

template <class T>
void ConvertAll(std::vector<T>& values, const SUnitConversion& conversion) {
  for (T& value : values) {
    value = static_cast<T>(conversion(double{value}));
  }
}

bool IsLetter(char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); }

}  // namespace

std::optional<SUnitConversion> ConversionBetween(const SUnit& from, const SUnit& to) {
  if (from == to) {
    return SUnitConversion();
  }
  const auto a = LinearText(from);
  const auto b = LinearText(to);
  return a && b ? limes::ConversionBetween(*a, *b) : std::nullopt;
}

void Convert(SQuantity& q, const SUnitConversion& values, const SUnit& unit,
             const SUnitConversion& x, const SUnit& xUnit) {
  q.unit = unit;
  q.xUnit = xUnit;
  if (!values.IsIdentity()) {
    ConvertAll(q.values, values);
    q.value = q.single ? values(q.value) : q.value;
  }
  if (!x.IsIdentity()) {
    q.x0 = x(q.x0);
    q.dx = x.Step(q.dx);
    ConvertAll(q.x, x);
  }
}

std::string UsualSpelling(std::string_view text) {
  constexpr std::pair<std::string_view, std::string_view> kOthers[] = {
      {"degC", "°C"},
      {"deg C", "°C"},
      {"℃", "°C"},
      {"deg", "°"},
  };
  for (const auto& [other, usual] : kOthers) {
    if (text == other) {
      return std::string(usual);
    }
  }
  for (const std::string_view torque : {"N·m", "N⋅m", "N*m", "N m", "N.m"}) {
    if (text.ends_with(torque) && text.size() <= torque.size() + 2) {
      return std::string(text.substr(0, text.size() - torque.size())) + "Nm";
    }
  }
  wide_string wide = Utf8ToWide(text);
  if (const std::size_t stars = wide.find(u"**"); stars != wide_string::npos) {
    wide.erase(stars, 2);
  }
  const std::size_t n = wide.size();
  const bool power = n > 1 && (wide[n - 1] == u'2' || wide[n - 1] == u'3') && IsLetter(wide[n - 2]);
  if (power) {
    wide[n - 1] = wide[n - 1] == u'2' ? u'²' : u'³';
    return WideToUtf8(wide);
  }
  return std::string(text);
}

}  // namespace limes::recordings
