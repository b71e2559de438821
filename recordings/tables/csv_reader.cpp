#include "recordings/tables/csv_reader.h"

#include <csv.h>

#include <algorithm>
#include <cstring>

#include "limes/platform/text.h"
#include "recordings/errors.h"

namespace limes::recordings {
namespace {

constexpr std::size_t kBlock = std::size_t{256} << 10;

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

std::string_view Trimmed(const char* first, const char* last) {
  while (first < last && IsBlank(*first)) {
    ++first;
  }
  while (last > first && IsBlank(last[-1])) {
    --last;
  }
  return {first, static_cast<std::size_t>(last - first)};
}

}  // namespace

/// libcsv, fed line by line until it has a row.
class CCsvReader::Library {
 public:
  explicit Library(char separator) {
    csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI);
    csv_set_delim(&parser_, static_cast<unsigned char>(separator));
    if (separator == '\t') {
      csv_set_space_func(&parser_, [](unsigned char c) { return c == ' ' ? 1 : 0; });
    }
  }
  ~Library() { csv_free(&parser_); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  void Begin() {
    cells_.clear();
    hasRow_ = false;
  }
  bool Feed(std::string_view text) {
    return csv_parse(&parser_, text.data(), text.size(), OnCell, OnRow, this) == text.size();
  }
  bool Finish() { return csv_fini(&parser_, OnCell, OnRow, this) == 0; }
  bool HasRow() const { return hasRow_; }
  const std::vector<std::string>& Cells() const { return cells_; }

 private:
  static void OnCell(void* text, std::size_t size, void* self) {
    static_cast<Library*>(self)->cells_.emplace_back(static_cast<const char*>(text), size);
  }
  static void OnRow(int, void* self) { static_cast<Library*>(self)->hasRow_ = true; }

  csv_parser parser_{};
  std::vector<std::string> cells_;
  bool hasRow_ = false;
};

CCsvReader::CCsvReader(CFileStream& file, std::string name) : file_(&file), name_(std::move(name)) {
  SetSeparator(',');
  SkipByteOrderMark();
}

void CCsvReader::SetSeparator(char separator) {
  stops_[static_cast<unsigned char>(separator_)] = false;
  separator_ = separator;
  for (const char c : {separator, '"', '\n', '\r'}) {
    stops_[static_cast<unsigned char>(c)] = true;
  }
  library_.reset();
}

std::string_view CCsvReader::Peek() {
  constexpr std::size_t kEnough = std::size_t{16} << 10;
  while (end_ - begin_ < kEnough && Fill()) {
  }
  const std::string_view held(buffer_.get() + begin_, std::min(end_ - begin_, kEnough));
  const auto last =
      atEnd_ && end_ - begin_ <= kEnough ? std::string_view::npos : held.find_last_of("\r\n");
  return held.substr(0, last);
}

void CCsvReader::SkipLines(std::uint64_t count) {
  for (std::string_view line; count > 0 && TakeLine(line); --count) {
  }
}

CCsvReader::~CCsvReader() = default;

void CCsvReader::SkipByteOrderMark() {
  while (end_ - begin_ < 3 && Fill()) {
  }
  const std::string_view start(buffer_.get() + begin_, end_ - begin_);
  if (start.starts_with("\xEF\xBB\xBF")) {
    Consume(3, 0);
  } else if (start.starts_with("\xFF\xFE") || start.starts_with("\xFE\xFF")) {
    DecodeWide(start.starts_with("\xFE"));
  }
}

/// Text of 16 bits a character, whose mark was seen, becomes UTF-8 in memory.
void CCsvReader::DecodeWide(bool bigEndian) {
  std::string raw;
  do {
    raw.append(buffer_.get() + begin_, end_ - begin_);
    begin_ = end_;
  } while (raw.size() < kMaxRowBytes && Fill());
  if (!atEnd_) {
    throw CInputError(name_, 1, "16-bit text of more than 256 MiB; save the table as UTF-8");
  }
  std::u16string wide;
  for (std::size_t i = 2; i + 1 < raw.size(); i += 2) {
    const auto first = static_cast<unsigned char>(raw[i]);
    const auto second = static_cast<unsigned char>(raw[i + 1]);
    wide += static_cast<char16_t>(bigEndian ? first << 8 | second : second << 8 | first);
  }
  const std::string text = WideToUtf8(wide);
  decoded_ = std::make_unique<CMemoryStream>(std::vector<std::uint8_t>(text.begin(), text.end()));
  file_ = decoded_.get();
  GoTo({});
}

void CCsvReader::Consume(std::size_t bytes, std::uint64_t lines) {
  begin_ += bytes;
  next_.offset += static_cast<std::int64_t>(bytes);
  next_.line += lines;
}

/// Reads on behind what is held; false at the end of the file.
bool CCsvReader::Fill() {
  if (atEnd_) {
    return false;
  }
  const std::size_t held = end_ - begin_;
  if (held + kBlock > capacity_) {
    if (held > kMaxRowBytes) {
      throw CInputError(name_, next_.line, "line of more than 256 MiB");
    }
    const std::size_t capacity = std::max(2 * held, 2 * kBlock);
    auto larger = std::make_unique_for_overwrite<char[]>(capacity);
    std::copy_n(buffer_.get() + begin_, held, larger.get());
    buffer_ = std::move(larger);
    capacity_ = capacity;
  } else if (begin_ > 0) {
    std::memmove(buffer_.get(), buffer_.get() + begin_, held);
  }
  begin_ = 0;
  end_ = held;
  while (end_ < capacity_ && !atEnd_) {
    const std::size_t got = file_->Read(buffer_.get() + end_, capacity_ - end_);
    end_ += got;
    atEnd_ = got == 0;
  }
  return end_ > held;
}

template <bool comma>
CCsvReader::Split CCsvReader::SplitInPlace(std::vector<std::string_view>& cells) {
  const char separator = comma ? ',' : separator_;
  cells.clear();
  const char* const start = buffer_.get() + begin_;
  const char* const stop = buffer_.get() + end_;
  const char* cell = start;
  const char* p = start;
  for (;; ++p) {
    if constexpr (comma) {
      while (p<stop&& * p> ',') {
        ++p;
      }
    } else {
      while (p < stop && !stops_[static_cast<unsigned char>(*p)]) {
        ++p;
      }
    }
    if (p == stop) {
      if (!atEnd_) {
        return Split::kNeedMore;
      }
      break;
    }
    if (*p == separator) {
      cells.push_back(Trimmed(cell, p));
      cell = p + 1;
    } else if (*p == '"') {
      return Split::kQuoted;
    } else if (*p == '\n' || *p == '\r') {
      break;
    }
  }
  if (p == stop && start == stop) {
    return Split::kEnd;
  }
  cells.push_back(Trimmed(cell, p));
  if (p + 1 == stop && *p == '\r' && !atEnd_) {
    return Split::kNeedMore;  // a line feed may follow
  }
  row_ = next_;
  Consume(static_cast<std::size_t>(p - start) + LineEndBytes(p), 1);
  return cells.size() == 1 && cells[0].empty() ? Split::kBlank : Split::kRow;
}

/// Of the line end at this place: none at the end of the file.
std::size_t CCsvReader::LineEndBytes(const char* end) const {
  const char* const stop = buffer_.get() + end_;
  return end == stop ? 0 : *end == '\r' && end + 1 < stop && end[1] == '\n' ? 2 : 1;
}

bool CCsvReader::NextNumbers(std::span<const CellKind> kinds, char decimal,
                             std::vector<std::string_view>& cells, std::vector<double>& numbers) {
  cells.resize(kinds.size());
  numbers.resize(kinds.size());
  do {
    const char* const start = buffer_.get() + begin_;
    const char* const stop = buffer_.get() + end_;
    const char* const end = SplitNumbers(start, stop, {separator_, decimal}, kinds, cells, numbers);
    if (end == nullptr) {
      return false;
    }
    if (end < stop && (*end == '\n' || end + 1 < stop)) {  // else a line feed may follow
      row_ = next_;
      Consume(static_cast<std::size_t>(end - start) + LineEndBytes(end), 1);
      return true;
    }
  } while (Fill());
  return false;
}

bool CCsvReader::TakeLine(std::string_view& line) {
  std::size_t at = 0;
  for (;;) {
    const char* const start = buffer_.get() + begin_;
    const std::size_t held = end_ - begin_;
    while (at < held && start[at] != '\n' && start[at] != '\r') {
      ++at;
    }
    if (at + 1 < held || (at < held && atEnd_) || !Fill()) {
      break;
    }
  }
  const char* const start = buffer_.get() + begin_;
  const std::size_t held = end_ - begin_;
  if (held == 0) {
    return false;
  }
  const std::size_t taken = at + LineEndBytes(start + at);
  line = {start, taken};
  Consume(taken, 1);
  return true;
}

bool CCsvReader::SplitByLibrary(std::vector<std::string_view>& cells) {
  if (!library_) {
    library_ = std::make_unique<Library>(separator_);
  }
  library_->Begin();
  row_ = next_;
  bool begun = false;
  while (!library_->HasRow()) {
    if (next_.offset - row_.offset > static_cast<std::int64_t>(kMaxRowBytes)) {
      throw CInputError(name_, row_.line, "quoted cell of more than 256 MiB");
    }
    std::string_view line;
    const bool taken = TakeLine(line);
    if (!(taken ? library_->Feed(line) : library_->Finish())) {
      throw CInputError(name_, row_.line, "quotation marks do not match");
    }
    if (!taken) {
      break;
    }
    begun = begun || line.find_first_not_of(" \t\r\n") != std::string_view::npos;
    if (!begun) {
      row_ = next_;
    }
  }
  cells.assign(library_->Cells().begin(), library_->Cells().end());
  return library_->HasRow();
}

bool CCsvReader::Next(std::vector<std::string_view>& cells) {
  for (;;) {
    switch (libraryOnly_        ? Split::kQuoted
            : separator_ == ',' ? SplitInPlace<true>(cells)
                                : SplitInPlace<false>(cells)) {
      case Split::kRow:
        return true;
      case Split::kEnd:
        return false;
      case Split::kQuoted:
        return SplitByLibrary(cells);
      case Split::kNeedMore:
        Fill();
        break;
      case Split::kBlank:
        break;
    }
  }
}

void CCsvReader::GoTo(const SPlace& place) {
  const std::int64_t ahead = place.offset - next_.offset;
  if (ahead >= 0 && ahead < static_cast<std::int64_t>(end_ - begin_)) {  // read already
    begin_ += static_cast<std::size_t>(ahead);
  } else {
    file_->Seek(place.offset);
    begin_ = end_ = 0;
    atEnd_ = false;
  }
  next_ = place;
}

}  // namespace limes::recordings
