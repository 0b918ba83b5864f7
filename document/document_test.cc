#include "document/document.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <thread>

#include "core/streams/atomic_file.h"
#include "platform/clock.h"
#include "platform/localization.h"
#include "platform/log.h"
#include "platform/paths.h"
#include "platform/settings.h"

namespace vemra {
namespace {

namespace fs = std::filesystem;

std::vector<uint8_t> ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteAll(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

// The undo manager of a test: a plain stack of action names with a redo count.
class StackRegistrar : public UndoRegistrar {
 public:
  void stepOpened(const std::string& name) override {
    names.push_back(name);
    redo = 0;
  }
  void dropRedo() override {
    ++drops;
    redo = 0;
  }
  void clear() override {
    names.clear();
    ++clears;
  }
  std::vector<std::string> names;
  int redo = 0;
  int drops = 0;
  int clears = 0;
};

// Every test runs in a fresh XDG tree of its own, with log lines captured.
class DocumentTest : public ::testing::Test {
 protected:
  DocumentTest()
      : root_(fs::temp_directory_path() /
              ("kestrum-doc-" + std::to_string(::getpid()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name())) {
    fs::remove_all(root_);
    fs::create_directories(root_ / "books");
    ::setenv("XDG_CACHE_HOME", (root_ / "cache").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (root_ / "config").c_str(), 1);
    ::setenv("XDG_STATE_HOME", (root_ / "state").c_str(), 1);
    log_ = std::tmpfile();
    previous_log_ = platform::SetLogOutput(log_);
  }
  ~DocumentTest() override {
    platform::SetLogOutput(previous_log_);
    std::fclose(log_);
    fs::remove_all(root_);
  }

  std::string Book(const std::string& name) const { return (root_ / "books" / name).string(); }

  std::string Log() {
    std::fflush(log_);
    std::rewind(log_);
    std::string text;
    for (int c; (c = std::fgetc(log_)) != EOF;) text += static_cast<char>(c);
    return text;
  }

  // A saved new book at `path` with a cache folder of its own.
  void MakeBook(const std::string& path) {
    Document d;
    d.New("en");
    ASSERT_TRUE(d.saveToFile(path).ok());
  }

  // Adds an expense of `amount` in an undo step and writes the journal; returns its ID.
  static uint64_t Spend(Document& d, double amount) {
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
    d.writeAutosyncData();
    return id;
  }

  static bool Has(Document& d, uint64_t id) {
    bool has = false;
    d.Sync([&] { has = d.database().FindEntry(id, 1) != nullptr; });
    return has;
  }

  fs::path root_;
  std::FILE* log_;
  std::FILE* previous_log_;
};

TEST(DocumentTables, MessagesActionNamesAndNumbers) {
  platform::SetLanguage("en");
  const std::pair<int, const char*> kMessages[] = {
      {-6, "Unknown data base version. Update software to latest version to open this file."},
      {-5, "Data base version too old. Update impossible."},
      {-4, "Can't create backup file. Update failed."},
      {-3, "Update failed."},
      {-2, "Can't open file"},
      {-1, "This is not a valid Kestrum data base file."},
      {1, "Version mismatch. Update data base file first."},
      {3, "Data base ID mismatch, sync impossible."},
      {4, "Invalid password"},
      {0, "Unknown error: 0"},
      {2, "Unknown error: 2"},
      {-7, "Unknown error: -7"},
      {200, "Unknown error: -56"},
  };
  for (const auto& [code, text] : kMessages) EXPECT_EQ(decodeDBError(code), text) << code;
  const char* kNames[] = {"", "import", "add", "edit", "delete", "reconciliation", ""};
  for (uint32_t s = 0; s <= 6; ++s) EXPECT_EQ(decodeUndoStatus(s), kNames[s]) << s;

  struct Case {
    double amount;
    int decimals;
    const char* en;
    const char* ru;
  };
  const Case kNumbers[] = {
      {-0.00000000000001, 2, "0.00", "0,00"},
      {-0.004, 2, "0.00", "0,00"},
      {-0.005, 2, "-0.01", "-0,01"},
      {2.675, 2, "2.68", "2,68"},
      {1234567.891, 2, "1,234,567.89", "1\u00A0234\u00A0567,89"},
      {-999.5, 0, "-1,000", "-1\u00A0000"},
      {0.5, 3, "0.500", "0,500"},
      {123, 0, "123", "123"},
  };
  for (const Case& c : kNumbers) {
    EXPECT_EQ(FormatNumber(c.amount, c.decimals, ",", "."), c.en) << c.amount;
    EXPECT_EQ(FormatNumber(c.amount, c.decimals, "\u00A0", ","), c.ru) << c.amount;
  }
  platform::SetLanguage("ru_RU.UTF-8");
  EXPECT_EQ(decodeDBError(-2), "Не удаётся открыть файл");
  EXPECT_EQ(decodeUndoStatus(2), "добавление");
  EXPECT_EQ(platform::Text(15001, "en"), "Password");
  platform::SetLanguage("en");
}

TEST_F(DocumentTest, NewDocumentsTakeTheTemplateOfTheLanguageAndFormatAmounts) {
  const std::pair<const char*, const char*> kLanguages[] = {
      {"uk_UA.UTF-8", "RUB"}, {"ru", "RUB"}, {"en_GB", "USD"}, {"de", "USD"}, {"", "USD"}};
  for (const auto& [language, code] : kLanguages) {
    Document d;
    d.New(language);
    std::string shown;
    uint64_t currency = 0;
    d.Sync([&] {
      currency = d.database().UserSettings.DefaultCurrencyID;
      shown = d.database().Currencies().GetCurrency(currency).GetCode();
    });
    EXPECT_EQ(shown, code) << language;
    EXPECT_TRUE(d.path().empty());
    EXPECT_TRUE(d.cacheFolder().empty());
    if (std::string(code) == "USD") {
      EXPECT_EQ(d.format(-1234.5, currency, true), "$-1,234.50");
      EXPECT_EQ(d.format(-0.00000000000001, currency, false), "0.00");
    } else {
      EXPECT_EQ(d.format(1234.5, currency, true), "1,234.50\u20BD");
    }
  }
}

TEST_F(DocumentTest, ReadingFallsBackToTheBackupOnlyForADamagedFile) {
  const std::string path = Book("Home.kestrum");
  uint64_t kept = 0, later = 0;
  {
    Document d;
    d.New("en");
    ASSERT_TRUE(d.saveToFile(path).ok());
    kept = Spend(d, 10);  // the first journal write makes the backup copy, then a part
    ASSERT_EQ(d.flushJournal(), "");
    later = Spend(d, 20);  // a second part; the backup does not hold it
    ASSERT_EQ(d.flushJournal(), "");
    EXPECT_EQ(d.cacheFiles().size(), 2u);
    EXPECT_EQ(d.cloudFolder(), "/Home.sync/");
  }
  const std::vector<uint8_t> good = ReadAll(path);

  {  // No data at all: -2 and no restore.
    Document d;
    EXPECT_EQ(d.readFromData(nullptr, path), kResultCantOpen);
    EXPECT_FALSE(d.loaded());
  }
  {  // A folder and a missing file name the system's reason.
    Document d;
    std::string reason;
    EXPECT_EQ(d.readFile(root_.string(), &reason), kResultCantOpen);
    EXPECT_EQ(reason, "Is a directory");
    EXPECT_EQ(d.readFile(Book("missing"), &reason), kResultCantOpen);
    EXPECT_EQ(reason, "No such file or directory");
  }
  {  // Too new: its own code even with a backup at hand.
    std::vector<uint8_t> too_new = good;
    too_new[4] = 0xB9;  // version 441
    WriteAll(path, too_new);
    Document d;
    EXPECT_EQ(d.readFile(path), kResultTooNew);
    EXPECT_FALSE(d.Restored().restored);
  }
  // Damaged record area: the backup opens and both parts are merged after it.
  std::vector<uint8_t> damaged = good;
  for (size_t i = 1024; i < damaged.size(); ++i) damaged[i] = 0x55;
  WriteAll(path, damaged);
  {
    StackRegistrar undo;
    Document d;
    d.setUndoRegistrar(&undo);
    ASSERT_EQ(d.readFile(path), kResultOK);
    EXPECT_EQ(undo.clears, 1);
    EXPECT_TRUE(d.Restored().restored);
    EXPECT_EQ(d.Restored().parts_merged, 2);
    EXPECT_TRUE(Has(d, kept));
    EXPECT_TRUE(Has(d, later));
    EXPECT_NE(Log().find("restored from the backup"), std::string::npos);
    // The first save keeps the damaged file, the second does not keep another.
    ASSERT_TRUE(d.saveToFile().ok());
    EXPECT_EQ(ReadAll(path + ".damaged"), damaged);
    ASSERT_TRUE(d.saveToFile().ok());
    EXPECT_FALSE(fs::exists(path + ".damaged-2"));
  }
  {
    Document d;
    ASSERT_EQ(d.readFile(path), kResultOK);
    EXPECT_FALSE(d.Restored().restored);
    EXPECT_TRUE(Has(d, later));
  }
  // Without a usable backup a damaged file stays refused, and is not written.
  fs::remove_all(root_ / "cache");
  WriteAll(path, damaged);
  {
    Document d;
    EXPECT_EQ(d.readFile(path), kResultNotDatabase);
    EXPECT_FALSE(d.loaded());
    EXPECT_TRUE(d.path().empty());
  }
  EXPECT_EQ(ReadAll(path), damaged);
}

TEST_F(DocumentTest, SavingMergesOnlyAFileThatChangedOnDisk) {
  const std::string path = Book("Shared.kestrum");
  MakeBook(path);
  StackRegistrar undo;
  Document a;
  a.setUndoRegistrar(&undo);
  ASSERT_EQ(a.readFile(path), kResultOK);
  a.setCurrentUser(0);
  uint64_t first = Spend(a, 1);
  a.doUndo("add");
  ASSERT_FALSE(Has(a, first));
  // The file is the one last read: no merge, so the redo step survives the save.
  ASSERT_TRUE(a.saveToFile().ok());
  EXPECT_EQ(undo.drops, 0);
  a.doRedo("add");
  EXPECT_TRUE(Has(a, first));

  // Another writer changes the file; the next save merges it and drops the redo steps.
  uint64_t theirs = 0;
  {
    Document b;
    ASSERT_EQ(b.readFile(path), kResultOK);
    b.setCurrentUser(0);
    theirs = Spend(b, 2);
    ASSERT_TRUE(b.saveToFile().ok());
  }
  int updates = 0;
  ObserverToken token = a.observe(kUpdateDataNotification, [&](Document&) { ++updates; });
  ASSERT_TRUE(a.saveToFile().ok());
  EXPECT_EQ(undo.drops, 1);
  EXPECT_EQ(updates, 1);
  Document c;
  ASSERT_EQ(c.readFile(path), kResultOK);
  EXPECT_TRUE(Has(c, first));
  EXPECT_TRUE(Has(c, theirs));
}

// Makes chosen steps of the atomic writes fail, with the errno a real failure would leave.
class FailingOps : public AtomicFileOps {
 public:
  bool Sync(OutputStream& out) override {
    if (fail_sync) {
      errno = EIO;
      return false;
    }
    return AtomicFileOps::Sync(out);
  }
  bool Rename(const std::string& from, const std::string& to) override {
    if (fail_rename) {
      errno = ENOSPC;
      return false;
    }
    return AtomicFileOps::Rename(from, to);
  }
  bool RenameNoReplace(const std::string& from, const std::string& to) override {
    if (fail_rename) {
      errno = ENOSPC;
      return false;
    }
    return AtomicFileOps::RenameNoReplace(from, to);
  }
  bool fail_sync = false;
  bool fail_rename = false;
};

TEST_F(DocumentTest, FailedWritesKeepTheDocumentTheFileAndTheJournal) {
  const std::string path = Book("Faults.kestrum");
  MakeBook(path);
  const std::vector<uint8_t> before = ReadAll(path);
  Document d;
  ASSERT_EQ(d.readFile(path), kResultOK);
  d.setCurrentUser(0);
  FailingOps ops;
  uint64_t id = 0;
  {
    ScopedAtomicFileOps scoped(ops);
    ops.fail_rename = true;
    id = Spend(d, 5);
    EXPECT_NE(d.flushJournal().find("No space left on device"), std::string::npos);
    SaveResult r = d.saveToFile();
    EXPECT_FALSE(r.ok());
    EXPECT_EQ(r.message, path + ": No space left on device");
    ops.fail_rename = false;
    ops.fail_sync = true;
    r = d.saveToFile();
    EXPECT_EQ(r.message, path + ": Input/output error");
  }
  EXPECT_EQ(ReadAll(path), before);
  EXPECT_TRUE(Has(d, id));
  // No temporary file is left behind, and the part that failed goes out with the next change.
  for (const auto& e : fs::recursive_directory_iterator(root_)) {
    EXPECT_NE(e.path().extension(), ".tmp") << e.path();
  }
  EXPECT_TRUE(d.cacheFiles().empty());
  Spend(d, 6);
  EXPECT_EQ(d.flushJournal(), "");
  EXPECT_EQ(d.cacheFiles().size(), 2u);
  ASSERT_TRUE(d.saveToFile().ok());

  // A cache folder that cannot be made: the journal waits, the book still saves.
  ::setenv("XDG_CACHE_HOME", path.c_str(), 1);
  Document e;
  ASSERT_EQ(e.readFile(path), kResultOK);
  e.setCurrentUser(0);
  Spend(e, 7);
  EXPECT_NE(e.flushJournal().find("cannot make the cache folder"), std::string::npos);
  EXPECT_TRUE(e.saveToFile().ok());
}

TEST_F(DocumentTest, JournalPrunesAt64PartsAndNamesPartsUniquely) {
  const std::string path = Book("Parts.kestrum");
  MakeBook(path);
  Document d;
  struct Uploads : SyncTransport {
    void PartWritten(const std::string& part) override { parts.push_back(part); }
    std::vector<std::string> parts;
  } uploads;
  d.setSyncTransport(&uploads);
  ASSERT_EQ(d.readFile(path), kResultOK);
  d.setCurrentUser(0);
  // An empty journal writes nothing, not even the backup copy, and hands nothing on.
  d.Sync([&] { d.database().TakePart(*std::make_unique<OutputStream>()); });
  d.writeAutosyncData();
  EXPECT_EQ(d.flushJournal(), "");
  EXPECT_FALSE(fs::exists(d.backupPath()));
  EXPECT_TRUE(d.cacheFiles().empty());
  EXPECT_TRUE(uploads.parts.empty());

  // Two parts within one clock tick still get two names, the second above the first.
  platform::ScopedClockPin pin(platform::LocalWallSeconds(), 777);
  Spend(d, 1);
  Spend(d, 2);
  EXPECT_EQ(d.flushJournal(), "");
  std::vector<std::string> parts = d.cacheFiles();
  ASSERT_EQ(parts.size(), 2u);
  EXPECT_EQ(uploads.parts, (std::vector<std::string>{parts[1], parts[0]}));
  EXPECT_GT(std::stoll(parts[0].substr(parts[0].rfind('.') + 1)),
            std::stoll(parts[1].substr(parts[1].rfind('.') + 1)));
  // Old parts fill the folder up to 63 (the ".tmp" one never counts).
  uint64_t id = 0;
  d.Sync([&] { id = d.database().Header.DatabaseID; });
  const std::string folder = d.cacheFolder();
  for (int i = 0; i < 61; ++i) {
    std::ofstream(folder + "/" + std::to_string(id) + "." + std::to_string(1000 + i)) << "x";
  }
  const std::string stale = folder + "/" + std::to_string(id) + ".5.tmp";
  const std::string fresh = folder + "/" + std::to_string(id) + ".6.tmp";
  std::ofstream(stale) << "x";
  std::ofstream(fresh) << "x";
  fs::last_write_time(stale, fs::file_time_type::clock::now() - std::chrono::hours(2));
  ASSERT_EQ(d.cacheFiles().size(), 63u);
  const auto backup_time = fs::last_write_time(d.backupPath());
  Spend(d, 3);
  EXPECT_EQ(d.flushJournal(), "");
  EXPECT_EQ(d.cacheFiles().size(), 64u);
  EXPECT_EQ(fs::last_write_time(d.backupPath()), backup_time);
  Spend(d, 4);
  EXPECT_EQ(d.flushJournal(), "");
  parts = d.cacheFiles();
  ASSERT_EQ(parts.size(), 33u);
  EXPECT_NE(fs::last_write_time(d.backupPath()), backup_time);
  EXPECT_EQ(parts.back().substr(parts.back().rfind('.') + 1), "1032");  // the 32 oldest went
  EXPECT_NE(Log().find("remove backup file: "), std::string::npos);
  EXPECT_FALSE(fs::exists(stale));  // a killed writer's, an hour old
  EXPECT_TRUE(fs::exists(fresh));   // perhaps a writer at work
}

// Opens the backup copy slowly, or not at all, so that the queue runs ahead of the writer.
class SlowBackupOps : public AtomicFileOps {
 public:
  bool Open(OutputStream& out, const std::string& path) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    if (fail) {
      errno = EACCES;
      return false;
    }
    return AtomicFileOps::Open(out, path);
  }
  bool fail = false;
};

TEST_F(DocumentTest, BackupRefreshesHandTheRecordsOverInBoundedChunks) {
  const std::string path = Book("Chunks.kestrum");
  MakeBook(path);
  Document d;
  ASSERT_EQ(d.readFile(path), kResultOK);
  d.setCurrentUser(0);
  for (int i = 0; i < 50; ++i) Spend(d, i + 1);
  ASSERT_EQ(d.flushJournal(), "");
  Document::SetBackupChunkForTesting(256);  // dozens of chunks, eight in flight at most
  SlowBackupOps ops;
  {
    ScopedAtomicFileOps scoped(ops);
    d.refreshBackup();
    EXPECT_EQ(d.flushJournal(), "");
    Document backup;
    ASSERT_EQ(backup.readFile(d.backupPath()), kResultOK);
    size_t ours = 0, theirs = 0;
    d.Sync([&] { ours = d.database().GetTable(1).size(); });
    backup.Sync([&] { theirs = backup.database().GetTable(1).size(); });
    EXPECT_EQ(theirs, ours);
    EXPECT_EQ(ours, 50u);
    // A writer that cannot open the copy lets the queue go on; the old copy stays.
    const std::vector<uint8_t> before = ReadAll(d.backupPath());
    ops.fail = true;
    d.refreshBackup();
    EXPECT_NE(d.flushJournal().find("Permission denied"), std::string::npos);
    EXPECT_EQ(ReadAll(d.backupPath()), before);
  }
  Document::SetBackupChunkForTesting(4 << 20);
}

TEST_F(DocumentTest, SavesRefuseReadOnlyBooksAndRemoveDeadWritersLeftovers) {
  const std::string path = Book("Kept.kestrum");
  MakeBook(path);
  Document d;
  ASSERT_EQ(d.readFile(path), kResultOK);
  // A writer that died (its pid no longer exists) and one that is alive (this process).
  pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  ::waitpid(child, nullptr, 0);
  const std::string dead = Book(".Kept.kestrum." + std::to_string(child) + ".3.tmp");
  const std::string alive = Book(".Kept.kestrum." + std::to_string(::getpid()) + ".900.tmp");
  const std::string other = Book(".Other.kestrum." + std::to_string(child) + ".3.tmp");
  for (const std::string& f : {dead, alive, other}) std::ofstream(f) << "partial";
  ASSERT_TRUE(d.saveToFile().ok());
  EXPECT_FALSE(fs::exists(dead));
  EXPECT_TRUE(fs::exists(alive));
  EXPECT_TRUE(fs::exists(other));

  ::chmod(path.c_str(), 0444);
  const std::vector<uint8_t> before = ReadAll(path);
  SaveResult r = d.saveToFile();
  EXPECT_EQ(r.message, path + " is read-only");
  EXPECT_EQ(ReadAll(path), before);
  Document reader;
  EXPECT_EQ(reader.readFile(path), kResultOK);
}

TEST_F(DocumentTest, UndoAndRedoGoThroughTheRegistrarAndTheQueue) {
  Document d;
  StackRegistrar undo;
  d.setUndoRegistrar(&undo);
  d.New("en");
  int updates = 0;
  ObserverToken token = d.observe(kUpdateDataNotification, [&](Document&) { ++updates; });
  uint64_t a = Spend(d, 1);
  uint64_t b = Spend(d, 2);
  EXPECT_EQ(undo.names, (std::vector<std::string>{"add", "add"}));
  d.doUndo("add");
  d.Sync([] {});
  EXPECT_TRUE(Has(d, a));
  EXPECT_FALSE(Has(d, b));
  d.doUndo("add");
  d.doRedo("add");
  d.Sync([] {});
  EXPECT_TRUE(Has(d, a));
  EXPECT_FALSE(Has(d, b));
  EXPECT_EQ(updates, 3);
  { ObserverToken moved = std::move(token); }
  d.doRedo("add");
  d.Sync([] {});
  EXPECT_TRUE(Has(d, b));
  EXPECT_EQ(updates, 3);  // the observer is gone with its token
  d.setCurrentUser(0);
  EXPECT_TRUE(undo.names.empty());
  uint32_t index = 1;
  d.Sync([&] { index = d.database().UndoIndex(); });
  EXPECT_EQ(index, 0u);

  // Untitled, the journal waits; the first save gives it a cache folder, and the next journal
  // write carries every change since.
  Spend(d, 3);
  EXPECT_EQ(d.flushJournal(), "");
  EXPECT_TRUE(d.cacheFolder().empty());
  ASSERT_TRUE(d.saveToFile(Book("Home")).ok());
  EXPECT_EQ(d.cloudFolder(), "/Home.sync/");
  d.writeAutosyncData();
  EXPECT_EQ(d.flushJournal(), "");
  std::vector<std::string> parts = d.cacheFiles();
  ASSERT_EQ(parts.size(), 1u);
  Document other;
  other.New("en");
  uint64_t their_id = 0;
  d.Sync([&] { their_id = d.database().Header.DatabaseID; });
  other.Sync([&] {
    other.database().Header.DatabaseID = their_id;
    EXPECT_EQ(other.database().ReadPart(parts[0]), kResultOK);
  });
  EXPECT_TRUE(Has(other, a));
  EXPECT_TRUE(Has(other, b));
}

TEST_F(DocumentTest, SettingsSurviveTwoWritingProcessesAndDamage) {
  platform::Settings settings;
  pid_t children[2];
  for (int c = 0; c < 2; ++c) {
    children[c] = ::fork();
    if (children[c] == 0) {
      for (int i = 0; i < 20; ++i) {
        settings.Update([&](nlohmann::json& o) { o[std::to_string(c * 100 + i)] = i; });
      }
      ::_exit(0);
    }
  }
  for (pid_t child : children) ::waitpid(child, nullptr, 0);
  EXPECT_EQ(settings.Read().size(), 40u);

  std::ofstream(settings.Path()) << "{ not json";
  EXPECT_TRUE(settings.Read().empty());
  const nlohmann::json dictionary = {
      {"com.vemra.finance.mac.last_sync_date", platform::IsoUtc(1795000000)}};
  ASSERT_TRUE(settings.SetDatabaseSettings(42, dictionary));
  EXPECT_EQ(settings.DatabaseSettings(42), dictionary);
  EXPECT_TRUE(settings.DatabaseSettings(43).empty());
  std::ifstream bad(settings.Path() + ".bad");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(bad), {}), "{ not json");
  std::time_t t = 0;
  ASSERT_TRUE(platform::ParseIsoUtc(dictionary.begin()->get<std::string>(), t));
  EXPECT_EQ(t, 1795000000);

  Document d;
  d.New("en");
  EXPECT_TRUE(d.settings().empty());
  ASSERT_TRUE(d.setSettings(dictionary));
  EXPECT_EQ(d.settings(), dictionary);
  EXPECT_EQ(fs::status(root_ / "config" / "kestrum").permissions() & fs::perms::all,
            fs::perms::owner_all);
}

}  // namespace
}  // namespace vemra
