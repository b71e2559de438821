#include <cmath>

#include "limes/kernels/vector_kernels.h"

// The sums run in order, one addition after the other: the compiler must not make vectors of them,
// which would give the same bits, but slower. See the list of such files in CMakeLists.txt.

namespace limes::DVL {

namespace {

/// Sum of op(x).
template <class Op>
inline float SumOf(const float* p, std::size_t n, std::size_t inc, Op op) {
  float sum = 0.0F;
  for (std::size_t i = 0; i < n; ++i, p += inc) {
    sum += op(*p);
  }
  return sum;
}

/// Sum of op(x, y).
template <class Op>
inline float SumOf(const float* a, std::size_t incA, const float* b, std::size_t incB,
                   std::size_t n, Op op) {
  float sum = 0.0F;
  for (std::size_t i = 0; i < n; ++i, a += incA, b += incB) {
    sum += op(*a, *b);
  }
  return sum;
}

inline float Over(float sum, std::uint32_t n) {
  return n == 0 ? 0.0F : sum / static_cast<float>(n);
}

struct SMeans {
  float a = 0.0F;
  float b = 0.0F;
};

/// Both in one pass: the additions of one sum hide those of the other.
SMeans MeansOf(const float* a, std::size_t incA, const float* b, std::size_t incB,
               std::uint32_t n) {
  SMeans sum;
  for (std::size_t i = 0; i < n; ++i, a += incA, b += incB) {
    sum.a += *a;
    sum.b += *b;
  }
  return {Over(sum.a, n), Over(sum.b, n)};
}

}  // namespace

float VectorSum(const float* p, std::uint32_t n, std::uint32_t inc) {
  return SumOf(p, n, inc, [](float x) { return x; });
}

float VectorAbsSum(const float* p, std::uint32_t n, std::uint32_t inc) {
  return SumOf(p, n, inc, [](float x) { return std::fabs(x); });
}

float VectorSqrSum(const float* p, std::uint32_t n, std::uint32_t inc) {
  return SumOf(p, n, inc, [](float x) { return x * x; });
}

float VectorMean(const float* p, std::uint32_t n, std::uint32_t inc) {
  return Over(VectorSum(p, n, inc), n);
}

float VectorAbsMean(const float* p, std::uint32_t n, std::uint32_t inc) {
  return Over(VectorAbsSum(p, n, inc), n);
}

float VectorSqrMean(const float* p, std::uint32_t n, std::uint32_t inc) {
  return Over(VectorSqrSum(p, n, inc), n);
}

float VectorRMS(const float* p, std::uint32_t n, std::uint32_t inc) {
  return std::sqrt(VectorSqrMean(p, n, inc));
}

float VectorL2Norm(const float* p, std::uint32_t n, std::uint32_t inc) {
  return std::sqrt(VectorSqrSum(p, n, inc));
}

float VectorSkalarprodukt(const float* a, std::uint32_t incA, const float* b, std::uint32_t incB,
                          std::uint32_t n) {
  return SumOf(a, incA, b, incB, n, [](float x, float y) { return x * y; });
}

float VectorVarianz(const float* p, std::uint32_t n, std::uint32_t inc, float* meanOut) {
  if (n == 0) {
    return 0.0F;
  }
  const float mean = VectorMean(p, n, inc);
  if (meanOut != nullptr) {
    *meanOut = mean;
  }
  return Over(SumOf(p, n, inc, [mean](float x) { return (x - mean) * (x - mean); }), n);
}

float VectorStdDev(const float* p, std::uint32_t n, std::uint32_t inc, float* meanOut) {
  return std::sqrt(VectorVarianz(p, n, inc, meanOut));
}

float VectorKovarianz(const float* a, std::uint32_t incA, const float* b, std::uint32_t incB,
                      std::uint32_t n, float* meanOut) {
  if (n == 0) {
    return 0.0F;
  }
  const SMeans mean = MeansOf(a, incA, b, incB, n);
  if (meanOut != nullptr) {
    *meanOut = mean.a;
  }
  const auto product = [mean](float x, float y) { return (x - mean.a) * (y - mean.b); };
  return Over(SumOf(a, incA, b, incB, n, product), n);
}

}  // namespace limes::DVL
