// Placeholder until the collection is written.
#pragma GCC diagnostic ignored "-Wunused-parameter"
#include "collections/currencies.h"

#include "core/database/database.h"

namespace vemra {

uint64_t Currencies::AddCurrency(const TCurrency& c) {
  return {};
}

uint64_t Currencies::UpdateCurrency(const TCurrency& c) {
  return {};
}

TCurrency Currencies::GetCurrency(uint64_t id) {
  return {};
}

bool Currencies::DeleteCurrency(uint64_t id) {
  return {};
}

std::list<TCurrency> Currencies::GetEnabledCurrencies() {
  return {};
}

std::list<TCurrency> Currencies::GetAllCurrencies() {
  return {};
}

uint64_t Currencies::GetDefaultCurrencyID() {
  return {};
}

std::wstring Currencies::GetCurrencyName(uint64_t id) {
  return {};
}

double Currencies::GetExchangeRate(uint64_t from, uint64_t to) {
  return {};
}

bool Currencies::SetExchangeRate(uint64_t from, uint64_t to, double rate) {
  return {};
}

}  // namespace vemra
