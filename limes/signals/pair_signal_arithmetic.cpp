#include <algorithm>
#include <cmath>

#include "limes/signals/extended_curve.h"
#include "limes/signals/pair_signal.h"

namespace limes {

namespace {

template <class Op>
void ForEachY(float* words, std::size_t n, Op op) {
  for (std::size_t i = 0; i < n; ++i) {
    words[2 * i + 1] = op(words[2 * i + 1]);
  }
}

}  // namespace

CSigPairs& CSigPairs::operator=(float v) {
  ForEachY(Words(), NPaare(), [v](float) { return v; });
  return *this;
}

CSigPairs& CSigPairs::operator+=(float v) {
  if (v != 0.0F) {
    ForEachY(Words(), NPaare(), [v](float y) { return y + v; });
  }
  return *this;
}

CSigPairs& CSigPairs::operator-=(float v) { return *this += -v; }

CSigPairs& CSigPairs::operator*=(float v) {
  ForEachY(Words(), NPaare(), [v](float y) { return y * v; });
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
  ForEachY(Words(), NPaare(), [](float y) { return std::fabs(y); });
}

void CSigPairs::Clip(float limit, bool upper) {
  if (upper) {
    ForEachY(Words(), NPaare(), [limit](float y) { return y >= limit ? limit : y; });
  } else {
    ForEachY(Words(), NPaare(), [limit](float y) { return y <= limit ? limit : y; });
  }
}

void CSigPairs::DatenSpiegeln() { *this *= -1.0F; }

CSigPairs& CSigPairs::WurzelZiehen() {
  ForEachY(Words(), NPaare(), [](float y) { return std::sqrt(y > 0.0F ? y : 0.0F); });
  CMeasuringUnit unit = YUnit();
  if (unit.root(2)) {
    SetYUnit(unit);
  }
  return *this;
}

float CSigPairs::Mittelwert(float* deviation) const {
  const std::uint32_t n = NPaare();
  if (n < 2) {
    return n == 0 ? 0.0F : Wert(0);
  }
  float sum = 0.0F;
  float squares = 0.0F;
  for (std::uint32_t i = 0; i < n; ++i) {
    sum += Wert(i);
    squares += Wert(i) * Wert(i);
  }
  const float mean = sum / static_cast<float>(n);
  if (deviation != nullptr) {
    // kept: not limited to 0, so that rounding may give NaN
    *deviation = std::sqrt(squares / static_cast<float>(n) - mean * mean);
  }
  return mean;
}

float CSigPairs::RmsWert() const {
  const std::uint32_t n = NPaare();
  if (n < 2) {
    return n == 0 ? 0.0F : Wert(0);
  }
  float squares = 0.0F;
  for (std::uint32_t i = 0; i < n; ++i) {
    squares += Wert(i) * Wert(i);
  }
  return std::sqrt(squares / static_cast<float>(n));
}

float CSigPairs::MittelwertDb() const {
  constexpr double kPerDecibel = 0.2302585;  // ln(10) / 10
  const std::uint32_t n = NPaare();
  if (n < 2) {
    return n == 0 ? 0.0F : Wert(0);
  }
  const double first = std::exp(kPerDecibel * Wert(0));
  double sum = 0.0;
  for (std::uint32_t i = 0; i < n; ++i) {
    sum += std::exp(kPerDecibel * Wert(i)) / first;
  }
  return static_cast<float>(std::log(first * sum) / kPerDecibel / n);
}

namespace {

/// Value of a curve as its class sees it.
float CurveValue(const CSigCurve& curve, const CSigCurveExt* extended, float x) {
  return extended != nullptr ? extended->GetValue(x) : curve.GetValue(x);
}

/// There are pairs with x in [lo, hi], and each of them passes the test.
template <class Test>
bool AllInside(const CSigPairs& pairs, float lo, float hi, Test test) {
  bool any = false;
  for (std::uint32_t i = 0; i < pairs.NPaare(); ++i) {
    const float x = pairs.Punkt(i);
    if (std::isnan(x)) {
      return false;
    }
    if (x >= lo && x <= hi) {
      if (!test(x, pairs.Wert(i))) {
        return false;
      }
      any = true;
    }
  }
  return any;
}

template <class Below>
bool AllBelow(const CSigPairs& a, const CSigPairs& b, Below below) {
  if (!b.Gueltig() || (!b.IstSortiert() && !b.IstInversSortiert())) {
    return false;
  }
  float lo = 0.0F;
  float hi = 0.0F;
  b.XBereich(lo, hi);
  return AllInside(a, lo, hi, [&](float x, float y) { return below(y, b.WertBei(x)); });
}

template <class Below>
bool AllBelow(const CSigPairs& a, const CSigCurve& curve, Below below) {
  if (curve.DLen() == 0) {
    return false;
  }
  const CSigCurveExt* const extended = AsExtended(&curve);
  float lo = 0.0F;
  float hi = 0.0F;
  curve.GetXRange(lo, hi);
  return AllInside(a, lo, hi,
                   [&](float x, float y) { return below(y, CurveValue(curve, extended, x)); });
}

constexpr auto kBelow = [](float a, float b) { return a < b; };
constexpr auto kAbove = [](float a, float b) { return a > b; };

}  // namespace

bool CSigPairs::operator<(const CSigPairs& other) const { return AllBelow(*this, other, kBelow); }
bool CSigPairs::operator>(const CSigPairs& other) const { return AllBelow(*this, other, kAbove); }
bool CSigPairs::operator<(const CSigCurve& curve) const { return AllBelow(*this, curve, kBelow); }
bool CSigPairs::operator>(const CSigCurve& curve) const { return AllBelow(*this, curve, kAbove); }

float CSigPairs::MaxKurvenAbstand(const CSigCurve& curve, float* x, bool absolute) const {
  if (curve.DLen() == 0) {
    return 0.0F;
  }
  const CSigCurveExt* const extended = AsExtended(&curve);
  float largest = 0.0F;
  bool found = false;
  for (std::uint32_t i = 0; i < NPaare(); ++i) {
    const float at = Punkt(i);
    if (!curve.IsInRange(at)) {
      continue;
    }
    const float distance = Wert(i) - CurveValue(curve, extended, at);
    const float measured = absolute ? std::fabs(distance) : distance;
    if (std::isnan(measured) || (found && !(measured > largest))) {
      continue;
    }
    largest = measured;
    found = true;
    if (x != nullptr) {
      *x = at;
    }
  }
  return largest;
}

}  // namespace limes
