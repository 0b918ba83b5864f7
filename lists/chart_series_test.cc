#include "lists/chart_series.h"

#include <gtest/gtest.h>

#include "collections/interfaces.h"
#include "collections/node.h"
#include "document/document.h"
#include "lists/transaction_list.h"

namespace vemra::lists {
namespace {

// A new book with a few October 2024 transactions of its default account.
class ChartSeriesTest : public ::testing::Test {
 protected:
  ChartSeriesTest() {
    document.New("en");
    document.Sync([&] {
      account = document.database().UserSettings.DefaultAccountID;
      food = document.database().Categories().CreateCategory(L"Food", kCategoryRoot);
    });
    Add(10, D(3), 0);
    Add(100, D(5), 0, true, /*income=*/true);
    Add(4, D(5), food, /*cleared=*/false);
    Add(6, D(9), food);
  }

  static ADate D(int day) { return MakeADate(2024, 9, day); }

  void Add(double amount, ADate date, uint64_t category, bool cleared = true, bool income = false) {
    document.Sync([&] {
      TTransaction t;
      t.Data.Date = date;
      t.Data.Time = 1;
      t.Data.Cleared = cleared ? 1 : 0;
      (income ? t.Data.TargetAccountID : t.Data.WithdrawAccountID) = account;
      (income ? t.Data.TargetAmount : t.Data.WithdrawAmount) = amount;
      t.Categories.CategoryID = category;
      document.database().Transactions().AddTransaction(t, TSchedule());
    });
  }

  std::vector<BalancePoint> Balance(const TimeInterval& period) {
    std::vector<BalancePoint> series;
    document.Sync([&] {
      document.database().Period = period;
      series = BalanceSeries(document.database(), {}, 0);
    });
    return series;
  }

  Document document;
  uint64_t account = 0, food = 0;
  const TimeInterval october{D(1), D(31)};
};

// One point a day; each day moves by exactly the cleared rows the outline lists on it, and the
// last point is the outline's last running balance.
TEST_F(ChartSeriesTest, BalanceFollowsTheOutline) {
  std::vector<BalancePoint> series = Balance(october);
  ASSERT_EQ(series.size(), 31u);
  std::shared_ptr<Node> root;
  document.Sync(
      [&] { root = TransactionList::BuildRoot(document.database(), true, GroupBy::Split, 0, {}); });
  std::map<int32_t, double> moved;
  for (const auto& day : root->AllNodes) {
    for (const auto& row : day->AllNodes) {
      if (row->Cleared) moved[day->Date.Val] += row->Amount;  // uncleared rows move nothing
    }
  }
  for (size_t i = 1; i < series.size(); ++i) {
    EXPECT_EQ(series[i].date.Val, series[i - 1].date.Val + 1);
    EXPECT_NEAR(series[i].balance - series[i - 1].balance, moved[series[i].date.Val], 1e-9)
        << "day " << i + 1;
  }
  EXPECT_NEAR(series.back().balance, root->AllNodes.back()->AllNodes.back()->Balance, 1e-9);
  EXPECT_NEAR(series[1].balance, series[0].balance, 1e-9);  // nothing on the 2nd

  // A new expense on the 4th lowers every point from the 4th on, and no earlier one.
  Add(7, D(4), 0);
  std::vector<BalancePoint> after = Balance(october);
  ASSERT_EQ(after.size(), series.size());
  for (size_t i = 0; i < series.size(); ++i) {
    EXPECT_NEAR(after[i].balance, series[i].balance - (i >= 3 ? 7 : 0), 1e-9) << "day " << i + 1;
  }
}

// Long periods are sampled, always ending on the period's last day; a period without any
// transaction has no series.
TEST_F(ChartSeriesTest, LongAndEmptyPeriods) {
  const TimeInterval years{MakeADate(2000, 0, 1), MakeADate(2024, 11, 31)};
  std::vector<BalancePoint> series = Balance(years);
  ASSERT_FALSE(series.empty());
  EXPECT_LE(series.size(), kMaxBalancePoints);
  EXPECT_EQ(series.back().date, years.EndDate);
  EXPECT_NEAR(series.back().balance, Balance(october).back().balance, 1e-9);
  EXPECT_TRUE(Balance({MakeADate(1990, 0, 1), MakeADate(1990, 11, 31)}).empty());
}

// Spending per category adds up to the Expenses total of the outline grouped by category and
// leaves out the uncleared expense.
TEST_F(ChartSeriesTest, SpendingAddsUpToTheExpensesHeader) {
  std::vector<CategoryTotal> totals;
  double header = 0;
  document.Sync([&] {
    document.database().Period = october;
    totals = SpendingByCategory(document.database(), {}, 0);
    std::shared_ptr<Node> root =
        TransactionList::BuildRoot(document.database(), false, GroupBy::Category, 0, {});
    FilterNodes(*root, L"");
    for (const auto& h : root->FilteredNodes) {
      if (h->Type == NodeType::ExpenseHeader) header = h->Amount;
    }
  });
  ASSERT_EQ(totals.size(), 2u);
  EXPECT_EQ(totals[0].categoryID, 0u);  // the 10 without a category comes first
  EXPECT_NEAR(totals[0].amount, 10, 1e-9);
  EXPECT_EQ(totals[1].name, L"Food");
  EXPECT_NEAR(totals[1].amount, 6, 1e-9);  // the uncleared 4 is left out
  EXPECT_NEAR(totals[0].amount + totals[1].amount, -header, 1e-9);
}

}  // namespace
}  // namespace vemra::lists
