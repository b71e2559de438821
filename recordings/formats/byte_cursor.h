#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <string>

#include "limes/platform/file_stream.h"
#include "limes/platform/record_io.h"

namespace limes::recordings {

/// Reads numbers and texts of a file from a place on and never behind an end. What is not there is
/// a CInputError that names file, format, byte and reason. The stream must be able to seek and
/// outlive the cursor; several cursors may share it.
class CByteCursor {
 public:
  /// The whole file. Throws CInputError for a pipe.
  CByteCursor(CFileStream& stream, std::string file, std::string format);

  std::uint64_t Place() const { return place_; }  ///< of the next byte, from the start of the file
  std::uint64_t End() const { return end_; }
  std::uint64_t Left() const { return end_ - place_; }
  const std::string& File() const { return file_; }

  void SetBigEndian(bool on) { bigEndian_ = on; }
  bool IsBigEndian() const { return bigEndian_; }

  void GoTo(std::uint64_t place);
  void Skip(std::uint64_t bytes);

  /// A cursor at a place that ends so many bytes behind it.
  CByteCursor At(std::uint64_t place, std::uint64_t bytes) const;

  /// Throws unless count things of so many bytes each are left; the product cannot wrap.
  void Need(std::uint64_t count, std::uint64_t bytesEach, const std::string& what) const;

  void Read(void* data, std::size_t bytes);
  std::string GetText(std::uint64_t bytes);

  /// Up to bytes bytes: the number read.
  std::size_t ReadSome(void* data, std::size_t bytes);

  template <detail::Scalar T>
  T Get() {
    std::array<std::uint8_t, sizeof(T)> raw;
    Read(raw.data(), raw.size());
    if (bigEndian_) {
      std::reverse(raw.begin(), raw.end());
    }
    return detail::FromLittleEndian<T>(raw.data());
  }

  [[noreturn]] void Fail(const std::string& reason) const;
  void Require(bool condition, const char* reason) const {
    if (!condition) {
      Fail(reason);
    }
  }

 private:
  CFileStream* stream_;
  std::string file_;
  std::string format_;
  std::uint64_t place_ = 0;
  std::uint64_t end_ = 0;
  bool bigEndian_ = false;
};

}  // namespace limes::recordings
