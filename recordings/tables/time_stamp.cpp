#include "recordings/tables/time_stamp.h"

#include <charconv>
#include <chrono>

namespace limes::recordings {
namespace {

/// Takes so many digits off the front; false when others stand there, or the number is too large.
bool TakeDigits(std::string_view& text, std::size_t digits, unsigned most, unsigned& value) {
  if (text.size() < digits) {
    return false;
  }
  const auto [end, error] = std::from_chars(text.data(), text.data() + digits, value);
  text.remove_prefix(digits);
  return error == std::errc() && end == text.data() && value <= most;
}

bool Take(std::string_view& text, char c) {
  const bool there = text.starts_with(c);
  text.remove_prefix(there ? 1 : 0);
  return there;
}

/// Year-month-day, or day.month.year; both leave the text alone when it begins otherwise.
bool TakeDate(std::string_view& text, std::int64_t& days) {
  constexpr unsigned kLastYear = 9999;
  unsigned year = 0;
  unsigned month = 0;
  unsigned day = 0;
  std::string_view rest = text;
  bool found = TakeDigits(rest, 4, kLastYear, year) && Take(rest, '-') &&
               TakeDigits(rest, 2, 12, month) && Take(rest, '-') && TakeDigits(rest, 2, 31, day);
  if (!found) {
    rest = text;
    found = TakeDigits(rest, 2, 31, day) && Take(rest, '.') && TakeDigits(rest, 2, 12, month) &&
            Take(rest, '.') && TakeDigits(rest, 4, kLastYear, year);
  }
  const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(year)),
                                         std::chrono::month(month), std::chrono::day(day));
  if (!found || !date.ok() || !(Take(rest, ' ') || Take(rest, 'T'))) {
    return false;
  }
  days = std::chrono::sys_days(date).time_since_epoch().count();
  text = rest;
  return true;
}

}  // namespace

std::optional<std::int64_t> ParseTimeStamp(std::string_view text) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  std::int64_t days = 0;
  TakeDate(text, days);
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;
  if (!TakeDigits(text, 2, 23, hour) || !Take(text, ':') || !TakeDigits(text, 2, 59, minute) ||
      !Take(text, ':') || !TakeDigits(text, 2, 60, second)) {
    return std::nullopt;
  }
  std::int64_t nanoseconds = 0;
  if (Take(text, '.') || Take(text, ',')) {
    std::int64_t unit = kSecond;
    for (; !text.empty() && text[0] >= '0' && text[0] <= '9'; text.remove_prefix(1)) {
      unit /= 10;
      nanoseconds += unit * (text[0] - '0');
    }
  }
  Take(text, 'Z');
  if (!text.empty() || days > INT64_MAX / kSecond / 86400 - 1 ||
      days < INT64_MIN / kSecond / 86400 + 1) {
    return std::nullopt;
  }
  return (days * 86400 + hour * 3600 + minute * 60 + second) * kSecond + nanoseconds;
}

}  // namespace limes::recordings
