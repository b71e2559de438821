#include "recordings/tables/dialect.h"

#include <algorithm>
#include <array>
#include <map>
#include <stdexcept>
#include <tuple>

#include "recordings/measurement.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

constexpr std::array kSeparators = {',', ';', '\t'};

constexpr struct {
  std::string_view word;
  char SDialect::*field;
  char value;
} kWords[] = {
    {"comma", &SDialect::separator, ','},       {"semicolon", &SDialect::separator, ';'},
    {"tab", &SDialect::separator, '\t'},        {"decimal-point", &SDialect::decimal, '.'},
    {"decimal-comma", &SDialect::decimal, ','},
};

constexpr char kWhich[] = " (--table decimal-point or decimal-comma says which)";

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view Trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r");
  return first == std::string_view::npos
             ? std::string_view()
             : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// Cells of a line, without the marks around quoted ones; an empty one at the end is none.
using Cells = std::vector<std::string_view>;

Cells Split(std::string_view line, char separator) {
  Cells cells;
  bool quoted = false;
  std::size_t begin = 0;
  for (std::size_t i = 0; i <= line.size(); ++i) {
    const bool end = i == line.size();
    if (!end && line[i] == '"') {
      quoted = !quoted;
    }
    if (end || (line[i] == separator && !quoted)) {
      std::string_view cell = Trimmed(line.substr(begin, i - begin));
      if (cell.size() > 1 && cell.front() == '"' && cell.back() == '"') {
        cell = cell.substr(1, cell.size() - 2);
      }
      cells.push_back(cell);
      begin = i + 1;
    }
  }
  if (cells.size() > 1 && cells.back().empty()) {
    cells.pop_back();
  }
  return cells;
}

/// Lines; a line end within quotation marks is none.
std::vector<std::string_view> Lines(std::string_view text) {
  std::vector<std::string_view> lines;
  bool quoted = false;
  std::size_t begin = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    quoted = quoted != (text[i] == '"');
    const bool pair = text[i] == '\r' && text.substr(i + 1, 1) == "\n";
    if (!quoted && !pair && (text[i] == '\n' || text[i] == '\r')) {
      lines.push_back(Trimmed(text.substr(begin, i - begin)).empty()
                          ? std::string_view()
                          : text.substr(begin, i - begin));
      begin = i + 1;
    }
  }
  if (begin < text.size()) {
    lines.push_back(text.substr(begin));
  }
  return lines;
}

bool IsNote(std::string_view line) { return line.empty() || line.front() == '#'; }

/// Digits in groups of three, as "1.234" and "12.345.678": every mark between them counts.
bool IsGrouped(std::string_view digits, char mark) {
  const auto first = digits.find(mark);
  if (first == std::string_view::npos || first == 0 || first > 3 || digits[0] == '0') {
    return false;
  }
  for (std::size_t i = 0; i < digits.size(); ++i) {
    const bool between = i >= first && (i - first) % 4 == 0;
    if (between ? digits[i] != mark : !IsDigit(digits[i])) {
      return false;
    }
  }
  return (digits.size() - first) % 4 == 0;
}

/// The cell with a point for decimals and none for thousands; empty when it is no such number.
std::string Plain(std::string_view cell, char decimal) {
  const char thousands = decimal == ',' ? '.' : ',';
  const std::size_t sign = cell.starts_with('-') || cell.starts_with('+') ? 1 : 0;
  const auto comma = cell.find(decimal);
  std::string whole(cell.substr(0, comma));
  if (whole.find(thousands) != std::string::npos) {
    if (!IsGrouped(std::string_view(whole).substr(sign), thousands)) {
      return "";
    }
    std::erase(whole, thousands);
  }
  if (comma != std::string_view::npos) {
    const std::string_view fraction = cell.substr(comma + 1);
    if (fraction.find_first_of(".,") != std::string_view::npos) {
      return "";
    }
    whole.append(".").append(fraction);
  }
  return whole;
}

/// What a cell shows of the decimals: a point, a comma, or nothing. A group of three digits behind
/// a comma may be thousands, but not where semicolons leave the comma free for decimals.
std::optional<char> DecimalOf(std::string_view cell, char separator) {
  const auto point = cell.find('.');
  const auto comma = cell.find(',');
  if (point == std::string_view::npos && comma == std::string_view::npos) {
    return std::nullopt;
  }
  double value = 0.0;
  const bool byPoint = ParseNumber(Plain(cell, '.'), value);
  const bool byComma = ParseNumber(Plain(cell, ','), value);
  if (byPoint != byComma) {
    return byPoint ? '.' : ',';
  }
  return byPoint && separator == ';' && point == std::string_view::npos ? std::optional(',')
                                                                        : std::nullopt;
}

/// How well a separator fits: rows of one length, numbers, and that length.
struct SFit {
  std::size_t rows = 0;
  std::size_t numbers = 0;
  std::size_t cells = 1;
};

SFit FitOf(const std::vector<std::string_view>& lines, char separator) {
  std::map<std::size_t, SFit> byLength;
  for (const std::string_view line : lines) {
    if (IsNote(line)) {
      continue;
    }
    const Cells cells = Split(line, separator);
    SFit& fit = byLength[cells.size()];
    fit.cells = cells.size();
    ++fit.rows;
    for (const std::string_view cell : cells) {
      double value = 0.0;
      fit.numbers += ParseNumber(Plain(cell, '.'), value) || ParseNumber(Plain(cell, ','), value);
    }
  }
  SFit best;
  for (const auto& [length, fit] : byLength) {
    if (fit.rows >= best.rows) {
      best = fit;
    }
  }
  return best;
}

bool HasNumber(const Cells& cells) {
  return std::any_of(cells.begin(), cells.end(), [](std::string_view cell) {
    double value = 0.0;
    return ParseNumber(Plain(cell, '.'), value) || ParseNumber(Plain(cell, ','), value);
  });
}

bool IsUnits(const Cells& cells) {
  if (HasNumber(cells)) {
    return false;
  }
  bool any = false;
  for (const std::string_view cell : cells) {
    const bool bracket = cell.size() > 2 && ((cell.front() == '[' && cell.back() == ']') ||
                                             (cell.front() == '(' && cell.back() == ')'));
    const std::string text = TextOfFile(bracket ? cell.substr(1, cell.size() - 2) : cell);
    if (!bracket && !ParseUnit(text).text.empty()) {
      return false;
    }
    any = any || !text.empty();
  }
  return any;
}

/// The line of names: the first of full length, unless that holds numbers only.
std::size_t HeaderLine(const std::vector<std::string_view>& lines, char separator,
                       std::size_t length, bool header) {
  std::size_t first = 0;
  while (first < lines.size() && IsNote(lines[first])) {
    ++first;
  }
  std::size_t full = first;
  while (full < lines.size() &&
         (IsNote(lines[full]) || Split(lines[full], separator).size() < length)) {
    ++full;
  }
  if (full == lines.size() ||
      (header && full != first && HasNumber(Split(lines[full], separator)))) {
    full = first;
  }
  // Names may stand behind the mark of a comment, right above the numbers.
  const bool marked = header && full > 0 && full < lines.size() && !lines[full - 1].empty() &&
                      HasNumber(Split(lines[full], separator)) &&
                      Split(lines[full - 1], separator).size() == length;
  return marked ? full - 1 : full == lines.size() ? 0 : full;
}

}  // namespace

std::string SDialect::Told() const {
  std::string text;
  const auto add = [&text](const std::string& what) { text += (text.empty() ? "" : ", ") + what; };
  if (separator != ',') {
    add(separator == ';' ? "semicolons between cells" : "tabs between cells");
  }
  if (decimal == ',') {
    add("decimal commas");
  }
  if (unitsRow) {
    add("units below the names");
  }
  if (skipped > 0) {
    add("names in line " + std::to_string(skipped + 1));
  }
  return text.empty() ? "" : "the table is read with " + text + " (--table says otherwise)";
}

template <class T>
bool SDialect::Parse(std::string_view cell, T& value) const {
  const bool unsure = IsUnsure();
  if (decimal == '.' && !(unsure && IsGrouped(cell, '.')) && ParseNumber(cell, value)) {
    return true;
  }
  if (decimal == '.' && unsure && IsGrouped(cell, '.')) {
    throw std::invalid_argument("may be " + std::string(cell) + " or " + Plain(cell, ',') + kWhich);
  }
  if (decimal == ',' && cell.find('.') == std::string_view::npos) {
    return ParseNumber(Plain(cell, decimal), value);
  }
  if (!ParseNumber(Plain(cell, decimal), value)) {
    return false;
  }
  const char other = decimal == ',' ? '.' : ',';
  if (!decimalSaid && cell.find(decimal) == std::string_view::npos &&
      std::count(cell.begin(), cell.end(), other) == 1) {
    double fraction = 0.0;
    ParseNumber(Plain(cell, other), fraction);
    throw std::invalid_argument("may be " + NumberText(double{value}) + " or " +
                                NumberText(fraction) + kWhich);
  }
  return true;
}

template bool SDialect::Parse(std::string_view, float&) const;
template bool SDialect::Parse(std::string_view, double&) const;

std::optional<std::string> UnknownTableWord(const std::vector<std::string>& words) {
  for (const std::string& word : words) {
    if (word != "units-row" && word != "no-units-row" &&
        std::none_of(std::begin(kWords), std::end(kWords),
                     [&](const auto& known) { return known.word == word; })) {
      return word;
    }
  }
  return std::nullopt;
}

SDialect DetectDialect(std::string_view start, bool header, const std::vector<std::string>& words) {
  SDialect dialect;
  const auto says = [&](std::string_view word) {
    return std::find(words.begin(), words.end(), word) != words.end();
  };
  bool separatorSaid = false;
  for (const auto& [word, field, value] : kWords) {
    if (says(word)) {
      dialect.*field = value;
      (field == &SDialect::separator ? separatorSaid : dialect.decimalSaid) = true;
    }
  }
  const std::vector<std::string_view> lines = Lines(start);
  SFit best = FitOf(lines, dialect.separator);
  for (const char separator : kSeparators) {
    const SFit fit = FitOf(lines, separator);
    if (!separatorSaid && fit.cells > 1 &&
        (best.cells == 1 || std::tie(fit.rows, fit.numbers) > std::tie(best.rows, best.numbers))) {
      best = fit;
      dialect.separator = separator;
    }
  }
  const std::size_t head = HeaderLine(lines, dialect.separator, best.cells, header);
  dialect.skipped = std::all_of(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(head),
                                [](std::string_view line) { return line.empty(); })
                        ? 0
                        : head;
  dialect.trailing = lines.size() > head + 1 &&
                     std::all_of(lines.begin() + static_cast<std::ptrdiff_t>(head), lines.end(),
                                 [&](std::string_view line) {
                                   const auto last = line.find_last_not_of(" \r");
                                   return line.empty() || line[last] == dialect.separator;
                                 });
  dialect.unitsRow = says("units-row");
  bool point = false;
  bool comma = false;
  for (std::size_t i = head + (header ? 1 : 0); i < lines.size(); ++i) {
    const Cells cells = Split(lines[i], dialect.separator);
    if (header && i == head + 1 && !says("no-units-row") && IsUnits(cells) &&
        i + 1 < lines.size() && HasNumber(Split(lines[i + 1], dialect.separator))) {
      dialect.unitsRow = true;
    }
    for (const std::string_view cell : cells) {
      const auto shown = DecimalOf(cell, dialect.separator);
      point = point || shown == '.';
      comma = comma || shown == ',';
    }
  }
  dialect.decimalShown = point || comma || dialect.decimalSaid;
  if (!dialect.decimalSaid && comma && !point) {
    dialect.decimal = ',';
  }
  return dialect;
}

}  // namespace limes::recordings
