#include "recordings/text.h"

#include <charconv>
#include <cmath>
#include <system_error>

#include "limes/platform/text.h"

namespace limes::recordings {
namespace {

template <class T>
bool ParseAny(std::string_view text, T& value) {
  const char* first = text.data();
  const char* last = first + text.size();
  if (first < last && *first == '+') {
    ++first;
    if (first < last && *first == '-') {
      return false;
    }
  }
  const auto [end, error] = std::from_chars(first, last, value);
  return error == std::errc() && end == last && std::isfinite(value);
}

void AppendHex(std::string& out, const char* prefix, unsigned code, int digits) {
  constexpr char kDigits[] = "0123456789abcdef";
  out += prefix;
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
    out += kDigits[code >> shift & 0xF];
  }
}

/// Bytes that a character with this first byte takes.
std::size_t BytesOf(unsigned char lead) {
  return lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

/// Marks that turn the direction of what follows, and the separators of lines and paragraphs.
bool MovesText(char16_t c) {
  return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0x2028 ||
         c == 0x2029 || c == 0x200E || c == 0x200F;
}

void AppendByte(std::string& out, unsigned char c) {
  if (c == '\n' || c == '\r' || c == '\t') {
    out += c == '\n' ? "\\n" : c == '\r' ? "\\r" : "\\t";
  } else {
    AppendHex(out, "\\x", c, 2);
  }
}

}  // namespace

bool ParseNumber(std::string_view text, float& value) {
  if (ParseAny(text, value)) {
    return true;
  }
  double wide = 0.0;  // a number too small for a float is no error
  if (!ParseAny(text, wide) || std::fabs(wide) > 1.0) {
    return false;
  }
  value = static_cast<float>(wide);
  return true;
}

bool ParseNumber(std::string_view text, double& value) { return ParseAny(text, value); }

double Shown(float value) {
  char text[32];
  double result = value;
  const auto end = std::to_chars(text, text + sizeof(text), value).ptr;
  std::from_chars(text, end, result);
  return result;
}

std::string NumberText(double value) {
  char text[40];
  return {text, std::to_chars(text, text + sizeof(text), value).ptr};
}

bool IsUtf8(std::string_view text) { return WideToUtf8(Utf8ToWide(text)) == text; }

std::string TextOfFile(std::string_view text) {
  return IsUtf8(text) ? std::string(text) : WideToUtf8(Cp1252ToWide(text));
}

std::string Escaped(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const auto lead = static_cast<unsigned char>(text[0]);
    std::string_view character = text.substr(0, BytesOf(lead));
    if (lead < 0x80) {
      if (lead < 0x20 || lead == 0x7F) {
        AppendByte(out, lead);
      } else {
        out += text[0];
      }
    } else if (!IsUtf8(character)) {
      character = character.substr(0, 1);
      AppendByte(out, lead);
    } else if (const char16_t c = Utf8ToWide(character)[0]; c < 0xA0 || MovesText(c)) {
      AppendHex(out, "\\u", c, 4);
    } else {
      out += character;
    }
    text.remove_prefix(character.size());
  }
  return out;
}

std::string Quoted(std::string_view text) {
  constexpr std::size_t kLongest = 40;
  std::string quoted = "'";
  quoted += Escaped(Utf8Prefix(text, kLongest));
  return quoted + (text.size() > kLongest ? "...'" : "'");
}

}  // namespace limes::recordings
