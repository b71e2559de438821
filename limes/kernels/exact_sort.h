#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "limes/platform/memory_errors.h"

namespace limes::detail {

template <class Point>
constexpr bool kHasFloatX = std::is_same_v<std::remove_cvref_t<decltype(Point::x)>, float>;

/// A point of a run: trivially copyable, ordered by its member float x.
template <class Point>
concept RunPoint = std::is_trivially_copyable_v<Point> && kHasFloatX<Point>;

/// Exchange sort by ascending x. A pass goes over the points in turn and swaps each with the first
/// one before it whose x is larger; passes repeat until one swaps nothing. O(n^3).
template <RunPoint Point>
void PlainExchangeSort(std::span<Point> points) {
  for (bool swapped = true; swapped;) {
    swapped = false;
    for (std::size_t i = 1; i < points.size(); ++i) {
      const float x = points[i].x;
      std::size_t j = 0;
      while (j < i && !(points[j].x > x)) {
        ++j;
      }
      if (j < i) {
        std::swap(points[i], points[j]);
        swapped = true;
      }
    }
  }
}

/// Finds the first of n numbers above a bound in O(log n): each node holds the largest below it.
class MaximumTree {
 public:
  template <class Point>
  explicit MaximumTree(std::span<const Point> points)
      : leaves_(std::bit_ceil(points.size())),
        nodes_(2 * leaves_, -std::numeric_limits<float>::infinity()) {
    for (std::size_t i = 0; i < points.size(); ++i) {
      nodes_[leaves_ + i] = points[i].x;
    }
    for (std::size_t i = leaves_ - 1; i > 0; --i) {
      nodes_[i] = std::max(nodes_[2 * i], nodes_[2 * i + 1]);
    }
  }

  void Set(std::size_t i, float x) {
    i += leaves_;
    nodes_[i] = x;
    for (; i > 1; i /= 2) {
      const float top = std::max(nodes_[i], nodes_[i ^ 1]);
      if (nodes_[i / 2] == top) {
        return;  // nothing changes further up
      }
      nodes_[i / 2] = top;
    }
  }

  /// There must be one.
  std::size_t FirstAbove(float x) const {
    std::size_t i = 1;
    while (i < leaves_) {
      i *= 2;
      i += nodes_[i] > x ? 0 : 1;
    }
    return i - leaves_;
  }

 private:
  std::size_t leaves_;
  std::vector<float> nodes_;
};

/// Swaps that a replay makes, and comparisons of its passes, before it ends with a stable sort:
/// seconds to tens of them. The plain way would take hours then; no run below 14000 points gets
/// here.
struct SReplayEffort {
  std::uint64_t swaps = 50'000'000;
  std::uint64_t comparisons = 4'000'000'000;
};

/// The swaps of PlainExchangeSort for points without NaN, each found in O(log n).
template <RunPoint Point>
void ReplayExchangeSort(std::span<Point> points, SReplayEffort effort = {}) {
  constexpr std::size_t kFew = 48;
  if (points.size() <= kFew) {
    PlainExchangeSort(points);
    return;
  }
  MaximumTree tree{std::span<const Point>(points)};
  for (bool swapped = true; swapped;) {
    swapped = false;
    if (effort.comparisons < points.size() || effort.swaps < points.size()) {
      std::stable_sort(points.begin(), points.end(),
                       [](const Point& a, const Point& b) { return a.x < b.x; });
      return;
    }
    effort.comparisons -= points.size();
    float top = points[0].x;
    for (std::size_t i = 1; i < points.size(); ++i) {
      const float x = points[i].x;
      if (!(top > x)) {
        top = x;
        continue;
      }
      --effort.swaps;
      const std::size_t j = tree.FirstAbove(x);
      std::swap(points[i], points[j]);
      tree.Set(j, points[j].x);
      tree.Set(i, points[i].x);
      swapped = true;
    }
  }
}

/// Unsigned integer in the order of the floats that are no NaN, one for both zeros.
inline std::uint32_t OrderKey(float x) {
  const auto bits = std::bit_cast<std::uint32_t>(x + 0.0F);
  return (bits >> 31) != 0 ? ~bits : bits | 0x80000000U;
}

/// Sorts keys in the upper halves of words, stable: three counting passes of 11 bits. O(n).
inline void SortByUpperHalf(std::vector<std::uint64_t>& words) {
  constexpr int kDigit = 11;
  constexpr std::size_t kDigits = std::size_t{1} << kDigit;
  std::vector<std::uint64_t> other(words.size());
  for (int shift = 32; shift < 64; shift += kDigit) {
    const auto digit = [shift](std::uint64_t word) { return (word >> shift) & (kDigits - 1); };
    std::array<std::size_t, kDigits> next{};
    for (const std::uint64_t word : words) {
      ++next[digit(word)];
    }
    std::size_t begin = 0;
    for (std::size_t& place : next) {
      begin += std::exchange(place, begin);
    }
    for (const std::uint64_t word : words) {
      other[next[digit(word)]++] = word;
    }
    words.swap(other);
  }
}

/// Sorts points without NaN. Where no point behind a place is smaller than one before it, no swap
/// crosses that place: the parts are independent. A part without points of equal x and different
/// bits has one ascending order, whoever sorts it; the others are replayed swap by swap.
template <RunPoint Point>
void SortOrderedPoints(std::span<Point> points) {
  constexpr std::size_t kManyWords = 1024;
  std::vector<std::uint64_t> words(points.size());
  for (std::size_t i = 0; i < points.size(); ++i) {
    words[i] = std::uint64_t{OrderKey(points[i].x)} << 32 | i;
  }
  if (words.size() < kManyWords) {
    std::sort(words.begin(), words.end());
  } else {
    SortByUpperHalf(words);
  }
  const std::vector<Point> old(points.begin(), points.end());
  const auto origin = [&words](std::size_t k) {
    return static_cast<std::size_t>(words[k] & 0xFFFFFFFFU);
  };
  std::size_t begin = 0;
  std::size_t furthest = 0;
  bool tied = false;
  for (std::size_t k = 0; k < points.size(); ++k) {
    const Point& point = old[origin(k)];
    furthest = std::max(furthest, origin(k));
    if (k > begin && point.x == old[origin(k - 1)].x) {
      tied = tied || std::memcmp(&point, &old[origin(k - 1)], sizeof(Point)) != 0;
    }
    if (furthest > k) {
      continue;
    }
    if (tied) {
      ReplayExchangeSort(points.subspan(begin, k + 1 - begin));
    } else {
      for (std::size_t q = begin; q <= k; ++q) {
        points[q] = old[origin(q)];
      }
    }
    begin = k + 1;
    tied = false;
  }
}

/// The result of PlainExchangeSort, bit for bit: not that of a stable sort where x are equal. A NaN
/// keeps its place, and the others are sorted as if it were not there. Only where this would take
/// hours (SReplayEffort) points of equal x come in another order.
///
/// O(n) for ascending points and for parts without points of equal x and different bits; up to
/// O(n^2 log n) where such points lie far from their places. Without memory the plain way.
template <RunPoint Point>
void ExchangeSort(std::span<Point> points) {
  bool ascending = true;
  bool hasNan = false;
  for (std::size_t i = 0; i < points.size(); ++i) {
    hasNan = hasNan || std::isnan(points[i].x);
    ascending = ascending && (i == 0 || !(points[i - 1].x > points[i].x));
  }
  const bool sorted = IfMemoryAllows([&] {
    if (hasNan) {
      std::vector<std::size_t> places;
      std::vector<Point> rest;
      for (std::size_t i = 0; i < points.size(); ++i) {
        if (!std::isnan(points[i].x)) {
          places.push_back(i);
          rest.push_back(points[i]);
        }
      }
      SortOrderedPoints(std::span<Point>(rest));
      for (std::size_t k = 0; k < places.size(); ++k) {
        points[places[k]] = rest[k];
      }
    } else if (!ascending) {
      SortOrderedPoints(points);
    }
  });
  if (!sorted) {
    PlainExchangeSort(points);  // goes on from the swaps made so far
  }
}

}  // namespace limes::detail
