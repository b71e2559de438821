#include <algorithm>
#include <charconv>
#include <limits>
#include <string>
#include <type_traits>

#include "limes/platform/conversions.h"
#include "limes/platform/text.h"

namespace limes::detail {

namespace {

bool IsBlank(char16_t c) { return c == u' ' || (c >= u'\t' && c <= u'\r'); }

void SkipBlanks(std::u16string_view& text) {
  while (!text.empty() && IsBlank(text[0])) {
    text.remove_prefix(1);
  }
}

/// The characters at the start that can belong to a number, without a leading '+'; empty when a
/// second sign follows.
std::string NumberChars(std::u16string_view text, bool real) {
  constexpr std::u16string_view kInteger = u"+-0123456789";
  constexpr std::u16string_view kReal = u"+-0123456789.eEiInNfFtTyYaA";
  const std::size_t n = std::min(text.find_first_not_of(real ? kReal : kInteger), text.size());
  std::string out(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(n));
  if (!out.empty() && out[0] == '+') {
    out.erase(0, 1);
    if (!out.empty() && (out[0] == '-' || out[0] == '+')) {
      out.clear();
    }
  }
  return out;
}

/// Whether a number that is out of range is too small rather than too large, by the power of ten of
/// its first digit that is not 0.
bool IsTooSmall(std::string_view number) {
  const std::size_t e = std::min(number.find_first_of("eE"), number.size());
  const std::string_view digits = number.substr(0, e);
  const std::string_view power = number.substr(std::min(e + 1, number.size()));
  const std::size_t sign = power.starts_with('+') ? 1 : 0;
  std::int64_t exponent = 0;
  if (std::from_chars(power.data() + sign, power.data() + power.size(), exponent).ec ==
      std::errc::result_out_of_range) {
    return power[0] == '-';
  }
  const auto point = static_cast<std::int64_t>(std::min(digits.find('.'), digits.size()));
  const auto first = static_cast<std::int64_t>(digits.find_first_of("123456789"));
  return exponent < first - point;
}

/// Reads a number from the start of the text and removes it; false when there is none in range.
template <class T>
bool ReadNumber(std::u16string_view& text, T& value) {
  constexpr bool kReal = std::is_floating_point_v<T>;
  SkipBlanks(text);
  const std::string chars = NumberChars(text, kReal);
  const char* const end = chars.data() + chars.size();
  auto result = std::from_chars(chars.data(), end, value);
  if constexpr (kReal) {
    // A value too small is in range: it rounds to 0, or to what float has between there and 1.
    if (result.ec == std::errc::result_out_of_range &&
        IsTooSmall({chars.data(), static_cast<std::size_t>(result.ptr - chars.data())})) {
      double wide = chars[0] == '-' ? -0.0 : 0.0;  // stays, where it is too small for double too
      std::from_chars(chars.data(), end, wide);
      value = static_cast<T>(wide);
      result.ec = std::errc();
    }
  }
  if (result.ec != std::errc()) {
    return false;
  }
  const std::size_t plus = text[0] == u'+' ? 1 : 0;
  text.remove_prefix(static_cast<std::size_t>(result.ptr - chars.data()) + plus);
  return true;
}

/// Stores what %f reads; a float target is read as float, so that it is rounded once.
struct StoreReal {
  std::u16string_view& text;

  template <class T>
  bool operator()(T* target) const {
    std::conditional_t<std::is_same_v<T, float>, float, double> value = 0;
    if (!ReadNumber(text, value)) {
      return false;
    }
    if constexpr (std::is_integral_v<T>) {
      *target = TruncTo<T>(value);
    } else {
      *target = static_cast<T>(value);
    }
    return true;
  }
};

struct StoreInteger {
  std::u16string_view& text;

  template <class T>
  bool operator()(T* target) const {
    std::int64_t value = 0;
    if (!ReadNumber(text, value)) {
      return false;
    }
    if constexpr (std::is_integral_v<T>) {
      if (value < std::int64_t{std::numeric_limits<T>::min()} ||
          value > std::int64_t{std::numeric_limits<T>::max()}) {
        return false;
      }
    }
    *target = static_cast<T>(value);
    return true;
  }
};

template <class Store>
bool StoreIn(const ScanTarget& target, Store store) {
  return target.toFloat != nullptr    ? store(target.toFloat)
         : target.toDouble != nullptr ? store(target.toDouble)
         : target.toInt32 != nullptr  ? store(target.toInt32)
         : target.toUint32 != nullptr ? store(target.toUint32)
                                      : store(target.toInt64);
}

}  // namespace

int ScanText(std::u16string_view text, std::u16string_view format,
             std::span<const ScanTarget> targets) {
  int fields = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (IsBlank(format[i])) {
      SkipBlanks(text);
      continue;
    }
    const char16_t letter = format[i] == u'%' && i + 1 < format.size() ? format[++i] : u'\0';
    if (letter == u'f' || letter == u'd') {
      if (targets.empty() || !(letter == u'f' ? StoreIn(targets[0], StoreReal{text})
                                              : StoreIn(targets[0], StoreInteger{text}))) {
        return fields;
      }
      targets = targets.subspan(1);
      ++fields;
      continue;
    }
    if ((letter != u'\0' && letter != u'%') || text.empty() || text[0] != format[i]) {
      return fields;
    }
    text.remove_prefix(1);
  }
  return fields;
}

}  // namespace limes::detail
