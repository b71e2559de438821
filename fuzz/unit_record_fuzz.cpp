// Unit records: what is read is written and read again with the same fields.
#include <cmath>

#include "fuzz/fuzz.h"
#include "limes/core/measuring_unit.h"

void limes::fuzz::Try(Input input) {
  CMemoryStream file(input);
  CMeasuringUnit unit;
  if (!unit.ReadFromFile(file)) {
    return;
  }
  CMemoryStream out;
  Require(unit.WriteToFileWithText(out));
  out.Seek(0);
  CMeasuringUnit back;
  Require(back.ReadFromFile(out) && (back == unit || std::isnan(unit.logref())));
}
