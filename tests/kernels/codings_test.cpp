#include "limes/kernels/compressed_vector.h"
#include "limes/kernels/interval_coding.h"
#include "limes/platform/resource_sea.h"
#include "tests/support/bits.h"
#include "tests/support/hostile.h"
#include "tests/support/show.h"

namespace limes::test {
namespace {

TEST(CompressedVector, KeepsEightBitsOverTheRangeOfTheValues) {
  const std::pair<Floats, const char*> cases[] = {
      {{1, 2, 3}, "1 2.00392 3"}, {{5, 5}, "5 5"},       {{}, ""},
      {{0, NAN, 2}, "0 0 2"},     {{NAN, 1}, "nan nan"}, {{1, INFINITY}, "nan nan"}};
  for (const auto& [values, expected] : cases) {
    for (const int method : {1, 2}) {
      CCompressedVector vector;
      const int n = static_cast<int>(values.size());
      EXPECT_EQ(vector.Komprimieren(values.data(), n, -1.0F, 1.0F, method), n + 28);
      Floats decoded(vector.ValueCount());
      EXPECT_EQ(vector.Dekomprimieren(decoded.data()), vector.DataBytes());
      EXPECT_EQ(Shown(decoded), expected);
    }
  }
  CCompressedVector vector;
  EXPECT_EQ(vector.Komprimieren(nullptr, -3, 0.0F, 1.0F, 1), 28);
}

TEST(CompressedVector, KeepsRawValuesWhateverTheMethodNumber) {
  const Floats values = {1.5F, -0.0F, INFINITY};
  CCompressedVector vector;
  EXPECT_EQ(vector.Komprimieren(values.data(), 3, 0.0F, 3.0F, 77), 4 * 3 + 28);
  Floats decoded(3);
  EXPECT_EQ(vector.Dekomprimieren(decoded.data()), vector.DataBytes());
  EXPECT_EQ(Difference(decoded, values), "");
}

TEST(CompressedVector, RecordIsHostileSafe) {
  const float values[] = {1.0F, 2.0F, 3.0F};
  CCompressedVector vector;
  vector.Komprimieren(values, 3, 0.0F, 2.0F, 1);
  ExpectHostileSafe(vector);
}

TEST(IntervalCoding, LastMatchingIntervalWins) {
  CIntervallCodierung coding;
  coding.Neubeginn(-1);
  coding.WeiteresIntervall(0.0F, 10.0F, 1);
  coding.WeiteresIntervall(5.0F, 20.0F, 2);
  coding.WeiteresIntervall(3.0F, 2.0F, 9);
  coding.WeiteresIntervall(30.0F, 30.0F, 3);
  EXPECT_SHOWN("2 1 0 2 2 3 1 0", coding[7.0F], coding[3.0F], coding[25.0F], coding[10.0F],
               coding[20.0F], coding[30.0F], coding[-0.0F], coding[NAN]);
  EXPECT_EQ(Shown(coding.Anzahl(), coding.Von(1), coding.Code(-1), coding.Code(3)), "3 5 0 0");
  const CIntervallCodierung copy = coding;
  coding.Neubeginn(4);
  EXPECT_EQ(Shown(copy[7.0F], coding[7.0F]), "2 4");
}

TEST(IntervalCoding, ReadsTextsAndLists) {
  CIntervallCodierung coding;
  const std::pair<const char16_t*, const char*> texts[] = {
      {u" 17 rest", "17 17"}, {u"-3", "-3 17"}, {u"none", "-1 17"}, {nullptr, "-1 17"}};
  for (const auto& [text, expected] : texts) {
    const int read = coding.AusTextLesen(text);
    EXPECT_EQ(Shown(read, coding.DefaultCode()), expected);
  }
  CResourceSea store;
  EXPECT_EQ(coding.AusResListeLesen(store, u"gears", 1), 0);
  EXPECT_EQ(coding.DefaultCode(), 9999);
  CResourceList& list = store.MakeList(u"gears");
  for (const char16_t* line : {u"0 10 4", u"9 8 5", u"20 30", u"", u"7 x 1"}) {
    list.Append(line);
  }
  EXPECT_EQ(coding.AusResListeLesen(store, u"gears", 1), 3);
  EXPECT_EQ(coding.AusResListeLesen(store, nullptr, 1) + coding.Anzahl(), 0 + 3) << "no effect";
  EXPECT_EQ(Shown(coding[25.0F], coding[100.0F], coding[0.0F]), "9999 4 9999")
      << "the blank line's interval is from 0 to 0";
}

}  // namespace
}  // namespace limes::test
