#include "limes/kernels/resample_tool.h"
#include "limes/signals/curve_array.h"
#include "tests/support/curves.h"

namespace limes::test {
namespace {

using Tool = CResampleTool;

Floats Resampled(const Floats& src, std::size_t n, int opts) {
  Floats dst(n + 1, 77.0F);
  Tool::Resample1d(src.data(), static_cast<int>(src.size()), dst.data(), static_cast<int>(n), opts);
  EXPECT_EQ(dst[n], 77.0F) << "behind the end";
  dst.resize(n);
  return dst;
}

// ---- The procedures as plain loops.

float PlainBin(const float* s, int n, int mode) {
  float lo = s[0], hi = s[0], sum = s[0];
  for (int i = 1; i < n; ++i) {
    lo = s[i] < lo ? s[i] : lo;
    hi = s[i] > hi ? s[i] : hi;
    sum += s[i];
  }
  const float mean = sum / static_cast<float>(n);
  const float results[] = {s[0], hi, lo, mean, (lo + hi) / 2, hi, s[0], s[0]};
  return results[mode];
}

Floats PlainSpread(float before, float now, int k, int mode) {
  Floats out(static_cast<std::size_t>(k), now);
  const bool ramp = mode == 3 || mode == 5;
  const float middle = (before + now) * 0.5F;
  float y = before;
  for (int j = 0; j + 1 < k; ++j) {
    y += (now - before) / static_cast<float>(k);
    const bool first = k == 2 ? ramp || mode == 4 : mode == 4 && j < k / 2;
    const bool other = k == 2 && ((mode == 1 && !(now > before)) || (mode == 2 && !(now < before)));
    out[static_cast<std::size_t>(j)] = first ? middle : ramp ? y : other ? before : now;
  }
  return out;
}

/// last: the last sample of the block before, for the continuation.
Floats Plain(const Floats& src, std::size_t n, int opts, float last = kNaN) {
  if (src.size() == n) {
    return src;
  }
  const bool down = n < src.size();
  const bool straight = !down && opts == 5;
  const bool goOn = (opts & 16) != 0;
  const float dIn = 1.0F / static_cast<float>(src.size());
  const float dOut = 1.0F / static_cast<float>(n);
  const float half = (down ? dOut : dIn) * 0.5F;
  float p = straight ? -dIn : !down && goOn ? -half : 0.0F;
  Floats dst(straight ? 1 : 0, src[0]);
  std::size_t e = dst.size();
  for (std::size_t i = e; i < (down ? n : src.size()) && e < (down ? src.size() : n); ++i) {
    const std::size_t start = e;
    do {
      e = e + 1;
      p = p + (down ? dIn : dOut);
    } while (e < (down ? src.size() : n) && p < half);
    p = p - (down ? dOut : dIn);
    const int k = static_cast<int>(e - start);
    const Floats out = down ? Floats{PlainBin(&src[start], k, opts & 7)}
                            : PlainSpread(i > 0  ? src[i - 1]
                                          : goOn ? last
                                                 : src[0],
                                          src[i], k, straight ? 3 : opts & 7);
    dst.insert(dst.end(), out.begin(), out.end());
  }
  dst.resize(n, src.back());
  return dst;
}

constexpr float kBefore = 7.0F;  ///< in the grid, which rows without curves keep

/// Rows of samples i0 to i1 of the curves, T from..to.
Floats PlainGrid(const CSigCurveArray& array, std::size_t width, std::size_t height, float from,
                 float to, std::size_t i0, std::size_t i1) {
  std::vector<Floats> rows(height, Floats(width, kBefore));
  float boundary = from;
  std::size_t last = 0;
  int c = array.FindeKurveHinter(from, 0);
  for (std::size_t r = 0; r < height; ++r) {
    boundary += (to - from) / static_cast<float>(height);
    Floats line;
    for (; c < array.Anzahl() && (array[c] == nullptr || array.TPos(c) < boundary); ++c) {
      const Floats all = array[c] == nullptr ? Floats() : ValuesOf(*array[c]);
      for (std::size_t i = i0; i < std::min(i1 + 1, all.size()); ++i) {
        line.resize(std::max(line.size(), i - i0 + 1), all[i]);
        line[i - i0] = line[i - i0] > all[i] ? line[i - i0] : all[i];
      }
    }
    if (!line.empty()) {
      line.resize(i1 - i0 + 1);
      rows[r] = Plain(line, width, width > line.size() ? 5 : 1);
      for (std::size_t i = 0; i < width && last + 1 < r; ++i) {
        const float f = 1.0F / static_cast<float>(r - last);
        rows[last + 1][i] = rows[last][i] + (rows[r][i] - rows[last][i]) * f;
      }
      std::fill(rows.begin() + static_cast<int>(std::min(last + 1, r)),
                rows.begin() + static_cast<int>(r), rows[std::min(last + 1, r)]);
      last = r;
    }
  }
  if (c == array.Anzahl()) {  // otherwise there are curves behind the section
    std::fill(rows.begin() + static_cast<int>(last), rows.end(), Floats(rows[last]));
  }
  Floats grid;
  for (const Floats& row : rows) {
    grid.insert(grid.end(), row.begin(), row.end());
  }
  return grid;
}

Floats GridOf(const Tool& tool) {
  return Floats(tool.PZeile(0), tool.PZeile(0) + std::size_t{tool.Width()} * tool.Height());
}

/// Curves of n values and of others, at rising T, some slots empty.
CSigCurveArray RandomArray(std::mt19937& random, int curves, std::size_t n, int kind) {
  CSigCurveArray array(curves);
  float t = 0.0F;
  for (int i = 0; i < curves; ++i, t += static_cast<float>(random() % 3)) {
    if (i == 0 || random() % 8 != 0) {
      const auto values = RandomFloats(random, i % 4 == 3 ? random() % 64 : n, kind);
      array.Attach(i, new CSigCurveExt(MakeCurve<CSigCurveExt>(values)), true);
      array.TPos(i, t);
    }
  }
  array.TBereich(0.0F, t);
  return array;
}

TEST(Resample, EqualsThePlainLoops) {
  std::mt19937 random(7);
  float last = 0.0F;
  for (int round = 0; round < 600; ++round) {
    const Floats src = RandomFloats(random, random() % 300 + 1, round % 3);
    const std::size_t n = random() % 300 + 1;
    for (const int opts : {0, 1, 2, 3, 4, 5, 6, 7, 16, 17, 18, 19, 20, 21}) {
      SCOPED_TRACE(testing::Message() << src.size() << " to " << n << ", option " << opts);
      ASSERT_EQ(Difference(Resampled(src, n, opts), Plain(src, n, opts, last)), "");
      last = n > src.size() && opts != 5 ? src.back() : last;
    }
  }
  EXPECT_EQ(Shown(Resampled({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 2, 3)), "1 5");
}

TEST(Resample, StaysInBounds) {
  for (const std::size_t n : {std::size_t{5000}, std::size_t{3000000}}) {
    for (const std::size_t out : {std::size_t{1}, n / 3, n - 1, n + 1}) {
      Resampled(Floats(n), out, Tool::kMaximum);
      Resampled(Floats(n), out, Tool::kInterpolate);
    }
  }
  Floats dst(9, 5.0F);
  Tool::Resample1d(dst.data(), -1, dst.data() + 1, 1, 0);
  Tool::Resample1d(nullptr, 1, dst.data(), 1, 0);
  Tool::Resample1dUpInterpol(dst.data(), 1, dst.data() + 1, 0);
  EXPECT_EQ(dst, Floats(9, 5.0F));
  constexpr float kThree[] = {1.0F, 2.0F, 3.0F};  // the lengths the wrong way round
  Tool::Resample1dDown(kThree, 2, dst.data(), 9, Tool::kMean);
  EXPECT_EQ(dst[8], 2.0F);
  Tool::Resample1dUp(kThree, 3, dst.data(), 2, Tool::kMean);
}

TEST(Resample, CurvesAndIntegers) {
  auto source = MakeRamp<CSigCurveExt>(6);
  source.SetVIMinMax(1, 4);
  CSigCurve target(2);
  Tool::Resample1d(&source, &target, Tool::kMaximum);
  EXPECT_EQ(Shown(target), "1 3");
  source.Malloc(2);  // its indices are no longer true
  Tool::Resample1d(&source, &target, 0);
  Tool::Resample1d(nullptr, &target, 0);

  std::vector<std::int32_t> levels(4);
  Tool tool;
  EXPECT_TRUE(tool.Resample1d(&target, levels.data(), 4, 30, Tool::kFirst));
  EXPECT_FALSE(tool.Resample1d(&target, levels.data(), 0, 30, Tool::kFirst));
  const auto integers = [](float lo, float hi, int max) {
    const float src[] = {-1.0F, 0.0F, 0.2F, 0.5F, 1.0F, 9.0F, kNaN, -INFINITY, INFINITY};
    std::vector<std::int32_t> dst(std::size(src));
    Tool::IntConversion(src, static_cast<unsigned>(dst.size()), lo, hi, dst.data(), max);
    return Shown(dst);
  };
  EXPECT_EQ(integers(0, 1, 10), "0 0 2 5 10 10 0 0 10");
  EXPECT_EQ(integers(0, 0, 10), "0 0 2 5 10 10 0 0 10") << "the scale is the largest value";
  EXPECT_EQ(integers(1, 0, 4), "4 4 3 2 0 0 0 4 0");
  EXPECT_EQ(integers(0, 1, std::numeric_limits<int>::max()).substr(25),
            "2147483647 2147483647 0 0 2147483647");
}

TEST(Resample, GridEqualsThePlainLoops) {
  std::mt19937 random(10);
  Tool tool;
  for (int round = 0; round < 600; ++round) {
    const std::uint32_t size = round % 16 == 0 ? 600 : 64;
    const std::size_t n = random() % size + 1;
    const bool section = round % 2 != 0;
    const auto array = RandomArray(random, static_cast<int>(random() % 40) + 2, n, round % 3);
    const auto width = static_cast<unsigned>(random() % 8 == 0 ? n : random() % (2 * size) + 1);
    const auto height = static_cast<unsigned>(random() % 50 + 1);
    const float from = section ? static_cast<float>(random() % 9) - 2.0F : array.TMin();
    const float to = section ? from + static_cast<float>(random() % 9) + 0.5F : array.TMax();
    tool.Setze2dAusschnitt(section, 0.2F, 0.7F, from, to);
    ASSERT_TRUE(tool.Adjust2dPuffer(width, height));
    std::fill_n(tool.PZeile(0), std::size_t{width} * height, kBefore);
    ASSERT_EQ(tool.Resample2d(&array, width, height), array.TMin() < array.TMax()) << round;
    if (array.TMin() < array.TMax()) {
      const auto i0 = static_cast<std::size_t>(section ? array[0]->GetIndex(0.2F) : 0);
      const auto i1 = section ? static_cast<std::size_t>(array[0]->GetIndex(0.7F)) : n - 1;
      ASSERT_EQ(Difference(GridOf(tool), PlainGrid(array, width, height, from, to, i0, i1)), "");
    }
  }
}

TEST(Resample, GridRefusesWhatItCannotShow) {
  std::mt19937 random(11);
  CSigCurveArray array = RandomArray(random, 3, 8, 0);
  array.TBereich(0.0F, 3.0F);
  Tool tool;
  EXPECT_EQ(tool.PZeile(0), nullptr);
  ASSERT_TRUE(tool.Resample2d(&array, 4, 3));
  const Tool before = tool;
  constexpr unsigned kHuge = 0xFFFFFFFF;
  for (const auto& [w, h] : {std::pair{0U, 3U}, {4U, 0U}, {kHuge, kHuge}, {kHuge / 2, kHuge}}) {
    EXPECT_FALSE(tool.Resample2d(&array, w, h));
  }
  const float sections[][4] = {{0.7F, 0.2F, 0, 1}, {kNaN, 1, 0, 1}, {0, 1, 1, 1}, {0, 1, 0, kNaN}};
  for (const auto& s : sections) {
    tool.Setze2dAusschnitt(true, s[0], s[1], s[2], s[3]);
    EXPECT_FALSE(tool.Resample2d(&array, 4, 3));
  }
  tool.Setze2dAusschnitt(false, 0, 1, 0, 1);
  delete array.Detach(0);
  EXPECT_FALSE(tool.Resample2d(&array, 4, 3));
  ASSERT_EQ(Difference(GridOf(tool), GridOf(before)), "");
  EXPECT_NE(tool.PPunkt(3, 2), before.PPunkt(3, 2)) << "copies are deep";
  EXPECT_EQ(tool.PPunkt(4, 0), nullptr);
  ASSERT_TRUE(tool.Adjust1dPuffer(100));
  const float* const line = tool.LineBuffer();
  ASSERT_TRUE(tool.Adjust1dPuffer(200));
  EXPECT_EQ(tool.LineBuffer(), line) << "twice was taken";
}

TEST(Resample, KeepsOneStepBetweenFilledRowsAndTheLastSamplesUnseen) {
  Tool tool;
  ASSERT_TRUE(tool.Adjust2dPuffer(1, 5));
  *tool.PPunkt(0, 0) = 4.0F;
  *tool.PPunkt(0, 4) = 8.0F;
  for (const auto& [r0, r1] : {std::pair{0U, 4U}, {0U, 9U}, {3U, 2U}}) {
    tool.Interpol2dy(r0, r1);
    EXPECT_EQ(Shown(GridOf(tool)), "4 5 5 5 8");
  }
  Floats src(100);
  src[99] = 1.0F;
  EXPECT_EQ(Resampled(src, 7, Tool::kMaximum), Floats(7));
}

}  // namespace
}  // namespace limes::test
