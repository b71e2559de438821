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
      point = {base + RandomFloat(random, run % 3), static_cast<float>(random() % 3)};
    }
    if (run % 5 == 4) {  // falling
      std::sort(points.begin(), points.end(),
                [](auto& a, auto& b) { return detail::OrderKey(b.x) < detail::OrderKey(a.x); });
    }
    ASSERT_TRUE(SortIsPlain(points)) << run;
  }
}

TEST(ExactSort, EndsSortedWhenTheStepsAreSpent) {
  std::vector<std::uint32_t> levels;
  for (std::uint32_t i = 0; i < 200; ++i) {
    levels.push_back(i * 37 % 20 * 10);
  }
  std::vector<std::uint32_t> order = detail::ReplayedOrder(levels, 200, 1);
  for (std::uint32_t k = 0; k < 200; ++k) {
    EXPECT_EQ(levels[order[k]], k / 10 * 10);
  }
  std::sort(order.begin(), order.end());
  EXPECT_TRUE(std::unique(order.begin(), order.end()) == order.end()) << "every point once";
}

}  // namespace
}  // namespace limes::test
