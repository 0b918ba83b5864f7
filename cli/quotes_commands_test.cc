// quotes against a scripted quotes service on 127.0.0.1.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/testing/test_files.h"
#include "platform/testing/http_server.h"

namespace vemra::cli {
namespace {

using platform::testing::HttpServer;
using testing::Cli;
using testing::Outcome;
using testing::ReadBytes;
using Json = nlohmann::json;

TEST(QuotesCommandTest, RatesAreFetchedStoredAndFailuresReported) {
  testing::ScratchDir dir;
  const std::string book = dir.Path("home.kestrum");
  ASSERT_EQ(Cli({"new", book}).status, kExitOK);
  // Saving a currency through the editor enters it into rate updates.
  for (const char* code : {"EUR", "GBP"})
    ASSERT_EQ(Cli({"currency", "edit", book, code}).status, kExitOK);
  ASSERT_EQ(Cli({"currency", "edit", book, "USD", "--decimals", "2"}).status, kExitOK);

  int status = 200;
  std::string skip;  // a pair the service leaves out
  HttpServer server([&](const HttpServer::Request& r) {
    HttpServer::Reply reply;
    reply.status = status;
    std::string query = r.target.substr(r.target.find('=') + 1);
    for (size_t start = 0; start < query.size();) {
      const size_t comma = std::min(query.find(',', start), query.size());
      const std::string pair = query.substr(start, comma - start);
      if (pair != skip) reply.body += pair + ",1.25,2026-11-23\n";
      start = comma + 1;
    }
    return reply;
  });

  Outcome unset = Cli({"quotes", book});
  EXPECT_EQ(unset.status, kExitFailed);
  EXPECT_NE(unset.err.find("No quotes service is set"), std::string::npos);
  EXPECT_EQ(Cli({"quotes", book, "--host", "ftp://example.org"}).status, kExitUsage);

  // The host set in the settings serves when --host is not given.
  {
    std::filesystem::create_directories(dir.Path("xdg-config/kestrum"));
    std::ofstream settings(dir.Path("xdg-config/kestrum/settings.json"));
    settings << Json{{"com.vemra.finance.mac.quotes_host", server.url()}}.dump();
  }
  Outcome all = Cli({"quotes", book, "--json"});
  ASSERT_EQ(all.status, kExitOK) << all.err << all.out;
  Json j = Json::parse(all.out);
  ASSERT_EQ(j["pairs"].size(), 3u);
  for (const Json& pair : j["pairs"]) {
    EXPECT_EQ(pair["rate"], 1.25);
    EXPECT_EQ(pair["stored"], true);
    EXPECT_EQ(pair["reply"], pair["pair"].get<std::string>() + ",1.25,2026-11-23");
  }
  EXPECT_TRUE(j["error"].is_null());

  // A service failure changes nothing; a pair left out fails the currency it alone served.
  status = 503;
  const std::vector<uint8_t> before = ReadBytes(book);
  Outcome failed = Cli({"quotes", book, "--currency", "GBP"});
  EXPECT_EQ(failed.status, kExitFailed);
  EXPECT_NE(failed.err.find("Update failed: HTTP 503"), std::string::npos) << failed.err;
  EXPECT_EQ(ReadBytes(book), before);
  status = 200;
  for (const Json& pair : j["pairs"]) {
    const std::string name = pair["pair"];
    if (name.find("GBP") != std::string::npos) skip = name;
  }
  ASSERT_FALSE(skip.empty());
  // With all pairs, each currency is in two of them: one rate is enough for each.
  Outcome partly = Cli({"quotes", book});
  EXPECT_EQ(partly.status, kExitOK) << partly.out;
  EXPECT_NE(partly.out.find(skip + " no rate"), std::string::npos) << partly.out;
  // Among GBP's pairs only, the other currency of the skipped one gets none.
  const std::string other = skip.substr(0, 3) == "GBP" ? skip.substr(3) : skip.substr(0, 3);
  Outcome gbp = Cli({"quotes", book, "--currency", "GBP"});
  EXPECT_EQ(gbp.status, kExitFailed);
  EXPECT_NE(gbp.out.find("Can't update currencies:\n"), std::string::npos) << gbp.out;
  EXPECT_NE(gbp.out.find("(" + other + ")"), std::string::npos) << gbp.out;
  EXPECT_EQ(server.requests().size(), 4u);
}

}  // namespace
}  // namespace vemra::cli
