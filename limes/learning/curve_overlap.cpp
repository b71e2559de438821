#include "limes/learning/curve_overlap.h"

#include <cmath>

#include "limes/learning/learning_loops.h"
#include "limes/platform/memory_errors.h"

namespace limes::detail {
namespace {

void TakeLargest(SComparison& best, std::int64_t i, const float* k, const float* r, std::size_t n) {
  const SLargest here = FindLargestDifference(k, r, n);
  if (here.difference > best.largest ||
      (std::isnan(best.largest) && !std::isnan(here.difference))) {
    best.index = i + static_cast<std::int64_t>(here.index);
    best.largest = here.difference;
  }
}

float Rms(double sum, std::int64_t points) {
  const double mean = sum / static_cast<double>(points);
  return static_cast<float>(mean > 0.0 ? std::sqrt(mean) : mean);
}

}  // namespace

CurveOverlap::CurveOverlap(const CSigCurve* measured, const CSigCurveExt* reference) {
  if (measured == nullptr || reference == nullptr || measured->DLen() == 0 ||
      reference->DLen() == 0) {
    return;
  }
  k_ = measured;
  r_ = reference;
  const CSigCurveExt* const extended = AsExtended(measured);
  const float kLow = extended != nullptr ? extended->VMin() : k_->XMin();
  const float kHigh = extended != nullptr ? extended->VMax() : k_->XMax();
  const float lo = r_->VMin() < kLow ? kLow : r_->VMin();
  const float hi = r_->VMax() > kHigh ? kHigh : r_->VMax();
  if (!(lo <= hi)) {
    return;
  }
  i0_ = r_->GetIndex(lo);
  i1_ = r_->GetIndex(hi);
  sameStep_ = k_->XDelta() == r_->XDelta();
  k0_ = k_->GetIndex(lo);
}

float SComparison::Rms() const { return points > 0 ? detail::Rms(squaredExcess, points) : 0.0F; }

SComparison Compare(const CurveOverlap& overlap, PointMask mask) {
  SComparison result;
  result.largest = std::nanf("");
  result.index = overlap.First();
  if (overlap.IsEmpty()) {
    return result;
  }
  const auto take = [&result](std::int64_t i, const float* k, const float* r, std::size_t n) {
    if (result.points == 0) {
      result.first = result.index = i;
    }
    result.points += static_cast<std::int64_t>(n);
    result.last = i + static_cast<std::int64_t>(n) - 1;
    TakeLargest(result, i, k, r, n);
    result.squaredExcess = AddSquaredExcess(result.squaredExcess, k, r, n);
    result.finite = result.finite && AreFinite(k, r, n);
  };
  if (mask.empty()) {
    overlap.ForEachPiece(take);
    return result;
  }
  overlap.ForEachPiece([&](std::int64_t i, const float* k, const float* r, std::size_t n) {
    const std::uint8_t* const counts = mask.data() + i;
    for (std::size_t j = 0; j < n;) {
      std::size_t end = j;
      while (end < n && counts[end] != 0) {
        ++end;
      }
      if (end > j) {
        take(i + static_cast<std::int64_t>(j), k + j, r + j, end - j);
      }
      j = end + 1;
    }
  });
  return result;
}

float MaxDeviation(const CurveOverlap& overlap, float* result) {
  if (overlap.IsEmpty()) {
    return 0.0F;
  }
  SComparison best;
  best.index = overlap.First();
  best.largest = std::nanf("");
  overlap.ForEachPiece([&best](std::int64_t i, const float* k, const float* r, std::size_t n) {
    TakeLargest(best, i, k, r, n);
  });
  if (result != nullptr) {
    result[0] = overlap.X(best.index);
    result[1] = overlap.Measured(best.index);
    result[2] = overlap.Reference(best.index);
  }
  return best.largest;
}

float RmsExcess(const CurveOverlap& overlap) {
  double sum = 0.0;
  overlap.ForEachPiece([&sum](std::int64_t, const float* k, const float* r, std::size_t n) {
    sum = AddSquaredExcess(sum, k, r, n);
  });
  return Rms(sum, overlap.Last() - overlap.First() + 1);
}

SCurveJudgement JudgementOf(const CurveOverlap& overlap, const SComparison& comparison) {
  SCurveJudgement judgement;
  const bool beyond = comparison.largest > 0.0F;
  if (comparison.points == 0 || (!beyond && !comparison.finite)) {
    return judgement;
  }
  judgement.verdict = beyond ? Verdict::kFail : Verdict::kPass;
  judgement.x0 = overlap.X(comparison.first);
  judgement.x1 = overlap.X(comparison.last);
  judgement.deviation = comparison.largest;
  judgement.rms = comparison.Rms();
  judgement.x = overlap.X(comparison.index);
  judgement.value = overlap.Measured(comparison.index);
  judgement.limit = overlap.Reference(comparison.index);
  return judgement;
}

bool FindExcess(const CurveOverlap& overlap, std::vector<SCurveExcess>& runs, PointMask mask) {
  std::vector<SCurveExcess> found;
  if (!AddExcess(overlap, found, mask, nullptr)) {
    return false;
  }
  runs.swap(found);
  return true;
}

bool AddExcess(const CurveOverlap& overlap, std::vector<SCurveExcess>& runs, PointMask mask,
               ExcuseExcess excuse) {
  return detail::IfMemoryAllows(false, [&] {
    bool inside = false;
    bool real = true;  // a point of the last run is beyond the excuse
    const auto end = [&] {
      if (inside && !real) {
        runs.pop_back();
      }
      inside = false;
    };
    for (std::int64_t i = overlap.First(); i <= overlap.Last(); ++i) {
      const float value = overlap.Measured(i);
      const float limit = overlap.Reference(i);
      const bool counts = mask.empty() || mask[static_cast<std::size_t>(i)] != 0;
      if (!counts || !(value > limit)) {
        end();
        continue;
      }
      const float x = overlap.X(i);
      if (!inside) {
        runs.push_back({.x0 = x});
        inside = true;
        real = false;
      }
      const double difference = double{value} - double{limit};
      real = real || excuse == nullptr || !excuse(difference, double{value}, double{limit});
      SCurveExcess& run = runs.back();
      run.x1 = x;
      ++run.points;
      const auto excess = static_cast<float>(difference);
      if (run.points == 1 || excess > run.excess) {
        run.excess = excess;
        run.index = static_cast<std::int32_t>(i);
        run.x = x;
        run.value = value;
        run.limit = limit;
      }
    }
    end();
    return true;
  });
}

}  // namespace limes::detail
