#include "limes/kernels/polygon_coding.h"

#include <climits>

#include "limes/kernels/polygon_tool.h"
#include "limes/platform/print_window.h"
#include "limes/platform/resource_sea.h"
#include "tests/support/curves.h"
#include "tests/support/hostile.h"

namespace limes::test {
namespace {

CPolygonCodierung Make(const Floats& xy) {
  CPolygonCodierung polygon;
  for (std::size_t i = 0; i < xy.size(); i += 2) {
    polygon.NeuerPunkt(xy[i], xy[i + 1]);
  }
  return polygon;
}

Floats Points(const CPolygonCodierung& polygon) {
  Floats xy;
  for (const SPolygonPoint& point : polygon.Points()) {
    xy.insert(xy.end(), {point.x, point.y});
  }
  return xy;
}

TEST(Polygon, ChangesPoints) {
  const std::tuple<Floats, std::function<void(CPolygonCodierung&)>, Floats> cases[] = {
      {{1, 7, 2, 8, 3, 9}, LIMES_DO(c.MirrorX()), {-3, 9, -2, 8, -1, 7}},
      {{1, 7, 2, 8}, LIMES_DO(c.MirrorY()), {1, -7, 2, -8}},
      {{-2, 6, -1, 7, 0, 8, 1, 9}, LIMES_DO(c.CutNegX()), {0, 8, 1, 9}},
      {{1, 5, -1, 7, 0, 8, 1, 9, 2, 9}, LIMES_DO(c.CutPosX()), {1, 5, -1, 7, 0, 8}},
      {{1, 7, 2, 8}, LIMES_DO(c.PunktEntfernen(-1); c.PunktEntfernen(2)), {1, 7, 2, 8}},
      {{1, 7, 2, 8},
       LIMES_DO(c.PunktEntfernen(0); c.PunktAusText(u" 4"); c.PunktAusText(nullptr)),
       {2, 8, 4, 0}},
      {{3, 1, 1, 2, 2, 3}, LIMES_DO(c.Sortieren()), {1, 2, 2, 3, 3, 1}},
  };
  for (const auto& [points, change, expected] : cases) {
    CPolygonCodierung polygon = Make(points);
    change(polygon);
    EXPECT_EQ(Points(polygon), expected);
  }
  EXPECT_EQ(Make({1, 2, 3, 4}), Make({3, 4, 1, 2}));
  EXPECT_NE(Make({1, 2}), Make({1, 3}));
}

TEST(Polygon, SearchFindsWhatTheScanFinds) {
  std::mt19937 random(3);
  for (int run = 0; run < 600; ++run) {
    CPolygonCodierung polygon = Make(RandomFloats(random, random() % 50 * 2, run % 3));
    if (run % 2 == 1) {
      polygon.Sortieren();
    }
    CSigCurve curve = MakeRamp(5);  // any x: nothing outside the values is touched
    for (int mode = 0; mode <= 4; ++mode) {
      polygon.LimitCurveFlat(&curve, mode);
      polygon.HutAufsetzen(&curve, 1, 1);
    }
    CPolygonCodierung turned = polygon;
    turned.MirrorX();
    bool equal = true;
    const auto p = polygon.Points();
    for (const SPolygonPoint& point : p) {
      equal = equal && !std::isnan(point.x) && !std::isnan(point.y);
      for (const float x : {point.x, point.x + 0.5F, RandomFloat(random, run % 3)}) {
        const auto points = static_cast<int>(p.size());
        ASSERT_TRUE(Same(polygon[x], CPolygonTool::UInterpolieren(p.data(), points, x)));
      }
    }
    turned.MirrorX();
    EXPECT_EQ(polygon == turned, equal);
  }
}

TEST(Polygon, CurveTable) {
  const std::tuple<Floats, void (*)(const CPolygonCodierung&, CSigCurve&), Floats> cases[] = {
#define CASE(points, call, ...)                                                            \
  {                                                                                        \
    Floats points, [](const CPolygonCodierung&p, CSigCurve&c) { p.call; }, { __VA_ARGS__ } \
  }
      CASE(({1, 2, 3, 2}), KurveBegrenzen(&c, 0), 0, 1, 2, 2, 2, 2),
      CASE(({1, 8, 3, 6}), KurveBegrenzen(&c, 4), 0, 8, 7, 6, 4, 5),
      CASE(({-3, 8, 8, 18}), KurveBegrenzen(&c, 2), 10, 11, 12, 13, 14, 15),
      CASE(({1.9F, 8, 2.1F, 6}), KurveBegrenzen(&c, 4), 0, 1, 7, 3, 4, 5),
      CASE(({3, 8, 1, 6}), KurveBegrenzen(&c, 4), 0, 1, 2, 3, 4, 5),
      CASE(({7, 1, 9, 1}), KurveBegrenzen(&c, 0), 0, 1, 2, 3, 4, 5),
      CASE(({7, 1, 9, 1}), LimitCurveFlat(&c, 0), 0, 1, 1, 1, 1, 1),
      CASE(({-9, 9, -8, 8}), LimitCurveFlat(&c, 2), 8, 8, 8, 8, 8, 8),
      CASE(({-9, 9, -8, 8}), LimitCurveFlat(&c, 4), 0, 1, 2, 3, 4, 5),
      CASE(({}), KurveBegrenzen(&c, 2), 0, 1, 2, 3, 4, 5),
      CASE(({1, 8, 3, 6}), HutAufsetzen(&c, 1, 1), 0, 1, 9, 8, 7, 5),
      CASE(({0, 0, 60, 60}), KurveBilden(&c), 0, 10, 20, 30, 40, 50),
      CASE(({0, 7}), KurveBilden(&c), 0, 1, 2, 3, 4, 5),
#undef CASE
  };
  for (const auto& [points, apply, expected] : cases) {
    CSigCurve curve = MakeRamp(6);
    apply(Make(points), curve);
    EXPECT_EQ(ValuesOf(curve), expected);
  }
  float x = -1;
  const CSigCurve ramp = MakeRamp(6);
  EXPECT_EQ(Make({1, 4, 4, 4}).MaxKurvenAbstand(ramp, &x, 2) + x, 3 + 1);
  EXPECT_EQ(Make({1, 2, 4, 2}).IntegralAbstand(ramp, 0), 1 + 2);
  EXPECT_EQ(Make({8, 2, 9, 2}).MaxKurvenAbstand(ramp, nullptr, 0), 0);
}

TEST(Polygon, ListsListingAndTool) {
  CResourceSea store;
  EXPECT_TRUE(Make({3, 1.5F, 1, 2}).InResListeSchreiben(store, u"a"));
  CPolygonCodierung polygon;
  EXPECT_EQ(polygon.AusResListeLesen(store, u"a"), 2);
  std::u16string text;
  const auto old = PrWin::SetSink([&](int, int, std::u16string_view line) { text += line; });
  polygon.PrWinAusgabe();
  EXPECT_EQ(polygon.AusResListeLesen(store, u"b"), 0);
  polygon.PrWinAusgabe();
  PrWin::SetSink(old);
  EXPECT_EQ(text, u"\t 1.00 \t 2.00\n\t 3.00 \t 1.50\n\n\t(keine Punkte)\n\n");

  EXPECT_EQ(CPolygonTool::UIndex(9, 0, 1, 5) + CPolygonTool::UIndex(9, 0, 1, INT_MIN), 4);
  Floats v(5, 0.0F);
  float lo = 0, hi = 0;
  EXPECT_FALSE(CPolygonTool::Bauen(store, u"b", v.data(), 5, 0, 1, lo, hi));
  const wide_char* const none = nullptr;
  EXPECT_FALSE(CPolygonTool::AusschnittBauen(store, none, v.data(), 5, lo, hi) ||
               polygon.InResListeSchreiben(store, none));
  EXPECT_TRUE(CPolygonTool::Bauen(store, u"a", v.data(), 5, 0, 1, lo, hi));
  EXPECT_EQ(v, (Floats{2, 2, 1.75F, 1.5F, 1.5F}));
  EXPECT_TRUE(CPolygonTool::Aufsetzen(store, u"a", v.data(), 5, 0, 1, lo, hi) &&
              CPolygonTool::AusschnittBauen(store, u"a", v.data(), 2, lo, hi) &&
              CPolygonTool::Anwenden(store, u"a", v.data(), 5, 0, 1, 0, lo, hi));
  EXPECT_EQ(v, (Floats{2, 2, 1.75F, 1.5F, 1.5F}));
  EXPECT_EQ(lo + hi, 3.5F);
  const auto raised = CPolygonTool::Anwenden(store, u"a", {.values = v, .x0 = -3.0F, .dx = 1.0F},
                                             CPolygonCodierung::kLowerLimit);
  EXPECT_TRUE(raised && raised->lo == 2 && raised->hi == 2);
  EXPECT_FALSE(CPolygonTool::Bauen(store, u"b", {.values = v}));
}

TEST(Polygon, RecordIsHostileSafe) {
  const auto write = [](const auto& p, CFileStream& f) { return p.InDateiSchreiben(f); };
  const Bytes record = Written(Make({1, 2, 3, 4, 0, NAN}), write);
  EXPECT_EQ(record.size(), 28U);
  ExpectHostileSafe(
      record, [] { return CPolygonCodierung(); },
      [](CPolygonCodierung& p, CFileStream& f) { return p.AusDateiLesen(f); }, write,
      {.keepsState = false});
}

}  // namespace
}  // namespace limes::test
