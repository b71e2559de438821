#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <limits>
#include <string>

#include "limes/kernels/compressed_vector.h"
#include "limes/platform/file_stream.h"
#include "limes/signals/curve.h"
#include "limes/signals/extended_curve.h"
#include "tests/support/bits.h"
#include "tests/support/curves.h"
#include "tests/support/hostile.h"

namespace limes {
namespace {

using test::MakeCurve;
using test::ValuesOf;
using Floats = std::vector<float>;

constexpr unsigned kVersion = 2;
constexpr std::size_t kHead = 76;         ///< name and units
constexpr std::size_t kValues = 76 + 28;  ///< first byte of the values
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

template <class Curve>
Curve Sample() {
  Curve curve = MakeCurve<Curve>({1, 2, 3}, 10, 40);
  curve.SetName(u"gear");
  curve.SetXUnit(u"Hz");
  curve.SetYUnit(u"dB(Pa)");
  if constexpr (std::is_same_v<Curve, CSigCurveExt>) {
    curve.Date(7.5F);
    curve.SetVMinMax(20, 40);
  }
  return curve;
}

template <class Curve>
test::Bytes Record(const Curve& curve, bool raw, unsigned version = kVersion) {
  return test::Written(curve, [&](const Curve& c, CFileStream& file) {
    return raw ? c.WriteToFileRaw(file, version) : c.WriteToFile(file, version);
  });
}

TEST(CurveRecord, Bytes) {
  const test::Bytes coded = Record(Sample<CSigCurve>(), false);
  ASSERT_EQ(coded.size(), kValues + 3);
  const test::Bytes expected = {1, 0, 0,  0,  3, 0, 0,   0,  31, 0, 0,  0,  0, 0,   32, 65,
                                0, 0, 32, 66, 0, 0, 128, 63, 0,  0, 64, 64, 0, 128, 255};
  EXPECT_EQ(test::Bytes(coded.begin() + kHead, coded.end()), expected);
  const test::Bytes raw = Record(Sample<CSigCurveExt>(), true);
  ASSERT_EQ(raw.size(), kValues + 12 + 12);
  EXPECT_EQ(raw[kHead], 0) << "method";
  Floats tail(3);
  std::memcpy(tail.data(), raw.data() + kValues + 12, 12);
  EXPECT_EQ(tail, (Floats{7.5F, 20, 40}));
  EXPECT_EQ(Record(Sample<CSigCurveExt>(), true, 1).size(), kValues + 12) << "no tail";
  EXPECT_EQ(Record(Sample<CSigCurveExt>(), true, 0).size(), 28U + 12U) << "no head";
}

TEST(CurveRecord, RawKeepsEveryBit) {
  std::mt19937 random(3);
  const Floats values = test::RandomFloats(random, 1000, 1);
  for (const unsigned version : {1U, 2U}) {
    CMemoryStream file(Record(MakeCurve(values, -1, 1), true, version));
    CSigCurve back;
    ASSERT_TRUE(back.ReadFromFile(file, version));
    ASSERT_EQ(back.DLen(), 1000U);
    for (std::size_t i = 0; i < values.size(); ++i) {
      ASSERT_EQ(std::bit_cast<std::uint32_t>(back.ValArray()[i]),
                std::bit_cast<std::uint32_t>(values[i]));
    }
    EXPECT_EQ(back.XLen(), 1000U);
    EXPECT_EQ(back.XMin(), -1.0F);
  }
}

TEST(CurveRecord, KeepsEightBitsPerValue) {
  const struct {
    Floats before, after;
  } kCases[] = {{{1, 2, 3}, {1, 128.0F / 255.0F * 2 + 1, 3}},
                {{5, 5}, {5, 5}},
                {{0, kNaN, 1}, {0, 0, 1}},
                {{kNaN, 1}, {kNaN, kNaN}},
                {{0, kInf}, {kNaN, kNaN}},
                {{}, {}}};
  for (const auto& c : kCases) {
    CMemoryStream file(Record(MakeCurve(c.before), false));
    CSigCurve back;
    ASSERT_EQ(back.ReadFromFileChecked(file, kVersion), CurveReadStatus::kOk);
    ASSERT_EQ(back.DLen(), c.after.size());
    for (std::size_t i = 0; i < c.after.size(); ++i) {
      EXPECT_TRUE(test::Same(back.ValArray()[i], c.after[i])) << back.ValArray()[i];
    }
  }
}

template <class Curve>
void ExpectSafe(bool raw) {
  for (const unsigned version : {1U, 2U}) {
    const auto write = [=](const Curve& c, CFileStream& file) {
      return raw ? c.WriteToFileRaw(file, version) : c.WriteToFile(file, version);
    };
    test::ExpectHostileSafe(
        Record(Sample<Curve>(), raw, version),
        [] {
          return MakeCurve<Curve>({8, 9}, 1, 2);
        },
        [=](Curve& c, CFileStream& file) {
          const bool ok = c.ReadFromFileChecked(file, version) == CurveReadStatus::kOk;
          static_cast<void>(c.GetValue(15) + c.PointDistance(1, 2, nullptr));
          for (const bool x : {true, false}) {  // registered units do not come back by number
            if ((x ? c.XUnit() : c.YUnit()).Unit_e() > CMeasuringUnit::watt) {
              x ? c.SetXUnit(CMeasuringUnit()) : c.SetYUnit(CMeasuringUnit());
            }
          }
          return ok;
        },
        write, {.exact = raw});
  }
}

TEST(CurveRecord, HostileBytesLeaveTheCurve) {
  ExpectSafe<CSigCurve>(true);
  ExpectSafe<CSigCurveExt>(true);
  // 8 bits per value are coded anew, perhaps to other bytes; that is looked at with raw values.
  const test::Bytes record = Record(Sample<CSigCurveExt>(), false);
  for (std::size_t cut = 0; cut < record.size(); ++cut) {
    CSigCurveExt curve = MakeCurve<CSigCurveExt>({8, 9});
    EXPECT_FALSE(test::ReadBlock(
        curve, std::span(record).first(cut), [](CSigCurveExt& c, CFileStream& file) {
          return c.ReadFromFileChecked(file, kVersion) == CurveReadStatus::kOk;
        }));
    EXPECT_EQ(ValuesOf(curve), (Floats{8, 9}));
  }
}

TEST(CurveRecord, StatusTable) {
  const test::Bytes record = Record(Sample<CSigCurveExt>(), true);
  const struct {
    std::size_t size;
    unsigned version;
    CurveReadStatus expected;
  } kCases[] = {{record.size(), 0, CurveReadStatus::kVersion},
                {record.size(), 3, CurveReadStatus::kVersion},
                {39, 2, CurveReadStatus::kHeader},
                {70, 2, CurveReadStatus::kHeader},
                {kValues - 1, 2, CurveReadStatus::kValues},
                {kValues + 11, 2, CurveReadStatus::kValues},
                {kValues + 12, 2, CurveReadStatus::kTail},
                {kValues + 12, 1, CurveReadStatus::kOk},
                {record.size(), 2, CurveReadStatus::kOk}};
  std::u16string texts;
  for (const auto& c : kCases) {
    CMemoryStream file{std::span<const std::uint8_t>(record).first(c.size)};
    CSigCurveExt curve;
    EXPECT_EQ(curve.ReadFromFileChecked(file, c.version), c.expected) << c.size;
    EXPECT_FALSE(std::u16string(Text(c.expected)).empty());
  }
}

TEST(CurveRecord, ExtendedTailTable) {
  const struct {
    const char* name;
    float vMin, vMax;
    int iMin, iMax;
  } kCases[] = {{"inside", 20, 30, 1, 2},
                {"beyond", -kInf, kInf, 0, 2},
                {"crossed", 40, 10, 2, 0},
                {"NaN", kNaN, kNaN, 0, 0},
                {"nothing", 1e30F, -1e30F, 2, 0}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    test::Bytes record = Record(Sample<CSigCurveExt>(), false);
    const float range[2] = {c.vMin, c.vMax};
    std::memcpy(record.data() + record.size() - 8, range, 8);
    CMemoryStream file(record);
    CSigCurveExt curve;
    ASSERT_TRUE(curve.ReadFromFile(file, kVersion));
    EXPECT_EQ(curve.IMin(), c.iMin);
    EXPECT_EQ(curve.IMax(), c.iMax);
    EXPECT_EQ(curve.Date(), 7.5F);
  }
  const test::Bytes old = Record(Sample<CSigCurveExt>(), false, 1);
  for (const unsigned version : {1U, 2U}) {
    CMemoryStream file(old);
    CSigCurveExt curve;
    curve.Date(3);
    EXPECT_EQ(curve.ReadFromFile(file, version), version == 1);
    EXPECT_EQ(curve.ILen(), 3);
    EXPECT_EQ(curve.VMin(), 10.0F);
    EXPECT_EQ(curve.Date(), 0.0F);
  }
}

TEST(CurveRecord, KeepsTrueForCutValuesWithAnEmptyCurve) {
  const test::Bytes record = Record(Sample<CSigCurve>(), false);
  for (const std::size_t cut : {kHead, kValues, kValues + 2}) {
    CMemoryStream file{std::span<const std::uint8_t>(record).first(cut)};
    CSigCurve curve = MakeCurve({8, 9});
    EXPECT_TRUE(curve.ReadFromFile(file, kVersion));
    EXPECT_EQ(curve.DLen(), 0U);
    EXPECT_EQ(curve.XLen(), 0U);
    EXPECT_EQ(curve.Name(), std::u16string(u"gear"));
  }
}

TEST(CurveRecord, WritersPassOnWhatTheStreamThrows) {
  const test::Bytes none;
  CMemoryStream readOnly{std::span<const std::uint8_t>(none)};
  EXPECT_THROW(static_cast<void>(Sample<CSigCurveExt>().WriteToFile(readOnly, kVersion)),
               CStorable::failure);
}

}  // namespace
}  // namespace limes
