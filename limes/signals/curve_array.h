#pragma once

#include <concepts>
#include <cstdint>
#include <limits>
#include <memory>
#include <string_view>
#include <vector>

#include "limes/core/measuring_unit.h"
#include "limes/core/signal_key.h"
#include "limes/export.h"
#include "limes/platform/conversions.h"
#include "limes/platform/object.h"
#include "limes/platform/text.h"
#include "limes/platform/time_scaling.h"

namespace limes {

class CFileStream;
class CSigCurve;
class CSigCurveExt;
class CSigCurveList;
class CSigPairs;

namespace detail {
struct Reduction;
}

/// Signal over two axes: curves over x, taken at rising positions T, such as spectra over speed.
///
/// Owns its curves; a slot may be empty. The position of a curve on the T axis is its date. For a
/// time series T runs from 0 to the number of curves, over the time from start to end. Curve
/// indices outside are answered as an empty slot; a null curve or signal has no effect. One thread
/// at a time. Only streams throw, while writing, and setters without a result, std::bad_alloc.
///
/// Access to one curve takes O(1), what goes through the curves O(n), n being their number, what
/// copies, combines or stores their values O(values).
class LIMES_EXPORT CSigCurveArray : public CObject, public CClonable {
 public:
  struct Bereich {
    float min = 0.0F;
    float max = 1.0F;
  };

  /// What came of reading a record.
  static constexpr int kStatusOk = 0;
  static constexpr int kStatusVersion = 1;  ///< written by a newer version
  static constexpr int kStatusData = 2;     ///< cut short, malformed, or memory is short

  /// Bytes of the name in the file record; at most 199 of them are text.
  static constexpr std::size_t kNameBytes = 200;

  // ---- Construction

  /// n empty slots, T and x from 0 to 1.
  explicit CSigCurveArray(int n = 0);

  /// Copy of everything with curves of its own. Deep: they have infos of their own, otherwise they
  /// share those of the other's. Without curves when memory is short. O(values).
  CSigCurveArray(const CSigCurveArray& other, bool deep);
  CSigCurveArray(const CSigCurveArray& other) : CSigCurveArray(other, true) {}
  CSigCurveArray& operator=(const CSigCurveArray& other);

  /// Takes over the curves themselves; the other is as a new array then. O(1).
  CSigCurveArray(CSigCurveArray&& other) noexcept;
  CSigCurveArray& operator=(CSigCurveArray&& other) noexcept;
  const CRuntimeClass* GetRuntimeClass() const override;
  ~CSigCurveArray() override;
  static const CRuntimeClass* GetThisClass();
  static CObject* CreateObject();
  CSigCurveArray* Clone(bool deep) const override;

  /// False, with nothing changed, for itself, for what is no array, and when memory is short.
  bool Copy(const CClonable& other, bool deep) override;

  /// Takes over copies of the curves with their T; the rest stays. False, with nothing changed,
  /// when memory is short. O(values).
  bool CopyData(const CSigCurveArray& other);

  // ---- Slots

  /// Number of curves in use, empty slots among them included.
  std::int32_t Anzahl() const { return head_.count; }

  /// Number of slots.
  std::int32_t SlotCapacity() const { return static_cast<std::int32_t>(slots_.size()); }
  bool KurvenVoll() const { return head_.count == SlotCapacity(); }

  /// Sets the number of curves; new slots are empty, and no slot is given up. False, with nothing
  /// changed, for a negative n and when memory is short.
  bool Expandieren(int n);

  /// Every slot in use gets a curve of len values of 0, all valid; curves that are there keep
  /// their header. False when memory was short for one. O(values).
  bool AlleKurvenAusstatten(int len);

  /// The same for slot i of the capacity; false when there is none or memory is short.
  bool KurveAusstatten(int i, int len);

  /// Puts a curve into slot i, making room as needed, and owns it. The former curve is deleted, or
  /// left to the caller who still knows it. False, with nothing taken, for null, a negative i, and
  /// when memory is short.
  bool Attach(int i, CSigCurveExt* curve, bool deleteFormer);

  /// The same behind the last slot filled so.
  bool AttachNext(CSigCurveExt* curve, bool deleteFormer);

  /// The curves in use end with the last attached one; T runs from the first to it.
  void AttachOperationComplete();

  /// Hands curve i over to the caller: its slot is empty then. Null when there is none.
  CSigCurveExt* Detach(int i);

  /// Empties all slots without deleting: whoever attached the curves owns them again.
  void DetachAll();

  /// Deletes all curves and slots.
  void KurvenFreigeben();

  /// Curve i; null when there is none.
  CSigCurveExt* operator[](int i) { return At(i); }
  const CSigCurveExt* operator[](int i) const { return At(i); }

  // ---- Filling: copies curves one by one, reusing those that are there. Each returns the index
  // of the curve, or -1 when memory is short. Only complete with one of KurvenKomplett.

  /// Starts anew with slot 0, at T 0; x and y unit become the curve's.
  int ErsteKurve(const CSigCurve& curve);

  /// The same, at the curve's date.
  int ErsteKurve(const CSigCurveExt& curve);

  /// The same for a time series from start to end (seconds since 1970), at time t.
  int ErsteKurve(const CSigCurveExt& curve, std::int64_t start, std::int64_t end, std::int64_t t);

  /// The next curve, T delta behind the last one.
  int WeitereKurve(const CSigCurve& curve);
  int WeitereKurve(const CSigCurve& curve, float t);

  /// The next curve, at its date.
  int WeitereKurve(const CSigCurveExt& curve);

  /// The next curve of a time series.
  int WeitereKurveTm(const CSigCurve& curve, std::int64_t t);

  /// Copies into slot i in use; without t a plain curve takes the T of the curve that was there,
  /// an extended one keeps its date. i, or -1 when there is no slot or memory is short.
  int KurveSetzen(int i, const CSigCurve& curve);
  int KurveSetzen(int i, const CSigCurve& curve, float t);
  int KurveSetzen(int i, const CSigCurveExt& curve);
  int KurveSetzen(int i, const CSigCurveExt& curve, float t);

  /// The curves in use are those delivered, or the first n for n > 0. The x range becomes the
  /// first curve's. T runs from the first to the last curve; for a time series from 0 to their
  /// number, and every T is scaled to that; no time moves.
  void KurvenKomplett(int n = 0);

  /// Sorts the delivered curves by T first.
  void KurvenKomplettUndSortieren();

  /// The curves in use are those delivered, curve i at T = i * dt + t0. No effect for dt = 0 or
  /// without curves.
  // kept: T max is the last index times dt, without t0; call TBereich behind it for another
  void KurvenKomplettUndPositionieren(float t0, float dt);

  /// The next curve delivered is the first; the curves stay for reuse.
  void VonAnfangAn();

  /// Sorts the curves in use by T; equal ones keep their order, NaN and then empty slots come
  /// last. O(n log n).
  void KurvenSortieren();

  /// Appends copies of the other's curves with their T, then as KurvenKomplett for all. Between
  /// time series they keep their times, and the interval becomes that of both. False, with nothing
  /// changed, when memory is short. The other may be this array. O(values).
  bool Append(const CSigCurveArray& other);

  /// The same with the curves of a list, at their dates.
  bool Append(const CSigCurveList& list);

  // ---- Axes

  float TMin() const { return head_.tMin; }
  float TMax() const { return head_.tMax; }
  float TDelta() const { return head_.tDelta; }

  /// Visible part of the T range.
  float TVMin() const { return head_.tvMin; }
  float TVMax() const { return head_.tvMax; }

  /// x range that the curves have in common.
  const Bereich& VBereich() const { return head_.x; }

  /// Sets the T range, all of it visible; no effect unless tMin <= tMax. The step becomes dt when
  /// that is above 0, else the range over the number of curves, 1.0 without curves.
  // kept: the range over n, not n - 1, as in the records that are stored
  void TBereich(float tMin, float tMax, float dt = 0.0F);

  /// Sets the visible part, clamped into the T range.
  void TVBereich(float min, float max);

  /// Sets the x range, narrowed to the first curve's.
  void XVBereich(float min, float max);

  /// Sets x range and units of the array and of every curve; all values are valid then.
  void AlleKurvenBereich(float xMin, float xMax, const CMeasuringUnit& xUnit,
                         const CMeasuringUnit& yUnit);

  const CMeasuringUnit& TUnit() const { return head_.tUnit; }
  const CMeasuringUnit& XUnit() const { return head_.xUnit; }
  const CMeasuringUnit& YUnit() const { return head_.yUnit; }
  void SetTUnit(const CMeasuringUnit& unit) { head_.tUnit = unit; }
  void SetXUnit(const CMeasuringUnit& unit) { head_.xUnit = unit; }
  void SetYUnit(const CMeasuringUnit& unit) { head_.yUnit = unit; }

  /// Parses the text with CMeasuringUnit::set and returns its result.
  bool SetTUnit(std::u16string_view text) { return head_.tUnit.set(text); }
  bool SetYUnit(std::u16string_view text) { return head_.yUnit.set(text); }

  /// The T unit as text.
  wide_string TEinheit() const { return head_.tUnit.prefixunit(); }

  const wide_string& Name() const { return head_.name; }
  void SetName(std::u16string_view name) { head_.name = name; }
  const CQuinterMFC& Quinter() const { return head_.quinter; }
  CQuinterMFC& Quinter() { return head_.quinter; }

  /// Free for the host; 3 at first.
  std::int32_t Mode() const { return head_.mode; }
  void Mode(std::int32_t mode) { head_.mode = mode; }

  /// Step of x: that of the first curve; 0.0 without one.
  float XDelta() const;

  /// T of curve i; 0.0 when there is none.
  float TPos(int i) const;
  void TPos(int i, float t);

  /// Value j of curve i; 0.0 when there is none.
  float Wert(int i, int j) const;
  void WertSetzen(int i, int j, float value);

  // ---- Search, linear from start (below 0 counts as 0). Empty slots have no T.

  /// The curve at or before t: the first whose next one lies behind t, else the last. -1 without
  /// curves.
  int FindeKurveZu(float t, int start = 0) const;

  /// The first curve at or behind t, else the number of curves; start when that is beyond it.
  int FindeKurveHinter(float t, int start = 0) const;

  /// By the extension data of the curves; -1 when none has them.
  // kept: the index before the curve found, and curve 0 is never looked at: so curves are paired
  // with data that stand one place before them
  int FindeKurveZuExtData(const CObject* data, int start = 0) const;

  // ---- Time

  bool IstZeitreihe() const { return head_.timeSeries; }
  std::int64_t StartZeit() const { return head_.time.Start(); }
  std::int64_t EndZeit() const { return head_.time.End(); }

  /// Time of curve i: the one it was put at, or start + trunc(T / f * span) of a T that the host
  /// set, f being what T was scaled by.
  std::int64_t ZeitPos(int i) const;

  /// Time of the first and of the last curve; start and end without curves.
  std::int64_t ErsteZeit() const;
  std::int64_t LetzteZeit() const;

  /// The time lies between those of the first and the last curve. False without curves and unless
  /// a time series.
  bool ZeitImBereich(std::int64_t time) const;

  /// Changes the interval; the curves keep their times. An empty interval sets every T to 0. No
  /// effect unless a time series.
  void ZeitraumAendern(std::int64_t start, std::int64_t end);

  // ---- Arithmetic, curve by curve. O(values).

  CSigCurveArray& operator+=(float c);
  CSigCurveArray& operator*=(float c);

  /// With another array up to the smaller number of curves, each as CSigCurveExt does it.
  CSigCurveArray& operator+=(const CSigCurveArray& other);

  /// y + w * o * o
  void QuadratAddieren(const CSigCurveArray& other, float w);
  void WurzelZiehen();

  /// Levels over a reference, as CSigCurve::Log.
  void Log(float ref);

  /// As many curves, and each fits the other's, empty slots to empty slots. O(n).
  bool FitTogether(const CSigCurveArray& other) const;

  // ---- Reductions into a curve, which may be one of this array. Empty slots do not count. All
  // begin with a copy of the first curve and narrow its valid range to the x range of the others,
  // which are added by index. False, with nothing changed, without curves or target and when
  // memory is short. Each value is read once: O(values).

  /// Mean: the sum in float, times the float 1 / n.
  bool Mittelwert(CSigCurveExt* target) const;

  /// Mean weighted by the values of a signal over T; the sum over the sum of the weights, unless
  /// that is 0.
  // kept: adds as CSigCurveExt::AddWithWeight, one value more than a curve has, and by the count of
  // valid values, not by index
  bool Mittelwert(CSigCurveExt* target, const CSigPairs* weights) const;

  bool Summe(CSigCurveExt* target) const;

  /// As the weighted mean without the division.
  bool Summe(CSigCurveExt* target, const CSigPairs* weights) const;

  /// Root of the mean square.
  bool RMS(CSigCurveExt* target) const;

  /// Root of the sum of w * y * y over the sum of w; 0 when the sum of w is 0.
  bool RMS(CSigCurveExt* target, const CSigPairs* weights) const;

  /// Sum of the squares; the y unit is squared.
  bool QuadratSumme(CSigCurveExt* target) const;
  bool QuadratSumme(CSigCurveExt* target, const CSigPairs* weights) const;

  /// The largest (mode CSigCurveExt::kSmaller, 0: the smallest) values over the overlap of the
  /// valid ranges, which then grow to their union where the steps are equal.
  bool Maximum(CSigCurveExt* target, int mode) const;

  /// Smallest and largest valid value, NaN passed over. False, with nothing changed, without any.
  bool GlobalesMinMax(float& min, float& max) const;

  // ---- Sections across the curves. O(n).

  /// Pairs (T, value i) of the curves that have such a value: their number, 0 without a target.
  int Querschnitt(int i, CSigPairs* pairs) const;

  /// Pairs (T, value at x) of the curves in whose valid range x lies.
  int Querschnitt(float x, CSigPairs* pairs) const;

  /// Curve of as many values, from the T of the first curve on, the step from the first and the
  /// last T; missing values are 0, the valid range goes from the first to the last one present.
  /// The number of curves with a value, 0 when memory is short.
  int Querschnitt(int i, CSigCurveExt* curve) const;
  int Querschnitt(float x, CSigCurveExt* curve) const;

  /// All of them for numbers of other types: integers are indices, others x.
  template <std::integral Index, class Signal>
  int Querschnitt(Index i, Signal* signal) const {
    return Querschnitt(SaturateTo<int>(i), signal);
  }
  template <class Signal>
  int Querschnitt(double x, Signal* signal) const {
    return Querschnitt(static_cast<float>(x), signal);
  }

  /// Curve over T in the same way of the sums of every curve over [x0, x1], for levels in dB that
  /// of their powers. The number of curves. O(values in the section).
  int FlaechenKurveBilden(CSigCurveExt* target, float x0, float x1, bool dB) const;

  // ---- File

  /// Writes a record of version 1, the curves' values with 8 bits each. False when a curve cannot
  /// be written; what the stream throws passes through. Units of x and y are in the curves;
  /// six-part name, times and mode are in no record.
  [[nodiscard]] bool DateiExport(CFileStream& file) const;

  /// The same record with the values unchanged; every reader takes it.
  [[nodiscard]] bool ExportRaw(CFileStream& file) const;

  /// Reads a record of version 0 to 2; x and y unit and the x range become the first curve's.
  /// False, with nothing changed but the status, when it fails. Never allocates more than the
  /// stream still holds.
  [[nodiscard]] bool DateiImport(CFileStream& file, int& status);

 protected:
  /// The curve at or before a time of a time series, from start on.
  int KurveBei(std::int64_t time, int start = 0) const;

 private:
  /// A place for a curve. What was put there at a time keeps it exactly, as long as its T is the
  /// one that the time gave.
  struct Slot {
    std::unique_ptr<CSigCurveExt> curve;
    float t = std::numeric_limits<float>::quiet_NaN();  ///< from the time
    std::int64_t time = 0;
  };
  using Slots = std::vector<Slot>;

  /// All but the slots.
  struct Header {
    std::int32_t count = 0;
    float tMin = 0.0F;
    float tMax = 1.0F;
    float tDelta = 1.0F;
    Bereich x;
    float tvMin = 0.0F;
    float tvMax = 1.0F;
    wide_string name;
    CMeasuringUnit tUnit;
    CMeasuringUnit xUnit;
    CMeasuringUnit yUnit;
    CQuinterMFC quinter;
    std::int32_t lastAttached = -1;
    std::int32_t lastDelivered = -1;
    float reserved = 0.0F;
    bool timeSeries = false;
    CTimeFloatScaling time;
    double timeFactor = 1.0;  ///< what T of a time series is scaled by
    std::int32_t mode = 3;
  };

  Slot& SlotAt(int i) { return slots_[static_cast<std::size_t>(i)]; }
  const Slot& SlotAt(int i) const { return slots_[static_cast<std::size_t>(i)]; }

  /// Curve i in use; null when there is none.
  CSigCurveExt* At(int i) const {
    return i >= 0 && i < head_.count ? SlotAt(i).curve.get() : nullptr;
  }
  std::vector<const CSigCurveExt*> Curves() const;
  template <class Operation>
  void ForEachCurve(Operation operation) const;
  template <class Operation>
  void ForEachPair(const CSigCurveArray& other, Operation operation);

  bool Reserve(std::int64_t n);
  static bool CopySlots(const Slots& from, bool deep, Slots& copies);
  int Deliver(const CSigCurve& curve, float t);
  int Begin(const CSigCurve& curve, float t);
  template <class Before>
  bool AppendSlots(Slots& added, Before before);
  bool HasTime(int i) const;
  float TOf(std::int64_t time) const;
  int PutAt(int i, std::int64_t time);
  void TakeFirstRange();
  void TakeYUnit();
  const CMeasuringUnit& ValueUnit() const;
  bool Reduced(CSigCurveExt* target, const CSigPairs* weights,
               const detail::Reduction& recipe) const;
  template <class Value>
  int Across(CSigCurveExt* target, Value value) const;
  template <class Value>
  int Across(CSigPairs* pairs, Value value) const;
  bool Export(CFileStream& file, bool raw) const;

  Slots slots_;  ///< their number is the capacity
  Header head_;
};

}  // namespace limes
