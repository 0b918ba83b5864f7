// The cloud folder a book's copies meet in, as one interface over the services that keep it:
// list the folder (in pages), download a file, upload a file, wait for a change. The sync run
// is written once over it; the Dropbox client and the folder transport implement it.
//
// Folder paths are absolute cloud paths without a trailing slash ("/Home.sync"); names are the
// plain names of the files in it. Implementations are used from one thread at a time.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vemra::sync {

// How a step failed.
enum class Failure {
  kNone,
  kNotFound,      // the folder or file does not exist (a route error)
  kConflict,      // an upload without overwrite met a file of that name
  kBadName,       // a name that could leave the folder, or that no file may have
  kUnauthorized,  // the service refused the credentials
  kNetwork,       // anything else: the service or the file system could not be reached
};

struct Status {
  Failure failure = Failure::kNone;
  std::string text;  // the service's or the system's words; empty on success

  bool ok() const { return failure == Failure::kNone; }
};

struct Entry {
  std::string name;
  std::string rev;       // the service's revision: a file written anew under the same name
                         // gets a new one; may be empty
  bool is_file = false;  // folders, links and special files are listed but never transferred
  uint64_t size = 0;
};

struct Listing {
  std::vector<Entry> entries;
  std::string cursor;     // where the next page starts
  bool has_more = false;  // another page follows
};

class Transport {
 public:
  virtual ~Transport() = default;
  // Lists `folder`: the first page with an empty `cursor`, later pages with the cursor of the
  // page before. On failure `out` is empty.
  virtual Status List(const std::string& folder, const std::string& cursor, Listing& out) = 0;
  // Copies the file `name` of `folder` to `destination`, which must not exist; the copy
  // appears whole (written under another name, synced and renamed) or not at all. `rev` gets
  // the revision of what was copied.
  virtual Status Download(const std::string& folder, const std::string& name,
                          const std::string& destination, std::string& rev) = 0;
  // Puts the local file `source` into `folder` as `name`, making the folder when it is
  // missing. With `overwrite` an existing file is replaced; without, it stays and the result is
  // kConflict. The file appears whole or not at all. `rev` gets the new revision.
  virtual Status Upload(const std::string& source, const std::string& folder,
                        const std::string& name, bool overwrite, std::string& rev) = 0;
  // Waits until `folder` may have changed, for at most `seconds`, ending early (unchanged) once
  // `cancel` is set. `changed` tells which.
  virtual Status Wait(const std::string& folder, int seconds, const std::atomic<bool>* cancel,
                      bool& changed) = 0;
  // Abandons the request in flight within about a second, and fails every later one at once.
  // Thread-safe. Transports whose steps never block long do nothing.
  virtual void Cancel() {}
};

// What a name in the cloud folder is to the book with `database_id`.
enum class NameKind {
  kMain,   // exactly "main"
  kPart,   // "<database_id>.<stamp>", the stamp 1 to 20 decimal digits within 64 bits
  kOther,  // anything else, another database's parts and conflicted copies included
};
// Classifies `name`; for a part, `stamp` (when given) gets its stamp.
NameKind ClassifyName(std::string_view name, uint64_t database_id, uint64_t* stamp = nullptr);

// Whether `name` may name a file of a folder on any transport: not empty, at most 255 bytes,
// no "/" or NUL, not "." or "..".
bool IsPlainName(std::string_view name);

}  // namespace vemra::sync
