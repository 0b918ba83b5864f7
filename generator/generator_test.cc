#include "generator/generator.h"

#include <gtest/gtest.h>

#include <set>

#include "cli/testing/test_files.h"
#include "core/records/account.h"
#include "core/records/category.h"
#include "core/records/currency.h"
#include "core/records/ex_rate.h"
#include "core/records/scheduled_transaction.h"
#include "core/records/split.h"
#include "core/records/tagged_entry.h"
#include "core/records/transaction.h"

namespace vemra {
namespace {

using cli::testing::ReadBytes;
using cli::testing::ScratchDir;

constexpr ADate kToday(20000);
constexpr uint64_t kNoonStamp = (uint64_t{20000} * 86400 + 12 * 3600) * 10000;

template <class T>
std::vector<const T*> All(const DataBase& db, uint32_t table) {
  std::vector<const T*> out;
  for (const auto& [id, e] : db.GetTable(table)) {
    if (const auto* r = dynamic_cast<const T*>(e.get())) out.push_back(r);
  }
  return out;
}

TEST(GeneratorTest, SameSeedAndDayGiveTheSameFile) {
  ScratchDir dir;
  auto make = [&](uint64_t seed, ADate today, const std::string& name) {
    DataBase db;
    GenerateBook(db, 1500, seed, today);
    EXPECT_EQ(db.SaveFile(dir.Path(name)), 0);
    return ReadBytes(dir.Path(name));
  };
  std::vector<uint8_t> first = make(5, kToday, "a");
  EXPECT_EQ(make(5, kToday, "b"), first);
  EXPECT_NE(make(6, kToday, "c"), first);
  EXPECT_NE(make(5, ADate(kToday.Val + 1), "d"), first);

  // Books of different seeds are different databases: a merge refuses them.
  std::set<uint64_t> ids;
  for (uint64_t seed = 0; seed < 64; ++seed) {
    DataBase db;
    GenerateBook(db, 0, seed, kToday);
    ids.insert(db.Header.DatabaseID);
  }
  EXPECT_EQ(ids.size(), 64u);
  EXPECT_EQ(ids.count(0), 0u);
}

TEST(GeneratorTest, BookHoldsEverythingItPromises) {
  DataBase db;
  GenerateBook(db, 3000, 11, kToday);
  EXPECT_TRUE(db.Loaded);
  EXPECT_NE(db.Header.DatabaseID, 0u);
  EXPECT_TRUE(db.UndoHistory().empty());
  std::wstring caption;
  EXPECT_TRUE(db.GetString(db.DatabaseTexts[0].first, caption));
  EXPECT_EQ(caption, L"Custom field #1");

  // Currencies, with exchange-rate records between existing currencies, the default first.
  std::map<uint64_t, const TCurrency*> currencies;
  for (const TCurrency* c : All<TCurrency>(db, 0)) currencies[c->Header.ID] = c;
  ASSERT_GE(currencies.size(), 3u);
  EXPECT_EQ(db.Header.UserSettings.DefaultCurrencyID, currencies.begin()->first);
  std::vector<const TExRate*> rates = All<TExRate>(db, 5);
  ASSERT_GE(rates.size(), currencies.size() - 1);
  for (const TExRate* r : rates) {
    EXPECT_LT(r->Data.FirstCurrencyID, r->Data.SecondCurrencyID);
    EXPECT_TRUE(currencies.count(r->Data.SecondCurrencyID));
    EXPECT_GT(r->Data.Rate, 0);
    EXPECT_LE(r->Data.Date, kToday);
  }

  // Accounts in groups, one of them closed.
  std::map<uint64_t, uint64_t> currency_of;
  int closed = 0;
  for (const TAccount* a : All<TAccount>(db, 0)) {
    currency_of[a->Header.ID] = a->Data.CurrencyID;
    closed += a->Data.Visible == 0;
    EXPECT_NE(db.FindEntry(a->Data.GroupID, 0), nullptr);
  }
  EXPECT_EQ(closed, 1);

  // Two-level category and payee trees; tags are categories too.
  std::map<uint64_t, uint64_t> parent;
  for (const TCategory* c : All<TCategory>(db, 0)) parent[c->Header.ID] = c->Data.RootID;
  auto root_of = [&](uint64_t id) {
    int depth = 0;
    while (parent.count(id)) id = parent[id], ++depth;
    return std::pair{id, depth};
  };
  EXPECT_TRUE(std::any_of(parent.begin(), parent.end(), [&](auto p) {
    return root_of(p.first) == std::pair<uint64_t, int>{4, 2};
  }));

  // Transactions of every kind the book promises.
  std::vector<const TTransaction*> ts = All<TTransaction>(db, 1);
  ASSERT_EQ(ts.size(), 3000u);
  size_t expenses = 0, incomes = 0, local = 0, foreign = 0, parts = 0, uncleared = 0, future = 0;
  std::set<uint64_t> transactions;
  for (const TTransaction* t : ts) {
    transactions.insert(t->Header.ID);
    const auto& d = t->Data;
    if (d.WithdrawAccountID && d.TargetAccountID) {
      (currency_of[d.WithdrawAccountID] == currency_of[d.TargetAccountID] ? local : foreign)++;
    } else if (d.TargetAccountID) {
      ++incomes;
    } else {
      ++expenses;
      EXPECT_EQ(root_of(t->Categories.CategoryID), (std::pair<uint64_t, int>{4, 2}));
      EXPECT_TRUE(t->Categories.PayeeID == 0 || root_of(t->Categories.PayeeID).first == 7);
    }
    if (d.SplitID != 0) {
      ++parts;
      EXPECT_NE(dynamic_cast<const TSplit*>(db.FindEntry(d.SplitID, 0)), nullptr);
    }
    uncleared += d.Cleared == 0;
    future += d.Date > kToday;
    EXPECT_GT(d.Date.Val, kToday.Val - 3653);
    EXPECT_LE(d.Date.Val, kToday.Val + 31);
    EXPECT_LE(t->Header.LastModDate, kNoonStamp);  // made at noon: no stamp from the future
  }
  EXPECT_GT(expenses, ts.size() / 2);
  EXPECT_GT(incomes, 0u);
  EXPECT_GT(local, 0u);
  EXPECT_GT(foreign, 0u);
  EXPECT_GT(parts, 0u);
  EXPECT_GT(uncleared, 0u);
  EXPECT_GT(future, 0u);
  EXPECT_LT(future + uncleared, ts.size() / 10);

  // Scheduled transactions whose next occurrence is after the book's last day.
  std::vector<const TScheduledTransaction*> schedules = All<TScheduledTransaction>(db, 0);
  EXPECT_GE(schedules.size(), 3u);
  for (const auto* s : schedules) EXPECT_GT(s->Schedule.BeginDate, kToday);

  // Tag links on transactions, and deletion markers of transactions.
  std::vector<const TTag*> tags = All<TTag>(db, 4);
  ASSERT_FALSE(tags.empty());
  for (const TTag* t : tags) {
    EXPECT_TRUE(transactions.count(t->Data.EntryID));
    EXPECT_EQ(root_of(t->Data.TagID).first, 6u);
  }
  size_t deleted_transactions = 0;
  for (const auto& [id, h] : db.DeletedHeaders())
    deleted_transactions += h.SecondaryType == etTransaction;
  EXPECT_EQ(deleted_transactions, 3u);
}

}  // namespace
}  // namespace vemra
