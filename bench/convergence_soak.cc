// The convergence simulation over many seeds: convergence_soak [RUNS] [FIRST_SEED] (defaults
// 10000 and 1). Prints every seed whose copies did not end the same, then the count of runs that
// converged, the parts and merges they exchanged and the time taken. Exits 1 when any failed.
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "core/database/testing/convergence_sim.h"

int main(int argc, char** argv) {
  const uint64_t runs = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 10000;
  const uint64_t first = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1;
  const auto start = std::chrono::steady_clock::now();
  uint64_t converged = 0, parts = 0, merges = 0, steps = 0;
  for (uint64_t seed = first; seed < first + runs; ++seed) {
    vemra::testing::SimulationResult r = vemra::testing::RunConvergence(seed);
    parts += r.parts;
    merges += r.merges;
    steps += r.steps;
    if (r.converged) {
      ++converged;
    } else {
      std::printf("seed %llu: %s\n", static_cast<unsigned long long>(seed), r.failure.c_str());
    }
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::printf(
      "%llu of %llu runs converged (seeds %llu..%llu): %llu steps, %llu parts, %llu "
      "whole-file merges, %.1f s\n",
      static_cast<unsigned long long>(converged), static_cast<unsigned long long>(runs),
      static_cast<unsigned long long>(first), static_cast<unsigned long long>(first + runs - 1),
      static_cast<unsigned long long>(steps), static_cast<unsigned long long>(parts),
      static_cast<unsigned long long>(merges), seconds);
  return converged == runs ? 0 : 1;
}
