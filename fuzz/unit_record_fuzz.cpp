// Unit records: what is read is written and read again with the same fields.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "limes/core/measuring_unit.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/print_window.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto kSilent = limes::PrWin::SetSink([](int, int, std::u16string_view) {});
  static_cast<void>(kSilent);
  limes::CMemoryStream file(std::span<const std::uint8_t>(data, size));
  limes::CMeasuringUnit unit;
  if (!unit.ReadFromFile(file)) {
    return 0;
  }
  limes::CMemoryStream out;
  if (!unit.WriteToFileWithText(out)) {
    std::abort();
  }
  out.Seek(0);
  limes::CMeasuringUnit back;
  if (!back.ReadFromFile(out) || (!(back == unit) && !std::isnan(unit.logref()))) {
    std::abort();
  }
  return 0;
}
