// How a curve compares with what was learnt.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_loops.h"
#include "limes/signals/extended_curve.h"

namespace limes {

/// The part of a reference curve's points that a measured curve covers too, and the measured values
/// there: index by index with equal steps, else the nearest ones.
struct CKurvenLernWerkzeug::SOverlap {
  SOverlap(const CSigCurve* measured, const CSigCurveExt* reference) {
    if (measured == nullptr || reference == nullptr || measured->DLen() == 0 ||
        reference->DLen() == 0) {
      return;
    }
    k = measured;
    r = reference;
    const CSigCurveExt* const extended = AsExtended(measured);
    const float kLow = extended != nullptr ? extended->VMin() : k->XMin();
    const float kHigh = extended != nullptr ? extended->VMax() : k->XMax();
    const float lo = r->VMin() < kLow ? kLow : r->VMin();
    const float hi = r->VMax() > kHigh ? kHigh : r->VMax();
    if (!(lo <= hi)) {
      return;
    }
    i0 = r->GetIndex(lo);
    i1 = r->GetIndex(hi);
    sameStep = k->XDelta() == r->XDelta();
    k0 = k->GetIndex(lo);
  }

  bool IsEmpty() const { return i0 > i1; }

  /// Index of the measured value at index i of the reference; the last one behind the end.
  std::int64_t Measured(std::int64_t i) const {
    return sameStep ? std::min<std::int64_t>(k0 + (i - i0), std::int64_t{k->DLen()} - 1)
                    : k->GetIndex(r->GetPoint(static_cast<int>(i)));
  }

  /// Calls use(first index, measured values, reference values, count) for piece after piece.
  template <class Use>
  void ForEachPiece(Use use) const {
    std::int64_t i = i0;
    if (sameStep) {
      const std::int64_t direct = std::min<std::int64_t>(i1 - i0 + 1, std::int64_t{k->DLen()} - k0);
      use(i, k->ValArray() + k0, r->ValArray() + i, static_cast<std::size_t>(direct));
      i += direct;
    }
    std::array<float, 256> values;
    while (i <= i1) {
      const auto count = std::min<std::size_t>(values.size(), static_cast<std::size_t>(i1 - i + 1));
      for (std::size_t j = 0; j < count; ++j) {
        values[j] = k->ValArray()[Measured(i + static_cast<std::int64_t>(j))];
      }
      use(i, values.data(), r->ValArray() + i, count);
      i += static_cast<std::int64_t>(count);
    }
  }

  struct SLargest {
    std::int64_t index;
    float difference;
  };

  SLargest Largest() const {
    SLargest best{i0, std::nanf("")};
    ForEachPiece([&best](std::int64_t i, const float* kv, const float* rv, std::size_t n) {
      const detail::SLargest here = detail::LargestDifference(kv, rv, n);
      if (here.difference > best.difference ||
          (std::isnan(best.difference) && !std::isnan(here.difference))) {
        best = {i + static_cast<std::int64_t>(here.index), here.difference};
      }
    });
    return best;
  }

  float Rms() const {
    double sum = 0.0;
    ForEachPiece([&sum](std::int64_t, const float* kv, const float* rv, std::size_t n) {
      sum = detail::AddSquaredExcess(sum, kv, rv, n);
    });
    const double mean = sum / static_cast<double>(i1 - i0 + 1);
    return static_cast<float>(mean > 0.0 ? std::sqrt(mean) : mean);
  }

  bool IsFinite() const {
    bool finite = true;
    ForEachPiece([&finite](std::int64_t, const float* kv, const float* rv, std::size_t n) {
      finite = finite && detail::AreFinite(kv, rv, n);
    });
    return finite;
  }

  const CSigCurve* k = nullptr;
  const CSigCurveExt* r = nullptr;
  std::int64_t i0 = 0;
  std::int64_t i1 = -1;
  std::int64_t k0 = 0;
  bool sameStep = false;
};

const CSigCurveExt* CKurvenLernWerkzeug::Reference(bool limit) const {
  return count_ == 0 ? nullptr : limit ? limit_.get() : mean_.get();
}

// kept: the two measures take opposite references unless told which
float CKurvenLernWerkzeug::RmsAbweichung(const CSigCurve* k, int reference) const {
  const SOverlap overlap(k, Reference(reference == 1));
  return overlap.IsEmpty() ? 0.0F : overlap.Rms();
}

float CKurvenLernWerkzeug::MaxAbweichung(const CSigCurve* k, float* result, int reference) const {
  const SOverlap overlap(k, Reference(reference != 0));
  if (overlap.IsEmpty()) {
    return 0.0F;
  }
  const auto [index, difference] = overlap.Largest();
  if (result != nullptr) {
    result[0] = overlap.r->GetPoint(static_cast<int>(index));
    result[1] = k->ValArray()[overlap.Measured(index)];
    result[2] = overlap.r->ValArray()[index];
  }
  return difference;
}

SCurveJudgement CKurvenLernWerkzeug::Beurteilen(const CSigCurve& k) const {
  SCurveJudgement judgement;
  const SOverlap overlap(&k, Reference(true));
  if (overlap.IsEmpty() || !*formed_ || mean_ == nullptr || meanSquare_ == nullptr ||
      overlap.r->ILen() <= 0) {
    return judgement;
  }
  const auto [index, difference] = overlap.Largest();
  const bool beyond = difference > 0.0F;
  if (!beyond && !overlap.IsFinite()) {
    return judgement;
  }
  judgement.verdict = beyond ? Verdict::kFail : Verdict::kPass;
  judgement.x0 = overlap.r->GetPoint(static_cast<int>(overlap.i0));
  judgement.x1 = overlap.r->GetPoint(static_cast<int>(overlap.i1));
  judgement.share = static_cast<float>(static_cast<double>(overlap.i1 - overlap.i0 + 1) /
                                       static_cast<double>(overlap.r->ILen()));
  judgement.deviation = difference;
  judgement.rms = overlap.Rms();
  judgement.x = overlap.r->GetPoint(static_cast<int>(index));
  judgement.value = k.ValArray()[overlap.Measured(index)];
  judgement.limit = overlap.r->ValArray()[index];
  judgement.mean = (*mean_)[index];
  if (count_ >= 2) {
    const float square = (*meanSquare_)[index] - judgement.mean * judgement.mean;
    judgement.spread = square > 0.0F ? std::sqrt(square) : 0.0F;
  }
  return judgement;
}

}  // namespace limes
