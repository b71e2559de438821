#include "limes/learning/calibration.h"

#include <cmath>
#include <functional>
#include <random>

#include "limes/learning/score.h"
#include "tests/support/hostile.h"

namespace limes::test {
namespace {

/// Leave-one-out scores of 10 12 11 13 9 11 12 10 14 11 10 13, each by all others.
constexpr double kTwelve[] = {-0.883110, 0.434817,  -0.216600, 1.117303,  -1.619741, -0.216600,
                              0.434817,  -0.883110, 1.896373,  -0.216600, -0.883110, 1.117303};

CLimitCalibration OfTwelve(ScoreSides sides) {
  CLimitCalibration calibration(sides);
  for (const double u : kTwelve) {
    EXPECT_TRUE(calibration.Add({u, -u}));
  }
  return calibration;
}

std::vector<SPartScores> RandomParts(std::size_t n, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<SPartScores> parts(n);
  for (SPartScores& part : parts) {  // many are equal on one side, some on both
    part.above = static_cast<int>(random() % 4000) / 512.0 - 3.0;
    part.below = static_cast<int>(random() % 4000) / 512.0 - 4.0;
    part.whole = static_cast<int>(random() % 4000) / 1024.0;
  }
  return parts;
}

CLimitCalibration Of(const std::vector<SPartScores>& parts, bool whole = false) {
  CLimitCalibration calibration(ScoreSides::kBoth, whole);
  for (const SPartScores& part : parts) {
    EXPECT_TRUE(calibration.Add(part));
  }
  return calibration;
}

TEST(Calibration, RanksAndRates) {
  const struct {
    std::int64_t m, rank;
    double rate, mean, low, high;  // in percent
  } cases[] = {{19, 19, 5, 5.000, 0.133, 17.647},   {40, 39, 5, 4.878, 0.611, 13.159},
               {99, 95, 5, 5.000, 1.660, 10.023},   {400, 381, 5, 4.988, 3.081, 7.319},
               {1000, 951, 5, 4.995, 3.734, 6.427}, {99, 99, 1, 1.000, 0.026, 3.658},
               {400, 397, 1, 0.998, 0.273, 2.176}};
  for (const auto& c : cases) {
    EXPECT_EQ(RejectRank(c.m, c.rate / 100.0), c.rank) << c.m;
    const SInterval achieved = AchievedRate(c.m, c.rank);
    EXPECT_NEAR(100.0 * achieved.low, c.low, 6e-4) << c.m;
    EXPECT_NEAR(100.0 * achieved.high, c.high, 6e-4) << c.m;
  }
  const SInterval rejected = RejectedParts(100, RejectRank(100, 0.05), 200);
  EXPECT_EQ(rejected.low, 2.0);
  EXPECT_EQ(rejected.high, 22.0);
  EXPECT_EQ(ScoresNeeded(0.05), 19);
  EXPECT_EQ(ScoresNeeded(0.01), 99);
  EXPECT_EQ(ScoresNeeded(0.001), 999);
  for (const double none : {0.0, -1.0, std::nan("")}) {
    EXPECT_EQ(ScoresNeeded(none), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(RejectRank(50, none), 51) << "no rank of 50";
  }
  for (int percent = 1; percent < 60; ++percent) {
    const std::int64_t m = ScoresNeeded(percent / 100.0);
    EXPECT_LE(RejectRank(m, percent / 100.0), m) << percent;
    EXPECT_EQ(RejectRank(m - 1, percent / 100.0), m) << percent << ": one too few";
  }
}

TEST(Calibration, FactorsOfTwelveValues) {
  const struct {
    ScoreSides sides;
    double rate, above, below;
    CalibrationBasis basis;
  } cases[] = {{ScoreSides::kOne, 0.25, 1.279696, 0, CalibrationBasis::kRank},
               {ScoreSides::kOne, 0.10, 2.301524, 0, CalibrationBasis::kRank},
               {ScoreSides::kOne, 0.05, 2.301524, 0, CalibrationBasis::kExtrapolated},
               {ScoreSides::kBoth, 0.25, 1.411564, 1.394739, CalibrationBasis::kRank},
               {ScoreSides::kBoth, 0.10, 3.047164, 3.024664, CalibrationBasis::kRank}};
  for (const auto& c : cases) {
    const SCalibratedLimit limit = OfTwelve(c.sides).ForRate(c.rate);
    EXPECT_EQ(limit.basis, c.basis) << c.rate;
    EXPECT_NEAR(limit.FactorAbove(12), c.above, 5e-6) << c.rate;
    EXPECT_TRUE(c.sides == ScoreSides::kOne || std::fabs(limit.FactorBelow(12) - c.below) < 5e-6);
    EXPECT_EQ(limit.scores, 12);
  }
  const SCalibratedLimit tail = OfTwelve(ScoreSides::kOne).ForRate(0.01);
  EXPECT_NEAR(tail.above, 3.392149, 5e-6);
  EXPECT_DOUBLE_EQ(tail.promised, 1.0 / 13.0);
  EXPECT_EQ(tail.low, 0.0);
  EXPECT_NEAR(tail.high, AchievedRate(12, 12).high, 1e-15);
  EXPECT_EQ(OfTwelve(ScoreSides::kOne).Beyond(1.0, 0.0).parts, 3);
  EXPECT_EQ(OfTwelve(ScoreSides::kBoth).Beyond(1.0, 1.0).parts, 4);
}

TEST(Calibration, SaysWhenNothingCanBeFormed) {
  CLimitCalibration calibration;
  const auto basis = [&](double rate) { return calibration.ForRate(rate).basis; };
  EXPECT_EQ(basis(0.5), CalibrationBasis::kNone);
  EXPECT_EQ(calibration.HoldLimit(), INFINITY);
  EXPECT_FALSE(calibration.Add({NAN, 0.0}));
  EXPECT_FALSE(calibration.Add({0.0, NAN}));
  EXPECT_EQ(calibration.Scores(), 0);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(calibration.Add({-INFINITY, INFINITY}));
  }
  EXPECT_EQ(basis(0.5), CalibrationBasis::kNone);
  EXPECT_TRUE(calibration.Add({-100.0, 1e300}));
  EXPECT_EQ(basis(0.5), CalibrationBasis::kRank) << "with few scores one limit for both sides";
  EXPECT_EQ(calibration.ForRate(0.5).above, kHighestScore);
  EXPECT_EQ(basis(0.0), CalibrationBasis::kNone);
  EXPECT_EQ(basis(1.0), CalibrationBasis::kNone);
  EXPECT_EQ(basis(NAN), CalibrationBasis::kNone);
  for (int i = 0; i < 40; ++i) {  // nothing varies above
    EXPECT_TRUE(calibration.Add({kLowestScore, 0.1 * i}));
  }
  EXPECT_EQ(calibration.ForRate(0.1).above, kLowestScore);
  EXPECT_EQ(calibration.ForRate(0.1).FactorAbove(40), 0.0) << "no limit below the mean";
}

/// The same from all scores at once, sorted.
SCalibratedLimit Plain(const std::vector<SPartScores>& parts, std::int64_t beyond, bool whole) {
  const auto n = static_cast<double>(parts.size());
  std::vector<double> numbers(parts.size(), kLowestScore);
  double mean[3] = {};
  double squares[3] = {};
  double SPartScores::*const sides[] = {&SPartScores::above, &SPartScores::below,
                                        &SPartScores::whole};
  for (std::size_t side = 0; side < (whole ? 3 : 2); ++side) {
    const auto score = [&](std::size_t i) { return parts[i].*sides[side]; };
    const double behind = whole && side < 2 ? CLimitCalibration::kPointsBehind : 0.0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
      mean[side] += score(i) / n;
    }
    for (std::size_t i = 0; i < parts.size(); ++i) {
      squares[side] += (score(i) - mean[side]) * (score(i) - mean[side]);
    }
    for (std::size_t i = 0; i < parts.size(); ++i) {
      const double d = (score(i) - mean[side]) * n / (n - 1.0);
      const double others = squares[side] - (score(i) - mean[side]) * d;
      numbers[i] =
          std::max(numbers[i], ScoreOf(d / std::sqrt(others / (n - 1.0)), n - 1.0) - behind);
    }
  }
  std::sort(numbers.begin(), numbers.end(), std::greater<>());
  const double number = numbers[static_cast<std::size_t>(beyond - 1)];
  const double factor = FactorOf(number + (whole ? CLimitCalibration::kPointsBehind : 0.0), n);
  SCalibratedLimit limit;
  limit.above = mean[0] + factor * std::sqrt(squares[0] / n);
  limit.below = mean[1] + factor * std::sqrt(squares[1] / n);
  limit.whole = mean[2] + FactorOf(number, n) * std::sqrt(squares[2] / n);
  return limit;
}

TEST(Calibration, OfManyPartsIsThatOfAllScores) {
  constexpr std::pair<std::size_t, bool> kCases[] = {{15, false},    {15, true},   {511, false},
                                                     {511, true},    {5000, true}, {5000, false},
                                                     {20000, false}, {20000, true}};
  for (const auto& [n, whole] : kCases) {
    const std::vector<SPartScores> parts = RandomParts(n, 5);
    const CLimitCalibration calibration = Of(parts, whole);
    for (const double rate : {0.2, 0.05, 0.01}) {
      const auto m = static_cast<std::int64_t>(n);
      const std::int64_t beyond = std::min<std::int64_t>(m + 1 - RejectRank(m, rate), 512);
      if (beyond < 1) {
        continue;
      }
      const SCalibratedLimit limit = calibration.ForRate(rate);
      const SCalibratedLimit plain = Plain(parts, beyond, whole);
      EXPECT_NEAR(limit.above, plain.above, 1e-9) << n;
      EXPECT_NEAR(limit.below, plain.below, 1e-9) << n;
      EXPECT_NEAR(limit.promised, static_cast<double>(beyond) / static_cast<double>(n + 1), 1e-15);
      if (whole) {
        EXPECT_NEAR(limit.whole, plain.whole, 1e-9) << n;
      }
      const SPartsBeyond counted = calibration.Beyond(limit.above, limit.below, limit.whole);
      const auto out =
          std::count_if(parts.begin(), parts.end(), [&, whole = whole](const SPartScores& p) {
            return p.above > limit.above || p.below > limit.below ||
                   (whole && p.whole > limit.whole);
          });
      EXPECT_TRUE(counted.exact ? counted.parts == out : counted.parts <= out) << n;
      EXPECT_LE(counted.parts, beyond);
    }
  }
  EXPECT_FALSE(Of(RandomParts(5000, 5)).Beyond(-50.0, -50.0).exact);
}

TEST(Calibration, MergesInAnyOrderGiveTheSameBytes) {
  for (const std::size_t n : {60U, 3000U}) {
    std::vector<SPartScores> parts = RandomParts(n, 9);
    const Bytes straight = Written(Of(parts), kWriteState);
    std::mt19937 random(1);
    for (int round = 0; round < 5; ++round) {
      std::shuffle(parts.begin(), parts.end(), random);
      std::vector<CLimitCalibration> benches(7);
      for (std::size_t i = 0; i < n; ++i) {
        EXPECT_TRUE(benches[i * i % 7].Add(parts[i]));
      }
      while (benches.size() > 1) {
        const std::size_t to = random() % (benches.size() - 1);
        EXPECT_EQ(benches[to].Merge(benches.back()), MergeStatus::kOk);
        benches.pop_back();
      }
      EXPECT_EQ(Written(benches[0], kWriteState), straight) << n;
    }
  }
  CLimitCalibration twice = OfTwelve(ScoreSides::kBoth);
  CLimitCalibration again = twice;
  EXPECT_EQ(twice.Merge(again), MergeStatus::kOk);
  EXPECT_EQ(again.Merge(again), MergeStatus::kOk);
  EXPECT_EQ(Written(twice, kWriteState), Written(again, kWriteState));
  EXPECT_EQ(twice.Merge(OfTwelve(ScoreSides::kOne)), MergeStatus::kRule);
  EXPECT_EQ(twice.Merge(Of({}, true)), MergeStatus::kRule);
}

TEST(Calibration, RecordsAreSafe) {
  CLimitCalibration small(ScoreSides::kOne);
  CLimitCalibration both;
  CLimitCalibration whole(ScoreSides::kBoth, true);
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(small.Add({0.25 * i, 0.0}));
    EXPECT_TRUE(both.Add({0.25 * i, 1.0 - i * i}));
    EXPECT_TRUE(whole.Add({0.25 * i, 1.0 - i * i, 0.125 * i}));
  }
  for (const CLimitCalibration* sample : {&small, &both, &whole}) {
    const Bytes record = Written(*sample, kWriteState);
    ExpectHostileSafe(
        record, [] { return CLimitCalibration(); }, kReadState, kWriteState);
    int taken = 0;
    RefusedPlaces<CLimitCalibration>(record,
                                     [&](CLimitCalibration&, bool ok) { taken += ok ? 1 : 0; });
    EXPECT_LT(taken, 20) << "sums, order and scores bind each other but for the last bits";
  }
  Bytes many = Written(Of(RandomParts(600, 3)), kWriteState);
  CLimitCalibration read;
  EXPECT_TRUE(ReadBlock(read, many, kReadState));
  EXPECT_EQ(read.Scores(), 600);
  EXPECT_EQ(Written(read, kWriteState), many);
  std::swap_ranges(many.end() - 4 - 16, many.end() - 4, many.end() - 4 - 32);
  EXPECT_FALSE(ReadBlock(read, WithChecksum(many), kReadState)) << "out of order";
}

}  // namespace
}  // namespace limes::test
