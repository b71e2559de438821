// Tables through both splitters and every way of making parts; the first byte picks the way.
#include <string>

#include "fuzz/fuzz.h"
#include "recordings/errors.h"
#include "recordings/part_source.h"
#include "recordings/tables/csv_reader.h"

namespace limes::fuzz {
namespace {

using namespace limes::recordings;

std::string Split(Input bytes, bool byLibrary) {
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

SReadSettings Way(unsigned way) {
  SReadSettings s;
  s.rows = (way & 3) == 1;
  s.values = (way & 3) == 2;
  s.noHeader = (way & 4) != 0;
  if ((way & 8) != 0 && s.IsTable()) {
    s.partColumn = std::string("p");
    s.quantityColumn = std::string("q");
    s.labelColumn = std::string("l");
  } else if ((way & 8) != 0) {
    s.dx = 0.5;
  }
  if ((way & 16) != 0 && !s.values) {
    s.cut = 6;
    s.spectrum = 4;
  }
  return s;
}

}  // namespace

void Try(Input input) {
  const unsigned way = TakeByte(input);
  Require(Split(input, false) == Split(input, true));
  const SReadSettings settings = Way(way);
  std::vector<SCondition> where;
  if ((way & 32) != 0) {
    where.push_back({"p", "1"});
  }
  CMemoryStream stream(input);
  try {
    const auto reader = MakePartReader(FileKind::kTable, stream,
                                       {"t", &settings, &where, (way & 64) != 0, (way & 128) != 0});
    CFormer former(settings);
    for (SPart part; reader->Next(part);) {
      former.Form(part, (way & 16) != 0);
    }
  } catch (const CReadError&) {
  }
}

}  // namespace limes::fuzz
