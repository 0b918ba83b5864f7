#include "document/document.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <random>

#include "core/streams/atomic_file.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
#include "core/streams/span_stream.h"
#include "core/streams/zlib_streams.h"
#include "platform/clock.h"
#include "platform/localization.h"
#include "platform/log.h"
#include "platform/paths.h"
#include "platform/settings.h"
#include "platform/unicode.h"
#include "resources/new_database.h"

namespace vemra {

namespace {

bool g_keep_databases = false;

// Above this many cached part files the journal refreshes the backup copy and keeps only the
// newest kKeptParts.
constexpr size_t kPruneAt = 64;
constexpr size_t kKeptParts = 32;

std::string FileNameOf(const std::string& path) {
  size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string FolderOf(const std::string& path) {
  size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

FileIdentity IdentityFromStat(const struct stat& st) {
  FileIdentity id;
  id.device = st.st_dev;
  id.inode = st.st_ino;
  id.size = st.st_size;
  id.mtime_ns = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
  return id;
}

// Whether `name` is a temporary file of WriteFileAtomically for the book named `base`:
// ".<base>.<pid>.<n>.tmp". Sets `pid`.
bool IsTemporaryOf(const std::string& name, const std::string& base, pid_t& pid) {
  const std::string prefix = "." + base + ".";
  const std::string suffix = ".tmp";
  if (name.size() <= prefix.size() + suffix.size() || name.compare(0, prefix.size(), prefix) ||
      name.compare(name.size() - suffix.size(), suffix.size(), suffix)) {
    return false;
  }
  std::string middle = name.substr(prefix.size(), name.size() - prefix.size() - suffix.size());
  size_t dot = middle.find('.');
  if (dot == 0 || dot == std::string::npos || dot + 1 == middle.size()) return false;
  for (size_t i = 0; i < middle.size(); ++i) {
    if (i != dot && (middle[i] < '0' || middle[i] > '9')) return false;
  }
  pid = static_cast<pid_t>(std::strtol(middle.substr(0, dot).c_str(), nullptr, 10));
  return pid > 0;
}

// Removes the temporary files that writers of the book at `path` left when they were killed.
void RemoveLeftovers(const std::string& path) {
  const std::string folder = FolderOf(path);
  const std::string base = FileNameOf(path);
  DIR* dir = ::opendir(folder.c_str());
  if (dir == nullptr) return;
  while (dirent* entry = ::readdir(dir)) {
    pid_t pid = 0;
    if (!IsTemporaryOf(entry->d_name, base, pid)) continue;
    if (::kill(pid, 0) != 0 && errno == ESRCH) {
      std::string leftover = folder + "/" + entry->d_name;
      platform::LogLine("remove leftover: " + leftover);
      ::unlink(leftover.c_str());
    }
  }
  ::closedir(dir);
}

// Keeps the file at `path` as "<path>.damaged" (or ".damaged-2", …, the first name not taken):
// a hard link, else a copy; `name` gets the name. Returns false with the reason when neither
// could be made.
bool KeepDamaged(const std::string& path, std::string& name, std::string& reason) {
  for (int n = 1; n < 1000; ++n) {
    name = path + ".damaged" + (n == 1 ? "" : "-" + std::to_string(n));
    if (::link(path.c_str(), name.c_str()) == 0) return true;
    if (errno == EEXIST) continue;
    std::error_code ec;
    if (std::filesystem::copy_file(path, name, ec)) return true;
    if (ec == std::errc::file_exists) continue;
    reason = ec.message();
    return false;
  }
  reason = "too many damaged copies";
  return false;
}

// An advisory lock on the lock file beside a book, held while the book is saved.
class BookLock {
 public:
  explicit BookLock(const std::string& path) {
    std::string lock = FolderOf(path) + "/." + FileNameOf(path) + ".lock";
    fd_ = ::open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd_ < 0) {
      error_ = errno;
      return;
    }
    while (::flock(fd_, LOCK_EX) != 0) {
      if (errno == EINTR) continue;
      error_ = errno;
      return;
    }
  }
  ~BookLock() {
    if (fd_ >= 0) ::close(fd_);  // closing releases the lock
  }
  BookLock(const BookLock&) = delete;
  BookLock& operator=(const BookLock&) = delete;
  int error() const { return error_; }

 private:
  int fd_ = -1;
  int error_ = 0;
};

// Hands the serialised records of a backup copy from the queue to the writer in 4 MB chunks,
// at most eight in flight: the queue is held only while it serialises, the writer compresses
// at the same time, and the copy never sits uncompressed in memory as a whole.
size_t g_backup_chunk = 4 << 20;

class ChunkPipe : public IOutputStream {
 public:
  size_t Write(const void* src, size_t n) override {
    const auto* bytes = static_cast<const uint8_t*>(src);
    current_.insert(current_.end(), bytes, bytes + n);
    position_ += n;
    if (current_.size() >= g_backup_chunk) Push();
    return n;
  }
  int64_t Tell() override { return static_cast<int64_t>(position_); }
  bool Seek(int64_t) override { return false; }

  // The producer is done; `ok` false when serialising failed (the writer then gives up).
  void Close(bool ok) {
    Push();
    std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
    ok_ = ok;
    changed_.notify_all();
  }
  // The next chunk; false at the end. `ok` tells whether the producer succeeded.
  bool Pop(std::vector<uint8_t>& chunk, bool& ok) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return !chunks_.empty() || closed_; });
    ok = ok_;
    if (chunks_.empty()) return false;
    chunk = std::move(chunks_.front());
    chunks_.pop_front();
    changed_.notify_all();
    return true;
  }
  // The consumer gives up: what is written from now on is dropped, never waited for.
  void Abandon() {
    std::lock_guard<std::mutex> lock(mutex_);
    abandoned_ = true;
    chunks_.clear();
    changed_.notify_all();
  }

 private:
  static constexpr size_t kInFlight = 8;

  void Push() {
    if (current_.empty()) return;
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return abandoned_ || chunks_.size() < kInFlight; });
    if (!abandoned_) chunks_.push_back(std::move(current_));
    changed_.notify_all();
    current_ = std::vector<uint8_t>();
    current_.reserve(g_backup_chunk + (64 << 10));
  }

  std::vector<uint8_t> current_;
  uint64_t position_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::vector<uint8_t>> chunks_;
  bool closed_ = false;
  bool ok_ = true;
  bool abandoned_ = false;
};

}  // namespace

// One part file waiting for the writer thread: its path and its uncompressed content.
struct Document::WriterJob {
  std::string path;
  std::vector<uint8_t> plain;
  std::string upload_folder;  // where the part waits to be sent; empty: cloud sync is off
};

// ---- Observers ----

ObserverToken& ObserverToken::operator=(ObserverToken&& other) noexcept {
  if (this != &other) {
    if (document_ != nullptr) document_->Unobserve(id_);
    document_ = other.document_;
    id_ = other.id_;
    other.document_ = nullptr;
  }
  return *this;
}

ObserverToken::~ObserverToken() {
  if (document_ != nullptr) document_->Unobserve(id_);
}

ObserverToken Document::observe(const std::string& name, Observer observer) {
  std::lock_guard<std::mutex> lock(mutex_);
  uint64_t id = next_observer_++;
  observers_[id] = {name, std::move(observer)};
  return ObserverToken(this, id);
}

void Document::Unobserve(uint64_t id) {
  std::lock_guard<std::mutex> lock(mutex_);
  observers_.erase(id);
}

void Document::post(const std::string& name) {
  std::vector<Observer> called;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [id, entry] : observers_) {
      if (entry.first == name) called.push_back(entry.second);
    }
  }
  for (const Observer& observer : called) observer(*this);
}

// ---- Creation, reading, saving ----

Document::Document()
    : book_(std::make_unique<Book>()),
      instance_token_((uint64_t{std::random_device{}()} << 32) ^ std::random_device{}() ^
                      reinterpret_cast<uintptr_t>(this)) {
  platform::LogLine("init");
}

Document::~Document() {
  Close();
  if (g_keep_databases) book_.release();
}

void Document::SetBackupChunkForTesting(size_t bytes) {
  g_backup_chunk = bytes;
}

void Document::KeepDatabasesUntilExit() {
  g_keep_databases = true;
}

void Document::New(std::string_view language) {
  Sync([&] {
    NewDatabase(*book_, TemplateLanguage(language));
    book_->SetCurrentUser(0);
  });
  if (registrar_ != nullptr) registrar_->clear();
}

int Document::readFile(const std::string& path, std::string* reason) {
  platform::LogLine("initWithContentsOfURL: " + path);
  struct stat st {};
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  int error = fd < 0 ? errno : 0;
  if (fd >= 0 && ::fstat(fd, &st) != 0) error = errno;
  if (error == 0 && S_ISDIR(st.st_mode)) error = EISDIR;
  // The file is mapped rather than copied: a big book opens without a second copy of its bytes.
  const size_t size = error == 0 ? static_cast<size_t>(std::max<off_t>(st.st_size, 0)) : 0;
  void* mapped = size > 0 ? ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0) : nullptr;
  std::vector<uint8_t> bytes;
  if (error == 0 && size > 0 && mapped == MAP_FAILED) {
    // Not mappable (a pipe, a special file): read it.
    mapped = nullptr;
    for (uint8_t block[1 << 16];;) {
      ssize_t n = ::read(fd, block, sizeof block);
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) error = errno;
      if (n <= 0) break;
      bytes.insert(bytes.end(), block, block + n);
    }
  }
  if (fd >= 0) ::close(fd);
  if (error != 0 && reason != nullptr) *reason = std::strerror(error);
  int rc = kResultCantOpen;
  bool was_loaded = false;
  if (error != 0) {
    rc = readFromData(nullptr, path);
  } else {
    const uint8_t* data = mapped != nullptr ? static_cast<const uint8_t*>(mapped) : bytes.data();
    const size_t length = mapped != nullptr ? size : bytes.size();
    Sync([&] {
      was_loaded = book_->Loaded;
      rc = ReadOnQueue(data, length, true, path);
    });
    AfterRead(rc, was_loaded);
  }
  if (mapped != nullptr) ::munmap(mapped, size);
  if (rc == kResultOK && error == 0) {
    std::lock_guard<std::mutex> lock(mutex_);
    disk_ = IdentityFromStat(st);
    disk_known_ = true;
  }
  return rc;
}

int Document::readFromData(const std::vector<uint8_t>* data, const std::string& path) {
  bool was_loaded = false;
  int rc = kResultCantOpen;
  Sync([&] {
    was_loaded = book_->Loaded;
    rc = ReadOnQueue(data ? data->data() : nullptr, data ? data->size() : 0, data != nullptr, path);
  });
  AfterRead(rc, was_loaded);
  return rc;
}

void Document::AfterRead(int rc, bool was_loaded) {
  if (rc == kResultOK && registrar_ != nullptr) {
    // A merge opened and dropped an undo step; a first read starts a new history.
    if (was_loaded) {
      registrar_->dropRedo();
    } else {
      registrar_->clear();
    }
  }
  if (rc == kResultOK && was_loaded) post(kUpdateDataNotification);
}

int Document::ReadOnQueue(const uint8_t* data, size_t size, bool has_data,
                          const std::string& path) {
  platform::LogLine("readFromData");
  int rc = kResultCantOpen;
  if (has_data) {
    SpanInputStream in(data, size);
    if (book_->Loaded) {
      rc = book_->MergeFile(in);
    } else {
      {
        std::lock_guard<std::mutex> lock(mutex_);
        path_ = path;
      }
      rc = book_->Open(in);
      // Only a file that is not a database (a damaged one among them) opens from the backup.
      if (rc == kResultNotDatabase && !path.empty()) rc = RestoreFromBackup();
      if (rc != kResultOK) {
        std::lock_guard<std::mutex> lock(mutex_);
        path_.clear();
      }
    }
  }
  platform::LogLine("loadFromContents: " + std::to_string(rc) + ", " + std::to_string(size));
  return rc;
}

int Document::RestoreFromBackup() {
  const std::string backup = backupPath();
  struct stat st {};
  if (backup.empty() || ::stat(backup.c_str(), &st) != 0) return kResultNotDatabase;
  if (book_->OpenFile(backup) != kResultOK) return kResultNotDatabase;
  platform::LogLine("restored from the backup");
  RestoreReport report;
  report.restored = true;
  report.backup_path = backup;
  report.backup_modified = st.st_mtime;
  // The backup is refreshed only now and then; the parts hold the changes since. Merging is
  // idempotent, so parts older than the backup do no harm.
  std::vector<std::string> parts = CacheFilesOf(FolderOf(backup), book_->Header.DatabaseID);
  for (auto it = parts.rbegin(); it != parts.rend(); ++it) {
    if (book_->ReadPart(*it) == kResultOK) ++report.parts_merged;
  }
  restored_ = report;
  damaged_kept_ = false;
  return kResultOK;
}

int Document::dataOfType(std::vector<uint8_t>& bytes) {
  int rc = kResultOK;
  bool merged = false;
  const std::string where = path();
  Sync([&] {
    platform::LogLine("dataOfType");
    FileIdentity now;
    bool same = false;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      same = disk_known_ && IdentityOf(where, now) && now == disk_;
    }
    // Merging the file last read or written again would give the same book; skipping it saves
    // a second read of a big book and keeps the redo steps the merge's undo step would drop.
    if (!where.empty() && !same && book_->Loaded) {
      merged = book_->MergeFilePath(where) == kResultOK;
    }
    OutputStream out;
    rc = book_->Save(out);
    bytes = rc == kResultOK ? out.MemoryData() : std::vector<uint8_t>();
    platform::LogLine("dataOfType: " + std::to_string(rc) + ", " + std::to_string(bytes.size()));
  });
  if (merged) {
    if (registrar_ != nullptr) registrar_->dropRedo();
    post(kUpdateDataNotification);
  }
  return rc;
}

SaveResult Document::saveToFile(const std::string& target_path) {
  const std::string target = target_path.empty() ? path() : target_path;
  if (target.empty()) return {kResultCantOpen, "the document has no file name yet"};
  struct stat st {};
  if (::stat(target.c_str(), &st) == 0) {
    if (S_ISDIR(st.st_mode)) return {kResultCantOpen, target + " is a directory"};
    // The owner's write bit decides, for root too: a book the user made read-only is never
    // replaced behind their back.
    if ((st.st_mode & S_IWUSR) == 0) return {kResultCantOpen, target + " is read-only"};
  }
  std::unique_ptr<BookLock> lock;
  if (!held_lock_ || held_lock_path_ != target) {
    lock = std::make_unique<BookLock>(target);
    if (lock->error() != 0) {
      return {kResultCantOpen, target + ": " + std::strerror(lock->error())};
    }
  }
  RemoveLeftovers(target);
  if (target != path()) {
    std::lock_guard<std::mutex> guard(mutex_);
    disk_known_ = false;
    path_ = target;
  }
  std::vector<uint8_t> bytes;
  int rc = dataOfType(bytes);
  if (rc != kResultOK) return {rc, target + ": " + decodeDBError(rc)};
  if (!damaged_kept_ && ::stat(target.c_str(), &st) == 0) {
    std::string reason, kept;
    if (!KeepDamaged(target, kept, reason)) {
      return {kResultCantOpen, target + ": the damaged file could not be kept: " + reason};
    }
    damaged_kept_ = true;
    std::lock_guard<std::mutex> guard(mutex_);
    kept_damaged_as_ = kept;
  }
  bool written = WriteFileAtomically(target, [&](IOutputStream& out) {
    return out.Write(bytes.data(), bytes.size()) == bytes.size();
  });
  if (!written) {
    int error = errno != 0 ? errno : EIO;
    return {kResultCantOpen, target + ": " + std::strerror(error)};
  }
  std::lock_guard<std::mutex> guard(mutex_);
  disk_known_ = IdentityOf(target, disk_);
  return {};
}

bool Document::holdLock(const std::string& path, std::string* reason) {
  auto lock = std::make_shared<BookLock>(path);
  if (lock->error() != 0) {
    if (reason != nullptr) *reason = std::strerror(lock->error());
    return false;
  }
  held_lock_ = lock;
  held_lock_path_ = path;
  return true;
}

int Document::restoreBackup(const std::string& path, bool keep_original) {
  int rc = kResultNotDatabase;
  Sync([&] {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      path_ = path;
    }
    rc = book_->Loaded ? kResultNotDatabase : RestoreFromBackup();
    std::lock_guard<std::mutex> lock(mutex_);
    if (rc != kResultOK) path_.clear();
    if (!keep_original) damaged_kept_ = true;
  });
  if (rc == kResultOK && registrar_ != nullptr) registrar_->clear();
  return rc;
}

std::string Document::keptDamagedAs() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return kept_damaged_as_;
}

void Document::Close() {
  if (closed_) return;
  closed_ = true;
  stopAutomaticSync();
  queue_.Drain();
  writer_.Drain();
}

void Document::stopAutomaticSync() {
  std::function<void()> stopper;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopper = sync_stopper_;
  }
  if (stopper) stopper();
}

void Document::setAutomaticSyncStopper(std::function<void()> stopper) {
  std::lock_guard<std::mutex> lock(mutex_);
  sync_stopper_ = std::move(stopper);
}

// ---- The book ----

std::string Document::path() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return path_;
}

bool Document::loaded() {
  bool loaded = false;
  Sync([&] { loaded = book_->Loaded; });
  return loaded;
}

std::wstring Document::getString(uint64_t id) {
  std::wstring text;
  Sync([&] { book_->GetString(id, text); });
  return text;
}

std::wstring Document::getAdminPassword() {
  std::wstring password;
  Sync([&] { password = book_->GetAdminPassword(); });
  return password;
}

std::wstring Document::passwordHint() {
  std::wstring hint;
  Sync([&] {
    if (book_->Loaded) hint = book_->GetDatabaseText(4);
  });
  return hint;
}

std::string Document::format(double amount, uint64_t currency_id, bool add_symbol) {
  int decimals = 2;
  std::wstring symbol;
  bool align_right = false;
  Sync([&] {
    if (!book_->Loaded) return;
    const auto* c = dynamic_cast<const TCurrency*>(book_->FindEntry(currency_id, 0));
    if (c == nullptr) return;
    decimals = std::min<int>(c->Data.Decimals, 9);
    align_right = c->Data.AlignRight != 0;
    book_->GetString(c->Data.SymbolID, symbol);
  });
  const platform::NumberSeparators sep = platform::Separators();
  std::string number = FormatNumber(amount, decimals, sep.grouping, sep.decimal);
  if (!add_symbol || symbol.empty()) return number;
  std::string s = WideToUtf8Lossy(symbol);
  return align_right ? number + s : s + number;
}

std::string Document::formatForAccount(double amount, uint64_t account_id, bool add_symbol) {
  uint64_t currency = 0;
  Sync([&] {
    if (const auto* a = dynamic_cast<const TAccount*>(book_->FindEntry(account_id, 0))) {
      currency = a->Data.CurrencyID;
    }
  });
  return format(amount, currency, add_symbol);
}

// ---- Undo ----

void Document::initUndo(uint32_t status) {
  queue_.Submit([this, status] { book_->BeginUndoStep(status); });
  if (registrar_ != nullptr) registrar_->stepOpened(decodeUndoStatus(status));
}

void Document::doUndo(const std::string&) {
  queue_.Submit([this] {
    book_->Undo();
    post(kUpdateDataNotification);
    JournalOnQueue();
  });
}

void Document::doRedo(const std::string&) {
  queue_.Submit([this] {
    book_->Redo();
    post(kUpdateDataNotification);
    JournalOnQueue();
  });
}

void Document::setCurrentUser(uint64_t user_id) {
  Sync([&] { book_->SetCurrentUser(user_id); });
  if (registrar_ != nullptr) registrar_->clear();
}

// ---- Journal, backup and cache ----

std::string Document::cacheFolder() {
  std::string p = path();
  if (p.empty()) return {};
  std::string folder = platform::CacheFolderFor(p);
  platform::MakeFolders(folder);
  return folder;
}

std::string Document::backupPath() {
  std::string p = path();
  if (p.empty()) return {};
  return platform::CacheFolderFor(p) + "/" + FileNameOf(p);
}

std::string Document::uploadFolder() {
  std::string p = path();
  if (p.empty()) return {};
  std::string folder = platform::CacheFolderFor(p) + ".upload";
  platform::MakeFolders(folder);
  return folder;
}

std::string Document::cloudFolder() {
  std::string name = FileNameOf(path());
  if (name.empty()) return {};
  size_t dot = name.find_last_of('.');
  if (dot == std::string::npos || dot == 0) return "/" + name + ".sync/";
  return "/" + name.substr(0, dot) + ".sync/";
}

std::vector<std::string> Document::cacheFiles() {
  std::string p = path();
  if (p.empty()) return {};
  uint64_t id = 0;
  Sync([&] { id = book_->Header.DatabaseID; });
  return CacheFilesOf(cacheFolder(), id);
}

std::vector<std::string> Document::CacheFilesOf(const std::string& folder, uint64_t database_id) {
  std::vector<std::string> pending;
  {
    // Parts handed to the writer count as cached already.
    std::lock_guard<std::mutex> lock(mutex_);
    pending = pending_;
  }
  return CachedPartFiles(folder, database_id, pending);
}

std::vector<std::string> CachedPartFiles(const std::string& folder, uint64_t database_id,
                                         const std::vector<std::string>& extra) {
  std::vector<std::pair<int64_t, std::string>> found;
  const std::string stem = std::to_string(database_id);
  auto consider = [&](const std::string& name, const std::string& full) {
    size_t dot = name.find_last_of('.');
    if (dot != stem.size() || name.compare(0, dot, stem) != 0) return;
    found.emplace_back(std::strtoll(name.c_str() + dot + 1, nullptr, 10), full);
  };
  if (DIR* dir = ::opendir(folder.c_str())) {
    while (dirent* entry = ::readdir(dir)) consider(entry->d_name, folder + "/" + entry->d_name);
    ::closedir(dir);
  }
  for (const std::string& p : extra) {
    if (FolderOf(p) == folder) consider(FileNameOf(p), p);
  }
  std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) {
    return a.first != b.first ? a.first > b.first : a.second < b.second;
  });
  found.erase(std::unique(found.begin(), found.end()), found.end());
  std::vector<std::string> names;
  names.reserve(found.size());
  for (auto& f : found) names.push_back(std::move(f.second));
  return names;
}

std::string Document::nextPartName() {
  const std::string folder = platform::CacheFolderFor(path());
  const std::string id = std::to_string(book_->Header.DatabaseID);
  uint64_t stamp = std::max(last_part_stamp_ + 1, ModStamp());
  for (;; ++stamp) {
    std::string name = id + "." + std::to_string(stamp);
    struct stat st {};
    bool taken = ::stat((folder + "/" + name).c_str(), &st) == 0;
    if (!taken) {
      std::lock_guard<std::mutex> lock(mutex_);
      taken = std::find(pending_.begin(), pending_.end(), folder + "/" + name) != pending_.end();
    }
    if (!taken) {
      last_part_stamp_ = stamp;
      return name;
    }
  }
}

void Document::writeAutosyncData() {
  queue_.Submit([this] { JournalOnQueue(); });
}

void Document::refreshBackup() {
  queue_.Submit([this] {
    const std::string p = path();
    if (p.empty() || !book_->Loaded || !platform::MakeFolders(platform::CacheFolderFor(p))) return;
    RefreshBackupOnQueue(platform::CacheFolderFor(p) + "/" + FileNameOf(p));
  });
}

void Document::WriterFailed(const std::string& reason) {
  platform::LogLine(reason);
  std::lock_guard<std::mutex> lock(mutex_);
  journal_problem_ = reason;
}

void Document::JournalOnQueue() {
  const std::string p = path();
  // An untitled document has no cache folder: its journal waits for the first save.
  if (p.empty() || !book_->Loaded) return;
  const std::string folder = platform::CacheFolderFor(p);
  std::vector<std::shared_ptr<WriterJob>> retry;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    retry.swap(failed_);
  }
  if (book_->SyncJournal().empty() && retry.empty()) return;
  std::string reason;
  if (!platform::MakeFolders(folder, &reason)) {
    // The journal stays as it is and goes out with the next change.
    WriterFailed("journal: cannot make the cache folder " + folder + ": " + reason);
    std::lock_guard<std::mutex> lock(mutex_);
    failed_.swap(retry);
    return;
  }
  auto write_part = [this](std::shared_ptr<WriterJob> job) {
    writer_.Submit([this, job] {
      const std::string planned = job->path;
      bool written = false;
      int error = 0;
      for (int attempt = 0; attempt < 1000; ++attempt) {
        written = WriteNewFile(job->path, job->path + ".tmp", [&](IOutputStream& file) {
          DeflateOutputStream out(file);
          bool ok = out.Write(job->plain.data(), job->plain.size()) == job->plain.size();
          return out.Finish() && ok;
        });
        error = errno;
        // Another process took the name meanwhile: the next stamp, never its file.
        if (written || error != EEXIST) break;
        size_t dot = job->path.find_last_of('.');
        uint64_t stamp = std::strtoull(job->path.c_str() + dot + 1, nullptr, 10);
        job->path = job->path.substr(0, dot + 1) + std::to_string(stamp + 1);
      }
      {
        std::lock_guard<std::mutex> lock(mutex_);
        pending_.erase(std::remove(pending_.begin(), pending_.end(), planned), pending_.end());
      }
      if (!written) {
        WriterFailed("journal: cannot write " + job->path + ": " +
                     std::strerror(error != 0 ? error : EIO));
        std::lock_guard<std::mutex> lock(mutex_);
        failed_.push_back(job);
        return;
      }
      if (!job->upload_folder.empty()) QueueForUpload(job->path, job->upload_folder);
      if (transport_ != nullptr) transport_->PartWritten(job->path);
    });
  };
  for (auto& job : retry) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      pending_.push_back(job->path);
    }
    write_part(job);
  }
  if (book_->SyncJournal().empty()) return;

  const std::string backup = folder + "/" + FileNameOf(p);
  struct stat st {};
  bool backup_pending = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    backup_pending = backup_pending_;
  }
  if (!backup_pending && ::stat(backup.c_str(), &st) != 0) RefreshBackupOnQueue(backup);

  std::vector<std::string> files = CacheFilesOf(folder, book_->Header.DatabaseID);
  if (files.size() >= kPruneAt) {
    RefreshBackupOnQueue(backup);
    std::vector<std::string> victims(files.begin() + kKeptParts, files.end());
    // Temporary part files a killed writer left (an hour old: no writer takes that long).
    const std::string prefix = std::to_string(book_->Header.DatabaseID) + ".";
    if (DIR* dir = ::opendir(folder.c_str())) {
      const time_t hour_ago = ::time(nullptr) - 3600;
      while (dirent* entry = ::readdir(dir)) {
        std::string name = entry->d_name;
        struct stat old {};
        std::string full = folder + "/" + name;
        if (name.rfind(prefix, 0) == 0 && name.size() > 4 &&
            name.compare(name.size() - 4, 4, ".tmp") == 0 && ::stat(full.c_str(), &old) == 0 &&
            old.st_mtime < hour_ago) {
          victims.push_back(full);
        }
      }
      ::closedir(dir);
    }
    writer_.Submit([victims] {
      for (const std::string& v : victims) {
        platform::LogLine("remove backup file: " + v);
        ::unlink(v.c_str());
      }
    });
  }

  auto job = std::make_shared<WriterJob>();
  job->path = folder + "/" + nextPartName();
  // Every change waits in the upload folder while the cloud-sync flag is set, whether or not
  // this machine can reach the cloud now: nothing made offline or logged out is lost.
  if (book_->Header.Option1 != 0) job->upload_folder = folder + ".upload";
  OutputStream plain;
  book_->TakePart(plain);
  job->plain = plain.MemoryData();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    pending_.push_back(job->path);
  }
  write_part(job);
}

void Document::QueueForUpload(const std::string& part, const std::string& upload_folder) {
  std::string reason;
  const std::string target = upload_folder + "/" + FileNameOf(part);
  if (!platform::MakeFolders(upload_folder, &reason)) {
    WriterFailed("journal: cannot make the upload folder " + upload_folder + ": " + reason);
    return;
  }
  // Parts never change once written, so the cache and the upload folder share one file.
  if (::link(part.c_str(), target.c_str()) == 0 || errno == EEXIST) return;
  const bool copied = WriteNewFile(target, upload_folder + "/." + FileNameOf(part) + ".tmp",
                                   [&](IOutputStream& out) {
                                     std::ifstream in(part, std::ios::binary);
                                     char block[1 << 16];
                                     while (in.read(block, sizeof block) || in.gcount() > 0) {
                                       const auto n = static_cast<size_t>(in.gcount());
                                       if (out.Write(block, n) != n) return false;
                                     }
                                     return in.eof();
                                   });
  if (!copied && errno != EEXIST) {
    WriterFailed("journal: cannot queue " + part + " for upload: " + std::strerror(errno));
  }
}

void Document::RefreshBackupOnQueue(const std::string& backup) {
  // The queue only serialises the records; the writer compresses and writes them meanwhile.
  auto head = std::make_shared<OutputStream>();
  auto pipe = std::make_shared<ChunkPipe>();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    backup_pending_ = true;
  }
  writer_.Submit([this, backup, head, pipe] {
    bool written = WriteFileAtomically(backup, [&](IOutputStream& file) {
      std::vector<uint8_t> chunk;
      bool ok = true;
      // The head is complete once the first chunk of records (or the end) arrived.
      bool more = pipe->Pop(chunk, ok);
      const std::vector<uint8_t>& h = head->MemoryData();
      DeflateOutputStream out(file);
      bool wrote = file.Write(h.data(), h.size()) == h.size();
      for (; more && wrote; more = pipe->Pop(chunk, ok)) {
        wrote = out.Write(chunk.data(), chunk.size()) == chunk.size();
      }
      wrote = out.Finish() && wrote;
      if (!wrote) pipe->Abandon();
      return wrote && ok;
    });
    int error = errno;
    pipe->Abandon();
    {
      std::lock_guard<std::mutex> lock(mutex_);
      backup_pending_ = false;
    }
    if (!written) {
      WriterFailed("journal: cannot write the backup copy " + backup + ": " +
                   std::strerror(error != 0 ? error : EIO));
    }
  });
  bool ok = book_->SaveUncompressed(*head, *pipe) == kResultOK;
  pipe->Close(ok);
}

std::string Document::flushJournal() {
  queue_.Drain();
  writer_.Drain();
  std::lock_guard<std::mutex> lock(mutex_);
  std::string problem;
  problem.swap(journal_problem_);
  return problem;
}

// ---- Settings ----

nlohmann::json Document::settings() {
  uint64_t id = 0;
  Sync([&] { id = book_->Header.DatabaseID; });
  return platform::Settings().DatabaseSettings(id);
}

bool Document::setSettings(const nlohmann::json& dictionary) {
  uint64_t id = 0;
  Sync([&] { id = book_->Header.DatabaseID; });
  return platform::Settings().SetDatabaseSettings(id, dictionary);
}

// ---- Free functions ----

std::string decodeDBError(int code) {
  static const std::map<int, int> kKeys = {
      {kResultTooNew, 1114},          {kResultTooOld, 1113},        {kResultBackupFailed, 1112},
      {kResultOldFormat, 1111},       {kResultCantOpen, 1052},      {kResultNotDatabase, 1109},
      {kResultVersionMismatch, 1107}, {kResultWrongDatabase, 1108}, {kResultWrongPassword, 1058},
  };
  auto it = kKeys.find(code);
  if (it != kKeys.end()) return platform::Text(it->second);
  return "Unknown error: " + std::to_string(static_cast<int8_t>(code & 0xFF));
}

std::string decodeUndoStatus(uint32_t status) {
  if (status < 1 || status > 5) return {};
  static const int kKeys[] = {40, 37, 38, 39, 41};
  return platform::Text(kKeys[status - 1]);
}

std::string FormatNumber(double amount, int decimals, const std::string& grouping,
                         const std::string& decimal_point) {
  decimals = std::clamp(decimals, 0, 9);
  if (!std::isfinite(amount)) amount = 0;
  if (std::fabs(amount) < 1e-13) amount = 0;
  double scaled = std::fabs(amount) * std::pow(10.0, decimals);
  // Rounded as the decimal text the amount stands for (2.675 is 2.67499… as a double): 15
  // significant digits first, then half away from zero.
  char text[64];
  std::snprintf(text, sizeof text, "%.15g", scaled);
  double rounded = std::round(std::strtod(text, nullptr));
  std::snprintf(text, sizeof text, "%.0f", rounded);
  std::string digits = text;
  if (digits.size() <= static_cast<size_t>(decimals)) {
    digits.insert(0, static_cast<size_t>(decimals) + 1 - digits.size(), '0');
  }
  std::string whole = digits.substr(0, digits.size() - static_cast<size_t>(decimals));
  std::string grouped;
  for (size_t i = 0; i < whole.size(); ++i) {
    if (i > 0 && (whole.size() - i) % 3 == 0) grouped += grouping;
    grouped += whole[i];
  }
  std::string result = (amount < 0 && rounded != 0 ? "-" : "") + grouped;
  if (decimals > 0) result += decimal_point + digits.substr(whole.size());
  return result;
}

bool IdentityOf(const std::string& path, FileIdentity& identity) {
  struct stat st {};
  if (path.empty() || ::stat(path.c_str(), &st) != 0) return false;
  identity = IdentityFromStat(st);
  return true;
}

}  // namespace vemra
