#include "core/records/budget.h"

#include <algorithm>
#include <climits>

#include "core/records/body_codec.h"

namespace vemra {
namespace {

// Day arithmetic near the ends of the ADate range saturates instead of overflowing: a damaged
// record may carry any 32-bit date.
ADate Clamped(int64_t day) {
  return ADate(static_cast<int32_t>(std::clamp<int64_t>(day, INT32_MIN, INT32_MAX)));
}

// The last day not after `day` whose WeekdayOf is `weekday`.
ADate BackToWeekday(int64_t day, int weekday) {
  ADate d = Clamped(day);
  return Clamped(int64_t{d.Val} - (WeekdayOf(d) - weekday + 7) % 7);
}

// The first day not before `day` whose WeekdayOf is `weekday`.
ADate ForwardToWeekday(int64_t day, int weekday) {
  ADate d = Clamped(day);
  return Clamped(int64_t{d.Val} + (weekday - WeekdayOf(d) + 7) % 7);
}

TimeInterval WholeMonths(int32_t year, int32_t first_month, int32_t last_month) {
  return TimeInterval(MakeADate(year, first_month, 1),
                      MakeADate(year, last_month, DaysInMonth(year, last_month)));
}

}  // namespace

void TBudget::SaveDependents(TCoreDB& db) {
  StoreText(db, Data.Text1ID, Text1);
  StoreText(db, Data.Text2ID, Text2);
  SaveTags(db, Header.ID);
  std::vector<std::unique_ptr<TBaseEntry>> links;
  for (TBudgetFilter& filter : Filters) {
    filter.Data.BudgetID = Header.ID;
    links.push_back(std::make_unique<TBudgetFilter>(filter));
  }
  db.ReplaceChildren(Header.ID, etBudgetFilter, links);
}

void TBudget::DeleteDependents(TCoreDB& db) {
  db.DeleteString(Data.Text1ID);
  db.DeleteString(Data.Text2ID);
  DeleteTags(db, Header.ID);
  std::vector<std::unique_ptr<TBaseEntry>> none;
  db.ReplaceChildren(Header.ID, etBudgetFilter, none);
}

void TBudget::ClearStrings() {
  Text1.clear();
  Text2.clear();
  Tags.clear();
  Filters.clear();
  PastPeriods.clear();
  FuturePeriods.clear();
}

void TBudget::ClearStringIDs() {
  Data.Text1ID = Data.Text2ID = 0;
}

size_t TBudget::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  Categories.Write(w);
  w.U64(Data.Text1ID);
  w.U64(Data.Text2ID);
  w.U64(Data.Field48);
  w.F64(Data.Amount);
  w.U32(Data.PeriodType);
  w.U8(Data.BeginFixed);
  w.U8(Data.BudgetChecked);
  w.U16(Data.Field70);
  w.Date(Data.BeginDate);
  w.U8(Data.EndFixed);
  w.Zeros(3);
  w.Date(Data.EndDate);
  w.U8(Data.Field84);
  w.Zeros(3);
  w.U32(Data.Field88);
  w.Raw(Data.Field92.data(), Data.Field92.size());
  w.U32(Data.Field100);
  return WriteBody(out, body, kBodySize);
}

bool TBudget::LoadData(IInputStream& in, uint32_t version) {
  if (version != kVersion && version != 0) return false;
  uint8_t body[kBodySize];
  if (!ReadExactly(in, body, version == kVersion ? kBodySize : kOldBodySize)) return false;
  BodyReader r(body);
  // Fields the old layout lacks get the values of a new budget.
  TData d;
  TCategories c;
  if (version == kVersion) {
    c.Read(r);
    d.Text1ID = r.U64();
    d.Text2ID = r.U64();
    d.Field48 = r.U64();
    d.Amount = r.F64();
    d.PeriodType = r.U32();
    d.BeginFixed = r.U8();
    d.BudgetChecked = r.U8();
    d.Field70 = r.U16();
    d.BeginDate = r.Date();
    d.EndFixed = r.U8();
    r.Skip(3);
    d.EndDate = r.Date();
    d.Field84 = r.U8();
    r.Skip(3);
    d.Field88 = r.U32();
    r.Raw(d.Field92.data(), d.Field92.size());
    d.Field100 = r.U32();
  } else {
    d.Text1ID = r.U64();
    d.Text2ID = r.U64();
    d.Field48 = r.U64();
    c.CategoryID = r.U64();
    c.FamilyID = r.U64();
    c.PayeeID = r.U64();
    d.Amount = r.F64();
    d.PeriodType = r.U32();
    d.BeginFixed = r.U8();
    r.Skip(3);
    d.BeginDate = r.Date();
    d.EndFixed = r.U8();
    r.Skip(3);
    d.EndDate = r.Date();
    d.Field84 = r.U8();
    r.Skip(3);
    d.Field88 = r.U32();
    r.Raw(d.Field92.data(), d.Field92.size());
    d.BudgetChecked = 0;  // old budgets always go through the check
  }
  // Budgets written before the check existed kept fixed dates even for periodic budgets, whose
  // range is meant to follow the data; they are released once.
  if (d.BudgetChecked == 0) {
    d.BudgetChecked = 1;
    if (d.PeriodType != 0) d.BeginFixed = d.EndFixed = 0;
  }
  Data = d;
  Categories = c;
  return true;
}

void TBudget::LoadDependents(TCoreDB& db) {
  LoadText(db, Data.Text1ID, Text1);
  LoadText(db, Data.Text2ID, Text2);
  LoadTags(db, Header.ID);

  // Filters of deleted accounts or categories are left out; their records stay.
  Filters.clear();
  std::vector<const TBaseEntry*> links;
  db.CollectChildren(Header.ID, etBudgetFilter, links);
  for (const TBaseEntry* link : links) {
    auto* filter = dynamic_cast<const TBudgetFilter*>(link);
    if (filter != nullptr && db.FindEntry(filter->Data.TargetID, 0) != nullptr) {
      Filters.push_back(*filter);
    }
  }

  const ADate today = TodayADate();
  if (!Data.BeginFixed) Data.BeginDate = db.FirstTransactionDate();
  if (!Data.EndFixed) Data.EndDate = today;
  const int8_t option = db.HeaderOption0();
  FirstWeekday = option >= 0 && option <= 6 ? option : 0;
  ComputePeriods(today);
}

TimeInterval TBudget::PeriodContaining(ADate d) const {
  const int first = FirstWeekday >= 0 && FirstWeekday <= 6 ? FirstWeekday : 0;
  const int last = (first + 6) % 7;
  const int64_t day = d.Val;
  const int32_t year = YearOf(d);
  const bool odd_week = WeekOfYear(d) % 2 != 0;
  switch (Data.PeriodType) {
    case kDay:
      return TimeInterval(d, d);
    case kWeek:
      return TimeInterval(BackToWeekday(day, first), ForwardToWeekday(day, last));
    case kMonth:
      return WholeMonths(year, MonthOf(d), MonthOf(d));
    case kQuarter: {
      const int32_t quarter_month = MonthOf(d) / 3 * 3;
      return WholeMonths(year, quarter_month, quarter_month + 2);
    }
    case kYear:
      return WholeMonths(year, 0, 11);
    case kTwoWeeksFromEven:
    case kTwoWeeksFromEvenAlt:
      return TimeInterval(BackToWeekday(odd_week ? day - 7 : day, first),
                          ForwardToWeekday(odd_week ? day : day + 7, last));
    case kTwoWeeksFromOdd:
      return TimeInterval(BackToWeekday(odd_week ? day : day - 7, first),
                          ForwardToWeekday(odd_week ? day + 7 : day, last));
    default:
      return TimeInterval(Data.BeginDate, Data.EndDate);
  }
}

void TBudget::ComputePeriods(ADate today) {
  PastPeriods.clear();
  FuturePeriods.clear();
  const bool negate = Data.Field92[1] != 0 && Data.Field92[0] == 0;
  auto period = [&](const TimeInterval& span) {
    TBudgetPeriod p;
    p.Begin = span.BeginDate;
    p.End = span.EndDate;
    p.Included = Data.PeriodType == 0 || span.Overlaps(Data.BeginDate, Data.EndDate);
    p.Amount = negate ? -Data.Amount : Data.Amount;
    return p;
  };

  // Each step moves to the day before (after) the period just listed, so the walk always ends.
  // Two guards keep hostile dates harmless: a list stops at kMaxPeriods periods, and a period
  // that begins (ends) on the first (last) ADate ends the walk instead of stepping past the
  // 32-bit range.
  ADate d = today;
  for (;;) {
    const TimeInterval span = PeriodContaining(d);
    PastPeriods.push_back(period(span));
    if (PastPeriods.size() >= kMaxPeriods || span.BeginDate.Val == INT32_MIN) break;
    const ADate before(span.BeginDate.Val - 1);
    if (Data.BeginDate > before) break;
    d = before;
  }
  std::reverse(PastPeriods.begin(), PastPeriods.end());

  d = today;
  for (;;) {
    const TimeInterval span = PeriodContaining(d);
    FuturePeriods.push_back(period(span));
    if (FuturePeriods.size() >= kMaxPeriods || span.EndDate.Val == INT32_MAX) break;
    const ADate after(span.EndDate.Val + 1);
    if (Data.EndDate < after) break;
    d = after;
  }

  // Begins fall along the past walk and ends rise along the future one, so the first past and
  // the last future period bound everything listed.
  FirstBegin = PastPeriods.front().Begin;
  LastEnd = FuturePeriods.back().End;
  if (Data.BeginFixed) FirstBegin = Data.BeginDate;
  if (Data.EndFixed) LastEnd = Data.EndDate;
}

}  // namespace vemra
