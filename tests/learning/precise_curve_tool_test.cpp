#include "limes/learning/precise_curve_tool.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/rated_limit.h"
#include "tests/support/hostile.h"

namespace limes {
namespace {

constexpr int kPoints = 20;
using Precise = CRatedLimit<CPreciseCurveTool>;
using InFloat = CRatedLimit<CKurvenLernWerkzeug>;

/// Part after part: values of a mean and the spread 1, the first one far out.
class Bench {
 public:
  explicit Bench(float mean) : mean_(mean) {}

  CSigCurveExt Next() {
    CSigCurveExt curve = CSigCurveExt::Make(kPoints, 0.0F, 10.0F * kPoints);
    for (float& value : curve.Values()) {
      double sum = parts_ == 0 ? -500.0 : -6.0;
      for (int i = 0; i < 12; ++i) {
        sum += static_cast<double>(random_()) / 4294967296.0;
      }
      value = mean_ + static_cast<float>(sum);
    }
    ++parts_;
    return curve;
  }

 private:
  float mean_;
  int parts_ = 0;
  std::mt19937 random_{7};
};

SRatedRule Rule() {
  SRatedRule rule;
  rule.factor = 3.0;
  return rule;
}

/// Learns so many parts, joining the states of twenty each as a tree.
template <class Limit>
Limit Tree(Bench& bench, int parts) {
  if (parts > 20) {
    Limit first = Tree<Limit>(bench, parts / 2);
    const Limit second = Tree<Limit>(bench, parts - parts / 2);
    EXPECT_EQ(first.Merge(second), MergeStatus::kOk);
    return first;
  }
  Limit limit(Rule());
  for (int i = 0; i < parts; ++i) {
    EXPECT_EQ(limit.LearnPart(bench.Next()), LearnStatus::kOk);
  }
  return limit;
}

TEST(PreciseCurves, JoinInAnyTreeAsIfLearntInOrder) {
  constexpr int kParts = 20000;
  for (const float mean : {0.0F, 60.0F, 1e4F}) {
    SCOPED_TRACE(mean);
    Bench bench(mean);
    Bench again(mean);
    Precise inOrder(Rule());
    std::vector<long double> sum(kPoints);
    std::vector<long double> squares(kPoints);
    for (int part = 0; part < kParts; ++part) {
      const CSigCurveExt curve = bench.Next();
      ASSERT_EQ(inOrder.LearnPart(curve), LearnStatus::kOk);
      for (int i = 0; i < kPoints; ++i) {
        const long double x = static_cast<long double>(curve[i]) - mean;
        sum[static_cast<std::size_t>(i)] += x;
        squares[static_cast<std::size_t>(i)] += x * x;
      }
    }
    Precise tree = Tree<Precise>(again, kParts);
    for (const Side side : {Side::kUpper, Side::kLower}) {
      const double sign = side == Side::kUpper ? 1.0 : -1.0;
      for (int i = 0; i < kPoints; ++i) {
        const CPreciseCurveTool& a = inOrder.Formed()[side];
        const CPreciseCurveTool& b = tree.Formed()[side];
        const double bound = 1e-9 * a.SpreadAt(i);
        EXPECT_NEAR(a.LimitAt(i), b.LimitAt(i), bound);
        const long double m = sum[static_cast<std::size_t>(i)] / kParts;
        const long double square = squares[static_cast<std::size_t>(i)] / kParts - m * m;
        EXPECT_NEAR(sign * a.MeanAt(i), static_cast<double>(mean + m), bound);
        EXPECT_NEAR(a.SpreadAt(i), static_cast<double>(std::sqrt(square)), bound);
      }
    }
  }
}

TEST(PreciseCurves, JudgeAndScoreAsThoseInFloat) {
  Bench bench(0.0F);
  Precise precise;
  InFloat inFloat;
  static_cast<void>(bench.Next());
  for (int part = 0; part < 300; ++part) {
    const CSigCurveExt curve = bench.Next();
    std::vector<std::uint8_t> covered(kPoints, 1);
    covered[5] = part % 50 == 49 ? 0 : 1;
    ASSERT_EQ(precise.LearnPart(SCurvePart(curve, covered)), LearnStatus::kOk);
    ASSERT_EQ(inFloat.LearnPart(curve), LearnStatus::kOk);
  }
  EXPECT_EQ(precise.Calibration().Scores(), inFloat.Calibration().Scores());
  EXPECT_NEAR(*precise.Factor(Side::kUpper), *inFloat.Factor(Side::kUpper), 0.02);
  CSigCurveExt part = bench.Next();
  part.SetAt(7, 9.0F);
  CSidedJudgement exact;
  CSidedJudgement rounded;
  precise.JudgePart(part, exact);
  inFloat.JudgePart(part, rounded);
  EXPECT_EQ(exact[Side::kUpper].verdict, Verdict::kFail);
  EXPECT_EQ(exact[Side::kUpper].x, 70.0);
  EXPECT_NEAR(exact[Side::kUpper].deviation, rounded[Side::kUpper].deviation, 0.05);
  EXPECT_EQ(exact[Side::kLower].verdict, rounded[Side::kLower].verdict);
  EXPECT_EQ(exact[Side::kUpper].limit,
            double{static_cast<float>(precise.Formed()[Side::kUpper].LimitAt(7))});

  // There and back.
  Precise taken;
  ASSERT_TRUE(taken.TakeFrom(inFloat));
  InFloat back;
  ASSERT_TRUE(back.TakeFrom(taken));
  EXPECT_EQ(back.Learnt(), 300);
  for (int i = 0; i < kPoints; ++i) {
    EXPECT_EQ((*back.Formed().First().Mittelwert())[i],
              (*inFloat.Formed().First().Mittelwert())[i]);
    EXPECT_NEAR((*back.Formed().First().QuadratMW())[i], (*inFloat.Formed().First().QuadratMW())[i],
                1e-6);
  }
  static_cast<void>(bench.Next());
  EXPECT_EQ(back.LearnPart(bench.Next()), LearnStatus::kOk);
  SRatedRule forgets;
  forgets.timeScale = 100;
  EXPECT_FALSE(taken.TakeFrom(InFloat(forgets)));
}

TEST(PreciseCurves, StatesSurviveHostileBytes) {
  Bench bench(60.0F);
  CPreciseCurveTool tool;
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(tool.LearnPart(bench.Next()), LearnStatus::kOk);
  }
  const test::Bytes record = test::Written(tool, test::kWriteState);
  const auto make = [] { return CPreciseCurveTool(); };
  test::ExpectHostileSafe(record, make, test::kReadState, test::kWriteState);
  const std::string refused =
      test::RefusedPlaces<CPreciseCurveTool>(record, [&](CPreciseCurveTool& read, bool ok) {
        const CSigCurveExt part = bench.Next();
        if (ok && read.LearnPart(part) == LearnStatus::kOk) {
          EXPECT_NE(read.JudgePart(part).reason, PartStatus::kMemory);
        }
        EXPECT_EQ(read.Merge(tool) == MergeStatus::kOk && !ok, false);
      });
  EXPECT_NE(refused.find("22"), std::string::npos) << refused;  // more parts than are counted
}

}  // namespace
}  // namespace limes
