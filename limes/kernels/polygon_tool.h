#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "limes/export.h"
#include "limes/kernels/polygon_coding.h"
#include "limes/platform/conversions.h"

namespace limes {

/// Applies point lists of a resource store to float vectors: sample i of n lies at x0 + i * dx.
///
/// The operations that take a list sort its lines "x y" by x (see CPolygonCodierung::Sortieren)
/// and treat samples with the polyline's value at their x. They return true, and in lo and hi the
/// smallest and largest of the samples treated as they are then (NaN passed over, two NaN when all
/// are). False, with nothing changed, when the list is missing or empty, when no sample is treated,
/// for a null name, or without a vector. O((lines + n) log(lines)). One thread at a time.
class LIMES_EXPORT CPolygonTool {
 public:
  /// The samples, and the bounds of those treated: for calls with names instead of places.
  struct SSamples {
    std::span<float> values;
    float x0 = 0.0F;
    float dx = 1.0F;
  };
  struct SBounds {
    float lo;
    float hi;
  };

  /// Index of the sample nearest to x, not clamped: trunc((x - x0) / dx + 0.5); 0 for dx = 0. NaN
  /// gives the smallest integer.
  static int Index(float x, float x0, float dx);

  /// The same, clamped to n samples; 0 when there is none.
  static int UIndex(float x, float x0, float dx, int n);

  /// y at x on the straight line through (xa, ya) and (xb, yb); ya when both have the same x.
  static float Interpolieren(float xa, float ya, float xb, float yb, float x);

  /// Value at x of the polyline of n points, as CPolygonCodierung::WertBei. O(n).
  static float UInterpolieren(const SPolygonPoint* points, int n, float x);

  /// Makes the vector the polyline, flat beyond its ends.
  static bool Bauen(const CResourceSea& store, std::u16string_view name, float* v, int n, float x0,
                    float dx, float& lo, float& hi);
  static bool Bauen(const CResourceSea& store, const wide_char* name, float* v, int n, float x0,
                    float dx, float& lo, float& hi) {
    return name != nullptr && Bauen(store, std::u16string_view(name), v, n, x0, dx, lo, hi);
  }
  static std::optional<SBounds> Bauen(const CResourceSea& store, std::u16string_view name,
                                      const SSamples& samples) {
    SBounds found{};
    const bool treated =
        Bauen(store, name, samples.values.data(), SaturateTo<int>(samples.values.size()),
              samples.x0, samples.dx, found.lo, found.hi);
    return treated ? std::optional(found) : std::nullopt;
  }

  /// Limits or replaces the vector by the modes of CPolygonCodierung::KurveBegrenzen; the flat ends
  /// reach all samples, except in the mode that stays between the points.
  static bool Anwenden(const CResourceSea& store, std::u16string_view name, float* v, int n,
                       float x0, float dx, int mode, float& lo, float& hi);
  static bool Anwenden(const CResourceSea& store, const wide_char* name, float* v, int n, float x0,
                       float dx, int mode, float& lo, float& hi) {
    return name != nullptr &&
           Anwenden(store, std::u16string_view(name), v, n, x0, dx, mode, lo, hi);
  }
  static std::optional<SBounds> Anwenden(const CResourceSea& store, std::u16string_view name,
                                         const SSamples& samples, int mode) {
    SBounds found{};
    const bool treated =
        Anwenden(store, name, samples.values.data(), SaturateTo<int>(samples.values.size()),
                 samples.x0, samples.dx, mode, found.lo, found.hi);
    return treated ? std::optional(found) : std::nullopt;
  }

  /// Adds the polyline to the vector between its first and last point.
  static bool Aufsetzen(const CResourceSea& store, std::u16string_view name, float* v, int n,
                        float x0, float dx, float& lo, float& hi);
  static bool Aufsetzen(const CResourceSea& store, const wide_char* name, float* v, int n, float x0,
                        float dx, float& lo, float& hi) {
    return name != nullptr && Aufsetzen(store, std::u16string_view(name), v, n, x0, dx, lo, hi);
  }
  static std::optional<SBounds> Aufsetzen(const CResourceSea& store, std::u16string_view name,
                                          const SSamples& samples) {
    SBounds found{};
    const bool treated =
        Aufsetzen(store, name, samples.values.data(), SaturateTo<int>(samples.values.size()),
                  samples.x0, samples.dx, found.lo, found.hi);
    return treated ? std::optional(found) : std::nullopt;
  }

  /// Makes a section of the vector the polyline of the lines "index y", from the first index to the
  /// last one.
  static bool AusschnittBauen(const CResourceSea& store, std::u16string_view name, float* v, int n,
                              float& lo, float& hi);
  static bool AusschnittBauen(const CResourceSea& store, const wide_char* name, float* v, int n,
                              float& lo, float& hi) {
    return name != nullptr && AusschnittBauen(store, std::u16string_view(name), v, n, lo, hi);
  }
};

}  // namespace limes
