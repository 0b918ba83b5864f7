// A seeded simulation of copies of one book that meet only through sync parts and whole-file
// merges: three copies with skewed clocks take random edits, undo and redo, splits, exchange
// rates, settings, texts and schedules falling due over several days; parts arrive late, twice,
// out of order or never (a lost part is healed by a merge of a whole copy). At the end every copy
// must hold the same records, deletion markers and settings, no scheduled occurrence twice and
// every record at its newest change, deletions included. A run is fully determined by its seed.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace vemra {
class DataBase;
}  // namespace vemra

namespace vemra::testing {

struct SimulationResult {
  bool converged = false;
  std::string failure;  // what differs, when the copies did not end the same
  size_t steps = 0;
  size_t parts = 0;   // part files written
  size_t merges = 0;  // whole-file merges
};

// What one copy holds that must end the same in every copy: the records, the deletion markers
// and the merged settings and texts, as text.
std::string BookSnapshot(DataBase& db);

// Runs the simulation of `seed`; with `trace` every step is written there. Pins the process
// clock while it runs (restoring it afterwards) and writes part files into a temporary folder
// of its own; not thread-safe.
SimulationResult RunConvergence(uint64_t seed, std::ostream* trace = nullptr);

}  // namespace vemra::testing
