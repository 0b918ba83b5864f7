// TransactionIndex: the stored transactions in date order, and for each account its transactions
// in the same order with the running sum of its cleared amounts, so that the transactions of a
// period and every balance are found by binary search instead of a pass over a million records.
// DataBase keeps it in step through its one insert/replace/remove path. Not thread-safe; a build
// sorts half of a large index on a second thread and joins it before returning.
#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "core/records/dates.h"
#include "core/records/record_pool.h"
#include "core/records/transaction.h"

namespace vemra {

class TransactionIndex {
 public:
  // The index order of transactions: (Date, Time, SplitID, ID).
  static bool Before(const TTransaction* a, const TTransaction* b);

  // The effect of `t` on the balance of `account`, added to `sum` side by side (the withdrawal,
  // then the deposit), which is the order every balance adds in.
  static void AddEffect(double& sum, const TTransaction& t, uint64_t account) {
    if (t.Data.WithdrawAccountID == account) sum -= t.Data.WithdrawAmount;
    if (t.Data.TargetAccountID == account) sum += t.Data.TargetAmount;
  }

  // Notes that transaction `t` (owned by the database, and staying at its address while held)
  // enters (`add`) or leaves the table. While the index is built the change is applied in place;
  // after many changes without a use in between (a merge) the index is dropped instead, and the
  // next use builds it anew with one sort. While it is not built, the sort keys of transactions
  // that enter an emptied table are gathered as they come (an open), when their fields are
  // still in the processor's cache; a removal stops the gathering.
  void Note(const TTransaction& t, bool add);
  // Forgets everything (the table was emptied).
  void Clear();
  // Builds the index when it is not built. `for_each` calls its argument with every stored
  // transaction, in any order, when the gathered keys are not complete.
  template <class ForEach>
  void Ensure(ForEach&& for_each) {
    if (built_) {
      changes_ = 0;
      return;
    }
    if (!gathering_) {
      keys_.clear();
      for_each([&](const TTransaction& t) { keys_.push_back(KeyOf(t)); });
    }
    Build();
  }

  // Every transaction in index order (built only).
  std::span<const TTransaction* const> All() const { return rows_; }
  // The transactions dated within [begin, end], in index order (built only).
  std::span<const TTransaction* const> Range(ADate begin, ADate end) const;
  // The sum of the effects on `account`, in index order, of its transactions that count for a
  // balance before day `before`: the cleared ones dated up to `today`, and every one dated after
  // `today`. O(log n), plus the transactions dated after today (built only).
  double Balance(uint64_t account, ADate before, ADate today);

 private:
  struct Key {
    uint64_t when;  // date (sign bit flipped, so that unsigned order is date order), then time
    uint64_t split;
    uint64_t id;
    const TTransaction* t;
    uint64_t withdraw;  // the two accounts, so that the pass after the sort reads no record
    uint64_t target;
  };
  static Key KeyOf(const TTransaction& t);
  template <class T>
  using LargeVector = std::vector<T, LargeArrayAllocator<T>>;
  struct Account {
    LargeVector<const TTransaction*> rows;  // index order
    LargeVector<double> cleared;            // running sum of cleared effects through rows[i]
    size_t valid = 0;                       // cleared[0 .. valid) is up to date
  };
  void Build();
  void Place(const TTransaction& t, bool add);
  static void Place(LargeVector<const TTransaction*>& rows, const TTransaction& t, bool add,
                    size_t* at);

  LargeVector<const TTransaction*> rows_;
  std::unordered_map<uint64_t, Account> accounts_;
  LargeVector<Key> keys_;  // while not built: the keys gathered, or for the next build
  bool gathering_ = true;  // keys_ holds every stored transaction
  bool built_ = false;
  uint32_t changes_ = 0;  // applied in place since the last use
};

}  // namespace vemra
