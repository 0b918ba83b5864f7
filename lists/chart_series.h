// The series of the charts pane, computed from the same transaction tree the outline shows so
// that a chart always adds up as the outline and the sidebar do: the balance of the chosen
// accounts at the end of each day of the period (the outline's running balance), and the
// period's spending per top-level category (the outline's Expenses totals when grouped by
// category, cleared transactions only). No drawing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "collections/book.h"
#include "core/records/dates.h"

namespace vemra::lists {

struct BalancePoint {
  ADate date;
  double balance = 0;  // at the end of `date`, in the list currency
};

struct CategoryTotal {
  uint64_t categoryID = 0;  // 0: transactions without a category
  std::wstring name;        // empty for transactions without a category
  double amount = 0;        // spent, positive
};

// The longest a balance series gets: longer periods take one point per step of several days
// (the balance at the end of each step), and always the period's last day.
inline constexpr size_t kMaxBalancePoints = 400;

// The balance of `accounts` (empty: every account the outline shows) in `currency` (0: the
// default) at the end of each day of the book's period: before the period's first transaction
// the balance it started from, then the running balance of each day's last row. Empty when the
// period has no transactions. Use on the document's queue.
std::vector<BalancePoint> BalanceSeries(Book& book, const std::vector<uint64_t>& accounts,
                                        uint64_t currency);

// What the expenses of the book's period of `accounts` add up to per top-level category, in
// `currency`, largest first; categories whose total is not a spending are left out. Use on the
// document's queue.
std::vector<CategoryTotal> SpendingByCategory(Book& book, const std::vector<uint64_t>& accounts,
                                              uint64_t currency);

}  // namespace vemra::lists
