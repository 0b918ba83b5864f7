// The sync simulation over many seeds: sync_soak [RUNS] [FIRST_SEED] (defaults 10000 and 1).
// Three copies of one book meet through a cloud folder on the local disk while the transport
// fails, drops, hides, duplicates, loses and replaces files and runs are killed mid-transfer.
// Prints every seed whose copies did not end the same, then the totals and the time taken.
// Works in /dev/shm where there is one. Exits 1 when any seed failed.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "sync/testing/sync_sim.h"

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  const uint64_t runs = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 10000;
  const uint64_t first = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1;
  const fs::path base =
      fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path();
  const fs::path folder = base / ("kestrum-sync-soak-" + std::to_string(::getpid()));
  const auto start = std::chrono::steady_clock::now();
  uint64_t converged = 0, actions = 0, syncs = 0, kills = 0, faults = 0;
  for (uint64_t seed = first; seed < first + runs; ++seed) {
    fs::remove_all(folder);
    fs::create_directories(folder);
    const vemra::testing::SyncSimulationResult r =
        vemra::testing::RunSyncSimulation(seed, folder.string());
    actions += r.actions;
    syncs += r.runs;
    kills += r.kills;
    faults += r.faults;
    if (r.converged) {
      ++converged;
    } else {
      std::printf("seed %llu: %s\n", static_cast<unsigned long long>(seed), r.failure.c_str());
    }
  }
  fs::remove_all(folder);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::printf(
      "%llu of %llu runs converged (seeds %llu..%llu): %llu changes, %llu sync runs, %llu kills, "
      "%llu faults, %.1f s\n",
      static_cast<unsigned long long>(converged), static_cast<unsigned long long>(runs),
      static_cast<unsigned long long>(first), static_cast<unsigned long long>(first + runs - 1),
      static_cast<unsigned long long>(actions), static_cast<unsigned long long>(syncs),
      static_cast<unsigned long long>(kills), static_cast<unsigned long long>(faults), seconds);
  return converged == runs ? 0 : 1;
}
