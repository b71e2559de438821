#include "limes/signals/measurement_pair_signal.h"
#include "limes/signals/time_pair_signal.h"
#include "tests/support/hostile.h"
#include "tests/support/show.h"

namespace limes::test {
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

const auto kExport = [](const CSigPairs& run, CFileStream& file) { return run.DateiExport(file); };
const auto kImport = [](CSigPairs& run, CFileStream& file) {
  const int result = run.DateiImport(file);
  static_cast<void>(run.WertBei(1.5F) + run.MinStepSize());
  return result;
};

TEST(PairRecord, GoldenFiles) {
  for (const unsigned version : {1U, 2U}) {
    const Bytes golden = Golden("pair_record_v" + std::to_string(version) + ".bin");
    EXPECT_EQ(golden.size(), 76U + 80U + 32U);
    const auto write = [=](const CSigPairs& run, CFileStream& file) {
      return run.WriteToFile(file, version);
    };
    EXPECT_EQ(Written(Sample(), write), golden);
    EXPECT_EQ(Written(CSigPairsTm(Sample()), write), golden) << "nothing of its own";
    EXPECT_EQ(Written(CSigPairsVM(Sample()), write), golden) << "nothing of its own";
    CMemoryStream file(golden);
    CSigPairs back;
    ASSERT_TRUE(back.ReadFromFile(file, version));
    EXPECT_EQ(Written(back, kExport), Written(Sample(), kExport));
    EXPECT_SHOWN("1 3 0", back.IstSortiert(), back.XLen(), back.ReadFromFile(file, 3));
  }
}

TEST(PairRecord, HostileBytesLeaveTheRun) {
  const auto make = [] { return CSigPairs(); };
  ExpectHostileSafe(Written(Sample(), kExport), make, kImport, kExport);
  std::uint32_t words[5] = {};
  CSigPairs odd;
  odd.SetBuffer(words, 5);
  ExpectHostileSafe(Written(odd, kExport), make, kImport, kExport);
}

TEST(PairRecord, KeepsTheNameItHas) {
  CMemoryStream file(Written(Sample(), kExport));
  CSigPairs run;
  run.SetName(u"\u03A9");
  ASSERT_EQ(run.DateiImport(file), 1);
  EXPECT_EQ(std::u16string(run.Name()), u"\u03A9") << "code page 1252 holds fewer characters";
}

}  // namespace
}  // namespace limes::test
