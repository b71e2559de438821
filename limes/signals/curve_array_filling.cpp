// How a curve array gets its curves one by one, and the times of a series.

#include <algorithm>
#include <cmath>
#include <utility>

#include "limes/platform/conversions.h"
#include "limes/platform/memory_errors.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/signal_lists.h"

namespace limes {

namespace {

constexpr std::int64_t kFirstSlots = 8;  ///< of an array that grows while it is filled

/// A copy at T, in the curve that is there; false, with nothing changed, when memory is short.
bool PutCopy(std::unique_ptr<CSigCurveExt>& place, const CSigCurve& curve, float t) {
  if (place.get() != &curve) {
    std::unique_ptr<CSigCurveExt> added;
    if (place == nullptr &&
        !detail::IfMemoryAllows([&] { added = std::make_unique<CSigCurveExt>(); })) {
      return false;
    }
    CSigCurveExt& target = place == nullptr ? *added : *place;
    if (!target.Copy(curve, true)) {
      return false;
    }
    if (!curve.HasQuinter()) {
      target.ClearQuinter();
    }
    if (added != nullptr) {
      place = std::move(added);
    }
  }
  place->Date(t);
  return true;
}

}  // namespace

int CSigCurveArray::Deliver(const CSigCurve& curve, float t) {
  const std::int64_t index = std::int64_t{head_.lastDelivered} + 1;
  const std::int64_t capacity = SlotCapacity();
  if (index >= capacity && !Reserve(std::max(kFirstSlots, 2 * capacity))) {
    return -1;
  }
  Slot& slot = slots_[static_cast<std::size_t>(index)];
  if (!PutCopy(slot.curve, curve, t)) {
    return -1;
  }
  slot.t = std::numeric_limits<float>::quiet_NaN();
  head_.lastDelivered = static_cast<std::int32_t>(index);
  head_.count = std::max(head_.count, head_.lastDelivered + 1);
  return head_.lastDelivered;
}

int CSigCurveArray::Begin(const CSigCurve& curve, float t) {
  return detail::IfMemoryAllows(-1, [&] {
    CMeasuringUnit xUnit = curve.XUnit();
    CMeasuringUnit yUnit = curve.YUnit();
    VonAnfangAn();
    const int index = Deliver(curve, t);
    if (index == 0) {
      head_.xUnit = std::move(xUnit);
      head_.yUnit = std::move(yUnit);
    }
    return index;
  });
}

int CSigCurveArray::ErsteKurve(const CSigCurve& curve) {
  head_.timeSeries = false;
  return Begin(curve, 0.0F);
}

int CSigCurveArray::ErsteKurve(const CSigCurveExt& curve) {
  head_.timeSeries = false;
  return Begin(curve, curve.Date());
}

int CSigCurveArray::ErsteKurve(const CSigCurveExt& curve, std::int64_t start, std::int64_t end,
                               std::int64_t t) {
  head_.timeSeries = true;
  head_.time.Set(start, end);
  return PutAt(Begin(curve, 0.0F), t);
}

int CSigCurveArray::WeitereKurve(const CSigCurve& curve) {
  return Deliver(curve, head_.lastDelivered < 0 ? 0.0F : TPos(head_.lastDelivered) + head_.tDelta);
}

int CSigCurveArray::WeitereKurve(const CSigCurve& curve, float t) { return Deliver(curve, t); }

int CSigCurveArray::WeitereKurve(const CSigCurveExt& curve) { return Deliver(curve, curve.Date()); }

int CSigCurveArray::WeitereKurveTm(const CSigCurve& curve, std::int64_t t) {
  return PutAt(Deliver(curve, 0.0F), t);
}

int CSigCurveArray::KurveSetzen(int i, const CSigCurve& curve) {
  return KurveSetzen(i, curve, TPos(i));
}

int CSigCurveArray::KurveSetzen(int i, const CSigCurve& curve, float t) {
  return i >= 0 && i < head_.count && PutCopy(SlotAt(i).curve, curve, t) ? i : -1;
}

int CSigCurveArray::KurveSetzen(int i, const CSigCurveExt& curve) {
  return KurveSetzen(i, curve, curve.Date());
}

int CSigCurveArray::KurveSetzen(int i, const CSigCurveExt& curve, float t) {
  return KurveSetzen(i, static_cast<const CSigCurve&>(curve), t);
}

void CSigCurveArray::KurvenKomplett(int n) {
  if (n > 0) {
    head_.lastDelivered = std::min(n, SlotCapacity()) - 1;
  }
  head_.count = head_.lastDelivered + 1;
  TakeFirstRange();
  if (head_.count == 0) {
    return;
  }
  if (!head_.timeSeries) {
    TBereich(TPos(0), TPos(head_.count - 1));
    return;
  }
  const double factor =
      head_.count / head_.timeFactor;  // a repeated call scales by the change only
  head_.timeFactor = head_.count;
  TBereich(0.0F, static_cast<float>(head_.count));
  for (int i = 0; i < head_.count; ++i) {
    if (HasTime(i)) {
      PutAt(i, SlotAt(i).time);  // from the time itself, which does not drift
    } else {
      TPos(i, static_cast<float>(TPos(i) * factor));
    }
  }
}

void CSigCurveArray::KurvenKomplettUndSortieren() {
  head_.count = head_.lastDelivered + 1;
  KurvenSortieren();
  KurvenKomplett();
}

void CSigCurveArray::KurvenKomplettUndPositionieren(float t0, float dt) {
  if (dt == 0.0F || head_.lastDelivered < 0) {
    return;
  }
  head_.count = head_.lastDelivered + 1;
  TakeFirstRange();
  head_.tMin = t0;
  head_.tvMin = t0;
  head_.tMax = static_cast<float>(head_.lastDelivered) * dt;  // kept: without t0, as it is stored
  head_.tvMax = head_.tMax;
  head_.tDelta = dt;
  for (int i = 0; i < head_.count; ++i) {
    TPos(i, static_cast<float>(i) * dt + t0);
  }
}

void CSigCurveArray::VonAnfangAn() {
  head_.lastDelivered = -1;
  head_.timeFactor = 1.0;
}

void CSigCurveArray::KurvenSortieren() {
  const auto rank = [](const Slot& slot) {
    return slot.curve == nullptr ? 2 : (std::isnan(slot.curve->Date()) ? 1 : 0);
  };
  const auto before = [rank](const Slot& a, const Slot& b) {
    return rank(a) != rank(b) ? rank(a) < rank(b)
                              : rank(a) == 0 && a.curve->Date() < b.curve->Date();
  };
  std::stable_sort(slots_.begin(), slots_.begin() + head_.count, before);
}

bool CSigCurveArray::Append(const CSigCurveArray& other) {
  const bool times = head_.timeSeries && other.head_.timeSeries && other.head_.count > 0;
  const std::int64_t start = std::min(StartZeit(), other.StartZeit());
  const std::int64_t end = std::max(EndZeit(), other.EndZeit());
  Slots added;
  if (!detail::IfMemoryAllows([&] { added.resize(static_cast<std::size_t>(other.head_.count)); })) {
    return false;
  }
  for (int i = 0; i < other.head_.count; ++i) {
    Slot& slot = added[static_cast<std::size_t>(i)];
    const float t = other.TPos(i);
    if (other.At(i) != nullptr && !PutCopy(slot.curve, *other.At(i), t)) {
      return false;
    }
    slot.t = times ? t : slot.t;
    slot.time = other.ZeitPos(i);
  }
  return AppendSlots(added, [&] {
    if (times) {
      ZeitraumAendern(start, end);
    }
  });
}

bool CSigCurveArray::Append(const CSigCurveList& list) {
  Slots added;
  if (!detail::IfMemoryAllows([&] { added.resize(static_cast<std::size_t>(list.Anzahl())); })) {
    return false;
  }
  for (int i = 0; i < list.Anzahl(); ++i) {
    if (!PutCopy(added[static_cast<std::size_t>(i)].curve, *list[i], list[i]->Date())) {
      return false;
    }
  }
  return AppendSlots(added, [] {});
}

/// Moves the slots behind those in use, after a step that cannot fail; false, with nothing changed,
/// when memory is short.
template <class Before>
bool CSigCurveArray::AppendSlots(Slots& added, Before before) {
  const std::int64_t total = std::int64_t{head_.count} + static_cast<std::int64_t>(added.size());
  const CSigCurveExt* const first =
      head_.count == 0 && !added.empty() ? added.front().curve.get() : nullptr;
  return detail::IfMemoryAllows(false, [&] {
    CMeasuringUnit xUnit = first != nullptr ? first->XUnit() : head_.xUnit;
    CMeasuringUnit yUnit = first != nullptr ? first->YUnit() : head_.yUnit;
    if (!Reserve(total)) {
      return false;
    }
    before();
    std::move(added.begin(), added.end(), slots_.begin() + head_.count);
    if (total > 0) {
      KurvenKomplett(static_cast<int>(total));
    }
    head_.xUnit = std::move(xUnit);
    head_.yUnit = std::move(yUnit);
    return true;
  });
}

/// Whether curve i lies where it was put at a time.
bool CSigCurveArray::HasTime(int i) const { return At(i) != nullptr && TPos(i) == SlotAt(i).t; }

/// T of a time.
float CSigCurveArray::TOf(std::int64_t time) const {
  return static_cast<float>(head_.time.ToFloat(time) * head_.timeFactor);
}

/// Puts a curve at a time: i.
int CSigCurveArray::PutAt(int i, std::int64_t time) {
  if (At(i) != nullptr) {
    TPos(i, TOf(time));
    SlotAt(i).t = TPos(i);
    SlotAt(i).time = time;
  }
  return i;
}

std::int64_t CSigCurveArray::ZeitPos(int i) const {
  if (HasTime(i)) {
    return SlotAt(i).time;
  }
  const double seconds = TPos(i) / head_.timeFactor * head_.time.Span();
  return std::isnan(seconds) ? StartZeit() : SaturatingSum(StartZeit(), TruncToInt64(seconds));
}

std::int64_t CSigCurveArray::ErsteZeit() const {
  return head_.count > 0 ? ZeitPos(0) : StartZeit();
}

std::int64_t CSigCurveArray::LetzteZeit() const {
  return head_.count > 0 ? ZeitPos(head_.count - 1) : EndZeit();
}

bool CSigCurveArray::ZeitImBereich(std::int64_t time) const {
  const auto [first, last] = std::minmax({ErsteZeit(), LetzteZeit()});
  return head_.timeSeries && head_.count > 0 && first <= time && time <= last;
}

void CSigCurveArray::ZeitraumAendern(std::int64_t start, std::int64_t end) {
  if (!head_.timeSeries) {
    return;
  }
  for (int i = 0; i < head_.count; ++i) {  // as long as T is by the former interval
    SlotAt(i).time = ZeitPos(i);
  }
  head_.time.Set(start, end);
  for (int i = 0; i < head_.count; ++i) {
    PutAt(i, SlotAt(i).time);
  }
}

int CSigCurveArray::KurveBei(std::int64_t time, int start) const {
  return FindeKurveZu(TOf(time), start);
}

}  // namespace limes
