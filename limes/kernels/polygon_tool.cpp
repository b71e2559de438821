#include "limes/kernels/polygon_tool.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>

#include "limes/platform/conversions.h"
#include "limes/platform/resource_sea.h"

namespace limes {
namespace {

// Points of the lines "x y", or "index y", sorted.
CPolygonCodierung ReadPoints(const CResourceSea& store, std::u16string_view name, bool byIndex) {
  CPolygonCodierung polygon;
  if (const CResourceList* list = store.List(name)) {
    for (const CResourceEntry& entry : *list) {
      float x = 0.0F;
      float y = 0.0F;
      if (byIndex) {
        std::int32_t index = 0;
        entry.Scan(u"%d %f", &index, &y);
        x = static_cast<float>(index);
      } else {
        entry.Scan(u"%f %f", &x, &y);
      }
      polygon.NeuerPunkt(x, y);
    }
    polygon.Sortieren();
  }
  return polygon;
}

// v = take(v, polyline) for each sample, or for those between the first and the last point.
template <class Take>
bool Treat(const CPolygonCodierung& polygon, std::span<float> v, float x0, float dx, bool between,
           float& lo, float& hi, Take take) {
  if (!polygon.Gueltig(false)) {
    return false;
  }
  bool treated = false;
  float low = std::numeric_limits<float>::quiet_NaN();
  float high = low;
  for (std::size_t i = 0; i < v.size(); ++i) {
    const float x = x0 + static_cast<float>(i) * dx;
    if (between && !polygon.LiegtImBereich(x)) {
      continue;
    }
    v[i] = take(v[i], polygon.WertBei(x));
    low = std::fmin(low, v[i]);
    high = std::fmax(high, v[i]);
    treated = true;
  }
  if (treated) {
    lo = low;
    hi = high;
  }
  return treated;
}

std::span<float> Samples(float* v, int n) {
  return {v, v == nullptr || n < 0 ? 0 : static_cast<std::size_t>(n)};
}

float Replaced(float /*v*/, float p) { return p; }

}  // namespace

int CPolygonTool::Index(float x, float x0, float dx) {
  return dx == 0.0F ? 0 : TruncToInt32(double{(x - x0) / dx} + 0.5);
}

int CPolygonTool::UIndex(float x, float x0, float dx, int n) {
  return n <= 0 ? 0 : std::clamp(Index(x, x0, dx), 0, n - 1);
}

float CPolygonTool::Interpolieren(float xa, float ya, float xb, float yb, float x) {
  if (xa == xb) {
    return ya;
  }
  const float slope = (yb - ya) / (xb - xa);
  return (x - xa) * slope + ya;
}

float CPolygonTool::UInterpolieren(const SPolygonPoint* points, int n, float x) {
  return points == nullptr || n <= 0
             ? 0.0F
             : detail::PolylineValue({points, static_cast<std::size_t>(n)}, false, x);
}

bool CPolygonTool::Bauen(const CResourceSea& store, std::u16string_view name, float* v, int n,
                         float x0, float dx, float& lo, float& hi) {
  return Treat(ReadPoints(store, name, false), Samples(v, n), x0, dx, false, lo, hi, Replaced);
}

bool CPolygonTool::Anwenden(const CResourceSea& store, std::u16string_view name, float* v, int n,
                            float x0, float dx, int mode, float& lo, float& hi) {
  const bool between = mode == CPolygonCodierung::kReplaceBetween;
  const auto treat = [&](auto take) {
    return Treat(ReadPoints(store, name, false), Samples(v, n), x0, dx, between, lo, hi, take);
  };
  switch (mode) {
    case CPolygonCodierung::kUpperLimit:
      return treat([](float x, float p) { return x > p ? p : x; });
    case CPolygonCodierung::kReplace:
    case CPolygonCodierung::kReplaceBetween:
      return treat(Replaced);
    default:
      return treat([](float x, float p) { return x < p ? p : x; });
  }
}

bool CPolygonTool::Aufsetzen(const CResourceSea& store, std::u16string_view name, float* v, int n,
                             float x0, float dx, float& lo, float& hi) {
  return Treat(ReadPoints(store, name, false), Samples(v, n), x0, dx, true, lo, hi,
               [](float x, float p) { return x + p; });
}

bool CPolygonTool::AusschnittBauen(const CResourceSea& store, std::u16string_view name, float* v,
                                   int n, float& lo, float& hi) {
  return Treat(ReadPoints(store, name, true), Samples(v, n), 0.0F, 1.0F, true, lo, hi, Replaced);
}

}  // namespace limes
