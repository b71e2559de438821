// Sections across the curves of an array, and the weights of its reductions.

#include <algorithm>

#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/pair_signal.h"

namespace limes {

namespace {

/// Value i of a curve; false when it has none.
auto AtIndex(int i) {
  return [i](const CSigCurveExt& curve, float& y) {
    const bool present = i >= 0 && static_cast<unsigned>(i) < curve.DLen();
    if (present) {
      y = curve.ValArray()[i];
    }
    return present;
  };
}

/// Value of a curve at x; false when it has none there.
auto AtX(float x) {
  return [x](const CSigCurveExt& curve, float& y) {
    const bool present = curve.DLen() > 0 && curve.IsInRange(x);
    if (present) {
      y = curve.GetValue(x);
    }
    return present;
  };
}

}  // namespace

std::vector<float> CSigCurveArray::Weights(const CSigPairs& weights) const {
  std::vector<float> values;
  values.reserve(static_cast<std::size_t>(count_));
  for (int i = 0; i < count_; ++i) {
    if (const CSigCurveExt* const curve = Slot(i)) {
      values.push_back(weights.WertBei(curve->Date()));
    }
  }
  return values;
}

/// The y unit, that of the first curve when it was never set.
const CMeasuringUnit& CSigCurveArray::ValueUnit() const {
  const CSigCurveExt* const curve = FirstCurve();
  return yUnit_.empty() && curve != nullptr ? curve->YUnit() : yUnit_;
}

template <class Value>
int CSigCurveArray::Across(CSigPairs* pairs, Value value) const {
  if (pairs == nullptr) {
    return 0;
  }
  pairs->Neustart();
  if (!pairs->NeueGroesse(static_cast<unsigned>(count_))) {
    return 0;
  }
  pairs->SetXUnit(tUnit_);
  pairs->SetYUnit(ValueUnit());
  for (int i = 0; i < count_; ++i) {
    const CSigCurveExt* const curve = Slot(i);
    float y = 0.0F;
    if (curve != nullptr && value(*curve, y)) {
      pairs->NeuesPaar(curve->Date(), y);
    }
  }
  return static_cast<int>(pairs->NPaare());
}

template <class Value>
int CSigCurveArray::Across(CSigCurveExt* target, Value value) const {
  if (target == nullptr || count_ == 0) {
    return 0;
  }
  const float start = TPos(0);
  const float step =
      count_ > 1 ? (TPos(count_ - 1) - start) / static_cast<float>(count_ - 1) : tDelta_;
  CSigCurveExt section =
      CSigCurveExt::Make(count_, start, start + step * static_cast<float>(count_));
  if (section.DLen() == 0) {
    return 0;
  }
  int first = count_;
  int last = -1;
  int present = 0;
  for (int i = 0; i < count_; ++i) {
    const CSigCurveExt* const curve = Slot(i);
    if (curve != nullptr && value(*curve, section.ValArray()[i])) {
      first = std::min(first, i);
      last = i;
      ++present;
    }
  }
  if (last < 0) {
    section.Invalidate();
  } else if (first > 0 || last < count_ - 1) {
    section.SetVIMinMax(first, last);
  }
  section.SetName(name_);
  section.SetXUnit(tUnit_);
  section.SetYUnit(ValueUnit());
  return target->Copy(section, true) ? present : 0;
}

int CSigCurveArray::Querschnitt(int i, CSigPairs* pairs) const { return Across(pairs, AtIndex(i)); }

int CSigCurveArray::Querschnitt(float x, CSigPairs* pairs) const { return Across(pairs, AtX(x)); }

int CSigCurveArray::Querschnitt(int i, CSigCurveExt* curve) const {
  return Across(curve, AtIndex(i));
}

int CSigCurveArray::Querschnitt(float x, CSigCurveExt* curve) const {
  return Across(curve, AtX(x));
}

int CSigCurveArray::FlaechenKurveBilden(CSigCurveExt* target, float x0, float x1, bool dB) const {
  return Across(target, [=](const CSigCurveExt& curve, float& y) {
    y = curve.AbschnittSumme(x0, x1, dB);
    return true;
  });
}

}  // namespace limes
