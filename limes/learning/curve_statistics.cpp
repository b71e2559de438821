// Means, spreads and sums over curves, and bounding by limit curves.
#include <algorithm>
#include <cmath>
#include <new>
#include <utility>
#include <vector>

#include "limes/learning/curve_assistant.h"
#include "limes/learning/learn_merge.h"
#include "limes/platform/memory_errors.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

using Curves = std::span<const CSigCurveExt* const>;

/// The points valid in all curves; none unless all are on one grid with the same units.
SIndexRange CommonRange(Curves curves) {
  SIndexRange common{0, -1};
  for (std::size_t i = 0; i < curves.size(); ++i) {
    if (detail::CheckCurves(curves[0], curves[i]) != MergeStatus::kOk) {
      return {};
    }
    const SIndexRange range = curves[i]->ValidIndices();
    common = i == 0 ? range
                    : SIndexRange{std::max(common.first, range.first),
                                  std::min(common.last, range.last)};
  }
  return common;
}

/// Weighted means point by point, in the order of the curves.
std::vector<double> Means(Curves curves, SIndexRange range, std::span<const float> weights,
                          double total) {
  std::vector<double> sums(range.Size());
  for (std::size_t k = 0; k < curves.size(); ++k) {
    const float* const y = curves[k]->ValArray() + range.first;
    const double w = weights.empty() ? 1.0 : double{weights[k]};
    for (std::size_t i = 0; i < sums.size(); ++i) {
      sums[i] += w * double{y[i]};
    }
  }
  for (double& sum : sums) {
    sum /= total;
  }
  return sums;
}

/// A curve on the grid of another, valid over the range, with these values; empty without memory.
CSigCurveExt Result(const CSigCurveExt& like, SIndexRange range,
                    const std::vector<double>& values) {
  CSigCurveExt result;
  result.MakeSameSize(like);
  if (result.DLen() != like.DLen()) {
    throw std::bad_alloc();
  }
  std::transform(values.begin(), values.end(), result.ValArray() + range.first,
                 [](double v) { return static_cast<float>(v); });
  if (!result.SetName(like.Name())) {
    throw std::bad_alloc();
  }
  result.TakeUnits(like);
  result.SetVIMinMax(static_cast<std::int32_t>(range.first), static_cast<std::int32_t>(range.last));
  return result;
}

}  // namespace

bool CSigCurveAssistent::WeightedMean(Curves curves, std::span<const float> weights,
                                      CSigCurveExt& out) {
  return detail::IfMemoryAllows(false, [&] {
    const SIndexRange range = CommonRange(curves);
    double total = 0.0;
    for (const float w : weights) {
      total += double{w};
    }
    if (range.IsEmpty() || weights.size() != curves.size() || !std::isfinite(total) ||
        total == 0.0) {
      return false;
    }
    return out.Copy(Result(*curves[0], range, Means(curves, range, weights, total)), true);
  });
}

bool CSigCurveAssistent::MeanAndSpread(Curves curves, CSigCurveExt& mean, CSigCurveExt& stdDev) {
  return detail::IfMemoryAllows(false, [&] {
    const SIndexRange range = CommonRange(curves);
    if (range.IsEmpty() || &mean == &stdDev) {
      return false;
    }
    const auto n = static_cast<double>(curves.size());
    const std::vector<double> means = Means(curves, range, {}, n);
    std::vector<double> spreads(means.size());
    for (const CSigCurveExt* const curve : curves) {
      const float* const y = curve->ValArray() + range.first;
      for (std::size_t i = 0; i < spreads.size(); ++i) {
        const double d = double{y[i]} - means[i];
        spreads[i] += d * d;
      }
    }
    for (double& spread : spreads) {
      spread = std::sqrt(spread / n);
    }
    const CSigCurveExt first = Result(*curves[0], range, means);
    const CSigCurveExt second = Result(*curves[0], range, spreads);
    return mean.Copy(first, true) && stdDev.Copy(second, true);
  });
}

bool CSigCurveAssistent::Summe(const CSigCurveArray& array, CSigCurveExt& out) {
  return array.Summe(&out);
}

bool CSigCurveAssistent::Maximum(const CSigCurveArray& array, CSigCurveExt& out) {
  constexpr int kLargest = 1;
  return array.Maximum(&out, kLargest);
}

bool CSigCurveAssistent::Section(const CSigCurveArray& array, float x, CSigCurveExt& out) {
  CSigCurveExt section;
  return array.Querschnitt(x, &section) > 0 && out.Copy(section, true);
}

bool CSigCurveAssistent::ClampBetween(CSigCurveExt& c, const CSigCurveExt& lower,
                                      const CSigCurveExt& upper) {
  if (detail::CheckCurves(&c, &lower) == MergeStatus::kGrid ||
      detail::CheckCurves(&c, &upper) == MergeStatus::kGrid) {
    return false;
  }
  const auto bound = [&c](const CSigCurveExt& limit, auto beyond) {
    const SIndexRange own = c.ValidIndices();
    const SIndexRange valid = limit.ValidIndices();
    const std::int64_t last = std::min(own.last, valid.last);
    for (std::int64_t i = std::max(own.first, valid.first); i <= last; ++i) {
      const float y = limit.ValArray()[i];
      float& value = c.ValArray()[i];
      value = beyond(value, y) ? y : value;
    }
  };
  bound(lower, [](float value, float limit) { return value < limit; });
  bound(upper, [](float value, float limit) { return value > limit; });
  return true;
}

}  // namespace limes
