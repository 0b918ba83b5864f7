// Schedule processing: occurrences of scheduled transactions and scheduled events that are due
// (on or before today) become stored records, later ones up to a limit become ghosts that are
// only shown. Every copy of a database processes its own schedules, so a created record's ID and
// stamp depend only on the schedule and the date: two copies create the same record and a merge
// keeps one.
#include <algorithm>
#include <climits>

#include "core/database/database.h"
#include "core/records/scheduled_event.h"
#include "core/records/scheduled_transaction.h"

namespace vemra {

namespace {

constexpr int64_t kSecondsPerDay = 86400;

// Calls `f(d)` for every occurrence date d of `s` in [first, last], in order, until `f` returns
// false. Kinds that can never occur return at once, so a far `last` costs nothing for them;
// otherwise the cost is proportional to the span for weekly schedules and to the occurrences
// for the others.
template <class F>
void ForEachOccurrence(const TSchedule& s, ADate first, ADate last, F f) {
  int64_t b = first.Val;
  int64_t e = last.Val;
  switch (s.ScheduleType) {
    case 2: {
      int64_t step = s.Day == 0 ? 1 : s.Day;
      for (int64_t d = b; d <= e; d += step) {
        if (!f(ADate(static_cast<int32_t>(d)))) return;
      }
      return;
    }
    case 3: {
      if (s.WeekType < 0 || s.WeekType > 2) return;
      if (std::none_of(s.WeekDays.begin(), s.WeekDays.end(), [](uint8_t v) { return v; })) {
        return;
      }
      for (int64_t d = b; d <= e; ++d) {
        ADate date(static_cast<int32_t>(d));
        if (!s.WeekDays[WeekdayOf(date)]) continue;
        if (s.WeekType != 0 && (WeekOfYear(date) % 2 == 0) != (s.WeekType == 1)) continue;
        if (!f(date)) return;
      }
      return;
    }
    case 4: {
      if (s.Day < 1 || s.Day > 33) return;
      if (std::none_of(s.Months.begin(), s.Months.end(), [](uint8_t v) { return v; })) return;
      int32_t year = YearOf(first);
      int32_t month = MonthOf(first);
      while (true) {
        ADate start = MakeADate(year, month, 1);
        if (start.Val > e || start.Val >= INT32_MAX - 31) return;
        if (s.Months[month]) {
          int32_t length = DaysInMonth(year, month);
          int32_t day = s.Day == 33 ? length - 1 : std::min<int32_t>(s.Day, length);
          ADate d(start.Val + day - 1);
          if (d.Val >= b && d.Val <= e && !f(d)) return;
        }
        if (++month == 12) {
          month = 0;
          ++year;
        }
      }
    }
    default:
      return;
  }
}

// ExpandSchedule, also counting in `passed` every due occurrence, including those a ghost
// schedule skips without entering them.
ADate Expand(TSchedule& s, ADate limit, std::vector<ADate>& due, std::vector<ADate>& ghosts,
             bool next_only, size_t& passed) {
  passed = 0;
  const ADate today = TodayADate();
  ADate last = limit;
  if (s.End && s.EndDate < last) last = s.EndDate;
  const ADate begin = s.BeginDate;
  if (begin > last) return ADate(0);
  const int64_t step = s.ScheduleType == 2 && s.Day != 0 ? s.Day : 1;
  ADate next(0);
  ForEachOccurrence(s, begin, last, [&](ADate d) {
    if (next_only) {
      next = d;
      return false;
    }
    if (d <= today) {
      if (!s.Ghost) due.push_back(d);
      ++passed;
      s.BeginDate = ADate(static_cast<int32_t>(std::min<int64_t>(d.Val + step, INT32_MAX)));
    } else {
      ghosts.push_back(d);
    }
    return true;
  });
  return next;
}

// The ID of the record entered for occurrence `d` of schedule `schedule_id`, the same in every
// copy of the database.
uint64_t OccurrenceID(ADate d, uint64_t schedule_id, uint8_t schedule_type) {
  return static_cast<uint64_t>(int64_t{d.Val} * kSecondsPerDay) + schedule_id % kSecondsPerDay +
         schedule_type;
}

// The stamp of that record: midnight of `d` as a change stamp.
uint64_t OccurrenceStamp(ADate d) {
  return d.Val < 0 ? 0 : static_cast<uint64_t>(d.Val) * kSecondsPerDay * 10000;
}

// The record IDs of `type` in table 0, in ID order.
std::vector<uint64_t> IDsOfType(const DataBase::Table& table, uint32_t type) {
  std::vector<uint64_t> ids;
  for (const auto& [id, e] : table) {
    if (e->Header.Type == type) ids.push_back(id);
  }
  return ids;
}

// Places an event occurrence on `d`, keeping the length of the template's span.
void MoveEvent(TEvent::TData& data, ADate d, int32_t span) {
  data.FirstDate = d;
  data.SecondDate =
      ADate(static_cast<int32_t>(std::min<int64_t>(int64_t{d.Val} + span, INT32_MAX)));
}

}  // namespace

ADate DataBase::ExpandSchedule(TSchedule& schedule, ADate limit, std::vector<ADate>& due,
                               std::vector<ADate>& ghosts, bool next_only) {
  size_t passed = 0;
  return Expand(schedule, limit, due, ghosts, next_only, passed);
}

uint64_t DataBase::OccurrenceSlot(ADate d, uint64_t schedule_id, uint8_t schedule_type) {
  uint64_t id = OccurrenceID(d, schedule_id, schedule_type);
  // Two schedules whose IDs agree modulo a day's seconds share their occurrence IDs; IDs are
  // unique across tables, so a taken ID in any table means a fresh one.
  for (const Table& table : tables_) {
    if (id == 0 || table.count(id) != 0) return NewID();
  }
  return id;
}

void DataBase::ProcessSchedules(ADate limit, std::vector<TTransaction>& ghosts) {
  for (uint64_t schedule_id : IDsOfType(tables_[0], etScheduledTransaction)) {
    auto& stored = static_cast<TScheduledTransaction&>(*tables_[0].at(schedule_id));
    TSchedule work = stored.Schedule;
    std::vector<ADate> due;
    std::vector<ADate> later;
    size_t passed = 0;
    Expand(work, limit, due, later, false, passed);
    if (passed == 0 && later.empty()) continue;

    if (passed != 0) {
      BeginUndoStep(2);
      Modified = true;
      stored.Schedule.BeginDate = work.BeginDate;
      stored.Data.Date = work.BeginDate;
      // Dates a ghost schedule skips count too: the moved schedule must outrank, in a merge, a
      // copy that has not processed them.
      stored.Header.LastModDate += passed;
    }
    // The template: a schedule whose account was deleted enters one-sided transactions, one
    // with no account left enters nothing.
    TScheduledTransaction base = stored;
    for (uint64_t* account : {&base.Data.WithdrawAccountID, &base.Data.TargetAccountID}) {
      const TBaseEntry* e = FindEntry(*account, 0);
      if (e == nullptr || e->Header.Type != etAccount) *account = 0;
    }
    if (!due.empty() && (base.Data.WithdrawAccountID != 0 || base.Data.TargetAccountID != 0)) {
      // Entered transactions get string records and tag links of their own.
      TScheduledTransaction full = base;
      full.LoadDependents(*this);
      for (ADate d : due) {
        auto t = std::make_unique<TTransaction>();
        full.CopyToTransaction(*t, false);
        t->Header.ID = OccurrenceSlot(d, schedule_id, work.ScheduleType);
        t->Data.Date = d;
        StoreEntry(std::move(t), OccurrenceStamp(d));
      }
    }
    if (passed != 0) DropUndoStep();

    // Ghosts keep the schedule's text IDs so that a view can read the texts when it needs them.
    for (ADate g : later) {
      TTransaction& ghost = ghosts.emplace_back();
      base.CopyToTransaction(ghost, true);
      ghost.Header.ID = schedule_id;
      ghost.Header.LastModDate = base.Header.LastModDate;
      ghost.Data.Date = g;
      ghost.IsGhost = true;
    }
  }
}

void DataBase::ProcessScheduledEvents(ADate limit, std::vector<TEvent>& ghosts) {
  for (uint64_t schedule_id : IDsOfType(tables_[0], etScheduledEvent)) {
    auto& stored = static_cast<TScheduledEvent&>(*tables_[0].at(schedule_id));
    TSchedule work = stored.Schedule;
    std::vector<ADate> due;
    std::vector<ADate> later;
    size_t passed = 0;
    Expand(work, limit, due, later, false, passed);
    if (passed == 0 && later.empty()) continue;

    // Every occurrence keeps the length of the scheduled event's own span.
    const int32_t span = stored.Data.SecondDate.Val - stored.Data.FirstDate.Val;
    if (passed != 0) {
      BeginUndoStep(2);
      Modified = true;
      stored.Schedule.BeginDate = work.BeginDate;
      MoveEvent(stored.Data, work.BeginDate, span);
      stored.Header.LastModDate += passed;
      if (!due.empty()) {
        TScheduledEvent full = stored;
        full.LoadDependents(*this);
        for (ADate d : due) {
          auto event = std::make_unique<TEvent>();
          full.CopyToEvent(*event, false);
          event->Header.ID = OccurrenceSlot(d, schedule_id, work.ScheduleType);
          MoveEvent(event->Data, d, span);
          StoreEntry(std::move(event), OccurrenceStamp(d));
        }
      }
      DropUndoStep();
    }

    const TScheduledEvent& base = static_cast<const TScheduledEvent&>(*tables_[0].at(schedule_id));
    for (ADate g : later) {
      TEvent& ghost = ghosts.emplace_back();
      base.CopyToEvent(ghost, true);
      ghost.Header.ID = schedule_id;
      ghost.Header.LastModDate = base.Header.LastModDate;
      MoveEvent(ghost.Data, g, span);
      ghost.IsGhost = true;
    }
  }
}

}  // namespace vemra
