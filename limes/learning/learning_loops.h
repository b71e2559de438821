#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace limes::detail {

// Loops of curve learning, one pass each. All give the bits of the separate steps they stand for,
// element by element; buffers must not overlap. O(n).

/// m = m a + v k and q = q a + (v k) k.
void LearnValues(float* m, float* q, const float* k, std::size_t n, float a, float v);

/// factor sqrt(q - m m), 0 where that is not above 0 or NaN.
void SpreadValues(float* y, const float* m, const float* q, std::size_t n, float factor = 1.0F);

/// The same, plus m, plus base.
void LimitValues(float* y, const float* m, const float* q, std::size_t n, float factor, float base);

/// In double: d = (k - offset) - shift, shift += a d, variance += (d ((k - offset) - shift) -
/// variance) a with a = 1 / n for the n-th k; mean = offset + shift in float.
void LearnPreciseValues(double* shift, double* variance, float* mean, const float* offset,
                        const float* k, std::size_t n, double a);

/// As LearnValues of a track: m = a m + v k and q = a q + v (k k). Buffers may overlap; each k is
/// read before its m is written.
void LearnTrackValues(float* m, float* q, const float* k, std::size_t n, float a, float v);

/// m = k and q = k k.
void StartTrackValues(float* m, float* q, const float* k, std::size_t n);

/// y = factor S + (m + base) with S = sqrt((q - m m) r), 0 where that is not above 0 or NaN; the
/// product with r and the root in double.
void TrackLimitValues(float* y, const float* m, const float* q, std::size_t n, double r,
                      float factor, float base);

/// y = S of the same.
void TrackSpreadValues(float* y, const float* m, const float* q, std::size_t n, double r);

/// y = (m + base) + y.
void AddMeanAndBase(float* y, const float* m, std::size_t n, float base);

/// y = share y + (1 - share) other in double, rounded once; other itself for share 0.
void MixValues(float* y, const float* other, std::size_t n, double share);

/// How many of n counts equal the first one, before another one comes.
std::size_t EqualRun(const std::uint32_t* counts, std::size_t n);

/// Calls use(i, points, n) for each run of points from i0 to below i1 with the same count n.
template <class Use>
void ForEachRun(std::span<const std::uint32_t> counts, std::size_t i0, std::size_t i1, Use use) {
  for (std::size_t i = i0; i < i1;) {
    const std::size_t points = EqualRun(counts.data() + i, i1 - i);
    use(i, points, counts[i]);
    i += points;
  }
}

/// Adds 1 to each of n counts, up to the largest number.
void CountUp(std::uint32_t* counts, std::size_t n);

/// Most points that WidenValues looks at before a value.
inline constexpr std::size_t kMostWidening = 31;

/// Replaces each of n values by the largest one, as they stood, from w before it to w - 1 behind
/// it, as far as they are among the n; 1 <= w <= 31. NaN are passed over; a value whose window
/// holds nothing else stays. Of zeros the first one's sign.
void WidenValues(float* y, std::size_t n, std::size_t w);

/// Index of the first k - r that is this difference; n without one.
std::size_t FirstDifference(const float* k, const float* r, std::size_t n, float difference);

/// Largest k - r, the first one on ties, NaN passed over; NaN and index 0 when all are NaN. n > 0.
struct SLargest {
  std::size_t index;
  float difference;
};
SLargest FindLargestDifference(const float* k, const float* r, std::size_t n);

/// sum + (k - r)^2 over the values with k > r, one after the other, in double.
double AddSquaredExcess(double sum, const float* k, const float* r, std::size_t n);

/// True when all of k and r are finite.
bool AreFinite(const float* k, const float* r, std::size_t n);

}  // namespace limes::detail
