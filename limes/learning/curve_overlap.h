#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "limes/learning/judgement.h"
#include "limes/signals/extended_curve.h"

namespace limes::detail {

/// The part of a reference curve's points that a measured curve covers too, and the measured values
/// there: index by index with equal steps, else the nearest ones. Refers to both curves.
class CurveOverlap {
 public:
  /// Empty when a curve is null or without values, or the valid ranges do not meet.
  CurveOverlap(const CSigCurve* measured, const CSigCurveExt* reference);

  bool IsEmpty() const { return i0_ > i1_; }

  /// First and last index of the reference.
  std::int64_t First() const { return i0_; }
  std::int64_t Last() const { return i1_; }

  float X(std::int64_t i) const { return r_->GetPoint(static_cast<int>(i)); }
  float Reference(std::int64_t i) const { return r_->ValArray()[i]; }
  float Measured(std::int64_t i) const { return k_->ValArray()[MeasuredIndex(i)]; }

  /// Calls use(first index, measured values, reference values, count) for piece after piece.
  template <class Use>
  void ForEachPiece(Use use) const {
    std::int64_t i = i0_;
    if (sameStep_) {
      const std::int64_t direct =
          std::min<std::int64_t>(i1_ - i0_ + 1, std::int64_t{k_->DLen()} - k0_);
      use(i, k_->ValArray() + k0_, r_->ValArray() + i, static_cast<std::size_t>(direct));
      i += direct;
    }
    std::array<float, 256> values;
    while (i <= i1_) {
      const auto count =
          std::min<std::size_t>(values.size(), static_cast<std::size_t>(i1_ - i + 1));
      for (std::size_t j = 0; j < count; ++j) {
        values[j] = Measured(i + static_cast<std::int64_t>(j));
      }
      use(i, values.data(), r_->ValArray() + i, count);
      i += static_cast<std::int64_t>(count);
    }
  }

 private:
  /// Index of the measured value at index i of the reference; the last one behind the end.
  std::int64_t MeasuredIndex(std::int64_t i) const {
    return sameStep_ ? std::min<std::int64_t>(k0_ + (i - i0_), std::int64_t{k_->DLen()} - 1)
                     : k_->GetIndex(X(i));
  }

  const CSigCurve* k_ = nullptr;
  const CSigCurveExt* r_ = nullptr;
  std::int64_t i0_ = 0;
  std::int64_t i1_ = -1;
  std::int64_t k0_ = 0;
  bool sameStep_ = false;
};

/// For each point of a reference 1 when it counts, else 0; empty when all do.
using PointMask = std::span<const std::uint8_t>;

/// What a comparison of the points of an overlap gives.
struct SComparison {
  std::int64_t points = 0;  ///< compared
  std::int64_t first = 0;   ///< index of the first and the last one
  std::int64_t last = 0;
  std::int64_t index = 0;  ///< of the largest k - r, the first one on ties
  float largest = 0.0F;    ///< NaN are passed over; NaN when all are
  double squaredExcess = 0.0;
  bool finite = true;  ///< all values and references are

  /// RMS of the excess over all points compared.
  float Rms() const;
};

/// Compares point by point; no points when the overlap is empty or none of it counts. O(n).
SComparison Compare(const CurveOverlap& overlap, PointMask mask = {});

/// The largest k - r alone, as in SComparison, with x, k and r there in result unless it is null;
/// 0.0, with result untouched, when the overlap is empty.
float MaxDeviation(const CurveOverlap& overlap, float* result);

/// RMS of the excess alone. The overlap must not be empty.
float RmsExcess(const CurveOverlap& overlap);

/// The judgement by a limit, without mean and spread and share.
SCurveJudgement JudgementOf(const CurveOverlap& overlap, const SComparison& comparison);

/// The runs of points above the reference, in order of x, without mean and spread; a point that is
/// NaN, that the overlap lacks or that does not count ends a run. False, with runs unchanged, when
/// memory is short. O(n).
[[nodiscard]] bool FindExcess(const CurveOverlap& overlap, std::vector<SCurveExcess>& runs,
                              PointMask mask = {});

/// Adds those runs of which a point lies above the reference by more than what the condition
/// excuses; all without one. False, with the runs found so far, when memory is short. O(n).
using ExcuseExcess = bool (*)(double excess, double value, double limit);
[[nodiscard]] bool AddExcess(const CurveOverlap& overlap, std::vector<SCurveExcess>& runs,
                             PointMask mask, ExcuseExcess excuse);

}  // namespace limes::detail
