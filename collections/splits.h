// Splits: the ISplits collection of one database (receipts divided into part transactions).
#pragma once

#include "collections/interfaces.h"

namespace vemra {

class Book;

class Splits : public ISplits {
 public:
  // `db`, the book that owns this collection, outlives it.
  explicit Splits(Book* db) : db_(db) {}
  ~Splits() override { db_ = nullptr; }
  Splits(const Splits&) = delete;
  Splits& operator=(const Splits&) = delete;

  uint64_t AddSplit(const TSplit& s) override;
  uint64_t UpdateSplit(const TSplit& s) override;
  TSplit GetSplit(uint64_t id) override;
  std::list<TTransaction> GetSplitTransactions(uint64_t id) override;
  bool DeleteSplit(uint64_t id) override;
  bool IsReadOnly(uint64_t id) override;
  bool IsReadOnly(const TSplit& s) override;
  bool IsHidden(uint64_t id) override;
  bool IsHidden(const TSplit& s) override;

 private:
  Book* db_;
};

}  // namespace vemra
