#include "recordings/tables/csv_table.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <type_traits>

#include "recordings/errors.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

std::string_view Trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// What stands in the last brackets of these kinds; npos when the text does not end with them.
std::size_t OpeningBracket(std::string_view text, char open, char close) {
  return text.ends_with(close) ? text.rfind(open) : std::string_view::npos;
}

/// A unit without the brackets around it.
std::string_view Bare(std::string_view unit) {
  const bool bracket = unit.size() > 1 && ((unit.front() == '[' && unit.back() == ']') ||
                                           (unit.front() == '(' && unit.back() == ')'));
  return bracket ? Trimmed(unit.substr(1, unit.size() - 2)) : unit;
}

template <class T>
constexpr CellKind kKindOf = std::is_same_v<T, float> ? CellKind::kFloat : CellKind::kDouble;

}  // namespace

bool IsWords(std::string_view cell) {
  return !cell.empty() && std::isalpha(static_cast<unsigned char>(cell[0])) != 0 &&
         !cell.starts_with("nan") && !cell.starts_with("NaN") && !cell.starts_with("inf") &&
         !cell.starts_with("Inf");
}

SColumn ParseHeader(std::string_view header, bool round) {
  SColumn column{std::string(header), std::string(Trimmed(header)), ""};
  const std::string_view text = Trimmed(header);
  auto open = OpeningBracket(text, '[', ']');
  if (open == std::string_view::npos) {
    open = OpeningBracket(text, '(', ')');
    const bool name = open != std::string_view::npos && !Trimmed(text.substr(0, open)).empty();
    if (!name || !(round || ParseUnit(Bare(text.substr(open))).text.empty())) {
      return column;
    }
  }
  column.name = Trimmed(text.substr(0, open));
  column.unit = Trimmed(text.substr(open + 1, text.size() - open - 2));
  return column;
}

CCsvTable::CCsvTable(CFileStream& file, const SReadContext& context) : reader_(file, context.path) {
  const std::string& name = context.path;
  const bool hasHeader = !context.settings->noHeader;
  TakeDialect(context);
  std::vector<std::string_view> cells;
  if (!reader_.Next(cells)) {
    throw CInputError(name, 1, "empty file");
  }
  double number = 0.0;
  if (hasHeader && std::all_of(cells.begin(), cells.end(),
                               [&](std::string_view cell) { return IsNumber(cell, number); })) {
    throw CInputError(name, reader_.Line(),
                      "numbers where column names are expected (--no-header when there are none)");
  }
  TakeHeader(cells, context);
  if (dialect_.unitsRow && reader_.Next(cells)) {
    TakeUnits(cells, context);
  }
  hasPending_ = !hasHeader;
  if (hasPending_) {
    pending_ = cells;  // stays valid: no row is read before it was handed out
  }
  for (const SCondition& condition : *context.where) {
    SFilter filter{Find(condition.column), condition.value, std::nullopt};
    if (ParseNumber(condition.value, number)) {
      filter.number = number;
    }
    filters_.push_back(std::move(filter));
  }
}

/// How the table is written, which must be as in the first file of the run.
void CCsvTable::TakeDialect(const SReadContext& context) {
  dialect_ = DetectDialect(reader_.Peek(), !context.settings->noHeader, context.settings->table);
  const std::string told = dialect_.Told();
  if (context.note && !told.empty()) {
    context.note(told);
  }
  if (context.dialect != nullptr) {
    if (*context.dialect && !dialect_.FitsTo(**context.dialect)) {
      throw CInputError(context.path,
                        "is written in another way (" +
                            (told.empty() ? "commas between cells, decimal points" : told) +
                            ") than the tables before it; --table says how to read all of them");
    }
    if (!*context.dialect || dialect_.decimalShown) {
      *context.dialect = dialect_;
    }
  }
  reader_.SkipLines(dialect_.skipped);
  reader_.SetSeparator(dialect_.separator);
}

bool CCsvTable::IsNumber(std::string_view cell, double& number) const {
  try {
    return dialect_.Parse(cell, number);
  } catch (const std::invalid_argument&) {
    return true;  // of which is not sure which
  }
}

void CCsvTable::TakeHeader(const std::vector<std::string_view>& cells,
                           const SReadContext& context) {
  const bool hasHeader = !context.settings->noHeader;
  const bool allRound = std::all_of(cells.begin(), cells.end(), [](std::string_view cell) {
    return OpeningBracket(cell, '(', ')') != std::string_view::npos;
  });
  bool otherPage = false;
  for (std::string_view cell : cells) {
    const std::string number = std::to_string(columns_.size() + 1);
    if (columns_.empty() && cell.starts_with('#') && !Trimmed(cell.substr(1)).empty()) {
      cell = Trimmed(cell.substr(1));  // names behind the mark of a comment
    }
    columns_.push_back(hasHeader ? ParseHeader(TextOfFile(cell), allRound)
                                 : SColumn{number, number, ""});
    SColumn& column = columns_.back();
    otherPage = otherPage || (hasHeader && !IsUtf8(cell));
    if (column.name.empty()) {
      column.name = "column " + number;
    }
    NoteUnit(column.unit, context.note);
  }
  if (dialect_.trailing && columns_.size() > 1 && cells.back().empty()) {
    columns_.pop_back();
  }
  if (context.note && otherPage) {
    context.note("texts that are no UTF-8 are read as code page 1252");
  }
}

void CCsvTable::TakeUnits(const std::vector<std::string_view>& cells, const SReadContext& context) {
  for (std::size_t i = 0; i < std::min(cells.size(), columns_.size()); ++i) {
    if (columns_[i].unit.empty()) {
      columns_[i].unit = TextOfFile(Bare(cells[i]));
      NoteUnit(columns_[i].unit, context.note);
    }
  }
}

std::optional<std::size_t> CCsvTable::TryFind(std::string_view name) const {
  std::optional<std::size_t> found;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (columns_[i].name == name || columns_[i].header == name) {
      if (found) {
        throw CInputError(Name(), 1, "column name " + Quoted(name) + " stands there twice");
      }
      found = i;
    }
  }
  return found;
}

std::size_t CCsvTable::Find(std::string_view name) const {
  const auto found = TryFind(name);
  if (!found) {
    std::string known;
    for (std::size_t i = 0; i < std::min<std::size_t>(columns_.size(), 12); ++i) {
      known += (i > 0 ? ", " : "") + columns_[i].name;
    }
    throw CInputError(Name(), 1,
                      "no column " + Quoted(name) + " (there are " + known +
                          (columns_.size() > 12 ? ", ..." : "") + ")");
  }
  return *found;
}

std::vector<std::size_t> CCsvTable::Choose(const std::vector<std::string>& use,
                                           const std::vector<std::string>& skip, std::size_t first,
                                           std::vector<std::size_t> others) const {
  std::vector<std::size_t> chosen;
  chosen.reserve(use.size());
  for (const std::string& name : use) {
    chosen.push_back(Find(name));
  }
  for (const std::string& name : skip) {
    if (const auto found = TryFind(name)) {
      others.push_back(*found);
    }
  }
  for (std::size_t i = first; use.empty() && i < columns_.size(); ++i) {
    if (std::find(others.begin(), others.end(), i) == others.end()) {
      chosen.push_back(i);
    }
  }
  if (chosen.empty()) {
    throw CInputError(Name(), 1, "no column of values");
  }
  return chosen;
}

void CCsvTable::CheckCellCount(std::vector<std::string_view>& cells) const {
  if (cells.size() == columns_.size() + 1 && cells.back().empty()) {
    cells.pop_back();  // a separator at the end of the line
  }
  if (cells.size() != columns_.size()) {
    throw CInputError(Name(), reader_.Line(),
                      std::to_string(cells.size()) + " cells where the header has " +
                          std::to_string(columns_.size()) +
                          (cells.size() > columns_.size() ? " (decimal commas?)" : ""));
  }
}

bool CCsvTable::Passes(const std::vector<std::string_view>& cells) const {
  return std::all_of(filters_.begin(), filters_.end(), [&](const SFilter& filter) {
    double number = 0.0;
    const std::string_view cell = cells[filter.column];
    return cell == filter.value || (!IsUtf8(cell) && TextOfFile(cell) == filter.value) ||
           (filter.number && IsNumber(cell, number) && number == *filter.number);
  });
}

/// Where most rows are not plain, reading them as if they were costs more than it saves.
void CCsvTable::CountPlain() {
  constexpr std::int64_t kMost = 64;
  others_ += isPlain_ ? -1 : 1;
  if (others_ > kMost) {
    kinds_.clear();
  }
}

template <class T>
void CCsvTable::ExpectNumbers(const std::vector<std::size_t>& columns) {
  if (dialect_.IsUnsure()) {
    return;
  }
  kinds_.resize(columns_.size(), CellKind::kText);
  for (const std::size_t column : columns) {
    kinds_[column] = kKindOf<T>;
  }
}

template void CCsvTable::ExpectNumbers<float>(const std::vector<std::size_t>&);
template void CCsvTable::ExpectNumbers<double>(const std::vector<std::size_t>&);

bool CCsvTable::NextRow(std::vector<std::string_view>& cells) {
  for (;;) {
    if (hasPending_) {
      cells = pending_;
      hasPending_ = false;
    } else {
      isPlain_ = !kinds_.empty() && reader_.NextNumbers(kinds_, dialect_.decimal, cells, numbers_);
      if (!isPlain_ && !reader_.Next(cells)) {
        return false;
      }
      CountPlain();
    }
    ++row_;
    if (!isPlain_) {
      CheckCellCount(cells);
    }
    if (Passes(cells)) {
      return true;
    }
  }
}

void CCsvTable::GoTo(const CCsvReader::SPlace& place, std::uint64_t row) {
  reader_.GoTo(place);
  hasPending_ = false;
  row_ = row - 1;
}

template <class T>
T CCsvTable::Number(const std::vector<std::string_view>& cells, std::size_t column) const {
  if (isPlain_ && kinds_[column] == kKindOf<T>) {
    return static_cast<T>(numbers_[column]);
  }
  T value{};
  const std::string_view cell = cells[column];
  std::string both;
  try {
    if (dialect_.Parse(cell, value)) {
      return value;
    }
  } catch (const std::invalid_argument& e) {
    both = e.what();
  }
  throw CInputError(Name(), reader_.Line(),
                    "column " + Quoted(columns_[column].name) +
                        (cell.empty()   ? ": empty cell"
                         : both.empty() ? ": " + Quoted(cell) + " is not a finite number"
                                        : ": " + Quoted(cell) + " " + both) +
                        (IsWords(cell) ? " (--skip names columns that hold no values)" : ""));
}

template float CCsvTable::Number(const std::vector<std::string_view>&, std::size_t) const;
template double CCsvTable::Number(const std::vector<std::string_view>&, std::size_t) const;

}  // namespace limes::recordings
