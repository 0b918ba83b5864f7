#include "sync/sync_run.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <set>

#include "core/records/dates.h"
#include "core/streams/atomic_file.h"
#include "platform/log.h"
#include "platform/paths.h"

namespace vemra::sync {
namespace {

// The plain, non-dot file names of a local folder, sorted.
std::vector<std::string> FilesIn(const std::string& folder) {
  std::vector<std::string> names;
  if (DIR* dir = ::opendir(folder.c_str())) {
    while (const dirent* d = ::readdir(dir)) {
      struct stat st {};
      if (d->d_name[0] == '.' ||
          ::fstatat(::dirfd(dir), d->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0 ||
          !S_ISREG(st.st_mode)) {
        continue;
      }
      names.emplace_back(d->d_name);
    }
    ::closedir(dir);
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool Exists(const std::string& path) {
  struct stat st {};
  return ::lstat(path.c_str(), &st) == 0;
}

// Moves `from` to `to` unless `to` exists; the file at `from` is gone either way.
void MoveWithoutReplacing(const std::string& from, const std::string& to) {
  if (::link(from.c_str(), to.c_str()) != 0 && errno != EEXIST) {
    // A file system without links: a rename may replace, so look first.
    if (!Exists(to)) ::rename(from.c_str(), to.c_str());
  }
  ::unlink(from.c_str());
}

using Revisions = std::map<std::string, std::string>;  // file name -> revision

// A line of a list file: the name, then its revision after a space when it has one.
std::string Key(const std::string& name, const std::string& rev) {
  return rev.empty() ? name : name + " " + rev;
}

Revisions ReadRevisions(const std::string& path) {
  Revisions revisions;
  for (const std::string& line : ReadNameList(path)) {
    const size_t space = line.find(' ');
    if (space == std::string::npos) {
      revisions[line];
    } else {
      revisions[line.substr(0, space)] = line.substr(space + 1);
    }
  }
  return revisions;
}

bool WriteRevisions(const std::string& path, const Revisions& revisions) {
  std::vector<std::string> lines;
  for (const auto& [name, rev] : revisions) lines.push_back(Key(name, rev));
  return WriteNameList(path, lines);
}

// Part names ordered by their stamps.
void SortByStamp(std::vector<std::string>& names, uint64_t id) {
  auto stamp = [id](const std::string& name) {
    uint64_t s = 0;
    ClassifyName(name, id, &s);
    return s;
  };
  std::sort(names.begin(), names.end(), [&](const std::string& a, const std::string& b) {
    const uint64_t sa = stamp(a), sb = stamp(b);
    return sa != sb ? sa < sb : a < b;
  });
}

class Run {
 public:
  Run(Document& document, Transport& transport, const RunOptions& options)
      : document_(document), transport_(transport), options_(options) {}

  RunReport Go();

 private:
  // Each step returns false when the run must end there.
  bool Prepare();
  bool SendQueue();
  bool SendPart(const std::string& name);
  // Sends the cached part `name` again, under a new name when `rename`.
  bool Resend(const std::string& name, bool rename);
  // Whether the listed part `name` of revision `rev` is one this copy sent.
  bool Sent(const std::string& name, const std::string& rev) const {
    auto it = sent_.find(name);
    return it != sent_.end() && (it->second.empty() || rev.empty() || it->second == rev);
  }
  bool ListFolder();
  void Fetch();
  void Apply();
  bool SaveAndRecord();
  void PublishMain();

  void Error(const std::string& text) { report_.errors.push_back(text); }
  // Records a failed transport step; false when the run cannot go on (no connection, refused).
  bool Failed(const Status& s) {
    Error(s.text);
    if (s.failure == Failure::kUnauthorized) refused_ = true;
    return s.failure != Failure::kNetwork && s.failure != Failure::kUnauthorized;
  }
  nlohmann::json Settings() const {
    return options_.settings != nullptr ? options_.settings->DatabaseSettings(id_)
                                        : platform::Settings().DatabaseSettings(id_);
  }
  void SetSetting(const std::string& key, const std::string& value) {
    nlohmann::json s = Settings();
    s[key] = value;
    const bool ok = options_.settings != nullptr ? options_.settings->SetDatabaseSettings(id_, s)
                                                 : platform::Settings().SetDatabaseSettings(id_, s);
    if (!ok) Error("cannot store the setting " + key);
  }
  std::string NewPartName(uint64_t after) const;
  void SaveSent() {
    if (!WriteRevisions(cache_ + "/sync-sent", sent_)) Error("cannot write the list of parts sent");
  }

  Document& document_;
  Transport& transport_;
  const RunOptions& options_;
  RunReport report_;

  uint64_t id_ = 0;
  std::string folder_;          // the cloud folder, "/Home.sync"
  std::string cache_;           // the cache folder
  std::string upload_;          // the upload folder
  std::string incoming_;        // cache/incoming
  std::string revision_;        // of the main file last merged or sent through this transport
  std::set<std::string> seen_;  // Key(name, rev) of every part applied
  Revisions sent_;
  bool publish_main_ = false;
  bool refused_ = false;       // the service refused the credentials
  bool damaged_main_ = false;  // the folder's main file is no database

  // From the listing.
  bool have_listing_ = false;
  bool saw_main_ = false;
  std::string listed_main_rev_;
  std::vector<std::string> listed_parts_;  // files of this book, by stamp
  Revisions listed_;                       // every file listed

  // Applied to the book, recorded after the save.
  bool main_merged_ = false;
  std::string merged_rev_;
  std::vector<std::string> applied_parts_;  // in incoming/, applied or refused
  std::vector<std::string> applied_revs_;   // their revisions
};

RunReport Run::Go() {
  if (!Prepare()) return report_;
  if (SendQueue() && ListFolder()) Fetch();
  // A refused login changes nothing. Otherwise leftovers of an earlier run are applied even
  // when this one could not list.
  if (refused_) return report_;
  Apply();
  // A main file in the folder that could not be merged is not replaced, unless it is damaged:
  // it may be another database's, or hold what only it holds.
  if (damaged_main_) publish_main_ = true;
  if (SaveAndRecord() && have_listing_ && (report_.main != "failed" || damaged_main_)) {
    PublishMain();
  }
  if (report_.errors.empty()) {
    SetSetting(kLastSyncDateKey, platform::IsoUtc(std::time(nullptr)));
    report_.ok = report_.errors.empty();
  }
  return report_;
}

bool Run::Prepare() {
  bool flag = false, loaded = false;
  document_.Sync([&] {
    loaded = document_.database().Loaded;
    id_ = document_.database().Header.DatabaseID;
    flag = document_.database().Header.Option1 != 0;
  });
  if (!loaded || document_.path().empty()) {
    Error("the book is not open");
    return false;
  }
  if (!flag) {
    Error(kSyncOff);
    return false;
  }
  folder_ = document_.cloudFolder();
  while (folder_.size() > 1 && folder_.back() == '/') folder_.pop_back();
  cache_ = document_.cacheFolder();
  upload_ = document_.uploadFolder();
  incoming_ = cache_ + "/incoming";
  std::string reason;
  if (cache_.empty() || upload_.empty() || !platform::MakeFolders(incoming_, &reason)) {
    Error("cannot make the cache folder: " + reason);
    return false;
  }
  // Half-written downloads of a run that was killed (the caller holds the book's lock, so no
  // other run is writing them).
  if (DIR* dir = ::opendir(incoming_.c_str())) {
    while (const dirent* d = ::readdir(dir)) {
      if (d->d_name[0] == '.' && std::strcmp(d->d_name, ".") != 0 &&
          std::strcmp(d->d_name, "..") != 0) {
        ::unlinkat(::dirfd(dir), d->d_name, 0);
      }
    }
    ::closedir(dir);
  }
  for (std::string& name : ReadNameList(cache_ + "/sync-seen")) seen_.insert(std::move(name));
  sent_ = ReadRevisions(cache_ + "/sync-sent");
  const nlohmann::json settings = Settings();
  if (auto it = settings.find(options_.revision_key); it != settings.end() && it->is_string()) {
    revision_ = it->get<std::string>();
  }
  // A copy's first run against this transport publishes what it made before it was linked.
  publish_main_ = revision_.empty();
  return true;
}

std::string Run::NewPartName(uint64_t after) const {
  for (uint64_t stamp = std::max(after + 1, ModStamp());; ++stamp) {
    const std::string name = std::to_string(id_) + "." + std::to_string(stamp);
    if (!Exists(cache_ + "/" + name) && !Exists(upload_ + "/" + name) && !sent_.count(name) &&
        !listed_.count(name)) {
      return name;
    }
  }
}

bool Run::SendPart(const std::string& queued) {
  std::string name = queued;
  for (int attempt = 0;; ++attempt) {
    std::string rev;
    const Status s = transport_.Upload(upload_ + "/" + name, folder_, name, false, rev);
    if (s.ok()) {
      // Recorded before it leaves the queue: a part is always queued, or known as sent.
      sent_[name] = rev;
      SaveSent();
      ::unlink((upload_ + "/" + name).c_str());
      report_.uploaded.push_back(name);
      return true;
    }
    if (s.failure != Failure::kConflict || attempt == 16) return Failed(s);
    // Another copy sent a part of the same name (their stamps fell in one second): this one
    // takes a new stamp, in the cache and in the queue, and never replaces theirs.
    uint64_t stamp = 0;
    ClassifyName(name, id_, &stamp);
    const std::string renamed = NewPartName(stamp);
    if (Exists(cache_ + "/" + name))
      MoveWithoutReplacing(cache_ + "/" + name, cache_ + "/" + renamed);
    if (sent_.erase(name) != 0) SaveSent();
    if (::rename((upload_ + "/" + name).c_str(), (upload_ + "/" + renamed).c_str()) != 0) {
      Error("cannot rename " + name + " for upload: " + std::strerror(errno));
      return true;
    }
    platform::LogLine("sync: " + name + " exists in the cloud folder, sending it as " + renamed);
    name = renamed;
  }
}

bool Run::Resend(const std::string& name, bool rename) {
  std::string send = name;
  if (rename) {
    uint64_t stamp = 0;
    ClassifyName(name, id_, &stamp);
    send = NewPartName(stamp);
    MoveWithoutReplacing(cache_ + "/" + name, cache_ + "/" + send);
    sent_.erase(name);
    SaveSent();
  }
  if (::link((cache_ + "/" + send).c_str(), (upload_ + "/" + send).c_str()) != 0 &&
      errno != EEXIST) {
    Error("cannot queue " + send + " again: " + std::strerror(errno));
    return true;
  }
  return SendPart(send);
}

bool Run::SendQueue() {
  std::vector<std::string> parts;
  for (const std::string& name : FilesIn(upload_)) {
    switch (ClassifyName(name, id_)) {
      case NameKind::kPart:
        parts.push_back(name);
        break;
      case NameKind::kMain:
        // A main file an earlier run could not send is stale by now: a fresh one replaces it.
        ::unlink((upload_ + "/main").c_str());
        publish_main_ = true;
        break;
      case NameKind::kOther:
        break;  // never sent
    }
  }
  SortByStamp(parts, id_);
  for (const std::string& name : parts) {
    if (!SendPart(name)) return false;
  }
  return true;
}

bool Run::ListFolder() {
  std::string cursor;
  std::vector<Entry> entries;
  for (int page = 0;; ++page) {
    Listing listing;
    const Status s = transport_.List(folder_, cursor, listing);
    if (!s.ok()) {
      if (page == 0 && s.failure == Failure::kNotFound) {
        // No folder yet: this copy makes it by sending its main file.
        have_listing_ = true;
        publish_main_ = true;
        return true;
      }
      Failed(s);
      return false;
    }
    for (Entry& e : listing.entries) entries.push_back(std::move(e));
    if (!listing.has_more) break;
    if (listing.cursor.empty() || listing.cursor == cursor || page == 100000) {
      Error("the listing of " + folder_ + " does not end");
      return false;
    }
    cursor = listing.cursor;
  }
  have_listing_ = true;
  for (const Entry& e : entries) {
    if (!e.is_file || !IsPlainName(e.name)) {
      if (IsPlainName(e.name)) report_.ignored.push_back(e.name);
      continue;
    }
    if (listed_.count(e.name)) continue;  // listed twice
    listed_[e.name] = e.rev;
    switch (ClassifyName(e.name, id_)) {
      case NameKind::kMain:
        saw_main_ = true;
        listed_main_rev_ = e.rev;
        break;
      case NameKind::kPart:
        listed_parts_.push_back(e.name);
        break;
      case NameKind::kOther:
        report_.ignored.push_back(e.name);
        break;
    }
  }
  SortByStamp(listed_parts_, id_);
  if (!saw_main_) publish_main_ = true;
  // A part this copy sent that the folder lost goes out again, and one that another copy's
  // part replaced (after a loss, under the same name) goes out under a new name. One pruned
  // from the cache is healed by the main file, which holds it.
  std::vector<std::pair<std::string, bool>> resend;
  for (const auto& [name, rev] : sent_) {
    auto it = listed_.find(name);
    if (it != listed_.end() && Sent(name, it->second)) continue;
    if (!Exists(cache_ + "/" + name)) {
      publish_main_ = true;
      continue;
    }
    resend.emplace_back(name, it != listed_.end());
  }
  for (const auto& [name, rename] : resend) {
    if (!Resend(name, rename)) return false;
  }
  return true;
}

void Run::Fetch() {
  // Main first: when its revision is new, or when this copy is about to publish its own (which
  // must hold what the folder's main holds).
  const std::string main = incoming_ + "/main";
  const std::string main_rev = incoming_ + "/main.rev";
  if (saw_main_ && (publish_main_ || listed_main_rev_ != revision_ || listed_main_rev_.empty())) {
    const std::vector<std::string> waiting = ReadNameList(main_rev);
    const bool have = Exists(main) && !waiting.empty() && waiting[0] == listed_main_rev_ &&
                      !listed_main_rev_.empty();
    if (!have) {
      ::unlink(main.c_str());
      ::unlink(main_rev.c_str());
      std::string rev;
      const std::string temp = incoming_ + "/.main.download";
      ::unlink(temp.c_str());
      Status s = transport_.Download(folder_, "main", temp, rev);
      // The revision goes beside the file before the file takes its name: a main file in
      // incoming/ always has its own revision next to it.
      if (s.ok() &&
          (!WriteNameList(main_rev, {rev}) || ::rename(temp.c_str(), main.c_str()) != 0)) {
        s = Status{Failure::kNetwork,
                   "cannot keep the downloaded main file: " + std::string(std::strerror(errno))};
      }
      ::unlink(temp.c_str());
      if (s.ok()) {
        report_.downloaded.push_back("main");
      } else {
        report_.main = "failed";
        if (!Failed(s)) return;
      }
    }
  } else if (saw_main_) {
    report_.main = "unchanged";
  }
  Revisions waiting = ReadRevisions(incoming_ + "/revs");
  for (const std::string& name : listed_parts_) {
    const std::string& listed_rev = listed_[name];
    if (seen_.count(Key(name, listed_rev)) || Sent(name, listed_rev) ||
        Exists(incoming_ + "/" + name)) {
      continue;
    }
    std::string rev;
    const Status s = transport_.Download(folder_, name, incoming_ + "/" + name, rev);
    if (s.ok()) {
      report_.downloaded.push_back(name);
      waiting[name] = rev;
      if (!WriteRevisions(incoming_ + "/revs", waiting)) {
        Error("cannot write the list of downloads");
      }
    } else if (s.failure != Failure::kNotFound && !Failed(s)) {
      return;  // no connection: the others wait for the next run
    } else if (s.failure == Failure::kNotFound) {
      Error(s.text);  // gone since the listing
    }
  }
}

void Run::Apply() {
  const std::string main = incoming_ + "/main";
  std::vector<std::string> parts;
  for (const std::string& name : FilesIn(incoming_)) {
    if (ClassifyName(name, id_) == NameKind::kPart) parts.push_back(name);
  }
  SortByStamp(parts, id_);
  const bool has_main = Exists(main);
  if (!has_main && parts.empty()) return;
  const std::vector<std::string> rev = ReadNameList(incoming_ + "/main.rev");
  const Revisions waiting = ReadRevisions(incoming_ + "/revs");
  int main_rc = 0;
  std::vector<std::pair<std::string, int>> results;
  document_.Sync([&] {
    Book& db = document_.database();
    if (has_main) main_rc = db.MergeFilePath(main);
    for (const std::string& name : parts) {
      results.emplace_back(name, db.ReadPart(incoming_ + "/" + name));
    }
  });
  if (has_main) {
    if (main_rc == 0) {
      main_merged_ = true;
      if (!rev.empty()) merged_rev_ = rev[0];
      report_.main = "merged";
    } else {
      report_.main = "failed";
      Error(main_rc == 3 ? kIdMismatch
                         : "the main file cannot be merged: " + decodeDBError(main_rc));
      // A main file that is no database at all holds nothing to keep: this copy's replaces it.
      // Another database's stays, as does one that could not be read here (-2).
      if (main_rc == kResultNotDatabase) damaged_main_ = true;
      // Fetched again by the next run, whose revision it still does not have.
      ::unlink(main.c_str());
      ::unlink((incoming_ + "/main.rev").c_str());
    }
  }
  for (const auto& [name, rc] : results) {
    // A part that cannot be applied stays seen: fetching it again would not change it.
    if (rc == 0) {
      report_.applied.push_back(name);
    } else {
      report_.ignored.push_back(name);
      platform::LogLine("sync: part " + name + " refused: " + decodeDBError(rc));
    }
    applied_parts_.push_back(name);
    auto it = waiting.find(name);
    applied_revs_.push_back(it != waiting.end() ? it->second : "");
  }
  if (main_merged_ || !report_.applied.empty()) document_.post(kUpdateDataNotification);
}

bool Run::SaveAndRecord() {
  if (main_merged_ || !applied_parts_.empty()) {
    std::string reason;
    const bool saved = options_.save ? options_.save(reason) : [&] {
      const SaveResult r = document_.saveToFile();
      reason = r.message;
      return r.ok();
    }();
    if (!saved) {
      // incoming/ keeps everything: the next run applies it again.
      Error("the book cannot be saved: " + reason);
      return false;
    }
  }
  // The book on disk holds the merges now: record them.
  for (size_t k = 0; k < applied_parts_.size(); ++k) {
    const std::string& name = applied_parts_[k];
    // Applied parts join the cache, from which a damaged book is restored; refused ones go.
    if (std::find(report_.ignored.begin(), report_.ignored.end(), name) != report_.ignored.end()) {
      ::unlink((incoming_ + "/" + name).c_str());
    } else {
      MoveWithoutReplacing(incoming_ + "/" + name, cache_ + "/" + name);
    }
    seen_.insert(Key(name, applied_revs_[k]));
  }
  if (!applied_parts_.empty()) {
    if (!WriteNameList(cache_ + "/sync-seen",
                       std::vector<std::string>(seen_.begin(), seen_.end()))) {
      Error("cannot write the list of parts seen");
    }
    ::unlink((incoming_ + "/revs").c_str());
  }
  if (main_merged_) {
    if (!merged_rev_.empty()) {
      revision_ = merged_rev_;
      SetSetting(options_.revision_key, revision_);
    }
    ::unlink((incoming_ + "/main").c_str());
    ::unlink((incoming_ + "/main.rev").c_str());
  }
  return true;
}

void Run::PublishMain() {
  if (!publish_main_) return;
  const std::string main = upload_ + "/main";
  int rc = 0;
  document_.Sync([&] { rc = document_.database().SaveFile(main); });
  if (rc != 0) {
    report_.main = "failed";
    Error("cannot write the main file: " + decodeDBError(rc));
    return;
  }
  std::string rev;
  const Status s = transport_.Upload(main, folder_, "main", true, rev);
  if (!s.ok()) {
    report_.main = "failed";
    Failed(s);
    ::unlink(main.c_str());  // the next run writes a fresh one
    return;
  }
  ::unlink(main.c_str());
  report_.uploaded.push_back("main");
  report_.main = "uploaded";
  revision_ = rev;
  SetSetting(options_.revision_key, rev);
  // The main file holds every part this copy sent: the ones the folder lost need no resending.
  const size_t before = sent_.size();
  std::erase_if(sent_, [&](const auto& sent) {
    auto it = listed_.find(sent.first);
    return (it == listed_.end() || !Sent(sent.first, it->second)) &&
           !Exists(cache_ + "/" + sent.first);
  });
  if (sent_.size() != before) SaveSent();
}

}  // namespace

RunReport RunSync(Document& document, Transport& transport, const RunOptions& options) {
  return Run(document, transport, options).Go();
}

std::vector<std::string> QueuedFiles(const std::string& book_path, uint64_t database_id) {
  if (book_path.empty()) return {};
  std::vector<std::string> names = FilesIn(platform::CacheFolderFor(book_path) + ".upload");
  std::erase_if(names, [&](const std::string& name) {
    return ClassifyName(name, database_id) == NameKind::kOther;
  });
  return names;
}

std::vector<std::string> ReadNameList(const std::string& path) {
  std::vector<std::string> names;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty()) names.push_back(line);
  }
  return names;
}

bool WriteNameList(const std::string& path, const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& n : names) text += n + "\n";
  return WriteFileAtomically(
      path, [&](IOutputStream& out) { return out.Write(text.data(), text.size()) == text.size(); });
}

}  // namespace vemra::sync
