// Files with channels, told apart by their first bytes; the first byte of the input picks settings.
#include "fuzz/fuzz.h"
#include "recordings/errors.h"
#include "recordings/part_source.h"

void limes::fuzz::Try(Input input) {
  using namespace limes::recordings;
  const unsigned way = TakeByte(input);
  SReadSettings settings;
  if ((way & 1) != 0) {
    settings.dx = 0.5;
  }
  if ((way & 2) != 0) {
    settings.xFrom = "1";
  }
  if ((way & 4) != 0) {
    settings.use = {"2", "1"};
  }
  const std::vector<SCondition> where;
  CMemoryStream stream(input);
  try {
    const FileKind kind = DetectKind("t", stream);
    if (!HoldsChannels(kind)) {
      return;
    }
    const auto reader = MakePartReader(kind, stream, {"t", &settings, &where, false, false});
    std::size_t values = 0;
    for (SPart part; reader->Next(part);) {
      for (const SQuantity& q : part.quantities) {
        Require(!q.values.empty() && (q.x.empty() || q.x.size() == q.values.size()));
        values += q.values.size();
      }
    }
    Require(values <= 16 * input.size() || kind == FileKind::kNumpy || kind == FileKind::kMdf);
  } catch (const CReadError&) {
  }
}
