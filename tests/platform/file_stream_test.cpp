#include "limes/platform/file_stream.h"

#include <filesystem>
#include <numeric>

#include "limes/platform/storable.h"
#include "tests/support/hostile.h"
#include "tests/support/show.h"

namespace limes::test {
namespace {

using detail::RecordReader;
using detail::RecordWriter;

std::string ReadText(CFileStream& file, std::size_t n) {
  std::string text(n, '\0');
  text.resize(file.Read(text.data(), n));
  return text;
}

/// The contract that both kinds of file keep, from an empty file on.
void ExpectFileContract(CFileStream& file) {
  file.Write("hello", 5);
  EXPECT_SHOWN("5 0 ", file.Position(), file.Remaining(), ReadText(file, 4));
  file.Seek(1);
  EXPECT_SHOWN("4 el", file.Remaining(), ReadText(file, 2));
  file.Write("XYZ", 3);  // two bytes inside, one behind the end
  file.Write("", 0);
  file.Seek(0);
  EXPECT_SHOWN("helXYZ", ReadText(file, 99));
  EXPECT_THROW(file.Seek(7), CFileStream::failure);
  EXPECT_THROW(file.Seek(-1), CFileStream::failure);
  EXPECT_EQ(file.Position(), 6);
  file.Write("!", 1);
  file.Seek(5);
  EXPECT_SHOWN("Z!", ReadText(file, 2));
}

TEST(FileStream, MemoryAndDiskKeepTheSameContract) {
  CMemoryStream memory;
  ExpectFileContract(memory);
  using Mode = CDiskStream::Mode;
  const auto path = std::filesystem::path(testing::TempDir()) / u8"limes_ä";
  std::filesystem::remove(path);
  CDiskStream file;
  EXPECT_FALSE(file.Open(path, Mode::kRead));
  EXPECT_FALSE(file.Open(testing::TempDir(), Mode::kRead)) << "a folder";
  ASSERT_TRUE(file.Open(path, Mode::kReadWrite));
  ExpectFileContract(file);
  ASSERT_TRUE(file.Open(path, Mode::kWrite)) << "emptied";
  file.Write("abc", 3);
  EXPECT_EQ(ReadText(file, 1), "") << "not open for reading";
  ASSERT_TRUE(file.Open(path, Mode::kRead));
  EXPECT_EQ(file.Remaining(), 3);
  EXPECT_THROW(file.Write("x", 1), CFileStream::failure);
  EXPECT_EQ(ReadText(file, 9), "abc");
  EXPECT_TRUE(file.Close());
  EXPECT_EQ(std::filesystem::file_size(path), 3U);
  EXPECT_THROW(file.Seek(0), CFileStream::failure) << "closed";
  EXPECT_EQ(file.Read(nullptr, 0), 0U);
  std::filesystem::remove(path);
}

TEST(FileStream, NamesComeInEveryKind) {
  const auto folder = std::filesystem::path(testing::TempDir()) / "limes_names";
  std::filesystem::create_directory(folder);
  const auto path = folder / u8"ä";
  ASSERT_TRUE(CDiskStream(path, CDiskStream::Mode::kWrite).IsOpen());
  const auto opens = [](const CFileName& name) {
    return CDiskStream(name, CDiskStream::Mode::kRead).IsOpen();
  };
  EXPECT_SHOWN("1 1 1 1 1 1", opens(path.c_str()), opens(path.string()), opens(path.u8string()),
               opens(path.u8string().c_str()), opens(path.u16string()),
               opens(*std::filesystem::directory_iterator(folder)));
  std::filesystem::remove_all(folder);
}

TEST(FileStream, FullDeviceIsReported) {
  CDiskStream full("/dev/full", CDiskStream::Mode::kWrite);
  if (!full.IsOpen()) {
    GTEST_SKIP() << "no such device";
  }
  const std::vector<char> much(1 << 20);
  EXPECT_THROW(full.Write(much.data(), much.size()), CFileStream::failure);
  CDiskStream little("/dev/full", CDiskStream::Mode::kWrite);
  little.Write("x", 1);
  EXPECT_FALSE(little.Close());
}

struct SSample {
  std::uint16_t version = 1;
  std::array<std::int8_t, 3> name = {-1, 2, 3};
  double value = 0.5;
  std::int32_t count = -2;

  static constexpr auto Fields(auto& s) { return std::tie(s.version, s.name, s.value, s.count); }
};

TEST(RecordIo, FieldsAreLittleEndianAndUnpadded) {
  RecordWriter out;
  out.PutFields(SSample());
  out.PutChars("abcdef", 4);
  out.PutChars("a", 2);
  const Bytes expected = {1,    0,    0xFF, 2,    3,    0,   0,   0,   0,   0,   0, 0xE0,
                          0x3F, 0xFE, 0xFF, 0xFF, 0xFF, 'a', 'b', 'c', 'd', 'a', 0};
  EXPECT_EQ(Bytes(out.Bytes().begin(), out.Bytes().end()), expected);
  CMemoryStream file(expected);
  RecordReader in(file);
  SSample sample{9, {}, 0, 0};
  ASSERT_TRUE(in.GetFields(sample));
  EXPECT_SHOWN("1 -1,2,3 0.5 -2 17", sample.version, sample.name, sample.value, sample.count,
               file.Position());
  EXPECT_SHOWN("1 0 0", in.Skip(6), in.Skip(1), in.Get(sample.count)) << "fails for good";
  EXPECT_EQ(sample.count, -2);
}

TEST(RecordIo, ArraysAskBeforeMemoryGrows) {
  const Bytes bytes(100000, 1);
  CMemoryStream known(bytes);
  std::vector<float> values;
  EXPECT_FALSE(RecordReader(known).GetArray(values, 25001));
  EXPECT_TRUE(known.Position() == 0 && values.capacity() < 25001U) << "nothing read";
  EXPECT_TRUE(RecordReader(known).GetArray(values, 25000));

  Trickle unknown(bytes);
  std::vector<std::uint64_t> words;
  EXPECT_FALSE(RecordReader(unknown).GetArray(words, std::uint64_t{1} << 60));
  EXPECT_TRUE(unknown.largest <= 65536U && words.capacity() <= 32768U);
  unknown.Seek(0);
  EXPECT_TRUE(RecordReader(unknown).GetArray(words, 12500));
  EXPECT_EQ(words.back(), 0x0101010101010101U);
  unknown.Seek(0);
  EXPECT_TRUE(RecordReader(unknown).Skip(100000));
}

TEST(RecordIo, CrcKnownValueAndAnySplit) {
  const Bytes digits = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
  EXPECT_EQ(detail::Crc32(digits), 0xCBF43926U);
  Bytes bytes(301);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{190});
  bytes[150] = 0xFF;
  const std::span<const std::uint8_t> block(bytes);
  std::uint32_t plain = 0;  // bit by bit
  for (std::size_t i = 0; i <= bytes.size(); ++i) {
    EXPECT_EQ(detail::Crc32(block.first(i)), plain) << i;
    EXPECT_EQ(detail::Crc32(block.subspan(i), detail::Crc32(block.first(i))), detail::Crc32(block));
    plain = ~plain ^ (i < bytes.size() ? bytes[i] : 0U);
    for (int bit = 0; bit < 8; ++bit) {
      plain = (plain & 1U) != 0 ? plain >> 1 ^ 0xEDB88320U : plain >> 1;
    }
    plain = ~plain;
  }
}

TEST(Storable, HeaderIsTheVersionWord) {
  ExpectHostileSafe(CStorable());
  CMemoryStream closed{std::span<const std::uint8_t>()};
  EXPECT_FALSE(CStorable().WriteToFile(closed));
  EXPECT_THROW(closed.Write("x", 1), CFileStream::failure) << "foreign memory is read-only";
  CMemoryStream other(Bytes{1, 0, 0, 0});
  EXPECT_FALSE(CStorable().ReadFromFile(other)) << "another version";
}

}  // namespace
}  // namespace limes::test
