// Archived limit values: every word array is loaded or refused, and learning goes on.
#include <cstdint>
#include <cstring>
#include <vector>

#include "limes/core/object_archive.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/platform/message_box.h"
#include "limes/platform/print_window.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto kSilent = limes::PrWin::SetSink([](int, int, std::u16string_view) {});
  static_cast<void>(kSilent);
  std::vector<std::uint32_t> words(size / 4);
  if (!words.empty()) {
    std::memcpy(words.data(), data, 4 * words.size());
  }
  limes::CSerializer archive(words.data(), static_cast<unsigned>(words.size()), 1);
  limes::CLernenderGrenzwert limit;
  static_cast<void>(limit.AusArchivLaden(&archive));
  limit.NeueMessung(1.0F);
  static_cast<void>(limit.Beurteilen(2.0F));
  limes::CKurvenLernWerkzeug tool;
  tool.AusArchivLaden(&archive);
  tool.GrenzeBilden();
  limes::CSerializer out(words.data(), static_cast<unsigned>(words.size()), 0);
  static_cast<void>(limit.InArchivSchreiben(&out));
  return 0;
}
