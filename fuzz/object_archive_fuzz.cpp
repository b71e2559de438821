// Archives of any words: loading stays inside the array, storing again gives the same words.
#include <algorithm>
#include <memory>

#include "fuzz/fuzz.h"
#include "limes/core/object_archive.h"

namespace limes::fuzz {
namespace {

/// Loads with the operations that the steps name; no operation may pass the end.
void LoadAll(CSerializer& archive, Input steps) {
  std::uint32_t words[64];
  char bytes[300];
  wide_string name;
  for (const std::uint8_t step : steps) {
    const int n = step >> 3;
    const std::uint32_t before = archive.WordsToEnd();
    const int what = step & 7;
    if (what == 0) {
      Require(archive.LoadData(words, n) <= static_cast<int>(before));
    } else if (what == 1) {
      Require(archive.LoadDataNoMove(words, n) <= n && archive.WordsToEnd() == before);
    } else if (what == 2) {
      archive.LoadBytes(bytes, n * 9);
    } else if (what == 3) {
      Require(archive.SkipData(n) == nullptr ||
              before - archive.WordsToEnd() == std::min(before, static_cast<std::uint32_t>(n)));
    } else if (what == 4) {
      const std::unique_ptr<CSObject> object(archive.LoadObject());
    } else if (what == 5) {
      archive.TestLoadObject(name);
    } else if (what == 6) {
      CSObject object;
      archive.TestReloadObject(&object);
      archive.ReloadObject(&object);
    } else {
      archive.StoreBytes(bytes, 0);
      Require(archive.DataLeft() <= archive.Groesse());
    }
  }
}

}  // namespace

void Try(Input input) {
  if (input.size() < 2) {
    return;
  }
  const std::size_t steps = std::min<std::size_t>(input[0] % 32, input.size() - 2);
  const unsigned capacity = input[1];
  CMemoryStream file(input.subspan(2 + steps));

  const auto words = std::make_unique<std::uint32_t[]>(capacity);
  CSerializer archive(words.get(), capacity, 0);
  int count = 0;
  if (archive.FetchFromFile(file, &count) == 0) {
    Require(archive.IsStoring() != 0);
    archive.Init(words.get(), capacity, CSerializer::kLoad);
  } else {
    Require(count > 0 && static_cast<unsigned>(count) <= capacity);
  }
  LoadAll(archive, input.subspan(2, steps));

  // Header and data stored again are the same words.
  if (capacity > CSerializer::kHeaderWords) {
    CSerializer in(words.get(), capacity, CSerializer::kLoad);
    std::vector<std::uint32_t> copy(capacity);
    CSerializer out(copy.data(), capacity, 0);
    out.SetMarker(in.Marker());
    out.SetArchiveName(in.ArchiveName());
    const int n = static_cast<int>(in.WordsToEnd());
    Require(out.StoreData(in.SkipData(n), n) == n && out.Groesse() == capacity);
    Require(std::equal(copy.begin() + CSerializer::kHeaderWords, copy.end(),
                       words.get() + CSerializer::kHeaderWords));
    CSerializer again(copy.data(), capacity, CSerializer::kLoad);
    Require(again.Marker() == in.Marker());
    Require(std::string_view(again.ArchiveName()) == in.ArchiveName());
  }
}

}  // namespace limes::fuzz
