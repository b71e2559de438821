#include "limes/learning/curve_learning_tool.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "limes/core/object_archive.h"
#include "limes/learning/learning_loops.h"
#include "limes/signals/extended_curve.h"
#include "tests/support/bits.h"

namespace limes {
namespace {

CSigCurveExt Curve(const std::vector<float>& values, float x0 = 0.0F, float step = 1.0F) {
  CSigCurveExt curve = CSigCurveExt::Make(static_cast<int>(values.size()), x0,
                                          x0 + step * static_cast<float>(values.size()));
  std::copy(values.begin(), values.end(), curve.ValArray());
  return curve;
}

CKurvenLernWerkzeug Tool(const CSigCurve& grid, float base, float factor, float width = 0.0F) {
  CKurvenLernWerkzeug tool;
  tool.Bildungsregel(base, factor, width);
  tool.Vorlage(&grid);
  tool.Neustart(10000);
  return tool;
}

void ExpectSame(const CSigCurve& a, const CSigCurve& b) {
  ASSERT_EQ(a.DLen(), b.DLen());
  for (std::size_t i = 0; i < a.DLen(); ++i) {
    EXPECT_TRUE(test::Same(a.ValArray()[i], b.ValArray()[i]))
        << i << ": " << a.ValArray()[i] << " and " << b.ValArray()[i];
  }
}

TEST(CurveLearningTool, LearnsMeanSpreadAndLimit) {
  const CSigCurveExt grid = Curve({9.0F, 9.0F, 9.0F, 9.0F});
  CKurvenLernWerkzeug tool = Tool(grid, 0.5F, 3.0F);
  EXPECT_EQ(tool.GrenzeBilden(), 0);
  EXPECT_EQ(tool.StandardAbwBilden(), 0);
  for (const float y : {1.0F, 2.0F, 3.0F}) {
    const CSigCurveExt k = Curve({y, 2.0F, -y, 2.0F * y});
    tool.NeueMessung(&k);
  }
  EXPECT_EQ(tool.NrGelernt(), 3);
  EXPECT_EQ(tool.StandardAbwBilden(), 1);
  EXPECT_EQ(tool.GrenzeAktualisieren(), 1);
  const float s = std::sqrt(2.0F / 3.0F);
  const float spread[] = {s, 0.0F, s, 2.0F * s};
  const float mean[] = {2.0F, 2.0F, -2.0F, 4.0F};
  for (int i = 0; i < 4; ++i) {
    EXPECT_NEAR((*tool.StandardAbw())[i], spread[i], 2e-3F);
    EXPECT_NEAR((*tool.Grenzkurve())[i], 0.5F + mean[i] + 3.0F * spread[i], 5e-3F);
  }
  tool.Bildungsregel(1.0F, 0.0F, 0.0F);
  tool.GrenzeAktualisieren();
  EXPECT_FLOAT_EQ((*tool.Grenzkurve())[3], 5.0F);
}

TEST(CurveLearningTool, DeviationsTakeOppositeReferences) {
  const CSigCurveExt grid = Curve(std::vector<float>(9, 0.0F));
  CKurvenLernWerkzeug tool = Tool(grid, 5.0F, 0.0F);
  EXPECT_EQ(tool.MaxAbweichung(&grid), 0.0F);  // nothing learnt
  const CSigCurveExt good = Curve(std::vector<float>(9, 10.0F));
  tool.NeueMessung(&good);
  tool.GrenzeAktualisieren();
  CSigCurveExt k = Curve(std::vector<float>(9, 8.0F));
  float result[3] = {};
  EXPECT_EQ(tool.MaxAbweichung(&k, result, 0), -2.0F);
  EXPECT_EQ(result[0], 0.0F);
  EXPECT_EQ(tool.MaxAbweichung(&k), -7.0F);
  k.SetAt(4, 13.0F);
  k.SetAt(6, 13.0F);
  EXPECT_EQ(tool.MaxAbweichung(&k, result, 0), 3.0F);
  EXPECT_EQ(result[0], 4.0F);
  EXPECT_EQ(result[1], 13.0F);
  EXPECT_EQ(result[2], 10.0F);
  k.SetAt(6, 8.0F);
  EXPECT_EQ(tool.RmsAbweichung(&k), 1.0F);
  EXPECT_EQ(tool.RmsAbweichung(&k, 1), 0.0F);
  k.SetVMinMax(3.0F, 5.0F);
  EXPECT_FLOAT_EQ(tool.RmsAbweichung(&k), std::sqrt(3.0F));
  const CSigCurveExt beside = Curve({99.0F, 99.0F}, 20.0F);
  EXPECT_EQ(tool.MaxAbweichung(&beside), 0.0F);
  EXPECT_EQ(tool.RmsAbweichung(&beside), 0.0F);
  // Another step: the nearest point of the finer curve.
  CSigCurveExt fine = Curve(std::vector<float>(18, 10.0F), 0.0F, 0.5F);
  fine.SetAt(10, 30.0F);
  EXPECT_EQ(tool.MaxAbweichung(&fine, result, 0), 20.0F);
  EXPECT_EQ(result[0], 5.0F);
}

TEST(CurveLearningTool, JudgesInThreeStates) {
  const CSigCurveExt good = Curve({1.0F, 1.0F, 1.0F, 1.0F});
  CKurvenLernWerkzeug tool = Tool(good, 1.0F, 3.0F);
  EXPECT_EQ(tool.Beurteilen(good).verdict, Verdict::kNotJudged);
  tool.NeueMessung(&good);
  EXPECT_EQ(tool.Beurteilen(good).verdict, Verdict::kNotJudged);  // no limit formed yet
  tool.GrenzeAktualisieren();
  CSigCurveExt k = Curve({2.0F, 1.0F, 1.0F, 1.0F});
  EXPECT_EQ(tool.Beurteilen(k).verdict, Verdict::kPass);  // on the limit
  EXPECT_EQ(tool.Beurteilen(k).share, 1.0F);
  for (const float odd : {std::nanf(""), -std::numeric_limits<float>::infinity()}) {
    k.SetAt(2, odd);
    EXPECT_EQ(tool.Beurteilen(k).verdict, Verdict::kNotJudged);
  }
  k.SetAt(3, 4.0F);
  const SCurveJudgement judged = tool.Beurteilen(k);
  EXPECT_EQ(judged.verdict, Verdict::kFail);
  EXPECT_EQ(judged.deviation, 2.0F);
  EXPECT_EQ(judged.x, 3.0F);
  EXPECT_EQ(judged.limit, 2.0F);
  EXPECT_EQ(judged.mean, 1.0F);
  EXPECT_EQ(judged.rms, 1.0F);
  const CSigCurveExt part = Curve({5.0F, 5.0F}, 2.0F);
  EXPECT_EQ(tool.Beurteilen(part).share, 0.5F);
  EXPECT_EQ(tool.Beurteilen(Curve({9.0F}, 50.0F)).verdict, Verdict::kNotJudged);
  EXPECT_EQ(tool.Beurteilen(CSigCurve()).verdict, Verdict::kNotJudged);
  tool.Neustart(10000);
  tool.NeueMessung(&good);
  EXPECT_EQ(tool.Beurteilen(k).verdict, Verdict::kNotJudged);
}

TEST(CurveLearningTool, WithoutTemplateNothingHappens) {
  CKurvenLernWerkzeug tool;
  const CSigCurveExt k = Curve({1.0F});
  tool.NeueMessung(&k);
  tool.NeueMessung(nullptr);
  tool.ExterneLernzahl(5);
  tool.Vorlage(nullptr);
  EXPECT_EQ(tool.NrGelernt(), 0);
  EXPECT_EQ(tool.Mittelwert(), nullptr);
  EXPECT_EQ(tool.GrenzeBilden(), 0);
  EXPECT_EQ(WideToUtf8(tool.GrenzParameterText()), " 0.00 + M +  1.00 * S");
  tool.Vorlage(3, 0.0F, 6.0F, u"Level");
  EXPECT_EQ(std::u16string(tool.Mittelwert()->Name()), u"-avg");
  EXPECT_EQ(tool.Mittelwert()->XDelta(), 2.0F);
  tool.ExterneLernzahl(5);
  EXPECT_EQ(tool.NrGelernt(), 5);
}

TEST(CurveLearningTool, CopiesShareTheirCurves) {
  const CSigCurveExt k = Curve({1.0F, 2.0F});
  CKurvenLernWerkzeug tool = Tool(k, 0.0F, 1.0F);
  CKurvenLernWerkzeug copy = tool;
  copy.NeueMessung(&k);
  EXPECT_EQ(copy.Mittelwert(), tool.Mittelwert());
  EXPECT_EQ((*tool.Mittelwert())[1], 2.0F);
  EXPECT_EQ(tool.NrGelernt(), 0);
}

TEST(CurveLearningTool, KeepsTemplateInTheMeanWithoutRestart) {
  const CSigCurveExt start = Curve({100.0F});
  CKurvenLernWerkzeug tool;
  tool.Vorlage(&start);
  const CSigCurveExt k = Curve({10.0F});
  for (int i = 0; i < 9; ++i) {
    tool.NeueMessung(&k);
  }
  EXPECT_FLOAT_EQ((*tool.Mittelwert())[0], 19.0F);
}

TEST(CurveLearningTool, KeepsNameGrowing) {
  CSigCurveExt k = Curve({1.0F});
  k.SetName(u"Limes");
  CKurvenLernWerkzeug tool = Tool(k, 0.0F, 1.0F);
  EXPECT_EQ(std::u16string(tool.QuadratMW()->Name()), u"Limes-sqa");
  tool.NeueMessung(&k);
  EXPECT_EQ(tool.GrenzeBilden(), 1);
  EXPECT_EQ(std::u16string(tool.Grenzkurve()->Name()), u"Limes-lim");
  EXPECT_EQ(tool.GrenzeBilden(), 1);
  EXPECT_EQ(std::u16string(tool.Grenzkurve()->Name()), u"Limes-lim-lim");
  EXPECT_EQ(tool.GrenzeAktualisieren(), 1);
  EXPECT_EQ(tool.Name(), u"Limes-lim-lim");
}

TEST(CurveLearningTool, KeepsNarrowedRangeOverRestart) {
  const CSigCurveExt wide = Curve(std::vector<float>(10, 1.0F));
  CKurvenLernWerkzeug tool = Tool(wide, 0.0F, 1.0F);
  CSigCurveExt narrow = wide;
  narrow.SetVMinMax(2.0F, 5.0F);
  tool.NeueMessung(&narrow);
  tool.Neustart(10000);
  EXPECT_EQ(tool.Mittelwert()->IMin(), 2);
  EXPECT_EQ(tool.Mittelwert()->IMax(), 5);
  tool.Vorlage(&wide);
  EXPECT_EQ(tool.Mittelwert()->IMax(), 9);
}

TEST(CurveLearningTool, KeepsMisalignedAdditionOfUnfittedCurves) {
  const CSigCurveExt grid = Curve(std::vector<float>(20, 0.0F));
  CKurvenLernWerkzeug tool = Tool(grid, 0.0F, 1.0F);
  CSigCurveExt first = grid;
  first.SetVMinMax(8.0F, 12.0F);
  tool.NeueMessung(&first);
  std::vector<float> ramp(20);
  for (std::size_t i = 0; i < ramp.size(); ++i) {
    ramp[i] = static_cast<float>(i);
  }
  CSigCurveExt second = Curve(ramp);
  second.SetVMinMax(5.0F, 15.0F);
  tool.NeueMessung(&second);
  EXPECT_EQ((*tool.Mittelwert())[8], 2.5F);  // half of the value at 5, not of that at 8
  CSigCurveExt fitted;
  ASSERT_TRUE(CSigCurveAssistent::AnpassenAn(second, *tool.Mittelwert(), fitted));
  tool.NeueMessung(&fitted);
  EXPECT_FLOAT_EQ((*tool.Mittelwert())[8], 2.5F * 2.0F / 3.0F + 8.0F / 3.0F);
}

TEST(CurveLearningTool, KeepsArchivingWithoutSuccess) {
  const CSigCurveExt k = Curve({1.0F});
  CKurvenLernWerkzeug tool = Tool(k, 0.0F, 1.0F);
  tool.NeueMessung(&k);
  std::vector<std::uint32_t> words(500);
  CSerializer out(words.data(), 500, 0);
  EXPECT_EQ(tool.InArchivSchreiben(&out), 0);
  EXPECT_EQ(out.GetPosition(), 42U);
  CSerializer in(words.data(), 500, 1);
  CKurvenLernWerkzeug back;
  EXPECT_EQ(back.AusArchivLaden(&in), 0);
  EXPECT_EQ(back.StandardAbw(), nullptr);
  EXPECT_EQ(back.NrGelernt(), 1);
}

/// One curve learnt by the separate steps.
void LearnInSteps(CSigCurveExt& mean, CSigCurveExt& meanSquare, const CSigCurve& k, float a) {
  static_cast<CSigCurve&>(mean) *= a;
  static_cast<CSigCurve&>(meanSquare) *= a;
  CSigCurveAssistent::AddierenMitQuadrat(mean, meanSquare, k, 1.0F - a);
}

TEST(CurveLearningTool, OnePassGivesTheBitsOfTheSteps) {
  std::mt19937 random(11);
  for (int round = 0; round < 300; ++round) {
    const int kind = round % 3;
    const std::size_t n = 1 + random() % 70;
    CSigCurveExt grid = Curve(test::RandomFloats(random, n, kind));
    CKurvenLernWerkzeug tool;
    tool.Vorlage(&grid);
    CSigCurveExt mean = grid;
    CSigCurveExt meanSquare = grid;
    for (int part = 0; part < 4; ++part) {
      const bool same = random() % 4 != 0;
      CSigCurveExt k = Curve(test::RandomFloats(random, same ? n : 1 + random() % 90, kind),
                             random() % 3 == 0 ? 5.0F : 0.0F, random() % 8 == 0 ? 2.0F : 1.0F);
      if (random() % 2 == 0) {
        k.SetVIMinMax(static_cast<int>(random() % n), static_cast<int>(random() % n));
      }
      const float a = part == 0 ? 0.0F : part == 3 ? 1.0F : 0.25F;
      tool.ExternerLernFaktor(a);
      const CSigCurve plain = k;
      const CSigCurve& source =
          random() % 5 == 0 ? static_cast<const CSigCurve&>(plain) : static_cast<CSigCurve&>(k);
      tool.NeueMessung(&source);
      LearnInSteps(mean, meanSquare, source, a);
      ExpectSame(*tool.Mittelwert(), mean);
      ExpectSame(*tool.QuadratMW(), meanSquare);
      EXPECT_EQ(tool.Mittelwert()->IMin(), mean.IMin());
      EXPECT_EQ(tool.Mittelwert()->IMax(), mean.IMax());
      EXPECT_TRUE(test::Same(tool.QuadratMW()->VMax(), meanSquare.VMax()));
    }
    // The mean itself learnt, as a curve.
    tool.NeueMessung(tool.Mittelwert());
    LearnInSteps(mean, meanSquare, mean, 1.0F);
    ExpectSame(*tool.QuadratMW(), meanSquare);

    tool.Bildungsregel(0.5F, 3.0F, 0.0F);
    tool.ExterneLernzahl(2);
    ASSERT_EQ(tool.GrenzeAktualisieren(), 1);
    CSigCurveExt limit = mean;
    limit.CopyData(meanSquare);
    limit.SubtractSquared(mean);
    limit.SquareRoot();
    static_cast<CSigCurve&>(limit) *= 3.0F;
    limit += mean;
    limit += 0.5F;
    ExpectSame(*tool.Grenzkurve(), limit);
  }
}

TEST(LearningLoops, WideningGivesTheBitsOfThePlainLoop) {
  std::mt19937 random(12);
  for (const std::size_t n : {1U, 2U, 5U, 31U, 62U, 63U, 100U, 2047U, 2048U, 2049U, 2080U, 4500U}) {
    for (std::size_t w = 1; w <= 31; ++w) {
      for (int kind = 0; kind < 3; ++kind) {
        const std::vector<float> old = test::RandomFloats(random, n, kind);
        std::vector<float> wide = old;
        detail::WidenValues(wide.data(), n, w);
        for (std::size_t i = 0; i < n; ++i) {
          float largest = std::nanf("");
          for (std::size_t j = i - std::min(w, i); j <= std::min(i + w - 1, n - 1); ++j) {
            if (old[j] > largest || (std::isnan(largest) && !std::isnan(old[j]))) {
              largest = old[j];
            }
          }
          ASSERT_TRUE(test::Same(wide[i], std::isnan(largest) ? old[i] : largest))
              << n << ' ' << w << ' ' << kind << ' ' << i;
        }
      }
    }
  }
}

TEST(CurveLearningTool, WideningReachesAsManyPointsAsTheIndexOfItsPlace) {
  std::vector<float> peak(100, 0.0F);
  peak[50] = 1.0F;
  peak[99] = 5.0F;
  const struct {
    float width;
    int from, to;
  } cases[] = {{0.0F, 50, 50},  {0.4F, 50, 50},  {2.0F, 49, 52},
               {40.0F, 20, 81}, {-3.0F, 50, 50}, {std::nanf(""), 50, 50}};
  for (const auto& c : cases) {
    const CSigCurveExt k = Curve(peak);
    CKurvenLernWerkzeug tool = Tool(k, 0.0F, 1.0F, c.width);
    tool.NeueMessung(&k);
    tool.GrenzeAktualisieren();
    for (int i = 0; i < 99; ++i) {
      EXPECT_EQ((*tool.Grenzkurve())[i], i >= c.from && i <= c.to ? 1.0F : 0.0F) << c.width << i;
    }
    EXPECT_EQ((*tool.Grenzkurve())[99], 5.0F);  // the last point stays by itself
  }
}

TEST(LearningLoops, LargestDifferenceIsThatOfThePlainLoop) {
  std::mt19937 random(13);
  for (int round = 0; round < 400; ++round) {
    const std::size_t n = 1 + random() % (round % 10 == 0 ? 1500 : 60);
    std::vector<float> k = test::RandomFloats(random, n, round % 3);
    const std::vector<float> r = test::RandomFloats(random, n, round % 3);
    if (round % 7 == 0) {
      std::fill(k.begin(), k.end(),
                round % 2 == 0 ? std::nanf("") : -std::numeric_limits<float>::infinity());
    }
    detail::SLargest plain{0, std::nanf("")};
    double sum = 0.0;
    bool finite = true;
    for (std::size_t i = 0; i < n; ++i) {
      const float d = k[i] - r[i];
      if (d > plain.difference || (std::isnan(plain.difference) && !std::isnan(d))) {
        plain = {i, d};
      }
      sum += k[i] > r[i] ? double{d} * double{d} : 0.0;
      finite = finite && std::isfinite(k[i]) && std::isfinite(r[i]);
    }
    const detail::SLargest fast = detail::LargestDifference(k.data(), r.data(), n);
    EXPECT_EQ(fast.index, plain.index);
    EXPECT_TRUE(test::Same(fast.difference, plain.difference));
    EXPECT_TRUE(test::Same(detail::AddSquaredExcess(0.0, k.data(), r.data(), n), sum));
    EXPECT_EQ(detail::AreFinite(k.data(), r.data(), n), finite);
  }
}

TEST(CurveAssistant, FitsCurvesToAGrid) {
  const CSigCurveExt raster = Curve(std::vector<float>(6, 0.0F));
  using Binning = CSigCurveAssistent::Binning;
  const struct {
    const char* name;
    CSigCurveExt k;
    Binning binning;
    std::vector<float> fitted;
    int iMin, iMax;
  } cases[] = {
      {"same grid", Curve({1, 2, 3, 4, 5, 6}), Binning::kMean, {1, 2, 3, 4, 5, 6}, 0, 5},
      {"shifted by two steps", Curve({1, 2, 3}, 2.0F), Binning::kMean, {0, 0, 1, 2, 3, 0}, 2, 4},
      {"reaches out", Curve({1, 2, 3, 4}, -2.0F), Binning::kMean, {3, 4, 0, 0, 0, 0}, 0, 1},
      {"coarser", Curve({0, 4, 8, 12}, 0.0F, 2.0F), Binning::kMean, {0, 2, 4, 6, 8, 10}, 0, 5},
      {"finer, mean",
       Curve({1, 3, 5, 7, 9, 1}, 0.0F, 0.5F),
       Binning::kMean,
       {1, 4, 8, 0, 0, 0},
       0,
       2},
      {"finer, maximum",
       Curve({1, 3, 5, 7, 9, 1}, 0.0F, 0.5F),
       Binning::kMaximum,
       {1, 5, 9, 0, 0, 0},
       0,
       2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    CSigCurveExt fitted;
    ASSERT_TRUE(CSigCurveAssistent::AnpassenAn(c.k, raster, fitted, c.binning));
    EXPECT_EQ(fitted.IMin(), c.iMin);
    EXPECT_EQ(fitted.IMax(), c.iMax);
    ExpectSame(fitted, Curve(c.fitted));
  }
  CSigCurveExt fitted = Curve({7.0F});
  EXPECT_FALSE(CSigCurveAssistent::AnpassenAn(Curve({1, 2}, 50.0F), raster, fitted));
  EXPECT_FALSE(CSigCurveAssistent::AnpassenAn(CSigCurve(), raster, fitted));
  EXPECT_EQ(fitted[0], 7.0F);
  ASSERT_TRUE(CSigCurveAssistent::AnpassenAn(fitted, raster, fitted));
  EXPECT_EQ(fitted.DLen(), 6U);
}

TEST(CurveAssistant, FittedCurvesNeverMisalignInLearning) {
  std::mt19937 random(14);
  for (int round = 0; round < 200; ++round) {
    const float x0 = static_cast<float>(random() % 100);
    const float step = 0.1F * static_cast<float>(1 + random() % 30);
    const CSigCurveExt grid = Curve(std::vector<float>(50, 0.0F), x0, step);
    CKurvenLernWerkzeug tool = Tool(grid, 0.0F, 1.0F);
    for (int part = 0; part < 5; ++part) {
      CSigCurveExt k = Curve(std::vector<float>(60, 1.0F), x0, step);
      k.SetVIMinMax(static_cast<int>(random() % 20), 30 + static_cast<int>(random() % 30));
      CSigCurveExt fitted;
      if (CSigCurveAssistent::AnpassenAn(k, *tool.Mittelwert(), fitted)) {
        tool.NeueMessung(&fitted);
        EXPECT_EQ(tool.Mittelwert()->IMin(), fitted.IMin());
        EXPECT_EQ(tool.Mittelwert()->IMax(), fitted.IMax());
      }
    }
    for (int i = tool.Mittelwert()->IMin(); i <= tool.Mittelwert()->IMax(); ++i) {
      EXPECT_NEAR((*tool.Mittelwert())[i], 1.0F, 1e-5F);
    }
  }
}

}  // namespace
}  // namespace limes
