// The Dropbox client against a fake of the service on 127.0.0.1: routes and headers, retries,
// refused and expired tokens, damaged downloads, the long poll, the login, and the three-copy
// simulation with the client in between.
#include "sync/dropbox.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "platform/log.h"
#include "platform/unicode.h"
#include "sync/auto_sync.h"
#include "sync/dropbox_login.h"
#include "sync/testing/dropbox_fake.h"
#include "sync/testing/sync_sim.h"

namespace vemra::sync {
namespace {

namespace fs = std::filesystem;
using testing::FakeDropbox;

class DropboxTest : public ::testing::Test {
 protected:
  DropboxTest()
      : dir_(fs::temp_directory_path() /
             ("kestrum-dropbox-" + std::to_string(::getpid()) + "-" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name())),
        client_(DropboxHosts::WithBase(fake_.url()), "test-token") {
    fs::remove_all(dir_);
    fs::create_directories(dir_);
    client_.SetRetryDelay(std::chrono::milliseconds(5));
  }
  ~DropboxTest() override { fs::remove_all(dir_); }

  std::string Local(const std::string& name, const std::string& bytes) {
    const std::string path = (dir_ / name).string();
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }
  static std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  std::string Into(const std::string& name) { return (dir_ / name).string(); }

  FakeDropbox fake_;
  fs::path dir_;
  DropboxTransport client_;
};

TEST(DropboxWireTest, ApiArgEscapesAndContentHashFollowsBlocks) {
  // Every character from 0x7F up travels as \uXXXX, beyond U+FFFF as a surrogate pair.
  EXPECT_EQ(ApiArg({{"path", "/Дом.sync/main"}}), R"({"path":"/\u0414\u043e\u043c.sync/main"})");
  EXPECT_EQ(ApiArg({{"path", "/a\x7f\xf0\x9f\x92\xb0"}}), R"({"path":"/a\u007f\ud83d\udcb0"})");
  // The block hash against the fake's own, fed in uneven pieces across the 4 MiB boundary.
  for (size_t size : {size_t{0}, size_t{1}, size_t{4} << 20, (size_t{4} << 20) + 1}) {
    std::string bytes(size, '\0');
    for (size_t k = 0; k < size; ++k) bytes[k] = static_cast<char>(k * 131 + 7);
    ContentHasher h;
    for (size_t at = 0; at < size;) {
      const size_t n = std::min<size_t>(size - at, 1000003);
      h.Update(bytes.data() + at, n);
      at += n;
    }
    EXPECT_EQ(h.Finish(), testing::DropboxContentHash(bytes)) << size;
  }
  EXPECT_EQ(testing::DropboxContentHash(""),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  std::string problem;
  EXPECT_TRUE(AcceptableBase("https://api.example.org", problem));
  EXPECT_TRUE(AcceptableBase("http://127.0.0.1:8080", problem));
  EXPECT_FALSE(AcceptableBase("http://example.org", problem));
  EXPECT_FALSE(AcceptableBase("http://127.0.0.1.example.org", problem));
  EXPECT_FALSE(AcceptableBase("ftp://127.0.0.1", problem));
  EXPECT_EQ(AccountRecord("a@b.c", ""), R"({ "account": "a@b.c", "token": "" })");
  // The SHA-256 of "" and of "abc" in base64url, the padding dropped.
  EXPECT_EQ(Challenge(""), "47DEQpj8HBSa-_TImW-5JCeuQeRkm5NMpJWZG3hSuFU");
  EXPECT_EQ(Challenge("abc"), "ungWv48Bz-pBQUDeXa4iI7ADYaOWF3qctBD_YfIAFa0");
}

TEST_F(DropboxTest, RoutesHeadersAndConflicts) {
  std::string rev;
  Listing listing;
  EXPECT_EQ(client_.List("/Home.sync", "", listing).failure, Failure::kNotFound);
  ASSERT_TRUE(client_.Upload(Local("m", "book v1"), "/Home.sync", "main", true, rev).ok());
  const std::string first = rev;
  ASSERT_TRUE(client_.Upload(Local("m", "book v2"), "/Home.sync", "main", true, rev).ok());
  EXPECT_NE(rev, first);
  ASSERT_TRUE(client_.Upload(Local("p", "part"), "/Home.sync", "7.100", false, rev).ok());
  // The same bytes again (a reply that was lost) succeed; other bytes under the name do not.
  EXPECT_TRUE(client_.Upload(Local("p", "part"), "/Home.sync", "7.100", false, rev).ok());
  EXPECT_EQ(client_.Upload(Local("q", "other"), "/Home.sync", "7.100", false, rev).failure,
            Failure::kConflict);
  EXPECT_EQ(client_.Upload(Local("q", "x"), "/Home.sync", "../x", false, rev).failure,
            Failure::kBadName);

  for (int k = 0; k < 5; ++k) fake_.Put("/Home.sync/7." + std::to_string(200 + k), "p");
  fake_.MakeFolder("/Home.sync/sub");
  fake_.page_size = 3;
  std::vector<std::string> names;
  std::string cursor;
  int pages = 0;
  do {
    ASSERT_TRUE(client_.List("/Home.sync", cursor, listing).ok());
    for (const Entry& e : listing.entries) names.push_back(e.name + (e.is_file ? "" : "/"));
    cursor = listing.cursor;
    ++pages;
  } while (listing.has_more);
  EXPECT_EQ(pages, 3);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"7.100", "7.200", "7.201", "7.202", "7.203", "7.204",
                                             "main", "sub/"}));

  ASSERT_TRUE(client_.Download("/Home.sync", "main", Into("d1"), rev).ok());
  EXPECT_EQ(Read(Into("d1")), "book v2");
  EXPECT_EQ(rev, fake_.Rev("/Home.sync/main"));
  EXPECT_EQ(client_.Download("/Home.sync", "nothing", Into("d2"), rev).failure, Failure::kNotFound);
  EXPECT_FALSE(fs::exists(Into("d2")));

  // What went over the wire.
  bool saw_download = false, saw_upload = false;
  for (const auto& r : fake_.requests()) {
    EXPECT_EQ(r.method, "POST");
    EXPECT_EQ(r.headers.count("authorization"), 1u) << r.target;
    if (r.target == "/2/files/download") {
      saw_download = true;
      EXPECT_TRUE(r.body.empty());
      EXPECT_EQ(r.headers.count("content-type"), 0u);
      EXPECT_EQ(r.headers.at("dropbox-api-arg").find("/Home.sync/"), 9u);
    }
    if (r.target == "/2/files/upload") {
      saw_upload = true;
      EXPECT_EQ(r.headers.at("content-type"), "application/octet-stream");
    }
  }
  EXPECT_TRUE(saw_download && saw_upload);
}

TEST_F(DropboxTest, FailuresAreRetriedRefusedOrReported) {
  fake_.Put("/Home.sync/main", "book");
  std::string rev;
  Listing listing;
  // Two server errors, a dropped connection, a truncated body: retried, then fine.
  fake_.FailNext("files/list_folder", 500, 2);
  EXPECT_TRUE(client_.List("/Home.sync", "", listing).ok());
  fake_.DropNext("files/download");
  fake_.TruncateNext("files/download");
  EXPECT_TRUE(client_.Download("/Home.sync", "main", Into("a"), rev).ok());
  // 429 waits for Retry-After.
  fake_.FailNext("files/list_folder", 429);
  EXPECT_TRUE(client_.List("/Home.sync", "", listing).ok());
  // Four in a row: the step fails.
  fake_.FailNext("files/list_folder", 503, 4);
  EXPECT_EQ(client_.List("/Home.sync", "", listing).failure, Failure::kNetwork);
  // Damaged bytes never reach the file.
  fake_.CorruptNext("files/download");
  const Status damaged = client_.Download("/Home.sync", "main", Into("b"), rev);
  EXPECT_NE(damaged.text.find("damaged"), std::string::npos) << damaged.text;
  EXPECT_FALSE(fs::exists(Into("b")));
  // A stored upload whose reply was lost is sent again and found identical.
  fake_.StoreThenDropNext("files/upload");
  EXPECT_TRUE(client_.Upload(Local("p", "part"), "/Home.sync", "7.1", false, rev).ok());

  // A refused token ends at once with the message; an expired one is refreshed once.
  DropboxTransport stranger(DropboxHosts::WithBase(fake_.url()), "wrong");
  const Status refused = stranger.List("/Home.sync", "", listing);
  EXPECT_EQ(refused.failure, Failure::kUnauthorized);
  EXPECT_EQ(refused.text, kTokenRefused);
  int refreshes = 0;
  DropboxLogin login{"user@example.com", "test-token", "test-refresh", fake_.url()};
  DropboxTransport renewing(DropboxHosts::WithBase(fake_.url()), "test-token", [&] {
    ++refreshes;
    return RefreshAccessToken(DropboxHosts::WithBase(fake_.url()), login).ok() ? login.access_token
                                                                               : std::string();
  });
  fake_.ExpireAccessToken();
  EXPECT_TRUE(renewing.List("/Home.sync", "", listing).ok());
  EXPECT_EQ(refreshes, 1);
  EXPECT_NE(renewing.access_token(), "test-token");
}

TEST_F(DropboxTest, LongPollSeesChangesAndStopsOnCancel) {
  fake_.MakeFolder("/Home.sync");
  std::thread writer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    fake_.Put("/Home.sync/7.5", "p");
  });
  bool changed = false;
  std::atomic<bool> cancel{false};
  ASSERT_TRUE(client_.Wait("/Home.sync", 30, &cancel, changed).ok());
  writer.join();
  EXPECT_TRUE(changed);
  for (const auto& r : fake_.requests()) {
    if (r.target == "/2/files/list_folder/longpoll") {
      EXPECT_EQ(r.headers.count("authorization"), 0u);
    }
  }
  // A cancelled wait ends within a second, unchanged.
  std::thread stopper([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    cancel = true;
  });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(client_.Wait("/Home.sync", 30, &cancel, changed).ok());
  stopper.join();
  EXPECT_FALSE(changed);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
}

TEST_F(DropboxTest, LoginExchangesTheCodeAndKeepsTheTokensPrivate) {
  ::setenv("XDG_CONFIG_HOME", (dir_ / "config").c_str(), 1);
  const DropboxHosts hosts = DropboxHosts::WithBase(fake_.url());
  const std::string verifier = NewVerifier();
  EXPECT_EQ(verifier.size(), 64u);
  fake_.code_challenge = Challenge(verifier);
  EXPECT_NE(AuthorizeUrl(hosts, fake_.code_challenge).find("code_challenge_method=S256"),
            std::string::npos);
  DropboxLogin login;
  EXPECT_EQ(ExchangeCode(hosts, "test-code", NewVerifier(), login).failure, Failure::kUnauthorized);
  ASSERT_TRUE(ExchangeCode(hosts, "test-code", verifier, login).ok());
  EXPECT_EQ(login.account, "user@example.com");
  std::string problem;
  ASSERT_TRUE(WriteLogin(login, problem)) << problem;
  EXPECT_EQ(fs::status(LoginPath()).permissions() & fs::perms::all,
            fs::perms::owner_read | fs::perms::owner_write);
  DropboxLogin again;
  ASSERT_TRUE(ReadLogin(again, problem));
  EXPECT_EQ(again.refresh_token, login.refresh_token);
  EXPECT_TRUE(RemoveLogin());
  EXPECT_FALSE(ReadLogin(again, problem));
}

TEST_F(DropboxTest, AutomaticSyncRunsOneLoopPerProcessAndStopsWithTheDocument) {
  ::setenv("XDG_CACHE_HOME", (dir_ / "cache").c_str(), 1);
  ::setenv("XDG_CONFIG_HOME", (dir_ / "config").c_str(), 1);
  std::FILE* quiet = std::fopen("/dev/null", "w");
  std::FILE* previous_log = platform::SetLogOutput(quiet);
  // Two copies of a book whose account record carries the token itself.
  fs::create_directories(dir_ / "a");
  fs::create_directories(dir_ / "b");
  const std::string a = Into("a/Home.kestrum"), b = Into("b/Home.kestrum");
  {
    Document d;
    d.New("en");
    std::wstring record;
    ASSERT_TRUE(Utf8ToWide(AccountRecord("", "test-token"), record));
    d.Sync([&] {
      d.database().Header.Option1 = 1;
      d.database().SetDatabaseText(3, record);
    });
    ASSERT_TRUE(d.saveToFile(a).ok());
  }
  fs::copy_file(a, b);
  Document da, db;
  ASSERT_EQ(da.readFile(a), 0);
  ASSERT_EQ(db.readFile(b), 0);
  std::string problem;
  std::unique_ptr<Transport> ta = InitDropbox(da, a, fake_.url(), problem);
  ASSERT_TRUE(ta) << problem;
  // Linking asked for the account and wrote it beside the token.
  std::wstring text;
  da.Sync([&] { text = da.database().GetDatabaseText(3); });
  EXPECT_EQ(WideToUtf8(text), AccountRecord("user@example.com", "test-token"));

  std::unique_ptr<Transport> tb = InitDropbox(db, b, fake_.url(), problem);
  ASSERT_TRUE(tb) << problem;

  // The fake answers one request at a time, so the second document's first run goes before the
  // first one's loop starts waiting.
  std::atomic<int> runs_a{0}, runs_b{0};
  RunOptions options;
  options.revision_key = kDropboxRevisionKey;
  auto wait_for = [](const std::function<bool()>& done) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!done() && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return done();
  };
  ASSERT_TRUE(AutomaticSync::Start(
      da, std::move(ta), options, [&](const RunReport&) { ++runs_a; }, std::chrono::seconds(3)));
  EXPECT_TRUE(AutomaticSync::Running());
  ASSERT_TRUE(wait_for([&] { return runs_a > 0; }));
  // A second document gets its first run, not a second loop.
  ASSERT_TRUE(AutomaticSync::Start(
      db, std::move(tb), options, [&](const RunReport&) { ++runs_b; },
      std::chrono::milliseconds(0)));
  ASSERT_TRUE(wait_for([&] { return runs_b > 0; }));
  std::this_thread::sleep_for(std::chrono::seconds(3));
  EXPECT_EQ(runs_b, 1);
  EXPECT_TRUE(AutomaticSync::Running());

  // A part of another copy arrives: the loop of the first document fetches and applies it.
  const uint64_t id = vemra::testing::AddExpense(db, 5, false);
  const std::string part = db.cacheFiles().front();
  fake_.Put("/Home.sync/" + fs::path(part).filename().string(), Read(part));
  ASSERT_TRUE(wait_for([&] {
    bool has = false;
    da.Sync([&] { has = da.database().FindEntry(id, 1) != nullptr; });
    return has;
  }));

  // Closing a document stops the loop, even in the middle of a long poll.
  const auto start = std::chrono::steady_clock::now();
  da.Close();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  EXPECT_FALSE(AutomaticSync::Running());
  db.Close();
  platform::SetLogOutput(previous_log);
  std::fclose(quiet);
}

TEST(DropboxSimulationTest, ThreeCopiesConvergeThroughTheService) {
  const char* env = std::getenv("KESTRUM_SYNC_RUNS");
  const int runs = env != nullptr ? std::max(1, std::atoi(env) / 10) : 30;
  const fs::path base =
      fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path();
  const fs::path folder = base / ("kestrum-dropbox-sim-" + std::to_string(::getpid()));
  for (int seed = 1; seed <= runs; ++seed) {
    fs::remove_all(folder);
    fs::create_directories(folder);
    FakeDropbox fake;
    auto client =
        std::make_unique<DropboxTransport>(DropboxHosts::WithBase(fake.url()), "test-token");
    client->SetRetryDelay(std::chrono::milliseconds(1));
    vemra::testing::SimulatedCloud cloud;
    cloud.transport = std::move(client);
    cloud.names = [&] { return fake.Names("/Home.sync"); };
    cloud.read = [&](const std::string& name, std::string& bytes) {
      return fake.Get("/Home.sync/" + name, bytes);
    };
    cloud.write = [&](const std::string& name, const std::string& bytes) {
      fake.Put("/Home.sync/" + name, bytes);
    };
    cloud.remove = [&](const std::string& name) { fake.Remove("/Home.sync/" + name); };
    std::ostringstream trace;
    const vemra::testing::SyncSimulationResult r =
        vemra::testing::RunSyncSimulation(seed, folder.string(), &cloud, &trace);
    ASSERT_TRUE(r.converged) << "seed " << seed << ": " << r.failure << "\n" << trace.str();
  }
  fs::remove_all(folder);
}

}  // namespace
}  // namespace vemra::sync
