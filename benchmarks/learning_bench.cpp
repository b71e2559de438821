// Learning and judging a curve, beside the same arithmetic with Eigen and beside plain loops.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_loops.h"
#include "limes/learning/sided.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/platform/file_stream.h"
#include "limes/signals/extended_curve.h"

#if defined(LIMES_HAVE_EIGEN)
#define EIGEN_FAST_MATH 0  // its quick root is an approximation
#include <Eigen/Core>
#endif

namespace {

using limes::CKurvenLernWerkzeug;
using limes::CSigCurveExt;

CSigCurveExt RandomCurve(std::int64_t n, unsigned seed) {
  std::mt19937 random(seed);
  CSigCurveExt curve = CSigCurveExt::Make(static_cast<int>(n), 0.0F, static_cast<float>(n));
  for (float& y : curve.Values()) {
    y = 60.0F + static_cast<float>(random() % 1024) / 256.0F;
  }
  return curve;
}

CKurvenLernWerkzeug LearntTool(std::int64_t n, float width = 0.0F) {
  CKurvenLernWerkzeug tool;
  tool.Bildungsregel(3.0F, 3.0F, width);
  for (unsigned part = 0; part < 4; ++part) {
    const CSigCurveExt k = RandomCurve(n, part);
    if (part == 0) {
      tool.Vorlage(&k);
      tool.Neustart(10000);
    }
    tool.NeueMessung(&k);
  }
  tool.UpdateLimit();
  return tool;
}

void Learn(benchmark::State& state) {
  CKurvenLernWerkzeug tool = LearntTool(state.range(0));
  const CSigCurveExt k = RandomCurve(state.range(0), 9);
  for (auto _ : state) {
    tool.NeueMessung(&k);
  }
}

/// Parts checked, fitted and learnt for both sides, with or without the scores of each before.
template <bool kScored>
void LearnPart(benchmark::State& state) {
  limes::CSided<CKurvenLernWerkzeug> tools;
  std::vector<CSigCurveExt> parts;
  for (unsigned part = 0; part < 16; ++part) {
    parts.push_back(RandomCurve(state.range(0), part));
    benchmark::DoNotOptimize(tools.LearnPart(parts.back()));
  }
  std::size_t part = 0;
  for (auto _ : state) {
    limes::SPartScoring scoring;
    benchmark::DoNotOptimize(
        tools.LearnPart(parts[part++ % parts.size()], {}, kScored ? &scoring : nullptr));
    benchmark::DoNotOptimize(scoring);
  }
}

void FormLimit(benchmark::State& state) {
  CKurvenLernWerkzeug tool = LearntTool(state.range(0));
  for (auto _ : state) {
    tool.UpdateLimit();
  }
}

void Widen(benchmark::State& state) {
  CSigCurveExt k = RandomCurve(state.range(0), 1);
  for (auto _ : state) {
    limes::detail::WidenValues(k.ValArray(), k.DLen(), 31);
  }
}

void Largest(benchmark::State& state) {
  const CKurvenLernWerkzeug tool = LearntTool(state.range(0));
  const CSigCurveExt k = RandomCurve(state.range(0), 9);
  for (auto _ : state) {
    benchmark::DoNotOptimize(tool.MaxAbweichung(&k));
  }
}

void Rms(benchmark::State& state) {
  const CKurvenLernWerkzeug tool = LearntTool(state.range(0));
  const CSigCurveExt k = RandomCurve(state.range(0), 9);
  for (auto _ : state) {
    benchmark::DoNotOptimize(tool.RmsAbweichung(&k));
  }
}

void Judge(benchmark::State& state) {
  const CKurvenLernWerkzeug tool = LearntTool(state.range(0));
  const CSigCurveExt k = RandomCurve(state.range(0), 9);
  for (auto _ : state) {
    benchmark::DoNotOptimize(tool.Judge(k));
  }
}

/// Tracks that begin and end elsewhere, so that the counts differ from point to point.
limes::CTrackLernWerkzeug LearntTracks(std::int64_t n) {
  limes::CTrackLernWerkzeug tool;
  for (unsigned part = 0; part < 6; ++part) {
    CSigCurveExt k = RandomCurve(n, part);
    if (part == 0) {
      tool.Vorlage(&k);
    }
    const auto end = static_cast<std::int32_t>(n - 1);
    k.SetVIMinMax(end / 100 * static_cast<std::int32_t>(part), end);
    tool.NeueMessung(&k);
  }
  tool.GrenzeBilden();
  return tool;
}

void LearnTrack(benchmark::State& state) {
  limes::CTrackLernWerkzeug tool = LearntTracks(state.range(0));
  const CSigCurveExt k = RandomCurve(state.range(0), 9);
  for (auto _ : state) {
    tool.NeueMessung(&k);
  }
}

void FormTrackLimit(benchmark::State& state) {
  limes::CTrackLernWerkzeug tool = LearntTracks(state.range(0));
  for (auto _ : state) {
    tool.GrenzeBilden();
  }
}

void SaveState(benchmark::State& state) {
  const CKurvenLernWerkzeug tool = LearntTool(state.range(0));
  limes::CMemoryStream file;  // fresh memory would be most of the time
  for (auto _ : state) {
    file.Seek(0);
    benchmark::DoNotOptimize(tool.WriteState(file));
  }
}

void LoadState(benchmark::State& state) {
  CKurvenLernWerkzeug tool = LearntTool(state.range(0));
  limes::CMemoryStream file;
  benchmark::DoNotOptimize(tool.WriteState(file));
  for (auto _ : state) {
    file.Seek(0);
    benchmark::DoNotOptimize(tool.ReadState(file));
  }
}

void PlainWiden(benchmark::State& state) {
  const CSigCurveExt k = RandomCurve(state.range(0), 1);
  const auto n = static_cast<std::size_t>(state.range(0));
  std::vector<float> wide(n);
  for (auto _ : state) {
    for (std::size_t i = 0; i < n; ++i) {
      const std::size_t end = std::min(i + 30, n - 1);
      float largest = k.ValArray()[i - std::min<std::size_t>(31, i)];
      for (std::size_t j = i - std::min<std::size_t>(31, i); j <= end; ++j) {
        if (k.ValArray()[j] > largest) {
          largest = k.ValArray()[j];
        }
      }
      wide[i] = largest;
    }
    benchmark::DoNotOptimize(wide.data());
  }
}

void PlainRms(benchmark::State& state) {
  const CSigCurveExt k = RandomCurve(state.range(0), 1);
  const CSigCurveExt r = RandomCurve(state.range(0), 2);
  for (auto _ : state) {
    double sum = 0.0;
    for (std::size_t i = 0; i < k.DLen(); ++i) {
      const double d = k.ValArray()[i] - r.ValArray()[i];
      if (d > 0.0) {
        sum += d * d;
      }
    }
    benchmark::DoNotOptimize(sum);
  }
}

void PlainFormLimit(benchmark::State& state) {
  const CSigCurveExt m = RandomCurve(state.range(0), 1);
  const CSigCurveExt q = RandomCurve(state.range(0), 2);
  std::vector<float> limit(m.DLen());
  for (auto _ : state) {
    for (std::size_t i = 0; i < limit.size(); ++i) {
      const float square = q.ValArray()[i] - m.ValArray()[i] * m.ValArray()[i];
      limit[i] = std::sqrt(square > 0.0F ? square : 0.0F) * 3.0F + m.ValArray()[i] + 3.0F;
    }
    benchmark::DoNotOptimize(limit.data());
    benchmark::ClobberMemory();
  }
}

void CopyValues(benchmark::State& state) {
  const CSigCurveExt k = RandomCurve(2 * state.range(0), 1);
  std::vector<float> copy(k.DLen());
  for (auto _ : state) {
    std::memcpy(copy.data(), k.ValArray(), copy.size() * sizeof(float));
    benchmark::DoNotOptimize(copy.data());
  }
}

#if defined(LIMES_HAVE_EIGEN)
Eigen::ArrayXf RandomArray(std::int64_t n, unsigned seed) {
  const CSigCurveExt curve = RandomCurve(n, seed);
  return Eigen::Map<const Eigen::ArrayXf>(curve.ValArray(), n);
}

void EigenLearn(benchmark::State& state) {
  Eigen::ArrayXf m = RandomArray(state.range(0), 1);
  Eigen::ArrayXf q = m * m;
  const Eigen::ArrayXf k = RandomArray(state.range(0), 9);
  const float a = 0.75F;
  const float v = 0.25F;
  for (auto _ : state) {
    m *= a;
    q *= a;
    m += v * k;
    q += v * k * k;
    benchmark::DoNotOptimize(m.data());
    benchmark::DoNotOptimize(q.data());
  }
}

void EigenFormLimit(benchmark::State& state) {
  const Eigen::ArrayXf m = RandomArray(state.range(0), 1);
  const Eigen::ArrayXf q = m * m + 1.0F;
  Eigen::ArrayXf limit(m.size());
  for (auto _ : state) {
    limit = (q - m * m).max(0.0F).sqrt() * 3.0F + m + 3.0F;
    benchmark::DoNotOptimize(limit.data());
  }
}

void EigenLargest(benchmark::State& state) {
  const Eigen::ArrayXf k = RandomArray(state.range(0), 1);
  const Eigen::ArrayXf r = RandomArray(state.range(0), 2);
  for (auto _ : state) {
    Eigen::Index i = 0;
    benchmark::DoNotOptimize((k - r).maxCoeff(&i));
    benchmark::DoNotOptimize(i);
  }
}
#endif

void Register(const char* who, const char* operation, void (*run)(benchmark::State&)) {
  benchmark::RegisterBenchmark((std::string(who) + "/" + operation).c_str(), run)
      ->Arg(1000)
      ->Arg(100000)
      ->Arg(10000000);
}

}  // namespace

int main(int argc, char** argv) {
  Register("Ours", "NeueMessung", Learn);
  Register("Ours", "LearnPart", LearnPart<false>);
  Register("Ours", "LearnPartScored", LearnPart<true>);
  Register("Ours", "GrenzeBilden", FormLimit);
  Register("Ours", "Widening", Widen);
  Register("Peer", "Widening", PlainWiden);
  Register("Peer", "GrenzeBilden", PlainFormLimit);
  Register("Ours", "MaxAbweichung", Largest);
  Register("Ours", "RmsAbweichung", Rms);
  Register("Peer", "RmsAbweichung", PlainRms);
  Register("Ours", "Judge", Judge);
  Register("Ours", "TrackNeueMessung", LearnTrack);
  Register("Ours", "TrackGrenzeBilden", FormTrackLimit);
  Register("Ours", "StateSave", SaveState);
  Register("Peer", "StateSave", CopyValues);
  Register("Ours", "StateLoad", LoadState);
  Register("Peer", "StateLoad", CopyValues);
#if defined(LIMES_HAVE_EIGEN)
  Register("Peer", "NeueMessung", EigenLearn);
  Register("Eigen", "GrenzeBilden", EigenFormLimit);
  Register("Peer", "MaxAbweichung", EigenLargest);
#endif
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
