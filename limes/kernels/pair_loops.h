#pragma once

#include <cstddef>
#include <cstdint>

namespace limes::detail {

/// A pair of a run, as it lies in the data of a pair signal.
struct XyPair {
  float x;
  float y;
};

// Loops over runs of pairs in any order, NaN and equal x included. All O(n).

/// Index from start on of the first pair with x at or above (below) a bound; n when there is none.
std::size_t FindAtOrAbove(const XyPair* p, std::size_t start, std::size_t n, float x);
std::size_t FindAtOrBelow(const XyPair* p, std::size_t start, std::size_t n, float x);

/// One behind the last pair with x at or below (above) a bound; 0 when there is none.
std::size_t BehindAtOrBelow(const XyPair* p, std::size_t n, float x);
std::size_t BehindAtOrAbove(const XyPair* p, std::size_t n, float x);

/// How the x of neighbours stand to each other. NaN is in no order.
struct SRunOrder {
  bool rises = true;  ///< strictly
  bool falls = true;  ///< strictly
  bool neverFalls = true;
  bool neverRises = true;
};

SRunOrder FindOrder(const XyPair* p, std::size_t n);

struct SRunExtremes {
  std::size_t min = 0;
  std::size_t max = 0;
};

/// Indices of the first smallest and the first largest y (or x, from the first x on) of n > 0 pairs
/// by strict comparisons: a leading NaN is both, another one neither.
SRunExtremes FindPairExtremes(const float* first, std::size_t n);

/// Means of the y of all pairs whose x lie nearer than w to x, for each pair; its own y when there
/// is none. Sums run in float over ascending indices. inOrder: x never falls and is finite, so only
/// the window is visited.
void SmoothPairs(const XyPair* p, std::size_t n, float w, bool inOrder, float* means);

/// Copies every second float from source on, n of them.
void TakeEverySecond(const float* source, std::size_t n, float* target);

/// Writes n floats to every second place from target on.
void PutEverySecond(const float* source, std::size_t n, float* target);

}  // namespace limes::detail
