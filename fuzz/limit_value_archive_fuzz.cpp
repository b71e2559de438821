// Archived limit values: every word array is loaded or refused, and learning goes on.
#include "fuzz/fuzz.h"
#include "limes/core/object_archive.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_limit_value.h"

void limes::fuzz::Try(Input input) {
  auto words = ArrayOf<std::uint32_t>(input);
  CSerializer archive(words.data(), static_cast<unsigned>(words.size()), 1);
  CLernenderGrenzwert limit;
  static_cast<void>(limit.AusArchivLaden(&archive));
  limit.NeueMessung(1.0F);
  static_cast<void>(limit.Judge(2.0F));
  CKurvenLernWerkzeug tool;
  tool.AusArchivLaden(&archive);
  tool.GrenzeBilden();
  CSerializer out(words.data(), static_cast<unsigned>(words.size()), 0);
  static_cast<void>(limit.InArchivSchreiben(&out));
}
