#include "sync/folder_transport.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/sha256.h"

namespace vemra::sync {
namespace {

namespace fs = std::filesystem;

TEST(SyncNamesTest, OnlyMainAndThisDatabasesPartsCount) {
  const struct {
    const char* name;
    NameKind kind;
    uint64_t stamp;
  } cases[] = {
      {"main", NameKind::kMain, 0},
      {"Main", NameKind::kOther, 0},
      {"123.17955323348019", NameKind::kPart, 17955323348019},
      {"123.18446744073709551615", NameKind::kPart, 18446744073709551615u},
      {"123.18446744073709551616", NameKind::kOther, 0},   // past 64 bits
      {"123.000000000000000000001", NameKind::kOther, 0},  // 21 digits
      {"123.", NameKind::kOther, 0},
      {"1234.5", NameKind::kOther, 0},  // another database
      {"123.5 (conflicted copy)", NameKind::kOther, 0},
      {"123.5/../../x", NameKind::kOther, 0},
      {"../x", NameKind::kOther, 0},
      {"", NameKind::kOther, 0},
  };
  for (const auto& c : cases) {
    uint64_t stamp = 0;
    EXPECT_EQ(ClassifyName(c.name, 123, &stamp), c.kind) << c.name;
    EXPECT_EQ(stamp, c.stamp) << c.name;
  }
  for (const std::string& bad : std::vector<std::string>{
           "", ".", "..", "a/b", std::string("a\0b", 3), std::string(256, 'x')}) {
    EXPECT_FALSE(IsPlainName(bad)) << bad;
  }
  EXPECT_TRUE(IsPlainName(std::string(255, 'x')));
}

class FolderTransportTest : public ::testing::Test {
 protected:
  FolderTransportTest() {
    root = fs::temp_directory_path() /
           ("kestrum-folder-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(root);
    fs::create_directories(root / "local");
  }
  ~FolderTransportTest() override { fs::remove_all(root); }
  std::string Local(const std::string& name, const std::string& content) {
    const fs::path p = root / "local" / name;
    std::ofstream(p, std::ios::binary) << content;
    return p.string();
  }
  static std::string Read(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  std::vector<std::string> Names(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(folder)) names.push_back(e.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }

  fs::path root;
};

TEST_F(FolderTransportTest, FilesAppearWholeAndPartsAreNeverReplaced) {
  FolderTransport t(root.string());
  Listing listing;
  EXPECT_EQ(t.List("/Home.sync", "", listing).failure, Failure::kNotFound);

  std::string rev;
  ASSERT_TRUE(t.Upload(Local("m", "book v1"), "/Home.sync", "main", true, rev).ok());
  EXPECT_EQ(rev, platform::Sha256::Hex("book v1"));
  ASSERT_TRUE(t.Upload(Local("m", "book v2"), "/Home.sync", "main", true, rev).ok());
  ASSERT_TRUE(t.Upload(Local("p", "part one"), "/Home.sync", "7.100", false, rev).ok());
  Status again = t.Upload(Local("p2", "other part"), "/Home.sync", "7.100", false, rev);
  EXPECT_EQ(again.failure, Failure::kConflict);
  EXPECT_EQ(Read(root / "Home.sync" / "7.100"), "part one");
  // No temporary file is left behind, and the folder is the user's only.
  EXPECT_EQ(Names(root / "Home.sync"), (std::vector<std::string>{"7.100", "main"}));
  EXPECT_EQ(fs::status(root / "Home.sync").permissions() & fs::perms::all, fs::perms::owner_all);

  // Links, folders and FIFOs are listed as non-files; dot names are not listed.
  fs::create_symlink(root / "local" / "m", root / "Home.sync" / "7.200");
  fs::create_directory(root / "Home.sync" / "7.300");
  ASSERT_EQ(::mkfifo((root / "Home.sync" / "7.400").c_str(), 0600), 0);
  std::ofstream(root / "Home.sync" / ".7.500.tmp") << "half";
  ASSERT_TRUE(t.List("/Home.sync", "", listing).ok());
  std::vector<std::string> files, others;
  for (const Entry& e : listing.entries) (e.is_file ? files : others).push_back(e.name);
  EXPECT_EQ(files, (std::vector<std::string>{"7.100", "main"}));
  EXPECT_EQ(others, (std::vector<std::string>{"7.200", "7.300", "7.400"}));
  EXPECT_EQ(listing.entries.back().rev, platform::Sha256::Hex("book v2"));
  EXPECT_FALSE(listing.has_more);

  // Downloads: whole, never over an existing file, never through a link or from a FIFO.
  const std::string into = (root / "local" / "got").string();
  ASSERT_TRUE(t.Download("/Home.sync", "main", into, rev).ok());
  EXPECT_EQ(Read(into), "book v2");
  EXPECT_EQ(rev, platform::Sha256::Hex("book v2"));
  EXPECT_EQ(t.Download("/Home.sync", "7.100", into, rev).failure, Failure::kConflict);
  EXPECT_EQ(Read(into), "book v2");
  const std::string other = (root / "local" / "other").string();
  for (const char* name : {"7.200", "7.300", "7.400"}) {
    EXPECT_EQ(t.Download("/Home.sync", name, other, rev).failure, Failure::kBadName) << name;
  }
  EXPECT_EQ(t.Download("/Home.sync", "7.999", other, rev).failure, Failure::kNotFound);
  EXPECT_FALSE(fs::exists(other));
}

TEST_F(FolderTransportTest, HostileNamesAndPathsAreRefused) {
  FolderTransport t(root.string());
  const std::string source = Local("s", "x");
  std::string rev;
  for (const std::string& name :
       std::vector<std::string>{"../escape", "a/b", ".hidden", "", "..", std::string("a\0b", 3),
                                std::string(5000, 'n')}) {
    EXPECT_EQ(t.Upload(source, "/Home.sync", name, true, rev).failure, Failure::kBadName);
    EXPECT_EQ(t.Download("/Home.sync", name, (root / "local" / "d").string(), rev).failure,
              Failure::kBadName);
  }
  for (const char* folder : {"Home.sync", "/../x", "/a/../../x", "/", "/a//b"}) {
    Listing listing;
    EXPECT_EQ(t.List(folder, "", listing).failure, Failure::kBadName) << folder;
    EXPECT_EQ(t.Upload(source, folder, "main", true, rev).failure, Failure::kBadName) << folder;
  }
  EXPECT_EQ(Names(root), (std::vector<std::string>{"local"}));
}

TEST_F(FolderTransportTest, WaitSeesANewFileAndEndsOnCancel) {
  FolderTransport t(root.string());
  std::string rev;
  ASSERT_TRUE(t.Upload(Local("m", "v1"), "/Home.sync", "main", true, rev).ok());
  std::thread writer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    std::string r;
    t.Upload(Local("p", "part"), "/Home.sync", "7.1", false, r);
  });
  bool changed = false;
  ASSERT_TRUE(t.Wait("/Home.sync", 10, nullptr, changed).ok());
  writer.join();
  EXPECT_TRUE(changed);
  std::atomic<bool> cancel{true};
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(t.Wait("/Home.sync", 10, &cancel, changed).ok());
  EXPECT_FALSE(changed);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

}  // namespace
}  // namespace vemra::sync
