#include "limes/signals/curve_array.h"

#include <algorithm>
#include <new>
#include <stdexcept>
#include <utility>

#include "limes/signals/extended_curve.h"

namespace limes {

namespace {

CObject* CreateArray() noexcept {
  try {
    return new CSigCurveArray;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

constinit const CRuntimeClass kArrayClass = {"CSigCurveArray", &CreateArray, &detail::kObjectClass};

/// A curve of len values of 0 in the slot, all valid; false when memory is short.
bool Equip(std::unique_ptr<CSigCurveExt>& slot, int len) try {
  if (slot == nullptr) {
    slot = std::make_unique<CSigCurveExt>();
  }
  const auto values = static_cast<unsigned>(std::max(len, 0));
  slot->Malloc(values);
  slot->ResetVMinMax();
  return slot->DLen() == values;
} catch (const std::bad_alloc&) {
  return false;
}

}  // namespace

CSigCurveArray::CSigCurveArray(int n) {
  if (n > 0 && Expandieren(n)) {
    tDelta_ = 1.0F / static_cast<float>(n);
  }
}

CSigCurveArray::CSigCurveArray(const CSigCurveArray& other, bool deep) { Copy(other, deep); }

CSigCurveArray& CSigCurveArray::operator=(const CSigCurveArray& other) {
  Copy(other, true);
  return *this;
}

const CRuntimeClass* CSigCurveArray::GetRuntimeClass() const { return GetThisClass(); }

CSigCurveArray::~CSigCurveArray() = default;

const CRuntimeClass* CSigCurveArray::GetThisClass() { return &kArrayClass; }

CObject* CSigCurveArray::CreateObject() { return CreateArray(); }

CSigCurveArray* CSigCurveArray::Clone(bool deep) const {
  auto copy = std::unique_ptr<CSigCurveArray>(new (std::nothrow) CSigCurveArray);
  return copy != nullptr && copy->Copy(*this, deep) ? copy.release() : nullptr;
}

bool CSigCurveArray::Copy(const CClonable& other, bool deep) {
  const auto* const array = dynamic_cast<const CSigCurveArray*>(&other);
  Slots copies;
  if (array == nullptr || array == this || !CopySlots(*array, deep, copies)) {
    return false;
  }
  slots_.swap(copies);
  TakeHeader(*array);
  return true;
}

bool CSigCurveArray::CopyData(const CSigCurveArray& other) {
  Slots copies;
  if (&other == this || !CopySlots(other, true, copies)) {
    return false;
  }
  slots_.swap(copies);
  count_ = other.count_;
  lastAttached_ = other.lastAttached_;
  lastDelivered_ = other.lastDelivered_;
  return true;
}

/// Copies of the other's curves in as many slots; false when memory is short.
bool CSigCurveArray::CopySlots(const CSigCurveArray& other, bool deep, Slots& copies) const {
  try {
    copies.resize(other.slots_.size());
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (std::size_t i = 0; i < copies.size(); ++i) {
    if (const CSigCurveExt* const curve = other.slots_[i].get()) {
      copies[i].reset(curve->Clone(deep));
      if (copies[i] == nullptr || copies[i]->DLen() != curve->DLen()) {
        return false;
      }
    }
  }
  return true;
}

void CSigCurveArray::TakeHeader(const CSigCurveArray& other) {
  count_ = other.count_;
  tMin_ = other.tMin_;
  tMax_ = other.tMax_;
  tDelta_ = other.tDelta_;
  vBereich_ = other.vBereich_;
  tvMin_ = other.tvMin_;
  tvMax_ = other.tvMax_;
  name_ = other.name_;
  tUnit_ = other.tUnit_;
  xUnit_ = other.xUnit_;
  yUnit_ = other.yUnit_;
  quinter_ = other.quinter_;
  lastAttached_ = other.lastAttached_;
  lastDelivered_ = other.lastDelivered_;
  reserved_ = other.reserved_;
  timeSeries_ = other.timeSeries_;
  time_ = other.time_;
  timeFactor_ = other.timeFactor_;
  mode_ = other.mode_;
}

/// Makes room for n slots without changing the number in use; false when memory is short.
bool CSigCurveArray::Reserve(std::int64_t n) {
  if (n > INT32_MAX) {
    return false;
  }
  try {
    if (n > SlotCapacity()) {
      slots_.resize(static_cast<std::size_t>(n));
    }
  } catch (const std::bad_alloc&) {
    return false;
  } catch (const std::length_error&) {
    return false;
  }
  return true;
}

bool CSigCurveArray::Expandieren(int n) {
  if (n < 0 || !Reserve(n)) {
    return false;
  }
  count_ = n;
  return true;
}

bool CSigCurveArray::AlleKurvenAusstatten(int len) {
  bool all = true;
  for (int i = 0; i < count_; ++i) {
    all = KurveAusstatten(i, len) && all;
  }
  return all;
}

bool CSigCurveArray::KurveAusstatten(int i, int len) {
  return i >= 0 && i < SlotCapacity() && Equip(slots_[static_cast<std::size_t>(i)], len);
}

bool CSigCurveArray::Attach(int i, CSigCurveExt* curve, bool deleteFormer) {
  if (curve == nullptr || i < 0 || !Reserve(std::int64_t{i} + 1)) {
    return false;
  }
  std::unique_ptr<CSigCurveExt>& slot = slots_[static_cast<std::size_t>(i)];
  if (slot.get() != curve) {
    if (!deleteFormer) {
      static_cast<void>(slot.release());
    }
    slot.reset(curve);
  }
  count_ = std::max(count_, i + 1);
  lastAttached_ = i;
  return true;
}

bool CSigCurveArray::AttachNext(CSigCurveExt* curve, bool deleteFormer) {
  return lastAttached_ < INT32_MAX && Attach(lastAttached_ + 1, curve, deleteFormer);
}

void CSigCurveArray::AttachOperationComplete() {
  count_ = lastAttached_ + 1;
  if (lastAttached_ >= 0) {
    TBereich(TPos(0), TPos(lastAttached_));
  }
}

CSigCurveExt* CSigCurveArray::Detach(int i) {
  return i >= 0 && i < count_ ? slots_[static_cast<std::size_t>(i)].release() : nullptr;
}

void CSigCurveArray::DetachAll() {
  for (std::unique_ptr<CSigCurveExt>& slot : slots_) {
    static_cast<void>(slot.release());
  }
  lastAttached_ = -1;
}

void CSigCurveArray::KurvenFreigeben() {
  Slots().swap(slots_);
  count_ = 0;
  lastAttached_ = -1;
  lastDelivered_ = -1;
}

const CSigCurveExt* CSigCurveArray::FirstCurve() const { return Slot(0); }

/// The curves in use without the empty slots.
std::vector<const CSigCurveExt*> CSigCurveArray::Curves() const {
  std::vector<const CSigCurveExt*> curves;
  curves.reserve(static_cast<std::size_t>(count_));
  for (int i = 0; i < count_; ++i) {
    if (const CSigCurveExt* const curve = Slot(i)) {
      curves.push_back(curve);
    }
  }
  return curves;
}

float CSigCurveArray::Wert(int i, int j) const {
  const CSigCurveExt* const curve = Slot(i);
  const bool present = curve != nullptr && j >= 0 && static_cast<unsigned>(j) < curve->DLen();
  return present ? curve->ValArray()[j] : 0.0F;
}

void CSigCurveArray::WertSetzen(int i, int j, float value) {
  if (CSigCurveExt* const curve = Slot(i)) {
    curve->SetAt(j, value);
  }
}

}  // namespace limes
