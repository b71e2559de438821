#pragma once

#include <cstddef>

#include "limes/kernels/pair_run.h"

namespace limes::detail {

/// Means of the y of all pairs whose x lie nearer than w to x, for each pair; its own y when there
/// is none. Sums run in float over ascending indices. inOrder: x never falls and is finite, so only
/// the window is visited. O(n) times the pairs of a window, else O(n * n).
void SmoothPairs(const XyPair* p, std::size_t n, float w, bool inOrder, float* means);

/// Keeps the first of n > 0 pairs, then every step-th and the last, with the mean of the y from
/// behind the pair kept before when averaging: how many are kept. O(n).
std::size_t SubsamplePairs(XyPair* p, std::size_t n, std::size_t step, bool average);

/// Drops of n > 1 pairs those that lie within tol of the line through the two before: how many
/// stay. O(n).
// kept: the slope of that line is formed with the ratio of the x, not their difference
std::size_t ThinPairs(XyPair* p, std::size_t n, float tol);

/// Writes n floats to every second place from target on. O(n).
void PutEverySecond(const float* source, std::size_t n, float* target);

}  // namespace limes::detail
