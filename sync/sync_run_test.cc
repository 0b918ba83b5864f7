// The sync run over the folder transport: what is sent, fetched, applied and recorded, and a
// seeded simulation of three copies under transport faults and crashes.
#include "sync/sync_run.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/records/dates.h"
#include "core/records/transaction.h"
#include "platform/clock.h"
#include "platform/log.h"
#include "platform/paths.h"
#include "sync/folder_transport.h"
#include "sync/testing/sync_sim.h"

namespace vemra::sync {
namespace {

namespace fs = std::filesystem;

bool Has(const std::vector<std::string>& list, const std::string& name) {
  return std::find(list.begin(), list.end(), name) != list.end();
}

class SyncRunTest : public ::testing::Test {
 protected:
  SyncRunTest()
      : root_(fs::temp_directory_path() /
              ("kestrum-sync-" + std::to_string(::getpid()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name())) {
    fs::remove_all(root_);
    fs::create_directories(root_ / "cloud");
    ::setenv("XDG_CACHE_HOME", (root_ / "cache").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (root_ / "config").c_str(), 1);
    log_ = std::fopen("/dev/null", "w");
    previous_log_ = platform::SetLogOutput(log_);
  }
  ~SyncRunTest() override {
    platform::SetLogOutput(previous_log_);
    std::fclose(log_);
    fs::remove_all(root_);
  }

  // One copy of the book: its file, its settings, its open document.
  struct Copy {
    std::string path;
    std::unique_ptr<platform::Settings> settings;
    std::unique_ptr<Document> document;
  };

  // Copy `n` of a new book with cloud sync on (the first call makes the book, later ones copy
  // the first copy's file).
  Copy& MakeCopy(int n) {
    Copy& c = copies_[n];
    c.path = (root_ / ("copy" + std::to_string(n)) / "Home.kestrum").string();
    fs::create_directories(fs::path(c.path).parent_path());
    c.settings =
        std::make_unique<platform::Settings>((root_ / ("settings" + std::to_string(n))).string());
    if (n == 0) {
      Document d;
      d.New("en");
      d.Sync([&] { d.database().Header.Option1 = 1; });
      EXPECT_TRUE(d.saveToFile(c.path).ok());
    } else {
      fs::copy_file(copies_[0].path, c.path);
    }
    c.document = std::make_unique<Document>();
    EXPECT_EQ(c.document->readFile(c.path), 0);
    c.document->setCurrentUser(0);
    return c;
  }

  // Adds an expense, saves the book and writes its part; returns the ID.
  static uint64_t Spend(Copy& c, double amount) {
    const uint64_t id = testing::AddExpense(*c.document, amount, true);
    EXPECT_NE(id, 0u);
    return id;
  }

  static bool Holds(Copy& c, uint64_t id) {
    bool has = false;
    c.document->Sync([&] { has = c.document->database().FindEntry(id, 1) != nullptr; });
    return has;
  }

  RunReport Run(Copy& c, std::function<bool(std::string&)> save = nullptr) {
    RunOptions options;
    options.settings = c.settings.get();
    options.save = std::move(save);
    return RunSync(*c.document, transport_, options);
  }

  std::string Revision(Copy& c) {
    uint64_t id = 0;
    c.document->Sync([&] { id = c.document->database().Header.DatabaseID; });
    const nlohmann::json s = c.settings->DatabaseSettings(id);
    return s.value(kFolderRevisionKey, "");
  }

  std::string Cloud(const std::string& name = "") const {
    return (root_ / "cloud" / "Home.sync" / name).string();
  }

  static std::string Id(Copy& c) {
    uint64_t id = 0;
    c.document->Sync([&] { id = c.document->database().Header.DatabaseID; });
    return std::to_string(id);
  }

  fs::path root_;
  FolderTransport transport_{(root_ / "cloud").string()};
  std::array<Copy, 3> copies_;
  std::FILE* log_;
  std::FILE* previous_log_;
};

TEST_F(SyncRunTest, CopiesMeetThroughTheFolderAndRecordOnlyWhatIsSaved) {
  Copy& a = MakeCopy(0);
  Copy& b = MakeCopy(1);
  // Without the flag nothing is contacted.
  b.document->Sync([&] { b.document->database().Header.Option1 = 0; });
  RunReport off = Run(b);
  EXPECT_FALSE(off.ok);
  EXPECT_FALSE(fs::exists(Cloud()));
  b.document->Sync([&] { b.document->database().Header.Option1 = 1; });

  // An empty folder: the queued part and a main file go up; the revision is the main's.
  const uint64_t bread = Spend(a, 12.5);
  RunReport first = Run(a);
  EXPECT_TRUE(first.ok) << (first.errors.empty() ? "" : first.errors[0]);
  EXPECT_EQ(first.main, "uploaded");
  EXPECT_EQ(first.uploaded.size(), 2u);
  EXPECT_TRUE(fs::is_empty(a.document->uploadFolder()));
  EXPECT_EQ(Revision(a).size(), 64u);

  // Foreign names are listed as ignored and never fetched.
  const std::string id = Id(a);
  for (const std::string& name :
       {std::string("Main"), "9" + id + ".5", id + ".5.x", id + ".abc", id + ".-1"})
    std::ofstream(Cloud(name)) << "x";
  fs::create_directory(Cloud(id + ".7"));
  fs::create_symlink("/etc/passwd", Cloud(id + ".8"));
  std::ofstream(Cloud(id + ".9")) << "not a part file";

  // A save that fails keeps the downloads waiting and records nothing.
  const uint64_t milk = Spend(b, 3);
  RunReport refused = Run(b, [](std::string& reason) {
    reason = "disk full";
    return false;
  });
  EXPECT_FALSE(refused.ok);
  EXPECT_TRUE(Has(refused.errors, "the book cannot be saved: disk full"));
  EXPECT_TRUE(Revision(b).empty());
  b.document = std::make_unique<Document>();  // the merges were never saved
  ASSERT_EQ(b.document->readFile(b.path), 0);
  EXPECT_FALSE(Holds(b, bread));

  RunReport second = Run(b);
  EXPECT_TRUE(second.ok) << (second.errors.empty() ? "" : second.errors[0]);
  EXPECT_TRUE(Holds(b, bread));
  EXPECT_EQ(second.main, "uploaded");  // its first run that got through
  for (const std::string& name : {std::string("Main"), id + ".5.x", id + ".7", id + ".9"})
    EXPECT_TRUE(Has(second.ignored, name)) << name;
  EXPECT_FALSE(Has(second.downloaded, id + ".9")) << "fetched in the refused run already";
  EXPECT_FALSE(Has(second.applied, id + ".9"));
  EXPECT_FALSE(fs::exists(b.document->cacheFolder() + "/" + id + ".9"));
  const std::vector<std::string> seen = ReadNameList(b.document->cacheFolder() + "/sync-seen");
  EXPECT_TRUE(std::any_of(seen.begin(), seen.end(), [&](const std::string& line) {
    return line.rfind(id + ".9 ", 0) == 0;
  })) << "a part that cannot be applied stays seen";

  // The seen list, not the cache, decides: pruned parts are not fetched again.
  for (const std::string& p : b.document->cacheFiles()) fs::remove(p);
  RunReport third = Run(b);
  EXPECT_TRUE(third.downloaded.empty());
  EXPECT_EQ(third.main, "unchanged");

  RunReport back = Run(a);
  EXPECT_TRUE(back.ok);
  EXPECT_EQ(back.main, "merged");
  EXPECT_TRUE(Holds(a, milk));
  EXPECT_EQ(Revision(a), Revision(b));
}

TEST_F(SyncRunTest, ClashingPartNamesLostPartsAndAnotherDatabase) {
  Copy& a = MakeCopy(0);
  Copy& b = MakeCopy(1);
  ASSERT_TRUE(Run(a).ok);
  ASSERT_TRUE(Run(b).ok);

  // Both copies write a part in the same second: the second one to send renames its own.
  platform::ScopedClockPin pin(21000LL * 86400);
  const uint64_t one = Spend(a, 1);
  const uint64_t two = Spend(b, 2);
  const std::string a_part = fs::path(a.document->cacheFiles().front()).filename();
  ASSERT_EQ(a_part, fs::path(b.document->cacheFiles().front()).filename().string());
  ASSERT_TRUE(Run(a).ok);
  RunReport rb = Run(b);
  ASSERT_TRUE(rb.ok);
  ASSERT_EQ(rb.uploaded.size(), 1u);
  EXPECT_NE(rb.uploaded[0], a_part);
  EXPECT_TRUE(Has(rb.applied, a_part));
  EXPECT_TRUE(Holds(b, one));
  ASSERT_TRUE(Run(a).ok);
  EXPECT_TRUE(Holds(a, two));

  // A part the folder lost is sent again by the copy that made it.
  fs::remove(Cloud(rb.uploaded[0]));
  RunReport heal = Run(b);
  EXPECT_TRUE(Has(heal.uploaded, rb.uploaded[0]));
  EXPECT_TRUE(fs::exists(Cloud(rb.uploaded[0])));

  // The main file of another database is never merged and never replaced.
  Document other;
  other.New("en");
  ASSERT_TRUE(other.saveToFile((root_ / "other.kestrum").string()).ok());
  fs::copy_file(root_ / "other.kestrum", Cloud("main"), fs::copy_options::overwrite_existing);
  const std::string before = Revision(a);
  RunReport mismatch = Run(a);
  EXPECT_FALSE(mismatch.ok);
  EXPECT_EQ(mismatch.main, "failed");
  EXPECT_TRUE(Has(mismatch.errors, kIdMismatch));
  EXPECT_EQ(Revision(a), before);
  std::ifstream main_file(Cloud("main"), std::ios::binary), other_file(root_ / "other.kestrum");
  std::stringstream x, y;
  x << main_file.rdbuf();
  y << other_file.rdbuf();
  EXPECT_EQ(x.str(), y.str());

  // A main file that is no database is replaced by this copy's.
  std::ofstream(Cloud("main"), std::ios::binary | std::ios::trunc) << "not a book";
  RunReport damaged = Run(a);
  EXPECT_EQ(damaged.main, "uploaded");
  EXPECT_EQ(Revision(a).size(), 64u);
  EXPECT_TRUE(Run(b).ok);
}

TEST(SyncSimulationTest, ThreeCopiesConvergeUnderFaults) {
  const char* env = std::getenv("KESTRUM_SYNC_RUNS");
  const int runs = env != nullptr ? std::atoi(env) : 300;
  // KESTRUM_SYNC_SEED=N replays seed N alone.
  const char* only = std::getenv("KESTRUM_SYNC_SEED");
  const int first = only != nullptr ? std::atoi(only) : 1;
  // In memory where the machine has it: the simulation syncs thousands of small files.
  const fs::path base =
      fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path();
  const fs::path folder = base / ("kestrum-sync-sim-" + std::to_string(::getpid()));
  size_t kills = 0, faults = 0;
  for (int seed = first; seed <= (only != nullptr ? first : runs); ++seed) {
    fs::remove_all(folder);
    fs::create_directories(folder);
    std::ostringstream trace;
    const testing::SyncSimulationResult r =
        testing::RunSyncSimulation(seed, folder.string(), nullptr, &trace);
    ASSERT_TRUE(r.converged) << "seed " << seed << ": " << r.failure << "\n" << trace.str();
    kills += r.kills;
    faults += r.faults;
  }
  fs::remove_all(folder);
  // The faults did happen.
  if (only == nullptr) {
    EXPECT_GT(kills, static_cast<size_t>(runs) / 10);
    EXPECT_GT(faults, static_cast<size_t>(runs));
  }
}

}  // namespace
}  // namespace vemra::sync
