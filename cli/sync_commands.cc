// `sync`: keeps a book in step with its other copies through a cloud folder, once or watching;
// turns the book's cloud sync on or off and tells its state.
#include <dirent.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "cli/book_session.h"
#include "core/records/dates.h"
#include "platform/paths.h"
#include "platform/settings.h"
#include "platform/unicode.h"
#include "sync/folder_transport.h"
#include "sync/sync_run.h"

namespace vemra::cli {
namespace {

constexpr std::string_view kSyncUsage =
    "usage: kestrum-cli sync FILE --folder ROOT [--watch [--for SECONDS]] [--json]\n"
    "       kestrum-cli sync FILE --enable | --disable\n"
    "       kestrum-cli sync FILE --status [--json]\n"
    "\n"
    "Keeps FILE in step with its other copies through the cloud folder ROOT/NAME.sync (NAME: the\n"
    "file's name without its extension), a folder that a desktop sync tool or a network share\n"
    "keeps: sends the changes waiting in the upload queue, fetches the main file when it is new\n"
    "and the change files of other copies, merges them, saves the book, and publishes a fresh\n"
    "main file when the folder has none. With --watch it runs again whenever the folder changes\n"
    "(and every 5 seconds) until interrupted or for SECONDS.\n"
    "--enable and --disable set the book's cloud-sync flag, which travels with the book: while it\n"
    "is set, every change waits in the upload queue for the next run. --status shows the flag,\n"
    "the queue, the stored revision and the last sync.\n"
    "Exit 0 when every step succeeded; 1 when sync is off or a step failed (what was done stays).\n"
    "JSON (one line per run): {\"ok\", \"uploaded\", \"downloaded\", \"applied\", \"ignored\",\n"
    "\"errors\", \"main\": \"unchanged|merged|uploaded|failed|absent\"}.\n";

std::atomic<bool> g_stop{false};

extern "C" void StopWatching(int) {
  g_stop = true;
}

Json Names(const std::vector<std::string>& names) {
  Json list = Json::array();
  for (const std::string& n : names) list.push_back(n);
  return list;
}

void Print(const sync::RunReport& r, bool json, std::ostream& out, std::ostream& err) {
  if (json) {
    WriteJsonLine(out, {{"ok", r.ok},
                        {"uploaded", Names(r.uploaded)},
                        {"downloaded", Names(r.downloaded)},
                        {"applied", Names(r.applied)},
                        {"ignored", Names(r.ignored)},
                        {"errors", Names(r.errors)},
                        {"main", r.main}});
    out.flush();
    return;
  }
  out << "main " << r.main << "; " << r.uploaded.size() << " sent, " << r.downloaded.size()
      << " fetched, " << r.applied.size() << " applied\n";
  auto line = [&](const char* what, const std::vector<std::string>& names) {
    if (names.empty()) return;
    out << what << ":";
    for (const std::string& n : names) out << " " << n;
    out << "\n";
  };
  line("sent", r.uploaded);
  line("fetched", r.downloaded);
  line("ignored", r.ignored);
  out.flush();
  for (const std::string& e : r.errors) err << "kestrum-cli: " << e << "\n";
}

// Opens the book (locked for the run only, so that other commands take turns with a watch),
// runs one sync and reports it. `password` is filled in from the first open.
// `folder` gets the book's cloud folder.
int RunOnce(const std::string& path, std::string& password, bool have_password,
            sync::Transport& transport, bool json, std::string& folder, std::ostream& out,
            std::ostream& err) {
  Session session;
  if (int status = session.Open(path, have_password ? &password : nullptr, true, err);
      status != kExitOK) {
    return status;
  }
  Document& d = session.document();
  folder = d.cloudFolder();
  if (folder.size() > 1) folder.pop_back();  // the trailing "/"
  std::wstring admin = d.getAdminPassword();
  if (!admin.empty()) password = WideToUtf8Lossy(admin);
  const sync::RunReport report = sync::RunSync(d, transport);
  if (!json && !report.errors.empty() && report.errors.front() == sync::kSyncOff) {
    return session.Finish(
        Refuse(err, std::string(sync::kSyncOff) + ": turn it on with kestrum-cli sync " + path +
                        " --enable"),
        err);
  }
  Print(report, json, out, err);
  return session.Finish(report.ok ? kExitOK : kExitFailed, err);
}

bool IsFolder(const std::string& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

int Status(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{kSyncUsage, {}, {"--status", "--json"}, 1, 1, "give one FILE"};
  return RunBook(args, shape, out, err, [&](Parsed& p, Book& db, Session& session) -> int {
    Document& d = session.document();
    const bool flag = db.Header.Option1 != 0;
    std::string account;
    const Json record = Json::parse(TextToUtf8(db.GetDatabaseText(3)), nullptr, false);
    if (record.is_object() && record.contains("account") && record["account"].is_string()) {
      account = record["account"].get<std::string>();
    }
    const uint64_t id = db.Header.DatabaseID;
    std::vector<std::string> queue;
    const std::string upload =
        d.path().empty() ? "" : platform::CacheFolderFor(d.path()) + ".upload";
    if (DIR* dir = upload.empty() ? nullptr : ::opendir(upload.c_str())) {
      while (const dirent* e = ::readdir(dir)) {
        if (sync::ClassifyName(e->d_name, id) != sync::NameKind::kOther)
          queue.emplace_back(e->d_name);
      }
      ::closedir(dir);
    }
    std::sort(queue.begin(), queue.end());
    const Json settings = platform::Settings().DatabaseSettings(id);
    auto setting = [&](const char* key) {
      auto it = settings.find(key);
      return it != settings.end() && it->is_string() ? it->get<std::string>() : std::string();
    };
    if (p.Has("--json")) {
      WriteJsonLine(out, {{"enabled", flag},
                          {"account", account},
                          {"queue", Names(queue)},
                          {"folder_revision", setting(sync::kFolderRevisionKey)},
                          {"dropbox_revision", setting(sync::kDropboxRevisionKey)},
                          {"last_sync", setting(sync::kLastSyncDateKey)},
                          {"cloud_folder", d.cloudFolder()}});
      return kExitOK;
    }
    out << "cloud sync: " << (flag ? "on" : "off") << "\n";
    out << "cloud folder: " << d.cloudFolder() << "\n";
    if (!account.empty()) out << "account: " << account << "\n";
    out << "waiting to be sent: " << queue.size() << "\n";
    for (const std::string& name : queue) out << "  " << name << "\n";
    const std::string folder_rev = setting(sync::kFolderRevisionKey);
    const std::string dropbox_rev = setting(sync::kDropboxRevisionKey);
    if (!folder_rev.empty()) out << "main revision (folder): " << folder_rev << "\n";
    if (!dropbox_rev.empty()) out << "main revision (Dropbox): " << dropbox_rev << "\n";
    const std::string last = setting(sync::kLastSyncDateKey);
    out << "last sync: " << (last.empty() ? "never" : last) << "\n";
    return kExitOK;
  });
}

int Switch(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{kSyncUsage,      {},           {"--enable", "--disable"}, 1, 1,
                    "give one FILE", AlwaysChanges};
  return RunBook(args, shape, out, err, [&](Parsed& p, Book& db, Session& session) -> int {
    const uint8_t want = p.Has("--enable") ? 1 : 0;
    if (db.Header.Option1 == want) {
      out << "cloud sync is " << (want ? "on" : "off") << " already\n";
      return kExitOK;
    }
    db.Header.Option1 = want;
    // The flag travels to the other copies with the book's settings.
    db.Header.SettingsStamp = NewerStamp(db.Header.SettingsStamp);
    if (int status = session.Save(err); status != kExitOK) return status;
    out << "cloud sync is " << (want ? "on" : "off") << "\n";
    return kExitOK;
  });
}

}  // namespace

int SyncCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (WantsHelp(args)) return Help(out, kSyncUsage);
  auto has = [&](std::string_view word) {
    return std::find(args.begin(), args.end(), word) != args.end();
  };
  const bool status = has("--status");
  const bool enable = has("--enable"), disable = has("--disable");
  if (status + enable + disable + has("--folder") > 1) {
    return Usage(err, kSyncUsage, "give one of --folder, --enable, --disable and --status");
  }
  if (status) return Status(args, out, err);
  if (enable || disable) return Switch(args, out, err);

  Parsed p;
  std::string problem;
  if (!Parse(args, {"--folder", "--for", "--password"}, {"--watch", "--json"}, p, problem)) {
    return Usage(err, kSyncUsage, problem);
  }
  if (p.positional.size() != 1) return Usage(err, kSyncUsage, "give one FILE");
  const std::string* root = p.Last("--folder");
  if (root == nullptr) return Usage(err, kSyncUsage, "give --folder ROOT");
  int64_t seconds = -1;
  if (const std::string* f = p.Last("--for")) {
    if (!p.Has("--watch")) return Usage(err, kSyncUsage, "--for goes with --watch");
    uint64_t value = 0;
    if (!ParseCount(*f, value) || value < 1 || value > 31 * 86400) {
      return Usage(err, kSyncUsage, "--for wants a number of seconds from 1 to 2678400");
    }
    seconds = static_cast<int64_t>(value);
  }
  if (!IsFolder(*root)) return Refuse(err, *root + ": no such folder");
  const std::string& path = p.positional[0];
  sync::FolderTransport transport(*root);
  std::string password = p.Last("--password") != nullptr ? *p.Last("--password") : "";
  bool have_password = p.Last("--password") != nullptr;
  const bool json = p.Has("--json");

  std::string folder;
  int result = RunOnce(path, password, have_password, transport, json, folder, out, err);
  if (!p.Has("--watch")) return result;
  if (!password.empty()) have_password = true;

  g_stop = false;
  struct sigaction action {
  }, old_int{}, old_term{};
  action.sa_handler = StopWatching;
  ::sigemptyset(&action.sa_mask);
  ::sigaction(SIGINT, &action, &old_int);
  ::sigaction(SIGTERM, &action, &old_term);
  const auto end = seconds < 0 ? std::chrono::steady_clock::time_point::max()
                               : std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (!g_stop && std::chrono::steady_clock::now() < end) {
    const auto left =
        std::chrono::duration_cast<std::chrono::seconds>(end - std::chrono::steady_clock::now());
    bool changed = false;
    sync::Status s = transport.Wait(
        folder, static_cast<int>(std::min<int64_t>(5, left.count() + 1)), &g_stop, changed);
    if (g_stop || std::chrono::steady_clock::now() >= end) break;
    if (!s.ok() && s.failure != sync::Failure::kNotFound) {
      std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    result = RunOnce(path, password, have_password, transport, json, folder, out, err);
  }
  ::sigaction(SIGINT, &old_int, nullptr);
  ::sigaction(SIGTERM, &old_term, nullptr);
  return g_stop ? kExitOK : result;
}

}  // namespace vemra::cli
