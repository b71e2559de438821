#pragma once

#include <cstring>

#include "limes/kernels/exact_sort.h"
#include "limes/kernels/value_loops.h"
#include "limes/learning/learning_loops.h"
#include "tests/support/bits.h"

// Fast loops held against the plain ones they stand for, for tests and fuzz targets: true when the
// results have the same bits.
namespace limes::test {

struct SXy {
  float x;
  float y;
};

inline bool SortIsPlain(std::vector<SXy> points) {
  std::vector<SXy> plain = points;
  detail::PlainExchangeSort(std::span(plain));
  detail::ExchangeSort(std::span(points));
  return points.empty() ||
         std::memcmp(points.data(), plain.data(), points.size() * sizeof(SXy)) == 0;
}

inline bool WideningIsPlain(const std::vector<float>& old, std::size_t w) {
  std::vector<float> wide = old;
  detail::WidenValues(wide.data(), wide.size(), w);
  for (std::size_t i = 0; i < old.size(); ++i) {
    float largest = std::nanf("");
    for (std::size_t j = i - std::min(w, i); j <= std::min(i + w - 1, old.size() - 1); ++j) {
      if (old[j] > largest || (std::isnan(largest) && !std::isnan(old[j]))) {
        largest = old[j];
      }
    }
    if (!Same(wide[i], std::isnan(largest) ? old[i] : largest)) {
      return false;
    }
  }
  return true;
}

/// Loops that judge k by r; as many as k.
inline bool JudgingIsPlain(const std::vector<float>& k, const std::vector<float>& r) {
  const std::size_t n = k.size();
  detail::SLargest plain{0, std::nanf("")};
  double sum = 0.0;
  bool finite = true;
  for (std::size_t i = 0; i < n; ++i) {
    const float d = k[i] - r[i];
    if (d > plain.difference || (std::isnan(plain.difference) && !std::isnan(d))) {
      plain = {i, d};
    }
    sum += k[i] > r[i] ? double{d} * double{d} : 0.0;
    finite = finite && std::isfinite(k[i]) && std::isfinite(r[i]);
  }
  const detail::SLargest fast = detail::FindLargestDifference(k.data(), r.data(), n);
  return fast.index == plain.index && Same(fast.difference, plain.difference) &&
         Same(detail::AddSquaredExcess(0.0, k.data(), r.data(), n), sum) &&
         detail::AreFinite(k.data(), r.data(), n) == finite;
}

inline bool ExtremesArePlain(const std::vector<float>& y) {
  std::size_t min = 0;
  std::size_t max = 0;
  for (std::size_t i = 1; i < y.size(); ++i) {
    min = y[i] < y[min] ? i : min;
    max = y[i] > y[max] ? i : max;
  }
  const detail::SExtremes found = detail::FindExtremes(y.data(), y.size());
  const detail::SBounds bounds = detail::FindBounds(y.data(), y.size());
  return found.min == min && found.max == max && Same(bounds.min, y[min]) &&
         Same(bounds.max, y[max]);
}

}  // namespace limes::test
