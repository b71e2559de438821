#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace limes::detail {

/// Deals count positions at equal steps out to bins, each position to the bin whose centre is
/// nearest: all of it in float, so that rounding is part of the result. A bin has at least one
/// position, but the positions may end before the bins, and the other way round.
class BinWalk {
 public:
  /// Begins at position end, which lies startBins bins from the centre of the first bin.
  BinWalk(int count, int bins, float startBins = 0.0F, int end = 0);

  /// Index behind the last position of the next bin. There must be a position left.
  int Next() {
    do {
      ++end_;
      place_ += step_;
    } while (end_ < count_ && place_ < half_);
    place_ -= bin_;
    return end_;
  }

 private:
  int count_;
  int end_;
  float step_;
  float bin_;
  float half_;
  float place_;  ///< of the next position, from the centre of the bin
};

/// The bins of a walk, for many rows of the same length.
struct SBins {
  SBins() = default;
  SBins(int count, int bins);

  std::vector<std::uint32_t> ends;  ///< index behind the last value of each; fewer when they end
  std::uint32_t shortest = 0;       ///< but for the first, which is half as long
  std::uint32_t longest = 0;
};

/// The maxima of the bins of a row, at least one, as BoundsOfBin gives them. Where the values of
/// the next row begin is only a hint. O(n).
void MaximaOfBins(const float* values, const SBins& bins, const float* next, float* maxima);

}  // namespace limes::detail
