#include "limes/learning/part_score.h"

#include <gtest/gtest.h>

#include <functional>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/hold_back.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/learning/learning_loops.h"
#include "limes/learning/other_parts.h"
#include "limes/learning/score.h"
#include "limes/learning/sided.h"
#include "limes/learning/track_learning_tool.h"
#include "tests/support/bits.h"

namespace limes::test {
namespace {

using Values = std::vector<float>;

/// One point a part.
const Values kTwelve = {10, 12, 11, 13, 9, 11, 12, 10, 14, 11, 10, 13};

/// Mean and mean square of parts that came one after the other, as curves are learnt.
struct Learnt {
  explicit Learnt(std::size_t points) : m(points), q(points) {}

  SPartExcess Score(const Values& k, float base = 0.0F) const {
    SPartExcess excess;
    detail::ScoreValues(m.data(), q.data(), k.data(), k.size(), base, 0, excess);
    return excess;
  }

  SPartExcess ScoreAndLearn(const Values& k, float base = 0.0F) {
    const SPartExcess excess = Score(k, base);
    const float a = n / (n + 1.0F);
    detail::LearnValues(m.data(), q.data(), k.data(), k.size(), a, 1.0F - a);
    n += 1.0F;
    return excess;
  }

  Values m, q;
  float n = 0.0F;
};

/// Of the last of the twelve parts, each learnt by the checked calls.
template <class Tool, class Measured>
void ExpectScored(Measured measured) {
  const double spread = std::sqrt(1397.0 / 11.0 - 15129.0 / 121.0);
  const double shift = (13.0 - 123.0 / 11.0) / spread;
  for (const Sides sides : {Sides::kBoth, Sides::kUpper, Sides::kLower}) {
    CSided<Tool> tools(sides);
    SPartScoring last;
    for (std::size_t i = 0; i < kTwelve.size(); ++i) {
      const auto& part = measured(kTwelve[i]);
      tools.SetRule(0.5F, 3.0F);
      ASSERT_EQ(tools.LearnPart(part, {}, &last), PartStatus::kOk);
      EXPECT_EQ(last.isScored, i >= 10);
    }
    EXPECT_NEAR(last.scores.above, ScoreOf(shift - 0.5 / spread, 11.0), 5e-3);  // tracks forget
    EXPECT_NEAR(last.scores.below, ScoreOf(-shift - 0.5 / spread, 11.0), 5e-3);
    EXPECT_NEAR(last.excess.MeanShift(), shift, 5e-3);  // tracks forget
  }
}

TEST(PartScore, IsThatOfEveryLearnerAndSide) {
  CSigCurveExt curve = CSigCurveExt::Make(40, 0.0F, 40.0F);
  const auto along = [&](float value) -> const CSigCurveExt& {
    for (int i = 0; i < 40; ++i) {
      curve.ValArray()[i] = value + static_cast<float>(i % 2);
    }
    return curve;
  };
  ExpectScored<CLernenderGrenzwert>([](float value) { return SValuePart(double{value}); });
  ExpectScored<CKurvenLernWerkzeug>(along);
  ExpectScored<CTrackLernWerkzeug>(along);
}

TEST(PartScore, OnePassTable) {
  constexpr double kAbove[] = {1.211231, -1.335210, 0,         0.611416, -0.744531,
                               1.826872, -0.193788, -0.792475, 1.117303};
  Learnt state(1);
  for (std::size_t i = 0; i < 12; ++i) {
    const SPartScores scores = ScoresOf(state.ScoreAndLearn({kTwelve[i]}), static_cast<double>(i));
    if (i >= 3) {  // in float, whose squares are 1e-5 of this spread
      EXPECT_NEAR(scores.above, kAbove[i - 3], 3e-5) << i;
      EXPECT_NEAR(scores.below, -kAbove[i - 3], 3e-5) << i;
    }
  }
  EXPECT_EQ(ScoresOf(SPartExcess(), 12.0), SPartScores()) << "nothing was compared";
  const SPartExcess one = ExcessOf(14.0, 34.0 / 3.0, 1.43372088, 0.5);
  EXPECT_NEAR(one.above, 1.511220, 1e-6);
  EXPECT_NEAR(one.below, -2.208705, 1e-6);
  EXPECT_EQ(ExcessOf(14.0, 11.0, 11.0 * 0x1p-24, 0.0).points, 0U) << "a rounding, no spread";
  EXPECT_EQ(Larger({1.0, 2.0}, {3.0, -1.0}), (SPartScores{3.0, 2.0}));
}

/// All lengths around the blocks and lanes, with points that do not vary, NaN and infinities.
TEST(PartScore, KernelGivesTheBitsOfThePlainLoop) {
  std::mt19937 random(4);
  for (const std::size_t n : {0U, 1U, 15U, 16U, 17U, 511U, 512U, 513U, 1500U}) {
    for (const float base : {0.0F, 0.75F, -2.0F}) {
      Learnt state(n);
      Values k(n);
      for (std::size_t i = 0; i < n; ++i) {
        state.m[i] = static_cast<float>(random() % 1000) / 64.0F - 8.0F;
        state.q[i] = state.m[i] * state.m[i] + static_cast<float>(random() % 8) / 16.0F;
        k[i] = static_cast<float>(random() % 1000) / 64.0F - 8.0F;
        k[i] = random() % 50 == 0 ? NAN : random() % 400 == 0 ? INFINITY : k[i];
      }
      SPartExcess plain;
      for (std::size_t i = 0; i < n; ++i) {
        const float square = state.q[i] - state.m[i] * state.m[i];
        const float spread = square > 0.0F ? std::sqrt(square) : 0.0F;
        if (!(spread > 0x1p-24F * std::fabs(state.m[i])) || std::isnan(k[i])) {
          continue;
        }
        const float inverse = 1.0F / spread;
        const float z = (k[i] - state.m[i]) * inverse;
        ++plain.points;
        if (z - base * inverse > plain.above) {
          plain.above = z - base * inverse;
          plain.aboveAt = i + 7;
        }
        if (-z - base * inverse > plain.below) {
          plain.below = -z - base * inverse;
          plain.belowAt = i + 7;
        }
        plain.shiftSum += double{z};
      }
      SPartExcess excess;
      detail::ScoreValues(state.m.data(), state.q.data(), k.data(), n, base, 7, excess);
      const auto places = [](const SPartExcess& e) {
        return std::tuple(e.above, e.below, e.aboveAt, e.belowAt, e.points);
      };
      EXPECT_EQ(places(excess), places(plain)) << n;
      EXPECT_TRUE(excess.shiftSum == plain.shiftSum ||
                  std::fabs(excess.shiftSum - plain.shiftSum) < 1e-3 * static_cast<double>(n));
    }
  }
}

/// Of parts like those learnt at most the rate is rejected by the limits that scores in one pass
/// give, whatever the values are like.
TEST(PartScore, RatesHoldForAnyDistribution) {
  std::mt19937 random(3);
  std::normal_distribution<float> normal(60.0F, 1.0F);
  std::student_t_distribution<float> heavy(3.0F);
  const std::pair<const char*, std::function<float(std::size_t, float)>> cases[] = {
      {"Normal", [&](std::size_t, float) { return normal(random); }},
      {"heavy tails", [&](std::size_t, float) { return heavy(random); }},
      {"quantised", [&](std::size_t, float) { return std::round(2.0F * normal(random)) / 2.0F; }},
      {"many do not vary",
       [&](std::size_t i, float) { return i % 4 != 0 ? 5.0F : normal(random); }},
      {"two modes", [&](std::size_t, float part) { return part + 0.1F * normal(random); }}};
  constexpr int kRounds = 60;
  constexpr int kLearnt = 109;
  constexpr int kJudged = 60;
  for (const auto& [name, draw] : cases) {
    int rejected = 0;
    for (int round = 0; round < kRounds; ++round) {
      Values part(12);
      Learnt state(part.size());
      CLimitCalibration calibration;
      SCalibratedLimit limit;
      for (int i = 0; i < kLearnt + kJudged; ++i) {
        const float mode = random() % 3 == 0 ? 3.0F : 0.0F;
        for (std::size_t point = 0; point < part.size(); ++point) {
          part[point] = draw(point, mode);
        }
        if (i < kLearnt) {
          const SPartScores scores = ScoresOf(state.ScoreAndLearn(part), i);
          EXPECT_TRUE(i < kPartsBeforeScores || calibration.Add(scores));
          limit = i == kLearnt - 1 ? calibration.ForRate(0.05) : limit;
        } else {
          const SPartExcess excess = state.Score(part);
          rejected += excess.above > static_cast<float>(limit.FactorAbove(kLearnt)) ||
                              excess.below > static_cast<float>(limit.FactorBelow(kLearnt))
                          ? 1
                          : 0;
        }
      }
    }
    const double share = rejected / double{kRounds * kJudged};
    EXPECT_LT(share, 0.05 + 0.012) << name;  // the standard error is 0.005
    EXPECT_TRUE(std::string_view(name) != "Normal" || share > 0.05 - 0.012) << share;
  }
}

std::vector<SPartScores> LeaveOut(const Values& values, float base, std::size_t group) {
  COtherParts all;
  for (const float x : values) {
    EXPECT_TRUE(all.Add({&x, 1}));
  }
  std::vector<SPartScores> scores;
  for (std::size_t i = 0; i < values.size(); ++i) {
    COtherParts left = all.NewGroup();
    for (std::size_t j = i / group * group; j < (i / group + 1) * group; ++j) {
      EXPECT_TRUE(left.Add({&values[j], 1}));
    }
    scores.push_back(group == 1 ? all.Score({&values[i], 1}, {&base, 1})
                                : all.Score({&values[i], 1}, {&base, 1}, left));
  }
  return scores;
}

TEST(OtherParts, LeaveOneOutTable) {
  const struct {
    float base;
    std::size_t group;
    std::vector<double> above;
  } cases[] = {{0,
                1,
                {-0.883110, 0.434817, -0.216600, 1.117303, -1.619741, -0.216600, 0.434817,
                 -0.883110, 1.896373, -0.216600, -0.883110, 1.117303}},
               {1, 1, {-1.439343, -0.163754, -0.799642, 0.516092, -2.137018}},
               {0,
                3,
                {-0.781529, 0.305836, -0.244942, 0.973901, -1.468259, -0.286472, 0.592701,
                 -0.736156, 1.753682, -0.193788, -0.761235, 0.941727}}};
  for (const auto& c : cases) {
    const std::vector<SPartScores> scores = LeaveOut(kTwelve, c.base, c.group);
    for (std::size_t i = 0; i < c.above.size(); ++i) {
      EXPECT_NEAR(scores[i].above, c.above[i], 6e-7) << i;
      EXPECT_TRUE(c.base != 0.0F || std::fabs(scores[i].below + c.above[i]) < 6e-7) << i;
    }
  }
}

/// Points that some parts lack count with their own number of parts, as if each were alone.
TEST(OtherParts, PointsCountForThemselves) {
  std::mt19937 random(6);
  constexpr std::size_t kPoints = 5;
  std::vector<Values> parts(9, Values(kPoints));
  for (Values& part : parts) {
    for (std::size_t i = 0; i < kPoints; ++i) {
      part[i] = i == 3 ? 7.0F : random() % 4 == 0 ? NAN : static_cast<float>(random() % 100);
    }
  }
  COtherParts all;
  COtherParts each[kPoints];
  for (const Values& part : parts) {
    EXPECT_TRUE(all.Add(part));
    for (std::size_t i = 0; i < kPoints; ++i) {
      EXPECT_TRUE(each[i].Add({&part[i], 1}));
    }
  }
  const Values base = {0, 5, 10, 0, 1};
  for (const Values& part : parts) {
    SPartScores largest;
    for (std::size_t i = 0; i < kPoints; ++i) {
      largest = Larger(largest, each[i].Score({&part[i], 1}, {&base[i], 1}));
    }
    EXPECT_EQ(all.Score(part, base), largest);
    EXPECT_EQ(all.Score(part, Values(2)), SPartScores()) << "bases of other points";
  }
  EXPECT_FALSE(all.Add(Values(3)));
  EXPECT_EQ(all.Score(Values(3), base), SPartScores());
  EXPECT_EQ(COtherParts().Score({}, base), SPartScores());
}

bool Hold(const std::vector<Values>& parts, SHeldParts& held) {
  const float base = 0.0F;
  return HoldBack(
      parts.size(), [&](std::size_t i) { return std::span<const float>(parts[i]); }, {&base, 1},
      ScoreSides::kBoth, held);
}

std::vector<std::size_t> HeldOf(const std::vector<Values>& parts, SHeldParts& held) {
  EXPECT_TRUE(Hold(parts, held));
  std::vector<std::size_t> which;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (held.held[i] != 0) {
      which.push_back(i);
    }
  }
  return which;
}

TEST(HoldBack, HoldsWhatGoodPartsCannotExplain) {
  std::vector<Values> parts;
  for (const float x : kTwelve) {
    parts.push_back({x});
  }
  SHeldParts held;
  EXPECT_TRUE(HeldOf(parts, held).empty());
  for (const std::size_t place : {12U, 6U, 0U}) {
    for (const float odd : {40.0F, 1e9F, -3e38F}) {
      std::vector<Values> more = parts;
      more.insert(more.begin() + static_cast<std::ptrdiff_t>(place), {odd});
      EXPECT_EQ(HeldOf(more, held), std::vector<std::size_t>{place}) << odd;
      EXPECT_TRUE(odd != 40.0F || std::fabs(held.scores[place] - 6.031924) < 6e-7);
    }
  }
  EXPECT_TRUE(HeldOf({}, held).empty() && HeldOf({{1.0F}}, held).empty());
  std::vector<Values> still(30, Values(4, 2.0F));
  still[4][0] = 3.0F;
  EXPECT_TRUE(HeldOf(still, held).empty()) << "what never varied takes no part";
  parts.push_back({1.0F, 2.0F});
  EXPECT_FALSE(Hold(parts, held));
}

/// Pieces of one recording look like each other, so alone each of them would be explained.
TEST(HoldBack, HoldsARecordingAsAWhole) {
  std::mt19937 random(9);
  std::normal_distribution<float> normal;
  std::vector<Values> parts;
  std::vector<std::size_t> recordings;
  for (std::size_t recording = 0; recording < 12; ++recording) {
    const float offset = 0.3F * normal(random) + (recording == 7 ? 8.0F : 0.0F);
    for (int piece = 0; piece < 10; ++piece) {
      parts.push_back({offset + normal(random), normal(random)});
      recordings.push_back(100 - recording);
    }
  }
  const float base = 0.0F;
  const auto values = [&](std::size_t i) { return std::span<const float>(parts[i]); };
  SHeldParts held;
  ASSERT_TRUE(HoldBack(parts.size(), values, {&base, 1}, ScoreSides::kBoth, held, recordings));
  for (std::size_t i = 0; i < parts.size(); ++i) {
    EXPECT_EQ(held.held[i], i / 10 == 7 ? 1 : 0) << i;
    EXPECT_EQ(held.scores[i], held.scores[i / 10 * 10]) << "that of the recording";
  }
  recordings.pop_back();
  EXPECT_FALSE(HoldBack(parts.size(), values, {&base, 1}, ScoreSides::kBoth, held, recordings));
  CLimitCalibration kept(ScoreSides::kOne);
  for (int i = 0; i < 100; ++i) {
    EXPECT_TRUE(kept.Add({0.01 * i}));
  }
  EXPECT_GT(kept.HoldLimit(10), kept.HoldLimit()) << "one of many pieces lies further out";
}

TEST(HoldBack, OnePassHoldsOutliersAndSeesSteps) {
  std::mt19937 random(8);
  std::normal_distribution<double> normal;
  int good = 0;
  int steps = 0;
  for (int series = 0; series < 20; ++series) {
    CLearnGuard guard;
    CLimitCalibration kept(ScoreSides::kOne);
    for (int i = 0; i < 300; ++i) {
      const SPartScores part{1.5 + 0.5 * normal(random), 50.0};
      if (guard.Holds(kept, part)) {
        EXPECT_GE(kept.Scores(), CLearnGuard::kStart);
        ++good;
      } else {
        EXPECT_TRUE(kept.Add(part));
      }
      steps += guard.HasStepped() ? 1 : 0;
    }
    EXPECT_TRUE(guard.Holds(kept, {25.0, 0.0})) << "gross";
    EXPECT_FALSE(guard.HasStepped()) << "a single part";
    CLearnGuard stored;
    stored.SetRecent(guard.Recent());
    for (int i = 0; i < 4; ++i) {
      EXPECT_TRUE(stored.Holds(kept, {25.0, 0.0}));
    }
    EXPECT_TRUE(stored.HasStepped());
  }
  EXPECT_LE(good, 20 * 300 / 100) << "at most 1 % of a clean series";
  EXPECT_EQ(steps, 0);
}

}  // namespace
}  // namespace limes::test
