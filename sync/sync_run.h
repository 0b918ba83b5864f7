// One synchronisation run of a book with its cloud folder, written once over the Transport
// interface: send what waits in the upload folder, list the folder, fetch the main file when its
// revision is new and the part files this copy has not seen, apply them to the book, save the
// book, and only then record what was applied; finally publish a fresh main file when the folder
// has none, when this copy has never run against this transport, or when a part it sent is gone.
//
// What a copy keeps between runs, beside the book:
//   <cache>/incoming/        downloads not yet recorded: applied again by the next run
//   <cache>/sync-seen        the parts applied (one name per line); it, not the cached part
//                            files (which pruning removes), decides what is fetched
//   <cache>/sync-sent        the parts this copy sent; one missing from the folder is sent again
//                            (or, once pruned from the cache, healed by a new main file)
//   settings of the database the main file's revision under the transport's key, and the time
//                            of the last run without errors
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "document/document.h"
#include "platform/settings.h"
#include "sync/transport.h"

namespace vemra::sync {

// Settings keys of the main file's revision, one per transport, and of the last good run.
inline constexpr char kDropboxRevisionKey[] = "com.vemra.finance.mac.dropbox_file_revision";
inline constexpr char kFolderRevisionKey[] = "com.vemra.finance.mac.folder_file_revision";
inline constexpr char kLastSyncDateKey[] = "com.vemra.finance.mac.last_sync_date";

// The error of a run on a book whose cloud-sync flag is clear.
inline constexpr char kSyncOff[] = "cloud sync is off for this book";
// The message of a main file of another database.
inline constexpr char kIdMismatch[] = "Data base ID mismatch, sync impossible.";

// What a run did. The lists hold file names (`errors`: messages).
struct RunReport {
  bool ok = false;  // every step succeeded
  std::vector<std::string> uploaded;
  std::vector<std::string> downloaded;
  std::vector<std::string> applied;  // part files merged into the book
  std::vector<std::string> ignored;  // names that are no file of this book, or parts refused
  std::vector<std::string> errors;
  // "unchanged" (the stored revision is current), "merged", "uploaded", "failed" or "absent"
  // (the folder has none and none was sent).
  std::string main = "absent";
};

struct RunOptions {
  // The settings key of the main file's revision for this transport.
  std::string revision_key = kFolderRevisionKey;
  // Where the revision and the last sync date are kept; null: the user's settings.
  const platform::Settings* settings = nullptr;
  // Saves the book after merges; returns false with the reason. Null: Document::saveToFile.
  std::function<bool(std::string& reason)> save;
};

// Runs one synchronisation of `document` (loaded and saved to a file, which the caller keeps
// locked) through `transport`. Does nothing but report an error when the book's cloud-sync flag
// is clear. Blocks the calling thread; the book is read and changed on the document's queue.
// Whatever the outcome, nothing applied is forgotten: downloads wait in incoming/ until a save
// of the book holds them. Posts the update-data notification when something was merged.
RunReport RunSync(Document& document, Transport& transport, const RunOptions& options = {});

// The files waiting in the upload folder of the book at `book_path` (database `database_id`)
// to be sent: its parts and a main file, sorted. Empty when there is no such folder; makes
// nothing.
std::vector<std::string> QueuedFiles(const std::string& book_path, uint64_t database_id);

// The names of a list file (one per line); empty when the file is missing.
std::vector<std::string> ReadNameList(const std::string& path);
// Replaces the list file at `path` with `names` (temporary file, synced, renamed). False on
// failure, the old file intact.
bool WriteNameList(const std::string& path, const std::vector<std::string>& names);

}  // namespace vemra::sync
