// Sorting, extremes and the loops of learning and judging: on any floats the plain loop's bits.
#include "fuzz/fuzz.h"
#include "tests/support/loop_cases.h"

void limes::fuzz::Try(Input input) {
  using namespace limes::test;
  constexpr std::size_t kHead = 4;
  constexpr std::size_t kMost = 600;
  if (input.size() < kHead + 2 * sizeof(float) || input.size() > kHead + kMost * sizeof(float)) {
    return;
  }
  const std::size_t given = (input.size() - kHead) / sizeof(float);
  // Some are longer than a block.
  const auto y = FloatsOf(input.subspan(kHead), given * (1 + input[1] % 8 / 7 * 16));
  const std::vector<float> first(y.begin(), y.begin() + static_cast<std::ptrdiff_t>(y.size() / 2));
  const std::vector<float> second(y.end() - static_cast<std::ptrdiff_t>(first.size()), y.end());
  std::vector<SXy> points;
  for (std::size_t i = 0; i < given; ++i) {
    points.push_back({(input[2] & 1) != 0 ? std::trunc(y[i]) : y[i], static_cast<float>(i)});
  }
  const int kind = input[0] % 4;
  Require(kind == 0   ? SortIsPlain(points)
          : kind == 1 ? WideningIsPlain(y, 1 + input[3] % 31)
          : kind == 2 ? JudgingIsPlain(first, second)
                      : ExtremesArePlain(y));
}
