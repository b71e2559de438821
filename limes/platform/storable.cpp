#include "limes/platform/storable.h"

#include "limes/platform/record_io.h"

namespace limes {

CStorable::~CStorable() = default;

bool CStorable::ReadFromFile(CFileStream& file) {
  std::uint32_t version = 0;
  return detail::RecordReader(file).Get(version) && version == version_;
}

bool CStorable::WriteToFile(CFileStream& file) const {
  detail::RecordWriter record;
  record.Put(version_);
  try {
    record.WriteTo(file);
  } catch (const failure&) {
    return false;
  }
  return true;
}

}  // namespace limes
