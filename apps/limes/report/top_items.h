#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <tuple>
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
  const std::vector<std::tuple<double, std::size_t, T>>& Items() {
    Cut();
    return items_;
  }

 private:
  void Cut() {
    std::sort(items_.begin(), items_.end(), [](const auto& a, const auto& b) {
      return std::get<0>(a) != std::get<0>(b) ? std::get<0>(a) > std::get<0>(b)
                                              : std::get<1>(a) < std::get<1>(b);
    });
    if (items_.size() >= most_) {
      items_.resize(most_);
      least_ = items_.empty() ? least_ : std::get<0>(items_.back());
    }
  }

  std::size_t most_;
  std::size_t count_ = 0;
  double least_ = -std::numeric_limits<double>::infinity();  ///< of those kept for sure
  std::vector<std::tuple<double, std::size_t, T>> items_;
};

}  // namespace limes::host
