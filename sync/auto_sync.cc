#include "sync/auto_sync.h"

#include <atomic>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>
#include <vector>

#include "platform/log.h"
#include "platform/settings.h"
#include "platform/unicode.h"
#include "sync/dropbox.h"
#include "sync/dropbox_login.h"

namespace vemra::sync {
namespace {

using Json = nlohmann::json;

// The process's automatic sync: the threads it started and the flag that ends them.
struct State {
  std::mutex mutex;
  std::vector<std::thread> threads;
  std::vector<std::shared_ptr<Transport>> transports;  // to cancel at a stop
  bool loop_running = false;
  std::shared_ptr<std::atomic<bool>> stop = std::make_shared<std::atomic<bool>>(false);
};

State& Global() {
  static State* state = new State;  // never destroyed: threads may outlive static destruction
  return *state;
}

// Sleeps up to `delay`; false when `stop` was set meanwhile.
bool Sleep(std::chrono::milliseconds delay, const std::atomic<bool>& stop) {
  const auto end = std::chrono::steady_clock::now() + delay;
  while (std::chrono::steady_clock::now() < end) {
    if (stop) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return !stop;
}

bool FlagSet(Document& d) {
  bool flag = false;
  d.Sync([&] { flag = d.database().Loaded && d.database().Header.Option1 != 0; });
  return flag;
}

}  // namespace

std::unique_ptr<Transport> InitDropbox(Document& d, const std::string& path,
                                       const std::string& base_option, std::string& problem) {
  std::wstring text;
  d.Sync([&] { text = d.database().GetDatabaseText(3); });
  Json record = Json::parse(WideToUtf8Lossy(text), nullptr, false);
  if (!record.is_object()) record = Json::object();
  const std::string account = StringMember(record, "account");
  const std::string token = StringMember(record, "token");
  if (account.empty() && token.empty()) {
    problem = path + " is not linked to Dropbox: run kestrum-cli dropbox link " + path;
    return nullptr;
  }
  DropboxLogin login;
  std::string no_login;
  const bool logged_in = ReadLogin(login, no_login);
  std::string base = base_option;
  if (base.empty()) {
    const Json settings = platform::Settings().Read();
    base = StringMember(settings, kDropboxApiBaseKey, logged_in ? login.api_base : "");
  }
  if (!base.empty() && !AcceptableBase(base, problem)) return nullptr;
  const DropboxHosts hosts = DropboxHosts::WithBase(base);
  if (!token.empty()) {
    auto client = std::make_unique<DropboxTransport>(hosts, token);
    if (account.empty()) {
      std::string email;
      const Status s = client->CurrentAccount(email);
      if (s.ok()) {
        const std::string linked = AccountRecord(email, token);
        std::wstring wide;
        Utf8ToWide(linked, wide);
        d.Sync([&] { d.database().SetDatabaseText(3, wide); });
        platform::LogLine("Dropbox new token: " + linked);
        if (!d.saveToFile().ok()) platform::LogLine("Dropbox: the account could not be saved");
      } else {
        platform::LogLine("Dropbox request account error: " + s.text);
      }
    }
    return client;
  }
  if (!logged_in) {
    problem = no_login;
    return nullptr;
  }
  if (login.account != account) {
    problem = path + " is linked to the Dropbox account " + account +
              ", but this machine is logged in as " + login.account +
              ": run kestrum-cli dropbox login";
    return nullptr;
  }
  // An expired token is refreshed and kept for the next process.
  auto refresh = [hosts, login]() mutable {
    std::string why;
    if (!RefreshAccessToken(hosts, login).ok() || !WriteLogin(login, why)) return std::string();
    return login.access_token;
  };
  return std::make_unique<DropboxTransport>(hosts, login.access_token, refresh);
}

bool AutomaticSync::Start(Document& document, std::unique_ptr<Transport> transport,
                          RunOptions options, Report report, std::chrono::milliseconds delay) {
  if (!transport || !FlagSet(document)) return false;
  State& g = Global();
  std::lock_guard<std::mutex> lock(g.mutex);
  const bool loop = !g.loop_running;
  if (loop) {
    platform::LogLine("Dropbox: longPool start");
    g.loop_running = true;
  }
  std::shared_ptr<std::atomic<bool>> stop = g.stop;
  const std::shared_ptr<Transport> shared(std::move(transport));
  document.setAutomaticSyncStopper([] { Stop(); });
  g.transports.push_back(shared);
  g.threads.emplace_back([&document, shared, options, report, delay, loop, stop] {
    auto run = [&] {
      RunReport r = RunSync(document, *shared, options);
      if (report) report(r);
    };
    run();
    if (!loop) return;
    const std::string folder = [&] {
      std::string f = document.cloudFolder();
      if (f.size() > 1) f.pop_back();
      return f;
    }();
    int pause = 1;
    if (Sleep(delay, *stop)) {
      while (!*stop && FlagSet(document)) {
        platform::LogLine("Dropbox: longPool run");
        bool changed = false;
        const Status s = shared->Wait(folder, 30, stop.get(), changed);
        if (*stop) break;
        if (!s.ok()) {
          if (s.failure == Failure::kUnauthorized) break;  // no point asking again
          if (!Sleep(std::chrono::seconds(pause), *stop)) break;
          pause = std::min(pause * 2, 60);
          continue;
        }
        pause = 1;
        if (changed) run();
      }
    }
    std::lock_guard<std::mutex> done(Global().mutex);
    Global().loop_running = false;
  });
  return true;
}

void AutomaticSync::Stop() {
  State& g = Global();
  std::vector<std::thread> threads;
  {
    std::lock_guard<std::mutex> lock(g.mutex);
    if (g.threads.empty()) return;
    platform::LogLine("Dropbox: longPool stop");
    *g.stop = true;
    for (const auto& t : g.transports) t->Cancel();
    g.transports.clear();
    threads.swap(g.threads);
  }
  for (std::thread& t : threads) {
    if (t.get_id() != std::this_thread::get_id())
      t.join();
    else
      t.detach();
  }
  std::lock_guard<std::mutex> lock(g.mutex);
  g.stop = std::make_shared<std::atomic<bool>>(false);
  g.loop_running = false;
}

bool AutomaticSync::Running() {
  std::lock_guard<std::mutex> lock(Global().mutex);
  return Global().loop_running;
}

}  // namespace vemra::sync
