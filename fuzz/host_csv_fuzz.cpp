// Tables through both splitters and every way of making parts; the first byte picks the way.
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include "apps/limes/errors.h"
#include "apps/limes/part_source.h"

namespace {

using namespace limes;
using namespace limes::host;

std::string Split(std::span<const std::uint8_t> bytes, bool byLibrary) {
  CMemoryStream stream(bytes);
  std::string all;
  try {
    CCsvReader reader(stream, "t");
    reader.SplitAllByLibrary(byLibrary);
    for (std::vector<std::string_view> cells; reader.Next(cells);) {
      for (const auto cell : cells) {
        all.append(cell).push_back('\x1F');
      }
      all.push_back('\x1E');
    }
  } catch (const CInputError&) {
    all += "error";
  }
  return all;
}

SSettings Way(std::uint8_t way) {
  SSettings s;
  s.rows = (way & 3) == 1;
  s.values = (way & 3) == 2;
  s.noHeader = (way & 4) != 0;
  if ((way & 8) != 0) {
    if (s.IsTable()) {
      s.partColumn = "p";
      s.quantityColumn = "q";
      s.labelColumn = "l";
    } else {
      s.dx = 0.5;
    }
  }
  if ((way & 16) != 0 && !*s.values) {
    s.cut = 6;
    s.spectrum = 4;
  }
  SetDefaults(s);
  return s;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::span<const std::uint8_t> bytes(data + 1, size - 1);
  if (Split(bytes, false) != Split(bytes, true)) {
    std::abort();
  }
  const SSettings settings = Way(data[0]);
  std::vector<SCondition> where;
  if ((data[0] & 32) != 0) {
    where.push_back({"p", "1"});
  }
  CMemoryStream stream(bytes);
  try {
    const auto reader =
        MakePartReader(FileKind::kTable, stream,
                       {"t", &settings, &where, (data[0] & 64) != 0, (data[0] & 128) != 0});
    CFormer former(settings);
    for (SPart part; reader->Next(part);) {
      former.Form(part);
    }
  } catch (const CHostError&) {
  }
  return 0;
}
