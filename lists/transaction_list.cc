#include "lists/transaction_list.h"

#include <algorithm>
#include <future>
#include <set>

#include "collections/interfaces.h"
#include "platform/localization.h"
#include "platform/settings.h"
#include "platform/unicode.h"

namespace vemra::lists {
namespace {

std::wstring TextOf(Book& book, uint64_t id) {
  std::wstring text;
  book.GetString(id, text);
  return text;
}

// Name and image of the category (or payee) `id`; empty when it is missing.
void CategoryOf(Book& book, uint64_t id, std::wstring& name, uint32_t& icon) {
  if (const auto* c = dynamic_cast<const TCategory*>(book.FindEntry(id, 0))) {
    book.GetString(c->Data.NameID, name);
    icon = c->Data.ImageIndex;
  }
}

void AccountOf(Book& book, uint64_t id, std::wstring& name, uint32_t& icon) {
  if (const auto* a = dynamic_cast<const TAccount*>(book.FindEntry(id, 0))) {
    book.GetString(a->Data.NameID, name);
    icon = a->Data.ImageIndex;
  }
}

// Compares two rows by one key: <0, 0 or >0. Texts fold case first, then compare by code point;
// an absent (empty) text sorts first.
int Compare(const Node& a, const Node& b, const std::string& key) {
  auto number = [](double x, double y) { return x < y ? -1 : x > y ? 1 : 0; };
  auto text = [](const std::wstring& x, const std::wstring& y) {
    const std::wstring fx = FoldCase(x), fy = FoldCase(y);
    if (fx != fy) return fx < fy ? -1 : 1;
    return x < y ? -1 : x > y ? 1 : 0;
  };
  if (key == "date") {
    if (a.Date != b.Date) return a.Date < b.Date ? -1 : 1;
    return number(a.Time, b.Time);
  }
  if (key == "name") return text(a.Name, b.Name);
  if (key == "comment") return text(a.Comment, b.Comment);
  if (key == "category") return text(a.CategoryName, b.CategoryName);
  if (key == "payee") return text(a.PayeeName, b.PayeeName);
  if (key == "amount") return number(a.Amount, b.Amount);
  if (key == "balance") return number(a.Balance, b.Balance);
  if (key == "quantity") return number(a.Quantity, b.Quantity);
  if (key == "price") return number(a.Price, b.Price);
  return 0;
}

void SortRows(std::vector<std::shared_ptr<Node>>& rows, const std::vector<SortKey>& keys) {
  std::stable_sort(rows.begin(), rows.end(), [&](const auto& a, const auto& b) {
    for (const SortKey& k : keys) {
      int c = Compare(*a, *b, k.key);
      if (c != 0) return k.ascending ? c < 0 : c > 0;
    }
    return false;
  });
}

}  // namespace

std::shared_ptr<Node> MakeRow(Book& book, const vemra::Node& core, Node* parent) {
  auto row = std::make_shared<Node>();
  row->Type = core.Type;
  row->Parent = parent;
  for (const std::shared_ptr<vemra::Node>& child : core.Children) {
    row->AllNodes.push_back(MakeRow(book, *child, row.get()));
  }
  switch (core.Type) {
    case NodeType::DateHeader:
      row->Date = core.Date;
      break;
    case NodeType::Transaction: {
      const TTransaction& t = *core.Transaction;
      row->Transaction = core.Transaction;
      row->ID = t.IsGhost ? 0 : t.Header.ID;
      row->Date = t.Data.Date;
      row->Time = t.Data.Time;
      row->Cleared = t.Data.Cleared != 0;
      row->Amount = t.Amount;
      row->Quantity = t.Data.Quantity;
      row->WithdrawAmount = t.Data.WithdrawAmount;
      row->TargetAmount = t.Data.TargetAmount;
      row->Balance = t.Balance;
      row->Tax = t.Data.Tax;
      row->Name = TextOf(book, t.Data.NameID);
      row->Comment = TextOf(book, t.Data.CommentID);
      AccountOf(book, t.Data.WithdrawAccountID, row->WithdrawAccountName, row->WithdrawAccountIcon);
      AccountOf(book, t.Data.TargetAccountID, row->TargetAccountName, row->TargetAccountIcon);
      row->CategoryID = t.Categories.CategoryID;
      CategoryOf(book, row->CategoryID, row->CategoryName, row->CategoryIcon);
      row->PayeeID = t.Categories.PayeeID;
      CategoryOf(book, row->PayeeID, row->PayeeName, row->PayeeIcon);
      break;
    }
    case NodeType::Split: {
      row->Split = core.Split;
      row->ID = core.Split->Header.ID;
      row->Date = core.Split->Data.Date;
      row->Time = core.Split->Data.Time;
      row->Name = TextOf(book, core.Split->Data.NameID);
      if (row->Name.empty()) row->Name = L"Split";
      row->Comment = TextOf(book, core.Split->Data.CommentID);
      row->Balance = core.Balance;
      break;
    }
    case NodeType::Category:
      row->Category = core.Category;
      row->ID = core.Category->Header.ID;
      row->Name = TextOf(book, core.Category->Data.NameID);
      row->Comment = TextOf(book, core.Category->Data.CommentID);
      break;
    default:
      break;
  }
  row->FilteredNodes = row->AllNodes;
  Calculate(*row);
  return row;
}

void Calculate(Node& row) {
  if (row.FilteredNodes.empty()) {
    if (row.Type == NodeType::Transaction && row.Transaction && row.Quantity > 0) {
      const TTransaction& t = *row.Transaction;
      if (t.Data.WithdrawAccountID == 0) row.Price = row.TargetAmount / row.Quantity;
      if (t.Data.TargetAccountID == 0) row.Price = row.WithdrawAmount / row.Quantity;
    }
    if (row.Type != NodeType::Transaction && !row.AllNodes.empty()) {
      row.Amount = 0;
      row.Quantity = 0;
    }
    return;
  }
  row.Amount = 0;
  row.Quantity = 0;
  for (const auto& child : row.FilteredNodes) {
    Calculate(*child);
    if (child->Cleared) {
      row.Amount += child->Amount;
      row.Quantity += child->Quantity;
    }
  }
}

void FilterNodes(Node& row, const std::wstring& text) {
  const std::wstring wanted = FoldCase(text);
  for (const auto& child : row.AllNodes) FilterNodes(*child, text);
  row.FilteredNodes.clear();
  for (const auto& child : row.AllNodes) {
    const bool passes =
        wanted.empty() || (child->Type == NodeType::Transaction
                               ? FoldCase(child->Name).find(wanted) != std::wstring::npos
                               : !child->FilteredNodes.empty());
    if (passes) row.FilteredNodes.push_back(child);
  }
  Calculate(row);
}

void SortChildren(Node& row, const std::vector<SortKey>& keys) {
  SortRows(row.FilteredNodes, keys);
  for (const auto& child : row.FilteredNodes) SortChildren(*child, keys);
}

Node* FindNodeByID(Node& row, uint64_t id) {
  if (id == 0) return nullptr;
  if (row.ID == id) return &row;
  for (const auto& child : row.FilteredNodes) {
    if (Node* found = FindNodeByID(*child, id)) return found;
  }
  return nullptr;
}

TransactionList::TransactionList(Document& document)
    : document_(document), root_(std::make_shared<Node>()) {}

std::shared_ptr<Node> TransactionList::BuildRoot(Book& book, bool by_days, int group_by,
                                                 uint64_t currency,
                                                 const std::vector<uint64_t>& accounts) {
  if (currency == 0) currency = book.Currencies().GetDefaultCurrencyID();
  const std::set<uint64_t> chosen(accounts.begin(), accounts.end());
  auto root = std::make_shared<Node>();
  for (const auto& core :
       book.Transactions().GetTransactionsTree(by_days, group_by, currency, chosen)) {
    root->AllNodes.push_back(MakeRow(book, *core, nullptr));
  }
  root->FilteredNodes = root->AllNodes;
  Calculate(*root);
  return root;
}

void TransactionList::SortTree(Node& root, const std::vector<SortKey>& keys, bool by_days) {
  if (keys.empty()) return;
  if (by_days && keys.front().key == "date") {
    SortChildren(root, keys);
  } else {
    for (const auto& header : root.FilteredNodes) SortChildren(*header, keys);
  }
}

void TransactionList::loadData(std::function<void()> done) {
  document_.queue().Submit([this, done] {
    std::shared_ptr<Node> root =
        BuildRoot(document_.database(), by_days_, tree_group_, currency_, accounts_);
    FilterNodes(*root, filter_);
    {
      std::lock_guard<std::mutex> lock(mutex_);
      root_ = root;
    }
    sortData();
    if (done) done();
  });
}

void TransactionList::loadDataAndWait() {
  std::promise<void> loaded;
  loadData([&] { loaded.set_value(); });
  loaded.get_future().wait();
}

void TransactionList::filterData() {
  std::shared_ptr<Node> root = this->root();
  FilterNodes(*root, filter_);
  sortData();
}

void TransactionList::sortData() {
  SortTree(*root(), sort_, by_days_);
}

std::shared_ptr<Node> TransactionList::root() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return root_;
}

bool TransactionList::validateDrop(const Node& target) {
  return target.Type != NodeType::Transaction && target.Type != NodeType::TransferHeader;
}

void TransactionList::Finish() {
  document_.post(kUpdateDataNotification);
  document_.writeAutosyncData();
}

bool TransactionList::acceptDrop(const std::vector<uint64_t>& ids, const Node& target) {
  if (!validateDrop(target)) return false;
  const Node* top = &target;
  while (top->Parent != nullptr) top = top->Parent;
  std::shared_ptr<Node> root = this->root();
  document_.initUndo(3);
  document_.Sync([&] {
    Book& book = document_.database();
    for (uint64_t id : ids) {
      const Node* dragged = FindNodeByID(*root, id);
      if (dragged == nullptr) continue;
      if (dragged->Type == NodeType::Split) {
        if (target.Type != NodeType::DateHeader) continue;
        TSplit split = book.Splits().GetSplit(id);
        split.Data.Date = target.Date;
        book.Splits().UpdateSplit(split);
      } else if (dragged->Type == NodeType::Category) {
        TCategory c = book.Categories().GetCategory(id);
        if (target.Type == NodeType::Category) {
          c.Data.RootID = target.ID;
        } else if (target.Type == NodeType::IncomeHeader ||
                   target.Type == NodeType::ExpenseHeader ||
                   target.Type == NodeType::TransferHeader) {
          c.Data.RootID = group_by_ == GroupBy::Payee ? kPayeeRoot : kCategoryRoot;
        }
        book.Categories().UpdateCategory(c);
      } else if (dragged->Type == NodeType::Transaction) {
        TTransaction t = book.Transactions().GetTransaction(id);
        if (t.Header.ID == 0) continue;
        if (target.Type == NodeType::Split && target.Split) {
          t.Data.SplitID = target.ID;
          t.Data.Date = target.Split->Data.Date;
          t.Data.Time = target.Split->Data.Time;
          t.Data.Cleared = target.Split->Data.FlagB;
        }
        if (target.Type == NodeType::Category) {
          (group_by_ == GroupBy::Payee ? t.Categories.PayeeID : t.Categories.CategoryID) =
              target.ID;
        }
        if (top->Type == NodeType::DateHeader && target.Type != NodeType::Split) {
          t.Data.SplitID = 0;
          t.Data.Date = top->Date;
        }
        if (top->Type == NodeType::ExpenseHeader && t.Data.WithdrawAccountID == 0) {
          std::swap(t.Data.WithdrawAccountID, t.Data.TargetAccountID);
          std::swap(t.Data.WithdrawAmount, t.Data.TargetAmount);
        } else if (top->Type == NodeType::IncomeHeader && t.Data.TargetAccountID == 0) {
          std::swap(t.Data.WithdrawAccountID, t.Data.TargetAccountID);
          std::swap(t.Data.WithdrawAmount, t.Data.TargetAmount);
        }
        book.Transactions().UpdateTransaction(t, TSchedule());
      }
    }
  });
  Finish();
  return true;
}

std::vector<const Node*> TransactionList::MenuRows(const std::vector<const Node*>& selected,
                                                   const Node* clicked) {
  if (clicked != nullptr &&
      std::find(selected.begin(), selected.end(), clicked) == selected.end()) {
    return {clicked};
  }
  return selected;
}

bool TransactionList::canDelete(const std::vector<const Node*>& rows) {
  return std::any_of(rows.begin(), rows.end(), [](const Node* row) { return row->Type > 0; });
}

namespace {
constexpr char kGroupByKey[] = "com.vemra.finance.mac.transactions.groupby";
}  // namespace

int TransactionList::StoredGroupBy() {
  const nlohmann::json settings = platform::Settings().Read();
  auto it = settings.find(kGroupByKey);
  if (it == settings.end() || !it->is_number_integer()) return 2;
  const int value = it->get<int>();
  return value == 2 || value == 3 || value == 5 ? value : 2;
}

bool TransactionList::StoreGroupBy(int group_by) {
  return platform::Settings().Update([&](nlohmann::json& o) { o[kGroupByKey] = group_by; });
}

bool TransactionList::canMakeGroup(const std::vector<const Node*>& selected) {
  if (selected.size() < 2) return false;
  for (const Node* row : selected) {
    if (row->Type <= 0) continue;  // headers are ignored
    if (row->Type != NodeType::Transaction || !row->Transaction ||
        row->Transaction->ScheduleID != 0 || row->Transaction->IsGhost) {
      return false;
    }
  }
  return true;
}

uint64_t TransactionList::makeGroup(const std::vector<uint64_t>& ids) {
  uint64_t split_id = 0;
  std::vector<TTransaction> members;
  document_.Sync([&] {
    for (uint64_t id : ids) {
      TTransaction t = document_.database().Transactions().GetTransaction(id);
      if (t.Header.ID != 0 && t.ScheduleID == 0 && !t.IsGhost &&
          document_.database().FindEntry(id, 1) != nullptr) {
        members.push_back(std::move(t));
      }
    }
  });
  if (members.empty()) return 0;
  document_.initUndo(3);
  document_.Sync([&] {
    Book& book = document_.database();
    const TTransaction& first = members.front();
    TSplit split;
    split.Data.AccountID = first.Data.WithdrawAccountID != 0 ? first.Data.WithdrawAccountID
                                                             : first.Data.TargetAccountID;
    split.Data.Date = first.Data.Date;
    split.Data.Time = first.Data.Time;
    split.Name = L"Split";
    split_id = book.Splits().AddSplit(split);
    if (split_id == 0) return;
    for (TTransaction& t : members) {
      t.Data.SplitID = split_id;
      book.Transactions().UpdateTransaction(t, TSchedule());
    }
  });
  Finish();
  return split_id;
}

bool TransactionList::deleteRows(const std::vector<const Node*>& rows) {
  std::vector<uint64_t> transactions, categories, splits;
  for (const Node* row : rows) {
    if (row->ID == 0) continue;
    if (row->Type == NodeType::Transaction) transactions.push_back(row->ID);
    if (row->Type == NodeType::Category) categories.push_back(row->ID);
    if (row->Type == NodeType::Split) splits.push_back(row->ID);
  }
  if (transactions.empty() && categories.empty() && splits.empty()) return false;
  document_.initUndo(4);
  document_.Sync([&] {
    Book& book = document_.database();
    for (uint64_t id : transactions) book.Transactions().DeleteTransaction(id);
    for (uint64_t id : categories) book.Categories().DeleteCategory(id, false);
    for (uint64_t id : splits) book.Splits().DeleteSplit(id);
  });
  Finish();
  return true;
}

bool TransactionList::editNode(const Node& row, bool recalculate, bool reload) {
  if (row.ID == 0) return false;
  bool stored = false;
  document_.initUndo(3);
  document_.Sync([&] {
    Book& book = document_.database();
    if (row.Type == NodeType::Category) {
      TCategory c = book.Categories().GetCategory(row.ID);
      c.Name = row.Name;
      c.Comment = row.Comment;
      stored = book.Categories().UpdateCategory(c) != 0;
    } else if (row.Type == NodeType::Split) {
      TSplit s = book.Splits().GetSplit(row.ID);
      s.Data.Date = row.Date;
      s.Data.Time = row.Time;
      s.Data.FlagB = row.Cleared ? 1 : 0;
      s.Name = row.Name;
      s.Comment = row.Comment;
      stored = book.Splits().UpdateSplit(s) != 0;
    } else if (row.Type == NodeType::Transaction) {
      TTransaction t = book.Transactions().GetTransaction(row.ID);
      if (t.Header.ID == 0) return;
      uint64_t category = row.CategoryID, payee = row.PayeeID;
      if (category == 0 && !row.CategoryName.empty()) {
        category = book.Categories().CreateCategory(row.CategoryName, kCategoryRoot);
      }
      if (payee == 0 && !row.PayeeName.empty()) {
        payee = book.Categories().CreateCategory(row.PayeeName, kPayeeRoot);
      }
      t.Categories.CategoryID = category;
      t.Categories.PayeeID = payee;
      t.Data.Date = row.Date;
      t.Data.Time = row.Time;
      t.Data.Cleared = row.Cleared ? 1 : 0;
      t.Name = row.Name;
      t.Comment = row.Comment;
      t.Data.Quantity = row.Quantity;
      t.Data.WithdrawAmount = row.WithdrawAmount;
      t.Data.TargetAmount = row.TargetAmount;
      stored = book.Transactions().UpdateTransaction(t, TSchedule()) != 0;
    }
  });
  if (!stored) return false;
  document_.writeAutosyncData();
  if (reload) {
    document_.post(kUpdateDataNotification);
  } else if (recalculate) {
    Calculate(*root());
    document_.post(kUpdateAccountsNotification);
  }
  return true;
}

}  // namespace vemra::lists
