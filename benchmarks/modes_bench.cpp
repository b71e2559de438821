// Learning and judging with common modes, beside the plain learner of a curve.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "limes/learning/common_modes.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/signals/extended_curve.h"

namespace {

using limes::CCommonModes;
using limes::CSigCurveExt;

constexpr int kParts = 256;

/// Curves of twelve ways to vary and noise.
std::vector<std::vector<double>> Parts(std::int64_t n) {
  std::mt19937 random(4);
  std::normal_distribution<double> normal;
  std::vector<std::vector<double>> parts;
  for (int i = 0; i < kParts; ++i) {
    std::vector<double>& part = parts.emplace_back(static_cast<std::size_t>(n), 60.0);
    for (int way = 1; way <= 12; ++way) {
      const double amount = normal(random);
      for (std::size_t j = 0; j < part.size(); ++j) {
        part[j] += amount * std::sin(0.01 * way * static_cast<double>(j));
      }
    }
    for (double& value : part) {
      value += 0.3 * normal(random);
    }
  }
  return parts;
}

CCommonModes Learnt(const std::vector<std::vector<double>>& parts, bool whole) {
  CCommonModes learner(10, limes::CExpAverFacGenerator::kNoForgetting, whole);
  for (const auto& part : parts) {
    benchmark::DoNotOptimize(learner.Learn(part));
  }
  return learner;
}

void LearnModes(benchmark::State& state, bool whole) {
  const auto parts = Parts(state.range(0));
  CCommonModes modes = Learnt(parts, whole);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(modes.Learn(parts[i++ % parts.size()]));
  }
}

void JudgeModes(benchmark::State& state, bool whole) {
  const auto parts = Parts(state.range(0));
  CCommonModes modes = Learnt(parts, whole);
  limes::SModesOfPart told;
  std::size_t i = 0;
  for (auto _ : state) {
    const auto& part = parts[i++ % parts.size()];
    benchmark::DoNotOptimize(modes.Explain(part, told));
    benchmark::DoNotOptimize(modes.Score(part, told, 0.0));
  }
}

/// The same parts by a limit point by point: learnt and scored, and judged.
template <class Use>
void WithPlain(benchmark::State& state, Use use) {
  limes::CKurvenLernWerkzeug tool;
  std::vector<CSigCurveExt> curves;
  for (const auto& part : Parts(state.range(0))) {
    CSigCurveExt& curve = curves.emplace_back(
        CSigCurveExt::Make(static_cast<int>(part.size()), 0.0F, static_cast<float>(part.size())));
    for (std::size_t j = 0; j < part.size(); ++j) {
      curve.ValArray()[j] = static_cast<float>(part[j]);
    }
    benchmark::DoNotOptimize(tool.LearnPart(curve));
  }
  tool.Bildungsregel(0.0F, 6.0F, 0.0F);
  std::size_t i = 0;
  for (auto _ : state) {
    use(tool, curves[i++ % curves.size()]);
  }
}

void LearnPlain(benchmark::State& state) {
  WithPlain(state, [](auto& tool, const CSigCurveExt& curve) {
    benchmark::DoNotOptimize(tool.LearnPart(curve));
  });
}

void JudgePlain(benchmark::State& state) {
  WithPlain(state, [](auto& tool, const CSigCurveExt& curve) {
    benchmark::DoNotOptimize(tool.JudgePart(curve));
  });
}

}  // namespace

int main(int argc, char** argv) {
  using benchmark::RegisterBenchmark;
  RegisterBenchmark("Ours/PlainLearn", LearnPlain)->Arg(1000);
  RegisterBenchmark("Ours/PlainJudge", JudgePlain)->Arg(1000);
  RegisterBenchmark("Ours/ModesLearn", LearnModes, false)->Arg(1000);
  RegisterBenchmark("Ours/ModesJudge", JudgeModes, false)->Arg(1000);
  RegisterBenchmark("Ours/WholeLearn", LearnModes, true)->Arg(1000);
  RegisterBenchmark("Ours/WholeJudge", JudgeModes, true)->Arg(1000);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
