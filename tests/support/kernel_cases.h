#pragma once

#include <array>
#include <cstring>
#include <functional>
#include <utility>

#include "limes/kernels/vector_kernels.h"
#include "tests/support/bits.h"

namespace limes::test {

/// Arguments of one call of a kernel: d is written, s is read; both lie in one block, and may
/// overlap.
struct Buffers {
  float* d;
  std::uint32_t di;
  float* s;
  std::uint32_t si;
  std::uint32_t n;
};
using Kernel = std::function<void(const Buffers&)>;

/// A kernel and its plain loop.
struct KernelCase {
  const char* name;
  Kernel fast;
  Kernel plain;
};

/// Where both forms of a kernel differ, or nothing. d and s are places in the block.
inline std::string FirstDifference(const KernelCase& c, Floats block, std::size_t d,
                                   std::uint32_t di, std::size_t s, std::uint32_t si,
                                   std::uint32_t n) {
  Floats plain = block;
  c.fast({block.data() + d, di, block.data() + s, si, n});
  c.plain({plain.data() + d, di, plain.data() + s, si, n});
  return Difference(block, plain);
}

/// d[i] = op(d[i], s[i], i), one by one.
inline Kernel Each(float (*op)(float x, float y, std::uint32_t i)) {
  return [op](const Buffers& r) {
    for (std::uint32_t i = 0; i < r.n; ++i) {
      float& x = r.d[std::size_t{i} * r.di];
      x = op(x, r.s[std::size_t{i} * r.si], i);
    }
  };
}

/// d[i] = op(s[i]) for elements of other types; backwards where they grow.
template <class D, class S>
Kernel Converted(D (*op)(S x)) {
  return [=](const Buffers& r) {
    for (std::size_t k = 0; k < r.n; ++k) {
      const std::size_t i = sizeof(D) > sizeof(S) ? r.n - 1 - k : k;
      S value;
      std::memcpy(&value, reinterpret_cast<char*>(r.s) + i * r.si * sizeof(S), sizeof(S));
      const D result = op(value);
      std::memcpy(reinterpret_cast<char*>(r.d) + i * r.di * sizeof(D), &result, sizeof(D));
    }
  };
}

inline std::int32_t* Ints(float* p) { return reinterpret_cast<std::int32_t*>(p); }
inline std::int16_t* Shorts(float* p) { return reinterpret_cast<std::int16_t*>(p); }
inline std::uint8_t* Bytes(float* p) { return reinterpret_cast<std::uint8_t*>(p); }

inline std::int32_t Bits(float x) { return std::bit_cast<std::int32_t>(x); }

inline float Clipped(float x, float lo, float hi) {
  const float above = x > lo ? x : lo;
  return above < hi ? above : hi;
}

inline std::int32_t Rounded(double x) {
  return !(x >= -2147483648.0) ? std::numeric_limits<std::int32_t>::min()
         : x >= 2147483648.0   ? std::numeric_limits<std::int32_t>::max()
                               : static_cast<std::int32_t>(std::nearbyint(x));
}

inline std::int16_t Wrapped(double x) {
  const double rest = std::isfinite(x) ? std::remainder(std::trunc(x), 65536.0) : 0.0;
  return static_cast<std::int16_t>(static_cast<std::int32_t>(rest));
}

inline void PlainReciprocals(const Buffers& r) {
  float last = 0.0F;
  for (std::size_t i = 0; i < r.n; ++i) {
    float& x = r.d[i * r.di];
    x = last = x < 0.0F || x > 0.0F ? 1.0F / x : last;
  }
}

// A call with d, di, s, si, n as in Buffers, and what the plain loop writes: of elements x of d, y
// of s, with index i; or of converted elements x of s.
#define LIMES_CALL(call)                                \
  [](const Buffers& r) {                                \
    [[maybe_unused]] const auto& [d, di, s, si, n] = r; \
    DVL::call;                                          \
  }
#define LIMES_ELEMENT(call, result)                                    \
  MakeCase(#call, LIMES_CALL(call),                                    \
           Each([]([[maybe_unused]] float x, [[maybe_unused]] float y, \
                   [[maybe_unused]] std::uint32_t i) -> float { return result; }))
#define LIMES_CONVERSION(D, S, call, result) \
  MakeCase(#call, LIMES_CALL(call), Converted(+[](S x) -> D { return result; }))

inline KernelCase MakeCase(const char* name, Kernel fast, Kernel plain) {
  return {name, std::move(fast), std::move(plain)};
}

/// Kernels that write elements.
inline std::vector<KernelCase> ElementCases() {
  return {
      LIMES_ELEMENT(SetConstant(d, n, di, 1.5F), 1.5F),
      LIMES_ELEMENT(SetConstant(Ints(d), n, di, 0x3F800000), 1.0F),
      LIMES_ELEMENT(AddFloatIp(d, n, di, 1.1F), x + 1.1F),
      LIMES_ELEMENT(AddFloatIp(d, n, di, std::nanf("")), x + std::nanf("")),
      LIMES_ELEMENT(SubFloatIp(d, n, di, 1.1F), x - 1.1F),
      LIMES_ELEMENT(MulFloatIp(d, n, di, 1.1F), x * 1.1F),
      LIMES_ELEMENT(LinTransfromIp(d, n, di, 1.1F, 0.3F), x * 1.1F + 0.3F),
      LIMES_ELEMENT(SquareIp(d, n, di), x * x),
      LIMES_ELEMENT(SquareRootIp(d, n, di), x > 0.0F ? std::sqrt(x) : 0.0F),
      {"ReciprocalIp", LIMES_CALL(ReciprocalIp(d, n, di)), PlainReciprocals},
      LIMES_ELEMENT(VectorAbsValIp(d, n, di), std::fabs(x)),
      LIMES_ELEMENT(ClipVectorIp(d, n, di, -0.0F, 2.0F), Clipped(x, -0.0F, 2.0F)),
      LIMES_ELEMENT(FloatRowIp(d, n, di, 0.3F, 1.1F), static_cast<float>(i) * 1.1F + 0.3F),
      LIMES_ELEMENT(Int32RowIp(Ints(d), n, di, 2147483600, 16777259),
                    std::bit_cast<float>(2147483600U + i * 16777259U)),
      LIMES_ELEMENT(VectorAddVector(d, di, s, si, n, 1.1F), x + y * 1.1F),
      LIMES_ELEMENT(VectorWeightedSum(d, di, s, si, n, 0.3F, 1.1F), x * 0.3F + y * 1.1F),
      LIMES_ELEMENT(MaximizeVectorsWithInc(d, di, s, si, n), x > y ? x : y),
      LIMES_ELEMENT(MinimizeVectorsWithInc(d, di, s, si, n), x < y ? x : y),
      {"MaximizeVectors", LIMES_CALL(MaximizeVectors(d, s, n)),
       LIMES_CALL(MaximizeVectorsWithInc(d, 1, s, 1, n))},
      {"MinimizeVectors", LIMES_CALL(MinimizeVectors(d, s, n)),
       LIMES_CALL(MinimizeVectorsWithInc(d, 1, s, 1, n))},
      LIMES_ELEMENT(Int32ToFloatIp(d, di, n, 1.1F), static_cast<float>(Bits(x)) * 1.1F),
      LIMES_ELEMENT(I2FOffsetIp(d, 1.1F, 0.3F, n, di), static_cast<float>(Bits(x)) * 1.1F + 0.3F),
      LIMES_CONVERSION(std::uint32_t, std::uint32_t, Interleave(d, di, s, si, n), x),
      LIMES_CONVERSION(float, std::int32_t, Int32ToFloat(d, di, Ints(s), si, n, 1.1F),
                       static_cast<float>(x) * 1.1F),
      LIMES_CONVERSION(std::int32_t, float, FloatToInt32(Ints(d), di, s, si, n, 2.5F),
                       Rounded(double{x * 2.5F})),
      LIMES_CONVERSION(float, std::int16_t, Int16ToFloat(d, di, Shorts(s), si, n, 1.1F),
                       static_cast<float>(x) * 1.1F),
      LIMES_CONVERSION(std::int16_t, float, FloatToInt16(Shorts(d), di, s, si, n, 1e6F),
                       Wrapped(double{x} * 1e6)),
      LIMES_CONVERSION(
          std::uint8_t, float, Float2ByteVector(s, n, -3.0F, 4.0F, Bytes(d), 71, si, di),
          static_cast<std::uint8_t>(std::nearbyint((Clipped(x, -3.0F, 4.0F) + 3.0F) * 10.0F))),
      LIMES_CONVERSION(
          std::uint8_t, float, Float2ByteVector(s, n, -3.0F, 1e9F, Bytes(d), 1U << 31U, si, di),
          static_cast<std::uint8_t>(static_cast<std::int64_t>(
              std::nearbyint((Clipped(x, -3.0F, 1e9F) + 3.0F) * (2147483648.0F / (1e9F + 3.0F)))))),
  };
}

/// Sum of op(x of s, y of d), in order.
template <class Op>
float Total(const Buffers& r, Op op) {
  float sum = 0.0F;
  for (std::size_t i = 0; i < r.n; ++i) {
    sum += op(r.s[i * r.si], r.d[i * r.di]);
  }
  return sum;
}

/// Four lanes from the first element on, whatever the address.
inline float PlainKurtosis(const Buffers& r, float mean) {
  float two[4] = {};
  float four[4] = {};
  for (std::size_t i = 0, whole = r.n / 4 * 4; i <= r.n; ++i) {
    if (i == whole) {
      two[0] = two[1] + two[0] + two[2] + two[3];
      four[0] = four[1] + four[0] + four[2] + four[3];
    }
    if (i < r.n) {
      const float square = (r.s[i] - mean) * (r.s[i] - mean);
      two[i < whole ? i % 4 : 0] += square;
      four[i < whole ? i % 4 : 0] += square * square;
    }
  }
  return four[0] / (two[0] * two[0]) * static_cast<float>(r.n);
}

inline void PlainStatistics(const Buffers& r) {
  const auto n = static_cast<float>(r.n);
  std::array<float, 4> out = {r.s[0], r.s[0]};
  out[2] = Total(r, [](float x, float) { return x; }) / n;
  out[3] = Total(r,
                 [&](float x, float) {
                   out[0] = x < out[0] ? x : out[0];
                   out[1] = x > out[1] ? x : out[1];
                   return x * x;
                 }) /
           n;
  out = r.n == 0 ? std::array<float, 4>() : out;
  std::memcpy(r.d, out.data(), sizeof(out));
}

inline void Statistics(const Buffers& r) {
  std::array<float, 4> out;
  DVL::VectorStatistics(r.s, r.n, r.si, out.data(), nullptr);
  std::memcpy(r.d, out.data(), sizeof(out));
}

// A call, and the plain loop for n > 0 (as the float count); both results are stored in d.
#define LIMES_REDUCTION(call, result)                                                            \
  MakeCase(                                                                                      \
      #call,                                                                                     \
      [](const Buffers& r) {                                                                     \
        [[maybe_unused]] const auto& [d, di, s, si, n] = r;                                      \
        *r.d = DVL::call;                                                                        \
      },                                                                                         \
      [](const Buffers& r) {                                                                     \
        [[maybe_unused]] const auto count = static_cast<float>(r.n);                             \
        [[maybe_unused]] const float m = Total(r, [](float x, float) { return x; }) / count;     \
        [[maybe_unused]] const float other = Total(r, [](float, float y) { return y; }) / count; \
        *r.d = r.n == 0 ? 0.0F : (result);                                                       \
      })
#define LIMES_TOTAL(term) \
  Total(r, [=]([[maybe_unused]] float x, [[maybe_unused]] float y) { return term; })

/// Kernels that return a number, or four.
inline std::vector<KernelCase> ReductionCases() {
  return {
      LIMES_REDUCTION(VectorSum(s, n, si), LIMES_TOTAL(x)),
      LIMES_REDUCTION(VectorAbsSum(s, n, si), LIMES_TOTAL(std::fabs(x))),
      LIMES_REDUCTION(VectorSqrSum(s, n, si), LIMES_TOTAL(x * x)),
      LIMES_REDUCTION(VectorMean(s, n, si), m),
      LIMES_REDUCTION(VectorAbsMean(s, n, si), LIMES_TOTAL(std::fabs(x)) / count),
      LIMES_REDUCTION(VectorSqrMean(s, n, si), LIMES_TOTAL(x * x) / count),
      LIMES_REDUCTION(VectorRMS(s, n, si), std::sqrt(LIMES_TOTAL(x * x) / count)),
      LIMES_REDUCTION(VectorL2Norm(s, n, si), std::sqrt(LIMES_TOTAL(x * x))),
      LIMES_REDUCTION(VectorSkalarprodukt(s, si, d, di, n), LIMES_TOTAL(x * y)),
      LIMES_REDUCTION(VectorVarianz(s, n, si, nullptr), LIMES_TOTAL((x - m) * (x - m)) / count),
      LIMES_REDUCTION(VectorStdDev(s, n, si, nullptr),
                      std::sqrt(LIMES_TOTAL((x - m) * (x - m)) / count)),
      LIMES_REDUCTION(VectorKovarianz(d, di, s, si, n, nullptr),
                      LIMES_TOTAL((y - other) * (x - m)) / count),
      {"VectorStatistics", Statistics, PlainStatistics},
      LIMES_REDUCTION(Kurtosis(s, n), PlainKurtosis(r, DVL::VectorMean(r.s, r.n, 1))),
  };
}

}  // namespace limes::test
