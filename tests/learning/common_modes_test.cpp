#include "limes/learning/common_modes.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <tuple>

#include "limes/learning/curve_learning_tool.h"
#include "tests/support/hostile.h"

namespace limes::test {
namespace {

using Part = std::vector<double>;

constexpr double kGap = std::numeric_limits<double>::quiet_NaN();

template <class Value>
Part MakePart(std::size_t points, Value value) {
  Part part(points);
  for (std::size_t j = 0; j < points; ++j) {
    part[j] = value(static_cast<double>(j));
  }
  return part;
}

Part FourPoints(int i) {
  return MakePart(4, [=](double j) {
    return std::sin(1.7 * i + 0.3 * j) + 0.1 * std::cos(3.1 * i * (j + 1.0));
  });
}

/// Two ways to vary, and a little of each point's own; point 7 never changes.
Part ThirtyPoints(int i) {
  return MakePart(30, [=](double j) {
    return j == 7.0 ? 5.0
                    : 20.0 + std::sin(0.37 * i) * std::cos(0.2 * j) +
                          std::sin(1.1 * i + 0.5) * std::sin(0.4 * j) * 0.7 +
                          0.1 * std::sin(i * (j + 1.3) * (j + 2.7));
  });
}

template <class Make>
CCommonModes Learnt(CCommonModes modes, int first, int end, Make make) {
  for (int i = first; i < end; ++i) {
    EXPECT_EQ(modes.Learn(make(i)), LearnStatus::kOk);
  }
  return modes;
}

SModesScoring ScoreOf(CCommonModes& modes, const Part& part, double base = 0.0) {
  SModesOfPart told;
  EXPECT_EQ(modes.Explain(part, told), JudgeReason::kOk);
  return modes.Score(part, told, base);
}

Bytes State(const CCommonModes& modes) { return Written(modes, kWriteState); }

// The numbers were computed by an independent program.
TEST(CommonModes, SixteenPartsOfFourPoints) {
  CCommonModes modes(1);
  const double expected[][2] = {{1.321554672946, 1.321554672946}, {1.372796227938, 1.394466172267},
                                {1.10415490453, 1.10415490453},   {1.346067876131, 1.245776285284},
                                {1.082925114448, 1.082925114448}, {1.462378356201, 0.936168053713}};
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(modes.IsFormed(), i >= 10);
    if (i >= 10) {
      const SPartScores scores = ScoreOf(modes, FourPoints(i)).scores;
      EXPECT_NEAR(scores.above, expected[i - 10][0], 1e-11) << i;
      EXPECT_NEAR(scores.below, expected[i - 10][1], 1e-11) << i;
    }
    ASSERT_EQ(modes.Learn(FourPoints(i)), LearnStatus::kOk);
  }
  EXPECT_NEAR(modes.ModeSpread(0), std::sqrt(3.558219966324), 1e-11);
  EXPECT_NEAR(modes.VarianceShare(0), 3.558219966324 / 4.0, 1e-11);
  SModesOfPart told;
  const Part part = {0.5, 0.5, -0.5, 0.0};
  ASSERT_EQ(modes.Explain(part, told), JudgeReason::kOk);
  const SModesScoring scoring = modes.Score(part, told, 0.0);
  EXPECT_NEAR(scoring.scores.above, 2.60156136811, 1e-10);
  EXPECT_NEAR(scoring.scores.below, 3.54444962747, 1e-10);
  const double spreads[] = {0.448250786756, 0.147558522755, 0.175386235087, 0.42014077718};
  Part curve(4);
  modes.ModeCurve(0, curve);
  for (std::size_t j = 0; j < 4; ++j) {
    EXPECT_NEAR(told.spread[j], spreads[j] * modes.Spread(j), 1e-11);
    EXPECT_NEAR(told.expected[j], modes.Mean(j) + told.amounts[0] * curve[j], 1e-11);
  }
}

TEST(CommonModes, MorePartsThanRows) {
  CCommonModes modes = Learnt(CCommonModes(3), 0, 199, ThirtyPoints);
  const SPartScores last = ScoreOf(modes, ThirtyPoints(199)).scores;
  EXPECT_NEAR(last.above, 1.594101193419, 1e-10);
  EXPECT_NEAR(last.below, 1.656757971182, 1e-10);
  ASSERT_EQ(modes.Learn(ThirtyPoints(199)), LearnStatus::kOk);
  modes.Form();
  Part part = ThirtyPoints(3);
  part[12] += 0.6;
  SModesOfPart told;
  ASSERT_EQ(modes.Explain(part, told), JudgeReason::kOk);
  const double amounts[] = {-1.232026798442, -0.808283607317, -0.068700582681};
  for (std::size_t k = 0; k < 3; ++k) {
    EXPECT_NEAR(std::fabs(told.amounts[k]), std::fabs(amounts[k]), 1e-10);
    EXPECT_EQ(told.expected[7], 5.0);
    EXPECT_EQ(told.spread[7], 0.0);
  }
  const SModesScoring scoring = modes.Score(part, told, 0.0);
  EXPECT_NEAR(scoring.scores.above, 8.214345954597, 1e-9);
  EXPECT_EQ(scoring.aboveAt, 12U);
  // A base narrows what is beyond: the same part lies base / spread nearer.
  const double base = 0.5 * (part[12] - told.expected[12]);
  EXPECT_LT(modes.Score(part, told, base).residual.above, 0.6 * scoring.residual.above);
}

TEST(CommonModes, TellsAmountsOfWhatWasMeasured) {
  CCommonModes modes = Learnt(CCommonModes(2), 0, 60, ThirtyPoints);
  SModesOfPart whole;
  ASSERT_EQ(modes.Explain(ThirtyPoints(5), whole), JudgeReason::kOk);
  Part part = ThirtyPoints(5);
  std::fill(part.begin() + 12, part.begin() + 18, kGap);
  SModesOfPart told;
  ASSERT_EQ(modes.Explain(part, told), JudgeReason::kOk);
  for (std::size_t k = 0; k < 2; ++k) {
    EXPECT_NEAR(told.amounts[k], whole.amounts[k], 0.1);
  }
  const SPartScores scores = modes.Score(part, told, 0.0).scores;
  EXPECT_FALSE(std::isnan(scores.above) || std::isnan(scores.below));
  const double mean = modes.Mean(14);
  const double spread = modes.Spread(14);
  ASSERT_EQ(modes.Learn(part), LearnStatus::kOk);
  EXPECT_EQ(modes.Mean(14), mean);
  EXPECT_NEAR(modes.Spread(14), spread, 1e-12 * spread);
  std::fill(part.begin() + 2, part.end(), kGap);
  EXPECT_EQ(modes.Explain(part, told), JudgeReason::kCoversTooLittle);
}

// The numbers were computed by an independent program, by inverting the covariance of what was
// measured.
TEST(CommonModes, WholeIsTheDistanceInAShrunkCovariance) {
  for (const int wanted : {0, 2}) {
    CCommonModes modes = Learnt(CCommonModes(wanted, 10000000, true), 0, 60, ThirtyPoints);
    modes.Form();
    EXPECT_EQ(modes.Modes(), static_cast<std::size_t>(wanted));
    Part part = ThirtyPoints(63);
    const auto whole = [&] {
      SModesOfPart told;
      EXPECT_EQ(modes.Explain(part, told), JudgeReason::kOk);
      EXPECT_NEAR(modes.Score(part, told, 0.0).scores.whole, 2.0 * std::log(told.whole), 1e-12);
      return told.whole;
    };
    EXPECT_NEAR(whole(), 0.736309770085, 1e-9);
    for (std::size_t j = 0; j < part.size(); ++j) {
      part[j] += j == 7 ? 0.0 : j % 2 == 0 ? 0.2 : -0.2;
    }
    EXPECT_NEAR(whole(), 1.893041806759, 1e-9) << "0.2 up and down at all points";
    std::fill(part.begin() + 12, part.begin() + 18, kGap);
    EXPECT_NEAR(whole(), 1.951221682504, 1e-9);
    CCommonModes read;
    ASSERT_TRUE(ReadBlock(read, State(modes), kReadState));
    std::swap(read, modes);
    EXPECT_NEAR(whole(), 1.951221682504, 1e-9);
    EXPECT_EQ(modes.Merge(CCommonModes(wanted)), MergeStatus::kRule);
  }
  CCommonModes constant =
      Learnt(CCommonModes(0, 10000, true), 0, 20, [](int) { return Part(3, 1.0); });
  SModesOfPart told;
  ASSERT_EQ(constant.Explain(Part{1.0, 2.0, 1.0}, told), JudgeReason::kOk);
  EXPECT_EQ(told.whole, 0.0) << "nothing varies";
}

TEST(CommonModes, RefusesWhatItCannotLearn) {
  CCommonModes modes(1);
  SModesOfPart told;
  const Part part = {1.0, 2.0, 3.0};
  EXPECT_EQ(modes.Learn({}), LearnStatus::kNoValues);
  EXPECT_EQ(modes.Learn(Part{1.0, kGap}), LearnStatus::kGaps);
  EXPECT_EQ(modes.Explain(part, told), JudgeReason::kNothingLearnt);
  ASSERT_EQ(modes.Learn(part), LearnStatus::kOk);
  const Bytes before = State(modes);
  EXPECT_EQ(modes.Learn(Part{1.0, 2.0}), LearnStatus::kNoValues);
  EXPECT_EQ(modes.Learn(Part{1.0, INFINITY, 3.0}), LearnStatus::kNotFinite);
  EXPECT_EQ(modes.Learn(Part{1.0, 1e101, 3.0}), LearnStatus::kNotFinite);
  EXPECT_EQ(modes.Learn(Part{kGap, kGap, kGap}), LearnStatus::kNotFinite);
  EXPECT_EQ(State(modes), before);
}

/// No number of what is told is a NaN, whatever was learnt.
TEST(CommonModes, StaysANumber) {
  const auto random = [](int i) {
    return MakePart(6, [random = std::mt19937(static_cast<unsigned>(i))](double) mutable {
      return static_cast<double>(random() % 1000);
    });
  };
  const struct {
    const char* name;
    std::function<Part(int)> make;
    std::size_t modes;
    std::int32_t timeScale = 10000;
  } kCases[] = {
      {"identical parts",
       [](int) {
         return Part{1.0, 2.0, 3.0, 4.0};
       },
       0},
      {"one point", [](int i) { return Part{static_cast<double>(i % 3)}; }, 0},
      {"one point varies",
       [](int i) {
         return Part{1.0, i % 7 * 1.0, 3.0, 4.0};
       },
       1},
      {"all vary as one", [](int i) { return MakePart(8, [=](double j) { return i * j; }); }, 1},
      {"far apart",
       [](int i) {
         return Part{1e99 * (i % 2), 1e-99 * (i % 3), 1.0, 2.0};
       },
       2},
      {"forgets at once", random, 0, 0},
      {"forgets soon", random, 3, 1},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    CCommonModes modes = Learnt(CCommonModes(3, c.timeScale), 0, 150, c.make);
    EXPECT_EQ(modes.Modes(), c.modes);
    for (const double step : {0.0, 1.0, 1e90}) {
      Part part = c.make(1);
      part[0] += step;
      SModesOfPart told;
      ASSERT_EQ(modes.Explain(part, told), JudgeReason::kOk);
      const SModesScoring s = modes.Score(part, told, 0.0);
      for (const double number : {s.scores.above, s.scores.below, told.expected[0], told.spread[0],
                                  modes.AmountLimit({}, ScoreSides::kBoth)}) {
        EXPECT_FALSE(std::isnan(number));
      }
    }
    CCommonModes copy;
    EXPECT_TRUE(ReadBlock(copy, State(modes), kReadState));
  }
}

TEST(CommonModes, ForgetsAsTheMeanDoes) {
  constexpr std::int32_t kScale = 12;
  const int parts = 40;  // fewer than rows
  CCommonModes modes = Learnt(CCommonModes(2, kScale), 0, parts, FourPoints);
  modes.Form();
  double sum = 0.0;
  double mean = 0.0;
  double square = 0.0;
  for (int i = 0; i < parts; ++i) {
    const double weight = std::exp((i + 1.0 - parts) / kScale);
    sum += weight;
    mean += weight * FourPoints(i)[2];
    square += weight * FourPoints(i)[2] * FourPoints(i)[2];
  }
  mean /= sum;
  EXPECT_NEAR(modes.Mean(2), mean, 1e-12);
  EXPECT_NEAR(modes.Spread(2), std::sqrt(square / sum - mean * mean), 1e-12);
  EXPECT_LE(modes.VarianceShare(0) + modes.VarianceShare(1), 1.0 + 1e-12);
}

TEST(CommonModes, JoinsAsIfLearntHere) {
  for (const auto& [first, second, scale, near] :
       {std::tuple{20, 40, 10000, 1e-9}, {100, 100, 10000, 1e-3}, {20, 40, 25, 1e-9}}) {
    SCOPED_TRACE(std::to_string(first) + " " + std::to_string(scale));
    const int all = first + second;
    CCommonModes once = Learnt(CCommonModes(2, scale), 0, all, ThirtyPoints);
    CCommonModes joint = Learnt(CCommonModes(2, scale), 0, first, ThirtyPoints);
    ASSERT_EQ(joint.Merge(Learnt(CCommonModes(2, scale), first, all, ThirtyPoints)),
              MergeStatus::kOk);
    once.Form();
    EXPECT_EQ(joint.Learnt(), all);
    for (std::size_t i = 0; i < 30; ++i) {
      EXPECT_NEAR(joint.Mean(i), once.Mean(i), 1e-11);
      EXPECT_NEAR(joint.Spread(i), once.Spread(i), 1e-11);
    }
    for (std::size_t k = 0; k < 2; ++k) {
      EXPECT_NEAR(joint.ModeSpread(k), once.ModeSpread(k), near);
    }
  }
  CCommonModes modes = Learnt(CCommonModes(2), 0, 20, FourPoints);
  EXPECT_EQ(modes.Merge(Learnt(CCommonModes(3), 0, 9, FourPoints)), MergeStatus::kRule);
  EXPECT_EQ(modes.Merge(Learnt(CCommonModes(2, 5), 0, 9, FourPoints)), MergeStatus::kTimeScale);
  EXPECT_EQ(modes.Merge(Learnt(CCommonModes(2), 0, 9, ThirtyPoints)), MergeStatus::kGrid);
  EXPECT_EQ(modes.Merge(CCommonModes(2)), MergeStatus::kOk);
  EXPECT_EQ(modes.Merge(modes), MergeStatus::kOk);
  EXPECT_EQ(modes.Learnt(), 40);
}

TEST(CommonModes, GoesOnFromItsRecord) {
  CCommonModes modes = Learnt(CCommonModes(2, 30), 0, 100, FourPoints);
  CCommonModes again;
  ASSERT_TRUE(ReadBlock(again, State(modes), kReadState));
  EXPECT_EQ(State(Learnt(again, 100, 140, FourPoints)), State(Learnt(modes, 100, 140, FourPoints)));
  EXPECT_EQ(ScoreOf(again, FourPoints(7)).scores, ScoreOf(modes, FourPoints(7)).scores);
}

TEST(CommonModes, HostileRecord) {
  for (const bool whole : {false, true}) {
    const Bytes record = State(Learnt(CCommonModes(1, 10000, whole), 0, 12, FourPoints));
    ExpectHostileSafe(
        record, [] { return CCommonModes(); }, kReadState, kWriteState);
    for (std::size_t i = 16; i + 4 < record.size(); ++i) {
      Bytes changed = record;
      changed[i] ^= 0xFF;
      CCommonModes read;
      if (ReadBlock(read, WithChecksum(changed), kReadState) && read.Points() == 4) {
        SModesOfPart told;
        for (Part part : {FourPoints(1), FourPoints(2)}) {
          if (read.Explain(part, told) == JudgeReason::kOk) {
            EXPECT_FALSE(std::isnan(read.Score(part, told, 0.0).scores.whole));
          }
          static_cast<void>(read.Learn(part));
          part[1] = kGap;
          static_cast<void>(read.Explain(part, told));
          EXPECT_FALSE(std::isnan(told.whole));
        }
        EXPECT_EQ(read.Merge(read), MergeStatus::kOk);
      }
    }
  }
}

TEST(CommonModes, CurvesAreJudgedByWhatIsExpectedOfThem) {
  const auto curve = [](int i) {
    CSigCurveExt made = CSigCurveExt::Make(30, 0.0F, 30.0F);
    const Part part = ThirtyPoints(i);
    std::transform(part.begin(), part.end(), made.ValArray(),
                   [](double value) { return static_cast<float>(value); });
    return made;
  };
  CKurvenLernWerkzeug tool;
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(tool.LearnPart(curve(i)), LearnStatus::kOk);
  }
  CSigCurveExt bad = curve(3);
  bad.ValArray()[12] += 4.0F;
  for (const float width : {0.0F, 2.0F}) {
    tool.Bildungsregel(0.25F, 3.0F, width);
    std::vector<SCurveExcess> regions;
    const SPartJudgement usual = tool.JudgePart(bad);
    ASSERT_EQ(tool.StandardAbwBilden(), 1);
    const auto mean = tool.Mittelwert()->Values();
    const auto spread = tool.StandardAbw()->Values();
    CFittedPart& fitted = tool.Scratch();
    ASSERT_EQ(tool.Fit(bad, fitted), PartStatus::kOk);
    const SPartJudgement same = tool.JudgeExpected(fitted, mean, spread, 0.9, regions);
    EXPECT_EQ(same.verdict, usual.verdict);
    EXPECT_EQ(same.x, usual.x);
    EXPECT_NEAR(same.limit, usual.limit, 1e-5);
    EXPECT_NEAR(*same.inSpreads, *usual.inSpreads, 1e-4);
    // As it was expected, however far from the mean.
    const SPartJudgement own = tool.JudgeExpected(fitted, bad.Values(), spread, 0.9, regions);
    EXPECT_EQ(own.verdict, Verdict::kPass);
    EXPECT_EQ(own.mean, own.value);
    EXPECT_EQ(tool.JudgeExpected(fitted, mean.first(29), spread, 0.9, regions).verdict,
              Verdict::kNotJudged);
  }
}

TEST(CommonModes, EigenvectorsOfAnySymmetricMatrix) {
  std::mt19937 random(3);
  detail::SymmetricEigen eigen;
  for (const std::size_t n : {1U, 2U, 3U, 9U, 64U}) {
    for (const std::size_t rank : {std::size_t{0}, std::size_t{1}, n / 2, n}) {
      eigen.MakeRoom(n);
      const std::size_t stride = eigen.Stride();
      std::vector<double> a(n * stride);
      for (std::size_t r = 0; r < rank; ++r) {
        Part v = MakePart(n, [&](double) { return static_cast<double>(random() % 2001) - 1000.0; });
        for (std::size_t i = 0; i < n * n; ++i) {
          a[i / n * stride + i % n] += v[i / n] * v[i % n];
        }
      }
      std::copy(a.begin(), a.end(), eigen.Matrix());
      eigen.Solve(n, n);
      const double near = 1e-12 * (1.0 + eigen.Value(0)) * static_cast<double>(n);
      for (std::size_t k = 0; k < n; ++k) {
        const double* const v = eigen.Vectors() + k * stride;
        for (std::size_t i = 0; i < n; ++i) {
          double product = 0.0;
          double dot = 0.0;
          for (std::size_t j = 0; j < n; ++j) {
            product += a[i * stride + j] * v[j];
            dot += eigen.Vectors()[i * stride + j] * v[j];
          }
          EXPECT_NEAR(product, eigen.Value(k) * v[i], near);
          EXPECT_NEAR(dot, i == k ? 1.0 : 0.0, 1e-12);
        }
      }
    }
  }
}

}  // namespace
}  // namespace limes::test
