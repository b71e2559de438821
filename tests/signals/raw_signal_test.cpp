#include "limes/signals/raw_signal.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <vector>

#include "limes/platform/aligned_memory.h"

namespace limes {
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
  EXPECT_EQ(empty.TypeCode(), 101U);
  EXPECT_EQ(empty.DLen(), 0U);
  EXPECT_EQ(empty.SigId(), 1);
  EXPECT_EQ(empty.Data(), nullptr);
  EXPECT_TRUE(empty.DoCopyData());
  EXPECT_STREQ(empty.GetRuntimeClass()->name, "CSigRaw");
  EXPECT_TRUE(empty.IsKindOf(CSObject::GetThisClass()));
  EXPECT_EQ(CSigRaw(-5).DLen(), 0U);
  const CSigRaw five(5);
  EXPECT_EQ(WordsOf(five), Words(5, 0U));
  EXPECT_EQ(five.Size(), 20U);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(five.Data()) % kSignalAlignment, 0U);
}

TEST(RawSignal, ShiftTable) {
  constexpr int kMin = std::numeric_limits<int>::min();
  const struct {
    int k;
    Words expected;
  } kCases[] = {{0, {1, 2, 3, 4, 5}},    {3, {0, 0, 0, 1, 2}},  {-2, {3, 4, 5, 0, 0}},
                {5, {0, 0, 0, 0, 0}},    {-5, {0, 0, 0, 0, 0}}, {99, {0, 0, 0, 0, 0}},
                {kMin, {0, 0, 0, 0, 0}}, {4, {0, 0, 0, 0, 1}}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.k);
    CSigRaw raw = Counting(5);
    raw.ShiftData(c.k);
    EXPECT_EQ(WordsOf(raw), c.expected);
  }
}

TEST(RawSignal, ResizeKeepsWordsAndAddsZeros) {
  CSigRaw raw = Counting(4);
  ASSERT_TRUE(raw.Resize(2));
  EXPECT_EQ(raw.Capacity(), 4U);
  ASSERT_TRUE(raw.Resize(4));
  EXPECT_EQ(WordsOf(raw), (Words{1, 2, 0, 0}));
  ASSERT_TRUE(raw.Resize(6));
  EXPECT_EQ(WordsOf(raw), (Words{1, 2, 0, 0, 0, 0}));
  ASSERT_NE(raw.Malloc(3), nullptr);
  EXPECT_EQ(WordsOf(raw), Words(3, 0U));
  EXPECT_EQ(raw.Capacity(), 6U);
  EXPECT_FALSE(raw.Resize(0x80000000U)) << "beyond signed indices";
  EXPECT_EQ(raw.DLen(), 3U);
  EXPECT_EQ(raw.Malloc(0xFFFFFFFFU), nullptr);
  EXPECT_EQ(raw.DLen() + raw.Capacity(), 0U);
}

TEST(RawSignal, ForeignWordsStayTheCallers) {
  Words words = {1, 2, 3, 4};
  CSigRaw raw(8);
  raw.SetBuffer(words.data(), 4);
  EXPECT_FALSE(raw.OwnsData());
  EXPECT_FALSE(raw.Resize(5));
  EXPECT_TRUE(raw.Resize(3));
  const CSigRaw copy(raw);
  EXPECT_TRUE(copy.OwnsData());
  EXPECT_EQ(WordsOf(copy), (Words{1, 2, 3}));
  EXPECT_TRUE(raw.CopyToRealData());
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
  EXPECT_EQ(Words(archive.begin() + 42, archive.end()),
            (Words{101, 3, 0, static_cast<std::uint32_t>(-9), 0, 1, 2, 3}));
  for (const int copy : {1, 0}) {
    CSigRaw back;
    back.DoCopyData(copy);
    Words stored;
    ASSERT_EQ(Load(back, stored, Words(archive.begin() + 42, archive.end())), 1);
    EXPECT_EQ(WordsOf(back), (Words{1, 2, 3}));
    EXPECT_EQ(back.OwnsData(), copy == 1);
    EXPECT_EQ(back.Data() == stored.data() + 47, copy == 0);
  }
}

TEST(RawSignal, ArchiveLoadTable) {
  const struct {
    const char* name;
    Words record;
    int result;
    std::uint32_t length;  ///< of a block that held 2 words before
  } kCases[] = {
      {"nothing", {}, 0, 2},
      {"head cut", {101, 1, 0, 1}, 0, 2},
      {"no data", {101, 0, 5, 1, 0}, 1, 0},
      {"extension", {101, 1, 0, 1, 1, 9, 9, 9, 9, 9, 42}, 1, 1},
      {"extension cut", {101, 1, 0, 1, 1, 9, 9, 9, 9}, 0, 2},
      {"data cut", {101, 2, 0, 1, 0, 7}, 0, 0},
      {"length beyond all memory", {101, 0xFFFFFFFF, 0, 1, 0, 7}, 0, 0},
      {"length one too many", {101, 0x80000000, 0, 1, 0, 7}, 0, 0},
  };
  for (const auto& c : kCases) {
    for (const int copy : {0, 1}) {
      SCOPED_TRACE(c.name);
      CSigRaw raw(2);
      raw.DoCopyData(copy);
      Words archive;
      EXPECT_EQ(Load(raw, archive, c.record), c.result);
      EXPECT_EQ(raw.DLen(), c.length);
    }
  }
  CSigRaw raw = Counting(3);
  EXPECT_EQ(raw.Serialize(nullptr), 0);
}

TEST(RawSignal, StoringFailsWhenHeadOrDataDoNotFit) {
  for (const unsigned room : {0U, 1U, 5U, 7U, 8U}) {
    SCOPED_TRACE(room);
    Words archive(42 + room);
    CSerializer out(archive.data(), 42 + room, 0);
    CSigRaw raw = Counting(3);
    EXPECT_EQ(raw.Serialize(&out), room == 8 ? 1 : 0);
  }
}

TEST(RawSignal, KeepsHeadCutOfEmptyBlockASuccess) {
  Words archive(43);
  CSerializer out(archive.data(), 43, 0);
  EXPECT_EQ(CSigRaw().Serialize(&out), 1);
}

}  // namespace
}  // namespace limes
