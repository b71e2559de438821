#pragma once

namespace limes {

/// A point of a polyline or of a pair signal.
struct SPolygonPoint {
  float x;
  float y;
};

}  // namespace limes
