#include "limes/learning/curve_assistant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/platform/file_stream.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"
#include "tests/support/bits.h"
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

TEST(CurveAssistant, Smooths) {
  using Smoothing = Assistant::Smoothing;
  const Floats values = {1, 5, NAN, 2, 8, 8, -4};
  const struct {
    Smoothing mode;
    int width;
    Floats expected;
  } cases[] = {
      {Smoothing::kMean, 1, {3, 3, 3.5F, 5, 6, 4, 2}},
      {Smoothing::kMedian, 1, {3, 3, 3.5F, 5, 8, 8, 2}},
      {Smoothing::kMaximum, 1, {5, 5, 5, 8, 8, 8, 8}},
      {Smoothing::kMean, 100, Floats(7, 20.0F / 6.0F)},
      {Smoothing::kMedian, 100, Floats(7, 3.5F)},
      {Smoothing::kMean, 0, values},
      {Smoothing::kMedian, -5, values},
  };
  for (const auto& c : cases) {
    CSigCurveExt curve = Ext(values);
    ASSERT_TRUE(Assistant::Glaetten(curve, c.width, c.mode));
    for (std::size_t i = 0; i < values.size(); ++i) {
      EXPECT_TRUE(test::Same(curve.ValArray()[i], c.expected[i]))
          << static_cast<int>(c.mode) << ", " << c.width << " at " << i << ": " << curve[i];
    }
  }
  CSigCurveExt part = Ext({9, 1, 3, 9});
  part.SetVIMinMax(1, 2);
  ASSERT_TRUE(Assistant::Glaetten(part, 3, Smoothing::kMean));
  EXPECT_EQ(test::ValuesOf(part), (Floats{9, 2, 2, 9})) << "the valid range alone";
  CSigCurveExt none;
  EXPECT_TRUE(Assistant::Glaetten(none, 1, Smoothing::kMedian));
}

TEST(CurveAssistant, DerivativeUndoesTheIntegral) {
  CSigCurveExt c = test::MakeCurve<CSigCurveExt>({2, 4, 6, 12}, 0, 2);  // step 0.5
  c.SetXUnit(u"s");
  c.SetYUnit(u"km/s");
  c.SetYUnit(CMeasuringUnit(commonUnits::metrePerSecond, 3));
  EXPECT_EQ(Assistant::Integral(c, 0.5F, 1.0F), 5.0);
  EXPECT_EQ(Assistant::Integral(c, -9.0F, 9.0F), 12.0);
  EXPECT_EQ(Assistant::Integral(c, 1.0F, 0.5F), 0.0);
  EXPECT_EQ(Assistant::Integral(c, 5.0F, 9.0F), 0.0);
  EXPECT_EQ(Assistant::Integral(c, NAN, 9.0F), 0.0);
  ASSERT_TRUE(Assistant::IntegralKurve(c));
  EXPECT_EQ(test::ValuesOf(c), (Floats{1, 3, 6, 12}));
  EXPECT_EQ(c.YUnit(), CMeasuringUnit(commonUnits::metre, 3));
  ASSERT_TRUE(Assistant::Ableiten(c));
  EXPECT_EQ(test::ValuesOf(c), (Floats{4, 5, 9, 12}));
  EXPECT_EQ(c.YUnit(), CMeasuringUnit(commonUnits::metrePerSecond, 3));
  const struct {
    const char16_t *y, *x, *integral, *derivative;
  } units[] = {{u"rad/s^2", u"s", u"rad/s", u"-"},
               {u"m", u"m", u"m\u00B2", u"-"},
               {u"m", u"s", u"-", u"m/s"},
               {u"dB(Pa)", u"s", u"-", u"-"},
               {u"N", u"-", u"-", u"-"}};
  for (const auto& u : units) {
    c.SetXUnit(CMeasuringUnit::FromText(u.x));
    c.SetYUnit(CMeasuringUnit::FromText(u.y));
    CSigCurveExt integral = c;
    ASSERT_TRUE(Assistant::IntegralKurve(integral));
    EXPECT_EQ(integral.YUnit().prefixunit(), u.integral) << WideToUtf8(u.y);
    ASSERT_TRUE(Assistant::Ableiten(c));
    EXPECT_EQ(c.YUnit().prefixunit(), u.derivative) << WideToUtf8(u.y);
  }
  CSigCurveExt one = Ext({7});
  ASSERT_TRUE(Assistant::Ableiten(one));
  EXPECT_EQ(one[0], 0.0F);
}

TEST(CurveAssistant, MeansOverCurvesAndTheirRefusals) {
  const CSigCurveExt a = Ext({1, 2, 3});
  CSigCurveExt b = Ext({5, 6, 7});
  CSigCurveExt out = Ext({8});
  const Floats weights = {1, 3};
  const CSigCurveExt* curves[] = {&a, &b};
  ASSERT_TRUE(Assistant::GewichtetesMittel(curves, weights, b));
  EXPECT_EQ(test::ValuesOf(b), (Floats{4, 5, 6})) << "into one of them";
  b.SetVIMinMax(1, 2);
  CSigCurveExt spread;
  ASSERT_TRUE(Assistant::MittelUndStreuung(curves, out, spread));
  EXPECT_EQ(test::ValuesOf(out), (Floats{0, 3.5F, 4.5F}));
  EXPECT_EQ(test::ValuesOf(spread), (Floats{0, 1.5F, 1.5F}));
  EXPECT_EQ(out.IMin(), 1);

  const CSigCurveExt longer = Ext({1, 2, 3, 4});
  const CSigCurveExt* const bad[] = {&a, &longer};
  const CSigCurveExt* const null[] = {&a, nullptr};
  const Floats zero = {1, -1};
  EXPECT_FALSE(Assistant::GewichtetesMittel(bad, weights, out));
  EXPECT_FALSE(Assistant::GewichtetesMittel(null, weights, out));
  const auto early = test::MakeCurve<CSigCurveExt>({1, 2}, 0.0F, 2e-5F);
  const auto late = test::MakeCurve<CSigCurveExt>({1, 2}, 1e-5F, 3e-5F);
  const CSigCurveExt* const fine[] = {&early, &late};
  EXPECT_FALSE(Assistant::GewichtetesMittel(fine, weights, out)) << "however fine the grid";
  EXPECT_FALSE(Assistant::GewichtetesMittel({}, {}, out));
  EXPECT_FALSE(Assistant::GewichtetesMittel(curves, zero, out));
  EXPECT_FALSE(Assistant::GewichtetesMittel(curves, Floats{1}, out));
  EXPECT_FALSE(Assistant::MittelUndStreuung(bad, out, spread));
  EXPECT_EQ(out.DLen(), 3U) << "unchanged";

  CSigCurveArray array;
  EXPECT_FALSE(Assistant::Summe(array, out) || Assistant::Schnitt(array, 1.0F, out));
  array.ErsteKurve(a), array.WeitereKurve(Ext({5, 0, 7}), 2.0F), array.KurvenKomplett();
  ASSERT_TRUE(Assistant::Summe(array, out) && Assistant::Maximum(array, spread));
  EXPECT_EQ(test::ValuesOf(out), (Floats{6, 2, 10}));
  EXPECT_EQ(test::ValuesOf(spread), (Floats{5, 2, 7}));
  ASSERT_TRUE(Assistant::Schnitt(array, 2.0F, out) && !Assistant::Schnitt(array, 9.0F, out));
  EXPECT_EQ(test::ValuesOf(out), (Floats{3, 7}));
}

TEST(CurveAssistant, LearnersAgreeWithTwoPasses) {
  std::mt19937 random(5);
  std::vector<CSigCurveExt> parts;
  std::vector<const CSigCurveExt*> pointers;
  for (int part = 0; part < 200; ++part) {
    Floats values = test::RandomFloats(random, 64, 0);  // within +-128
    parts.push_back(Ext(values));
  }
  CKurvenLernWerkzeug tool;
  tool.Vorlage(&parts[0]);
  tool.Neustart(10000);
  for (const CSigCurveExt& part : parts) {
    tool.NeueMessung(&part);
    pointers.push_back(&part);
  }
  ASSERT_EQ(tool.StandardAbwBilden(), 1);
  CSigCurveExt mean;
  CSigCurveExt spread;
  ASSERT_TRUE(Assistant::MittelUndStreuung(pointers, mean, spread));
  for (int i = 0; i < 64; ++i) {
    // 200 float steps, each rounding M and Q once or twice.
    EXPECT_NEAR((*tool.Mittelwert())[i], mean[i], 200 * 2 * 6e-8F * 128);
    EXPECT_NEAR((*tool.StandardAbw())[i], spread[i], 1e-3F * spread[i]);
  }
}

TEST(CurveAssistant, TracksAgreeWithTheirWeights) {
  std::mt19937 random(7);
  constexpr int kParts = 300;
  std::vector<CSigCurveExt> parts;
  CTrackLernWerkzeug tracks;
  for (int part = 0; part < kParts; ++part) {
    parts.push_back(Ext(test::RandomFloats(random, 64, 0)));
  }
  tracks.Vorlage(&parts[0]);
  std::vector<const CSigCurveExt*> pointers;
  Floats weights;
  for (const CSigCurveExt& part : parts) {
    tracks.NeueMessung(&part);
    pointers.push_back(&part);
    weights.push_back(std::exp((static_cast<float>(weights.size()) - kParts) / 200.0F));
  }
  CSigCurveExt mean;
  ASSERT_TRUE(Assistant::GewichtetesMittel(pointers, weights, mean));
  for (int i = 0; i < 63; ++i) {
    EXPECT_NEAR((*tracks.Mittelwert())[i], mean[i], 200 * 2 * 6e-8F * 128);
  }
}

TEST(CurveAssistant, BoundsByLimitCurves) {
  CSigCurveExt c = Ext({-5, 5, NAN, 5, 5});
  const CSigCurveExt lower = Ext({0, 0, 0, 9, 0});
  CSigCurveExt upper = Ext({1, 1, 1, 1, 1});
  upper.SetVIMinMax(0, 3);
  ASSERT_TRUE(Assistant::Begrenzen(c, lower, upper));
  EXPECT_EQ(c[0], 0.0F);
  EXPECT_EQ(c[1], 1.0F);
  EXPECT_TRUE(std::isnan(c[2]));
  EXPECT_EQ(c[3], 1.0F) << "the upper limit wins";
  EXPECT_EQ(c[4], 5.0F) << "no upper limit there";
  EXPECT_FALSE(Assistant::Begrenzen(c, lower, Ext({1})));
}

// ---- Text

CurveTextStatus Import(std::string_view text, CSigCurveExt& c) {
  CMemoryStream file(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
  return Assistant::TextImport(file, c);
}

TEST(CurveAssistant, TextKeepsEveryBit) {
  std::mt19937 random(6);
  const CMeasuringUnit units[] = {{},
                                  {commonUnits::hertz, 3},
                                  {commonUnits::pascal, 0, 1, 2e-5F},
                                  {commonUnits::pascal, 0, 1, 0.5F},
                                  {commonUnits::second, -1, 2},
                                  {commonUnits::metre, 1, 3}};
  int round = 0;
  for (const CMeasuringUnit& unit : units) {
    CSigCurveExt c = Ext(test::RandomFloats(random, 9000, ++round % 3));
    c.SetXMinMax(-0.1F, 1234.567F);
    c.SetVMinMax(3.3F, 1000.0F);
    c.Date(-2.5F), c.CurveId(round), c.SetScaleFactor(4.0F);
    if (round % 2 == 0) {
      c.RestoreValidRange(0.0F, 1.0F, 0, 8999);  // as after a change of the x axis
    }
    c.SetName(u"Geräusch\\n\n\u03A9 # x: 1");
    c.SetXUnit(unit);
    c.SetYUnit(unit);
    CMemoryStream file;
    ASSERT_TRUE(Assistant::TextExport(c, file));
    file.Seek(0);
    CSigCurveExt back;
    ASSERT_EQ(Assistant::TextImport(file, back), CurveTextStatus::kOk);
    EXPECT_EQ(back.Name(), std::u16string(c.Name()));
    EXPECT_EQ(back.XUnit(), unit);
    EXPECT_EQ(back.YUnit(), unit);
    EXPECT_EQ(back.XMin(), c.XMin());
    EXPECT_EQ(back.XMax(), c.XMax());
    EXPECT_EQ(back.VMin(), c.VMin());
    EXPECT_EQ(back.IMax(), c.IMax());
    EXPECT_TRUE(back.Date() == -2.5F && back.CurveId() == round && back.InvScaleFactor() == 0.25F);
    ASSERT_EQ(back.DLen(), c.DLen());
    for (std::uint32_t i = 0; i < c.DLen(); ++i) {
      ASSERT_TRUE(test::Same(back.ValArray()[i], c.ValArray()[i])) << i;
    }
  }
}

TEST(CurveAssistant, TextKeepsAnyAxis) {
  std::mt19937 random(8);
  const auto uniform = [&random] { return static_cast<double>(random()) / 4294967296.0; };
  for (int round = 0; round < 400; ++round) {
    const auto low = static_cast<float>((uniform() - 0.5) * std::pow(10.0, 8.0 * uniform() - 3.0));
    const float high = low + static_cast<float>(std::pow(10.0, 8.0 * uniform() - 4.0));
    const auto n = static_cast<int>(std::pow(10.0, 3.7 * uniform()));
    const CSigCurveExt c = CSigCurveExt::Make(n, low, high);
    CMemoryStream file;
    ASSERT_EQ(Assistant::TextExport(c, file), low < high);
    file.Seek(0);
    CSigCurveExt back;
    if (low < high) {
      ASSERT_EQ(Assistant::TextImport(file, back), CurveTextStatus::kOk) << low << ", " << high;
      EXPECT_TRUE(back.XMin() == low && back.XMax() == high && back.VMax() == c.VMax());
    }
  }
  CMemoryStream file;
  for (const auto& c : {CSigCurveExt(), CSigCurveExt::Make(9, -3e38F, 3e38F),
                        CSigCurveExt::Make(9, 0.0F, INFINITY), CSigCurveExt::Make(9, 1.0F, 0.0F)}) {
    EXPECT_FALSE(Assistant::TextExport(c, file)) << "could not be read back";
  }
  EXPECT_TRUE(file.Bytes().empty());
}

TEST(CurveAssistant, TextOfOthers) {
  const struct {
    const char* text;
    CurveTextStatus status;
  } cases[] = {
      {"0 1\n0.5 2\n1 3", CurveTextStatus::kOk},
      {"# my bench\r\n\r\n0\t1\r\n1\tnan\r\n", CurveTextStatus::kOk},
      {"5000.01 1e-50\n5000.02 1\n5000.03 1\n", CurveTextStatus::kOk},
      {"0 1\n1e38 1\n2e38 1\n", CurveTextStatus::kOk},
      {"0 1\n2e38 1\n", CurveTextStatus::kSteps},
      {"", CurveTextStatus::kEmpty},
      {"# name: x\n", CurveTextStatus::kEmpty},
      {"0 1\n1 2\n3 3\n", CurveTextStatus::kSteps},
      {"1 1\n0 2\n", CurveTextStatus::kSteps},
      {"0 1\n", CurveTextStatus::kSteps},
      {"0 1\nnan 2\n", CurveTextStatus::kSteps},
      {"0 1 2\n", CurveTextStatus::kNumber},
      {"0,1\n", CurveTextStatus::kNumber},
      {"0 1e999\n", CurveTextStatus::kNumber},
      {"# x: 0\n0 1\n", CurveTextStatus::kHeader},
      {"# x: 0 inf\n0 1\n", CurveTextStatus::kHeader},
      {"# x: 0 1\n0 1\n1 1\n", CurveTextStatus::kSteps},
      {"# y fields: 0 1 0\n0 1\n1 1\n", CurveTextStatus::kHeader},
  };
  for (const auto& c : cases) {
    CSigCurveExt curve = Ext({7});
    EXPECT_EQ(Import(c.text, curve), c.status) << c.text;
    EXPECT_EQ(curve.DLen() == 1, c.status != CurveTextStatus::kOk) << "unchanged when refused";
  }
  CSigCurveExt curve;
  EXPECT_EQ(Import("# y fields: 0 1 0 0 grmpf\nno number", curve), CurveTextStatus::kNumber);
  EXPECT_LT(CMeasuringUnit::UnitStrings::theStrings().Find(u"grmpf"), 0) << "nothing registered";
  EXPECT_EQ(Import(std::string(100000, '7'), curve), CurveTextStatus::kNumber);
  ASSERT_EQ(Import("2 1\n2.5 2\n3 3\n", curve), CurveTextStatus::kOk);
  EXPECT_EQ(curve.XMax(), 3.5F);
  ASSERT_EQ(Import("# x unit: Hz\n# y unit: dB(Pa)\n0 1\n1 2\n", curve), CurveTextStatus::kOk);
  EXPECT_EQ(curve.XUnit(), CMeasuringUnit(commonUnits::hertz));
  EXPECT_TRUE(curve.YUnit().is_log());
}

}  // namespace
}  // namespace limes
