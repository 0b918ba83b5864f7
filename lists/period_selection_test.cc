#include "lists/period_selection.h"

#include <gtest/gtest.h>

namespace vemra::lists {
namespace {

ADate D(int y, int m, int d) {
  return MakeADate(y, m - 1, d);
}

TEST(PeriodSelectionTest, MenuEntriesFollowTodayTheWeekStartAndTheBook) {
  struct Case {
    PeriodKind kind;
    ADate today;
    int8_t option0;
    ADate begin, end;
  };
  const ADate none = D(2024, 5, 15);  // a book without transactions: today for both ends
  const Case kCases[] = {
      {PeriodKind::Day, D(2024, 5, 15), 0, D(2024, 5, 15), D(2024, 5, 15)},
      {PeriodKind::Week, D(2024, 5, 13), 0, D(2024, 5, 13), D(2024, 5, 19)},  // a Monday
      {PeriodKind::Week, D(2024, 5, 15), 6, D(2024, 5, 12), D(2024, 5, 18)},  // from Sunday
      {PeriodKind::Week, D(2024, 5, 15), 7, D(2024, 5, 13), D(2024, 5, 19)},  // 7: Monday
      {PeriodKind::Week, D(2024, 5, 15), -3, D(2024, 5, 13), D(2024, 5, 19)},
      {PeriodKind::Month, D(2024, 2, 10), 0, D(2024, 2, 1), D(2024, 2, 29)},
      {PeriodKind::Month, D(2100, 2, 10), 0, D(2100, 2, 1), D(2100, 2, 28)},
      {PeriodKind::Quarter, D(2024, 5, 15), 0, D(2024, 4, 1), D(2024, 6, 30)},
      {PeriodKind::Quarter, D(2024, 12, 31), 0, D(2024, 10, 1), D(2024, 12, 31)},
      {PeriodKind::Year, D(2024, 5, 15), 0, D(2024, 1, 1), D(2024, 12, 31)},
      {PeriodKind::All, D(2024, 5, 15), 0, D(2024, 5, 15), D(2024, 5, 15)},
  };
  for (const Case& c : kCases) {
    TimeInterval p = PeriodOf(c.kind, c.today, FirstWeekday(c.option0), none, none);
    EXPECT_EQ(p, TimeInterval(c.begin, c.end)) << static_cast<int>(c.kind) << " " << c.today.Val;
  }
  // All reaches from the first transaction to the later of today and the last one.
  EXPECT_EQ(PeriodOf(PeriodKind::All, D(2024, 5, 15), 0, D(1950, 1, 2), D(2024, 7, 1)),
            TimeInterval(D(1950, 1, 2), D(2024, 7, 1)));
  EXPECT_EQ(PeriodOf(PeriodKind::All, D(2024, 5, 15), 0, D(2020, 1, 2), D(2021, 7, 1)),
            TimeInterval(D(2020, 1, 2), D(2024, 5, 15)));
  // A custom period entered backwards is stored in order.
  EXPECT_EQ(TimeInterval(D(2024, 5, 20), D(2024, 5, 1)),
            TimeInterval(D(2024, 5, 1), D(2024, 5, 20)));

  EXPECT_EQ(PeriodKindNamed("quarter"), PeriodKind::Quarter);
  EXPECT_FALSE(PeriodKindNamed("Quarter").has_value());
  const TimeInterval q2(D(2019, 4, 1), D(2019, 6, 30));
  EXPECT_EQ(MovePeriod(q2, -3), TimeInterval(D(2018, 7, 1), D(2018, 9, 30)));
  EXPECT_EQ(MovePeriod(q2, 2), TimeInterval(D(2019, 10, 1), D(2019, 12, 31)));
  EXPECT_EQ(MovePeriod(q2, 0), q2);
}

}  // namespace
}  // namespace vemra::lists
