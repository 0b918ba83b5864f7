// The book commands as documents: passwords, the cache folder, restore, read-only books and
// several writers at once.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/commands.h"
#include "cli/testing/test_files.h"
#include "collections/book.h"
#include "core/database/database.h"
#include "core/records/transaction.h"

namespace vemra::cli {
namespace {

using testing::Cli;
using testing::Outcome;
using testing::ReadBytes;
using testing::WriteBytes;
using Json = nlohmann::json;

class DocumentCommandsTest : public ::testing::Test {
 protected:
  DocumentCommandsTest() {
    ::unsetenv("KESTRUM_PASSWORD");
    Outcome made = Cli({"new", book});
    EXPECT_EQ(made.status, kExitOK) << made.err;
  }

  Outcome Add(const std::string& amount, const std::string& file = {}) {
    return Cli(
        {"add", file.empty() ? book : file, "--expense", "--amount", amount, "--account", "Main"});
  }

  // The count of transactions the file holds, read as the file tools read it.
  size_t Transactions(const std::string& file) {
    DataBase db;
    EXPECT_EQ(db.OpenFile(file), kResultOK);
    size_t n = 0;
    for (const auto& [id, e] : db.GetTable(1)) n += e->Header.Type == etTransaction;
    return n;
  }

  Json Cache() {
    Outcome o = Cli({"cache", book, "--json"});
    EXPECT_EQ(o.status, kExitOK) << o.err;
    return Json::parse(o.out, nullptr, false);
  }

  testing::ScratchDir dir;
  std::string book = dir.Path("home.kestrum");
};

TEST_F(DocumentCommandsTest, AddsLeaveTheirPartsAndBackupAndRestoreBringsTheBookBack) {
  // Reading writes nothing, not even the cache folder.
  ASSERT_EQ(Cli({"accounts", book}).status, kExitOK);
  Json cache = Cache();
  EXPECT_FALSE(std::filesystem::exists(cache["folder"].get<std::string>()));
  EXPECT_TRUE(cache["backup"].is_null());
  EXPECT_TRUE(cache["parts"].empty());

  for (const char* amount : {"1", "2", "3"}) ASSERT_EQ(Add(amount).status, kExitOK);
  cache = Cache();
  ASSERT_EQ(cache["parts"].size(), 3u);
  ASSERT_TRUE(cache["backup"].is_object());
  EXPECT_EQ(cache["backup"]["path"].get<std::string>(),
            cache["folder"].get<std::string>() + "/home.kestrum");
  EXPECT_EQ(cache["backup"]["modified"].get<std::string>().back(), 'Z');
  EXPECT_EQ(cache["upload"], cache["folder"].get<std::string>() + ".upload");
  Outcome text = Cli({"cache", book});
  EXPECT_NE(text.out.find("part files:    3, newest "), std::string::npos) << text.out;

  // A healthy book is replaced only on request.
  Outcome refused = Cli({"restore", book});
  EXPECT_EQ(refused.status, kExitFailed);
  EXPECT_NE(refused.err.find("--force"), std::string::npos);

  // The record area overwritten: the book commands open the backup with its parts, and say so.
  std::vector<uint8_t> bytes = ReadBytes(book);
  for (size_t i = 1100; i < bytes.size(); ++i) bytes[i] = 0;
  WriteBytes(book, bytes);
  Outcome shown = Cli({"transactions", book, "--period", "all", "--json"});
  EXPECT_EQ(shown.status, kExitOK) << shown.err;
  EXPECT_NE(shown.err.find("warning: " + book + " could not be read; opened its backup copy of "),
            std::string::npos)
      << shown.err;
  EXPECT_NE(shown.err.find("(3 part files merged)"), std::string::npos) << shown.err;
  EXPECT_EQ(ReadBytes(book), bytes);                                    // reading left it alone
  EXPECT_EQ(Json::parse(Cli({"cache", book, "--json"}).out), Cache());  // ID from the backup

  Outcome copy = Cli({"restore", book, "-o", dir.Path("copy.kestrum")});
  EXPECT_EQ(copy.status, kExitOK) << copy.err;
  EXPECT_EQ(Transactions(dir.Path("copy.kestrum")), 3u);
  Outcome restored = Cli({"restore", book});
  EXPECT_EQ(restored.status, kExitOK) << restored.err;
  EXPECT_NE(restored.out.find("kept as " + book + ".damaged"), std::string::npos);
  EXPECT_EQ(ReadBytes(book + ".damaged"), bytes);
  EXPECT_EQ(Transactions(book), 3u);

  // Without a cache there is nothing to restore from.
  std::filesystem::remove_all(Cache()["folder"].get<std::string>());
  Outcome none = Cli({"restore", book, "--force"});
  EXPECT_EQ(none.status, kExitFailed);
  EXPECT_NE(none.err.find("No backup copy"), std::string::npos);
  WriteBytes(book, bytes);
  Outcome damaged = Cli({"accounts", book});
  EXPECT_EQ(damaged.status, kExitFailed);
  EXPECT_NE(damaged.err.find("This is not a valid Kestrum data base file."), std::string::npos);
}

TEST_F(DocumentCommandsTest, AProtectedBookWantsItsPasswordButTheFileToolsDoNot) {
  {
    DataBase db;
    ASSERT_EQ(db.OpenFile(book), kResultOK);
    const std::u16string password = u"Пароль1";
    db.Header.PasswordLength = static_cast<uint8_t>(password.size());
    for (size_t i = 0; i < password.size(); ++i) db.Header.Password[i] = password[i];
    db.SetDatabaseText(4, L"the usual one");
    ASSERT_EQ(db.SaveFile(book), kResultOK);
  }
  if (!::isatty(STDIN_FILENO)) {
    Outcome missing = Cli({"accounts", book});
    EXPECT_EQ(missing.status, kExitFailed);
    EXPECT_NE(missing.err.find("Invalid password"), std::string::npos);
  }
  Outcome wrong = Cli(
      {"add", book, "--password", "пароль1", "--expense", "--amount", "1", "--account", "Main"});
  EXPECT_EQ(wrong.status, kExitFailed);
  EXPECT_NE(wrong.err.find("Invalid password\nHint: the usual one\n"), std::string::npos)
      << wrong.err;
  EXPECT_EQ(Transactions(book), 0u);
  EXPECT_EQ(
      Cli({"add", book, "--expense", "--password=Пароль1", "--amount", "1", "--account", "Main"})
          .status,
      kExitOK);
  ::setenv("KESTRUM_PASSWORD", "Пароль1", 1);
  EXPECT_EQ(Cli({"summary", book}).status, kExitOK);
  ::unsetenv("KESTRUM_PASSWORD");
  EXPECT_EQ(Cli({"check", book}).status, kExitOK);
  EXPECT_EQ(Cli({"check", book, "--password", "x"}).status, kExitUsage);
  EXPECT_EQ(Transactions(book), 1u);
}

TEST_F(DocumentCommandsTest, ReadOnlyBooksAreReadButNeverReplaced) {
  ::chmod(book.c_str(), 0444);
  const std::vector<uint8_t> before = ReadBytes(book);
  Outcome add = Add("5");
  EXPECT_EQ(add.status, kExitFailed);
  EXPECT_NE(add.err.find(book + " is read-only"), std::string::npos) << add.err;
  EXPECT_EQ(ReadBytes(book), before);
  EXPECT_EQ(Cli({"accounts", book}).status, kExitOK);
  EXPECT_TRUE(Cache()["parts"].empty());

  Outcome folder = Cli({"accounts", dir.Path("")});
  EXPECT_NE(folder.err.find(" is a directory"), std::string::npos) << folder.err;
  Outcome missing = Cli({"accounts", dir.Path("none.kestrum")});
  EXPECT_NE(missing.err.find("Can't open file " + dir.Path("none.kestrum") +
                             ": No such file or directory"),
            std::string::npos)
      << missing.err;
}

TEST_F(DocumentCommandsTest, SuggestRanksWhatTheFieldsOffer) {
  for (const Args& extra : {Args{"--name", "Coffee", "--category", "Food/Coffee shops", "--create"},
                            Args{"--name", "Ice coffee", "--category", "Food"},
                            Args{"--name", "Beans", "--category", "Coffee beans", "--create"},
                            Args{"--name", "Кофе", "--category", "Food"}}) {
    Args args{"add", book, "--expense", "--amount", "2", "--account", "Main"};
    args.insert(args.end(), extra.begin(), extra.end());
    ASSERT_EQ(Cli(args).status, kExitOK);
  }
  ASSERT_EQ(Cli({"add", book, "--income", "--amount", "2", "--account", "Main", "--name",
                 "Coffee refund"})
                .status,
            kExitOK);
  const std::pair<Args, std::string> kCases[] = {
      {{"description", "cof", "--kind", "expense"},
       "Coffee\tFood/Coffee shops\nIce coffee\tFood\nBeans\tCoffee beans\n"},
      {{"description", "COF", "--kind", "income"}, "Coffee refund\t\n"},
      {{"description", "кОФ"}, "Кофе\tFood\n"},
      {{"description", "cof", "--limit", "1"}, "Coffee\tFood/Coffee shops\n"},
      {{"category", "coffee s", "--under", "food"}, "Food/Coffee shops\n"},
      {{"description", "   "}, ""},
  };
  for (const auto& [words, expected] : kCases) {
    Args args{"suggest", book};
    args.insert(args.end(), words.begin(), words.end());
    Outcome o = Cli(args);
    EXPECT_EQ(o.status, kExitOK) << o.err;
    EXPECT_EQ(o.out, expected) << words[1];
  }
  Json j = Json::parse(Cli({"suggest", book, "description", "coff", "--json"}).out);
  ASSERT_EQ(j["suggestions"].size(), 4u);  // Coffee, Coffee refund, Ice coffee, Beans
  EXPECT_EQ(j["suggestions"][1]["kind"], "income");
  EXPECT_EQ(j["suggestions"][2]["name"], "Ice coffee");
  EXPECT_EQ(j["suggestions"][2]["match"], "word");
  EXPECT_EQ(j["suggestions"][3]["match"], "category");
  EXPECT_EQ(Cli({"suggest", book, "tag", "x"}).status, kExitUsage);
  EXPECT_EQ(Cli({"suggest", book, "category", "x", "--under", "Nowhere"}).status, kExitFailed);
}

TEST_F(DocumentCommandsTest, TheAccountListMovesAndDeletesThroughItsModel) {
  const std::string demo = dir.Path("demo.kestrum");
  ASSERT_EQ(Cli({"generate", demo, "--transactions", "300"}).status, kExitOK);
  auto groups = [&] {
    Json j = Json::parse(Cli({"accounts", demo, "--json"}).out);
    std::vector<std::string> out;
    for (const Json& a : j["accounts"]) out.push_back(a["name"]);
    for (const Json& g : j["groups"]) {
      out.push_back(g["name"].get<std::string>() + ":");
      for (const Json& a : g["accounts"]) out.push_back("  " + a["name"].get<std::string>());
    }
    return out;
  };
  const std::vector<std::string> before = groups();
  ASSERT_EQ(before.front(), "Cash:");
  EXPECT_EQ(Cli({"account", "move", demo, "Wallet", "--on", "Bank accounts"}).status, kExitOK);
  EXPECT_EQ(Cli({"account", "move", demo, "Credit cards", "--above", "Cash"}).status, kExitOK);
  std::vector<std::string> after = groups();
  EXPECT_EQ(after[0], "Credit cards:");
  EXPECT_NE(std::find(after.begin(), after.end(), "  Wallet"), after.end());
  // A refused drop, an unknown row and a delete without --yes change nothing.
  const std::vector<uint8_t> bytes = ReadBytes(demo);
  EXPECT_EQ(Cli({"account", "move", demo, "Cash", "--above", "Wallet"}).status, kExitFailed);
  EXPECT_EQ(Cli({"account", "move", demo, "Nowhere", "--end"}).status, kExitFailed);
  Outcome asked = Cli({"account", "delete", demo, "Checking"});
  EXPECT_EQ(asked.status, kExitFailed);
  EXPECT_NE(asked.err.find("Delete account \"Checking\"? All transactions will be deleted"),
            std::string::npos);
  EXPECT_EQ(ReadBytes(demo), bytes);
  EXPECT_EQ(Cli({"account", "move", demo, "Wallet"}).status, kExitUsage);

  // A group left without accounts shows no transactions, not all of them.
  Json bank = Json::parse(
      Cli({"transactions", demo, "--group", "Bank accounts", "--period", "all", "--json"}).out);
  ASSERT_FALSE(bank["rows"].empty());
  ASSERT_EQ(Cli({"account", "move", demo, "Checking", "--end"}).status, kExitOK);
  ASSERT_EQ(Cli({"account", "move", demo, "Wallet", "--end"}).status, kExitOK);
  bank = Json::parse(
      Cli({"transactions", demo, "--group", "Bank accounts", "--period", "all", "--json"}).out);
  EXPECT_TRUE(bank["rows"].empty());
  ASSERT_EQ(Cli({"group", "delete", demo, "Bank accounts"}).status, kExitOK);
  after = groups();
  EXPECT_EQ(std::find(after.begin(), after.end(), "Bank accounts:"), after.end());
  EXPECT_NE(std::find(after.begin(), after.end(), "Checking"), after.end());  // top level now
  ASSERT_EQ(Cli({"account", "delete", demo, "Checking", "--yes"}).status, kExitOK);
  after = groups();
  EXPECT_EQ(std::find(after.begin(), after.end(), "Checking"), after.end());
}

TEST_F(DocumentCommandsTest, ViewStoresThePeriodAndTheClosedAccountsOption) {
  Json shown = Json::parse(Cli({"view", book, "--json"}).out);
  EXPECT_EQ(shown["hiddenAccounts"], false);
  const auto cache_before = Cache()["parts"].size();
  ASSERT_EQ(Cli({"view", book, "--period", "quarter", "--at", "2019-05-10"}).status, kExitOK);
  ASSERT_EQ(Cli({"view", book, "--move", "-1", "--hidden-accounts", "show"}).status, kExitOK);
  shown = Json::parse(Cli({"view", book, "--json"}).out);
  EXPECT_EQ(shown["period"],
            Json({{"begin", "2019-01-01"}, {"end", "2019-03-31"}, {"text", "Q1 2019"}}));
  EXPECT_EQ(shown["hiddenAccounts"], true);
  EXPECT_EQ(Cache()["parts"].size(), cache_before);  // view options are not journalled
  // The transaction list opens on the stored period.
  Outcome listed = Cli({"transactions", book, "--json"});
  ASSERT_EQ(listed.status, kExitOK) << listed.err;
  EXPECT_EQ(Cli({"transactions", book}).out.rfind("Q1 2019 (2019-01-01 \u2013 2019-03-31)", 0), 0u);
  EXPECT_EQ(Cli({"view", book, "--period", "custom", "2019-01-01"}).status, kExitUsage);
  EXPECT_EQ(Cli({"view", book, "--hidden-accounts", "maybe"}).status, kExitUsage);
}

TEST_F(DocumentCommandsTest, TotalsAreTheSumOfTheRowsAndEveryListShowsOneBalance) {
  const std::string demo = dir.Path("demo.kestrum");
  ASSERT_EQ(Cli({"generate", demo, "--transactions", "2000"}).status, kExitOK);
  // Every group's total is the sum of the cleared rows under it as shown, to the cent, in a
  // currency the amounts are converted into.
  Json list = Json::parse(
      Cli({"transactions", demo, "--period", "all", "--currency", "EUR", "--json"}).out);
  size_t groups = 0;
  std::function<void(const Json&)> check = [&](const Json& rows) {
    for (const Json& row : rows) {
      if (row["type"] == "transaction") continue;
      double cleared = 0, pending = 0;
      std::function<void(const Json&)> sum = [&](const Json& children) {
        for (const Json& c : children) {
          if (c["type"] != "transaction") {
            sum(c["children"]);
          } else {
            (c["cleared"].get<bool>() ? cleared : pending) += c["amount"].get<double>();
          }
        }
      };
      sum(row["children"]);
      EXPECT_NEAR(row["amount"].get<double>(), cleared, 1e-6) << row.dump().substr(0, 80);
      EXPECT_NEAR(row.value("uncleared", 0.0), pending, 1e-6);
      ++groups;
      check(row["children"]);
    }
  };
  for (const auto& [key, value] : list.items()) {
    if (value.is_array()) check(value);
  }
  EXPECT_GT(groups, 100u);
  // Three rows of -0.9333 EUR show as -0.93 each and total -2.79, not -2.80.
  ASSERT_EQ(Cli({"rate", book, "USD", "EUR", "0.9333"}).status, kExitOK);
  for (int i = 0; i < 3; ++i) ASSERT_EQ(Add("1").status, kExitOK);
  Json day = Json::parse(
      Cli({"transactions", book, "--period", "day", "--currency", "EUR", "--json"}).out);
  ASSERT_EQ(day["rows"].size(), 1u);
  EXPECT_DOUBLE_EQ(day["rows"][0]["amount"].get<double>(), -2.79);
  // A currency without any rate says so instead of converting at 1.
  Json currencies = Json::parse(Cli({"currencies", book, "--json"}).out);
  for (const Json& c : currencies) {
    if (c["code"] == "EUR") {
      EXPECT_NEAR(c["rate"].get<double>(), 1 / 0.9333, 1e-12);
    }
    if (c["code"] == "JPY") {
      EXPECT_TRUE(c["rate"].is_null());
    }
  }
  EXPECT_TRUE(Json::parse(Cli({"rate", book, "EUR", "JPY", "--json"}).out)["rate"].is_null());
  // A transfer into a currency without a rate needs the amount that arrives.
  {
    Book db;
    ASSERT_EQ(db.OpenFile(book), kResultOK);
    db.SetCurrentUser(0);
    TAccount yen;
    yen.Name = L"Yen";
    for (const TCurrency& c : db.Currencies().GetAllCurrencies()) {
      if (c.GetCode() == "JPY") yen.Data.CurrencyID = c.Header.ID;
    }
    ASSERT_NE(db.Accounts().AddAccount(yen), 0u);
    ASSERT_EQ(db.SaveFile(book), kResultOK);
  }
  Args transfer{"add",       book,   "--transfer",   "--amount", "5",
                "--account", "Main", "--to-account", "Yen"};
  Outcome refused = Cli(transfer);
  EXPECT_EQ(refused.status, kExitFailed);
  EXPECT_NE(refused.err.find("a transfer needs both amounts"), std::string::npos) << refused.err;
  transfer.insert(transfer.end(), {"--to-amount", "700"});
  EXPECT_EQ(Cli(transfer).status, kExitOK);
  // Its balance counts unconverted, and says so.
  Json listed = Json::parse(Cli({"accounts", book, "--json"}).out);
  for (const Json& a : listed["accounts"]) {
    EXPECT_EQ(a["rate"].is_null(), a["name"] == "Yen") << a.dump();
  }
  Outcome shown = Cli({"accounts", book});
  EXPECT_NE(shown.out.find("\u00A5700?"), std::string::npos) << shown.out;
  EXPECT_NE(shown.out.find("counted unconverted"), std::string::npos);
  Outcome listed_yen =
      Cli({"transactions", book, "--period", "day", "--account", "Yen", "--currency", "USD"});
  EXPECT_NE(listed_yen.out.find("stands unconverted"), std::string::npos) << listed_yen.out;
  // `accounts` and `summary` give every account the same balance.
  Json accounts = Json::parse(Cli({"accounts", demo, "--json", "--show-hidden"}).out);
  std::vector<Json> all(accounts["accounts"].begin(), accounts["accounts"].end());
  for (const Json& g : accounts["groups"])
    all.insert(all.end(), g["accounts"].begin(), g["accounts"].end());
  const std::string summary = Cli({"summary", demo}).out;
  ASSERT_GT(all.size(), 5u);
  for (const Json& a : all) {
    const std::string name = a["name"];
    size_t at = summary.find("  " + name + " ");
    ASSERT_NE(at, std::string::npos) << name;
    std::string line = summary.substr(at, summary.find('\n', at) - at);
    std::istringstream words(line.substr(2 + 28));
    std::string code, amount;
    words >> code >> amount;
    EXPECT_NEAR(std::stod(amount), a["balance"].get<double>(), 0.005) << line;
  }
}

TEST_F(DocumentCommandsTest, MakeGroupAndDeleteWorkAsTheListsCommands) {
  auto add = [&](const std::string& amount, const std::string& category) {
    Outcome o = Cli({"add", book, "--expense", "--amount", amount, "--account", "Main",
                     "--category", category, "--create", "--json"});
    return std::to_string(Json::parse(o.out)["ID"].get<uint64_t>());
  };
  const std::string a = add("1", "Zebras"), b = add("2", "Zebras/Lego");
  Outcome grouped = Cli({"make-group", book, a, b});
  ASSERT_EQ(grouped.status, kExitOK) << grouped.err;
  const std::string split = grouped.out.substr(grouped.out.rfind(' ') + 1, std::string::npos);
  EXPECT_EQ(Cli({"make-group", book, a}).status, kExitUsage);
  EXPECT_EQ(Cli({"make-group", book, a, "12345"}).status, kExitFailed);
  // The split goes with its parts; a category goes, its child moves up.
  std::string toys;
  for (const Json& c : Json::parse(Cli({"categories", book, "--json"}).out)) {
    if (c["name"] == "Zebras") toys = std::to_string(c["id"].get<uint64_t>());
  }
  ASSERT_FALSE(toys.empty());
  Outcome deleted = Cli({"delete", book, split.substr(0, split.size() - 1), toys});
  EXPECT_EQ(deleted.status, kExitOK) << deleted.err;
  EXPECT_EQ(Transactions(book), 0u);
  bool lego_on_top = false;
  for (const Json& c : Json::parse(Cli({"categories", book, "--json"}).out)) {
    lego_on_top = lego_on_top || c["name"] == "Lego";
  }
  EXPECT_TRUE(lego_on_top);
  const std::string c = add("3", "Lego");
  EXPECT_EQ(Cli({"delete", book, c, "999"}).status, kExitFailed);  // nothing deleted
  EXPECT_EQ(Transactions(book), 1u);
}

TEST_F(DocumentCommandsTest, TransactionsSearchSortAndFollowTheSelectionCurrency) {
  for (const auto& [amount, name] : std::vector<std::pair<std::string, std::string>>{
           {"3", "Morning coffee"}, {"9", "Bread"}, {"5", "Iced Coffee"}}) {
    ASSERT_EQ(
        Cli({"add", book, "--expense", "--amount", amount, "--account", "Main", "--name", name})
            .status,
        kExitOK);
  }
  auto names = [&](const Args& extra) {
    Args args{"transactions", book, "--period", "day", "--json"};
    args.insert(args.end(), extra.begin(), extra.end());
    Json j = Json::parse(Cli(args).out);
    std::vector<std::string> out;
    for (const Json& day : j["rows"]) {
      for (const Json& row : day["children"]) out.push_back(row["name"]);
    }
    return out;
  };
  // Expenses are negative: descending puts the smaller one first.
  EXPECT_EQ(names({"--search", "COFFEE", "--sort", "-amount"}),
            (std::vector<std::string>{"Morning coffee", "Iced Coffee"}));
  EXPECT_EQ(names({"--sort", "name"}),
            (std::vector<std::string>{"Bread", "Iced Coffee", "Morning coffee"}));
  EXPECT_EQ(names({"--sort", "amount,name"}),
            (std::vector<std::string>{"Bread", "Iced Coffee", "Morning coffee"}));
  EXPECT_TRUE(names({"--search", "tea"}).empty());
  Json j = Json::parse(
      Cli({"transactions", book, "--period", "day", "--json", "--search", "coffee"}).out);
  EXPECT_EQ(j["rows"][0]["amount"], -8.0);  // the total of the rows shown
  EXPECT_EQ(j["search"], "coffee");
  EXPECT_EQ(Cli({"transactions", book, "--sort", "weight"}).status, kExitUsage);
  EXPECT_EQ(Cli({"transactions", book, "--group", "Nowhere"}).status, kExitFailed);
}

TEST_F(DocumentCommandsTest, CurrenciesAreAddedAndChangedThroughTheEditor) {
  Outcome added = Cli({"currency", "add", book, "--name", "Bitcoin", "--code", "XBTC", "--symbol",
                       "B", "--symbol-after", "--decimals", "8", "--json"});
  ASSERT_EQ(added.status, kExitOK) << added.err;
  Json j = Json::parse(added.out);
  EXPECT_EQ(j["Code"], "XBT");
  EXPECT_EQ(j["UpdateExRates"], true);
  EXPECT_EQ(j["Decimals"], 8);
  // Nothing to change, a clash, a bad form: the file stays byte for byte.
  const std::vector<uint8_t> bytes = ReadBytes(book);
  Outcome same = Cli({"currency", "edit", book, "xbt", "--decimals", "8"});
  EXPECT_EQ(same.status, kExitOK);
  EXPECT_EQ(same.out, "nothing changed\n");
  EXPECT_EQ(Cli({"currency", "add", book, "--name", "BITCOIN"}).status, kExitFailed);
  EXPECT_EQ(Cli({"currency", "add", book, "--name", "Coin", "--code", "XBT"}).status, kExitFailed);
  EXPECT_EQ(Cli({"currency", "add", book, "--code", "ABC"}).status, kExitUsage);
  EXPECT_EQ(Cli({"currency", "add", book, "--name", "Coin", "--decimals", "9"}).status, kExitUsage);
  EXPECT_EQ(ReadBytes(book), bytes);
  // Clearing the code takes the currency out of the rate update.
  j = Json::parse(Cli({"currency", "edit", book, "Bitcoin", "--code", "", "--json"}).out);
  EXPECT_EQ(j["UpdateExRates"], false);
}

TEST_F(DocumentCommandsTest, AccountsAndGroupsAreAddedAndChangedThroughTheEditor) {
  Outcome added = Cli({"account", "add", book, "--name", "Cash", "--opening", "20.50", "--json"});
  ASSERT_EQ(added.status, kExitOK) << added.err;
  Json cash = Json::parse(added.out);
  EXPECT_EQ(cash["InitialBalance"], 20.5);
  EXPECT_EQ(cash["Visible"], true);
  ASSERT_EQ(Cli({"group", "add", book, "--name", "Wallets", "--currency", "EUR"}).status, kExitOK);
  ASSERT_EQ(Cli({"account", "edit", book, "cash", "--group", "wallets"}).status, kExitOK);
  const std::vector<uint8_t> bytes = ReadBytes(book);
  // The same again changes nothing; refusals leave the file as it was.
  EXPECT_EQ(Cli({"account", "edit", book, "Cash", "--group", "Wallets"}).out, "nothing changed\n");
  EXPECT_EQ(Cli({"account", "close", book, "Cash"}).status, kExitFailed);  // it holds 20.50
  EXPECT_EQ(Cli({"account", "add", book, "--name", "MAIN"}).status, kExitFailed);
  EXPECT_EQ(Cli({"account", "add", book, "--name", "X", "--opening", "1e5"}).status, kExitUsage);
  EXPECT_EQ(Cli({"account", "add", book, "--name", "X", "--opening", "99999999999999"}).status,
            kExitUsage);
  EXPECT_EQ(Cli({"account", "add", book}).status, kExitUsage);
  EXPECT_EQ(Cli({"account", "add", book, "--name", "X", "--currency", "XYZ"}).status, kExitFailed);
  EXPECT_EQ(ReadBytes(book), bytes);
  // Closing with --force hides it; reopening finds it by name all the same.
  ASSERT_EQ(Cli({"account", "close", book, "Cash", "--force"}).status, kExitOK);
  Json listed = Json::parse(Cli({"accounts", book, "--json"}).out);
  EXPECT_TRUE(listed["groups"][0]["accounts"].empty());
  ASSERT_EQ(Cli({"account", "reopen", book, "Cash"}).status, kExitOK);
  listed = Json::parse(Cli({"accounts", book, "--json"}).out);
  ASSERT_EQ(listed["groups"][0]["accounts"].size(), 1u);
  EXPECT_EQ(listed["groups"][0]["accounts"][0]["name"], "Cash");
  // A second account makes a transfer possible.
  EXPECT_EQ(
      Cli({"add", book, "--transfer", "--amount", "5", "--account", "Main", "--to-account", "Cash"})
          .status,
      kExitOK);
}

TEST_F(DocumentCommandsTest, FormProblemsExitTwoRefusalsOneAndNoChangeWritesNothing) {
  Outcome added = Cli({"add", book, "--expense", "--amount", "5", "--account", "Main", "--json"});
  ASSERT_EQ(added.status, kExitOK);
  const std::string id = std::to_string(Json::parse(added.out)["ID"].get<uint64_t>());
  const std::vector<uint8_t> bytes = ReadBytes(book);
  const std::pair<Args, int> kCases[] = {
      {{"add", book, "--expense", "--amount", "99999999999999999999", "--account", "Main"},
       kExitUsage},
      {{"add", book, "--expense", "--amount", "10000000000000", "--account", "Main"}, kExitUsage},
      {{"add", book, "--expense", "--account", "Main"}, kExitUsage},
      {{"add", book, "--expense", "--amount", "1", "--account", "Main", "--date", "2026-02-30"},
       kExitUsage},
      {{"add", book, "--transfer", "--amount", "1"}, kExitUsage},
      {{"add", book, "--expense", "--amount", "1.5.0"}, kExitUsage},
      {{"add", book, "--expense", "--amount", "1", "--time", "24:00"}, kExitUsage},
      {{"add", book, "--expense", "--amount", "1", "--account", "Nowhere"}, kExitFailed},
      {{"add", book, "--expense", "--amount", "1", "--to-amount", "2"}, kExitFailed},
      {{"edit", book, id, "--swap"}, kExitFailed},
      {{"edit", book, id}, kExitOK},
      {{"edit", book, id, "--amount", "5"}, kExitOK},
  };
  for (const auto& [args, status] : kCases) {
    Outcome o = Cli(args);
    EXPECT_EQ(o.status, status) << args[2] << " " << o.err;
    if (status == kExitOK) {
      EXPECT_EQ(o.out, "nothing changed\n");
    }
  }
  EXPECT_EQ(ReadBytes(book), bytes);
}

TEST_F(DocumentCommandsTest, CategoryAndPayeeTreesAreKeptFromTheShell) {
  auto names = [&](bool payees) {
    Args args{"categories", book, "--json"};
    if (payees) args.push_back("--payees");
    std::vector<std::string> out;
    std::function<void(const Json&, const std::string&)> walk = [&](const Json& list,
                                                                    const std::string& at) {
      for (const Json& c : list) {
        out.push_back(at + c["name"].get<std::string>());
        walk(c["children"], at + c["name"].get<std::string>() + "/");
      }
    };
    walk(Json::parse(Cli(args).out), "");
    return out;
  };
  auto has = [](const std::vector<std::string>& v, const std::string& x) {
    return std::find(v.begin(), v.end(), x) != v.end();
  };
  ASSERT_EQ(Cli({"category", "add", book, "Zorbing/Chess"}).status, kExitOK);
  EXPECT_TRUE(has(names(false), "Zorbing/Chess"));
  ASSERT_EQ(Cli({"category", "rename", book, "Zorbing/Chess", "Go"}).status, kExitOK);
  ASSERT_EQ(Cli({"category", "move", book, "Zorbing/Go", "--top"}).status, kExitOK);
  ASSERT_EQ(Cli({"category", "delete", book, "Zorbing"}).status, kExitOK);
  std::vector<std::string> now = names(false);
  EXPECT_TRUE(has(now, "Go"));
  EXPECT_FALSE(has(now, "Zorbing"));
  ASSERT_EQ(Cli({"payee", "add", book, "Shops/New corner"}).status, kExitOK);
  EXPECT_TRUE(has(names(true), "Shops/New corner"));
  const std::vector<uint8_t> bytes = ReadBytes(book);
  EXPECT_EQ(Cli({"category", "add", book, "Go"}).status, kExitFailed);  // exists
  EXPECT_EQ(Cli({"category", "move", book, "Food", "--to", "Food/Groceries"}).status, kExitFailed);
  EXPECT_EQ(Cli({"category", "rename", book, "Nowhere", "X"}).status, kExitFailed);
  EXPECT_EQ(Cli({"category", "move", book, "Go"}).status, kExitUsage);
  EXPECT_EQ(Cli({"category", "paint", book, "Go"}).status, kExitUsage);
  EXPECT_EQ(ReadBytes(book), bytes);
}

TEST_F(DocumentCommandsTest, ConcurrentAddsKeepEveryTransaction) {
  constexpr int kWriters = 40;
  std::vector<pid_t> children;
  for (int i = 0; i < kWriters; ++i) {
    pid_t child = ::fork();
    if (child == 0) {
      Outcome o = Add(std::to_string(i + 1));
      if (!o.err.empty()) std::fprintf(stderr, "%s", o.err.c_str());
      ::_exit(o.status == kExitOK && o.err.empty() ? 0 : 1);
    }
    children.push_back(child);
  }
  for (pid_t child : children) {
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  EXPECT_EQ(Transactions(book), size_t{kWriters});
  Json cache = Cache();
  EXPECT_EQ(cache["parts"].size(), size_t{kWriters});

  // No temporary file of any writer is left.
  for (const auto& e : std::filesystem::recursive_directory_iterator(dir.Path(""))) {
    EXPECT_NE(e.path().extension(), ".tmp") << e.path();
  }
}

}  // namespace
}  // namespace vemra::cli

namespace vemra::cli {
namespace {

TEST(PeriodCommandTest, PrintsMenuPeriodsStepsAndTextsAndRefusesBadWords) {
  struct Case {
    Args args;
    int status;
    std::string out;
  };
  const Case kCases[] = {
      {{"period", "quarter", "--at", "2019-05-10", "--lang", "en"},
       0,
       "2019-04-01  2019-06-30  Q2 2019\n"},
      {{"period", "month", "--at", "2019-03-05", "--move", "-3", "--lang", "ru"},
       0,
       "2018-12-01  2018-12-31  Декабрь 2018\n"},
      {{"period", "custom", "2025-03-01", "2025-02-02", "--move", "1", "--lang", "en"},
       0,
       "2025-03-02  2025-04-01  3/2/2025 - 4/1/2025\n"},
      {{"period", "week", "--at", "2024-05-15", "--first-weekday", "sun", "--lang", "ru"},
       0,
       "2024-05-12  2024-05-18  12.05.2024 - 18.05.2024\n"},
      {{"period", "day", "--at", "2019-03-05", "--lang", "en", "--json"},
       0,
       R"({"begin":"2019-03-05","days":1,"end":"2019-03-05","kind":"day","text":"March 5, 2019"})"
       "\n"},
      {{"period", "all"}, kExitUsage, ""},
      {{"period", "fortnight"}, kExitUsage, ""},
      {{"period", "custom", "2025-01-01"}, kExitUsage, ""},
      {{"period", "month", "2025-01-01", "2025-01-02"}, kExitUsage, ""},
      {{"period", "custom", "2025-02-30", "2025-03-01"}, kExitUsage, ""},
      {{"period", "month", "--move", "1.5"}, kExitUsage, ""},
      {{"period", "week", "--first-weekday", "7"}, kExitUsage, ""},
      {{"period", "month", "--lang", "de"}, kExitUsage, ""},
      {{"period", "month", "--book", "/nonexistent/book.kestrum"}, kExitFailed, ""},
  };
  for (const Case& c : kCases) {
    Outcome o = Cli(c.args);
    EXPECT_EQ(o.status, c.status) << c.args[1] << " " << o.err;
    if (c.status == kExitOK) {
      EXPECT_EQ(Json::parse(o.out, nullptr, false).is_discarded()
                    ? o.out
                    : Json::parse(o.out).dump() + "\n",
                c.out);
    }
  }
}

}  // namespace
}  // namespace vemra::cli
