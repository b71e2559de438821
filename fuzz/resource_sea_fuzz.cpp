// Resource stores of any text: what is read is written, read and written again the same.
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "limes/platform/file_stream.h"
#include "limes/platform/resource_sea.h"

namespace {

std::vector<std::uint8_t> Saved(const limes::CResourceSea& sea) {
  limes::CMemoryStream file;
  if (!sea.Save(file)) {
    std::abort();
  }
  return {file.Bytes().begin(), file.Bytes().end()};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  limes::CMemoryStream file(std::span<const std::uint8_t>(data, size));
  limes::CResourceSea sea;
  if (!sea.Load(file)) {
    return sea.Lists().empty() ? 0 : (std::abort(), 0);
  }
  const std::vector<std::uint8_t> text = Saved(sea);
  limes::CMemoryStream second(text);
  limes::CResourceSea again;
  if (!again.Load(second) || Saved(again) != text) {
    std::abort();
  }
  for (const auto& [name, list] : sea.Lists()) {
    for (limes::CResourceEntry entry : list) {
      float from = 0.0F;
      float to = 0.0F;
      std::int32_t code = 0;
      entry.Scan(u"%f %f %d", &from, &to, &code);
      entry.SetFloat(1, entry.Float(0));
      const float x = entry.Float(1);
      if (x != entry.Float(0) && x == x) {
        std::abort();
      }
    }
  }
  return 0;
}
