#include "lists/account_list.h"

#include <algorithm>
#include <future>
#include <set>

#include "platform/unicode.h"

namespace vemra::lists {
namespace {

std::shared_ptr<Node> Row(Book& book, const vemra::Node& core) {
  auto row = std::make_shared<Node>();
  row->Type = core.Type;
  if (core.Type == NodeType::Account && core.Account) {
    row->Account = core.Account;
    row->ID = core.Account->Header.ID;
    book.GetString(core.Account->Data.NameID, row->Name);
    book.GetString(core.Account->Data.CommentID, row->Comment);
    row->Balance = core.Account->Balance;
    row->CurrencyID = core.Account->Data.CurrencyID;
  } else if (core.Group) {
    row->Group = core.Group;
    row->ID = core.Group->Header.ID;
    book.GetString(core.Group->Data.NameID, row->Name);
    book.GetString(core.Group->Data.CommentID, row->Comment);
    row->CurrencyID = core.Group->Data.CurrencyID != 0 ? core.Group->Data.CurrencyID
                                                       : book.Currencies().GetDefaultCurrencyID();
  }
  return row;
}

}  // namespace

AccountList::AccountList(Document& document) : document_(document) {}

Rows AccountList::BuildRows(Book& book) {
  const bool show_invisible = book.Header.Reserved2 != 0;
  const uint64_t home = book.Currencies().GetDefaultCurrencyID();
  Rows rows;
  auto overall = std::make_shared<Node>();
  overall->Type = kOverallRow;
  overall->CurrencyID = home;
  rows.push_back(overall);
  for (const std::shared_ptr<vemra::Node>& top : book.Accounts().GetAccountsTree()) {
    std::shared_ptr<Node> row = Row(book, *top);
    rows.push_back(row);
    for (const std::shared_ptr<vemra::Node>& child : top->Children) {
      if (!child->Account || (!show_invisible && child->Account->Data.Visible == 0)) continue;
      std::shared_ptr<Node> account = Row(book, *child);
      account->Parent = row.get();
      row->AllNodes.push_back(account);
      double rate = 1.0;
      if (!book.FindExRate(account->CurrencyID, row->CurrencyID, rate)) {
        account->NoRate = row->NoRate = true;
      }
      row->Balance += account->Balance * rate;
      rows.push_back(account);
    }
  }
  // Accounts inside groups count once, as rows of their own; group rows are not added.
  for (const auto& row : rows) {
    if (row->Type != NodeType::Account) continue;
    double rate = 1.0;
    if (!book.FindExRate(row->CurrencyID, home, rate)) row->NoRate = overall->NoRate = true;
    overall->Balance += row->Balance * rate;
  }
  return rows;
}

void AccountList::loadData(std::function<void()> done) {
  document_.queue().Submit([this, done] {
    Rows rows = BuildRows(document_.database());
    {
      std::lock_guard<std::mutex> lock(mutex_);
      rows_.swap(rows);
    }
    if (done) done();
  });
}

void AccountList::loadDataAndWait() {
  std::promise<void> loaded;
  loadData([&] { loaded.set_value(); });
  loaded.get_future().wait();
}

Rows AccountList::rows() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return rows_;
}

AccountList::Selection AccountList::select(const std::vector<size_t>& indexes) const {
  const Rows all = rows();
  Selection s;
  std::vector<size_t> sorted = indexes;
  std::sort(sorted.begin(), sorted.end());
  sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
  uint64_t candidate = 0;
  bool overall = false;
  for (size_t i : sorted) {
    if (i >= all.size()) continue;
    const Node& row = *all[i];
    if (row.Type == NodeType::Account) {
      s.accounts.push_back(row.ID);
      candidate = row.CurrencyID;
    } else if (row.Type == NodeType::Group) {
      for (const auto& child : row.AllNodes) s.accounts.push_back(child->ID);
      candidate = row.CurrencyID;
    } else {
      overall = true;
    }
  }
  const uint64_t home = all.empty() ? 0 : all.front()->CurrencyID;
  s.currency = s.accounts.size() == 1 ? candidate : home;
  s.nothing = s.accounts.empty() && !overall && !sorted.empty();
  s.can_delete =
      sorted.size() == 1 && sorted[0] < all.size() && all[sorted[0]]->Type != kOverallRow;
  return s;
}

std::string AccountList::deleteQuestion(size_t index) const {
  const Rows all = rows();
  if (index >= all.size() || all[index]->Type != NodeType::Account) return {};
  return "Delete account \"" + WideToUtf8Lossy(all[index]->Name) + "\"?";
}

bool AccountList::deleteRow(size_t index, std::string* why) {
  const Rows all = rows();
  if (index >= all.size() ||
      (all[index]->Type != NodeType::Account && all[index]->Type != NodeType::Group)) {
    if (why != nullptr) *why = "only an account or a group can be deleted";
    return false;
  }
  const Node& row = *all[index];
  document_.initUndo(4);
  bool deleted = false;
  document_.Sync([&] {
    Book& book = document_.database();
    if (row.Type == NodeType::Account) {
      TRefusal refusal;
      deleted = book.Accounts().DeleteAccount(row.ID, &refusal);
      if (!deleted && why != nullptr) {
        *why = refusal.Reason == TRefusal::kAbsent
                   ? "the account no longer exists"
                   : "the account or one of its transactions is read-only";
      }
    } else {
      // The group record alone: its accounts keep their GroupID and show at the top level.
      deleted = book.DeleteEntry(row.Group->GetTableIndex(), row.ID);
      if (!deleted && why != nullptr) *why = "the group is read-only";
    }
  });
  if (deleted) {
    document_.post(kUpdateDataNotification);
    document_.writeAutosyncData();
  }
  return deleted;
}

bool AccountList::validateDrop(const std::vector<size_t>& dragged, size_t target, Drop how) const {
  const Rows all = rows();
  if (dragged.empty() || target > all.size()) return false;
  if (target == all.size()) {
    // Past the last row: a move, as long as every dragged row is a real row.
    return std::all_of(dragged.begin(), dragged.end(),
                       [&](size_t d) { return d < all.size() && all[d]->Type != kOverallRow; });
  }
  const Node& t = *all[target];
  if (t.Type == kOverallRow) return false;
  for (size_t d : dragged) {
    if (d >= all.size() || d == target || all[d]->Type == kOverallRow) return false;
    const Node& row = *all[d];
    if (row.Type == NodeType::Group && (how == Drop::On || t.Type == NodeType::Account)) {
      return false;
    }
    if (row.Type == NodeType::Account && how == Drop::On && t.Type == NodeType::Account) {
      return false;
    }
  }
  return true;
}

bool AccountList::acceptDrop(const std::vector<size_t>& dragged, size_t target, Drop how) {
  if (!validateDrop(dragged, target, how)) return false;
  const Rows all = rows();
  std::vector<size_t> moving = dragged;
  std::sort(moving.begin(), moving.end());
  moving.erase(std::unique(moving.begin(), moving.end()), moving.end());
  const std::set<size_t> moved(moving.begin(), moving.end());
  document_.initUndo(3);
  document_.Sync([&] {
    Book& book = document_.database();
    // One pass: the dragged rows land together, in row order, before the target (or last);
    // the overall row has no order of its own.
    uint32_t number = 0;
    auto place = [&](const Node& row) { book.SetSortOrder(row.ID, number++, true); };
    for (size_t i = 0; i < all.size(); ++i) {
      if (i == target) {
        for (size_t d : moving) place(*all[d]);
      }
      if (all[i]->Type == kOverallRow || moved.count(i) != 0) continue;
      place(*all[i]);
    }
    if (target >= all.size()) {
      for (size_t d : moving) place(*all[d]);
    }
    // A dragged account joins the group of where it landed.
    const Node* t = target < all.size() ? all[target].get() : nullptr;
    if (t != nullptr && t->Type == NodeType::Group && how == Drop::Above) {
      t = target > 0 ? all[target - 1].get() : nullptr;
    }
    for (size_t d : moving) {
      if (all[d]->Type != NodeType::Account) continue;
      TAccount a = book.Accounts().GetAccount(all[d]->ID);
      if (a.Header.ID == 0) continue;
      uint64_t group = 0;
      if (t != nullptr && t->Type == NodeType::Group) group = t->ID;
      if (t != nullptr && t->Type == NodeType::Account) group = t->Account->Data.GroupID;
      if (a.Data.GroupID != group) {
        a.Data.GroupID = group;
        book.Accounts().UpdateAccount(a);
      }
    }
  });
  document_.post(kUpdateDataNotification);
  document_.writeAutosyncData();
  return true;
}

}  // namespace vemra::lists
