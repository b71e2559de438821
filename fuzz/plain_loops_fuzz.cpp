// Sorting, extremes and the loops of learning and judging: on any floats the plain loop's bits.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "tests/support/loop_cases.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kHead = 4;
  constexpr std::size_t kMost = 600;
  if (size < kHead + 2 * sizeof(float) || size > kHead + kMost * sizeof(float)) {
    return 0;
  }
  const std::size_t given = (size - kHead) / sizeof(float);
  std::vector<float> y(given * (1 + data[1] % 8 / 7 * 16));  // some longer than a block
  for (std::size_t i = 0; i < y.size(); ++i) {
    std::memcpy(&y[i], data + kHead + i % given * sizeof(float), sizeof(float));
  }
  const std::vector<float> first(y.begin(), y.begin() + static_cast<std::ptrdiff_t>(y.size() / 2));
  const std::vector<float> second(y.end() - static_cast<std::ptrdiff_t>(first.size()), y.end());
  std::vector<limes::test::SXy> points;
  for (std::size_t i = 0; i < given; ++i) {
    points.push_back({(data[2] & 1) != 0 ? std::trunc(y[i]) : y[i], static_cast<float>(i)});
  }
  bool same = true;
  switch (data[0] % 4) {
    case 0:
      same = limes::test::SortIsPlain(points);
      break;
    case 1:
      same = limes::test::WideningIsPlain(y, 1 + data[3] % 31);
      break;
    case 2:
      same = limes::test::JudgingIsPlain(first, second);
      break;
    default:
      same = limes::test::ExtremesArePlain(y);
  }
  return same ? 0 : (std::abort(), 0);
}
