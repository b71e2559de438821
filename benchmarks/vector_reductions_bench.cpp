// Extremes, levels, filters, matrices and resampling.
#include <algorithm>
#include <cmath>
#include <limits>

#include "benchmarks/kernel_bench.h"

namespace {

#if defined(__AVX__)
using Wide __attribute__((vector_size(32))) = float;
#else
using Wide __attribute__((vector_size(16))) = float;
#endif
constexpr std::uint32_t kWidth = sizeof(Wide) / sizeof(float);

/// n floats of one buffer, or of two, read and not looked at.
template <class... Buffer>
void Read(std::uint32_t n, const Buffer*... buffers) {
  for (std::uint32_t i = 0; i + kWidth <= n; i += kWidth) {
    const auto read = [i](const float* p) {
      Wide wide;
      __builtin_memcpy(&wide, p + i, sizeof(wide));
      LIMES_OPAQUE(wide);
    };
    (read(buffers), ...);
  }
}

/// n floats added beside each other, as many as the processor adds at a time.
void AdditionsBeside(std::uint32_t n) {
  float a = 0.0F, b = 0.0F, c = 0.0F, d = 0.0F, e = 0.0F, f = 0.0F, g = 0.0F, h = 0.0F;
  float term = 0.0F;
  LIMES_OPAQUE(term);
  for (std::uint32_t i = 0; i < n; i += 8) {
    for (float* sum : {&a, &b, &c, &d, &e, &f, &g, &h}) {
      *sum += term;
      LIMES_OPAQUE(*sum);
    }
  }
}

/// n times a product and an addition, each of the result of the one before.
void ChainOfProducts(std::uint32_t n) {
  float s = 0.0F;
  float alpha = 0.5F;
  LIMES_OPAQUE(alpha);
  for (std::uint32_t i = 0; i < n; ++i) {
    s *= alpha;
    LIMES_OPAQUE(s);
    s += alpha;
    LIMES_OPAQUE(s);
  }
}

void AddLimits() {
  LIMES_LIMIT("read", Read(n, s.a));
  LIMES_LIMIT("readboth", Read(n, s.a, s.b));
  LIMES_LIMIT("chain", ChainOfAdditions<float>(n));
  LIMES_LIMIT("beside", AdditionsBeside(n));
  LIMES_LIMIT("filter", ChainOfProducts(n));
}

void AddExtremes() {
  LIMES_OURS("read", "VectorMinMax", float x; float y; DVL::VectorMinMax(s.a, n, 1, x, y);
             DoNotOptimize(x + y));
  LIMES_EIGEN("VectorMinMax", DoNotOptimize(Values(s.a, n).minCoeff() + Values(s.a, n).maxCoeff()));
  LIMES_STD("VectorMinMax", DoNotOptimize(std::minmax_element(s.a, s.a + n)));
  LIMES_OURS("read", "VectorAbsMax", DoNotOptimize(DVL::VectorAbsMax(s.a, n, 1)));
  LIMES_EIGEN("VectorAbsMax", DoNotOptimize(Values(s.a, n).abs().maxCoeff()));
  LIMES_OURS("read", "VectorMaxIdx", float x; std::uint32_t i; DVL::VectorMaxIdx(s.a, n, 1, x, i);
             DoNotOptimize(i));
  LIMES_STD("VectorMaxIdx", DoNotOptimize(std::max_element(s.a, s.a + n)));
  LIMES_EIGEN("VectorMaxIdx", Eigen::Index i; DoNotOptimize(Values(s.a, n).maxCoeff(&i));
              DoNotOptimize(i));
  LIMES_VOLK("VectorMaxIdx", std::uint32_t i; volk_32f_index_max_32u(&i, s.a, n); DoNotOptimize(i));
  LIMES_OURS("read", "VectorMinIdx", float x; std::uint32_t i; DVL::VectorMinIdx(s.a, n, 1, x, i);
             DoNotOptimize(i));
  LIMES_STD("VectorMinIdx", DoNotOptimize(std::min_element(s.a, s.a + n)));
  LIMES_OURS("", "VectorMinMaxInc7", float x; float y; DVL::VectorMinMax(s.a, n / 7, 7, x, y);
             DoNotOptimize(x + y));
  LIMES_EIGEN("VectorMinMaxInc7", const Strided v(s.a, n / 7, Eigen::InnerStride<>(7));
              DoNotOptimize(v.minCoeff() + v.maxCoeff()));
  LIMES_OURS("readboth", "MaxDifference", std::uint32_t i;
             DoNotOptimize(DVL::MaxDifference(s.a, s.b, n, &i)); DoNotOptimize(i));
  LIMES_EIGEN("MaxDifference", Eigen::Index i;
              DoNotOptimize((Values(s.a, n) - Values(s.b, n)).maxCoeff(&i)); DoNotOptimize(i));
  LIMES_PLAIN(
      "MaxDifference", float m = s.a[0] - s.b[0]; std::uint32_t pos = 0;
      for (std::uint32_t i = 0; i < n; ++i) {
        if (s.a[i] - s.b[i] >= m) {
          m = s.a[i] - s.b[i];
          pos = i;
        }
      } DoNotOptimize(m);
      DoNotOptimize(pos));
}

/// The second vector lies just below the first.
void AddRegions() {
  const auto just = [](SBuffers& s, std::uint32_t n) {
    if (s.c[0] != s.a[0] - 1.0F) {
      for (std::uint32_t i = 0; i < n; ++i) {
        s.c[i] = s.a[i] - 1.0F;
      }
    }
  };
  Add("Ours", "readboth+readboth", "LocalMaxDifferencePosition", [=](SBuffers& s, std::uint32_t n) {
    just(s, n);
    std::uint32_t end = 0;
    std::uint32_t pos = 0;
    DoNotOptimize(DVL::LocalMaxDifferencePosition(s.a, s.c, n, 0, end, pos));
  });
  Add("Plain", "", "LocalMaxDifferencePosition", [=](SBuffers& s, std::uint32_t n) {
    just(s, n);
    float m = 0.0F;
    std::uint32_t pos = 0;
    for (std::uint32_t i = 0; i < n && s.a[i] - s.c[i] >= 0.0F; ++i) {
      if (s.a[i] - s.c[i] > m) {
        m = s.a[i] - s.c[i];
        pos = i;
      }
    }
    DoNotOptimize(pos);
  });
}

void AddLevels() {
  LIMES_OURS("chain", "VectorLogSum", DoNotOptimize(DVL::VectorLogSum(s.a, n, 1)));
  LIMES_STD(
      "VectorLogSum", float sum = 0.0F; const float r = 1.0F / std::exp(s.a[0] * 0.23F);
      for (std::uint32_t i = 0; i < n;
           ++i) { sum += std::exp(s.a[i] * 0.23F) * r; } DoNotOptimize(std::log(sum / r) / 0.23F));
  LIMES_OURS("chain", "VectorLogMean", DoNotOptimize(DVL::VectorLogMean(s.a, n, 1)));
}

/// Rectangles of 100 columns.
void AddMatrices() {
  LIMES_OURS("chain", "MatrixElementStats", float o[5]; std::uint32_t count;
             DVL::MatrixElementStats(s.a, 100, 9, 0, 0, 100, n / 100, o[0], o[1], o[2], o[3], o[4],
                                     count, true);
             DoNotOptimize(o));
  LIMES_BOOST(
      "MatrixElementStats",
      acc::accumulator_set<
          float, acc::stats<acc::tag::min, acc::tag::max, acc::tag::mean, acc::tag::variance>>
          set;
      for (std::uint32_t i = 0; i < n;
           ++i) { set(s.a[i]); } DoNotOptimize(acc::variance(set) + acc::min(set) + acc::max(set)));
  LIMES_OURS("chain", "MatrixElementLogStats", float o[2]; std::uint32_t count;
             DVL::MatrixElementLogStats(s.a, 100, 9, 0, 0, 100, n / 100, o[0], o[1], count, true);
             DoNotOptimize(o));
}

/// Constants with which repeated filtering leaves the values as they are.
void AddFilters() {
  LIMES_OURS("filter", "VectorTiefpass", float state = 0.0F;
             DVL::VectorTiefpass(s.a, n, 1, kNearOne, state, false));
  LIMES_PLAIN(
      "VectorTiefpass", float state = 0.0F; for (std::uint32_t i = 0; i < n; ++i) {
        state = state * kNearOne + s.a[i] * (1.0F - kNearOne);
        s.a[i] = state;
      });
  LIMES_OURS("filter", "VectorHochpass", float state = 0.0F;
             DVL::VectorHochpass(s.a, n, 1, kNearOne, state, false));
  LIMES_OURS("filter", "AcFilterIp", float state = 0.0F;
             DVL::AcFilterIp(s.a, 1e-9F, 0.9F, &state, n));
  LIMES_OURS("filter", "I2FAcFilterIp", float state = 0.0F;
             DVL::I2FAcFilterIp(s.words, 1e-9F, 1e-9F, 0.9F, &state, n, 1));
}

template <std::uint32_t kBin>
void AddDownsampling() {
  const auto bins = [](std::uint32_t n) { return std::max(n / kBin, 2U); };
  const std::string name = "Bin" + std::to_string(kBin);
  Add("Ours", "beside", "DownsamlingMean" + name,
      [=](SBuffers& s, std::uint32_t n) { DVL::DownsamlingMean(s.a, n, 1, s.b, bins(n), 1.0F); });
  Add("Ours", "read", "DownsamlingMax" + name,
      [=](SBuffers& s, std::uint32_t n) { DVL::DownsamlingMax(s.a, n, 1, s.b, bins(n), 1.0F); });
  Add("Ours", "read", "DownsamlingMinMax" + name, [=](SBuffers& s, std::uint32_t n) {
    DVL::DownsamlingMinMax(s.a, n, 1, s.b, 2 * bins(n), 1.0F);
  });
  Add("Plain", "", "DownsamlingMean" + name, [=](SBuffers& s, std::uint32_t n) {
    const std::uint32_t size = n / bins(n);
    for (std::uint32_t k = 0; k < bins(n); ++k) {
      float sum = 0.0F;
      for (std::uint32_t i = 0; i < size; ++i) {
        sum += s.a[k * size + i];
      }
      s.b[k] = sum / static_cast<float>(size);
    }
  });
#if defined(LIMES_HAVE_EIGEN)
  const auto columns = [=](SBuffers& s, std::uint32_t n) {
    return Eigen::Map<const Eigen::ArrayXXf>(s.a, n / bins(n), bins(n));
  };
  Add("Eigen", "", "DownsamlingMax" + name, [=](SBuffers& s, std::uint32_t n) {
    Values(s.b, bins(n)) = columns(s, n).colwise().maxCoeff().transpose();
  });
#endif
}

/// To three values for two.
void AddUpsampling() {
  Add("Ours", "", "ResamlingUpNearest",
      [](SBuffers& s, std::uint32_t n) { DVL::Resamling(0, s.a, n / 3 * 2, 1, s.b, n, 1.0F); });
  Add("Ours", "", "ResamlingUpLinear", [](SBuffers& s, std::uint32_t n) {
    DVL::Resamling(DVL::kResampleLinear, s.a, n / 3 * 2, 1, s.b, n, 1.0F);
  });
}

}  // namespace

int main(int argc, char** argv) {
  AddLimits();
  AddExtremes();
  AddRegions();
  AddLevels();
  AddMatrices();
  AddFilters();
  AddDownsampling<1000>();
  AddDownsampling<10>();
  AddUpsampling();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
