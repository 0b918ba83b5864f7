#include "lists/transaction_list.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "collections/interfaces.h"
#include "lists/pasteboard.h"
#include "lists/period_selection.h"
#include "platform/clock.h"

namespace vemra::lists {
namespace {

// A new book on 2024-10-15 (period: October 2024) with expenses and an income on two days.
class TransactionListTest : public ::testing::Test {
 protected:
  TransactionListTest() {
    document.New("en");
    document.Sync([&] { account = document.database().UserSettings.DefaultAccountID; });
    food = Category(L"Food");
    coffee = Add(L"Morning Coffee", 3, D(14), food);
    bread = Add(L"Bread", 2, D(14), food);
    late = Add(L"Late fee", 5, D(15), 0, /*cleared=*/false);
    salary = Add(L"Salary", 100, D(15), 0, true, /*income=*/true);
    list.loadDataAndWait();
  }

  static ADate D(int day) { return MakeADate(2024, 9, day); }

  uint64_t Category(const std::wstring& name) {
    uint64_t id = 0;
    document.Sync(
        [&] { id = document.database().Categories().CreateCategory(name, kCategoryRoot); });
    return id;
  }

  uint64_t Add(const std::wstring& name, double amount, ADate date, uint64_t category,
               bool cleared = true, bool income = false) {
    uint64_t id = 0;
    document.Sync([&] {
      TTransaction t;
      t.Data.Date = date;
      t.Data.Time = 1;
      t.Data.Cleared = cleared ? 1 : 0;
      (income ? t.Data.TargetAccountID : t.Data.WithdrawAccountID) = account;
      (income ? t.Data.TargetAmount : t.Data.WithdrawAmount) = amount;
      t.Name = name;
      t.Categories.CategoryID = category;
      id = document.database().Transactions().AddTransaction(t, TSchedule());
    });
    return id;
  }

  // "title total" of the top-level rows.
  std::vector<std::string> Top() {
    std::vector<std::string> out;
    for (const auto& row : list.root()->FilteredNodes) {
      std::string title = row->Type == NodeType::DateHeader      ? std::to_string(DayOf(row->Date))
                          : row->Type == NodeType::IncomeHeader  ? "income"
                          : row->Type == NodeType::ExpenseHeader ? "expense"
                                                                 : "transfer";
      out.push_back(title + " " + std::to_string(static_cast<int>(row->Amount)) + " x" +
                    std::to_string(row->FilteredNodes.size()));
    }
    return out;
  }

  platform::ScopedClockPin pin{int64_t{MakeADate(2024, 9, 15).Val} * 86400 + 12 * 3600};
  Document document;
  TransactionList list{document};
  uint64_t account = 0, food = 0, coffee = 0, bread = 0, late = 0, salary = 0;
};

TEST_F(TransactionListTest, TotalsLeaveOutUnclearedAndFollowTheFilter) {
  // Day 15: salary +100 counts, the uncleared fee does not.
  EXPECT_EQ(Top(), (std::vector<std::string>{"14 -5 x2", "15 100 x2"}));
  Node* fee = FindNodeByID(*list.root(), late);
  ASSERT_NE(fee, nullptr);
  Node cleared = *fee;
  cleared.Cleared = true;
  ASSERT_TRUE(list.editNode(cleared));
  list.loadDataAndWait();
  EXPECT_EQ(Top(), (std::vector<std::string>{"14 -5 x2", "15 95 x2"}));

  list.setFilter(L"COFFEE");  // case-insensitive, anywhere in the description
  list.filterData();
  EXPECT_EQ(Top(), (std::vector<std::string>{"14 -3 x1"}));
  list.setFilter(L"nothing like it");
  list.filterData();
  EXPECT_TRUE(Top().empty());
  list.setFilter(L"");
  list.filterData();
  EXPECT_EQ(Top(), (std::vector<std::string>{"14 -5 x2", "15 95 x2"}));

  list.setSort({{"name", false}});
  list.sortData();
  const auto& day14 = list.root()->FilteredNodes[0]->FilteredNodes;
  EXPECT_EQ(day14[0]->Name, L"Morning Coffee");
  EXPECT_EQ(day14[1]->Name, L"Bread");
  list.setSort({{"date", false}});
  list.sortData();
  EXPECT_EQ(DayOf(list.root()->FilteredNodes[0]->Date), 15);  // headers follow the date order
}

TEST_F(TransactionListTest, DropsMoveIncomeToExpensesAndAreRefusedOnTransfersAndRows) {
  list.setGroupBy(GroupBy::Category);
  list.loadDataAndWait();
  const auto& tops = list.root()->FilteredNodes;
  const Node* expense = nullptr;
  for (const auto& row : tops) {
    if (row->Type == NodeType::ExpenseHeader) expense = row.get();
  }
  ASSERT_NE(expense, nullptr);
  Node transfer;
  transfer.Type = NodeType::TransferHeader;
  EXPECT_FALSE(TransactionList::validateDrop(transfer));
  EXPECT_FALSE(TransactionList::validateDrop(*FindNodeByID(*list.root(), coffee)));
  EXPECT_TRUE(TransactionList::validateDrop(*expense));

  ASSERT_TRUE(list.acceptDrop({salary}, *expense));
  TTransaction moved;
  document.Sync([&] { moved = document.database().Transactions().GetTransaction(salary); });
  EXPECT_EQ(moved.Data.WithdrawAccountID, account);
  EXPECT_EQ(moved.Data.TargetAccountID, 0u);
  EXPECT_EQ(moved.Data.WithdrawAmount, 100);
  // A transaction dropped on a category row takes that category.
  list.loadDataAndWait();
  const uint64_t other = Category(L"Other");
  Add(L"Filler", 1, D(14), other);
  list.loadDataAndWait();
  Node* other_row = FindNodeByID(*list.root(), other);
  ASSERT_NE(other_row, nullptr);
  ASSERT_TRUE(list.acceptDrop({bread}, *other_row));
  document.Sync([&] {
    EXPECT_EQ(document.database().Transactions().GetTransaction(bread).Categories.CategoryID,
              other);
  });
}

TEST_F(TransactionListTest, MakeGroupDeleteAndWriteBack) {
  Node* a = FindNodeByID(*list.root(), coffee);
  Node* b = FindNodeByID(*list.root(), bread);
  ASSERT_TRUE(a && b);
  EXPECT_TRUE(TransactionList::canMakeGroup({a, b}));
  EXPECT_FALSE(TransactionList::canMakeGroup({a}));
  Node ghost = *a;
  ghost.Transaction = std::make_shared<TTransaction>(*a->Transaction);
  ghost.Transaction->ScheduleID = 77;
  EXPECT_FALSE(TransactionList::canMakeGroup({a, &ghost}));
  EXPECT_EQ(list.makeGroup({}), 0u);

  const uint64_t split = list.makeGroup({coffee, bread});
  ASSERT_NE(split, 0u);
  list.loadDataAndWait();
  Node* split_row = FindNodeByID(*list.root(), split);
  ASSERT_NE(split_row, nullptr);
  EXPECT_EQ(split_row->FilteredNodes.size(), 2u);
  EXPECT_EQ(static_cast<int>(split_row->Amount), -5);
  // A search keeps a split only with a matching part.
  list.setFilter(L"bread");
  list.filterData();
  EXPECT_EQ(FindNodeByID(*list.root(), split)->FilteredNodes.size(), 1u);
  list.setFilter(L"salary");
  list.filterData();
  EXPECT_EQ(FindNodeByID(*list.root(), split), nullptr);
  list.setFilter(L"");
  list.loadDataAndWait();

  // Deleting one row deletes only that one.
  ASSERT_TRUE(list.deleteRows({FindNodeByID(*list.root(), late)}));
  list.loadDataAndWait();
  EXPECT_EQ(FindNodeByID(*list.root(), late), nullptr);
  EXPECT_NE(FindNodeByID(*list.root(), salary), nullptr);
  EXPECT_FALSE(list.deleteRows({list.root()->FilteredNodes[0].get()}));  // a header

  // A new category name written back with a transaction creates the category.
  Node edited = *FindNodeByID(*list.root(), salary);
  edited.CategoryID = 0;
  edited.CategoryName = L"Wages";
  edited.Name = L"Salary October";
  ASSERT_TRUE(list.editNode(edited));
  list.loadDataAndWait();
  const Node* row = FindNodeByID(*list.root(), salary);
  EXPECT_EQ(row->Name, L"Salary October");
  EXPECT_EQ(row->CategoryName, L"Wages");
  document.doUndo("edit");
  list.loadDataAndWait();
  EXPECT_EQ(FindNodeByID(*list.root(), salary)->Name, L"Salary");
}

TEST_F(TransactionListTest, MenuRulesNotificationsAndTheStoredGrouping) {
  Node* a = FindNodeByID(*list.root(), coffee);
  Node* b = FindNodeByID(*list.root(), bread);
  Node* header = list.root()->FilteredNodes[0].get();
  // A right click outside the selection acts on the clicked row alone.
  EXPECT_EQ(TransactionList::MenuRows({a, b}, header), (std::vector<const Node*>{header}));
  EXPECT_EQ(TransactionList::MenuRows({a, b}, b), (std::vector<const Node*>{a, b}));
  EXPECT_FALSE(TransactionList::canDelete({header}));
  EXPECT_TRUE(TransactionList::canDelete({header, a}));

  int updates = 0, accounts = 0;
  ObserverToken u = document.observe(kUpdateDataNotification, [&](Document&) { ++updates; });
  ObserverToken v = document.observe(kUpdateAccountsNotification, [&](Document&) { ++accounts; });
  Node cleared = *FindNodeByID(*list.root(), late);
  cleared.Cleared = true;
  ASSERT_TRUE(list.editNode(cleared, /*recalculate=*/true, /*reload=*/false));
  EXPECT_EQ(updates, 0);
  EXPECT_EQ(accounts, 1);
  ASSERT_TRUE(list.editNode(cleared));
  EXPECT_EQ(updates, 1);

  // The period control's update: the book's period and the label; the list follows.
  const TimeInterval september =
      MovePeriod(PeriodOf(PeriodKind::Month, D(15), 0, D(15), D(15)), -1);
  EXPECT_EQ(SetPeriod(document, september, "en"), "September 2024");
  list.loadDataAndWait();
  EXPECT_TRUE(list.root()->FilteredNodes.empty());
  EXPECT_EQ(SetPeriod(document, MovePeriod(september, 1), "ru"), "Октябрь 2024");
  list.loadDataAndWait();
  EXPECT_EQ(list.root()->FilteredNodes.size(), 2u);

  EXPECT_TRUE(SetShowHiddenAccounts(document, true));
  EXPECT_EQ(updates, 2);
  bool flag = false;
  document.Sync([&] { flag = document.database().Header.Reserved2 != 0; });
  EXPECT_TRUE(flag);
}

TEST(StoredGroupingTest, LivesInTheSettingsAndFallsBackToDate) {
  const std::string folder = ::testing::TempDir() + "kestrum-groupby-" + std::to_string(::getpid());
  ::setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
  EXPECT_EQ(TransactionList::StoredGroupBy(), 2);
  ASSERT_TRUE(TransactionList::StoreGroupBy(5));
  EXPECT_EQ(TransactionList::StoredGroupBy(), 5);
  ASSERT_TRUE(TransactionList::StoreGroupBy(9));
  EXPECT_EQ(TransactionList::StoredGroupBy(), 2);
  std::filesystem::remove_all(folder);
}

TEST(PasteboardTest, PayloadsAreLittleEndianAndTiedToTheirDocument) {
  Document a, b;
  ASSERT_NE(a.instanceToken(), b.instanceToken());
  const std::vector<uint8_t> payload = PasteboardPayload(0x0102030405060708, a.instanceToken());
  ASSERT_EQ(payload.size(), 16u);
  const std::vector<uint8_t> head = {0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01};
  EXPECT_TRUE(std::equal(head.begin(), head.end(), payload.begin()));
  uint64_t value = 0;
  EXPECT_TRUE(ReadPasteboardPayload(payload, a.instanceToken(), value));
  EXPECT_EQ(value, 0x0102030405060708u);
  EXPECT_FALSE(ReadPasteboardPayload(payload, b.instanceToken(), value));  // another document
  EXPECT_FALSE(ReadPasteboardPayload({1, 2, 3}, a.instanceToken(), value));
}

}  // namespace
}  // namespace vemra::lists
