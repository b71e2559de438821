#include "limes/learning/learning_limit_value.h"

#include <cmath>
#include <limits>

#include "limes/core/object_archive.h"
#include "tests/support/show.h"

namespace limes::test {
namespace {

CLernenderGrenzwert Learnt(const std::vector<float>& values, std::int32_t timeScale = 10000) {
  CLernenderGrenzwert limit;
  limit.Neustart(timeScale);
  for (const float x : values) {
    limit.NeueMessung(x);
  }
  return limit;
}

TEST(LearningLimitValue, LearnsMeanSpreadAndLimit) {
  CLernenderGrenzwert limit = Learnt({1.0F, 2.0F, 3.0F});
  EXPECT_EQ(Shown(limit.Mittelwert(), limit.QMittelwert(), limit.Grenzwert(), limit.LetzteMessung(),
                  Learnt({4.0F}).Grenzwert()),
            "2 4.66667 9.44949 3 9");
  limit.GrenzwertErneuern(1.5F);  // a factor of the variance, as of a bias correction
  EXPECT_FLOAT_EQ(limit.Grenzwert(), 5.0F + 2.0F + 3.0F);
  // Weights q^(n - k) with q = e^(-1/2).
  const double q = std::exp(-0.5);
  EXPECT_FLOAT_EQ(Learnt({1.0F, 5.0F}, 2).Mittelwert(), static_cast<float>((q + 5.0) / (q + 1.0)));
}

TEST(LearningLimitValue, RuleBandAndFixedLimit) {
  CLernenderGrenzwert limit = Learnt({1.0F, 3.0F});
  constexpr float kCases[][5] = {// base, factor, bounds when not both 0, limit
                                 {0, 1, 0, 0, 3}, {0, 0, 0, 0, 2}, {0, -2, 0, 0, 2},
                                 {0, 1, 4, 9, 4}, {9, 1, 4, 9, 9}, {0, 1, 10, 8, 8}};
  for (const auto& [base, factor, lower, upper, expected] : kCases) {
    limit.Bildungsregel(base, factor);
    limit.GrenzenGrenzen(lower, upper);
    limit.MitGrenzenGrenzen(upper > 0.0F);
    limit.GrenzwertErneuern(1.0F);
    EXPECT_EQ(limit.Grenzwert(), expected);
  }
  limit.FesteOGSetzen(6.5F, true);
  EXPECT_EQ(limit.Grenzwert(), 8.0F) << "not before the next update";
  limit.NeueMessung(2.0F);
  EXPECT_EQ(Shown(limit.Grenzwert(), limit.NrGelernt(), limit.Mittelwert()), "6.5 3 2");
  limit.FesteOGSetzen(6.5F, false);
  limit.BasislernenGrenze();
  EXPECT_EQ(limit.Grenzwert(), 8.0F);
}

TEST(LearningLimitValue, SettersCorrectAndRestart) {
  CLernenderGrenzwert limit = Learnt({1.0F, 2.0F}, -5);
  const auto counts = [&] { return Shown(limit.NrGelernt(), limit.Generator().GetTime()); };
  EXPECT_EQ(limit.Generator().GetTimeScale(), 10000);
  limit.Zeitskala(0);
  limit.NeueMessung(7.0F);
  EXPECT_EQ(limit.Mittelwert(), 7.0F);
  limit.ExternerLernFaktor(0.5F);
  limit.NeueMessung(9.0F);
  EXPECT_EQ(limit.Mittelwert(), 8.0F);
  limit.ExternerLernFaktor(NAN);
  limit.ExterneLernzahl(-3);
  EXPECT_EQ(counts(), "-3 0");
  limit.ExterneLernzahl(std::numeric_limits<std::int32_t>::max());
  limit.NeueMessung(1.0F);
  limit.NameIst(std::u16string(100, u'n'));
  limit.NameIst(nullptr);
  EXPECT_EQ(std::u16string_view(limit.Name()).size(), 79U);
  EXPECT_EQ(counts(), "2147483647 2147483647");
  limit.Reset();
  EXPECT_EQ(counts(), "0 2147483647");
}

TEST(LearningLimitValue, ComparesAndJudges) {
  CLernenderGrenzwert limit;
  EXPECT_FALSE(limit.GrenzeVorhanden());
  const auto judged = [&](float x) {
    return Shown(limit > x, limit < x, limit.Judge(x).verdict, limit.Judge(x).deviation);
  };
  EXPECT_EQ(limit.Judge(1.0F).verdict, Verdict::kNotJudged);
  const std::tuple<double, float, const char*> cases[] = {
      {2.0, 1.0F, "1 0 pass -1"},      {2.0, 2.0F, "0 0 pass 0"},
      {2.0, 2.5F, "0 1 fail 0.5"},     {2.0, NAN, "0 0 not judged 0"},
      {NAN, 2.0F, "0 0 not judged 0"}, {-0.0001, 0.0F, "0 1 fail 0.0001"}};
  for (const auto& [value, x, expected] : cases) {
    limit.GrenzwertSetzen(value);
    EXPECT_TRUE(limit.GrenzeVorhanden());
    EXPECT_EQ(judged(x), expected) << value;
  }
}

TEST(LearningLimitValue, WeightZeroReplacesWhateverWasHeld) {
  CLernenderGrenzwert limit;
  limit.ExterneVorgaben(NAN, INFINITY);
  limit.NeueMessung(2.0F);
  EXPECT_EQ(Shown(limit.Mittelwert(), limit.QMittelwert(), limit.Grenzwert()), "2 4 7");
  limit.ExternerLernFaktor(0.0F);
  limit.NeueMessung(INFINITY);
  limit.NeueMessung(3.0F);
  EXPECT_EQ(Shown(limit.Mittelwert(), limit.QMittelwert(), limit.Grenzwert()), "3 9 8");
}

TEST(LearningLimitValue, LearnsFloatsWhateverIsGiven) {
  CLernenderGrenzwert limit;
  limit.Bildungsregel(0.0F, 3.0F);
  limit.NeueMessung(0.1);
  EXPECT_EQ(Shown(limit<0.1F, limit> 0.1F), "0 0") << "what was learnt is not beyond itself";
}

TEST(LearningLimitValue, KeepsWhatHostsRelyOn) {
  CLernenderGrenzwert limit;
  limit.NeueMessung(1.0F);
  limit.NeueMessung(2.0F);
  EXPECT_FLOAT_EQ(limit.Mittelwert(), 4.0F / 3.0F) << "the first value twice without a restart";
  limit.ExterneVorgaben(3.0F, 5.0F);
  EXPECT_EQ(limit.StdDev(), 2.0F) << "the spread of the magnitude, outside of the limit";
  limit.GrenzwertErneuern(1.0F);
  EXPECT_EQ(limit.Grenzwert(), 8.0F);
}

TEST(LearningLimitValueArchive, StoresAndLoadsItsWords) {
  CLernenderGrenzwert limit = Learnt({1.0F, 2.0F, 4.0F}, 50);
  const std::u16string name = u"abcdefghijklmnopqrstuvwxyz0123456789ABCDEFGHIJKLMNO";
  limit.NameIst(name);
  limit.GrenzenGrenzen(-1.0F, 20.0F);
  std::vector<std::uint32_t> words(42 + 31);
  CSerializer archive(words.data(), 42 + 31, 0);
  EXPECT_TRUE(limit.InArchivSchreiben(&archive));
  EXPECT_EQ(Shown(archive.GetPosition(), words[42] == 0x00620061U, words[42 + 20], words[42 + 21]),
            "31 1 3 50");
  CLernenderGrenzwert back;
  CSerializer in(words.data(), 42 + 31, 1);
  EXPECT_TRUE(back.AusArchivLaden(&in));
  EXPECT_EQ(back.Name(), name.substr(0, 40));
  EXPECT_EQ(Shown(back.Generator().GetTime(), back.Generator().GetTimeScale(), back.ObGrenze(),
                  back.MitGrenzenGrenzen(), back.Grenzwert()),
            Shown(3, 50, 20, 1, limit.Grenzwert()));

  // Cut short: what was complete before stays applied, the short block does not.
  const std::pair<unsigned, const char*> cuts[] = {
      {19, "0 0 0"}, {20, "1 0 0"}, {22, "1 0 0"}, {23, "1 3 0"}, {30, "1 3 0"}};
  for (const auto& [n, expected] : cuts) {
    CLernenderGrenzwert part;
    CSerializer cutIn(words.data(), 42 + n, 1);
    EXPECT_FALSE(part.AusArchivLaden(&cutIn));
    EXPECT_EQ(Shown(part.Name()[0] != 0, part.NrGelernt(), part.Mittelwert()), expected) << n;
    CSerializer cutOut(words.data(), 42 + n, 0);
    EXPECT_FALSE(limit.InArchivSchreiben(&cutOut));
  }
  EXPECT_FALSE(limit.InArchivSchreiben(nullptr));
}

}  // namespace
}  // namespace limes::test
