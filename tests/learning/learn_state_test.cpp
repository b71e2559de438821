#include "limes/learning/learn_state.h"

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/signals/extended_curve.h"
#include "tests/support/bits.h"
#include "tests/support/hostile.h"
#include "tests/support/show.h"

namespace limes::test {
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

template <class Learner>
class LearnState : public testing::Test {};
using Learners = testing::Types<CLernenderGrenzwert, CKurvenLernWerkzeug, CTrackLernWerkzeug>;
TYPED_TEST_SUITE(LearnState, Learners);

TEST(LimitValueState, IsPinned) {
  CLernenderGrenzwert limit;
  Fill(limit);
  EXPECT_EQ(Written(limit, kWriteState), Golden("limit_value_state_v1.bin"));
}

/// Every byte of the payload replaced, with the checksum made right: read consistently or refused.
/// (Flipped bits and cuts: see the stored records in the tests of hostile bytes.)
TYPED_TEST(LearnState, ContentIsCheckedBehindAGoodChecksum) {
  constexpr bool kIsValue = std::is_same_v<TypeParam, CLernenderGrenzwert>;
  // Places where it is refused, each with a ' for every further value: counts, sizes, ranges.
  const auto [name, expected] =
      kIsValue ? std::pair("limit_value_state_v1.bin", " 68' 69' 77 81 98' 99' 258' 259'")
      : std::is_same_v<TypeParam, CKurvenLernWerkzeug>
          ? std::pair("curve_state_v1.bin",
                      " 20' 21' 22' 23' 31 35 36'' 37' 38' 39' 60'' 61' 62' 63' 80' 81' 82' 83' "
                      "84' 85' 86' 87' 100'' 101' 102' 103' 148'' 149' 150' 151' 172'' 173' 174' "
                      "175' 200'' 201' 202' 203' 220' 221' 222' 223' 224' 225' 226' 227' 240'' "
                      "241' 242' 243' 288'' 289' 290' 291' 312'' 313' 314' 315'")
          : std::pair(
                "track_state_v1.bin",
                " 12'' 13' 14' 15' 16' 17'' 18' 19' 20' 35'' 36' 37' 38' 46' 54' 55' 56' 57' 58' "
                "59' 60' 61' 62' 75'' 76' 77' 78' 117'' 118' 119' 120' 143'' 144' 145' 146' 175'' "
                "176' 177' 178' 186' 194' 195' 196' 197' 198' 199' 200' 201' 202' 215'' 216' 217' "
                "218' 257'' 258' 259' 260' 283'' 284' 285' 286' 315'' 316' 317' 318'");
  const Bytes golden = Golden(name);
  TypeParam whole;
  ASSERT_TRUE(ReadBlock(whole, golden, kReadState));
  EXPECT_FALSE(ReadBlock(whole, std::span(golden).first(golden.size() - 1), kReadState));
  EXPECT_EQ(Written(whole, kWriteState), golden) << "as it was";
  constexpr std::uint8_t kValues[] = {0x00, 0x7F, 0xFF};
  std::string refused;
  std::size_t last = golden.size();
  for (std::size_t i = 0; i < 3 * (golden.size() - 20); ++i) {
    Bytes bytes = golden;
    bytes[16 + i / 3] = kValues[i % 3];
    TypeParam tool;
    const bool ok = ReadBlock(tool, WithChecksum(bytes), kReadState);
    if (!ok) {
      refused += last == i / 3 ? "'" : " " + std::to_string(i / 3);
      last = i / 3;
    }
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
  EXPECT_EQ(refused, expected);
  Bytes longer = golden;
  longer.insert(longer.end() - 4, 0);
  ++longer[8];
  EXPECT_FALSE(ReadBlock(whole, WithChecksum(longer), kReadState));
}

TEST(LearnStateStatus, SaysWhyItFailed) {
  const Bytes value = Golden("limit_value_state_v1.bin");
  const auto changed = [&](std::size_t at, std::uint8_t byte) {
    Bytes bytes = value;
    bytes[at] = byte;
    return bytes;
  };
  const std::pair<Bytes, LearnStateStatus> cases[] = {
      {value, LearnStateStatus::kOtherKind},
      {{1, 2, 3}, LearnStateStatus::kCutShort},
      {Bytes(100, 7), LearnStateStatus::kNoState},
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
  ASSERT_TRUE(ReadBlock(straight, Golden("curve_state_v1.bin"), kReadState));
  straight.Zeitskala(0);
  ASSERT_TRUE(ReadBlock(resumed, Written(straight, kWriteState), kReadState));
  straight.ExternerLernFaktor(0.25F);
  ASSERT_TRUE(ReadBlock(resumed, Written(straight, kWriteState), kReadState));
  CSigCurveExt k = *straight.Mittelwert();
  k = 3.0F;
  for (CKurvenLernWerkzeug* tool : {&straight, &resumed}) {
    tool->NeueMessung(&k);
    EXPECT_EQ(tool->UpdateLimit(), 1);
  }
  EXPECT_EQ(Written(straight, kWriteState), Written(resumed, kWriteState));
  EXPECT_EQ(Difference(straight.Grenzkurve()->Values(), resumed.Grenzkurve()->Values()), "");
  EXPECT_EQ(resumed.Grenzkurve()->YUnit(), u"dB(Pa)");
}

TEST(LearnState, ResetAndRestartLeaveNothingOfAValue) {
  CLernenderGrenzwert limit, back, fresh;
  Fill(limit);
  limit.FesteUGSetzen(1.0F, true);
  ASSERT_TRUE(ReadBlock(back, Written(limit, kWriteState), kReadState));
  EXPECT_EQ(back.FixUntGrenze(), 1.0F);
  limit.Reset();
  limit.Neustart(7);
  fresh.Neustart(7);
  EXPECT_EQ(Written(limit, kWriteState), Written(fresh, kWriteState));
  EXPECT_TRUE(ReadBlock(back, Written(fresh, kWriteState), kReadState)) << "nothing learnt";
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
  ASSERT_TRUE(ReadBlock(back, Written(tool, kWriteState), kReadState));
  EXPECT_EQ(back.Mittelwert()->YUnit().baseunit(), u"sone");
  CMemoryStream file;
  EXPECT_FALSE(CKurvenLernWerkzeug().WriteState(file));
  tool.Mittelwert()->SetXMinMax(0.0F, std::numeric_limits<float>::infinity());
  EXPECT_FALSE(tool.WriteState(file));
  EXPECT_EQ(file.Position(), 0);
}

}  // namespace
}  // namespace limes::test
