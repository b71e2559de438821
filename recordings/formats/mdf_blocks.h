#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "recordings/formats/byte_cursor.h"

namespace limes::recordings {

/// A block of an MDF file: its links, and its data as a cursor that ends with the block.
struct SMdfBlock {
  std::string id;  ///< two letters
  std::vector<std::uint64_t> links;
  CByteCursor data;

  /// 0: leads nowhere. Throws when the block has fewer links.
  std::uint64_t Link(std::size_t i) const;
};

/// Blocks by their places. Throws CInputError for what is no such block.
class CMdfFile {
 public:
  CMdfFile(CFileStream& stream, const std::string& path) : file_(stream, path, "MDF") {}

  /// ids: the letters that may stand there, parted by blanks.
  SMdfBlock Block(std::uint64_t place, std::string_view ids) const;

  /// The same for a block of a list, which may stand there once: lists end.
  SMdfBlock ListBlock(std::uint64_t place, std::string_view ids);

  /// A TX or MD block as text; empty for 0.
  std::string Text(std::uint64_t place) const;

  /// Counts bytes that a compressed block expands to; throws beyond the limit.
  void Expand(std::uint64_t bytes);

  const CByteCursor& Bytes() const { return file_; }

 private:
  CByteCursor file_;
  std::set<std::uint64_t> seen_;
  std::uint64_t expanded_ = 0;
};

/// The joined bytes of the data blocks of a group: plain or zipped, alone or in lists.
class CMdfData {
 public:
  /// link: of the group to its data; 0: none.
  CMdfData(CMdfFile& file, std::uint64_t link);

  std::uint64_t Bytes() const { return bytes_; }

  /// From a place in the joined bytes on, which holds them. Throws CInputError.
  void Read(std::uint64_t place, std::span<std::uint8_t> to);

 private:
  struct SPiece {
    std::uint64_t first;  ///< in the joined bytes
    std::uint64_t bytes;
    CByteCursor stored;
    std::uint64_t columns;  ///< of a transposed block, else 0
    bool zipped;
  };

  void AddBlock(CMdfFile& file, std::uint64_t place);
  const std::vector<std::uint8_t>& Inflated(std::size_t piece);

  std::vector<SPiece> pieces_;
  std::uint64_t bytes_ = 0;
  std::map<std::size_t, std::vector<std::uint8_t>> inflated_;
  std::uint64_t inflatedBytes_ = 0;
};

}  // namespace limes::recordings
