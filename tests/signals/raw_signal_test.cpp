#include "limes/signals/raw_signal.h"

#include <numeric>

#include "limes/platform/aligned_memory.h"
#include "tests/support/show.h"

namespace limes::test {
namespace {

using Words = std::vector<std::uint32_t>;

Words WordsOf(const CSigRaw& raw) { return {raw.Data(), raw.Data() + raw.DLen()}; }

/// Raw block 1, 2, 3, ...
CSigRaw Counting(int n) {
  CSigRaw raw(n);
  std::iota(raw.Data(), raw.Data() + n, 1U);
  return raw;
}

TEST(RawSignal, StartsEmptyAndZeroed) {
  CSigRaw empty;
  EXPECT_SHOWN("101 0 1 1 1 CSigRaw 0", empty.TypeCode(), empty.DLen(), empty.SigId(),
               empty.Data() == nullptr, empty.DoCopyData(), empty.GetRuntimeClass()->name,
               CSigRaw(-5).DLen());
  const CSigRaw five(5);
  EXPECT_SHOWN("{0 0 0 0 0} 20 0", WordsOf(five), five.Size(),
               reinterpret_cast<std::uintptr_t>(five.Data()) % kSignalAlignment);
}

TEST(RawSignal, ShiftTable) {
  constexpr int kMin = std::numeric_limits<int>::min();
  const std::pair<int, const char*> kCases[] = {
      {0, "{1 2 3 4 5}"},  {3, "{0 0 0 1 2}"},  {-2, "{3 4 5 0 0}"},   {5, "{0 0 0 0 0}"},
      {-5, "{0 0 0 0 0}"}, {99, "{0 0 0 0 0}"}, {kMin, "{0 0 0 0 0}"}, {4, "{0 0 0 0 1}"}};
  for (const auto& [k, words] : kCases) {
    CSigRaw raw = Counting(5);
    raw.ShiftData(k);
    EXPECT_SHOWN(words, WordsOf(raw)) << k;
  }
}

TEST(RawSignal, ResizeKeepsWordsAndAddsZeros) {
  CSigRaw raw = Counting(4);
  EXPECT_SHOWN("1 4", raw.Resize(2), raw.Capacity());
  EXPECT_SHOWN("1 {1 2 0 0}", raw.Resize(4), WordsOf(raw));
  EXPECT_SHOWN("1 {1 2 0 0 0 0}", raw.Resize(6), WordsOf(raw));
  EXPECT_SHOWN("1 {0 0 0} 6", raw.Malloc(3) == raw.Data(), WordsOf(raw), raw.Capacity());
  EXPECT_SHOWN("0 3", raw.Resize(0x80000000U), raw.DLen()) << "beyond signed indices";
  EXPECT_SHOWN("1 0 0", raw.Malloc(0xFFFFFFFFU) == nullptr, raw.DLen(), raw.Capacity());
}

TEST(RawSignal, ForeignWordsStayTheCallers) {
  Words words = {1, 2, 3, 4};
  CSigRaw raw(8);
  raw.SetBuffer(words.data(), 4);
  EXPECT_SHOWN("0 0 1", raw.OwnsData(), raw.Resize(5), raw.Resize(3));
  const CSigRaw copy(raw);
  EXPECT_SHOWN("1 {1 2 3} 1", copy.OwnsData(), WordsOf(copy), raw.CopyToRealData());
  raw.Nullsetzen();
  raw.SetBuffer(words.data(), 4);
  ASSERT_NE(raw.Malloc(2), nullptr);
  EXPECT_EQ(words, (Words{1, 2, 3, 4}));
  raw.SetBuffer(words.data(), -1);
  EXPECT_EQ(raw.DLen(), 0U);
  raw.Free();
  EXPECT_EQ(raw.Data(), nullptr);
}

/// Archive with a record of the given words; loads it into raw.
int Load(CSigRaw& raw, Words& archive, const Words& record) {
  archive.assign(42, 0);
  archive.insert(archive.end(), record.begin(), record.end());
  CSerializer in(archive.data(), static_cast<unsigned>(archive.size()), CSerializer::kLoad);
  return raw.Serialize(&in);
}

TEST(RawSignal, ArchiveRecordRoundTrip) {
  CSigRaw raw = Counting(3);
  raw.SetSigId(-9);
  Words archive(50, 99);
  CSerializer out(archive.data(), 50, 0);
  EXPECT_EQ(raw.Serialize(&out), 1);
  const Words record(archive.begin() + 42, archive.end());
  EXPECT_SHOWN("{101 3 0 4294967287 0 1 2 3}", record);
  for (const int copy : {1, 0}) {
    CSigRaw back;
    back.DoCopyData(copy);
    Words stored;
    ASSERT_EQ(Load(back, stored, record), 1);
    EXPECT_SHOWN(copy == 1 ? "{1 2 3} 1 0" : "{1 2 3} 0 1", WordsOf(back), back.OwnsData(),
                 back.Data() == stored.data() + 47);
  }
}

TEST(RawSignal, ArchiveLoadTable) {
  const std::pair<Words, const char*> kCases[] = {
      // record; result, length of a block that held 2 words before
      {{}, "0 2"},
      {{101, 1, 0, 1}, "0 2"},                        // head cut
      {{101, 0, 5, 1, 0}, "1 0"},                     // no data
      {{101, 1, 0, 1, 1, 9, 9, 9, 9, 9, 42}, "1 1"},  // extension
      {{101, 1, 0, 1, 1, 9, 9, 9, 9}, "0 2"},         // extension cut
      {{101, 2, 0, 1, 0, 7}, "0 0"},                  // data cut
      {{101, 0xFFFFFFFF, 0, 1, 0, 7}, "0 0"},
      {{101, 0x80000000, 0, 1, 0, 7}, "0 0"},
  };
  for (const auto& [record, expected] : kCases) {
    for (const int copy : {0, 1}) {
      CSigRaw raw(2);
      raw.DoCopyData(copy);
      Words archive;
      EXPECT_SHOWN(expected, Load(raw, archive, record), raw.DLen());
    }
  }
}

TEST(RawSignal, KeepsAHeadCutASuccessOfEmptyBlocksOnly) {
  CSigRaw raw = Counting(3);
  Words small(43);
  CSerializer oneWord(small.data(), 43, 0);
  EXPECT_SHOWN("0 1", raw.Serialize(nullptr), CSigRaw().Serialize(&oneWord));
  for (const unsigned room : {0U, 1U, 5U, 7U, 8U}) {
    Words archive(42 + room);
    CSerializer out(archive.data(), 42 + room, 0);
    EXPECT_EQ(raw.Serialize(&out), room == 8 ? 1 : 0) << room;
  }
}

}  // namespace
}  // namespace limes::test
