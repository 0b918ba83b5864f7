#include <gtest/gtest.h>

#include <tuple>

#include "core/database/database.h"
#include "core/records/acc_group.h"
#include "core/records/account.h"
#include "core/records/category.h"
#include "core/records/scheduled_event.h"
#include "core/records/scheduled_transaction.h"
#include "core/records/user.h"
#include "platform/clock.h"

namespace vemra {
namespace {

constexpr int32_t kToday = 20000;  // 2024-10-04
constexpr uint64_t kEuro = 100000;
constexpr uint64_t kDollar = 100001;

// A transaction on day kToday + `day` from `from` (amount `out`) to `to` (amount `in`).
TTransaction Make(int32_t day, uint32_t time, uint64_t from, double out, uint64_t to, double in,
                  int8_t cleared = 1) {
  TTransaction t;
  t.Data.Date = ADate(kToday + day);
  t.Data.Time = time;
  t.Data.WithdrawAccountID = from;
  t.Data.WithdrawAmount = out;
  t.Data.TargetAccountID = to;
  t.Data.TargetAmount = in;
  t.Data.Cleared = cleared;
  return t;
}

TTransactionFilter Period(int32_t begin, int32_t end) {
  TTransactionFilter f;
  f.CurrencyID = kEuro;
  f.Begin = ADate(kToday + begin);
  f.End = ADate(kToday + end);
  return f;
}

using Row = std::tuple<uint64_t, uint32_t, double, double>;  // ID, Time, Amount, Balance

class QueryTest : public ::testing::Test {
 protected:
  QueryTest() { db.SetCurrentUser(0); }

  template <class T>
  uint64_t Add(T record, uint64_t owner = 0, bool hidden = false) {
    record.Header.OwnerID = owner;
    record.Header.Hidden = hidden;
    return db.StoreEntry(record.Clone());
  }
  uint64_t Account(uint64_t currency, double initial, uint64_t group = 0) {
    TAccount a;
    a.Data.CurrencyID = currency;
    a.Data.GroupID = group;
    a.Data.InitialBalance = initial;
    return Add(a);
  }
  uint64_t Category(uint64_t parent, uint64_t owner = 0, bool hidden = false) {
    TCategory c;
    c.Data.RootID = parent;
    return Add(c, owner, hidden);
  }
  std::vector<Row> Query(const TTransactionFilter& f) {
    std::vector<TTransaction> out(1);  // replaced, not appended to
    size_t count = db.QueryTransactions(out, f);
    EXPECT_EQ(count, out.size());
    std::vector<Row> rows;
    for (const auto& t : out) rows.emplace_back(t.Header.ID, t.Data.Time, t.Amount, t.Balance);
    return rows;
  }

  platform::ScopedClockPin pin{int64_t{kToday} * 86400 + 12 * 3600};
  DataBase db;
};

TEST_F(QueryTest, BalancesConvertSortAndNumberUntimedTransactions) {
  db.SetExRate(kDollar, kEuro, 0.5);
  uint64_t a = Account(kEuro, 100);
  uint64_t b = Account(kDollar, 50);
  Add(Make(-20, 1, a, 10, 0, 0));                       // before the period, cleared
  Add(Make(-20, 1, a, 5, 0, 0, 0));                     // before, not cleared: ignored
  uint64_t open = Add(Make(-2, 5000, b, 10, 0, 0, 0));  // not cleared, in the past
  TTransaction part = Make(-2, 0, 0, 0, a, 20);         // untimed, sorts after SplitID 0
  part.Data.SplitID = 1;
  uint64_t income = Add(part);
  uint64_t transfer = Add(Make(-2, 0, a, 30, b, 60));  // untimed, nets to 0 in euros
  TTransaction starred = Make(-1, 0, a, 1, 0, 0);
  starred.Data.CustomCheckBox = 1;
  uint64_t star = Add(starred);
  uint64_t future = Add(Make(6, 9, a, 7, 0, 0, 0));  // not cleared but after today
  uint64_t late = Add(Make(21, 9, 0, 0, a, 3));

  // Opening: 100 + 50 x 0.5 - 10 = 115; the period (days -3 to 27) is given backwards.
  EXPECT_EQ(Query(Period(27, -3)), (std::vector<Row>{{transfer, 0, 0, 115},
                                                     {income, 1, 20, 135},
                                                     {open, 5000, -5, 135},
                                                     {star, 0, -1, 134},
                                                     {future, 9, -7, 127},
                                                     {late, 9, 3, 130}}));
  TTransactionFilter f = Period(-3, 27);
  f.CustomCheckBox = 1;  // filters do not correct the balances
  EXPECT_EQ(Query(f), (std::vector<Row>{{star, 0, -1, 134}}));
  f = Period(-3, 27);
  f.Accounts = {b};  // one side of a transfer, converted
  EXPECT_EQ(Query(f), (std::vector<Row>{{transfer, 0, 30, 55}, {open, 5000, -5, 55}}));
  EXPECT_EQ(Query(Period(20, 30)), (std::vector<Row>{{late, 9, 3, 130}}));
}

TEST_F(QueryTest, HiddenAccountsAndCategoriesAndTreeFilters) {
  uint64_t owner = db.StoreEntry(std::make_unique<TUser>());
  uint64_t guest = db.StoreEntry(std::make_unique<TUser>());
  uint64_t a = Account(kEuro, 1);
  uint64_t h = Add(TAccount(), owner, true);
  uint64_t k = Account(kEuro, 0, Add(TAccGroup(), owner, true));
  uint64_t parent = Category(2);
  uint64_t child = Category(parent);
  uint64_t secret = Category(2, owner, true);
  TTransaction visible = Make(0, 1, a, 1, 0, 0);
  visible.Categories.CategoryID = child;
  visible.Tags = {child};
  uint64_t v = Add(visible);
  Add(Make(0, 2, h, 1, 0, 0));                  // its only account is hidden
  uint64_t half = Add(Make(0, 3, a, 4, h, 4));  // one hidden side is not enough
  Add(Make(0, 4, h, 1, k, 1));                  // both hidden, one through its group
  TTransaction covert = Make(0, 5, a, 1, 0, 0);
  covert.Categories.PayeeID = Category(secret);  // hidden through its parent
  Add(covert);

  TTransactionFilter f = Period(0, 0);
  f.Accounts = {a, h, k};
  db.SetCurrentUser(owner);
  EXPECT_EQ(Query(f).size(), 5u);
  db.SetCurrentUser(guest);
  EXPECT_EQ(Query(f).size(), 2u);
  EXPECT_EQ(Query(Period(0, 0)), (std::vector<Row>{{v, 1, -1, 0}, {half, 3, -4, -4}}));
  using Case = std::pair<std::set<uint64_t>, size_t>;
  for (const auto& [set, count] : std::vector<Case>{{{parent}, 1}, {{4}, 1}, {{secret}, 0}}) {
    f = Period(0, 0);
    f.Categories = set;
    EXPECT_EQ(Query(f).size(), count);
  }
  f = Period(0, 0);
  f.Tags = {parent};
  EXPECT_EQ(std::get<0>(Query(f).at(0)), v);
}

TEST_F(QueryTest, GhostsLoansAndScheduledTransactions) {
  uint64_t a = Account(kEuro, 0);
  TScheduledTransaction s;
  s.Schedule.ScheduleType = 4;
  s.Schedule.Day = 15;
  s.Schedule.BeginDate = ADate(kToday - 10);
  s.Data = Make(0, 0, a, 10, 0, 0, 0).Data;
  uint64_t sid = Add(s);
  TTransaction loan = Make(-40, 1, a, 2, 0, 0);
  loan.Data.LoanID = 77;
  uint64_t early = Add(loan);
  loan.Data.Date = ADate(kToday + 90);
  uint64_t late = Add(loan);

  EXPECT_EQ(Query(Period(0, 45)),  // ghosts on 15 October and 15 November, not cleared
            (std::vector<Row>{{sid, 0, -10, -12}, {sid, 0, -10, -22}}));
  TTransactionFilter f = Period(0, 45);
  f.LoanMode = true;
  EXPECT_EQ(Query(f), (std::vector<Row>{{early, 1, 0, 0}, {late, 1, 0, 0}}));

  std::vector<TTransaction> scheduled;
  ASSERT_EQ(db.QueryScheduledTransactions(scheduled, Period(0, 0)), 1u);
  EXPECT_EQ(scheduled[0].Data.Date, MakeADate(2024, 9, 15));
  EXPECT_EQ(scheduled[0].Amount, -10);
}

TEST_F(QueryTest, EventsOverlappingThePeriodWithScheduledOnes) {
  TEvent e;
  e.Data.FirstDate = ADate(kToday - 9);
  e.Data.SecondDate = ADate(kToday);
  uint64_t long_one = Add(e);
  TScheduledEvent s;
  s.Header.ID = 86400 + 1;
  s.Schedule.ScheduleType = 2;
  s.Schedule.Day = 7;
  s.Schedule.BeginDate = s.Data.FirstDate = ADate(kToday - 1);
  s.Data.SecondDate = ADate(kToday);  // every occurrence lasts two days
  Add(s);

  std::vector<TEvent> events;
  ASSERT_EQ(db.QueryEvents(events, ADate(kToday + 12), ADate(kToday), {}), 3u);
  EXPECT_EQ(events[0].Header.ID, long_one);                              // sorted by first date
  EXPECT_EQ(events[1].Header.ID, uint64_t{kToday - 1} * 86400 + 1 + 2);  // entered when due
  EXPECT_EQ(events[1].Data.SecondDate.Val, kToday);
  EXPECT_TRUE(events[2].IsGhost);
  EXPECT_EQ(events[2].Header.ID, s.Header.ID);
  EXPECT_EQ(events[2].Data.SecondDate.Val, kToday + 7);
  EXPECT_EQ(db.QueryEvents(events, ADate(kToday), ADate(kToday + 12), {12345}), 0u);
  std::vector<TScheduledEvent> scheduled;
  ASSERT_EQ(db.QueryScheduledEvents(scheduled), 1u);
  EXPECT_EQ(scheduled[0].Data.FirstDate.Val, kToday + 6);
  EXPECT_EQ(scheduled[0].Data.SecondDate.Val, kToday + 7);
}

}  // namespace
}  // namespace vemra
