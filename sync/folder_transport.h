// The cloud folder as a folder of the local file system: one kept in step by a desktop sync
// tool, or a network share. The cloud path "/Home.sync" is ROOT/Home.sync. Only regular files
// count (links, FIFOs, devices and folders are listed as non-files and never read), names that
// begin with "." are writers' temporary files and are not listed, and every write appears
// whole: a dot-named temporary file in the same folder, synced, then renamed (replacing) or
// linked (never replacing).
#pragma once

#include <string>

#include "sync/transport.h"

namespace vemra::sync {

class FolderTransport : public Transport {
 public:
  // The folder transport under `root`, an existing folder.
  explicit FolderTransport(std::string root);

  // One page. The revision of "main" is the hex SHA-256 of its content; that of any other file
  // names the file and its writing (inode, size, change time), so that a file written anew
  // under an old name has a new one.
  Status List(const std::string& folder, const std::string& cursor, Listing& out) override;
  Status Download(const std::string& folder, const std::string& name,
                  const std::string& destination, std::string& rev) override;
  Status Upload(const std::string& source, const std::string& folder, const std::string& name,
                bool overwrite, std::string& rev) override;
  // Waits for inotify to report a write in the folder (or its parent while it is missing) and
  // compares the folder's names, sizes and change times then, and every 5 s for writes that
  // inotify does not see (network shares). Ends within 200 ms of `cancel`.
  Status Wait(const std::string& folder, int seconds, const std::atomic<bool>* cancel,
              bool& changed) override;

 private:
  // ROOT + `folder` when every part of `folder` is a plain name; kBadName otherwise.
  Status Resolve(const std::string& folder, std::string& path) const;
  // The names, sizes and change times of the folder's files, as one text.
  std::string Signature(const std::string& path) const;

  std::string root_;
};

}  // namespace vemra::sync
