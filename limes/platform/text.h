#pragma once

#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "limes/export.h"

namespace limes {

using wide_char = char16_t;
using wide_string = std::u16string;

/// UTF-8 as 16-bit text; each maximal ill-formed piece becomes U+FFFD. O(n).
LIMES_EXPORT wide_string Utf8ToWide(std::string_view text);

/// 16-bit text as UTF-8; a lone surrogate becomes U+FFFD. O(n).
LIMES_EXPORT std::string WideToUtf8(std::u16string_view text);

/// Code page 1252 as 16-bit text; the five free codes 81, 8D, 8F, 90 and 9D become the control
/// characters of the same number. O(n).
LIMES_EXPORT wide_string Cp1252ToWide(std::string_view text);

/// 16-bit text in code page 1252; a character that the page does not hold becomes '?' (one for a
/// surrogate pair). O(n).
LIMES_EXPORT std::string WideToCp1252(std::u16string_view text);

/// The longest start of a UTF-8 text of at most maxBytes bytes that does not cut a character.
LIMES_EXPORT std::string_view Utf8Prefix(std::string_view text, std::size_t maxBytes);

namespace detail {

/// One argument of Format. Refers to the text given, so it must not outlive the call.
class FormatArg {
 public:
  enum class Kind { kInteger, kReal, kNarrow, kWide };

  template <std::integral T>
  FormatArg(T value)
      : kind_(Kind::kInteger),
        integer_(static_cast<std::int64_t>(value)),
        bits_(8 * sizeof(T)),
        isSigned_(std::signed_integral<T>) {}
  FormatArg(float value) : kind_(Kind::kReal), real_(double{value}), bits_(32) {}
  FormatArg(double value) : kind_(Kind::kReal), real_(value) {}
  FormatArg(const char* text) : FormatArg(text == nullptr ? std::string_view() : text) {}
  FormatArg(std::string_view text) : kind_(Kind::kNarrow), narrow_(text) {}
  FormatArg(const std::string& text) : FormatArg(std::string_view(text)) {}
  FormatArg(const char16_t* text) : FormatArg(text == nullptr ? std::u16string_view() : text) {}
  FormatArg(std::u16string_view text) : kind_(Kind::kWide), wide_(text) {}
  FormatArg(const std::u16string& text) : FormatArg(std::u16string_view(text)) {}

  /// Which of the four values counts; the others are 0 or empty.
  Kind ItsKind() const { return kind_; }
  std::int64_t Integer() const { return integer_; }
  double Real() const { return real_; }
  std::string_view Narrow() const { return narrow_; }
  std::u16string_view Wide() const { return wide_; }

  /// Width of the number's type.
  unsigned Bits() const { return bits_; }

  /// False for integers of an unsigned type.
  bool IsSigned() const { return isSigned_; }

 private:
  Kind kind_;
  std::int64_t integer_ = 0;
  double real_ = 0.0;
  std::string_view narrow_;
  std::u16string_view wide_;
  unsigned bits_ = 64;
  bool isSigned_ = true;
};

LIMES_EXPORT wide_string FormatText(std::u16string_view format, std::span<const FormatArg> args);

/// Where Scan stores one field: one of the pointers, the others are null.
struct ScanTarget {
  ScanTarget(float* to) : toFloat(to) {}
  ScanTarget(double* to) : toDouble(to) {}
  ScanTarget(std::int32_t* to) : toInt32(to) {}
  ScanTarget(std::uint32_t* to) : toUint32(to) {}
  ScanTarget(std::int64_t* to) : toInt64(to) {}

  float* toFloat = nullptr;
  double* toDouble = nullptr;
  std::int32_t* toInt32 = nullptr;
  std::uint32_t* toUint32 = nullptr;
  std::int64_t* toInt64 = nullptr;
};

LIMES_EXPORT int ScanText(std::u16string_view text, std::u16string_view format,
                          std::span<const ScanTarget> targets);

}  // namespace detail

/// Text after a printf format: %s, %d (%i), %u, %x, %X, %c, %f, %e, %g and %%, with the flags
/// '-', '0' and '+', a width and a precision; length letters are skipped.
///
/// The same on every system, whatever its locale: decimal point '.', "nan", "inf". 8-bit texts are
/// code page 1252; a null text is empty. The kind of the argument decides, not the letter alone: a
/// number under %s is written out, a text under %d is taken as text, an unsigned number under %d
/// keeps its value. A conversion that is unknown
/// or has no argument left appears as it stands; surplus arguments are dropped.
template <class... Args>
wide_string Format(std::u16string_view format, const Args&... args) {
  if constexpr (sizeof...(Args) == 0) {
    return detail::FormatText(format, {});
  } else {
    const detail::FormatArg list[] = {detail::FormatArg(args)...};
    return detail::FormatText(format, list);
  }
}

/// Reads numbers after a scanf format of %f and %d: number of fields read, the others untouched.
///
/// Blanks in the format skip blanks of the text, numbers skip leading blanks and take a '+', any
/// other character must match. Independent of the locale. A number too small for its type is 0 with
/// its sign; one too large ends the reading, and so does an unknown conversion or one without a
/// target.
template <class... Targets>
int Scan(std::u16string_view text, std::u16string_view format, Targets*... targets) {
  const detail::ScanTarget list[] = {detail::ScanTarget(targets)...};
  return detail::ScanText(text, format, list);
}

}  // namespace limes
