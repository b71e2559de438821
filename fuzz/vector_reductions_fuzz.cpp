// Extremes, levels, filters, resampling: on any floats, counts, increments the plain loop's bits.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "tests/support/reduction_cases.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto kCases = limes::test::ApartCases();
  constexpr std::size_t kHead = 4;
  if (size < kHead + sizeof(float)) {
    return 0;
  }
  const std::uint32_t n = data[1] % 128 * (data[1] < 128 ? 1 : 8);
  const std::uint32_t di = 1 + data[2] % 5;
  const std::uint32_t si = 1 + data[3] % 5;
  const std::size_t s = std::size_t{n} * di + 9;
  std::vector<float> block(s + std::size_t{n} * si + 9);
  std::size_t at = kHead;
  for (float& value : block) {
    std::memcpy(&value, data + at, sizeof(value));
    at = at + 2 * sizeof(value) <= size ? at + sizeof(value) : kHead;  // repeated to the end
  }
  if (FirstDifference(kCases[data[0] % kCases.size()], block, 0, di, s, si, n) != -1) {
    std::abort();
  }
  return 0;
}
