#include "limes/learning/curve_fit.h"

#include <algorithm>
#include <cmath>

#include "limes/platform/conversions.h"
#include "limes/platform/memory_errors.h"

namespace limes::detail {
namespace {

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

}  // namespace

SGrid::SGrid(const CSigCurve& curve)
    : start(curve.XMin()),
      step((double{curve.XMax()} - curve.XMin()) / curve.DLen()),
      first(curve.ValidIndices().first),
      last(curve.ValidIndices().last) {}

bool SGrid::IsUsable() const {
  return std::isfinite(start) && std::isfinite(step) && step > 0.0 && first <= last;
}

SIndexRange CoveredRange(const SGrid& from, const SGrid& to) {
  const double low = std::ceil(to.Index(from.X(from.first)) - kSamePlace);
  const double high = std::floor(to.Index(from.X(from.last)) + kSamePlace);
  return {std::max(TruncToInt64(low), to.first), std::min(TruncToInt64(high), to.last)};
}

void FillFitted(const CSigCurve& k, const SGrid& from, const SGrid& to, SIndexRange range,
                CSigCurveAssistent::Binning binning, float* out) {
  const double offset = from.Index(to.start);
  const double ratio = to.step / from.step;
  const double drift = std::fabs(ratio - 1.0) * static_cast<double>(range.last + 1);
  const double shift = std::nearbyint(offset);
  if (drift < kSamePlace && std::fabs(offset - shift) < kSamePlace) {
    const float* const source = k.ValArray();
    const std::int64_t move = TruncToInt64(shift);
    if (range.first + move >= from.first && range.last + move <= from.last) {
      std::copy(source + range.first + move, source + range.last + move + 1, out + range.first);
      return;
    }
    for (std::int64_t i = range.first; i <= range.last; ++i) {
      out[i] = source[std::clamp(i + move, from.first, from.last)];
    }
    return;
  }
  for (std::int64_t i = range.first; i <= range.last; ++i) {
    out[i] = ratio > 1.0 + kSamePlace ? Binned(k, from, to, i, binning)
                                      : Interpolated(k, from, from.Index(to.X(i)));
  }
}

void SetValidPoints(CSigCurveExt& out, SIndexRange range, const CSigCurveExt& grid,
                    SIndexRange own) {
  out.SetVMinMax(
      range.first == own.first ? grid.VMin() : grid.GetPoint(static_cast<int>(range.first)),
      range.last == own.last ? grid.VMax() : grid.GetPoint(static_cast<int>(range.last)));
}

bool CopyValid(const CSigCurve& curve, CSigCurveExt& out) {
  return detail::IfMemoryAllows(false, [&] {
    const SGrid grid(curve);
    const auto n = static_cast<std::uint32_t>(grid.last - grid.first + 1);
    if (n == curve.DLen()) {
      const CSigCurveExt* const extended = AsExtended(&curve);
      return (extended != nullptr ? out.Copy(*extended, true) : out.Copy(curve, true)) &&
             out.DLen() == n;
    }
    out = CSigCurveExt::Make(static_cast<int>(n), curve.GetPoint(static_cast<int>(grid.first)),
                             curve.GetPoint(static_cast<int>(grid.last) + 1));
    if (out.DLen() != n || !out.SetName(curve.Name())) {
      return false;
    }
    out.TakeUnits(curve);
    return true;
  });
}

}  // namespace limes::detail
