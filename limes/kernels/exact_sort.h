#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "limes/kernels/exchange_replay.h"
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

/// Unsigned integer in the order of the floats that are no NaN, one for both zeros.
inline std::uint32_t OrderKey(float x) {
  const auto bits = std::bit_cast<std::uint32_t>(x + 0.0F);
  return (bits >> 31) != 0 ? ~bits : bits | 0x80000000U;
}

/// Sorts keys in the upper halves of words, stable: counting passes of so many bits. O(n).
template <int kDigit>
void SortByUpperHalf(std::vector<std::uint64_t>& words) {
  constexpr std::size_t kDigits = std::size_t{1} << kDigit;
  std::vector<std::uint64_t> other(words.size());
  for (int shift = 32; shift < 64; shift += kDigit) {
    const auto digit = [shift](std::uint64_t word) { return (word >> shift) & (kDigits - 1); };
    std::array<std::uint32_t, kDigits> next{};
    for (const std::uint64_t word : words) {
      ++next[digit(word)];
    }
    std::uint32_t begin = 0;
    for (std::uint32_t& place : next) {
      begin += std::exchange(place, begin);
    }
    for (const std::uint64_t word : words) {
      other[next[digit(word)]++] = word;
    }
    words.swap(other);
  }
}

/// Sorts a part of a run that no swap leaves, from place `begin` on. Words: keys and places of its
/// points, ascending; from `top` on, where no point has the x of one before `top`, they are in
/// order.
template <RunPoint Point>
void ReplayPart(std::span<Point> part, std::span<const std::uint64_t> words, std::size_t begin,
                std::size_t top) {
  constexpr std::size_t kFew = 16;
  if (part.size() <= kFew) {
    PlainExchangeSort(part);
    return;
  }
  std::vector<std::uint32_t> levels(part.size());
  std::size_t level = 0;
  for (std::size_t k = 0; k < part.size(); ++k) {
    level = k > 0 && words[k] >> 32 == words[k - 1] >> 32 ? level : k;
    levels[(words[k] & 0xFFFFFFFFU) - begin] = static_cast<std::uint32_t>(std::min(level, top));
  }
  const auto order = ReplayedOrder(std::move(levels), static_cast<std::uint32_t>(top));
  const std::vector<Point> old(part.begin(), part.end());
  for (std::size_t k = 0; k < part.size(); ++k) {
    part[k] = old[k < top ? order[k] : (words[k] & 0xFFFFFFFFU) - begin];
  }
}

/// Sorts points without NaN. Where no point behind a place is smaller than one before it, no swap
/// crosses that place: the parts are independent. Points without others of equal x and different
/// bits have one ascending order, whoever sorts them; in the other parts the swaps are replayed.
template <RunPoint Point>
void SortOrderedPoints(std::span<Point> points) {
  constexpr std::size_t kManyWords = 64;    // from here on counting is faster than comparing
  constexpr std::size_t kMostWords = 4096;  // and here with longer digits
  std::vector<std::uint64_t> words(points.size());
  for (std::size_t i = 0; i < points.size(); ++i) {
    words[i] = std::uint64_t{OrderKey(points[i].x)} << 32 | i;
  }
  if (words.size() < kManyWords) {
    std::sort(words.begin(), words.end());
  } else if (words.size() < kMostWords) {
    SortByUpperHalf<8>(words);
  } else {
    SortByUpperHalf<11>(words);
  }
  const std::vector<Point> old(points.begin(), points.end());
  const auto origin = [&words](std::size_t k) {
    return static_cast<std::size_t>(words[k] & 0xFFFFFFFFU);
  };
  std::size_t begin = 0;
  std::size_t furthest = 0;
  std::size_t top = 0;  // behind the last points of equal x in the part, if not all the same
  for (std::size_t k = 0; k < points.size(); ++k) {
    furthest = std::max(furthest, origin(k));
    if (k > begin && words[k] >> 32 == words[k - 1] >> 32 &&
        (top == k - begin ||
         std::memcmp(&old[origin(k)], &old[origin(k - 1)], sizeof(Point)) != 0)) {
      top = k + 1 - begin;
    }
    if (furthest > k) {
      continue;
    }
    if (top > 0) {
      const std::size_t count = k + 1 - begin;
      ReplayPart(points.subspan(begin, count), std::span<const std::uint64_t>(&words[begin], count),
                 begin, top);
    } else {
      for (std::size_t q = begin; q <= k; ++q) {
        points[q] = old[origin(q)];
      }
    }
    begin = k + 1;
    top = 0;
  }
}

/// The result of PlainExchangeSort, bit for bit: not that of a stable sort where x are equal. A NaN
/// keeps its place, and the others are sorted as if it were not there. Only where this would take
/// hours (kReplaySteps) points of equal x come in another order.
///
/// O(n) for ascending points and for parts without points of equal x and different bits; up to
/// O(n^2) where such points lie far from their places. Without memory the plain way.
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
