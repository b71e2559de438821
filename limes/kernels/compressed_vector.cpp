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

std::uint32_t CCompressedVector::ValueCount() const {
  const auto bytes = static_cast<std::uint32_t>(head_.dataBytes);
  return IsByteCoded() ? bytes : bytes / 4;
}

int CCompressedVector::Komprimieren(const float* values, int n, float xFirst, float xLast,
                                    int method) {
  const bool coded = method == kRange || method == kRange2;
  const std::int64_t count = values == nullptr || n < 0 ? 0 : n;
  const std::int64_t bytes = coded ? count : 4 * count;
  if (bytes > std::numeric_limits<std::int32_t>::max() - kHeadBytes ||
      !detail::IfMemoryAllows([&] { data_.resize(static_cast<std::size_t>(bytes)); })) {
    Clear();
    return 0;
  }
  head_ = {method,
           static_cast<std::int32_t>(bytes),
           static_cast<std::int32_t>(bytes) + kHeadBytes,
           xFirst,
           xLast,
           0.0F,
           0.0F};
  const auto size = static_cast<std::size_t>(count);
  const detail::SBounds bounds =
      size == 0 ? detail::SBounds{0.0F, 0.0F} : detail::FindBounds(values, size);
  head_.yMin = bounds.min;
  head_.yMax = bounds.max;
  if (coded) {
    detail::CodeValues(values, size, bounds, data_.data());
  } else {
    FloatsToBytes(values, size, data_.data());
  }
  return head_.recordSize;
}

int CCompressedVector::Dekomprimieren(float* out) const {
  if (out == nullptr) {
    return 0;
  }
  const std::size_t n = ValueCount();
  if (IsByteCoded()) {
    detail::DecodeValues(data_.data(), n, {head_.yMin, head_.yMax}, out);
  } else {
    BytesToFloats(data_.data(), n, out);
  }
  return head_.dataBytes;
}

bool CCompressedVector::WriteToFile(CFileStream& file) const {
  detail::RecordWriter head;
  head.PutFields(head_);
  head.WriteTo(file);
  if (!data_.empty()) {
    file.Write(data_.data(), data_.size());
  }
  return true;
}

bool CCompressedVector::ReadFromFile(CFileStream& file) {
  detail::RecordReader in(file);
  SHead head;
  if (!in.GetFields(head) || head.dataBytes < 0 ||
      !in.GetArray(data_, static_cast<std::uint64_t>(head.dataBytes))) {
    Clear();
    return false;
  }
  head_ = head;
  // The size in a record is not looked at; the true one is written again.
  head_.recordSize = static_cast<std::int32_t>(std::min<std::int64_t>(
      std::int64_t{head.dataBytes} + kHeadBytes, std::numeric_limits<std::int32_t>::max()));
  return true;
}

}  // namespace limes
