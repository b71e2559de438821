// Polygon records and texts: what was read is written the same, sorts and mirrors without loss.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "limes/kernels/polygon_coding.h"
#include "limes/platform/file_stream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  limes::CMemoryStream file(std::span<const std::uint8_t>(data, size));
  limes::CPolygonCodierung polygon;
  const bool whole = polygon.AusDateiLesen(file);
  limes::CMemoryStream out;
  if (!polygon.InDateiSchreiben(out) ||
      (whole && polygon.Anzahl() > 0 &&
       !std::equal(out.Bytes().begin(), out.Bytes().end(), data))) {
    std::abort();
  }
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const int n = polygon.PunktAusText(limes::Utf8ToWide(bytes));
  polygon.Sortieren();
  static_cast<void>(polygon[polygon.Points().front().x]);
  polygon.MirrorX();
  if (polygon.Anzahl() != n) {
    std::abort();
  }
  polygon.CutNegX();
  polygon.CutPosX();
  return 0;
}
