// Calls that take integers, with every type of them: none is ambiguous, none wraps.

#include <gtest/gtest.h>

#include "limes/kernels/averaging_factors.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/pair_signal.h"
#include "tests/support/curves.h"

namespace limes::test {
namespace {

template <class T>
struct IntegerCalls : testing::Test {};

using Types = testing::Types<char, signed char, unsigned char, short, unsigned short, int, unsigned,
                             long, unsigned long, long long, unsigned long long>;
TYPED_TEST_SUITE(IntegerCalls, Types);

TYPED_TEST(IntegerCalls, MeanTheSameForAll) {
  const auto one = TypeParam{1};
  const auto last = std::numeric_limits<TypeParam>::max();
  CInfoNode node;
  node.Set(one);
  EXPECT_EQ(node.AsInt(), 1);
  node.Set(last);
  EXPECT_EQ(node.AsInt(), sizeof(last) < 8 ? static_cast<std::int64_t>(last) : INT64_MAX);
  EXPECT_EQ(CExpAverFacGenerator::GetFactor(TypeParam{5}, TypeParam{100}),
            CExpAverFacGenerator::GetFactor(5, 100.0));
  CSigCurve curve = MakeRamp(3);
  EXPECT_SHOWN("1 2 1", curve[one], curve[last], curve.GetIndex(one));
  CSigCurveArray array;
  array.ErsteKurve(curve);
  CSigPairs pairs;
  CSigCurveExt section;
  EXPECT_SHOWN("1 1", array.Querschnitt(one, &pairs), array.Querschnitt(one, &section));
  EXPECT_SHOWN("1 1", pairs.Wert(0), section[0]);
  EXPECT_SHOWN("0 1", array.Querschnitt(last, &pairs), array.Querschnitt(1.0, &section));
}

TEST(IntegerCalls, SaturateAtTheEnds) {
  EXPECT_SHOWN("2147483647 -2147483648 0 255 -128", SaturateTo<std::int32_t>(UINT64_MAX),
               SaturateTo<std::int32_t>(INT64_MIN), SaturateTo<std::uint64_t>(-1),
               int{SaturateTo<std::uint8_t>(300)}, int{SaturateTo<std::int8_t>(-1000L)});
}

}  // namespace
}  // namespace limes::test
