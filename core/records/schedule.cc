#include "core/records/schedule.h"

namespace vemra {

TSchedule::TSchedule() : BeginDate(TodayADate()), EndDate(ADate(TodayADate().Val + 30)) {}

void TSchedule::Write(BodyWriter& w) const {
  w.U8(ScheduleType);
  w.Zeros(3);
  w.Date(BeginDate);
  w.Date(EndDate);
  w.U8(End);
  w.Zeros(1);
  w.U16(Day);
  w.Raw(WeekDays.data(), WeekDays.size());
  w.I8(WeekType);
  w.Raw(Months.data(), Months.size());
  w.U8(Ghost);
  w.Zeros(3);
}

void TSchedule::Read(BodyReader& r, bool old_layout) {
  ScheduleType = r.U8();
  r.Skip(3);
  BeginDate = r.Date();
  EndDate = r.Date();
  End = r.U8();
  r.Skip(1);
  Day = r.U16();
  r.Raw(WeekDays.data(), WeekDays.size());
  WeekType = r.I8();
  r.Raw(Months.data(), Months.size());
  if (old_layout) {
    Ghost = 0;
  } else {
    Ghost = r.U8();
    r.Skip(3);
  }
}

}  // namespace vemra
