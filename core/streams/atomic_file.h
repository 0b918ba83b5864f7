// Writing a file so that a crash or a failure never leaves it half-written: the data goes to a
// temporary file in the same folder, is flushed to disk, and is renamed over the target only
// then. The old file stays as it was until the rename.
#pragma once

#include <functional>
#include <string>

#include "core/streams/output_stream.h"

namespace vemra {

// The file-system steps of an atomic write. Tests install their own (ScopedAtomicFileOps) to
// make a step fail; the defaults call the system.
class AtomicFileOps {
 public:
  virtual ~AtomicFileOps() = default;
  // Opens `path` for writing into `out`; returns false when it cannot be created.
  virtual bool Open(OutputStream& out, const std::string& path) { return out.OpenFile(path); }
  // The same, but fails (EEXIST) when `path` exists: another writer's temporary file.
  virtual bool OpenNew(OutputStream& out, const std::string& path) {
    return out.OpenFile(path, true);
  }
  // Flushes `out` to disk (fsync); returns false on failure.
  virtual bool Sync(OutputStream& out) { return out.Sync(); }
  // Closes `out`; returns false when a write, the flush or the close failed.
  virtual bool Close(OutputStream& out) { return out.Close(); }
  // Renames `from` to `to`, replacing `to`; returns false on failure.
  virtual bool Rename(const std::string& from, const std::string& to);
  // Renames `from` to `to` only when `to` does not exist; returns false on failure (EEXIST
  // when it does).
  virtual bool RenameNoReplace(const std::string& from, const std::string& to);
  // Flushes the folder `dir` so that the rename itself survives a crash.
  virtual void SyncFolder(const std::string& dir);
};

// Replaces the process-wide steps with `ops` while it lives. Meant for tests; not thread-safe.
class ScopedAtomicFileOps {
 public:
  explicit ScopedAtomicFileOps(AtomicFileOps& ops);
  ~ScopedAtomicFileOps();
  ScopedAtomicFileOps(const ScopedAtomicFileOps&) = delete;
  ScopedAtomicFileOps& operator=(const ScopedAtomicFileOps&) = delete;

 private:
  AtomicFileOps* previous_;
};

// Creates or replaces `path` with what `write` writes into the stream it is given. `write`
// returns false to abandon the file. Returns true when the new file is in place; on false the
// file at `path` is untouched and no temporary file is left behind. When `created` is given,
// it is set to whether the temporary file could be created at all.
// On false, errno holds the reason of the step that failed (0 when `write` gave up).
bool WriteFileAtomically(const std::string& path, const std::function<bool(IOutputStream&)>& write,
                         bool* created = nullptr);

// Creates `path`, which must not exist, the same way through the temporary file `temp`, which
// must not exist either (another writer may be using it): written, synced, then renamed to
// `path` without replacing a file that appeared meanwhile. Returns true when `path` is in
// place; on false errno holds the reason, EEXIST when `path` or `temp` exists (`temp` is then
// left alone, otherwise removed).
bool WriteNewFile(const std::string& path, const std::string& temp,
                  const std::function<bool(IOutputStream&)>& write);

}  // namespace vemra
