// Compressed vectors: what is read decodes within its memory and is written and read as the same.
#include "fuzz/fuzz.h"
#include "limes/kernels/compressed_vector.h"

void limes::fuzz::Try(Input input) {
  CCompressedVector vector;
  if (!RoundTrip(vector, input, kRead, kWrite)) {
    Require(vector.ValueCount() == 0);
    return;
  }
  std::vector<float> values(vector.ValueCount());
  vector.Dekomprimieren(values.data());
  vector.Komprimieren(values.data(), static_cast<int>(values.size()), 0.0F, 1.0F,
                      input.size() % 2 == 0 ? 1 : 0);
  vector.Dekomprimieren(values.data());
}
