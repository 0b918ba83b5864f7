#include "collections/splits.h"

#include <vector>

#include "collections/book.h"
#include "collections/records.h"

namespace vemra {

uint64_t Splits::AddSplit(const TSplit& s) {
  if (IsReadOnly(s)) return 0;
  auto copy = std::make_unique<TSplit>(s);
  copy->Header.ID = 0;
  copy->Transactions.clear();
  return db_->StoreEntry(std::move(copy));
}

uint64_t Splits::UpdateSplit(const TSplit& s) {
  if (IsReadOnly(s.Header.ID) || IsReadOnly(s)) return 0;
  uint64_t id = 0;
  if (!s.Transactions.empty()) {
    TSplit split = s;
    std::vector<TTransaction> parts = s.Transactions;
    split.Transactions.clear();
    // The parts are stored again from these copies; a copy made without its texts and tags
    // (GetSplitTransactions) takes them from its stored record, so that no update drops them.
    for (TTransaction& part : parts) {
      if (!part.Loaded && FindRecord<TTransaction>(*db_, part.Header.ID, etTransaction)) {
        part.LoadDependents(*db_);
      }
    }
    if (!db_->StoreSplit(split, parts)) return 0;
    id = split.Header.ID;
  } else {
    // A split without its parts list changes the split record only; its parts stay.
    auto copy = std::make_unique<TSplit>(s);
    id = db_->StoreEntry(std::move(copy));
    if (id == 0) return 0;
  }
  // The parts follow the split's date, time and cleared state (flag B).
  const TSplit stored = *FindRecord<TSplit>(*db_, id, etSplit);
  const auto cleared = static_cast<int8_t>(stored.Data.FlagB);
  for (const TTransaction& part : GetSplitTransactions(id)) {
    if (part.Data.Date == stored.Data.Date && part.Data.Time == stored.Data.Time &&
        part.Data.Cleared == cleared) {
      continue;
    }
    TTransaction t = db_->Transactions().GetTransaction(part.Header.ID);
    t.Data.Date = stored.Data.Date;
    t.Data.Time = stored.Data.Time;
    t.Data.Cleared = cleared;
    db_->Transactions().UpdateTransaction(t, TSchedule());
  }
  return id;
}

TSplit Splits::GetSplit(uint64_t id) {
  return LoadRecord<TSplit>(*db_, id, etSplit);
}

std::list<TTransaction> Splits::GetSplitTransactions(uint64_t id) {
  std::list<TTransaction> out;
  if (id == 0) return out;
  for (const auto& [tid, e] : db_->GetTable(1)) {
    if (e->Header.Type != etTransaction) continue;
    const auto& t = static_cast<const TTransaction&>(*e);
    if (t.Data.SplitID == id) out.push_back(t);
  }
  return out;
}

bool Splits::DeleteSplit(uint64_t id) {
  if (id == 0 || IsReadOnly(id)) return false;
  // The parts go first, also when the split record is missing, so that none is left behind
  // naming a split that is not there.
  std::list<TTransaction> parts = GetSplitTransactions(id);
  for (const TTransaction& part : parts) {
    if (!db_->Transactions().DeleteTransaction(part.Header.ID)) return false;
  }
  if (FindRecord<TSplit>(*db_, id, etSplit) == nullptr) return !parts.empty();
  return db_->DeleteEntry(0, id);
}

bool Splits::IsReadOnly(uint64_t id) {
  if (db_->ReadOnly) return true;
  if (db_->CurrentUserID() == 0) return false;
  const TSplit* s = FindRecord<TSplit>(*db_, id, etSplit);
  return s != nullptr && IsReadOnly(*s);
}

bool Splits::IsReadOnly(const TSplit& s) {
  if (db_->ReadOnly) return true;
  const uint64_t user = db_->CurrentUserID();
  return user != 0 && s.Header.ReadOnly && s.Header.OwnerID != user;
}

bool Splits::IsHidden(uint64_t id) {
  if (db_->CurrentUserID() == 0) return false;
  const TSplit* s = FindRecord<TSplit>(*db_, id, etSplit);
  return s != nullptr && IsHidden(*s);
}

bool Splits::IsHidden(const TSplit& s) {
  const uint64_t user = db_->CurrentUserID();
  return user != 0 && s.Header.Hidden && s.Header.OwnerID != user;
}

}  // namespace vemra
