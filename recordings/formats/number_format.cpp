#include "recordings/formats/number_format.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "limes/platform/record_io.h"

namespace limes::recordings {
namespace {

/// IEEE 754 binary16 by its bits.
struct SHalf {
  std::uint16_t bits;

  explicit operator double() const {
    const int exponent = bits >> 10 & 31;
    const int fraction = bits & 1023;
    const double size = exponent == 31 && fraction != 0 ? std::numeric_limits<double>::quiet_NaN()
                        : exponent == 31                ? std::numeric_limits<double>::infinity()
                        : exponent == 0                 ? std::ldexp(fraction, -24)
                                        : std::ldexp(1024 + fraction, exponent - 25);
    return bits >> 15 != 0 ? -size : size;
  }
};

template <class T>
double Load(const std::uint8_t* from, bool bigEndian) {
  std::array<std::uint8_t, sizeof(T)> raw;
  std::memcpy(raw.data(), from, sizeof(T));
  if (bigEndian) {
    std::reverse(raw.begin(), raw.end());
  }
  if constexpr (std::is_same_v<T, SHalf>) {
    return static_cast<double>(SHalf{detail::FromLittleEndian<std::uint16_t>(raw.data())});
  } else {
    return static_cast<double>(detail::FromLittleEndian<T>(raw.data()));
  }
}

template <class T>
void ReadAs(const SNumberFormat& format, const std::uint8_t* from, std::size_t stride,
            std::span<double> to) {
  for (std::size_t i = 0; i < to.size(); ++i) {
    const std::uint8_t* const at = from + i * stride;
    to[i] = Load<T>(at, format.bigEndian);
    if (format.complex) {
      to[i] = std::hypot(to[i], Load<T>(at + sizeof(T), format.bigEndian));
    }
  }
}

constexpr struct {
  std::size_t bytes;
  decltype(&ReadAs<double>) read;
} kTypes[] = {
    {1, ReadAs<std::int8_t>},   {1, ReadAs<std::uint8_t>},  {2, ReadAs<std::int16_t>},
    {2, ReadAs<std::uint16_t>}, {4, ReadAs<std::int32_t>},  {4, ReadAs<std::uint32_t>},
    {8, ReadAs<std::int64_t>},  {8, ReadAs<std::uint64_t>}, {2, ReadAs<SHalf>},
    {4, ReadAs<float>},         {8, ReadAs<double>},
};

}  // namespace

std::size_t SNumberFormat::Bytes() const {
  return kTypes[static_cast<std::size_t>(type)].bytes * (complex ? 2 : 1);
}

void ReadNumbers(const SNumberFormat& format, const std::uint8_t* from, std::size_t stride,
                 std::span<double> to) {
  kTypes[static_cast<std::size_t>(format.type)].read(format, from, stride, to);
}

}  // namespace limes::recordings
