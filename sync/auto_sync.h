// Automatic sync of an open document, as the desktop app runs it: linking the book to its
// Dropbox (initDropbox), a first run at once and then the long-poll loop (startAutomaticSync),
// and its end (stopAutomaticSync). The loop is one per process: while it runs for one document,
// another document's start runs its first sync but no loop, and any stop ends it.
//
// Thread-safe: Start and Stop may be called from any thread; runs happen on the loop's own
// thread and report through the callback there.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "document/document.h"
#include "sync/sync_run.h"
#include "sync/transport.h"

namespace vemra::sync {

// The Dropbox client for the book open in `d` (its file at `path`, for messages): the token in
// the book's account record when it has one (asking for the account's address when the record
// has none, storing it in the record without an undo step and saving the book), else this
// machine's login for the record's account. `base` replaces the service's address when not
// empty, else the setting com.vemra.finance.mac.dropbox_api_base or the login's. Null with
// `problem` when the book is not linked, nobody is logged in, or as another account.
std::unique_ptr<Transport> InitDropbox(Document& d, const std::string& path,
                                       const std::string& base, std::string& problem);

class AutomaticSync {
 public:
  using Report = std::function<void(const RunReport&)>;

  // Starts the automatic sync of `document` through `transport` when the book's cloud-sync
  // flag is set: a run at once on a thread of its own, then, after `delay`, the long-poll loop
  // (wait for a change, run; errors of the wait retried after 1, 2, 4 … 60 s) unless one runs
  // already. `report` gets every run's report. The document must outlive the loop: its Close
  // calls Stop. Returns false, starting nothing, when the flag is clear.
  static bool Start(Document& document, std::unique_ptr<Transport> transport, RunOptions options,
                    Report report = nullptr,
                    std::chrono::milliseconds delay = std::chrono::seconds(10));
  // Ends the loop and any first run: an operation in flight is abandoned within about a second.
  // Waits for them. Idempotent.
  static void Stop();
  // Whether the loop runs (for any document).
  static bool Running();
};

}  // namespace vemra::sync
