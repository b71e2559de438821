#include "limes/signals/extended_curve.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "limes/core/runtime_classes.h"
#include "limes/kernels/value_loops.h"
#include "limes/platform/memory_errors.h"
#include "limes/signals/cloned.h"

namespace limes {

namespace {

constexpr unsigned kAddedBytes = 5;  ///< what Size counts beside the curve's

// A NaN gives the second argument, the end of the grid.
float Larger(float x, float end) { return x > end ? x : end; }
float Smaller(float x, float end) { return x < end ? x : end; }

std::int64_t Last(const CSigCurve& curve) { return std::int64_t{curve.DLen()} - 1; }

}  // namespace

namespace detail {
constinit const CRuntimeClass kCurveExtClass = {"CSigCurveExt", &Created<CSigCurveExt>,
                                                &kCurveClass};
}  // namespace detail

const CSigCurveExt* AsExtended(const CSigRaw* signal) {
  return signal != nullptr && signal->IsSigCurveExt() ? dynamic_cast<const CSigCurveExt*>(signal)
                                                      : nullptr;
}

CSigCurveExt* AsExtended(CSigRaw* signal) {
  return const_cast<CSigCurveExt*>(AsExtended(static_cast<const CSigRaw*>(signal)));
}

CSigCurveExt::CSigCurveExt() { SetTypeCode(kTypeCurveExt); }

CSigCurveExt::CSigCurveExt(int n) : CSigCurve(n), iMax_(static_cast<std::int32_t>(DLen()) - 1) {
  SetTypeCode(kTypeCurveExt);
}

CSigCurveExt::CSigCurveExt(const CSigCurveExt& other, bool deep)
    : CSigCurve(other, deep, AsPart()),
      vMin_(other.vMin_),
      vMax_(other.vMax_),
      date_(other.date_),
      curveId_(other.curveId_),
      iMin_(other.iMin_),
      iMax_(other.iMax_) {
  SetTypeCode(kTypeCurveExt);
}

CSigCurveExt CSigCurveExt::Make(int n, float x0, float x1) {
  CSigCurveExt curve(n);
  curve.SetXMinMax(x0, x1);
  curve.ResetVMinMax();
  return curve;
}

CSigCurveExt CSigCurveExt::Make(std::span<const float> values, float x0, float x1) {
  CSigCurveExt curve;
  curve.SetXMinMax(x0, x1);
  static_cast<void>(curve.SetValues(values));
  return curve;
}

CSigCurveExt& CSigCurveExt::operator=(const CSigCurveExt& other) {
  Copy(other, true);
  return *this;
}

CSigCurveExt::CSigCurveExt(CSigCurveExt&& other) noexcept
    : CSigCurve(std::move(other), AsPart()),
      vMin_(other.vMin_),
      vMax_(other.vMax_),
      date_(other.date_),
      curveId_(other.curveId_),
      iMin_(other.iMin_),
      iMax_(other.iMax_) {
  SetTypeCode(kTypeCurveExt);
}

CSigCurveExt& CSigCurveExt::operator=(CSigCurveExt&& other) noexcept {
  CSigCurve::operator=(std::move(other));
  return *this;
}

CSigCurveExt& CSigCurveExt::operator=(const CSigCurve& other) {
  if (CSigCurve::Copy(other, true)) {
    InitHeader(other);
  }
  return *this;
}

const CRuntimeClass* CSigCurveExt::GetRuntimeClass() const { return GetThisClass(); }

CSigCurveExt::~CSigCurveExt() = default;

bool CSigCurveExt::Resize(unsigned n) {
  if (!CSignal::Resize(n)) {
    return false;
  }
  ResetVMinMax();
  return true;
}

unsigned CSigCurveExt::Size() const { return CSigCurve::Size() + kAddedBytes; }

bool CSigCurveExt::Append(const CSignal& other) {
  float otherMin = 0.0F;
  float otherMax = 0.0F;
  if (const CSigCurveExt* const extended = AsExtended(&other)) {
    otherMin = extended->vMin_;
    otherMax = extended->vMax_;
  } else if (const auto* const curve = dynamic_cast<const CSigCurve*>(&other)) {
    otherMin = curve->XMin();
    otherMax = curve->XMax();
  }
  if (!CSigCurve::Append(other)) {
    return false;
  }
  SetVMinMax(vMin_, vMax_ + otherMax - otherMin);
  return true;
}

void CSigCurveExt::CutLeft(float x) {
  CSigCurve::CutLeft(x);
  SetVMinMax(x, vMax_);
}

void CSigCurveExt::CutRight(float x) {
  CSigCurve::CutRight(x);
  SetVMinMax(vMin_, x);
}

void CSigCurveExt::CutLR(float x0, float x1) {
  CSigCurve::CutLeft(x0);
  CSigCurve::CutRight(x1);
  SetVMinMax(x0, x1);
}

/// The index of a value nearest to i; there must be values.
int CSigCurveExt::Stored(std::int32_t i) const { return std::min(i, static_cast<int>(DLen()) - 1); }

float CSigCurveExt::PointDistance(float x, float y, int* index) const {
  if (!IsValid()) {
    return 0.0F;
  }
  if (x < vMin_ || x > vMax_) {
    const bool left = x < vMin_;
    if (index != nullptr) {
      *index = Stored(left ? iMin_ : iMax_);
    }
    return detail::Distance(x, y, left ? vMin_ : vMax_, ValueAt(left ? iMin_ : iMax_));
  }
  if (index == nullptr) {
    return detail::Distance(x, y, x, GetValue(x));
  }
  *index = Stored(GetIndexV(x));
  return detail::Distance(x, y, GetPoint(*index), ValueAt(*index));
}

bool CSigCurveExt::IsInRange(float x) const { return vMin_ <= x && x <= vMax_; }

void CSigCurveExt::GetXRange(float& min, float& max) const {
  min = vMin_;
  max = vMax_;
}

void CSigCurveExt::GetYRange(float& min, float& max) const { RangeOf(min, max, iMin_, iMax_); }

void CSigCurveExt::GetYRangeX(float& min, float& max, float x0, float x1) const {
  RangeOf(min, max, GetIndex(x0), GetIndex(x1));
}

void CSigCurveExt::GetYRangeXI(float& min, float& max, unsigned i0, unsigned i1) const {
  RangeOf(min, max, i0, i1);
}

void CSigCurveExt::RangeOf(float& min, float& max, std::int64_t i0, std::int64_t i1) const {
  if (i0 > i1 || i0 > Last(*this)) {
    return;
  }
  i0 = std::min(std::max(i0, std::int64_t{iMin_}), Last(*this));
  i1 = std::min({i1, std::int64_t{iMax_}, Last(*this)});
  const auto count = static_cast<std::size_t>(std::max<std::int64_t>(i1 - i0, 0)) + 1;
  const detail::SBounds bounds = detail::FindBounds(FloatData() + i0, count);
  min = bounds.min;
  max = bounds.max;
}

void CSigCurveExt::InitHeader() {
  CSigCurve::InitHeader();
  SetTypeCode(kTypeCurveExt);
  date_ = 0.0F;
  curveId_ = 0;
  SetRange(0.0F, 1.0F, 0, -1);
}

void CSigCurveExt::Reset() {
  CSigCurve::Reset();
  SetRange(vMin_, vMax_, 0, Last(*this));
}

CSigCurveExt* CSigCurveExt::Clone(bool deep) const { return detail::Cloned(*this, deep); }

bool CSigCurveExt::Copy(const CClonable& other, bool deep) {
  const auto* const curve = dynamic_cast<const CSigCurve*>(&other);
  const CSigCurveExt* const extended = AsExtended(curve);
  if (curve == nullptr ||
      !CopyCurve(*curve, deep, extended != nullptr ? extended->XLen() : curve->DLen())) {
    return false;
  }
  if (extended != nullptr) {
    InitHeader(*extended, deep);
  } else {
    InitHeader(*curve, deep);
  }
  return true;
}

const CRuntimeClass* CSigCurveExt::GetThisClass() { return &detail::kCurveExtClass; }

CObject* CSigCurveExt::CreateObject() { return detail::Created<CSigCurveExt>(); }

void CSigCurveExt::InitHeader(const CSigCurveExt& other, bool deep) {
  CSigCurve::InitHeader(other, deep);
  SetTypeCode(kTypeCurveExt);
  date_ = other.date_;
  curveId_ = other.curveId_;
  SetRange(other.vMin_, other.vMax_, other.iMin_, other.iMax_);
}

void CSigCurveExt::InitHeader(const CSigCurve& other, bool deep) {
  CSigCurve::InitHeader(other, deep);
  SetTypeCode(kTypeCurveExt);
  date_ = 0.0F;
  curveId_ = -1;
  ResetVMinMax();
}

CSigCurveExt& CSigCurveExt::MakeSameSize(const CSigCurveExt& other) {
  if (MakeSameSizeOrKeep(other)) {
    SetTypeCode(kTypeCurveExt);
    curveId_ = other.curveId_;
    SetRange(other.vMin_, other.vMax_, other.iMin_, other.iMax_);
  }
  return *this;
}

std::int32_t CSigCurveExt::ILen() const {
  return static_cast<std::int32_t>(std::int64_t{iMax_} - iMin_ + 1);
}

void CSigCurveExt::SetVIMinMax(std::int32_t i0, std::int32_t i1) {
  if (DLen() == 0) {
    SetRange(0.0F, 0.0F, 0, -1);
    return;
  }
  SetRange(GetPoint(i0), GetPoint(i1), std::clamp<std::int64_t>(i0, 0, Last(*this)),
           std::clamp<std::int64_t>(i1, 0, Last(*this)));
}

void CSigCurveExt::SetVMinMax(float x0, float x1) {
  SetRange(Larger(x0, XMin()), Smaller(x1, XMax()), GetIndex(x0), DLen() == 0 ? -1 : GetIndex(x1));
}

void CSigCurveExt::ResetVMinMax() { SetRange(XMin(), XMax(), 0, Last(*this)); }

void CSigCurveExt::Expandieren(float x0, float x1) {
  SetVMinMax(Smaller(x0, vMin_), Larger(x1, vMax_));
}

void CSigCurveExt::Schrumpfen(float x0, float x1) {
  SetVMinMax(Larger(x0, vMin_), Smaller(x1, vMax_));
}

void CSigCurveExt::Expandieren(const CSigCurveExt* other) {
  if (other != nullptr) {
    Expandieren(other->vMin_, other->vMax_);
  }
}

void CSigCurveExt::Schrumpfen(const CSigCurveExt* other) {
  if (other != nullptr) {
    Schrumpfen(other->vMin_, other->vMax_);
  }
}

SIndexRange CSigCurveExt::ValidIndices() const {
  const SIndexRange range{std::max(iMin_, 0), std::min(std::int64_t{iMax_}, Last(*this))};
  return range.IsEmpty() ? SIndexRange() : range;
}

int CSigCurveExt::GetIndexV(float x) const {
  return std::min(std::max(GetIndexA(x), iMin_), iMax_);
}

float CSigCurveExt::GetValue(float x) const {
  if (DLen() == 0) {
    return 0.0F;
  }
  const auto edge = static_cast<float>(0.001 * XDelta());
  if (x <= vMin_ + edge) {
    return ValueAt(iMin_);
  }
  if (x >= vMax_ - edge) {
    return ValueAt(iMax_);
  }
  return CSigCurve::GetValue(x);
}

void CSigCurveExt::GridChanged(bool whole, std::int64_t shift) {
  if (whole) {
    ResetVMinMax();
    return;
  }
  const std::int64_t i0 = std::max<std::int64_t>(iMin_ + shift, 0);
  const std::int64_t i1 = std::min(iMax_ + shift, Last(*this));
  const bool some = i0 <= i1;
  SetRange(Larger(vMin_, XMin()), Smaller(vMax_, XMax()), some ? i0 : 0, some ? i1 : -1);
}

void CSigCurveExt::SetRange(float vMin, float vMax, std::int64_t iMin, std::int64_t iMax) {
  vMin_ = vMin;
  vMax_ = vMax;
  iMin_ = static_cast<std::int32_t>(iMin);
  iMax_ = static_cast<std::int32_t>(iMax);
  SetXLen(static_cast<std::uint32_t>(std::max(ILen(), 0)));
}

}  // namespace limes
