#include <algorithm>
#include <cmath>

#include "limes/kernels/value_loops.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/sum_runs.h"

namespace limes {

namespace {

bool SameStep(const CSigCurve& a, const CSigCurve& b) { return a.XDelta() == b.XDelta(); }

/// target[i] = source[i + offset] for i from i0 to i1, as far as both curves have values.
void TakeValues(CSigCurve& target, const CSigCurve& source, std::int64_t i0, std::int64_t i1,
                std::int64_t offset) {
  i0 = std::max({i0, std::int64_t{0}, -offset});
  i1 = std::min({i1, std::int64_t{target.DLen()} - 1, std::int64_t{source.DLen()} - 1 - offset});
  if (i0 <= i1) {
    detail::MoveValues(target.FloatData() + i0, source.FloatData() + i0 + offset,
                       static_cast<std::size_t>(i1 - i0 + 1));
  }
}

/// The loop of a weighted sum: target values with the source's in turn.
template <class Loop>
void Accumulate(CSigCurveExt& target, const CSigCurve& source, int offset, bool oneMore,
                Loop loop) {
  for (const detail::SumRun& run : detail::SumRuns(target, source, offset, oneMore)) {
    if (run.i0 < run.i1) {
      loop(target.ValArray() + run.i0, run.source, static_cast<std::size_t>(run.i1 - run.i0));
    }
  }
}

}  // namespace

CSigCurveExt& CSigCurveExt::operator=(float v) {
  const std::span<float> valid = ValidValues();
  detail::FillValues(valid.data(), valid.size(), v);
  return *this;
}

CSigCurveExt& CSigCurveExt::operator+=(float v) {
  const std::span<float> valid = ValidValues();
  detail::AddConstant(valid.data(), valid.size(), v);
  return *this;
}

CSigCurveExt& CSigCurveExt::operator+=(const CSigCurve& other) {
  SIndexRange range = ValidIndices();
  range.last = std::min(range.last, std::int64_t{other.DLen()} - 1);
  if (!range.IsEmpty()) {
    detail::AddValues(FloatData() + range.first, other.FloatData() + range.first, range.Size());
  }
  return *this;
}

CSigCurveExt& CSigCurveExt::operator|=(const CSigCurveExt& other) {
  if (SameStep(*this, other)) {
    TakeValues(*this, other, other.iMin_, other.iMax_, 0);
  }
  return *this;
}

CSigCurveExt& CSigCurveExt::operator^=(const CSigCurveExt& other) {
  if (!SameStep(*this, other) || other.vMin_ > vMax_ || other.vMax_ < vMin_) {
    return *this;
  }
  if (vMin_ > other.vMin_ && iMin_ > 0) {
    const std::int64_t former = iMin_;
    iMin_ = GetIndex(other.vMin_);
    vMin_ = GetPoint(iMin_);
    TakeValues(*this, other, iMin_, former - 1, std::int64_t{other.GetIndex(vMin_)} - iMin_);
  }
  if (vMax_ < other.vMax_ && iMax_ < static_cast<std::int32_t>(DLen()) - 1) {
    const std::int32_t next = iMax_ + 1;
    iMax_ = GetIndex(other.vMax_);
    vMax_ = GetPoint(iMax_);
    TakeValues(*this, other, next, iMax_, std::int64_t{other.GetIndex(GetPoint(next))} - next);
  }
  return *this;
}

void CSigCurveExt::Maximize(const CSigCurveExt* other, int mode) {
  if (other == nullptr || other->vMin_ > vMax_ || other->vMax_ < vMin_) {
    return;
  }
  const bool startsHere = other->vMin_ <= vMin_;
  const std::int64_t start = startsHere ? iMin_ : GetIndex(other->vMin_);
  const std::int64_t offset = (startsHere ? other->GetIndex(vMin_) : other->iMin_) - start;
  const std::int64_t end = other->vMax_ <= vMax_ ? GetIndex(other->vMax_) : iMax_;
  const std::int64_t i0 = std::max({start, std::int64_t{0}, -offset});
  const std::int64_t i1 =
      std::min({end, std::int64_t{DLen()} - 1, std::int64_t{other->DLen()} - 1 - offset});
  if (i0 > i1) {
    return;
  }
  (mode != 0 ? detail::TakeLarger : detail::TakeSmaller)(
      FloatData() + i0, other->FloatData() + i0 + offset, static_cast<std::size_t>(i1 - i0 + 1));
}

void CSigCurveExt::AddWithWeight(const CSigCurve& source, float w, int offset) {
  if (w != 0.0F) {  // kept: one value more than the source has; AddSquared takes none
    Accumulate(*this, source, offset, true,
               [w](float* y, const float* s, std::size_t n) { detail::AddScaled(y, s, n, w); });
  }
}

void CSigCurveExt::AddSquared(const CSigCurve& source, float w, int offset) {
  if (w != 0.0F) {
    Accumulate(*this, source, offset, false, [w](float* y, const float* s, std::size_t n) {
      detail::AddScaledTimes(y, s, n, w);
    });
  }
}

float CSigCurveExt::AbschnittSumme(float x0, float x1, bool dB) const {
  const SIndexRange valid = ValidIndices();
  if (x0 > vMax_ || x1 < vMin_ || valid.IsEmpty()) {
    return 0.0F;
  }
  const SIndexRange section{std::clamp<std::int64_t>(GetIndex(x0), valid.first, valid.last),
                            std::clamp<std::int64_t>(GetIndex(x1), valid.first, valid.last)};
  if (section.IsEmpty()) {
    return 0.0F;
  }
  const std::span<const float> values = Part(Values(), section);
  if (!dB) {
    float sum = 0.0F;
    for (const float v : values) {
      sum += v;
    }
    return sum;
  }
  constexpr double kPerDecibel = 0.2302585F;  // ln 10 / 10, as float
  // Relative to the first term, so that high levels do not overflow the sum.
  const double relative = std::exp(-kPerDecibel * values.front());
  double sum = 0.0;
  for (const float v : values) {
    sum += std::exp(kPerDecibel * v) * relative;
  }
  if (!(sum > 0.0)) {
    return 0.0F;
  }
  return static_cast<float>(std::log(sum * std::exp(kPerDecibel * values.front())) / kPerDecibel);
}

}  // namespace limes
