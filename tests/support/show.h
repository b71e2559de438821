#pragma once

#include <gtest/gtest.h>

#include <charconv>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "limes/platform/text.h"

/// Compares values, evaluated in order, with their text: "1 0.5 {2 3} name".
#define EXPECT_SHOWN(expected, ...) EXPECT_EQ((::limes::test::Exact{__VA_ARGS__}.text), expected)

namespace limes::test {

/// Values as one text, apart by blanks, so that one comparison covers a whole state. Numbers have
/// all their digits (those of shown.h are rounded), bool is 0 or 1, every NaN is "nan"; pairs are
/// 1,2 and ranges {1 2}.
struct Exact {
  template <class... T>
  explicit Exact(const T&... values) {
    (Next(values, ' '), ...);
  }

  template <class T>
  void Next(const T& value, char apart) {
    if (!text.empty() && text.back() != '{') {
      text += apart;
    }
    Put(value);
  }

  template <class T>
  void Put(const T& value) {
    if constexpr (std::is_enum_v<T>) {
      Put(static_cast<std::underlying_type_t<T>>(value));
    } else if constexpr (std::is_same_v<T, bool>) {
      text += value ? '1' : '0';
    } else if constexpr (std::is_arithmetic_v<T>) {
      char digits[40];
      text += value != value
                  ? "nan"
                  : std::string_view(digits, std::to_chars(digits, digits + 40, value).ptr);
    } else if constexpr (std::is_convertible_v<const T&, std::u16string_view>) {
      text += WideToUtf8(value);
    } else if constexpr (std::is_convertible_v<const T&, std::string_view>) {
      text += value;
    } else if constexpr (requires { std::tuple_size<T>::value; }) {
      std::apply(
          [this](const auto& first, const auto&... more) {
            this->Put(first);
            (this->Next(more, ','), ...);
          },
          value);
    } else {
      text += '{';
      for (const auto& element : value) {
        Next(element, ' ');
      }
      text += '}';
    }
  }

  std::string text;
};

}  // namespace limes::test
