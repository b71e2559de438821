// Extremes, levels, filters, resampling: on any floats, counts, increments the plain loop's bits.
#include "fuzz/fuzz.h"
#include "tests/support/reduction_cases.h"

void limes::fuzz::Try(Input input) {
  static const auto kCases = test::ApartCases();
  constexpr std::size_t kHead = 4;
  if (input.size() < kHead + sizeof(float)) {
    return;
  }
  const std::uint32_t n = input[1] % 128 * (input[1] < 128 ? 1 : 8);
  const std::uint32_t di = 1 + input[2] % 5;
  const std::uint32_t si = 1 + input[3] % 5;
  const std::size_t s = std::size_t{n} * di + 9;
  const auto block = FloatsOf(input.subspan(kHead), s + std::size_t{n} * si + 9);
  Require(FirstDifference(kCases[input[0] % kCases.size()], block, 0, di, s, si, n).empty());
}
