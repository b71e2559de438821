#include "limes/learning/drift_alarm.h"

#include <cmath>
#include <random>

#include "tests/support/hostile.h"

namespace limes::test {
namespace {

TEST(DriftAlarm, RunLengthsAndThresholds) {
  EXPECT_NEAR(detail::OneSidedRunLength(4.0, 0.5), 335.4, 0.06);
  EXPECT_NEAR(detail::OneSidedRunLength(5.0, 0.5), 930.9, 0.06);
  const std::pair<double, double> cases[] = {
      {200, 4.171}, {370, 4.774}, {1000, 5.757}, {5000, 7.361}, {20000, 8.746}};
  for (const auto& [parts, threshold] : cases) {
    EXPECT_NEAR(DriftThreshold(parts, 0.5), threshold, 6e-4) << parts;
  }
  EXPECT_NEAR(CDriftAlarm().Threshold(), DriftThreshold(10000), 6e-4);
  for (const double none : {0.0, -5.0, std::nan("")}) {
    EXPECT_EQ(DriftThreshold(none), 0.0);
    EXPECT_EQ(CDriftAlarm(none).Threshold(), 0.0);
    EXPECT_EQ(CDriftAlarm(1.0, none).Allowance(), 0.0);
  }
  EXPECT_EQ(DriftThreshold(INFINITY), 40.0);
}

TEST(DriftAlarm, KeepsItsRunLengthOverStableParts) {
  std::mt19937 random(12);
  std::normal_distribution<double> normal(3.0, 0.02);  // neither 0 nor 1: it starts itself
  constexpr std::int64_t kParts = 1000000;
  CDriftAlarm alarm(DriftThreshold(1000));
  for (std::int64_t i = 0; i < kParts; ++i) {
    alarm.Add(normal(random));
  }
  EXPECT_NEAR(static_cast<double>(kParts) / static_cast<double>(alarm.Alarms()), 1000.0, 100.0);
}

TEST(DriftAlarm, NamesDirectionAndPlace) {
  std::mt19937 random(5);
  std::normal_distribution<double> normal;
  for (const double shift : {1.5, -1.5}) {
    int late = 0;
    constexpr int kSeries = 200;
    for (int series = 0; series < kSeries; ++series) {
      CDriftAlarm alarm;
      for (int i = 0; i < 100; ++i) {
        alarm.Add(normal(random));
      }
      SDrift drift;
      int after = 0;
      while (drift.direction == DriftDirection::kNone && after < 1000) {
        ++after;
        drift = alarm.Add(
            normal(random) + shift,
            {after == 3 ? 9.0F : 1.0F, after == 3 ? 9.0F : 1.0F, 100.0 * after, -100.0 * after});
      }
      late += after > 20 ? 1 : 0;
      if (drift.parts == after) {  // it began with the shift
        EXPECT_EQ(drift.place, shift > 0.0 ? 300.0 : -300.0);
      }
      EXPECT_EQ(drift.direction, shift > 0.0 ? DriftDirection::kUp : DriftDirection::kDown);
      EXPECT_EQ(alarm.Up() + alarm.Down(), 0.0) << "begins anew";
    }
    EXPECT_LT(late, kSeries / 10) << shift;
  }
  CDriftAlarm still;
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(still.Add(i == 50 ? NAN : 2.0).direction, DriftDirection::kNone) << "no spread";
  }
  EXPECT_EQ(still.Shifts(), 99);
}

TEST(DriftAlarm, MergesInAnyOrderAndKeepsItsRecord) {
  std::mt19937 random(7);
  std::vector<CDriftAlarm> benches(3);
  for (CDriftAlarm& bench : benches) {
    for (int i = 0; i < 50; ++i) {
      bench.Add(static_cast<int>(random() % 512) / 256.0, {1.0F, 2.0F, 3.0 * i, 4.0});
    }
  }
  CDriftAlarm forth = benches[0];
  CDriftAlarm back = benches[2];
  EXPECT_EQ(forth.Merge(benches[1]), MergeStatus::kOk);
  EXPECT_EQ(forth.Merge(benches[2]), MergeStatus::kOk);
  EXPECT_EQ(benches[1].Merge(benches[0]), MergeStatus::kOk);
  EXPECT_EQ(back.Merge(benches[1]), MergeStatus::kOk);
  EXPECT_EQ(Written(forth, kWriteState), Written(back, kWriteState));
  EXPECT_EQ(forth.Shifts(), 150);
  EXPECT_EQ(forth.Merge(CDriftAlarm(3.0)), MergeStatus::kRule);

  const Bytes record = Written(forth, kWriteState);
  ExpectHostileSafe(
      record, [] { return CDriftAlarm(); }, kReadState, kWriteState);
  int refused = 0;
  RefusedPlaces<CDriftAlarm>(record, [&](CDriftAlarm& read, bool ok) {
    refused += ok ? 0 : 1;
    read.Add(1.0);
    EXPECT_TRUE(!ok || !std::isnan(read.Up() + read.Down()));
  });
  EXPECT_GT(refused, 20);
}

}  // namespace
}  // namespace limes::test
