#include <algorithm>
#include <cmath>
#include <limits>

#include "limes/kernels/pair_loops.h"
#include "limes/signals/pair_signal.h"

namespace limes {

namespace {

/// Index from start on of the first of n pairs that is no longer left, when all that are left come
/// first. Halves without branches on data.
template <class Left>
std::uint32_t FirstNotLeft(const detail::XyPair* p, std::uint32_t start, std::uint32_t n,
                           Left left) {
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
    __builtin_prefetch(p + at + quarter - 1);  // one of both is next
    __builtin_prefetch(p + at + half + quarter - 1);
    halve(half);
  }
  while (length > 1) {
    halve(length / 2);
  }
  return start + static_cast<std::uint32_t>(at + (length == 1 && left(p[at].x) ? 1 : 0));
}

/// The same from the first pair on, for what mostly belongs near the end.
template <class Left>
std::uint32_t BehindLastLeft(const detail::XyPair* p, std::uint32_t n, Left left) {
  constexpr std::uint32_t kNear = 8;
  for (std::uint32_t k = 0; k < kNear; ++k, --n) {
    if (n == 0 || left(p[n - 1].x)) {
      return n;
    }
  }
  return FirstNotLeft(p, 0, n, left);
}

}  // namespace

// What is searched for from the second pair on, and n when there is none.

std::uint32_t CSigPairs::FirstAtOrAbove(float x) const {
  const std::uint32_t n = NPaare();
  if (NeverFalls()) {
    return FirstNotLeft(Pairs(), 1, n, [x](float at) { return !(at >= x); });
  }
  return static_cast<std::uint32_t>(detail::FindAtOrAbove(Pairs(), 1, n, x));
}

std::uint32_t CSigPairs::FirstAtOrBelow(float x) const {
  const std::uint32_t n = NPaare();
  if (NeverRises()) {
    return FirstNotLeft(Pairs(), 1, n, [x](float at) { return !(at <= x); });
  }
  return static_cast<std::uint32_t>(detail::FindAtOrBelow(Pairs(), 1, n, x));
}

std::uint32_t CSigPairs::BehindAtOrBelow(float x) const {
  const std::uint32_t n = NPaare();
  if (NeverFalls()) {
    return BehindLastLeft(Pairs(), n, [x](float at) { return at <= x; });
  }
  return static_cast<std::uint32_t>(detail::BehindAtOrBelow(Pairs(), n, x));
}

std::uint32_t CSigPairs::BehindAtOrAbove(float x) const {
  const std::uint32_t n = NPaare();
  if (NeverRises()) {
    return BehindLastLeft(Pairs(), n, [x](float at) { return at >= x; });
  }
  return static_cast<std::uint32_t>(detail::BehindAtOrAbove(Pairs(), n, x));
}

float CSigPairs::WertBei(float x) const {
  const std::uint32_t n = NPaare();
  if (n == 0 || (!sorted_ && !inverse_)) {
    return 0.0F;
  }
  const detail::XyPair* const p = Pairs();
  if (sorted_ ? x <= p[0].x : x >= p[0].x) {
    return p[0].y;
  }
  if (sorted_ ? x >= p[n - 1].x : x <= p[n - 1].x) {
    return p[n - 1].y;
  }
  const std::uint32_t i = sorted_ ? FirstAtOrAbove(x) : FirstAtOrBelow(x);
  if (i >= n) {  // NaN
    return p[n - 1].y;
  }
  const float slope = (p[i].y - p[i - 1].y) / (p[i].x - p[i - 1].x);
  return (x - p[i - 1].x) * slope + p[i - 1].y;
}

int CSigPairs::IndexZu(float x, int mode) const {
  const std::uint32_t n = NPaare();
  if (n < 2) {
    return 0;
  }
  const detail::XyPair* const p = Pairs();
  if (!sorted_ && !inverse_) {
    std::uint32_t best = 0;
    float nearest = std::fabs(x - p[0].x);
    for (std::uint32_t i = 1; i < n; ++i) {
      const float distance = std::fabs(x - p[i].x);
      if (distance < nearest) {
        nearest = distance;
        best = i;
      }
    }
    return static_cast<int>(best);
  }
  if (sorted_ ? x <= p[0].x : x >= p[0].x) {
    return 0;
  }
  if (sorted_ ? x >= p[n - 1].x : x <= p[n - 1].x) {
    return static_cast<int>(n - 1);
  }
  const std::uint32_t i = sorted_ ? FirstAtOrAbove(x) : FirstAtOrBelow(x);
  if (i >= n) {  // NaN
    return static_cast<int>(n - 1);
  }
  bool before = false;
  if (p[i].x == x) {
    before = false;
  } else if (mode == kNearest) {
    const float back = sorted_ ? x - p[i - 1].x : p[i - 1].x - x;
    before = back < p[i].x - x;  // kept: on a falling run the right side is never above 0
  } else {
    before = sorted_ == (mode == kLower);
  }
  return static_cast<int>(before ? i - 1 : i);
}

bool CSigPairs::HatWertBei(float x, float tol) const {
  return NPaare() > 0 &&
         std::fabs(x - Punkt(static_cast<std::uint32_t>(IndexZu(x, kNearest)))) <= tol;
}

float CSigPairs::MinStepSize() const {
  const std::uint32_t n = NPaare();
  if (n < 2) {
    return 0.0F;
  }
  float least = std::fabs(Punkt(1) - Punkt(0));
  for (std::uint32_t i = 2; i < n; ++i) {
    const float step = std::fabs(Punkt(i) - Punkt(i - 1));
    least = step < least ? step : least;
  }
  return least;
}

namespace {

void TakeBounds(float min, float max, float& lo, float& hi, bool set) {
  lo = set || min < lo ? min : lo;
  hi = set || max > hi ? max : hi;
}

}  // namespace

void CSigPairs::XBereich(float& lo, float& hi, int neu) const {
  const std::uint32_t n = NPaare();
  if (n == 0) {
    return;
  }
  std::size_t min = 0;
  std::size_t max = n - 1;
  if (!sorted_ && inverse_) {
    std::swap(min, max);
  } else if (!sorted_) {
    const detail::SRunExtremes at = detail::FindPairExtremes(Words(), n);
    min = at.min;
    max = at.max;
  }
  TakeBounds(Pairs()[min].x, Pairs()[max].x, lo, hi, neu != 0);
}

void CSigPairs::YBereich(float& lo, float& hi, int neu) const {
  if (NPaare() > 0) {
    const detail::SRunExtremes at = detail::FindPairExtremes(Words() + 1, NPaare());
    TakeBounds(Pairs()[at.min].y, Pairs()[at.max].y, lo, hi, neu != 0);
  }
}

void CSigPairs::GetXRange(float& min, float& max) const { XBereich(min, max); }

void CSigPairs::GetYRange(float& min, float& max) const { YBereich(min, max); }

void CSigPairs::GetYRangeX(float& min, float& max, float x0, float x1) const {
  bool found = false;
  for (std::uint32_t i = 0; i < NPaare(); ++i) {
    if (Punkt(i) >= x0 && Punkt(i) <= x1) {
      TakeBounds(Wert(i), Wert(i), min, max, !found);
      found = true;
    }
  }
}

void CSigPairs::GetYRangeXI(float& min, float& max, unsigned i0, unsigned i1) const {
  const std::uint32_t n = NPaare();
  if (i0 >= n || i0 > i1) {
    return;
  }
  const std::uint32_t behind = std::min(i1, n - 1) + 1;
  const detail::SRunExtremes at =
      detail::FindPairExtremes(Words() + 2 * std::size_t{i0} + 1, behind - i0);
  min = Pairs()[i0 + at.min].y;
  max = Pairs()[i0 + at.max].y;
}

namespace {

float Found(const detail::XyPair* p, std::size_t i, float& x, int* index) {
  x = p[i].x;
  if (index != nullptr) {
    *index = static_cast<int>(i);
  }
  return p[i].y;
}

float NotFound(int* index) {
  if (index != nullptr) {
    *index = -1;
  }
  return 0.0F;
}

}  // namespace

float CSigPairs::FindeYMin(float& x, int* index) const {
  return NPaare() == 0
             ? NotFound(index)
             : Found(Pairs(), detail::FindPairExtremes(Words() + 1, NPaare()).min, x, index);
}

float CSigPairs::FindeYMax(float& x, int* index) const {
  return NPaare() == 0
             ? NotFound(index)
             : Found(Pairs(), detail::FindPairExtremes(Words() + 1, NPaare()).max, x, index);
}

CSignal::Range CSigPairs::YRange() const {
  Range range;
  range.first.second = FindeYMin(range.first.first);
  range.second.second = FindeYMax(range.second.first);
  return range;
}

bool CSigPairs::IsInRange(float x) const {
  float lo = 1.0F;
  float hi = 0.0F;
  XBereich(lo, hi);
  return x >= lo && x <= hi && NPaare() > 0;
}

float CSigPairs::PointDistance(float x, float y, int* index) const {
  const detail::XyPair* const p = Pairs();
  std::uint32_t best = NPaare();
  double nearest = std::numeric_limits<double>::infinity();
  for (std::uint32_t i = 0; i < NPaare(); ++i) {
    const double dx = double{p[i].x} - double{x};
    const double dy = double{p[i].y} - double{y};
    const double square = dx * dx + dy * dy;
    if (square < nearest || (best == NPaare() && square == nearest)) {
      nearest = square;
      best = i;
    }
  }
  if (best == NPaare()) {
    return NotFound(index);
  }
  if (index != nullptr) {
    *index = static_cast<int>(best);
  }
  return static_cast<float>(std::sqrt(nearest));
}

}  // namespace limes
