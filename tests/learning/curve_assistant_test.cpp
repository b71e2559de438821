#include "limes/learning/curve_assistant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/signals/extended_curve.h"
#include "tests/support/curves.h"

namespace limes {
namespace {

using Assistant = CSigCurveAssistent;
using Floats = std::vector<float>;

CSigCurveExt Ext(const Floats& values) {
  return test::MakeCurve<CSigCurveExt>(values, 0.0F, static_cast<float>(values.size()));
}

TEST(CurveAssistant, RegionsOfExcess) {
  const CSigCurveExt limit = Ext(Floats(10, 5.0F));
  const CSigCurveExt k = Ext({6, 5, 7, 9, 9, NAN, 8, 1, INFINITY, 6});
  std::vector<SCurveExcess> regions(7);
  ASSERT_TRUE(Assistant::Ueberschreitungen(k, limit, regions));
  const struct {
    float x0, x1;
    std::int32_t points;
    float x, excess;
  } expected[] = {{0, 0, 1, 0, 1}, {2, 4, 3, 3, 4}, {6, 6, 1, 6, 3}, {8, 9, 2, 8, INFINITY}};
  ASSERT_EQ(regions.size(), std::size(expected));
  for (std::size_t i = 0; i < regions.size(); ++i) {
    EXPECT_EQ(regions[i].x0, expected[i].x0);
    EXPECT_EQ(regions[i].x1, expected[i].x1);
    EXPECT_EQ(regions[i].points, expected[i].points);
    EXPECT_EQ(regions[i].x, expected[i].x);
    EXPECT_EQ(regions[i].index, static_cast<std::int32_t>(expected[i].x));
    EXPECT_EQ(regions[i].excess, expected[i].excess);
  }
  CSigCurveExt part = k;
  part.SetVMinMax(3.0F, 6.0F);
  ASSERT_TRUE(Assistant::Ueberschreitungen(part, limit, regions));
  ASSERT_EQ(regions.size(), 2U);
  EXPECT_EQ(regions[0].x0, 3.0F);
  ASSERT_TRUE(Assistant::Ueberschreitungen(CSigCurve(), limit, regions));
  EXPECT_TRUE(regions.empty());
}

TEST(CurveAssistant, RegionsOfALearntLimit) {
  CKurvenLernWerkzeug tool;
  tool.Bildungsregel(0.0F, 2.0F, 0.0F);
  CTrackLernWerkzeug tracks;
  tracks.Bildungsregel(0.0F, 2.0F);
  CSigCurveExt k = Ext(Floats(8, 1.0F));
  std::vector<SCurveExcess> regions;
  tool.Vorlage(&k);
  tool.Neustart(10000);
  ASSERT_TRUE(tool.Ueberschreitungen(k, regions));
  k.SetVMinMax(0.0F, 5.0F);
  tracks.Vorlage(&k);
  k.ResetVMinMax();
  for (const float y : {9.0F, 11.0F, 9.0F, 11.0F, 9.0F, 11.0F}) {
    static_cast<CSigCurve&>(k) = y;
    tool.NeueMessung(&k);
    k.SetVMinMax(0.0F, 5.0F);
    tracks.NeueMessung(&k);
    k.ResetVMinMax();
  }
  tool.GrenzeAktualisieren();
  tracks.GrenzeBilden();
  k = Ext({10, 14, 15, 10, 10, 10, 10, 20});
  ASSERT_TRUE(tool.Ueberschreitungen(k, regions));
  ASSERT_EQ(regions.size(), 2U);
  EXPECT_EQ(regions[0].value, 15.0F);
  EXPECT_FLOAT_EQ(regions[0].limit, 12.0F);
  EXPECT_FLOAT_EQ(regions[0].mean, 10.0F);
  EXPECT_FLOAT_EQ(regions[0].spread, 1.0F);
  EXPECT_EQ(regions[0].excess, tool.Beurteilen(k).deviation - 5.0F);
  ASSERT_TRUE(tracks.Ueberschreitungen(k, regions));
  ASSERT_EQ(regions.size(), 1U) << "x = 7 was never learnt";
  EXPECT_GT(regions[0].spread, 1.0F) << "without bias";
  EXPECT_EQ(regions[0].spread, tracks.Beurteilen(k).spread);
}

}  // namespace
}  // namespace limes
