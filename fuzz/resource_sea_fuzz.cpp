// Resource stores of any text: what is read is written, read and written again the same.
#include "fuzz/fuzz.h"
#include "limes/platform/resource_sea.h"

void limes::fuzz::Try(Input input) {
  CResourceSea sea;
  if (!RoundTrip(
          sea, input, [](CResourceSea& s, CFileStream& file) { return s.Load(file); },
          [](const CResourceSea& s, CFileStream& file) { return s.Save(file); })) {
    Require(sea.Lists().empty());
  }
  for (const auto& [name, list] : sea.Lists()) {
    for (CResourceEntry entry : list) {
      float from = 0.0F;
      float to = 0.0F;
      std::int32_t code = 0;
      entry.Scan(u"%f %f %d", &from, &to, &code);
      entry.SetFloat(1, entry.Float(0));
      const float x = entry.Float(1);
      Require(x == entry.Float(0) || x != x);
    }
  }
}
