#include "limes/learning/curve_assistant.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "limes/learning/curve_overlap.h"
#include "limes/platform/conversions.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

constexpr double kSamePlace = 0.01;  ///< of a step: nearer grid points are the same

/// A curve's grid in double, with the indices that hold values.
struct SGrid {
  explicit SGrid(const CSigCurve& curve)
      : start(curve.XMin()),
        step((double{curve.XMax()} - curve.XMin()) / curve.DLen()),
        first(curve.ValidIndices().first),
        last(curve.ValidIndices().last) {}

  bool IsUsable() const {
    return std::isfinite(start) && std::isfinite(step) && step > 0.0 && first <= last;
  }
  double X(std::int64_t i) const { return start + step * static_cast<double>(i); }
  double Index(double x) const { return (x - start) / step; }

  double start;
  double step;
  std::int64_t first;
  std::int64_t last;
};

/// Value of k at an index between its grid points.
float Interpolated(const CSigCurve& k, const SGrid& grid, double index) {
  const double within =
      std::clamp(index, static_cast<double>(grid.first), static_cast<double>(grid.last));
  const std::int64_t i = TruncToInt64(within);
  const float here = k.ValArray()[i];
  if (i >= grid.last) {
    return here;
  }
  const double t = within - static_cast<double>(i);
  const double rise = double{k.ValArray()[i + 1]} - here;
  return t == 0.0 ? here : static_cast<float>(here + rise * t);
}

/// First index of the grid at or behind the lower edge of the bin of point i of another grid.
std::int64_t BinBegin(const SGrid& grid, const SGrid& to, std::int64_t i) {
  const double edge = to.start + to.step * (static_cast<double>(i) - 0.5);
  return TruncToInt64(std::ceil(grid.Index(edge) - kSamePlace));
}

/// Mean or maximum of k's values that lie nearest to point i of the other grid, in double and in
/// order. A bin ends where the next one begins, so that no value is left out.
float Binned(const CSigCurve& k, const SGrid& grid, const SGrid& to, std::int64_t i,
             CSigCurveAssistent::Binning binning) {
  const std::int64_t begin = std::max(BinBegin(grid, to, i), grid.first);
  const std::int64_t end = std::min(BinBegin(grid, to, i + 1), grid.last + 1);
  if (begin >= end) {
    return Interpolated(k, grid, grid.Index(to.X(i)));
  }
  const float* const values = k.ValArray();
  if (binning == CSigCurveAssistent::Binning::kMaximum) {
    float largest = values[begin];
    for (std::int64_t j = begin + 1; j < end; ++j) {
      largest = values[j] > largest || std::isnan(values[j]) ? values[j] : largest;
    }
    return largest;
  }
  double sum = 0.0;
  for (std::int64_t j = begin; j < end; ++j) {
    sum += double{values[j]};
  }
  return static_cast<float>(sum / static_cast<double>(end - begin));
}

void FillFitted(const CSigCurve& k, const SGrid& from, const SGrid& to, std::int64_t i0,
                std::int64_t i1, CSigCurveAssistent::Binning binning, float* out) {
  const double offset = from.Index(to.start);
  const double ratio = to.step / from.step;
  const double drift = std::fabs(ratio - 1.0) * static_cast<double>(i1 + 1);
  const double shift = std::nearbyint(offset);
  if (drift < kSamePlace && std::fabs(offset - shift) < kSamePlace) {
    const float* const source = k.ValArray();
    const std::int64_t move = TruncToInt64(shift);
    for (std::int64_t i = i0; i <= i1; ++i) {
      out[i] = source[std::clamp(i + move, from.first, from.last)];
    }
    return;
  }
  for (std::int64_t i = i0; i <= i1; ++i) {
    out[i] = ratio > 1.0 + kSamePlace ? Binned(k, from, to, i, binning)
                                      : Interpolated(k, from, from.Index(to.X(i)));
  }
}

}  // namespace

bool CSigCurveAssistent::FitTo(const CSigCurve& k, const CSigCurveExt& raster, CSigCurveExt& out,
                               Binning binning) {
  if (k.DLen() == 0 || raster.DLen() == 0) {
    return false;
  }
  if (&out == &k || &out == &raster) {
    CSigCurveExt result;
    if (!FitTo(k, raster, result, binning)) {
      return false;
    }
    out = result;
    return true;
  }
  const SGrid from(k);
  const SGrid to(raster);
  if (!from.IsUsable() || !to.IsUsable()) {
    return false;
  }
  const double low = std::ceil(to.Index(from.X(from.first)) - kSamePlace);
  const double high = std::floor(to.Index(from.X(from.last)) + kSamePlace);
  const std::int64_t i0 = std::max(TruncToInt64(low), to.first);
  const std::int64_t i1 = std::min(TruncToInt64(high), to.last);
  if (i0 > i1) {
    return false;
  }
  out.MakeSameSize(raster);
  if (out.DLen() != raster.DLen()) {
    return false;  // memory is short
  }
  FillFitted(k, from, to, i0, i1, binning, out.ValArray());
  out.SetName(k.Name());
  out.TakeUnits(k);
  // The same numbers as the raster's where it bounds the range, so that learning finds the same
  // indices in both curves.
  out.SetVMinMax(i0 == to.first ? raster.VMin() : raster.GetPoint(static_cast<int>(i0)),
                 i1 == to.last ? raster.VMax() : raster.GetPoint(static_cast<int>(i1)));
  return true;
}

void CSigCurveAssistent::AddierenMitQuadrat(CSigCurveExt& mean, CSigCurveExt& meanSquare,
                                            const CSigCurve& k, float v) {
  const CSigCurveExt* const extended = AsExtended(&k);
  mean.Schrumpfen(extended != nullptr ? extended->VMin() : k.XMin(),
                  extended != nullptr ? extended->VMax() : k.XMax());
  meanSquare.SetVIMinMax(mean.IMin(), mean.IMax());
  if (mean.XDelta() == k.XDelta()) {
    mean.AddWithWeight(k, v, 0);
    meanSquare.AddSquared(k, v, 0);
    return;
  }
  const SIndexRange valid = mean.ValidIndices();
  const std::int64_t last = std::min(valid.last, std::int64_t{meanSquare.DLen()} - 1);
  const float step = k.XDelta();  // kept: the step of k on the grid of the mean
  float x = mean.VMin();
  for (std::int64_t i = valid.first; i <= last; ++i) {
    const float value = k.GetValue(x);
    mean.ValArray()[i] += v * value;
    meanSquare.ValArray()[i] += v * (value * value);
    x += step;
  }
}

float CSigCurveAssistent::MaxAbweichung(const CSigCurveExt& k, const CSigCurveExt& r,
                                        float* result) {
  return detail::MaxDeviation(detail::CurveOverlap(&k, &r), result);
}

bool CSigCurveAssistent::Excesses(const CSigCurve& k, const CSigCurveExt& limit,
                                  std::vector<SCurveExcess>& regions) {
  return detail::FindExcess(detail::CurveOverlap(&k, &limit), regions);
}

}  // namespace limes
