#include <charconv>
#include <cmath>
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

/// Reads a number from the start of the text and removes it; false when there is none in range.
template <class T>
bool ReadNumber(std::u16string_view& text, T& value) {
  constexpr bool kReal = std::is_floating_point_v<T>;
  SkipBlanks(text);
  const std::string chars = NumberChars(text, kReal);
  const char* const end = chars.data() + chars.size();
  auto result = std::from_chars(chars.data(), end, value);
  if constexpr (std::is_same_v<T, float>) {
    double wide = 0.0;
    // A value too small for float is in range: it rounds to 0.
    if (result.ec == std::errc::result_out_of_range &&
        std::from_chars(chars.data(), end, wide).ec == std::errc() && std::fabs(wide) < 1.0) {
      value = static_cast<float>(wide);
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
      if (targets.empty() || !(letter == u'f' ? std::visit(StoreReal{text}, targets[0])
                                              : std::visit(StoreInteger{text}, targets[0]))) {
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
