#include "lists/chart_series.h"

#include <algorithm>
#include <map>
#include <set>

#include "collections/interfaces.h"
#include "collections/node.h"

namespace vemra::lists {
namespace {

// Whether a listed transaction moved its running balance: the rule of the balances, cleared up
// to today and everything after today.
bool Counted(const TTransaction& t, ADate today) {
  return t.Data.Cleared != 0 || t.Data.Date > today;
}

// The balance of `accounts` before day `begin` from the stored transactions: for each account
// its opening balance plus the balance index's sum, converted at the current rate, added in
// ascending ID order (as the transaction query adds them).
double StoredOpening(Book& book, const std::set<uint64_t>& accounts, uint64_t currency,
                     ADate begin) {
  std::map<uint64_t, double> sums;
  for (uint64_t id : accounts) {
    if (id != 0) sums.emplace(id, 0.0);
  }
  book.AddBalanceSums(sums, begin);
  double opening = 0;
  for (const auto& [id, sum] : sums) {
    const auto* a = dynamic_cast<const TAccount*>(book.FindEntry(id, 0));
    const double initial = a != nullptr ? a->Data.InitialBalance : 0.0;
    const double rate = a != nullptr ? book.GetExRate(a->Data.CurrencyID, currency) : 1.0;
    opening += (initial + sum) * rate;
  }
  return opening;
}

std::vector<TTransaction> Query(Book& book, const std::set<uint64_t>& accounts, uint64_t currency,
                                ADate begin, ADate end) {
  TTransactionFilter filter;
  filter.CurrencyID = currency;
  filter.Begin = begin;
  filter.End = end;
  filter.Accounts = accounts;
  std::vector<TTransaction> rows;
  book.QueryTransactions(rows, filter);
  return rows;
}

// The total the outline shows on a category row (lists::Calculate): its cleared transactions
// and the totals of its sub-categories, which count as cleared.
double Total(const vemra::Node& node) {
  double total = 0;
  for (const auto& child : node.Children) {
    if (child->Type == NodeType::Transaction) {
      if (child->Transaction->Data.Cleared != 0) total += child->Transaction->Amount;
    } else {
      total += Total(*child);
    }
  }
  return total;
}

// Sets the book's period for the life of the guard.
class PeriodGuard {
 public:
  PeriodGuard(Book& book, const TimeInterval& period) : book_(book), saved_(book.Period) {
    book.Period = period;
  }
  ~PeriodGuard() { book_.Period = saved_; }
  PeriodGuard(const PeriodGuard&) = delete;
  PeriodGuard& operator=(const PeriodGuard&) = delete;

 private:
  Book& book_;
  TimeInterval saved_;
};

}  // namespace

std::vector<ADate> BalanceSampleDays(const TimeInterval& period) {
  const int64_t first = period.BeginDate.Val;
  const int64_t last = period.EndDate.Val;
  const int64_t days = last - first + 1;
  const auto limit = static_cast<int64_t>(kMaxBalancePoints);
  std::vector<ADate> out;
  auto add = [&](int64_t day) { out.push_back(ADate(static_cast<int32_t>(day))); };
  if (days <= limit) {
    for (int64_t d = first; d <= last; ++d) add(d);
    return out;
  }
  if ((days + 6) / 7 <= limit) {
    for (int64_t d = first + 6; d < last; d += 7) add(d);
    add(last);
    return out;
  }
  const int32_t year = YearOf(period.BeginDate);
  const int32_t month = MonthOf(period.BeginDate);
  const int64_t months =
      (int64_t{YearOf(period.EndDate)} - year) * 12 + MonthOf(period.EndDate) - month + 1;
  const int64_t step = (months + limit - 1) / limit;
  // Month `m` (0: the first one) ends on day 0 of month m + 1; the last month is cut at the
  // period's end, which comes last anyway.
  for (int64_t m = step - 1; m < months - 1; m += step) {
    add(MakeADate(year, static_cast<int32_t>(month + m + 1), 0).Val);
  }
  add(last);
  return out;
}

std::vector<BalancePoint> BalanceSeries(Book& book, const std::vector<uint64_t>& accounts,
                                        uint64_t currency, const TimeInterval& period) {
  if (currency == 0) currency = book.Currencies().GetDefaultCurrencyID();
  std::set<uint64_t> chosen(accounts.begin(), accounts.end());
  if (accounts.empty()) {
    // The accounts of the sidebar's rows: the tree already leaves out the closed ones (unless
    // the book shows them) and those hidden from the user.
    for (const auto& top : book.Accounts().GetAccountsTree()) {
      if (top->Account) chosen.insert(top->Account->Header.ID);
      for (const auto& child : top->Children) {
        if (child->Account) chosen.insert(child->Account->Header.ID);
      }
    }
  }
  chosen.erase(0);
  if (chosen.empty()) return {};

  const ADate today = TodayADate();
  const ADate tomorrow(today.Val + 1);
  // Up to today a balance is the stored transactions' sum, which the balance index gives in
  // O(accounts x log n) a day. With records hidden from the user every sum would take a pass
  // over the book, so then the whole period is walked instead; the days after today always
  // are, for the scheduled occurrences not yet entered.
  const bool indexed = !book.SomethingHidden();
  const ADate walk_from = indexed ? std::max(period.BeginDate, tomorrow) : period.BeginDate;
  std::vector<TTransaction> rows;
  double balance = 0;
  if (walk_from <= period.EndDate) {
    // The query's rows come in (date, time, split, ID) order, each with the running balance
    // after it; the walk starts from the first row's balance before it.
    rows = Query(book, chosen, currency, walk_from, period.EndDate);
    if (!rows.empty()) {
      const TTransaction& first = rows.front();
      balance = first.Balance - (Counted(first, today) ? first.Amount : 0.0);
    } else {
      balance = StoredOpening(book, chosen, currency, walk_from);
      // Occurrences between tomorrow and the walk's first day are not stored; the running
      // balance of the days before it has them.
      if (walk_from > tomorrow) {
        const std::vector<TTransaction> before =
            Query(book, chosen, currency, tomorrow, ADate(walk_from.Val - 1));
        if (!before.empty()) balance = before.back().Balance;
      }
    }
  } else {
    // No query ran: enter the occurrences that fell due, as the query would have.
    std::vector<TTransaction> ghosts;
    book.ProcessSchedules(today, ghosts);
  }

  std::vector<BalancePoint> series;
  size_t next = 0;
  for (ADate day : BalanceSampleDays(period)) {
    if (day < walk_from) {
      series.push_back({day, StoredOpening(book, chosen, currency, ADate(day.Val + 1))});
      continue;
    }
    while (next < rows.size() && rows[next].Data.Date <= day) balance = rows[next++].Balance;
    series.push_back({day, balance});
  }
  return series;
}

std::vector<CategoryTotal> SpendingByCategory(Book& book, const std::vector<uint64_t>& accounts,
                                              uint64_t currency, const TimeInterval& period) {
  if (currency == 0) currency = book.Currencies().GetDefaultCurrencyID();
  // The engine's tree the outline's rows are made from, without the rows' texts (a third of
  // the cost over a long period); only the top-level names are looked up.
  NodeList headers;
  {
    PeriodGuard guard(book, period);
    headers = book.Transactions().GetTransactionsTree(
        false, GroupBy::Category, currency, std::set<uint64_t>(accounts.begin(), accounts.end()));
  }
  std::vector<CategoryTotal> totals;
  CategoryTotal uncategorised;
  for (const auto& header : headers) {
    if (header->Type != NodeType::ExpenseHeader) continue;
    for (const auto& node : header->Children) {
      if (node->Type == NodeType::Category) {
        CategoryTotal total{node->Category->Header.ID, {}, -Total(*node)};
        book.GetString(node->Category->Data.NameID, total.name);
        totals.push_back(std::move(total));
      } else if (node->Transaction && node->Transaction->Data.Cleared != 0) {
        uncategorised.amount -= node->Transaction->Amount;
      }
    }
  }
  totals.push_back(uncategorised);
  std::erase_if(totals, [](const CategoryTotal& t) { return t.amount == 0; });
  std::stable_sort(
      totals.begin(), totals.end(),
      [](const CategoryTotal& a, const CategoryTotal& b) { return a.amount > b.amount; });
  return totals;
}

}  // namespace vemra::lists
