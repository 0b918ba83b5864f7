// Placeholder until the collection is written.
#pragma GCC diagnostic ignored "-Wunused-parameter"
#include "collections/accounts.h"

#include "core/database/database.h"

namespace vemra {

uint64_t Accounts::AddAccount(const TAccount& a) {
  return {};
}

uint64_t Accounts::UpdateAccount(const TAccount& a) {
  return {};
}

TAccount Accounts::GetAccount(uint64_t id) {
  return {};
}

bool Accounts::DeleteAccount(uint64_t id) {
  return {};
}

NodeList Accounts::GetAccountsTree() {
  return {};
}

uint64_t Accounts::GetCurrencyID(uint64_t id) {
  return {};
}

double Accounts::GetExchangeRate(uint64_t first, uint64_t second) {
  return {};
}

uint64_t Accounts::GetDefaultAccountID() {
  return {};
}

bool Accounts::IsReadOnly(uint64_t id) {
  return {};
}

bool Accounts::IsReadOnly(const TAccount& a) {
  return {};
}

bool Accounts::IsGroupReadOnly(const TAccGroup& g) {
  return {};
}

bool Accounts::IsHidden(uint64_t id) {
  return {};
}

bool Accounts::IsHidden(const TAccount& a) {
  return {};
}

bool Accounts::IsGroupHidden(const TAccGroup& g) {
  return {};
}

}  // namespace vemra
