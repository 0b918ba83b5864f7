// Transactions: the ITransactions collection of one database (transactions and scheduled
// transactions).
#pragma once

#include "collections/interfaces.h"
#include "core/records/dates.h"

namespace vemra {

class Book;

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

  // Remembered defaults of the transaction editor (a new transaction's date and cleared
  // state); the database sets them to today and cleared when it makes the collection.
  ADate DefaultDate;
  int32_t DefaultCleared = 0;

 private:
  Book* db_;
};

}  // namespace vemra
