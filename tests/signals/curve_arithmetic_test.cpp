#include "limes/kernels/value_loops.h"
#include "tests/support/curves.h"
#include "tests/support/loop_cases.h"

namespace limes::test {
namespace {

// What the operations make of values of all kinds is compared with stored hashes elsewhere.
TEST(CurveArithmetic, Table) {
  const CSigCurve other = MakeCurve({2, kNaN});
  const std::tuple<std::function<void(CSigCurve&)>, Floats, const char*> kCases[] = {
      {LIMES_DO(c = 3.0F), {1, kNaN}, "{3 3}"},
      {LIMES_DO(c.Add(2)), {1, 2}, "{3 4}"},
      {LIMES_DO(c.Scale(0.5F)), {1, 2}, "{0.5 1}"},
      {LIMES_DO(c /= 0.0F), {1, 2}, "{1 2}"},
      {LIMES_DO(c /= 3.0F), {5}, "{1.6666667}"},  // by the inverse
      {LIMES_DO(c += other), {1, 2, 3}, "{3 nan 3}"},
      {LIMES_DO(c -= other), {1}, "{-1}"},
      {LIMES_DO(c.AddWithWeight(other, 0)), {1, 1}, "{1 nan}"},
      {LIMES_DO(c.Max(other)), {kNaN, 1, 9}, "{nan 1 9}"},
      {LIMES_DO(c.Clip(0, false)), {-1, -0.0F, 1, kNaN}, "{0 0 1 nan}"},
      {LIMES_DO(c.Clip(1, true)), {-1, 2, kInf, kNaN}, "{-1 1 1 nan}"},
      {LIMES_DO(c.Clip(-0.0F, true)), {-1, 0, kInf, kNaN}, "{-1 -0 -0 nan}"},
      {LIMES_DO(c.Clip(-0.0F, false)), {-1, 0, kInf, kNaN}, "{-0 -0 inf nan}"},
      {LIMES_DO(c.Clip(kNaN, true); c.Clip(kNaN, false)), {-1, 0, kInf, kNaN}, "{-1 0 inf nan}"},
      {LIMES_DO(c.SquareRoot()), {9, -4, -0.0F, kNaN, kInf}, "{3 0 0 0 inf}"},
  };
  for (const auto& [operation, before, after] : kCases) {
    CSigCurve curve = MakeCurve(before);
    operation(curve);
    EXPECT_SHOWN(after, ValuesOf(curve));
  }
}

TEST(CurveArithmetic, UnitsFollowSquareAndRoot) {
  CSigCurve curve(1);
  curve.SetYUnit(u"kV");
  curve.Square();
  EXPECT_SHOWN("kV² 6", curve.YUnit().prefixunit(), curve.YUnit().exponent());
  for (int i = 0; i < 2; ++i) {
    curve.SquareRoot();
    EXPECT_EQ(curve.YUnit().prefixunit(), u"kV") << "no root of a single power";
  }
}

TEST(CurveArithmetic, LevelTable) {
  const std::tuple<CMeasuringUnit, float, Floats, const char*> kCases[] = {
      {{CMeasuringUnit::pascal}, 2e-5F, {2e-5F, 2, 0, -1, kNaN}, "{0 100 0 0 0} dB(Pa) 1"},
      {{CMeasuringUnit::volt, 0, 2}, 1, {100, 1}, "{20 0} dB(V) 1"},
      {{CMeasuringUnit::second, 0, -1}, 10, {10, 100}, "{-40 -60} dB(s) 1"},
      {{CMeasuringUnit::volt, 0, 0}, 1, {100}, "{100} V^0 0"},
      {{CMeasuringUnit::volt}, 0, {1, 0}, "{inf 0} V 0"},  // no reference
  };
  for (const auto& [unit, reference, before, expected] : kCases) {
    CSigCurve curve = MakeCurve(before);
    curve.SetYUnit(unit);
    curve.Log(reference);
    Floats rounded = ValuesOf(curve);
    for (float& v : rounded) {
      v = std::round(v * 1e4F) / 1e4F + 0.0F;
    }
    EXPECT_SHOWN(expected, rounded, curve.YUnit().prefixunit(), curve.YUnit().is_log());
  }
}

// The loops against their plain form, at every length up to some vectors and three offsets.

void ExpectSameLoop(const char* name, void (*loop)(float*, const float*, std::size_t),
                    float (*plain)(float, float)) {
  SCOPED_TRACE(name);
  std::mt19937 random(17);
  for (std::size_t n = 0; n < 140; ++n) {
    for (const std::size_t offset : {0U, 1U, 3U}) {
      Floats y = RandomFloats(random, n + offset + 1, static_cast<int>(n % 3));
      const Floats s = RandomFloats(random, n + offset + 1, static_cast<int>(n % 2) + 1);
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
#define LIMES_LOOP(call, plain)                                                      \
  ExpectSameLoop(                                                                    \
      #call, [](float* y, [[maybe_unused]] const float* s, std::size_t n) { call; }, \
      [](float v, [[maybe_unused]] float o) -> float { return plain; })
  LIMES_LOOP(FillValues(y, n, kC), (void(v), kC));
  LIMES_LOOP(AddConstant(y, n, kC), v + kC);
  LIMES_LOOP(SubtractConstant(y, n, kC), v - kC);
  LIMES_LOOP(MultiplyBy(y, n, kC), v * kC);
  LIMES_LOOP(NegateValues(y, n), -v);
  LIMES_LOOP(AbsoluteValues(y, n), std::fabs(v));
  LIMES_LOOP(SquareValues(y, n), v * v);
  LIMES_LOOP(RootOfValues(y, n), v > 0 ? std::sqrt(v) : 0.0F);
  LIMES_LOOP(RaiseTo(y, n, 0.0F), v <= 0 ? 0.0F : v);
  LIMES_LOOP(LowerTo(y, n, 0.0F), v >= 0 ? 0.0F : v);
  LIMES_LOOP(AddValues(y, s, n), v + o);
  LIMES_LOOP(SubtractValues(y, s, n), v - o);
  LIMES_LOOP(SubtractSquares(y, s, n), v - o * o);
  LIMES_LOOP(AddScaled(y, s, n, kC), v + kC * o);
  LIMES_LOOP(AddScaledSquares(y, s, n, kC), v + kC * (o * o));
  LIMES_LOOP(AddScaledTimes(y, s, n, kC), v + (kC * o) * o);
  LIMES_LOOP(TakeSmaller(y, s, n), o < v ? o : v);
  LIMES_LOOP(TakeLarger(y, s, n), o > v ? o : v);
}

TEST(ValueLoops, OverlapRunsInOrder) {
  for (const std::size_t shift : {1U, 3U, 8U, 40U}) {
    std::mt19937 random(5);
    Floats values = RandomFloats(random, 200, 0);
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
        Floats y = RandomFloats(random, n, kind);
        for (float& v : y) {
          v = negative ? -std::fabs(v) : v;
        }
        ASSERT_TRUE(ExtremesArePlain(y)) << n << " of kind " << kind;
      }
    }
  }
}

}  // namespace
}  // namespace limes::test
