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
      {"=", [](auto& c) { c = 3.0F; }, {1, kNaN}, {3, 3}},
      {"+=", [](auto& c) { c += 2.0F; }, {1, kNaN, -kInf}, {3, kNaN, -kInf}},
      {"Add", [](auto& c) { c.Add(2); }, {1, 2}, {3, 4}},
      {"-=", [](auto& c) { c -= 2.0F; }, {1, 2}, {-1, 0}},
      {"*=", [](auto& c) { c *= -2.0F; }, {1, 0}, {-2, -0.0F}},
      {"Scale", [](auto& c) { c.Scale(0.5F); }, {1, 2}, {0.5F, 1}},
      {"/=", [](auto& c) { c /= 4.0F; }, {1, 2}, {0.25F, 0.5F}},
      {"/= 0", [](auto& c) { c /= 0.0F; }, {1, 2}, {1, 2}},
      {"/= by the inverse", [](auto& c) { c /= 49.0F; }, {49}, {49.0F * (1.0F / 49.0F)}},
      {"+= curve", [&](auto& c) { c += other; }, {1, 2, 3}, {3, kNaN, 3}},
      {"+= itself", [](auto& c) { c += c; }, {1, 2}, {2, 4}},
      {"-= curve", [&](auto& c) { c -= other; }, {1}, {-1}},
      {"weighted", [&](auto& c) { c.AddWithWeight(other, 3); }, {1}, {7}},
      {"weight 0 of NaN", [&](auto& c) { c.AddWithWeight(other, 0); }, {1, 1}, {1, kNaN}},
      {"squared", [&](auto& c) { c.AddSquared(other, 3); }, {1}, {13}},
      {"- squared", [&](auto& c) { c.SubtractSquared(other); }, {1}, {-3}},
      {"Min", [&](auto& c) { c.Min(other); }, {3, 1, 9}, {2, 1, 9}},
      {"Max", [&](auto& c) { c.Max(other); }, {kNaN, 1, 9}, {kNaN, 1, 9}},
      {"Abs", [](auto& c) { c.Abs(); }, {-1, -0.0F, -kInf, kNaN}, {1, 0, kInf, kNaN}},
      {"MirrorY", [](auto& c) { c.MirrorY(); }, {1, 0}, {-1, -0.0F}},
      {"clip below", [](auto& c) { c.Clip(0, false); }, {-1, -0.0F, 1, kNaN}, {0, 0, 1, kNaN}},
      {"clip above", [](auto& c) { c.Clip(1, true); }, {-1, 2, kInf, kNaN}, {-1, 1, 1, kNaN}},
      {"Square", [](auto& c) { c.Square(); }, {-3, kInf}, {9, kInf}},
      {"root", [](auto& c) { c.SquareRoot(); }, {9, -4, -0.0F, kNaN, kInf}, {3, 0, 0, 0, kInf}},
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
  static constexpr float kC = 0.7F;
  const struct {
    const char* name;
    Loop loop;
    float (*plain)(float, float);
  } kCases[] = {
      {"fill", [](auto* y, auto*, auto n) { FillValues(y, n, kC); },
       [](float, float) { return kC; }},
      {"add", [](auto* y, auto*, auto n) { AddConstant(y, n, kC); },
       [](float v, float) { return v + kC; }},
      {"subtract", [](auto* y, auto*, auto n) { SubtractConstant(y, n, kC); },
       [](float v, float) { return v - kC; }},
      {"multiply", [](auto* y, auto*, auto n) { MultiplyBy(y, n, kC); },
       [](float v, float) { return v * kC; }},
      {"negate", [](auto* y, auto*, auto n) { NegateValues(y, n); },
       [](float v, float) { return -v; }},
      {"absolute", [](auto* y, auto*, auto n) { AbsoluteValues(y, n); },
       [](float v, float) { return std::fabs(v); }},
      {"square", [](auto* y, auto*, auto n) { SquareValues(y, n); },
       [](float v, float) { return v * v; }},
      {"root", [](auto* y, auto*, auto n) { RootOfValues(y, n); },
       [](float v, float) { return v > 0 ? std::sqrt(v) : 0.0F; }},
      {"raise", [](auto* y, auto*, auto n) { RaiseTo(y, n, 0.0F); },
       [](float v, float) { return v <= 0 ? 0.0F : v; }},
      {"lower", [](auto* y, auto*, auto n) { LowerTo(y, n, 0.0F); },
       [](float v, float) { return v >= 0 ? 0.0F : v; }},
      {"plus", AddValues, [](float v, float o) { return v + o; }},
      {"minus", SubtractValues, [](float v, float o) { return v - o; }},
      {"minus squares", SubtractSquares, [](float v, float o) { return v - o * o; }},
      {"scaled", [](auto* y, auto* s, auto n) { AddScaled(y, s, n, kC); },
       [](float v, float o) { return v + kC * o; }},
      {"scaled squares", [](auto* y, auto* s, auto n) { AddScaledSquares(y, s, n, kC); },
       [](float v, float o) { return v + kC * (o * o); }},
      {"scaled times", [](auto* y, auto* s, auto n) { AddScaledTimes(y, s, n, kC); },
       [](float v, float o) { return v + (kC * o) * o; }},
      {"smaller", TakeSmaller, [](float v, float o) { return o < v ? o : v; }},
      {"larger", TakeLarger, [](float v, float o) { return o > v ? o : v; }},
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
