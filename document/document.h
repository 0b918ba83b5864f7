// Document: one open database file. It owns the book (the database and its collections) for its
// whole life and runs every read and change of it on its serial queue ("data base queue"). It
// makes new books from the templates, turns "read these bytes" and "give me the bytes to write"
// into open, merge and save, keeps a backup copy and a journal of sync part files in the user's
// cache folder, restores a damaged file from them, wires the database's undo history to an undo
// registrar, stores per-database settings and formats amounts.
//
// Threads: the public calls may come from any one thread (the app's GUI thread, the CLI's main
// thread); they submit work to the queue and, where they return data, wait for it. Book() may
// only be used on the queue (inside Sync). Notifications are delivered on the thread that
// posts them, usually the queue.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "collections/book.h"
#include "platform/serial_queue.h"

namespace vemra {

// The two notifications a document posts (with itself as the sender).
inline constexpr char kUpdateDataNotification[] = "com.vemra.finance.mac.notification.update_data";
inline constexpr char kUpdateAccountsNotification[] =
    "com.vemra.finance.mac.notification.update_accounts";

// The undo manager a document reports its steps to. The app backs it with a QUndoStack whose
// commands call Document::doUndo and doRedo with the step's name; tests with a plain stack.
// Called on the thread that called the document.
class UndoRegistrar {
 public:
  virtual ~UndoRegistrar() = default;
  // A new step named `action_name` ("add", "edit", …) was opened after the current one; the
  // steps that could have been redone are gone.
  virtual void stepOpened(const std::string& action_name) = 0;
  // The steps that could have been redone are gone (a merge opened and dropped a step).
  virtual void dropRedo() = 0;
  // The whole history is gone (a file was opened, or the user changed).
  virtual void clear() = 0;
};

// Where a written part file goes next (cloud sync). Called on the document's writer thread with
// the path of each part file once it is in place.
class SyncTransport {
 public:
  virtual ~SyncTransport() = default;
  virtual void PartWritten(const std::string& part_path) = 0;
};

// What a read that fell back to the backup copy did.
struct RestoreReport {
  bool restored = false;
  std::string backup_path;
  std::time_t backup_modified = 0;  // the backup copy's modification time
  int parts_merged = 0;             // cached part files merged after it
};

// Identity of a file as the system sees it, to tell whether it changed since it was read.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = -1;
  int64_t mtime_ns = 0;
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// The result of a save to a file: the database result code and, on failure, the message to
// show ("Home.kestrum is read-only", "Home.kestrum: No space left on device").
struct SaveResult {
  int code = 0;
  std::string message;
  bool ok() const { return code == 0; }
};

class Document;

// Keeps an observer registered; unregisters it when destroyed. Must not outlive its document.
class ObserverToken {
 public:
  ObserverToken() = default;
  ObserverToken(Document* document, uint64_t id) : document_(document), id_(id) {}
  ObserverToken(ObserverToken&& other) noexcept { *this = std::move(other); }
  ObserverToken& operator=(ObserverToken&& other) noexcept;
  ~ObserverToken();
  ObserverToken(const ObserverToken&) = delete;
  ObserverToken& operator=(const ObserverToken&) = delete;

 private:
  Document* document_ = nullptr;
  uint64_t id_ = 0;
};

class Document {
 public:
  // A document with an empty, unloaded book; one of New, readFromData or readFile comes next.
  Document();
  // Close(), then the book is destroyed.
  ~Document();
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;

  // --- Creation, reading, saving, closing ---

  // Makes the book a new database from the template of `language` (a preferred language such
  // as "uk_UA.UTF-8": Russian for "ru" and "uk", English otherwise) and logs in user 0. The
  // document stays untitled until its first save.
  void New(std::string_view language);

  // Reads the bytes of the file at `path` (null `data`: no data at all, code -2). The first read
  // opens them; when they are not a database (-1) the backup copy in the cache folder is opened
  // instead and every cached part file of its database is merged after it, oldest first (see
  // Restored()). A later read merges the bytes into the open book (a re-read of a file that
  // changed on disk). Returns 0 or the result code; a failed first read leaves the book
  // unloaded. Logs in user 0 and clears the undo history on a first read.
  int readFromData(const std::vector<uint8_t>* data, const std::string& path);
  // Reads the file at `path` and hands its bytes to readFromData (none when it cannot be read:
  // -2, with the system's reason in `reason` when given, "Is a directory" for a folder).
  // Remembers the file's identity for save.
  int readFile(const std::string& path, std::string* reason = nullptr);

  // The bytes of the whole file: the file on disk is merged first unless it is the one last
  // read or written (same identity), then the database is saved to memory. Returns 0 (empty
  // `bytes` when nothing is loaded) or the result code.
  int dataOfType(std::vector<uint8_t>& bytes);

  // Saves to `path` (empty: the document's own path) the way the app's save and kestrum-cli
  // do: refuses a file without its owner's write bit, takes the advisory lock beside the book,
  // removes leftover temporary files of dead writers, runs dataOfType, keeps a restored file's
  // damaged original as "<name>.damaged" once, writes a temporary file, syncs it and renames it
  // into place. The document then has `path` as its path.
  SaveResult saveToFile(const std::string& path = {});

  // Opens the backup copy of the book at `path` and merges its cached part files after it, as
  // a read of a damaged file does, without reading `path` itself. With `keep_original`, the
  // next save to `path` keeps the file there as "<name>.damaged" first. Returns 0, or -1 when
  // there is no backup copy or it cannot be read (the book stays unloaded).
  int restoreBackup(const std::string& path, bool keep_original);
  // The name the damaged original was kept under by the last save; empty when none was.
  std::string keptDamagedAs() const;

  // Takes the advisory lock beside the book at `path` (waiting for other writers) and holds it
  // until the document is destroyed; saves to `path` then do not lock again. A command that
  // reads, changes and saves a book at once holds it from before the read, so that concurrent
  // commands take turns and each one's new records see the last one's. Returns false with the
  // system's reason when the lock file cannot be made.
  bool holdLock(const std::string& path, std::string* reason = nullptr);

  // stopAutomaticSync, then waits for the queue and the journal writer. Idempotent.
  void Close();

  // --- The book ---

  // The book. Use only on the queue (inside Sync or a submitted task).
  Book& database() { return *book_; }
  platform::SerialQueue& queue() { return queue_; }
  // Runs `task` on the queue and waits for it.
  void Sync(const std::function<void()>& task) { queue_.Sync(task); }
  // The path of the file (empty while untitled).
  std::string path() const;
  // A random number that tells this open document from every other one (drag payloads carry
  // it, so that drops from another document are refused). Fixed for the document's life.
  uint64_t instanceToken() const { return instance_token_; }
  bool loaded();
  const RestoreReport& Restored() const { return restored_; }

  // --- Services ---

  std::wstring getString(uint64_t id);
  // The administrator password; empty when there is none or nothing is loaded.
  std::wstring getAdminPassword();
  // The password hint (database text slot 4).
  std::wstring passwordHint();
  // `amount` in currency `currency_id`: its Decimals fraction digits, the language's
  // separators, rounded half away from zero, no minus on what shows as zero; with
  // `add_symbol` the currency's symbol joined without a space, after the number when the
  // currency aligns right. A currency that does not exist gives 2 decimals and no symbol.
  std::string format(double amount, uint64_t currency_id, bool add_symbol);
  // The same in the currency of account `account_id`.
  std::string formatForAccount(double amount, uint64_t account_id, bool add_symbol);

  // --- Undo ---

  // The registrar told of undo steps (null: none). Not owned.
  void setUndoRegistrar(UndoRegistrar* registrar) { registrar_ = registrar; }
  // Opens an undo step of status `status` (1..5) on the queue, ahead of the change it frames,
  // and tells the registrar on this thread.
  void initUndo(uint32_t status);
  // Undo and redo on the queue, each followed by the update-data notification and the journal.
  void doUndo(const std::string& action_name);
  void doRedo(const std::string& action_name);
  // Logs in `user_id` on the queue and clears the registrar's history.
  void setCurrentUser(uint64_t user_id);

  // --- Journal, backup and cache ---

  // Schedules the journal work on the queue and returns: the backup copy when it is missing,
  // pruning to the 32 newest parts (after refreshing the backup) when 64 or more are cached,
  // and a new part file of the journal, which also waits in the upload folder while the
  // book's cloud-sync flag (Option1) is set, whether or not a cloud is reachable. Serialising
  // runs on the queue; compressing, writing and syncing on the document's writer thread. Does
  // nothing while untitled. A cache folder that cannot be made is logged and leaves the journal for
  // the next call.
  void writeAutosyncData();
  // Schedules a refresh of the backup copy: the queue serialises the records while the writer
  // compresses and writes them. Does nothing while untitled.
  void refreshBackup();
  // Waits until the journal work submitted so far is on disk. Returns the reason the last
  // journal or backup write failed since the previous call, empty when none did.
  std::string flushJournal();
  // The part file name the next journal write takes: "<DatabaseID>.<stamp>", the stamp above
  // every earlier one of this document and no file of that name existing. Use on the queue.
  std::string nextPartName();

  void setSyncTransport(SyncTransport* transport) { transport_ = transport; }
  // Ends the automatic sync started for this document (the sync layer says how through
  // setAutomaticSyncStopper; nothing happens without). Close calls it. Thread-safe.
  void stopAutomaticSync();
  void setAutomaticSyncStopper(std::function<void()> stopper);

  // The folders and files of the document (empty while untitled); folders are made on demand.
  std::string cacheFolder();
  std::string backupPath();
  std::string uploadFolder();
  // The cached part files of the database, newest first (full paths).
  std::vector<std::string> cacheFiles();
  // "/" + the file name with its last extension replaced by "sync" (or ".sync" appended) + "/".
  std::string cloudFolder();

  // --- Settings and notifications ---

  nlohmann::json settings();
  bool setSettings(const nlohmann::json& dictionary);

  using Observer = std::function<void(Document&)>;
  // Calls `observer` whenever notification `name` is posted, on the posting thread, until the
  // token is destroyed.
  [[nodiscard]] ObserverToken observe(const std::string& name, Observer observer);
  void post(const std::string& name);

  // The database of a kestrum-cli process is left to the system at exit instead of destroyed
  // (a million records take a tenth of a second to destroy). Call once from main.
  static void KeepDatabasesUntilExit();
  // The size of the chunks a backup refresh hands from the queue to the writer (4 MB). Tests
  // make it small to reach the bound of eight chunks in flight. Not thread-safe.
  static void SetBackupChunkForTesting(size_t bytes);

 private:
  friend class ObserverToken;
  struct WriterJob;

  // On the queue.
  int ReadOnQueue(const uint8_t* data, size_t size, bool has_data, const std::string& path);
  int RestoreFromBackup();
  // Tells the registrar and the observers what a read did.
  void AfterRead(int rc, bool was_loaded);
  void JournalOnQueue();
  void RefreshBackupOnQueue(const std::string& backup);
  std::vector<std::string> CacheFilesOf(const std::string& folder, uint64_t database_id);
  void WriterFailed(const std::string& reason);
  // On the writer: puts the written part `part` into `upload_folder` under its own name.
  void QueueForUpload(const std::string& part, const std::string& upload_folder);

  void Unobserve(uint64_t id);

  std::unique_ptr<Book> book_;
  const uint64_t instance_token_;
  platform::SerialQueue queue_{"data base queue"};
  platform::SerialQueue writer_{"journal writer"};

  mutable std::mutex mutex_;  // guards path_, journal_problem_, pending_, failed_, observers_
  std::string path_;
  FileIdentity disk_;  // the file as last read or written
  bool disk_known_ = false;
  RestoreReport restored_;
  bool damaged_kept_ = true;  // false after a restore until the damaged file is kept
  std::string kept_damaged_as_;
  std::shared_ptr<void> held_lock_;  // the lock holdLock took
  std::string held_lock_path_;
  bool closed_ = false;

  UndoRegistrar* registrar_ = nullptr;
  SyncTransport* transport_ = nullptr;
  std::function<void()> sync_stopper_;  // guarded by mutex_

  // The journal writer's state.
  uint64_t last_part_stamp_ = 0;
  std::vector<std::string> pending_;  // part paths submitted to the writer, not yet written
  bool backup_pending_ = false;
  std::vector<std::shared_ptr<WriterJob>> failed_;  // part writes to retry
  std::string journal_problem_;

  uint64_t next_observer_ = 1;
  std::map<uint64_t, std::pair<std::string, Observer>> observers_;
};

// The message of a database result code in the current language; "Unknown error: " and the
// code's low 8 bits as a signed number for any code without one.
std::string decodeDBError(int code);
// The action name of undo status 1..5 ("import", "add", "edit", "delete", "reconciliation");
// empty for any other.
std::string decodeUndoStatus(uint32_t status);

// `amount` with `decimals` fraction digits (0..9) and the given separators, rounded half away
// from zero; magnitudes below 1e-13, and whatever rounds to zero, show without a minus.
std::string FormatNumber(double amount, int decimals, const std::string& grouping,
                         const std::string& decimal_point);

// The part files of database `database_id` in `folder` plus those of `extra` that lie there,
// newest first (full paths): every name whose part before its last extension is the decimal
// ID, ordered by the extension read as a signed 64-bit number.
std::vector<std::string> CachedPartFiles(const std::string& folder, uint64_t database_id,
                                         const std::vector<std::string>& extra = {});

// The identity of the file at `path`; false when it cannot be read.
bool IdentityOf(const std::string& path, FileIdentity& identity);

}  // namespace vemra
