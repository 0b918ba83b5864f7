// import-receipt: receipts stored once, their summary as text and JSON, dry runs, and what is
// refused without writing the book.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/testing/test_files.h"
#include "core/records/dates.h"
#include "platform/clock.h"

namespace vemra::cli {
namespace {

using testing::Cli;
using testing::Outcome;
using testing::ReadBytes;
using Json = nlohmann::json;

constexpr char kTwoReceipts[] = R"([
  {"ticket": {"document": {"receipt": {
    "user": "Corner shop", "retailPlaceAddress": "Main street 1",
    "dateTime": "2019-03-05T18:21:00", "cashTotalSum": 0, "totalSum": 12345,
    "fiscalDocumentNumber": 4321,
    "items": [{"name": "Milk", "sum": 9990, "quantity": 1},
              {"name": "Bread", "sum": 2355, "quantity": 3}]}}}},
  {"document": {}}
])";

// A new book on 2026-11-23 and a receipt export beside it.
class ReceiptCommandsTest : public ::testing::Test {
 protected:
  ReceiptCommandsTest() {
    EXPECT_EQ(Cli({"new", book}).status, kExitOK);
    Write(receipts, kTwoReceipts);
  }
  static void Write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
  }

  platform::ScopedClockPin pin{int64_t{MakeADate(2026, 10, 23).Val} * 86400 + 12 * 3600};
  testing::ScratchDir dir;
  std::string book = dir.Path("home.kestrum");
  std::string receipts = dir.Path("receipts.json");
};

TEST_F(ReceiptCommandsTest, ReceiptsAreImportedOnceAndReported) {
  Outcome o = Cli({"import-receipt", book, receipts, "--category", "Food/Receipts", "--json"});
  ASSERT_EQ(o.status, kExitOK) << o.err;
  Json j = Json::parse(o.out, nullptr, false);
  ASSERT_EQ(j["imported"].size(), 1u) << o.out;
  Json r = j["imported"][0];
  EXPECT_TRUE(r["SplitID"].is_number_unsigned());
  EXPECT_EQ(r["Name"], "Corner shop");
  EXPECT_EQ(r["Comment"], "Main street 1");
  EXPECT_EQ(r["Date"], "2019-03-05");
  EXPECT_EQ(r["Time"], 66060000);
  EXPECT_EQ(r["paid"], "electronic");
  EXPECT_EQ(r["total"], 123.45);
  EXPECT_EQ(r["fiscalDocumentNumber"], 4321);
  ASSERT_EQ(r["items"].size(), 2u);
  EXPECT_TRUE(r["items"][1]["ID"].is_number_unsigned());
  EXPECT_EQ(r["items"][1]["Name"], "Bread");
  EXPECT_EQ(r["items"][1]["WithdrawAmount"], 23.55);
  EXPECT_EQ(r["items"][1]["Quantity"], 3);
  EXPECT_EQ(j["skipped"],
            Json::parse(R"([{"receipt": 1, "reason": "no receipt under \"document\""}])"));

  // The same file again: nothing new, the book is not written.
  const std::vector<uint8_t> after = ReadBytes(book);
  Outcome again = Cli({"import-receipt", book, receipts});
  EXPECT_EQ(again.status, kExitFailed);
  EXPECT_NE(again.out.find("skipped receipt 0: already imported"), std::string::npos) << again.out;
  EXPECT_NE(again.err.find("no receipt was imported"), std::string::npos) << again.err;
  EXPECT_EQ(ReadBytes(book), after);

  Outcome allowed = Cli({"import-receipt", book, receipts, "--allow-duplicates"});
  ASSERT_EQ(allowed.status, kExitOK) << allowed.err;
  EXPECT_NE(allowed.out.find(", 2019-03-05 18:21 Corner shop, 2 items, total "), std::string::npos)
      << allowed.out;
  EXPECT_NE(allowed.out.find(" Bread x 3  "), std::string::npos) << allowed.out;
  EXPECT_NE(allowed.out.find("imported 1 receipt into "), std::string::npos) << allowed.out;
  EXPECT_NE(ReadBytes(book), after);
}

TEST_F(ReceiptCommandsTest, DryRunsAndRefusalsLeaveTheBookUnwritten) {
  Write(dir.Path("text.json"), "receipt: milk");
  Write(dir.Path("empty.json"), R"({"items": []})");
  const std::vector<uint8_t> before = ReadBytes(book);

  Outcome dry = Cli({"import-receipt", book, receipts, "--dry-run", "--json"});
  ASSERT_EQ(dry.status, kExitOK) << dry.err;
  Json j = Json::parse(dry.out, nullptr, false);
  EXPECT_TRUE(j["imported"][0]["SplitID"].is_null()) << dry.out;
  EXPECT_TRUE(j["imported"][0]["items"][0]["ID"].is_null());

  const struct {
    Args args;
    int status;
    const char* message;
  } cases[] = {
      {{book, dir.Path("missing.json")}, kExitFailed, "Can't open file"},
      {{book, dir.Path("text.json")}, kExitFailed, "is not a receipt export: not JSON"},
      {{book, dir.Path("empty.json")}, kExitFailed, "holds no receipt with items"},
      {{book, receipts, "--account", "Nowhere"}, kExitFailed, "no account 'Nowhere'"},
      {{book, receipts, "--category", "Food//Tea"}, kExitFailed, "empty name in the path"},
      {{dir.Path("none.kestrum"), receipts}, kExitFailed, "Can't open file"},
      {{book}, kExitUsage, "give FILE and RECEIPT.json"},
      {{book, receipts, "--bogus"}, kExitUsage, "--bogus"},
      {{book, receipts, "--category", "\xff"}, kExitUsage, "not UTF-8"},
  };
  for (const auto& c : cases) {
    Args args{"import-receipt"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    Outcome o = Cli(args);
    EXPECT_EQ(o.status, c.status) << args.back() << ": " << o.err;
    EXPECT_NE(o.err.find(c.message), std::string::npos) << o.err;
  }
  EXPECT_EQ(ReadBytes(book), before);
}

}  // namespace
}  // namespace vemra::cli
