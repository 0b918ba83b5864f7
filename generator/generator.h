// The demo-book generator: a realistic household book of any size, the same for a given seed on
// a given day. It is the demo book of scripts/run.sh and the input of the benchmarks.
#pragma once

#include <cstdint>

#include "core/database/database.h"
#include "core/records/dates.h"

namespace vemra {

// Fills the empty database `db` with a book whose last day is `today` and loads it (Loaded set,
// no user, a fresh DatabaseID, the default captions of the custom fields):
// - five currencies (USD the default) with quarterly exchange rates against USD;
// - account groups and eight accounts in four currencies, one of them closed (not visible);
// - a two-level category tree (fixed root 4), a two-level payee tree (fixed root 7) and five
//   tag categories under fixed root 6, whose IDs are the tag values of tagged transactions;
// - exactly `transactions` transactions spread over the last two to ten years up to a month
//   after today: mostly expenses, some incomes, transfers within and across currencies, a few
//   splits, uncleared ones in the last days and future-dated ones;
// - eight scheduled transactions whose next occurrence lies after today, and deletion markers
//   of about one transaction in a thousand (at least one when there are any).
// Every ID, stamp and value follows from `seed` and `today`: the process clock is pinned to
// noon of `today` while the book is made and returned to its previous state on return. Leaves no
// undo history. A million transactions take a few seconds in an optimised build.
void GenerateBook(DataBase& db, uint64_t transactions, uint64_t seed, ADate today = TodayADate());

}  // namespace vemra
