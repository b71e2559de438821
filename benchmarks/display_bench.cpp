// A curve made ready for a view, beside reading its values once.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "limes/display/vis_data_vector.h"
#include "limes/kernels/vector_kernels.h"

namespace {

using limes::SVisExtremes;

constexpr std::size_t kPixels = 2000;

std::vector<float> Values(std::int64_t n) {
  std::mt19937 random(1);
  std::vector<float> values(static_cast<std::size_t>(n));
  for (float& value : values) {
    value = static_cast<float>(random()) * 1e-9F - 2.0F;
  }
  return values;
}

void ReadOnce(benchmark::State& state) {
  const std::vector<float> values = Values(state.range(0));
  for (auto _ : state) {
    float low = 0.0F;
    float high = 0.0F;
    limes::DVL::VectorMinMax(values.data(), static_cast<std::uint32_t>(values.size()), 1, low,
                             high);
    benchmark::DoNotOptimize(low + high);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void Thin(benchmark::State& state) {
  const std::vector<float> values = Values(state.range(0));
  std::vector<SVisExtremes> columns(kPixels);
  for (auto _ : state) {
    limes::VisThin(values, columns);
    benchmark::DoNotOptimize(columns.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// The whole curve, then ever smaller parts of it, of values that are held already.
void Zoom(benchmark::State& state) {
  const std::vector<float> values = Values(state.range(0));
  limes::CVisDataVector vector;
  if (!vector.Set(values, 0.0, 1.0)) {
    state.SkipWithError("no memory");
  }
  double share = 1.0;
  for (auto _ : state) {
    const limes::CVisAxis axis({0.0, share * static_cast<double>(values.size())}, 0.0, 2000.0);
    benchmark::DoNotOptimize(vector.View(axis, kPixels));
    share = share < 1e-4 ? 1.0 : share * 0.7;
  }
}

BENCHMARK(ReadOnce)->Arg(10'000'000);
BENCHMARK(Thin)->Arg(10'000'000);
BENCHMARK(Zoom)->Arg(10'000'000);

}  // namespace

BENCHMARK_MAIN();
