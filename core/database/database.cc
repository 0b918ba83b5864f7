#include "core/database/database.h"

#include <algorithm>
#include <tuple>

#include "core/records/sort_order.h"
#include "core/records/transaction.h"

namespace vemra {

DataBase::DataBase() : rng_(static_cast<uint32_t>(std::random_device{}())) {}

DataBase::~DataBase() {
  Close();
}

uint64_t DataBase::NewID() {
  uint64_t id = ModStamp() + rng_() % 10;
  if (LastID >= id) id = LastID + rng_() % 7000 + 3000;
  LastID = id;
  return id;
}

const TBaseEntry* DataBase::FindEntry(uint64_t id, uint32_t table) {
  if (id == 0 || table >= kTableCount) return nullptr;
  auto it = tables_[table].find(id);
  return it == tables_[table].end() ? nullptr : it->second.get();
}

bool DataBase::ListEntries(uint32_t type, uint32_t table, std::vector<const TBaseEntry*>& out) {
  if (table >= kTableCount || (!user_selected_ && table != 3)) return false;
  for (const auto& [id, e] : tables_[table]) {
    if (e->Header.Type != type) continue;
    if (current_user_id_ != 0 && e->Header.OwnerID != current_user_id_ && e->Header.Hidden) {
      continue;
    }
    out.push_back(e.get());
  }
  return true;
}

bool DataBase::IsForeignReadOnly(const TBaseEntry& e) const {
  return current_user_id_ != 0 && e.Header.OwnerID != current_user_id_ && e.Header.ReadOnly;
}

TUndoHistoryItem& DataBase::CurrentStep() {
  return undo_history_[undo_index_];
}

void DataBase::Link(const TBaseEntry& e, bool add) {
  if (e.GetTableIndex() != 4) return;
  uint64_t parent = e.GetParentID();
  if (parent == 0) return;
  if (add) {
    children_.emplace(parent, e.Header.ID);
  } else {
    children_.erase({parent, e.Header.ID});
  }
}

uint64_t DataBase::Insert(std::unique_ptr<TBaseEntry> e) {
  uint64_t id = e->Header.ID;
  std::unique_ptr<TBaseEntry>& slot = tables_[e->GetTableIndex()][id];
  if (slot) Link(*slot, false);
  Link(*e, true);
  slot = std::move(e);
  return id;
}

std::unique_ptr<TBaseEntry> DataBase::Exchange(std::unique_ptr<TBaseEntry>& slot,
                                               std::unique_ptr<TBaseEntry> e) {
  Link(*slot, false);
  Link(*e, true);
  std::swap(slot, e);
  return e;
}

std::unique_ptr<TBaseEntry> DataBase::Take(Table& table, Table::iterator it) {
  std::unique_ptr<TBaseEntry> record = std::move(it->second);
  table.erase(it);
  Link(*record, false);
  return record;
}

uint64_t DataBase::StoreEntry(std::unique_ptr<TBaseEntry> e, uint64_t stamp) {
  if (!e) return 0;
  Modified = true;
  if (auto marker = deleted_headers_.find(e->Header.ID); marker != deleted_headers_.end()) {
    // The record comes back: it must be newer than its deletion.
    stamp = std::max(marker->second.LastModDate + 1, stamp);
    deleted_headers_.erase(marker);
  }
  Table& table = tables_[e->GetTableIndex()];
  auto old = e->Header.ID == 0 ? table.end() : table.find(e->Header.ID);
  if (old != table.end()) {
    TBaseEntry& r = *old->second;
    if (r.Header.Type != e->Header.Type || IsForeignReadOnly(r)) return 0;
    e->Header.LastModDate = std::max(r.Header.LastModDate + 1, stamp);
    e->SaveDependents(*this);
    e->ClearStrings();
    if (current_user_id_ != 0) {
      e->Header.OwnerID = r.Header.OwnerID;
      if (r.Header.OwnerID != current_user_id_) {
        e->Header.ReadOnly = r.Header.ReadOnly;
        e->Header.Hidden = r.Header.Hidden;
      }
    }
    // SaveDependents may have changed the table; look the old version up again.
    old = table.find(e->Header.ID);
    CurrentStep().Replaced.push_back(Exchange(old->second, std::move(e)));
    sync_journal_.push_back({old->first, 0, old->second->Header.Type});
    sort_order_cache_.clear();
    return old->first;
  }
  if (e->Header.ID == 0) e->Header.ID = NewID();
  e->Header.LastModDate = stamp;
  e->ClearStringIDs();
  e->SaveDependents(*this);
  e->ClearStrings();
  uint32_t type = e->Header.Type;
  uint32_t table_index = e->GetTableIndex();
  uint64_t id = Insert(std::move(e));
  CurrentStep().Added.emplace_back(table_index, id);
  sync_journal_.push_back({id, 0, type});
  sort_order_cache_.clear();
  return id;
}

bool DataBase::DeleteEntry(uint32_t table, uint64_t id) {
  if (id == 0 || table >= kTableCount) return false;
  Modified = true;
  auto it = tables_[table].find(id);
  if (it == tables_[table].end() || IsForeignReadOnly(*it->second)) return false;
  std::unique_ptr<TBaseEntry> record = Take(tables_[table], it);
  record->DeleteDependents(*this);
  uint64_t stamp = NewerStamp(record->Header.LastModDate);
  auto [marker, fresh] = deleted_headers_.try_emplace(id, record->Header);
  if (!fresh) stamp = std::max(marker->second.LastModDate + 1, stamp);
  marker->second.LastModDate = stamp;
  marker->second.Type = etDeleted;
  marker->second.SecondaryType = record->Header.Type;
  marker->second.Size = 0;
  sync_journal_.push_back({id, 1, record->Header.Type});
  CurrentStep().Replaced.push_back(std::move(record));
  sort_order_cache_.clear();
  return true;
}

std::unique_ptr<TBaseEntry> DataBase::GetEntry(uint64_t id, uint32_t table) {
  const TBaseEntry* e = FindEntry(id, table);
  if (e == nullptr) return nullptr;
  std::unique_ptr<TBaseEntry> copy = e->Clone();
  copy->LoadDependents(*this);
  return copy;
}

uint64_t DataBase::SetString(uint64_t id, const std::wstring& text) {
  if (text.empty()) {
    DeleteString(id);
    return 0;
  }
  auto s = std::make_unique<TStringEntry>();
  s->Header.ID = id;
  s->Header.OwnerID = current_user_id_;
  s->Text = text;
  return StoreEntry(std::move(s));
}

bool DataBase::GetString(uint64_t id, std::wstring& text) {
  text.clear();
  const TBaseEntry* e = FindEntry(id, 6);
  if (e == nullptr || e->Header.Type != etString) return false;
  text = static_cast<const TStringEntry*>(e)->Text;
  return true;
}

bool DataBase::CollectChildren(uint64_t parent_id, uint32_t type,
                               std::vector<const TBaseEntry*>& out) {
  if (parent_id == 0) return false;
  for (auto it = children_.lower_bound({parent_id, 0});
       it != children_.end() && it->first == parent_id; ++it) {
    const TBaseEntry* e = FindEntry(it->second, 4);
    if (e != nullptr && e->Header.Type == type) out.push_back(e);
  }
  return true;
}

void DataBase::ReplaceChildren(uint64_t parent_id, uint32_t type,
                               std::vector<std::unique_ptr<TBaseEntry>>& links) {
  Modified = true;
  for (auto& link : links) link->Header.ID = 0;
  std::vector<uint64_t> stale;
  size_t next = 0;
  std::vector<const TBaseEntry*> held;
  if (parent_id != 0) CollectChildren(parent_id, type, held);
  for (const TBaseEntry* e : held) {
    if (next < links.size()) {
      links[next++]->Header.ID = e->Header.ID;
    } else {
      stale.push_back(e->Header.ID);
    }
  }
  for (uint64_t id : stale) DeleteEntry(4, id);
  for (auto& link : links) StoreEntry(std::move(link));
  links.clear();
}

void DataBase::GetSortOrder(uint64_t item_id, uint32_t& order, bool& expanded) {
  if (auto it = sort_order_cache_.find(item_id); it != sort_order_cache_.end()) {
    order = it->second.first;
    expanded = it->second.second;
    return;
  }
  for (const auto& [id, e] : tables_[4]) {
    if (e->Header.Type != etSortOrder) continue;
    const auto& so = static_cast<const TSortOrder&>(*e);
    if (so.Data.UserID == current_user_id_ && so.Data.EntryID == item_id) {
      order = so.Data.Order;
      expanded = so.Data.Expanded != 0;
      sort_order_cache_[item_id] = {order, expanded};
      return;
    }
  }
}

void DataBase::SetSortOrder(uint64_t item_id, uint32_t order, bool expanded) {
  std::vector<uint64_t> ids;
  for (const auto& [id, e] : tables_[4]) {
    if (e->Header.Type != etSortOrder) continue;
    const auto& so = static_cast<const TSortOrder&>(*e);
    if (so.Data.UserID == current_user_id_ && so.Data.EntryID == item_id) ids.push_back(id);
  }
  auto record = std::make_unique<TSortOrder>();
  if (!ids.empty()) *record = static_cast<const TSortOrder&>(*FindEntry(ids[0], 4));
  record->Data.UserID = current_user_id_;
  record->Data.EntryID = item_id;
  record->Data.Order = order;
  record->Data.Expanded = expanded ? 1 : 0;
  BeginUndoStep(3);
  StoreEntry(std::move(record));
  DropUndoStep();
  if (ids.size() > 1) {
    BeginUndoStep(4);
    for (size_t i = 1; i < ids.size(); ++i) DeleteEntry(4, ids[i]);
    DropUndoStep();
  }
  sort_order_cache_[item_id] = {order, expanded};
}

ADate DataBase::FirstTransactionDate() {
  ADate today = TodayADate();
  const TTransaction* first = nullptr;
  auto key = [](const TTransaction& t) {
    return std::make_tuple(t.Data.Date, t.Data.Time, t.Data.SplitID, t.Header.ID);
  };
  for (const auto& [id, e] : tables_[1]) {
    const auto* t = dynamic_cast<const TTransaction*>(e.get());
    if (t != nullptr && (first == nullptr || key(*t) < key(*first))) first = t;
  }
  if (first == nullptr) return today;
  ADate date = std::min(first->Data.Date, today);
  return date.Val < 1 ? ADate(0) : date;
}

void DataBase::SetCurrentUser(uint64_t user_id) {
  DiscardStepsFrom(0);
  undo_index_ = 0;
  current_user_id_ = user_id;
  user_selected_ = true;
  sort_order_cache_.clear();
  if (user_id != 0) {
    if (const auto* user = dynamic_cast<const TUser*>(FindEntry(user_id, 3))) {
      UserSettings.DefaultCurrencyID = user->Data.Settings.DefaultCurrencyID;
    }
  }
}

void DataBase::Close() {
  if (!Loaded) return;
  CurrentUser = TUser();
  for (Table& table : tables_) table.clear();
  children_.clear();
  ex_rates_.clear();
  deleted_headers_.clear();
  DiscardStepsFrom(0);
  undo_index_ = 0;
  sync_journal_.clear();
  sort_order_cache_.clear();
  LastID = 0;
  Loaded = false;
  ReadOnly = false;
  user_selected_ = false;
}

}  // namespace vemra
