#include "limes/learning/curve_assistant.h"

#include <algorithm>
#include <cstdint>

#include "limes/learning/curve_fit.h"
#include "limes/learning/curve_overlap.h"
#include "limes/signals/extended_curve.h"

namespace limes {
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
  const detail::SGrid from(k);
  const detail::SGrid to(raster);
  if (!from.IsUsable() || !to.IsUsable()) {
    return false;
  }
  const SIndexRange range = detail::CoveredRange(from, to);
  if (range.IsEmpty()) {
    return false;
  }
  out.MakeSameSize(raster);
  if (out.DLen() != raster.DLen()) {
    return false;  // memory is short
  }
  detail::FillFitted(k, from, to, range, binning, out.ValArray());
  out.SetName(k.Name());
  out.TakeUnits(k);
  detail::SetValidPoints(out, range, raster, {to.first, to.last});
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
