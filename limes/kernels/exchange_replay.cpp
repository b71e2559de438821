#include "limes/kernels/exchange_replay.h"

#include <bit>
#include <cstddef>
#include <numeric>
#include <utility>

namespace limes::detail {
namespace {

/// Points in the passes of an exchange sort. Those with no larger one before them are the row: it
/// never falls, so the first one larger than x is the front of the next level in the row. The
/// others are strays. A swap drops a stray into the row and takes what was there to its place, so
/// the row never loses a place. A place joins it once nothing larger is left before it.
class Replay {
 public:
  Replay(std::vector<std::uint32_t> levels, std::uint32_t top)
      : level_(std::move(levels)),
        point_(level_.size()),
        front_(level_.size()),
        row_(level_.size()),
        levels_(top / 64 + 1),
        top_(top) {
    std::iota(point_.begin(), point_.end(), 0U);
    level_.push_back(top);  // ends searches
    Mark(top);
  }

  void Run(std::uint64_t steps) {
    steps_ = steps;
    std::vector<std::uint32_t> strays;
    strays.reserve(point_.size());
    std::uint32_t highest = 0;
    for (std::uint32_t i = 0; i < point_.size(); ++i) {
      if (level_[i] < highest) {
        if (Swap(i)) {
          strays.push_back(i);
        }
      } else if ((highest = level_[i]) < top_) {
        Join(i);
      }
    }
    while (!strays.empty() && steps_ > 0) {
      std::size_t left = 0;
      for (const std::uint32_t i : strays) {
        if (row_[i] == 0) {
          strays[left] = i;
          left += Swap(i) ? 1 : 0;
        }
      }
      strays.resize(left);
    }
  }

  /// The points by level, those of one level by place.
  std::vector<std::uint32_t> Order() && {
    std::vector<std::uint32_t>& next = front_;
    std::iota(next.begin(), next.end(), 0U);
    std::vector<std::uint32_t> order(point_.size());
    for (std::size_t i = 0; i < point_.size(); ++i) {
      order[next[level_[i]]++] = point_[i];
    }
    return order;
  }

 private:
  void Mark(std::uint32_t level) { levels_[level / 64] |= std::uint64_t{1} << level % 64; }
  bool IsMarked(std::uint32_t level) const { return (levels_[level / 64] >> level % 64 & 1) != 0; }

  /// The next level in the row; there is one, as all points of the top are in the row.
  std::uint32_t Above(std::uint32_t level) const {
    std::size_t word = ++level / 64;
    std::uint64_t bits = levels_[word] >> level % 64 << level % 64;
    while (bits == 0) {
      bits = levels_[++word];
    }
    return static_cast<std::uint32_t>(word * 64) +
           static_cast<std::uint32_t>(std::countr_zero(bits));
  }

  /// First place of a level in the row. That of the top only moves back.
  std::uint32_t Front(std::uint32_t level) {
    if (level < top_) {
      return front_[level];
    }
    while (level_[firstOfTop_] != top_) {
      ++firstOfTop_;
    }
    return firstOfTop_;
  }

  void Join(std::uint32_t i) {
    row_[i] = 1;
    if (!IsMarked(level_[i])) {
      Mark(level_[i]);
      front_[level_[i]] = i;
    }
  }

  /// Swaps the stray at i with the first larger one before it. True when i still is a stray.
  bool Swap(std::uint32_t i) {
    const std::uint32_t low = level_[i];
    const std::uint32_t high = Above(low);
    const std::uint32_t place = Front(high);
    std::swap(level_[i], level_[place]);
    std::swap(point_[i], point_[place]);
    Join(place);
    std::uint32_t j = place + 1;  // up to the next of the row, or i
    for (std::uint32_t highest = low; level_[j] < high; ++j) {
      if (level_[j] >= highest) {
        highest = level_[j];
        Join(j);
      }
    }
    steps_ -= steps_ < j - place ? steps_ : j - place;
    return high < top_ && !TakeFront(high, j, i);
  }

  /// After the front of a level went to i: its new front is j, if it is of this level still. True
  /// when i joins the row.
  bool TakeFront(std::uint32_t level, std::uint32_t j, std::uint32_t i) {
    if (level_[j] != level) {
      levels_[level / 64] &= ~(std::uint64_t{1} << level % 64);
      return false;
    }
    front_[level] = j;
    if (j < i && Front(Above(level)) < i) {
      return false;
    }
    row_[i] = 1;
    return true;
  }

  std::vector<std::uint32_t> level_;   ///< at each place
  std::vector<std::uint32_t> point_;   ///< at each place
  std::vector<std::uint32_t> front_;   ///< first place in the row of each level that is marked
  std::vector<std::uint8_t> row_;      ///< 1 for each place in the row
  std::vector<std::uint64_t> levels_;  ///< bits: levels in the row
  std::uint32_t top_;
  std::uint32_t firstOfTop_ = 0;
  std::uint64_t steps_ = 0;
};

}  // namespace

std::vector<std::uint32_t> ReplayedOrder(std::vector<std::uint32_t> levels, std::uint32_t top,
                                         std::uint64_t steps) {
  Replay replay(std::move(levels), top);
  replay.Run(steps);
  return std::move(replay).Order();
}

}  // namespace limes::detail
