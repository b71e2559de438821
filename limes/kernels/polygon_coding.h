#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "limes/export.h"
#include "limes/kernels/polygon_point.h"
#include "limes/platform/text.h"

namespace limes {

class CFileStream;
class CResourceSea;
class CSigCurve;

namespace detail {

/// Value of a polyline at x, see CPolygonCodierung::WertBei. ascending: from the second point on no
/// x falls or is NaN, so that a search by halves finds what one in turn finds.
float PolylineValue(std::span<const SPolygonPoint> points, bool ascending, float x);

}  // namespace detail

/// Polyline over the x axis of curves: a limit line, or a target shape.
///
/// Between its points it runs straight, beyond them it continues flat. What is said of its value
/// holds for points in ascending x order: Sortieren and AusResListeLesen establish it, the other
/// ways to add points leave it to the caller. Copies own their points. No operation throws, except
/// copying without memory and what a stream throws while writing. One thread at a time.
class LIMES_EXPORT CPolygonCodierung {
 public:
  // What KurveBegrenzen does where a sample is v and the polyline p. Other modes are kLowerLimit.
  static constexpr int kUpperLimit = 0;      ///< v = p where v > p
  static constexpr int kLowerLimit = 1;      ///< v = p where v < p
  static constexpr int kReplace = 2;         ///< v = p
  static constexpr int kReplaceBetween = 4;  ///< v = p between the first and the last point only

  // What MaxKurvenAbstand and IntegralAbstand measure. Other modes are kBothSides.
  static constexpr int kAbove = 0;      ///< curve - polyline
  static constexpr int kBelow = 1;      ///< polyline - curve
  static constexpr int kBothSides = 2;  ///< the absolute difference

  CPolygonCodierung() = default;
  CPolygonCodierung(const CPolygonCodierung&) = default;
  CPolygonCodierung& operator=(const CPolygonCodierung&) = default;
  virtual ~CPolygonCodierung();

  /// Same number of points, and every point of this one is somewhere in the other: the order does
  /// not count, nor does the sign of zeros, and a NaN equals nothing. O(n log n).
  // kept: how often a point occurs is not compared, so that the operator is not symmetric
  bool operator==(const CPolygonCodierung& other) const;

  /// There is a point; for a line: there are two.
  bool Gueltig(bool forLine) const { return Anzahl() > (forLine ? 1 : 0); }

  int Anzahl() const { return static_cast<int>(points_.size()); }
  std::span<const SPolygonPoint> Points() const { return {points_.data(), points_.size()}; }

  /// Removes all points.
  void Leeren();

  /// Appends a point, wherever it lies; ignored when memory is short. O(1) amortised.
  void NeuerPunkt(float x, float y) { Append(x, y); }

  /// Removes point i; no effect outside. O(n).
  void PunktEntfernen(int i);

  /// Appends the point of a text "x y", 0.0 for what is missing, none for null: the number of
  /// points then.
  int PunktAusText(std::u16string_view text);
  int PunktAusText(const wide_char* text) {
    return text == nullptr ? Anzahl() : PunktAusText(std::u16string_view(text));
  }

  /// Sorts by ascending x; a NaN stays where it is. Points of equal x end up as by passes that swap
  /// each point with the first one before it whose x is larger, until nothing is swapped; where
  /// that takes hours, in another order. O(n log n); up to O(n^2) with many points of equal x far
  /// from their places.
  void Sortieren();

  /// Mirrors at x = 0: the order is reversed. O(n).
  void MirrorX();

  /// Mirrors at y = 0. O(n).
  void MirrorY();

  /// Drops the points right of x = 0, from the last one down to one that is not. O(dropped).
  void CutPosX();

  /// Drops the points left of x = 0, from the first one up to one that is not. O(n).
  void CutNegX();

  /// first x <= x <= last x
  bool LiegtImBereich(float x) const;

  /// Value at x; 0.0 without points. The first segment whose end is not left of x counts; where x
  /// can be compared with no end, as a NaN, the last y. O(log n) for ascending points, else O(n).
  float WertBei(float x) const;
  float operator[](float x) const { return WertBei(x); }

  /// Replaces the points by those of the lines "x y" of a list, sorted: their number. No effect,
  /// and 0, for a null name.
  int AusResListeLesen(const CResourceSea& store, std::u16string_view name);
  int AusResListeLesen(const CResourceSea& store, const wide_char* name) {
    return name == nullptr ? 0 : AusResListeLesen(store, std::u16string_view(name));
  }

  /// Replaces the lines of a list, made when there is none, by one line a point. False when memory
  /// is short, and, with no effect, for a null name. O(n).
  bool InResListeSchreiben(CResourceSea& store, std::u16string_view name) const;
  bool InResListeSchreiben(CResourceSea& store, const wide_char* name) const {
    return name != nullptr && InResListeSchreiben(store, std::u16string_view(name));
  }

  /// Reads count and points, unsorted. False when the record is cut short or memory is short; what
  /// was read whole stays. A count below 0 is that of no points. Memory grows with what the stream
  /// delivers, whatever the count says. O(n).
  [[nodiscard]] bool AusDateiLesen(CFileStream& file);

  /// Writes the count (32 bits) and x and y of each point in one piece. False when memory is short;
  /// what the stream throws passes through. O(n).
  [[nodiscard]] bool InDateiSchreiben(CFileStream& file) const;

  /// Lists the points in the print window.
  void PrWinAusgabe() const;

  // Operations with curves. They work on all values, by the index of an x on the curve's grid; a
  // polyline without points, and a curve without values or x span, or null, has no effect.

  /// Limits or replaces the curve by the polyline, by its flat ends too where its first and last
  /// point lie on the curve. A segment runs straight between the samples nearest to its points;
  /// within one sample it is the mean of both y. A NaN sample is replaced, but never limited.
  /// O(points + values).
  // kept: a flat end does nothing where its point lies beside the curve; see LimitCurveFlat
  void KurveBegrenzen(CSigCurve* curve, int mode) const;

  /// As KurveBegrenzen, but flat ends reach the curve from wherever their points lie: a polyline
  /// beside the curve limits it too.
  void LimitCurveFlat(CSigCurve* curve, int mode) const;

  /// Makes the curve this polyline over its x range, with as many values as it has; all of an
  /// extended curve is valid then. No effect for fewer than two points.
  // kept: x max is the last point's x, where a grid would put the value behind the last one
  void KurveBilden(CSigCurve* curve) const;

  /// Replaces the curve by the polyline moved by (dx, dy), between its first and last point.
  void HutAufsetzen(CSigCurve* curve, float dx, float dy) const;

  /// Largest distance of the curve from the polyline over the valid samples in its x range, and the
  /// x of the first one that has it, unless position is null. It is negative when all lie on the
  /// other side; NaN are passed over. 0.0, and the position untouched, when there is no sample.
  float MaxKurvenAbstand(const CSigCurve& curve, float* position, int mode) const;

  /// Area between curve and polyline: the sum of the distances above 0 of the same samples times
  /// the step, formed in double.
  float IntegralAbstand(const CSigCurve& curve, int mode) const;

 private:
  bool Append(float x, float y);
  bool Ascends(std::size_t i) const;
  void FindOrder();
  void Removed();
  void Apply(CSigCurve* curve, int mode, float dx, float dy, bool fromBeside) const;

  std::vector<SPolygonPoint> points_;
  bool ascending_ = true;  ///< see PolylineValue
};

}  // namespace limes
