// Text of any bytes read as a curve: what is read is written and reads the same again.
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "limes/learning/curve_assistant.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/print_window.h"
#include "limes/signals/extended_curve.h"

namespace {

using Assistant = limes::CSigCurveAssistent;

/// Empty for what cannot be read back, such as a head that grew too long.
std::vector<std::uint8_t> Exported(const limes::CSigCurveExt& curve) {
  limes::CMemoryStream file;
  static_cast<void>(Assistant::TextExport(curve, file));
  return {file.Bytes().begin(), file.Bytes().end()};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto kQuiet =
      limes::PrWin::SetSink([](int, int, std::u16string_view) {});  // unit messages
  limes::CMemoryStream in(std::span<const std::uint8_t>(data, size));
  limes::CSigCurveExt curve(3);
  if (Assistant::TextImport(in, curve) != limes::CurveTextStatus::kOk) {
    return curve.DLen() == 3 ? 0 : (std::abort(), 0);
  }
  const std::vector<std::uint8_t> once = Exported(curve);
  limes::CMemoryStream back{std::span<const std::uint8_t>(once)};
  limes::CSigCurveExt again;
  if (once.empty()) {
    return 0;
  }
  if (Assistant::TextImport(back, again) != limes::CurveTextStatus::kOk ||
      Exported(again) != once) {
    std::abort();
  }
  return 0;
}
