// `sync`: keeps a book in step with its other copies through a cloud folder, once or watching;
// turns the book's cloud sync on or off and tells its state.
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <iostream>
#include <memory>
#include <thread>

#include "cli/book_session.h"
#include "core/records/dates.h"
#include "platform/log.h"
#include "platform/settings.h"
#include "platform/unicode.h"
#include "sync/auto_sync.h"
#include "sync/dropbox.h"
#include "sync/dropbox_login.h"
#include "sync/folder_transport.h"
#include "sync/sync_run.h"

namespace vemra::cli {
namespace {

constexpr std::string_view kSyncUsage =
    "usage: kestrum-cli sync FILE (--folder ROOT | --dropbox [--api-base URL])\n"
    "                        [--watch [--for SECONDS]] [--json]\n"
    "       kestrum-cli sync FILE --enable | --disable\n"
    "       kestrum-cli sync FILE --status [--json]\n"
    "\n"
    "Keeps FILE in step with its other copies through the cloud folder ROOT/NAME.sync (NAME: the\n"
    "file's name without its extension), a folder that a desktop sync tool or a network share\n"
    "keeps: sends the changes waiting in the upload queue, fetches the main file when it is new\n"
    "and the change files of other copies, merges them, saves the book, and publishes a fresh\n"
    "main file when the folder has none. With --dropbox the cloud folder is /NAME.sync in the\n"
    "Dropbox the book is linked to (kestrum-cli dropbox link); URL replaces the service's\n"
    "address (setting com.vemra.finance.mac.dropbox_api_base). With --watch it runs again\n"
    "whenever the folder changes (a folder is looked at every 5 seconds too; Dropbox is asked by\n"
    "long poll) or a change waits to be sent, until interrupted or for SECONDS.\n"
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

// Where a book syncs to: the transport, made once the book is open (a Dropbox book names its
// account), and the setting its main file's revision is kept under.
struct Target {
  std::function<std::unique_ptr<sync::Transport>(Document&, std::string& problem)> make;
  std::string revision_key;
  std::unique_ptr<sync::Transport> transport;
  std::string folder;    // the book's cloud folder, "/Home.sync"
  std::string path;      // the book
  uint64_t id = 0;       // its DatabaseID
  int wait_seconds = 5;  // how long one wait for a change lasts before the queue is looked at
};

// Opens the book (locked for the run only, so that other commands take turns with a watch),
// runs one sync and reports it. `password` is filled in from the first open.
int RunOnce(const std::string& path, std::string& password, bool have_password, Target& target,
            bool json, std::ostream& out, std::ostream& err) {
  Session session;
  if (int status = session.Open(path, have_password ? &password : nullptr, true, err);
      status != kExitOK) {
    return status;
  }
  Document& d = session.document();
  target.folder = d.cloudFolder();
  if (target.folder.size() > 1) target.folder.pop_back();  // the trailing "/"
  target.path = d.path();
  d.Sync([&] { target.id = d.database().Header.DatabaseID; });
  std::wstring admin = d.getAdminPassword();
  if (!admin.empty()) password = WideToUtf8Lossy(admin);
  bool flag = false;
  d.Sync([&] { flag = d.database().Header.Option1 != 0; });
  sync::RunReport report;
  if (!flag) {
    report.errors.push_back(sync::kSyncOff);
  } else {
    if (!target.transport) {
      std::string problem;
      target.transport = target.make(d, problem);
      if (!target.transport) return session.Finish(Refuse(err, problem), err);
    }
    sync::RunOptions options;
    options.revision_key = target.revision_key;
    report = sync::RunSync(d, *target.transport, options);
  }
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
    const std::string account = sync::StringMember(
        Json::parse(TextToUtf8(db.GetDatabaseText(3)), nullptr, false), "account");
    const uint64_t id = db.Header.DatabaseID;
    const std::vector<std::string> queue = sync::QueuedFiles(d.path(), id);
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
  if (!Parse(args, {"--folder", "--api-base", "--for", "--password"},
             {"--dropbox", "--watch", "--json"}, p, problem)) {
    return Usage(err, kSyncUsage, problem);
  }
  if (p.positional.size() != 1) return Usage(err, kSyncUsage, "give one FILE");
  const std::string* root = p.Last("--folder");
  if ((root == nullptr) == !p.Has("--dropbox")) {
    return Usage(err, kSyncUsage, "give either --folder ROOT or --dropbox");
  }
  if (p.Has("--api-base") && !p.Has("--dropbox")) {
    return Usage(err, kSyncUsage, "--api-base goes with --dropbox");
  }
  int64_t seconds = -1;
  if (const std::string* f = p.Last("--for")) {
    if (!p.Has("--watch")) return Usage(err, kSyncUsage, "--for goes with --watch");
    uint64_t value = 0;
    if (!ParseCount(*f, value) || value < 1 || value > 31 * 86400) {
      return Usage(err, kSyncUsage, "--for wants a number of seconds from 1 to 2678400");
    }
    seconds = static_cast<int64_t>(value);
  }
  const std::string& path = p.positional[0];
  Target target;
  if (root != nullptr) {
    if (!IsFolder(*root)) return Refuse(err, *root + ": no such folder");
    target.revision_key = sync::kFolderRevisionKey;
    target.make = [root = *root](Document&, std::string&) {
      return std::make_unique<sync::FolderTransport>(root);
    };
  } else {
    const std::string base = p.Last("--api-base") != nullptr ? *p.Last("--api-base") : "";
    if (!base.empty() && !sync::AcceptableBase(base, problem)) {
      return Usage(err, kSyncUsage, problem);
    }
    target.revision_key = sync::kDropboxRevisionKey;
    target.wait_seconds = 30;  // the shortest long poll the service takes
    target.make = [base, path](Document& d, std::string& why) {
      return sync::InitDropbox(d, path, base, why);
    };
  }
  std::string password = p.Last("--password") != nullptr ? *p.Last("--password") : "";
  bool have_password = p.Last("--password") != nullptr;
  const bool json = p.Has("--json");

  int result = RunOnce(path, password, have_password, target, json, out, err);
  if (!p.Has("--watch") || !target.transport) return result;
  if (!password.empty()) have_password = true;

  g_stop = false;
  struct sigaction action {
  }, old_int{}, old_term{};
  action.sa_handler = StopWatching;
  ::sigemptyset(&action.sa_mask);
  ::sigaction(SIGINT, &action, &old_int);
  ::sigaction(SIGTERM, &action, &old_term);
  bool stopped = false;  // by a signal
  const auto end = seconds < 0 ? std::chrono::steady_clock::time_point::max()
                               : std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  auto left = [&] {
    return std::chrono::duration_cast<std::chrono::seconds>(end - std::chrono::steady_clock::now())
        .count();
  };
  // A wait ends at a signal or when the time is up, whichever comes first.
  std::atomic<bool> stop_wait{false};
  std::thread timer([&] {
    while (!g_stop && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    stop_wait = true;
  });
  // Errors of the wait are retried after 1, 2, 4 … 60 s; a good answer starts again at 1.
  int pause = 1;
  while (!g_stop && left() >= 0 && std::chrono::steady_clock::now() < end) {
    bool changed = false;
    const sync::Status s = target.transport->Wait(
        target.folder, static_cast<int>(std::clamp<int64_t>(left() + 1, 1, target.wait_seconds)),
        &stop_wait, changed);
    if (g_stop || std::chrono::steady_clock::now() >= end) break;
    if (!s.ok() && s.failure != sync::Failure::kNotFound) {
      err << "kestrum-cli: " << s.text << "\n";
      for (int k = 0; k < pause * 10 && !g_stop && std::chrono::steady_clock::now() < end; ++k) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
      }
      pause = std::min(pause * 2, 60);
      continue;
    }
    pause = 1;
    if (changed || !sync::QueuedFiles(target.path, target.id).empty()) {
      result = RunOnce(path, password, have_password, target, json, out, err);
    }
  }
  stopped = g_stop;
  g_stop = true;  // ends the timer
  timer.join();
  ::sigaction(SIGINT, &old_int, nullptr);
  ::sigaction(SIGTERM, &old_term, nullptr);
  return stopped ? kExitOK : result;
}

namespace {

constexpr std::string_view kDropboxUsage =
    "usage: kestrum-cli dropbox login [--api-base URL]\n"
    "       kestrum-cli dropbox logout\n"
    "       kestrum-cli dropbox link FILE\n"
    "       kestrum-cli dropbox unlink FILE\n"
    "\n"
    "login lets Kestrum use your Dropbox: it prints an address to open in a browser, where you\n"
    "allow access and get a code to paste here. The tokens stay in this machine's\n"
    "$XDG_CONFIG_HOME/kestrum/dropbox.json, never in a book. logout forgets them.\n"
    "link makes FILE sync with the logged-in account's Dropbox (it records the account, not the\n"
    "token, and turns the book's cloud sync on); unlink removes the account from FILE.\n";

int Login(const Parsed& p, std::ostream& out, std::ostream& err) {
  std::string base = p.Last("--api-base") != nullptr ? *p.Last("--api-base") : "";
  std::string problem;
  if (base.empty())
    base = sync::StringMember(platform::Settings().Read(), sync::kDropboxApiBaseKey);
  if (!base.empty() && !sync::AcceptableBase(base, problem)) {
    return Usage(err, kDropboxUsage, problem);
  }
  const sync::DropboxHosts hosts = sync::DropboxHosts::WithBase(base);
  const std::string verifier = sync::NewVerifier();
  out << "Open this address, allow Kestrum, and paste the code it shows:\n"
      << sync::AuthorizeUrl(hosts, sync::Challenge(verifier)) << "\ncode: " << std::flush;
  std::string code;
  std::getline(std::cin, code);
  while (!code.empty() && std::isspace(static_cast<unsigned char>(code.back()))) code.pop_back();
  while (!code.empty() && std::isspace(static_cast<unsigned char>(code.front()))) code.erase(0, 1);
  if (code.empty()) return Refuse(err, "no code was pasted; nothing changed");
  sync::DropboxLogin login;
  login.api_base = base;
  if (const sync::Status s = sync::ExchangeCode(hosts, code, verifier, login); !s.ok()) {
    return Refuse(err, "Dropbox did not accept the code: " + s.text);
  }
  if (!sync::WriteLogin(login, problem)) return Refuse(err, "cannot keep the login: " + problem);
  out << "logged in as " << login.account << "\n";
  return kExitOK;
}

// Writes the account record into the book named by p and sets the cloud-sync flag (link), or
// clears the record (unlink).
int Link(const Args& args, bool link, std::ostream& out, std::ostream& err) {
  sync::DropboxLogin login;
  std::string problem;
  if (link && !sync::ReadLogin(login, problem)) return Refuse(err, problem);
  const Shape shape{kDropboxUsage, {}, {}, 1, 1, "give one FILE", AlwaysChanges};
  return RunBook(args, shape, out, err, [&](Parsed& p, Book& db, Session& session) -> int {
    const std::string record = link ? sync::AccountRecord(login.account, "") : "";
    std::wstring wide;
    Utf8ToWide(record, wide);
    if (db.GetDatabaseText(3) == wide && (!link || db.Header.Option1 != 0)) {
      out << p.positional[0] << (link ? " is linked to " + login.account : " is not linked")
          << " already\n";
      return kExitOK;
    }
    db.SetDatabaseText(3, wide);
    if (link && db.Header.Option1 == 0) {
      db.Header.Option1 = 1;
      db.Header.SettingsStamp = NewerStamp(db.Header.SettingsStamp);
    }
    if (int status = session.Save(err); status != kExitOK) return status;
    if (link) {
      out << p.positional[0] << " is linked to the Dropbox of " << login.account
          << "; cloud sync is on\n";
    } else {
      out << p.positional[0] << " is no longer linked to Dropbox\n";
    }
    return kExitOK;
  });
}

}  // namespace

int DropboxCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (WantsHelp(args)) return Help(out, kDropboxUsage);
  if (args.empty()) return Usage(err, kDropboxUsage, "give login, logout, link or unlink");
  const std::string& what = args[0];
  const Args rest(args.begin() + 1, args.end());
  if (what == "link" || what == "unlink") return Link(rest, what == "link", out, err);
  Parsed p;
  std::string problem;
  if (what == "login") {
    if (!Parse(rest, {"--api-base"}, {}, p, problem)) return Usage(err, kDropboxUsage, problem);
    if (!p.positional.empty()) return Usage(err, kDropboxUsage, "login takes no FILE");
    return Login(p, out, err);
  }
  if (what == "logout") {
    if (!rest.empty()) return Usage(err, kDropboxUsage, "logout takes nothing more");
    out << (sync::RemoveLogin() ? "logged out of Dropbox\n" : "not logged in\n");
    return kExitOK;
  }
  return Usage(err, kDropboxUsage, "unknown dropbox command '" + what + "'");
}

}  // namespace vemra::cli
