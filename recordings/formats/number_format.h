#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace limes::recordings {

enum class NumberType : std::uint8_t {
  kInt8,
  kUint8,
  kInt16,
  kUint16,
  kInt32,
  kUint32,
  kInt64,
  kUint64,
  kFloat16,
  kFloat32,
  kFloat64,
};

/// How numbers lie in a file.
struct SNumberFormat {
  NumberType type = NumberType::kFloat64;
  bool bigEndian = false;
  bool complex = false;  ///< real and imaginary part, read as the magnitude

  std::size_t Bytes() const;
};

/// Numbers that lie stride bytes apart. The caller vouches for the bytes. O(n).
void ReadNumbers(const SNumberFormat& format, const std::uint8_t* from, std::size_t stride,
                 std::span<double> to);

}  // namespace limes::recordings
