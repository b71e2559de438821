#include "limes/kernels/compressed_vector.h"

#include <algorithm>
#include <limits>
#include <new>
#include <span>

#include "limes/platform/cpu_clones.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/record_io.h"

namespace limes {
namespace {

void ValueRange(const float* values, std::size_t n, float& yMin, float& yMax) {
  yMin = yMax = n > 0 ? values[0] : 0.0F;
  for (std::size_t i = 1; i < n; ++i) {
    yMin = values[i] < yMin ? values[i] : yMin;
    yMax = values[i] > yMax ? values[i] : yMax;
  }
}

LIMES_CLONES void ToBytes(const float* values, std::size_t n, float yMin, float scale,
                          std::uint8_t* bytes) {
  constexpr double kBelow = -2147483649.0;
  constexpr double kAbove = 2147483648.0;
  for (std::size_t i = 0; i < n; ++i) {
    const float q = (values[i] - yMin) * scale;
    const double step = double{q} * 255.0 + 0.5;
    const bool fits = step > kBelow && step < kAbove;
    bytes[i] = static_cast<std::uint8_t>(static_cast<std::int32_t>(fits ? step : 0.0));
  }
}

LIMES_CLONES void FromBytes(const std::uint8_t* bytes, std::size_t n, float yMin, float range,
                            float* values) {
  for (std::size_t i = 0; i < n; ++i) {
    values[i] = static_cast<float>(bytes[i]) / 255.0F * range + yMin;
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
  Clear();
  if (bytes > std::numeric_limits<std::int32_t>::max() - kHeadBytes) {
    return 0;
  }
  try {
    data_.resize(static_cast<std::size_t>(bytes));
  } catch (const std::bad_alloc&) {
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
  ValueRange(values, size, head_.yMin, head_.yMax);
  if (coded) {
    const float scale = head_.yMax == head_.yMin ? 0.0F : 1.0F / (head_.yMax - head_.yMin);
    ToBytes(values, size, head_.yMin, scale, data_.data());
  } else {
    for (std::size_t i = 0; i < size; ++i) {
      detail::ToLittleEndian(values[i], data_.data() + 4 * i);
    }
  }
  return head_.recordSize;
}

int CCompressedVector::Dekomprimieren(float* out) const {
  if (out == nullptr) {
    return 0;
  }
  const std::size_t n = ValueCount();
  if (IsByteCoded()) {
    FromBytes(data_.data(), n, head_.yMin, head_.yMax - head_.yMin, out);
  } else {
    for (std::size_t i = 0; i < n; ++i) {
      out[i] = detail::FromLittleEndian<float>(data_.data() + 4 * i);
    }
  }
  return head_.dataBytes;
}

bool CCompressedVector::WriteToFile(CFileStream& file) const {
  detail::RecordWriter out;
  out.PutFields(head_);
  out.PutArray(std::span<const std::uint8_t>(data_));
  out.WriteTo(file);
  return true;
}

bool CCompressedVector::ReadFromFile(CFileStream& file) {
  detail::RecordReader in(file);
  SHead head;
  Clear();
  if (!in.GetFields(head) || head.dataBytes < 0 ||
      !in.GetArray(data_, static_cast<std::uint64_t>(head.dataBytes))) {
    data_.clear();
    return false;
  }
  head_ = head;
  // The stated size of the record is not looked at; what is written again states the true one.
  head_.recordSize = static_cast<std::int32_t>(std::min<std::int64_t>(
      std::int64_t{head.dataBytes} + kHeadBytes, std::numeric_limits<std::int32_t>::max()));
  return true;
}

}  // namespace limes
