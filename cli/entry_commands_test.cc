// add, edit and schedule through the editors: the amount options replayed in command-line
// order, categories and payees, schedules, and what the form and the book refuse.
#include <gtest/gtest.h>

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

// A new book on 2026-11-23 (a Monday) with a euro account; 1 USD = 0.9 EUR.
class EntryCommandsTest : public ::testing::Test {
 protected:
  EntryCommandsTest() {
    for (const Args& args :
         {Args{"new", book}, Args{"account", "add", book, "--name", "Euros", "--currency", "EUR"},
          Args{"rate", book, "USD", "EUR", "0.9"}}) {
      Outcome o = Cli(args);
      EXPECT_EQ(o.status, kExitOK) << o.err;
    }
  }
  // Runs a command that prints one JSON value; null when it fails.
  Json Run(Args args) {
    args.push_back("--json");
    Outcome o = Cli(args);
    EXPECT_EQ(o.status, kExitOK) << o.err;
    return Json::parse(o.out, nullptr, false);
  }

  platform::ScopedClockPin pin{int64_t{MakeADate(2026, 10, 23).Val} * 86400 + 12 * 3600};
  testing::ScratchDir dir;
  std::string book = dir.Path("home.kestrum");
};

TEST_F(EntryCommandsTest, AmountOptionsAreTypedInCommandLineOrder) {
  const struct {
    Args options;
    double withdraw, target, quantity;
  } cases[] = {
      // USD -> EUR at 0.9.
      {{"--transfer", "--to-account", "Euros", "--to-amount", "90"}, 100, 90, 1},
      {{"--transfer", "--to-account", "Euros", "--amount", "100", "--to-amount", "92"}, 100, 92, 1},
      {{"--transfer", "--to-account", "Euros", "--to-amount", "10", "--rate", "0.8"}, 12.5, 10, 1},
      // The quantity typed after the amount multiplies it; typed first, it does not.
      {{"--expense", "--amount", "100", "--quantity", "4"}, 400, 0, 4},
      {{"--expense", "--quantity", "4", "--amount", "100"}, 100, 0, 4},
      {{"--expense", "--price", "2.5", "--quantity", "3"}, 7.5, 0, 3},
      {{"--income", "--amount", "10.125"}, 0, 10.13, 1},  // rounded half away from zero
      {{"--expense", "--amount", "-3"}, -3, 0, 1},
  };
  for (const auto& c : cases) {
    Args args{"add", book};
    args.insert(args.end(), c.options.begin(), c.options.end());
    Json j = Run(args);
    EXPECT_EQ(j["WithdrawAmount"], c.withdraw) << j.dump();
    EXPECT_EQ(j["TargetAmount"], c.target) << j.dump();
    EXPECT_EQ(j["Quantity"], c.quantity) << j.dump();
  }
  // Only the amount taken between currencies leaves the received amount 0: refused.
  const std::vector<uint8_t> before = ReadBytes(book);
  Outcome refused = Cli({"add", book, "--transfer", "--to-account", "Euros", "--amount", "100"});
  EXPECT_EQ(refused.status, kExitFailed);
  EXPECT_NE(refused.err.find("both amounts"), std::string::npos) << refused.err;
  EXPECT_EQ(ReadBytes(book), before);
}

TEST_F(EntryCommandsTest, CategoriesMustExistUnlessCreatedAndPayeesAreMade) {
  const std::vector<uint8_t> before = ReadBytes(book);
  Outcome typo = Cli({"add", book, "--expense", "--amount", "5", "--category", "Food/Grocerys"});
  EXPECT_EQ(typo.status, kExitFailed);
  EXPECT_NE(typo.err.find("the closest are: Food / Groceries"), std::string::npos) << typo.err;
  EXPECT_EQ(ReadBytes(book), before);

  Outcome made =
      Cli({"add", book, "--expense", "--amount", "5", "--category", "Food/Tea", "--create",
           "--payee", "Tea house", "--name", "Sencha", "--time", "08:30", "--star", "--uncleared"});
  ASSERT_EQ(made.status, kExitOK) << made.err;
  EXPECT_NE(made.out.find("Food / Tea, Tea house \"Sencha\" (uncleared)"), std::string::npos)
      << made.out;
  EXPECT_NE(made.out.find("created payee Tea house"), std::string::npos);
  const std::string id =
      made.out.substr(made.out.find(' ', 6) + 1, made.out.find(':') - made.out.find(' ', 6) - 1);
  Json copy = Run({"add", book, "--copy", id, "--amount", "6"});
  EXPECT_NE(std::to_string(copy["ID"].get<uint64_t>()), id);
  EXPECT_EQ(copy["Name"], "Sencha");
  EXPECT_EQ(copy["Cleared"], true);  // a copy is cleared as a new transaction
  EXPECT_EQ(copy["Date"], "2026-11-23");

  Json edited = Run({"edit", book, id, "--category", "", "--no-star", "--time", "09:00:05"});
  EXPECT_EQ(edited["CategoryID"], 0);
  EXPECT_EQ(edited["Star"], false);
  EXPECT_EQ(edited["Time"], "09:00:05");
  const std::vector<uint8_t> after = ReadBytes(book);
  Outcome same = Cli({"edit", book, id, "--amount", "5", "--payee", "Tea house", "--uncleared"});
  EXPECT_EQ(same.out, "nothing changed\n");
  EXPECT_EQ(ReadBytes(book), after);
  // A kind change needs the amount; the account counted in stays.
  EXPECT_EQ(Cli({"edit", book, id, "--income"}).status, kExitUsage);
  Json income = Run({"edit", book, id, "--income", "--amount", "7"});
  EXPECT_EQ(income["kind"], "income");
  EXPECT_EQ(income["WithdrawAccountID"], 0);
  EXPECT_NE(income["TargetAccountID"], 0);
  EXPECT_EQ(income["TargetAmount"], 7);
}

TEST_F(EntryCommandsTest, SchedulesRepeatAndListTheirComingDates) {
  Json monthly = Run({"schedule", "add", book, "--expense", "--amount", "800", "--name", "Rent",
                      "--monthly", "--start", "2026-12-31"});
  EXPECT_EQ(monthly["Schedule"]["type"], "monthly");
  EXPECT_EQ(monthly["Schedule"]["day"], 31);
  EXPECT_EQ(monthly["Schedule"]["months"].size(), 12u);
  EXPECT_EQ(monthly["next"], "2026-12-31");
  const std::string rent = std::to_string(monthly["ID"].get<uint64_t>());

  Json weekly = Run({"schedule", "add", book, "--income", "--amount", "50", "--weekly", "--on",
                     "tue,Friday", "--start", "2026-11-24", "--times", "3"});
  EXPECT_EQ(weekly["Schedule"]["weekdays"], Json({"tue", "fri"}));
  EXPECT_EQ(weekly["Schedule"]["until"], "2026-12-01");  // Tue 24, Fri 27, Tue 1
  Json upcoming = Run({"schedule", "upcoming", book, "--count", "4"});
  const Json& o = upcoming["occurrences"];
  ASSERT_EQ(o.size(), 4u);
  EXPECT_EQ(o[0]["date"], "2026-11-24");
  EXPECT_EQ(o[2]["date"], "2026-12-01");
  EXPECT_EQ(o[3]["date"], "2026-12-31");
  EXPECT_EQ(o[3]["Name"], "Rent");
  Outcome list = Cli({"schedule", "list", book});
  EXPECT_NE(list.out.find("monthly on day 31 from 2026-12-31, next 2026-12-31"), std::string::npos)
      << list.out;
  EXPECT_NE(list.out.find("weekly on tue, fri from 2026-11-24 until 2026-12-01"), std::string::npos)
      << list.out;

  // Switching the recurrence needs its own option; the start moves the date with it.
  const std::vector<uint8_t> before = ReadBytes(book);
  EXPECT_EQ(Cli({"schedule", "edit", book, rent, "--weekly"}).status, kExitUsage);
  EXPECT_EQ(Cli({"schedule", "edit", book, rent, "--every", "2"}).status, kExitUsage);
  EXPECT_EQ(ReadBytes(book), before);
  Json daily =
      Run({"schedule", "edit", book, rent, "--daily", "--every", "0", "--start", "2027-01-05"});
  EXPECT_EQ(daily["Schedule"]["every"], 1);  // 0 is saved as every day
  EXPECT_EQ(daily["Date"], "2027-01-05");
  EXPECT_EQ(Cli({"schedule", "edit", book, rent, "--daily", "--every", "1"}).out,
            "nothing changed\n");
  EXPECT_EQ(Cli({"schedule", "delete", book, rent}).status, kExitOK);
  EXPECT_EQ(Run({"schedule", "list", book}).size(), 1u);
}

TEST_F(EntryCommandsTest, FormProblemsExitTwoAndRefusalsOneWithoutWriting) {
  Json plain = Run({"add", book, "--expense", "--amount", "1"});
  const std::string id = std::to_string(plain["ID"].get<uint64_t>());
  const std::vector<uint8_t> before = ReadBytes(book);
  // A new daily, weekly or monthly expense of 1 with `extra`.
  auto schedule = [&](Args extra) {
    Args args{"schedule", "add", book, "--expense", "--amount", "1"};
    args.insert(args.end(), extra.begin(), extra.end());
    return args;
  };
  const std::pair<Args, int> cases[] = {
      {schedule({}), kExitUsage},
      {schedule({"--daily", "--weekly"}), kExitUsage},
      {schedule({"--weekly", "--on", "funday"}), kExitUsage},
      {schedule({"--daily", "--every", "10001"}), kExitUsage},
      {schedule({"--daily", "--times", "0"}), kExitUsage},
      {schedule({"--monthly", "--day", "32"}), kExitUsage},
      {schedule({"--monthly", "--months", "jan,x"}), kExitUsage},
      {schedule({"--weekly", "--every", "2"}), kExitUsage},
      {schedule({"--daily", "--until", "2026-11-31"}), kExitUsage},
      {{"add", book, "--expense", "--amount", "1", "--date", "2026-11-23", "--start", "x"},
       kExitUsage},
      {{"add", book, "--expense", "--amount", "1.", "--name", "x"}, kExitUsage},
      {{"add", book, "--expense", "--amount", "1", "--name", "\xff\xfe"}, kExitUsage},
      {{"schedule", "add", book, "--expense", "--amount", "1", "--daily", "--start", "2026-11-23",
        "--until", "2026-11-22"},
       kExitFailed},
      {{"schedule", "add", book, "--expense", "--amount", "1", "--weekly", "--on", "mon", "--weeks",
        "odd", "--start", "2026-11-24", "--until", "2026-11-29"},
       kExitFailed},  // no Monday before it finishes
      {{"schedule", "edit", book, id, "--daily", "--every", "2"}, kExitFailed},
      {{"schedule", "delete", book, id}, kExitFailed},
      {{"edit", book, id, "--quantity", "2", "--transfer", "--amount", "1"}, kExitFailed},
      {{"add", book, "--transfer", "--amount", "1", "--to-account", "Main"}, kExitFailed},
  };
  for (const auto& [args, status] : cases) {
    Outcome o = Cli(args);
    EXPECT_EQ(o.status, status) << args[1] << " " << args.back() << ": " << o.err;
    EXPECT_NE(o.err.find("kestrum-cli: "), std::string::npos);
  }
  EXPECT_EQ(ReadBytes(book), before);
}

}  // namespace
}  // namespace vemra::cli
