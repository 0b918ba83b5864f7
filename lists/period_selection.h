// The periods of the interval menu ("Day", "Week", "Month", "Quarter", "Year", "All",
// "Custom") as pure functions of today, the first day of the week and the book's transaction
// dates, and the steps of the period control.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "core/database/database.h"
#include "core/records/dates.h"
#include "document/document.h"

namespace vemra::lists {

enum class PeriodKind { Day, Week, Month, Quarter, Year, All, Custom };

// The kind named `name` ("day", "week", "month", "quarter", "year", "all", "custom"); none for
// any other name.
std::optional<PeriodKind> PeriodKindNamed(std::string_view name);

// The first day of the week (Monday 0 … Sunday 6) the header byte `option0` stands for: a
// value outside 0..6, negative ones too, means Monday.
int32_t FirstWeekday(int8_t option0);

// The period of menu entry `kind` on day `today`: the day; the week from the latest day on or
// before today that is `first_weekday`, seven days; the calendar month, quarter or year; for
// All, the earlier of today and `first_transaction` to the later of today and
// `last_transaction` (pass today for both when the book has no transactions). Custom gives
// today – today; a custom period is made from its two dates (TimeInterval puts them in order).
TimeInterval PeriodOf(PeriodKind kind, ADate today, int32_t first_weekday, ADate first_transaction,
                      ADate last_transaction);

// The dates of the first and the last transaction of `book` (today for both when it has
// none). Use on the document's queue.
void TransactionSpan(DataBase& book, ADate today, ADate& first, ADate& last);

// `period` moved by `steps` single steps of the period control (NextInterval forward,
// PreviousInterval back when negative).
TimeInterval MovePeriod(TimeInterval period, int64_t steps);

// The period control's "update": makes `period` the book's period (not undoable, not
// journalled; the book is marked changed) and returns the control's label in `language`. The
// caller reloads the transaction list.
std::string SetPeriod(Document& document, const TimeInterval& period, std::string_view language);

// The view option "Closed/hidden accounts": sets the book's flag (not undoable, not
// journalled; the book is marked changed) and posts the update-data notification so that both
// lists reload. Returns the value set.
bool SetShowHiddenAccounts(Document& document, bool show);

}  // namespace vemra::lists
