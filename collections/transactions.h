// Transactions: the ITransactions collection of one database (transactions and scheduled
// transactions).
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "collections/interfaces.h"
#include "core/records/dates.h"

namespace vemra {

class Book;
class Visibility;

class Transactions : public ITransactions {
 public:
  // `db`, the book that owns this collection, outlives it.
  explicit Transactions(Book* db) : db_(db) {}
  ~Transactions() override { db_ = nullptr; }
  Transactions(const Transactions&) = delete;
  Transactions& operator=(const Transactions&) = delete;

  uint64_t AddTransaction(const TTransaction& t, const TSchedule& schedule) override;
  uint64_t UpdateTransaction(const TTransaction& t, const TSchedule& schedule) override;
  TTransaction GetTransaction(uint64_t id) override;
  bool DeleteTransaction(uint64_t id) override;
  NodeList GetTransactionsTree(bool by_days, int group_by, uint64_t currency,
                               const std::set<uint64_t>& accounts) override;
  std::list<TDescription> GetDescriptions() override;
  bool IsReadOnly(uint64_t id) override;
  bool IsReadOnly(const TTransaction& t) override;
  bool IsHidden(uint64_t id) override;
  bool IsHidden(const TTransaction& t) override;
  TSchedule GetSchedule(uint64_t id) override;

  // Remembered defaults of the transaction editor (a new transaction's date and cleared
  // state); the database sets them to today and cleared when it makes the collection.
  ADate DefaultDate;
  int32_t DefaultCleared = 0;

 private:
  // What GetDescriptions lists, kept between calls and brought up to date from the database's
  // text changes, so that a call after an edit costs the edit, not a pass over every record.
  struct DescriptionCache {
    using Key = std::tuple<uint64_t, int32_t, std::wstring>;  // category, kind, description
    struct Uses {
      size_t count = 0;
      uint64_t latest = 0;  // the highest transaction ID; 0 when it must be looked up again
    };
    std::map<Key, Uses> keys;
    // (transaction ID, its key) of every transaction counted, in ID order.
    std::vector<std::pair<uint64_t, const Key*>> counted;
    uint64_t user = 0;
    bool valid = false;
  };
  // Counts transaction `id` (when it exists, has a description and, given `visibility`, is
  // visible) under its key.
  void CountDescription(uint64_t id, Visibility* visibility);
  // Brings the cache up to date; rebuilds it when the changes cannot be applied one by one.
  void RefreshDescriptions();

  Book* db_;
  DescriptionCache descriptions_;
};

}  // namespace vemra
