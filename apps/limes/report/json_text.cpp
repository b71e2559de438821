#include "apps/limes/report/json_text.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "apps/limes/report/json_line.h"

namespace limes::host {
namespace {

constexpr unsigned kNumberBits = 12;  ///< of the place of a number among those formed last

bool IsPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c >= ' ' && c < '\x7F' && c != '"' && c != '\\'; });
}

}  // namespace

char* CJsonText::Room(std::size_t bytes) {
  if (bytes > text_.size() - size_) {
    text_.resize(2 * (size_ + bytes));
  }
  return text_.data() + size_;
}

void CJsonText::Put(std::string_view text) {
  std::memcpy(Room(text.size()), text.data(), text.size());
  size_ += text.size();
}

CJsonText::CJsonText() : numbers_(std::size_t{1} << kNumberBits) {}

void CJsonText::Begin(char bracket, std::string_view name) {
  Name(name);
  Put(bracket);
  first_ = true;
}

void CJsonText::End(char bracket) {
  Put(bracket);
  first_ = false;
}

void CJsonText::Name(std::string_view name) {
  char* to = Room(name.size() + 4);
  const char* const begin = to;
  if (!first_) {
    *to++ = ',';
  }
  first_ = false;
  if (!name.empty()) {
    *to++ = '"';
    to = std::copy(name.begin(), name.end(), to);
    *to++ = '"';
    *to++ = ':';
  }
  size_ += static_cast<std::size_t>(to - begin);
}

void CJsonText::Add(std::string_view name, double value) {
  Name(name);
  if (!std::isfinite(value)) {
    Put("null");
    return;
  }
  const auto bits = std::bit_cast<std::uint64_t>(value);
  SNumber& number = numbers_[bits * 0x9E3779B97F4A7C15U >> (64 - kNumberBits)];
  if (number.bits != bits || number.size == 0) {
    number.bits = bits;
    const char* const end =
        nlohmann::detail::to_chars(number.text, number.text + sizeof(number.text), value);
    number.size = static_cast<std::uint8_t>(end - number.text);
  }
  Put({number.text, number.size});
}

void CJsonText::Add(std::string_view name, std::int64_t value) {
  Name(name);
  Put(std::to_string(value));
}

void CJsonText::Add(std::string_view name, std::string_view text) {
  Name(name);
  if (IsPlain(text)) {
    Put('"');
    Put(text);
    Put('"');
  } else {
    Put(Dumped(std::string(text)));
  }
}

void CJsonText::AddNull(std::string_view name) { AddJson(name, "null"); }

void CJsonText::AddJson(std::string_view name, std::string_view json) {
  Name(name);
  Put(json);
}

std::string_view CJsonText::Take() {
  const std::string_view text(text_.data(), size_);
  size_ = 0;
  first_ = true;
  return text;
}

}  // namespace limes::host
