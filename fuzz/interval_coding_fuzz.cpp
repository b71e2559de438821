// Interval lists and texts: the code of a value is that of the last interval that holds it.
#include <cstdint>
#include <cstdlib>
#include <span>

#include "limes/kernels/interval_coding.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/resource_sea.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  limes::CMemoryStream file(std::span<const std::uint8_t>(data, size));
  limes::CResourceSea store;
  limes::CIntervallCodierung coding;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  coding.AusTextLesen(limes::Utf8ToWide(bytes));
  if (!store.Load(file)) {
    return 0;
  }
  for (const auto& [name, list] : store.Lists()) {
    const int n = coding.AusResListeLesen(store, name, static_cast<int>(size % 2));
    for (int i = 0; i < n; ++i) {
      const int code = coding[coding.Von(i)];
      bool known = false;
      for (int j = i; j < n; ++j) {
        known = known || coding.Code(j) == code;
      }
      if (!known) {
        std::abort();
      }
    }
  }
  return 0;
}
