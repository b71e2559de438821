// Runs of pairs, edited, combined, smoothed and looked up as the bytes say: the bits of plain
// loops.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "limes/platform/print_window.h"
#include "tests/support/pair_model.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace limes::test::pairs;
  static const auto kQuiet = limes::PrWin::SetSink([](int, int, std::u16string_view) {});
  if (size == 0 || size > 4000) {
    return 0;
  }
  std::size_t at = 1;
  Source from{[&]() -> std::uint32_t {
                std::uint32_t word = 0;
                if (at + 4 <= size) {
                  std::memcpy(&word, data + at, 4);
                }
                at += 4;
                return word;
              },
              data[0] % 4};
  limes::CSigPairs run;
  Model model;
  Fill(from, run, model);
  while (at < size) {  // the steps take bytes
    Step(from, run, model);
    if (!Agree(run, model) || !LooksUpAlike(from, run, model)) {
      std::abort();
    }
  }
  return 0;
}
