// Arrays of curves: grids and reductions beside one reading of all values (and one filling of the
// grid where that is larger), the bound, and beside Eigen; records beside one block write. Sizes
// are curves x values, of grids with " to " the grid.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "limes/kernels/resample_tool.h"
#include "limes/platform/file_stream.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"

#ifdef LIMES_HAVE_EIGEN
#include <Eigen/Core>
#endif

namespace {

using limes::CResampleTool;
using limes::CSigCurveArray;
using limes::CSigCurveExt;

struct Shape {
  int curves;
  int values;

  std::string Text() const { return std::to_string(curves) + "x" + std::to_string(values); }
};

constexpr Shape kShapes[] = {{10, 1000}, {1000, 10000}, {10, 1000000}};

std::unique_ptr<CSigCurveArray> Sample(Shape shape) {
  auto array = std::make_unique<CSigCurveArray>(shape.curves);
  array->AlleKurvenAusstatten(shape.values);
  std::uint32_t state = 1;
  for (int i = 0; i < array->Anzahl(); ++i) {
    for (float& v : (*array)[i]->Values()) {
      state = state * 1664525U + 1013904223U;
      v = static_cast<float>(state >> 8) / 16777216.0F + 0.5F;
    }
    array->TPos(i, static_cast<float>(i));
  }
  array->TBereich(0.0F, static_cast<float>(shape.curves));
  return array;
}

/// Measures an operation on an array.
void Register(const std::string& name, Shape shape,
              const std::function<void(CSigCurveArray&)>& operation) {
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    const auto array = Sample(shape);
    for (auto _ : state) {
      operation(*array);
      benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * shape.curves * shape.values);
  });
}

/// Reads every value once and writes nothing.
void Read(CSigCurveArray& array) {
  float low = 0.0F;
  float high = 0.0F;
  array.GlobalesMinMax(low, high);
  benchmark::DoNotOptimize(high);
}

#ifdef LIMES_HAVE_EIGEN
void EigenMean(CSigCurveArray& array, Eigen::ArrayXf& sum) {
  sum.setZero(static_cast<Eigen::Index>(array[0]->DLen()));
  for (int i = 0; i < array.Anzahl(); ++i) {
    sum += Eigen::Map<const Eigen::ArrayXf>(array[i]->ValArray(), sum.size());
  }
  sum *= 1.0F / static_cast<float>(array.Anzahl());
}
#endif

void RegisterReductions(Shape shape) {
  const auto target = std::make_shared<CSigCurveExt>();
  const std::pair<const char*, std::function<void(CSigCurveArray&)>> operations[] = {
      {"Mittelwert", [=](CSigCurveArray& array) { array.Mittelwert(target.get()); }},
      {"RMS", [=](CSigCurveArray& array) { array.RMS(target.get()); }},
      {"Maximum", [=](CSigCurveArray& array) { array.Maximum(target.get(), 1); }},
  };
  for (const auto& [name, operation] : operations) {
    Register(std::string("Ours/") + name + "/" + shape.Text(), shape, operation);
    Register(std::string("Read/") + name + "/" + shape.Text(), shape, Read);
  }
#ifdef LIMES_HAVE_EIGEN
  const auto sum = std::make_shared<Eigen::ArrayXf>();
  Register("Ours/MeanEigen/" + shape.Text(), shape, operations[0].second);
  Register("Eigen/MeanEigen/" + shape.Text(), shape,
           [=](CSigCurveArray& array) { EigenMean(array, *sum); });
#endif
}

void RegisterGrid(Shape shape, unsigned width, unsigned height) {
  const std::string size =
      shape.Text() + " to " + std::to_string(width) + "x" + std::to_string(height);
  const auto tool = std::make_shared<CResampleTool>();
  Register("Ours/Resample2d/" + size, shape,
           [=](CSigCurveArray& array) { tool->Resample2d(&array, width, height); });
  if (width <= static_cast<unsigned>(shape.values) &&
      height <= static_cast<unsigned>(shape.curves)) {
    Register("Read/Resample2d/" + size, shape, Read);
    return;
  }
  const auto grid = std::make_shared<std::vector<float>>(std::size_t{width} * height);
  Register("ReadAndFill/Resample2d/" + size, shape, [=](CSigCurveArray& array) {
    Read(array);
    std::fill(grid->begin(), grid->end(), 1.0F);
  });
}

void RegisterRecords(Shape shape) {
  Register("Ours/ArrayWriteRaw/" + shape.Text(), shape, [](CSigCurveArray& array) {
    limes::CMemoryStream stream;
    benchmark::DoNotOptimize(array.ExportRaw(stream));
  });
  Register("Block/ArrayWriteRaw/" + shape.Text(), shape, [](CSigCurveArray& array) {
    limes::CMemoryStream stream;
    for (int i = 0; i < array.Anzahl(); ++i) {
      stream.Write(array[i]->ValArray(), array[i]->DLen() * sizeof(float));
    }
    benchmark::DoNotOptimize(stream.Bytes().data());
  });
  const auto stream = std::make_shared<limes::CMemoryStream>();
  Register("Ours/ArrayReadRaw/" + shape.Text(), shape, [=](CSigCurveArray& array) {
    if (stream->Bytes().empty()) {
      static_cast<void>(array.ExportRaw(*stream));
    }
    int status = 0;
    stream->Seek(0);
    benchmark::DoNotOptimize(array.DateiImport(*stream, status));
  });
  Register("Block/ArrayReadRaw/" + shape.Text(), shape, [](CSigCurveArray& array) {
    CSigCurveArray copy;
    benchmark::DoNotOptimize(copy.CopyData(array));
  });
}

}  // namespace

int main(int argc, char** argv) {
  for (const Shape& shape : kShapes) {
    RegisterReductions(shape);
    RegisterRecords(shape);
  }
  RegisterGrid({1000, 10000}, 1000, 1000);
  RegisterGrid({1000, 10000}, 1000, 100);
  RegisterGrid({1000, 10000}, 100, 1000);
  RegisterGrid({1000, 10000}, 4000, 1000);
  RegisterGrid({1000, 1000}, 2000, 1000);
  RegisterGrid({1000, 1000}, 1000, 2000);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
