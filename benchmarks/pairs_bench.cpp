// Pair signals: look-ups, sorting, combination, smoothing and records, beside the standard library
// doing the nearest thing to it, and beside the plain loops where these end within a second;
// scripts/bench adds numpy.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "limes/platform/file_stream.h"
#include "limes/signals/pair_signal.h"

namespace {

using limes::CMemoryStream;
using limes::CSigPairs;

using Point = limes::SPolygonPoint;

enum class Order { kRising, kFalling, kShuffled, kNearly };

std::vector<Point> Points(std::int64_t n, Order order, float shift = 0.0F, unsigned seed = 7) {
  std::mt19937 random(seed);
  std::vector<Point> points(static_cast<std::size_t>(n));
  for (std::size_t i = 0; i < points.size(); ++i) {
    const float jitter = static_cast<float>(random() >> 8) / 33554432.0F;
    points[i] = {static_cast<float>(i) + jitter + shift, jitter};
  }
  if (order == Order::kFalling) {
    std::reverse(points.begin(), points.end());
  } else if (order == Order::kShuffled) {
    std::shuffle(points.begin(), points.end(), random);
  } else if (order == Order::kNearly) {
    for (std::size_t i = 8; i < points.size(); i += 8) {
      std::swap(points[i], points[i - random() % 8]);
    }
  }
  return points;
}

/// Sets of points to take in turn: a processor learns 1000 comparisons by heart.
std::vector<std::vector<Point>> Sets(std::int64_t n, Order order) {
  std::vector<std::vector<Point>> sets(64);
  for (unsigned k = 0; k < sets.size(); ++k) {
    sets[k] = Points(n, order, 0.0F, k);
  }
  return sets;
}

CSigPairs Run(const std::vector<Point>& points) {
  CSigPairs run(static_cast<int>(points.size()));
  for (const Point& p : points) {
    run.NeuesPaar(p.x, p.y);
  }
  return run;
}

std::vector<float> Queries(std::int64_t n) {
  std::mt19937 random(5);
  std::vector<float> x(4096);
  for (float& v : x) {
    v = static_cast<float>(random() % (16 * static_cast<std::uint64_t>(n))) / 16.0F;
  }
  return x;
}

constexpr std::size_t kBatch = 64;

template <class Look>
void LookUp(benchmark::State& state, Look look) {
  const std::vector<float> queries = Queries(state.range(0));
  std::size_t k = 0;
  for (auto _ : state) {
    for (std::size_t i = 0; i < kBatch; ++i) {
      benchmark::DoNotOptimize(look(queries[k++ % queries.size()]));
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBatch));
}

// One iteration is 64 look-ups.
void Ours_ValueAt(benchmark::State& state) {
  const CSigPairs run = Run(Points(state.range(0), Order::kRising));
  LookUp(state, [&](float x) { return run.WertBei(x); });
}
void Ours_IndexAt(benchmark::State& state) {
  const CSigPairs run = Run(Points(state.range(0), Order::kRising));
  LookUp(state, [&](float x) { return run.IndexZu(x, CSigPairs::kNearest); });
}
void Std_ValueAt(benchmark::State& state) {
  const auto p = Points(state.range(0), Order::kRising);
  LookUp(state, [&](float x) {
    auto b = std::lower_bound(p.begin(), p.end(), x, [](Point a, float v) { return a.x < v; });
    b = std::clamp(b, p.begin() + 1, p.end() - 1);
    return b[-1].y + (x - b[-1].x) * (b->y - b[-1].y) / (b->x - b[-1].x);
  });
}
void Ours_ValueAtUnknownOrder(benchmark::State& state) {
  CSigPairs run = Run(Points(state.range(0), Order::kRising));
  benchmark::DoNotOptimize(run.ValArray());
  LookUp(state, [&](float x) { return run.WertBei(x); });
}
void Plain_ValueAtUnknownOrder(benchmark::State& state) {
  const auto p = Points(state.range(0), Order::kRising);
  LookUp(state, [&](float x) {
    std::size_t i = 1;
    while (i + 1 < p.size() && !(p[i].x >= x)) {
      ++i;
    }
    return p[i - 1].y + (x - p[i - 1].x) * ((p[i].y - p[i - 1].y) / (p[i].x - p[i - 1].x));
  });
}

/// Measures an operation on sets of points.
template <class Operation>
void OnSets(benchmark::State& state, Order order, Operation operation) {
  const auto sets = Sets(state.range(0), order);
  std::size_t k = 0;
  for (auto _ : state) {
    operation(sets[k++ % sets.size()]);
  }
}

template <Order order>
void Ours_Sort(benchmark::State& state) {
  CSigPairs run;
  OnSets(state, order, [&](const std::vector<Point>& points) {
    benchmark::DoNotOptimize(run.SetPoints(points));
    run.DatenSortieren(true);
  });
}
template <Order order>
void Std_Sort(benchmark::State& state) {
  std::vector<Point> p;
  OnSets(state, order, [&](const std::vector<Point>& points) {
    p = points;
    std::sort(p.begin(), p.end(), [](Point a, Point b) { return a.x < b.x; });
    benchmark::DoNotOptimize(p.data());
  });
}

template <Order order>
void Ours_Insert(benchmark::State& state) {
  OnSets(state, order, [](const std::vector<Point>& points) {
    CSigPairs run;
    for (const Point& p : points) {
      run.NeuesPaarEinsortieren(p.x, p.y);
    }
  });
}
template <Order order>
void Std_Insert(benchmark::State& state) {
  OnSets(state, order, [](const std::vector<Point>& points) {
    std::vector<Point> run;
    for (const Point& p : points) {
      run.insert(
          std::upper_bound(run.begin(), run.end(), p.x, [](float v, Point a) { return v < a.x; }),
          p);
    }
    benchmark::DoNotOptimize(run.data());
  });
}

template <int code>
void Ours_Combine(benchmark::State& state) {
  const CSigPairs source = Run(Points(state.range(0), Order::kRising));
  const CSigPairs other = Run(Points(state.range(0), Order::kRising, 0.5F));
  CSigPairs run;
  for (auto _ : state) {
    run = source;
    run.Verrechnen(other, code);
  }
  state.SetLabel("Merge");
}
void Limit_Merge(benchmark::State& state) {  // the order of the points alone
  const auto a = Points(state.range(0), Order::kRising);
  const auto b = Points(state.range(0), Order::kRising, 0.5F);
  for (auto _ : state) {
    std::vector<Point> merged(a.size() + b.size());
    std::merge(a.begin(), a.end(), b.begin(), b.end(), merged.begin(),
               [](Point p, Point q) { return p.x < q.x; });
    benchmark::DoNotOptimize(merged.data());
  }
}

template <int width>
void Ours_Smooth(benchmark::State& state) {
  const CSigPairs source = Run(Points(state.range(0), Order::kRising));
  CSigPairs run;
  for (auto _ : state) {
    run = source;
    run.Glaetten(0.5F * static_cast<float>(width));
  }
}
template <int width>
void Plain_Smooth(benchmark::State& state) {  // the window found by halves, each sum in order
  const auto p = Points(state.range(0), Order::kRising);
  const float w = 0.5F * static_cast<float>(width);
  std::vector<float> means(p.size());
  for (auto _ : state) {
    auto begin = p.begin();
    for (std::size_t i = 0; i < p.size(); ++i) {
      while (!(std::fabs(p[i].x - begin->x) < w)) {
        ++begin;
      }
      float sum = 0.0F;
      auto at = begin;
      for (; at != p.end() && std::fabs(p[i].x - at->x) < w; ++at) {
        sum += at->y;
      }
      means[i] = sum / static_cast<float>(at - begin);
    }
    benchmark::DoNotOptimize(means.data());
  }
}

void Ours_Record(benchmark::State& state) {
  const CSigPairs run = Run(Points(state.range(0), Order::kRising));
  CMemoryStream file;
  for (auto _ : state) {
    file.Seek(0);
    benchmark::DoNotOptimize(run.DateiExport(file));
  }
}
void Block_Record(benchmark::State& state) {  // what one write of as many bytes takes
  const auto p = Points(state.range(0), Order::kRising);
  CMemoryStream file;
  for (auto _ : state) {
    std::vector<Point> buffer = p;
    benchmark::DoNotOptimize(buffer);
    file.Seek(0);
    file.Write(buffer.data(), buffer.size() * sizeof(Point));
  }
}

#define LIMES_PAIR(who, operation, ...) \
  BENCHMARK(__VA_ARGS__)->Name(#who "/" #operation)->Unit(benchmark::kMicrosecond)
#define LIMES_SMALL Arg(1000)->Arg(10000)
#define LIMES_LARGE Arg(1000)->Arg(100000)

LIMES_PAIR(Ours, ValueAt, Ours_ValueAt)->LIMES_LARGE;
LIMES_PAIR(Std, ValueAt, Std_ValueAt)->LIMES_LARGE;
LIMES_PAIR(Ours, IndexAt, Ours_IndexAt)->LIMES_LARGE;
LIMES_PAIR(Ours, ValueAtUnknownOrder, Ours_ValueAtUnknownOrder)->LIMES_LARGE;
LIMES_PAIR(Plain, ValueAtUnknownOrder, Plain_ValueAtUnknownOrder)->LIMES_LARGE;
LIMES_PAIR(Ours, SortShuffled, Ours_Sort<Order::kShuffled>)->LIMES_LARGE;
LIMES_PAIR(Std, SortShuffled, Std_Sort<Order::kShuffled>)->LIMES_LARGE;
LIMES_PAIR(Ours, SortFalling, Ours_Sort<Order::kFalling>)->LIMES_LARGE;
LIMES_PAIR(Std, SortFalling, Std_Sort<Order::kFalling>)->LIMES_LARGE;
LIMES_PAIR(Ours, InsertShuffled, Ours_Insert<Order::kShuffled>)->LIMES_SMALL;
LIMES_PAIR(Std, InsertShuffled, Std_Insert<Order::kShuffled>)->LIMES_SMALL;
LIMES_PAIR(Ours, InsertNearly, Ours_Insert<Order::kNearly>)->LIMES_SMALL;
LIMES_PAIR(Std, InsertNearly, Std_Insert<Order::kNearly>)->LIMES_SMALL;
LIMES_PAIR(Limit, Merge, Limit_Merge)->LIMES_LARGE->Arg(1000000);
LIMES_PAIR(Ours, CombineUnion, Ours_Combine<0>)->LIMES_LARGE->Arg(1000000);
LIMES_PAIR(Ours, CombinePlus, Ours_Combine<2>)->LIMES_LARGE;
LIMES_PAIR(Ours, CombineMaximum, Ours_Combine<5>)->LIMES_LARGE;
LIMES_PAIR(Ours, Smooth10, Ours_Smooth<10>)->LIMES_LARGE;
LIMES_PAIR(Plain, Smooth10, Plain_Smooth<10>)->LIMES_LARGE;
LIMES_PAIR(Ours, Smooth1000, Ours_Smooth<1000>)->Arg(100000);
LIMES_PAIR(Plain, Smooth1000, Plain_Smooth<1000>)->Arg(100000);
LIMES_PAIR(Ours, Record, Ours_Record)->LIMES_LARGE;
LIMES_PAIR(Block, Record, Block_Record)->LIMES_LARGE;

}  // namespace

BENCHMARK_MAIN();
