#include "limes/kernels/vector_kernels.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>

#include "tests/support/kernel_cases.h"
#include "tests/support/show.h"

namespace limes {
namespace {

using test::Buffers;
using test::Shown;

const float kNaN = std::nanf("");

/// Both forms on floats of each kind, counts 0 to 130, increments 1 to 5, all alignments, apart and
/// overlapping.
void ExpectSameBits(const test::KernelCase& c) {
  constexpr std::size_t kRoom = 700;
  std::mt19937 random(1);
  for (std::uint32_t trial = 0; trial < 9 * 131; ++trial) {
    const std::uint32_t n = trial % 131;
    const auto place = static_cast<std::uint32_t>(random());
    const std::uint32_t di = trial % 2 == 0 ? 1 : 1 + place % 5;
    const std::uint32_t si = trial % 2 == 0 ? 1 : 1 + place / 5 % 5;
    const std::size_t d = 16 + place / 32 % 16;
    const std::size_t s = d - 16 + (trial % 3 == 0 ? place / 512 % 33 : kRoom + place / 512 % 16);
    const auto block = test::RandomFloats(random, 2 * kRoom, static_cast<int>(trial / 131 % 3));
    ASSERT_EQ(FirstDifference(c, block, d, di, s, si, n), -1)
        << c.name << ": n " << n << ", increments " << di << ' ' << si << ", places " << d << ' '
        << s;
  }
}

TEST(VectorKernels, HaveTheBitsOfThePlainLoop) {
  for (const auto& cases : {test::ElementCases(), test::ReductionCases()}) {
    for (const auto& c : cases) {
      ExpectSameBits(c);
    }
  }
}

TEST(VectorKernels, StatisticsJoinBlocks) {
  const float values[] = {1.0F, 2.0F, 3.0F, 4.0F, 5.0F};
  const float equal[] = {3.0F, 3.0F, 3.0F};
  DVL::StatisticsData_t s;
  const auto shown = [&s] {
    return Shown(s.valid(), s.min, s.max, s.count, s.mean, s.meanSquare, s.stdDev);
  };
  DVL::VectorStatistics(values, 2, 1, s);
  DVL::VectorStatistics(values + 2, 3, 1, s);
  DVL::VectorStatistics(values, 0, 1, s);
  s.calc_stddev();
  EXPECT_EQ(shown(), "1 1 5 5 3 11 1.41421");
  s.reset();
  DVL::VectorStatistics(equal, 3, 1, s);
  EXPECT_EQ(shown(), "0 3 3 3 3 9 0");  // kept: equal samples are not valid
  s.meanSquare = 8.0F;
  s.calc_stddev();
  EXPECT_TRUE(std::isnan(s.stdDev));

  for (const float other : {1.0F, -1.0F}) {  // of zeros the first one counts
    const float zeros[] = {other, -0.0F, other, other, 0.0F, other, other, other};
    s.reset();
    DVL::VectorStatistics(zeros, 8, 1, s);
    EXPECT_TRUE(std::signbit(other > 0.0F ? s.min : s.max));
  }

  float mean[] = {7.0F, 7.0F};
  EXPECT_EQ(DVL::VectorVarianz(values, 0, 1, mean), 0.0F);
  EXPECT_EQ(DVL::VectorStdDev(values, 3, 2, mean + 1), std::sqrt(8.0F / 3.0F));
  EXPECT_EQ(Shown(mean), "7 3");
  EXPECT_EQ(DVL::VectorKovarianz(values, 2, equal, 1, 3, mean), 0.0F);
  EXPECT_EQ(Shown(mean), "3 3");
  EXPECT_TRUE(std::isnan(DVL::Kurtosis(equal, 3)));
}

TEST(VectorKernels, CombinationsHaveTheBitsOfTwoPasses) {
  for (const int place : {0, 1, 2, 3}) {  // a apart, at dst, one before it; b one before dst
    const auto places = [place](const Buffers& r) {
      return std::pair(place == 0 ? r.s + 40 : r.d - (place == 2), place == 3 ? r.d - 1 : r.s);
    };
    ExpectSameBits({"VectorLinCombi",
                    [=](const Buffers& r) {
                      const auto [a, b] = places(r);
                      DVL::VectorLinCombi(a, 0.3F, b, 1.1F, r.d, r.n, r.di, r.si, r.di);
                    },
                    [=](const Buffers& r) {
                      const auto [a, b] = places(r);
                      test::Each([](float, float y, std::uint32_t) { return y * 0.3F; })(
                          {r.d, r.di, a, r.di, r.n});
                      test::Each([](float x, float y, std::uint32_t) { return x + y * 1.1F; })(
                          {r.d, r.di, b, r.si, r.n});
                    }});
  }
}

TEST(VectorKernels, LinesHaveTheBitsOfThePlainLoop) {
  const struct {
    void (*fast)(float*, std::int32_t, std::int32_t, float, float);
    bool (*replaces)(float line, float v);
    float atMostOnePoint[3];  ///< for ends 0.5, 2 and NaN where v is 1
  } lines[] = {
      {DVL::SetVectorToPolygon, [](float, float) { return true; }, {0.5F, 2.0F, kNaN}},
      {DVL::MaximizeVectorAndPolygon,
       [](float y, float v) { return !(v > y); },
       {1.0F, 2.0F, 1.0F}},
      {DVL::MinimizeVectorAndPolygon,
       [](float y, float v) { return !(v < y); },
       {0.5F, 1.0F, 1.0F}},
  };
  for (const auto& line : lines) {
    ExpectSameBits({"line",
                    [&](const Buffers& r) {
                      line.fast(r.d - 3, 3, static_cast<int>(r.n) + 4, r.s[0], r.s[1]);
                    },
                    [&](const Buffers& r) {
                      float y = r.s[0];
                      const double slope = (double{r.s[1]} - double{y}) / (r.n + 1.0);
                      for (std::size_t i = 0; i < r.n + 2; ++i) {
                        r.d[i] = line.replaces(y, r.d[i]) ? y : r.d[i];
                        y = y + static_cast<float>(slope);
                      }
                    }});
    float v[] = {1.0F, 1.0F, 1.0F};
    for (std::int32_t i = 0; i < 3; ++i) {
      line.fast(v, i + 1, i, 9.0F, std::array{0.5F, 2.0F, kNaN}[static_cast<std::size_t>(i)]);
      EXPECT_TRUE(test::Same(v[i], line.atMostOnePoint[i])) << i;
    }
  }
}

TEST(VectorKernels, TransposesAnyShapeAndRowByRowWhereBuffersOverlap) {
  std::mt19937 random(2);
  for (const std::uint32_t width : {0U, 1U, 3U, 4U, 5U, 32U, 37U, 70U}) {
    for (const std::uint32_t height : {0U, 1U, 2U, 7U, 33U, 64U, 66U}) {
      for (const std::size_t at : {5000U, 1U}) {
        std::vector<float> fast = test::RandomFloats(random, 10000, 0);
        std::vector<float> plain = fast;
        DVL::MatrixTanspose(fast.data(), fast.data() + at, width, height);
        for (std::size_t i = 0; i < std::size_t{width} * height; ++i) {
          plain[i % width * height + i / width] = plain[at + i];
        }
        EXPECT_EQ(fast, plain) << width << ' ' << height << ' ' << at;
      }
    }
  }
}

TEST(VectorKernels, KeepsBuffersUntouchedByAnIdentity) {
  const std::array<std::uint32_t, 3> bits = {0x80000000U, 0x7FC12345U, 0xFF812345U};
  auto p = std::bit_cast<std::array<float, 3>>(bits);
  DVL::AddFloatIp(p.data(), 3, 1, -0.0F);
  DVL::SubFloatIp(p.data(), 3, 1, 0.0F);
  DVL::MulFloatIp(p.data(), 3, 1, 1.0F);
  DVL::LinTransfromIp(p.data(), 3, 1, 1.0F, -0.0F);
  DVL::VectorLinCombi(p.data(), 0.0F, p.data(), -0.0F, p.data(), 3, 1, 1, 1);
  EXPECT_EQ((std::bit_cast<std::array<std::uint32_t, 3>>(p)), bits);
}

TEST(VectorKernels, KeepsStatedResults) {
  std::array<float, 4> v = {-4.0F, 4.0F, kNaN, 2.0F};
  DVL::SquareRootIp(v.data(), 3, 1);
  EXPECT_EQ(Shown(v), "0 2 0 2");
  DVL::ReciprocalIp(v.data(), 3, 1);
  EXPECT_EQ(Shown(v), "0 0.5 0.5 2") << "nothing to repeat at first";
  DVL::ClipVectorIp(v.data(), 4, 1, 5.0F, 1.0F);
  EXPECT_EQ(Shown(v), "1 1 1 1");

  const float in[] = {2.5F, 3.5F, -2.5F, 3e9F, -INFINITY, kNaN};
  std::int32_t rounded[6];
  DVL::FloatToInt32(rounded, 1, in, 1, 6, 1.0F);
  EXPECT_EQ(Shown(rounded), "2 4 -2 2147483647 -2147483648 -2147483648");
  const float wide[] = {2.7F, -2.7F, 40000.0F, 4294968320.0F, INFINITY, kNaN};
  std::int16_t wrapped[6];
  DVL::FloatToInt16(wrapped, 1, wide, 1, 6, 1.0F);
  EXPECT_EQ(Shown(wrapped), "2 -2 -25536 1024 0 0");

  std::uint8_t bytes[] = {9, 9, 9, 9, 9, 9};
  DVL::Float2ByteVector(in, 3, 2.0F, 2.0F, bytes, 10, 1, 2);  // side by side all the same
  DVL::Float2ByteVector(in, 3, 0.0F, 2.0F, bytes, 0, 1, 1);
  EXPECT_EQ(Shown(bytes), "0 0 0 9 9 9");
  DVL::Float2ByteVector(in, 3, kNaN, 2.0F, bytes, 10, 1, 2);
  EXPECT_EQ(Shown(bytes), "0 0 0 9 0 9");

  const std::uint32_t palette[] = {10, 11, 12, 13};
  const struct {
    float hi;
    std::uint32_t count;
    const char* colours;
  } cases[] = {{2.0F, 4, "12 12"}, {0.1F, 4, "13 13"}, {0.0F, 4, "10 10"},
               {2.0F, 1, "10 10"}, {kNaN, 4, "10 10"}, {2.0F, 0, "7 7"}};
  for (const auto& c : cases) {
    std::uint32_t out[] = {7, 7};
    DVL::Float2ColorVector(in, 2, 0.0F, c.hi, out, palette, c.count, 1);
    EXPECT_EQ(Shown(out), c.colours) << c.hi << ' ' << c.count;
  }
  double doubles[] = {1.0, 1.0, 1.0};
  DVL::SetConstant(doubles, 2, 2, 0.1);
  EXPECT_EQ(Shown(doubles), "0.1 1 0.1");

  float* block = DVL::NewAlignedFloat(5);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0U);
  DVL::SetConstant(block, 5, 1, 1.0F);
  DVL::DeleteAlignedFloat(block);
  DVL::DeleteAlignedInt(DVL::NewAlignedInt(-1));  // null
}

}  // namespace
}  // namespace limes
