#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "limes/c/limes.h"
#include "limes/learning/rated_limit.h"

namespace {
bool heapThrows = false;
}  // namespace

// The heap of a host, which may be its own and throw what it likes.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (heapThrows) {
    throw 7;
  }
  void* const block = std::malloc(std::max(size, std::size_t{1}));
  return block == nullptr ? throw std::bad_alloc() : block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace limes {
namespace {

struct Free {
  void operator()(limes_limit* limit) const { limes_free(limit); }
};
using Limit = std::unique_ptr<limes_limit, Free>;

constexpr int kPoints = 50;

Limit Made(limes_kind kind, const limes_rule* rule = nullptr) {
  limes_limit* made = nullptr;
  EXPECT_EQ(limes_new(kind, rule, &made), LIMES_OK);
  return Limit(made);
}

/// A part of the series, the same for all ways to learn it.
std::vector<float> Measured(unsigned part) {
  std::vector<float> values(kPoints);
  std::uint32_t state = part * 2654435761U + 1U;
  for (float& value : values) {
    value = 60.0F;
    for (int i = 0; i < 4; ++i) {
      state = state * 1664525U + 1013904223U;
      value += static_cast<float>(state >> 16) / 32768.0F - 1.0F;
    }
  }
  return values;
}

limes_curve Curve(const std::vector<float>& values) {
  limes_curve curve = {};
  curve.size = sizeof curve;
  curve.floats = values.data();
  curve.count = values.size();
  curve.dx = 10.0;
  curve.x_unit = "Hz";
  curve.unit = "dB(Pa)";
  curve.reference = 2e-5;
  return curve;
}

limes_status LearnOne(limes_limit* limit, unsigned part) {
  const std::vector<float> values = Measured(part);
  const limes_curve curve = Curve(values);
  return limes_kind_of(limit) == LIMES_VALUE ? limes_learn_value(limit, values[0], "mm")
                                             : limes_learn_curve(limit, &curve);
}

limes_outcome JudgeOne(limes_limit* limit, unsigned part, float fault = 0.0F) {
  std::vector<float> values = Measured(part);
  values[values.size() / 2] += fault;
  values[0] += limes_kind_of(limit) == LIMES_VALUE ? fault : 0.0F;
  const limes_curve curve = Curve(values);
  limes_outcome outcome = LIMES_NOT_JUDGED;
  EXPECT_EQ(limes_kind_of(limit) == LIMES_VALUE
                ? limes_judge_value(limit, values[0], "mm", &outcome)
                : limes_judge_curve(limit, &curve, &outcome),
            LIMES_OK);
  return outcome;
}

std::vector<std::uint8_t> Bytes(const limes_limit* limit) {
  std::size_t size = 0;
  EXPECT_EQ(limes_write(limit, nullptr, &size), LIMES_BUFFER);
  std::vector<std::uint8_t> bytes(size);
  EXPECT_EQ(limes_write(limit, bytes.data(), &size), LIMES_OK);
  return bytes;
}

limes_judgement JudgementOf(const limes_limit* limit, limes_side side) {
  limes_judgement judgement = {};
  judgement.size = sizeof judgement;
  EXPECT_EQ(limes_judgement_of(limit, side, &judgement), LIMES_OK);
  return judgement;
}

class Kinds : public testing::TestWithParam<limes_kind> {};

INSTANTIATE_TEST_SUITE_P(CInterface, Kinds, testing::Values(LIMES_VALUE, LIMES_CURVE, LIMES_TRACK));

TEST_P(Kinds, LearnsJudgesJoinsAndKeepsAState) {
  limes_rule rule;
  limes_rule_init(&rule);
  rule.reject = 0.05;
  const Limit all = Made(GetParam(), &rule);
  const Limit first = Made(GetParam(), &rule);
  const Limit second = Made(GetParam(), &rule);
  EXPECT_EQ(JudgeOne(all.get(), 0), LIMES_NOT_JUDGED);
  for (unsigned part = 0; part < 80; ++part) {
    ASSERT_EQ(LearnOne(all.get(), part), LIMES_OK) << limes_error(all.get());
    ASSERT_EQ(LearnOne(part < 40 ? first.get() : second.get(), part), LIMES_OK);
  }
  EXPECT_EQ(limes_learnt(all.get()), 80);
  EXPECT_EQ(JudgeOne(all.get(), 1000), LIMES_PASS);
  EXPECT_EQ(JudgeOne(all.get(), 1000, 30.0F), LIMES_FAIL);
  const limes_judgement upper = JudgementOf(all.get(), LIMES_UPPER);
  EXPECT_GT(upper.excess, 10.0);
  EXPECT_NEAR(upper.value - upper.limit, upper.excess, 1e-4);
  EXPECT_EQ(JudgeOne(all.get(), 1000, -30.0F), LIMES_FAIL);
  EXPECT_EQ(JudgementOf(all.get(), LIMES_UPPER).outcome, LIMES_PASS);
  EXPECT_LT(JudgementOf(all.get(), LIMES_LOWER).value, 40.0);

  // A state that was read is the state that was written, and judges alike.
  const std::vector<std::uint8_t> bytes = Bytes(all.get());
  limes_limit* raw = nullptr;
  ASSERT_EQ(limes_read(bytes.data(), bytes.size(), &raw), LIMES_OK);
  const Limit copy(raw);
  EXPECT_EQ(Bytes(copy.get()), bytes);
  EXPECT_EQ(JudgeOne(copy.get(), 1000, 30.0F), LIMES_FAIL);
  EXPECT_EQ(JudgementOf(copy.get(), LIMES_UPPER).limit, upper.limit);

  const std::vector<std::uint8_t> later = Bytes(second.get());
  ASSERT_EQ(limes_merge(first.get(), second.get()), LIMES_OK) << limes_error(first.get());
  EXPECT_EQ(Bytes(second.get()), later);
  EXPECT_EQ(limes_learnt(first.get()), 80);
  std::array<double, kPoints> mean;
  std::array<double, kPoints> joint;
  std::size_t n = kPoints;
  ASSERT_EQ(limes_limits(all.get(), LIMES_LOWER, nullptr, mean.data(), nullptr, nullptr, &n),
            LIMES_OK);
  ASSERT_EQ(limes_limits(first.get(), LIMES_LOWER, nullptr, joint.data(), nullptr, nullptr, &n),
            LIMES_OK);
  for (std::size_t i = 0; i < n; ++i) {
    EXPECT_NEAR(joint[i], mean[i], 1e-4);
    EXPECT_NEAR(mean[i], 60.0, 3.0);
  }
}

TEST_P(Kinds, RefusesEveryCutAndEveryBrokenByte) {
  const Limit limit = Made(GetParam());
  for (unsigned part = 0; part < 20; ++part) {
    ASSERT_EQ(LearnOne(limit.get(), part), LIMES_OK);
  }
  std::vector<std::uint8_t> bytes = Bytes(limit.get());
  limes_limit* none = nullptr;
  for (std::size_t cut = 0; cut < bytes.size(); cut += 7) {
    EXPECT_EQ(limes_read(bytes.data(), cut, &none), LIMES_STATE);
    bytes[cut] ^= 0x40U;
    EXPECT_EQ(limes_read(bytes.data(), bytes.size(), &none), LIMES_STATE);
    bytes[cut] ^= 0x40U;
  }
  bytes.push_back(0);
  EXPECT_EQ(limes_read(bytes.data(), bytes.size(), &none), LIMES_STATE);
  EXPECT_EQ(none, nullptr);
}

TEST(CInterface, JudgesAsTheClassDoes) {
  CRatedLimit<CKurvenLernWerkzeug> limit;
  const Limit handle = Made(LIMES_CURVE);
  CSigCurveExt curve = CSigCurveExt::Make(kPoints, 0.0F, 10.0F * kPoints);
  CMeasuringUnit unit(u"dB(Pa)");
  unit.logref(2e-5F);
  curve.SetYUnit(unit);
  curve.SetXUnit(CMeasuringUnit(u"Hz"));
  for (unsigned part = 0; part < 150; ++part) {
    std::ranges::copy(Measured(part), curve.ValArray());
    ASSERT_EQ(limit.LearnPart(curve), LearnStatus::kOk);
    ASSERT_EQ(LearnOne(handle.get(), part), LIMES_OK);
  }
  CSidedJudgement judgement;
  std::ranges::copy(Measured(200), curve.ValArray());
  limit.JudgePart(curve, judgement);
  JudgeOne(handle.get(), 200);
  EXPECT_EQ(JudgementOf(handle.get(), LIMES_LOWER).excess, judgement[Side::kLower].deviation);
  EXPECT_EQ(JudgementOf(handle.get(), LIMES_UPPER).limit, judgement[Side::kUpper].limit);
  limes_promise promise = {};
  promise.size = sizeof promise;
  ASSERT_EQ(limes_promise_of(handle.get(), &promise), LIMES_OK);
  EXPECT_EQ(promise.scores, 140);
  EXPECT_EQ(promise.factor_lower, limit.Factor(Side::kLower));
}

TEST(CInterface, TellsWhatIsWrong) {
  const Limit limit = Made(LIMES_CURVE);
  const Limit value = Made(LIMES_VALUE);
  ASSERT_EQ(LearnOne(limit.get(), 0), LIMES_OK);
  const std::vector<float> values = Measured(1);
  const auto learn = [&](auto change) {
    limes_curve curve = Curve(values);
    change(curve);
    return limes_learn_curve(limit.get(), &curve);
  };
  EXPECT_EQ(learn([](limes_curve& c) { c.unit = "furlong"; }), LIMES_UNIT);
  EXPECT_EQ(learn([](limes_curve& c) { c.unit = "mm"; }), LIMES_PART);
  EXPECT_NE(std::string(limes_error(limit.get())).find("unit"), std::string::npos);
  EXPECT_EQ(learn([](limes_curve& c) { c.dx = 11.0; }), LIMES_PART);
  EXPECT_EQ(learn([](limes_curve& c) { c.dx = 0.0; }), LIMES_ARGUMENT);
  EXPECT_EQ(learn([](limes_curve& c) { c.x0 = 1e300; }), LIMES_ARGUMENT);
  EXPECT_EQ(learn([](limes_curve& c) { c.size = 8; }), LIMES_ARGUMENT);
  EXPECT_EQ(learn([](limes_curve& c) { c.count = SIZE_MAX; }), LIMES_ARGUMENT);
  EXPECT_EQ(learn([](limes_curve& c) { c.count = 10; }), LIMES_PART);
  EXPECT_EQ(learn([](limes_curve& c) { c.floats = nullptr; }), LIMES_ARGUMENT);
  const std::vector<double> large(kPoints, 1e300);
  EXPECT_EQ(learn([&](limes_curve& c) {
              c.floats = nullptr;
              c.doubles = large.data();
            }),
            LIMES_PART);
  EXPECT_EQ(limes_learnt(limit.get()), 1);
  EXPECT_EQ(limes_learn_value(limit.get(), 1.0, nullptr), LIMES_KIND);
  EXPECT_EQ(limes_learn_value(value.get(), std::nan(""), nullptr), LIMES_PART);
  EXPECT_EQ(limes_merge(limit.get(), value.get()), LIMES_KIND);
  EXPECT_EQ(limes_merge(limit.get(), limit.get()), LIMES_ARGUMENT);
  EXPECT_EQ(limes_learn_value(nullptr, 1.0, nullptr), LIMES_ARGUMENT);
  limes_judgement judgement = {};
  judgement.size = sizeof judgement;
  EXPECT_EQ(limes_judgement_of(limit.get(), LIMES_UPPER, &judgement), LIMES_NOTHING);

  limes_rule rule;
  limes_limit* none = nullptr;
  for (const auto change : std::initializer_list<void (*)(limes_rule&)>{
           [](limes_rule& r) { r.reject = 1.0; }, [](limes_rule& r) { r.base = -1.0; },
           [](limes_rule& r) { r.factor = -1.0; }, [](limes_rule& r) { r.sides = 3; },
           [](limes_rule& r) { r.base = std::nan(""); }, [](limes_rule& r) { r.size = 4; },
           [](limes_rule& r) { r.time_scale = 0; }}) {
    limes_rule_init(&rule);
    change(rule);
    EXPECT_EQ(limes_new(LIMES_CURVE, &rule, &none), LIMES_ARGUMENT);
  }
}

TEST(CInterface, ConvertsCurvesToDoubleAndBack) {
  limes_rule rule;
  limes_rule_init(&rule);
  rule.precise = 1;
  const Limit precise = Made(LIMES_CURVE, &rule);
  const Limit limit = Made(LIMES_CURVE);
  for (unsigned part = 0; part < 60; ++part) {
    ASSERT_EQ(LearnOne(precise.get(), part), LIMES_OK);
    ASSERT_EQ(LearnOne(limit.get(), part), LIMES_OK);
  }
  EXPECT_EQ(limes_merge(limit.get(), precise.get()), LIMES_KIND);
  ASSERT_EQ(limes_convert(limit.get(), 1), LIMES_OK);
  const std::vector<std::uint8_t> bytes = Bytes(limit.get());
  limes_limit* raw = nullptr;
  ASSERT_EQ(limes_read(bytes.data(), bytes.size(), &raw), LIMES_OK);
  const Limit copy(raw);
  EXPECT_EQ(limes_kind_of(copy.get()), LIMES_CURVE);
  EXPECT_EQ(limes_rule_of(copy.get(), &rule), LIMES_OK);
  EXPECT_EQ(rule.precise, 1);
  ASSERT_EQ(limes_merge(copy.get(), precise.get()), LIMES_OK) << limes_error(copy.get());
  ASSERT_EQ(limes_convert(copy.get(), 0), LIMES_OK);
  EXPECT_EQ(limes_learnt(copy.get()), 120);
  EXPECT_EQ(JudgeOne(copy.get(), 1000), LIMES_PASS);
  EXPECT_EQ(JudgeOne(copy.get(), 1000, 30.0F), LIMES_FAIL);
  EXPECT_EQ(limes_convert(copy.get(), 2), LIMES_ARGUMENT);
  EXPECT_EQ(limes_convert(Made(LIMES_VALUE).get(), 1), LIMES_KIND);
  rule.time_scale = 100;
  limes_limit* none = nullptr;
  EXPECT_EQ(limes_new(LIMES_CURVE, &rule, &none), LIMES_ARGUMENT);
}

TEST(CInterface, ErrorsOfTheHostAreAStatus) {
  const Limit limit = Made(LIMES_CURVE);
  limes_limit* none = nullptr;
  std::size_t size = 0;
  heapThrows = true;
  const limes_status made = limes_new(LIMES_CURVE, nullptr, &none);
  const limes_status written = limes_write(limit.get(), nullptr, &size);
  const char* const reason = limes_reason_text(1);
  heapThrows = false;
  EXPECT_EQ(made, LIMES_UNKNOWN);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(written, LIMES_UNKNOWN);
  EXPECT_STREQ(reason, limes_status_text(LIMES_UNKNOWN));
}

// A caller that was compiled with an older, shorter header gets what it knows and not a byte more.
TEST(CInterface, FillsNoMoreThanTheCallersStruct) {
  const Limit limit = Made(LIMES_VALUE);
  struct {
    limes_rule rule;
    std::array<std::uint8_t, 16> behind;
  } room;
  room.behind.fill(0xAA);
  room.rule.size = sizeof room;
  ASSERT_EQ(limes_rule_of(limit.get(), &room.rule), LIMES_OK);
  EXPECT_EQ(room.rule.size, sizeof room);
  EXPECT_EQ(room.rule.reject, 0.01);
  EXPECT_TRUE(std::all_of(room.behind.begin(), room.behind.end(),
                          [](std::uint8_t byte) { return byte == 0xAA; }));
}

}  // namespace
}  // namespace limes
