#pragma once

#include <cstdint>

#include "limes/export.h"
#include "limes/signals/curve.h"

namespace limes {

/// Curve with a valid range: of its values only those from IMin to IMax count, between VMin and
/// VMax on the x axis. With a number and a date.
///
/// Not all operations look at the valid range. Those declared here do: GetValue, ranges, distance,
/// = and += of a number, += of a curve, |=, ^=, Maximize, sums with an offset. All others work on
/// the whole curve: -=, *=, /=, Add, Scale, Abs, Clip, Square, SquareRoot, Log, Min, Max, the sums
/// without an offset, YRange, c[x]. The valid range is not tied to the axis: SetXMinMax and MirrorX
/// leave it, so call ResetVMinMax behind them. Indices that do not fit the values, left behind by
/// such operations, are clamped where they are used.
///
/// File record: the curve's, followed from version 2 on by date, VMin and VMax; number and indices
/// are in no record. Below version 2, and when these are cut short, all values are valid, date 0;
/// the latter is a failure. One thread at a time.
class LIMES_EXPORT CSigCurveExt : public CSigCurve {
 public:
  /// No values; VMin 0, VMax 1, IMin 0, IMax -1, date and number 0.
  CSigCurveExt();

  /// n values of 0, all valid; x from 0 to 1. O(n).
  // kept: VMin 0 and VMax 1 stay when the x axis is set later
  explicit CSigCurveExt(int n);

  /// Copy of everything; deep: with an own info, otherwise the info is shared. O(n).
  CSigCurveExt(const CSigCurveExt& other, bool deep);
  CSigCurveExt(const CSigCurveExt& other) : CSigCurveExt(other, true) {}

  /// n values of 0 on an x axis from x0 to x1 (one step behind the last value), all valid. O(n).
  static CSigCurveExt Make(int n, float x0, float x1);

  /// The same with values. None when memory is short. O(n).
  static CSigCurveExt Make(std::span<const float> values, float x0, float x1);

  /// Copy of everything, with an own info. O(n).
  CSigCurveExt& operator=(const CSigCurveExt& other);

  /// As of a plain curve.
  CSigCurveExt(CSigCurveExt&& other) noexcept;
  CSigCurveExt& operator=(CSigCurveExt&& other) noexcept;

  /// Copies the curve; all of it is valid, date 0, number -1. O(n).
  CSigCurveExt& operator=(const CSigCurve& other);

  const CRuntimeClass* GetRuntimeClass() const override;
  ~CSigCurveExt() override;

  /// As CSignal::Resize; all values are valid then. O(n).
  [[nodiscard]] bool Resize(unsigned n) override;
  using CSigCurve::Resize;
  unsigned Size() const override;

  /// As the curve's; the valid range grows by the other's x span (its valid one, when it has one).
  bool Append(const CSignal& other) override;

  /// As the curve's, then SetVMinMax(x, VMax).
  // kept: beside the curve the values stay, but the valid range is set all the same
  void CutLeft(float x) override;

  /// As the curve's, then SetVMinMax(VMin, x).
  void CutRight(float x) override;
  void CutLR(float x0, float x1) override;

  /// As the curve's for the valid range; 0.0 when it is empty.
  float PointDistance(float x, float y, int* index) const override;

  /// VMin <= x <= VMax
  bool IsInRange(float x) const override;

  /// VMin and VMax
  void GetXRange(float& min, float& max) const override;
  void GetYRange(float& min, float& max) const override;
  void GetYRangeX(float& min, float& max, float x0, float x1) const override;

  /// As the curve's with i0 raised to IMin and i1 lowered to IMax.
  // kept: the value at i0 when nothing of the valid range is left
  void GetYRangeXI(float& min, float& max, unsigned i0, unsigned i1) const override;

  /// The curve's header and the added members of an empty curve.
  // kept: IMax is -1 even when there are values
  void InitHeader() override;

  /// Values 0 and InitHeader(); all values are valid by index.
  void Reset() override;

  CSigCurveExt* Clone(bool deep) const override;

  /// As the curve's, with all added members; of a plain curve as operator= does.
  bool Copy(const CClonable& other, bool deep) override;

  static const CRuntimeClass* GetThisClass();
  static CObject* CreateObject();

  /// Takes over the curve's header and the added members. The bool is not looked at.
  void InitHeader(const CSigCurveExt& other, bool deep = true);

  /// Takes over the curve's header; all values are valid, date 0, number -1.
  void InitHeader(const CSigCurve& other, bool deep = true);

  /// As the curve's, with valid range and number. Nothing changes when memory is short. O(n).
  CSigCurveExt& MakeSameSize(const CSigCurveExt& other);
  using CSigCurve::MakeSameSize;

  /// As Append of a signal.
  bool Append(const CSigCurve& other) { return Append(static_cast<const CSignal&>(other)); }

  float VMin() const { return vMin_; }
  float VMax() const { return vMax_; }
  std::int32_t IMin() const { return iMin_; }
  std::int32_t IMax() const { return iMax_; }

  /// Number of valid values by the indices; not above 0 when the range is empty.
  std::int32_t ILen() const;

  /// IMin to IMax, kept inside the values; first 0 and last -1 when none are left.
  SIndexRange ValidIndices() const;
  std::span<float> ValidValues() { return Part(Values(), ValidIndices()); }
  std::span<const float> ValidValues() const { return Part(Values(), ValidIndices()); }

  /// There are values and IMin <= IMax.
  bool IsValid() const { return DLen() > 0 && iMin_ <= iMax_; }

  /// SetVIMinMax(1, 0).
  // kept: a curve of one value stays valid, because indices are clamped
  void Invalidate() { SetVIMinMax(1, 0); }

  /// Time of the curve in the host's unit.
  float Date() const { return date_; }
  float& Date() { return date_; }
  void Date(float date) { date_ = date; }

  /// Number of the curve, free for the host.
  std::int32_t CurveId() const { return curveId_; }
  void CurveId(std::int32_t id) { curveId_ = id; }

  /// Valid range by indices, each clamped to the values.
  // kept: VMin and VMax are the x of the indices before clamping
  void SetVIMinMax(std::int32_t i0, std::int32_t i1);

  /// Valid range by x, clamped to the x range; the indices are the nearest ones.
  void SetVMinMax(float x0, float x1);

  /// All values are valid.
  void ResetVMinMax();

  /// Valid range as it was read from another curve on this grid; nothing is derived, but indices
  /// below those of a curve become 0 and -1.
  void RestoreValidRange(float vMin, float vMax, std::int32_t iMin, std::int32_t iMax) {
    SetRange(vMin, vMax, iMin < 0 ? 0 : iMin, iMax < -1 ? -1 : iMax);
  }

  /// Widens the valid range to include [x0, x1].
  void Expandieren(float x0, float x1);

  /// Narrows the valid range to its overlap with [x0, x1].
  // kept: without overlap one value stays valid, the last or first one
  void Schrumpfen(float x0, float x1);

  /// The same with the other's valid range; no effect for null.
  void Expandieren(const CSigCurveExt* other);
  void Schrumpfen(const CSigCurveExt* other);

  /// GetIndexA clamped to the valid range.
  int GetIndexV(float x) const;

  /// Value at x inside the valid range, beyond its ends the first or last valid value; 0.0 without
  /// values. c[x] is the whole curve's.
  float GetValue(float x) const;

  /// Sum of the valid values of a section, in float and in order; of levels in dB the level of
  /// their power sum, 10 log10(sum of 10^(y / 10)), with ln(10) / 10 as float. 0.0 when the section
  /// lies beside the valid range. O(n).
  float AbschnittSumme(float x0, float x1, bool dB) const;

  // Arithmetic over the valid range, as far as the other has values. O(n).
  CSigCurveExt& operator=(float v);
  CSigCurveExt& operator+=(float v);
  CSigCurveExt& operator+=(const CSigCurve& other);

  /// Takes over the other's valid values by index, when both have the same step. The valid range
  /// stays.
  CSigCurveExt& operator|=(const CSigCurveExt& other);

  /// Widens the valid range by the other's, taking its values where this curve has no valid ones;
  /// no effect when the steps differ or the valid ranges do not touch.
  // kept: the x length stays, unlike at every other change of the valid range
  CSigCurveExt& operator^=(const CSigCurveExt& other);

  /// Modes of Maximize; others are kLarger.
  enum Extreme : int { kSmaller = 0, kLarger = 1 };

  /// Over the overlap of both valid ranges the larger of both values, or with mode 0 the smaller;
  /// a NaN never replaces a value. No effect for null.
  void Maximize(const CSigCurveExt* other, int mode);

  /// y += w * s from index IMin + offset to IMax, with the source's valid values (all, for a plain
  /// curve) in turn. No effect for w = 0. O(n).
  // kept: one value more than the source has is added; behind its end the last one
  void AddWithWeight(const CSigCurve& source, float w, int offset);

  /// y += (w * s) * s in the same way, without the extra value. O(n).
  void AddSquared(const CSigCurve& source, float w, int offset);
  using CSigCurve::AddSquared;
  using CSigCurve::AddWithWeight;

 protected:
  void GridChanged(bool whole, std::int64_t shift) override;
  bool WriteCoded(CFileStream& file, unsigned version, int method) const override;
  bool ReadTail(CFileStream& file, unsigned version, Tail& tail) const override;
  void TakeTail(const Tail& tail) override;

 private:
  void SetRange(float vMin, float vMax, std::int64_t iMin, std::int64_t iMax);
  int Stored(std::int32_t i) const;
  void RangeOf(float& min, float& max, std::int64_t i0, std::int64_t i1) const;

  float vMin_ = 0.0F;
  float vMax_ = 1.0F;
  float date_ = 0.0F;
  std::int32_t curveId_ = 0;
  std::int32_t iMin_ = 0;
  std::int32_t iMax_ = -1;
};

/// The signal as an extended curve; null when its type code or its class says otherwise. The code
/// alone may come from a file, the class alone may hold a plain curve's data.
LIMES_EXPORT const CSigCurveExt* AsExtended(const CSigRaw* signal);
LIMES_EXPORT CSigCurveExt* AsExtended(CSigRaw* signal);

}  // namespace limes
