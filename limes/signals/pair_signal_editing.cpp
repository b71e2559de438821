#include <algorithm>
#include <span>

#include "limes/kernels/exact_sort.h"
#include "limes/kernels/pair_loops.h"
#include "limes/kernels/value_loops.h"
#include "limes/signals/pair_signal.h"

namespace limes {

void CSigPairs::Setzen(std::uint32_t i, float x, float y) {
  detail::XyPair* const p = Pairs();
  p[i] = {x, y};
  const std::uint32_t n = NPaare();
  if (i < n) {
    const float before = i > 0 ? p[i - 1].x : x;
    const float behind = i + 1 < n ? p[i + 1].x : x;
    neverFalls_ = neverFalls_ && before <= x && x <= behind;
    neverRises_ = neverRises_ && before >= x && x >= behind;
  }
}

/// Twice the room when all of it is used, or room for two pairs.
bool CSigPairs::GrowForOne() {
  const std::uint32_t n = NPaare();
  return n < DLen() / 2 || (n <= kMaxWords / 4 && Resize(n == 0 ? 2 : 2 * n));
}

int CSigPairs::NeuesPaar(float x, float y) {
  if (!GrowForOne()) {
    return 0;
  }
  const std::uint32_t n = NPaare();
  detail::XyPair* const p = Pairs();
  const float last = n == 0 ? x : p[n - 1].x;
  sorted_ = n == 0 || (sorted_ && last < x);
  inverse_ = n == 0 || (inverse_ && last > x);
  neverFalls_ = (n == 0 || neverFalls_) && last <= x;
  neverRises_ = (n == 0 || neverRises_) && last >= x;
  p[n] = {x, y};
  SetCount(n + 1);
  return static_cast<int>(n + 1);
}

int CSigPairs::NeuesPaarEinsortieren(float x, float y) {
  const std::uint32_t n = NPaare();
  if (n == 0) {
    return NeuesPaar(x, y) > 0 ? 0 : -1;
  }
  if (!GrowForOne()) {
    return -1;
  }
  if (n == 1 && sorted_) {
    inverse_ = false;
  }
  if (!inverse_ && !sorted_ && n > 1) {
    SortPairs();
  }
  const std::uint32_t at = inverse_ ? BehindAtOrAbove(x) : BehindAtOrBelow(x);
  float* const words = Words() + 2 * std::size_t{at};
  detail::MoveValues(words + 2, words, 2 * (std::size_t{n} - at));
  SetCount(n + 1);
  Setzen(at, x, y);
  return static_cast<int>(at);
}

int CSigPairs::Aendern(std::uint32_t i, float x, float y) {
  const std::uint32_t n = NPaare();
  if (i >= n) {
    return 0;
  }
  const detail::XyPair* const p = Pairs();
  bool inPlace = true;
  if (sorted_) {
    inPlace = (i == 0 || x > p[i - 1].x) && (i + 1 == n || x < p[i + 1].x);
  } else if (inverse_) {
    inPlace = (i == 0 || x < p[i - 1].x) && (i + 1 == n || x > p[i + 1].x);
  }
  if (inPlace) {
    Setzen(i, x, y);
    return static_cast<int>(i);
  }
  PunktEntfernen(i);
  return NeuesPaarEinsortieren(x, y);
}

void CSigPairs::PunktEntfernen(std::uint32_t i) { PunkteEntfernen(i, 1); }

void CSigPairs::PunkteEntfernen(std::uint32_t i, std::uint32_t n) {
  const std::uint32_t count = NPaare();
  if (i >= count || n == 0) {
    return;
  }
  const std::uint32_t behind = i + std::min(n, count - i);
  float* const words = Words();
  detail::MoveValues(words + 2 * std::size_t{i}, words + 2 * std::size_t{behind},
                     2 * (std::size_t{count} - behind));
  SetCount(count - (behind - i));
}

void CSigPairs::SortPairs() {
  const std::span<detail::XyPair> pairs(Pairs(), NPaare());
  if (!NeverFalls() && pairs.size() > 1) {
    if (detail::FindOrder(pairs.data(), pairs.size()).falls) {
      std::reverse(pairs.begin(), pairs.end());  // the only order there is without equal x
    } else {
      detail::ExchangeSort(pairs);
    }
    NoteOrder();
  }
  sorted_ = true;
  inverse_ = false;
}

void CSigPairs::DatenSortieren(bool force) {
  if (NPaare() >= 2 && (force || !sorted_)) {
    SortPairs();
  }
}

void CSigPairs::DatenWenden() {
  std::reverse(Pairs(), Pairs() + NPaare());
  PruefeSortierung();
}

void CSigPairs::CutLeft(float x) {
  if (!sorted_) {
    SortPairs();
  }
  const std::uint32_t n = NPaare();
  if (n == 0 || Punkt(0) >= x) {
    return;
  }
  if (Punkt(n - 1) <= x) {
    EmptyRun();
    return;
  }
  const int k = IndexZu(x, kHigher);
  if (k >= 1) {
    PunkteEntfernen(0, static_cast<std::uint32_t>(k) - 1);
  }
}

void CSigPairs::CutRight(float x) {
  if (!sorted_) {
    SortPairs();
  }
  const std::uint32_t n = NPaare();
  if (n == 0 || Punkt(n - 1) <= x) {
    return;
  }
  if (Punkt(0) < x) {
    const auto k = static_cast<std::uint32_t>(IndexZu(x, kLower)) + 1;
    PunkteEntfernen(k, n);
  } else {
    EmptyRun();
  }
}

}  // namespace limes
