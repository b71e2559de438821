#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "recordings/file_input.h"
#include "recordings/part_reader.h"

namespace limes::recordings {

/// The parts of one open file, cut into pieces where the settings say so. One thread at a time.
class CPartFile {
 public:
  /// The context's settings, conditions and dialect must outlive it; its path is the file. Throws
  /// CReadError.
  explicit CPartFile(const SReadContext& context);

  /// The same of a stream; the context's path is what it is called.
  CPartFile(const SReadContext& context, std::unique_ptr<CFileStream> stream);
  ~CPartFile();

  /// The next part; false at the end. Throws CReadError.
  bool Next(SPart& part);

  /// Whether its values are samples of a sound.
  bool IsSound() const { return sound_; }

  /// Share that was read, 0 to 1.
  double Progress() const { return reader_->Progress(); }

 private:
  bool NextPiece(SPart& piece);

  std::uint64_t cut_;
  std::unique_ptr<CFileStream> stream_;
  std::unique_ptr<CPartReader> reader_;
  SPart whole_;               ///< a part, or a block of one, that is handed out in pieces
  std::size_t start_ = 0;     ///< of the next piece in it
  std::uint64_t pieces_ = 0;  ///< of the part so far
  bool blocks_ = false;       ///< one part in blocks when it is cut
  bool sound_ = false;
};

}  // namespace limes::recordings
