// What combines the curves of an array: arithmetic over all of them, reductions into one curve and
// sections across them.

#include <algorithm>
#include <cmath>

#include "limes/kernels/value_loops.h"
#include "limes/platform/memory_errors.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/curve_reduction.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/pair_signal.h"

namespace limes {

namespace {

using detail::Reduction;

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

/// The curves in use without the empty slots.
std::vector<const CSigCurveExt*> CSigCurveArray::Curves() const {
  std::vector<const CSigCurveExt*> curves;
  curves.reserve(static_cast<std::size_t>(head_.count));
  ForEachCurve([&](const CSigCurveExt& curve) { curves.push_back(&curve); });
  return curves;
}

template <class Operation>
void CSigCurveArray::ForEachCurve(Operation operation) const {
  for (int i = 0; i < head_.count; ++i) {
    if (CSigCurveExt* const curve = At(i)) {
      operation(*curve);
    }
  }
}

template <class Operation>
void CSigCurveArray::ForEachPair(const CSigCurveArray& other, Operation operation) {
  for (int i = 0; i < std::min(head_.count, other.head_.count); ++i) {
    if (At(i) != nullptr && other.At(i) != nullptr) {
      operation(*At(i), *other.At(i));
    }
  }
}

CSigCurveArray& CSigCurveArray::operator+=(float c) {
  ForEachCurve([c](CSigCurveExt& curve) { curve += c; });
  return *this;
}

CSigCurveArray& CSigCurveArray::operator*=(float c) {
  ForEachCurve([c](CSigCurveExt& curve) { curve *= c; });
  return *this;
}

CSigCurveArray& CSigCurveArray::operator+=(const CSigCurveArray& other) {
  ForEachPair(other, [](CSigCurveExt& curve, const CSigCurveExt& added) { curve += added; });
  return *this;
}

void CSigCurveArray::QuadratAddieren(const CSigCurveArray& other, float w) {
  ForEachPair(other, [w](CSigCurveExt& curve, const CSigCurveExt& added) {
    curve.AddSquared(added, w, 0);
  });
}

void CSigCurveArray::WurzelZiehen() {
  ForEachCurve([](CSigCurveExt& curve) { curve.SquareRoot(); });
  TakeYUnit();
}

void CSigCurveArray::Log(float ref) {
  ForEachCurve([ref](CSigCurveExt& curve) { curve.Log(ref); });
  TakeYUnit();
}

/// The y unit becomes that of the first curve there is; none when memory is short, which stands for
/// that of the first curve, too.
void CSigCurveArray::TakeYUnit() {
  bool taken = false;
  ForEachCurve([&](const CSigCurveExt& curve) {
    if (!std::exchange(taken, true) &&
        !detail::IfMemoryAllows([&] { head_.yUnit = curve.YUnit(); })) {
      head_.yUnit = CMeasuringUnit();
    }
  });
}

void CSigCurveArray::AlleKurvenBereich(float xMin, float xMax, const CMeasuringUnit& xUnit,
                                       const CMeasuringUnit& yUnit) {
  ForEachCurve([&](CSigCurveExt& curve) {
    curve.SetXMinMax(xMin, xMax);
    curve.SetXUnit(xUnit);
    curve.SetYUnit(yUnit);
    curve.ResetVMinMax();
  });
  head_.x = {xMin, xMax};
  head_.xUnit = xUnit;
  head_.yUnit = yUnit;
}

bool CSigCurveArray::FitTogether(const CSigCurveArray& other) const {
  if (head_.count != other.head_.count) {
    return false;
  }
  for (int i = 0; i < head_.count; ++i) {
    const CSigCurveExt* const a = At(i);
    const CSigCurveExt* const b = other.At(i);
    if ((a == nullptr) != (b == nullptr) || (a != nullptr && !a->FitTogether(b))) {
      return false;
    }
  }
  return true;
}

bool CSigCurveArray::GlobalesMinMax(float& min, float& max) const {
  bool found = false;
  ForEachCurve([&](const CSigCurveExt& curve) {
    detail::SBounds bounds = {};
    if (ValidBounds(curve, bounds)) {
      min = !found || bounds.min < min ? bounds.min : min;
      max = !found || bounds.max > max ? bounds.max : max;
      found = true;
    }
  });
  return found;
}

/// The reduction of the curves, with weights or, for null, all alike; into a curve of its own first
/// when the target is one of them, or could be left half done.
bool CSigCurveArray::Reduced(CSigCurveExt* target, const CSigPairs* weights,
                             const Reduction& recipe) const {
  return target != nullptr && detail::IfMemoryAllows(false, [&] {
           const std::vector<const CSigCurveExt*> curves = Curves();
           std::vector<float> factors;
           for (std::size_t i = 0; weights != nullptr && i < curves.size(); ++i) {
             factors.push_back(weights->WertBei(curves[i]->Date()));
           }
           if (curves.empty()) {
             return false;
           }
           // The unit of squares, which may find no memory, is set last.
           const bool failsLate = recipe.kind == Reduction::kSquares && !recipe.rooted;
           if (!failsLate && std::find(curves.begin(), curves.end(), target) == curves.end()) {
             return detail::Reduce(curves, factors, recipe, *target);
           }
           CSigCurveExt result;
           return detail::Reduce(curves, factors, recipe, result) && target->Copy(result, true);
         });
}

bool CSigCurveArray::Mittelwert(CSigCurveExt* target) const {
  return Reduced(target, nullptr, {.kind = Reduction::kSum, .divided = true});
}

bool CSigCurveArray::Mittelwert(CSigCurveExt* target, const CSigPairs* weights) const {
  return weights != nullptr &&
         Reduced(target, weights, {.kind = Reduction::kWeightedSum, .divided = true});
}

bool CSigCurveArray::Summe(CSigCurveExt* target) const {
  return Reduced(target, nullptr, {.kind = Reduction::kSum});
}

bool CSigCurveArray::Summe(CSigCurveExt* target, const CSigPairs* weights) const {
  return weights != nullptr && Reduced(target, weights, {.kind = Reduction::kWeightedSum});
}

bool CSigCurveArray::RMS(CSigCurveExt* target) const {
  return Reduced(target, nullptr, {.kind = Reduction::kSquares, .divided = true, .rooted = true});
}

bool CSigCurveArray::RMS(CSigCurveExt* target, const CSigPairs* weights) const {
  return weights != nullptr &&
         Reduced(target, weights, {.kind = Reduction::kSquares, .divided = true, .rooted = true});
}

bool CSigCurveArray::QuadratSumme(CSigCurveExt* target) const {
  return Reduced(target, nullptr, {.kind = Reduction::kSquares});
}

bool CSigCurveArray::QuadratSumme(CSigCurveExt* target, const CSigPairs* weights) const {
  return weights != nullptr && Reduced(target, weights, {.kind = Reduction::kSquares});
}

bool CSigCurveArray::Maximum(CSigCurveExt* target, int mode) const {
  return Reduced(target, nullptr, {.kind = mode != 0 ? Reduction::kLargest : Reduction::kSmallest});
}

/// The y unit, that of the first curve when it was never set.
const CMeasuringUnit& CSigCurveArray::ValueUnit() const {
  const CSigCurveExt* const curve = At(0);
  return head_.yUnit.empty() && curve != nullptr ? curve->YUnit() : head_.yUnit;
}

template <class Value>
int CSigCurveArray::Across(CSigPairs* pairs, Value value) const {
  if (pairs == nullptr) {
    return 0;
  }
  pairs->Neustart();
  if (!pairs->NeueGroesse(static_cast<unsigned>(head_.count)) || !detail::IfMemoryAllows([&] {
        pairs->SetXUnit(head_.tUnit);
        pairs->SetYUnit(ValueUnit());
      })) {
    return 0;
  }
  ForEachCurve([&](const CSigCurveExt& curve) {
    float y = 0.0F;
    if (value(curve, y)) {
      pairs->NeuesPaar(curve.Date(), y);
    }
  });
  return static_cast<int>(pairs->NPaare());
}

template <class Value>
int CSigCurveArray::Across(CSigCurveExt* target, Value value) const {
  if (target == nullptr || head_.count == 0) {
    return 0;
  }
  const float start = TPos(0);
  const float step = head_.count > 1
                         ? (TPos(head_.count - 1) - start) / static_cast<float>(head_.count - 1)
                         : head_.tDelta;
  return detail::IfMemoryAllows(0, [&] {
    CSigCurveExt section =
        CSigCurveExt::Make(head_.count, start, start + step * static_cast<float>(head_.count));
    if (section.DLen() == 0) {
      return 0;
    }
    int first = head_.count;
    int last = -1;
    int present = 0;
    for (int i = 0; i < head_.count; ++i) {
      const CSigCurveExt* const curve = At(i);
      if (curve != nullptr && value(*curve, section.ValArray()[i])) {
        first = std::min(first, i);
        last = i;
        ++present;
      }
    }
    if (last < 0) {
      section.Invalidate();
    } else if (first > 0 || last < head_.count - 1) {
      section.SetVIMinMax(first, last);
    }
    section.SetXUnit(head_.tUnit);
    section.SetYUnit(ValueUnit());
    return section.SetName(head_.name) && target->Copy(section, true) ? present : 0;
  });
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
