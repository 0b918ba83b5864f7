#include "core/records/dates.h"

#include <cmath>

#include "platform/clock.h"

namespace vemra {
namespace {

constexpr int64_t kSecondsPerDay = 86400;

int64_t FloorDiv(int64_t a, int64_t b) {
  return a / b - ((a % b != 0) && ((a < 0) != (b < 0)));
}

// Days from 1970-01-01 to year-month(1..12)-day(1..31) in the proleptic Gregorian calendar.
int64_t DaysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2;
  int64_t era = FloorDiv(y, 400);
  int64_t yoe = y - era * 400;
  int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

struct Civil {
  int32_t year;
  int32_t month;  // 1..12
  int32_t day;
};

Civil CivilFromDays(int64_t z) {
  z += 719468;
  int64_t era = FloorDiv(z, 146097);
  int64_t doe = z - era * 146097;
  int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  int64_t y = yoe + era * 400;
  int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  int64_t mp = (5 * doy + 2) / 153;
  int64_t d = doy - (153 * mp + 2) / 5 + 1;
  int64_t m = mp < 10 ? mp + 3 : mp - 9;
  return {static_cast<int32_t>(y + (m <= 2)), static_cast<int32_t>(m), static_cast<int32_t>(d)};
}

ADate Clamp(int64_t days) {
  if (days < INT32_MIN) return ADate(INT32_MIN);
  if (days > INT32_MAX) return ADate(INT32_MAX);
  return ADate(static_cast<int32_t>(days));
}

// Moves (year, month) by `k` months.
void ShiftMonths(int32_t& year, int32_t& month, int64_t k) {
  int64_t total = int64_t{year} * 12 + month + k;
  year = static_cast<int32_t>(FloorDiv(total, 12));
  month = static_cast<int32_t>(total - int64_t{year} * 12);
}

void MoveInterval(TimeInterval& in, int direction) {
  if (in.BeginDate > in.EndDate) std::swap(in.BeginDate, in.EndDate);
  int32_t by = YearOf(in.BeginDate), bm = MonthOf(in.BeginDate), bd = DayOf(in.BeginDate);
  int32_t ey = YearOf(in.EndDate), em = MonthOf(in.EndDate), ed = DayOf(in.EndDate);
  if (bd == 1 && ed == DaysInMonth(ey, em)) {
    // A run of whole months moves by the number of months it spans.
    int64_t k = (int64_t{ey} - by) * 12 + (em - bm) + 1;
    ShiftMonths(by, bm, direction * k);
    ShiftMonths(ey, em, direction * k);
    in.BeginDate = MakeADate(by, bm, 1);
    in.EndDate = MakeADate(ey, em, DaysInMonth(ey, em));
    return;
  }
  if (bd <= 28 && ed + 1 == bd) {
    // From day d of one month to day d - 1 of a later one (a pay month, say): move by the
    // month distance and keep both day numbers. Shifting by the day count first would turn
    // February 2 - March 1 into March 2 - March 1.
    int64_t m = (int64_t{ey} - by) * 12 + (em - bm);
    ShiftMonths(by, bm, direction * m);
    ShiftMonths(ey, em, direction * m);
    in.BeginDate = MakeADate(by, bm, bd);
    in.EndDate = MakeADate(ey, em, ed);
    return;
  }
  int64_t step = direction * (int64_t{in.EndDate.Val} - in.BeginDate.Val + 1);
  in.BeginDate = Clamp(in.BeginDate.Val + step);
  in.EndDate = Clamp(in.EndDate.Val + step);
}

}  // namespace

ADate TodayADate() {
  return ADate(static_cast<int32_t>(FloorDiv(platform::LocalWallSeconds(), kSecondsPerDay)));
}

ATime NowTime() {
  int64_t s = platform::LocalWallSeconds();
  return static_cast<ATime>((s - FloorDiv(s, kSecondsPerDay) * kSecondsPerDay) * 1000);
}

uint64_t ModStamp() {
  int64_t s = platform::LocalWallSeconds();
  if (s < 0) s = 0;
  return static_cast<uint64_t>(s) * 10000 + (platform::ProcessorTicks() % 1000) * 10;
}

uint64_t NewerStamp(uint64_t previous) {
  uint64_t now = ModStamp();
  return previous + 1 > now ? previous + 1 : now;
}

ADate MakeADate(int32_t year, int32_t month, int32_t day) {
  int64_t y = year + FloorDiv(month, 12);
  int64_t m = month - FloorDiv(month, 12) * 12;
  return Clamp(DaysFromCivil(y, m + 1, 1) + day - 1);
}

int32_t YearOf(ADate d) {
  return CivilFromDays(d.Val).year;
}
int32_t MonthOf(ADate d) {
  return CivilFromDays(d.Val).month - 1;
}
int32_t DayOf(ADate d) {
  return CivilFromDays(d.Val).day;
}

int32_t WeekdayOf(ADate d) {
  // 1970-01-01 was a Thursday (3).
  int64_t r = (int64_t{d.Val} + 3) % 7;
  return static_cast<int32_t>(r < 0 ? r + 7 : r);
}

int32_t WeekOfYear(ADate d) {
  ADate jan1 = MakeADate(YearOf(d), 0, 1);
  return (WeekdayOf(jan1) + (d.Val - jan1.Val)) / 7;
}

bool IsLeapYear(int32_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int32_t DaysInMonth(int32_t year, int32_t month) {
  static constexpr int32_t kDays[2][12] = {{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31},
                                           {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31}};
  int64_t m = month - FloorDiv(month, 12) * 12;
  return kDays[IsLeapYear(year) ? 1 : 0][m];
}

void NextInterval(TimeInterval& interval) {
  MoveInterval(interval, 1);
}
void PreviousInterval(TimeInterval& interval) {
  MoveInterval(interval, -1);
}

double SecondsFromADate(ADate d) {
  return static_cast<double>(d.Val) * kSecondsPerDay;
}

double SecondsFromDateTime(ADate d, ATime time) {
  return static_cast<double>(int64_t{d.Val} * kSecondsPerDay + time / 1000);
}

double SecondsFromATime(ATime time) {
  return static_cast<double>(time / 1000);
}

ADate ADateFromSeconds(double seconds) {
  if (!std::isfinite(seconds)) return ADate(0);
  return Clamp(static_cast<int64_t>(std::trunc(seconds / kSecondsPerDay)));
}

ATime ATimeFromSeconds(double seconds) {
  if (!std::isfinite(seconds) || std::fabs(seconds) > 9e18) return 0;
  int64_t whole = static_cast<int64_t>(std::trunc(seconds));
  int64_t ms = (whole % kSecondsPerDay) * 1000;
  if (ms < 0) ms += kSecondsPerDay * 1000;
  return static_cast<ATime>(ms);
}

}  // namespace vemra
