#pragma once

// What the benchmarks of vector kernels share. They run beside peers that do the same, beside plain
// loops, and beside what the machine can do at most (Limit/KIND), measured in the same run. The
// label of one of ours names its limit: kinds joined by + are passes one behind the other.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "limes/kernels/vector_kernels.h"

#if defined(LIMES_HAVE_EIGEN)
#define EIGEN_FAST_MATH 0  // its quick root is an approximation
#include <Eigen/Core>
#define LIMES_EIGEN(...) LIMES_RUN("Eigen", "", __VA_ARGS__)
using Array = Eigen::Map<Eigen::ArrayXf, Eigen::Aligned64>;
using Strided = Eigen::Map<Eigen::ArrayXf, 0, Eigen::InnerStride<>>;
inline Array Values(float* p, Eigen::Index n) { return {p, n}; }
#else
#define LIMES_EIGEN(...) static_assert(true)
#endif

#if defined(LIMES_HAVE_VOLK)
#include <volk/volk.h>
#define LIMES_VOLK(...) LIMES_RUN("Volk", "", __VA_ARGS__)
#else
#define LIMES_VOLK(...) static_assert(true)
#endif

#if defined(LIMES_HAVE_BOOST)
#include <boost/accumulators/accumulators.hpp>
#include <boost/accumulators/statistics/max.hpp>
#include <boost/accumulators/statistics/mean.hpp>
#include <boost/accumulators/statistics/min.hpp>
#include <boost/accumulators/statistics/stats.hpp>
#include <boost/accumulators/statistics/variance.hpp>
#define LIMES_BOOST(...) LIMES_RUN("Boost", "", __VA_ARGS__)
namespace acc = boost::accumulators;
#else
#define LIMES_BOOST(...) static_assert(true)
#endif

namespace DVL = limes::DVL;
using benchmark::DoNotOptimize;

constexpr std::uint32_t kMost = 10'000'000;
constexpr float kNearOne = 0x1.fffffep-1F;  // applied again and again, no value becomes denormal

/// Buffers that the kernels work on, 64 byte aligned: a, b, c hold values from -1 to 1 but 0.
struct SBuffers {
  float* a = DVL::NewAlignedFloat(kMost);
  float* b = DVL::NewAlignedFloat(kMost);
  float* c = DVL::NewAlignedFloat(kMost);
  float* ones = DVL::NewAlignedFloat(kMost);
  std::int32_t* words = DVL::NewAlignedInt(kMost);
  std::int16_t* shorts = reinterpret_cast<std::int16_t*>(DVL::NewAlignedInt(kMost / 2));
  std::uint8_t* bytes = reinterpret_cast<std::uint8_t*>(DVL::NewAlignedInt(kMost / 4));

  void Fill(std::uint32_t n) {
    for (std::uint32_t i = 0; i < n; ++i) {
      const std::uint32_t mixed = i * 0x9E3779B1U ^ (i * 0x9E3779B1U) >> 15U;
      const std::uint32_t bits = mixed * 0x85EBCA6BU;
      a[i] = (static_cast<float>(bits >> 8U) - 8388607.5F) / 8388608.0F;
      b[i] = -a[i] * 0.5F;
      c[i] = 0.25F - a[i];
      ones[i] = 1.0F;
      words[i] = static_cast<std::int32_t>(bits);
      shorts[i] = static_cast<std::int16_t>(bits);
    }
  }
};

inline SBuffers& Buffers() {
  static SBuffers buffers;
  return buffers;
}

template <class Operation>
void Add(const std::string& who, const std::string& limit, const std::string& name,
         Operation operation) {
  for (const std::uint32_t n : {1000U, 100000U, kMost}) {
    benchmark::RegisterBenchmark((who + '/' + name + '/' + std::to_string(n)).c_str(),
                                 [=](benchmark::State& state) {
                                   SBuffers& s = Buffers();
                                   s.Fill(n);
                                   operation(s, n);
                                   for (auto _ : state) {
                                     operation(s, n);
                                     benchmark::ClobberMemory();
                                   }
                                   state.SetItemsProcessed(state.iterations() * n);
                                   state.SetLabel(limit);
                                 });
  }
}

// A run of the given code over n elements of the buffers s.
#define LIMES_RUN(who, limit, name, ...) \
  Add(who, limit, name, []([[maybe_unused]] SBuffers& s, std::uint32_t n) { __VA_ARGS__; })
#define LIMES_OURS(limit, ...) LIMES_RUN("Ours", limit, __VA_ARGS__)
#define LIMES_STD(...) LIMES_RUN("Std", "", __VA_ARGS__)
#define LIMES_PLAIN(...) LIMES_RUN("Plain", "", __VA_ARGS__)
#define LIMES_LIMIT(...) LIMES_RUN("Limit", "", __VA_ARGS__)

// The compiler may not see through these.
#if defined(__GNUC__) && defined(__x86_64__)
#define LIMES_OPAQUE(x) asm volatile("" : "+x"(x))
#else
#define LIMES_OPAQUE(x) DoNotOptimize(x)
#endif

/// So many floats added, each to the result of the one before; a lane counts as one.
template <class Lanes>
void ChainOfAdditions(std::uint32_t n) {
  Lanes sum = {};
  Lanes term = {};
  LIMES_OPAQUE(term);
  for (std::uint32_t i = 0; i < n; i += sizeof(Lanes) / sizeof(float)) {
    sum = sum + term;
    LIMES_OPAQUE(sum);
  }
}
