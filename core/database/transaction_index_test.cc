// The transaction index against a full scan: balances and period lists through random edits,
// undo, redo, bursts that drop the index, and hidden records.
#include "core/database/transaction_index.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <tuple>

#include "core/database/database.h"
#include "core/database/visibility.h"
#include "core/records/account.h"
#include "core/records/user.h"
#include "platform/clock.h"

namespace vemra {
namespace {

constexpr int32_t kToday = 20000;
constexpr uint64_t kEuro = 100000;
constexpr uint64_t kDollar = 100001;

bool SameBits(double a, double b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// The balance sum of `account` before `before`, by its definition: every transaction the user
// may see, in (Date, Time, SplitID, ID) order, the cleared ones up to today and all after today,
// withdrawal before deposit.
std::vector<const TTransaction*> SortedTransactions(DataBase& db) {
  std::vector<const TTransaction*> all;
  for (const auto& [id, e] : db.GetTable(1)) {
    if (e->Header.Type == etTransaction) all.push_back(static_cast<const TTransaction*>(e.get()));
  }
  std::sort(all.begin(), all.end(), [](const TTransaction* a, const TTransaction* b) {
    return std::tie(a->Data.Date, a->Data.Time, a->Data.SplitID, a->Header.ID) <
           std::tie(b->Data.Date, b->Data.Time, b->Data.SplitID, b->Header.ID);
  });
  return all;
}

double ScanSum(DataBase& db, const std::vector<const TTransaction*>& all, uint64_t account,
               ADate before) {
  Visibility visibility(db);
  double sum = 0;
  if (account == 0) return sum;  // 0 names no account: sides without one count for none
  for (const TTransaction* t : all) {
    if (t->Data.Date >= before) break;
    if (t->Data.Cleared == 0 && t->Data.Date.Val <= kToday) continue;
    if (visibility.Hidden(*t)) continue;
    if (t->Data.WithdrawAccountID == account) sum -= t->Data.WithdrawAmount;
    if (t->Data.TargetAccountID == account) sum += t->Data.TargetAmount;
  }
  return sum;
}

class Book {
 public:
  explicit Book(uint32_t seed) : rng_(seed) {
    db.Loaded = true;
    db.Header.DatabaseID = 5;
    TUser other;
    other.Header.ID = 77;
    db.StoreEntry(other.Clone());
    db.SetCurrentUser(seed % 3 == 0 ? 77 : 0);
    db.SetExRate(kDollar, kEuro, 0.93);
    for (int i = 0; i < 4; ++i) {
      TAccount a;
      a.Data.CurrencyID = i % 2 == 0 ? kEuro : kDollar;
      a.Data.InitialBalance = Amount();
      accounts.push_back(db.StoreEntry(a.Clone()));
    }
  }

  double Amount() { return std::uniform_int_distribution<int>(-50000, 50000)(rng_) / 100.0; }
  int Pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng_); }
  uint64_t AnyAccount() { return Pick(6) == 0 ? 0 : accounts[Pick(4)]; }

  // A random transaction; `t` keeps its ID (0: a new one).
  void Randomize(TTransaction& t) {
    t.Data.Date = ADate(kToday - 40 + Pick(60));
    t.Data.Time = Pick(3) == 0 ? 0 : static_cast<uint32_t>(Pick(5)) * 3600000;
    t.Data.SplitID = Pick(4) == 0 ? 900 + Pick(3) : 0;
    t.Data.WithdrawAccountID = AnyAccount();
    t.Data.TargetAccountID = Pick(5) == 0 ? t.Data.WithdrawAccountID : AnyAccount();
    t.Data.WithdrawAmount = Amount();
    t.Data.TargetAmount = Amount();
    t.Data.Cleared = static_cast<int8_t>(Pick(3) == 0 ? 0 : 1);
    // Another user's hidden mark, seen by the logged-in user 77 as nothing hidden.
    t.Header.OwnerID = Pick(8) == 0 ? 76 : 0;
    t.Header.Hidden = t.Header.OwnerID != 0;
  }

  void Step() {
    std::vector<uint64_t> ids;
    for (const auto& [id, e] : db.GetTable(1)) ids.push_back(id);
    const int op = Pick(10);
    if (op <= 3 || ids.empty()) {
      db.BeginUndoStep(2);
      TTransaction t;
      Randomize(t);
      db.StoreEntry(t.Clone());
    } else if (op <= 5) {
      db.BeginUndoStep(3);
      auto e = db.GetEntry(ids[Pick(static_cast<int>(ids.size()))], 1);
      Randomize(static_cast<TTransaction&>(*e));
      db.StoreEntry(std::move(e));
    } else if (op == 6) {
      db.BeginUndoStep(4);
      db.DeleteEntry(1, ids[Pick(static_cast<int>(ids.size()))]);
    } else if (op == 7) {
      db.Undo();
    } else if (op == 8) {
      db.Redo();
    } else {
      // A burst larger than the index applies in place: it is dropped and built again.
      for (int i = 0; i < 100; ++i) {
        TTransaction t;
        Randomize(t);
        db.StoreEntry(t.Clone());
      }
    }
  }

  DataBase db;
  std::vector<uint64_t> accounts;

 private:
  std::mt19937 rng_;
};

using Listed = std::tuple<uint64_t, uint32_t, double, double>;  // ID, Time, Amount, Balance

std::vector<Listed> Query(DataBase& db, const TTransactionFilter& f) {
  std::vector<TTransaction> rows;
  db.QueryTransactions(rows, f);
  std::vector<Listed> out;
  for (const TTransaction& t : rows)
    out.emplace_back(t.Header.ID, t.Data.Time, t.Amount, t.Balance);
  return out;
}

TEST(TransactionIndexTest, BalancesAndPeriodsEqualAFullScanThroughRandomEdits) {
  platform::ScopedClockPin pin(int64_t{kToday} * 86400 + 43200);
  for (uint32_t seed = 0; seed < 10; ++seed) {
    SCOPED_TRACE(seed);
    Book book(seed);
    DataBase& db = book.db;
    for (int step = 0; step < 120; ++step) {
      book.Step();
      if (step % 6 != 0) continue;
      const std::vector<const TTransaction*> sorted = SortedTransactions(db);
      for (int32_t before :
           {kToday - 45, kToday - 10, kToday, kToday + 1, kToday + 7, kToday + 90}) {
        std::map<uint64_t, double> indexed, scanned;
        for (uint64_t a : book.accounts) indexed[a] = scanned[a] = 0;
        indexed[12345] = scanned[12345] = 0;  // no such account
        indexed[0] = scanned[0] = 0;          // no account at all
        db.UseBalanceIndex(true);
        db.AddBalanceSums(indexed, ADate(before));
        db.UseBalanceIndex(false);
        db.AddBalanceSums(scanned, ADate(before));
        for (auto& [a, sum] : indexed) {
          const double expected = ScanSum(db, sorted, a, ADate(before));
          EXPECT_TRUE(SameBits(sum, expected))
              << a << " " << before << ": " << sum << " " << expected;
          EXPECT_TRUE(SameBits(scanned[a], expected)) << a << " " << before;
        }
      }
      // The index lists a period as a sorted selection of the table would.
      std::vector<uint64_t> expected_ids, indexed_ids;
      std::vector<const TTransaction*> all;
      for (const auto& [id, e] : db.GetTable(1)) {
        const auto* t = static_cast<const TTransaction*>(e.get());
        if (t->Data.Date.Val >= kToday - 5 && t->Data.Date.Val <= kToday + 5) all.push_back(t);
      }
      std::sort(all.begin(), all.end(), TransactionIndex::Before);
      for (const TTransaction* t : all) expected_ids.push_back(t->Header.ID);
      for (const TTransaction* t : db.TransactionsByDate(ADate(kToday - 5), ADate(kToday + 5))) {
        indexed_ids.push_back(t->Header.ID);
      }
      EXPECT_EQ(indexed_ids, expected_ids);

      TTransactionFilter f;
      f.CurrencyID = kEuro;
      f.Begin = ADate(kToday - 20 + book.Pick(20));
      f.End = ADate(f.Begin.Val + book.Pick(40));
      if (book.Pick(2) == 0)
        f.Accounts = {book.accounts[book.Pick(4)], book.accounts[book.Pick(4)]};
      db.UseBalanceIndex(true);
      std::vector<Listed> fast = Query(db, f);
      db.UseBalanceIndex(false);
      EXPECT_EQ(fast, Query(db, f)) << "step " << step;
    }
  }
}

}  // namespace
}  // namespace vemra
