#include "limes/signals/curve.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "limes/core/runtime_classes.h"
#include "limes/kernels/compressed_vector.h"
#include "limes/kernels/value_loops.h"
#include "limes/platform/conversions.h"
#include "limes/platform/memory_errors.h"
#include "limes/signals/cloned.h"
#include "limes/signals/extended_curve.h"

namespace limes {

namespace {

constexpr unsigned kHeadBytes = 63;  ///< what Size counts beside the data

}  // namespace

namespace detail {
constinit const CRuntimeClass kCurveClass = {"CSigCurve", &Created<CSigCurve>, &kSignalClass};
}  // namespace detail

CSigCurve::CSigCurve() { SetTypeCode(kTypeCurve); }

CSigCurve::CSigCurve(int n) : CSignal(n) {
  SetTypeCode(kTypeCurve);
  SetXLen(DLen());
}

CSigCurve::CSigCurve(const CSigCurve& other, bool deep) : CSigCurve(other, deep, AsPart()) {
  SetXLen(DLen());
}

CSigCurve::CSigCurve(const CSigCurve& other, bool deep, AsPart /*tag*/)
    : CSignal(other, deep),
      xMin_(other.xMin_),
      xMax_(other.xMax_),
      scaleFactor_(other.scaleFactor_),
      invScaleFactor_(other.invScaleFactor_) {
  SetTypeCode(kTypeCurve);
}

CSigCurve& CSigCurve::operator=(const CSigCurve& other) {
  Copy(other, true);
  return *this;
}

CSigCurve::CSigCurve(CSigCurve&& other) noexcept : CSigCurve(std::move(other), AsPart()) {
  SetXLen(DLen());
}

CSigCurve::CSigCurve(CSigCurve&& other, AsPart /*tag*/) noexcept
    : CSignal(std::move(other)),
      xMin_(other.xMin_),
      xMax_(other.xMax_),
      scaleFactor_(other.scaleFactor_),
      invScaleFactor_(other.invScaleFactor_) {
  SetTypeCode(kTypeCurve);
}

CSigCurve& CSigCurve::operator=(CSigCurve&& other) noexcept {
  CSignal::operator=(std::move(other));
  return *this;
}

const CRuntimeClass* CSigCurve::GetRuntimeClass() const { return GetThisClass(); }

CSigCurve::~CSigCurve() = default;

int CSigCurve::Serialize(CSerializer* /*archive*/) { return 0; }

unsigned CSigCurve::Size() const { return CSignal::Size() + kHeadBytes; }

bool CSigCurve::Append(const CSignal& other) {
  const auto* const curve = dynamic_cast<const CSigCurve*>(&other);
  if (curve == nullptr) {
    return false;
  }
  const float span = curve->xMax_ - curve->xMin_;
  if (!CSignal::Append(other)) {
    return false;
  }
  xMax_ += span;
  return true;
}

bool CSigCurve::SetValues(std::span<const float> values) {
  if (values.size() > kMaxWords || !AllocateValues(static_cast<unsigned>(values.size()))) {
    return false;
  }
  detail::MoveValues(FloatData(), values.data(), values.size());
  GridChanged(true, 0);
  return true;
}

void CSigCurve::InitHeader() {
  ClearNames();
  SetTypeCode(kTypeCurve);
  xMin_ = 0.0F;
  xMax_ = 1.0F;
  scaleFactor_ = 1.0F;
  invScaleFactor_ = 1.0F;
}

void CSigCurve::Reset() {
  Nullsetzen();
  InitHeader();
}

CSigCurve* CSigCurve::Clone(bool deep) const { return detail::Cloned(*this, deep); }

bool CSigCurve::Copy(const CClonable& other, bool deep) {
  const auto* const curve = dynamic_cast<const CSigCurve*>(&other);
  return curve != nullptr && CopyCurve(*curve, deep, curve->DLen());
}

bool CSigCurve::CopyCurve(const CSigCurve& other, bool deep, std::uint32_t xLen) {
  if (!CopyWithXLen(other, deep, xLen)) {
    return false;
  }
  CSigCurve::InitHeader(other, deep);
  return true;
}

const CRuntimeClass* CSigCurve::GetThisClass() { return &detail::kCurveClass; }

CObject* CSigCurve::CreateObject() { return detail::Created<CSigCurve>(); }

void CSigCurve::InitHeader(const CSigCurve& other, bool deep) {
  CSignal::InitHeader(other, deep);
  SetTypeCode(kTypeCurve);
  xMin_ = other.xMin_;
  xMax_ = other.xMax_;
  scaleFactor_ = other.scaleFactor_;
  invScaleFactor_ = other.invScaleFactor_;
}

CSigCurve& CSigCurve::CopyData(const CSigCurve& other) {
  const std::uint32_t n = other.DLen();
  const bool sameSize = n == DLen();
  if (&other != this && (sameSize || AllocateValues(n))) {
    detail::MoveValues(FloatData(), other.FloatData(), n);
  }
  return *this;
}

bool CSigCurve::MakeSameSizeOrKeep(const CSigCurve& other) {
  if (!ReserveExtName(other) || !AllocateValues(other.DLen())) {
    return false;
  }
  Nullsetzen();
  CSigCurve::InitHeader(other);
  return true;
}

CSigCurve& CSigCurve::MakeSameSize(const CSigCurve& other) {
  static_cast<void>(MakeSameSizeOrKeep(other));
  return *this;
}

void CSigCurve::SetXMinMax(float xMin, float xMax) {
  xMin_ = xMin;
  xMax_ = xMax;
}

float CSigCurve::XDelta() const {
  // kept: n steps, not n - 1: x ranges are stored so, with x max one step behind the last value
  return DLen() == 0 ? 0.0F : (xMax_ - xMin_) / static_cast<float>(DLen());
}

void CSigCurve::SetScaleFactor(float factor) {
  scaleFactor_ = factor;
  invScaleFactor_ = factor == 0.0F ? 1.0F : 1.0F / factor;
}

int CSigCurve::GetIndexA(float x) const {
  if (xMax_ == xMin_) {
    return 0;
  }
  const float steps = (x - xMin_) * static_cast<float>(DLen()) / (xMax_ - xMin_);
  return TruncToInt32(double{steps} + 0.5);
}

int CSigCurve::GetIndex(float x) const {
  const int last = static_cast<int>(DLen()) - 1;
  return std::max(std::min(GetIndexA(x), last), 0);
}

bool CSigCurve::GetIndexValidate(float x, int& i) const {
  if (!HasXSpan()) {
    return false;
  }
  i = GetIndexA(x);
  return i >= 0 && static_cast<std::uint32_t>(i) < DLen();
}

int CSigCurve::GetIndexFromY(float y) const {
  // kept: only the first value is compared; FindIndexOfY searches
  return DLen() > 0 && FloatData()[0] == y ? 0 : -1;
}

int CSigCurve::FindIndexOfY(float y, float tol) const {
  const std::span<const float> values = Values();
  const auto at = std::find_if(values.begin(), values.end(),
                               [y, tol](float v) { return v == y || std::fabs(v - y) <= tol; });
  return at == values.end() ? -1 : static_cast<int>(at - values.begin());
}

float CSigCurve::GetPoint(int i) const {
  if (DLen() == 0) {
    return 0.0F;
  }
  return (xMax_ - xMin_) * static_cast<float>(i) / static_cast<float>(DLen()) + xMin_;
}

SIndexRange CSigCurve::ValidIndices() const {
  const CSigCurveExt* const extended = AsExtended(this);
  return extended != nullptr ? extended->ValidIndices() : SIndexRange{0, std::int64_t{DLen()} - 1};
}

float CSigCurve::ValueAt(std::int64_t i) const {
  if (DLen() == 0) {
    return 0.0F;
  }
  return FloatData()[std::clamp<std::int64_t>(i, 0, std::int64_t{DLen()} - 1)];
}

float CSigCurve::GetValue(float x) const {
  if (DLen() == 0) {
    return 0.0F;
  }
  const float step = XDelta();
  const double edge = step * 0.001;
  if (x <= xMin_ + edge) {
    return ValueAt(0);
  }
  if (x >= xMax_ - edge) {
    return ValueAt(std::int64_t{DLen()} - 1);
  }
  const float steps = (x - xMin_) * (1.0F / step);
  const std::int64_t i = std::clamp<std::int64_t>(TruncToInt64(steps), 0, std::int64_t{DLen()} - 1);
  const float t = (x - (step * static_cast<float>(i) + xMin_)) / step;
  const float value = ValueAt(i);
  return value + (ValueAt(i + 1) - value) * t;
}

float CSigCurve::operator[](float x) const { return CSigCurve::GetValue(x); }

void CSigCurve::SetAt(int i, float value) {
  if (i >= 0 && static_cast<std::uint32_t>(i) < DLen()) {
    FloatData()[i] = value;
  }
}

float CSigCurve::PointDistance(float x, float y, int* index) const {
  if (DLen() == 0) {
    return 0.0F;
  }
  if (x <= xMin_ || x >= xMax_) {
    const bool left = x <= xMin_;
    const int i = left ? 0 : static_cast<int>(DLen()) - 1;
    if (index != nullptr) {
      *index = i;
    }
    return detail::Distance(x, y, left ? xMin_ : x, ValueAt(i));
  }
  if (index == nullptr) {
    return detail::Distance(x, y, x, CSigCurve::GetValue(x));
  }
  *index = GetIndex(x);
  return detail::Distance(x, y, GetPoint(*index), ValueAt(*index));
}

bool CSigCurve::IsInRange(float x) const { return xMin_ <= x && x <= xMax_; }

void CSigCurve::GetXRange(float& min, float& max) const {
  min = xMin_;
  max = xMax_;
}

void CSigCurve::GetYRange(float& min, float& max) const {
  if (DLen() > 0) {
    const detail::SBounds bounds = detail::FindBounds(FloatData(), DLen());
    min = bounds.min;
    max = bounds.max;
  }
}

void CSigCurve::GetYRangeX(float& min, float& max, float x0, float x1) const {
  if (DLen() > 0) {
    GetYRangeXI(min, max, static_cast<unsigned>(GetIndex(x0)), static_cast<unsigned>(GetIndex(x1)));
  }
}

void CSigCurve::GetYRangeXI(float& min, float& max, unsigned i0, unsigned i1) const {
  if (i0 > i1 || i0 >= DLen()) {
    return;
  }
  const detail::SBounds bounds =
      detail::FindBounds(FloatData() + i0, std::min(i1, DLen() - 1) - i0 + 1);
  min = bounds.min;
  max = bounds.max;
}

CSignal::Range CSigCurve::YRange() const {
  if (DLen() == 0) {
    return {};
  }
  const auto [iMin, iMax] = detail::FindExtremes(FloatData(), DLen());
  return {{GetPoint(static_cast<int>(iMin)), FloatData()[iMin]},
          {GetPoint(static_cast<int>(iMax)), FloatData()[iMax]}};
}

bool CSigCurve::FitTogether(const CSigCurve* other) const {
  // kept: an absolute tolerance, whatever the x unit
  constexpr float kTolerance = 0.0001F;
  return other != nullptr && DLen() == other->DLen() &&
         std::fabs(xMin_ - other->xMin_) < kTolerance &&
         std::fabs(xMax_ - other->xMax_) < kTolerance;
}

}  // namespace limes
