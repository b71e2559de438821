#include "limes/learning/curve_learning_tool.h"

#include "limes/core/object_archive.h"
#include "tests/support/curves.h"
#include "tests/support/loop_cases.h"

namespace limes::test {
namespace {

CKurvenLernWerkzeug Tool(const CSigCurve& grid, float base, float factor, float width = 0.0F) {
  CKurvenLernWerkzeug tool;
  tool.Bildungsregel(base, factor, width);
  tool.Vorlage(&grid);
  tool.Neustart(10000);
  return tool;
}

void Learn(CKurvenLernWerkzeug& tool, const CSigCurveExt& k) { tool.NeueMessung(&k); }

TEST(CurveLearningTool, LearnsMeanSpreadAndLimit) {
  CKurvenLernWerkzeug tool = Tool(MakeExt({9, 9, 9, 9}), 0.5F, 3.0F);
  EXPECT_EQ(tool.GrenzeBilden() + tool.StandardAbwBilden(), 0);
  for (const float y : {1.0F, 2.0F, 3.0F}) {
    Learn(tool, MakeExt({y, 2.0F, -y, 2.0F * y}));
  }
  EXPECT_EQ(tool.StandardAbwBilden() + tool.UpdateLimit(), 2);
  EXPECT_EQ(Shown(tool.NrGelernt(), *tool.StandardAbw()), "3 0.816496 0 0.816496 1.63299");
  EXPECT_EQ(Shown(*tool.Grenzkurve()), "4.94949 2.5 0.94949 9.39898");
  tool.Bildungsregel(1.0F, 0.0F, 0.0F);
  tool.UpdateLimit();
  EXPECT_EQ(Shown(*tool.Grenzkurve()), "3 3 -1 5");
}

TEST(CurveLearningTool, DeviationsTakeOppositeReferences) {
  CKurvenLernWerkzeug tool = Tool(MakeExt(Floats(9, 0.0F)), 5.0F, 0.0F);
  float result[3] = {};
  const auto largest = [&](const CSigCurveExt& k) {
    const float byLimit = tool.MaxAbweichung(&k);
    const float byMean = tool.MaxAbweichung(&k, result, 0);
    return Shown(byLimit, byMean, "at", result, "rms", tool.RmsAbweichung(&k),
                 tool.RmsAbweichung(&k, 1));
  };
  EXPECT_EQ(largest(MakeExt({1, 2})), "0 0 at 0 0 0 rms 0 0") << "nothing learnt";
  Learn(tool, MakeExt(Floats(9, 10.0F)));
  tool.UpdateLimit();
  EXPECT_EQ(largest(MakeExt(Floats(9, 8.0F))), "-7 -2 at 0 8 10 rms 0 0");
  EXPECT_EQ(largest(MakeExt({8, 8, 8, 8, 13, 8, 13, 8, 8})), "-2 3 at 4 13 10 rms 1.41421 0");
  CSigCurveExt part = MakeExt({8, 8, 8, 8, 13, 8, 8, 8, 8});
  EXPECT_EQ(largest(MakeExt({8, 8, 8, 8, 10.75F, 8, 8, 8, 8})),
            "-4.25 0.75 at 4 10.75 10 rms 0.25 0");
  part.SetVMinMax(3.0F, 5.0F);
  EXPECT_EQ(largest(part), "-2 3 at 4 13 10 rms 1.73205 0");
  EXPECT_EQ(largest(MakeExt({99, 99}, 20.0F)), "0 0 at 4 13 10 rms 0 0") << "beside";
  CSigCurveExt fine = MakeExt(Floats(18, 10.0F), 0.0F, 0.5F);
  fine.SetAt(10, 30.0F);
  EXPECT_EQ(largest(fine), "15 20 at 5 30 10 rms 6.66667 5")
      << "the nearest point of the finer curve";
}

TEST(CurveLearningTool, JudgesInThreeStates) {
  const CSigCurveExt good = MakeExt({1, 1, 1, 1});
  CKurvenLernWerkzeug tool = Tool(good, 1.0F, 3.0F);
  const std::string none = Shown(SCurveJudgement());
  EXPECT_EQ(Shown(tool.Judge(good)), none) << "nothing learnt";
  Learn(tool, good);
  EXPECT_EQ(Shown(tool.Judge(good)), none) << "no limit formed yet";
  tool.UpdateLimit();
  const std::pair<CSigCurveExt, std::string> cases[] = {
      {MakeExt({2, 1, 1, 1}), "pass 1 0 3 at 0 0 0 2 2 1 0"},
      {MakeExt({2, 1, NAN, 1}), none},
      {MakeExt({2, 1, -INFINITY, 4}), "fail 1 0 3 at 3 2 1 4 2 1 0"},
      {MakeExt({5, 5}, 2.0F), "fail 0.5 2 3 at 2 3 3 5 2 1 0"},
      {MakeExt({9}, 50.0F), none},
      {CSigCurveExt(), none}};
  for (const auto& [k, expected] : cases) {
    EXPECT_EQ(Shown(tool.Judge(k)), expected) << Shown(k);
  }
  tool.Neustart(10000);
  Learn(tool, good);
  EXPECT_EQ(Shown(tool.Judge(good)), none) << "the limit is of before";
}

TEST(CurveLearningTool, WithoutTemplateNothingHappens) {
  CKurvenLernWerkzeug tool;
  Learn(tool, MakeExt({1}));
  tool.NeueMessung(nullptr);
  tool.ExterneLernzahl(5);
  tool.Vorlage(nullptr);
  EXPECT_EQ(Shown(tool.NrGelernt(), tool.Mittelwert() == nullptr, tool.GrenzeBilden()), "0 1 0");
  tool.Vorlage(3, 0.0F, 6.0F, u"Level");
  tool.ExterneLernzahl(std::numeric_limits<std::int32_t>::max());
  Learn(tool, MakeExt({1}));
  EXPECT_EQ(Shown(tool.NrGelernt(), tool.Mittelwert()->Name(), tool.Mittelwert()->XDelta()),
            "2147483647 -avg 2");
  const wide_string& name = tool.Name();
  tool.Vorlage(3, 0.0F, 6.0F, u"A name that is too long to be kept in place");
  tool.Vorlage(3, 0.0F, 6.0F, name.c_str());
  EXPECT_EQ(Shown(name), "A name that is too long to be kept in place");
}

TEST(CurveLearningTool, KeepsWhatHostsRelyOn) {
  const CSigCurveExt wide = MakeExt({1, 1, 1, 1, 1, 1, 1, 1, 1, 1});
  CSigCurveExt narrow = wide;
  narrow.SetVMinMax(2.0F, 5.0F);
  CKurvenLernWerkzeug tool = Tool(wide, 0.0F, 1.0F);
  Learn(tool, narrow);
  tool.Neustart(10000);
  EXPECT_EQ(Shown(tool.Mittelwert()->IMin(), tool.Mittelwert()->IMax()), "2 5") << "narrowed";
  tool.Vorlage(&wide);
  EXPECT_EQ(tool.Mittelwert()->IMax(), 9);

  CSigCurveExt k = MakeExt({10});
  k.SetName(u"Limes");
  const CSigCurveExt start = MakeExt({100});
  CKurvenLernWerkzeug fresh;
  fresh.Vorlage(&start);
  for (int i = 0; i < 9; ++i) {
    Learn(fresh, k);
  }
  EXPECT_EQ(Shown(*fresh.Mittelwert()), "19") << "the template is in the mean without a restart";
  EXPECT_EQ(fresh.MaxAbweichung(&k, nullptr, 0), 10.0F - (*fresh.Mittelwert())[0]);

  CKurvenLernWerkzeug copy = fresh = Tool(k, 0.0F, 1.0F);
  Learn(copy, k);
  EXPECT_EQ(Shown(*fresh.Mittelwert(), fresh.NrGelernt()), "10 0") << "copies share curves";
  const auto names = [&] { return Shown(copy.Name(), copy.Grenzkurve()->Name()); };
  EXPECT_TRUE(copy.GrenzeBilden() == 1 && names() == "Limes-lim Limes-lim") << names();
  EXPECT_TRUE(copy.GrenzeBilden() == 1 && names() == "Limes-lim-lim Limes-lim-lim") << names();
  EXPECT_TRUE(copy.UpdateLimit() == 1 && names() == "Limes-lim-lim Limes-lim-lim");

  std::vector<std::uint32_t> words(500);
  CSerializer out(words.data(), 500, 0);
  EXPECT_EQ(copy.InArchivSchreiben(&out), 0) << "the words are there all the same";
  EXPECT_EQ(out.GetPosition(), 42U);
  CSerializer in(words.data(), 500, 1);
  EXPECT_EQ(tool.AusArchivLaden(&in) + tool.AusArchivLaden(nullptr), 0);
  EXPECT_EQ(tool.NrGelernt(), 1);
}

TEST(CurveLearningTool, KeepsMisalignedAdditionOfUnfittedCurves) {
  CSigCurveExt first = MakeExt(Floats(20, 0.0F));
  CKurvenLernWerkzeug tool = Tool(first, 0.0F, 1.0F);
  first.SetVMinMax(8.0F, 12.0F);
  Learn(tool, first);
  auto second = MakeRamp<CSigCurveExt>(20);
  second.SetVMinMax(5.0F, 15.0F);
  Learn(tool, second);
  EXPECT_EQ((*tool.Mittelwert())[8], 2.5F);  // half of the value at 5, not of that at 8
  CSigCurveExt fitted;
  ASSERT_TRUE(CSigCurveAssistent::FitTo(second, *tool.Mittelwert(), fitted));
  Learn(tool, fitted);
  EXPECT_FLOAT_EQ((*tool.Mittelwert())[8], 2.5F * 2.0F / 3.0F + 8.0F / 3.0F);
  // Of another step: point after point of the mean takes what the curve has one of its steps on.
  tool = Tool(MakeExt({0, 0, 0, 0}), 0.0F, 1.0F);
  Learn(tool, MakeExt({0, 1, 2, 3, 4, 5, 6, 7}, 0.0F, 0.5F));
  EXPECT_EQ(Shown(*tool.Mittelwert(), *tool.QuadratMW()), "0 1 2 3 0 1 4 9");
}

TEST(CurveLearningTool, OnePassGivesTheBitsOfTheSteps) {
  std::mt19937 random(11);
  for (int round = 0; round < 300; ++round) {
    const int kind = round % 3;
    const std::size_t n = 1 + random() % 70;
    CSigCurveExt mean = MakeExt(RandomFloats(random, n, kind));
    CSigCurveExt meanSquare = mean;
    CKurvenLernWerkzeug tool;
    tool.Vorlage(&mean);
    const auto learn = [&](const CSigCurve& k, float a, const CSigCurve& same) {
      tool.ExternerLernFaktor(a);
      tool.NeueMessung(&k);
      static_cast<CSigCurve&>(mean) *= a;
      static_cast<CSigCurve&>(meanSquare) *= a;
      CSigCurveAssistent::AddierenMitQuadrat(mean, meanSquare, same, 1.0F - a);
      EXPECT_EQ(Difference(tool.Mittelwert()->Values(), mean.Values()), "");
      EXPECT_EQ(Difference(tool.QuadratMW()->Values(), meanSquare.Values()), "");
      EXPECT_EQ(ValidOf(*tool.Mittelwert()), ValidOf(mean));
    };
    for (const float a : {0.0F, 0.25F, 0.25F, 1.0F}) {
      const std::size_t size = random() % 4 != 0 ? n : 1 + random() % 90;
      CSigCurveExt k = MakeExt(RandomFloats(random, size, kind), random() % 3 == 0 ? 5.0F : 0.0F,
                               random() % 8 == 0 ? 2.0F : 1.0F);
      if (random() % 2 == 0) {
        k.SetVIMinMax(static_cast<int>(random() % n), static_cast<int>(random() % n));
      }
      const CSigCurve plain = k;
      random() % 5 == 0 ? learn(plain, a, plain) : learn(k, a, k);
    }
    learn(*tool.Mittelwert(), 0.25F, mean);
    tool.Bildungsregel(0.5F, 3.0F, 0.0F);
    tool.ExterneLernzahl(2);
    ASSERT_EQ(tool.UpdateLimit(), 1);
    CSigCurveExt limit = mean;
    limit.CopyData(meanSquare);
    limit.SubtractSquared(mean);
    limit.SquareRoot();
    static_cast<CSigCurve&>(limit) *= 3.0F;
    limit += mean;
    limit += 0.5F;
    EXPECT_EQ(Difference(tool.Grenzkurve()->Values(), limit.Values()), "");
  }
}

TEST(CurveLearningTool, WideningReachesAsManyPointsAsTheIndexOfItsPlace) {
  Floats peak(100, 0.0F);
  peak[50] = 1.0F;
  peak[99] = 5.0F;  // the last point stays by itself
  const struct {
    float width;
    std::size_t from, to;
  } cases[] = {{0, 50, 50}, {0.4F, 50, 50}, {2, 49, 52}, {40, 20, 81}, {-3, 50, 50}, {NAN, 50, 50}};
  for (const auto& c : cases) {
    CKurvenLernWerkzeug tool = Tool(MakeExt(peak), 0.0F, 1.0F, c.width);
    Learn(tool, MakeExt(peak));
    tool.UpdateLimit();
    Floats expected = peak;
    std::fill(&expected[c.from], &expected[c.to + 1], 1.0F);
    EXPECT_EQ(Difference(tool.Grenzkurve()->Values(), expected), "") << c.width;
  }
}

TEST(LearningLoops, GiveTheBitsOfThePlainLoops) {
  std::mt19937 random(13);
  for (const std::size_t n : {1U, 2U, 5U, 31U, 62U, 63U, 100U, 2047U, 2048U, 2049U, 2080U, 4500U}) {
    for (std::size_t w = 1; w <= 31; ++w) {
      const int kind = static_cast<int>(w % 3);
      Floats k = RandomFloats(random, n, kind);
      ASSERT_TRUE(WideningIsPlain(k, w)) << n << ' ' << w;
      if (w % 7 == 0) {
        std::fill(k.begin(), k.end(), w % 2 == 0 ? NAN : -INFINITY);
      }
      ASSERT_TRUE(JudgingIsPlain(k, RandomFloats(random, n, kind))) << n << ' ' << w;
    }
  }
}

TEST(CurveAssistant, FitsCurvesToAGrid) {
  const CSigCurveExt raster = MakeExt(Floats(6, 0.0F));
  using Binning = CSigCurveAssistent::Binning;
  const Floats fine = {1, 3, 5, 7, 9, 1};
  const struct {
    CSigCurveExt k;
    const char* fitted;  ///< values, and first and last valid index
    Binning binning = Binning::kMean;
  } cases[] = {{MakeExt(fine), "1 3 5 7 9 1 0 5"},
               {MakeExt({1, 2, 3}, 2.0F), "0 0 1 2 3 0 2 4"},
               {MakeExt({1, 2, 3, 4}, -2.0F), "3 4 0 0 0 0 0 1"},
               {MakeExt({0, 4, 8, 12}, 0.0F, 2.0F), "0 2 4 6 8 10 0 5"},
               {MakeExt(fine, 0.0F, 0.5F), "1 4 8 0 0 0 0 2"},
               {MakeExt(fine, 0.0F, 0.5F), "1 5 9 0 0 0 0 2", Binning::kMaximum}};
  CSigCurveExt fitted = MakeExt({7});
  EXPECT_FALSE(CSigCurveAssistent::FitTo(MakeExt({1, 2}, 50.0F), raster, fitted));
  EXPECT_FALSE(CSigCurveAssistent::FitTo(CSigCurve(), raster, fitted));
  EXPECT_EQ(Shown(fitted), "7") << "unchanged";
  for (const auto& c : cases) {
    ASSERT_TRUE(CSigCurveAssistent::FitTo(c.k, raster, fitted, c.binning));
    EXPECT_EQ(Shown(fitted, fitted.IMin(), fitted.IMax()), c.fitted);
  }
  CSigCurve plain = MakeCurve(fine, 0.0F, 6.0F);
  plain.SetYUnit(u"Pa");
  ASSERT_TRUE(CSigCurveAssistent::FitTo(plain, raster, fitted));
  EXPECT_EQ(Shown(fitted, fitted.IMax(), fitted.YUnit().mainunit()), "1 3 5 7 9 1 5 Pa");
  ASSERT_TRUE(CSigCurveAssistent::FitTo(fitted, MakeExt({7}), fitted));
  EXPECT_EQ(fitted.DLen(), 1U);
}

}  // namespace
}  // namespace limes::test
