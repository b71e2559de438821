#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "limes/kernels/resample_tool.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"
#include "tests/support/bits.h"

namespace limes {
namespace {

using Tool = CResampleTool;
using Values = std::vector<float>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

void ExpectSame(const Values& actual, const Values& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i) {
    EXPECT_TRUE(test::Same(actual[i], expected[i]))
        << "at " << i << ": " << actual[i] << " instead of " << expected[i];
  }
}

Values Resampled(const Values& src, std::size_t n, int opts) {
  Values dst(n + 2, 77.0F);
  Tool::Resample1d(src.data(), static_cast<int>(src.size()), dst.data(), static_cast<int>(n), opts);
  EXPECT_EQ(dst[n], 77.0F) << "behind the end";
  dst.resize(n);
  return dst;
}

// ---- The stated procedures as plain loops.

float PlainBin(const float* s, int n, int mode) {
  float lo = s[0];
  float hi = s[0];
  float sum = s[0];
  for (int i = 1; i < n; ++i) {
    lo = s[i] < lo ? s[i] : lo;
    hi = s[i] > hi ? s[i] : hi;
    sum += s[i];
  }
  const float results[] = {s[0],          hi, lo,   sum / static_cast<float>(n),
                           (lo + hi) / 2, hi, s[0], s[0]};
  return results[mode];
}

Values PlainDown(const Values& src, int nOut, int mode) {
  const int nIn = static_cast<int>(src.size());
  const float dIn = 1.0F / static_cast<float>(nIn);
  const float dOut = 1.0F / static_cast<float>(nOut);
  const float half = dOut * 0.5F;
  float p = 0.0F;
  Values dst;
  for (int e = 0; e < nIn && static_cast<int>(dst.size()) < nOut;) {
    const int start = e;
    do {
      e = e + 1;
      p = p + dIn;
    } while (e < nIn && p < half);
    p = p - dOut;
    dst.push_back(PlainBin(src.data() + start, e - start, mode));
  }
  dst.resize(static_cast<std::size_t>(nOut), src.back());
  return dst;
}

Values PlainSpread(float previous, float sample, int k, int mode) {
  Values out(static_cast<std::size_t>(k), sample);
  const float middle = (previous + sample) * 0.5F;
  if (k == 2) {
    const float first[] = {sample,
                           std::max(previous, sample),
                           std::min(previous, sample),
                           middle,
                           middle,
                           middle,
                           sample,
                           sample};
    out[0] = first[mode];
  } else if (k > 2 && (mode == 3 || mode == 5)) {
    float y = previous;
    for (int j = 0; j + 1 < k; ++j) {
      out[static_cast<std::size_t>(j)] = y += (sample - previous) / static_cast<float>(k);
    }
  } else if (k > 2 && mode == 4) {
    std::fill(out.begin(), out.begin() + k / 2, middle);
  }
  return out;
}

/// before: the last sample of the block before, NaN without one.
Values PlainUp(const Values& src, int nOut, int opts, float before) {
  const int nIn = static_cast<int>(src.size());
  const float dIn = 1.0F / static_cast<float>(nIn);
  const float dOut = 1.0F / static_cast<float>(nOut);
  const float half = dIn * 0.5F;
  const bool straight = opts == 5;
  const bool goOn = (opts & 16) != 0;
  float p = straight ? -dIn : (goOn ? -half : 0.0F);
  Values dst;
  if (straight) {
    dst.push_back(src[0]);
  }
  for (int i = straight ? 1 : 0; i < nIn && static_cast<int>(dst.size()) < nOut; ++i) {
    const int start = static_cast<int>(dst.size());
    int e = start;
    do {
      e = e + 1;
      p = p + dOut;
    } while (e < nOut && p < half);
    p = p - dIn;
    const float now = src[static_cast<std::size_t>(i)];
    const float previous = i > 0 ? src[static_cast<std::size_t>(i - 1)] : (goOn ? before : now);
    const Values out = PlainSpread(previous, now, e - start, straight ? 3 : opts & 7);
    dst.insert(dst.end(), out.begin(), out.end());
  }
  dst.resize(static_cast<std::size_t>(nOut), src.back());
  return dst;
}

struct PlainGrid {
  unsigned width;
  unsigned height;
  Values points;

  float& At(unsigned x, unsigned y) { return points[y * width + x]; }
};

/// The rows of curves of n samples from first on, T from..to.
PlainGrid PlainGridOf(const CSigCurveArray& array, unsigned width, unsigned height, float from,
                      float to, unsigned first, unsigned n) {
  PlainGrid grid{width, height, Values(width * height)};
  const float step = (to - from) / static_cast<float>(height);
  float boundary = from;
  unsigned last = 0;
  int c = array.FindeKurveHinter(from, 0);
  for (unsigned r = 0; r < height; ++r) {
    boundary += step;
    Values line;
    for (; c < array.Anzahl() && (array[c] == nullptr || array.TPos(c) < boundary); ++c) {
      for (unsigned i = first; array[c] != nullptr && i < std::min(first + n, array[c]->DLen());
           ++i) {
        const float v = array[c]->ValArray()[i];
        if (i - first >= line.size()) {
          line.push_back(v);
        } else {
          line[i - first] = line[i - first] > v ? line[i - first] : v;
        }
      }
    }
    if (line.empty()) {
      continue;
    }
    line.resize(n);
    const Values row = width > n ? PlainUp(line, static_cast<int>(width), 5, kNaN)
                                 : PlainDown(line, static_cast<int>(width), 1);
    std::copy(row.begin(), row.end(), &grid.At(0, r));
    for (unsigned between = last + 1; between < r; ++between) {
      const float f = 1.0F / static_cast<float>(r - last);
      for (unsigned x = 0; x < width; ++x) {
        grid.At(x, between) = grid.At(x, last) + (grid.At(x, r) - grid.At(x, last)) * f;
      }
    }
    last = r;
  }
  for (unsigned r = last + 1; r < height; ++r) {
    std::copy_n(&grid.At(0, last), width, &grid.At(0, r));
  }
  return grid;
}

Values GridOf(const Tool& tool) {
  return Values(tool.PZeile(0), tool.PZeile(0) + std::size_t{tool.Breite()} * tool.Hoehe());
}

/// Curves of random lengths up to n at rising T, some slots empty.
CSigCurveArray RandomArray(std::mt19937& random, int curves, int n, int kind) {
  CSigCurveArray array(curves);
  float t = 0.0F;
  for (int i = 0; i < curves; ++i, t += static_cast<float>(random() % 3)) {
    if (i > 0 && random() % 8 == 0) {
      continue;
    }
    const int length = i > 0 && random() % 4 == 0 ? static_cast<int>(random() % 64) : n;
    auto* const curve = new CSigCurveExt(length);
    const Values values = test::RandomFloats(random, static_cast<std::size_t>(length), kind);
    std::copy(values.begin(), values.end(), curve->ValArray());
    curve->Date(t);
    array.Attach(i, curve, true);
  }
  array.TBereich(0.0F, t);
  return array;
}

TEST(Resample, Tables) {
  const Values ten = {0, 1, 2, 3, 4, 5, 6, 7, 8, 99};
  const struct {
    Values src;
    int opts;
    Values expected;
  } cases[] = {
      {ten, 0, {0, 3}},  // bins 0..2 and 3..7: the last samples are in none
      {ten, 1, {2, 7}},
      {ten, 2, {0, 3}},
      {ten, 3, {1, 5}},
      {ten, 4, {1, 5}},
      {ten, 5, {2, 7}},
      {{5, 6}, 1, {5, 6}},
      {{kNaN, 1, 2}, 1, {kNaN}},  // a leading NaN stays, another is passed over
      {{1, kNaN, 2}, 2, {1}},
      {{0, 4}, 0, {0, 4, 4, 4}},  // k = 1 for the first, then what is left
      {{0, 4}, 5, {0, 4.0F / 3, 8.0F / 3, 4}},
      {{7}, 5, {7, 7, 7}},
      {{7}, 0, {7, 7, 7}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("mode " + std::to_string(c.opts) + " to " + std::to_string(c.expected.size()));
    const Values actual = Resampled(c.src, c.expected.size(), c.opts);
    for (std::size_t i = 0; i < actual.size(); ++i) {
      EXPECT_TRUE(test::Same(actual[i], c.expected[i]) ||
                  std::abs(actual[i] - c.expected[i]) < 1e-6F)
          << i << ": " << actual[i];
    }
  }
}

TEST(Resample, WritesNothingWithoutCountOrBuffer) {
  float x = 3.0F;
  float y = 5.0F;
  for (const int n : {0, -1, std::numeric_limits<int>::min()}) {
    Tool::Resample1d(&x, n, &y, 1, 0);
    Tool::Resample1d(&x, 1, &y, n, 0);
    Tool::Resample1dUpInterpol(&x, 1, &y, n);
    Tool::Resample1dDownMaxi(&x, n, &y, 1);
  }
  Tool::Resample1d(nullptr, 1, &y, 1, 0);
  Tool::Resample1d(&x, 1, nullptr, 1, 0);
  EXPECT_EQ(y, 5.0F);
}

TEST(Resample, EqualsThePlainLoops) {
  std::mt19937 random(7);
  for (int round = 0; round < 600; ++round) {
    const Values src = test::RandomFloats(random, random() % 300 + 1, round % 3);
    const auto n = random() % 300 + 1;
    const int nOut = static_cast<int>(n);
    for (int opts = 0; opts < 8; ++opts) {
      SCOPED_TRACE(std::to_string(src.size()) + " to " + std::to_string(n) + ", option " +
                   std::to_string(opts));
      const Values expected = n == src.size()  ? src
                              : n < src.size() ? PlainDown(src, nOut, opts)
                                               : PlainUp(src, nOut, opts, kNaN);
      ExpectSame(Resampled(src, n, opts), expected);
    }
  }
}

TEST(Resample, StaysInBoundsAtAnyLength) {
  std::mt19937 random(8);
  for (const std::size_t n : {std::size_t{5000}, std::size_t{100000}, std::size_t{3000000}}) {
    const Values src = test::RandomFloats(random, n, 0);
    for (const std::size_t out : {std::size_t{1}, std::size_t{999}, n / 3, n - 1, n + 1}) {
      Resampled(src, out, Tool::kMaximum);
      Resampled(src, out, Tool::kInterpolate);
    }
  }
  constexpr float kThree[] = {1.0F, 2.0F, 3.0F};  // called with the lengths the wrong way round
  Values dst(9);
  Tool::Resample1dDown(kThree, 2, dst.data(), 9, Tool::kMean);
  EXPECT_EQ(dst[8], 2.0F);
  Tool::Resample1dUp(kThree, 3, dst.data(), 2, Tool::kMean);
  Tool::Resample1dUpInterpol(kThree, 3, dst.data(), 1);
}

TEST(Resample, ContinuesFromTheLastSampleOfTheBlockBefore) {
  std::mt19937 random(9);
  const Values first = test::RandomFloats(random, 5, 0);
  Resampled(first, 16, Tool::kMean);
  Values before = first;
  for (int mode = 0; mode < 8; ++mode) {
    const Values block = test::RandomFloats(random, 6, 0);
    const int opts = mode | Tool::kContinue;
    ExpectSame(Resampled(block, 40, opts), PlainUp(block, 40, opts, before.back()));
    before = block;
  }
}

TEST(Resample, IntegersOverTheRange) {
  const float src[] = {-1.0F, 0.0F, 0.2F, 0.5F, 1.0F, 9.0F, kNaN, -INFINITY, INFINITY};
  const struct {
    float lo, hi;
    int max;
    std::vector<std::int32_t> expected;
  } cases[] = {
      {0.0F, 1.0F, 10, {0, 0, 2, 5, 10, 10, 0, 0, 10}},
      {0.0F, 0.0F, 10, {0, 0, 2, 5, 10, 10, 0, 0, 10}},  // scale is the largest value
      {1.0F, 0.0F, 4, {4, 4, 3, 2, 0, 0, 0, 4, 0}},
      {0.0F,
       1.0F,
       std::numeric_limits<int>::max(),
       {0, 0, 429496736, 1073741824, 2147483647, 2147483647, 0, 0, 2147483647}},
  };
  for (const auto& c : cases) {
    std::vector<std::int32_t> dst(std::size(src));
    Tool::IntConversion(src, static_cast<unsigned>(std::size(src)), c.lo, c.hi, dst.data(), c.max);
    EXPECT_EQ(dst, c.expected);
  }
}

TEST(Resample, CurvesByTheirValidValues) {
  CSigCurveExt source(6);
  for (int i = 0; i < 6; ++i) {
    source.SetAt(i, static_cast<float>(i));
  }
  source.SetVIMinMax(1, 4);
  CSigCurve target(2);
  Tool::Resample1d(&source, &target, Tool::kMaximum);
  EXPECT_EQ(target[0], 1.0F);
  EXPECT_EQ(target[1], 3.0F);
  Tool::Resample1d(nullptr, &target, 0);
  Tool::Resample1d(&source, static_cast<CSigCurve*>(nullptr), 0);
  source.Malloc(2);  // stale indices
  Tool::Resample1d(&source, &target, 0);

  Tool tool;
  CSigCurve plain(4);
  for (int i = 0; i < 4; ++i) {
    plain.SetAt(i, static_cast<float>(i));
  }
  std::vector<std::int32_t> levels(4);
  EXPECT_TRUE(tool.Resample1d(&plain, levels.data(), 4, 30, 0));
  EXPECT_EQ(levels, (std::vector<std::int32_t>{0, 10, 20, 30}));
  EXPECT_EQ(tool.Zeilenpuffer(), nullptr);  // taken as it is
  EXPECT_TRUE(tool.Resample1d(&plain, levels.data(), 2, 30, Tool::kFirst));
  EXPECT_EQ(levels[1], 10);
  EXPECT_FALSE(tool.Resample1d(nullptr, levels.data(), 4, 30, 0));
  EXPECT_FALSE(tool.Resample1d(&plain, levels.data(), 0, 30, 0));
}

TEST(Resample, GridEqualsThePlainLoops) {
  std::mt19937 random(10);
  Tool tool;
  for (int round = 0; round < 300; ++round) {
    const int n = static_cast<int>(random() % 64) + 1;
    const CSigCurveArray array =
        RandomArray(random, static_cast<int>(random() % 40) + 2, n, round % 3);
    const auto width = static_cast<unsigned>(random() % 80 + 1);
    const auto height = static_cast<unsigned>(random() % 50 + 1);
    SCOPED_TRACE(round);
    tool.Setze2dAusschnitt(false, 0, 0, 0, 0);
    ASSERT_EQ(tool.Resample2d(&array, width, height), array.TMin() < array.TMax());
    if (array.TMin() < array.TMax()) {
      ExpectSame(GridOf(tool), PlainGridOf(array, width, height, array.TMin(), array.TMax(), 0,
                                           static_cast<unsigned>(n))
                                   .points);
    }
    const float from = static_cast<float>(random() % 9) - 2.0F;
    const float to = from + static_cast<float>(random() % 9) + 0.5F;
    const int i0 = array[0]->GetIndex(0.2F);
    const int i1 = array[0]->GetIndex(0.7F);
    tool.Setze2dAusschnitt(true, 0.2F, 0.7F, from, to);
    if (tool.Resample2d(&array, width, height)) {
      ExpectSame(GridOf(tool),
                 PlainGridOf(array, width, height, from, to, static_cast<unsigned>(i0),
                             static_cast<unsigned>(i1 - i0 + 1))
                     .points);
    }
  }
}

TEST(Resample, GridRefusesWhatItCannotShow) {
  std::mt19937 random(11);
  CSigCurveArray array = RandomArray(random, 3, 8, 0);
  array.TBereich(0.0F, 3.0F);
  Tool tool;
  ASSERT_TRUE(tool.Resample2d(&array, 4, 3));
  const Values before = GridOf(tool);
  EXPECT_FALSE(tool.Resample2d(nullptr, 4, 3));
  EXPECT_FALSE(tool.Resample2d(&array, 0, 3));
  EXPECT_FALSE(tool.Resample2d(&array, 4, 0));
  EXPECT_FALSE(tool.Resample2d(&array, 0xFFFFFFFF, 0xFFFFFFFF));
  EXPECT_FALSE(tool.Resample2d(&array, 0x7FFFFFFF, 0xFFFFFFFF));
  const float sections[][4] = {{0.7F, 0.2F, 0, 1}, {kNaN, 1, 0, 1}, {0, 1, 1, 1}, {0, 1, 0, kNaN}};
  for (const auto& s : sections) {
    tool.Setze2dAusschnitt(true, s[0], s[1], s[2], s[3]);
    EXPECT_FALSE(tool.Resample2d(&array, 4, 3));
  }
  tool.Setze2dAusschnitt(false, 0, 1, 0, 1);
  array.TBereich(1.0F, 1.0F);
  EXPECT_FALSE(tool.Resample2d(&array, 4, 3));
  array.TBereich(0.0F, 1.0F);
  delete array.Detach(0);
  EXPECT_FALSE(tool.Resample2d(&array, 4, 3));
  ExpectSame(GridOf(tool), before);
}

TEST(Resample, BuffersGrowAndCopiesAreDeep) {
  Tool tool;
  EXPECT_EQ(tool.PZeile(0), nullptr);
  EXPECT_TRUE(tool.Adjust1dPuffer(10));
  const float* const line = tool.Zeilenpuffer();
  EXPECT_TRUE(tool.Adjust1dPuffer(20));  // twice was taken
  EXPECT_EQ(tool.Zeilenpuffer(), line);
  EXPECT_TRUE(tool.Adjust2dPuffer(3, 2));
  *tool.PPunkt(2, 1) = 5.0F;
  EXPECT_EQ(tool.PZeile(1)[2], 5.0F);
  EXPECT_EQ(tool.PZeile(2), nullptr);
  EXPECT_EQ(tool.PPunkt(3, 0), nullptr);
  const Tool copy = tool;
  *tool.PPunkt(2, 1) = 6.0F;
  EXPECT_EQ(*copy.PPunkt(2, 1), 5.0F);
  EXPECT_FALSE(tool.Adjust2dPuffer(0xFFFFFFFF, 0xFFFFFFFF));
  EXPECT_EQ(tool.Breite(), 3U);
}

TEST(Resample, KeepsOneStepBetweenFilledRows) {
  Tool tool;
  ASSERT_TRUE(tool.Adjust2dPuffer(1, 5));
  *tool.PPunkt(0, 0) = 4.0F;
  *tool.PPunkt(0, 4) = 8.0F;
  tool.Interpol2dy(0, 4);
  ExpectSame(GridOf(tool), {4.0F, 5.0F, 5.0F, 5.0F, 8.0F});
  tool.Interpol2dy(0, 9);
  tool.Interpol2dy(3, 2);
  ExpectSame(GridOf(tool), {4.0F, 5.0F, 5.0F, 5.0F, 8.0F});
}

TEST(Resample, KeepsTheLastSamplesUnseen) {
  Values src(100);
  src[99] = 1.0F;
  EXPECT_EQ(Resampled(src, 7, Tool::kMaximum), Values(7));
}

}  // namespace
}  // namespace limes
