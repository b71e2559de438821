#include "limes/display/vis_data_grid.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "limes/display/vis_data_collection.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

/// L* of CIELAB of a colour as somebody sees it, with one of three kinds of cones missing (Viénot,
/// Brettel, Mollon, Color Research and Application 24, 1999, 243), or with all of them.
double Lightness(const SVisColour& colour, int missing) {
  const auto linear = [](double c) {
    c /= 255.0;
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
  };
  double r = linear(colour.red);
  double g = linear(colour.green);
  const double b = linear(colour.blue);
  if (missing == 1) {
    r = g = 0.11238 * r + 0.88762 * g;
  } else if (missing == 2) {
    r = g = 0.29275 * r + 0.70725 * g;
  }
  const double y = 0.2126 * r + 0.7152 * g + 0.0722 * b;
  return y > 0.008856 ? 116.0 * std::cbrt(y) - 16.0 : 903.3 * y;
}

TEST(VisDataGrid, ColoursRiseEvenlyForEverybody) {
  EXPECT_EQ(CVisDataGrid::ColourOf(0), (SVisColour{0x07, 0x12, 0x74}));
  EXPECT_EQ(CVisDataGrid::ColourOf(254), (SVisColour{0xFA, 0xF8, 0x1C}));
  for (const int missing : {0, 1, 2}) {
    for (int level = 8; level < 255; ++level) {
      const auto at = [&](int l) {
        return Lightness(CVisDataGrid::ColourOf(static_cast<std::uint8_t>(l)), missing);
      };
      const double step = at(level) - at(level - 8);
      EXPECT_GT(step, 1.0) << level << " " << missing;
      EXPECT_LT(step, missing == 0 ? 3.5 : 5.0) << level << " " << missing;
    }
  }
}

TEST(VisDataArray, NoPeakOfAPictureIsLost) {
  std::mt19937 random(3);
  for (int i = 0; i < 100; ++i) {
    const std::size_t columns = 1 + random() % 60;
    const std::size_t rows = 1 + random() % 40;
    CVisDataArray array;
    ASSERT_TRUE(array.Clear(columns, 10.0, 0.5));
    double t = 0.0;
    float largest = -1.0F;
    for (std::size_t r = 0; r < rows; ++r) {
      std::vector<float> row(columns);
      for (float& value : row) {
        value = random() % 9 == 0 ? kNaN : static_cast<float>(random() % 1000);
        largest = std::isnan(value) ? largest : std::max(largest, value);
      }
      ASSERT_TRUE(array.Append(t += static_cast<double>(1 + random() % 5), row));
      EXPECT_FALSE(array.Append(t, row));
    }
    const CVisAxis x(array.XRange(), 0.0, 30.0);
    const CVisAxis y(array.TRange(), 20.0, 0.0);
    SVisExtremes all;
    for (const SVisExtremes& cell : array.Cells(x, y, 30, 20)) {
      all.Add(cell);
    }
    EXPECT_TRUE(all.high == largest || largest < 0.0F) << columns << " x " << rows;
    std::size_t seen = 0;
    for (const CVisDataArray::STrace& trace : array.Waterfall(x, y, CVisAxis({}, 0.0, 5.0), 30)) {
      EXPECT_TRUE(seen == 0 || trace.row + 1 == seen);
      seen = trace.row;
      EXPECT_EQ(trace.base, y.PlaceOf(array.TOf(trace.row)));
    }
    EXPECT_EQ(seen, 0U);
  }
}

TEST(VisDataGrid, CellsAreWhatWasMeasuredThere) {
  CSigCurveArray curves(2);
  for (int k = 0; k < 2; ++k) {
    CSigCurveExt* const curve = new CSigCurveExt(CSigCurveExt::Make(2, 0.0F, 2.0F));
    curve->SetAt(0, static_cast<float>(10 * k));
    curve->SetAt(1, k == 0 ? kNaN : 100.0F);
    curve->Date() = static_cast<float>(k);
    ASSERT_TRUE(curves.Attach(k, curve, false));
  }
  ASSERT_TRUE(curves.Expandieren(2));
  CVisDataArray array;
  ASSERT_TRUE(array.Set(curves));
  CVisDataGrid grid;
  const CVisAxis x({0.0, 3.0}, 0.0, 6.0);  // one step more than was measured
  const CVisAxis t({0.0, 1.0}, 0.0, 4.0);
  EXPECT_FALSE(grid.Set(array, x, t, CVisAxis({}, 0.0, 1.0), 0, 4));
  ASSERT_TRUE(grid.Set(array, x, t, CVisAxis({0.0, 20.0}, 0.0, 1.0), 6, 4));
  const std::vector<std::uint8_t> levels(grid.Levels().begin(), grid.Levels().end());
  const std::uint8_t n = CVisDataGrid::kNone;
  EXPECT_EQ(levels, (std::vector<std::uint8_t>{0,   n,   n,   n, n, n,  //
                                               0,   n,   n,   n, n, n,  //
                                               127, 254, 254, n, n, n,  //
                                               127, 254, 254, n, n, n}));
  EXPECT_EQ(grid.At(2, 3).high, 100.0F);
  EXPECT_TRUE(grid.At(6, 0).IsEmpty());
  std::size_t row = 9;
  std::size_t column = 9;
  ASSERT_TRUE(array.At(x, t, {2.2, 3.9}, row, column));
  EXPECT_EQ(row + 10 * column, 11U);
  EXPECT_FALSE(array.At(x, t, {5.9, 3.9}, row, column));
}

TEST(VisDataCollection, FindsWhatLiesAtTheCursorAndWhatChanged) {
  CVisDataVector curve;
  ASSERT_TRUE(curve.Set(std::vector<float>{0.0F, 1.0F, 2.0F, 3.0F}, 0.0, 1.0));
  CVisDataPolygon limit;
  ASSERT_TRUE(limit.Set(std::vector<SVisPoint>{{1.0, 5.0}, {2.0, 6.0}}));
  CVisDataCollection view;
  const CVisAxis x({0.0, 10.0}, 0.0, 100.0);
  const CVisAxis y({0.0, 10.0}, 100.0, 0.0);
  CVisDataCollection::SFound found;
  EXPECT_FALSE(view.At(x, y, {0.0, 0.0}, found));
  EXPECT_TRUE(view.TakeDirty(x).IsEmpty());
  ASSERT_TRUE(view.Add("part", curve) && view.Add("limit", limit));
  EXPECT_EQ(view.TakeDirty(x).high, 30.0);
  EXPECT_TRUE(view.TakeDirty(x).IsEmpty());
  ASSERT_TRUE(view.At(x, y, {19.0, 42.0}, found));
  EXPECT_EQ(*found.name + std::to_string(found.index), "limit1");
  ASSERT_TRUE(view.At(x, y, {19.0, 79.0}, found));
  EXPECT_EQ(*found.name + std::to_string(found.index), "part2");
  EXPECT_EQ(view.Find<CVisDataPolygon>("part"), nullptr);
  ASSERT_TRUE(view.Find<CVisDataVector>("part")->Append(std::vector<float>{4.0F}));
  const SVisPlaces grown = view.TakeDirty(x);
  EXPECT_EQ(grown.low, 30.0);
  EXPECT_EQ(grown.high, 40.0);
  view.Remove("limit");
  EXPECT_EQ(view.TakeDirty(x).low, 10.0);
  EXPECT_EQ(view.YRange().high, 4.0);
}

}  // namespace
}  // namespace limes
