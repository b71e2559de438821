// Curves: arithmetic beside Eigen's array expressions, ranges, records beside one block write.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "limes/platform/file_stream.h"
#include "limes/signals/extended_curve.h"

#ifdef LIMES_HAVE_EIGEN
#define EIGEN_FAST_MATH 0  // its quick root is an approximation
#include <Eigen/Core>
#endif

namespace {

using limes::CSigCurve;
using limes::CSigCurveExt;

template <class Curve>
Curve Sample(std::int64_t n) {
  Curve curve(static_cast<int>(n));
  std::uint32_t state = 1;
  for (float& v : curve.Values()) {
    state = state * 1664525U + 1013904223U;
    v = static_cast<float>(state >> 8) / 16777216.0F + 0.5F;
  }
  return curve;
}

template <class Operation>
void Ours(benchmark::State& state, Operation operation) {
  auto curve = Sample<CSigCurve>(state.range(0));
  const auto other = Sample<CSigCurve>(state.range(0));
  for (auto _ : state) {
    operation(curve, other);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

#define LIMES_SIZES Arg(1000)->Arg(100000)->Arg(10000000)

#define LIMES_OURS(name, expression)                                   \
  BENCHMARK_CAPTURE(Ours, name, [](CSigCurve& y, const CSigCurve& s) { \
    static_cast<void>(s);                                              \
    expression;                                                        \
  })->LIMES_SIZES

#ifdef LIMES_HAVE_EIGEN
using Array = Eigen::Map<Eigen::ArrayXf, Eigen::Aligned64>;
using ConstArray = Eigen::Map<const Eigen::ArrayXf, Eigen::Aligned64>;

template <class Operation>
void Eigen3(benchmark::State& state, Operation operation) {
  Ours(state, [&](CSigCurve& curve, const CSigCurve& other) {
    operation(Array(curve.ValArray(), curve.DLen()), ConstArray(other.ValArray(), other.DLen()));
  });
}

#define LIMES_EIGEN(name, expression)                                \
  BENCHMARK_CAPTURE(Eigen3, name, [](Array y, const ConstArray& s) { \
    static_cast<void>(s);                                            \
    expression;                                                      \
  })->LIMES_SIZES
#else
#define LIMES_EIGEN(name, expression) static_assert(true)
#endif

LIMES_OURS(Fill, y = 1.5F);
LIMES_EIGEN(Fill, y = 1.5F);
LIMES_OURS(Scale, y *= 0.9999999F);
LIMES_EIGEN(Scale, y *= 0.9999999F);
LIMES_OURS(AddConstant, y += 1e-9F);
LIMES_EIGEN(AddConstant, y += 1e-9F);
LIMES_OURS(AddCurve, y += s);
LIMES_EIGEN(AddCurve, y += s);
LIMES_OURS(AddWithWeight, y.AddWithWeight(s, 0.5F));
LIMES_EIGEN(AddWithWeight, y += 0.5F * s);
LIMES_OURS(AddSquared, y.AddSquared(s, 1e-9F));
LIMES_EIGEN(AddSquared, y += 1e-9F * s.square());
LIMES_OURS(SubtractSquared, y.SubtractSquared(s));
LIMES_EIGEN(SubtractSquared, y -= s.square());
LIMES_OURS(Max, y.Max(s));
LIMES_EIGEN(Max, y = y.max(s));
LIMES_OURS(Abs, y.Abs());
LIMES_EIGEN(Abs, y = y.abs());
LIMES_OURS(Clip, y.Clip(0.75F, true));
LIMES_EIGEN(Clip, y = y.min(0.75F));
LIMES_OURS(Square, y.Square());
LIMES_EIGEN(Square, y = y.square());
LIMES_OURS(SquareRoot, y.SquareRoot());
LIMES_EIGEN(SquareRoot, y = y.max(0.0F).sqrt());
LIMES_OURS(GetYRange, float lo = 0; float hi = 0; y.GetYRange(lo, hi); benchmark::DoNotOptimize(lo);
           benchmark::DoNotOptimize(hi));
LIMES_EIGEN(GetYRange, benchmark::DoNotOptimize(y.minCoeff());
            benchmark::DoNotOptimize(y.maxCoeff()));
LIMES_OURS(YRange, benchmark::DoNotOptimize(y.YRange()));
LIMES_EIGEN(YRange, Eigen::Index i = 0; Eigen::Index k = 0;
            benchmark::DoNotOptimize(y.minCoeff(&i)); benchmark::DoNotOptimize(y.maxCoeff(&k)));

// Records in a memory file, beside one block of the values alone.

void Record(benchmark::State& state, bool write, bool raw) {
  const auto curve = Sample<CSigCurveExt>(state.range(0));
  CSigCurveExt back;
  limes::CMemoryStream file;
  const auto writeTo = [&] {
    return raw ? curve.WriteToFileRaw(file, 2) : curve.WriteToFile(file, 2);
  };
  benchmark::DoNotOptimize(writeTo());
  for (auto _ : state) {
    file.Seek(0);
    if (write) {
      benchmark::DoNotOptimize(writeTo());
    } else {
      benchmark::DoNotOptimize(back.ReadFromFileChecked(file, 2));
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void Block(benchmark::State& state, bool write) {
  auto curve = Sample<CSigCurveExt>(state.range(0));
  const std::size_t bytes = curve.DLen() * sizeof(float);
  limes::CMemoryStream file;
  file.Write(curve.ValArray(), bytes);
  for (auto _ : state) {
    file.Seek(0);
    if (write) {
      file.Write(curve.ValArray(), bytes);
    } else {
      benchmark::DoNotOptimize(file.Read(curve.ValArray(), bytes));
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK_CAPTURE(Record, WriteRaw, true, true)->Name("Ours/WriteRaw")->LIMES_SIZES;
BENCHMARK_CAPTURE(Block, WriteRaw, true)->LIMES_SIZES;
BENCHMARK_CAPTURE(Record, ReadRaw, false, true)->Name("Ours/ReadRaw")->LIMES_SIZES;
BENCHMARK_CAPTURE(Block, ReadRaw, false)->LIMES_SIZES;
BENCHMARK_CAPTURE(Record, WriteCoded, true, false)->Name("Ours/WriteCoded")->LIMES_SIZES;
BENCHMARK_CAPTURE(Block, WriteCoded, true)->LIMES_SIZES;
BENCHMARK_CAPTURE(Record, ReadCoded, false, false)->Name("Ours/ReadCoded")->LIMES_SIZES;
BENCHMARK_CAPTURE(Block, ReadCoded, false)->LIMES_SIZES;

}  // namespace

BENCHMARK_MAIN();
