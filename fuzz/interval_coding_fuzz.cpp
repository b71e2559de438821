// Interval lists and texts: the code of a value is that of the last interval that holds it.
#include "fuzz/fuzz.h"
#include "limes/kernels/interval_coding.h"
#include "limes/platform/resource_sea.h"

void limes::fuzz::Try(Input input) {
  CMemoryStream file(input);
  CResourceSea store;
  CIntervallCodierung coding;
  coding.AusTextLesen(Utf8ToWide(TextOf(input)));
  if (!store.Load(file)) {
    return;
  }
  for (const auto& [name, list] : store.Lists()) {
    const int n = coding.AusResListeLesen(store, name, static_cast<int>(input.size() % 2));
    for (int i = 0; i < n; ++i) {
      const int code = coding[coding.Von(i)];
      bool known = false;
      for (int j = i; j < n; ++j) {
        known = known || coding.Code(j) == code;
      }
      Require(known);
    }
  }
}
