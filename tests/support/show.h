#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "limes/learning/judgement.h"
#include "limes/platform/text.h"

/// Compares values, evaluated in order, with their text: "1 0.5 {2 3} name". A failure names those
/// that differ by the text of their arguments.
#define EXPECT_SHOWN(expected, ...) \
  EXPECT_TRUE(::limes::test::IsShown(expected, ::limes::test::Exact{__VA_ARGS__}, #__VA_ARGS__))

namespace limes::test {

/// Values as one text, apart by blanks, so that one comparison covers a whole state: numbers with
/// all their digits or rounded to six, bool is 0 or 1, enumerations their numbers, every NaN "nan".
/// Pairs are 1,2 and ranges {1 2}; of rounded ranges and curves the values follow without braces,
/// and verdicts have their names.
template <bool kRounded>
struct SShow {
  template <class... T>
  explicit SShow(const T&... values) {
    ((Next(values, ' '), ends.push_back(text.size())), ...);
  }

  template <class... T>
  void Fields(const T&... values) {
    (Next(values, ' '), ...);
  }

  template <class T>
  void Next(const T& value, char apart) {
    if (!text.empty() && text.back() != (kRounded ? ' ' : '{')) {
      text += apart;
    }
    Put(value);
  }

  template <class T>
  void Put(const T& v) {
    if constexpr (kRounded && std::is_same_v<T, Verdict>) {
      text += WideToUtf8(limes::Text(v));
    } else if constexpr (std::is_same_v<T, SCurveJudgement>) {
      Fields(v.verdict, v.share, v.x0, v.x1, "at", v.x, v.deviation, v.rms, v.value, v.limit,
             v.mean, v.spread);
    } else if constexpr (std::is_same_v<T, SCurveExcess>) {
      Fields(v.x0, v.x1, v.points, "at", v.x, v.index, v.excess, v.value, v.limit, v.mean,
             v.spread);
    } else if constexpr (std::is_same_v<T, SValueJudgement>) {
      Fields(v.verdict, v.value, v.limit, v.mean, v.spread, v.deviation);
    } else if constexpr (std::is_enum_v<T>) {
      Put(static_cast<std::underlying_type_t<T>>(v));
    } else if constexpr (std::is_same_v<T, bool>) {
      text += v ? '1' : '0';
    } else if constexpr (kRounded && std::is_floating_point_v<T>) {
      PutNumber(v, std::chars_format::general, 6);
    } else if constexpr (std::is_arithmetic_v<T>) {
      PutNumber(v);
    } else if constexpr (std::is_convertible_v<const T&, std::u16string_view>) {
      text += WideToUtf8(v);
    } else if constexpr (std::is_convertible_v<const T&, std::string_view>) {
      text += v;
    } else if constexpr (!kRounded && requires { std::tuple_size<T>::value; }) {
      std::apply(
          [this](const auto& first, const auto&... more) {
            this->Put(first);
            (this->Next(more, ','), ...);
          },
          v);
    } else if constexpr (requires { v.Values(); }) {
      Put(v.Values());
    } else {
      text += kRounded ? "" : "{";
      for (const auto& element : v) {
        Next(element, ' ');
      }
      text += kRounded ? "" : "}";
    }
  }

  template <class T, class... Format>
  void PutNumber(T value, Format... format) {
    char digits[40];
    const char* const end = std::to_chars(digits, digits + 40, value, format...).ptr;
    text += std::isnan(static_cast<double>(value)) ? "nan" : std::string_view(digits, end);
  }

  std::string text;
  std::vector<std::size_t> ends;  ///< of each value's piece of the text
};
using Exact = SShow<false>;

/// The arguments of a macro's text: apart by commas outside of brackets and quotes.
inline std::vector<std::string> Arguments(std::string_view text) {
  std::vector<std::string> arguments(1);
  int depth = 0;
  bool quoted = false;
  for (const char c : text) {
    quoted = quoted != (c == '"');
    depth += quoted ? 0 : (c == '(' || c == '{' || c == '[') - (c == ')' || c == '}' || c == ']');
    if (c == ',' && depth == 0 && !quoted) {
      arguments.emplace_back();
    } else if (c != ' ' || !arguments.back().empty()) {
      arguments.back() += c;
    }
  }
  return arguments;
}

inline testing::AssertionResult IsShown(std::string_view expected, const Exact& got,
                                        std::string_view source) {
  if (got.text == expected) {
    return testing::AssertionSuccess();
  }
  auto result = testing::AssertionFailure() << got.text << "\nbut expected\n" << expected;
  const std::vector<std::string> names = Arguments(source);
  std::size_t begin = 0;
  for (std::size_t i = 0; i < got.ends.size(); ++i) {
    const std::string_view piece(got.text.data() + begin, got.ends[i] - begin);
    // As many words of what is expected.
    const auto blanks = std::count(piece.begin(), piece.end(), ' ');
    std::size_t end = std::min(expected.find(' '), expected.size());
    for (auto k = blanks; k > 0 && end < expected.size(); --k) {
      end = std::min(expected.find(' ', end + 1), expected.size());
    }
    if (piece != expected.substr(0, end)) {
      result << "\n  "
             << (names.size() == got.ends.size() ? names[i] : "value " + std::to_string(i))
             << " is " << piece << ", not " << expected.substr(0, end);
    }
    expected.remove_prefix(std::min(end + 1, expected.size()));
    begin = std::min(got.ends[i] + 1, got.text.size());
  }
  return result;
}

template <class... T>
std::string Shown(const T&... values) {
  return SShow<true>(values...).text;
}

/// Inputs and outputs of a table "input: output; input: output".
inline std::vector<std::pair<wide_string, std::string>> Rows(std::string_view table) {
  std::vector<std::pair<wide_string, std::string>> rows;
  while (!table.empty()) {
    const std::size_t end = std::min(table.find("; "), table.size());
    const std::size_t apart = table.find(": ");
    rows.emplace_back(Utf8ToWide(table.substr(0, apart)), table.substr(apart + 2, end - apart - 2));
    table.remove_prefix(std::min(end + 2, table.size()));
  }
  return rows;
}

}  // namespace limes::test
