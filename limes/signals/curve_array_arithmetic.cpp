// Arithmetic over all curves of an array.

#include <algorithm>
#include <cmath>

#include "limes/kernels/value_loops.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"

namespace limes {

namespace {

/// Smallest and largest of the valid values that are no NaN; false without any.
bool ValidBounds(const CSigCurveExt& curve, detail::SBounds& bounds) {
  const std::span<const float> values = curve.ValidValues();
  const auto first =
      std::find_if(values.begin(), values.end(), [](float y) { return !std::isnan(y); });
  if (first == values.end()) {
    return false;
  }
  bounds = detail::FindBounds(&*first, static_cast<std::size_t>(values.end() - first));
  return true;
}

}  // namespace

CSigCurveArray& CSigCurveArray::operator+=(float c) {
  for (int i = 0; i < count_; ++i) {
    if (CSigCurveExt* const curve = Slot(i)) {
      *curve += c;
    }
  }
  return *this;
}

CSigCurveArray& CSigCurveArray::operator*=(float c) {
  for (int i = 0; i < count_; ++i) {
    if (CSigCurveExt* const curve = Slot(i)) {
      *curve *= c;
    }
  }
  return *this;
}

CSigCurveArray& CSigCurveArray::operator+=(const CSigCurveArray& other) {
  for (int i = 0; i < std::min(count_, other.count_); ++i) {
    if (Slot(i) != nullptr && other.Slot(i) != nullptr) {
      *Slot(i) += *other.Slot(i);
    }
  }
  return *this;
}

void CSigCurveArray::QuadratAddieren(const CSigCurveArray& other, float w) {
  for (int i = 0; i < std::min(count_, other.count_); ++i) {
    if (Slot(i) != nullptr && other.Slot(i) != nullptr) {
      Slot(i)->AddSquared(*other.Slot(i), w, 0);
    }
  }
}

void CSigCurveArray::WurzelZiehen() {
  for (int i = 0; i < count_; ++i) {
    if (CSigCurveExt* const curve = Slot(i)) {
      curve->SquareRoot();
    }
  }
  TakeYUnit();
}

void CSigCurveArray::Log(float ref) {
  for (int i = 0; i < count_; ++i) {
    if (CSigCurveExt* const curve = Slot(i)) {
      curve->Log(ref);
    }
  }
  TakeYUnit();
}

/// The y unit becomes that of the first curve there is.
void CSigCurveArray::TakeYUnit() {
  for (int i = 0; i < count_; ++i) {
    if (const CSigCurveExt* const curve = Slot(i)) {
      yUnit_ = curve->YUnit();
      return;
    }
  }
}

bool CSigCurveArray::FitTogether(const CSigCurveArray& other) const {
  if (count_ != other.count_) {
    return false;
  }
  for (int i = 0; i < count_; ++i) {
    const CSigCurveExt* const a = Slot(i);
    const CSigCurveExt* const b = other.Slot(i);
    if ((a == nullptr) != (b == nullptr) || (a != nullptr && !a->FitTogether(b))) {
      return false;
    }
  }
  return true;
}

bool CSigCurveArray::GlobalesMinMax(float& min, float& max) const {
  bool found = false;
  detail::SBounds all = {};
  for (int i = 0; i < count_; ++i) {
    detail::SBounds bounds = {};
    if (Slot(i) != nullptr && ValidBounds(*Slot(i), bounds)) {
      all.min = !found || bounds.min < all.min ? bounds.min : all.min;
      all.max = !found || bounds.max > all.max ? bounds.max : all.max;
      found = true;
    }
  }
  if (found) {
    min = all.min;
    max = all.max;
  }
  return found;
}

}  // namespace limes
