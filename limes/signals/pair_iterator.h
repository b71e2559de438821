#pragma once

#include <compare>
#include <cstddef>
#include <iterator>

namespace limes {

/// Iterator over every second float of a pair signal: its x or its y values.
template <class Float>
class CPairIterator {
 public:
  using iterator_category = std::random_access_iterator_tag;
  using value_type = float;
  using difference_type = std::ptrdiff_t;
  using pointer = Float*;
  using reference = Float&;

  CPairIterator() = default;
  CPairIterator(Float* first, difference_type at) : first_(first), at_(at) {}

  reference operator*() const { return first_[2 * at_]; }
  pointer operator->() const { return first_ + 2 * at_; }
  reference operator[](difference_type k) const { return first_[2 * (at_ + k)]; }
  CPairIterator& operator+=(difference_type k) {
    at_ += k;
    return *this;
  }
  CPairIterator& operator-=(difference_type k) { return *this += -k; }
  CPairIterator& operator++() { return *this += 1; }
  CPairIterator& operator--() { return *this += -1; }
  CPairIterator operator++(int) {
    const CPairIterator old = *this;
    ++at_;
    return old;
  }
  CPairIterator operator--(int) {
    const CPairIterator old = *this;
    --at_;
    return old;
  }
  friend CPairIterator operator+(CPairIterator i, difference_type k) { return i += k; }
  friend CPairIterator operator+(difference_type k, CPairIterator i) { return i += k; }
  friend CPairIterator operator-(CPairIterator i, difference_type k) { return i -= k; }
  friend difference_type operator-(const CPairIterator& a, const CPairIterator& b) {
    return a.at_ - b.at_;
  }
  bool operator==(const CPairIterator& other) const { return at_ == other.at_; }
  auto operator<=>(const CPairIterator& other) const { return at_ <=> other.at_; }

 private:
  Float* first_ = nullptr;
  difference_type at_ = 0;  ///< an index, as a pointer could not stand behind the last y
};

}  // namespace limes
