#include "core/database/testing/convergence_sim.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <vector>

#include "core/database/database.h"
#include "core/records/account.h"
#include "core/records/currency.h"
#include "core/records/entry_factory.h"
#include "core/records/scheduled_transaction.h"
#include "core/records/split.h"
#include "core/records/transaction.h"
#include "core/streams/atomic_file.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
#include "platform/clock.h"
#include "platform/log.h"

namespace vemra::testing {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

constexpr int kCopies = 3;
constexpr int64_t kDay = 86400;
constexpr int32_t kFirstDay = 20000;  // 2024-10-04
// Skew of each copy's clock against simulated time: one far behind, one a little ahead.
constexpr std::array<int64_t, kCopies> kSkew = {0, -5 * 3600, 7 * 60};
// Scheduled transactions carry amounts of 1000 x (their number) and up; user edits stay below
// 1000, so the occurrences of a schedule are told by their amount.
constexpr double kScheduleAmount = 1000;

std::unique_ptr<InputStream> Input(const Bytes& bytes) {
  OutputStream out;
  out.Write(bytes.data(), bytes.size());
  auto in = std::make_unique<InputStream>();
  in->AttachMemory(out);
  return in;
}

}  // namespace

std::string BookSnapshot(DataBase& db) {
  std::ostringstream s;
  const TDBHeader& h = db.Header;
  s << "header " << h.DatabaseID << " " << h.SettingsStamp << " " << int{h.Option0} << " "
    << int{h.Option1} << " " << int{h.Option2} << " " << int{h.Option3} << " "
    << h.UserSettings.DefaultCurrencyID << " " << int{h.PasswordLength} << " " << h.PasswordStamp
    << "\n";
  for (const auto& [id, stamp] : db.DatabaseTexts) s << "text " << id << " " << stamp << "\n";
  for (uint32_t t = 0; t < kTableCount; ++t) {
    for (const auto& [id, e] : db.GetTable(t)) {
      OutputStream out;
      WriteRecord(*e, out);
      s << "record " << t << " " << id;
      for (uint8_t b : out.MemoryData()) s << ' ' << int{b};
      s << "\n";
    }
  }
  for (const auto& [id, marker] : db.DeletedHeaders()) {
    s << "marker " << id << " " << marker.LastModDate << " " << marker.SecondaryType << "\n";
  }
  return s.str();
}

namespace {

// The newest change of one ID made by a user action in any copy.
struct Newest {
  uint64_t stamp = 0;
  bool deleted = false;
};

class Simulation {
 public:
  Simulation(uint64_t seed, std::ostream* trace)
      : rng_(seed),
        trace_(trace),
        seed_(seed),
        scoped_ops_(no_sync_),
        log_(platform::SetLogOutput(nullptr)),
        dir_(fs::temp_directory_path() /
             ("kestrum-sim-" + std::to_string(::getpid()) + "-" + std::to_string(seed))) {
    fs::create_directories(dir_);
    was_pinned_ = platform::IsClockPinned(pinned_seconds_, pinned_ticks_);
  }
  ~Simulation() {
    platform::SetLogOutput(log_);
    fs::remove_all(dir_);
    if (was_pinned_) {
      platform::PinClock(pinned_seconds_, pinned_ticks_);
    } else {
      platform::UnpinClock();
    }
  }

  SimulationResult Run();

 private:
  struct Delivery {
    size_t due;  // the step at which it arrives
    int to;
    Bytes part;
  };

  uint64_t Below(uint64_t n) { return n == 0 ? 0 : rng_() % n; }
  bool Chance(int percent) { return Below(100) < static_cast<uint64_t>(percent); }
  // Pins the clock to copy `c`'s view of simulated time.
  void Act(int c) { platform::PinClock(now_ + kSkew[c], Below(3)); }
  void Say(const std::string& what) {
    if (trace_ != nullptr) *trace_ << "step " << step_ << ": " << what << "\n";
  }

  Bytes MakeBook();
  void Step();
  void UserAction(int c);
  void Write(int c);
  void Deliver(bool everything);
  void MergeWhole(int from, int to);
  // Notes the stamps of what the last action of copy `c` journalled, from entry `from` on.
  void Note(int c, size_t from);
  std::string Check();

  // Part files need no trip to the disk here.
  struct NoSync : AtomicFileOps {
    bool Sync(OutputStream&) override { return true; }
    void SyncFolder(const std::string&) override {}
  };

  std::mt19937_64 rng_;
  std::ostream* trace_;
  uint64_t seed_;
  NoSync no_sync_;
  ScopedAtomicFileOps scoped_ops_;
  std::FILE* log_;
  fs::path dir_;
  bool was_pinned_ = false;
  int64_t pinned_seconds_ = 0;
  uint64_t pinned_ticks_ = 0;
  int64_t now_ = int64_t{kFirstDay} * kDay + 9 * 3600;
  size_t step_ = 0;
  std::array<std::unique_ptr<DataBase>, kCopies> copies_;
  std::vector<Delivery> mail_;
  std::map<uint64_t, Newest> newest_;
  std::vector<uint64_t> currencies_;
  std::vector<uint64_t> accounts_;
  std::vector<uint64_t> schedules_;
  uint32_t schedule_edits_ = 0;
  SimulationResult result_;
};

Bytes Simulation::MakeBook() {
  platform::ScopedClockPin made(now_ - kDay);
  DataBase db;
  db.SeedIDs(static_cast<uint32_t>(seed_));
  db.Loaded = true;
  db.SetCurrentUser(0);
  db.Header.DatabaseID = 4242;
  for (const wchar_t* code : {L"EUR", L"USD", L"GBP"}) {
    auto c = std::make_unique<TCurrency>();
    c->Name = code;
    currencies_.push_back(db.StoreEntry(std::move(c)));
  }
  db.UserSettings.DefaultCurrencyID = currencies_[0];
  for (uint64_t currency : currencies_) {
    auto a = std::make_unique<TAccount>();
    a->Data.CurrencyID = currency;
    a->Data.InitialBalance = 100;
    accounts_.push_back(db.StoreEntry(std::move(a)));
  }
  // A daily, a weekly and a monthly schedule, due from tomorrow on.
  for (uint8_t type : {2, 3, 4}) {
    auto s = std::make_unique<TScheduledTransaction>();
    s->Schedule.ScheduleType = type;
    s->Schedule.BeginDate = ADate(kFirstDay);
    s->Schedule.Day = static_cast<uint16_t>(type == 4 ? 5 : 1);
    s->Data.WithdrawAccountID = accounts_[type - 2];
    s->Data.WithdrawAmount = kScheduleAmount * (type - 1);
    s->Name = L"Every so often";
    s->Tags = {type};
    schedules_.push_back(db.StoreEntry(std::move(s)));
  }
  OutputStream out;
  db.Save(out);
  return out.MemoryData();
}

SimulationResult Simulation::Run() {
  Bytes book = MakeBook();
  for (int c = 0; c < kCopies; ++c) {
    Act(c);
    copies_[c] = std::make_unique<DataBase>();
    copies_[c]->SeedIDs(static_cast<uint32_t>(seed_ * kCopies + c + 1));
    if (copies_[c]->Open(*Input(book)) != kResultOK) return {false, "the book does not open"};
    copies_[c]->SetCurrentUser(0);
  }
  const size_t steps = 30 + Below(30);
  for (step_ = 0; step_ < steps; ++step_) Step();

  // Quiescence: every copy on the same day, its schedules processed and its changes sent; then
  // whole copies merged both ways until nothing changes.
  now_ = (now_ / kDay + 1) * kDay + 12 * 3600;
  for (int c = 0; c < kCopies; ++c) {
    Act(c);
    copies_[c]->Refresh();
    Write(c);
  }
  Deliver(true);
  for (int round = 0; round < 4; ++round) {
    for (int a = 0; a < kCopies; ++a) {
      for (int b = 0; b < kCopies; ++b) {
        if (a != b) MergeWhole(a, b);
      }
    }
  }
  result_.failure = Check();
  result_.converged = result_.failure.empty();
  result_.steps = steps;
  return result_;
}

void Simulation::Step() {
  // Time moves on by up to three hours, and now and then not at all, so that two copies change
  // records within one clock tick.
  if (!Chance(15)) now_ += 1 + static_cast<int64_t>(Below(3 * 3600));
  Deliver(false);
  const int c = static_cast<int>(Below(kCopies));
  Act(c);
  switch (Below(10)) {
    case 0:
      Say("copy " + std::to_string(c) + " processes its schedules");
      copies_[c]->Refresh();
      break;
    case 1: {
      int other = static_cast<int>((c + 1 + Below(kCopies - 1)) % kCopies);
      MergeWhole(other, c);
      break;
    }
    default:
      UserAction(c);
  }
  if (Chance(60)) Write(c);
}

void Simulation::UserAction(int c) {
  DataBase& db = *copies_[c];
  const size_t journal = db.SyncJournal().size();
  std::vector<uint64_t> transactions;
  for (const auto& [id, e] : db.GetTable(1)) transactions.push_back(id);
  auto pick = [&](const std::vector<uint64_t>& ids) { return ids[Below(ids.size())]; };
  auto account = [&] { return pick(accounts_); };
  const std::string who = "copy " + std::to_string(c) + " ";
  const uint64_t op = Below(12);
  if (op <= 2 || transactions.empty()) {
    db.BeginUndoStep(2);
    auto t = std::make_unique<TTransaction>();
    t->Data.WithdrawAccountID = account();
    if (Chance(30)) t->Data.TargetAccountID = account();
    t->Data.WithdrawAmount = t->Data.TargetAmount = static_cast<double>(1 + Below(900));
    t->Name = L"Bought " + std::to_wstring(Below(50));
    if (Chance(30)) t->Tags = {Below(4) + 1};
    Say(who + "adds " + std::to_string(db.StoreEntry(std::move(t))));
  } else if (op <= 5) {
    uint64_t id = pick(transactions);
    db.BeginUndoStep(3);
    auto copy = db.GetEntry(id, 1);
    auto& t = static_cast<TTransaction&>(*copy);
    t.Data.WithdrawAmount = static_cast<double>(1 + Below(900));
    t.Name = Chance(20) ? L"" : L"Edited " + std::to_wstring(Below(50));
    t.Data.Cleared = static_cast<int8_t>(Below(2));
    db.StoreEntry(std::move(copy));
    Say(who + "edits " + std::to_string(id));
  } else if (op == 6) {
    uint64_t id = pick(transactions);
    db.BeginUndoStep(4);
    db.DeleteEntry(1, id);
    Say(who + "deletes " + std::to_string(id));
  } else if (op == 7) {
    Say(who + (Chance(60) ? "undoes" : "redoes"));
    if (Chance(60)) {
      db.Undo();
    } else {
      db.Redo();
    }
  } else if (op == 8) {
    db.BeginUndoStep(2);
    TSplit split;
    split.Name = L"Receipt";
    split.Data.FlagB = static_cast<uint8_t>(Below(2));
    std::vector<TTransaction> parts(2 + Below(2));
    for (TTransaction& part : parts) {
      part.Data.WithdrawAccountID = account();
      part.Data.WithdrawAmount = static_cast<double>(1 + Below(100));
      part.Name = L"Item";
    }
    db.StoreSplit(split, parts);
    Say(who + "adds split " + std::to_string(split.Header.ID));
  } else if (op == 9) {
    db.BeginUndoStep(3);
    db.SetExRate(pick(currencies_), pick(currencies_), 0.5 + static_cast<double>(Below(100)) / 50);
    Say(who + "sets a rate");
  } else if (op == 10) {
    switch (Below(3)) {
      case 0:
        db.UserSettings.DefaultCurrencyID = pick(currencies_);
        Say(who + "chooses the default currency " +
            std::to_string(db.UserSettings.DefaultCurrencyID));
        break;
      case 1:
        db.Header.Option0 = static_cast<int8_t>(Below(7));
        db.Header.SettingsStamp = NewerStamp(db.Header.SettingsStamp);
        Say(who + "chooses the first weekday");
        break;
      default:
        db.SetDatabaseText(static_cast<uint32_t>(Below(3)), L"Field " + std::to_wstring(Below(9)));
        Say(who + "renames a custom field");
    }
  } else {
    uint64_t id = pick(schedules_);
    auto copy = db.GetEntry(id, 0);
    if (copy == nullptr) return;
    db.BeginUndoStep(3);
    auto& s = static_cast<TScheduledTransaction&>(*copy);
    const auto number = static_cast<uint64_t>(s.Data.WithdrawAmount / kScheduleAmount);
    s.Data.WithdrawAmount = kScheduleAmount * static_cast<double>(number) + ++schedule_edits_;
    db.StoreEntry(std::move(copy));
    Say(who + "edits schedule " + std::to_string(id));
  }
  Note(c, journal);
}

void Simulation::Note(int c, size_t from) {
  DataBase& db = *copies_[c];
  const auto& journal = db.SyncJournal();
  for (size_t i = from; i < journal.size(); ++i) {
    const TAutomaticSyncItem& item = journal[i];
    Newest change;
    if (auto marker = db.DeletedHeaders().find(item.ID); marker != db.DeletedHeaders().end()) {
      change = {marker->second.LastModDate, true};
    } else if (const TBaseEntry* e = db.FindEntry(item.ID, TableOfType(item.Type))) {
      change = {e->Header.LastModDate, false};
    } else {
      continue;
    }
    Newest& n = newest_[item.ID];
    // A record outranks a deletion with the same stamp.
    if (change.stamp > n.stamp || (change.stamp == n.stamp && !change.deleted)) n = change;
  }
}

void Simulation::Write(int c) {
  fs::path path = dir_ / "part";
  if (copies_[c]->WritePart(path.string()) != kResultOK) return;
  std::ifstream f(path, std::ios::binary);
  Bytes part{std::istreambuf_iterator<char>(f), {}};
  fs::remove(path);
  ++result_.parts;
  for (int to = 0; to < kCopies; ++to) {
    if (to == c || Chance(10)) continue;  // lost on the way
    size_t copies = Chance(10) ? 2 : 1;
    for (size_t k = 0; k < copies; ++k) mail_.push_back({step_ + Below(6), to, part});
  }
  Say("copy " + std::to_string(c) + " writes a part");
}

void Simulation::Deliver(bool everything) {
  // Parts due now arrive in a random order.
  std::shuffle(mail_.begin(), mail_.end(), rng_);
  std::vector<Delivery> later;
  for (Delivery& d : mail_) {
    if (!everything && d.due > step_) {
      later.push_back(std::move(d));
      continue;
    }
    Act(d.to);
    copies_[d.to]->ReadPart(*Input(d.part));
  }
  mail_ = std::move(later);
}

void Simulation::MergeWhole(int from, int to) {
  Act(from);
  OutputStream saved;
  copies_[from]->Save(saved);
  Act(to);
  int rc = copies_[to]->MergeFile(*Input(saved.MemoryData()));
  ++result_.merges;
  Say("copy " + std::to_string(to) + " merges copy " + std::to_string(from) + ": " +
      std::to_string(rc));
}

std::string Simulation::Check() {
  std::ostringstream failure;
  const std::string first = BookSnapshot(*copies_[0]);
  for (int c = 1; c < kCopies; ++c) {
    std::string other = BookSnapshot(*copies_[c]);
    if (other == first) continue;
    // The first line that differs names the record.
    std::istringstream a(first), b(other);
    std::string la, lb;
    while (std::getline(a, la) && std::getline(b, lb) && la == lb) {
    }
    // "record TABLE ID" or "marker ID ..." or "header ...", then from the first differing byte.
    size_t name = la.find(' ', la.find(' ', la.find(' ') + 1) + 1);
    size_t at = std::mismatch(la.begin(), la.end(), lb.begin(), lb.end()).first - la.begin();
    at = std::min(at, la.size());
    failure << "copies 0 and " << c << " differ at '" << la.substr(0, name) << "': '..."
            << la.substr(at, 60) << "' vs '..." << lb.substr(std::min(at, lb.size()), 60) << "'";
    return failure.str();
  }
  DataBase& db = *copies_[0];
  // Each record at its newest change; a record deleted last stays deleted.
  for (const auto& [id, n] : newest_) {
    bool held = false;
    uint64_t stamp = 0;
    for (uint32_t t = 0; t < kTableCount && !held; ++t) {
      if (const TBaseEntry* e = db.FindEntry(id, t)) {
        held = true;
        stamp = e->Header.LastModDate;
      }
    }
    if (n.deleted && held) failure << "record " << id << " came back after its deletion";
    if (!n.deleted && (!held || stamp < n.stamp)) {
      failure << "record " << id << " lost its change of " << n.stamp;
    }
    if (failure.tellp() > 0) return failure.str();
  }
  // No occurrence of a schedule twice on one day.
  std::map<std::pair<int64_t, int32_t>, int> occurrences;
  for (const auto& [id, e] : db.GetTable(1)) {
    const auto& t = static_cast<const TTransaction&>(*e);
    if (t.Data.WithdrawAmount < kScheduleAmount) continue;
    auto key = std::make_pair(static_cast<int64_t>(t.Data.WithdrawAmount / kScheduleAmount),
                              t.Data.Date.Val);
    if (++occurrences[key] > 1) {
      failure << "schedule " << key.first << " entered day " << key.second << " twice";
      return failure.str();
    }
  }
  return {};
}

}  // namespace

SimulationResult RunConvergence(uint64_t seed, std::ostream* trace) {
  Simulation simulation(seed, trace);
  return simulation.Run();
}

}  // namespace vemra::testing
