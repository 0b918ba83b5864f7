// A seeded simulation of three copies of one book kept in step only through sync runs over a
// cloud folder: each copy adds, edits and deletes transactions and runs syncs while the transport
// fails requests, drops replies after storing, hides parts from listings (late), lists them
// twice, loses them, replaces or deletes the main file between the listing and the download, and
// "kills" the process in the middle of a transfer (the run stops, the open book is thrown away
// unsaved and read again from disk). At quiescence, with the faults off, every copy must hold the
// same records, deletion markers and settings, each ID at the newest change made to it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "document/document.h"
#include "sync/transport.h"

namespace vemra::testing {

struct SyncSimulationResult {
  bool converged = false;
  std::string failure;  // what differs, when the copies did not end the same
  size_t actions = 0;   // user changes
  size_t runs = 0;      // sync runs, the quiescent ones included
  size_t kills = 0;     // runs cut short
  size_t faults = 0;    // requests failed, dropped or disturbed
};

// The cloud the copies meet in: the transport to it, and direct access to the files of the
// book's cloud folder "/Home.sync" for the faults (file names; a missing file reads as false).
struct SimulatedCloud {
  std::unique_ptr<sync::Transport> transport;
  std::function<std::vector<std::string>()> names;
  std::function<bool(const std::string& name, std::string& bytes)> read;
  std::function<void(const std::string& name, const std::string& bytes)> write;
  std::function<void(const std::string& name)> remove;
};
// Adds an expense of `amount` from the default account, today, in an undo step of its own, as
// the editor does; saves the book and writes its part when `save`. Returns the new ID.
uint64_t AddExpense(Document& d, double amount, bool save);

// A cloud on the local disk at `root`, through the folder transport.
SimulatedCloud FolderCloud(const std::string& root);

// Runs the simulation of `seed` in `folder` (made and emptied by the caller) over `cloud`, a
// FolderCloud in `folder` when null. Sets XDG_CACHE_HOME under `folder` while it runs; with
// `trace` every step is written there. Not thread-safe.
SyncSimulationResult RunSyncSimulation(uint64_t seed, const std::string& folder,
                                       SimulatedCloud* cloud = nullptr,
                                       std::ostream* trace = nullptr);

}  // namespace vemra::testing
