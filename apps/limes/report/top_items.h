#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

namespace limes::host {

/// Keeps the items with the largest keys; of equal ones the first.
template <class T>
class CTop {
 public:
  explicit CTop(std::size_t most) : most_(most) {}

  void Add(double key, T item) {
    items_.push_back({key, count_++, std::move(item)});
    if (items_.size() >= 2 * most_ + 16) {
      Cut();
    }
  }

  std::size_t Count() const { return count_; }

  /// Whether an item of this key may be kept.
  bool Takes(double key) const { return items_.size() < most_ || key > least_; }

  /// The largest first.
  std::vector<T> Items() const {
    std::vector<SItem> sorted = items_;
    Sort(sorted);
    sorted.resize(std::min(sorted.size(), most_));
    std::vector<T> items;
    items.reserve(sorted.size());
    for (SItem& entry : sorted) {
      items.push_back(std::move(entry.item));
    }
    return items;
  }

 private:
  struct SItem {
    double key;
    std::size_t number;
    T item;
  };

  static void Sort(std::vector<SItem>& items) {
    std::sort(items.begin(), items.end(), [](const SItem& a, const SItem& b) {
      return a.key != b.key ? a.key > b.key : a.number < b.number;
    });
  }

  void Cut() {
    Sort(items_);
    items_.resize(most_);
    least_ = items_.empty() ? least_ : items_.back().key;
  }

  std::size_t most_;
  std::size_t count_ = 0;
  double least_ = -std::numeric_limits<double>::infinity();  ///< of those kept for sure
  std::vector<SItem> items_;
};

}  // namespace limes::host
