#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

#include "limes/kernels/element_loops.h"
#include "limes/kernels/exact_sort.h"
#include "limes/kernels/pair_combination.h"
#include "limes/kernels/pair_shaping.h"
#include "limes/kernels/value_loops.h"
#include "limes/platform/memory_errors.h"
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
  const auto at = static_cast<std::uint32_t>(detail::PlaceOf(Run(), x));
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

bool CSigPairs::Append(const CSignal& other) {
  const auto* const pairs = dynamic_cast<const CSigPairs*>(&other);
  return pairs != nullptr && Append(*pairs);
}

bool CSigPairs::Append(const CSigPairs& other) {
  const std::uint32_t added = other.NPaare();  // the other may be this signal
  const std::uint32_t own = NPaare();
  if (added > DLen() / 2 - own && !Resize(own + added)) {
    return false;
  }
  for (std::uint32_t i = 0; i < added; ++i) {
    NeuesPaar(other.Punkt(i), other.Wert(i));
  }
  return true;
}

int CSigPairs::AbschnittKopieren(const CSigPairs& src, float x1, float x2) {
  return detail::IfMemoryAllows(-1, [&] {
    const std::uint32_t n = src.NPaare();
    const detail::XyPair* const p = src.Pairs();
    CSigPairs section;
    const auto inside = [x1, x2](const detail::XyPair& at) { return at.x >= x1 && at.x <= x2; };
    if (!section.NeueGroesse(static_cast<std::uint32_t>(std::count_if(p, p + n, inside)))) {
      return -1;
    }
    std::copy_if(p, p + n, section.Pairs(), inside);
    section.SetCount(section.DLen() / 2);
    return TakeSection(src, section);
  });
}

int CSigPairs::AbschnittKopierenIdx(const CSigPairs& src, int i1, int i2) {
  return detail::IfMemoryAllows(-1, [&] {
    const std::int64_t n = src.NPaare();
    const std::int64_t first = std::max(i1, 0);
    const std::int64_t behind = std::min(std::int64_t{i2} + 1, n);
    const auto count = static_cast<std::uint32_t>(std::max<std::int64_t>(behind - first, 0));
    CSigPairs section;
    if (!section.NeueGroesse(count)) {
      return -1;
    }
    if (count > 0) {
      std::copy_n(src.Pairs() + first, count, section.Pairs());
    }
    section.SetCount(count);
    return TakeSection(src, section);
  });
}

/// Takes the pairs of a section of src, and all of src but its pairs.
int CSigPairs::TakeSection(const CSigPairs& src, const CSigPairs& section) {
  const std::uint32_t count = section.NPaare();
  if ((&src != this && !CopyInfo(src)) || !AllocateOrKeep(2 * count)) {
    return -1;
  }
  detail::MoveValues(Words(), section.Words(), std::size_t{2} * count);
  if (&src != this) {
    TakeHeader(src);
  }
  SetCount(count);
  PruefeSortierung();
  return static_cast<int>(count);
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

/// y = op(y) for all pairs.
template <class Op>
void CSigPairs::ForEachY(Op op) {
  detail::ForEach(FirstY(Words()), NPaare(), 2, op);
}

CSigPairs& CSigPairs::operator=(float v) {
  ForEachY([v](float) { return v; });
  return *this;
}

CSigPairs& CSigPairs::operator+=(float v) {
  if (v != 0.0F) {
    ForEachY([v](float y) { return y + v; });
  }
  return *this;
}

CSigPairs& CSigPairs::operator-=(float v) { return *this += -v; }

CSigPairs& CSigPairs::operator*=(float v) {
  ForEachY([v](float y) { return y * v; });
  return *this;
}

CSigPairs& CSigPairs::operator/=(float v) {
  if (v == 0.0F) {
    return *this = 0.0F;
  }
  return *this *= 1.0F / v;
}

CSigPairs& CSigPairs::operator<<(float limit) {
  Clip(limit, true);
  return *this;
}

CSigPairs& CSigPairs::operator>>(float limit) {
  Clip(limit, false);
  return *this;
}

void CSigPairs::Add(float c) { *this += c; }

void CSigPairs::Scale(float c) { *this *= c; }

void CSigPairs::Abs() {
  ForEachY([](float y) { return std::fabs(y); });
}

void CSigPairs::Clip(float limit, bool upper) {
  if (upper) {
    ForEachY([limit](float y) { return y >= limit ? limit : y; });
  } else {
    ForEachY([limit](float y) { return y <= limit ? limit : y; });
  }
}

void CSigPairs::DatenSpiegeln() { *this *= -1.0F; }

CSigPairs& CSigPairs::WurzelZiehen() {
  const bool hasUnit = detail::IfMemoryAllows([&] {
    CMeasuringUnit unit = YUnit();
    if (unit.root(2)) {
      SetYUnit(unit);
    }
  });
  if (hasUnit) {
    ForEachY([](float y) { return std::sqrt(y > 0.0F ? y : 0.0F); });
  }
  return *this;
}

void CSigPairs::Glaetten(float w) {
  const std::uint32_t n = NPaare();
  if (n < 3) {
    return;
  }
  detail::IfMemoryAllows([&] {
    std::vector<float> means(n);
    detail::SmoothPairs(Pairs(), n, w, detail::InPlainOrder(Run()), means.data());
    detail::PutEverySecond(means.data(), n, Words() + 1);
  });
}

void CSigPairs::Unterabtasten(int n, bool average) {
  if (n >= 2 && NPaare() >= 3) {
    SetCount(static_cast<std::uint32_t>(
        detail::SubsamplePairs(Pairs(), NPaare(), static_cast<std::size_t>(n), average)));
  }
}

void CSigPairs::Linearisieren(float d) {
  if (NPaare() >= 3 && (sorted_ || inverse_)) {
    float lo = 0.0F;
    float hi = 0.0F;
    YBereich(lo, hi);
    SetCount(static_cast<std::uint32_t>(detail::ThinPairs(Pairs(), NPaare(), (hi - lo) / d)));
  }
}

}  // namespace limes
