#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "limes/platform/file_stream.h"
#include "recordings/tables/number_row.h"

namespace limes::recordings {

/// Reads separated text row by row: UTF-8 with or without byte-order mark or UTF-16 with it (which
/// is decoded as a whole), any line ends, quoted cells by RFC 4180. Blank lines are skipped, blanks
/// around unquoted cells removed.
///
/// Rows without quotes are split in place, the others go through libcsv; both give the same cells.
/// Holds one row and a block of the file. Throws CInputError.
class CCsvReader {
 public:
  /// Place of a row, to come back to it.
  struct SPlace {
    std::int64_t offset = 0;
    std::uint64_t line = 1;
  };

  static constexpr std::size_t kMaxRowBytes = std::size_t{256} << 20;

  /// The stream must outlive the reader; the name is for messages.
  CCsvReader(CFileStream& file, std::string name);
  ~CCsvReader();

  /// The first kilobytes of what was not read yet, up to the end of a line where one is there.
  std::string_view Peek();

  /// Between cells; a comma unless it is set.
  void SetSeparator(char separator);

  void SkipLines(std::uint64_t count);

  /// The next row; false at the end. The cells are valid until the next call.
  bool Next(std::vector<std::string_view>& cells);

  /// The same of a plain row with the numbers of its cells, as SplitNumbers; false where the next
  /// row, if there is one, is not plain: then it is still to be read.
  bool NextNumbers(std::span<const CellKind> kinds, char decimal,
                   std::vector<std::string_view>& cells, std::vector<double>& numbers);

  /// Goes on at a row; needs a stream that can seek.
  void GoTo(const SPlace& place);

  /// Line (from 1) where the last row begins, for messages.
  std::uint64_t Line() const { return row_.line; }
  const SPlace& Place() const { return row_; }
  const std::string& Name() const { return name_; }
  std::int64_t BytesRead() const { return next_.offset; }

  /// Splits every row by libcsv, for comparison.
  void SplitAllByLibrary(bool on) { libraryOnly_ = on; }

 private:
  class Library;
  enum class Split { kRow, kBlank, kNeedMore, kQuoted, kEnd };

  bool Fill();
  void SkipByteOrderMark();
  void DecodeWide(bool bigEndian);
  template <bool comma>
  Split SplitInPlace(std::vector<std::string_view>& cells);
  bool SplitByLibrary(std::vector<std::string_view>& cells);
  bool TakeLine(std::string_view& line);
  std::size_t LineEndBytes(const char* end) const;
  void Consume(std::size_t bytes, std::uint64_t lines);

  std::unique_ptr<CFileStream> decoded_;
  CFileStream* file_;
  std::string name_;
  std::unique_ptr<char[]> buffer_;
  std::size_t capacity_ = 0;
  std::size_t begin_ = 0;  ///< first byte not yet taken
  std::size_t end_ = 0;
  bool atEnd_ = false;
  bool libraryOnly_ = false;
  char separator_ = ',';
  bool stops_[256] = {};  ///< bytes that end a cell or make it quoted
  SPlace row_;            ///< of the last row
  SPlace next_;           ///< of the first byte not yet taken
  std::unique_ptr<Library> library_;
};

}  // namespace limes::recordings
