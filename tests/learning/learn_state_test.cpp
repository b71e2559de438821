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

template <class Learner>
class LearnState : public testing::Test {};
using Learners = testing::Types<CLernenderGrenzwert, CKurvenLernWerkzeug, CTrackLernWerkzeug>;
TYPED_TEST_SUITE(LearnState, Learners);

TEST(LimitValueState, IsPinnedAndReset) {
  CLernenderGrenzwert limit;
  limit.Neustart(50);
  limit.NeueMessung(1.5F);
  limit.NeueMessung(2.25F);
  limit.NameIst(u"Überlauf");
  limit.Bildungsregel(0.5F, 2.5F);
  limit.GrenzenGrenzen(-1.0F, 20.0F);
  limit.FesteOGSetzen(9.5F, true);
  limit.ExternerLernFaktor(0.75F);
  limit.ErrorcodeSetzen(-7);
  EXPECT_EQ(Written(limit, kWriteState), Golden("limit_value_state_v1.bin"));
  limit.Reset();
  limit.Neustart(7);
  CLernenderGrenzwert fresh;
  fresh.Neustart(7);
  EXPECT_EQ(Written(limit, kWriteState), Written(fresh, kWriteState)) << "nothing is left";
}

/// Every byte of the payload replaced, with the checksum made right: read consistently or refused.
/// (Flipped bits and cuts: see the stored records in the tests of hostile bytes.)
TYPED_TEST(LearnState, ContentIsCheckedBehindAGoodChecksum) {
  constexpr bool kIsValue = std::is_same_v<TypeParam, CLernenderGrenzwert>;
  // Counts, sizes, ranges.
  const auto [name, expected] =
      kIsValue ? std::pair("limit_value_state_v1.bin", " 68-69' 77 81 98-99' 258-259'")
      : std::is_same_v<TypeParam, CKurvenLernWerkzeug>
          ? std::pair(
                "curve_state_v1.bin",
                " 20-23' 31 35 36'' 37-39' 60'' 61-63' 80-87' 100'' 101-103' 148'' 149-151' 172'' "
                "173-175' 200'' 201-203' 220-227' 240'' 241-243' 288'' 289-291' 312'' 313-315'")
          : std::pair("track_state_v1.bin",
                      " 12'' 13-16' 17'' 18-20' 35'' 36-38' 46' 54-62' 75'' 76-78' 117'' 118-120' "
                      "143'' 144-146' 175'' 176-178' 186' 194-202' 215'' 216-218' 257'' 258-260' "
                      "283'' 284-286' 315'' 316-318'");
  const Bytes golden = Golden(name);
  TypeParam whole;
  ASSERT_TRUE(ReadBlock(whole, golden, kReadState));
  EXPECT_FALSE(ReadBlock(whole, std::span(golden).first(golden.size() - 1), kReadState));
  EXPECT_EQ(Written(whole, kWriteState), golden) << "as it was";
  const std::string refused = RefusedPlaces<TypeParam>(golden, [](TypeParam& tool, bool ok) {
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
  });
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
