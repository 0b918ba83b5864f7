#include "core/database/database.h"

#include <algorithm>
#include <array>
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

void DataBase::KeepForUndo(std::unique_ptr<TBaseEntry> record) {
  // Step 0 collects changes made outside any user action; nothing can undo them, so keeping
  // their displaced versions would only grow memory for as long as the book is open.
  if (undo_index_ == 0) return;
  undo_history_[undo_index_].Replaced.push_back(std::move(record));
}

void DataBase::NoteAdded(uint32_t table, uint64_t id) {
  if (undo_index_ == 0) return;
  undo_history_[undo_index_].Added.emplace_back(table, id);
}

void DataBase::Index(const TBaseEntry& e, bool add) {
  const uint32_t table = e.GetTableIndex();
  if (table <= 1 && e.Header.Hidden != 0) {
    if (add) {
      ++hidden_marks_;
    } else {
      --hidden_marks_;
    }
  }
  switch (table) {
    case 1:
      if (e.Header.Type == etTransaction) {
        const auto& t = static_cast<const TTransaction&>(e);
        transaction_index_.Note(t, add);
        NoteTextChange(&text_changes_.Transactions, t.Header.ID);
        NoteTextChange(&text_changes_.Names, t.Data.NameID);
      }
      return;
    case 6:
      NoteTextChange(&text_changes_.Strings, e.Header.ID);
      return;
    case 4: {
      uint64_t parent = e.GetParentID();
      if (parent == 0) return;
      // The cache answers GetSortOrder; only a change of a sort-order record can make it stale.
      if (e.Header.Type == etSortOrder) sort_order_cache_.erase(parent);
      if (add) {
        children_.emplace(parent, e.Header.ID);
      } else {
        children_.erase({parent, e.Header.ID});
      }
      return;
    }
    case 5:
      IndexRate(e, add);
      return;
    default:
      return;
  }
}

void DataBase::NoteTextChange(std::vector<uint64_t>* list, uint64_t id) {
  // Beyond this a cache is rebuilt faster than it applies the changes one by one.
  constexpr size_t kMaxTextChanges = 4096;
  if (text_changes_.Overflow) return;
  if (list->size() >= kMaxTextChanges) {
    text_changes_ = TextChanges();
    return;
  }
  list->push_back(id);
}

DataBase::TextChanges DataBase::TakeTextChanges() {
  TextChanges taken = std::move(text_changes_);
  text_changes_ = TextChanges();
  text_changes_.Overflow = false;
  return taken;
}

uint64_t DataBase::Insert(std::unique_ptr<TBaseEntry> e) {
  uint64_t id = e->Header.ID;
  Table& table = tables_[e->GetTableIndex()];
  // Records usually arrive in ID order (a file is written that way), so a new one usually goes
  // at the end.
  auto hint = table.empty() || table.rbegin()->first < id ? table.end() : table.lower_bound(id);
  if (hint != table.end() && hint->first == id) {
    Index(*hint->second, false);
    Index(*e, true);
    hint->second = std::move(e);
  } else {
    Index(*e, true);
    table.emplace_hint(hint, id, std::move(e));
  }
  return id;
}

std::unique_ptr<TBaseEntry> DataBase::Exchange(std::unique_ptr<TBaseEntry>& slot,
                                               std::unique_ptr<TBaseEntry> e) {
  Index(*slot, false);
  Index(*e, true);
  std::swap(slot, e);
  return e;
}

std::unique_ptr<TBaseEntry> DataBase::Take(Table& table, Table::iterator it) {
  std::unique_ptr<TBaseEntry> record = std::move(it->second);
  table.erase(it);
  Index(*record, false);
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
    KeepForUndo(Exchange(old->second, std::move(e)));
    sync_journal_.push_back({old->first, 0, old->second->Header.Type});
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
  NoteAdded(table_index, id);
  sync_journal_.push_back({id, 0, type});
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
  KeepForUndo(std::move(record));
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
  s->SetText(text);
  return StoreEntry(std::move(s));
}

bool DataBase::GetString(uint64_t id, std::wstring& text) {
  text.clear();
  const TBaseEntry* e = FindEntry(id, 6);
  if (e == nullptr || e->Header.Type != etString) return false;
  text = static_cast<const TStringEntry*>(e)->Text();
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

std::vector<const TSortOrder*> DataBase::SortOrders(uint64_t item_id) {
  std::vector<const TBaseEntry*> links;
  CollectChildren(item_id, etSortOrder, links);
  std::vector<const TSortOrder*> mine;
  for (const TBaseEntry* e : links) {
    const auto& so = static_cast<const TSortOrder&>(*e);
    if (so.Data.UserID == current_user_id_) mine.push_back(&so);
  }
  return mine;
}

void DataBase::GetSortOrder(uint64_t item_id, uint32_t& order, bool& expanded) {
  if (auto it = sort_order_cache_.find(item_id); it != sort_order_cache_.end()) {
    order = it->second.first;
    expanded = it->second.second;
    return;
  }
  std::vector<const TSortOrder*> mine = SortOrders(item_id);
  if (mine.empty()) return;
  order = mine[0]->Data.Order;
  expanded = mine[0]->Data.Expanded != 0;
  sort_order_cache_[item_id] = {order, expanded};
}

void DataBase::SetSortOrder(uint64_t item_id, uint32_t order, bool expanded) {
  std::vector<uint64_t> ids;
  for (const TSortOrder* so : SortOrders(item_id)) ids.push_back(so->Header.ID);
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
  RebuildExRates();
  ProcessDueSchedules();
  sort_order_cache_.clear();
  if (user_id != 0) {
    if (const auto* user = dynamic_cast<const TUser*>(FindEntry(user_id, 3))) {
      UserSettings.DefaultCurrencyID = user->Data.Settings.DefaultCurrencyID;
    }
  }
}

void DataBase::ProcessDueSchedules() {
  const ADate today = TodayADate();
  std::vector<TTransaction> transactions;
  ProcessSchedules(today, transactions);
  std::vector<TEvent> events;
  ProcessScheduledEvents(today, events);
}

void DataBase::Refresh() {
  RebuildExRates();
  ProcessDueSchedules();
}

bool DataBase::StoreSplit(TSplit& split, std::vector<TTransaction>& parts) {
  if (split.Header.ID != 0) {
    std::vector<uint64_t> old_parts;
    for (const auto& [id, e] : tables_[1]) {
      if (static_cast<const TTransaction&>(*e).Data.SplitID == split.Header.ID) {
        old_parts.push_back(id);
      }
    }
    for (uint64_t id : old_parts) DeleteEntry(1, id);
  }
  auto record = std::make_unique<TSplit>(split);
  record->Transactions.clear();
  uint64_t split_id = StoreEntry(std::move(record));
  if (split_id == 0) return false;
  // The caller's objects take the stored IDs, text IDs and stamps, so that storing them again
  // replaces these records instead of adding new texts.
  const TBaseEntry& stored_split = *FindEntry(split_id, 0);
  split.Header = stored_split.Header;
  split.Data = static_cast<const TSplit&>(stored_split).Data;
  for (TTransaction& part : parts) {
    part.Data.SplitID = split_id;
    part.Data.Date = split.Data.Date;
    part.Data.Time = split.Data.Time;
    // The split keeps its cleared state in flag B.
    part.Data.Cleared = static_cast<int8_t>(split.Data.FlagB);
    part.Header.Hidden = split.Header.Hidden;
    part.Header.ReadOnly = split.Header.ReadOnly;
    part.Header.OwnerID = split.Header.OwnerID;
    if (part.Data.WithdrawAccountID == 0) part.Data.WithdrawAmount = 0;
    if (part.Data.TargetAccountID == 0) part.Data.TargetAmount = 0;
    // Stored directly until the transactions collection offers its own store.
    uint64_t id = StoreEntry(part.Clone());
    if (id == 0) return false;
    const TBaseEntry& stored = *FindEntry(id, 1);
    part.Header = stored.Header;
    part.Data = static_cast<const TTransaction&>(stored).Data;
  }
  return true;
}

std::wstring DataBase::GetDatabaseText(uint32_t slot) {
  std::wstring text;
  if (slot < DatabaseTexts.size()) GetString(DatabaseTexts[slot].first, text);
  return text;
}

void DataBase::SetDatabaseText(uint32_t slot, const std::wstring& text) {
  if (ReadOnly || slot >= DatabaseTexts.size()) return;
  auto& [id, stamp] = DatabaseTexts[slot];
  // Journalled for sync, but not undoable: the step is dropped at once.
  BeginUndoStep(3);
  id = SetString(id, text);
  stamp = NewerStamp(stamp);
  DropUndoStep();
}

namespace {

// Whether ClearDatabase removes records of `type` under flags f[0..7].
bool ClearedByFlags(uint32_t type, const std::array<bool, 8>& f) {
  switch (type) {
    case etCurrency:
    case etExRate:
      return false;
    case etAccount:
    case etAccGroup:
      return f[0];
    case etCategory:
      return f[1];
    case etUser:
      return f[6];
    case etTransaction:
    case etSplit:
      return f[0] || f[2];
    case etScheduledTransaction:
      return f[0] || f[3];
    case etLoan:
      return f[4];
    case etBudget:
    case etBudgetFilter:
      return f[5];
    case etEvent:
    case etScheduledEvent:
      return f[7];
    default:
      return true;
  }
}

}  // namespace

void DataBase::ClearDatabase(bool f1, bool f2, bool f3, bool f4, bool f5, bool f6, bool f7,
                             bool f8) {
  if (current_user_id_ != 0) return;
  const std::array<bool, 8> flags{f1, f2, f3, f4, f5, f6, f7, f8};
  Header = TDBHeader();
  Header.DatabaseID = NewID();
  // The default account would name a deleted record.
  if (f1) UserSettings.DefaultAccountID = 0;

  std::vector<std::pair<uint32_t, uint64_t>> doomed;
  for (uint32_t t = 0; t < kTableCount; ++t) {
    for (auto& [id, e] : tables_[t]) {
      if (e->Header.Type == etString) continue;
      if (f7) {
        e->Header.OwnerID = 0;
        e->Header.Hidden = 0;
      }
      if (ClearedByFlags(e->Header.Type, flags)) doomed.emplace_back(t, id);
    }
  }
  if (f7) hidden_marks_ = 0;  // the marks were taken off in place
  for (const auto& [t, id] : doomed) DeleteEntry(t, id);

  DiscardStepsFrom(0);
  undo_index_ = 0;
  sync_journal_.clear();
  deleted_headers_.clear();
  sort_order_cache_.clear();
  Modified = true;
}

void DataBase::Close() {
  if (!Loaded) return;
  CurrentUser = TUser();
  for (Table& table : tables_) table.clear();
  children_.clear();
  ex_rates_.clear();
  transaction_index_.Clear();
  hidden_marks_ = 0;
  text_changes_ = TextChanges();
  deleted_headers_.clear();
  DiscardStepsFrom(0);
  undo_index_ = 0;
  sync_journal_.clear();
  sort_order_cache_.clear();
  LastID = 0;
  Loaded = false;
  ReadOnly = false;
  user_selected_ = false;
  // A user of the closed database means nothing to the next one.
  current_user_id_ = 0;
}

}  // namespace vemra
