// Placeholder until the collection is written.
#pragma GCC diagnostic ignored "-Wunused-parameter"
#include "collections/splits.h"

#include "core/database/database.h"

namespace vemra {

uint64_t Splits::AddSplit(const TSplit& s) {
  return {};
}

uint64_t Splits::UpdateSplit(const TSplit& s) {
  return {};
}

TSplit Splits::GetSplit(uint64_t id) {
  return {};
}

std::list<TTransaction> Splits::GetSplitTransactions(uint64_t id) {
  return {};
}

bool Splits::DeleteSplit(uint64_t id) {
  return {};
}

bool Splits::IsReadOnly(uint64_t id) {
  return {};
}

bool Splits::IsReadOnly(const TSplit& s) {
  return {};
}

bool Splits::IsHidden(uint64_t id) {
  return {};
}

bool Splits::IsHidden(const TSplit& s) {
  return {};
}

}  // namespace vemra
