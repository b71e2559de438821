#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <optional>
#include <vector>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/learning/sided.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/text.h"

namespace limes {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

/// A part: 100 points at 1 Hz from 0 on, in dB over 20 uPa, about 70.
struct SShape {
  int points = 100;
  float x0 = 0.0F;
  float step = 1.0F;
  float level = 70.0F;
  const char16_t* xUnit = u"Hz";
  const char16_t* unit = u"Pa";
  float reference = 2e-5F;
  int gapAt = 0;  ///< from here on as many points are not covered
  int gap = 0;
  float fault = 0.0F;  ///< at point 50
  SignalHealth health = SignalHealth::kHealthy;
};

/// What comes of learning and judging a part that differs from those learnt.
struct SCase {
  const char* name;
  PartStatus learnt;
  PartStatus judged;
  SShape shape = {};
};

/// A part and the mask it refers to.
class CMade {
 public:
  explicit CMade(const SShape& c, float wobble = 0.0F)
      : curve_(CSigCurveExt::Make(c.points, c.x0, c.x0 + c.step * static_cast<float>(c.points))),
        covered_(static_cast<std::size_t>(c.points), 1),
        health_(c.health) {
    for (int i = 0; i < c.points; ++i) {
      const float ripple = c.level == 70.0F ? static_cast<float>(i * 7 % 5) + wobble : 0.0F;
      curve_.SetAt(i, c.level + ripple + (i == 50 ? c.fault : 0.0F));
      covered_[static_cast<std::size_t>(i)] = i >= c.gapAt && i < c.gapAt + c.gap ? 0 : 1;
    }
    CMeasuringUnit unit(c.unit);
    unit.logref(c.reference);
    curve_.SetYUnit(unit);
    curve_.SetXUnit(CMeasuringUnit(c.xUnit));
  }

  SCurvePart Part() const { return {curve_, covered_, health_}; }

 private:
  CSigCurveExt curve_;
  std::vector<std::uint8_t> covered_;
  SignalHealth health_;
};

template <class Tool>
std::vector<std::uint8_t> StateOf(const Tool& tool) {
  CMemoryStream stream;
  EXPECT_TRUE(tool.WriteState(stream));
  return {stream.Bytes().begin(), stream.Bytes().end()};
}

template <class Tool>
void LearnGood(CSided<Tool>& tools, const SShape& good = {}) {
  tools.SetRule(3.0F, 3.0F);
  for (const float wobble : {0.1F, -0.1F, 0.2F, -0.2F, 0.0F, 0.1F}) {
    ASSERT_EQ(tools.LearnPart(CMade(good, wobble).Part()), LearnStatus::kOk);
  }
}

using S = PartStatus;

/// Each of these was OK, or learnt without a word, before the calls checked it.
template <class Tool>
void ExpectRefused(std::span<const SCase> cases) {
  for (const SCase& c : cases) {
    SCOPED_TRACE(c.name);
    CSided<Tool> tools;
    LearnGood(tools);
    const CMade made(c.shape);
    CSidedJudgement judgement;
    tools.JudgePart(made.Part(), judgement);
    const SPartJudgement& upper = judgement[Side::kUpper];
    EXPECT_EQ(upper.reason, c.judged) << WideToUtf8(Text(upper.reason));
    EXPECT_EQ(upper.verdict, c.judged != S::kOk     ? Verdict::kNotJudged
                             : c.shape.fault > 0.0F ? Verdict::kFail
                                                    : Verdict::kPass);
    const auto before = StateOf(tools[Side::kUpper]);
    const LearnStatus learnt = tools.LearnPart(made.Part());
    EXPECT_EQ(learnt, c.learnt) << WideToUtf8(Text(learnt));
    EXPECT_EQ(StateOf(tools[Side::kUpper]) == before, c.learnt != S::kOk);
  }
}

TEST(CheckedCurve, RefusesWhatDoesNotBelong) {
  const SCase kCases[] = {
      {"good", S::kOk, S::kOk},
      {"another unit", S::kUnit, S::kUnit, {.unit = u"V"}},
      {"another reference", S::kReference, S::kReference, {.reference = 1e-6F}},
      {"another x unit", S::kXUnit, S::kXUnit, {.xUnit = u"s"}},
      {"another step", S::kStep, S::kStep, {.step = 1.001F}},
      {"no common point", S::kNoCommonPoint, S::kNoCommonPoint, {.x0 = 100.0F}},
      {"one common point", S::kLongerThanTemplate, S::kCoversTooLittle, {.x0 = 99.0F}},
      {"short", S::kCoversTooLittle, S::kCoversTooLittle, {.points = 80}},
      {"longer", S::kLongerThanTemplate, S::kLongerThanTemplate, {.points = 130}},
      {"a little shorter", S::kOk, S::kOk, {.points = 95}},
      {"fault in a gap",
       S::kCoversTooLittle,
       S::kCoversTooLittle,
       {.gapAt = 45, .gap = 11, .fault = 30.0F}},
      {"fault beside a gap", S::kCoversTooLittle, S::kOk, {.gapAt = 60, .gap = 11, .fault = 30.0F}},
      {"not finite", S::kNotFinite, S::kNotFinite, {.fault = kNaN}},
      {"silent", S::kNoSignal, S::kNoSignal, {.level = 0.0F}},
      {"constant", S::kNoSignal, S::kNoSignal, {.level = 500.0F, .health = SignalHealth::kUnknown}},
      {"dead sensor", S::kNoSignal, S::kNoSignal, {.level = -100.0F}},
      {"clipped", S::kClipped, S::kClipped, {.health = SignalHealth::kClipped}},
      {"clipped and beyond",
       S::kClipped,
       S::kOk,
       {.fault = 30.0F, .health = SignalHealth::kClipped}},
  };
  ExpectRefused<CKurvenLernWerkzeug>(kCases);
}

TEST(CheckedCurve, PassesFromTheFactorItNamesOn) {
  for (const float width : {0.0F, 1.0F, 3.0F, 40.0F}) {
    for (const float fault : {0.0F, 8.0F}) {
      SCOPED_TRACE(testing::Message() << width << ' ' << fault);
      CKurvenLernWerkzeug tool;
      for (const float wobble : {0.5F, -0.5F, 0.9F, -0.9F, 0.1F}) {
        SShape good;
        good.fault = 3.0F * wobble;  // a point with a larger spread than its neighbours
        ASSERT_EQ(tool.LearnPart(CMade(good, wobble).Part()), LearnStatus::kOk);
      }
      SShape shape;
      shape.fault = fault;
      const CMade made(shape, 1.3F);
      tool.Bildungsregel(0.1F, 1.0F, width);
      const auto inSpreads = tool.JudgePart(made.Part()).inSpreads;
      ASSERT_TRUE(inSpreads && *inSpreads > 0.1);
      for (const double share : {0.999, 1.001}) {
        tool.Bildungsregel(0.1F, static_cast<float>(share * *inSpreads), width);
        EXPECT_EQ(tool.JudgePart(made.Part()).verdict,
                  share > 1.0 ? Verdict::kPass : Verdict::kFail)
            << *inSpreads;
      }
    }
  }
}

TEST(CheckedTrack, RefusesWhatDoesNotBelong) {
  const SCase kCases[] = {
      {"good", S::kOk, S::kOk},
      {"another unit", S::kUnit, S::kUnit, {.unit = u"V"}},
      {"another reference", S::kReference, S::kReference, {.reference = 0.0F}},
      {"another x unit", S::kXUnit, S::kXUnit, {.xUnit = u"s"}},
      {"another step", S::kStep, S::kStep, {.step = 0.5F}},
      {"further out", S::kOk, S::kNoCommonPoint, {.x0 = 300.0F}},
      {"hardly inside", S::kOk, S::kCoversTooLittle, {.x0 = 60.0F}},
      {"too far", S::kTooLong, S::kNoCommonPoint, {.x0 = 3e7F, .step = 1.0F}},
      {"measured nowhere", S::kNoValues, S::kNoValues, {.gapAt = 0, .gap = 100}},
      {"fault in a gap", S::kOk, S::kCoversTooLittle, {.gapAt = 20, .gap = 60}},
      {"not finite", S::kNotFinite, S::kNotFinite, {.fault = kNaN}},
      {"silent", S::kNoSignal, S::kNoSignal, {.level = 0.0F}},
      {"dead sensor", S::kNoSignal, S::kNoSignal, {.level = -100.0F}},
      {"clipped", S::kClipped, S::kClipped, {.health = SignalHealth::kClipped}},
  };
  ExpectRefused<CTrackLernWerkzeug>(kCases);
}

/// Values that good parts have, and what is said of a further one.
TEST(CheckedValue, KnowsWhatItsNumbersCanTell) {
  struct SValueCase {
    const char* name;
    double mean;
    double spread;
    double resolution;
    double value;
    Verdict verdict;
    PartStatus reason;
  };
  constexpr double kClock = 24'576'000.0;
  constexpr double kFloatStep = 2.0;  // of a float there
  const SValueCase kCases[] = {
      {"inside", kClock, 0.1, 0.0, kClock + 0.2, Verdict::kPass, S::kOk},
      {"a spread lost in the square of the mean", kClock, 0.1, 0.0, kClock + 0.9, Verdict::kFail,
       S::kOk},
      {"given in single precision", kClock, 0.0, kFloatStep, kClock, Verdict::kNotJudged,
       S::kResolution},
      {"far beyond all the same", kClock, 0.0, kFloatStep, kClock + 4.0, Verdict::kFail, S::kOk},
      {"constant", 4.0, 0.0, 0.0, 4.0, Verdict::kPass, S::kOk},
      {"another one than the constant", 4.0, 0.0, 0.0, 5.0, Verdict::kFail, S::kOk},
      {"not finite", 4.0, 1.0, 0.0, double{kNaN}, Verdict::kNotJudged, S::kNotFinite},
  };
  for (const SValueCase& c : kCases) {
    SCOPED_TRACE(c.name);
    CSided<CLernenderGrenzwert> whole;
    CSided<CLernenderGrenzwert> first;
    CSided<CLernenderGrenzwert> second;
    for (auto* const limits : {&whole, &first, &second}) {
      limits->SetRule(0.0F, 3.0F);
    }
    for (int i = 0; i < 20; ++i) {
      const SValuePart part(c.mean + (i % 2 == 0 ? c.spread : -c.spread), CMeasuringUnit(u"Hz"),
                            c.resolution);
      ASSERT_EQ(whole.LearnPart(part), LearnStatus::kOk);
      ASSERT_EQ((i < 9 ? first : second).LearnPart(part), LearnStatus::kOk);
    }
    ASSERT_EQ(first[Side::kUpper].Merge(second[Side::kUpper]), MergeStatus::kOk);
    CMemoryStream record(StateOf(first[Side::kUpper]));
    CLernenderGrenzwert read;
    ASSERT_EQ(read.ReadState(record), LearnStateStatus::kOk);

    const SValuePart part(c.value, CMeasuringUnit(u"Hz"), c.resolution);
    CSidedJudgement judgement;
    whole.JudgePart(part, judgement);
    EXPECT_EQ(judgement[Side::kUpper].verdict, c.verdict);
    EXPECT_EQ(judgement[Side::kUpper].reason, c.reason)
        << WideToUtf8(Text(judgement[Side::kUpper].reason));
    EXPECT_NE(judgement[Side::kLower].verdict, Verdict::kFail);
    const SPartJudgement joined = read.JudgePart(part);
    EXPECT_EQ(joined.verdict, judgement[Side::kUpper].verdict) << "joined and read back";
    EXPECT_NEAR(joined.spread, judgement[Side::kUpper].spread, 1e-6);
    EXPECT_EQ(read.JudgePart({c.mean, CMeasuringUnit(u"V")}).reason, S::kUnit);
  }
}

/// A limit on one side would pass what lies far within it: gains, signs and noise of good parts
/// that vary by 4 %, or by 2 dB; where they vary by half, nothing is sure.
TEST(CheckedCurve, PassesNothingOfACableThatCameOff) {
  const auto made = [](bool decibel, float gain, float less) {
    CSigCurveExt curve = CSigCurveExt::Make(100, 0.0F, 100.0F);
    for (int i = 0; i < 100; ++i) {
      const float hump = std::exp(-0.01F * static_cast<float>((i - 40) * (i - 40)));
      curve.SetAt(i, gain * (1.0F + 20.0F * hump) + 0.01F * static_cast<float>(i % 7) - less);
    }
    CMeasuringUnit unit(decibel ? u"Pa" : u"N");
    unit.logref(decibel ? 2e-5F : 0.0F);
    curve.SetYUnit(unit);
    return curve;
  };
  const struct {
    const char* name;
    bool decibel;
    float varies;
    float gain;
    float less;
    PartStatus reason;
  } cases[] = {
      {"good", false, 0.04F, 1.0F, 0.0F, S::kOk},
      {"half", false, 0.04F, 0.5F, 0.0F, S::kOk},
      {"noise", false, 0.04F, 0.0F, 0.0F, S::kNoSignal},
      {"a tenth", false, 0.04F, 0.1F, 0.0F, S::kNoSignal},
      {"the other sign", false, 0.04F, -1.0F, 0.0F, S::kNoSignal},
      {"noise where much is good", false, 0.5F, 0.0F, 0.0F, S::kOk},
      {"the other sign there", false, 0.4F, -1.0F, 0.0F, S::kNoSignal},
      {"6 dB less", true, 2.0F, 1.0F, 6.0F, S::kOk},
      {"20 dB less", true, 2.0F, 1.0F, 20.0F, S::kNoSignal},
      {"20 dB less of 8", true, 8.0F, 1.0F, 20.0F, S::kOk},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    CKurvenLernWerkzeug curves;
    CTrackLernWerkzeug tracks;
    CLernenderGrenzwert values;
    for (const float wobble : {1.0F, -1.0F, 1.0F, -1.0F, 1.0F, -1.0F}) {
      const float part = wobble * c.varies;
      const CSigCurveExt curve =
          made(c.decibel, c.decibel ? 1.0F : 1.0F + part, c.decibel ? part : 0.0F);
      ASSERT_EQ(curves.LearnPart(curve), LearnStatus::kOk);
      ASSERT_EQ(tracks.LearnPart(curve), LearnStatus::kOk);
      ASSERT_EQ(values.LearnPart(double{curve[40]}), LearnStatus::kOk);
    }
    const CSigCurveExt curve = made(c.decibel, c.gain, c.less);
    std::vector<SPartJudgement> judged = {curves.JudgePart(curve), tracks.JudgePart(curve)};
    if (!c.decibel) {  // a single level may be any number
      judged.push_back(values.JudgePart(double{curve[40]}));
    }
    for (const SPartJudgement& judgement : judged) {
      EXPECT_EQ(judgement.reason, c.reason) << WideToUtf8(Text(judgement.reason));
      EXPECT_EQ(judgement.verdict, c.reason == S::kOk ? Verdict::kPass : Verdict::kNotJudged);
    }
  }
}

/// No unit is a unit, too: nobody knows in which one such values were measured.
TEST(CheckedValue, FitsValuesOfItsUnit) {
  const std::optional<CMeasuringUnit> none;
  const std::optional<CMeasuringUnit> volt = CMeasuringUnit(u"V");
  const std::optional<CMeasuringUnit> milli = CMeasuringUnit(u"mV");
  const struct {
    std::optional<CMeasuringUnit> learnt;
    std::optional<CMeasuringUnit> given;
    PartStatus status;
  } kCases[] = {
      {none, none, S::kOk},   {none, volt, S::kUnit},  {none, CMeasuringUnit(), S::kOk},
      {volt, none, S::kUnit}, {volt, milli, S::kUnit}, {volt, volt, S::kOk},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(&c - kCases);
    const auto learn = [](CLernenderGrenzwert& limit, const std::optional<CMeasuringUnit>& unit) {
      SValuePart part(5.0);
      part.unit = unit;
      return limit.LearnPart(part);
    };
    CLernenderGrenzwert limit;
    CLernenderGrenzwert other;
    CLernenderGrenzwert fresh;
    ASSERT_EQ(learn(limit, c.learnt), S::kOk);
    ASSERT_EQ(learn(other, c.given), S::kOk);
    ASSERT_EQ(fresh.Merge(limit), MergeStatus::kOk);
    SValuePart part(5.0);
    part.unit = c.given;
    EXPECT_EQ(limit.JudgePart(part).reason, c.status);
    EXPECT_EQ(fresh.JudgePart(part).reason, c.status);
    EXPECT_EQ(fresh.Merge(other), c.status == S::kOk ? MergeStatus::kOk : MergeStatus::kUnit);
    EXPECT_EQ(learn(limit, c.given), c.status);
    limit.SetUnit(c.given.value_or(CMeasuringUnit()));
    EXPECT_EQ(limit.JudgePart(part).reason, S::kOk);
  }
}

TEST(CheckedCurve, TakesFewPointsThatAreAllTheSame) {
  for (const int points : {15, 16}) {
    CSided<CKurvenLernWerkzeug> tools;
    const CMade made({.points = points, .level = 500.0F, .health = SignalHealth::kUnknown});
    EXPECT_EQ(tools.LearnPart(made.Part()), points < 16 ? S::kOk : S::kNoSignal);
  }
}

TEST(SignalHealth, TellsRecordingsFromDeadAndClippedOnes) {
  const auto sine = [](float step, int i) { return std::sin(step * static_cast<float>(i)); };
  const struct {
    const char* name;
    std::function<float(int i)> sample;
    SignalHealth health;
    int count = 2000;
  } cases[] = {
      {"silent", [](int) { return 0.0F; }, SignalHealth::kSilent},
      {"constant", [](int) { return 0.5F; }, SignalHealth::kConstant, 16},
      {"few bands alike", [](int) { return 0.5F; }, SignalHealth::kUnknown, 15},
      {"sound", [&](int i) { return sine(0.1F, i); }, SignalHealth::kHealthy},
      {"clipped", [&](int i) { return std::min(sine(0.1F, i), 0.9F); }, SignalHealth::kClipped},
      {"single samples at full scale",
       [&](int i) { return std::clamp(sine(1.3F, i) + sine(0.71F, i), -1.7F, 1.7F); },
       SignalHealth::kClipped},
      {"a cycle that rests at its setpoints",
       [&](int i) { return std::clamp(3.0F * sine(0.05F, i), 0.0F, 1.0F); },
       SignalHealth::kHealthy},
      {"a switch", [](int i) { return i / 50 % 2 == 0 ? 1.0F : -1.0F; }, SignalHealth::kHealthy},
      {"a count of few steps", [](int i) { return static_cast<float>(i / 5 % 9 - 4); },
       SignalHealth::kHealthy},
  };
  for (const auto& c : cases) {
    std::vector<float> samples(static_cast<std::size_t>(c.count));
    for (int i = 0; i < c.count; ++i) {
      samples[static_cast<std::size_t>(i)] = c.sample(i);
    }
    EXPECT_EQ(HealthOf(samples), c.health) << c.name << ": " << WideToUtf8(Text(HealthOf(samples)));
  }
}

}  // namespace
}  // namespace limes
