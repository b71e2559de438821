#include "limes/learning/track_learning_tool.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "limes/core/object_archive.h"
#include "limes/kernels/averaging_factors.h"
#include "limes/learning/learning_loops.h"
#include "limes/signals/extended_curve.h"
#include "tests/support/bits.h"
#include "tests/support/curves.h"

namespace limes {
namespace {

using Generator = CExpAverFacGenerator;

/// n values of y on 0, 1, 2, ... of which those from iMin to iMax are valid.
CSigCurveExt Track(int n, int iMin, int iMax, float y) {
  CSigCurveExt track = test::MakeCurve<CSigCurveExt>(
      std::vector<float>(static_cast<std::size_t>(n), y), 0.0F, static_cast<float>(n));
  track.SetVIMinMax(iMin, iMax);
  return track;
}

CTrackLernWerkzeug Tool(const CSigCurveExt& grid, float base, float factor,
                        std::uint32_t baseCount = 1) {
  CTrackLernWerkzeug tool;
  tool.Bildungsregel(base, factor);
  tool.BasisLernenAnzahl(baseCount);
  tool.Vorlage(&grid);
  return tool;
}

int ThrownBy(CTrackLernWerkzeug& tool, const CSigCurveExt* k) {
  try {
    tool.NeueMessung(k);
  } catch (int reason) {
    return reason;
  }
  return 0;
}

TEST(TrackLearningTool, CountsPointByPoint) {
  CSigCurveExt grid = Track(30, 12, 15, 0.0F);
  grid.SetName(u"Order 2");
  CTrackLernWerkzeug tool = Tool(grid, 0.0F, 1.0F, 3);
  for (const auto& [i0, i1] : {std::pair(10, 20), {10, 20}, {5, 20}}) {
    const CSigCurveExt k = Track(30, i0, i1, 2.0F);
    tool.NeueMessung(&k);
  }
  const CSigCurveExt& counts = *tool.LernzahlKurve();
  const float expected[] = {0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 0};
  for (int i = 0; i <= 20; ++i) {
    EXPECT_EQ(counts[i], expected[i]) << i;
  }
  EXPECT_EQ(std::u16string(counts.Name()), u"n-Learn");
  EXPECT_EQ(counts.YUnit(), u"n");
  EXPECT_EQ(counts.ILen(), 30);
  EXPECT_EQ(tool.Mittelwert()->IMin(), 5);
  EXPECT_EQ(tool.Mittelwert()->IMax(), 20);
  EXPECT_EQ(std::u16string(tool.QuadratMW()->Name()), u"Order 2-sqa");
  ASSERT_TRUE(tool.GrenzeBilden());
  EXPECT_EQ(tool.Grenzkurve()->IMin(), 10);
  EXPECT_EQ(tool.Grenzkurve()->IMax(), 19);
  EXPECT_EQ(std::u16string(tool.Grenzkurve()->Name()), u"Order 2-lim");
}

TEST(TrackLearningTool, MeanSpreadAndLimitOfEachPoint) {
  CTrackLernWerkzeug tool = Tool(Track(4, 0, 3, 0.0F), 0.5F, 3.0F);
  std::vector<double> values;
  double mean = 0.0;
  for (int part = 1; part <= 5; ++part) {
    const auto y = static_cast<float>(part * part % 7);
    const CSigCurveExt k = Track(4, part == 3 ? 1 : 0, 3, y);
    tool.NeueMessung(&k);
    const double a = Generator::GetFactor(part, 200);
    mean = a * mean + (1.0 - a) * y;
  }
  EXPECT_EQ(tool.Lernzahlen()[0], 4U);
  EXPECT_EQ(tool.Lernzahlen()[1], 5U);
  EXPECT_NEAR((*tool.Mittelwert())[1], mean, 1e-5);
  ASSERT_TRUE(tool.GrenzeBilden());
  const float m = (*tool.Mittelwert())[1];
  const double square = (*tool.QuadratMW())[1] - m * m;
  const double s = std::sqrt(square * Generator::GetCorrFactor(5, 200));
  EXPECT_NEAR((*tool.StdAbwKurve())[1], s, 1e-5);
  EXPECT_NEAR((*tool.Grenzkurve())[1], 0.5 + m + 3.0 * s, 1e-5);
  EXPECT_EQ(std::u16string(tool.StdAbwKurve()->Name()), u"StdDev");
  EXPECT_TRUE(tool.StdAbwKurve()->YUnit().empty());
  EXPECT_EQ(WideToUtf8(tool.GrenzParameterText()), " 0.50 + M +  3.00 * S");
}

/// The rules for one curve, point by point.
void LearnPlainly(std::vector<float>& m, std::vector<float>& q, std::vector<std::uint32_t>& counts,
                  const CSigCurveExt& k) {
  for (int i = k.IMin(); i < k.IMax(); ++i) {
    const auto at = static_cast<std::size_t>(i);
    const float y = k[i];
    const auto n = static_cast<std::int32_t>(++counts[at]);
    const float a = Generator::GetFactor(n, 200.0);
    m[at] = n == 1 ? y : a * m[at] + (1.0F - a) * y;
    q[at] = n == 1 ? y * y : a * q[at] + (1.0F - a) * (y * y);
  }
}

TEST(TrackLearningTool, OnePassGivesTheBitsOfThePoints) {
  std::mt19937 random(31);
  for (int round = 0; round < 60; ++round) {
    const int n = 2 + static_cast<int>(random() % (round % 10 == 0 ? 9000 : 200));
    const auto size = static_cast<std::size_t>(n);
    CTrackLernWerkzeug tool = Tool(Track(n, 0, n - 1, 0.0F), 0.25F, 2.0F, random() % 4);
    std::vector<float> m(size), q(size);
    std::vector<std::uint32_t> counts(size);
    for (int part = 0; part < 5; ++part) {
      CSigCurveExt k = test::MakeCurve<CSigCurveExt>(test::RandomFloats(random, size, round % 3),
                                                     0.0F, static_cast<float>(n));
      k.SetVIMinMax(static_cast<int>(random() % size), static_cast<int>(random() % size));
      tool.NeueMessung(&k);
      LearnPlainly(m, q, counts, k);
    }
    ASSERT_TRUE(tool.GrenzeBilden());
    std::int32_t first = 0;
    std::int32_t last = -1;
    for (int i = 0; i < n; ++i) {
      const auto at = static_cast<std::size_t>(i);
      ASSERT_EQ(tool.Lernzahlen()[at], counts[at]);
      ASSERT_TRUE(test::Same((*tool.Mittelwert())[i], m[at])) << i;
      ASSERT_TRUE(test::Same((*tool.QuadratMW())[i], q[at])) << i;
      float d = 0.0F;
      if (counts[at] > 1) {
        const double r = Generator::GetCorrFactor(static_cast<std::int32_t>(counts[at]), 200);
        const double v = double{q[at] - m[at] * m[at]} * r;
        d = 2.0F * (v > 0.0 ? static_cast<float>(std::sqrt(v)) : 0.0F);
      }
      ASSERT_TRUE(test::Same((*tool.Grenzkurve())[i], (m[at] + 0.25F) + d)) << i;
      if (counts[at] >= tool.BasisLernenAnzahl()) {
        last = i;
        first = first == 0 ? i : first;
      }
    }
    if (last >= 0) {
      EXPECT_EQ(tool.Grenzkurve()->IMin(), first);
      EXPECT_EQ(tool.Grenzkurve()->IMax(), last);
    } else {
      EXPECT_FALSE(tool.Grenzkurve()->IsValid());
    }
  }
}

TEST(TrackLearningTool, RefusesWhatDoesNotFit) {
  CTrackLernWerkzeug tool;
  const CSigCurveExt k = Track(10, 0, 9, 1.0F);
  EXPECT_EQ(ThrownBy(tool, &k), CTrackLernWerkzeug::NotInitializedException);
  EXPECT_FALSE(tool.GrenzeBilden());
  EXPECT_EQ(tool.MaxAbweichung(&k), 0.0F);
  EXPECT_EQ(tool.LernzahlKurve()->DLen(), 0U);
  tool.Vorlage(nullptr);
  tool.Vorlage(&k);
  EXPECT_EQ(tool.MaxAbweichung(&k), 0.0F);  // before any limit
  const CSigCurveExt other = Track(11, 0, 9, 1.0F);
  EXPECT_EQ(ThrownBy(tool, &other), CTrackLernWerkzeug::CurvesDontFitException);
  EXPECT_EQ(ThrownBy(tool, nullptr), 0);
  EXPECT_FALSE(tool.HatGelernt());
  EXPECT_EQ(ThrownBy(tool, &k), 0);
  tool.Neustart();
  EXPECT_EQ(tool.Lernzahlen()[3], 0U);
  EXPECT_FALSE(tool.GrenzeBilden());
}

TEST(TrackLearningTool, TakesTheFirstNameWhileItHasNone) {
  CSigCurveExt grid = Track(3, 0, 2, 0.0F);
  grid.SetName(u"Limes");
  CTrackLernWerkzeug tool = Tool(grid, 0.0F, 1.0F);
  CSigCurveExt k = grid;
  k.SetName(u"Order 3");
  tool.NeueMessung(&k);
  EXPECT_EQ(tool.Name(), u"Order 3");
  tool.GrenzeBilden();
  EXPECT_EQ(std::u16string(tool.Grenzkurve()->Name()), u"Order 3-lim");
}

TEST(TrackLearningTool, JudgesOnlyWhereEnoughWasLearnt) {
  CTrackLernWerkzeug tool = Tool(Track(20, 0, 19, 0.0F), 1.0F, 3.0F, 2);
  const CSigCurveExt all = Track(20, 0, 19, 5.0F);
  EXPECT_EQ(tool.Beurteilen(all).verdict, Verdict::kNotJudged);
  for (const auto& [i0, i1] : {std::pair(2, 6), {2, 6}, {10, 15}, {12, 15}}) {
    const CSigCurveExt k = Track(20, i0, i1, 5.0F);
    tool.NeueMessung(&k);
  }
  EXPECT_EQ(tool.Beurteilen(all).verdict, Verdict::kNotJudged);  // no limit formed yet
  ASSERT_TRUE(tool.GrenzeBilden());
  // Learnt twice at 2..5 and 12..14; the gap between has a limit of base + M + 0.
  CSigCurveExt k = all;
  k.SetAt(8, 100.0F);
  k.SetAt(10, 100.0F);
  k.SetAt(16, std::nanf(""));
  EXPECT_GT(tool.MaxAbweichung(&k), 90.0F);
  SCurveJudgement judged = tool.Beurteilen(k);
  EXPECT_EQ(judged.verdict, Verdict::kPass);
  EXPECT_EQ(judged.share, 1.0F);
  EXPECT_EQ(judged.x0, 2.0F);
  EXPECT_EQ(judged.x1, 14.0F);
  const CSigCurveExt gap = Track(20, 7, 10, 5.0F);
  tool.NeueMessung(&gap), tool.NeueMessung(&gap);
  EXPECT_EQ(tool.Beurteilen(k).verdict, Verdict::kPass) << "learnt since the limit was formed";
  k.SetAt(13, 9.0F);
  k.SetVIMinMax(4, 13);
  judged = tool.Beurteilen(k);
  EXPECT_EQ(judged.verdict, Verdict::kFail);
  EXPECT_EQ(judged.x, 13.0F);
  EXPECT_EQ(judged.deviation, 3.0F);
  EXPECT_EQ(judged.mean, 5.0F);
  EXPECT_FLOAT_EQ(judged.share, 4.0F / 7.0F);
  EXPECT_FLOAT_EQ(judged.rms, 1.5F);
  k.SetAt(13, std::nanf(""));
  EXPECT_EQ(tool.Beurteilen(k).verdict, Verdict::kNotJudged);
  tool.Neustart();
  EXPECT_EQ(tool.Beurteilen(all).verdict, Verdict::kNotJudged);
}

TEST(TrackLearningTool, GrowsItsGridRoundWhatIsLearnt) {
  const CSigCurveExt k = Track(20, 3, 9, 5.0F);
  CTrackLernWerkzeug tool = Tool(k, 1.0F, 3.0F);
  EXPECT_FALSE(CTrackLernWerkzeug().RasterErweitern(1, 1));
  tool.NeueMessung(&k);
  EXPECT_FALSE(tool.RasterErweitern(1U << 31, 0));
  ASSERT_TRUE(tool.RasterErweitern(10, 30) && tool.GrenzeBilden());
  const CSigCurveExt& limit = *tool.Grenzkurve();
  EXPECT_EQ(limit.DLen(), 60U);
  EXPECT_EQ(limit.XMin(), -10.0F);
  EXPECT_EQ(limit.XMax(), 50.0F);
  for (int i = 0; i < 60; ++i) {
    const bool learnt = i >= 13 && i < 19;
    EXPECT_EQ(tool.Lernzahlen()[static_cast<std::size_t>(i)], learnt ? 1U : 0U);
    EXPECT_EQ(limit[i], learnt ? 6.0F : 1.0F);
  }
  EXPECT_EQ(limit.VMin(), 3.0F);
  EXPECT_EQ(tool.Mittelwert()->VMax(), 9.0F);
}

TEST(TrackLearningTool, KeepsLimitInvalidBelowTheBaseCount) {
  CTrackLernWerkzeug tool = Tool(Track(10, 0, 9, 0.0F), 0.0F, 1.0F, 5);
  const CSigCurveExt k = Track(10, 0, 9, 3.0F);
  for (int part = 0; part < 4; ++part) {
    tool.NeueMessung(&k);
  }
  EXPECT_TRUE(tool.GrenzeBilden());
  EXPECT_FALSE(tool.Grenzkurve()->IsValid());
  EXPECT_EQ(tool.MaxAbweichung(&k), 0.0F);
  tool.NeueMessung(&k);
  EXPECT_TRUE(tool.GrenzeBilden());
  // The last point is never learnt, and the first one gives way to the second.
  EXPECT_EQ(tool.Grenzkurve()->IMin(), 1);
  EXPECT_EQ(tool.Grenzkurve()->IMax(), 8);
  // A curve of one point cannot be made invalid, but is not judged either.
  CTrackLernWerkzeug one = Tool(Track(1, 0, 0, 0.0F), 0.0F, 1.0F, 5);
  const CSigCurveExt point = Track(1, 0, 0, 9.0F);
  one.NeueMessung(&point);
  EXPECT_TRUE(one.GrenzeBilden());
  EXPECT_EQ(one.MaxAbweichung(&point), 0.0F);
}

TEST(TrackLearningTool, KeepsCountsOfALongerTemplate) {
  CTrackLernWerkzeug tool = Tool(Track(20, 0, 19, 0.0F), 0.0F, 1.0F);
  const CSigCurveExt shorter = Track(5, 0, 4, 0.0F);
  tool.Vorlage(&shorter);
  EXPECT_EQ(tool.Lernzahlen().size(), 20U);
  EXPECT_EQ(tool.LernzahlKurve()->DLen(), 5U);
}

TEST(TrackLearningTool, KeepsArchivingWithoutSuccess) {
  CTrackLernWerkzeug tool = Tool(Track(5, 0, 4, 0.0F), 0.0F, 1.0F);
  std::vector<std::uint32_t> words(500);
  CSerializer out(words.data(), 500, 0);
  EXPECT_FALSE(tool.InArchivSchreiben(&out));
  EXPECT_EQ(out.GetPosition(), 42U);
  EXPECT_EQ(words[42], 1U);
  EXPECT_EQ(words[43], 5U);
  CSerializer in(words.data(), 500, 1);
  CTrackLernWerkzeug back;
  EXPECT_FALSE(back.AusArchivLaden(&in));
  EXPECT_EQ(back.Merge(back), MergeStatus::kGrid);
  words[43] = std::numeric_limits<std::uint32_t>::max();
  CSerializer huge(words.data(), 500, 1);
  EXPECT_FALSE(CTrackLernWerkzeug().AusArchivLaden(&huge));
  EXPECT_FALSE(CTrackLernWerkzeug().InArchivSchreiben(&out));
}

}  // namespace
}  // namespace limes
