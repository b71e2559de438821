#include "tests/support/pair_model.h"

#include <gtest/gtest.h>

#include <random>

namespace limes::test::pairs {
namespace {

TEST(PairModel, EveryStepAgreesWithPlainLoops) {
  for (unsigned seed = 0; seed < 2500; ++seed) {
    Source from{std::mt19937(seed), static_cast<int>(seed % 4)};
    CSigPairs run;
    Model model;
    Fill(from, run, model);
    for (int step = 0; step < 8; ++step) {
      const unsigned what = Step(from, run, model);
      ASSERT_TRUE(Agree(run, model)) << "seed " << seed << " step " << step << " op " << what;
      ASSERT_TRUE(LooksUpAlike(from, run, model)) << "seed " << seed << " step " << step;
    }
  }
}

}  // namespace
}  // namespace limes::test::pairs
