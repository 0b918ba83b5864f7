#include "collections/transactions.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "collections/book.h"
#include "collections/records.h"
#include "core/database/visibility.h"
#include "core/records/scheduled_transaction.h"

namespace vemra {
namespace {

const TScheduledTransaction* FindScheduled(DataBase& db, uint64_t id) {
  return FindRecord<TScheduledTransaction>(db, id, etScheduledTransaction);
}

// Whether the stored record behind query row `t` (for a ghost, its schedule) has no time of day.
bool StoredUntimed(DataBase& db, const TTransaction& t) {
  const TTransaction* stored = t.IsGhost ? FindScheduled(db, t.ScheduleID)
                                         : FindRecord<TTransaction>(db, t.Header.ID, etTransaction);
  return stored != nullptr && stored->Data.Time == 0;
}

// The key a transaction is grouped by under `group_by`; 0 for none.
uint64_t GroupKey(const TTransaction& t, int group_by) {
  switch (group_by) {
    case GroupBy::Split:
      return t.Data.SplitID;
    case GroupBy::Category:
      return t.Categories.CategoryID;
    case GroupBy::Family:
      return t.Categories.FamilyID;
    case GroupBy::Payee:
      return t.Categories.PayeeID;
    case GroupBy::Project:
      return t.Categories.ProjectID;
    default:
      return 0;
  }
}

// Moves the transaction nodes under `header` that have a split into one Split node per split;
// the split nodes follow the transactions left in place, in ascending split ID.
void GroupBySplit(DataBase& db, Node& header) {
  std::map<uint64_t, std::shared_ptr<Node>> splits;
  for (auto it = header.Children.begin(); it != header.Children.end();) {
    const TTransaction& t = *(*it)->Transaction;
    const TSplit* record = FindRecord<TSplit>(db, t.Data.SplitID, etSplit);
    if (record == nullptr) {
      ++it;
      continue;
    }
    std::shared_ptr<Node>& node = splits[t.Data.SplitID];
    if (!node) {
      node = std::make_shared<Node>(NodeType::Split);
      node->Split = std::make_shared<TSplit>(*record);
      node->Split->Data.Time = t.Data.Time;
      node->Balance = t.Balance;
    }
    (*it)->HasParent = true;
    auto next = std::next(it);
    node->Children.splice(node->Children.end(), header.Children, it);
    it = next;
  }
  for (auto& [id, node] : splits) header.Children.push_back(std::move(node));
}

// Moves the transaction nodes under `header` into one Category node per category key, then
// links the category nodes into their parent chains: every node ends up exactly once, under
// its parent category's node (made when the parent has no transactions of its own) or, when
// its parent is no category record, directly under the header. Siblings stand in ascending ID.
void GroupByCategory(DataBase& db, Node& header, int group_by) {
  std::map<uint64_t, std::shared_ptr<Node>> nodes;
  auto make_node = [&](const TCategory& c) {
    auto node = std::make_shared<Node>(NodeType::Category);
    node->Category = std::make_shared<TCategory>(c);
    return node;
  };
  for (auto it = header.Children.begin(); it != header.Children.end();) {
    uint64_t key = GroupKey(*(*it)->Transaction, group_by);
    const TCategory* record = key == 0 ? nullptr : FindRecord<TCategory>(db, key, etCategory);
    if (record == nullptr) {
      ++it;
      continue;
    }
    std::shared_ptr<Node>& node = nodes[key];
    if (!node) node = make_node(*record);
    (*it)->HasParent = true;
    auto next = std::next(it);
    node->Children.splice(node->Children.end(), header.Children, it);
    it = next;
  }

  // The parent each linked node was attached to, to refuse a link that would close a cycle.
  std::unordered_map<uint64_t, uint64_t> parent_of;
  auto is_ancestor = [&](uint64_t candidate, uint64_t of) {
    for (int steps = 0; steps < kMaxParentSteps; ++steps) {
      if (of == candidate) return true;
      auto up = parent_of.find(of);
      if (up == parent_of.end()) return false;
      of = up->second;
    }
    return true;
  };
  // Pending nodes in ascending ID; a parent node made on the way joins the pass.
  std::set<uint64_t> pending;
  for (const auto& [id, node] : nodes) pending.insert(id);
  while (!pending.empty()) {
    uint64_t id = *pending.begin();
    pending.erase(pending.begin());
    const std::shared_ptr<Node>& node = nodes[id];
    uint64_t parent_id = node->Category->Data.RootID;
    if (parent_id == id || is_ancestor(id, parent_id)) continue;
    auto parent = nodes.find(parent_id);
    if (parent == nodes.end()) {
      const TCategory* record = FindRecord<TCategory>(db, parent_id, etCategory);
      if (record == nullptr) continue;
      parent = nodes.emplace(parent_id, make_node(*record)).first;
      pending.insert(parent_id);
    }
    node->HasParent = true;
    parent_of[id] = parent_id;
    parent->second->Children.push_back(node);
  }
  for (auto& [id, node] : nodes) {
    if (!node->HasParent) header.Children.push_back(node);
  }
}

}  // namespace

int32_t TransactionKind(const TTransaction& t) {
  if (t.Data.WithdrawAccountID == 0) return 1;
  return t.Data.TargetAccountID == 0 ? 0 : 2;
}

uint64_t Transactions::AddTransaction(const TTransaction& t, const TSchedule& schedule) {
  if (IsReadOnly(t)) return 0;
  if (schedule.ScheduleType == 0) {
    auto copy = std::make_unique<TTransaction>();
    copy->CopyTransactionPart(t);
    return db_->StoreEntry(std::move(copy));
  }
  auto scheduled = std::make_unique<TScheduledTransaction>();
  scheduled->CopyFromTransaction(t);
  scheduled->Schedule = schedule;
  return db_->StoreEntry(std::move(scheduled));
}

uint64_t Transactions::UpdateTransaction(const TTransaction& t, const TSchedule& schedule) {
  const uint64_t id = t.Header.ID;
  if (IsReadOnly(id) || IsReadOnly(t)) return 0;
  const TSplit* split = FindRecord<TSplit>(*db_, t.Data.SplitID, etSplit);
  if (split != nullptr && (split->Data.Date != t.Data.Date || split->Data.Time != t.Data.Time)) {
    TSplit moved = db_->Splits().GetSplit(t.Data.SplitID);
    moved.Data.Date = t.Data.Date;
    moved.Data.Time = t.Data.Time;
    db_->Splits().UpdateSplit(moved);
  }
  const TScheduledTransaction* scheduled = FindScheduled(*db_, id);
  if (scheduled == nullptr && schedule.ScheduleType == 0) {
    auto copy = std::make_unique<TTransaction>();
    copy->Header.ID = id;
    copy->CopyTransactionPart(t);
    return db_->StoreEntry(std::move(copy));
  }
  auto record = std::make_unique<TScheduledTransaction>();
  record->CopyFromTransaction(t);
  if (scheduled != nullptr) {
    // A scheduled transaction stays scheduled: without a schedule of its own the caller keeps
    // the stored one, so that an edit never leaves it a schedule that never fires.
    record->Header.ID = id;
    record->Schedule = schedule.ScheduleType == 0 ? scheduled->Schedule : schedule;
    return db_->StoreEntry(std::move(record));
  }
  // A plain transaction given a schedule moves to the scheduled records. Copies merge by ID and
  // keep one deletion marker per ID, so a move under the same ID would leave other copies
  // holding both; the plain record is deleted and the scheduled one is a new record.
  if (!t.Loaded) record->Tags = LoadRecord<TTransaction>(*db_, id, etTransaction).Tags;
  record->Schedule = schedule;
  record->ClearStringIDs();
  if (!db_->DeleteEntry(1, id)) return 0;
  return db_->StoreEntry(std::move(record));
}

TTransaction Transactions::GetTransaction(uint64_t id) {
  if (FindRecord<TTransaction>(*db_, id, etTransaction) != nullptr) {
    return LoadRecord<TTransaction>(*db_, id, etTransaction);
  }
  TTransaction out;
  if (FindScheduled(*db_, id) == nullptr) return out;
  // The occurrence copy, linked to its schedule by ScheduleID so that an editor finds the
  // schedule and saves it back.
  auto scheduled = LoadRecord<TScheduledTransaction>(*db_, id, etScheduledTransaction);
  scheduled.CopyToTransaction(out, true);
  out.Header.ID = id;
  out.Header.LastModDate = scheduled.Header.LastModDate;
  out.Loaded = scheduled.Loaded;
  return out;
}

TSchedule Transactions::GetSchedule(uint64_t id) {
  const TScheduledTransaction* scheduled = FindScheduled(*db_, id);
  if (scheduled != nullptr) return scheduled->Schedule;
  TSchedule none;
  none.ScheduleType = 0;
  return none;
}

bool Transactions::DeleteTransaction(uint64_t id) {
  if (IsReadOnly(id)) return false;
  if (db_->DeleteEntry(1, id)) return true;
  return FindScheduled(*db_, id) != nullptr && db_->DeleteEntry(0, id);
}

NodeList Transactions::GetTransactionsTree(bool by_days, int group_by, uint64_t currency,
                                           const std::set<uint64_t>& accounts) {
  TTransactionFilter filter;
  filter.CurrencyID = currency;
  filter.Begin = db_->Period.BeginDate;
  filter.End = db_->Period.EndDate;
  filter.Accounts = accounts;
  std::vector<TTransaction> rows;
  db_->QueryTransactions(rows, filter);

  NodeList result;
  if (by_days) {
    std::shared_ptr<Node> header;
    uint32_t untimed = 0;
    for (TTransaction& t : rows) {
      if (!header || header->Date != t.Data.Date) {
        header = std::make_shared<Node>(NodeType::DateHeader);
        header->Date = t.Data.Date;
        result.push_back(header);
        untimed = 0;
      }
      // The query already gave the untimed transactions of a day the times 0, 1, 2, ...; the
      // tree counts them from 1, so that none is left at "no time".
      if (StoredUntimed(*db_, t)) t.Data.Time = ++untimed;
      auto node = std::make_shared<Node>(NodeType::Transaction);
      node->Balance = t.Balance;
      node->Transaction = std::make_shared<TTransaction>(std::move(t));
      node->HasParent = true;
      header->Children.push_front(std::move(node));
    }
  } else {
    std::shared_ptr<Node> headers[3] = {std::make_shared<Node>(NodeType::ExpenseHeader),
                                        std::make_shared<Node>(NodeType::IncomeHeader),
                                        std::make_shared<Node>(NodeType::TransferHeader)};
    for (TTransaction& t : rows) {
      auto node = std::make_shared<Node>(NodeType::Transaction);
      node->Balance = t.Balance;
      node->HasParent = true;
      Node& header = *headers[TransactionKind(t)];
      node->Transaction = std::make_shared<TTransaction>(std::move(t));
      header.Children.push_back(std::move(node));
    }
    result = {headers[1], headers[0], headers[2]};
  }

  if (group_by == GroupBy::Split) {
    for (auto& header : result) GroupBySplit(*db_, *header);
  } else if (group_by >= GroupBy::Category && group_by <= GroupBy::Project) {
    for (auto& header : result) GroupByCategory(*db_, *header, group_by);
  }
  return result;
}

void Transactions::CountDescription(uint64_t id, Visibility* visibility) {
  using Cache = DescriptionCache;
  const auto* t = FindRecord<TTransaction>(*db_, id, etTransaction);
  if (t == nullptr || t->Data.NameID == 0) return;
  const auto* name = FindRecord<TStringEntry>(*db_, t->Data.NameID, etString);
  if (name == nullptr) return;
  std::wstring text = name->Text();
  if (text.empty()) return;
  if (visibility != nullptr && visibility->Hidden(*t)) return;
  auto [key, fresh] = descriptions_.keys.try_emplace(
      Cache::Key{t->Categories.CategoryID, TransactionKind(*t), std::move(text)});
  Cache::Uses& uses = key->second;
  ++uses.count;
  if (fresh) {
    uses.latest = id;
  } else if (uses.latest != 0) {
    uses.latest = std::max(uses.latest, id);
  }
  auto& counted = descriptions_.counted;
  auto at = std::lower_bound(counted.begin(), counted.end(), std::pair(id, &key->first));
  counted.insert(at, {id, &key->first});
}

void Transactions::RefreshDescriptions() {
  using Cache = DescriptionCache;
  DataBase::TextChanges changes = db_->TakeTextChanges();
  Cache& cache = descriptions_;
  // Every changed string must be the name of a changed transaction; a text changed on its own
  // (or hidden records for the logged-in user) means starting over.
  std::vector<uint64_t> names = changes.Names;
  std::sort(names.begin(), names.end());
  bool apply = cache.valid && !changes.Overflow && cache.user == db_->CurrentUserID() &&
               !db_->SomethingHidden();
  for (uint64_t s : changes.Strings) {
    apply = apply && std::binary_search(names.begin(), names.end(), s);
  }
  if (!apply) {
    cache = Cache();
    cache.user = db_->CurrentUserID();
    std::optional<Visibility> visibility;
    if (db_->SomethingHidden()) visibility.emplace(*db_);
    for (const auto& [id, e] : db_->GetTable(1)) {
      if (e->Header.Type == etTransaction)
        CountDescription(id, visibility ? &*visibility : nullptr);
    }
  } else {
    std::vector<uint64_t> ids = changes.Transactions;
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    for (uint64_t id : ids) {
      auto at = std::lower_bound(cache.counted.begin(), cache.counted.end(),
                                 std::pair<uint64_t, const Cache::Key*>(id, nullptr));
      if (at != cache.counted.end() && at->first == id) {
        auto key = cache.keys.find(*at->second);
        cache.counted.erase(at);
        if (--key->second.count == 0) {
          cache.keys.erase(key);
        } else if (key->second.latest == id) {
          key->second.latest = 0;
        }
      }
      CountDescription(id, nullptr);  // applied one by one only while nothing is hidden
    }
  }
  // The latest use of a key whose latest use went: the last counted transaction under it.
  size_t unknown = 0;
  for (const auto& [key, uses] : cache.keys) unknown += uses.latest == 0;
  for (auto it = cache.counted.rbegin(); unknown > 0 && it != cache.counted.rend(); ++it) {
    Cache::Uses& uses = cache.keys.find(*it->second)->second;
    if (uses.latest == 0) {
      uses.latest = it->first;
      --unknown;
    }
  }
  cache.valid = true;
}

std::list<TDescription> Transactions::GetDescriptions() {
  RefreshDescriptions();
  std::list<TDescription> out;
  uint64_t category_id = 0;
  std::wstring category_name;
  bool named = false;
  for (const auto& [key, uses] : descriptions_.keys) {
    const auto& [category, kind, text] = key;
    if (!named || category != category_id) {
      category_id = category;
      category_name = db_->Categories().GetCategory(category).Name;
      named = true;
    }
    TDescription d;
    d.Kind = kind;
    d.TransactionID = uses.latest;
    d.Description = text;
    d.CategoryName = category_name;
    d.CategoryID = category;
    out.push_back(std::move(d));
  }
  return out;
}

bool Transactions::IsReadOnly(uint64_t id) {
  if (db_->ReadOnly) return true;
  if (db_->CurrentUserID() == 0) return false;
  if (const auto* t = FindRecord<TTransaction>(*db_, id, etTransaction)) return IsReadOnly(*t);
  const TScheduledTransaction* s = FindScheduled(*db_, id);
  return s != nullptr && IsReadOnly(*s);
}

bool Transactions::IsReadOnly(const TTransaction& t) {
  if (db_->ReadOnly) return true;
  const uint64_t user = db_->CurrentUserID();
  if (user == 0) return false;
  if (t.Header.ReadOnly && t.Header.OwnerID != user) return true;
  // What the user may not see they may not change either.
  if (IsHidden(t)) return true;
  IAccounts& accounts = db_->Accounts();
  if (db_->Splits().IsReadOnly(t.Data.SplitID) || accounts.IsReadOnly(t.Data.WithdrawAccountID) ||
      accounts.IsReadOnly(t.Data.TargetAccountID)) {
    return true;
  }
  return db_->Categories().IsReadOnly(t.Categories);
}

bool Transactions::IsHidden(uint64_t id) {
  if (db_->CurrentUserID() == 0) return false;
  if (const auto* t = FindRecord<TTransaction>(*db_, id, etTransaction)) return IsHidden(*t);
  const TScheduledTransaction* s = FindScheduled(*db_, id);
  return s != nullptr && IsHidden(*s);
}

bool Transactions::IsHidden(const TTransaction& t) {
  return Visibility(*db_).Hidden(t);
}

}  // namespace vemra
