#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <type_traits>
#include <utility>

#include "limes/export.h"
#include "limes/kernels/polygon_point.h"
#include "limes/signals/pair_iterator.h"
#include "limes/signals/signal.h"

namespace limes {

class CPolygonCodierung;
class CSigCurve;

namespace detail {
struct SMerging;
struct SPairRun;
}  // namespace detail

/// Signal of freely spaced points: a run of (x, y) pairs of floats, for measured order tracks,
/// limit polygons and whatever else has no constant step.
///
/// Pair i lies at floats 2i and 2i + 1 of the data. Two flags say whether x rises or falls
/// strictly; appending keeps them up to date, sorting sets them, but Setzen, removal and insertion
/// in order do not test them again (PruefeSortierung does). A run with neither flag cannot be
/// interpolated. NaN and equal x are allowed everywhere. Look-ups take O(log n) while the run is
/// known to be in order; handing out a pointer or iterator that can change x ends that knowledge
/// for good, and they take O(n). No operation throws, except what a stream throws while writing.
/// One thread at a time.
///
/// File record (version as for every signal): the common record, then capacity in floats, 0, pair
/// count, parameter, number, 20 reserved bytes, the name in 40 bytes of code page 1252, all x and
/// all y, each padded with zeros to half the capacity. Flags and tolerance are in no record.
class LIMES_EXPORT CSigPairs : public CSignal {
 public:
  using Iterator = CPairIterator<float>;
  using ConstIterator = CPairIterator<const float>;

  /// Codes of Verrechnen.
  enum Verrechnung : int {
    kUnion = 0,
    kIntersection = 1,
    kPlus = 2,
    kMinus = 3,
    kMinimum = 4,
    kMaximum = 5,
    kTimes = 6,
    kDivided = 7,
    kMaximumToo = 8,  ///< as kMaximum
    kMinimumToo = 9,  ///< as kMinimum
    kPlusSquare = 10,
    kMinusSquare = 11,
    kUnionOfZeros = 12,
  };

  /// Neighbours that IndexZu looks for.
  enum Nachbar : int { kLower = 0, kHigher = 1, kNearest = 2 };

  /// No pairs.
  CSigPairs();

  /// Room for n pairs; none when n is negative or memory is short. O(n).
  explicit CSigPairs(int n);

  /// The points of a curve: AusSigCurveBilden. O(n).
  explicit CSigPairs(const CSigCurve& curve);

  /// Copy of everything; deep: with an own info, otherwise the info is shared. O(n).
  CSigPairs(const CSigPairs& other, bool deep);
  CSigPairs(const CSigPairs& other) : CSigPairs(other, true) {}

  /// As Copy with an own info. O(n).
  CSigPairs& operator=(const CSigPairs& other);

  /// As AusSigCurveBilden. O(n).
  CSigPairs& operator=(const CSigCurve& curve);

  /// As a copy, but takes over what it can, see CSigRaw and CSignal; the other then has no pairs.
  CSigPairs(CSigPairs&& other) noexcept;
  CSigPairs& operator=(CSigPairs&& other) noexcept;

  const CRuntimeClass* GetRuntimeClass() const override;
  ~CSigPairs() override;

  using CSignal::Serialize;

  // kept: pair signals store and load nothing
  int Serialize(CSerializer* archive) override;

  /// Room for n pairs, keeping those that fit; the x length becomes n. False, with nothing changed,
  /// when memory is short. O(n).
  // kept: the x length is the room until the next change of the pair count
  [[nodiscard]] bool Resize(unsigned n) override;

  /// Appends the other's pairs; false, with nothing changed, for a signal without pairs and when
  /// memory is short. The other may be this signal. O(n).
  bool Append(const CSignal& other) override;

  /// Writes the common record of that version and the pairs; false when the first fails, nothing
  /// of the pairs is written then, or when memory is short. What the stream throws passes through.
  /// O(n).
  [[nodiscard]] bool WriteToFile(CFileStream& file, unsigned version) const override;

  /// Reads a record of version 1 or 2. False when the common record fails, name and units read
  /// until then are kept, or when the pairs fail: they are then as before. O(n).
  [[nodiscard]] bool ReadFromFile(CFileStream& file, unsigned version) override;

  void Abs() override;
  void Clip(float limit, bool upper) override;
  void Add(float c) override;
  void Scale(float c) override;

  /// Drops the pairs left of x but the last one of them, so that the run still reaches x; all when
  /// the last x is at or below x. Sorts first unless marked sorted. O(n).
  void CutLeft(float x) override;

  /// Drops the pairs right of x, all when the first x is at or above x. Sorts first as CutLeft.
  // kept: unlike CutLeft no pair beyond x stays
  virtual void CutRight(float x);

  /// Smallest and largest x, in the x unit: XBereich.
  virtual void GetXRange(float& min, float& max) const;

  /// Smallest and largest y, in the y unit; untouched without pairs. The first decides when it is
  /// NaN, other NaN are passed over. O(n).
  virtual void GetYRange(float& min, float& max) const;

  CSigPairs* Clone(bool deep) const override;

  /// As CSignal::Copy, with everything else. False for anything but a pair signal.
  bool Copy(const CClonable& other, bool deep) override;

  static const CRuntimeClass* GetThisClass();
  static CObject* CreateObject();

  /// Names cleared, no pairs, parameter and number 0, automatic tolerance.
  void InitHeader();

  /// Takes over the header: type, pair count, parameter, number, flags and tolerance, not name,
  /// units and pairs. The count is limited to the room there is. O(n).
  void InitHeader(const CSigPairs& other, bool deep = true);

  // Storage.

  /// Room for n pairs, without the old ones. False, with nothing changed, when memory is short.
  [[nodiscard]] bool NeueGroesse(unsigned n);

  /// Removes all pairs; the room stays.
  void Neustart();

  /// Pairs that there is room for.
  std::uint32_t PairCapacity() const { return DLen() / 2; }

  // Access. Indices are not tested.

  /// Number of pairs.
  std::uint32_t NPaare() const { return count_ < DLen() / 2 ? count_ : DLen() / 2; }

  /// There are pairs.
  bool Gueltig() const { return NPaare() > 0; }

  /// The flags: x rises strictly; x falls strictly. Both for an empty run.
  bool IstSortiert() const { return sorted_; }
  bool IstInversSortiert() const { return inverse_; }

  /// Parameter of the whole run, for instance the value of a second axis it was taken at.
  float& Parameter() { return parameter_; }
  float Parameter() const { return parameter_; }

  /// Number of the signal; its upper 16 bits form a second number.
  std::int32_t& Nummer() { return nummer_; }
  std::int32_t Nummer() const { return nummer_; }
  std::uint16_t NummerOH() const {
    return static_cast<std::uint16_t>(static_cast<std::uint32_t>(nummer_) >> 16);
  }
  void NummerOH_Neu() { nummer_ &= 0xFFFF; }
  void SetzeNummerOH(std::uint16_t n) {
    nummer_ = static_cast<std::int32_t>((static_cast<std::uint32_t>(nummer_) & 0xFFFFU) |
                                        static_cast<std::uint32_t>(n) << 16);
  }

  /// x and y of pair i.
  float Punkt(std::uint32_t i) const { return Words()[2 * std::size_t{i}]; }
  float Wert(std::uint32_t i) const { return Words()[2 * std::size_t{i} + 1]; }
  std::pair<float, float> Point(std::uint32_t i) const { return {Punkt(i), Wert(i)}; }

  /// The pairs, for range-based loops: for (const auto& [x, y] : run).
  std::span<const SPolygonPoint> Points() const { return {Pairs(), NPaare()}; }
  const SPolygonPoint* begin() const { return Pairs(); }
  const SPolygonPoint* end() const { return Pairs() + NPaare(); }

  /// Replaces the pairs and sets the flags from them; the rest stays. They may be this signal's
  /// own. False, with nothing changed, when memory is short, and for x and y of different number.
  /// O(n).
  [[nodiscard]] bool SetPoints(std::span<const SPolygonPoint> points);
  [[nodiscard]] bool SetPoints(std::span<const float> x, std::span<const float> y);

  /// Overwrites pair i.
  // kept: the flags stay as they are
  void Setzen(std::uint32_t i, float x, float y);

  /// The x values; the form that can write ends the quick look-ups.
  Iterator Punkte() { return {FloatData(), 0}; }
  Iterator PunkteEnd() { return {FloatData(), NPaare()}; }
  ConstIterator Punkte() const { return {Words(), 0}; }
  ConstIterator PunkteEnd() const { return {Words(), NPaare()}; }

  /// The y values.
  Iterator Werte() { return {FirstY(Words()), 0}; }
  Iterator WerteEnd() { return {FirstY(Words()), NPaare()}; }
  ConstIterator Werte() const { return {FirstY(Words()), 0}; }
  ConstIterator WerteEnd() const { return {FirstY(Words()), NPaare()}; }

  /// x and y in turn, two floats a pair; the form that can write ends the quick look-ups.
  float* ValArray() { return FloatData(); }
  const float* ValArray() const { return FloatData(); }

  // Tolerance: how close two x must be to count as one point.

  /// Absolute, in the x unit, at or above 0.
  void PunktgleichheitToleranz(float t) { tolerance_ = t; }

  /// In percent of the mean spacing: x range / pair count.
  void PunktgleichheitToleranzP(float p) { tolerance_ = -p; }

  /// 5 percent of the mean spacing, as at first.
  void PunktgleichheitAutoToleranz() { tolerance_ = kAutoTolerance; }

  /// As stored: absolute at or above 0, automatic below -100, else minus the percentage.
  float PunktgleichheitToleranz() const { return tolerance_; }

  // Adding and removing.

  /// Appends a pair: the new count, or 0, with nothing changed, when memory is short. Room doubles.
  int NeuesPaar(float x, float y);

  /// Inserts a pair in order, behind those of equal x: its index, -1 when memory is short. A run
  /// with neither flag is sorted first. O(n).
  // kept: the flags stay, so a run with equal x is still marked sorted
  int NeuesPaarEinsortieren(float x, float y);

  /// Changes pair i, moving it to where it belongs in a sorted run: its new index. O(n).
  // kept: 0 also when there is no pair i
  int Aendern(std::uint32_t i, float x, float y);

  /// Removes pair i, or up to n pairs from i on; no effect behind the end. O(n).
  // kept: the flags stay
  void PunktEntfernen(std::uint32_t i);
  void PunkteEntfernen(std::uint32_t i, std::uint32_t n);

  /// Appends pair by pair as NeuesPaar, with room made once. False, with nothing changed, when
  /// memory is short. The other may be this signal. O(n).
  bool Append(const CSigPairs& other);

  /// Takes over header, name and units of src and its pairs with x1 <= x <= x2, or those with
  /// indices i1 to i2: the new count; -1, with the pairs unchanged, when memory is
  /// short. src may be this. O(n).
  int AbschnittKopieren(const CSigPairs& src, float x1, float x2);
  int AbschnittKopierenIdx(const CSigPairs& src, int i1, int i2);

  // Look-ups.

  /// y at x, in the y unit, linear between pairs, beyond the ends the first or last y; 0.0 for a
  /// run without pairs or with neither flag. The last y for NaN. O(log n), see above.
  float WertBei(float x) const;

  /// As WertBei.
  template <class T>
  requires std::is_arithmetic_v<T>
  float operator[](T x) const { return WertBei(static_cast<float>(x)); }
  template <class T>
  requires std::is_arithmetic_v<T>
  float operator[](T x) { return WertBei(static_cast<float>(x)); }
  using CSignal::operator[];

  /// Index of the neighbour of x (mode: Nachbar), that of an equal x, or the end beyond which x
  /// lies; the last one for NaN. Of a run with neither flag the nearest one, the first on ties. 0
  /// without pairs. O(log n), or O(n) without a flag.
  // kept: kNearest on a falling run gives the lower neighbour however close the other one is
  int IndexZu(float x, int mode) const;

  /// The pair IndexZu(x, kNearest) lies within tol of x.
  bool HatWertBei(float x, float tol) const;

  /// Smallest distance in x of two neighbours; 0.0 for fewer than two pairs. O(n).
  float MinStepSize() const;

  /// Smallest and largest x (y): sets both bounds, or with 0 only widens them; untouched without
  /// pairs. O(1) for x of a run with a flag, else O(n).
  void XBereich(float& lo, float& hi, int neu = 1) const;
  void YBereich(float& lo, float& hi, int neu = 1) const;

  /// Smallest (largest) y, its x and its index, the first one on ties; 0.0 and index -1, x
  /// untouched, without pairs. O(n).
  float FindeYMin(float& x, int* index = nullptr) const;
  float FindeYMax(float& x, int* index = nullptr) const;

  /// As GetYRange over the pairs with x0 <= x <= x1, or those with indices i0 to i1; untouched when
  /// there is none. O(n).
  void GetYRangeX(float& min, float& max, float x0, float x1) const;
  void GetYRangeXI(float& min, float& max, unsigned i0, unsigned i1) const;

  /// The pairs of the smallest and of the largest y, the first ones on ties; four times 0.0 without
  /// pairs. O(n).
  Range YRange() const;

  /// x lies in the x range.
  bool IsInRange(float x) const;

  /// Distance from (x, y) to the nearest pair, the first on ties, and its index; 0.0 and -1 without
  /// pairs. Pairs with NaN are passed over. O(n).
  float PointDistance(float x, float y, int* index = nullptr) const;

  // Order.

  /// Sorts by rising x and marks the run sorted. No effect for fewer than two pairs, nor for a run
  /// marked sorted unless forced. The order of equal x is that of repeated exchanges, up to runs
  /// of 14000 pairs at least; where these would take hours it is another one. O(n log n) without
  /// equal x, tens of seconds at most with them.
  void DatenSortieren(bool force = false);

  /// Reverses the order of the pairs and sets the flags anew. O(n).
  void DatenWenden();

  /// y becomes -y.
  void DatenSpiegeln();

  /// Sets both flags from the data: the one asked for. O(n).
  bool PruefeSortierung();
  bool PruefeInverseSortierung();

  // Arithmetic on all y. O(n).

  CSigPairs& operator=(float v);

  /// No effect for 0.
  CSigPairs& operator+=(float v);
  CSigPairs& operator-=(float v);
  CSigPairs& operator*=(float v);

  /// Multiplies by the float 1 / v; all y become 0.0 for 0.
  CSigPairs& operator/=(float v);

  /// y above (below) the limit become the limit: Clip.
  CSigPairs& operator<<(float limit);
  CSigPairs& operator>>(float limit);

  /// Roots of the y, 0.0 for those not above 0, and of the y unit, which stays when it is no
  /// square. No effect when memory is short.
  CSigPairs& WurzelZiehen();

  // Arithmetic with another pair signal, which may be this one. O(n + m) for runs in order.

  /// Combines this run with the other at the x of both, where the other's x lie inside this run's
  /// range (those nearer than the tolerance are one point); by code (Verrechnung) y becomes y + v,
  /// y - v, y * v, y / v (0.0 where v is 0), y + v * v, y - v * v with v the other's value there,
  /// and what lies outside the other's range is cut. kIntersection only cuts, kMinimum and kMaximum
  /// do not cut, kUnion takes over the other's pairs outside, kUnionOfZeros inserts all new pairs
  /// with y = 0.0.
  /// No effect, but that this run is sorted, when memory is short.
  // kept: runs whose x ranges do not touch give an empty run, for the unions too; see UnionWith
  void Verrechnen(const CSigPairs& other, int code);

  /// Sorts this run and gives the tolerance of a combination; false when either run is empty, the
  /// other is not marked sorted, or the x ranges do not touch.
  bool OperationVorbereiten(const CSigPairs& other, float& tol);

  /// Takes over the pairs of any other run: those beside this run's x range, as it is at the call,
  /// as they are; inside it this run's values hold, also at the other's x. Unlike kUnion the range
  /// does not grow with what was taken over, and runs that do not touch both stay whole. No effect,
  /// but that this run is sorted, when memory is short.
  void UnionWith(const CSigPairs& other);

  CSigPairs& operator|=(const CSigPairs& other);
  CSigPairs& operator&=(const CSigPairs& other);
  CSigPairs& operator+=(const CSigPairs& other);
  CSigPairs& operator-=(const CSigPairs& other);
  CSigPairs& operator*=(const CSigPairs& other);
  CSigPairs& operator/=(const CSigPairs& other);
  CSigPairs operator|(const CSigPairs& other) const;
  CSigPairs operator&(const CSigPairs& other) const;
  CSigPairs operator+(const CSigPairs& other) const;
  CSigPairs operator-(const CSigPairs& other) const;
  CSigPairs operator*(const CSigPairs& other) const;
  CSigPairs operator/(const CSigPairs& other) const;

  /// y + v * v and y - v * v.
  CSigPairs& AddSquared(const CSigPairs& other);
  CSigPairs& SubtractSquared(const CSigPairs& other);

  /// There are pairs in the other's x range, and each of them lies strictly below (above) the
  /// other's value there; false with NaN and when the other has neither flag. O(n log m).
  bool operator<(const CSigPairs& other) const;
  bool operator>(const CSigPairs& other) const;
  bool operator<(const CSigCurve& curve) const;
  bool operator>(const CSigCurve& curve) const;

  // Shaping.

  /// Replaces each y by the mean of the y of all pairs whose x is nearer than w, summed in float
  /// and in order; it stays when there is none. No effect for fewer than three pairs. O(n) times
  /// the pairs in a window for a run in order, else O(n * n).
  void Glaetten(float w);

  /// Keeps the first pair and then every n-th and the last, with the mean of the y passed over when
  /// averaging. No effect for n below 2 or fewer than three pairs. O(n).
  void Unterabtasten(int n, bool average);

  /// Drops pairs that lie within (largest y - smallest y) / d of the line through the two before.
  /// No effect for fewer than three pairs or with neither flag. O(n).
  // kept: the slope of that line is formed with the ratio of the x, not their difference
  void Linearisieren(float d);

  // Statistics over y. O(n).

  /// Mean, summed in float, and the standard deviation with divisor n; 0.0 without pairs. For one
  /// pair its y, and the deviation is not written.
  float Mittelwert(float* deviation = nullptr) const;

  /// Root of the mean square; 0.0 without pairs, the y of a single pair.
  float RmsWert() const;

  /// Level of the power sum of levels in dB, divided by the number of pairs; 0.0 without pairs, the
  /// y of a single pair.
  // kept: not the level of the mean power; stored limits rely on it
  float MittelwertDb() const;

  /// Largest y - c(x), or its absolute value, over the pairs inside the curve's range, and its x,
  /// the first on ties; 0.0 and x untouched when there is none. NaN are passed over. O(n).
  float MaxKurvenAbstand(const CSigCurve& curve, float* x, bool absolute) const;

  // Conversion.

  /// Becomes the points of a curve, the valid ones of an extended curve, with its name and units.
  /// Empty, with nothing else changed, when it has no values or memory is short. O(n).
  void AusSigCurveBilden(const CSigCurve& curve);

  /// Draws the run as lines into the values of a curve, which keeps those beside the run; name,
  /// units, scale factors (1, or -1 for a falling run) and a valid range are set. With setXRange
  /// its x range becomes that of the run. No effect for fewer than two pairs, null, a curve without
  /// values and when memory is short. A run whose last x is not above the first is taken as
  /// falling. O(n + values).
  // kept: x max becomes the last x though a curve's lies one step behind its last value, so a curve
  // taken there and back shrinks by a step; pass false and set the range yourself to avoid it
  void KurveBilden(CSigCurve* target, bool setXRange) const;

  /// Becomes the points of a polygon, with flags set from them. O(n).
  void AusPolygonCodierungBilden(const CPolygonCodierung& polygon);

  // Record of the pairs without the common record.

  /// 1, or 0 when memory is short; what the stream throws passes through. O(n).
  [[nodiscard]] int DateiExport(CFileStream& file) const;

  /// 1, or 0, with nothing changed, when the record is cut short or malformed or memory is short.
  /// The name is taken only when this signal has none yet. O(n).
  [[nodiscard]] int DateiImport(CFileStream& file);

 protected:
  /// The pairs' floats, without ending the quick look-ups: NoteOrder must follow writing x.
  using CSigRaw::Words;

  /// Tests again whether x is in order, for the quick look-ups; the flags stay. O(n).
  void NoteOrder();

  /// Sets the pair count, at most the room, and the x length.
  void SetCount(std::uint32_t n);

 private:
  static constexpr float kAutoTolerance = -101.0F;

  template <class Float>
  static Float* FirstY(Float* words) {
    return words == nullptr ? nullptr : words + 1;
  }

  SPolygonPoint* Pairs() { return reinterpret_cast<SPolygonPoint*>(Words()); }
  const SPolygonPoint* Pairs() const { return reinterpret_cast<const SPolygonPoint*>(Words()); }
  bool NeverFalls() const { return neverFalls_ && !WrittenOutside(); }
  bool NeverRises() const { return neverRises_ && !WrittenOutside(); }
  detail::SPairRun Run() const;
  void SortPairs();
  void EmptyRun();
  bool GrowForOne();
  void TakeHeader(const CSigPairs& other);
  int TakeSection(const CSigPairs& src, const CSigPairs& section);
  template <class Op>
  void ForEachY(Op op);
  float Tolerance() const;
  static std::unique_ptr<CSigPairs> SortedCopy(const CSigPairs& run);
  void Combine(const CSigPairs& other, int code);
  bool Merge(const CSigPairs& other, const detail::SMerging& how);
  bool MergeEach(const CSigPairs& other, const detail::SMerging& how);
  bool MergeInOneWalk(const CSigPairs& other, const detail::SMerging& how);
  void CutTo(const CSigPairs& other, float tol);
  CSigPairs& Combined(const CSigPairs& other, int code);
  CSigPairs CombinedCopy(const CSigPairs& other, int code) const;

  std::uint32_t count_ = 0;
  float parameter_ = 0.0F;
  std::int32_t nummer_ = 0;
  bool sorted_ = true;
  bool inverse_ = true;
  float tolerance_ = kAutoTolerance;
  bool neverFalls_ = true;  ///< no x is NaN or below the one before
  bool neverRises_ = true;  ///< no x is NaN or above the one before
};

}  // namespace limes
