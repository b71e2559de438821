#include "recordings/tables/csv_reader.h"

#include <csv.h>

#include <algorithm>
#include <cstring>

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
  Library() { csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI); }
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

CCsvReader::CCsvReader(CFileStream& file, std::string name) : file_(file), name_(std::move(name)) {
  SkipByteOrderMark();
}

CCsvReader::~CCsvReader() = default;

void CCsvReader::SkipByteOrderMark() {
  while (end_ - begin_ < 3 && Fill()) {
  }
  const std::string_view start(buffer_.get() + begin_, end_ - begin_);
  if (start.starts_with("\xEF\xBB\xBF")) {
    Consume(3, 0);
  } else if (start.starts_with("\xFF\xFE") || start.starts_with("\xFE\xFF")) {
    throw CInputError(name_, 1, "16-bit text; save the table as UTF-8");
  }
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
    const std::size_t got = file_.Read(buffer_.get() + end_, capacity_ - end_);
    end_ += got;
    atEnd_ = got == 0;
  }
  return end_ > held;
}

CCsvReader::Split CCsvReader::SplitInPlace(std::vector<std::string_view>& cells) {
  cells.clear();
  const char* const start = buffer_.get() + begin_;
  const char* const stop = buffer_.get() + end_;
  const char* cell = start;
  const char* p = start;
  for (;; ++p) {
    while (p<stop&& * p> ',') {
      ++p;
    }
    if (p == stop) {
      if (!atEnd_) {
        return Split::kNeedMore;
      }
      break;
    }
    if (*p == ',') {
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
  std::size_t taken = static_cast<std::size_t>(p - start);
  if (p < stop) {
    if (*p == '\r' && p + 1 == stop && !atEnd_) {
      return Split::kNeedMore;  // a line feed may follow
    }
    taken += *p == '\r' && p + 1 < stop && p[1] == '\n' ? 2 : 1;
  }
  row_ = next_;
  Consume(taken, 1);
  return cells.size() == 1 && cells[0].empty() ? Split::kBlank : Split::kRow;
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
  std::size_t taken = at;
  if (at < held) {
    taken += start[at] == '\r' && at + 1 < held && start[at + 1] == '\n' ? 2 : 1;
  }
  line = {start, taken};
  Consume(taken, 1);
  return true;
}

bool CCsvReader::SplitByLibrary(std::vector<std::string_view>& cells) {
  if (!library_) {
    library_ = std::make_unique<Library>();
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
    switch (libraryOnly_ ? Split::kQuoted : SplitInPlace(cells)) {
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
  file_.Seek(place.offset);
  begin_ = end_ = 0;
  atEnd_ = false;
  next_ = place;
}

}  // namespace limes::recordings
