#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <functional>
#include <limits>

#include "limes/kernels/value_loops.h"
#include "limes/signals/curve.h"
#include "tests/support/bits.h"
#include "tests/support/curves.h"

namespace limes {
namespace {

using test::MakeCurve;
using test::Same;
using test::ValuesOf;
using Floats = std::vector<float>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

void ExpectSameValues(const CSigCurve& curve, const Floats& expected) {
  ASSERT_EQ(curve.DLen(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_TRUE(Same(curve.ValArray()[i], expected[i])) << i << ": " << curve.ValArray()[i];
  }
}

TEST(CurveArithmetic, Table) {
  const CSigCurve other = MakeCurve({2, kNaN});
  const struct {
    const char* name;
    std::function<void(CSigCurve&)> operation;
    Floats before, after;
  } kCases[] = {
      {"=", LIMES_DO(c = 3.0F), {1, kNaN}, {3, 3}},
      {"+=", LIMES_DO(c += 2.0F), {1, kNaN, -kInf}, {3, kNaN, -kInf}},
      {"Add", LIMES_DO(c.Add(2)), {1, 2}, {3, 4}},
      {"-=", LIMES_DO(c -= 2.0F), {1, 2}, {-1, 0}},
      {"*=", LIMES_DO(c *= -2.0F), {1, 0}, {-2, -0.0F}},
      {"Scale", LIMES_DO(c.Scale(0.5F)), {1, 2}, {0.5F, 1}},
      {"/=", LIMES_DO(c /= 4.0F), {1, 2}, {0.25F, 0.5F}},
      {"/= 0", LIMES_DO(c /= 0.0F), {1, 2}, {1, 2}},
      {"/= by the inverse", LIMES_DO(c /= 49.0F), {49}, {49.0F * (1.0F / 49.0F)}},
      {"+= curve", LIMES_DO(c += other), {1, 2, 3}, {3, kNaN, 3}},
      {"+= itself", LIMES_DO(c += c), {1, 2}, {2, 4}},
      {"-= curve", LIMES_DO(c -= other), {1}, {-1}},
      {"weighted", LIMES_DO(c.AddWithWeight(other, 3)), {1}, {7}},
      {"weight 0 of NaN", LIMES_DO(c.AddWithWeight(other, 0)), {1, 1}, {1, kNaN}},
      {"squared", LIMES_DO(c.AddSquared(other, 3)), {1}, {13}},
      {"- squared", LIMES_DO(c.SubtractSquared(other)), {1}, {-3}},
      {"Min", LIMES_DO(c.Min(other)), {3, 1, 9}, {2, 1, 9}},
      {"Max", LIMES_DO(c.Max(other)), {kNaN, 1, 9}, {kNaN, 1, 9}},
      {"Abs", LIMES_DO(c.Abs()), {-1, -0.0F, -kInf, kNaN}, {1, 0, kInf, kNaN}},
      {"MirrorY", LIMES_DO(c.MirrorY()), {1, 0}, {-1, -0.0F}},
      {"clip below", LIMES_DO(c.Clip(0, false)), {-1, -0.0F, 1, kNaN}, {0, 0, 1, kNaN}},
      {"clip above", LIMES_DO(c.Clip(1, true)), {-1, 2, kInf, kNaN}, {-1, 1, 1, kNaN}},
      {"Square", LIMES_DO(c.Square()), {-3, kInf}, {9, kInf}},
      {"root", LIMES_DO(c.SquareRoot()), {9, -4, -0.0F, kNaN, kInf}, {3, 0, 0, 0, kInf}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    CSigCurve curve = MakeCurve(c.before);
    c.operation(curve);
    ExpectSameValues(curve, c.after);
  }
}

TEST(CurveArithmetic, UnitsFollowSquareAndRoot) {
  CSigCurve curve(1);
  curve.SetYUnit(u"kV");
  curve.Square();
  EXPECT_EQ(curve.YUnit().prefixunit(), u"kV²");
  EXPECT_EQ(curve.YUnit().exponent(), 6);
  curve.SquareRoot();
  EXPECT_EQ(curve.YUnit().prefixunit(), u"kV");
  curve.SquareRoot();
  EXPECT_EQ(curve.YUnit().prefixunit(), u"kV") << "no root of a single power";
}

TEST(CurveArithmetic, LevelTable) {
  const struct {
    const char* name;
    CMeasuringUnit unit;
    float ref;
    Floats before, after;
    std::u16string text;
  } kCases[] = {
      {"pressure",
       {CMeasuringUnit::pascal},
       2e-5F,
       {2e-5F, 2, 0, -1, kNaN},
       {0, 100, 0, 0, 0},
       u"dB(Pa)"},
      {"power", {CMeasuringUnit::volt, 0, 2}, 1, {100, 1}, {20, 0}, u"dB(V)"},
      {"inverse", {CMeasuringUnit::second, 0, -1}, 10, {10, 100}, {-40, -60}, u"dB(s)"},
      {"no power", {CMeasuringUnit::volt, 0, 0}, 1, {100}, {100}, u""},
      {"no reference", {CMeasuringUnit::volt}, 0, {1, 0}, {kInf, 0}, u"V"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    CSigCurve curve = MakeCurve(c.before);
    curve.SetYUnit(c.unit);
    curve.Log(c.ref);
    for (std::size_t i = 0; i < c.after.size(); ++i) {
      EXPECT_TRUE(std::isinf(c.after[i]) ? curve.ValArray()[i] == c.after[i]
                                         : std::fabs(curve.ValArray()[i] - c.after[i]) < 1e-5F)
          << curve.ValArray()[i];
    }
    if (!c.text.empty()) {
      EXPECT_EQ(curve.YUnit().prefixunit(), c.text);
      EXPECT_EQ(curve.YUnit().is_log(), c.ref != 0.0F);
      EXPECT_EQ(curve.YUnit().logref(), c.ref);
    }
  }
}

// The loops against their plain form, at every length up to some vectors and three offsets.

using Loop = void (*)(float*, const float*, std::size_t);

void ExpectSameLoop(const char* name, Loop loop, float (*plain)(float, float)) {
  SCOPED_TRACE(name);
  std::mt19937 random(17);
  for (std::size_t n = 0; n < 140; ++n) {
    for (const std::size_t offset : {0U, 1U, 3U}) {
      Floats y = test::RandomFloats(random, n + offset + 1, static_cast<int>(n % 3));
      const Floats s = test::RandomFloats(random, n + offset + 1, static_cast<int>(n % 2) + 1);
      Floats expected = y;
      for (std::size_t i = offset; i < offset + n; ++i) {
        expected[i] = plain(y[i], s[i]);
      }
      loop(y.data() + offset, s.data() + offset, n);
      for (std::size_t i = 0; i < y.size(); ++i) {
        ASSERT_TRUE(Same(y[i], expected[i])) << "value " << i << " of " << n;
      }
    }
  }
}

TEST(ValueLoops, GiveThePlainLoopsBits) {
  using namespace detail;
  constexpr float kC = 0.7F;
#define LIMES_LOOP(call, plain)                                                                 \
  {                                                                                             \
#call, [](float* y, [[maybe_unused]] const float* s,                                        \
              std::size_t n) { call; }, [](float v,                                             \
                                           [[maybe_unused]] float o) -> float { return plain; } \
  }
  const struct {
    const char* name;
    Loop loop;
    float (*plain)(float, float);
  } kCases[] = {
      LIMES_LOOP(FillValues(y, n, kC), (void(v), kC)),
      LIMES_LOOP(AddConstant(y, n, kC), v + kC),
      LIMES_LOOP(SubtractConstant(y, n, kC), v - kC),
      LIMES_LOOP(MultiplyBy(y, n, kC), v * kC),
      LIMES_LOOP(NegateValues(y, n), -v),
      LIMES_LOOP(AbsoluteValues(y, n), std::fabs(v)),
      LIMES_LOOP(SquareValues(y, n), v * v),
      LIMES_LOOP(RootOfValues(y, n), v > 0 ? std::sqrt(v) : 0.0F),
      LIMES_LOOP(RaiseTo(y, n, 0.0F), v <= 0 ? 0.0F : v),
      LIMES_LOOP(LowerTo(y, n, 0.0F), v >= 0 ? 0.0F : v),
      LIMES_LOOP(AddValues(y, s, n), v + o),
      LIMES_LOOP(SubtractValues(y, s, n), v - o),
      LIMES_LOOP(SubtractSquares(y, s, n), v - o * o),
      LIMES_LOOP(AddScaled(y, s, n, kC), v + kC * o),
      LIMES_LOOP(AddScaledSquares(y, s, n, kC), v + kC * (o * o)),
      LIMES_LOOP(AddScaledTimes(y, s, n, kC), v + (kC * o) * o),
      LIMES_LOOP(TakeSmaller(y, s, n), o < v ? o : v),
      LIMES_LOOP(TakeLarger(y, s, n), o > v ? o : v),
  };
  for (const auto& c : kCases) {
    ExpectSameLoop(c.name, c.loop, c.plain);
  }
}

TEST(ValueLoops, OverlapRunsInOrder) {
  for (const std::size_t shift : {1U, 3U, 8U, 40U}) {
    Floats values(200);
    for (std::size_t i = 0; i < values.size(); ++i) {
      values[i] = static_cast<float>(i % 7);
    }
    Floats expected = values;
    for (std::size_t i = shift; i < values.size(); ++i) {
      expected[i] += 0.5F * expected[i - shift];
    }
    detail::AddScaled(values.data() + shift, values.data(), values.size() - shift, 0.5F);
    EXPECT_EQ(values, expected);
  }
}

TEST(ValueLoops, ExtremesAreThePlainLoops) {
  std::mt19937 random(23);
  for (std::size_t n = 1; n < 9000; n += n < 140 ? 1 : 1217) {
    for (int kind = 0; kind < 3; ++kind) {
      for (const bool negative : {false, true}) {
        Floats y = test::RandomFloats(random, n, kind);
        for (float& v : y) {
          v = negative ? -std::fabs(v) : v;
        }
        std::size_t min = 0;
        std::size_t max = 0;
        for (std::size_t i = 1; i < n; ++i) {
          min = y[i] < y[min] ? i : min;
          max = y[i] > y[max] ? i : max;
        }
        const detail::SExtremes found = detail::FindExtremes(y.data(), n);
        const detail::SBounds bounds = detail::FindBounds(y.data(), n);
        ASSERT_TRUE(found.min == min && found.max == max) << n << " of kind " << kind;
        ASSERT_EQ(std::bit_cast<std::uint32_t>(bounds.min), std::bit_cast<std::uint32_t>(y[min]));
        ASSERT_EQ(std::bit_cast<std::uint32_t>(bounds.max), std::bit_cast<std::uint32_t>(y[max]));
      }
    }
  }
}

}  // namespace
}  // namespace limes
