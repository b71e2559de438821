#include <cstring>

#include "tests/support/curves.h"
#include "tests/support/hostile.h"

namespace limes::test {
namespace {

constexpr unsigned kVersion = 2;
constexpr std::size_t kHead = 76;         ///< name and units
constexpr std::size_t kValues = 76 + 28;  ///< first byte of the values

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
Bytes Record(const Curve& curve, bool raw, unsigned version = kVersion) {
  return Written(curve, [&](const Curve& c, CFileStream& file) {
    return raw ? c.WriteToFileRaw(file, version) : c.WriteToFile(file, version);
  });
}

TEST(CurveRecord, Bytes) {
  const Bytes coded = Record(Sample<CSigCurve>(), false);
  ASSERT_EQ(coded.size(), kValues + 3);
  const Bytes expected = {1, 0, 0,  0,  3, 0, 0,   0,  31, 0, 0,  0,  0, 0,   32, 65,
                          0, 0, 32, 66, 0, 0, 128, 63, 0,  0, 64, 64, 0, 128, 255};
  EXPECT_EQ(Bytes(coded.begin() + kHead, coded.end()), expected);
  const Bytes raw = Record(Sample<CSigCurveExt>(), true);
  ASSERT_EQ(raw.size(), kValues + 12 + 12);
  Floats tail(3);
  std::memcpy(tail.data(), raw.data() + kValues + 12, 12);
  EXPECT_SHOWN("0 {7.5 20 40}", raw[kHead], tail) << "method";
  EXPECT_EQ(Record(Sample<CSigCurveExt>(), true, 1).size(), kValues + 12) << "no tail";
  EXPECT_EQ(Record(Sample<CSigCurveExt>(), true, 0).size(), 28U + 12U) << "no head";
}

// Values of 8 bits are coded anew, perhaps to other bytes; their records are cut elsewhere.
template <class Curve>
void ExpectSafe() {
  auto sample = Sample<Curve>();
  sample.SetAt(1, std::bit_cast<float>(0xFFC12345U));  // kept to the bit
  for (const unsigned version : {1U, 2U}) {
    ExpectHostileSafe(
        Record(sample, true, version),
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
        [=](const Curve& c, CFileStream& file) { return c.WriteToFileRaw(file, version); });
  }
}

TEST(CurveRecord, HostileBytesLeaveTheCurve) {
  ExpectSafe<CSigCurve>();
  ExpectSafe<CSigCurveExt>();
}

TEST(CurveRecord, StatusTable) {
  const Bytes record = Record(Sample<CSigCurveExt>(), true);
  const std::tuple<std::size_t, unsigned, CurveReadStatus> kCases[] = {
      {record.size(), 0, CurveReadStatus::kVersion},
      {record.size(), 3, CurveReadStatus::kVersion},
      {39, 2, CurveReadStatus::kHeader},
      {70, 2, CurveReadStatus::kHeader},
      {kValues - 1, 2, CurveReadStatus::kValues},
      {kValues + 11, 2, CurveReadStatus::kValues},
      {kValues + 12, 2, CurveReadStatus::kTail},
      {kValues + 12, 1, CurveReadStatus::kOk},
      {record.size(), 2, CurveReadStatus::kOk}};
  for (const auto& [size, version, expected] : kCases) {
    CMemoryStream file{std::span<const std::uint8_t>(record).first(size)};
    CSigCurveExt curve;
    EXPECT_EQ(curve.ReadFromFileChecked(file, version), expected) << size;
    EXPECT_FALSE(std::u16string(Text(expected)).empty());
  }
}

TEST(CurveRecord, ExtendedTailTable) {
  const std::tuple<float, float, const char*> kCases[] = {{20, 30, "1 2 7.5"},
                                                          {-kInf, kInf, "0 2 7.5"},
                                                          {40, 10, "2 0 7.5"},
                                                          {kNaN, kNaN, "0 0 7.5"},
                                                          {1e30F, -1e30F, "2 0 7.5"}};
  for (const auto& [vMin, vMax, indices] : kCases) {
    Bytes record = Record(Sample<CSigCurveExt>(), false);
    const float range[2] = {vMin, vMax};
    std::memcpy(record.data() + record.size() - 8, range, 8);
    CMemoryStream file(record);
    CSigCurveExt curve;
    ASSERT_TRUE(curve.ReadFromFile(file, kVersion));
    EXPECT_SHOWN(indices, curve.IMin(), curve.IMax(), curve.Date());
  }
  const Bytes old = Record(Sample<CSigCurveExt>(), false, 1);
  for (const unsigned version : {1U, 2U}) {
    CMemoryStream file(old);
    CSigCurveExt curve;
    curve.Date(3);
    EXPECT_EQ(curve.ReadFromFile(file, version), version == 1);
    EXPECT_SHOWN("10 40 0 2 0", ValidOf(curve), curve.Date());
  }
}

TEST(CurveRecord, KeepsTrueForCutValuesWithAnEmptyCurve) {
  const Bytes record = Record(Sample<CSigCurve>(), false);
  for (const std::size_t cut : {kHead, kValues, kValues + 2}) {
    CMemoryStream file{std::span<const std::uint8_t>(record).first(cut)};
    CSigCurve curve = MakeCurve({8, 9});
    EXPECT_SHOWN("1 0 0 gear", curve.ReadFromFile(file, kVersion), curve.DLen(), curve.XLen(),
                 curve.Name());
  }
}

}  // namespace
}  // namespace limes::test
