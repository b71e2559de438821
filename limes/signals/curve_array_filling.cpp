// How a curve array gets its curves one by one.

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/signal_lists.h"

namespace limes {

namespace {

constexpr std::int64_t kFirstSlots = 8;  ///< of an array that grows while it is filled

/// A copy at T, in the curve that is there; false, with nothing changed, when memory is short.
bool PutCopy(std::unique_ptr<CSigCurveExt>& slot, const CSigCurve& curve, float t) try {
  if (slot.get() != &curve) {
    std::unique_ptr<CSigCurveExt> added;
    if (slot == nullptr) {
      added = std::make_unique<CSigCurveExt>();
    }
    CSigCurveExt* const target = slot == nullptr ? added.get() : slot.get();
    if (target == nullptr || !target->Copy(curve, true)) {
      return false;
    }
    if (!curve.HasQuinter()) {
      target->ClearQuinter();
    }
    if (added != nullptr) {
      slot = std::move(added);
    }
  }
  slot->Date(t);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

}  // namespace

int CSigCurveArray::Deliver(const CSigCurve& curve, float t) {
  const std::int64_t index = std::int64_t{lastDelivered_} + 1;
  const std::int64_t capacity = SlotCapacity();
  if (index >= capacity && !Reserve(std::max(kFirstSlots, 2 * capacity))) {
    return -1;
  }
  if (!PutCopy(slots_[static_cast<std::size_t>(index)], curve, t)) {
    return -1;
  }
  lastDelivered_ = static_cast<std::int32_t>(index);
  count_ = std::max(count_, lastDelivered_ + 1);
  return lastDelivered_;
}

int CSigCurveArray::Begin(const CSigCurve& curve, float t) {
  VonAnfangAn();
  const int index = Deliver(curve, t);
  if (index == 0) {
    xUnit_ = curve.XUnit();
    yUnit_ = curve.YUnit();
  }
  return index;
}

int CSigCurveArray::ErsteKurve(const CSigCurve& curve) {
  timeSeries_ = false;
  return Begin(curve, 0.0F);
}

int CSigCurveArray::ErsteKurve(const CSigCurveExt& curve) {
  timeSeries_ = false;
  return Begin(curve, curve.Date());
}

int CSigCurveArray::ErsteKurve(const CSigCurveExt& curve, std::int64_t start, std::int64_t end,
                               std::int64_t t) {
  timeSeries_ = true;
  time_.Set(start, end);
  return Begin(curve, time_.ToFloat(t));
}

int CSigCurveArray::WeitereKurve(const CSigCurve& curve) {
  return Deliver(curve, lastDelivered_ < 0 ? 0.0F : TPos(lastDelivered_) + tDelta_);
}

int CSigCurveArray::WeitereKurve(const CSigCurve& curve, float t) { return Deliver(curve, t); }

int CSigCurveArray::WeitereKurve(const CSigCurveExt& curve) { return Deliver(curve, curve.Date()); }

int CSigCurveArray::WeitereKurveTm(const CSigCurve& curve, std::int64_t t) {
  return Deliver(curve, static_cast<float>(time_.ToFloat(t) * timeFactor_));
}

int CSigCurveArray::KurveSetzen(int i, const CSigCurve& curve) {
  return KurveSetzen(i, curve, TPos(i));
}

int CSigCurveArray::KurveSetzen(int i, const CSigCurve& curve, float t) {
  if (i < 0 || i >= count_) {
    return -1;
  }
  return PutCopy(slots_[static_cast<std::size_t>(i)], curve, t) ? i : -1;
}

int CSigCurveArray::KurveSetzen(int i, const CSigCurveExt& curve) {
  return KurveSetzen(i, curve, curve.Date());
}

int CSigCurveArray::KurveSetzen(int i, const CSigCurveExt& curve, float t) {
  return KurveSetzen(i, static_cast<const CSigCurve&>(curve), t);
}

void CSigCurveArray::KurvenKomplett(int n) {
  if (n > 0) {
    lastDelivered_ = std::min(n, SlotCapacity()) - 1;
  }
  count_ = lastDelivered_ + 1;
  TakeVBereich();
  if (count_ == 0) {
    return;
  }
  if (!timeSeries_) {
    TBereich(TPos(0), TPos(count_ - 1));
    return;
  }
  const double factor = count_ / timeFactor_;  // a repeated call scales by what has changed only
  timeFactor_ = count_;
  TBereich(0.0F, static_cast<float>(count_));
  for (int i = 0; i < count_; ++i) {
    TPos(i, static_cast<float>(TPos(i) * factor));
  }
}

void CSigCurveArray::KurvenKomplettUndSortieren() {
  count_ = lastDelivered_ + 1;
  KurvenSortieren();
  KurvenKomplett();
}

void CSigCurveArray::KurvenKomplettUndPositionieren(float t0, float dt) {
  if (dt == 0.0F || lastDelivered_ < 0) {
    return;
  }
  count_ = lastDelivered_ + 1;
  TakeVBereich();
  tMin_ = t0;
  tvMin_ = t0;
  tMax_ = static_cast<float>(lastDelivered_) * dt;  // kept: without t0; stored ranges rely on it
  tvMax_ = tMax_;
  tDelta_ = dt;
  for (int i = 0; i < count_; ++i) {
    TPos(i, static_cast<float>(i) * dt + t0);
  }
}

void CSigCurveArray::VonAnfangAn() {
  lastDelivered_ = -1;
  timeFactor_ = 1.0;
}

void CSigCurveArray::KurvenSortieren() {
  const auto rank = [](const std::unique_ptr<CSigCurveExt>& curve) {
    return curve == nullptr ? 2 : (std::isnan(curve->Date()) ? 1 : 0);
  };
  std::stable_sort(slots_.begin(), slots_.begin() + count_, [rank](const auto& a, const auto& b) {
    const int rankA = rank(a);
    const int rankB = rank(b);
    return rankA != rankB ? rankA < rankB : rankA == 0 && a->Date() < b->Date();
  });
}

bool CSigCurveArray::Append(const CSigCurveArray& other) {
  const bool times = timeSeries_ && other.timeSeries_;
  std::vector<Delivery> deliveries;
  try {
    deliveries.reserve(static_cast<std::size_t>(other.count_));
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (int i = 0; i < other.count_; ++i) {
    float t = other.TPos(i);
    if (times && time_.Span() != 0.0) {
      const double seconds =
          other.Fraction(i) * other.time_.Span() +
          static_cast<double>(SaturatingDifference(other.StartZeit(), StartZeit()));
      t = static_cast<float>(seconds / time_.Span() * timeFactor_);
    }
    deliveries.push_back({other.Slot(i), t});
  }
  return AppendCopies(deliveries);
}

bool CSigCurveArray::Append(const CSigCurveList& list) {
  std::vector<Delivery> deliveries;
  try {
    for (const auto& curve : list) {
      deliveries.push_back({curve.get(), curve->Date()});
    }
  } catch (const std::bad_alloc&) {
    return false;
  }
  return AppendCopies(deliveries);
}

bool CSigCurveArray::AppendCopies(const std::vector<Delivery>& deliveries) {
  Slots copies;
  try {
    copies.resize(deliveries.size());
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (std::size_t i = 0; i < copies.size(); ++i) {
    const Delivery& from = deliveries[i];
    if (from.curve != nullptr && !PutCopy(copies[i], *from.curve, from.t)) {
      return false;
    }
  }
  const std::int64_t total = std::int64_t{count_} + static_cast<std::int64_t>(copies.size());
  if (!Reserve(total)) {
    return false;
  }
  const bool first = count_ == 0;
  std::move(copies.begin(), copies.end(), slots_.begin() + count_);
  if (total > 0) {
    KurvenKomplett(static_cast<int>(total));
  }
  if (const CSigCurveExt* const curve = first ? FirstCurve() : nullptr) {
    xUnit_ = curve->XUnit();
    yUnit_ = curve->YUnit();
  }
  return true;
}

}  // namespace limes
