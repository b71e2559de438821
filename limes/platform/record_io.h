#pragma once

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "limes/export.h"
#include "limes/platform/memory_errors.h"

namespace limes {

class CFileStream;

namespace detail {

template <class T>
inline constexpr bool kIsBool = std::is_same_v<std::remove_cv_t<T>, bool>;

/// A number of a record: an integer or a float of 1, 2, 4 or 8 bytes.
template <class T>
concept Scalar =
    !kIsBool<T> && (std::integral<T> || std::same_as<T, float> || std::same_as<T, double>);

/// CRC-32 of IEEE 802.3 (polynomial 0x04C11DB7, reflected); pass the last result to go on. O(n).
LIMES_EXPORT std::uint32_t Crc32(std::span<const std::uint8_t> bytes, std::uint32_t crc = 0);

/// Bytes of a number turned between the machine's order and little-endian.
template <std::size_t n>
std::array<std::uint8_t, n> LittleEndian(std::array<std::uint8_t, n> raw) {
  if constexpr (std::endian::native == std::endian::big) {
    for (std::size_t i = 0; i < n / 2; ++i) {
      std::swap(raw[i], raw[n - 1 - i]);
    }
  }
  return raw;
}

/// Little-endian bytes as a number.
template <Scalar T>
T FromLittleEndian(const std::uint8_t* bytes) {
  std::array<std::uint8_t, sizeof(T)> raw;
  std::memcpy(raw.data(), bytes, sizeof(T));
  return std::bit_cast<T>(LittleEndian(raw));
}

template <Scalar T>
void ToLittleEndian(T value, std::uint8_t* bytes) {
  const auto raw = LittleEndian(std::bit_cast<std::array<std::uint8_t, sizeof(T)>>(value));
  std::memcpy(bytes, raw.data(), sizeof(T));
}

/// Bytes of one field: a number, or an array of numbers.
template <class T>
struct FieldSize : std::integral_constant<std::size_t, sizeof(T)> {
  static_assert(Scalar<T>);
};
template <class T, std::size_t n>
struct FieldSize<std::array<T, n>> : std::integral_constant<std::size_t, n * FieldSize<T>::value> {
};

/// Reads a little-endian record field by field. After the first failure everything fails, so a
/// chain of reads needs one test. Reads no byte of the stream beyond what was asked for, so the
/// stream stands exactly behind the record.
///
/// A record lists its fields, numbers or std::arrays of numbers, in file order:
/// `static constexpr auto Fields(auto& r) { return std::tie(r.version, r.count); }`
/// One thread at a time.
class LIMES_EXPORT RecordReader {
 public:
  explicit RecordReader(CFileStream& file) : file_(file) {}

  bool Ok() const { return ok_; }

  /// Makes this and all further reads fail: false.
  bool Fail() {
    ok_ = false;
    return false;
  }

  /// Bytes left in the stream; -1 when unknown.
  std::int64_t Remaining() const;

  /// True when the stream may still hold count elements of the given size. Ask before growing.
  [[nodiscard]] bool Fits(std::uint64_t count, std::size_t elementBytes) const;

  /// Exactly n bytes; on failure their content is open.
  [[nodiscard]] bool GetBytes(void* data, std::size_t n);

  /// Passes over n bytes by reading them.
  [[nodiscard]] bool Skip(std::uint64_t n);

  /// One number, or a std::array of numbers; unchanged on failure.
  template <class T>
  [[nodiscard]] bool Get(T& value) {
    std::array<std::uint8_t, FieldSize<T>::value> raw;
    if (!GetBytes(raw.data(), raw.size())) {
      return false;
    }
    Decode(raw.data(), value);
    return true;
  }

  /// All fields of the record; unchanged on failure.
  template <class Record>
  [[nodiscard]] bool GetFields(Record& record) {
    return std::apply(
        [this](auto&... field) {
          std::array<std::uint8_t, (FieldSize<std::remove_cvref_t<decltype(field)>>::value + ...)>
              raw;
          if (!this->GetBytes(raw.data(), raw.size())) {
            return false;
          }
          const std::uint8_t* next = raw.data();
          ((next = Decode(next, field)), ...);
          return true;
        },
        Record::Fields(record));
  }

  /// Fills memory that the caller has sized; on failure its content is open.
  template <Scalar T>
  [[nodiscard]] bool GetSpan(std::span<T> values) {
    if (!GetBytes(values.data(), values.size_bytes())) {
      return false;
    }
    if constexpr (std::endian::native == std::endian::big) {
      for (T& value : values) {
        value = FromLittleEndian<T>(reinterpret_cast<const std::uint8_t*>(&value));
      }
    }
    return true;
  }

  /// count numbers; fails before memory grows when the stream holds fewer, and when memory is
  /// short. The content of values is open on failure.
  template <Scalar T, class Allocator>
  [[nodiscard]] bool GetArray(std::vector<T, Allocator>& values, std::uint64_t count) {
    if (!ok_ || !Fits(count, sizeof(T))) {
      return Fail();
    }
    const std::uint64_t piece = Remaining() >= 0 ? count : kPieceBytes / sizeof(T);
    return IfMemoryAllows(false,
                          [&] {
                            std::uint64_t have = 0;
                            do {  // what memory the values have is used again, without clearing it
                              const auto n = static_cast<std::size_t>(
                                  piece < count - have ? piece : count - have);
                              have += n;
                              values.resize(static_cast<std::size_t>(have));
                              if (!this->GetSpan(std::span<T>(values).last(n))) {
                                return false;
                              }
                            } while (have < count);
                            return true;
                          }) ||
           Fail();
  }

 private:
  static constexpr std::size_t kPieceBytes = 65536;  ///< read at once when the end is unknown

  template <Scalar T>
  static const std::uint8_t* Decode(const std::uint8_t* raw, T& value) {
    value = FromLittleEndian<T>(raw);
    return raw + sizeof(T);
  }

  template <class T, std::size_t n>
  static const std::uint8_t* Decode(const std::uint8_t* raw, std::array<T, n>& values) {
    for (T& value : values) {
      raw = Decode(raw, value);
    }
    return raw;
  }

  CFileStream& file_;
  bool ok_ = true;
};

/// Collects a little-endian record in memory and writes it in one piece. One thread at a time.
class LIMES_EXPORT RecordWriter {
 public:
  /// Makes room for n bytes in all, so that a long record does not move as it grows.
  void Reserve(std::size_t n) { bytes_.reserve(n); }

  template <Scalar T>
  void Put(T value) {
    ToLittleEndian(value, Grow(sizeof(T)));
  }

  /// Replaces a number that was put at this byte before.
  template <Scalar T>
  void PutAt(std::size_t at, T value) {
    ToLittleEndian(value, bytes_.data() + at);
  }

  template <class T, std::size_t n>
  void Put(const std::array<T, n>& values) {
    for (const T& value : values) {
      Put(value);
    }
  }

  /// All fields of the record, as listed by its Fields.
  template <class Record>
  void PutFields(const Record& record) {
    std::apply([this](const auto&... field) { (this->Put(field), ...); }, Record::Fields(record));
  }

  /// The numbers without their count.
  template <class T>
  void PutArray(std::span<const T> values) {
    if constexpr (std::endian::native == std::endian::little) {
      PutBytes(values.data(), values.size_bytes());
    } else {
      PutEvery(values.data(), values.size(), 1, values.size());
    }
  }

  /// n numbers, each step behind the one before, padded with zeros to a number of them.
  template <Scalar T>
  void PutEvery(const T* first, std::size_t n, std::size_t step, std::size_t padded) {
    std::uint8_t* to = Grow(padded * sizeof(T));
    for (std::size_t i = 0; i < n; ++i) {
      ToLittleEndian(first[i * step], to + i * sizeof(T));
    }
  }

  void PutBytes(const void* data, std::size_t n);

  /// Text in a field of width bytes: cut there, or padded with zeros.
  void PutChars(std::string_view text, std::size_t width);

  std::span<const std::uint8_t> Bytes() const { return {bytes_.data(), bytes_.size()}; }

  /// Appends the collected bytes to the file in one write; what the stream throws passes through.
  void WriteTo(CFileStream& file) const;

 private:
  /// Appends n bytes and returns where they begin.
  std::uint8_t* Grow(std::size_t n);

  std::vector<std::uint8_t> bytes_;
};

}  // namespace detail
}  // namespace limes
