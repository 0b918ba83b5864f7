// The series of the charts pane, computed so that a chart adds up exactly as the sidebar and
// the outline do: the balance of the chosen accounts at the end of each day of a period (the
// running balance of the outline, which at the end of today is the sidebar's balance), and the
// period's spending per top-level category (the outline's totals under the Expenses header when
// grouped by category). No drawing.
//
// Threads: every function reads the book and must run on the document's queue.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "collections/book.h"
#include "core/records/dates.h"

namespace vemra::lists {

struct BalancePoint {
  ADate date;
  double balance = 0;  // at the end of `date`, in the series' currency
};

struct CategoryTotal {
  uint64_t categoryID = 0;  // 0: the expenses without a category
  std::wstring name;        // the category's name; empty for the expenses without one
  double amount = 0;        // spent: positive; a net refund is negative
};

// The most points a balance series has.
inline constexpr size_t kMaxBalancePoints = 400;

// The days a balance series of `period` has a point for, ascending, always ending with the
// period's last day: every day while that makes at most kMaxBalancePoints points; else every
// seventh day counted from the first (weeks); else the last day of every n-th calendar month,
// n the smallest that fits. A point of a week or month is the balance at the end of its last
// day, so every series ends on the balance of the period's last day.
std::vector<ADate> BalanceSampleDays(const TimeInterval& period);

// The balance of `accounts` in `currency` (0: the default currency) at the end of each day of
// BalanceSampleDays(period). An empty `accounts` stands for the accounts the sidebar shows
// (closed ones only while the book shows them), so that the point of today is the sidebar's
// overall balance. Balances follow the sidebar's rule: the cleared transactions count up to
// today, every transaction after today counts (scheduled occurrences included), amounts are
// converted at the book's current exchange rates. A period without transactions gives a flat
// line; empty only when there is no account to follow. Cost: the balance index's sums for the
// points up to today, O(points x accounts x log n), and one pass over the period's days after
// today; when records are hidden from the user, one pass over the whole period instead.
std::vector<BalancePoint> BalanceSeries(Book& book, const std::vector<uint64_t>& accounts,
                                        uint64_t currency, const TimeInterval& period);

// The expenses of `accounts` (empty: all, as the outline lists them) in `period` per top-level
// category, in `currency` (0: the default), largest spending first: the totals of the
// category rows under the Expenses header of the outline grouped by category (the engine's
// tree TransactionList::BuildRoot makes its rows from; cleared transactions only), plus one
// entry (ID 0) for the expenses without a category. Zero totals are left out, net refunds
// kept, so the amounts add up to minus the header's total. The book's Period is set to
// `period` while the tree is built and restored afterwards.
std::vector<CategoryTotal> SpendingByCategory(Book& book, const std::vector<uint64_t>& accounts,
                                              uint64_t currency, const TimeInterval& period);

}  // namespace vemra::lists
