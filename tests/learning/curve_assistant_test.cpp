#include "limes/learning/curve_assistant.h"

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/platform/file_stream.h"
#include "limes/signals/curve_array.h"
#include "tests/support/curves.h"

namespace limes::test {
namespace {

using Assistant = CSigCurveAssistent;

TEST(CurveAssistant, RegionsOfExcess) {
  const CSigCurveExt limit = MakeExt(Floats(10, 5.0F));
  CSigCurveExt k = MakeExt({6, 5, 7, 9, 9, NAN, 8, 1, INFINITY, 6});
  std::vector<SCurveExcess> regions(7);
  ASSERT_TRUE(Assistant::Excesses(k, limit, regions));
  EXPECT_EQ(Shown(regions),
            "0 0 1 at 0 0 1 6 5 0 0 2 4 3 at 3 3 4 9 5 0 0 6 6 1 at 6 6 3 8 5 0 0 "
            "8 9 2 at 8 8 inf inf 5 0 0");
  k.SetVMinMax(3.0F, 6.0F);
  ASSERT_TRUE(Assistant::Excesses(k, limit, regions));
  EXPECT_EQ(Shown(regions), "3 4 2 at 3 3 4 9 5 0 0 6 6 1 at 6 6 3 8 5 0 0");
  ASSERT_TRUE(Assistant::Excesses(CSigCurve(), limit, regions));
  EXPECT_TRUE(regions.empty());
}

TEST(CurveAssistant, LargestDeviationInBothValidRanges) {
  const struct {
    float x0;  ///< of the curve; the reference begins at 0
    int first, last, firstOfReference, lastOfReference;
    const char* expected;  ///< with x, value and reference there
  } cases[] = {{0, 0, 3, 0, 3, "8 0 9 1"},
               {0, 2, 3, 0, 3, "3 3 4 1"},
               {0, 2, 3, 0, 2, "1 2 2 1"},
               {0.5F, 0, 3, 0, 2, "8 1 9 1"},  // by index from the first common point on
               {0, 2, 3, 0, 1, "0 -1 -1 -1"}};
  for (const auto& c : cases) {
    CSigCurveExt k = MakeExt({9, 8, 2, 4}, c.x0);
    CSigCurveExt r = MakeExt(Floats(4, 1.0F));
    k.SetVIMinMax(c.first, c.last);
    r.SetVIMinMax(c.firstOfReference, c.lastOfReference);
    Floats at(3, -1.0F);
    EXPECT_EQ(Assistant::MaxAbweichung(k, r, nullptr), Assistant::MaxAbweichung(k, r, at.data()));
    EXPECT_EQ(Shown(Assistant::MaxAbweichung(k, r, nullptr), at), c.expected);
  }
}

TEST(CurveAssistant, RegionsOfALearntLimit) {
  CKurvenLernWerkzeug tool;
  tool.Bildungsregel(0.0F, 2.0F, 0.0F);
  CTrackLernWerkzeug tracks;
  tracks.Bildungsregel(0.0F, 2.0F);
  const CSigCurveExt k = MakeExt({10, 14, 15, 10, 10, 10, 10, 20});
  std::vector<SCurveExcess> regions;
  tool.Vorlage(&k);
  tracks.Vorlage(&k);
  tool.Neustart(10000);
  ASSERT_TRUE(tool.Excesses(k, regions));
  for (const float y : {9.0F, 11.0F, 9.0F, 11.0F, 9.0F, 11.0F}) {
    CSigCurveExt part = MakeExt(Floats(8, y));
    tool.NeueMessung(tool.NrGelernt() < 2 ? &part : nullptr);
    part.SetVMinMax(0.0F, 5.0F);  // never learnt at x = 7
    tracks.NeueMessung(&part);
  }
  tool.UpdateLimit();
  tracks.GrenzeBilden();
  ASSERT_TRUE(tool.Excesses(k, regions));
  EXPECT_EQ(Shown(regions), "1 2 2 at 2 2 3 15 12 10 1 7 7 1 at 7 7 8 20 12 10 1");
  ASSERT_TRUE(tracks.Excesses(k, regions));
  EXPECT_EQ(Shown(regions), "1 2 2 at 2 2 2.80658 15 12.1934 10.0025 1.09546")
      << "the spread of tracks is without bias";
}

TEST(CurveAssistant, Smooths) {
  using Smoothing = Assistant::Smoothing;
  const Floats values = {1, 5, NAN, 2, 8, 8, -4};
  const std::tuple<Smoothing, int, const char*> cases[] = {
      {Smoothing::kMean, 1, "3 3 3.5 5 6 4 2"},
      {Smoothing::kMedian, 1, "3 3 3.5 5 8 8 2"},
      {Smoothing::kMaximum, 1, "5 5 5 8 8 8 8"},
      {Smoothing::kMedian, -5, "1 5 nan 2 8 8 -4"},
      {Smoothing::kMean, 0, "1 5 nan 2 8 8 -4"},
      {Smoothing::kMedian, 9, "3.5 3.5 3.5 3.5 3.5 3.5 3.5"},
      {Smoothing::kMean, 100, "3.33333 3.33333 3.33333 3.33333 3.33333 3.33333 3.33333"}};
  for (const auto& [mode, width, expected] : cases) {
    CSigCurveExt curve = MakeExt(values);
    ASSERT_TRUE(Assistant::Glaetten(curve, width, mode));
    EXPECT_EQ(Shown(curve), expected) << width;
  }
  CSigCurveExt part = MakeExt({9, 1, 3, 9});
  part.SetVIMinMax(1, 2);
  ASSERT_TRUE(Assistant::Glaetten(part, 3, Smoothing::kMean));
  EXPECT_EQ(Shown(part), "9 2 2 9") << "the valid range alone";
  CSigCurveExt none;
  EXPECT_TRUE(Assistant::Glaetten(none, 1, Smoothing::kMedian));
}

TEST(CurveAssistant, DerivativeUndoesTheIntegral) {
  CSigCurveExt c = MakeExt({2, 4, 6, 12}, 0, 0.5F);
  c.SetXUnit(u"s");
  c.SetYUnit(CMeasuringUnit(commonUnits::metrePerSecond, 3));
  EXPECT_EQ(Shown(Assistant::Integral(c, 0.5F, 1.0F), Assistant::Integral(c, -9.0F, 9.0F),
                  Assistant::Integral(c, 1.0F, 0.5F), Assistant::Integral(c, 5.0F, 9.0F),
                  Assistant::Integral(c, NAN, 9.0F)),
            "5 12 0 0 0");
  ASSERT_TRUE(Assistant::IntegralCurve(c));
  EXPECT_EQ(Shown(c), "1 3 6 12");
  EXPECT_EQ(c.YUnit(), CMeasuringUnit(commonUnits::metre, 3));
  ASSERT_TRUE(Assistant::Derive(c));
  EXPECT_EQ(Shown(c), "4 5 9 12");
  EXPECT_EQ(c.YUnit(), CMeasuringUnit(commonUnits::metrePerSecond, 3));
  const char16_t* const units[][4] = {{u"rad/s^2", u"s", u"rad/s", u"-"},
                                      {u"m", u"m", u"m\u00B2", u"-"},
                                      {u"m", u"s", u"-", u"m/s"},
                                      {u"dB(Pa)", u"s", u"-", u"-"},
                                      {u"N", u"-", u"-", u"-"}};
  for (const auto& [y, x, integrated, derived] : units) {
    c.SetXUnit(CMeasuringUnit::FromText(x));
    c.SetYUnit(CMeasuringUnit::FromText(y));
    CSigCurveExt integral = c;
    ASSERT_TRUE(Assistant::IntegralCurve(integral) && Assistant::Derive(c));
    EXPECT_EQ(integral.YUnit().prefixunit(), integrated) << WideToUtf8(y);
    EXPECT_EQ(c.YUnit().prefixunit(), derived) << WideToUtf8(y);
  }
  CSigCurveExt one = MakeExt({7});
  EXPECT_TRUE(Assistant::Derive(one) && Shown(one) == "0");
}

TEST(CurveAssistant, MeansOverCurvesAndTheirRefusals) {
  const CSigCurveExt a = MakeExt({1, 2, 3});
  CSigCurveExt b = MakeExt({5, 6, 7});
  CSigCurveExt out = MakeExt({8});
  const Floats weights = {1, 3};
  const CSigCurveExt* curves[] = {&a, &b};
  ASSERT_TRUE(Assistant::WeightedMean(curves, weights, b));
  EXPECT_EQ(Shown(b), "4 5 6") << "into one of them";
  b.SetVIMinMax(1, 2);
  CSigCurveExt spread;
  ASSERT_TRUE(Assistant::MeanAndSpread(curves, out, spread));
  EXPECT_EQ(Shown(out, out.IMin(), spread), "0 3.5 4.5 1 0 1.5 1.5");
  const CSigCurveExt* turned[] = {&b, &a};
  EXPECT_TRUE(Assistant::MeanAndSpread(turned, out, spread) && out.IMin() == 1);

  using Curves = std::vector<const CSigCurveExt*>;
  const CSigCurveExt longer = MakeExt({1, 2, 3, 4});
  const CSigCurveExt early = MakeExt({1, 2}, 0.0F, 1e-5F);
  const CSigCurveExt late = MakeExt({1, 2}, 1e-5F, 1e-5F);  // another grid, however fine
  for (const auto& [bad, w] : {std::pair(Curves{&a, &longer}, weights),
                               {{&a, nullptr}, weights},
                               {{&early, &late}, weights},
                               {{}, {}},
                               {{&a, &b}, {1, -1}},
                               {{&a, &b}, {1}}}) {
    EXPECT_FALSE(Assistant::WeightedMean(bad, w, out));
  }
  EXPECT_FALSE(Assistant::MeanAndSpread(Curves{&a, &longer}, out, spread));
  EXPECT_EQ(out.DLen(), 3U) << "unchanged";

  CSigCurveArray array;
  EXPECT_FALSE(Assistant::Summe(array, out) || Assistant::Section(array, 1.0F, out));
  array.ErsteKurve(a), array.WeitereKurve(MakeExt({5, 0, 7}), 2.0F), array.KurvenKomplett();
  ASSERT_TRUE(Assistant::Summe(array, out) && Assistant::Maximum(array, spread));
  EXPECT_EQ(Shown(out, spread), "6 2 10 5 2 7");
  ASSERT_TRUE(Assistant::Section(array, 2.0F, out) && !Assistant::Section(array, 9.0F, out));
  EXPECT_EQ(Shown(out), "3 7");
}

TEST(CurveAssistant, BoundsByLimitCurves) {
  CSigCurveExt c = MakeExt({-5, 5, NAN, 5, 5});
  const CSigCurveExt lower = MakeExt({0, 0, 0, 9, 0});
  CSigCurveExt upper = MakeExt({1, 1, 1, 1, 1});
  upper.SetVIMinMax(0, 3);
  ASSERT_TRUE(Assistant::ClampBetween(c, lower, upper));
  EXPECT_EQ(Shown(c), "0 1 nan 1 5") << "the upper limit wins where it is";
  EXPECT_FALSE(Assistant::ClampBetween(c, lower, MakeExt({1})));
}

// ---- Text

CurveTextStatus Import(std::string_view text, CSigCurveExt& c) {
  CMemoryStream file(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
  return Assistant::TextImport(file, c);
}

std::string Exported(const CSigCurveExt& c) {
  CMemoryStream file;
  const bool ok = Assistant::TextExport(c, file);
  EXPECT_EQ(file.Bytes().empty(), !ok);
  return {file.Bytes().begin(), file.Bytes().end()};
}

TEST(CurveAssistant, TextKeepsEveryBit) {
  std::mt19937 random(6);
  int round = 0;
  for (const CMeasuringUnit& unit : {CMeasuringUnit(), CMeasuringUnit(commonUnits::hertz, 3),
                                     CMeasuringUnit(commonUnits::pascal, 0, 1, 2e-5F),
                                     CMeasuringUnit(commonUnits::pascal, 0, 1, 0.5F),
                                     CMeasuringUnit(commonUnits::metre, 1, 3)}) {
    CSigCurveExt c = MakeExt(RandomFloats(random, 9000, ++round % 3), -0.1F);
    c.SetVMinMax(3.3F, 1000.0F);
    c.Date(-2.5F), c.CurveId(round), c.SetScaleFactor(4.0F);
    if (round % 2 == 0) {
      c.RestoreValidRange(0.0F, 1.0F, 0, 8999);  // as after a change of the x axis
    }
    c.SetName(u"Geräusch\\n\n\u03A9 # x: 1");
    c.SetXUnit(unit), c.SetYUnit(unit);
    CSigCurveExt back;
    ASSERT_EQ(Import(Exported(c), back), CurveTextStatus::kOk);
    const auto head = [](const CSigCurveExt& k) {
      return Shown(k.Name(), k.XMin(), k.XMax(), k.VMin(), k.IMax(), k.Date(), k.CurveId(),
                   k.InvScaleFactor(), k.XUnit().ExactText(), k.YUnit().ExactText());
    };
    EXPECT_EQ(head(back), head(c));
    EXPECT_EQ(back.YUnit(), unit);
    EXPECT_EQ(Difference(back.Values(), c.Values()), "");
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
    CSigCurveExt back;
    ASSERT_EQ(Import(Exported(c), back) == CurveTextStatus::kOk, low < high) << low << ' ' << high;
    EXPECT_TRUE(!(low < high) ||
                (back.XMin() == low && back.XMax() == high && back.VMax() == c.VMax()));
  }
  for (const auto& c : {CSigCurveExt(), CSigCurveExt::Make(9, -3e38F, 3e38F),
                        CSigCurveExt::Make(9, 0.0F, INFINITY), CSigCurveExt::Make(9, 1.0F, 0.0F)}) {
    EXPECT_EQ(Exported(c), "") << "could not be read back";
  }
}

TEST(CurveAssistant, TextOfOthers) {
  using Status = CurveTextStatus;
  const std::pair<Status, std::vector<std::string>> cases[] = {
      {Status::kOk,
       {"0 1\n0.5 2\n1 3", "# my bench\r\n\r\n0\t1\r\n1\tnan\r\n",
        "5000.01 1e-50\n5000.02 1\n5000.03 1\n", "0 1\n1e38 1\n2e38 1\n"}},
      {Status::kEmpty, {"", "# name: x\n"}},
      {Status::kNumber,
       {"0 1 2\n", "0,1\n", "0 1e999\n", std::string(100000, '7'),
        "# y fields: 0 1 0 0 grmpf\nno number"}},
      {Status::kSteps,
       {"0 1\n", "0 1\n2e38 1\n", "0 1\n1 2\n3 3\n", "1 1\n0 2\n", "0 1\nnan 2\n",
        "# x: 0 1\n0 1\n1 1\n"}},
      {Status::kHeader,
       {"# x: 0\n0 1\n", "# x: 0 inf\n0 1\n", "# y fields: 0 1 0\n0 1\n1 1\n",
        "# y fields: 0 1 0 0x\n0 1\n1 1\n"}},
  };
  for (const auto& [status, texts] : cases) {
    for (const std::string& text : texts) {
      CSigCurveExt curve = MakeExt({7});
      EXPECT_EQ(Import(text, curve), status) << text.substr(0, 50);
      EXPECT_EQ(curve.DLen() == 1, status != Status::kOk) << "unchanged when refused";
    }
  }
  EXPECT_LT(CMeasuringUnit::UnitStrings::theStrings().Find(u"grmpf"), 0) << "nothing registered";
  CSigCurveExt curve;
  ASSERT_EQ(Import("# x unit: Hz\n# y unit: dB(Pa)\n2 1\n2.5 2\n3 3\n", curve), Status::kOk);
  EXPECT_EQ(curve.XMax(), 3.5F);
  EXPECT_TRUE(curve.XUnit() == CMeasuringUnit(commonUnits::hertz) && curve.YUnit().is_log());
}

}  // namespace
}  // namespace limes::test
