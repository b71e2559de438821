#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "limes/export.h"

namespace limes {

/// A file that records are read from and written to. A host may derive its own.
/// One thread at a time.
class LIMES_EXPORT CFileStream {
 public:
  /// What a stream throws when it cannot write or seek.
  class LIMES_EXPORT failure : public std::runtime_error {
   public:
    using std::runtime_error::runtime_error;
    ~failure() override;
  };

  CFileStream() = default;
  CFileStream(const CFileStream&) = delete;
  CFileStream& operator=(const CFileStream&) = delete;
  virtual ~CFileStream();

  /// Reads up to bytes bytes: the number read, fewer at the end or on an error. Never throws.
  [[nodiscard]] virtual std::size_t Read(void* data, std::size_t bytes) = 0;

  /// Writes all bytes, or throws failure.
  virtual void Write(const void* data, std::size_t bytes) = 0;

  /// Moves to a position from the start, or throws failure; behind the end is an error.
  virtual void Seek(std::int64_t position) = 0;

  /// Position of the next byte, from the start.
  virtual std::int64_t Position() = 0;

  /// Bytes from the position to the end; -1 when unknown, as for a pipe.
  virtual std::int64_t Remaining() = 0;
};

/// A file in memory: grows by writing, or reads bytes that belong to someone else.
/// One thread at a time.
class LIMES_EXPORT CMemoryStream : public CFileStream {
 public:
  /// Empty, for writing and reading back.
  CMemoryStream() = default;

  /// Owns the bytes, positioned at their start.
  explicit CMemoryStream(std::vector<std::uint8_t> bytes);

  /// Reads the bytes, which must outlive the stream; writing fails.
  explicit CMemoryStream(std::span<const std::uint8_t> bytes);

  [[nodiscard]] std::size_t Read(void* data, std::size_t bytes) override;
  void Write(const void* data, std::size_t bytes) override;
  void Seek(std::int64_t position) override;
  std::int64_t Position() override;
  std::int64_t Remaining() override;

  /// All bytes; valid until the next write.
  std::span<const std::uint8_t> Bytes() const { return foreign_ ? view_ : own_; }

 private:
  std::vector<std::uint8_t> own_;
  std::span<const std::uint8_t> view_;
  std::size_t position_ = 0;
  bool foreign_ = false;
};

/// Name of a file for CDiskStream: text in the system's own 8-bit encoding, UTF-8 as char8_t,
/// 16-bit text, or a std::filesystem::path (and what has one), whose header is not read for that.
class LIMES_EXPORT CFileName {
 public:
  template <std::convertible_to<std::string_view> Text>
  CFileName(const Text& name) {
    Take(std::string_view(name));
  }
  template <std::convertible_to<std::u8string_view> Text>
  CFileName(const Text& name) {
    Take(std::u8string_view(name));
  }
  template <std::convertible_to<std::u16string_view> Text>
  CFileName(const Text& name) {
    Take(std::u16string_view(name));
  }
  template <class Path>
  requires requires(const Path& path) { path.u8string(); }
  CFileName(const Path& path) : CFileName(path.u8string()) {}
  template <class Entry>
  requires requires(const Entry& entry) { entry.path().u8string(); }
  CFileName(const Entry& entry) : CFileName(entry.path()) {}

  /// The bytes given, and whether they are UTF-8 whatever the system's encoding.
  const std::string& Bytes() const { return text_; }
  bool IsUtf8() const { return isUtf8_; }

 private:
  void Take(std::string_view name);
  void Take(std::u8string_view name);
  void Take(std::u16string_view name);

  std::string text_;
  bool isUtf8_ = false;
};

/// A file on disk, buffered. One thread at a time.
class LIMES_EXPORT CDiskStream : public CFileStream {
 public:
  enum class Mode {
    kRead,       ///< an existing file
    kWrite,      ///< a new file; an old one is emptied
    kReadWrite,  ///< an existing file or a new one
  };

  CDiskStream();
  CDiskStream(const CFileName& name, Mode mode);
  ~CDiskStream() override;

  /// Closes the file in use and opens another; false when that cannot be opened so.
  [[nodiscard]] bool Open(const CFileName& name, Mode mode);
  bool IsOpen() const;

  /// Writes what is buffered and closes; false when that could not be written.
  bool Close();

  [[nodiscard]] std::size_t Read(void* data, std::size_t bytes) override;
  void Write(const void* data, std::size_t bytes) override;
  void Seek(std::int64_t position) override;
  std::int64_t Position() override;

  /// By the size at opening and what was written since; -1 for anything but a regular file.
  std::int64_t Remaining() override;

 private:
  struct File;
  std::unique_ptr<File> file_;
};

}  // namespace limes
