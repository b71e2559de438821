#pragma once

#include <functional>
#include <numeric>

#include "limes/signals/curve.h"
#include "limes/signals/extended_curve.h"
#include "tests/support/bits.h"
#include "tests/support/show.h"

/// An operation on a curve c, as a case of a table.
#define LIMES_DO(...) [&](auto& c) { __VA_ARGS__; }

namespace limes::test {

/// An operation, and the text of what it leaves.
template <class Object>
using Cases = std::pair<std::function<void(Object&)>, const char*>[];

/// Curve of the given class with these values on [xMin, xMax]; an extended one is all valid.
template <class Curve = CSigCurve>
Curve MakeCurve(const Floats& values, float xMin = 0.0F, float xMax = 1.0F) {
  Curve curve(static_cast<int>(values.size()));
  std::copy(values.begin(), values.end(), curve.ValArray());
  curve.SetXMinMax(xMin, xMax);
  if constexpr (std::is_same_v<Curve, CSigCurveExt>) {
    curve.ResetVMinMax();
  }
  return curve;
}

/// Extended curve of these values from x0 on, all valid.
inline CSigCurveExt MakeExt(const Floats& values, float x0 = 0.0F, float step = 1.0F) {
  return MakeCurve<CSigCurveExt>(values, x0, x0 + step * static_cast<float>(values.size()));
}

/// Curve 0, 1, 2, ... with step 1 from x = 0 on.
template <class Curve = CSigCurve>
Curve MakeRamp(int n) {
  Floats values(static_cast<std::size_t>(n));
  std::iota(values.begin(), values.end(), 0.0F);
  return MakeCurve<Curve>(values, 0.0F, static_cast<float>(n));
}

inline Floats ValuesOf(const CSigCurve& curve) {
  return {curve.ValArray(), curve.ValArray() + curve.DLen()};
}

/// Valid range in x and in indices.
inline std::string ValidOf(const CSigCurveExt& curve) {
  return Exact{curve.VMin(), curve.VMax(), curve.IMin(), curve.IMax()}.text;
}

/// Values, x range and x length; of an extended curve the valid x and indices, too.
inline std::string State(const CSigCurve& curve) {
  const Exact state{ValuesOf(curve), curve.XMin(), curve.XMax(), curve.XLen()};
  const auto* const extended = dynamic_cast<const CSigCurveExt*>(&curve);
  return extended == nullptr ? state.text : state.text + ", valid " + ValidOf(*extended);
}

}  // namespace limes::test
