// File records of N-dimensional signals.

#include <algorithm>
#include <new>
#include <tuple>
#include <utility>

#include "limes/platform/file_stream.h"
#include "limes/platform/record_io.h"
#include "limes/signals/nd_signal.h"

namespace limes {

namespace {

// kept: one text field of these records fails at once, without touching the stream; stored files
// end there
bool WriteText(CFileStream& /*file*/, std::u16string_view /*text*/) { return false; }
bool ReadText(CFileStream& /*file*/, wide_string& /*text*/) { return false; }

/// Puts the record out; false when the stream fails.
bool Written(const detail::RecordWriter& record, CFileStream& file) {
  try {
    record.WriteTo(file);
  } catch (const CStorable::failure&) {
    return false;
  }
  return true;
}

/// Puts the values out in pieces; false when the stream fails.
bool WrittenValues(std::span<const float> values, CFileStream& file) {
  constexpr std::size_t kPiece = 65536;
  bool ok = true;
  while (ok && !values.empty()) {
    const std::span<const float> piece = values.first(std::min(kPiece, values.size()));
    detail::RecordWriter record;
    record.PutArray(piece);
    ok = Written(record, file);
    values = values.subspan(piece.size());
  }
  return ok;
}

/// Start, stop and step of a dimension, in file order.
struct SAxis {
  float start = 0.0F;
  float stop = 0.0F;
  float step = 0.0F;

  static constexpr auto Fields(auto& a) { return std::tie(a.start, a.stop, a.step); }
};

}  // namespace

bool CDimDescription::WriteToFile(CFileStream& file) const {
  if (!CStorable::WriteToFile(file) || !WriteText(file, name_) ||
      !WriteText(file, unit_.prefixunit())) {
    return false;
  }
  detail::RecordWriter record;
  record.PutFields(SAxis{start_, stop_, step_});
  return Written(record, file);
}

bool CDimDescription::ReadFromFile(CFileStream& file) {
  wide_string name;
  wide_string unit;
  SAxis axis;
  if (!CStorable::ReadFromFile(file) || !ReadText(file, name) || !ReadText(file, unit) ||
      !detail::RecordReader(file).GetFields(axis)) {
    return false;
  }
  name_.swap(name);
  unit_.set(unit);
  SetStartStopStep(axis.start, axis.stop, axis.step);
  return true;
}

bool CDimDescriptionVec::WriteToFile(CFileStream& file) const {
  detail::RecordWriter count;
  count.Put(static_cast<std::uint32_t>(dims_.size()));
  return CStorable::WriteToFile(file) && Written(count, file) &&
         std::all_of(dims_.begin(), dims_.end(),
                     [&](const CDimDescription& dim) { return dim.WriteToFile(file); });
}

bool CDimDescriptionVec::ReadFromFile(CFileStream& file) {
  std::uint32_t count = 0;
  if (!CStorable::ReadFromFile(file) || !detail::RecordReader(file).Get(count)) {
    return false;
  }
  std::vector<CDimDescription> dims;
  while (count > 0) {  // one by one: the count may be any
    CDimDescription dim;
    if (!dim.ReadFromFile(file)) {
      return false;
    }
    dims.push_back(dim);
    --count;
  }
  dims_.swap(dims);
  return true;
}

bool CSigNDBase::WriteToFile(CFileStream& file) const {
  static_cast<void>(CStorable::WriteToFile(file));  // kept: its failure alone is none
  detail::RecordWriter sizes;
  sizes.Put(rows_);
  sizes.Put(columns_);
  const bool described = Written(sizes, file) && dims_.WriteToFile(file);
  detail::RecordWriter count;
  count.Put(static_cast<std::uint32_t>(values_.size()));
  const bool counted = described && Written(count, file);
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
  detail::RecordWriter record;
  record.Put(std::array{dims_.x, dims_.y, dims_.z});
  return CStorable::WriteToFile(file) && Written(record, file);
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
  return CSigNDBase::WriteToFile(file) &&
         std::all_of(texts_.begin(), texts_.end(),
                     [&](const std::string& text) { return WriteText(file, Utf8ToWide(text)); }) &&
         sightSeeing_.WriteToFile(file);
}

bool CSigND::ReadFromFile(CFileStream& file) {
  CSigNDBase table;
  if (!table.ReadFromFile(file) || !ReadMembersFromFile(file)) {
    return false;
  }
  static_cast<CSigNDBase&>(*this) = std::move(table);
  return true;
}

bool CSigND::ReadMembersFromFile(CFileStream& file) {
  std::array<std::string, 6> texts;
  CSightSeeing sightSeeing;
  wide_string text;
  for (std::string& target : texts) {
    if (!ReadText(file, text)) {
      return false;
    }
    target = WideToUtf8(text);
  }
  if (!sightSeeing.ReadFromFile(file)) {
    return false;
  }
  texts_ = texts;
  sightSeeing_ = sightSeeing;
  return true;
}

}  // namespace limes
