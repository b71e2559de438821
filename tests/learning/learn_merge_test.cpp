#include "limes/learning/learn_merge.h"

#include "limes/learning/curve_assistant.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learn_state.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/learning/track_learning_tool.h"
#include "tests/support/curves.h"

namespace limes::test {
namespace {

constexpr int kPoints = 40;
constexpr double kRounding = 2e-5;  ///< of values up to 100 that were rounded to float at each step

CSigCurveExt RandomTrack(std::mt19937& random, int iMin, int iMax) {
  std::vector<float> values(kPoints);
  for (float& y : values) {
    y = 50.0F + RandomFloat(random, 0) / 8.0F;
  }
  CSigCurveExt track = MakeCurve<CSigCurveExt>(values, 0.0F, kPoints);
  track.SetVIMinMax(iMin, iMax);
  return track;
}

void ExpectNear(const CSigCurveExt& a, const CSigCurveExt& b) {
  ASSERT_TRUE(a.IMin() == b.IMin() && a.IMax() == b.IMax());
  for (int i = a.IMin(); i <= a.IMax(); ++i) {
    EXPECT_NEAR(a[i], b[i], kRounding * std::fabs(b[i])) << i;
  }
}

template <class Learner>
class MergeOf : public testing::Test {};
using Learners = testing::Types<CLernenderGrenzwert, CKurvenLernWerkzeug, CTrackLernWerkzeug>;
TYPED_TEST_SUITE(MergeOf, Learners);

TYPED_TEST(MergeOf, EqualsLearningOneAfterTheOther) {
  constexpr bool kIsValue = std::is_same_v<TypeParam, CLernenderGrenzwert>;
  constexpr bool kIsTrack = std::is_same_v<TypeParam, CTrackLernWerkzeug>;
  constexpr struct {
    int first, second;
    std::int32_t timeScale;
  } kSeries[] = {{5, 9, 10000}, {1, 1, 10000}, {40, 3, 10000}, {7, 30, 20},
                 {30, 7, 20},   {0, 4, 20},    {4, 0, 20},     {200, 3, 2},
                 {3, 200, 2},   {500, 9, 10},  {3, 4, 0},      {250, 400, 200}};
  std::mt19937 random(41);
  for (const auto& series : kSeries) {
    SCOPED_TRACE(std::to_string(series.first) + " and " + std::to_string(series.second));
    TypeParam first, second, straight;
    for (TypeParam* learner : {&first, &second, &straight}) {
      if constexpr (!kIsValue) {
        const CSigCurveExt grid = RandomTrack(random, 0, kPoints - 1);
        learner->Vorlage(&grid);
      }
      if constexpr (!kIsTrack) {
        learner->Neustart(series.timeScale);
        learner->Zeitskala(series.timeScale);
      }
    }
    for (int i = 0; i < series.first + series.second; ++i) {
      const int end = kIsTrack ? 12 + static_cast<int>(random() % 28) : i < series.first ? 35 : 30;
      const CSigCurveExt k =
          RandomTrack(random, kIsTrack ? static_cast<int>(random() % 12) : 3, end);
      for (TypeParam* learner : {&straight, i < series.first ? &first : &second}) {
        if constexpr (kIsValue) {
          learner->NeueMessung(k[5]);
        } else {
          learner->NeueMessung(&k);
        }
      }
    }
    ASSERT_EQ(first.Merge(second), MergeStatus::kOk);
    if constexpr (kIsTrack) {
      EXPECT_EQ(Shown(first.LearnCounts()), Shown(straight.LearnCounts()));
    } else {
      EXPECT_EQ(Shown(first.NrGelernt(), first.Generator().GetTime()),
                Shown(straight.NrGelernt(), straight.Generator().GetTime()));
    }
    if constexpr (kIsValue) {
      EXPECT_NEAR(first.Mittelwert(), straight.Mittelwert(), 100.0 * kRounding);
      EXPECT_NEAR(first.QMittelwert() / straight.QMittelwert(), 1.0, kRounding);
      EXPECT_NEAR(first.Grenzwert() / straight.Grenzwert(), 1.0, kRounding);
      EXPECT_EQ(first.LetzteMessung(), straight.LetzteMessung());
    } else {
      ExpectNear(*first.Mittelwert(), *straight.Mittelwert());
      ExpectNear(*first.QuadratMW(), *straight.QuadratMW());
    }
  }
  EXPECT_NEAR(detail::EarlierShare(450001, 1000, 10000), std::exp(-0.1), 1e-9) << "forgets by then";
}

TEST(LearnMerge, RefusesWithAReasonAndChangesNothing) {
  CSigCurveExt curve = MakeRamp<CSigCurveExt>(10);
  curve.SetXUnit(u"Hz");
  CKurvenLernWerkzeug tool;
  tool.Vorlage(&curve);
  tool.Neustart(100);
  tool.NeueMessung(&curve);
  EXPECT_EQ(tool.Merge(CKurvenLernWerkzeug()), MergeStatus::kGrid);
  using Tool = CKurvenLernWerkzeug;
  const struct {
    MergeStatus status;
    void (*change)(Tool&, CSigCurveExt&);
  } cases[] = {
      {MergeStatus::kGrid, [](Tool&, CSigCurveExt& g) { g.SetXMinMax(0.0F, 11.0F); }},
      {MergeStatus::kGrid, [](Tool&, CSigCurveExt& g) { static_cast<void>(g.Resize(9U)); }},
      {MergeStatus::kUnit, [](Tool&, CSigCurveExt& g) { g.SetXUnit(u"s"); }},
      {MergeStatus::kUnit, [](Tool&, CSigCurveExt& g) { g.SetYUnit(u"V"); }},
      {MergeStatus::kRule, [](Tool& t, CSigCurveExt&) { t.Bildungsregel(0.0F, 2.0F, 0.0F); }},
      {MergeStatus::kTimeScale, [](Tool& t, CSigCurveExt&) { t.Zeitskala(50); }},
      {MergeStatus::kFactor, [](Tool& t, CSigCurveExt&) { t.ExternerLernFaktor(0.5F); }},
      {MergeStatus::kOk, [](Tool&, CSigCurveExt&) {}},
  };
  for (const auto& c : cases) {
    EXPECT_TRUE(tool.NrGelernt() == 1 && (*tool.Mittelwert())[5] == 5.0F);
    CSigCurveExt grid = curve;
    Tool other;
    c.change(other, grid);
    other.Vorlage(&grid);
    other.Neustart(other.Generator().GetTimeScale() == 50 ? 50 : 100);
    other.NeueMessung(&grid);
    EXPECT_EQ(tool.Merge(other), c.status) << WideToUtf8(Text(c.status));
  }
  EXPECT_EQ(tool.NrGelernt(), 2);

  Tool parts[2];
  for (const int i : {0, 1}) {
    CSigCurveExt k = curve;
    k.SetVIMinMax(6 * i, 6 * i + 2);
    parts[i].Vorlage(&curve);
    parts[i].Neustart(100);
    parts[i].NeueMessung(&k);
  }
  EXPECT_EQ(parts[0].Merge(parts[1]), MergeStatus::kRange);

  CTrackLernWerkzeug track, otherTrack;
  EXPECT_EQ(track.Merge(otherTrack), MergeStatus::kGrid);
  track.Vorlage(&curve);
  otherTrack.Vorlage(&curve);
  otherTrack.BasisLernenAnzahl(9);
  EXPECT_EQ(track.Merge(otherTrack), MergeStatus::kRule);
  CLernenderGrenzwert value, ruled, forced;
  ruled.FesteOGSetzen(3.0F, true);
  forced.ExternerLernFaktor(0.5F);
  EXPECT_EQ(value.Merge(ruled), MergeStatus::kRule);
  EXPECT_EQ(forced.Merge(value), MergeStatus::kFactor);
}

}  // namespace
}  // namespace limes::test
