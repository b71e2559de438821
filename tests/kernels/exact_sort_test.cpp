#include "limes/kernels/exact_sort.h"

#include <gtest/gtest.h>

#include "tests/support/bits.h"

namespace limes {
namespace {

struct SPoint {
  float x;
  float y;
};

void ExpectAsPlain(std::vector<SPoint> points) {
  std::vector<SPoint> plain = points;
  detail::PlainExchangeSort(std::span<SPoint>(plain));
  detail::ExchangeSort(std::span<SPoint>(points));
  if (!points.empty()) {
    ASSERT_EQ(std::memcmp(points.data(), plain.data(), points.size() * sizeof(SPoint)), 0);
  }
}

TEST(ExactSort, AllSmallRuns) {
  constexpr float kValues[] = {0.0F, 1.0F, -0.0F, NAN, 2.0F};
  std::vector<SPoint> points;
  for (std::size_t n = 0; n <= 6; ++n) {
    points.resize(n);
    std::size_t runs = 1;
    for (std::size_t i = 0; i < n; ++i) {
      runs *= std::size(kValues);
    }
    for (std::size_t run = 0; run < runs; ++run) {
      std::size_t digits = run;
      for (std::size_t i = 0; i < n; ++i, digits /= std::size(kValues)) {
        points[i] = {kValues[digits % std::size(kValues)], static_cast<float>(i)};
      }
      ExpectAsPlain(points);
    }
  }
}

TEST(ExactSort, LongRuns) {
  std::mt19937 random(7);
  for (int run = 0; run < 300; ++run) {
    const std::size_t n = run < 296 ? random() % 200 : 1100;
    std::vector<SPoint> points(n);
    float base = 0.0F;
    for (std::size_t i = 0; i < n; ++i) {
      base += run % 4 == 3 ? 1.0F : 0.0F;  // parts that are independent
      points[i] = {base + test::RandomFloat(random, run % 3), static_cast<float>(i % 50)};
    }
    if (run % 5 == 4) {
      std::sort(points.begin(), points.end(), [](auto& a, auto& b) {
        return std::isless(b.x, a.x) || (std::isnan(b.x) && !std::isnan(a.x));
      });
    }
    ExpectAsPlain(points);
  }
}

}  // namespace
}  // namespace limes
