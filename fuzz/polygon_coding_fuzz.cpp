// Polygon records and texts: what was read is written the same, sorts and mirrors without loss.
#include <algorithm>

#include "fuzz/fuzz.h"
#include "limes/kernels/polygon_coding.h"

void limes::fuzz::Try(Input input) {
  CMemoryStream file(input);
  CPolygonCodierung polygon;
  const bool whole = polygon.AusDateiLesen(file);
  CMemoryStream out;
  Require(polygon.InDateiSchreiben(out));
  Require(!whole || polygon.Anzahl() == 0 ||
          std::equal(out.Bytes().begin(), out.Bytes().end(), input.begin()));
  const int n = polygon.PunktAusText(Utf8ToWide(TextOf(input)));
  polygon.Sortieren();
  static_cast<void>(polygon[polygon.Points().front().x]);
  polygon.MirrorX();
  Require(polygon.Anzahl() == n);
  polygon.CutNegX();
  polygon.CutPosX();
}
