// Calendar dates, times of day and change stamps as the records store them, the date helpers
// shared by schedules, budgets and lists, and the conversions to and from instants (seconds
// since 1970-01-01 00:00 UTC). All functions are pure unless they read the process clock, and
// all are thread-safe.
#pragma once

#include <compare>
#include <cstdint>

namespace vemra {

// A calendar date: the number of days since 1970-01-01 in the proleptic Gregorian calendar,
// without time zone. 0 is 1970-01-01, -1 is 1969-12-31.
struct ADate {
  int32_t Val = 0;

  constexpr ADate() = default;
  constexpr explicit ADate(int32_t v) : Val(v) {}
  friend constexpr auto operator<=>(ADate, ADate) = default;
};

// Milliseconds since midnight, 0 .. 86,399,999.
using ATime = uint32_t;

// Today's local calendar date, from the process clock.
ADate TodayADate();
// The local time of day in milliseconds, from the process clock.
ATime NowTime();
// A change stamp: local wall-clock seconds since 1970 (counted as if UTC) x 10000, plus
// (processor ticks mod 1000) x 10. A larger stamp is a later change.
uint64_t ModStamp();
// A stamp strictly newer than `previous`: the larger of previous + 1 and ModStamp().
uint64_t NewerStamp(uint64_t previous);

// Returns the day number of year/month/day, month 0-based and day 1-based. Months outside 0-11
// carry into the year; the day is added linearly (day 0 is the last day of the month before).
ADate MakeADate(int32_t year, int32_t month, int32_t day);
int32_t YearOf(ADate d);
// 0 = January .. 11 = December.
int32_t MonthOf(ADate d);
// 1 .. 31.
int32_t DayOf(ADate d);
// Monday 0 .. Sunday 6.
int32_t WeekdayOf(ADate d);
// (weekday of January 1 + 0-based day of the year) / 7: the days before the first Monday form
// week 0.
int32_t WeekOfYear(ADate d);
// The full Gregorian rule: divisible by 4, except centuries not divisible by 400.
bool IsLeapYear(int32_t year);
// Days of `month` (0-based) in `year`.
int32_t DaysInMonth(int32_t year, int32_t month);

// A span of days; both ends belong to it and BeginDate <= EndDate.
struct TimeInterval {
  ADate BeginDate;
  ADate EndDate;

  TimeInterval() = default;
  // Puts the earlier of the two dates into BeginDate.
  TimeInterval(ADate a, ADate b) : BeginDate(a < b ? a : b), EndDate(a < b ? b : a) {}
  // True when the span shares a day with [begin, end].
  bool Overlaps(ADate begin, ADate end) const { return BeginDate <= end && EndDate >= begin; }
  friend bool operator==(const TimeInterval&, const TimeInterval&) = default;
};

// Moves `interval` to the interval of the same kind that follows it: a run of whole months by
// as many months as it spans, any other span by its length in days (kept on the same day
// numbers when it runs from day d of a month to day d - 1 of a later one).
void NextInterval(TimeInterval& interval);
// The mirror image of NextInterval: the interval of the same kind that precedes it.
void PreviousInterval(TimeInterval& interval);

// Instants, as seconds since 1970-01-01 00:00 UTC (fractions allowed).
double SecondsFromADate(ADate d);
double SecondsFromDateTime(ADate d, ATime time);
double SecondsFromATime(ATime time);
// The day of the instant: seconds / 86400, truncated toward zero.
ADate ADateFromSeconds(double seconds);
// The time of day of the instant: (whole seconds mod 86400) x 1000, wrapped into 0 .. 1 day.
ATime ATimeFromSeconds(double seconds);

}  // namespace vemra
