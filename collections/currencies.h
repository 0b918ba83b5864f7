// Currencies: the ICurrencies collection of one database.
#pragma once

#include "collections/interfaces.h"

namespace vemra {

class Book;

class Currencies : public ICurrencies {
 public:
  // `db`, the book that owns this collection, outlives it.
  explicit Currencies(Book* db) : db_(db) {}
  ~Currencies() override { db_ = nullptr; }
  Currencies(const Currencies&) = delete;
  Currencies& operator=(const Currencies&) = delete;

  uint64_t AddCurrency(const TCurrency& c) override;
  uint64_t UpdateCurrency(const TCurrency& c) override;
  TCurrency GetCurrency(uint64_t id) override;
  bool DeleteCurrency(uint64_t id) override;
  std::list<TCurrency> GetEnabledCurrencies() override;
  std::list<TCurrency> GetAllCurrencies() override;
  uint64_t GetDefaultCurrencyID() override;
  std::wstring GetCurrencyName(uint64_t id) override;
  double GetExchangeRate(uint64_t from, uint64_t to) override;
  bool SetExchangeRate(uint64_t from, uint64_t to, double rate) override;

 private:
  Book* db_;
};

}  // namespace vemra
