// Typed look-ups of records in a database's tables, shared by the collections. Not part of the
// collections' public interface.
#pragma once

#include <cstdint>
#include <memory>

#include "core/database/database.h"
#include "core/records/entry_factory.h"

namespace vemra {

// The database's own copy of record `id` when it is of `type`, else null. The record carries no
// texts; the pointer is valid until the table changes.
template <class T>
const T* FindRecord(DataBase& db, uint64_t id, uint32_t type) {
  const TBaseEntry* e = db.FindEntry(id, TableOfType(type));
  return e != nullptr && e->Header.Type == type ? static_cast<const T*>(e) : nullptr;
}

// A copy of record `id` of `type` with its texts loaded (and sort order, for the kinds that have
// one); a default-constructed record when there is none.
template <class T>
T LoadRecord(DataBase& db, uint64_t id, uint32_t type) {
  if (FindRecord<T>(db, id, type) == nullptr) return T();
  std::unique_ptr<TBaseEntry> e = db.GetEntry(id, TableOfType(type));
  return static_cast<T&>(*e);
}

}  // namespace vemra
