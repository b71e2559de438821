// Vector kernels: on any floats, increments and places, apart or not, the plain loop's bits.
#include <algorithm>

#include "fuzz/fuzz.h"
#include "tests/support/kernel_cases.h"

void limes::fuzz::Try(Input input) {
  static const auto kCases = [] {
    auto all = test::ElementCases();
    const auto reductions = test::ReductionCases();
    all.insert(all.end(), reductions.begin(), reductions.end());
    return all;
  }();
  constexpr std::size_t kHead = 6;
  if (input.size() < kHead) {
    return;
  }
  const std::uint32_t n = input[1] % 131;
  const std::uint32_t di = 1 + input[2] % 5;
  const std::uint32_t si = 1 + input[3] % 5;
  const std::size_t d = input[4] % 64;
  const std::size_t s = std::size_t{input[5]} * 4;
  const std::size_t size = std::max(d + n * di, s + n * si) + 4;  // four results at least
  const auto block = FloatsOf(input.subspan(kHead), size);
  Require(FirstDifference(kCases[input[0] % kCases.size()], block, d, di, s, si, n).empty());
}
