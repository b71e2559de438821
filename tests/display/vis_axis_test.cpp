#include "limes/display/vis_axis.h"

#include <gtest/gtest.h>

#include <cmath>

namespace limes {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kMax = std::numeric_limits<double>::max();

std::string TextsOf(const CVisAxis& axis) {
  std::string texts;
  for (const CVisAxis::STick& tick : axis.Ticks()) {
    texts += (texts.empty() ? "" : " ") + tick.text;
  }
  return texts;
}

TEST(VisAxis, TicksAreRound) {
  const struct {
    const char* name;
    SVisRange range;
    VisScale scale;
    const char* ticks;
  } cases[] = {
      {"ones", {0.0, 8.0}, VisScale::kLinear, "0 2 4 6 8"},
      {"tenths", {-0.21, 0.31}, VisScale::kLinear, "-0.2 0 0.2"},
      {"told apart",
       {1000000.0, 1000004.5},
       VisScale::kLinear,
       "1000000 1000001 1000002 1000003 1000004"},
      {"of time",
       {1.7e9, 1.7e9 + 0.4},
       VisScale::kLinear,
       "1700000000 1700000000.1 1700000000.2 1700000000.3 1700000000.4"},
      {"large", {0.0, 3e9}, VisScale::kLinear, "0 1e+09 2e+09 3e+09"},
      {"small", {0.0, 3e-7}, VisScale::kLinear, "0 1e-07 2e-07 3e-07"},
      {"decades", {1.0, 20000.0}, VisScale::kLogarithmic, "1 10 100 1000 10000"},
      {"many decades", {1e-9, 1e9}, VisScale::kLogarithmic, "1e-09 0.00001 0.1 1000 1e+07"},
      {"within decades", {15.0, 300.0}, VisScale::kLogarithmic, "20 50 100 200"},
      {"within one", {2.2, 4.7}, VisScale::kLogarithmic, "2.5 3 3.5 4 4.5"},
      {"levels", {1.0, 2000.0}, VisScale::kDecibel, "0 20 40 60"},
      {"nothing", {}, VisScale::kLinear, "0 0.2 0.4 0.6 0.8 1"},
      {"a point", {7.0, 7.0}, VisScale::kLinear, "6 6.5 7 7.5 8"},
      {"not above 0", {-5.0, 0.0}, VisScale::kLogarithmic, "1 2 5 10"},
      {"from 0 on", {0.0, 1000.0}, VisScale::kLogarithmic, "0.001 0.1 10 1000"},
      {"no numbers", {kNan, kInf}, VisScale::kLinear, "0 0.2 0.4 0.6 0.8 1"},
      {"all doubles", {-kMax, kMax}, VisScale::kLinear, "-1e+308 0 1e+308"},
      {"neighbours", {1.0, 1.0 + 2.3e-16}, VisScale::kLinear, "1"},
      {"the smallest", {0.0, 5e-324}, VisScale::kLinear, ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(TextsOf(CVisAxis(c.range, 0.0, 500.0, c.scale)), c.ticks) << c.name;
  }
}

TEST(VisAxis, PlacesAndValuesAreTheSame) {
  for (const VisScale scale : {VisScale::kLinear, VisScale::kLogarithmic, VisScale::kDecibel}) {
    CVisAxis axis({0.5, 50.0}, 300.0, 20.0, scale);  // a y axis: places grow downwards
    axis.SetReference(2e-5);
    EXPECT_DOUBLE_EQ(axis.PlaceOf(0.5), 300.0);
    EXPECT_DOUBLE_EQ(axis.PlaceOf(50.0), 20.0);
    EXPECT_DOUBLE_EQ(axis.PlaceOf(5.0), scale == VisScale::kLinear ? 300.0 - 28.0 / 1.1 : 160.0);
    EXPECT_EQ(axis.PlaceInside(-3.0), 300.0);
    EXPECT_EQ(axis.PlaceInside(kInf), 20.0);
    EXPECT_TRUE(std::isnan(axis.PlaceOf(kNan)));
    EXPECT_EQ(std::isnan(axis.PlaceOf(-1.0)), scale != VisScale::kLinear);
    for (const CVisAxis::STick& tick : axis.Ticks()) {
      EXPECT_NEAR(axis.ValueAt(tick.place), tick.value, 1e-12 * tick.value);
    }
  }
}

TEST(VisAxis, TitleSaysUnitAndReference) {
  CVisAxis axis({1.0, 2.0}, 0.0, 1.0, VisScale::kDecibel);
  axis.SetReference(2e-5);
  axis.SetReference(-1.0);  // no reference
  axis.SetTitle("pressure", "Pa");
  EXPECT_EQ(axis.Title(), "pressure [dB re 0.00002 Pa]");
  EXPECT_NEAR(axis.Ticks(6)[0].value, 1.0, 0.2);
}

}  // namespace
}  // namespace limes
