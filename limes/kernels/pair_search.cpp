#include "limes/kernels/pair_search.h"

#include <cmath>
#include <limits>
#include <utility>

#include "limes/platform/cpu_clones.h"

namespace limes::detail {

LIMES_CLONES SRunOrder FindOrder(const XyPair* p, std::size_t n) {
  unsigned notAbove = 0;
  unsigned notBelow = 0;
  unsigned notAtOrAbove = 0;
  unsigned notAtOrBelow = 0;
  for (std::size_t i = 1; i < n; ++i) {
    const float a = p[i - 1].x;
    const float b = p[i].x;
    notAbove |= static_cast<unsigned>(!(b > a));
    notBelow |= static_cast<unsigned>(!(b < a));
    notAtOrAbove |= static_cast<unsigned>(!(b >= a));
    notAtOrBelow |= static_cast<unsigned>(!(b <= a));
  }
  const bool single = n == 1 && std::isnan(p[0].x);
  return {notAbove == 0, notBelow == 0, notAtOrAbove == 0 && !single, notAtOrBelow == 0 && !single};
}

namespace {

constexpr auto kAtOrAbove = [](float at, float x) { return at >= x; };
constexpr auto kAtOrBelow = [](float at, float x) { return at <= x; };

constexpr std::size_t kBlock = 32;  ///< pairs looked at before a search may end
constexpr std::size_t kNear = 8;    ///< nearly ordered arrivals belong so near the end

/// Whether one of the pairs of a block is a hit, without a branch on data.
template <class Hit>
inline bool AnyOfBlock(const XyPair* p, float x, Hit hit) {
  unsigned any = 0;
#pragma GCC unroll 1
  for (std::size_t k = 0; k < kBlock; ++k) {
    any |= static_cast<unsigned>(hit(p[k].x, x));
  }
  return any != 0;
}

/// Index from 1 on of the first hit; n when there is none.
template <class Hit>
inline std::size_t SearchUp(const XyPair* p, std::size_t n, float x, Hit hit) {
  std::size_t i = 1;
  while (i + kBlock <= n && !AnyOfBlock(p + i, x, hit)) {
    i += kBlock;
  }
  while (i < n && !hit(p[i].x, x)) {
    ++i;
  }
  return i;
}

/// One behind the last hit; 0 when there is none.
template <class Hit>
inline std::size_t SearchDown(const XyPair* p, std::size_t n, float x, Hit hit) {
  while (n >= kBlock && !AnyOfBlock(p + n - kBlock, x, hit)) {
    n -= kBlock;
  }
  while (n > 0 && !hit(p[n - 1].x, x)) {
    --n;
  }
  return n;
}

LIMES_CLONES std::size_t FirstAtOrAbove(const XyPair* p, std::size_t n, float x) {
  return SearchUp(p, n, x, kAtOrAbove);
}

LIMES_CLONES std::size_t FirstAtOrBelow(const XyPair* p, std::size_t n, float x) {
  return SearchUp(p, n, x, kAtOrBelow);
}

LIMES_CLONES std::size_t BehindAtOrBelow(const XyPair* p, std::size_t n, float x) {
  return SearchDown(p, n, x, kAtOrBelow);
}

LIMES_CLONES std::size_t BehindAtOrAbove(const XyPair* p, std::size_t n, float x) {
  return SearchDown(p, n, x, kAtOrAbove);
}

/// Index from start on of the first pair that is no longer left, when all that are left come first.
/// Halves without branches on data.
template <class Left>
inline std::size_t FirstNotLeft(const XyPair* p, std::size_t start, std::size_t n, Left left) {
  constexpr std::size_t kNearMemory = 4096;  // pairs that come quickly without being fetched ahead
  p += start;
  std::size_t at = 0;
  std::size_t length = n - start;
  const auto halve = [&](std::size_t half) {
    at += half & (0 - static_cast<std::size_t>(left(p[at + half - 1].x)));
    length -= half;
  };
  while (length > kNearMemory) {
    const std::size_t half = length / 2;
    const std::size_t quarter = (length - half) / 2;
    __builtin_prefetch(p + at + quarter - 1);  // the next one to be compared is here or there
    __builtin_prefetch(p + at + half + quarter - 1);
    halve(half);
  }
  while (length > 1) {
    halve(length / 2);
  }
  return start + at + (length == 1 && left(p[at].x) ? 1 : 0);
}

/// Index from 1 on of the first pair at or beyond x, as the run is marked; n when there is none.
std::size_t FirstBeyond(const SPairRun& run, float x) {
  if (run.rises) {
    return run.neverFalls ? FirstNotLeft(run.p, 1, run.n, [x](float at) { return !(at >= x); })
                          : FirstAtOrAbove(run.p, run.n, x);
  }
  return run.neverRises ? FirstNotLeft(run.p, 1, run.n, [x](float at) { return !(at <= x); })
                        : FirstAtOrBelow(run.p, run.n, x);
}

/// Where x lies in a run with marks: at an end or beyond it, or between a pair and the one before.
struct SPlace {
  std::size_t index;
  bool inside;
};

inline SPlace Locate(const SPairRun& run, float x) {
  const float first = run.p[0].x;
  const float last = run.p[run.n - 1].x;
  if (run.rises ? x <= first : x >= first) {
    return {0, false};
  }
  if (run.rises ? x >= last : x <= last) {
    return {run.n - 1, false};
  }
  const std::size_t i = FirstBeyond(run, x);
  return i < run.n ? SPlace{i, true} : SPlace{run.n - 1, false};  // the latter for NaN
}

}  // namespace

std::size_t PlaceOf(const SPairRun& run, float x) {
  const auto isLeft = [&run, x](float at) { return run.falls ? at >= x : at <= x; };
  std::size_t n = run.n;
  for (std::size_t k = 0; k < kNear; ++k, --n) {
    if (n == 0 || isLeft(run.p[n - 1].x)) {
      return n;
    }
  }
  if (run.falls ? run.neverRises : run.neverFalls) {
    return run.falls ? FirstNotLeft(run.p, 0, n, [x](float at) { return at >= x; })
                     : FirstNotLeft(run.p, 0, n, [x](float at) { return at <= x; });
  }
  return run.falls ? BehindAtOrAbove(run.p, n, x) : BehindAtOrBelow(run.p, n, x);
}

float ValueAt(const SPairRun& run, float x) {
  if (run.n == 0 || (!run.rises && !run.falls)) {
    return 0.0F;
  }
  const auto [i, inside] = Locate(run, x);
  return inside ? ValueBetween(run.p[i - 1], run.p[i], x) : run.p[i].y;
}

std::size_t NeighbourOf(const SPairRun& run, float x, Neighbour which) {
  const XyPair* const p = run.p;
  if (run.n < 2) {
    return 0;
  }
  if (!run.rises && !run.falls) {
    std::size_t best = 0;
    float nearest = std::fabs(x - p[0].x);
    for (std::size_t i = 1; i < run.n; ++i) {
      const float distance = std::fabs(x - p[i].x);
      if (distance < nearest) {
        nearest = distance;
        best = i;
      }
    }
    return best;
  }
  const auto [i, inside] = Locate(run, x);
  if (!inside || p[i].x == x) {
    return i;
  }
  if (which == Neighbour::kNearest) {
    const float back = run.rises ? x - p[i - 1].x : p[i - 1].x - x;
    return back < p[i].x - x ? i - 1 : i;  // kept: on a falling run the right side is never above 0
  }
  return run.rises == (which == Neighbour::kLower) ? i - 1 : i;
}

float SmallestStep(const SPairRun& run) {
  if (run.n < 2) {
    return 0.0F;
  }
  float least = std::fabs(run.p[1].x - run.p[0].x);
  for (std::size_t i = 2; i < run.n; ++i) {
    const float step = std::fabs(run.p[i].x - run.p[i - 1].x);
    least = step < least ? step : least;
  }
  return least;
}

SNearest NearestPair(const SPairRun& run, float x, float y) {
  std::size_t best = run.n;
  double nearest = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < run.n; ++i) {
    const double dx = double{run.p[i].x} - double{x};
    const double dy = double{run.p[i].y} - double{y};
    const double square = dx * dx + dy * dy;
    if (square < nearest || (best == run.n && square == nearest)) {
      nearest = square;
      best = i;
    }
  }
  return {best, static_cast<float>(std::sqrt(nearest))};
}

SRunExtremes FindPairExtremes(const float* first, std::size_t n) {
  SRunExtremes at;
  float min = first[0];
  float max = first[0];
  for (std::size_t i = 1; i < n; ++i) {
    const float v = first[2 * i];
    if (v < min) {
      min = v;
      at.min = i;
    }
    if (v > max) {
      max = v;
      at.max = i;
    }
  }
  return at;
}

SRunExtremes FindEnds(const SPairRun& run) {
  if (run.rises) {
    return {0, run.n - 1};
  }
  return run.falls ? SRunExtremes{run.n - 1, 0} : FindPairExtremes(&run.p->x, run.n);
}

}  // namespace limes::detail
