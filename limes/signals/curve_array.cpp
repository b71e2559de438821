#include "limes/signals/curve_array.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

#include "limes/platform/memory_errors.h"
#include "limes/signals/cloned.h"
#include "limes/signals/extended_curve.h"

namespace limes {

namespace {

constinit const CRuntimeClass kArrayClass = {"CSigCurveArray", &detail::Created<CSigCurveArray>,
                                             &detail::kObjectClass};

/// A curve of len values of 0 in the slot, all valid; false when memory is short.
bool Equip(std::unique_ptr<CSigCurveExt>& curve, int len) {
  return detail::IfMemoryAllows(false, [&] {
    if (curve == nullptr) {
      curve = std::make_unique<CSigCurveExt>();
    }
    const auto values = static_cast<unsigned>(std::max(len, 0));
    curve->Malloc(values);
    curve->ResetVMinMax();
    return curve->DLen() == values;
  });
}

/// T of a curve for searches: an empty slot lies nowhere.
float PlaceOf(const CSigCurveExt* curve) {
  return curve == nullptr ? std::numeric_limits<float>::quiet_NaN() : curve->Date();
}

}  // namespace

CSigCurveArray::CSigCurveArray(int n) {
  if (n > 0 && Expandieren(n)) {
    head_.tDelta = 1.0F / static_cast<float>(n);
  }
}

CSigCurveArray::CSigCurveArray(const CSigCurveArray& other, bool deep) {
  CSigCurveArray::Copy(other, deep);
}

CSigCurveArray& CSigCurveArray::operator=(const CSigCurveArray& other) {
  Copy(other, true);
  return *this;
}

CSigCurveArray::CSigCurveArray(CSigCurveArray&& other) noexcept { *this = std::move(other); }

CSigCurveArray& CSigCurveArray::operator=(CSigCurveArray&& other) noexcept {
  if (this != &other) {
    slots_ = std::exchange(other.slots_, {});
    head_ = std::exchange(other.head_, {});
  }
  return *this;
}

const CRuntimeClass* CSigCurveArray::GetRuntimeClass() const { return GetThisClass(); }

CSigCurveArray::~CSigCurveArray() = default;

const CRuntimeClass* CSigCurveArray::GetThisClass() { return &kArrayClass; }

CObject* CSigCurveArray::CreateObject() { return detail::Created<CSigCurveArray>(); }

CSigCurveArray* CSigCurveArray::Clone(bool deep) const {
  auto copy = std::unique_ptr<CSigCurveArray>(new (std::nothrow) CSigCurveArray);
  return copy != nullptr && copy->Copy(*this, deep) ? copy.release() : nullptr;
}

bool CSigCurveArray::Copy(const CClonable& other, bool deep) {
  static_assert(std::is_nothrow_move_assignable_v<Header>);
  const auto* const array = dynamic_cast<const CSigCurveArray*>(&other);
  if (array == nullptr || array == this) {
    return false;
  }
  return detail::IfMemoryAllows(false, [&] {
    Header header = array->head_;
    Slots copies;
    if (!CopySlots(array->slots_, deep, copies)) {
      return false;
    }
    slots_.swap(copies);  // nothing fails from here on
    head_ = std::move(header);
    return true;
  });
}

bool CSigCurveArray::CopyData(const CSigCurveArray& other) {
  Slots copies;
  if (&other == this || !CopySlots(other.slots_, true, copies)) {
    return false;
  }
  slots_.swap(copies);
  head_.count = other.head_.count;
  head_.lastAttached = other.head_.lastAttached;
  head_.lastDelivered = other.head_.lastDelivered;
  return true;
}

/// Copies of the curves in as many slots; false when memory is short.
bool CSigCurveArray::CopySlots(const Slots& from, bool deep, Slots& copies) {
  if (!detail::IfMemoryAllows([&] { copies.resize(from.size()); })) {
    return false;
  }
  for (std::size_t i = 0; i < from.size(); ++i) {
    if (from[i].curve != nullptr) {
      copies[i] = {std::unique_ptr<CSigCurveExt>(from[i].curve->Clone(deep)), from[i].t,
                   from[i].time};
      if (copies[i].curve == nullptr) {
        return false;
      }
    }
  }
  return true;
}

/// Makes room for n slots without changing the number in use; false when memory is short.
bool CSigCurveArray::Reserve(std::int64_t n) {
  return n <= SlotCapacity() || (n <= INT32_MAX && detail::IfMemoryAllows([&] {
                                   slots_.resize(static_cast<std::size_t>(n));
                                 }));
}

bool CSigCurveArray::Expandieren(int n) {
  if (n < 0 || !Reserve(n)) {
    return false;
  }
  head_.count = n;
  return true;
}

bool CSigCurveArray::AlleKurvenAusstatten(int len) {
  bool all = true;
  for (int i = 0; i < head_.count; ++i) {
    all = KurveAusstatten(i, len) && all;
  }
  return all;
}

bool CSigCurveArray::KurveAusstatten(int i, int len) {
  return i >= 0 && i < SlotCapacity() && Equip(SlotAt(i).curve, len);
}

bool CSigCurveArray::Attach(int i, CSigCurveExt* curve, bool deleteFormer) {
  if (curve == nullptr || i < 0 || !Reserve(std::int64_t{i} + 1)) {
    return false;
  }
  Slot& slot = SlotAt(i);
  if (slot.curve.get() != curve) {
    if (!deleteFormer) {
      static_cast<void>(slot.curve.release());
    }
    slot = Slot{std::unique_ptr<CSigCurveExt>(curve)};
  }
  head_.count = std::max(head_.count, i + 1);
  head_.lastAttached = i;
  return true;
}

bool CSigCurveArray::AttachNext(CSigCurveExt* curve, bool deleteFormer) {
  return head_.lastAttached < INT32_MAX && Attach(head_.lastAttached + 1, curve, deleteFormer);
}

void CSigCurveArray::AttachOperationComplete() {
  head_.count = head_.lastAttached + 1;
  if (head_.lastAttached >= 0) {
    TBereich(TPos(0), TPos(head_.lastAttached));
  }
}

CSigCurveExt* CSigCurveArray::Detach(int i) {
  return i >= 0 && i < head_.count ? std::exchange(SlotAt(i), {}).curve.release() : nullptr;
}

void CSigCurveArray::DetachAll() {
  for (Slot& slot : slots_) {
    static_cast<void>(std::exchange(slot, {}).curve.release());
  }
  head_.lastAttached = -1;
}

void CSigCurveArray::KurvenFreigeben() {
  Slots().swap(slots_);
  head_.count = 0;
  head_.lastAttached = -1;
  head_.lastDelivered = -1;
}

float CSigCurveArray::Wert(int i, int j) const {
  const CSigCurveExt* const curve = At(i);
  const bool present = curve != nullptr && j >= 0 && static_cast<unsigned>(j) < curve->DLen();
  return present ? curve->ValArray()[j] : 0.0F;
}

void CSigCurveArray::WertSetzen(int i, int j, float value) {
  if (CSigCurveExt* const curve = At(i)) {
    curve->SetAt(j, value);
  }
}

void CSigCurveArray::TBereich(float tMin, float tMax, float dt) {
  if (!(tMin <= tMax)) {
    return;
  }
  head_.tMin = tMin;
  head_.tvMin = tMin;
  head_.tMax = tMax;
  head_.tvMax = tMax;
  if (dt > 0.0F) {
    head_.tDelta = dt;
  } else {
    head_.tDelta = head_.count >= 1 ? (tMax - tMin) / static_cast<float>(head_.count) : 1.0F;
  }
}

void CSigCurveArray::TVBereich(float min, float max) {
  const auto inside = [this](float t, float otherwise) {
    return std::isnan(t) ? otherwise : std::max(head_.tMin, std::min(head_.tMax, t));
  };
  head_.tvMin = inside(min, head_.tMin);
  head_.tvMax = inside(max, head_.tMax);
}

void CSigCurveArray::XVBereich(float min, float max) {
  head_.x = {min, max};
  if (const CSigCurveExt* const curve = At(0)) {
    head_.x = {std::max(min, curve->XMin()), std::min(max, curve->XMax())};
  }
}

/// The x range becomes the first curve's.
void CSigCurveArray::TakeFirstRange() {
  if (const CSigCurveExt* const curve = At(0)) {
    head_.x = {curve->XMin(), curve->XMax()};
  }
}

float CSigCurveArray::XDelta() const {
  const CSigCurveExt* const curve = At(0);
  return curve == nullptr ? 0.0F : curve->XDelta();
}

float CSigCurveArray::TPos(int i) const {
  const CSigCurveExt* const curve = At(i);
  return curve == nullptr ? 0.0F : curve->Date();
}

void CSigCurveArray::TPos(int i, float t) {
  if (CSigCurveExt* const curve = At(i)) {
    curve->Date(t);
  }
}

int CSigCurveArray::FindeKurveZu(float t, int start) const {
  for (int i = std::max(start, 0); i < head_.count - 1; ++i) {
    if (PlaceOf(At(i + 1)) > t) {
      return i;
    }
  }
  return head_.count - 1;
}

int CSigCurveArray::FindeKurveHinter(float t, int start) const {
  int i = std::max(start, 0);
  while (i < head_.count && !(PlaceOf(At(i)) >= t)) {
    ++i;
  }
  return i;
}

int CSigCurveArray::FindeKurveZuExtData(const CObject* data, int start) const {
  for (int i = std::max(start, 0); i < head_.count - 1; ++i) {
    const CSigCurveExt* const next = At(i + 1);
    if (next != nullptr && next->ExtData() == data) {
      return i;
    }
  }
  return -1;
}

}  // namespace limes
