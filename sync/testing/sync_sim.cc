#include "sync/testing/sync_sim.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <vector>

#include "core/database/testing/convergence_sim.h"
#include "core/records/dates.h"
#include "core/records/transaction.h"
#include "document/document.h"
#include "platform/clock.h"
#include "platform/log.h"
#include "platform/settings.h"
#include "sync/folder_transport.h"
#include "sync/sync_run.h"

namespace vemra::testing {
namespace {

namespace fs = std::filesystem;
constexpr int kCopies = 3;
constexpr int kSteps = 36;
constexpr uint32_t kTransactions = 1;  // the table of transactions

// Thrown by the transport where the simulated process dies.
struct Killed {};

std::string Join(const std::string& what, const std::vector<std::string>& names) {
  if (names.empty()) return "";
  std::string s = what;
  for (const std::string& n : names) s += " " + n.substr(n.find('.') + 1);
  return s;
}

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteAll(const std::string& path, const std::string& bytes) {
  const size_t slash = path.find_last_of('/');
  const std::string temp = path.substr(0, slash + 1) + "." + path.substr(slash + 1) + ".sim";
  std::ofstream(temp, std::ios::binary) << bytes;
  fs::rename(temp, path);
}

// The cloud folder as a careless network and a crashing process see it.
class FaultyTransport : public sync::Transport {
 public:
  FaultyTransport(SimulatedCloud& cloud, std::mt19937_64& rng, SyncSimulationResult& result,
                  std::ostream* trace)
      : inner_(*cloud.transport), cloud_(cloud), rng_(rng), result_(result), trace_(trace) {}

  bool faults = true;

  sync::Status List(const std::string& folder, const std::string& cursor,
                    sync::Listing& out) override {
    if (Chance(0.05)) return Fail("list");
    sync::Status s = inner_.List(folder, cursor, out);
    if (!s.ok() || !faults) return s;
    std::vector<sync::Entry> shown;
    for (sync::Entry& e : out.entries) {
      if (e.name != "main" && Chance(0.2)) continue;             // late: not listed yet
      if (e.name != "main" && Chance(0.05)) shown.push_back(e);  // listed twice
      shown.push_back(std::move(e));
    }
    out.entries = std::move(shown);
    return s;
  }

  sync::Status Download(const std::string& folder, const std::string& name,
                        const std::string& destination, std::string& rev) override {
    if (Chance(0.05)) return Fail("download " + name);
    if (name == "main" && faults && !mains_.empty() && Chance(0.1)) {
      Note("main replaced by an older one before its download");
      cloud_.write("main", mains_[rng_() % mains_.size()]);
    } else if (name == "main" && faults && Chance(0.04)) {
      Note("main deleted before its download");
      cloud_.remove("main");
    }
    if (Chance(0.03)) Kill(destination);
    sync::Status s = inner_.Download(folder, name, destination, rev);
    if (s.ok() && Chance(0.02)) Kill(destination);
    return s;
  }

  sync::Status Upload(const std::string& source, const std::string& folder, const std::string& name,
                      bool overwrite, std::string& rev) override {
    if (Chance(0.05)) return Fail("upload " + name);
    if (Chance(0.03)) KillInCloud(name);
    sync::Status s = inner_.Upload(source, folder, name, overwrite, rev);
    if (std::string bytes; s.ok() && name == "main" && cloud_.read("main", bytes)) {
      mains_.push_back(bytes);
    }
    if (s.ok() && Chance(0.05)) return Fail("reply to the upload of " + name);  // stored, lost
    if (s.ok() && Chance(0.02)) KillInCloud(name);
    return s;
  }

  sync::Status Wait(const std::string& folder, int seconds, const std::atomic<bool>* cancel,
                    bool& changed) override {
    return inner_.Wait(folder, seconds, cancel, changed);
  }

 private:
  bool Chance(double p) { return faults && std::uniform_real_distribution<double>(0, 1)(rng_) < p; }
  void Note(const std::string& what) {
    ++result_.faults;
    if (trace_ != nullptr) *trace_ << "  fault: " << what << "\n";
  }
  sync::Status Fail(const std::string& what) {
    Note(what + " failed");
    return sync::Status{sync::Failure::kNetwork, what + ": connection reset"};
  }
  // Dies in the middle of an upload: the service may keep a writer's temporary file.
  [[noreturn]] void KillInCloud(const std::string& name) {
    cloud_.write("." + name + ".killed" + std::to_string(rng_() % 1000), "half");
    Note("killed while sending " + name);
    throw Killed{};
  }
  // Dies in the middle of writing next to `path`: a writer's half-written temporary file stays.
  [[noreturn]] void Kill(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    const std::string temp = path.substr(0, slash + 1) + "." + path.substr(slash + 1) + ".killed" +
                             std::to_string(rng_() % 1000);
    std::ofstream(temp, std::ios::binary) << "half";
    Note("killed while writing " + path);
    throw Killed{};
  }

  sync::Transport& inner_;
  SimulatedCloud& cloud_;
  std::mt19937_64& rng_;
  SyncSimulationResult& result_;
  std::ostream* trace_;
  std::vector<std::string> mains_;  // every main file that was in the folder
};

class Simulation {
 public:
  Simulation(uint64_t seed, const std::string& folder, SimulatedCloud& cloud, std::ostream* trace)
      : rng_(seed), folder_(folder), trace_(trace), cloud_(cloud) {
    transport_ = std::make_unique<FaultyTransport>(cloud_, rng_, result_, trace_);
  }

  SyncSimulationResult Run();

 private:
  struct Copy {
    std::string path;
    std::unique_ptr<platform::Settings> settings;
    std::unique_ptr<Document> document;
  };

  Document& Open(int c);
  void Action(int c);
  sync::RunReport SyncCopy(int c);
  void Trace(const std::string& line) {
    if (trace_ != nullptr) *trace_ << line << "\n";
  }
  bool Check();

  std::mt19937_64 rng_;
  std::string folder_;
  std::ostream* trace_;
  SyncSimulationResult result_;
  SimulatedCloud& cloud_;
  std::unique_ptr<FaultyTransport> transport_;
  std::array<Copy, kCopies> copies_;
  int64_t now_ = 20000LL * 86400 + 9 * 3600;
  std::map<uint64_t, uint64_t> newest_;  // ID -> the newest change stamp made to it
};

Document& Simulation::Open(int c) {
  Copy& copy = copies_[c];
  if (!copy.document) {
    copy.document = std::make_unique<Document>();
    if (copy.document->readFile(copy.path) != 0)
      throw std::runtime_error("cannot read " + copy.path);
    copy.document->setCurrentUser(0);
  }
  return *copy.document;
}

void Simulation::Action(int c) {
  Document& d = Open(c);
  const int kind = static_cast<int>(rng_() % 10);
  const double amount = static_cast<double>(1 + rng_() % 99900) / 100;
  uint64_t id = 0;
  std::string what;
  d.initUndo(kind < 5 ? 2 : kind < 8 ? 3 : 4);
  d.Sync([&] {
    Book& db = d.database();
    const auto& table = db.GetTable(kTransactions);
    if (kind < 5 || table.empty()) {
      TTransaction t;
      t.Data.Date = TodayADate();
      t.Data.Cleared = 1;
      t.Data.WithdrawAccountID = db.UserSettings.DefaultAccountID;
      t.Data.WithdrawAmount = amount;
      id = db.Transactions().AddTransaction(t, TSchedule());
      what = "add";
      return;
    }
    auto it = table.begin();
    std::advance(it, static_cast<long>(rng_() % table.size()));
    id = it->first;
    if (kind < 8) {
      TTransaction t = db.Transactions().GetTransaction(id);
      t.Data.WithdrawAmount = amount;
      db.Transactions().UpdateTransaction(t, db.Transactions().GetSchedule(id));
      what = "edit";
    } else {
      db.Transactions().DeleteTransaction(id);
      what = "delete";
    }
  });
  if (!d.saveToFile().ok()) throw std::runtime_error("cannot save " + copies_[c].path);
  d.writeAutosyncData();
  d.flushJournal();
  d.Sync([&] {
    Book& db = d.database();
    uint64_t stamp = 0;
    if (const TBaseEntry* e = db.FindEntry(id, kTransactions)) {
      stamp = e->Header.LastModDate;
    } else if (auto m = db.DeletedHeaders().find(id); m != db.DeletedHeaders().end()) {
      stamp = m->second.LastModDate;
    }
    newest_[id] = std::max(newest_[id], stamp);
  });
  ++result_.actions;
  Trace("copy " + std::to_string(c) + " " + what + " " + std::to_string(id));
}

sync::RunReport Simulation::SyncCopy(int c) {
  Document& d = Open(c);
  sync::RunOptions options;
  options.settings = copies_[c].settings.get();
  ++result_.runs;
  try {
    sync::RunReport r = sync::RunSync(d, *transport_, options);
    Trace("copy " + std::to_string(c) + " sync: main " + r.main + ", " +
          std::to_string(r.uploaded.size()) + " up, " + std::to_string(r.downloaded.size()) +
          " down, " + std::to_string(r.applied.size()) + " applied, " +
          std::to_string(r.errors.size()) + " errors" + Join(" up:", r.uploaded) +
          Join(" down:", r.downloaded) + Join(" ignored:", r.ignored));
    return r;
  } catch (const Killed&) {
    // The process is gone: what it had not saved is lost, its files stay as they are.
    ++result_.kills;
    copies_[c].document.reset();
    Trace("copy " + std::to_string(c) + " killed");
    sync::RunReport r;
    r.errors.push_back("killed");
    return r;
  }
}

SyncSimulationResult Simulation::Run() {
  platform::ScopedClockPin pin(now_);
  for (int c = 0; c < kCopies; ++c) {
    copies_[c].path = folder_ + "/copy" + std::to_string(c) + "/Home.kestrum";
    fs::create_directories(folder_ + "/copy" + std::to_string(c));
    copies_[c].settings =
        std::make_unique<platform::Settings>(folder_ + "/settings" + std::to_string(c));
  }
  {
    // One book, cloud sync on, copied to three places before any change.
    Document d;
    d.New("en");
    d.Sync([&] {
      d.database().Header.Option1 = 1;
      d.database().Header.SettingsStamp = NewerStamp(d.database().Header.SettingsStamp);
    });
    if (!d.saveToFile(copies_[0].path).ok()) throw std::runtime_error("cannot save the book");
  }
  for (int c = 1; c < kCopies; ++c) fs::copy_file(copies_[0].path, copies_[c].path);

  for (int step = 0; step < kSteps; ++step) {
    now_ += static_cast<int64_t>(rng_() % 3);  // often within one second: stamps collide
    platform::PinClock(now_);
    const int c = static_cast<int>(rng_() % kCopies);
    const int what = static_cast<int>(rng_() % 20);
    if (what < 9) {
      Action(c);
    } else if (what < 18) {
      SyncCopy(c);
    } else if (what == 18) {
      copies_[c].document.reset();  // the app quits and starts again
      Trace("copy " + std::to_string(c) + " restarted");
    } else {
      // The cloud loses a part file.
      std::vector<std::string> parts;
      for (const std::string& name : cloud_.names()) {
        if (name != "main" && name[0] != '.') parts.push_back(name);
      }
      if (!parts.empty()) {
        const std::string victim = parts[rng_() % parts.size()];
        Trace("cloud loses " + victim);
        cloud_.remove(victim);
        ++result_.faults;
      }
    }
  }

  transport_->faults = false;
  Trace("quiescence");
  for (int round = 0; round < 8; ++round) {
    now_ += 5;
    platform::PinClock(now_);
    bool quiet = true;
    for (int c = 0; c < kCopies; ++c) {
      const sync::RunReport r = SyncCopy(c);
      if (!r.ok) {
        result_.failure = "copy " + std::to_string(c) + " fails at quiescence: " +
                          (r.errors.empty() ? std::string("?") : r.errors.front());
        return result_;
      }
      quiet = quiet && r.uploaded.empty() && r.downloaded.empty();
    }
    if (quiet) {
      result_.converged = Check();
      return result_;
    }
  }
  result_.failure = "the copies still send or fetch after 8 quiet rounds";
  return result_;
}

bool Simulation::Check() {
  std::array<std::string, kCopies> snapshots;
  for (int c = 0; c < kCopies; ++c) {
    Document& d = Open(c);
    d.Sync([&] { snapshots[c] = BookSnapshot(d.database()); });
  }
  for (int c = 1; c < kCopies; ++c) {
    if (snapshots[c] == snapshots[0]) continue;
    // The lines that only one of the two holds, shortened to what names them.
    auto lines = [](const std::string& text) {
      std::set<std::string> set;
      std::istringstream in(text);
      for (std::string line; std::getline(in, line);) set.insert(line);
      return set;
    };
    const std::set<std::string> first = lines(snapshots[0]), other = lines(snapshots[c]);
    std::string only;
    for (const std::string& l : first)
      if (!other.count(l)) only += "\n  copy 0 only: " + l.substr(0, 60);
    for (const std::string& l : other)
      if (!first.count(l)) only += "\n  copy " + std::to_string(c) + " only: " + l.substr(0, 60);
    result_.failure = "copy " + std::to_string(c) + " differs from copy 0:" + only;
    return false;
  }
  Document& d = Open(0);
  d.Sync([&] {
    Book& db = d.database();
    for (const auto& [id, stamp] : newest_) {
      uint64_t held = 0;
      if (const TBaseEntry* e = db.FindEntry(id, kTransactions)) {
        held = e->Header.LastModDate;
      } else if (auto m = db.DeletedHeaders().find(id); m != db.DeletedHeaders().end()) {
        held = m->second.LastModDate;
      }
      if (held != stamp && result_.failure.empty()) {
        result_.failure = "transaction " + std::to_string(id) + " holds the change of " +
                          std::to_string(held) + ", not the newest, " + std::to_string(stamp);
      }
    }
  });
  return result_.failure.empty();
}

}  // namespace

uint64_t AddExpense(Document& d, double amount, bool save) {
  d.initUndo(2);
  uint64_t id = 0;
  d.Sync([&] {
    TTransaction t;
    t.Data.Date = TodayADate();
    t.Data.Cleared = 1;
    t.Data.WithdrawAccountID = d.database().UserSettings.DefaultAccountID;
    t.Data.WithdrawAmount = amount;
    id = d.database().Transactions().AddTransaction(t, TSchedule());
  });
  if (save && !d.saveToFile().ok()) return 0;
  d.writeAutosyncData();
  d.flushJournal();
  return id;
}

SimulatedCloud FolderCloud(const std::string& root) {
  const std::string folder = root + "/Home.sync";
  SimulatedCloud cloud;
  cloud.transport = std::make_unique<sync::FolderTransport>(root);
  cloud.names = [folder] {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(folder, ec)) names.push_back(e.path().filename());
    return names;
  };
  cloud.read = [folder](const std::string& name, std::string& bytes) {
    if (!fs::exists(folder + "/" + name)) return false;
    bytes = ReadAll(folder + "/" + name);
    return true;
  };
  cloud.write = [folder](const std::string& name, const std::string& bytes) {
    fs::create_directories(folder);
    WriteAll(folder + "/" + name, bytes);
  };
  cloud.remove = [folder](const std::string& name) { fs::remove(folder + "/" + name); };
  return cloud;
}

SyncSimulationResult RunSyncSimulation(uint64_t seed, const std::string& folder,
                                       SimulatedCloud* cloud, std::ostream* trace) {
  const char* old_cache = std::getenv("XDG_CACHE_HOME");
  const std::string saved_cache = old_cache != nullptr ? old_cache : "";
  ::setenv("XDG_CACHE_HOME", (folder + "/cache").c_str(), 1);
  std::FILE* quiet = std::fopen("/dev/null", "w");
  std::FILE* previous_log = platform::SetLogOutput(quiet);
  SyncSimulationResult result;
  try {
    SimulatedCloud local;
    if (cloud == nullptr) {
      fs::create_directories(folder + "/cloud");
      local = FolderCloud(folder + "/cloud");
      cloud = &local;
    }
    result = Simulation(seed, folder, *cloud, trace).Run();
  } catch (const std::exception& e) {
    result.failure = e.what();
  }
  platform::SetLogOutput(previous_log);
  std::fclose(quiet);
  if (old_cache != nullptr) {
    ::setenv("XDG_CACHE_HOME", saved_cache.c_str(), 1);
  } else {
    ::unsetenv("XDG_CACHE_HOME");
  }
  return result;
}

}  // namespace vemra::testing
