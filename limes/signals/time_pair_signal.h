#pragma once

#include <concepts>
#include <cstdint>

#include "limes/export.h"
#include "limes/platform/standard_parts.h"
#include "limes/platform/time_scaling.h"
#include "limes/signals/pair_signal.h"

namespace limes {

/// Pair signal over calendar time: x is a point's place in an interval, 0 at its start and 1 at its
/// end. Times are whole seconds since 1970-01-01 UTC; differences saturate.
///
/// Set the interval with Neustart(start, end) before adding points: a float x resolves about a
/// 10^7th of it, the first interval begins at 1970, and each time a point widens it all others are
/// truncated to whole seconds again. The interval is in no file record. One thread at a time.
class LIMES_EXPORT CSigPairsTm : public CSigPairs {
 public:
  using Time = std::chrono::sys_seconds;

  /// No pairs, the interval empty at time 0.
  CSigPairsTm();

  /// Room for n pairs. O(n).
  explicit CSigPairsTm(int n);

  /// The pairs of another signal, the interval empty at time 0. O(n).
  explicit CSigPairsTm(const CSigPairs& other);
  explicit CSigPairsTm(const CSigCurve& curve);

  /// Copy of everything; deep: with an own info, otherwise the info is shared. O(n).
  CSigPairsTm(const CSigPairsTm& other, bool deep);
  CSigPairsTm(const CSigPairsTm& other) : CSigPairsTm(other, true) {}
  CSigPairsTm& operator=(const CSigPairsTm& other);

  CSigPairsTm(CSigPairsTm&& other) noexcept = default;
  CSigPairsTm& operator=(CSigPairsTm&& other) noexcept;

  /// Takes over the pairs; the interval becomes empty at time 0. O(n).
  CSigPairsTm& operator=(const CSigPairs& other);
  using CSigPairs::operator=;

  const CRuntimeClass* GetRuntimeClass() const override;
  ~CSigPairsTm() override;

  using CSigPairs::Serialize;

  /// 0: as the pairs are stored by no archive, the interval is not either.
  int Serialize(CSerializer* archive) override;

  CSigPairsTm* Clone(bool deep) const override;

  /// As CSigPairs::Copy, with the interval; that of a plain pair signal is empty at time 0.
  bool Copy(const CClonable& other, bool deep) override;

  static const CRuntimeClass* GetThisClass();
  static CObject* CreateObject();

  std::int64_t StartZeit() const { return scaling_.Start(); }
  std::int64_t EndZeit() const { return scaling_.End(); }

  /// Fraction of t in the interval; 0.0 when that is empty.
  float Time2Float(std::int64_t t) const { return scaling_.ToFloat(t); }
  float Time2Float(Time t) const { return Time2Float(Seconds(t)); }
  static float Time2Float(std::int64_t t, std::int64_t start, std::int64_t end);
  static float Time2Float(Time t, Time start, Time end) {
    return Time2Float(Seconds(t), Seconds(start), Seconds(end));
  }

  /// Time at x, truncated to whole seconds from the start; the start for NaN.
  std::int64_t Float2Time(float x) const { return scaling_.ToTime(x); }
  static std::int64_t Float2Time(float x, std::int64_t start, std::int64_t end);
  static Time Float2Time(float x, Time start, Time end) {
    return Time(std::chrono::seconds(Float2Time(x, Seconds(start), Seconds(end))));
  }

  /// Time of pair i, which must exist.
  std::int64_t Zeitpunkt(std::uint32_t i) const { return Float2Time(Punkt(i)); }

  /// As Zeitpunkt, to the nearest second.
  std::int64_t RoundedTimeAt(std::uint32_t i) const;

  /// Time of the first and of the last pair; start or end without pairs.
  std::int64_t ErsteZeit() const { return Gueltig() ? Zeitpunkt(0) : StartZeit(); }
  std::int64_t LetzteZeit() const { return Gueltig() ? Zeitpunkt(NPaare() - 1) : EndZeit(); }

  /// Removes all pairs and sets the interval; points within half a second are one from then on.
  // kept: an empty interval gives an infinite tolerance, one that runs backwards a percentage
  void Neustart(std::int64_t start, std::int64_t end);
  void Neustart(Time start, Time end) { Neustart(Seconds(start), Seconds(end)); }
  using CSigPairs::Neustart;

  /// Changes the interval and keeps the times of the pairs, truncated to whole seconds; all x are
  /// 0.0 in an empty interval. The tolerance follows. O(n).
  // kept: the flags stay, also when all x become equal or the interval runs backwards
  void ZeitraumAendern(std::int64_t start, std::int64_t end);
  void ZeitraumAendern(Time start, Time end) { ZeitraumAendern(Seconds(start), Seconds(end)); }

  /// Inserts a point at time t in order, widening the interval to it: its index, -1 when memory is
  /// short. Integers are times, floats are x. O(n).
  template <std::integral T>
  int NeuesPaar(T t, float y) {
    return InsertAt(static_cast<std::int64_t>(t), y);
  }
  int NeuesPaar(Time t, float y) { return InsertAt(Seconds(t), y); }
  using CSigPairs::NeuesPaar;

  /// As for pairs, at Time2Float(t).
  template <std::integral T>
  float WertBei(T t) const {
    return CSigPairs::WertBei(Time2Float(static_cast<std::int64_t>(t)));
  }
  float WertBei(Time t) const { return WertBei(Seconds(t)); }
  using CSigPairs::WertBei;
  template <std::integral T>
  int IndexZu(T t, int mode) const {
    return CSigPairs::IndexZu(Time2Float(static_cast<std::int64_t>(t)), mode);
  }
  int IndexZu(Time t, int mode) const { return IndexZu(Seconds(t), mode); }
  using CSigPairs::IndexZu;

  /// As for pairs, the tolerance in seconds.
  template <std::integral T>
  bool HatWertBei(T t, std::chrono::seconds tolerance) const {
    return CSigPairs::HatWertBei(Time2Float(static_cast<std::int64_t>(t)),
                                 scaling_.SpanToFloat(tolerance.count()));
  }
  bool HatWertBei(Time t, std::chrono::seconds tolerance) const {
    return HatWertBei(Seconds(t), tolerance);
  }
  template <std::integral T, class Number>
  requires std::is_arithmetic_v<Number>
  bool HatWertBei(T t, Number tolerance) const = delete;  // seconds, or a part of the interval?
  using CSigPairs::HatWertBei;

  /// t lies between the first and the last pair; false without pairs.
  bool ZeitImBereich(std::int64_t t) const;
  bool ZeitImBereich(Time t) const { return ZeitImBereich(Seconds(t)); }

 private:
  static std::int64_t Seconds(Time t) { return t.time_since_epoch().count(); }
  int InsertAt(std::int64_t t, float y);
  void SetInterval(std::int64_t start, std::int64_t end);

  CTimeFloatScaling scaling_;
};

}  // namespace limes
