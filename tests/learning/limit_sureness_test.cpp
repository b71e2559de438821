#include "limes/learning/limit_sureness.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

TEST(LimitSureness, StudentTailAgainstTables) {
  const struct {
    double t, degrees, tail;
  } cases[] = {
      // From closed forms and published tables of quantiles.
      {0.0, 7.0, 0.5},           {1.0, 1.0, 0.25},         {3.0, 2.0, 0.5 - 3.0 / std::sqrt(44.0)},
      {2.228139, 10.0, 0.025},   {3.169273, 10.0, 0.005},  {2.042272, 30.0, 0.025},
      {636.619249, 1.0, 0.0005}, {3.0, 1e9, 1.3498980e-3}, {3.0, 99999.0, 1.34992e-3},
      {-2.228139, 10.0, 0.975},  {1e-9, 5.0, 0.5},         {3.0, 0.5, 0.183654}};
  for (const auto& c : cases) {
    EXPECT_NEAR(detail::StudentTail(c.t, c.degrees), c.tail, 3e-6 + c.tail * 2e-5)
        << c.t << ", " << c.degrees;
  }
  EXPECT_EQ(detail::StudentTail(INFINITY, 3.0), 0.0);
  EXPECT_EQ(detail::StudentTail(-1e300, 3.0), 1.0);
  EXPECT_TRUE(std::isnan(detail::StudentTail(NAN, 3.0)));
  EXPECT_TRUE(std::isnan(detail::StudentTail(1.0, 0.0)));
}

TEST(LimitSureness, EffectivePartsFollowTheCorrectionFactor) {
  EXPECT_EQ(ChanceRejection(1.0, 3.0), 0.5);
  EXPECT_EQ(EffectiveParts(0, 50), 0.0);
  EXPECT_EQ(EffectiveParts(1, 50), 1.0);
  EXPECT_EQ(EffectiveParts(40, 10000), 40.0);
  EXPECT_EQ(EffectiveParts(40, 0), 1.0);
  EXPECT_NEAR(EffectiveParts(450001, 10000), 20000.0, 1e-3) << "forgets by then";
  for (const std::int32_t scale : {1, 5, 50, 200}) {
    for (const std::int32_t n : {2, 3, 17, 400}) {
      const double r = double{CExpAverFacGenerator::GetCorrFactor(n, scale)};
      EXPECT_NEAR(EffectiveParts(n, scale), r / (r - 1.0), 1e-4 * EffectiveParts(n, scale))
          << n << ", " << scale;
    }
  }
}

TEST(LimitSureness, OfCurvesAndTracks) {
  CSigCurveExt curve = CSigCurveExt::Make(50, 0.0F, 50.0F);
  CKurvenLernWerkzeug tool;
  EXPECT_EQ(SurenessOf(tool).parts, 0);
  tool.Bildungsregel(0.0F, 3.0F, 0.0F);
  tool.Vorlage(&curve);
  tool.Neustart(10000);
  CTrackLernWerkzeug tracks;
  tracks.Bildungsregel(0.0F, 3.0F);
  tracks.Vorlage(&curve);
  EXPECT_EQ(SurenessOf(tracks).parts, 0);
  CLernenderGrenzwert single;
  single.Neustart(10000);
  single.Bildungsregel(0.0F, 3.0F);
  for (const float x : {1.0F, 2.0F, 3.0F}) {
    single.NeueMessung(x);
  }
  // With 2 degrees of freedom the tail beyond t is 1/2 - t / (2 sqrt(2 + t^2)); t^2 = 9
  // (n-1)/(n+1).
  const double t = 3.0 * std::sqrt(2.0 / 4.0);
  EXPECT_NEAR(SurenessOf(single).rejectedPerPoint, 0.5 - t / (2.0 * std::sqrt(2.0 + t * t)), 1e-9);
  std::mt19937 random(3);
  std::normal_distribution<float> normal(60.0F, 1.0F);
  for (int part = 0; part < 8; ++part) {
    for (float& value : curve.Values()) {
      value = normal(random);
    }
    tool.NeueMessung(&curve);
    CSigCurveExt track = curve;
    track.SetVMinMax(0.0F, part < 6 ? 20.0F : 49.0F);
    tracks.NeueMessung(&track);
  }
  const double perPoint = ChanceRejection(8.0, 3.0);
  const SLimitSureness learnt = SurenessOf(tool);
  EXPECT_TRUE(learnt.parts == 8 && std::fabs(learnt.rejectedBound - 50.0 * perPoint) < 1e-9);
  EXPECT_DOUBLE_EQ(learnt.rejectedPerPoint, perPoint);
  tool.Bildungsregel(20.0F, 3.0F, 0.0F);
  EXPECT_LT(SurenessOf(tool).rejectedPerPoint, perPoint / 100.0) << "the base widens the limit";
  tool.Bildungsregel(0.0F, -3.0F, 0.0F);
  EXPECT_EQ(SurenessOf(tool).rejectedBound, 1.0) << "a share, whatever the sum";

  const SLimitSureness track = SurenessOf(tracks);
  EXPECT_EQ(track.parts, 8) << "points learnt twice are not judged";
  EXPECT_NEAR(track.rejectedPerPoint / ChanceRejection(8.0, 3.0 * std::sqrt(8.0 / 7.0)), 1.0, 0.01)
      << "its spread is without bias";
  EXPECT_NEAR(track.rejectedBound, 19.0 * track.rejectedPerPoint, 1e-12) << "1 to 19";
  tracks.BasisLernenAnzahl(1);
  EXPECT_EQ(SurenessOf(tracks).parts, 2);
}

}  // namespace
}  // namespace limes
