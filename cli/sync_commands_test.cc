// sync: two copies of one book meeting in a cloud folder on the local disk.
#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/commands.h"
#include "cli/testing/test_files.h"
#include "sync/dropbox_login.h"
#include "sync/testing/dropbox_fake.h"

namespace vemra::cli {
namespace {

namespace fs = std::filesystem;
using testing::Cli;
using testing::Outcome;
using Json = nlohmann::json;

TEST(SyncCommandTest, TwoCopiesMeetInAFolder) {
  testing::ScratchDir dir;
  const std::string a = dir.Path("a/Home.kestrum");
  const std::string b = dir.Path("b/Home.kestrum");
  const std::string cloud = dir.Path("cloud");
  fs::create_directories(dir.Path("a"));
  fs::create_directories(dir.Path("b"));
  fs::create_directories(cloud);
  ASSERT_EQ(Cli({"new", a}).status, kExitOK);

  // Usage is settled before the book is opened; a missing folder is a failure.
  const struct {
    std::vector<std::string> args;
    int status;
    const char* says;
  } kRefused[] = {
      {{"sync", a}, kExitUsage, "give either --folder ROOT or --dropbox"},
      {{"sync", a, "--folder", cloud, "--for", "5"}, kExitUsage, "--for goes with --watch"},
      {{"sync", a, "--folder", cloud, "--watch", "--for", "0"}, kExitUsage, "--for wants"},
      {{"sync", a, "--enable", "--disable"}, kExitUsage, "give one of"},
      {{"sync", a, "--folder", dir.Path("nowhere")}, kExitFailed, "no such folder"},
      {{"sync", a, "--folder", cloud}, kExitFailed, "cloud sync is off for this book"},
  };
  for (const auto& c : kRefused) {
    Outcome o = Cli(c.args);
    EXPECT_EQ(o.status, c.status) << c.says;
    EXPECT_NE(o.err.find(c.says), std::string::npos) << o.err;
  }
  EXPECT_FALSE(fs::exists(cloud + "/Home.sync"));

  ASSERT_EQ(Cli({"sync", a, "--enable"}).status, kExitOK);
  EXPECT_NE(Cli({"sync", a, "--enable"}).out.find("on already"), std::string::npos);
  // The change made before any sync waits in the queue.
  ASSERT_EQ(Cli({"add", a, "--expense", "--amount", "12.50", "--name", "Bread"}).status, kExitOK);
  fs::copy_file(a, b);
  Json status = Json::parse(Cli({"sync", a, "--status", "--json"}).out);
  EXPECT_EQ(status["enabled"], true);
  EXPECT_EQ(status["queue"].size(), 1u);
  EXPECT_EQ(status["last_sync"], "");
  EXPECT_EQ(status["cloud_folder"], "/Home.sync/");

  Outcome first = Cli({"sync", a, "--folder", cloud, "--json"});
  ASSERT_EQ(first.status, kExitOK) << first.err;
  Json run = Json::parse(first.out);
  EXPECT_EQ(run["main"], "uploaded");
  EXPECT_EQ(run["uploaded"].size(), 2u);  // the part and the main file
  EXPECT_TRUE(fs::exists(cloud + "/Home.sync/main"));

  // The second copy adds its own change, then takes the first one's.
  ASSERT_EQ(Cli({"add", b, "--expense", "--amount", "3", "--name", "Milk"}).status, kExitOK);
  Outcome second = Cli({"sync", b, "--folder", cloud, "--json"});
  ASSERT_EQ(second.status, kExitOK) << second.err;
  run = Json::parse(second.out);
  EXPECT_EQ(run["applied"].size(), 1u) << second.out;
  EXPECT_EQ(run["errors"].size(), 0u);
  EXPECT_NE(Cli({"transactions", b}).out.find("Bread"), std::string::npos);

  // Watching for a second runs once more and ends by itself; the first copy gets "Milk".
  Outcome watch = Cli({"sync", a, "--folder", cloud, "--watch", "--for", "1"});
  EXPECT_EQ(watch.status, kExitOK) << watch.err;
  EXPECT_NE(watch.out.find("applied"), std::string::npos);
  EXPECT_NE(Cli({"transactions", a}).out.find("Milk"), std::string::npos);
  status = Json::parse(Cli({"sync", a, "--status", "--json"}).out);
  EXPECT_EQ(status["queue"].size(), 0u);
  EXPECT_NE(status["last_sync"], "");
  EXPECT_EQ(status["folder_revision"].get<std::string>().size(), 64u);

  ASSERT_EQ(Cli({"sync", a, "--disable"}).status, kExitOK);
  EXPECT_NE(Cli({"sync", a, "--status"}).out.find("cloud sync: off"), std::string::npos);
}

// Runs `args` with `input` as standard input.
Outcome WithInput(const std::string& input, const std::vector<std::string>& args) {
  std::istringstream in(input);
  std::streambuf* previous = std::cin.rdbuf(in.rdbuf());
  Outcome o = Cli(args);
  std::cin.rdbuf(previous);
  return o;
}

TEST(SyncCommandTest, DropboxLoginLinkAndSync) {
  testing::ScratchDir dir;
  sync::testing::FakeDropbox fake;
  const std::string a = dir.Path("a/Home.kestrum");
  const std::string b = dir.Path("b/Home.kestrum");
  fs::create_directories(dir.Path("a"));
  fs::create_directories(dir.Path("b"));
  ASSERT_EQ(Cli({"new", a}).status, kExitOK);

  Outcome o = Cli({"dropbox", "link", a});
  EXPECT_EQ(o.status, kExitFailed);
  EXPECT_NE(o.err.find("not logged in to Dropbox"), std::string::npos);
  EXPECT_EQ(Cli({"dropbox", "login", "--api-base", "http://example.org"}).status, kExitUsage);
  o = WithInput("wrong-code\n", {"dropbox", "login", "--api-base", fake.url()});
  EXPECT_EQ(o.status, kExitFailed);
  EXPECT_NE(o.err.find("did not accept the code"), std::string::npos);
  o = WithInput("  test-code \n", {"dropbox", "login", "--api-base", fake.url()});
  ASSERT_EQ(o.status, kExitOK) << o.err;
  EXPECT_NE(o.out.find(fake.url() + "/oauth2/authorize?client_id="), std::string::npos);
  EXPECT_NE(o.out.find("logged in as user@example.com"), std::string::npos);

  ASSERT_EQ(Cli({"dropbox", "link", a}).status, kExitOK);
  // The book names the account and holds no token.
  EXPECT_NE(Cli({"dump", a}).out.find(R"({ \"account\": \"user@example.com\", \"token\": \"\" })"),
            std::string::npos);
  ASSERT_EQ(Cli({"add", a, "--expense", "--amount", "4", "--name", "Bread"}).status, kExitOK);
  fs::copy_file(a, b);
  o = Cli({"sync", a, "--dropbox", "--json"});
  ASSERT_EQ(o.status, kExitOK) << o.err;
  EXPECT_EQ(Json::parse(o.out)["main"], "uploaded");
  std::string main;
  EXPECT_TRUE(fake.Get("/Home.sync/main", main));

  ASSERT_EQ(Cli({"add", b, "--expense", "--amount", "2", "--name", "Milk"}).status, kExitOK);
  ASSERT_EQ(Cli({"sync", b, "--dropbox"}).status, kExitOK);
  o = Cli({"sync", a, "--dropbox", "--watch", "--for", "1"});
  EXPECT_EQ(o.status, kExitOK) << o.err;
  EXPECT_NE(Cli({"transactions", a}).out.find("Milk"), std::string::npos);
  EXPECT_NE(Cli({"sync", a, "--status"}).out.find("account: user@example.com"), std::string::npos);

  // A refused token ends the run with what to do, the book unchanged.
  fake.ExpireAccessToken();
  ASSERT_TRUE(sync::RemoveLogin());
  o = Cli({"sync", a, "--dropbox"});
  EXPECT_EQ(o.status, kExitFailed);
  EXPECT_NE(o.err.find("dropbox login"), std::string::npos);
  ASSERT_EQ(Cli({"dropbox", "unlink", a}).status, kExitOK);
  EXPECT_NE(Cli({"sync", a, "--dropbox"}).err.find("is not linked to Dropbox"), std::string::npos);
}

}  // namespace
}  // namespace vemra::cli
