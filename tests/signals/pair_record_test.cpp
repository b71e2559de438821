#include <gtest/gtest.h>

#include <string>

#include "limes/signals/measurement_pair_signal.h"
#include "limes/signals/time_pair_signal.h"
#include "tests/support/hostile.h"

namespace limes {
namespace {

CSigPairs Sample() {
  CSigPairs run(4);
  run.SetName(u"Pr\u00FCf");
  run.SetXUnit(u"rpm");
  run.Parameter() = 1.5F;
  run.Nummer() = 0x20001;
  for (const float x : {1.0F, 2.0F, 4.0F}) {
    run.NeuesPaar(x, -x);
  }
  return run;
}

const auto kWrite = [](const CSigPairs& run, CFileStream& file) { return run.DateiExport(file); };
const auto kRead = [](CSigPairs& run, CFileStream& file) {
  const int result = run.DateiImport(file);
  static_cast<void>(run.WertBei(1.5F) + run.MinStepSize());
  return result;
};

TEST(PairRecord, GoldenFiles) {
  for (const unsigned version : {1U, 2U}) {
    const test::Bytes golden = test::Golden("pair_record_v" + std::to_string(version) + ".bin");
    EXPECT_EQ(golden.size(), 76U + 80U + 32U);
    const auto write = [=](const CSigPairs& run, CFileStream& file) {
      return run.WriteToFile(file, version);
    };
    EXPECT_EQ(test::Written(Sample(), write), golden);
    EXPECT_EQ(test::Written(CSigPairsTm(Sample()), write), golden) << "nothing of its own";
    EXPECT_EQ(test::Written(CSigPairsVM(Sample()), write), golden) << "nothing of its own";
    CMemoryStream file(golden);
    CSigPairs back;
    ASSERT_TRUE(back.ReadFromFile(file, version));
    EXPECT_EQ(test::Written(back, kWrite), test::Written(Sample(), kWrite));
    EXPECT_TRUE(back.IstSortiert());
    EXPECT_EQ(back.XLen(), 3U);
    EXPECT_FALSE(back.ReadFromFile(file, 3));
  }
}

TEST(PairRecord, HostileBytesLeaveTheRun) {
  const auto make = [] { return CSigPairs(); };
  test::ExpectHostileSafe(test::Written(Sample(), kWrite), make, kRead, kWrite);
  std::uint32_t words[5] = {};
  CSigPairs odd;
  odd.SetBuffer(words, 5);
  test::ExpectHostileSafe(test::Written(odd, kWrite), make, kRead, kWrite);
}

TEST(PairRecord, KeepsTheNameItHas) {
  CMemoryStream file(test::Written(Sample(), kWrite));
  CSigPairs run;
  run.SetName(u"\u03A9");
  ASSERT_EQ(run.DateiImport(file), 1);
  EXPECT_EQ(std::u16string(run.Name()), u"\u03A9") << "code page 1252 holds fewer characters";
}

}  // namespace
}  // namespace limes
