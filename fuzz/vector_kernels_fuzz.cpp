// Vector kernels: on any floats, increments and places, apart or not, the plain loop's bits.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "tests/support/kernel_cases.h"

namespace {

std::vector<limes::test::KernelCase> AllCases() {
  std::vector<limes::test::KernelCase> all;
  for (const auto& cases : {limes::test::ElementCases(), limes::test::ReductionCases()}) {
    all.insert(all.end(), cases.begin(), cases.end());
  }
  return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto kCases = AllCases();
  constexpr std::size_t kHead = 6;
  if (size < kHead) {
    return 0;
  }
  const std::uint32_t n = data[1] % 131;
  const std::uint32_t di = 1 + data[2] % 5;
  const std::uint32_t si = 1 + data[3] % 5;
  const std::size_t d = data[4] % 64;
  const std::size_t s = std::size_t{data[5]} * 4;
  std::vector<float> block(std::max(d + n * di, s + n * si) + 4);  // four results at least
  for (std::size_t at = 0, bytes = 0; at < block.size() && size > kHead + 3; ++at) {
    std::memcpy(&block[at], data + kHead + bytes, sizeof(float));
    bytes = bytes + 8 <= size - kHead ? bytes + 4 : 0;  // repeated to the end
  }
  if (FirstDifference(kCases[data[0] % kCases.size()], block, d, di, s, si, n) != -1) {
    std::abort();
  }
  return 0;
}
