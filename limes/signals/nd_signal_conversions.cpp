// N-dimensional signals of curves and pair signals, and back.

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>

#include "limes/platform/memory_errors.h"
#include "limes/platform/print_window.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/nd_signal.h"
#include "limes/signals/pair_signal.h"

namespace limes {

namespace {

CDimDescription AxisOf(const CSigCurve& curve) {
  return {curve.XUnit(), curve.Name(), curve.XMin(), curve.XMax(), curve.XDelta()};
}

CDimDescription AxisOf(const CSigPairs& pairs) {
  float lo = 0.0F;
  float hi = 0.0F;
  pairs.GetXRange(lo, hi);
  return {pairs.XUnit(), pairs.Name(), lo, hi, 0.0F};
}

/// One description per signal; the message for each whose range differs from the first one's.
template <class Signal>
void DescribeAxes(std::span<const Signal* const> signals, std::u16string_view message,
                  CDimDescriptionVec& dims) {
  for (const Signal* const signal : signals) {
    if (signal == nullptr) {
      continue;
    }
    dims.push_back(AxisOf(*signal));
    const CDimDescription& dim = dims[dims.size() - 1];
    if (dim.Start() != dims[0].Start() || dim.Stop() != dims[0].Stop() ||
        dim.Step() != dims[0].Step()) {
      PrWinPrintf(message);
    }
  }
}

std::size_t Points(const CSigCurve& curve) { return curve.DLen(); }
std::size_t Points(const CSigPairs& pairs) { return pairs.NPaare(); }
float XOf(const CSigCurve& curve, std::uint32_t j) { return curve.GetPoint(static_cast<int>(j)); }
float XOf(const CSigPairs& pairs, std::uint32_t j) { return pairs.Punkt(j); }
float YOf(const CSigCurve& curve, std::uint32_t j) { return curve.ValArray()[j]; }
float YOf(const CSigPairs& pairs, std::uint32_t j) { return pairs.Wert(j); }

template <class Signal>
std::vector<const Signal*> Present(std::span<const Signal* const> signals) {
  std::vector<const Signal*> present;
  std::copy_if(signals.begin(), signals.end(), std::back_inserter(present),
               [](const Signal* signal) { return signal != nullptr; });
  return present;
}

template <class Signal>
std::size_t Shortest(const std::vector<const Signal*>& signals) {
  std::size_t shortest = signals.empty() ? 0 : Points(*signals[0]);
  for (const Signal* const signal : signals) {
    shortest = std::min(shortest, Points(*signal));
  }
  return shortest;
}

}  // namespace

CDimDescriptionVec::CDimDescriptionVec(std::span<const CSigCurve* const> curves) {
  DescribeAxes(curves,
               u"CDimDescriptionVec::CDimDescriptionVec( curveVec& ): Minimum, maximum or delta in "
               u"current dim differs from dim 0\n",
               *this);
}

CDimDescriptionVec::CDimDescriptionVec(std::span<const CSigPairs* const> pairs) {
  DescribeAxes(pairs,
               u"CDimDescriptionVec::CDimDescriptionVec( pairsVec& ): Minimum or maximum in "
               u"current dim differs from dim 0\n",
               *this);
}

/// Fills the table: x of the first signal, then y of each.
template <class Signal>
void CSigND::Fill(std::span<const Signal* const> signals) {
  const std::vector<const Signal*> present = Present(signals);
  const std::size_t points = Shortest(present);
  if (points == 0 || !Reshape(static_cast<std::uint32_t>(present.size() + 1),
                              static_cast<std::uint32_t>(points))) {
    return;
  }
  for (std::uint32_t j = 0; j < ydim(); ++j) {
    row(0)[j] = XOf(*present[0], j);
  }
  describe(0, AxisOf(*present[0]));
  for (std::uint32_t i = 1; i < xdim(); ++i) {
    const Signal& signal = *present[i - 1];
    const std::span<float> values = row(i);
    for (std::uint32_t j = 0; j < ydim(); ++j) {
      values[j] = YOf(signal, j);
    }
    float lo = 0.0F;
    float hi = 0.0F;
    valRange(i, lo, hi);
    describe(i, {signal.YUnit(), signal.Name(), lo, hi, 0.0F});
  }
}

CSigND::CSigND(std::span<const CSigCurve* const> curves) { Fill(curves); }

CSigND::CSigND(std::span<const CSigPairs* const> pairs) { Fill(pairs); }

CSigPairs CSigND::SigPairs(std::uint32_t i, std::uint32_t j) const {
  CSigPairs pairs;
  SigPairs(pairs, i, j);
  return pairs;
}

int CSigND::SigPairs(CSigPairs& pairs, std::uint32_t i, std::uint32_t j) const {
  const std::span<const float> x = row(i);
  const std::span<const float> y = row(j);
  pairs.Neustart();
  if (x.empty() || y.empty() || !pairs.NeueGroesse(ydim())) {
    return 0;
  }
  if (!detail::IfMemoryAllows([&] {
        pairs.SetXUnit(describe(i).Unit());
        pairs.SetYUnit(describe(j).Unit());
      })) {
    return 0;
  }
  for (std::uint32_t k = 0; k < ydim(); ++k) {
    pairs.NeuesPaar(x[k], y[k]);
  }
  return static_cast<int>(pairs.NPaare());
}

/// Step of row 0, 0.0 unless its values rise in equal steps.
float CSigND::CommonStep() const {
  constexpr double kTolerance = 1e-4;  // of a step
  const std::span<const float> x = row(0);
  if (x.size() < 2) {
    return 0.0F;
  }
  const double step = (double{x.back()} - x.front()) / static_cast<double>(x.size() - 1);
  for (std::size_t j = 0; j < x.size(); ++j) {
    if (!(std::abs(x[j] - (x.front() + static_cast<double>(j) * step)) <= kTolerance * step)) {
      return 0.0F;
    }
  }
  return static_cast<float>(step);
}

/// The values of row i as a curve of the array, with the given step.
std::unique_ptr<CSigCurveExt> CSigND::CurveOf(std::uint32_t i, float step) const {
  const float start = row(0)[0];
  auto curve = std::make_unique<CSigCurveExt>(static_cast<int>(ydim()));
  if (curve->DLen() != ydim() || !curve->SetName(describe(i).Name())) {
    throw std::bad_alloc();
  }
  curve->SetXMinMax(start, static_cast<float>(start + double{step} * ydim()));
  curve->ResetVMinMax();
  std::copy(row(i).begin(), row(i).end(), curve->ValArray());
  curve->SetXUnit(describe(0).Unit());
  curve->SetYUnit(describe(i).Unit());
  curve->Date(static_cast<float>(i - 1));
  return curve;
}

CSigCurveArray CSigND::SigCurveArray() const {
  const float step = CommonStep();
  if (!(step > 0.0F) || xdim() < 2 || ydim() > INT32_MAX) {
    return CSigCurveArray();
  }
  return detail::IfMemoryAllows(CSigCurveArray(), [&] {
    CSigCurveArray array;
    for (std::uint32_t i = 1; i < xdim(); ++i) {
      const std::unique_ptr<CSigCurveExt> curve = CurveOf(i, step);
      if ((i == 1 ? array.ErsteKurve(*curve) : array.WeitereKurve(*curve)) < 0) {
        throw std::bad_alloc();
      }
    }
    array.SetName(Utf8ToWide(Name()));
    array.KurvenKomplett();
    return array;
  });
}

}  // namespace limes
