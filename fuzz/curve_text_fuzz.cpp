// Text of any bytes read as a curve: what is read is written and reads the same again.
#include "fuzz/fuzz.h"
#include "limes/learning/curve_assistant.h"
#include "limes/signals/extended_curve.h"

void limes::fuzz::Try(Input input) {
  using Assistant = CSigCurveAssistent;
  const auto read = [](CSigCurveExt& curve, CFileStream& file) {
    return Assistant::TextImport(file, curve) == CurveTextStatus::kOk;
  };
  CMemoryStream in(input);
  CSigCurveExt curve(3);
  if (!read(curve, in)) {
    Require(curve.DLen() == 3);
    return;
  }
  const auto write = [](const CSigCurveExt& c, CFileStream& f) {
    return Assistant::TextExport(c, f);
  };
  CMemoryStream out;
  if (write(curve, out)) {  // a head that grew too long cannot be read back
    Require(RoundTrip(curve, out.Bytes(), read, write));
  }
}
