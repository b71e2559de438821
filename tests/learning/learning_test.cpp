#include <gtest/gtest.h>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/platform/file_stream.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

TEST(LearningLimitValue, LearnsThePlainMean) {
  CLernenderGrenzwert limit;
  limit.Neustart(10000);
  for (const float x : {1.0F, 2.0F, 3.0F}) {
    limit.NeueMessung(x);
  }
  EXPECT_FLOAT_EQ(limit.Mittelwert(), 2.0F);
  EXPECT_FLOAT_EQ(limit.Grenzwert(), 9.449490F);
}

TEST(CurveLearningTool, LearnsJudgesAndKeepsItsState) {
  CSigCurveExt curve = CSigCurveExt::Make(9, 0.0F, 9.0F);
  CKurvenLernWerkzeug tool;
  tool.Bildungsregel(1.0F, 3.0F, 0.0F);
  tool.Vorlage(&curve);
  tool.Neustart(10000);
  for (const float y : {1.0F, 2.0F, 3.0F}) {
    curve = y;
    tool.NeueMessung(&curve);
  }
  EXPECT_EQ(tool.GrenzeAktualisieren(), 1);
  curve = 2.0F;
  curve.SetAt(4, 20.0F);
  const SCurveJudgement judgement = tool.Beurteilen(curve);
  EXPECT_EQ(judgement.verdict, Verdict::kFail);
  EXPECT_EQ(judgement.x, 4.0F);
  CMemoryStream file;
  ASSERT_TRUE(tool.WriteState(file));
  file.Seek(0);
  CKurvenLernWerkzeug back;
  ASSERT_EQ(back.ReadState(file), LearnStateStatus::kOk);
  EXPECT_EQ(back.GrenzeAktualisieren(), 1);
  EXPECT_EQ(back.Beurteilen(curve).deviation, judgement.deviation);
}

}  // namespace
}  // namespace limes
