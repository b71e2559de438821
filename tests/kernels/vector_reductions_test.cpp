#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <random>

#include "tests/support/reduction_cases.h"
#include "tests/support/show.h"

namespace limes {
namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();
const float kNaN = std::nanf("");

TEST(VectorReductions, HaveTheBitsOfThePlainLoop) {
  std::mt19937 random(3);
  for (const auto& c : test::ApartCases()) {
    for (std::uint32_t trial = 0; trial < 6 * 131 + 90; ++trial) {
      const auto place = static_cast<std::uint32_t>(random());
      const std::uint32_t n = trial < 6 * 131 ? trial % 131 : place % 3000;
      const std::uint32_t di = trial % 2 == 0 ? 1 : 1 + place % 5;
      const std::uint32_t si = trial % 2 == 0 ? 1 : 1 + place / 5 % 5;
      const std::size_t d = 1 + place / 32 % 16;
      const std::size_t s = d + std::size_t{n} * di + 9 + place / 512 % 16;
      auto block = test::RandomFloats(random, s + std::size_t{n} * si + 9,
                                      static_cast<int>((n < 131 ? trial / 131 : trial) % 3));
      for (float& x : block) {  // none above, or none below zero: zeros of both signs are extreme
        x = (place % 3 == 0 && x > 0.0F) || (place % 3 == 1 && x < 0.0F) ? -x : x;
      }
      ASSERT_EQ(FirstDifference(c, block, d, di, s, si, n), -1)
          << c.name << " trial " << trial << ": n " << n << ", increments " << di << ' ' << si;
    }
  }
}

TEST(VectorReductions, DownsamplesInPlaceAndNeverBehindTheEnd) {
  std::mt19937 random(4);
  const std::vector<float> block = test::RandomFloats(random, 100000, 0);
  for (const std::uint32_t nOut : {2U, 77U, 3000U, 66667U, 99999U}) {
    for (const auto kernel : {DVL::DownsamlingMean, DVL::DownsamlingMax, DVL::DownsamlingMinMax}) {
      std::vector<float> apart(nOut);
      kernel(block.data(), 100000, 1, apart.data(), nOut, 0.5F);
      std::vector<float> inPlace = block;
      kernel(inPlace.data(), 100000, 1, inPlace.data(), nOut, 0.5F);
      EXPECT_TRUE(std::equal(apart.begin(), apart.end(), inPlace.begin())) << nOut;
    }
  }
}

TEST(VectorReductions, ExponentialIsExactToOneUnit) {
  for (float x = -110.0F; x < 95.0F; x += 0.00117F) {
    const double exact = std::exp(double{x});
    const float y = detail::FixedExp(x);
    const auto nearest = static_cast<float>(exact);
    const double unit = std::nextafter(nearest, kInf) - double{nearest};
    ASSERT_TRUE(y == nearest || std::fabs(y - exact) <= unit) << x;
  }
  EXPECT_EQ(detail::FixedExp(kInf), kInf);
  EXPECT_EQ(detail::FixedExp(-kInf), 0.0F);
  EXPECT_TRUE(std::isnan(detail::FixedExp(kNaN)));
}

TEST(VectorReductions, FiltersGoOnWithTheState) {
  const std::array in = {4.0F, -1.0F, 8.0F, -1.0F, 0.0F, -1.0F};
  const std::array low = {4.0F, -1.0F, 6.0F, -1.0F, 3.0F, -1.0F};
  const std::array high = {0.0F, -1.0F, 2.0F, -1.0F, -3.0F, -1.0F};
  std::array<float, 6> x = in;
  float state = 9.0F;
  DVL::VectorTiefpass(x.data(), 0, 2, 0.5F, state, true);
  DVL::VectorTiefpass(x.data(), 3, 2, 0.5F, state, true);
  EXPECT_TRUE(x == low && state == 3.0F);
  x = in;
  state = 4.0F;
  DVL::VectorHochpass(x.data(), 1, 2, 0.5F, state, false);
  DVL::VectorHochpass(x.data() + 2, 2, 2, 0.5F, state, false);
  EXPECT_TRUE(x == high && state == 3.0F);
  std::array<std::int32_t, 6> words = {2, -1, 4, -1, 0, -1};
  state = 4.0F;
  DVL::I2FAcFilterIp(words.data(), 2.0F, 0.5F, 0.5F, &state, 3, 2);
  words[1] = words[3] = words[5] = std::bit_cast<std::int32_t>(-1.0F);
  EXPECT_TRUE((std::bit_cast<std::array<float, 6>>(words) == high));
  std::array<float, 3> close = {4.0F, 8.0F, 0.0F};
  DVL::AcFilterIp(close.data(), 0.25F, 0.5F, &state, 3);
  EXPECT_EQ(close, (std::array{1.5F, 4.75F, -1.625F}));
}

TEST(VectorReductions, KeepsStatedResults) {
  const float levels[] = {0.0F, 0.0F, 390.0F};
  EXPECT_NEAR(DVL::VectorLogSum(levels, 2, 1), 3.0103F, 1e-5F);
  EXPECT_EQ(DVL::VectorLogMean(levels, 2, 1), 0.0F);
  EXPECT_EQ(DVL::VectorLogSum(levels + 2, 1, 1), 390.0F);  // a single one as it is
  EXPECT_EQ(DVL::VectorLogSum(levels + 2, 3, 0), 0.0F);    // its power is no float

  const float a[] = {0.0F, 2.0F, 5.0F, 5.0F, 1.0F, -1.0F, 4.0F};
  const std::vector<float> flat(65537, 0.0F);
  std::vector<float> high = flat;
  high[65535] = 1.0F;
  std::uint32_t end = 1;
  std::uint32_t pos = 1;
  EXPECT_TRUE(DVL::MaxDifference(nullptr, levels, 0, &pos) == 0.0F && pos == 0);
  EXPECT_TRUE(DVL::MaxDifference(a + 1, levels, 0, &pos) == 2.0F && pos == 0);
  const float zeros[] = {0.0F, -0.0F};
  EXPECT_TRUE(std::signbit(DVL::MaxDifference(zeros, flat.data(), 2, &pos)) && pos == 1);
  EXPECT_TRUE(DVL::MaxDifference(a, flat.data(), 5, &pos) == 5.0F && pos == 3);
  EXPECT_FALSE(DVL::LocalMaxDifferencePosition(a, flat.data(), 7, 7, end, pos));
  EXPECT_TRUE(end == 1 && pos == 3);
  EXPECT_TRUE(DVL::LocalMaxDifferencePosition(a, flat.data(), 7, 0, end, pos));
  EXPECT_TRUE(end == 6 && pos == 2);
  EXPECT_FALSE(DVL::LocalMaxDifferencePosition(high.data(), flat.data(), 65537, 0, end, pos));
  EXPECT_TRUE(end == 65538 && pos == 65535);

  const float ramp[] = {0.0F, 10.0F, 20.0F, 30.0F, 40.0F, 50.0F, 60.0F, 70.0F, 80.0F, 90.0F};
  const struct {
    std::uint32_t nIn, inc;
    unsigned flags;
    std::uint32_t nOut;
    float factor;
    const char* expected;
  } cases[] = {{10, 1, 2, 4, 1.0F, "5 30 60 85"},
               {10, 1, 0, 4, 1.0F, "10 40 70 90"},
               {2, 1, 0, 4, 1.0F, "0 2 4 6"},
               {2, 3, 4, 4, 1.0F, "0 2 4 6"},
               {3, 1, 0, 4, 1.0F, "0 0 10 10"},
               {3, 1, 4, 4, 1.0F, "0 5 10 15"},
               {4, 2, 0, 4, 1.0F, "0 20 40 60"},
               {3, 1, 0, 9, 0.5F, "0 0 0 5 5 5 5 10 10"},
               {3, 2, 4, 9, 0.5F, "0 2.5 5 7.5 10 12 14 16 18"},
               {1, 1, 4, 3, 2.0F, "0 0 0"}};
  for (const auto& c : cases) {
    std::vector<float> out(c.nOut, 7.0F);
    DVL::Resamling(c.flags, ramp, c.nIn, c.inc, out.data(), c.nOut, c.factor);
    EXPECT_EQ(test::Shown(out), c.expected) << c.nIn << ' ' << c.inc << ' ' << c.flags;
  }
  float three[3];
  DVL::DownsamlingMinMax(ramp, 10, 1, three, 3, 2.0F);
  EXPECT_EQ(test::Shown(three), "0 180 180");
}

}  // namespace
}  // namespace limes
