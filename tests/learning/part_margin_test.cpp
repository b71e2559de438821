#include "limes/learning/part_margin.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace limes::test {
namespace {

TEST(PartMargin, FactorForEveryBaseIsThatOfAllPoints) {
  std::mt19937 random(5);
  const auto number = [&] { return static_cast<double>(random() % 4096) / 512.0; };
  for (const std::size_t n : {1U, 2U, 50U, 9000U}) {
    CPartMargin margin;
    std::vector<CPartMargin::SCorner> points(n);
    for (auto& point : points) {  // of many points some are equal
      point = {number() + 0.01, number() - 4.0};
      margin.Add(point.excess, point.spread);
    }
    margin.Add(NAN, 1.0);
    margin.Add(INFINITY, 1.0);
    const auto corners = margin.Corners();
    EXPECT_LE(corners.size(), 40U) << n;
    for (double base = 0.0; base < 9.0; base += 0.37) {
      double largest = -INFINITY;
      for (const auto& point : points) {
        largest = std::max(largest, (point.excess - base) / point.spread);
      }
      EXPECT_DOUBLE_EQ(FactorFor(corners, base), largest) << n << " points, base " << base;
    }
  }
}

TEST(PartMargin, WhatNeverVariedPassesByTheBaseAlone) {
  CPartMargin margin;
  EXPECT_EQ(FactorFor(margin.Corners(), 0.0), -INFINITY);
  margin.Add(2.0, 0.0);
  margin.Add(1.0, 0.5);
  EXPECT_EQ(FactorFor(margin.Corners(), 1.9), INFINITY);
  EXPECT_EQ(FactorFor(margin.Corners(), 2.0), -2.0);
  EXPECT_EQ(FactorFor(margin.Corners(), 0.0, false), 2.0);
  margin.Clear();
  EXPECT_TRUE(margin.Corners().empty());
}

}  // namespace
}  // namespace limes::test
