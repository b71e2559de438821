#include "limes/learning/track_learning_tool.h"

#include "limes/core/object_archive.h"
#include "limes/kernels/averaging_factors.h"
#include "limes/learning/learning_loops.h"
#include "tests/support/curves.h"

namespace limes::test {
namespace {

using Generator = CExpAverFacGenerator;

/// n values of y on 0, 1, 2, ... of which those from iMin to iMax are valid.
CSigCurveExt Track(int n, int iMin, int iMax, float y) {
  CSigCurveExt track = MakeExt(std::vector<float>(static_cast<std::size_t>(n), y));
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

std::string Range(const CSigCurveExt& curve) { return Shown(curve.IMin(), curve.IMax()); }

int ThrownBy(CTrackLernWerkzeug& tool, const CSigCurveExt* k) {
  try {
    tool.NeueMessung(k);
  } catch (int reason) {
    return reason;
  }
  return 0;
}

TEST(TrackLearningTool, CountsPointByPoint) {
  CSigCurveExt grid = Track(22, 12, 15, 0.0F);
  grid.SetName(u"Order 2");
  CTrackLernWerkzeug tool = Tool(grid, 0.0F, 1.0F, 3);
  for (const auto& [i0, i1] : {std::pair(10, 20), {10, 20}, {5, 20}}) {
    const CSigCurveExt k = Track(22, i0, i1, 2.0F);
    tool.NeueMessung(&k);
  }
  const CSigCurveExt& counts = *tool.LernzahlKurve();
  EXPECT_EQ(Shown(counts), "0 0 0 0 0 1 1 1 1 1 3 3 3 3 3 3 3 3 3 3 0 0");
  EXPECT_EQ(Shown(Range(counts), counts.Name(), counts.YUnit().prefixunit()), "0 21 n-Learn n");
  EXPECT_EQ(Range(*tool.Mittelwert()), "5 20");
  ASSERT_TRUE(tool.GrenzeBilden());
  EXPECT_EQ(Range(*tool.Grenzkurve()), "10 19");
  EXPECT_EQ(Shown(tool.QuadratMW()->Name(), tool.Grenzkurve()->Name(), tool.StdAbwKurve()->Name()),
            "Order 2-sqa Order 2-lim StdDev");
  EXPECT_TRUE(tool.StdAbwKurve()->YUnit().empty());

  grid.SetName(u"Limes");  // no name of its own yet: the first measurement's
  tool.Vorlage(&grid);
  grid.SetName(u"Order 3");
  tool.NeueMessung(&grid);
  EXPECT_EQ(tool.Name(), u"Order 3");
}

TEST(TrackLearningTool, OnePassGivesTheBitsOfThePoints) {
  std::mt19937 random(31);
  for (int round = 0; round < 60; ++round) {
    const int n = 2 + static_cast<int>(random() % (round % 10 == 0 ? 9000 : 200));
    const auto size = static_cast<std::size_t>(n);
    CTrackLernWerkzeug tool = Tool(Track(n, 0, n - 1, 0.0F), 0.25F, 2.0F, random() % 4);
    std::vector<float> m(size), q(size), limit;
    std::vector<std::int32_t> counts(size);
    for (int part = 0; part < 5; ++part) {
      CSigCurveExt k = MakeExt(RandomFloats(random, size, round % 3));
      k.SetVIMinMax(static_cast<int>(random() % size), static_cast<int>(random() % size));
      tool.NeueMessung(&k);
      for (auto i = static_cast<std::size_t>(k.IMin()); static_cast<int>(i) < k.IMax(); ++i) {
        const float y = k.Values()[i];
        const float a = Generator::GetFactor(++counts[i], 200.0);
        m[i] = counts[i] == 1 ? y : a * m[i] + (1.0F - a) * y;
        q[i] = counts[i] == 1 ? y * y : a * q[i] + (1.0F - a) * (y * y);
      }
    }
    ASSERT_TRUE(tool.GrenzeBilden());
    EXPECT_EQ(Shown(tool.LearnCounts()), Shown(counts));
    EXPECT_EQ(Difference(tool.Mittelwert()->Values(), m), "");
    EXPECT_EQ(Difference(tool.QuadratMW()->Values(), q), "");
    int first = 0;
    int last = -1;
    for (std::size_t i = 0; i < size; ++i) {
      const double r = Generator::GetCorrFactor(counts[i], 200);
      const double v = counts[i] > 1 ? double{q[i] - m[i] * m[i]} * r : 0.0;
      limit.push_back((m[i] + 0.25F) + 2.0F * (v > 0.0 ? static_cast<float>(std::sqrt(v)) : 0.0F));
      if (static_cast<std::uint32_t>(counts[i]) >= tool.BasisLernenAnzahl()) {
        last = static_cast<int>(i);
        first = first == 0 ? last : first;
      }
    }
    EXPECT_EQ(Difference(tool.Grenzkurve()->Values(), limit), "");
    EXPECT_TRUE(last < 0 ? !tool.Grenzkurve()->IsValid()
                         : Range(*tool.Grenzkurve()) == Shown(first, last));
  }
}

TEST(TrackLearningTool, RefusesWhatDoesNotFit) {
  CTrackLernWerkzeug tool;
  const CSigCurveExt k = Track(10, 0, 9, 1.0F);
  EXPECT_EQ(ThrownBy(tool, &k), CTrackLernWerkzeug::NotInitializedException);
  const auto nothing = [&] {
    return !tool.HatGelernt() && !tool.GrenzeBilden() && tool.MaxAbweichung(&k) == 0.0F;
  };
  EXPECT_TRUE(nothing() && tool.LernzahlKurve()->DLen() == 0);
  tool.Vorlage(nullptr);
  tool.Vorlage(&k);
  const CSigCurveExt other = Track(11, 0, 9, 1.0F);
  EXPECT_EQ(ThrownBy(tool, &other), CTrackLernWerkzeug::CurvesDontFitException);
  EXPECT_EQ(ThrownBy(tool, nullptr), 0);
  EXPECT_TRUE(nothing());
  EXPECT_EQ(ThrownBy(tool, &k), 0);
  tool.Neustart();
  EXPECT_TRUE(nothing() && tool.LearnCounts()[3] == 0);
}

TEST(TrackLearningTool, JudgesOnlyWhereEnoughWasLearnt) {
  CTrackLernWerkzeug tool = Tool(Track(20, 0, 19, 0.0F), 1.0F, 3.0F, 2);
  CSigCurveExt k = Track(20, 0, 19, 5.0F);
  const auto judged = [&] { return Shown(tool.Judge(k)); };
  const std::string none = Shown(SCurveJudgement());
  const auto learn = [&](int i0, int i1) {
    const CSigCurveExt part = Track(20, i0, i1, 5.0F);
    tool.NeueMessung(&part);
  };
  EXPECT_EQ(judged(), none);
  learn(2, 6), learn(2, 6), learn(10, 15), learn(12, 15);
  EXPECT_EQ(judged(), none) << "no limit formed yet";
  ASSERT_TRUE(tool.GrenzeBilden());
  // Learnt twice at 2..5 and 12..14; the gap between has a limit of base + M + 0.
  k.SetAt(8, 100.0F), k.SetAt(10, 100.0F), k.SetAt(16, NAN);
  EXPECT_EQ(tool.MaxAbweichung(&k), 99.0F);
  EXPECT_EQ(judged(), "pass 1 2 14 at 2 -1 0 5 6 5 0");
  learn(7, 10), learn(7, 10);
  EXPECT_EQ(judged(), "pass 1 2 14 at 2 -1 0 5 6 5 0") << "learnt since the limit was formed";
  k.SetAt(13, 9.0F), k.SetVIMinMax(4, 13);
  EXPECT_EQ(judged(), "fail 0.571429 4 13 at 13 3 1.5 9 6 5 0");
  k.SetAt(13, NAN);
  EXPECT_EQ(judged(), none);
  k = Track(20, 0, 19, 5.0F);
  tool.Neustart();
  EXPECT_EQ(judged(), none);
}

TEST(TrackLearningTool, GrowsItsGridRoundWhatIsLearnt) {
  const CSigCurveExt k = Track(10, 3, 7, 5.0F);
  CTrackLernWerkzeug tool = Tool(k, 1.0F, 3.0F);
  EXPECT_FALSE(CTrackLernWerkzeug().ExtendGrid(1, 1));
  tool.NeueMessung(&k);
  EXPECT_FALSE(tool.ExtendGrid(1U << 31, 0));
  ASSERT_TRUE(tool.ExtendGrid(5, 3) && tool.GrenzeBilden());
  const CSigCurveExt& limit = *tool.Grenzkurve();
  EXPECT_EQ(Shown(tool.LearnCounts()), "0 0 0 0 0 0 0 0 1 1 1 1 0 0 0 0 0 0");
  EXPECT_EQ(Shown(limit), "1 1 1 1 1 1 1 1 6 6 6 6 1 1 1 1 1 1");
  EXPECT_EQ(Shown(limit.XMin(), limit.XMax(), limit.VMin(), tool.Mittelwert()->VMax()),
            "-5 13 3 7");
}

TEST(TrackLearningTool, KeepsWhatHostsRelyOn) {
  CTrackLernWerkzeug tool = Tool(Track(10, 0, 9, 0.0F), 0.0F, 1.0F, 5);
  const CSigCurveExt k = Track(10, 0, 9, 3.0F);
  for (int part = 0; part < 4; ++part) {
    tool.NeueMessung(&k);
  }
  EXPECT_TRUE(tool.GrenzeBilden() && !tool.Grenzkurve()->IsValid()) << "below the base count";
  EXPECT_EQ(tool.MaxAbweichung(&k), 0.0F);
  tool.NeueMessung(&k);
  EXPECT_TRUE(tool.GrenzeBilden());
  EXPECT_EQ(Range(*tool.Grenzkurve()), "1 8") << "never the last point, nor the first of a limit";
  CTrackLernWerkzeug one = Tool(Track(1, 0, 0, 0.0F), 0.0F, 1.0F, 5);
  const CSigCurveExt point = Track(1, 0, 0, 9.0F);
  one.NeueMessung(&point);
  EXPECT_TRUE(one.GrenzeBilden() && one.MaxAbweichung(&point) == 0.0F) << "valid, but not judged";

  tool.Vorlage(&point);
  EXPECT_EQ(tool.LearnCounts().size(), 10U) << "counts of the longer template";
  EXPECT_EQ(tool.LernzahlKurve()->DLen(), 1U);

  std::vector<std::uint32_t> words(500);
  CSerializer out(words.data(), 500, 0);
  EXPECT_FALSE(tool.InArchivSchreiben(&out)) << "the words are there all the same";
  EXPECT_EQ(Shown(out.GetPosition(), words[42], words[43]), "42 1 10");
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
}  // namespace limes::test
