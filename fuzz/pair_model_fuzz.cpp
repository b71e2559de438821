// Runs of pairs, edited, combined, smoothed and looked up as the bytes say: the bits of plain
// loops.
#include "fuzz/fuzz.h"
#include "tests/support/pair_model.h"

void limes::fuzz::Try(Input input) {
  using namespace limes::test::pairs;
  if (input.empty() || input.size() > 4000) {
    return;
  }
  const auto words = ArrayOf<std::uint32_t>(input.subspan(1));
  std::size_t at = 0;
  Source from{[&] { return at < words.size() ? words[at++] : (++at, 0U); }, input[0] % 4};
  CSigPairs run;
  Model model;
  Fill(from, run, model);
  while (1 + 4 * at < input.size()) {  // the steps take words
    Step(from, run, model);
    Require(Agree(run, model) && LooksUpAlike(from, run, model));
  }
}
