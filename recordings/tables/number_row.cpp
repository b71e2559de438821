#include "recordings/tables/number_row.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

#if __has_include(<fast_float/fast_float.h>)
#include <fast_float/fast_float.h>
#define LIMES_FAST_FLOAT 1
#endif

namespace limes::recordings {
namespace {

/// Behind the number; null when there is none. Both ways round to the nearest number.
template <class T>
const char* ReadNumber(const char* first, const char* last, char decimal, T& value) {
#ifdef LIMES_FAST_FLOAT
  const auto [end, error] = fast_float::from_chars_advanced(
      first, last, value, fast_float::parse_options{fast_float::chars_format::general, decimal});
#else
  if (decimal != '.') {
    return nullptr;
  }
  const auto [end, error] = std::from_chars(first, last, value);
#endif
  return error == std::errc() ? end : nullptr;
}

/// Whether the text of a number that was read as 0 is one: it may be too small for the type.
bool IsZero(std::string_view text) {
  return text.substr(0, text.find_first_of("eE")).find_first_of("123456789") ==
         std::string_view::npos;
}

template <class T>
const char* PlainNumber(const char* first, const char* last, char decimal, double& number) {
  T value{};
  const char* const end = ReadNumber(first, last, decimal, value);
  if (end == nullptr) {
    return nullptr;
  }
  const T size = std::fabs(value);
  const bool usual = size >= std::numeric_limits<T>::min() && size <= std::numeric_limits<T>::max();
  if (!usual && !(size == 0 && IsZero({first, static_cast<std::size_t>(end - first)}))) {
    return nullptr;
  }
  number = double{value};
  return end;
}

}  // namespace

const char* SplitNumbers(const char* first, const char* last, const SRowStyle& style,
                         std::span<const CellKind> kinds, std::vector<std::string_view>& cells,
                         std::vector<double>& numbers) {
  const char separator = style.separator;
  const auto isBlank = [=](char c) { return c == ' ' || (c == '\t' && separator != '\t'); };
  std::string_view* const cellAt = cells.data();
  double* const numberAt = numbers.data();
  const char* p = first;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    while (p < last && isBlank(*p)) {
      ++p;
    }
    const char* const cell = p;
    const char* end = nullptr;
    if (kinds[i] == CellKind::kText) {
      while (p < last && *p != separator && *p != '\n' && *p != '\r') {
        if (*p++ == '"') {
          return nullptr;
        }
      }
      end = p;
      while (end > cell && isBlank(end[-1])) {
        --end;
      }
    } else {
      end = kinds[i] == CellKind::kFloat ? PlainNumber<float>(p, last, style.decimal, numberAt[i])
                                         : PlainNumber<double>(p, last, style.decimal, numberAt[i]);
      if (end == nullptr) {
        return nullptr;
      }
      for (p = end; p < last && isBlank(*p);) {
        ++p;
      }
    }
    const bool isLast = i + 1 == kinds.size();
    if (isLast && p < last && *p == separator) {  // at the end of the line
      for (++p; p < last && isBlank(*p);) {
        ++p;
      }
    }
    if (p == last) {
      return last;
    }
    const bool ends = *p == '\n' || *p == '\r';
    if (isLast ? !ends : *p != separator) {
      return nullptr;
    }
    cellAt[i] = {cell, static_cast<std::size_t>(end - cell)};
    p += ends ? 0 : 1;
  }
  return p;
}

}  // namespace limes::recordings
