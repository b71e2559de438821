#include "limes/platform/text.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace limes {

namespace {

constexpr char16_t kReplacement = u'\uFFFD';

/// Codes 80..9F of code page 1252.
constexpr std::array<char16_t, 32> kCp1252 = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

/// Bytes that follow a lead byte and the range of the first of them, which excludes overlong
/// forms, surrogates and codes above 10FFFF (The Unicode Standard, table 3-7); 0 for no lead byte.
struct Lead {
  unsigned follow;
  unsigned char lo, hi;
};

Lead LeadOf(unsigned char c) {
  if (c >= 0xC2 && c <= 0xDF) {
    return {1, 0x80, 0xBF};
  }
  if (c >= 0xE0 && c <= 0xEF) {
    return {2, static_cast<unsigned char>(c == 0xE0 ? 0xA0 : 0x80),
            static_cast<unsigned char>(c == 0xED ? 0x9F : 0xBF)};
  }
  if (c >= 0xF0 && c <= 0xF4) {
    return {3, static_cast<unsigned char>(c == 0xF0 ? 0x90 : 0x80),
            static_cast<unsigned char>(c == 0xF4 ? 0x8F : 0xBF)};
  }
  return {0, 0, 0};
}

/// Code of the character at the start of a text that is not empty, and its bytes.
char32_t Decode(std::string_view text, std::size_t& bytes) {
  const auto first = static_cast<unsigned char>(text[0]);
  bytes = 1;
  if (first < 0x80) {
    return first;
  }
  const Lead lead = LeadOf(first);
  char32_t code = first & (0x3FU >> lead.follow);
  for (unsigned i = 1; i <= lead.follow; ++i) {
    const auto c = i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    if (c < (i == 1 ? lead.lo : 0x80U) || c > (i == 1 ? lead.hi : 0xBFU)) {
      return kReplacement;
    }
    bytes = i + 1;
    code = code << 6 | (c & 0x3F);
  }
  return lead.follow == 0 ? kReplacement : code;
}

bool IsHigh(char16_t c) { return (c & 0xFC00) == 0xD800; }
bool IsLow(char16_t c) { return (c & 0xFC00) == 0xDC00; }

void AppendUtf8(std::string& out, char32_t code) {
  const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xC0 | code >> 6);
    put(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    put(0xE0 | code >> 12);
    put(0x80 | (code >> 6 & 0x3F));
    put(0x80 | (code & 0x3F));
  } else {
    put(0xF0 | code >> 18);
    put(0x80 | (code >> 12 & 0x3F));
    put(0x80 | (code >> 6 & 0x3F));
    put(0x80 | (code & 0x3F));
  }
}

}  // namespace

wide_string Utf8ToWide(std::string_view text) {
  wide_string out;
  out.reserve(text.size());
  while (!text.empty()) {
    std::size_t bytes = 0;
    const char32_t code = Decode(text, bytes);
    if (code < 0x10000) {
      out.push_back(static_cast<char16_t>(code));
    } else {
      out.push_back(static_cast<char16_t>(0xD7C0 + (code >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
    }
    text.remove_prefix(bytes);
  }
  return out;
}

std::string WideToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t code = text[i];
    if (IsHigh(text[i]) && i + 1 < text.size() && IsLow(text[i + 1])) {
      code = ((code - 0xD7C0) << 10) + (text[i + 1] & 0x3FFU);
      ++i;
    } else if (IsHigh(text[i]) || IsLow(text[i])) {
      code = kReplacement;
    }
    AppendUtf8(out, code);
  }
  return out;
}

wide_string Cp1252ToWide(std::string_view text) {
  wide_string out(text.size(), u'\0');
  std::transform(text.begin(), text.end(), out.begin(), [](char c) {
    const auto code = static_cast<unsigned char>(c);
    return code >= 0x80 && code <= 0x9F ? kCp1252[code - 0x80U] : char16_t{code};
  });
  return out;
}

std::string WideToCp1252(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) {
      out.push_back(static_cast<char>(c));
      continue;
    }
    const auto* const at = std::find(kCp1252.begin(), kCp1252.end(), c);
    out.push_back(at == kCp1252.end() ? '?' : static_cast<char>(0x80 + (at - kCp1252.begin())));
    if (IsHigh(c) && i + 1 < text.size() && IsLow(text[i + 1])) {
      ++i;
    }
  }
  return out;
}

std::string_view Utf8Prefix(std::string_view text, std::size_t maxBytes) {
  if (text.size() <= maxBytes) {
    return text;
  }
  // At most three bytes of a character lie behind its lead byte.
  for (std::size_t end = maxBytes; end + 4 > maxBytes; --end) {
    if ((static_cast<unsigned char>(text[end]) & 0xC0) != 0x80) {
      return text.substr(0, end);
    }
    if (end == 0) {
      break;
    }
  }
  return text.substr(0, maxBytes);
}

}  // namespace limes
