#include "apps/limes/plant/copy_rows.h"

#include <array>
#include <charconv>

#include "apps/limes/bench/result_text.h"
#include "apps/limes/errors.h"
#include "recordings/text.h"

namespace limes::host {

std::string PlantText(std::string_view text) {
  const bool fits = text.find('\0') == std::string_view::npos && IsUtf8(text);
  return fits ? std::string(text) : Escaped(text);
}

void CCopyRows::Next() {
  if (begun_) {
    text_ += '\t';
  }
  begun_ = true;
}

void CCopyRows::EndRow() {
  text_ += '\n';
  begun_ = false;
}

CCopyRows& CCopyRows::Null() {
  Next();
  text_ += "\\N";
  return *this;
}

CCopyRows& CCopyRows::Bind(std::int64_t value) {
  Next();
  text_ += std::to_string(value);
  return *this;
}

CCopyRows& CCopyRows::Bind(std::string_view text) {
  Next();
  for (const char c : PlantText(text)) {
    switch (c) {
      case '\\':
        text_ += "\\\\";
        break;
      case '\t':
        text_ += "\\t";
        break;
      case '\n':
        text_ += "\\n";
        break;
      case '\r':
        text_ += "\\r";
        break;
      default:
        text_ += c;
    }
  }
  return *this;
}

CCopyRows& CCopyRows::Bind(std::optional<double> value) {
  if (!value) {
    return Null();
  }
  Next();
  std::array<char, 32> digits{};  // "inf" and "nan" among them
  text_.append(digits.data(), std::to_chars(digits.begin(), digits.end(), *value).ptr);
  return *this;
}

CCopyRows& CCopyRows::Bind(const std::optional<std::string>& text) {
  return text ? Bind(std::string_view(*text)) : Null();
}

CCopyRows& CCopyRows::Bind(std::optional<std::int64_t> value) {
  return value ? Bind(*value) : Null();
}

CCopyRows& CCopyRows::Bind(std::span<const std::uint8_t> bytes) {
  Next();
  text_ += '\\' + HexText(bytes);
  return *this;
}

std::optional<std::string> TimeText(std::optional<std::int64_t> at) {
  constexpr std::int64_t kMost = 253402300799;  // the end of the year 9999
  if (!at || *at < 0 || *at / 1000 > kMost) {
    return std::nullopt;
  }
  return TimeOf(*at);
}

}  // namespace limes::host
