// Book: one database together with its five collections, made with it and destroyed with it.
// Everything that reads or changes records through the collections (the CLI's book commands,
// the document, the list and editor models) holds a Book; code that needs only the record store
// (files, parts, merges, fuzzers) takes the DataBase it is. Not thread-safe: the owner
// serialises every call (one document, one work queue).
#pragma once

#include "collections/accounts.h"
#include "collections/categories.h"
#include "collections/currencies.h"
#include "collections/splits.h"
#include "collections/transactions.h"
#include "core/database/database.h"

namespace vemra {

class Book : public DataBase {
 public:
  // An empty, unloaded database and its collections; the transactions collection remembers
  // today and "cleared" as the defaults of a new transaction.
  Book();
  ~Book() override = default;
  Book(const Book&) = delete;
  Book& operator=(const Book&) = delete;

  // The collections; the references stay valid for the book's life.
  ICurrencies& Currencies() { return currencies_; }
  IAccounts& Accounts() { return accounts_; }
  ICategories& Categories() { return categories_; }
  ITransactions& Transactions() { return transactions_; }
  ISplits& Splits() { return splits_; }

  // The concrete transactions collection, for the editor defaults it keeps.
  vemra::Transactions& TransactionDefaults() { return transactions_; }

 private:
  vemra::Currencies currencies_;
  vemra::Accounts accounts_;
  vemra::Categories categories_;
  vemra::Transactions transactions_;
  vemra::Splits splits_;
};

}  // namespace vemra
