#include "limes/platform/file_stream.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <new>
#include <utility>

#include "limes/platform/text.h"

namespace limes {

CFileStream::failure::~failure() = default;

CFileStream::~CFileStream() = default;

CMemoryStream::CMemoryStream(std::vector<std::uint8_t> bytes) : own_(std::move(bytes)) {}

CMemoryStream::CMemoryStream(std::span<const std::uint8_t> bytes) : view_(bytes), foreign_(true) {}

std::size_t CMemoryStream::Read(void* data, std::size_t bytes) {
  const auto all = Bytes();
  const std::size_t n = std::min(bytes, all.size() - position_);
  if (n > 0) {
    std::memcpy(data, all.data() + position_, n);
    position_ += n;
  }
  return n;
}

void CMemoryStream::Write(const void* data, std::size_t bytes) {
  if (foreign_) {
    throw failure("memory stream is read-only");
  }
  if (bytes == 0) {
    return;
  }
  const auto* const source = static_cast<const std::uint8_t*>(data);
  const std::size_t inside = std::min(bytes, own_.size() - position_);
  try {
    own_.insert(own_.end(), source + inside, source + bytes);
  } catch (const std::exception&) {
    throw failure("memory stream cannot grow");
  }
  std::memcpy(own_.data() + position_, source, inside);
  position_ += bytes;
}

void CMemoryStream::Seek(std::int64_t position) {
  if (position < 0 || static_cast<std::uint64_t>(position) > Bytes().size()) {
    throw failure("seek outside of a memory stream");
  }
  position_ = static_cast<std::size_t>(position);
}

std::int64_t CMemoryStream::Position() { return static_cast<std::int64_t>(position_); }

std::int64_t CMemoryStream::Remaining() {
  return static_cast<std::int64_t>(Bytes().size() - position_);
}

struct CDiskStream::File {
  enum class Last { kNone, kRead, kWrite };

  std::filebuf buffer;
  std::int64_t position = 0;
  std::int64_t size = -1;  ///< -1: not a regular file
  Last last = Last::kNone;

  /// A file buffer must be positioned anew between reading and writing.
  bool Prepare(Last next) {
    if (last != next && last != Last::kNone && !Position(position)) {
      return false;
    }
    last = next;
    return true;
  }

  bool Position(std::int64_t to) {
    return buffer.pubseekoff(to, std::ios_base::beg) != std::filebuf::pos_type(-1);
  }
};

void CFileName::Take(std::string_view name) { text_ = name; }

void CFileName::Take(std::u8string_view name) {
  text_.assign(name.begin(), name.end());
  isUtf8_ = true;
}

void CFileName::Take(std::u16string_view name) {
  text_ = WideToUtf8(name);
  isUtf8_ = true;
}

CDiskStream::CDiskStream() = default;

CDiskStream::CDiskStream(const CFileName& name, Mode mode) { static_cast<void>(Open(name, mode)); }

CDiskStream::~CDiskStream() { Close(); }

bool CDiskStream::Open(const CFileName& name, Mode mode) {
  Close();
  try {
    const std::string& bytes = name.Bytes();
    const std::filesystem::path path =
        name.IsUtf8() ? std::filesystem::path(std::u8string(bytes.begin(), bytes.end()))
                      : std::filesystem::path(bytes);
    auto file = std::make_unique<File>();
    const auto base = std::ios_base::binary;
    const auto both = std::ios_base::in | std::ios_base::out;
    const bool opened =
        mode == Mode::kRead    ? file->buffer.open(path, base | std::ios_base::in) != nullptr
        : mode == Mode::kWrite ? file->buffer.open(path, base | std::ios_base::out) != nullptr
                               : file->buffer.open(path, base | both) != nullptr ||
                                     file->buffer.open(path, base | both | std::ios_base::trunc);
    if (!opened || std::filesystem::is_directory(path)) {
      return false;
    }
    std::error_code error;
    if (std::filesystem::is_regular_file(path, error)) {
      file->size = static_cast<std::int64_t>(std::filesystem::file_size(path));
    }
    file_ = std::move(file);
  } catch (const std::exception&) {
    return false;
  }
  return true;
}

bool CDiskStream::IsOpen() const { return file_ != nullptr; }

bool CDiskStream::Close() {
  bool written = true;
  if (file_ != nullptr) {
    try {
      written = file_->buffer.close() != nullptr;
    } catch (const std::exception&) {
      written = false;
    }
    file_.reset();
  }
  return written;
}

std::size_t CDiskStream::Read(void* data, std::size_t bytes) {
  if (file_ == nullptr) {
    return 0;
  }
  try {
    const auto limit = static_cast<std::size_t>(std::numeric_limits<std::streamsize>::max());
    const auto n = static_cast<std::streamsize>(std::min(bytes, limit));
    if (!file_->Prepare(File::Last::kRead)) {
      return 0;
    }
    const std::streamsize got = file_->buffer.sgetn(static_cast<char*>(data), n);
    file_->position += got;
    return static_cast<std::size_t>(got);
  } catch (const std::exception&) {
    return 0;  // a directory, a device error
  }
}

void CDiskStream::Write(const void* data, std::size_t bytes) {
  const auto n = static_cast<std::streamsize>(bytes);
  bool written = false;
  try {
    written = file_ != nullptr && file_->Prepare(File::Last::kWrite) &&
              file_->buffer.sputn(static_cast<const char*>(data), n) == n;
  } catch (const std::exception&) {
  }
  if (!written) {
    throw failure("cannot write to the file");
  }
  file_->position += n;
  if (file_->size >= 0) {
    file_->size = std::max(file_->size, file_->position);
  }
}

void CDiskStream::Seek(std::int64_t position) {
  bool done = false;
  try {
    done = file_ != nullptr && position >= 0 && (file_->size < 0 || position <= file_->size) &&
           (position == file_->position || file_->Position(position));
  } catch (const std::exception&) {
  }
  if (!done) {
    throw failure("cannot seek in the file");
  }
  if (position != file_->position) {
    file_->position = position;
    file_->last = File::Last::kNone;
  }
}

std::int64_t CDiskStream::Position() { return file_ == nullptr ? 0 : file_->position; }

std::int64_t CDiskStream::Remaining() {
  if (file_ == nullptr) {
    return 0;
  }
  return file_->size < 0 ? -1 : std::max<std::int64_t>(file_->size - file_->position, 0);
}

}  // namespace limes
