// Placeholder until the collection is written.
#pragma GCC diagnostic ignored "-Wunused-parameter"
#include "collections/transactions.h"

#include "core/database/database.h"

namespace vemra {

uint64_t Transactions::AddTransaction(const TTransaction& t, const TSchedule& schedule) {
  return {};
}

uint64_t Transactions::UpdateTransaction(const TTransaction& t, const TSchedule& schedule) {
  return {};
}

TTransaction Transactions::GetTransaction(uint64_t id) {
  return {};
}

bool Transactions::DeleteTransaction(uint64_t id) {
  return {};
}

NodeList Transactions::GetTransactionsTree(bool by_days, int group_by, uint64_t currency, const std::set<uint64_t>& accounts) {
  return {};
}

std::list<TDescription> Transactions::GetDescriptions() {
  return {};
}

bool Transactions::IsReadOnly(uint64_t id) {
  return {};
}

bool Transactions::IsReadOnly(const TTransaction& t) {
  return {};
}

bool Transactions::IsHidden(uint64_t id) {
  return {};
}

bool Transactions::IsHidden(const TTransaction& t) {
  return {};
}

}  // namespace vemra
