// Sound files and curve records, told apart by their first bytes as in a run.
#include <cstdint>
#include <span>

#include "apps/limes/errors.h"
#include "apps/limes/part_source.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace limes;
  using namespace limes::host;
  CMemoryStream stream(std::span<const std::uint8_t>(data, size));
  for (const std::uint64_t cut : {0U, 16U}) {
    SSettings settings;
    SetDefaults(settings);
    settings.cut = cut;
    settings.spectrum = cut > 0 ? 8 : 0;
    const std::vector<SCondition> where;
    try {
      stream.Seek(0);
      const FileKind kind = DetectKind("t", stream);
      const auto reader = MakePartReader(kind, stream, {"t", &settings, &where, false, false});
      CFormer former(settings);
      for (SPart part; reader->Next(part);) {
        former.Form(part);
      }
    } catch (const CHostError&) {
    }
  }
  return 0;
}
