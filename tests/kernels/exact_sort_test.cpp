#include "limes/kernels/exact_sort.h"

#include <gtest/gtest.h>

#include "tests/support/loop_cases.h"

namespace limes::test {
namespace {

using SPoint = SXy;

TEST(ExactSort, AllShortRuns) {
  constexpr float kValues[] = {0.0F, 1.0F, -0.0F, NAN, 2.0F};
  for (std::size_t run = 0; run < 7 * 15625; ++run) {
    std::vector<SPoint> points(run / 15625);
    std::size_t digits = run % 15625;  // 5^6
    for (SPoint& point : points) {
      point = {kValues[digits % 5], static_cast<float>(digits)};
      digits /= 5;
    }
    ASSERT_TRUE(SortIsPlain(points)) << run;
  }
}

TEST(ExactSort, LongRuns) {
  std::mt19937 random(7);
  for (int run = 0; run < 300; ++run) {
    std::vector<SPoint> points(run < 296 ? random() % 200 : 1100);
    float base = 0.0F;
    for (SPoint& point : points) {
      base += run % 4 == 3 ? 1.0F : 0.0F;  // parts that are independent
      point = {base + RandomFloat(random, run % 3), static_cast<float>(random() % 50)};
    }
    if (run % 5 == 4) {  // falling
      std::sort(points.begin(), points.end(),
                [](auto& a, auto& b) { return detail::OrderKey(b.x) < detail::OrderKey(a.x); });
    }
    ASSERT_TRUE(SortIsPlain(points)) << run;
  }
}

TEST(ExactSort, EndsSortedWhenTheEffortIsSpent) {
  std::vector<SPoint> points;
  for (int i = 0; i < 200; ++i) {
    points.push_back({static_cast<float>(i * 37 % 20), static_cast<float>(i)});
  }
  detail::ReplayExchangeSort(std::span<SPoint>(points), {.swaps = 210});
  float sum = 0.0F;
  for (std::size_t i = 0; i < points.size(); ++i) {
    EXPECT_EQ(points[i].x, static_cast<float>(i / 10));
    sum += points[i].y;
  }
  EXPECT_EQ(sum, 19900.0F) << "every point once";
}

}  // namespace
}  // namespace limes::test
