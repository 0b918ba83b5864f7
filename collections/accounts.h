// Accounts: the IAccounts collection of one database (accounts and account groups).
#pragma once

#include "collections/interfaces.h"

namespace vemra {

class Book;

class Accounts : public IAccounts {
 public:
  // `db`, the book that owns this collection, outlives it.
  explicit Accounts(Book* db) : db_(db) {}
  ~Accounts() override { db_ = nullptr; }
  Accounts(const Accounts&) = delete;
  Accounts& operator=(const Accounts&) = delete;

  uint64_t AddAccount(const TAccount& a) override;
  uint64_t UpdateAccount(const TAccount& a) override;
  TAccount GetAccount(uint64_t id) override;
  bool DeleteAccount(uint64_t id, TRefusal* why = nullptr) override;
  NodeList GetAccountsTree() override;
  uint64_t GetCurrencyID(uint64_t id) override;
  double GetExchangeRate(uint64_t first, uint64_t second) override;
  uint64_t GetDefaultAccountID() override;
  bool IsReadOnly(uint64_t id) override;
  bool IsReadOnly(const TAccount& a) override;
  bool IsGroupReadOnly(const TAccGroup& g) override;
  bool IsHidden(uint64_t id) override;
  bool IsHidden(const TAccount& a) override;
  bool IsGroupHidden(const TAccGroup& g) override;

  // The account GetDefaultAccountID prefers while it exists; 0 (none) at first.
  uint64_t PreferredAccountID = 0;

 private:
  Book* db_;
};

}  // namespace vemra
