// Polylines: sorting beside std::sort, and values beside the plain scan and std::lower_bound, limit
// lines beside values.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <vector>

#include "limes/kernels/exact_sort.h"
#include "limes/kernels/polygon_coding.h"
#include "limes/kernels/polygon_tool.h"
#include "limes/signals/extended_curve.h"

namespace {

using limes::SPolygonPoint;

// Points of distinct x in random order.
std::vector<SPolygonPoint> Points(std::int64_t n) {
  std::vector<SPolygonPoint> points;
  for (std::int64_t i = 0; i < n; ++i) {
    points.push_back({static_cast<float>(i), static_cast<float>(i % 7)});
  }
  std::shuffle(points.begin(), points.end(), std::mt19937(1));
  return points;
}

template <class Sort>
void SortPoints(benchmark::State& state, Sort sort) {
  const std::vector<SPolygonPoint> points = Points(state.range(0));
  std::vector<SPolygonPoint> run = points;
  for (auto _ : state) {
    run = points;
    sort(std::span<SPolygonPoint>(run));
    benchmark::DoNotOptimize(run.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

bool IsLeft(const SPolygonPoint& a, const SPolygonPoint& b) { return a.x < b.x; }

template <class Value>
void LookUp(benchmark::State& state, Value value) {
  limes::CPolygonCodierung polygon;
  for (const SPolygonPoint& point : Points(state.range(0))) {
    polygon.NeuerPunkt(point.x, point.y);
  }
  polygon.Sortieren();
  std::mt19937 random(2);
  std::vector<float> at(1024);
  for (float& x : at) {
    x = static_cast<float>(random() % static_cast<unsigned>(state.range(0))) + 0.25F;
  }
  std::size_t k = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(value(polygon, at[k++ % at.size()]));
  }
  state.SetItemsProcessed(state.iterations());
}

float Plain(const limes::CPolygonCodierung& polygon, float x) {
  return limes::CPolygonTool::UInterpolieren(polygon.Points().data(), polygon.Anzahl(), x);
}

float Peer(const limes::CPolygonCodierung& polygon, float x) {
  const auto points = polygon.Points();
  const auto b = std::lower_bound(points.begin(), points.end(), SPolygonPoint{x, 0.0F}, IsLeft);
  if (b == points.begin() || b == points.end()) {
    return b == points.end() ? points.back().y : b->y;
  }
  const SPolygonPoint& a = b[-1];
  return (x - a.x) * ((b->y - a.y) / (b->x - a.x)) + a.y;
}

// A limit line of ten points over a curve of n values; the plain form looks up each value.
void LimitCurve(benchmark::State& state, bool plain) {
  limes::CPolygonCodierung polygon;
  for (const SPolygonPoint& point : Points(10)) {
    polygon.NeuerPunkt(point.x, point.y);
  }
  polygon.Sortieren();
  auto curve = limes::CSigCurveExt::Make(static_cast<int>(state.range(0)), 0.0F, 9.0F);
  for (auto _ : state) {
    if (plain) {
      for (std::uint32_t i = 0; i < curve.DLen(); ++i) {
        const float limit = polygon[curve.GetPoint(static_cast<int>(i))];
        float& v = curve.ValArray()[i];
        v = v > limit ? limit : v;
      }
    } else {
      polygon.KurveBegrenzen(&curve, limes::CPolygonCodierung::kUpperLimit);
    }
    benchmark::DoNotOptimize(curve.ValArray());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK_CAPTURE(LimitCurve, ours, false)->Name("Ours/LimitCurve")->Arg(1000)->Arg(100000);
BENCHMARK_CAPTURE(LimitCurve, plain, true)->Name("Plain/LimitCurve")->Arg(1000)->Arg(100000);

const auto kSort = [](auto run) { limes::detail::ExchangeSort(run); };
const auto kStdSort = [](auto run) { std::sort(run.begin(), run.end(), IsLeft); };
const auto kPlainSort = [](auto run) { limes::detail::PlainExchangeSort(run); };
const auto kValue = [](const auto& polygon, float x) { return polygon.WertBei(x); };

BENCHMARK_CAPTURE(SortPoints, ours, kSort)
    ->Name("Ours/PointSort")
    ->RangeMultiplier(10)
    ->Range(100, 100000);
BENCHMARK_CAPTURE(SortPoints, peer, kStdSort)
    ->Name("Peer/PointSort")
    ->RangeMultiplier(10)
    ->Range(100, 100000);
BENCHMARK_CAPTURE(SortPoints, plain, kPlainSort)->Name("Plain/PointSort")->Arg(100)->Arg(1000);
BENCHMARK_CAPTURE(LookUp, ours, kValue)
    ->Name("Ours/PolylineValue")
    ->RangeMultiplier(10)
    ->Range(100, 100000);
BENCHMARK_CAPTURE(LookUp, peer, Peer)
    ->Name("Peer/PolylineValue")
    ->RangeMultiplier(10)
    ->Range(100, 100000);
BENCHMARK_CAPTURE(LookUp, plain, Plain)
    ->Name("Plain/PolylineValue")
    ->RangeMultiplier(10)
    ->Range(100, 100000);

}  // namespace

BENCHMARK_MAIN();
