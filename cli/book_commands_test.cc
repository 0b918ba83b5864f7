#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/commands.h"
#include "cli/testing/test_files.h"
#include "core/records/dates.h"
#include "platform/clock.h"

namespace vemra::cli {
namespace {

using testing::ReadBytes;
using Json = nlohmann::json;

using testing::Cli;
using testing::Outcome;

Json JsonOf(const Outcome& o) {
  EXPECT_EQ(o.status, kExitOK) << o.err;
  return Json::parse(o.out, nullptr, false);
}

// A book made with `new` on 2026-11-23, the clock pinned there.
class BookCommandsTest : public ::testing::Test {
 protected:
  BookCommandsTest() {
    Outcome made = Cli({"new", book});
    EXPECT_EQ(made.status, kExitOK) << made.err;
  }
  // Adds a transaction; returns its ID.
  uint64_t Add(const Args& options) {
    Args args{"add", book, "--json"};
    args.insert(args.end(), options.begin(), options.end());
    return JsonOf(Cli(args))["ID"].get<uint64_t>();
  }
  // The transaction nodes of this month, flattened, with the totals of the headers.
  Json Month(const Args& extra = {}) {
    Args args{"transactions", book, "--json"};
    args.insert(args.end(), extra.begin(), extra.end());
    return JsonOf(Cli(args));
  }

  platform::ScopedClockPin pin{int64_t{MakeADate(2026, 10, 23).Val} * 86400 + 12 * 3600};
  testing::ScratchDir dir;
  std::string book = dir.Path("home.kestrum");
};

TEST_F(BookCommandsTest, NewBookTakesExpensesIncomesAndTransfersAndShowsThem) {
  Json accounts = JsonOf(Cli({"accounts", book, "--json"}));
  ASSERT_EQ(accounts["accounts"].size(), 1u);
  EXPECT_EQ(accounts["currency"], "USD");
  EXPECT_EQ(accounts["accounts"][0]["name"], "Main");

  uint64_t groceries =
      Add({"--expense", "--amount", "12.30", "--account", "main", "--category",
           "Food/Super Groceries", "--create", "--payee", "Corner shop", "--name", "milk"});
  Add({"--income", "--amount", "1000", "--account", "Main", "--date", "2026-11-01"});
  Add({"--expense", "--amount", "5", "--account", "Main", "--uncleared"});
  ASSERT_EQ(Cli({"rate", book, "USD", "EUR", "0.5"}).status, kExitOK);
  ASSERT_EQ(Cli({"rate", book, "eur", "usd"}).out, "1 EUR = 2 USD\n");
  Json categories = JsonOf(Cli({"categories", book, "--json"}));
  bool found = false;
  for (const auto& top : categories) {
    for (const auto& child : top["children"]) found |= child["name"] == "Super Groceries";
  }
  EXPECT_TRUE(found) << "the category path was created under an existing top category";
  EXPECT_EQ(JsonOf(Cli({"categories", book, "--payees", "--json"})).back()["name"], "Corner shop");

  Json month = Month({"--group-by", "kind"});
  // Incomes, expenses, transfers; the uncleared expense is listed but left out of the total.
  ASSERT_EQ(month["rows"].size(), 3u);
  EXPECT_EQ(month["rows"][0]["amount"], 1000.0);
  EXPECT_EQ(month["rows"][1]["amount"], -12.3);
  EXPECT_EQ(month["rows"][1]["children"].size(), 2u);
  EXPECT_EQ(month["rows"][2]["amount"], 0.0);

  Json by_category = Month({"--group-by", "category"});
  const Json& food = by_category["rows"][1]["children"].back();
  EXPECT_EQ(food["type"], "category");
  EXPECT_EQ(food["children"][0]["name"], "Super Groceries");
  EXPECT_EQ(food["children"][0]["children"][0]["ID"], groceries);

  ASSERT_EQ(Cli({"edit", book, std::to_string(groceries), "--amount", "20", "--cleared"}).status,
            kExitOK);
  EXPECT_EQ(JsonOf(Cli({"accounts", book, "--json"}))["balance"], 1000 - 20.0);
  EXPECT_EQ(Cli({"delete", book, std::to_string(groceries)}).status, kExitOK);
  EXPECT_EQ(JsonOf(Cli({"accounts", book, "--json"}))["balance"], 1000.0);
  EXPECT_EQ(Cli({"delete", book, std::to_string(groceries)}).status, kExitFailed);

  Outcome text = Cli({"transactions", book, "--period", "all"});
  EXPECT_NE(text.out.find("2026-11-01"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("$1,000.00"), std::string::npos) << text.out;
}

TEST_F(BookCommandsTest, BadInputIsRefusedAndLeavesTheFileAlone) {
  Add({"--expense", "--amount", "1", "--account", "Main"});
  const std::vector<uint8_t> before = ReadBytes(book);
  const std::vector<Args> refused = {
      {"add", book, "--expense", "--amount", "1", "--account", "Nobody"},
      {"add", book, "--expense", "--amount", "1e3", "--account", "Main"},
      {"add", book, "--expense", "--amount", "1", "--rate", "2"},
      {"add", book, "--expense", "--amount", "1", "--category", "Fod/Groceries"},
      {"add", book, "--expense", "--amount", "nan", "--account", "Main"},
      {"add", book, "--expense", "--amount", "1", "--account", "Main", "--date", "2026-02-29"},
      {"add", book, "--expense", "--amount", "1", "--account", "Main", "--date", "23.11.2026"},
      {"add", book, "--expense", "--amount", "1", "--account", "Main", "--category", "Food//X"},
      {"add", book, "--transfer", "--amount", "1", "--account", "Main"},
      {"add", book, "--transfer", "--amount", "1", "--account", "Main", "--to-account", "Main"},
      {"add", book, "--expense", "--income", "--amount", "1", "--account", "Main"},
      {"add", book, "--expense", "--amount", "1", "--account", "Main", "--to-account", "Main"},
      {"add", book, "--amount", "1", "--account", "Main"},
      {"add", book, "--expense", "--account", "Main"},
      {"edit", book, "42", "--amount", "2"},
      {"edit", book, "x", "--amount", "2"},
      {"delete", book, "42"},
      {"transactions", book, "--period", "fortnight"},
      {"transactions", book, "--from", "2026-01-01"},
      {"transactions", book, "--account", "Nobody"},
      {"transactions", book, "--currency", "XYZ"},
      {"transactions", book, "--group-by", "colour"},
      {"rate", book, "USD", "EUR", "0"},
      {"rate", book, "USD", "XYZ"},
      {"new", book},
      {"accounts", dir.Path("missing.kestrum")},
  };
  for (const Args& args : refused) {
    Outcome o = Cli(args);
    EXPECT_NE(o.status, kExitOK) << args[0] << " " << args.back();
    EXPECT_NE(o.err.find("kestrum-cli: "), std::string::npos) << o.err;
    EXPECT_TRUE(o.out.empty()) << o.out;
  }
  EXPECT_EQ(ReadBytes(book), before);
}

}  // namespace
}  // namespace vemra::cli
