#include "lists/chart_series.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "collections/interfaces.h"
#include "core/records/user.h"
#include "document/document.h"
#include "lists/account_list.h"
#include "lists/transaction_list.h"

namespace vemra::lists {
namespace {

// One transaction of the test book, days counted from today; `from`/`to` name accounts by
// index (-1: none).
struct Entry {
  int day;
  uint32_t hour;
  int from;
  double out;
  int to;
  double in;
  bool cleared;
  int category;  // index into categories, -1 none
};

// Cash (USD 100), Card (USD 10) and Savings (EUR 50) in group Euro (EUR), closed Old (USD 7);
// EUR = 2 USD. Categories Food > Groceries, Fuel, Refunds. The entries below, and a daily
// schedule taking 2 from Cash on days 5 and 15.
class ChartSeriesTest : public ::testing::Test {
 protected:
  enum { kCash, kCard, kSavings, kOld };
  enum { kFood, kGroceries, kFuel, kRefunds };
  ChartSeriesTest() {
    document.New("en");
    document.Sync([&] {
      Book& db = book();
      for (const auto& node : db.Accounts().GetAccountsTree()) {
        if (node->Account) db.Accounts().DeleteAccount(node->Account->Header.ID);
        for (const auto& child : node->Children)
          db.Accounts().DeleteAccount(child->Account->Header.ID);
      }
      usd = db.Currencies().GetDefaultCurrencyID();
      for (const TCurrency& c : db.Currencies().GetAllCurrencies()) {
        if (c.GetCode() == "EUR") eur = c.Header.ID;
      }
      db.SetExRate(eur, usd, 2.0);
      auto group = std::make_unique<TAccGroup>();
      group->Data.CurrencyID = eur;
      euro = db.StoreEntry(std::move(group));
      const std::tuple<uint64_t, double, uint64_t, bool> accounts[] = {
          {usd, 100, 0, true}, {usd, 10, euro, true}, {eur, 50, euro, true}, {usd, 7, 0, false}};
      for (const auto& [currency, opening, in_group, visible] : accounts) {
        TAccount a;
        a.Name = L"A" + std::to_wstring(ids.size());
        a.Data.CurrencyID = currency;
        a.Data.InitialBalance = opening;
        a.Data.GroupID = in_group;
        a.Data.Visible = visible ? 1 : 0;
        ids.push_back(db.Accounts().AddAccount(a));
      }
      ICategories& c = db.Categories();
      categories = {c.CreateCategory(L"Food", kCategoryRoot), 0,
                    c.CreateCategory(L"Fuel", kCategoryRoot),
                    c.CreateCategory(L"Refunds", kCategoryRoot)};
      categories[kGroceries] = c.CreateCategory(L"Groceries", categories[kFood]);
    });
    for (const Entry& e : entries) Add(e);
    document.Sync([&] {
      TTransaction t;
      t.Data.WithdrawAccountID = ids[kCash];
      t.Data.WithdrawAmount = 2;
      t.Data.Cleared = 0;
      TSchedule daily;
      daily.ScheduleType = 2;
      daily.Day = 10;
      daily.BeginDate = Day(5);
      daily.End = 1;
      daily.EndDate = Day(16);
      book().Transactions().AddTransaction(t, daily);
    });
  }

  Book& book() { return document.database(); }
  ADate Day(int offset) const { return ADate(today.Val + offset); }

  void Add(const Entry& e) {
    document.Sync([&] {
      TTransaction t;
      t.Data.Date = Day(e.day);
      t.Data.Time = e.hour * 3600000;
      t.Data.Cleared = e.cleared ? 1 : 0;
      if (e.from >= 0) t.Data.WithdrawAccountID = ids[e.from];
      t.Data.WithdrawAmount = e.out;
      if (e.to >= 0) t.Data.TargetAccountID = ids[e.to];
      t.Data.TargetAmount = e.in;
      if (e.category >= 0) t.Categories.CategoryID = categories[e.category];
      ASSERT_NE(book().Transactions().AddTransaction(t, TSchedule()), 0u);
    });
  }

  std::vector<BalancePoint> Balance(std::vector<int> accounts, uint64_t currency, int from,
                                    int to) {
    std::vector<uint64_t> chosen;
    for (int a : accounts) chosen.push_back(ids[a]);
    std::vector<BalancePoint> series;
    document.Sync([&] { series = BalanceSeries(book(), chosen, currency, {Day(from), Day(to)}); });
    return series;
  }

  // The last point's balance; NaN for an empty series.
  double Last(std::vector<int> accounts, uint64_t currency, int from, int to) {
    const std::vector<BalancePoint> series = Balance(std::move(accounts), currency, from, to);
    return series.empty() ? std::nan("") : series.back().balance;
  }

  // The balance of `accounts` at the end of day `day` worked out from the table: openings and
  // entries converted at EUR = 2 USD; cleared entries count up to today, all after it.
  double Expected(const std::vector<int>& accounts, uint64_t currency, int day) const {
    auto rate = [&](int a) {
      const bool in_eur = a == kSavings;
      const bool to_eur = currency == eur;
      return in_eur == to_eur ? 1.0 : in_eur ? 2.0 : 0.5;
    };
    auto chosen = [&](int a) {
      return a >= 0 && std::find(accounts.begin(), accounts.end(), a) != accounts.end();
    };
    const double openings[] = {100, 10, 50, 7};
    double balance = 0;
    for (int a : accounts) balance += openings[a] * rate(a);
    std::vector<Entry> all(std::begin(entries), std::end(entries));
    for (int d : {5, 15}) all.push_back({d, 0, kCash, 2, -1, 0, false, -1});
    for (const Entry& e : all) {
      if (e.day > day || (!e.cleared && e.day <= 0)) continue;
      if (chosen(e.from)) balance -= e.out * rate(e.from);
      if (chosen(e.to)) balance += e.in * rate(e.to);
    }
    return balance;
  }

  static constexpr Entry entries[] = {
      {-20, 10, kCash, 30, -1, 0, true, kFood},  // added before the earlier one of its day
      {-20, 9, -1, 0, kCash, 5, true, -1},
      {-20, 11, kSavings, 4, -1, 0, true, kGroceries},
      {-10, 12, kCash, 20, kSavings, 10, true, -1},
      {-8, 12, kCard, -6, -1, 0, true, kRefunds},
      {-5, 12, -1, 0, kOld, 7, true, -1},
      {-2, 12, kCard, 3, -1, 0, false, kFuel},  // uncleared: counts for nothing
      {0, 23, kCash, 1.5, -1, 0, true, -1},
      {0, 8, kCash, 100, -1, 0, false, -1},
      {3, 12, kCash, 8, -1, 0, false, -1},  // after today: counts, cleared or not
  };

  Document document;
  const ADate today = TodayADate();
  uint64_t usd = 0, eur = 0, euro = 0;
  std::vector<uint64_t> ids, categories;
};

// Every point is the end-of-day balance the entries give under the balances' rule, and the
// point of today is what the sidebar shows for the same selection: from the balance index, and
// from the walk over the period taken while a record is hidden (a private one of the user's).
TEST_F(ChartSeriesTest, PointsAreEndOfDayBalancesEndingOnTheSidebars) {
  uint64_t owner = 0;
  document.Sync([&] {
    auto user = std::make_unique<TUser>();
    user->Data.Settings.DefaultCurrencyID = usd;  // the same home currency as user 0's
    owner = book().StoreEntry(std::move(user));
    auto t = std::make_unique<TTransaction>();
    t->Header.OwnerID = owner;
    t->Header.Hidden = 1;
    t->Data.Date = Day(-12);
    t->Data.Cleared = 1;
    t->Data.WithdrawAccountID = ids[kCash];
    book().StoreEntry(std::move(t));
  });
  struct Case {
    std::vector<int> accounts;  // empty: what the sidebar shows
    std::vector<int> counted;
    uint64_t currency;
    uint64_t row;
  };
  const Case cases[] = {{{}, {kCash, kCard, kSavings}, usd, 0},
                        {{kCash}, {kCash}, usd, ids[kCash]},
                        {{kCard, kSavings}, {kCard, kSavings}, eur, euro},
                        {{kSavings}, {kSavings}, eur, ids[kSavings]},
                        {{kOld}, {kOld}, usd, ids[kOld]}};
  AccountList list(document);
  for (uint64_t user : {uint64_t{0}, owner}) {
    document.setCurrentUser(user);
    list.loadDataAndWait();
    std::map<uint64_t, double> sidebar;  // row ID (0: overall) -> balance
    for (const auto& row : list.rows()) sidebar[row->ID] = row->Balance;
    bool hidden = false;
    document.Sync([&] { hidden = book().SomethingHidden(); });
    ASSERT_EQ(hidden, user != 0);
    for (const Case& c : cases) {
      SCOPED_TRACE(testing::Message() << "user " << user << ", case " << &c - cases);
      const std::vector<BalancePoint> series = Balance(c.accounts, c.currency, -30, 20);
      ASSERT_EQ(series.size(), 51u);
      for (int i = 0; i < 51; ++i) {
        EXPECT_EQ(series[i].date, Day(i - 30));
        EXPECT_NEAR(series[i].balance, Expected(c.counted, c.currency, i - 30), 1e-9) << i - 30;
      }
      if (c.row != ids[kOld]) {  // the sidebar leaves the closed account out
        EXPECT_NEAR(series[30].balance, sidebar.at(c.row), 1e-9);
        EXPECT_NEAR(Last(c.accounts, c.currency, -3, 0), sidebar.at(c.row), 1e-9);
      }
    }
  }
  // Shown, the closed account joins the overall balance and the empty selection.
  document.Sync([&] { book().Header.Reserved2 = 1; });
  list.loadDataAndWait();
  EXPECT_NEAR(Last({}, usd, -1, 0), list.rows().front()->Balance, 1e-9);
  EXPECT_NEAR(Last({}, 0, -1, 0), Expected({kCash, kCard, kSavings, kOld}, usd, 0), 1e-9);
}

// A new expense of 9 from Cash moves every point from its day on, and no earlier one, unless
// it is an uncleared one of today or before.
TEST_F(ChartSeriesTest, AnAddedTransactionMovesTheLaterPoints) {
  const std::tuple<int, bool, bool> cases[] = {
      {-7, true, true}, {-7, false, false}, {0, false, false}, {4, false, true}, {4, true, true}};
  for (const auto& [day, cleared, moves] : cases) {
    SCOPED_TRACE(testing::Message() << "day " << day << (cleared ? " cleared" : " uncleared"));
    const std::vector<BalancePoint> before = Balance({kCash}, usd, -15, 10);
    Add({day, 12, kCash, 9, -1, 0, cleared, -1});
    const std::vector<BalancePoint> after = Balance({kCash}, usd, -15, 10);
    ASSERT_EQ(after.size(), before.size());
    for (size_t i = 0; i < after.size(); ++i) {
      const bool later = static_cast<int>(i) - 15 >= day;
      EXPECT_NEAR(after[i].balance, before[i].balance - (moves && later ? 9 : 0), 1e-9) << i;
    }
  }
}

// Periods without transactions give a flat line at the balance they start from: long ago the
// openings, in the future with the schedule's occurrences before them; no accounts, no line.
TEST_F(ChartSeriesTest, QuietPeriodsAndABookWithoutAccounts) {
  for (auto [from, to] : {std::pair{-400, -300}, std::pair{30, 40}, std::pair{6, 14}}) {
    SCOPED_TRACE(testing::Message() << "days " << from << " to " << to);
    const std::vector<BalancePoint> series = Balance({kCash, kSavings}, usd, from, to);
    ASSERT_EQ(series.size(), static_cast<size_t>(to - from + 1));
    for (const BalancePoint& p : series) {
      EXPECT_NEAR(p.balance, Expected({kCash, kSavings}, usd, from), 1e-9);
    }
  }
  document.Sync([&] {
    for (uint64_t id : ids) book().Accounts().DeleteAccount(id);
  });
  EXPECT_TRUE(Balance({}, 0, -30, 0).empty());
}

// Days of a point: daily up to the limit, then weekly, then month ends; never more than the
// limit, always ending on the period's last day.
TEST_F(ChartSeriesTest, LongPeriodsAreSampled) {
  struct Case {
    ADate begin, end;
    size_t count;
    int step;  // days between points, 0: month ends
  };
  const Case cases[] = {
      {MakeADate(2024, 0, 1), MakeADate(2024, 0, 1), 1, 1},
      {MakeADate(2024, 0, 1), ADate(MakeADate(2024, 0, 1).Val + 399), 400, 1},
      {MakeADate(2024, 0, 1), ADate(MakeADate(2024, 0, 1).Val + 400), 58, 7},
      {MakeADate(2020, 0, 1), ADate(MakeADate(2020, 0, 1).Val + 2799), 400, 7},
      {MakeADate(2000, 0, 15), MakeADate(2024, 5, 10), 294, 0},
      {MakeADate(1950, 0, 1), MakeADate(2024, 11, 31), 300, 0},  // every third month
  };
  for (const Case& c : cases) {
    const std::vector<ADate> days = BalanceSampleDays({c.begin, c.end});
    SCOPED_TRACE(testing::Message() << "from " << c.begin.Val << " to " << c.end.Val);
    ASSERT_EQ(days.size(), c.count);
    EXPECT_GE(days.front(), c.begin);
    EXPECT_EQ(days.back(), c.end);
    for (size_t i = 0; i + 2 < days.size(); ++i) {  // the last step may be shorter
      if (c.step > 0) {
        EXPECT_EQ(days[i + 1].Val - days[i].Val, c.step);
      } else {
        EXPECT_EQ(days[i].Val + 1, MakeADate(YearOf(days[i]), MonthOf(days[i]) + 1, 1).Val);
      }
    }
  }
  // A sampled series still ends on the period's last balance.
  EXPECT_NEAR(Last({kCash}, usd, -3000, 0), Expected({kCash}, usd, 0), 1e-9);
}

// Spending per top-level category: the sub-category inside its parent, uncleared expenses and
// transfers out, a net refund kept, adding up to the outline's Expenses header; the book's
// period is left as it was.
TEST_F(ChartSeriesTest, SpendingAddsUpToTheExpensesHeader) {
  const TimeInterval period{Day(-30), Day(20)};
  struct Case {
    std::vector<uint64_t> accounts;
    uint64_t currency;
    std::vector<std::pair<uint64_t, double>> expected;
  };
  const Case cases[] = {
      {{}, usd, {{categories[kFood], 38}, {0, 1.5}, {categories[kRefunds], -6}}},
      {{ids[kSavings]}, eur, {{categories[kFood], 4}}},
      {{ids[kOld]}, usd, {}},
  };
  for (const Case& c : cases) {
    std::vector<CategoryTotal> totals;
    double header = 0;
    TimeInterval kept;
    document.Sync([&] {
      kept = book().Period;
      totals = SpendingByCategory(book(), c.accounts, c.currency, period);
      EXPECT_EQ(book().Period, kept);
      book().Period = period;
      std::shared_ptr<Node> root =
          TransactionList::BuildRoot(book(), false, GroupBy::Category, c.currency, c.accounts);
      book().Period = kept;
      for (const auto& h : root->FilteredNodes) {
        if (h->Type == NodeType::ExpenseHeader) header = h->Amount;
      }
    });
    ASSERT_EQ(totals.size(), c.expected.size());
    double sum = 0;
    for (size_t i = 0; i < totals.size(); ++i) {
      EXPECT_EQ(totals[i].categoryID, c.expected[i].first);
      EXPECT_NEAR(totals[i].amount, c.expected[i].second, 1e-9);
      EXPECT_EQ(totals[i].name.empty(), totals[i].categoryID == 0);
      sum += totals[i].amount;
    }
    EXPECT_NEAR(sum, -header, 1e-9);
  }
}

}  // namespace
}  // namespace vemra::lists
