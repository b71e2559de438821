#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>

#include "limes/platform/conversions.h"
#include "limes/platform/text.h"

namespace limes::detail {

namespace {

constexpr unsigned kMaxWidth = 1000;
constexpr unsigned kMaxPrecision = 350;

struct Conversion {
  bool left = false, zero = false, plus = false, blank = false;
  unsigned width = 0;
  int precision = -1;  ///< -1: not given
  char16_t letter = 0;
};

/// A number of decimal digits, limited.
unsigned ReadCount(std::u16string_view& rest, unsigned limit) {
  unsigned n = 0;
  while (!rest.empty() && rest[0] >= u'0' && rest[0] <= u'9') {
    n = std::min(limit, 10 * n + (rest[0] - u'0'));
    rest.remove_prefix(1);
  }
  return n;
}

bool Flag(char16_t c, Conversion& out) {
  switch (c) {
    case u'-':
      return out.left = true;
    case u'0':
      return out.zero = true;
    case u'+':
      return out.plus = true;
    case u' ':
      return out.blank = true;
    default:
      return c == u'#';
  }
}

/// Takes a conversion from the text behind '%'; false when there is none that is known.
bool ReadConversion(std::u16string_view& rest, Conversion& out) {
  while (!rest.empty() && Flag(rest[0], out)) {
    rest.remove_prefix(1);
  }
  out.width = ReadCount(rest, kMaxWidth);
  if (!rest.empty() && rest[0] == u'.') {
    rest.remove_prefix(1);
    out.precision = static_cast<int>(ReadCount(rest, kMaxPrecision));
  }
  constexpr std::u16string_view kLengths = u"hlLqjzt";
  while (!rest.empty() && kLengths.find(rest[0]) != kLengths.npos) {
    rest.remove_prefix(1);
  }
  constexpr std::u16string_view kLetters = u"sdiuxXcfFeEgG%";
  if (rest.empty() || kLetters.find(rest[0]) == kLetters.npos) {
    return false;
  }
  out.letter = rest[0];
  rest.remove_prefix(1);
  return true;
}

void Pad(wide_string& out, std::u16string_view text, const Conversion& how) {
  const std::size_t fill = how.width > text.size() ? how.width - text.size() : 0;
  if (!how.left) {
    out.append(fill, u' ');
  }
  out.append(text);
  if (how.left) {
    out.append(fill, u' ');
  }
}

/// Appends a number given as ASCII, with a '-' when negative; digits: zeros may fill it.
void PadNumber(wide_string& out, std::string_view text, const Conversion& how, bool digits) {
  wide_string number;
  if (text[0] == '-') {
    number.push_back(u'-');
    text.remove_prefix(1);
  } else if (how.plus || how.blank) {
    number.push_back(how.plus ? u'+' : u' ');
  }
  if (digits && how.zero && !how.left && how.width > number.size() + text.size()) {
    number.append(how.width - number.size() - text.size(), u'0');
  }
  number.append(text.begin(), text.end());
  Pad(out, number, how);
}

std::string Upper(std::string_view lower) {
  std::string text(lower);
  for (char& c : text) {
    c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  return text;
}

void AppendFloat(wide_string& out, double value, unsigned bits, const Conversion& how) {
  char buffer[320 + kMaxPrecision];
  std::string_view text = std::isnan(value) ? "nan" : value < 0 ? "-inf" : "inf";
  if (std::isfinite(value)) {
    std::to_chars_result result{};
    const char16_t letter = how.letter | 0x20;
    if (letter == u's') {
      // The shortest text that reads back as the same float or double.
      result = bits == 32 ? std::to_chars(buffer, std::end(buffer), static_cast<float>(value))
                          : std::to_chars(buffer, std::end(buffer), value);
    } else {
      const auto form = letter == u'e'   ? std::chars_format::scientific
                        : letter == u'g' ? std::chars_format::general
                                         : std::chars_format::fixed;
      const int precision = how.precision < 0 ? 6 : how.precision;
      result = std::to_chars(buffer, std::end(buffer), value, form, precision);
    }
    text = {buffer, result.ptr};
  }
  const bool upper = how.letter == u'E' || how.letter == u'G' || how.letter == u'F';
  PadNumber(out, upper ? Upper(text) : std::string(text), how, std::isfinite(value));
}

void AppendInteger(wide_string& out, std::int64_t value, const FormatArg& arg,
                   const Conversion& how) {
  char buffer[24];
  std::to_chars_result result{};
  const bool hex = how.letter == u'x' || how.letter == u'X';
  if (hex || how.letter == u'u' || !arg.IsSigned()) {
    // Two's complement in the width of the argument's type.
    const unsigned bits = arg.ItsKind() == FormatArg::Kind::kReal ? 64 : arg.Bits();
    const std::uint64_t mask = bits >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << bits) - 1;
    result = std::to_chars(buffer, std::end(buffer), static_cast<std::uint64_t>(value) & mask,
                           hex ? 16 : 10);
  } else {
    result = std::to_chars(buffer, std::end(buffer), value);
  }
  std::string text(buffer, result.ptr);
  const std::size_t sign = text[0] == '-' ? 1 : 0;
  const auto digits = static_cast<std::size_t>(std::max(how.precision, 0));
  if (text.size() - sign < digits) {
    text.insert(sign, digits - (text.size() - sign), '0');
  }
  PadNumber(out, how.letter == u'X' ? Upper(text) : text, how, how.precision < 0);
}

void AppendText(wide_string& out, std::u16string_view text, const Conversion& how) {
  if (how.letter == u'c') {
    text = text.substr(0, 1);
  } else if (how.letter == u's' && how.precision >= 0) {
    text = text.substr(0, static_cast<std::size_t>(how.precision));
  }
  Pad(out, text, how);
}

void AppendArgument(wide_string& out, const FormatArg& arg, const Conversion& how) {
  const char16_t letter = how.letter | 0x20;
  const bool asFloat = letter == u'f' || letter == u'e' || letter == u'g';
  switch (arg.ItsKind()) {
    case FormatArg::Kind::kInteger:
      if (asFloat) {
        AppendFloat(out, static_cast<double>(arg.Integer()), 64, how);
      } else if (how.letter == u'c') {
        const auto c = static_cast<char16_t>(arg.Integer());
        Pad(out, {&c, 1}, how);
      } else {
        AppendInteger(out, arg.Integer(), arg, how);
      }
      break;
    case FormatArg::Kind::kReal:
      if (asFloat || how.letter == u's') {
        AppendFloat(out, arg.Real(), arg.Bits(), how);
      } else {
        AppendInteger(out, TruncToInt64(arg.Real()), arg, how);
      }
      break;
    case FormatArg::Kind::kNarrow:
      AppendText(out, Cp1252ToWide(arg.Narrow()), how);
      break;
    case FormatArg::Kind::kWide:
      AppendText(out, arg.Wide(), how);
      break;
  }
}

}  // namespace

wide_string FormatText(std::u16string_view format, std::span<const FormatArg> args) {
  wide_string out;
  std::u16string_view rest = format;
  while (!rest.empty()) {
    const std::size_t plain = std::min(rest.find(u'%'), rest.size());
    out.append(rest.substr(0, plain));
    rest.remove_prefix(plain);
    if (rest.empty()) {
      break;
    }
    const std::u16string_view start = rest;
    rest.remove_prefix(1);
    Conversion how;
    const bool known = ReadConversion(rest, how);
    if (known && how.letter == u'%') {
      out.push_back(u'%');
    } else if (known && !args.empty()) {
      AppendArgument(out, args[0], how);
      args = args.subspan(1);
    } else {
      out.append(start.substr(0, start.size() - rest.size()));
    }
  }
  return out;
}

}  // namespace limes::detail
