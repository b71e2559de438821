// Element loops, pairs, conversions, sums and moments.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>

#include "benchmarks/kernel_bench.h"

#if defined(__AVX2__)
#include <immintrin.h>
#endif

namespace {

using Lanes4 __attribute__((vector_size(16))) = float;

/// Roots or quotients of n floats that stay in registers, side by side.
template <bool kRoot>
void Divider(std::uint32_t n) {
#if defined(__AVX2__)
  const __m256 one = _mm256_set1_ps(1.0F);
  __m256 a = _mm256_set1_ps(2.0F);
  __m256 b = _mm256_set1_ps(3.0F);
  __m256 c = _mm256_set1_ps(5.0F);
  __m256 d = _mm256_set1_ps(7.0F);
  for (std::uint32_t i = 0; i < n; i += 32) {
    a = kRoot ? _mm256_sqrt_ps(a) : _mm256_div_ps(one, a);
    LIMES_OPAQUE(a);
    b = kRoot ? _mm256_sqrt_ps(b) : _mm256_div_ps(one, b);
    LIMES_OPAQUE(b);
    c = kRoot ? _mm256_sqrt_ps(c) : _mm256_div_ps(one, c);
    LIMES_OPAQUE(c);
    d = kRoot ? _mm256_sqrt_ps(d) : _mm256_div_ps(one, d);
    LIMES_OPAQUE(d);
  }
#else
  float x = 2.0F;
  for (std::uint32_t i = 0; i < n; ++i) {
    x = kRoot ? std::sqrt(x) : 1.0F / x;
    DoNotOptimize(x);
  }
#endif
}

// Loops at the full width of this processor, for known increments and buffers apart.
void Scale(float* p, std::uint32_t n) {
#pragma GCC unroll 4
  for (std::uint32_t i = 0; i < n; ++i) {
    p[i] *= kNearOne;
  }
}

void Update(float* __restrict d, const float* __restrict p, std::uint32_t n) {
#pragma GCC unroll 4
  for (std::uint32_t i = 0; i < n; ++i) {
    d[i] += p[i] * 1e-9F;
  }
}

void Join(float* __restrict d, const float* __restrict p, const float* __restrict q,
          std::uint32_t n) {
#pragma GCC unroll 4
  for (std::uint32_t i = 0; i < n; ++i) {
    d[i] = p[i] * 0.3F + q[i] * 0.7F;
  }
}

template <class D, class S>
void Convert(D* __restrict d, const S* __restrict p, std::uint32_t n) {
#pragma GCC unroll 4
  for (std::uint32_t i = 0; i < n; ++i) {
    d[i] = static_cast<D>(static_cast<std::int32_t>(p[i]));
  }
}

void AddLimits() {
  LIMES_LIMIT("fill", std::memset(s.a, 1, n * sizeof(float)));
  LIMES_LIMIT("scale", Scale(s.a, n));
  LIMES_LIMIT("copy", std::memcpy(s.a, s.b, n * sizeof(float)));
  LIMES_LIMIT("update", Update(s.a, s.b, n));
  LIMES_LIMIT("join", Join(s.a, s.b, s.c, n));
  LIMES_LIMIT("widen", Convert(s.a, s.shorts, n));
  LIMES_LIMIT("narrow", Convert(s.shorts, s.a, n));
  LIMES_LIMIT("bytes", Convert(s.bytes, s.a, n));
  LIMES_LIMIT("root", Divider<true>(n));
  LIMES_LIMIT("quotient", Divider<false>(n));
  LIMES_LIMIT("chain", ChainOfAdditions<float>(n));
  LIMES_LIMIT("lanes", ChainOfAdditions<Lanes4>(n));
}

void AddElements() {
  LIMES_OURS("fill", "SetConstant", DVL::SetConstant(s.a, n, 1, 1.5F));
  LIMES_STD("SetConstant", std::fill(s.a, s.a + n, 1.5F));
  LIMES_OURS("scale", "MulFloatIp", DVL::MulFloatIp(s.a, n, 1, kNearOne));
  LIMES_EIGEN("MulFloatIp", Values(s.a, n) *= kNearOne);
  LIMES_VOLK("MulFloatIp", volk_32f_s32f_multiply_32f(s.a, s.a, kNearOne, n));
  LIMES_OURS("scale", "AddFloatIp", DVL::AddFloatIp(s.a, n, 1, 1e-9F));
  LIMES_EIGEN("AddFloatIp", Values(s.a, n) += 1e-9F);
  LIMES_OURS("scale", "SubFloatIp", DVL::SubFloatIp(s.a, n, 1, 1e-9F));
  LIMES_EIGEN("SubFloatIp", Values(s.a, n) -= 1e-9F);
  LIMES_OURS("scale", "LinTransfromIp", DVL::LinTransfromIp(s.a, n, 1, kNearOne, 1e-9F));
  LIMES_EIGEN("LinTransfromIp", Values(s.a, n) = Values(s.a, n) * kNearOne + 1e-9F);
  LIMES_OURS("scale", "SquareIp", DVL::SquareIp(s.ones, n, 1));
  LIMES_EIGEN("SquareIp", Values(s.ones, n) = Values(s.ones, n).square());
  LIMES_OURS("scale", "VectorAbsValIp", DVL::VectorAbsValIp(s.a, n, 1));
  LIMES_EIGEN("VectorAbsValIp", Values(s.a, n) = Values(s.a, n).abs());
  LIMES_OURS("scale", "ClipVectorIp", DVL::ClipVectorIp(s.a, n, 1, -0.5F, 0.5F));
  LIMES_EIGEN("ClipVectorIp", Values(s.a, n) = Values(s.a, n).max(-0.5F).min(0.5F));
  LIMES_OURS("root", "SquareRootIp", DVL::SquareRootIp(s.a, n, 1));
  LIMES_EIGEN("SquareRootIp", Values(s.a, n) = Values(s.a, n).max(0.0F).sqrt());
  LIMES_VOLK("SquareRootIp", volk_32f_sqrt_32f(s.a, s.a, n));
  LIMES_OURS("quotient", "ReciprocalIp", DVL::ReciprocalIp(s.a, n, 1));
  LIMES_EIGEN("ReciprocalIp", Values(s.a, n) = Values(s.a, n).inverse());
  LIMES_OURS("fill", "FloatRowIp", DVL::FloatRowIp(s.a, n, 1, 1.0F, 0.25F));
  LIMES_EIGEN("FloatRowIp", Values(s.a, n).setLinSpaced(n, 1.0F, 100.0F));
  LIMES_OURS("fill", "Int32RowIp", DVL::Int32RowIp(s.words, n, 1, 1, 3));
  LIMES_STD("Int32RowIp", std::iota(s.words, s.words + n, 1));
  LIMES_OURS("", "MulFloatIpInc2", DVL::MulFloatIp(s.a, n / 2, 2, kNearOne));
  LIMES_EIGEN("MulFloatIpInc2", Strided(s.a, n / 2, Eigen::InnerStride<>(2)) *= kNearOne);
  LIMES_OURS("", "MulFloatIpInc7", DVL::MulFloatIp(s.a, n / 7, 7, kNearOne));
  LIMES_EIGEN("MulFloatIpInc7", Strided(s.a, n / 7, Eigen::InnerStride<>(7)) *= kNearOne);
}

void AddPairs() {
  LIMES_OURS("update", "VectorAddVector", DVL::VectorAddVector(s.a, 1, s.b, 1, n, 1e-9F));
  LIMES_EIGEN("VectorAddVector", Values(s.a, n) += Values(s.b, n) * 1e-9F);
  LIMES_OURS("update", "VectorWeightedSum", DVL::VectorWeightedSum(s.a, 1, s.b, 1, n, 0.5F, 0.5F));
  LIMES_EIGEN("VectorWeightedSum", Values(s.a, n) = Values(s.a, n) * 0.5F + Values(s.b, n) * 0.5F);
  LIMES_OURS("update", "MaximizeVectors", DVL::MaximizeVectors(s.a, s.b, n));
  LIMES_EIGEN("MaximizeVectors", Values(s.a, n) = Values(s.a, n).max(Values(s.b, n)));
  LIMES_VOLK("MaximizeVectors", volk_32f_x2_max_32f(s.a, s.a, s.b, n));
  LIMES_OURS("update", "MinimizeVectors", DVL::MinimizeVectors(s.a, s.b, n));
  LIMES_EIGEN("MinimizeVectors", Values(s.a, n) = Values(s.a, n).min(Values(s.b, n)));
  LIMES_VOLK("MinimizeVectors", volk_32f_x2_min_32f(s.a, s.a, s.b, n));
  LIMES_OURS("join", "VectorLinCombi", DVL::VectorLinCombi(s.b, 0.3F, s.c, 0.7F, s.a, n, 1, 1, 1));
  LIMES_EIGEN("VectorLinCombi", Values(s.a, n) = Values(s.b, n) * 0.3F + Values(s.c, n) * 0.7F);
  LIMES_OURS("copy", "Interleave", DVL::Interleave(s.a, 1, s.b, 1, n));
  LIMES_STD("Interleave", std::copy(s.b, s.b + n, s.a));
  LIMES_OURS("chain", "MaximizeVectorAndPolygon",
             DVL::MaximizeVectorAndPolygon(s.a, 0, static_cast<int>(n - 1), -1.0F, 1.0F));
  LIMES_PLAIN(
      "MaximizeVectorAndPolygon", float y = -1.0F;
      const float step = 2.0F / static_cast<float>(n - 1);
      for (std::uint32_t i = 0; i < n; ++i, y += step) {
        if (!(s.a[i] > y)) {
          s.a[i] = y;
        }
      });
}

/// Square matrices of about n elements.
void AddTranspose() {
  const auto side = [](std::uint32_t n) {
    return static_cast<std::uint32_t>(std::sqrt(static_cast<double>(n)));
  };
  Add("Ours", "copy", "MatrixTanspose",
      [=](SBuffers& s, std::uint32_t n) { DVL::MatrixTanspose(s.a, s.b, side(n), side(n)); });
#if defined(LIMES_HAVE_EIGEN)
  Add("Eigen", "", "MatrixTanspose", [=](SBuffers& s, std::uint32_t n) {
    const Eigen::Index w = side(n);
    using Rows = Eigen::Matrix<float, -1, -1, Eigen::RowMajor>;
    Eigen::Map<Eigen::MatrixXf>(s.a, w, w) = Eigen::Map<const Rows>(s.b, w, w);
  });
#endif
}

void AddConversions() {
  LIMES_OURS("copy", "Int32ToFloat", DVL::Int32ToFloat(s.a, 1, s.words, 1, n, 1e-3F));
  LIMES_VOLK("Int32ToFloat", volk_32i_s32f_convert_32f(s.a, s.words, 1e3F, n));
  LIMES_OURS("copy", "FloatToInt32", DVL::FloatToInt32(s.words, 1, s.a, 1, n, 1e3F));
  LIMES_VOLK("FloatToInt32", volk_32f_s32f_convert_32i(s.words, s.a, 1e3F, n));
  LIMES_OURS("widen", "Int16ToFloat", DVL::Int16ToFloat(s.a, 1, s.shorts, 1, n, 1e-3F));
  LIMES_VOLK("Int16ToFloat", volk_16i_s32f_convert_32f(s.a, s.shorts, 1e3F, n));
  LIMES_OURS("narrow", "FloatToInt16", DVL::FloatToInt16(s.shorts, 1, s.a, 1, n, 1e3F));
  LIMES_VOLK("FloatToInt16", volk_32f_s32f_convert_16i(s.shorts, s.a, 1e3F, n));
  LIMES_OURS("bytes", "Float2ByteVector",
             DVL::Float2ByteVector(s.a, n, -1.0F, 1.0F, s.bytes, 256, 1, 1));
  LIMES_VOLK("Float2ByteVector",
             volk_32f_s32f_convert_8i(reinterpret_cast<std::int8_t*>(s.bytes), s.a, 127.0F, n));
}

void AddReductions() {
  LIMES_OURS("chain", "VectorSum", DoNotOptimize(DVL::VectorSum(s.a, n, 1)));
  LIMES_STD("VectorSum", DoNotOptimize(std::accumulate(s.a, s.a + n, 0.0F)));
  LIMES_OURS("chain", "VectorAbsSum", DoNotOptimize(DVL::VectorAbsSum(s.a, n, 1)));
  LIMES_STD("VectorAbsSum",
            DoNotOptimize(std::accumulate(s.a, s.a + n, 0.0F,
                                          [](float sum, float x) { return sum + std::fabs(x); })));
  LIMES_OURS("chain", "VectorRMS", DoNotOptimize(DVL::VectorRMS(s.a, n, 1)));
  LIMES_STD("VectorRMS", const float sum = std::inner_product(s.a, s.a + n, s.a, 0.0F);
            DoNotOptimize(std::sqrt(sum / static_cast<float>(n))));
  LIMES_OURS("chain", "VectorSkalarprodukt",
             DoNotOptimize(DVL::VectorSkalarprodukt(s.a, 1, s.b, 1, n)));
  LIMES_STD("VectorSkalarprodukt", DoNotOptimize(std::inner_product(s.a, s.a + n, s.b, 0.0F)));
  LIMES_OURS("chain+chain", "VectorVarianz", DoNotOptimize(DVL::VectorVarianz(s.a, n, 1, nullptr)));
  LIMES_BOOST(
      "VectorVarianz",
      acc::accumulator_set<float, acc::stats<acc::tag::mean, acc::tag::variance>> set;
      for (std::uint32_t i = 0; i < n; ++i) { set(s.a[i]); } DoNotOptimize(acc::variance(set)));
  LIMES_OURS("chain+chain", "VectorKovarianz",
             DoNotOptimize(DVL::VectorKovarianz(s.a, 1, s.b, 1, n, nullptr)));
  LIMES_OURS("chain", "VectorStatistics", DVL::StatisticsData_t r;
             DVL::VectorStatistics(s.a, n, 1, r); DoNotOptimize(r));
  LIMES_BOOST(
      "VectorStatistics",
      acc::accumulator_set<
          float, acc::stats<acc::tag::min, acc::tag::max, acc::tag::mean, acc::tag::variance>>
          set;
      for (std::uint32_t i = 0; i < n;
           ++i) { set(s.a[i]); } DoNotOptimize(acc::variance(set) + acc::min(set) + acc::max(set)));
  LIMES_OURS("chain+lanes", "Kurtosis", DoNotOptimize(DVL::Kurtosis(s.a, n)));
}

}  // namespace

int main(int argc, char** argv) {
  AddLimits();
  AddElements();
  AddPairs();
  AddTranspose();
  AddConversions();
  AddReductions();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
