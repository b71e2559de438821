#include "limes/display/vis_data_vector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "limes/display/vis_data_polygon.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/pair_signal.h"

namespace limes {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

/// Smallest and largest of the finite values, in the plainest way.
SVisExtremes Plain(std::span<const float> values) {
  SVisExtremes found;
  for (const float value : values) {
    if (std::isfinite(value)) {
      found.low = found.IsEmpty() ? value : std::min(found.low, value);
      found.high = std::isnan(found.high) ? value : std::max(found.high, value);
    }
  }
  return found;
}

bool Same(const SVisExtremes& a, const SVisExtremes& b) {
  return a == b || (a.IsEmpty() && b.IsEmpty());
}

/// Values with peaks, gaps and infinities.
std::vector<float> Values(std::size_t n, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<float> values(n);
  for (float& value : values) {
    const auto draw = random();
    value = draw % 7 == 0    ? kNaN
            : draw % 97 == 0 ? (draw & 0x10000U ? kInf : -kInf)
                             : static_cast<float>(draw % 2000) - 1000.0F;
  }
  return values;
}

TEST(VisDataVector, NoPeakIsLostWhateverTheZoom) {
  for (const std::size_t n :
       {std::size_t{1}, std::size_t{255}, std::size_t{256}, std::size_t{5000}}) {
    const std::vector<float> values = Values(n, static_cast<unsigned>(n));
    CVisDataVector vector;
    ASSERT_TRUE(vector.Set(values, -1.0, 0.5));
    std::mt19937 random(5);
    for (int i = 0; i < 200; ++i) {
      const std::size_t first = random() % n;
      const std::size_t last = first + random() % (n - first + 1);
      const auto part = std::span<const float>(values).subspan(first, last - first);
      EXPECT_TRUE(Same(vector.Extremes({first, last}), Plain(part))) << first << " " << last;
      const std::vector<SVisExtremes> thinned = VisThinned(part, 1 + random() % 40);
      SVisExtremes all;
      for (const SVisExtremes& column : thinned) {
        all.Add(column);
      }
      EXPECT_TRUE(Same(all, Plain(part)));
      for (const VisScale scale : {VisScale::kLinear, VisScale::kLogarithmic}) {
        const CVisAxis axis({vector.XOf(first), vector.XOf(last)}, 10.0, 110.0, scale);
        const CVisDataVector::SView view = vector.View(axis, 1 + random() % 300);
        ASSERT_EQ(view.xs.size(), view.columns.size());
        SVisExtremes seen;
        for (std::size_t c = 0; c < view.columns.size(); ++c) {
          EXPECT_TRUE(c == 0 || view.xs[c] > view.xs[c - 1]);
          seen.Add(view.columns[c]);
        }
        const double low = axis.Range().low;
        const std::size_t from = vector.XOf(first) < low  // a logarithm begins above 0
                                     ? static_cast<std::size_t>(std::ceil((low + 1.0) / 0.5))
                                     : first;
        if (from < last) {
          const SVisExtremes here =
              Plain(std::span<const float>(values).subspan(from, last - from));
          EXPECT_TRUE(here.IsEmpty() || (seen.low <= here.low && seen.high >= here.high));
        }
      }
    }
  }
}

TEST(VisDataVector, ALiveViewIsToldWhatChanged) {
  CVisDataVector vector;
  EXPECT_FALSE(vector.Set(Values(3, 1), 0.0, 0.0));
  EXPECT_FALSE(vector.Set(Values(3, 1), kNaN, 1.0));
  CVisDataVector::SPoint point;
  const CVisAxis axis({0.0, 1000.0}, 0.0, 500.0);
  EXPECT_FALSE(vector.At(axis, 3.0, point));
  EXPECT_TRUE(vector.View(axis, 10).xs.empty());
  ASSERT_TRUE(vector.Set(std::vector<float>(600, 1.0F), 0.0, 1.0));
  EXPECT_EQ(vector.TakeDirty().last, 600U);
  EXPECT_TRUE(vector.TakeDirty().IsEmpty());
  ASSERT_TRUE(vector.Append(std::vector<float>(100, 2.0F)));
  vector.Replace(650, std::vector<float>{9.0F, kNaN});
  vector.Replace(699, std::vector<float>{3.0F, 100.0F});  // the second lies behind the end
  vector.Replace(700, std::vector<float>{100.0F});
  EXPECT_EQ(vector.YRange().high, 9.0);
  const SVisIndices dirty = vector.TakeDirty();
  EXPECT_EQ(dirty.first, 600U);
  EXPECT_EQ(dirty.last, 700U);
  EXPECT_EQ(vector.PlacesOf(dirty, axis).low, 299.5);
  EXPECT_EQ(vector.PlacesOf(dirty, axis).high, 349.5);
  EXPECT_TRUE(vector.PlacesOf({0, 10}, CVisAxis({20.0, 30.0}, 0.0, 1.0)).IsEmpty());
  ASSERT_TRUE(vector.At(axis, 325.2, point));
  EXPECT_EQ(point.index, 650U);
  EXPECT_EQ(point.value, 9.0F);
  EXPECT_EQ(point.around.low, 9.0F);  // the other value of this pixel is none
  ASSERT_TRUE(vector.At(axis, 1e9, point));
  EXPECT_EQ(point.index, 699U);
  EXPECT_FALSE(vector.At(axis, kNaN, point));
}

TEST(VisDataVector, TakesTheValuesOfACurveThatCount) {
  CSigCurveExt curve = CSigCurveExt::Make(8, 10.0F, 18.0F);
  curve.SetAt(3, 5.0F);
  curve.SetVMinMax(12.0F, 15.0F);
  CVisDataVector vector;
  ASSERT_TRUE(vector.Set(curve));
  EXPECT_EQ(vector.XRange().low, 12.0);
  EXPECT_EQ(vector.Values()[1], 5.0F);
  curve.SetXMinMax(18.0F, 10.0F);
  EXPECT_FALSE(vector.Set(curve));
}

TEST(VisData, LinesBreakWhereNothingWasMeasured) {
  const CVisAxis x({0.0, 4.0}, 0.0, 4.0);
  const CVisAxis y({0.0, 10.0}, 10.0, 0.0);
  const std::vector<double> xs = {0.0, 1.0, 2.0, 3.0, 4.0};
  const std::vector<SVisExtremes> columns = {{1, 1}, {2, 5}, {2, 6}, {}, {3, 3}};
  const std::vector<VisRun> runs = VisLine(xs, columns, x, y);
  ASSERT_EQ(runs.size(), 2U);
  EXPECT_EQ(runs[0], (VisRun{{0, 9}, {1, 8}, {1, 5}, {2, 4}, {2, 8}}));
  EXPECT_EQ(runs[1], (VisRun{{4, 7}}));
  EXPECT_EQ(VisBand(xs, columns, x, y)[0],
            (VisRun{{0, 9}, {1, 5}, {2, 4}, {2, 8}, {1, 8}, {0, 9}}));
}

TEST(VisDataPolygon, RunsAreCutAtTheAxesAndKeepPeaks) {
  const double nan = std::nan("");
  const CVisAxis x({0.0, 10.0}, 0.0, 100.0);
  const CVisAxis y({0.0, 10.0}, 100.0, 0.0);
  const struct {
    const char* name;
    std::vector<SVisPoint> points;
    bool flat;
    std::vector<VisRun> runs;
  } cases[] = {
      {"inside", {{1, 1}, {9, 9}}, false, {{{10, 90}, {90, 10}}}},
      {"flat ends", {{1, 2}, {9, 9}}, true, {{{0, 80}, {10, 80}, {90, 10}, {100, 10}}}},
      {"through", {{-10, 5}, {20, 5}}, false, {{{0, 50}, {100, 50}}}},
      {"out and in",
       {{5, 5}, {5, 20}, {6, 20}, {6, 5}},
       false,
       {{{50, 50}, {50, 0}}, {{60, 0}, {60, 50}}}},
      {"beside", {{-3, 5}, {5, 40}}, false, {}},
      {"broken", {{1, 1}, {2, 2}, {nan, 3}, {4, 4}}, false, {{{10, 90}, {20, 80}}, {{40, 60}}}},
      {"huge", {{5, -1e308}, {5, 1e308}}, false, {{{50, 100}, {50, 0}}}},
      {"none", {}, true, {}},
  };
  for (const auto& c : cases) {
    CVisDataPolygon polygon;
    ASSERT_TRUE(polygon.Set(c.points));
    polygon.SetFlatEnds(c.flat);
    EXPECT_EQ(polygon.Runs(x, y), c.runs) << c.name;
  }
  CSigPairs pairs;
  for (int i = 0; i < 100000; ++i) {
    pairs.NeuesPaar(static_cast<float>(i) * 1e-4F, i == 77777 ? 9.0F : 1.0F);
  }
  CVisDataPolygon polygon;
  ASSERT_TRUE(polygon.Set(pairs));
  const std::vector<VisRun> runs = polygon.Runs(x, y);
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_LT(runs[0].size(), 410U);
  EXPECT_EQ(
      std::min_element(runs[0].begin(), runs[0].end(), [](auto& a, auto& b) { return a.y < b.y; })
          ->y,
      10.0);
  std::size_t index = 0;
  ASSERT_TRUE(polygon.At(x, y, {77.0, 12.0}, index));
  EXPECT_EQ(index, 77777U);
}

}  // namespace
}  // namespace limes
