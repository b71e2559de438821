#include "limes/learning/learn_state.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/platform/file_stream.h"
#include "limes/signals/extended_curve.h"
#include "tests/support/bits.h"
#include "tests/support/hostile.h"

namespace limes {
namespace {

void Fill(CLernenderGrenzwert& limit) {
  limit.Neustart(50);
  limit.NeueMessung(1.5F);
  limit.NeueMessung(2.25F);
  limit.NameIst(u"Überlauf");
  limit.Bildungsregel(0.5F, 2.5F);
  limit.GrenzenGrenzen(-1.0F, 20.0F);
  limit.FesteOGSetzen(9.5F, true);
  limit.ExternerLernFaktor(0.75F);
  limit.ErrorcodeSetzen(-7);
}

void Fill(CKurvenLernWerkzeug& tool) {
  CSigCurveExt curve = CSigCurveExt::Make(5, 10.0F, 15.0F);
  curve.SetName(u"Gear noise");
  curve.SetXUnit(u"kHz");
  curve.SetYUnit(u"dB(Pa)");
  tool.Bildungsregel(1.0F, 3.0F, 11.0F);
  tool.Vorlage(&curve);
  tool.Neustart(100);
  for (int part = 0; part < 3; ++part) {
    for (int i = 0; i < 5; ++i) {
      curve.SetAt(i, static_cast<float>(part * i) + 0.1F);
    }
    tool.NeueMessung(&curve);
  }
  CSigCurveExt narrow = curve;
  narrow.SetVMinMax(10.4F, 13.0F);
  narrow.SetAt(2, std::nanf("7"));
  tool.NeueMessung(&narrow);
}

void Fill(CTrackLernWerkzeug& tool) {
  CSigCurveExt curve = CSigCurveExt::Make(6, 1000.0F, 1600.0F);
  curve.SetName(u"Order 2");
  curve.SetXUnit(u"rpm");
  curve.SetYUnit(u"dB(Pa)");
  tool.Bildungsregel(1.0F, 3.0F);
  tool.BasisLernenAnzahl(2);
  tool.Vorlage(&curve);
  for (int part = 0; part < 4; ++part) {
    for (int i = 0; i < 6; ++i) {
      curve.SetAt(i, static_cast<float>(part * i) + 0.1F);
    }
    curve.SetVIMinMax(part % 2, 3 + part % 3);
    tool.NeueMessung(&curve);
  }
}

constexpr auto kWrite = [](const auto& learner, CFileStream& file) {
  return learner.WriteState(file);
};
constexpr auto kRead = [](auto& learner, CFileStream& file) {
  return learner.ReadState(file) == LearnStateStatus::kOk;
};

template <class Learner>
class LearnState : public testing::Test {
 public:
  static constexpr const char* kGolden =
      std::is_same_v<Learner, CLernenderGrenzwert>   ? "limit_value_state_v1.bin"
      : std::is_same_v<Learner, CKurvenLernWerkzeug> ? "curve_state_v1.bin"
                                                     : "track_state_v1.bin";
};
using Learners = testing::Types<CLernenderGrenzwert, CKurvenLernWerkzeug, CTrackLernWerkzeug>;
TYPED_TEST_SUITE(LearnState, Learners);

TYPED_TEST(LearnState, IsPinnedAndReadsBackBitForBit) {
  TypeParam learner;
  Fill(learner);
  const test::Bytes golden = test::Golden(this->kGolden);
  ASSERT_FALSE(golden.empty());
  EXPECT_EQ(test::Written(learner, kWrite), golden);
  TypeParam back;
  EXPECT_TRUE(test::ReadBlock(back, golden, kRead));
  EXPECT_EQ(test::Written(back, kWrite), golden);
}

TYPED_TEST(LearnState, DetectsEveryFlippedBitAndEveryCut) {
  const test::Bytes golden = test::Golden(this->kGolden);
  TypeParam learner;
  ASSERT_TRUE(test::ReadBlock(learner, golden, kRead));
  for (std::size_t bit = 0; bit < 8 * golden.size(); ++bit) {
    test::Bytes flipped = golden;
    flipped[bit / 8] = static_cast<std::uint8_t>(flipped[bit / 8] ^ (1U << (bit % 8)));
    EXPECT_FALSE(test::ReadBlock(learner, flipped, kRead)) << bit;
  }
  for (std::size_t n = 0; n < golden.size(); ++n) {
    EXPECT_FALSE(test::ReadBlock(learner, std::span(golden).first(n), kRead)) << n;
  }
  EXPECT_EQ(test::Written(learner, kWrite), golden);  // as it was, after all of that
}

TEST(LearnStateStatus, SaysWhyItFailed) {
  const test::Bytes value = test::Golden("limit_value_state_v1.bin");
  const auto status = [](test::Bytes bytes) {
    CMemoryStream file(std::move(bytes));
    CKurvenLernWerkzeug tool;
    return tool.ReadState(file);
  };
  EXPECT_EQ(status(value), LearnStateStatus::kOtherKind);
  EXPECT_EQ(status({1, 2, 3}), LearnStateStatus::kCutShort);
  EXPECT_EQ(status(test::Bytes(100, 7)), LearnStateStatus::kNoState);
  test::Bytes newer = value;
  newer[4] = 2;
  EXPECT_EQ(status(newer), LearnStateStatus::kVersion);
  test::Bytes damaged = value;
  damaged[20] ^= 1;
  EXPECT_EQ(status(damaged), LearnStateStatus::kChecksum);
  test::Bytes endless = value;
  endless[15] = 0x7F;
  EXPECT_EQ(status(endless), LearnStateStatus::kCutShort);
  for (int i = 0; i <= static_cast<int>(LearnStateStatus::kMemory); ++i) {
    EXPECT_NE(*Text(static_cast<LearnStateStatus>(i)), 0);
  }
}

/// Every byte of the payload replaced, with the checksum made right: read consistently or refused.
template <class Tool>
void ExpectContentChecked(const char* name) {
  const test::Bytes golden = test::Golden(name);
  constexpr std::size_t kHead = 16;
  for (std::size_t at = kHead; at + 4 < golden.size(); ++at) {
    for (const unsigned value : {0x00U, 0x7FU, 0xFFU}) {
      test::Bytes bytes = golden;
      bytes[at] = static_cast<std::uint8_t>(value);
      const std::uint32_t crc =
          detail::Crc32(std::span<const std::uint8_t>(bytes).first(bytes.size() - 4));
      detail::ToLittleEndian(crc, bytes.data() + bytes.size() - 4);
      Tool tool;
      if (!test::ReadBlock(tool, bytes, kRead)) {
        EXPECT_EQ(tool.Mittelwert(), nullptr);
        continue;
      }
      tool.GrenzeBilden();
      CSigCurveExt probe = *tool.Mittelwert();
      probe.ResetVMinMax();
      tool.Beurteilen(probe);
      tool.NeueMessung(&probe);
      tool.Merge(tool);
    }
  }
}

TEST(LearnState, ContentIsCheckedBehindAGoodChecksum) {
  ExpectContentChecked<CKurvenLernWerkzeug>("curve_state_v1.bin");
  ExpectContentChecked<CTrackLernWerkzeug>("track_state_v1.bin");
}

TEST(LearnState, LearningGoesOnAsIfNothingHadHappened) {
  CKurvenLernWerkzeug straight;
  Fill(straight);
  CKurvenLernWerkzeug resumed;
  const test::Bytes golden = test::Golden("curve_state_v1.bin");
  ASSERT_TRUE(test::ReadBlock(resumed, golden, kRead));
  CSigCurveExt k = CSigCurveExt::Make(5, 10.0F, 15.0F);
  k = 3.0F;
  for (CKurvenLernWerkzeug* tool : {&straight, &resumed}) {
    tool->NeueMessung(&k);
    EXPECT_EQ(tool->GrenzeAktualisieren(), 1);
  }
  EXPECT_EQ(test::Written(straight, kWrite), test::Written(resumed, kWrite));
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_TRUE(test::Same((*straight.Grenzkurve())[i], (*resumed.Grenzkurve())[i]));
  }
  EXPECT_EQ(resumed.Grenzkurve()->YUnit(), u"dB(Pa)");
}

TEST(LearnState, CarriesRegisteredUnitsByTheirText) {
  auto& strings = CMeasuringUnit::UnitStrings::theStrings();
  CMeasuringUnit unit;
  unit.set(strings.FindOrAdd(u"sone", true, false), 0, 1, 0.0F);
  CSigCurveExt curve = CSigCurveExt::Make(2, 0.0F, 1.0F);
  curve.SetYUnit(unit);
  CKurvenLernWerkzeug tool;
  tool.Vorlage(&curve);
  CKurvenLernWerkzeug back;
  ASSERT_TRUE(test::ReadBlock(back, test::Written(tool, kWrite), kRead));
  EXPECT_EQ(back.Mittelwert()->YUnit().baseunit(), u"sone");
  CMemoryStream file;
  EXPECT_FALSE(CKurvenLernWerkzeug().WriteState(file));
  tool.Mittelwert()->SetXMinMax(0.0F, std::numeric_limits<float>::infinity());
  EXPECT_FALSE(tool.WriteState(file));
  EXPECT_EQ(file.Position(), 0);
}

}  // namespace
}  // namespace limes
