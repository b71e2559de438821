#include "limes/kernels/vector_kernels.h"

#include "tests/support/reduction_cases.h"
#include "tests/support/show.h"

namespace limes::test {
namespace {

/// Both forms on floats of each kind, counts 0 to 130 and, apart only, some to 3000, increments 1
/// to 5, all alignments, apart and overlapping.
void ExpectSameBits(const KernelCase& c, bool apart = false) {
  std::mt19937 random(1);
  for (std::uint32_t trial = 0; trial < 9 * 131 + (apart ? 90 : 0); ++trial) {
    const auto place = static_cast<std::uint32_t>(random());
    const std::uint32_t n = trial < 9 * 131 ? trial % 131 : place % 3000;
    const std::uint32_t di = trial % 2 == 0 ? 1 : 1 + place % 5;
    const std::uint32_t si = trial % 2 == 0 ? 1 : 1 + place / 5 % 5;
    const std::size_t d = 16 + place / 32 % 16;
    const std::size_t s = !apart && trial % 3 == 0 ? d - 16 + place / 512 % 33
                                                   : d + std::size_t{n} * di + 9 + place / 512 % 16;
    const std::size_t room = std::max(d, s + 40) + std::size_t{n} * std::max(di, si) + 9;
    auto block = RandomFloats(random, room, static_cast<int>((n < 131 ? trial / 131 : trial) % 3));
    for (float& x : block) {  // none above, or none below zero: zeros of both signs are extreme
      x = apart && ((place % 3 == 0 && x > 0.0F) || (place % 3 == 1 && x < 0.0F)) ? -x : x;
    }
    ASSERT_EQ(FirstDifference(c, block, d, di, s, si, n), "")
        << c.name << ": n " << n << ", increments " << di << ' ' << si << ", places " << d << ' '
        << s;
  }
}

TEST(VectorKernels, KeepsTheBitsOfThePlainLoop) {
  for (const auto& c : ElementCases()) {
    ExpectSameBits(c);
  }
  for (const auto& cases : {ReductionCases(), ApartCases()}) {
    for (const auto& c : cases) {
      ExpectSameBits(c, true);
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

  float mean[] = {7.0F, 7.0F};
  EXPECT_SHOWN("0 1.6329932 {7 3}", DVL::VectorVarianz(values, 0, 1, mean),
               DVL::VectorStdDev(values, 3, 2, mean + 1), mean);
  EXPECT_SHOWN("0 {3 3} nan", DVL::VectorKovarianz(values, 2, equal, 1, 3, mean), mean,
               DVL::Kurtosis(equal, 3));
}

TEST(VectorKernels, CombinationsHaveTheBitsOfTwoPasses) {
  for (const int place : {0, 1, 2, 3}) {  // a apart, at dst, one before it; b one before dst
    const auto places = [place](const Buffers& r) {
      return std::pair(place == 0 ? r.s + 40 : r.d - (place == 2), place == 3 ? r.d - 1 : r.s);
    };
    ExpectSameBits(
        {"VectorLinCombi",
         [=](const Buffers& r) {
           const auto [a, b] = places(r);
           DVL::VectorLinCombi(a, 0.3F, b, 1.1F, r.d, r.n, r.di, r.si, r.di);
         },
         [=](const Buffers& r) {
           const auto [a, b] = places(r);
           Each([](float, float y, std::uint32_t) { return y * 0.3F; })({r.d, r.di, a, r.di, r.n});
           Each([](float x, float y, std::uint32_t) { return x + y * 1.1F; })(
               {r.d, r.di, b, r.si, r.n});
         }});
  }
}

TEST(VectorKernels, LinesHaveTheBitsOfThePlainLoop) {
  const struct {
    void (*fast)(float*, std::int32_t, std::int32_t, float, float);
    bool (*replaces)(float line, float v);
    const char* points;  ///< single ones, for ends 0.5, 2 and NaN where v is 1
  } lines[] = {
      {DVL::SetVectorToPolygon, [](float, float) { return true; }, "0.5 2 nan"},
      {DVL::MaximizeVectorAndPolygon, [](float y, float v) { return !(v > y); }, "1 2 1"},
      {DVL::MinimizeVectorAndPolygon, [](float y, float v) { return !(v < y); }, "0.5 1 1"}};
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
    std::int32_t i = 0;
    for (const float end : {0.5F, 2.0F, kNaN}) {
      line.fast(v, i + 1, i, 9.0F, end);
      ++i;
    }
    EXPECT_EQ(Shown(v), line.points);
  }
}

TEST(VectorKernels, TransposesAnyShapeAndRowByRowWhereBuffersOverlap) {
  std::mt19937 random(2);
  for (const std::uint32_t width : {0U, 1U, 3U, 4U, 5U, 32U, 37U, 70U}) {
    for (const std::uint32_t height : {0U, 1U, 2U, 7U, 33U, 64U, 66U}) {
      for (const std::size_t at : {5000U, 1U}) {
        std::vector<float> fast = RandomFloats(random, 10000, 0);
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
  Floats v = {-4.0F, kNaN, 2.0F};
  DVL::ClipVectorIp(v.data(), 3, 1, 5.0F, 1.0F);
  EXPECT_EQ(Shown(v), "1 1 1");
  const float in[] = {2.5F, 3.5F, -2.5F};
  std::uint8_t bytes[] = {9, 9, 9, 9, 9, 9};
  DVL::Float2ByteVector(in, 3, 2.0F, 2.0F, bytes, 10, 1, 2);  // side by side all the same
  DVL::Float2ByteVector(in, 3, 0.0F, 2.0F, bytes, 0, 1, 1);
  EXPECT_EQ(Shown(bytes), "0 0 0 9 9 9");
  DVL::Float2ByteVector(in, 3, kNaN, 2.0F, bytes, 10, 1, 2);
  EXPECT_EQ(Shown(bytes), "0 0 0 9 0 9");

  const std::uint32_t palette[] = {10, 11, 12, 13};
  const std::tuple<float, std::uint32_t, const char*> cases[] = {
      {2.0F, 4, "12 12"}, {0.1F, 4, "13 13"}, {0.0F, 4, "10 10"},
      {2.0F, 1, "10 10"}, {kNaN, 4, "10 10"}, {2.0F, 0, "7 7"}};
  for (const auto& [hi, count, colours] : cases) {
    std::uint32_t out[] = {7, 7};
    DVL::Float2ColorVector(in, 2, 0.0F, hi, out, palette, count, 1);
    EXPECT_EQ(Shown(out), colours) << hi << ' ' << count;
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

TEST(VectorKernels, DownsamplesInPlaceAndNeverBehindTheEnd) {
  std::mt19937 random(4);
  const Floats block = RandomFloats(random, 100000, 0);
  for (const std::uint32_t nOut : {2U, 77U, 3000U, 66667U, 99999U}) {
    for (const auto kernel : {DVL::DownsamlingMean, DVL::DownsamlingMax, DVL::DownsamlingMinMax}) {
      Floats apart(nOut);
      kernel(block.data(), 100000, 1, apart.data(), nOut, 0.5F);
      Floats inPlace = block;
      kernel(inPlace.data(), 100000, 1, inPlace.data(), nOut, 0.5F);
      EXPECT_TRUE(std::equal(apart.begin(), apart.end(), inPlace.begin())) << nOut;
    }
  }
}

TEST(VectorKernels, ExponentialIsExactToOneUnit) {
  for (float x = -110.0F; x < 95.0F; x += 0.00117F) {
    const double exact = std::exp(double{x});
    const float y = detail::FixedExp(x);
    const auto nearest = static_cast<float>(exact);
    const double unit = std::nextafter(nearest, kInf) - double{nearest};
    ASSERT_TRUE(y == nearest || std::fabs(y - exact) <= unit) << x;
  }
  EXPECT_SHOWN("inf 0 nan", detail::FixedExp(kInf), detail::FixedExp(-kInf),
               detail::FixedExp(kNaN));
}

TEST(VectorKernels, FiltersGoOnWithTheState) {
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

TEST(VectorKernels, KeepsStatedReductions) {
  const float levels[] = {0.0F, 0.0F, 390.0F};
  EXPECT_NEAR(DVL::VectorLogSum(levels, 2, 1), 3.0103F, 1e-5F);
  EXPECT_SHOWN("0 390 0", DVL::VectorLogMean(levels, 2, 1), DVL::VectorLogSum(levels + 2, 1, 1),
               DVL::VectorLogSum(levels + 2, 3, 0))
      << "a single one as it is; but its power is no float";

  const Floats flat(65537, 0.0F);
  Floats high = flat;
  high[65535] = 1.0F;
  std::uint32_t end = 1;
  std::uint32_t pos = 1;
  EXPECT_SHOWN("0 0", DVL::MaxDifference(nullptr, levels, 0, &pos), pos);
  EXPECT_SHOWN("0 65538 65535",
               DVL::LocalMaxDifferencePosition(high.data(), flat.data(), 65537, 0, end, pos), end,
               pos);
}

}  // namespace
}  // namespace limes::test
