// Compressed vectors: what is read decodes within its memory and is written and read as the same.
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "limes/kernels/compressed_vector.h"
#include "limes/platform/file_stream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  limes::CMemoryStream file(std::span<const std::uint8_t>(data, size));
  limes::CCompressedVector vector;
  if (!vector.ReadFromFile(file)) {
    return vector.ValueCount() == 0 ? 0 : (std::abort(), 0);
  }
  std::vector<float> values(vector.ValueCount());
  vector.Dekomprimieren(values.data());
  limes::CMemoryStream out;
  static_cast<void>(vector.WriteToFile(out));
  out.Seek(0);
  limes::CCompressedVector back;
  if (!back.ReadFromFile(out) || back.ValueCount() != vector.ValueCount()) {
    std::abort();
  }
  vector.Komprimieren(values.data(), static_cast<int>(values.size()), 0.0F, 1.0F,
                      size % 2 == 0 ? 1 : 0);
  vector.Dekomprimieren(values.data());
  return 0;
}
