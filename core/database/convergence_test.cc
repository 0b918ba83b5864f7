// Copies of one book, edited apart and brought together through parts and merges in every
// order, end the same. KESTRUM_SIM_SEED=N runs that one seed with a trace of its steps.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <string>

#include "core/database/testing/convergence_sim.h"

namespace vemra {
namespace {

constexpr uint64_t kRuns = 300;

TEST(ConvergenceTest, CopiesEndTheSameWhateverOrderTheirChangesMeetIn) {
  if (const char* one = std::getenv("KESTRUM_SIM_SEED")) {
    testing::SimulationResult r = testing::RunConvergence(std::stoull(one), &std::cout);
    EXPECT_TRUE(r.converged) << r.failure;
    return;
  }
  size_t parts = 0, merges = 0;
  for (uint64_t seed = 1; seed <= kRuns; ++seed) {
    testing::SimulationResult r = testing::RunConvergence(seed);
    EXPECT_TRUE(r.converged) << "seed " << seed << ": " << r.failure;
    parts += r.parts;
    merges += r.merges;
  }
  // The runs must exchange changes at all for their agreement to mean something.
  EXPECT_GT(parts, kRuns * 10);
  EXPECT_GT(merges, kRuns * 20);
}

}  // namespace
}  // namespace vemra
