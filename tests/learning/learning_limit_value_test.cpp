#include "limes/learning/learning_limit_value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "limes/core/object_archive.h"

namespace limes {
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
  const CLernenderGrenzwert limit = Learnt({1.0F, 2.0F, 3.0F});
  EXPECT_FLOAT_EQ(limit.Mittelwert(), 2.0F);
  EXPECT_FLOAT_EQ(limit.QMittelwert(), 14.0F / 3.0F);
  EXPECT_FLOAT_EQ(limit.Grenzwert(), 5.0F + 2.0F + 3.0F * std::sqrt(2.0F / 3.0F));
  EXPECT_EQ(limit.LetzteMessung(), 3.0F);
  EXPECT_FLOAT_EQ(Learnt({4.0F}).Grenzwert(), 9.0F);
  // A variance factor, as of a bias correction, scales before the root.
  CLernenderGrenzwert corrected = limit;
  corrected.GrenzwertErneuern(1.5F);
  EXPECT_FLOAT_EQ(corrected.Grenzwert(), 5.0F + 2.0F + 3.0F);
  // Weights q^(n - k) with q = e^(-1/2).
  const double q = std::exp(-0.5);
  EXPECT_FLOAT_EQ(Learnt({1.0F, 5.0F}, 2).Mittelwert(), static_cast<float>((q + 5.0) / (q + 1.0)));
}

TEST(LearningLimitValue, RuleBandAndFixedLimit) {
  CLernenderGrenzwert limit = Learnt({1.0F, 3.0F});
  constexpr struct {
    float base, factor, lower, upper;
    bool bounded;
    float expected;
  } kCases[] = {
      {0.0F, 1.0F, 0.0F, 0.0F, false, 3.0F},  {0.0F, 0.0F, 0.0F, 0.0F, false, 2.0F},
      {0.0F, -2.0F, 0.0F, 0.0F, false, 2.0F}, {0.0F, 1.0F, 4.0F, 9.0F, true, 4.0F},
      {9.0F, 1.0F, 4.0F, 9.0F, true, 9.0F},   {0.0F, 1.0F, 10.0F, 8.0F, true, 8.0F},
  };
  for (const auto& c : kCases) {
    limit.Bildungsregel(c.base, c.factor);
    limit.GrenzenGrenzen(c.lower, c.upper);
    limit.MitGrenzenGrenzen(c.bounded);
    limit.GrenzwertErneuern(1.0F);
    EXPECT_EQ(limit.Grenzwert(), c.expected);
  }
  limit.FesteOGSetzen(6.5F, true);
  EXPECT_EQ(limit.Grenzwert(), 8.0F);  // not before the next update
  limit.NeueMessung(2.0F);
  EXPECT_EQ(limit.Grenzwert(), 6.5F);
  EXPECT_EQ(limit.NrGelernt(), 3);
  EXPECT_EQ(limit.Mittelwert(), 2.0F);
  limit.FesteOGSetzen(6.5F, false);
  limit.BasislernenGrenze();
  EXPECT_EQ(limit.Grenzwert(), 8.0F);
}

TEST(LearningLimitValue, SettersCorrectAndRestart) {
  CLernenderGrenzwert limit = Learnt({1.0F, 2.0F}, -5);
  EXPECT_EQ(limit.Generator().GetTimeScale(), 10000);
  limit.Zeitskala(0);
  limit.NeueMessung(7.0F);
  EXPECT_EQ(limit.Mittelwert(), 7.0F);
  limit.ExternerLernFaktor(0.5F);
  limit.NeueMessung(9.0F);
  EXPECT_EQ(limit.Mittelwert(), 8.0F);
  limit.ExternerLernFaktor(std::nanf(""));
  limit.ExterneLernzahl(-3);
  EXPECT_EQ(limit.NrGelernt(), -3);
  EXPECT_EQ(limit.Generator().GetTime(), 0);
  limit.ExterneLernzahl(std::numeric_limits<std::int32_t>::max());
  limit.NeueMessung(1.0F);
  EXPECT_EQ(limit.NrGelernt(), std::numeric_limits<std::int32_t>::max());
  limit.NameIst(std::u16string(100, u'n'));
  EXPECT_EQ(std::u16string_view(limit.Name()).size(), 79U);
  const std::int32_t time = limit.Generator().GetTime();
  limit.Reset();
  EXPECT_EQ(limit.Sockel(), 5.0F);
  EXPECT_EQ(limit.Faktor(), 3.0F);
  EXPECT_EQ(limit.Name()[0], 0);
  EXPECT_EQ(limit.Generator().GetTime(), time);
}

TEST(LearningLimitValue, ComparesAndJudges) {
  CLernenderGrenzwert limit;
  EXPECT_FALSE(limit.GrenzeVorhanden());
  EXPECT_EQ(limit.Beurteilen(1.0F).verdict, Verdict::kNotJudged);
  limit.GrenzwertSetzen(2.0);
  EXPECT_TRUE(limit > 1.0F);
  EXPECT_TRUE(limit < 3.0F);
  EXPECT_FALSE(limit > 2.0F || limit < 2.0F || limit < std::nanf("") || limit > std::nanf(""));
  EXPECT_EQ(limit.Beurteilen(2.0F).verdict, Verdict::kPass);
  EXPECT_EQ(limit.Beurteilen(2.5F).verdict, Verdict::kFail);
  EXPECT_EQ(limit.Beurteilen(2.5F).deviation, 0.5F);
  EXPECT_EQ(limit.Beurteilen(std::nanf("")).verdict, Verdict::kNotJudged);
  limit.GrenzwertSetzen(std::nan(""));
  EXPECT_TRUE(limit.GrenzeVorhanden());
  EXPECT_EQ(limit.Beurteilen(2.0F).verdict, Verdict::kNotJudged);
  limit.GrenzwertSetzen(-0.0001);
  EXPECT_TRUE(limit.GrenzeVorhanden());
}

TEST(LearningLimitValue, KeepsFirstValueTwiceWithoutRestart) {
  CLernenderGrenzwert limit;
  limit.NeueMessung(1.0F);
  limit.NeueMessung(2.0F);
  EXPECT_FLOAT_EQ(limit.Mittelwert(), 4.0F / 3.0F);
}

TEST(LearningLimitValue, KeepsSpreadOfMagnitudeOutsideTheLimit) {
  CLernenderGrenzwert limit;
  limit.ExterneVorgaben(3.0F, 5.0F);
  EXPECT_EQ(limit.StdDev(), 2.0F);
  limit.GrenzwertErneuern(1.0F);
  EXPECT_EQ(limit.Grenzwert(), 8.0F);
}

TEST(LearningLimitValueArchive, StoresAndLoadsItsWords) {
  CLernenderGrenzwert limit = Learnt({1.0F, 2.0F, 4.0F}, 50);
  limit.NameIst(std::u16string(60, u'n'));
  limit.GrenzenGrenzen(-1.0F, 20.0F);
  std::vector<std::uint32_t> words(42 + 31);
  CSerializer archive(words.data(), 42 + 31, 0);
  EXPECT_TRUE(limit.InArchivSchreiben(&archive));
  EXPECT_EQ(archive.GetPosition(), 31U);
  EXPECT_EQ(words[42], 0x006E006EU);
  EXPECT_EQ(words[42 + 20], 3U);
  EXPECT_EQ(words[42 + 21], 50U);

  CLernenderGrenzwert back;
  CSerializer in(words.data(), 42 + 31, 1);
  EXPECT_TRUE(back.AusArchivLaden(&in));
  EXPECT_EQ(back.Name(), std::u16string(40, u'n'));
  EXPECT_EQ(back.Generator().GetTime(), 3);
  EXPECT_EQ(back.Grenzwert(), limit.Grenzwert());
  EXPECT_EQ(back.ObGrenze(), 20.0F);
  EXPECT_TRUE(back.MitGrenzenGrenzen());

  // Cut short: what was complete before stays applied, the short block does not.
  const struct {
    unsigned words;
    bool name, counts;
  } cuts[] = {
      {19, false, false}, {20, true, false}, {22, true, false}, {23, true, true}, {30, true, true}};
  for (const auto& cut : cuts) {
    CLernenderGrenzwert part;
    CSerializer cutIn(words.data(), 42 + cut.words, 1);
    EXPECT_FALSE(part.AusArchivLaden(&cutIn));
    EXPECT_EQ(part.Name()[0] != 0, cut.name);
    EXPECT_EQ(part.NrGelernt(), cut.counts ? 3 : 0);
    EXPECT_EQ(part.Mittelwert(), 0.0F);
    CSerializer cutOut(words.data(), 42 + cut.words, 0);
    EXPECT_FALSE(limit.InArchivSchreiben(&cutOut));
  }
  EXPECT_FALSE(limit.InArchivSchreiben(nullptr));
}

}  // namespace
}  // namespace limes
