#pragma once

#include <cstdint>

#include "limes/export.h"
#include "limes/platform/file_stream.h"

namespace limes {

/// Base of the objects that write themselves to a file stream and read themselves back.
///
/// Its record is a header of one little-endian 32-bit word, the object's version.
/// One thread at a time.
class LIMES_EXPORT CStorable {
 public:
  /// What a file stream throws when it cannot write or seek.
  using failure = CFileStream::failure;

  CStorable() = default;
  CStorable(const CStorable&) = default;
  CStorable& operator=(const CStorable&) = default;
  virtual ~CStorable();

  /// Reads the header: false when it is cut short or holds another version than this object.
  [[nodiscard]] virtual bool ReadFromFile(CFileStream& file);

  /// Writes the header; false when the stream fails.
  [[nodiscard]] virtual bool WriteToFile(CFileStream& file) const;

  /// Version of the object's record.
  std::uint32_t StorableVersion() const { return version_; }

 protected:
  void SetStorableVersion(std::uint32_t version) { version_ = version; }

 private:
  std::uint32_t version_ = 0;
};

}  // namespace limes
