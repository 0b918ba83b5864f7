#include "core/records/dates.h"

#include <gtest/gtest.h>

#include "platform/clock.h"

namespace vemra {
namespace {

ADate D(int y, int m, int d) {
  return MakeADate(y, m - 1, d);
}

TEST(DatesTest, DayNumbersAndCalendarFields) {
  EXPECT_EQ(D(1970, 1, 1).Val, 0);
  EXPECT_EQ(D(1969, 12, 31).Val, -1);
  EXPECT_EQ(D(2000, 3, 1).Val, 11017);
  EXPECT_EQ(D(1900, 3, 1).Val, -25508);  // 1900 is not a leap year
  for (int32_t v : {-800000, -25509, -1, 0, 59, 11016, 20000, 2932896}) {
    ADate d(v);
    EXPECT_EQ(MakeADate(YearOf(d), MonthOf(d), DayOf(d)).Val, v);
  }
  ADate leap = D(2024, 2, 29);
  EXPECT_EQ(YearOf(leap), 2024);
  EXPECT_EQ(MonthOf(leap), 1);
  EXPECT_EQ(DayOf(leap), 29);
  // Months carry into the year, days run linearly.
  EXPECT_EQ(MakeADate(2024, 12, 1), MakeADate(2025, 0, 1));
  EXPECT_EQ(MakeADate(2024, -1, 31), D(2023, 12, 31));
  EXPECT_EQ(MakeADate(2024, 2, 0), D(2024, 2, 29));
  EXPECT_EQ(MakeADate(2023, 1, 30), D(2023, 3, 2));
}

TEST(DatesTest, WeekdaysWeeksAndMonthLengths) {
  EXPECT_EQ(WeekdayOf(ADate(0)), 3);   // Thursday
  EXPECT_EQ(WeekdayOf(ADate(-1)), 2);  // Wednesday
  EXPECT_EQ(WeekdayOf(ADate(-4)), 6);  // Sunday
  EXPECT_EQ(WeekdayOf(D(2024, 1, 1)), 0);
  // 2023-01-01 was a Sunday, before the first Monday: week 0.
  EXPECT_EQ(WeekOfYear(D(2023, 1, 1)), 0);
  EXPECT_EQ(WeekOfYear(D(2023, 1, 2)), 1);
  EXPECT_EQ(WeekOfYear(D(2024, 1, 7)), 0);  // 2024 began on a Monday
  EXPECT_EQ(WeekOfYear(D(2024, 1, 8)), 1);
  EXPECT_TRUE(IsLeapYear(2000));
  EXPECT_FALSE(IsLeapYear(1900));
  EXPECT_TRUE(IsLeapYear(2024));
  EXPECT_EQ(DaysInMonth(2024, 1), 29);
  EXPECT_EQ(DaysInMonth(2100, 1), 28);
  EXPECT_EQ(DaysInMonth(2023, 11), 31);
}

TEST(DatesTest, IntervalsMoveByTheirKind) {
  auto next = [](ADate a, ADate b) {
    TimeInterval i(a, b);
    NextInterval(i);
    return i;
  };
  auto prev = [](ADate a, ADate b) {
    TimeInterval i(a, b);
    PreviousInterval(i);
    return i;
  };
  EXPECT_EQ(next(D(2025, 3, 1), D(2025, 3, 31)), TimeInterval(D(2025, 4, 1), D(2025, 4, 30)));
  EXPECT_EQ(next(D(2025, 1, 1), D(2025, 3, 31)), TimeInterval(D(2025, 4, 1), D(2025, 6, 30)));
  EXPECT_EQ(next(D(2025, 3, 10), D(2025, 3, 16)), TimeInterval(D(2025, 3, 17), D(2025, 3, 23)));
  EXPECT_EQ(next(D(2025, 1, 15), D(2025, 2, 14)), TimeInterval(D(2025, 2, 15), D(2025, 3, 14)));
  // Day d to day d - 1 of a later month moves by whole months, keeping both days.
  EXPECT_EQ(next(D(2025, 2, 2), D(2025, 3, 1)), TimeInterval(D(2025, 3, 2), D(2025, 4, 1)));
  EXPECT_EQ(prev(D(2025, 3, 2), D(2025, 4, 1)), TimeInterval(D(2025, 2, 2), D(2025, 3, 1)));
  EXPECT_EQ(next(D(2024, 12, 20), D(2025, 2, 19)), TimeInterval(D(2025, 2, 20), D(2025, 4, 19)));
  EXPECT_EQ(prev(D(2025, 4, 1), D(2025, 4, 30)), TimeInterval(D(2025, 3, 1), D(2025, 3, 31)));
  EXPECT_EQ(next(D(2024, 12, 1), D(2024, 12, 31)), TimeInterval(D(2025, 1, 1), D(2025, 1, 31)));
  EXPECT_EQ(prev(D(2025, 1, 1), D(2025, 12, 31)), TimeInterval(D(2024, 1, 1), D(2024, 12, 31)));
  // November to February spans four months and moves by four.
  EXPECT_EQ(next(D(2024, 11, 1), D(2025, 2, 28)), TimeInterval(D(2025, 3, 1), D(2025, 6, 30)));
  EXPECT_EQ(prev(D(2024, 11, 1), D(2025, 2, 28)), TimeInterval(D(2024, 7, 1), D(2024, 10, 31)));
  // February of a leap year ends on the 29th.
  EXPECT_EQ(prev(D(2024, 3, 1), D(2024, 3, 31)), TimeInterval(D(2024, 2, 1), D(2024, 2, 29)));
  // A reversed interval is put in order first; a single day moves by a day.
  TimeInterval rev;
  rev.BeginDate = D(2025, 3, 16);
  rev.EndDate = D(2025, 3, 10);
  NextInterval(rev);
  EXPECT_EQ(rev, TimeInterval(D(2025, 3, 17), D(2025, 3, 23)));
  EXPECT_EQ(next(D(2025, 3, 31), D(2025, 3, 31)), TimeInterval(D(2025, 4, 1), D(2025, 4, 1)));
}

TEST(DatesTest, InstantConversions) {
  EXPECT_EQ(SecondsFromADate(ADate(1)), 86400.0);
  EXPECT_EQ(SecondsFromDateTime(ADate(-1), 1999), -86400.0 + 1);
  EXPECT_EQ(ADateFromSeconds(-43200.0).Val, 0);  // 1969-12-31 12:00 truncates toward zero
  EXPECT_EQ(ADateFromSeconds(-86400.0).Val, -1);
  EXPECT_EQ(ADateFromSeconds(86399.9).Val, 0);
  EXPECT_EQ(ATimeFromSeconds(-1.0), 86'399'000u);
  EXPECT_EQ(ATimeFromSeconds(86400.0 * 3 + 3661.5), 3'661'000u);
  EXPECT_EQ(ATimeFromSeconds(std::numeric_limits<double>::quiet_NaN()), 0u);
}

TEST(DatesTest, ClockReadingsFollowThePinnedClock) {
  // 2025-06-15 13:45:30 local wall-clock time, 123456 processor ticks.
  int64_t s = int64_t{D(2025, 6, 15).Val} * 86400 + 13 * 3600 + 45 * 60 + 30;
  platform::ScopedClockPin pin(s, 123456);
  EXPECT_EQ(TodayADate(), D(2025, 6, 15));
  EXPECT_EQ(NowTime(), (13u * 3600 + 45 * 60 + 30) * 1000);
  EXPECT_EQ(ModStamp(), static_cast<uint64_t>(s) * 10000 + 456 * 10);
  EXPECT_EQ(NewerStamp(ModStamp()), ModStamp() + 1);
  EXPECT_EQ(NewerStamp(0), ModStamp());
}

}  // namespace
}  // namespace vemra
