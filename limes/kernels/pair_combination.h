#pragma once

#include <cstddef>
#include <vector>

#include "limes/kernels/pair_run.h"
#include "limes/kernels/pair_search.h"

namespace limes::detail {

// Combining a run of pairs with another one. O(n + m) for runs in plain order.

/// There are pairs, x never falls and is finite; tested when it is not known.
bool InPlainOrder(const SPairRun& run);

/// How the pairs of another run are merged into one.
struct SMerging {
  float tolerance = 0.0F;   ///< pairs whose x are so near are one point
  bool takesOthers = true;  ///< those beside the run's range are taken over, else passed over
  bool zeros = false;       ///< what is merged in has y = 0.0, else the value of its run there
  bool growing = true;      ///< the range grows with what is taken over
};

/// Whether the other's x lies in a range and so has a value of this run.
inline bool IsInside(float x, float first, float last, float tolerance) {
  return x >= first - tolerance && x <= last + tolerance;
}

/// The run with the other's pairs merged in one by one: those beside its range as they are, those
/// inside with its value there, unless a pair from the start index on lies within the tolerance.
/// Both in plain order. May throw std::bad_alloc.
// kept: the start index is the number of pairs merged inside so far, whatever was found, as long as
// the range grows; else 0
std::vector<XyPair> Merged(const SPairRun& run, const SPairRun& other, const SMerging& how);

/// The pairs of a run that lie in the other's range widened by the tolerance, but for those in the
/// midst of the run: from the first to behind the last.
struct SSection {
  std::size_t begin;
  std::size_t end;
};
SSection CommonSection(const SPairRun& run, const SPairRun& other, float tolerance);

/// Calls op(y, v) for each of the pairs of run with the other's value v at its x, or only for those
/// inside the other's range. The other has pairs.
template <class Op>
void ForValuesOf(XyPair* pairs, const SPairRun& run, const SPairRun& other, bool insideOnly,
                 Op op) {
  const bool inOrder = InPlainOrder(run) && InPlainOrder(other);
  const float first = other.p[0].x;
  const float last = other.p[other.n - 1].x;
  std::size_t at = 1;
  for (std::size_t i = 0; i < run.n; ++i) {
    XyPair& pair = pairs[i];
    if (insideOnly && !(pair.x >= first && pair.x <= last)) {
      continue;
    }
    if (!inOrder || pair.x <= first || pair.x >= last) {
      op(pair.y, ValueAt(other, pair.x));
      continue;
    }
    while (other.p[at].x < pair.x) {
      ++at;
    }
    op(pair.y, ValueBetween(other.p[at - 1], other.p[at], pair.x));
  }
}

}  // namespace limes::detail
