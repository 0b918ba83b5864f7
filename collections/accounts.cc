#include "collections/accounts.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "collections/book.h"
#include "collections/records.h"
#include "core/database/visibility.h"

namespace vemra {

uint64_t Accounts::AddAccount(const TAccount& a) {
  if (IsReadOnly(a)) return 0;
  auto copy = std::make_unique<TAccount>(a);
  copy->Header.ID = 0;
  return db_->StoreEntry(std::move(copy));
}

uint64_t Accounts::UpdateAccount(const TAccount& a) {
  if (IsReadOnly(a.Header.ID) || IsReadOnly(a)) return 0;
  return db_->StoreEntry(std::make_unique<TAccount>(a));
}

TAccount Accounts::GetAccount(uint64_t id) {
  return LoadRecord<TAccount>(*db_, id, etAccount);
}

bool Accounts::DeleteAccount(uint64_t id, TRefusal* why) {
  auto refuse = [&](TRefusal::Kind reason, uint64_t record) {
    if (why != nullptr) *why = {reason, record};
    return false;
  };
  if (IsReadOnly(id)) return refuse(TRefusal::kReadOnly, id);
  if (FindRecord<TAccount>(*db_, id, etAccount) == nullptr) return refuse(TRefusal::kAbsent, id);
  // Check first, then change: a refused transaction after others were changed would leave one
  // that names a missing account, or a half-deleted account.
  std::vector<std::pair<uint64_t, TTransaction::TData>> touched;
  ITransactions& transactions = db_->Transactions();
  for (const auto& [tid, e] : db_->GetTable(1)) {
    if (e->Header.Type != etTransaction) continue;
    const auto& t = static_cast<const TTransaction&>(*e);
    if (t.Data.WithdrawAccountID != id && t.Data.TargetAccountID != id) continue;
    if (transactions.IsReadOnly(t)) return refuse(TRefusal::kDependentReadOnly, tid);
    TTransaction::TData data = t.Data;
    if (data.WithdrawAccountID == id) data.WithdrawAccountID = 0;
    if (data.TargetAccountID == id) data.TargetAccountID = 0;
    touched.emplace_back(tid, data);
  }
  // Only the transactions that named the account are stored again: restamping the others would
  // let this unchanged version win over an edit made meanwhile in another copy of the database.
  for (const auto& [tid, data] : touched) {
    if (data.WithdrawAccountID == 0 && data.TargetAccountID == 0) {
      db_->DeleteEntry(1, tid);
      continue;
    }
    auto t = LoadRecord<TTransaction>(*db_, tid, etTransaction);
    t.Data = data;
    db_->StoreEntry(std::make_unique<TTransaction>(std::move(t)));
  }
  if (why != nullptr) *why = {};
  return db_->DeleteEntry(0, id);
}

NodeList Accounts::GetAccountsTree() {
  // The stored records carry no sort order; it comes from the current user's sort-order records.
  std::vector<TAccount> accounts;
  std::vector<TAccGroup> groups;
  for (const auto& [id, e] : db_->GetTable(0)) {
    if (e->Header.Type == etAccount) {
      accounts.push_back(static_cast<const TAccount&>(*e));
      db_->GetSortOrder(id, accounts.back().Order, accounts.back().Expanded);
    } else if (e->Header.Type == etAccGroup) {
      groups.push_back(static_cast<const TAccGroup&>(*e));
      db_->GetSortOrder(id, groups.back().Order, groups.back().Expanded);
    }
  }
  auto by_order = [](const auto& a, const auto& b) { return a.Order < b.Order; };
  std::stable_sort(accounts.begin(), accounts.end(), by_order);
  std::stable_sort(groups.begin(), groups.end(), by_order);

  // Balances count the cleared transactions up to today.
  std::map<uint64_t, double> totals;
  for (const TAccount& a : accounts) totals.emplace(a.Header.ID, 0.0);
  db_->AddBalanceSums(totals, ADate(TodayADate().Val + 1));

  NodeList result;
  for (const TAccGroup& g : groups) {
    if (IsGroupHidden(g)) continue;
    auto node = std::make_shared<Node>(NodeType::Group);
    node->Group = std::make_shared<TAccGroup>(g);
    result.push_back(std::move(node));
  }
  const bool show_invisible = db_->Header.Reserved2 != 0;
  NodeList ungrouped;
  for (TAccount& a : accounts) {
    if ((!show_invisible && a.Data.Visible == 0) || IsHidden(a)) continue;
    a.Balance = a.Data.InitialBalance + totals[a.Header.ID];
    auto node = std::make_shared<Node>(NodeType::Account);
    node->Account = std::make_shared<TAccount>(std::move(a));
    auto group = std::find_if(result.begin(), result.end(), [&](const auto& n) {
      return n->Group->Header.ID == node->Account->Data.GroupID;
    });
    if (group != result.end()) {
      node->HasParent = true;
      (*group)->Children.push_back(std::move(node));
    } else {
      ungrouped.push_back(std::move(node));
    }
  }
  result.splice(result.begin(), ungrouped);
  return result;
}

uint64_t Accounts::GetCurrencyID(uint64_t id) {
  const TAccount* a = FindRecord<TAccount>(*db_, id, etAccount);
  return a != nullptr ? a->Data.CurrencyID : 0;
}

double Accounts::GetExchangeRate(uint64_t first, uint64_t second) {
  return db_->GetExRate(GetCurrencyID(first), GetCurrencyID(second));
}

uint64_t Accounts::GetDefaultAccountID() {
  if (FindRecord<TAccount>(*db_, PreferredAccountID, etAccount) != nullptr) {
    return PreferredAccountID;
  }
  for (const auto& [id, e] : db_->GetTable(0)) {
    if (e->Header.Type == etAccount) return id;
  }
  return 0;
}

bool Accounts::IsReadOnly(uint64_t id) {
  if (db_->ReadOnly) return true;
  if (db_->CurrentUserID() == 0) return false;
  const TAccount* a = FindRecord<TAccount>(*db_, id, etAccount);
  return a != nullptr && IsReadOnly(*a);
}

bool Accounts::IsReadOnly(const TAccount& a) {
  if (db_->ReadOnly) return true;
  const uint64_t user = db_->CurrentUserID();
  if (user == 0) return false;
  if (a.Header.ReadOnly && a.Header.OwnerID != user) return true;
  const TAccGroup* g = FindRecord<TAccGroup>(*db_, a.Data.GroupID, etAccGroup);
  return g != nullptr && IsGroupReadOnly(*g);
}

bool Accounts::IsGroupReadOnly(const TAccGroup& g) {
  if (db_->ReadOnly) return true;
  const uint64_t user = db_->CurrentUserID();
  if (user == 0) return false;
  // A group another user hid is read-only as well.
  if (!g.Header.ReadOnly && !g.Header.Hidden) return false;
  return g.Header.OwnerID != user;
}

bool Accounts::IsHidden(uint64_t id) {
  if (db_->CurrentUserID() == 0) return false;
  const TAccount* a = FindRecord<TAccount>(*db_, id, etAccount);
  return a != nullptr && IsHidden(*a);
}

bool Accounts::IsHidden(const TAccount& a) {
  const uint64_t user = db_->CurrentUserID();
  if (user == 0) return false;
  if (a.Header.Hidden && a.Header.OwnerID != user) return true;
  const TAccGroup* g = FindRecord<TAccGroup>(*db_, a.Data.GroupID, etAccGroup);
  return g != nullptr && IsGroupHidden(*g);
}

bool Accounts::IsGroupHidden(const TAccGroup& g) {
  const uint64_t user = db_->CurrentUserID();
  return user != 0 && g.Header.Hidden && g.Header.OwnerID != user;
}

}  // namespace vemra
