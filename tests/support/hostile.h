#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "limes/platform/file_stream.h"
#include "limes/platform/record_io.h"

namespace limes::test {

using Bytes = std::vector<std::uint8_t>;

/// A stored record that must be readable for ever.
inline Bytes Golden(const std::string& name) {
  std::ifstream in(LIMES_TEST_DATA "/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

/// What write(object, stream) puts out.
template <class Object, class Write>
Bytes Written(const Object& object, Write write) {
  CMemoryStream stream;
  static_cast<void>(write(object, stream));
  return {stream.Bytes().begin(), stream.Bytes().end()};
}

constexpr auto kWrite = [](const auto& object, CFileStream& file) {
  return object.WriteToFile(file);
};
constexpr auto kRead = [](auto& object, CFileStream& file) { return object.ReadFromFile(file); };

/// A learn state with its last four bytes made the checksum of those before.
inline Bytes WithChecksum(Bytes bytes) {
  const auto covered = std::span<const std::uint8_t>(bytes).first(bytes.size() - 4);
  detail::ToLittleEndian(detail::Crc32(covered), bytes.data() + covered.size());
  return bytes;
}

/// A stream of unknown length that delivers a few bytes at a time, as a pipe does.
class Trickle : public CMemoryStream {
 public:
  using CMemoryStream::CMemoryStream;
  std::size_t Read(void* data, std::size_t bytes) override {
    largest = std::max(largest, bytes);
    return CMemoryStream::Read(data, std::min<std::size_t>(bytes, 7));
  }
  std::int64_t Remaining() override { return -1; }

  std::size_t largest = 0;
};

/// For learn states.
constexpr auto kWriteState = [](const auto& learner, CFileStream& file) {
  return learner.WriteState(file);
};
constexpr auto kReadState = [](auto& learner, CFileStream& file) {
  using Status = decltype(learner.ReadState(file));
  return learner.ReadState(file) == Status::kOk;
};

struct SHostile {
  bool cutsFail = true;    ///< every shorter record is refused
  bool keepsState = true;  ///< a refused record leaves the object as it was
};

/// Reads a record through a block of exactly its size, so that a sanitizer sees one byte too far.
template <class Object, class Read>
bool ReadBlock(Object& object, std::span<const std::uint8_t> record, Read read,
               std::int64_t* position = nullptr) {
  const auto block = std::make_unique<std::uint8_t[]>(record.size());
  std::copy(record.begin(), record.end(), block.get());
  CMemoryStream stream(std::span<const std::uint8_t>(block.get(), record.size()));
  const bool ok = static_cast<bool>(read(object, stream));
  if (position != nullptr) {
    *position = stream.Position();
  }
  return ok;
}

/// The bytes of a learn state's payload of which values out of 0x00, 0x7F and 0xFF are refused,
/// though the checksum is right: " 3-5' 9" with a ' for every further value. What was read of each,
/// and whether it was, goes to use.
template <class Learner, class Use>
std::string RefusedPlaces(const Bytes& record, Use use) {
  std::vector<int> refused(record.size() - 20);
  for (std::size_t i = 0; i < 3 * refused.size(); ++i) {
    Bytes bytes = record;
    bytes[16 + i / 3] = std::array<std::uint8_t, 3>{0x00, 0x7F, 0xFF}[i % 3];
    if (bytes != record) {
      Learner learner;
      const bool ok = ReadBlock(learner, WithChecksum(bytes), kReadState);
      refused[i / 3] += ok ? 0 : 1;
      use(learner, ok);
    }
  }
  std::string text;
  for (std::size_t i = 0, end = 0; i < refused.size(); i = end) {
    end = i + 1;
    while (end < refused.size() && refused[end] == refused[i]) {
      ++end;
    }
    if (refused[i] > 0) {
      text += ' ' + std::to_string(i) + (end > i + 1 ? '-' + std::to_string(end - 1) : "");
      text.append(static_cast<std::size_t>(refused[i] - 1), '\'');
    }
  }
  return text;
}

/// Reads the record whole, through a pipe, cut at every byte, and with four other values in every
/// byte. Each time it is read, and what is written back reads and writes the same again, or it is
/// refused and the object keeps its state.
///
/// make() gives a fresh object by value or pointer-like; read(object, stream) is true on success;
/// write(object, stream) puts the object out.
template <class Make, class Read, class Write>
void ExpectHostileSafe(std::span<const std::uint8_t> record, Make make, Read read, Write write,
                       SHostile how = {}) {
  const auto freshObject = make();
  const Bytes fresh = Written(freshObject, write);
  const auto check = [&](std::span<const std::uint8_t> bytes) {
    auto object = make();
    if (!ReadBlock(object, bytes, read)) {
      if (how.keepsState) {
        EXPECT_EQ(Written(object, write), fresh);
      }
      return false;
    }
    const Bytes once = Written(object, write);
    auto again = make();
    EXPECT_TRUE(ReadBlock(again, once, read)) << "does not read what it wrote";
    EXPECT_EQ(Written(again, write), once);
    return true;
  };
  auto whole = make();
  std::int64_t position = 0;
  ASSERT_TRUE(ReadBlock(whole, record, read, &position)) << "the sample itself";
  EXPECT_EQ(position, static_cast<std::int64_t>(record.size())) << "stands behind the record";
  EXPECT_EQ(Written(whole, write), Bytes(record.begin(), record.end()));
  auto trickled = make();
  Trickle pipe{record};
  EXPECT_TRUE(read(trickled, pipe)) << "from a pipe";
  EXPECT_EQ(Written(trickled, write), Bytes(record.begin(), record.end()));
  for (std::size_t cut = 0; cut < record.size(); ++cut) {
    SCOPED_TRACE("cut at " + std::to_string(cut));
    const bool accepted = check(record.first(cut));
    EXPECT_FALSE(accepted && how.cutsFail);
  }
  Bytes changed(record.begin(), record.end());
  for (std::size_t i = 0; i < changed.size(); ++i) {
    const std::uint8_t original = changed[i];
    for (const int value : {0x00, 0xFF, original ^ 0x01, original ^ 0x80}) {
      SCOPED_TRACE("byte " + std::to_string(i) + " is " + std::to_string(value));
      changed[i] = static_cast<std::uint8_t>(value);
      check(changed);
    }
    changed[i] = original;
  }
}

/// For objects with ReadFromFile(stream) and WriteToFile(stream): the sample's own record.
template <class Object>
void ExpectHostileSafe(const Object& sample, SHostile how = {}) {
  ExpectHostileSafe(
      Written(sample, kWrite), [] { return Object(); }, kRead, kWrite, how);
}

}  // namespace limes::test
