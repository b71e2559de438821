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

constexpr auto kWrite = [](const auto& learner, CFileStream& file) {
  return learner.WriteState(file);
};
constexpr auto kRead = [](auto& learner, CFileStream& file) {
  return learner.ReadState(file) == LearnStateStatus::kOk;
};

template <class Learner>
class LearnState : public testing::Test {};
using Learners = testing::Types<CLernenderGrenzwert, CKurvenLernWerkzeug, CTrackLernWerkzeug>;
TYPED_TEST_SUITE(LearnState, Learners);

TEST(LimitValueState, IsPinned) {
  CLernenderGrenzwert limit;
  Fill(limit);
  EXPECT_EQ(test::Written(limit, kWrite), test::Golden("limit_value_state_v1.bin"));
}

/// Every byte of the payload replaced, with the checksum made right: read consistently or refused.
/// (Flipped bits and cuts: see the stored records in the tests of hostile bytes.)
TYPED_TEST(LearnState, ContentIsCheckedBehindAGoodChecksum) {
  constexpr bool kIsValue = std::is_same_v<TypeParam, CLernenderGrenzwert>;
  const test::Bytes golden =
      test::Golden(kIsValue                                         ? "limit_value_state_v1.bin"
                   : std::is_same_v<TypeParam, CKurvenLernWerkzeug> ? "curve_state_v1.bin"
                                                                    : "track_state_v1.bin");
  TypeParam whole;
  ASSERT_TRUE(test::ReadBlock(whole, golden, kRead));
  EXPECT_FALSE(test::ReadBlock(whole, std::span(golden).first(golden.size() - 1), kRead));
  EXPECT_EQ(test::Written(whole, kWrite), golden) << "as it was";
  constexpr std::uint8_t kValues[] = {0x00, 0x7F, 0xFF};
  int refused = 0;
  for (std::size_t i = 0; i < 3 * (golden.size() - 20); ++i) {
    test::Bytes bytes = golden;
    bytes[16 + i / 3] = kValues[i % 3];
    const auto covered = std::span<const std::uint8_t>(bytes).first(bytes.size() - 4);
    detail::ToLittleEndian(detail::Crc32(covered), bytes.data() + covered.size());
    TypeParam tool;
    const bool ok = test::ReadBlock(tool, bytes, kRead);
    refused += ok ? 0 : 1;
    if constexpr (kIsValue) {
      tool.NeueMessung(1.0F);
    } else if (!ok) {
      EXPECT_EQ(tool.Mittelwert(), nullptr);
    } else {
      CSigCurveExt probe = *tool.Mittelwert();
      EXPECT_LT(probe.IMin(), std::int64_t{probe.DLen()});
      probe.ResetVMinMax();
      tool.GrenzeBilden();
      tool.Judge(probe);
      tool.NeueMessung(&probe);
      tool.Merge(tool);
    }
  }
  constexpr bool kIsTrack = std::is_same_v<TypeParam, CTrackLernWerkzeug>;
  EXPECT_EQ(refused, kIsValue ? 14 : kIsTrack ? 141 : 123);
  test::Bytes longer = golden;
  longer.insert(longer.end() - 4, 0);
  ++longer[8];
  const auto covered = std::span<const std::uint8_t>(longer).first(longer.size() - 4);
  detail::ToLittleEndian(detail::Crc32(covered), longer.data() + covered.size());
  EXPECT_FALSE(test::ReadBlock(whole, longer, kRead));
}

TEST(LearnStateStatus, SaysWhyItFailed) {
  const test::Bytes value = test::Golden("limit_value_state_v1.bin");
  const auto changed = [&](std::size_t at, std::uint8_t byte) {
    test::Bytes bytes = value;
    bytes[at] = byte;
    return bytes;
  };
  const std::pair<test::Bytes, LearnStateStatus> cases[] = {
      {value, LearnStateStatus::kOtherKind},
      {{1, 2, 3}, LearnStateStatus::kCutShort},
      {test::Bytes(100, 7), LearnStateStatus::kNoState},
      {changed(4, 3), LearnStateStatus::kVersion},
      {changed(20, value[20] ^ 1), LearnStateStatus::kChecksum},
      {changed(15, 0x7F), LearnStateStatus::kCutShort}};
  for (const auto& [bytes, status] : cases) {
    CMemoryStream file(bytes);
    EXPECT_EQ(CKurvenLernWerkzeug().ReadState(file), status);
    EXPECT_NE(*Text(status), 0);
  }
}

TEST(LearnState, LearningGoesOnAsIfNothingHadHappened) {
  CKurvenLernWerkzeug straight, resumed;
  ASSERT_TRUE(test::ReadBlock(straight, test::Golden("curve_state_v1.bin"), kRead));
  straight.Zeitskala(0);
  ASSERT_TRUE(test::ReadBlock(resumed, test::Written(straight, kWrite), kRead));
  straight.ExternerLernFaktor(0.25F);
  ASSERT_TRUE(test::ReadBlock(resumed, test::Written(straight, kWrite), kRead));
  CSigCurveExt k = *straight.Mittelwert();
  k = 3.0F;
  for (CKurvenLernWerkzeug* tool : {&straight, &resumed}) {
    tool->NeueMessung(&k);
    EXPECT_EQ(tool->UpdateLimit(), 1);
  }
  EXPECT_EQ(test::Written(straight, kWrite), test::Written(resumed, kWrite));
  EXPECT_EQ(test::Difference(straight.Grenzkurve()->Values(), resumed.Grenzkurve()->Values()), "");
  EXPECT_EQ(resumed.Grenzkurve()->YUnit(), u"dB(Pa)");
}

TEST(LearnState, ResetAndRestartLeaveNothingOfAValue) {
  CLernenderGrenzwert limit, back, fresh;
  Fill(limit);
  limit.FesteUGSetzen(1.0F, true);
  ASSERT_TRUE(test::ReadBlock(back, test::Written(limit, kWrite), kRead));
  EXPECT_EQ(back.FixUntGrenze(), 1.0F);
  limit.Reset();
  limit.Neustart(7);
  fresh.Neustart(7);
  EXPECT_EQ(test::Written(limit, kWrite), test::Written(fresh, kWrite));
  EXPECT_TRUE(test::ReadBlock(back, test::Written(fresh, kWrite), kRead)) << "nothing learnt";
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
