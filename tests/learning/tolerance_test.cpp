#include "limes/learning/tolerance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "limes/learning/gauge_study.h"

namespace limes {
namespace {

TEST(Tolerance, FactorTable) {
  const struct {
    double n, at90, at99, at999;  // 90 % with 95 %, 99 % with 95 %, 99.9 % with 99 %
  } cases[] = {{5, 3.808732, 6.418728, 13.024352},
               {10, 2.482009, 4.196467, 6.962702},
               {30, 1.807713, 3.116279, 4.584758},
               {100, 1.534440, 2.697479, 3.767100},
               {1000, 1.354495, 2.431356, 3.277323}};
  for (const auto& c : cases) {
    EXPECT_NEAR(ToleranceFactor(c.n, 0.90, 0.95), c.at90, 6e-7) << c.n;
    EXPECT_NEAR(ToleranceFactor(c.n, 0.99, 0.95), c.at99, 6e-7) << c.n;
    EXPECT_NEAR(ToleranceFactor(c.n, 0.999, 0.99), c.at999, 6e-7) << c.n;
  }
  // Two values and the mean itself: Student's t with 1 degree, whose quantile is tan.
  EXPECT_NEAR(ToleranceFactor(2, 0.5, 0.95), std::tan(std::acos(-1.0) * 0.45), 1e-9);
  EXPECT_NEAR(ToleranceFactor(50, 0.5, 0.5), 0.0, 1e-12);
  EXPECT_NEAR(ToleranceFactor(50, 0.1, 0.05), -ToleranceFactor(50, 0.9, 0.95), 1e-9);
  EXPECT_NEAR(ToleranceFactor(1e6, 0.99, 0.95), 2.3263479 + 1.6448536 * std::sqrt(3.706 / 1e6),
              1e-5);
  for (const double n : {1.0, 0.0, -3.0, NAN + 0.0, INFINITY + 0.0}) {
    EXPECT_TRUE(std::isnan(ToleranceFactor(n, 0.9, 0.95))) << n;
  }
  EXPECT_TRUE(std::isnan(ToleranceFactor(10, 1.0, 0.95)) &&
              std::isnan(ToleranceFactor(10, 0.9, 0)));
}

TEST(Tolerance, Capability) {
  // Spread 1: Cp 1.33 and Cpk 1.2.
  const STolerance tolerance{-4.38, 3.60};
  const SCapability c = CapabilityOf(50, 0.0, 1.0, 49, tolerance);
  EXPECT_NEAR(c.index, 1.33, 1e-12);
  EXPECT_NEAR(c.between.low, 1.0673, 6e-5);
  EXPECT_NEAR(c.between.high, 1.5922, 6e-5);
  EXPECT_NEAR(c.nearer, 1.2, 1e-12);
  EXPECT_NEAR(c.nearerBetween.low, 0.9451, 6e-5);
  EXPECT_NEAR(c.nearerBetween.high, 1.4549, 6e-5);
  const SCapability upper = CapabilityOf(50, 0.0, 1.0, 49, {-INFINITY, 3.0});
  EXPECT_TRUE(std::isnan(upper.index) && upper.nearer == 1.0);
  EXPECT_LT(CapabilityOf(50, 5.0, 1.0, 49, tolerance).nearer, 0.0) << "the mean lies outside";
  EXPECT_TRUE(std::isnan(CapabilityOf(50, 0.0, 0.0, 49, tolerance).nearer));
  EXPECT_TRUE(std::isnan(CapabilityOf(1, 0.0, 1.0, 0, tolerance).nearer));
  EXPECT_TRUE(std::isnan(CapabilityOf(50, 0.0, 1.0, 49, {}).nearer));
}

TEST(Tolerance, SpreadWithinLeavesOutWhatMovesSlowly) {
  std::mt19937 random(3);
  std::normal_distribution<double> normal;
  std::vector<double> values(20000);
  for (std::size_t i = 0; i < values.size(); ++i) {
    values[i] = 1e6 + normal(random) + 3.0 * std::sin(static_cast<double>(i) / 500.0);
  }
  const SProcessSpread spread = SpreadOf(values);
  EXPECT_NEAR(spread.within, 1.0, 0.02);
  EXPECT_NEAR(spread.total, std::sqrt(1.0 + 4.5), 0.05);
  EXPECT_NEAR(spread.mean, 1e6, 0.2);
  EXPECT_EQ(SpreadOf({}).n, 0U);
  const double one = 4.0;
  EXPECT_TRUE(SpreadOf({&one, 1}).mean == 4.0 && SpreadOf({&one, 1}).total == 0.0);
}

/// A published table: 3 persons, 3 trials, 10 parts.
constexpr double kTable[9][10] = {
    {0.29, -0.56, 1.34, 0.47, -0.80, 0.02, 0.59, -0.31, 2.26, -1.36},
    {0.41, -0.68, 1.17, 0.50, -0.92, -0.11, 0.75, -0.20, 1.99, -1.25},
    {0.64, -0.58, 1.27, 0.64, -0.84, -0.21, 0.66, -0.17, 2.01, -1.31},
    {0.08, -0.47, 1.19, 0.01, -0.56, -0.20, 0.47, -0.63, 1.80, -1.68},
    {0.25, -1.22, 0.94, 1.03, -1.20, 0.22, 0.55, 0.08, 2.12, -1.62},
    {0.07, -0.68, 1.34, 0.20, -1.28, 0.06, 0.83, -0.34, 2.19, -1.50},
    {0.04, -1.38, 0.88, 0.14, -1.46, -0.29, 0.02, -0.46, 1.77, -1.49},
    {-0.11, -1.13, 1.09, 0.20, -1.07, -0.67, 0.01, -0.56, 1.45, -1.77},
    {-0.15, -0.96, 0.67, 0.11, -1.45, -0.49, 0.21, -0.49, 1.87, -2.16}};

std::vector<SGaugeReading> Published() {
  std::vector<SGaugeReading> readings;
  for (std::uint32_t row = 0; row < 9; ++row) {
    for (std::uint32_t part = 0; part < 10; ++part) {
      readings.push_back({part + 7, row / 3, kTable[row][part]});
    }
  }
  return readings;
}

TEST(GaugeStudy, PublishedTable) {
  SGaugeStudy study;
  std::vector<SGaugeReading> readings = Published();
  ASSERT_EQ(StudyGauge(readings, study), GaugeStatus::kOk);
  EXPECT_TRUE(study.parts == 10 && study.persons == 3 && study.trials == 3);
  EXPECT_NEAR(study.repeatability, 0.199933, 6e-7);
  EXPECT_NEAR(study.reproducibility, 0.226838, 6e-7);
  EXPECT_NEAR(study.gauge, 0.302372, 6e-7);
  EXPECT_NEAR(study.partToPart, 1.042327, 6e-7);
  EXPECT_NEAR(study.total, 1.085300, 6e-6);
  EXPECT_NEAR(study.interactionChance, 0.974, 6e-4);
  EXPECT_TRUE(study.pooled && study.interaction == 0.0);
  EXPECT_NEAR(study.categories, 4.87, 0.01);
  readings.pop_back();
  EXPECT_EQ(StudyGauge(readings, study), GaugeStatus::kUnbalanced);
  EXPECT_EQ(study.parts, 10U) << "unchanged";
  readings[3].value = NAN;
  EXPECT_EQ(StudyGauge(readings, study), GaugeStatus::kNotFinite);
}

/// Patterns that are orthogonal, so that each sum of squares is known.
TEST(GaugeStudy, TellsItsComponentsApart) {
  std::vector<SGaugeReading> readings;
  for (std::uint32_t part = 0; part < 4; ++part) {
    for (std::uint32_t person = 0; person < 3; ++person) {
      const double both = (person == 1 ? -1.0 : 0.5) * (part % 2 == 0 ? 1.0 : -1.0);
      for (const double trial : {-0.4, 0.4}) {
        readings.push_back({part, person, (part < 2 ? -3.0 : 3.0) + person + both + trial});
      }
    }
  }
  SGaugeStudy study;
  ASSERT_EQ(StudyGauge(readings, study), GaugeStatus::kOk);
  EXPECT_NEAR(std::pow(study.repeatability, 2.0), 0.32, 1e-12);
  EXPECT_NEAR(std::pow(study.interaction, 2.0), (2.0 - 0.32) / 2.0, 1e-12);
  EXPECT_NEAR(std::pow(study.reproducibility, 2.0), 0.84 + (8.0 - 2.0) / 8.0, 1e-12);
  EXPECT_NEAR(std::pow(study.partToPart, 2.0), (72.0 - 2.0) / 6.0, 1e-12);
  EXPECT_FALSE(study.pooled);
}

TEST(GaugeStudy, RefusesWhatIsNoTable) {
  SGaugeStudy study;
  EXPECT_EQ(StudyGauge({}, study), GaugeStatus::kTooFew);
  const std::vector<SGaugeReading> once = {{0, 0, 1.0}, {1, 0, 2.0}, {2, 0, 3.0}};
  EXPECT_EQ(StudyGauge(once, study), GaugeStatus::kTooFew);
  const std::vector<SGaugeReading> others = {{0, 0, 1.0}, {0, 1, 2.0}, {1, 0, 3.0}, {1, 2, 4.0}};
  EXPECT_EQ(StudyGauge(others, study), GaugeStatus::kUnbalanced);
  std::vector<SGaugeReading> one = Published();
  std::erase_if(one, [](const SGaugeReading& r) { return r.person != 0; });
  ASSERT_EQ(StudyGauge(one, study), GaugeStatus::kOk);
  EXPECT_EQ(study.reproducibility, 0.0);
  EXPECT_NEAR(study.gauge, study.repeatability, 1e-15);
}

TEST(GaugeStudy, TypeOne) {
  const double values[] = {9.9, 10.1, 10.0, 10.2, 9.8};
  const SGaugeCheck check = CheckGauge(values, 9.9, {5.0, 15.0});
  EXPECT_NEAR(check.spread, std::sqrt(0.025), 1e-12);
  EXPECT_NEAR(check.cg, 2.0 / (6.0 * check.spread), 1e-12);
  EXPECT_NEAR(check.cgk, (1.0 - 0.1) / (3.0 * check.spread), 1e-9);
  EXPECT_NEAR(check.chance, 0.2302, 6e-5);  // t = 1.41421 with 4 degrees
  EXPECT_TRUE(std::isnan(CheckGauge(values, 9.9, {}).cg));
  EXPECT_TRUE(std::isnan(CheckGauge({}, 9.9, {5.0, 15.0}).chance));
}

}  // namespace
}  // namespace limes
