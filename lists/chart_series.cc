#include "lists/chart_series.h"

#include <algorithm>

#include "collections/interfaces.h"
#include "collections/node.h"
#include "lists/transaction_list.h"

namespace vemra::lists {

std::vector<BalancePoint> BalanceSeries(Book& book, const std::vector<uint64_t>& accounts,
                                        uint64_t currency) {
  const TimeInterval period = book.Period;
  std::shared_ptr<Node> root =
      TransactionList::BuildRoot(book, true, GroupBy::Split, currency, accounts);
  // Each day header's last row carries the running balance at the end of that day.
  std::vector<BalancePoint> days;
  double opening = 0;
  for (const auto& day : root->AllNodes) {
    if (day->Type != NodeType::DateHeader || day->AllNodes.empty()) continue;
    if (day->Date < period.BeginDate || day->Date > period.EndDate) continue;
    if (days.empty()) {
      const Node& first = *day->AllNodes.front();
      // The running balance counts cleared rows only (as the sidebar's balances do).
      opening = first.Balance - (first.Cleared ? first.Amount : 0);
    }
    days.push_back({day->Date, day->AllNodes.back()->Balance});
  }
  if (days.empty()) return {};

  const int64_t span = period.EndDate.Val - period.BeginDate.Val + 1;
  const int64_t step = std::max<int64_t>(1, (span + kMaxBalancePoints - 1) / kMaxBalancePoints);
  std::vector<BalancePoint> series;
  size_t next = 0;
  double balance = opening;
  for (int64_t d = period.BeginDate.Val; d <= period.EndDate.Val; ++d) {
    while (next < days.size() && days[next].date.Val <= d) balance = days[next++].balance;
    const bool last = d == period.EndDate.Val;
    if ((d - period.BeginDate.Val + 1) % step == 0 || last) {
      series.push_back({ADate(static_cast<int32_t>(d)), balance});
    }
  }
  return series;
}

std::vector<CategoryTotal> SpendingByCategory(Book& book, const std::vector<uint64_t>& accounts,
                                              uint64_t currency) {
  std::shared_ptr<Node> root =
      TransactionList::BuildRoot(book, false, GroupBy::Category, currency, accounts);
  FilterNodes(*root, L"");  // totals over every row, as the outline shows them unfiltered
  std::vector<CategoryTotal> totals;
  CategoryTotal uncategorised;
  for (const auto& header : root->FilteredNodes) {
    if (header->Type != NodeType::ExpenseHeader) continue;
    for (const auto& row : header->FilteredNodes) {
      if (row->Type == NodeType::Category) {
        totals.push_back({row->ID, row->Name, -row->Amount});
      } else if (row->Cleared) {
        uncategorised.amount -= row->Amount;
      }
    }
  }
  if (uncategorised.amount != 0) totals.push_back(uncategorised);
  std::erase_if(totals, [](const CategoryTotal& t) { return t.amount <= 0; });
  std::stable_sort(
      totals.begin(), totals.end(),
      [](const CategoryTotal& a, const CategoryTotal& b) { return a.amount > b.amount; });
  return totals;
}

}  // namespace vemra::lists
