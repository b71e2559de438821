// File records of N-dimensional signals.

#include <algorithm>
#include <array>

#include "limes/platform/file_stream.h"
#include "limes/platform/memory_errors.h"
#include "limes/platform/record_io.h"
#include "limes/signals/nd_signal.h"

namespace limes {

namespace {

// kept: a text field of these records fails at once, without touching the stream; stored files end
// there, so what would follow a text is neither written nor read
constexpr bool kTextsWork = false;

/// Writes what put lays into a record; false when the stream fails or memory is short.
template <class Put>
bool Written(CFileStream& file, Put put) try {
  return detail::IfMemoryAllows([&] {
    detail::RecordWriter record;
    put(record);
    record.WriteTo(file);
  });
} catch (const CStorable::failure&) {
  return false;
}

/// Writes the values in pieces; false when the stream fails or memory is short.
bool WrittenValues(std::span<const float> values, CFileStream& file) {
  constexpr std::size_t kPiece = 65536;
  bool ok = true;
  while (ok && !values.empty()) {
    const std::span<const float> piece = values.first(std::min(kPiece, values.size()));
    ok = Written(file, [&](detail::RecordWriter& record) { record.PutArray(piece); });
    values = values.subspan(piece.size());
  }
  return ok;
}

}  // namespace

bool CDimDescription::WriteToFile(CFileStream& file) const {
  return CStorable::WriteToFile(file) && kTextsWork;
}

bool CDimDescription::ReadFromFile(CFileStream& file) {
  return CStorable::ReadFromFile(file) && kTextsWork;
}

bool CDimDescriptionVec::WriteToFile(CFileStream& file) const {
  const auto count = static_cast<std::uint32_t>(dims_.size());
  return CStorable::WriteToFile(file) &&
         Written(file, [&](detail::RecordWriter& record) { record.Put(count); }) &&
         std::all_of(dims_.begin(), dims_.end(),
                     [&](const CDimDescription& dim) { return dim.WriteToFile(file); });
}

bool CDimDescriptionVec::ReadFromFile(CFileStream& file) {
  std::uint32_t count = 0;
  if (!CStorable::ReadFromFile(file) || !detail::RecordReader(file).Get(count) ||
      (count > 0 && !CDimDescription().ReadFromFile(file))) {
    return false;
  }
  dims_.clear();  // there is no description that can be read
  return true;
}

bool CSigNDBase::WriteToFile(CFileStream& file) const {
  static_cast<void>(CStorable::WriteToFile(file));  // kept: its failure alone is none
  const bool counted = Written(file,
                               [&](detail::RecordWriter& sizes) {
                                 sizes.Put(std::array{rows_, columns_});
                               }) &&
                       dims_.WriteToFile(file) && Written(file, [&](detail::RecordWriter& count) {
                         count.Put(static_cast<std::uint32_t>(values_.size()));
                       });
  return WrittenValues(values_, file) && counted;
}

bool CSigNDBase::ReadFromFile(CFileStream& file) {
  static_cast<void>(CStorable::ReadFromFile(file));  // kept: any version is taken
  detail::RecordReader in(file);
  std::uint32_t rows = 0;
  std::uint32_t columns = 0;
  std::uint32_t count = 0;
  CDimDescriptionVec dims;
  std::vector<float> values;
  if (!in.Get(rows) || !in.Get(columns) || !dims.ReadFromFile(file) || !in.Get(count) ||
      count != std::uint64_t{rows} * columns || !in.GetArray(values, count)) {
    return false;
  }
  rows_ = count > 0 ? rows : 0;
  columns_ = count > 0 ? columns : 0;
  std::swap(dims_, dims);
  values_.swap(values);
  return true;
}

bool CSightSeeing::WriteToFile(CFileStream& file) const {
  return CStorable::WriteToFile(file) && Written(file, [&](detail::RecordWriter& record) {
           record.Put(std::array{dims_.x, dims_.y, dims_.z});
         });
}

bool CSightSeeing::ReadFromFile(CFileStream& file) {
  std::array<std::uint32_t, 3> dims = {};
  if (!CStorable::ReadFromFile(file) || !detail::RecordReader(file).Get(dims)) {
    return false;
  }
  dims_ = {dims[0], dims[1], dims[2]};
  return true;
}

bool CSigND::WriteToFile(CFileStream& file) const {
  return CSigNDBase::WriteToFile(file) && kTextsWork;
}

bool CSigND::ReadFromFile(CFileStream& file) {
  CSigNDBase table;
  return table.ReadFromFile(file) && ReadMembersFromFile(file);
}

bool CSigND::ReadMembersFromFile(CFileStream& /*file*/) { return kTextsWork; }

}  // namespace limes
