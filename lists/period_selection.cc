#include "lists/period_selection.h"

#include <algorithm>
#include <string>

#include "core/records/transaction.h"
#include "document/period_text.h"

namespace vemra::lists {

std::optional<PeriodKind> PeriodKindNamed(std::string_view name) {
  static constexpr std::pair<std::string_view, PeriodKind> kNames[] = {
      {"day", PeriodKind::Day},         {"week", PeriodKind::Week}, {"month", PeriodKind::Month},
      {"quarter", PeriodKind::Quarter}, {"year", PeriodKind::Year}, {"all", PeriodKind::All},
      {"custom", PeriodKind::Custom},
  };
  for (const auto& [n, kind] : kNames) {
    if (n == name) return kind;
  }
  return std::nullopt;
}

int32_t FirstWeekday(int8_t option0) {
  return option0 >= 0 && option0 <= 6 ? option0 : 0;
}

TimeInterval PeriodOf(PeriodKind kind, ADate today, int32_t first_weekday, ADate first_transaction,
                      ADate last_transaction) {
  const int32_t y = YearOf(today), m = MonthOf(today);
  switch (kind) {
    case PeriodKind::Day:
    case PeriodKind::Custom:
      return TimeInterval(today, today);
    case PeriodKind::Week: {
      int32_t back = (WeekdayOf(today) - first_weekday + 7) % 7;
      ADate begin(today.Val - back);
      return TimeInterval(begin, ADate(begin.Val + 6));
    }
    case PeriodKind::Month:
      return TimeInterval(MakeADate(y, m, 1), MakeADate(y, m, DaysInMonth(y, m)));
    case PeriodKind::Quarter: {
      int32_t first = m - m % 3;
      return TimeInterval(MakeADate(y, first, 1),
                          MakeADate(y, first + 2, DaysInMonth(y, first + 2)));
    }
    case PeriodKind::Year:
      return TimeInterval(MakeADate(y, 0, 1), MakeADate(y, 11, 31));
    case PeriodKind::All:
      return TimeInterval(std::min(today, first_transaction), std::max(today, last_transaction));
  }
  return TimeInterval(today, today);
}

void TransactionSpan(DataBase& book, ADate today, ADate& first, ADate& last) {
  first = last = today;
  bool any = false;
  for (const auto& [id, e] : book.GetTable(1)) {
    if (e->Header.Type != etTransaction) continue;
    const ADate d = static_cast<const TTransaction&>(*e).Data.Date;
    first = any ? std::min(first, d) : d;
    last = any ? std::max(last, d) : d;
    any = true;
  }
}

std::string SetPeriod(Document& document, const TimeInterval& period, std::string_view language) {
  document.Sync([&] {
    document.database().Period = period;
    document.database().Modified = true;
  });
  return FormatInterval(period, language);
}

bool SetShowHiddenAccounts(Document& document, bool show) {
  document.Sync([&] {
    document.database().Header.Reserved2 = show ? 1 : 0;
    document.database().Modified = true;
  });
  document.post(kUpdateDataNotification);
  return show;
}

TimeInterval MovePeriod(TimeInterval period, int64_t steps) {
  for (int64_t i = 0; i < steps; ++i) NextInterval(period);
  for (int64_t i = 0; i > steps; --i) PreviousInterval(period);
  return period;
}

}  // namespace vemra::lists
