// Schedule processing: occurrences of scheduled transactions and scheduled events that are due
// (on or before today) become stored records, later ones up to a limit become ghosts that are
// only shown. Every copy of a database processes its own schedules, so a created record's ID and
// stamp depend only on the schedule and the date: two copies create the same record and a merge
// keeps one.
#include <algorithm>
#include <climits>
#include <iterator>
#include <map>

#include "core/database/database.h"
#include "core/records/entry_factory.h"
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
// copy of the database. Schedules whose residues (schedule_id mod a day's seconds, plus the
// schedule type) agree modulo a day's seconds share these IDs.
uint64_t OccurrenceID(ADate d, uint64_t schedule_id, uint8_t schedule_type) {
  return static_cast<uint64_t>(int64_t{d.Val} * kSecondsPerDay) + schedule_id % kSecondsPerDay +
         schedule_type;
}

uint64_t Residue(uint64_t schedule_id, uint8_t schedule_type) {
  return (schedule_id % kSecondsPerDay + schedule_type) % kSecondsPerDay;
}

// The k-th alternative ID (k >= 1) of an occurrence whose own ID belongs to another schedule:
// a fixed function of the schedule and the date, so that every copy chooses alike. They lie at
// 2^40 and above, below every ID the clock hands out (the stamps of 1973 on) and above every
// occurrence ID of the scheme above (up to the year 9999).
uint64_t AlternativeID(ADate d, uint64_t schedule_id, uint32_t k) {
  uint64_t x = schedule_id * 0x9E3779B97F4A7C15ull +
               static_cast<uint32_t>(d.Val) * 0xBF58476D1CE4E5B9ull + k;
  x ^= x >> 30;
  x *= 0xBF58476D1CE4E5B9ull;
  x ^= x >> 27;
  x *= 0x94D049BB133111EBull;
  x ^= x >> 31;
  constexpr uint64_t kBase = uint64_t{1} << 40;
  return kBase + x % kBase;
}

bool Occurs(uint8_t schedule_type) {
  return schedule_type >= 2 && schedule_type <= 4;
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

std::vector<ADate> DataBase::ScheduleOccurrences(const TSchedule& schedule, ADate from, ADate until,
                                                 size_t max) {
  std::vector<ADate> out;
  if (schedule.End && schedule.EndDate < until) until = schedule.EndDate;
  ADate first = schedule.BeginDate;
  if (first > until || max == 0) return out;
  if (from > first) {
    if (schedule.ScheduleType == 2) {
      // Daily occurrences count from the start: jump to the first one on or after `from`.
      const int64_t step = schedule.Day == 0 ? 1 : schedule.Day;
      const int64_t steps = (int64_t{from.Val} - first.Val + step - 1) / step;
      const int64_t d = first.Val + steps * step;
      if (d > until.Val) return out;
      first = ADate(static_cast<int32_t>(d));
    } else {
      first = from;
    }
  }
  ForEachOccurrence(schedule, first, until, [&](ADate d) {
    out.push_back(d);
    return out.size() < max;
  });
  return out;
}

uint64_t DataBase::OccurrenceSlot(ADate d, uint64_t schedule_id, uint8_t schedule_type,
                                  uint32_t type, const std::map<uint64_t, uint64_t>& claimed) {
  // Where the residue of two schedules collides, the lower schedule ID keeps the shared IDs and
  // the other takes alternatives; deciding by the schedules, not by which record got there
  // first, lets every copy choose alike whatever it has received so far.
  auto owner = claimed.find(Residue(schedule_id, schedule_type));
  const bool own_ids = owner == claimed.end() || owner->second == schedule_id;
  const uint32_t table = TableOfType(type);
  for (uint32_t k = own_ids ? 0 : 1; k < 64; ++k) {
    uint64_t id =
        k == 0 ? OccurrenceID(d, schedule_id, schedule_type) : AlternativeID(d, schedule_id, k);
    if (id == 0) continue;
    // A record or a deletion marker of this kind under the ID is this occurrence, entered here
    // or in another copy (and perhaps edited or deleted since): it is never entered again.
    if (const TBaseEntry* held = FindEntry(id, table);
        held != nullptr && held->Header.Type == type) {
      return 0;
    }
    if (auto marker = deleted_headers_.find(id); marker != deleted_headers_.end()) {
      if (marker->second.SecondaryType == type) return 0;
      continue;
    }
    // IDs are unique across tables: a record of another kind holds this one.
    if (std::any_of(std::begin(tables_), std::end(tables_),
                    [&](const Table& t) { return t.count(id) != 0; })) {
      continue;
    }
    return id;
  }
  return NewID();
}

std::map<uint64_t, uint64_t> DataBase::ClaimedResidues() const {
  std::map<uint64_t, uint64_t> claimed;
  for (const auto& [id, e] : tables_[0]) {
    const TSchedule* s = nullptr;
    if (e->Header.Type == etScheduledTransaction) {
      s = &static_cast<const TScheduledTransaction&>(*e).Schedule;
    } else if (e->Header.Type == etScheduledEvent) {
      s = &static_cast<const TScheduledEvent&>(*e).Schedule;
    }
    if (s != nullptr && Occurs(s->ScheduleType)) {
      claimed.try_emplace(Residue(id, s->ScheduleType), id);  // IDs come in ascending order
    }
  }
  return claimed;
}

void DataBase::ProcessSchedules(ADate limit, std::vector<TTransaction>& ghosts) {
  std::map<uint64_t, uint64_t> claimed;
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
      if (claimed.empty()) claimed = ClaimedResidues();
      for (ADate d : due) {
        uint64_t id = OccurrenceSlot(d, schedule_id, work.ScheduleType, etTransaction, claimed);
        if (id == 0) continue;
        auto t = std::make_unique<TTransaction>();
        full.CopyToTransaction(*t, false);
        t->Header.ID = id;
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
  std::map<uint64_t, uint64_t> claimed;
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
        if (claimed.empty()) claimed = ClaimedResidues();
        for (ADate d : due) {
          uint64_t id = OccurrenceSlot(d, schedule_id, work.ScheduleType, etEvent, claimed);
          if (id == 0) continue;
          auto event = std::make_unique<TEvent>();
          full.CopyToEvent(*event, false);
          event->Header.ID = id;
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
