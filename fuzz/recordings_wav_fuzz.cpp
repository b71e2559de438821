// Sound files and signal records, told apart by their first bytes as in a run, and written again in
// all formats.
#include "fuzz/fuzz.h"
#include "recordings/errors.h"
#include "recordings/part_source.h"
#include "recordings/part_writer.h"

void limes::fuzz::Try(Input input) {
  using namespace limes::recordings;
  CMemoryStream stream(input);
  for (const std::uint64_t cut : {0U, 16U}) {
    SReadSettings settings;
    settings.cut = cut;
    settings.spectrum = cut > 0 ? 8 : 0;
    const std::vector<SCondition> where;
    try {
      stream.Seek(0);
      const FileKind kind = DetectKind("t", stream);
      const auto reader = MakePartReader(kind, stream, {"t", &settings, &where, false, false});
      CFormer former(settings);
      for (SPart part; reader->Next(part);) {
        former.Form(part, kind == FileKind::kSound);
        for (const char* name : {"text", "curve", "pairs", "array"}) {
          try {
            CMemoryStream out;
            WriteParts({part}, *FormatByName(name), out);
          } catch (const CReadError&) {
          }
        }
      }
    } catch (const CReadError&) {
    }
  }
}
