#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "limes/kernels/pair_loops.h"
#include "limes/signals/pair_signal.h"

namespace limes {

void CSigPairs::Glaetten(float w) {
  const std::uint32_t n = NPaare();
  if (n < 3) {
    return;
  }
  try {
    std::vector<float> means(n);
    detail::SmoothPairs(Pairs(), n, w, InPlainOrder(), means.data());
    detail::PutEverySecond(means.data(), n, Words() + 1);
  } catch (const std::bad_alloc&) {
    return;
  }
}

void CSigPairs::Unterabtasten(int n, bool average) {
  const std::uint32_t count = NPaare();
  if (n < 2 || count < 3) {
    return;
  }
  detail::XyPair* const p = Pairs();
  const std::uint32_t last = count - 1;
  std::uint32_t kept = 1;
  for (std::uint32_t previous = 0; previous < last;) {
    const std::uint32_t current =
        previous + std::min(static_cast<std::uint32_t>(n), last - previous);
    detail::XyPair pair = p[current];
    if (average) {
      float sum = 0.0F;
      for (std::uint32_t i = previous + 1; i <= current; ++i) {
        sum += p[i].y;
      }
      pair.y = sum / static_cast<float>(current - previous);
    }
    p[kept++] = pair;
    previous = current;
  }
  SetCount(kept);
}

void CSigPairs::Linearisieren(float d) {
  const std::uint32_t n = NPaare();
  if (n < 3 || (!sorted_ && !inverse_)) {
    return;
  }
  float lo = 0.0F;
  float hi = 0.0F;
  YBereich(lo, hi);
  const float tol = (hi - lo) / d;
  detail::XyPair* const p = Pairs();
  std::uint32_t anchor = 0;  // the pairs up to here stay; candidate may go, behind it all are new
  std::uint32_t candidate = 1;
  while (candidate + 1 < n) {
    const detail::XyPair a = p[anchor];
    const float slope = (p[candidate].y - a.y) / (p[candidate].x / a.x);
    while (candidate + 1 < n &&
           std::fabs((p[candidate + 1].y - a.y) - (p[candidate + 1].x - a.x) * slope) < tol) {
      ++candidate;
    }
    p[++anchor] = p[candidate++];
  }
  if (candidate < n) {
    p[++anchor] = p[candidate];
  }
  SetCount(anchor + 1);
}

}  // namespace limes
