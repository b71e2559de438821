#include "limes/learning/learn_merge.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "limes/learning/curve_assistant.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learn_state.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/signals/extended_curve.h"
#include "tests/support/bits.h"
#include "tests/support/curves.h"

namespace limes {
namespace {

constexpr int kPoints = 40;
constexpr double kRounding = 2e-5;  ///< of values up to 100 that were rounded to float at each step

CSigCurveExt RandomTrack(std::mt19937& random, int iMin, int iMax) {
  std::vector<float> values(kPoints);
  for (float& y : values) {
    y = 50.0F + test::RandomFloat(random, 0) / 8.0F;
  }
  CSigCurveExt track = test::MakeCurve<CSigCurveExt>(values, 0.0F, kPoints);
  track.SetVIMinMax(iMin, iMax);
  return track;
}

constexpr struct {
  int first, second;
  std::int32_t timeScale;
} kSeries[] = {{5, 9, 10000}, {1, 1, 10000}, {40, 3, 10000}, {7, 30, 20},  {30, 7, 20}, {0, 4, 20},
               {4, 0, 20},    {200, 3, 2},   {3, 200, 2},    {500, 9, 10}, {3, 4, 0}};

TEST(LearnMerge, OfValuesEqualsLearningOneAfterTheOther) {
  std::mt19937 random(41);
  for (const auto& series : kSeries) {
    SCOPED_TRACE(std::to_string(series.first) + " and " + std::to_string(series.second));
    CLernenderGrenzwert first, second, straight;
    for (CLernenderGrenzwert* limit : {&first, &second, &straight}) {
      limit->Neustart(series.timeScale);
      limit->Zeitskala(series.timeScale);
    }
    for (int i = 0; i < series.first + series.second; ++i) {
      const float x = 50.0F + test::RandomFloat(random, 0) / 8.0F;
      straight.NeueMessung(x);
      (i < series.first ? first : second).NeueMessung(x);
    }
    ASSERT_EQ(first.Merge(second), MergeStatus::kOk);
    EXPECT_EQ(first.NrGelernt(), straight.NrGelernt());
    EXPECT_EQ(first.Generator().GetTime(), straight.Generator().GetTime());
    EXPECT_NEAR(first.Mittelwert(), straight.Mittelwert(), 100.0 * kRounding);
    EXPECT_NEAR(first.QMittelwert() / straight.QMittelwert(), 1.0, kRounding);
    EXPECT_NEAR(first.Grenzwert() / straight.Grenzwert(), 1.0, kRounding);
    EXPECT_EQ(first.LetzteMessung(), straight.LetzteMessung());
  }
  EXPECT_NEAR(detail::EarlierShare(450001, 1000, 10000), std::exp(-0.1), 1e-9) << "forgets by then";
}

template <class Tool>
void ExpectNear(const Tool& a, const Tool& b) {
  for (const auto& [x, y] :
       {std::pair(a.Mittelwert(), b.Mittelwert()), {a.QuadratMW(), b.QuadratMW()}}) {
    ASSERT_TRUE(x->IMin() == y->IMin() && x->IMax() == y->IMax());
    for (int i = x->IMin(); i <= x->IMax(); ++i) {
      EXPECT_NEAR((*x)[i], (*y)[i], kRounding * std::fabs((*y)[i])) << i;
    }
  }
}

TEST(LearnMerge, OfCurvesEqualsLearningOneAfterTheOther) {
  std::mt19937 random(42);
  for (const auto& series : kSeries) {
    SCOPED_TRACE(std::to_string(series.first) + " and " + std::to_string(series.second));
    CKurvenLernWerkzeug first, second, straight;
    for (CKurvenLernWerkzeug* tool : {&first, &second, &straight}) {
      const CSigCurveExt grid = RandomTrack(random, 0, kPoints - 1);
      tool->Vorlage(&grid);
      tool->Neustart(10000);
      tool->Zeitskala(series.timeScale);
    }
    for (int i = 0; i < series.first + series.second; ++i) {
      const CSigCurveExt k = RandomTrack(random, 3, i < series.first ? 35 : 30);
      straight.NeueMessung(&k);
      (i < series.first ? first : second).NeueMessung(&k);
    }
    ASSERT_EQ(first.Merge(second), MergeStatus::kOk);
    EXPECT_EQ(first.NrGelernt(), straight.NrGelernt());
    EXPECT_EQ(first.Generator().GetTime(), straight.Generator().GetTime());
    ExpectNear(first, straight);
  }
}

TEST(LearnMerge, OfTracksEqualsLearningOneAfterTheOther) {
  std::mt19937 random(43);
  for (const auto& [n1, n2] : {std::pair(12, 5), {2, 30}, {0, 3}, {3, 0}, {250, 400}}) {
    const CSigCurveExt grid = RandomTrack(random, 10, 12);
    CTrackLernWerkzeug first, second, straight;
    for (CTrackLernWerkzeug* tool : {&first, &second, &straight}) {
      tool->Vorlage(&grid);
    }
    for (int i = 0; i < n1 + n2; ++i) {
      const CSigCurveExt k = RandomTrack(random, static_cast<int>(random() % 12),
                                         12 + static_cast<int>(random() % 28));
      straight.NeueMessung(&k);
      (i < n1 ? first : second).NeueMessung(&k);
    }
    ASSERT_EQ(first.Merge(second), MergeStatus::kOk);
    EXPECT_TRUE(std::equal(straight.Lernzahlen().begin(), straight.Lernzahlen().end(),
                           first.Lernzahlen().begin()));
    ExpectNear(first, straight);
  }
}

TEST(LearnMerge, RefusesWithAReasonAndChangesNothing) {
  CSigCurveExt curve = test::MakeRamp<CSigCurveExt>(10);
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

  CSigCurveExt low = curve;
  low.SetVIMinMax(0, 2);
  CSigCurveExt high = curve;
  high.SetVIMinMax(6, 9);
  Tool lower, upper;
  for (const auto& [t, k] : {std::pair(&lower, &low), {&upper, &high}}) {
    t->Vorlage(&curve);
    t->Neustart(100);
    t->NeueMessung(k);
  }
  EXPECT_EQ(lower.Merge(upper), MergeStatus::kRange);

  CTrackLernWerkzeug track, otherTrack;
  EXPECT_EQ(track.Merge(otherTrack), MergeStatus::kGrid);
  track.Vorlage(&curve);
  otherTrack.Vorlage(&curve);
  otherTrack.BasisLernenAnzahl(9);
  EXPECT_EQ(track.Merge(otherTrack), MergeStatus::kRule);
  CLernenderGrenzwert value, otherValue;
  otherValue.FesteOGSetzen(3.0F, true);
  EXPECT_EQ(value.Merge(otherValue), MergeStatus::kRule);
  otherValue.FesteOGSetzen(0.0F, false);
  otherValue.Zeitskala(3);
  EXPECT_EQ(value.Merge(otherValue), MergeStatus::kTimeScale);
  otherValue.Zeitskala(10000);
  otherValue.ExternerLernFaktor(0.5F);
  EXPECT_EQ(value.Merge(otherValue), MergeStatus::kFactor);
  EXPECT_EQ(otherValue.Merge(value), MergeStatus::kFactor);
}

/// The texts of the statuses from 0 to the last.
template <class Status>
std::set<std::u16string> Texts(Status last) {
  std::set<std::u16string> texts;
  for (int i = 0; i <= static_cast<int>(last); ++i) {
    texts.insert(Text(static_cast<Status>(i)));
  }
  EXPECT_EQ(texts.count(u""), 0U);
  return texts;
}

TEST(Statuses, HaveTextsOfTheirOwn) {
  EXPECT_EQ(Texts(MergeStatus::kMemory).size(), 8U);
  EXPECT_EQ(Texts(LearnStateStatus::kMemory).size(), 8U);
  EXPECT_EQ(Texts(CurveTextStatus::kMemory).size(), 6U);
  EXPECT_EQ(Texts(CurveReadStatus::kMemory).size(), 6U);
}

}  // namespace
}  // namespace limes
