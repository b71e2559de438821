#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "limes/kernels/compressed_vector.h"
#include "limes/kernels/interval_coding.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/resource_sea.h"
#include "tests/support/bits.h"
#include "tests/support/hostile.h"

namespace limes {
namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();

std::vector<float> Decoded(const CCompressedVector& vector) {
  std::vector<float> values(vector.ValueCount());
  EXPECT_EQ(vector.Dekomprimieren(values.data()), vector.DataBytes());
  return values;
}

TEST(CompressedVector, CodesOverTheRangeOfTheValues) {
  const struct {
    std::vector<float> values;
    std::vector<float> decoded;
  } cases[] = {
      {{1.0F, 2.0F, 3.0F}, {1.0F, 128.0F / 255.0F * 2.0F + 1.0F, 3.0F}},
      {{5.0F, 5.0F}, {5.0F, 5.0F}},
      {{}, {}},
      {{0.0F, std::nanf(""), 2.0F}, {0.0F, 0.0F, 2.0F}},
      {{std::nanf(""), 1.0F}, {std::nanf(""), std::nanf("")}},
      {{1.0F, kInf}, {std::nanf(""), std::nanf("")}},
  };
  for (const auto& c : cases) {
    for (const int method : {1, 2}) {
      CCompressedVector vector;
      const int n = static_cast<int>(c.values.size());
      EXPECT_EQ(vector.Komprimieren(c.values.data(), n, -1.0F, 1.0F, method), n + 28);
      const std::vector<float> decoded = Decoded(vector);
      ASSERT_EQ(decoded.size(), c.decoded.size());
      for (std::size_t i = 0; i < decoded.size(); ++i) {
        EXPECT_TRUE(test::Same(decoded[i], c.decoded[i])) << i;
      }
    }
  }
  CCompressedVector vector;
  EXPECT_EQ(vector.Komprimieren(nullptr, -3, 0.0F, 1.0F, 1), 28);
}

TEST(CompressedVector, KeepsRawValuesWhateverTheMethodNumber) {
  const std::vector<float> values = {1.5F, -0.0F, kInf};
  CCompressedVector vector;
  EXPECT_EQ(vector.Komprimieren(values.data(), 3, 0.0F, 3.0F, 77), 4 * 3 + 28);
  const std::vector<float> decoded = Decoded(vector);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_TRUE(test::Same(decoded[i], values[i]));
  }
}

TEST(CompressedVector, RecordIsPinnedAndHostileSafe) {
  const float values[] = {1.0F, 2.0F, 3.0F};
  CCompressedVector vector;
  vector.Komprimieren(values, 3, 0.0F, 2.0F, 1);
  CMemoryStream file;
  EXPECT_TRUE(vector.WriteToFile(file));
  const test::Bytes expected = {1, 0, 0, 0,  3, 0, 0,   0,  31, 0, 0,  0,  0, 0,   0,  0,
                                0, 0, 0, 64, 0, 0, 128, 63, 0,  0, 64, 64, 0, 128, 255};
  EXPECT_EQ(test::Bytes(file.Bytes().begin(), file.Bytes().end()), expected);
  test::ExpectHostileSafe(
      expected, [] { return CCompressedVector(); },
      [](CCompressedVector& v, CFileStream& f) { return v.ReadFromFile(f); },
      [](const CCompressedVector& v, CFileStream& f) { return v.WriteToFile(f); });
}

TEST(IntervalCoding, LastMatchingIntervalWins) {
  CIntervallCodierung coding;
  coding.Neubeginn(-1);
  coding.WeiteresIntervall(0.0F, 10.0F, 1);
  coding.WeiteresIntervall(5.0F, 20.0F, 2);
  coding.WeiteresIntervall(3.0F, 2.0F, 9);
  coding.WeiteresIntervall(30.0F, 30.0F, 3);
  constexpr struct {
    float x;
    int code;
  } kCases[] = {{7.0F, 2}, {3.0F, 1}, {25.0F, 0}, {10.0F, 2}, {20.0F, 2}, {30.0F, 3}, {-0.0F, 1}};
  for (const auto& c : kCases) {
    EXPECT_EQ(coding[c.x], c.code) << c.x;
  }
  EXPECT_EQ(coding[std::nanf("")], 0);
  EXPECT_EQ(coding.Anzahl(), 3);
  EXPECT_EQ(coding.Von(1), 5.0F);
  EXPECT_EQ(coding.Code(-1) + coding.Code(3), 0);
  const CIntervallCodierung copy = coding;
  coding.Neubeginn(4);
  EXPECT_EQ(copy[7.0F], 2);
  EXPECT_EQ(coding[7.0F], 4);
}

TEST(IntervalCoding, ReadsTextsAndLists) {
  CIntervallCodierung coding;
  EXPECT_EQ(coding.AusTextLesen(u" 17 rest"), 17);
  EXPECT_EQ(coding.DefaultCode(), 17);
  EXPECT_EQ(coding.AusTextLesen(u"-3"), -3);
  EXPECT_EQ(coding.AusTextLesen(u"none"), -1);
  EXPECT_EQ(coding.DefaultCode(), 17);

  CResourceSea store;
  EXPECT_EQ(coding.AusResListeLesen(store, u"gears", 1), 0);
  EXPECT_EQ(coding.DefaultCode(), 9999);
  CResourceList& list = store.MakeList(u"gears");
  for (const char16_t* line : {u"0 10 4", u"9 8 5", u"20 30", u"", u"7 x 1"}) {
    list.Append(line);
  }
  EXPECT_EQ(coding.AusResListeLesen(store, u"gears", 1), 3);
  EXPECT_EQ(coding[25.0F], 9999);
  EXPECT_EQ(coding[100.0F], 4);
  EXPECT_EQ(coding[0.0F], 9999);  // the blank line's interval from 0 to 0
}

}  // namespace
}  // namespace limes
