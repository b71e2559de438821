#include "limes/kernels/compressed_vector.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "limes/kernels/value_loops.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/memory_errors.h"
#include "limes/platform/record_io.h"

namespace limes {
namespace {

// The data block of raw floats is little-endian in memory too.
void FloatsToBytes(const float* values, std::size_t n, std::uint8_t* bytes) {
  if constexpr (std::endian::native == std::endian::little) {
    if (n > 0) {
      std::memcpy(bytes, values, n * sizeof(float));
    }
  } else {
    for (std::size_t i = 0; i < n; ++i) {
      detail::ToLittleEndian(values[i], bytes + i * sizeof(float));
    }
  }
}

void BytesToFloats(const std::uint8_t* bytes, std::size_t n, float* values) {
  if constexpr (std::endian::native == std::endian::little) {
    if (n > 0) {
      std::memcpy(values, bytes, n * sizeof(float));
    }
  } else {
    for (std::size_t i = 0; i < n; ++i) {
      values[i] = detail::FromLittleEndian<float>(bytes + i * sizeof(float));
    }
  }
}

}  // namespace

CCompressedVector::~CCompressedVector() = default;

const CRuntimeClass* CCompressedVector::GetThisClass() {
  static constexpr CRuntimeClass kClass{"CCompressedVector", nullptr, nullptr};
  return &kClass;
}

void CCompressedVector::Clear() {
  data_.clear();
  head_.dataBytes = 0;
  head_.recordSize = kHeadBytes;
}

std::uint32_t CCompressedVector::ValueCount() const { return head_.ValueCount(); }

bool CCompressedVector::Describe(std::span<const float> values, float xFirst, float xLast,
                                 int method, SHead& head) {
  head = {method, 0, 0, xFirst, xLast, 0.0F, 0.0F};
  const std::uint64_t bytes = std::uint64_t{values.size()} * (head.IsByteCoded() ? 1 : 4);
  if (bytes > std::uint64_t{std::numeric_limits<std::int32_t>::max() - kHeadBytes}) {
    return false;
  }
  head.dataBytes = static_cast<std::int32_t>(bytes);
  head.recordSize = head.dataBytes + kHeadBytes;
  if (!values.empty()) {
    const detail::SBounds bounds = detail::FindBounds(values.data(), values.size());
    head.yMin = bounds.min;
    head.yMax = bounds.max;
  }
  return true;
}

int CCompressedVector::Komprimieren(const float* values, int n, float xFirst, float xLast,
                                    int method) {
  const auto count = static_cast<std::size_t>(values == nullptr || n < 0 ? 0 : n);
  if (!Describe({values, count}, xFirst, xLast, method, head_) ||
      !detail::IfMemoryAllows([&] { data_.resize(static_cast<std::size_t>(head_.dataBytes)); })) {
    Clear();
    return 0;
  }
  if (head_.IsByteCoded()) {
    detail::CodeValues(values, count, {head_.yMin, head_.yMax}, data_.data());
  } else {
    FloatsToBytes(values, count, data_.data());
  }
  return head_.recordSize;
}

int CCompressedVector::Dekomprimieren(float* out) const {
  if (out == nullptr) {
    return 0;
  }
  const std::size_t n = ValueCount();
  if (head_.IsByteCoded()) {
    detail::DecodeValues(data_.data(), n, {head_.yMin, head_.yMax}, out);
  } else {
    BytesToFloats(data_.data(), n, out);
  }
  return head_.dataBytes;
}

void CCompressedVector::WriteHead(CFileStream& file, const SHead& head) {
  detail::RecordWriter record;
  record.PutFields(head);
  record.WriteTo(file);
}

bool CCompressedVector::WriteToFile(CFileStream& file) const {
  WriteHead(file, head_);
  if (!data_.empty()) {
    file.Write(data_.data(), data_.size());
  }
  return true;
}

bool CCompressedVector::WriteRaw(CFileStream& file, std::span<const float> values, float xFirst,
                                 float xLast) {
  if constexpr (std::endian::native == std::endian::little) {
    SHead head;
    if (!Describe(values, xFirst, xLast, kRaw, head)) {
      return false;
    }
    WriteHead(file, head);
    if (!values.empty()) {
      file.Write(values.data(), values.size_bytes());
    }
    return true;
  } else {
    CCompressedVector held;
    return held.Komprimieren(values.data(), static_cast<int>(values.size()), xFirst, xLast, kRaw) >
               0 &&
           held.WriteToFile(file);
  }
}

bool CCompressedVector::ReadHead(CFileStream& file, SHead& head) {
  detail::RecordReader in(file);
  if (!in.GetFields(head) || head.dataBytes < 0 ||
      !in.Fits(static_cast<std::uint64_t>(head.dataBytes), 1)) {
    return false;
  }
  // The size in a record is not looked at; the true one is written again.
  head.recordSize = static_cast<std::int32_t>(std::min<std::int64_t>(
      std::int64_t{head.dataBytes} + kHeadBytes, std::numeric_limits<std::int32_t>::max()));
  return true;
}

bool CCompressedVector::ReadData(CFileStream& file, const SHead& head) {
  if (!detail::RecordReader(file).GetArray(data_, static_cast<std::uint64_t>(head.dataBytes))) {
    Clear();
    return false;
  }
  head_ = head;
  return true;
}

bool CCompressedVector::ReadFromFile(CFileStream& file) {
  SHead head;
  if (!ReadHead(file, head)) {
    Clear();
    return false;
  }
  return ReadData(file, head);
}

}  // namespace limes
