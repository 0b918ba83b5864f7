#include "resources/new_database.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "core/records/account.h"
#include "core/records/category.h"
#include "core/records/currency.h"
#include "core/records/transaction.h"
#include "core/records/user.h"
#include "core/streams/testing/stream_bytes.h"
#include "platform/clock.h"

namespace vemra {
namespace {

using testing::Bytes;
using testing::MemoryInput;

constexpr int64_t kDay = 86400;

Bytes ToBytes(std::string_view s) {
  return Bytes(s.begin(), s.end());
}

std::string TemplatePath(const std::string& lang) {
  return std::string(KESTRUM_TEMPLATE_DIR) + "/template_" + lang + ".lgr";
}

// Every record of `type` in table 0, with its texts, by ID.
template <typename T>
std::map<uint64_t, T> Records(DataBase& db, uint32_t type) {
  std::map<uint64_t, T> out;
  for (const auto& [id, e] : db.GetTable(0)) {
    if (e->Header.Type == type) out[id] = static_cast<T&>(*db.GetEntry(id, 0));
  }
  return out;
}

std::map<std::string, TCurrency> CurrenciesByCode(DataBase& db) {
  std::map<std::string, TCurrency> out;
  for (auto& [id, c] : Records<TCurrency>(db, etCurrency)) out[c.GetCode()] = c;
  return out;
}

// The category with `name` under `parent`, or 0.
uint64_t CategoryID(DataBase& db, const std::wstring& name, uint64_t parent) {
  for (auto& [id, c] : Records<TCategory>(db, etCategory)) {
    if (c.Name == name && c.Data.RootID == parent) return id;
  }
  return 0;
}

// What every new database has, and what must survive saving and opening it again.
void ExpectNewDatabase(DataBase& db, const std::string& currency, const std::wstring& account,
                       const TimeInterval& month) {
  ASSERT_TRUE(db.Loaded);
  EXPECT_NE(db.Header.DatabaseID, 0u);
  EXPECT_TRUE(db.GetTable(1).empty());  // no transactions
  EXPECT_TRUE(db.GetTable(3).empty());  // no users
  EXPECT_TRUE(db.GetTable(4).empty());  // no tags or sort orders
  auto currencies = Records<TCurrency>(db, etCurrency);
  ASSERT_EQ(currencies.count(db.UserSettings.DefaultCurrencyID), 1u);
  EXPECT_EQ(currencies[db.UserSettings.DefaultCurrencyID].GetCode(), currency);
  auto accounts = Records<TAccount>(db, etAccount);
  ASSERT_EQ(accounts.count(db.UserSettings.DefaultAccountID), 1u);
  const TAccount& main = accounts[db.UserSettings.DefaultAccountID];
  EXPECT_EQ(main.Name, account);
  EXPECT_EQ(main.Data.CurrencyID, db.UserSettings.DefaultCurrencyID);
  EXPECT_EQ(db.Period, month);
  EXPECT_EQ(db.GetDatabaseText(0), L"Custom field #1");
  EXPECT_EQ(db.GetDatabaseText(1), L"Custom field #3");
  EXPECT_EQ(db.GetDatabaseText(2), L"Custom field #2");
  EXPECT_EQ(db.DatabaseTexts[3].first, 0u);
  EXPECT_EQ(db.DatabaseTexts[4].first, 0u);
}

TEST(TemplatesTest, BothTemplatesAreDatabaseFilesWithCurrenciesAccountAndTrees) {
  for (const std::string lang : {"en", "ru"}) {
    SCOPED_TRACE(lang);
    std::ifstream file(TemplatePath(lang), std::ios::binary);
    std::string on_disk((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    EXPECT_EQ(on_disk, TemplateBytes(lang));  // the program carries what the build wrote
    const Bytes head = {
        0x00, 0x04, 0x00, 0x00,                           // record area at 1024
        0xb8, 0x01, 0x00, 0x00,                           // format 440
        'V',  'e',  'm',  'r',  'a', ' ', 'D', 'B', 'E',  // signature
        0x00,                                             // byte 17 ends the signature
    };
    Bytes bytes = ToBytes(TemplateBytes(lang));
    ASSERT_GT(bytes.size(), 1024u);
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + head.size()), head);

    DataBase db;
    ASSERT_EQ(db.OpenFile(TemplatePath(lang)), 0);
    db.SetCurrentUser(0);
    auto currencies = CurrenciesByCode(db);
    for (const char* code : {"USD", "EUR", "JPY", "GBP", "CNY", "RUB", "UAH", "KZT", "BYN"}) {
      EXPECT_EQ(currencies.count(code), 1u) << code;
    }
    EXPECT_GE(currencies.size(), 24u);
    EXPECT_EQ(currencies["USD"].Header.ID, 100000u);
    EXPECT_EQ(currencies["JPY"].Data.Decimals, 0);
    EXPECT_EQ(currencies["EUR"].Symbol, L"€");
    EXPECT_EQ(currencies["RUB"].Data.AlignRight, 1);
    const bool ru = lang == "ru";
    EXPECT_EQ(currencies["USD"].Name, ru ? L"Доллар США" : L"US Dollar");
    EXPECT_EQ(currencies["RUB"].Name, ru ? L"Российский рубль" : L"Russian Ruble");
    ExpectNewDatabase(db, ru ? "RUB" : "USD", ru ? L"Основной" : L"Main", db.Period);

    uint64_t food = CategoryID(db, ru ? L"Питание" : L"Food", 4);
    EXPECT_NE(food, 0u);
    EXPECT_NE(CategoryID(db, ru ? L"Продукты" : L"Groceries", food), 0u);
    EXPECT_NE(
        CategoryID(db, ru ? L"Зарплата" : L"Salary", CategoryID(db, ru ? L"Доходы" : L"Income", 4)),
        0u);
    EXPECT_NE(CategoryID(db, ru ? L"Работодатель" : L"Employer", 7), 0u);
  }
}

TEST(TemplatesTest, NewDatabaseFromEachTemplateIsFreshAndSurvivesSaveAndOpen) {
  struct Case {
    int64_t now;
    TimeInterval month;
  };
  const ADate jan31 = MakeADate(2023, 0, 31);
  const ADate feb10 = MakeADate(2024, 1, 10);  // a leap year: February has 29 days
  const Case cases[] = {
      {jan31.Val * kDay + 12 * 3600, {MakeADate(2023, 0, 1), jan31}},
      {feb10.Val * kDay + 23 * 3600, {MakeADate(2024, 1, 1), MakeADate(2024, 1, 29)}},
  };
  for (const Case& c : cases) {
    for (const std::string lang : {"en", "ru"}) {
      SCOPED_TRACE(lang + " at " + std::to_string(c.now));
      platform::ScopedClockPin pin(c.now);
      DataBase template_db;
      ASSERT_EQ(template_db.OpenFile(TemplatePath(lang)), 0);
      DataBase db;
      NewDatabase(db, lang);
      const bool ru = lang == "ru";
      ExpectNewDatabase(db, ru ? "RUB" : "USD", ru ? L"Основной" : L"Main", c.month);
      EXPECT_NE(db.Header.DatabaseID, template_db.Header.DatabaseID);
      EXPECT_EQ(db.GetTable(0).size(), template_db.GetTable(0).size());  // nothing else added
      EXPECT_TRUE(db.UndoHistory().empty());
      EXPECT_TRUE(db.SyncJournal().empty());
      {
        platform::ScopedClockPin later(c.now, 1);
        DataBase other;
        NewDatabase(other, lang);
        EXPECT_NE(other.Header.DatabaseID, db.Header.DatabaseID);
      }

      const std::string path = std::string(KESTRUM_TEMPLATE_DIR) + "/saved_new_" + lang + ".lgr";
      ASSERT_EQ(db.SaveFile(path), 0);
      DataBase reopened;
      ASSERT_EQ(reopened.OpenFile(path), 0);
      std::remove(path.c_str());
      reopened.SetCurrentUser(0);
      ExpectNewDatabase(reopened, ru ? "RUB" : "USD", ru ? L"Основной" : L"Main", c.month);
      EXPECT_EQ(reopened.Header.DatabaseID, db.Header.DatabaseID);
    }
  }
}

TEST(TemplatesTest, TemplateLeftoversAreClearedAndMissingDefaultsMade) {
  platform::ScopedClockPin pin(int64_t{19800} * kDay);
  DataBase db;
  auto in = MemoryInput(ToBytes(TemplateBytes("en")));
  ASSERT_EQ(db.Open(*in), 0);
  db.SetCurrentUser(0);
  for (const auto& [id, a] : Records<TAccount>(db, etAccount)) db.DeleteEntry(0, id);
  uint64_t user = db.StoreEntry(std::make_unique<TUser>());
  db.StoreEntry(std::make_unique<TTransaction>());
  db.UserSettings.DefaultCurrencyID = 12345;  // no such currency
  OutputStream out;
  ASSERT_EQ(db.Save(out), 0);
  db.SetCurrentUser(user);  // a logged-in user must not keep the template from being cleared

  auto leftovers = MemoryInput(out.MemoryData());
  ASSERT_EQ(NewDatabaseFromTemplate(db, *leftovers), 0);
  ExpectNewDatabase(db, "USD", L"Main", db.Period);
  EXPECT_EQ(db.CurrentUserID(), 0u);
  EXPECT_TRUE(db.DeletedHeaders().empty());
}

TEST(TemplatesTest, DamagedTemplateFailsAndTheBuiltinsStandIn) {
  platform::ScopedClockPin pin(int64_t{19800} * kDay);
  const Bytes good = ToBytes(TemplateBytes("en"));
  Bytes truncated(good.begin(), good.begin() + static_cast<long>(good.size() / 2));
  Bytes short_head(good.begin(), good.begin() + 520);  // the texts cut off
  Bytes flipped = good;
  for (size_t i = 1100; i < 1110; ++i) flipped[i] ^= 0x5a;  // inside the compressed records
  Bytes signature = good;
  signature[12] = 'X';
  for (const Bytes* bad : {&truncated, &short_head, &flipped, &signature}) {
    DataBase db;
    NewDatabaseFromBuiltins(db);
    EXPECT_NE(NewDatabaseFromTemplate(db, *MemoryInput(*bad)), 0);
    EXPECT_FALSE(db.Loaded);
  }

  DataBase db;
  NewDatabase(db, "de");  // no such template
  ExpectNewDatabase(db, "USD", L"Main", {MakeADate(2024, 2, 1), MakeADate(2024, 2, 31)});
  auto currencies = CurrenciesByCode(db);
  EXPECT_EQ(currencies["USD"].Header.ID, 100000u);
  EXPECT_EQ(currencies["USD"].Name, L"US Dollar");
  EXPECT_EQ(currencies["JPY"].Data.Decimals, 0);
  EXPECT_TRUE(db.UndoHistory().empty());
  EXPECT_TRUE(db.SyncJournal().empty());
  DataBase ru;
  NewDatabaseFromBuiltins(ru, "ru");
  EXPECT_EQ(CurrenciesByCode(ru)["KZT"].Name, L"Казахстанский тенге");
  EXPECT_NE(ru.Header.DatabaseID, 0u);
}

TEST(TemplatesTest, TemplateLanguageFollowsTheFirstTwoLetters) {
  EXPECT_EQ(TemplateLanguage("ru-RU"), "ru");
  EXPECT_EQ(TemplateLanguage("uk"), "ru");
  EXPECT_EQ(TemplateLanguage("uk-UA"), "ru");
  EXPECT_EQ(TemplateLanguage("en-GB"), "en");
  EXPECT_EQ(TemplateLanguage("de"), "en");
  EXPECT_EQ(TemplateLanguage(""), "en");
  EXPECT_EQ(TemplateLanguage("r"), "en");
  EXPECT_TRUE(TemplateBytes("de").empty());
}

}  // namespace
}  // namespace vemra
