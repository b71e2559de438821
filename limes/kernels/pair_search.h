#pragma once

#include <cstddef>

#include "limes/kernels/pair_run.h"

namespace limes::detail {

// Looking up runs of pairs. O(log n) while their order is known, else O(n).

/// How the x of neighbours stand to each other. NaN is in no order.
struct SRunOrder {
  bool rises = true;  ///< strictly
  bool falls = true;  ///< strictly
  bool neverFalls = true;
  bool neverRises = true;
};
SRunOrder FindOrder(const XyPair* p, std::size_t n);

/// Where a new pair belongs in a run marked as it is: one behind the last pair with x at or below
/// it, or at or above it in a falling run; 0 when there is none.
std::size_t PlaceOf(const SPairRun& run, float x);

/// y at x, linear between pairs, beyond the ends the first or last y; 0.0 for a run without pairs
/// or marks. The last y for NaN.
float ValueAt(const SPairRun& run, float x);

/// y at x on the line through two pairs.
inline float ValueBetween(const XyPair& a, const XyPair& b, float x) {
  const float slope = (b.y - a.y) / (b.x - a.x);
  return (x - a.x) * slope + a.y;
}

/// Which neighbour of x is meant.
enum class Neighbour { kLower, kHigher, kNearest };

/// Index of the neighbour of x, that of an equal x, or the end beyond which x lies; the last one
/// for NaN. Without marks that of the nearest x, the first on ties. 0 without pairs.
std::size_t NeighbourOf(const SPairRun& run, float x, Neighbour which);

/// Smallest distance in x of two neighbours; 0.0 for fewer than two pairs.
float SmallestStep(const SPairRun& run);

/// Index of the pair nearest to (x, y), the first on ties, and its distance; n when there is none.
/// Pairs with NaN are passed over.
struct SNearest {
  std::size_t index;
  float distance;
};
SNearest NearestPair(const SPairRun& run, float x, float y);

/// Indices of the first smallest and the first largest y (or x, from the first x on) of n > 0 pairs
/// by strict comparisons: a leading NaN is both, another one neither.
struct SRunExtremes {
  std::size_t min = 0;
  std::size_t max = 0;
};
SRunExtremes FindPairExtremes(const float* first, std::size_t n);

/// Indices of the smallest and the largest x of n > 0 pairs; the ends of a marked run.
SRunExtremes FindEnds(const SPairRun& run);

}  // namespace limes::detail
