#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <span>
#include <tuple>

#include "limes/export.h"
#include "limes/platform/conversions.h"
#include "limes/signals/signal.h"

namespace limes {

class CCompressedVector;

/// What came of reading a curve record.
enum class CurveReadStatus {
  kOk,
  kVersion,  ///< a version that cannot be read
  kHeader,   ///< name or units are cut short or malformed, or memory is short for them
  kValues,   ///< the values are cut short, or their count is wrong
  kTail,     ///< date and valid range of an extended curve are cut short
  kMemory,   ///< memory is short
};

/// Consecutive indices of values, none when the last lies before the first.
struct SIndexRange {
  std::int64_t first = 0;
  std::int64_t last = -1;

  bool IsEmpty() const { return first > last; }
  std::size_t Size() const { return IsEmpty() ? 0 : static_cast<std::size_t>(last - first + 1); }
};

/// The status in words, in English.
LIMES_EXPORT const wide_char* Text(CurveReadStatus status);

/// Signal of n float values at equal steps of x: a spectrum over frequency, a level over speed.
///
/// Value i lies at x min + i * step, step = (x max - x min) / n: x max lies one step behind the
/// last value. Reading a value outside takes the nearest one, and 0.0 when there is none. No
/// operation of its own throws, except what a stream throws while writing; setters of texts and
/// units see CSignal. One thread at a time.
class LIMES_EXPORT CSigCurve : public CSignal {
 public:
  /// No values, x from 0 to 1.
  CSigCurve();

  /// n values of 0, x from 0 to 1; no values when n is negative or memory is short. O(n).
  explicit CSigCurve(int n);

  /// Copy of values and header; deep: with an own info, otherwise the info is shared, unless the
  /// other is an extended curve whose x length is not the number of values. O(n).
  CSigCurve(const CSigCurve& other, bool deep);
  CSigCurve(const CSigCurve& other) : CSigCurve(other, true) {}

  /// As Copy with an own info. O(n).
  CSigCurve& operator=(const CSigCurve& other);

  /// As a copy, but takes over what it can, see CSigRaw and CSignal; the other then has no values.
  CSigCurve(CSigCurve&& other) noexcept;
  CSigCurve& operator=(CSigCurve&& other) noexcept;

  const CRuntimeClass* GetRuntimeClass() const override;
  ~CSigCurve() override;

  using CSignal::Serialize;

  // kept: curves store and load nothing; archives hold their name only
  int Serialize(CSerializer* archive) override;
  using CSignal::Resize;
  unsigned Size() const override;

  /// Appends the other's values, and its x span to x max. False, with nothing changed, for a signal
  /// that is no curve and when memory is short. The other may be this curve. O(n).
  bool Append(const CSignal& other) override;

  /// Writes the common record and the values with 8 bits each, spread over their range: 256 steps.
  /// Use WriteToFileRaw to keep the values. Scale factors are in no record. False when memory is
  /// short; what the stream throws passes through. O(n).
  [[nodiscard]] bool WriteToFile(CFileStream& file, unsigned version) const override;

  /// Reads a record of version 1 or 2, its values coded or raw. False when the common record
  /// fails. True and an empty curve when the values fail: ReadFromFileChecked tells. O(n).
  [[nodiscard]] bool ReadFromFile(CFileStream& file, unsigned version) override;

  void Abs() override;
  void Clip(float limit, bool upper) override;
  void Add(float c) override;
  void Scale(float c) override;

  /// Drops the values left of the one nearest to x, which becomes x min. No effect unless
  /// GetIndexValidate finds x: not in the last half step, but up to 1.5 steps below x min, where no
  /// value is dropped. O(n).
  void CutLeft(float x) override;

  /// Drops the values right of the one nearest to x, which becomes x max. No effect unless
  /// GetIndexValidate finds x, as for CutLeft. The step changes: x max is no longer one step behind
  /// the last value.
  virtual void CutRight(float x);

  /// CutLeft(a), then CutRight(b).
  virtual void CutLR(float a, float b);

  /// Distance from (x, y) to the curve; 0.0 when it has no values. Beyond the range it is taken to
  /// the first point or, to the right, straight to the last value. Inside it is taken to the grid
  /// point at x, whose index is given, or without index to the interpolated value at x.
  virtual float PointDistance(float x, float y, int* index) const;

  /// x min <= x <= x max
  virtual bool IsInRange(float x) const;
  virtual void GetXRange(float& min, float& max) const;

  /// Smallest and largest value; untouched when there is none. The first decides when it is NaN,
  /// other NaN are passed over. O(n).
  virtual void GetYRange(float& min, float& max) const;

  /// GetYRangeXI over the indices at x0 and x1.
  virtual void GetYRangeX(float& min, float& max, float x0, float x1) const;

  /// As GetYRange for the values i0 to i1; untouched when i0 > i1 or i0 is behind the end.
  virtual void GetYRangeXI(float& min, float& max, unsigned i0, unsigned i1) const;

  /// The points (x, y) of the smallest and of the largest value, the first ones on ties; four
  /// times 0.0 when there is none. O(n).
  virtual Range YRange() const;

  /// As GetValue(x) of a curve, for extended curves too.
  virtual float operator[](float x) const;

  /// Names cleared, x from 0 to 1, scale factors 1; the values stay.
  virtual void InitHeader();

  /// Values 0, then InitHeader(). O(n).
  virtual void Reset();

  CSigCurve* Clone(bool deep) const override;

  /// As CSignal::Copy, with x range and scale factors. False for anything but a curve.
  bool Copy(const CClonable& other, bool deep) override;

  static const CRuntimeClass* GetThisClass();
  static CObject* CreateObject();

  /// Takes over the header without name, units and values. The bool is not looked at.
  void InitHeader(const CSigCurve& other, bool deep = true);

  /// Takes over the values only, and their number; unchanged when memory is short. O(n).
  CSigCurve& CopyData(const CSigCurve& other);

  /// As many values as the other, all 0, and its header, without name and units. Nothing changes
  /// when memory is short. O(n).
  CSigCurve& MakeSameSize(const CSigCurve& other);

  /// As Append of a signal.
  bool Append(const CSigCurve& other) { return Append(static_cast<const CSignal&>(other)); }

  float XMin() const { return xMin_; }
  float XMax() const { return xMax_; }

  /// x of value 0, and x one step behind the last value, in the x unit. No value moves; the bounds
  /// are not checked.
  void SetXMinMax(float xMin, float xMax);

  /// Step of x: (x max - x min) / n, 0.0 without values.
  float XDelta() const;

  float ScaleFactor() const { return scaleFactor_; }
  float InvScaleFactor() const { return invScaleFactor_; }

  /// Sets the factor kept with the curve, and its inverse (1.0 for 0). No value changes.
  void SetScaleFactor(float factor);

  /// Coder of the file record; null before the first reading or writing.
  CCompressedVector* Kompressor() const { return kompressor_.get(); }

  /// Attaches a coder and owns it; the former is deleted unless it is the same. Null detaches.
  void KompressorAnbinden(CCompressedVector* kompressor);

  /// Writes the same record as WriteToFile with the values unchanged; every reader takes it. O(n).
  [[nodiscard]] bool WriteToFileRaw(CFileStream& file, unsigned version) const;

  /// As ReadFromFile, but says what failed; the curve is then as before. O(n).
  [[nodiscard]] CurveReadStatus ReadFromFileChecked(CFileStream& file, unsigned version);

  /// Index of the grid point nearest to x, not clamped: trunc((x - x min) n / (x max - x min) +
  /// 0.5); 0 when x max = x min. It truncates toward zero, so -1 begins 1.5 steps below x min. NaN
  /// gives the smallest integer.
  int GetIndexA(float x) const;

  /// As GetIndexA, clamped to the values; 0 when there is none.
  int GetIndex(float x) const;
  template <std::integral T>
  int GetIndex(T x) const {
    return GetIndex(static_cast<float>(x));
  }
  template <std::floating_point T>
  int GetIndex(T x) const {
    return GetIndex(static_cast<float>(x));
  }

  /// As GetIndexA: true when the index is that of a value. i is untouched when x max = x min or
  /// there is no value.
  bool GetIndexValidate(float x, int& i) const;

  /// 0 when y equals the first value, else -1. Use FindIndexOfY for a search.
  int GetIndexFromY(float y) const;

  /// Index of the first value within tol of y, -1 when there is none. O(n).
  int FindIndexOfY(float y, float tol = 0.0F) const;

  /// x of index i, which need not be on the curve; 0.0 without values.
  float GetPoint(int i) const;

  /// Value at x, linear between neighbours; beyond the ends and up to a thousandth of a step
  /// inside them the first or last value; 0.0 without values; NaN for NaN.
  float GetValue(float x) const;

  /// Value i, that of the nearest index outside.
  template <std::integral T>
  float operator[](T i) const {
    return ValueAt(SaturateTo<std::int64_t>(i));
  }
  /// The same for curves that are not const, so that c[0] is not taken for a null key.
  template <std::integral T>
  float operator[](T i) {
    return ValueAt(SaturateTo<std::int64_t>(i));
  }
  template <std::floating_point T>
  float operator[](T x) const {
    return (*this)[static_cast<float>(x)];
  }
  using CSignal::operator[];

  /// Sets value i; no effect outside.
  void SetAt(int i, float value);

  /// The values, DLen() of them.
  float* ValArray() { return FloatData(); }
  const float* ValArray() const { return FloatData(); }
  std::span<float> Values() { return {FloatData(), DLen()}; }
  std::span<const float> Values() const { return {FloatData(), DLen()}; }

  /// Values() for range-based loops: all of them, of an extended curve too.
  float* begin() { return FloatData(); }
  float* end() { return FloatData() + DLen(); }
  const float* begin() const { return FloatData(); }
  const float* end() const { return FloatData() + DLen(); }

  /// Replaces the values, also their number; the rest stays, but of an extended curve all are valid
  /// then. They may be this curve's own. False, with nothing changed, when memory is short. O(n).
  [[nodiscard]] bool SetValues(std::span<const float> values);

  /// Indices of the values that count: all, and of an extended curve those of its valid range.
  SIndexRange ValidIndices() const;

  /// The values that count.
  std::span<float> ValidValues() { return Part(Values(), ValidIndices()); }
  std::span<const float> ValidValues() const { return Part(Values(), ValidIndices()); }

  /// As GetYRange.
  void YMinMax(float& min, float& max) const { GetYRange(min, max); }

  // Arithmetic over all values. O(n).
  CSigCurve& operator=(float c);
  CSigCurve& operator+=(float c);
  CSigCurve& operator-=(float c);
  CSigCurve& operator*=(float c);

  /// Multiplies by the float 1 / c; no effect for 0.
  CSigCurve& operator/=(float c);

  // Arithmetic with another curve, value by value up to the smaller count, whatever the x ranges.
  // The other may be this curve. O(n).
  CSigCurve& operator+=(const CSigCurve& other);
  CSigCurve& operator-=(const CSigCurve& other);

  /// v + w * o
  void AddWithWeight(const CSigCurve& other, float w);

  /// v + w * (o * o)
  void AddSquared(const CSigCurve& other, float w);

  /// v - o * o
  void SubtractSquared(const CSigCurve& other);

  /// The smaller (larger) of both values; a NaN on either side keeps the curve's own.
  void Min(const CSigCurve& other);
  void Max(const CSigCurve& other);

  /// Changes the sign of the values.
  CSigCurve& MirrorY();

  /// Reverses the values; x range [-x max, -x min].
  CSigCurve& MirrorX();

  /// Drops the part above x = 0.
  CSigCurve& CutPositive();

  /// Drops the part below x = 0.
  CSigCurve& CutNegative();

  /// Squares the values and the y unit.
  CSigCurve& Square();

  /// Roots of the values, 0.0 for those not above 0, and of the y unit, which stays when it is no
  /// square.
  CSigCurve& SquareRoot();

  /// Levels of the values in dB: (20 / p) log10(v * ref^-p) with the y unit's power p; 0.0 for
  /// values not above 0. The y unit becomes its p-th root with the reference. ref 0 gives
  /// infinities. No effect for power 0. O(n).
  CSigCurve& Log(float ref);

  /// Snaps [a, b] to the grid and makes it the x range; what lies outside is dropped, new values
  /// are 0. 1, or 0 when the snapped range is empty or memory is short: values and x range then
  /// stay, a and b are snapped. A curve without values gets 100 first, one without x span the span
  /// 100. O(n).
  // kept: values are moved before room is made, so those pushed behind the old end are lost
  int Resize(float& a, float& b);

  /// Widens the x range to the grid points around [a, b] without loss; new values are 0. False,
  /// with nothing changed, without values or x span, for NaN and when memory is short. O(n).
  bool ExtendRange(float a, float b);

  /// Keeps the values from the grid point at a to that at b, each clamped, on the same grid: x min
  /// is the first one's x, x max one step behind the last one's. False, with nothing changed,
  /// without values, without x span, or when b lies left of a. O(n).
  bool CutToGrid(float a, float b);

  /// Same number of values, and both ends of x closer than 0.0001.
  bool FitTogether(const CSigCurve* other) const;

 protected:
  /// The same for what is a part of an extended curve: the x length stays.
  struct AsPart {};
  CSigCurve(const CSigCurve& other, bool deep, AsPart /*tag*/);
  CSigCurve(CSigCurve&& other, AsPart /*tag*/) noexcept;

  /// As Copy, with an x length; unchanged for what is no curve and when memory is short.
  [[nodiscard]] bool CopyCurve(const CSigCurve& other, bool deep, std::uint32_t xLen);

  template <class Value>
  static std::span<Value> Part(std::span<Value> values, SIndexRange range) {
    return values.subspan(static_cast<std::size_t>(range.first), range.Size());
  }

  /// Value at index i, clamped; 0.0 without values.
  float ValueAt(std::int64_t i) const;

  /// As MakeSameSize; false when memory is short.
  [[nodiscard]] bool MakeSameSizeOrKeep(const CSigCurve& other);

  /// Told after the grid has moved under the curve: whole, all of it is new; otherwise value i now
  /// has index i + shift at the same x, as far as it is still there.
  virtual void GridChanged(bool whole, std::int64_t shift);

  /// Writes the record with the values coded by a method of CCompressedVector.
  virtual bool WriteCoded(CFileStream& file, unsigned version, int method) const;

  /// What follows the values in the record of an extended curve, in file order.
  struct Tail {
    float date = 0.0F;
    float vMin = 0.0F;
    float vMax = 0.0F;
    bool present = false;  ///< not in the record

    static constexpr auto Fields(auto& t) { return std::tie(t.date, t.vMin, t.vMax); }
  };

  /// Reads the tail that a record of this class and version has; false when it is cut short.
  virtual bool ReadTail(CFileStream& file, unsigned version, Tail& tail) const;

  /// Takes over a tail, or what holds without one.
  virtual void TakeTail(const Tail& tail);

 private:
  friend class CCompressedVector;  // decodes into the values

  CCompressedVector* EnsureKompressor() const;
  bool HasXSpan() const { return DLen() > 0 && xMax_ != xMin_; }

  float xMin_ = 0.0F;
  float xMax_ = 1.0F;  ///< one step behind the last value
  float scaleFactor_ = 1.0F;
  float invScaleFactor_ = 1.0F;
  mutable std::unique_ptr<CCompressedVector> kompressor_;
};

}  // namespace limes
