#include "apps/limes/report/markup.h"

#include <algorithm>

#include "limes/platform/text.h"

namespace limes::host {
namespace {

bool IsNoCharacter(char16_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || c >= 0xFFFE || (c >= 0x202A && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x2069);
}

bool IsInsideCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

std::string Shortened(std::string_view text, std::size_t most) {
  const bool cut = text.size() > most;
  std::size_t end = std::min(text.size(), most);
  while (cut && end > 0 && IsInsideCharacter(text[end])) {
    --end;
  }
  std::u16string wide = Utf8ToWide(std::string(text.substr(0, end)));
  std::replace_if(wide.begin(), wide.end(), IsNoCharacter, u'\uFFFD');
  return WideToUtf8(wide) + (cut ? "…" : "");
}

std::string Markup(std::string_view text, std::size_t most) {
  std::string escaped;
  for (const char c : Shortened(text, most)) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string Ending(const std::string& text, std::size_t most) {
  if (text.size() <= most) {
    return text;
  }
  std::size_t first = text.size() - most;
  while (first < text.size() && IsInsideCharacter(text[first])) {
    ++first;
  }
  return "…" + text.substr(first);
}

}  // namespace limes::host
