// The lists the views show: the transactions of a period with converted amounts and running
// balances, the scheduled transactions with their next dates, and the same for events. Books
// hold up to a million transactions, so the per-transaction work is kept to a few hash look-ups:
// account facts, hidden answers and category-tree answers are cached for the call, copies are
// made only for the rows that are listed, and texts are never loaded (the copies keep their text
// IDs so that a view can read a text when it shows it).
#include <algorithm>
#include <array>
#include <climits>
#include <map>
#include <tuple>
#include <unordered_map>

#include "core/database/database.h"
#include "core/database/visibility.h"
#include "core/records/account.h"
#include "core/records/category.h"
#include "core/records/scheduled_event.h"
#include "core/records/scheduled_transaction.h"

namespace vemra {

namespace {

// Bound of every walk up a parent chain, so that a cyclic chain ends.
constexpr int kMaxChainSteps = 100000;

// The per-user visibility rules, the account facts and the filter tests of one query, with their
// answers cached for the duration of the call.
class QueryContext {
 public:
  QueryContext(DataBase& db, const TTransactionFilter& filter)
      : db_(db), filter_(filter), visibility_(db), all_accounts_(filter.Accounts.empty()) {
    sets_ = {&filter.Categories, &filter.Families, &filter.Payees, &filter.Projects, &filter.Tags};
  }

  // The balances of the chosen accounts before day `begin` in the target currency: for each
  // account in ascending ID order, its initial balance plus its balance sum, converted. An
  // empty account set stands for every account the current user may see.
  double OpeningBalance(ADate begin) {
    std::map<uint64_t, double> sums;
    if (all_accounts_) {
      for (const auto& [id, e] : db_.GetTable(0)) {
        if (e->Header.Type == etAccount && Lookup(id).in_set) sums.emplace(id, 0.0);
      }
    } else {
      for (uint64_t id : filter_.Accounts) {
        if (id != 0) sums.emplace(id, 0.0);  // 0 names no account
      }
    }
    db_.AddBalanceSums(sums, begin);
    double opening = 0;
    for (const auto& [id, sum] : sums) {
      const Account& a = Lookup(id);
      const double initial = a.record != nullptr ? a.record->Data.InitialBalance : 0.0;
      opening += (initial + sum) * a.rate;
    }
    return opening;
  }

  bool InSet(uint64_t account) { return account != 0 && Lookup(account).in_set; }

  // The transaction's effect on the chosen accounts, in the target currency.
  double AmountOf(const TTransaction& t) {
    double amount = 0;
    if (uint64_t w = t.Data.WithdrawAccountID; w != 0) {
      const Account& a = Lookup(w);
      if (a.in_set) amount -= t.Data.WithdrawAmount * a.rate;
    }
    if (uint64_t g = t.Data.TargetAccountID; g != 0) {
      const Account& a = Lookup(g);
      if (a.in_set) amount += t.Data.TargetAmount * a.rate;
    }
    return amount;
  }

  // Whether the logged-in user may not see `t` or `e` (the one visibility rule).
  bool Hidden(const TTransaction& t) { return visibility_.Hidden(t); }
  bool Hidden(const TEvent& e) { return visibility_.Hidden(e); }

  // The filters applied after the balances: star mark, cleared state, account set, the four
  // category trees and the tag tree.
  bool Passes(const TTransaction& t) {
    if (filter_.CustomCheckBox && t.Data.CustomCheckBox != *filter_.CustomCheckBox) return false;
    if (filter_.Cleared && t.Data.Cleared != *filter_.Cleared) return false;
    if (!InSet(t.Data.WithdrawAccountID) && !InSet(t.Data.TargetAccountID)) return false;
    const TCategories& c = t.Categories;
    for (auto [which, id] : {std::pair{0, c.CategoryID}, std::pair{1, c.FamilyID},
                             std::pair{2, c.PayeeID}, std::pair{3, c.ProjectID}}) {
      if (!sets_[which]->empty() && !InTree(which, id)) return false;
    }
    return TagsPass(t.IsGhost ? t.ScheduleID : t.Header.ID);
  }

  // True when the tag filter is empty or one of the tags of record `owner` lies in its tree.
  bool TagsPass(uint64_t owner) {
    if (filter_.Tags.empty()) return true;
    std::vector<const TBaseEntry*> links;
    db_.CollectChildren(owner, etTag, links);
    return std::any_of(links.begin(), links.end(), [&](const TBaseEntry* link) {
      return InTree(4, static_cast<const TTag&>(*link).Data.TagID);
    });
  }

 private:
  struct Account {
    const TAccount* record = nullptr;
    double rate = 1.0;  // account currency -> target currency
    bool hidden = false;
    bool in_set = false;
  };

  const Account& Lookup(uint64_t id) {
    auto [it, fresh] = accounts_.try_emplace(id);
    if (fresh) {
      Account& a = it->second;
      const TBaseEntry* e = db_.FindEntry(id, 0);
      if (e != nullptr && e->Header.Type == etAccount) {
        a.record = static_cast<const TAccount*>(e);
        a.rate = db_.GetExRate(a.record->Data.CurrencyID, filter_.CurrencyID);
        a.hidden = visibility_.AccountHidden(id);
      }
      a.in_set = all_accounts_ ? a.record != nullptr && !a.hidden : filter_.Accounts.count(id) != 0;
    }
    return it->second;
  }

  // True when `id` lies in the tree under an entry of filter set `which`: walking up through
  // the parents meets an entry, or the chain ends at the fixed root 2 or 3 and the set holds 4.
  bool InTree(int which, uint64_t id) {
    const std::set<uint64_t>& set = *sets_[which];
    auto [it, fresh] = in_tree_[which].try_emplace(id, false);
    if (!fresh) return it->second;
    uint64_t current = id;
    for (int step = 0; step < kMaxChainSteps; ++step) {
      if (set.count(current) != 0) {
        it->second = true;
        break;
      }
      const TBaseEntry* e = db_.FindEntry(current, 0);
      if (e == nullptr || e->Header.Type != etCategory) {
        it->second = (current == 2 || current == 3) && set.count(4) != 0;
        break;
      }
      current = static_cast<const TCategory*>(e)->Data.RootID;
    }
    return it->second;
  }

  DataBase& db_;
  const TTransactionFilter& filter_;
  Visibility visibility_;
  const bool all_accounts_;
  std::array<const std::set<uint64_t>*, 5> sets_{};
  std::unordered_map<uint64_t, Account> accounts_;
  std::array<std::unordered_map<uint64_t, bool>, 5> in_tree_;
};

// One candidate of QueryTransactions: the sort key, the record it came from and what the walk
// computes for it. Sorting these instead of whole records keeps the sort cheap.
struct Row {
  ADate date;
  uint32_t time;
  uint64_t split;
  uint64_t id;
  const TTransaction* t;
  double amount;
  double balance;
  bool keep;
};

bool RowBefore(const Row& a, const Row& b) {
  return std::tie(a.date, a.time, a.split, a.id) < std::tie(b.date, b.time, b.split, b.id);
}

// The far date used when looking for a schedule's next occurrence without a horizon.
constexpr ADate kNoLimit(INT32_MAX);

}  // namespace

TransactionIndex& DataBase::BuiltTransactionIndex() {
  transaction_index_.Ensure([&](auto&& add) {
    for (const auto& [id, e] : tables_[1]) {
      if (e->Header.Type == etTransaction) add(static_cast<const TTransaction&>(*e));
    }
  });
  return transaction_index_;
}

std::span<const TTransaction* const> DataBase::TransactionsByDate(ADate begin, ADate end) {
  return BuiltTransactionIndex().Range(begin, end);
}

void DataBase::AddBalanceSums(std::map<uint64_t, double>& sums, ADate before) {
  if (sums.empty()) return;
  const ADate today = TodayADate();
  TransactionIndex& index = BuiltTransactionIndex();
  if (use_balance_index_ && !SomethingHidden()) {
    for (auto& [id, sum] : sums) sum += index.Balance(id, before, today);
    return;
  }
  // The same sums, one pass in index order, leaving out what the user may not see.
  Visibility visibility(*this);
  for (const TTransaction* t : index.All()) {
    if (t->Data.Date >= before) break;
    if ((t->Data.Cleared == 0 && t->Data.Date <= today) || visibility.Hidden(*t)) continue;
    const uint64_t w = t->Data.WithdrawAccountID, g = t->Data.TargetAccountID;
    for (uint64_t id : {w, g == w ? 0 : g}) {
      auto sum = id != 0 ? sums.find(id) : sums.end();  // 0 names no account
      if (sum != sums.end()) TransactionIndex::AddEffect(sum->second, *t, id);
    }
  }
}

size_t DataBase::QueryTransactions(std::vector<TTransaction>& out,
                                   const TTransactionFilter& filter) {
  out.clear();
  ADate begin = filter.Begin;
  ADate end = filter.End;
  if (end < begin) std::swap(begin, end);
  const ADate today = TodayADate();
  std::vector<TTransaction> ghosts;
  ProcessSchedules(end, ghosts);

  QueryContext q(*this, filter);
  double opening = filter.LoanMode ? 0.0 : q.OpeningBalance(begin);
  std::vector<Row> rows;
  auto consider = [&](const TTransaction& t) {
    if (filter.LoanMode) {
      if (t.Data.LoanID != 0 && !q.Hidden(t)) {
        rows.push_back({t.Data.Date, t.Data.Time, t.Data.SplitID, t.Header.ID, &t, 0, 0, true});
      }
      return;
    }
    if (t.Data.Date > end || q.Hidden(t)) return;
    double amount = q.AmountOf(t);
    if (t.Data.Date < begin) {
      // Only occurrences not yet entered come here (the opening balance holds the stored
      // transactions); they lie after today, so they count.
      opening += amount;
      return;
    }
    // A transaction of none of the chosen accounts changes no balance and is never listed;
    // only an untimed one must stay for the per-day numbering of untimed transactions.
    if (t.Data.Time != 0 && !q.InSet(t.Data.WithdrawAccountID) &&
        !q.InSet(t.Data.TargetAccountID)) {
      return;
    }
    rows.push_back({t.Data.Date, t.Data.Time, t.Data.SplitID, t.Header.ID, &t, amount, 0, false});
  };
  if (filter.LoanMode) {
    for (const auto& [id, e] : tables_[1]) {
      if (e->Header.Type == etTransaction) consider(static_cast<const TTransaction&>(*e));
    }
  } else {
    for (const TTransaction* t : TransactionsByDate(begin, end)) consider(*t);
  }
  // The stored transactions came in index order; the occurrences are sorted the same way and
  // merged in.
  std::sort(ghosts.begin(), ghosts.end(), [](const TTransaction& a, const TTransaction& b) {
    return TransactionIndex::Before(&a, &b);
  });
  const size_t stored = rows.size();
  for (const TTransaction& g : ghosts) consider(g);
  if (filter.LoanMode) {
    std::sort(rows.begin(), rows.end(), RowBefore);
  } else {
    std::inplace_merge(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(stored), rows.end(),
                       RowBefore);
  }

  size_t kept = 0;
  if (filter.LoanMode) {
    kept = rows.size();
  } else {
    double running = opening;
    uint32_t untimed = 0;
    for (size_t i = 0; i < rows.size(); ++i) {
      Row& r = rows[i];
      if (i == 0 || r.date != rows[i - 1].date) untimed = 0;
      if (r.time == 0) r.time = untimed++;
      if (r.t->Data.Cleared != 0 || r.date > today) running += r.amount;
      r.balance = running;
      r.keep = q.Passes(*r.t);
      kept += r.keep;
    }
  }
  out.reserve(kept);
  for (const Row& r : rows) {
    if (!r.keep) continue;
    TTransaction& copy = out.emplace_back(*r.t);
    copy.Data.Time = r.time;
    copy.Amount = r.amount;
    copy.Balance = r.balance;
  }
  return out.size();
}

size_t DataBase::QueryScheduledTransactions(std::vector<TTransaction>& out,
                                            const TTransactionFilter& filter) {
  out.clear();
  std::vector<TTransaction> none;
  ProcessSchedules(TodayADate(), none);
  QueryContext q(*this, filter);
  std::vector<const TScheduledTransaction*> rows;
  for (const auto& [id, e] : tables_[0]) {
    if (e->Header.Type != etScheduledTransaction) continue;
    const auto& s = static_cast<const TScheduledTransaction&>(*e);
    if (!q.Hidden(s) && q.Passes(s)) rows.push_back(&s);
  }
  out.reserve(rows.size());
  for (const TScheduledTransaction* row : rows) {
    const TScheduledTransaction& s = *row;
    TSchedule schedule = s.Schedule;
    std::vector<ADate> unused;
    ADate next = ExpandSchedule(schedule, kNoLimit, unused, unused, true);
    TTransaction& copy = out.emplace_back();
    s.CopyToTransaction(copy, true);
    copy.Header.ID = s.Header.ID;
    copy.Header.LastModDate = s.Header.LastModDate;
    copy.Data.Date = next;
    copy.Amount = q.AmountOf(s);
  }
  return out.size();
}

size_t DataBase::QueryEvents(std::vector<TEvent>& out, ADate begin, ADate end,
                             const std::set<uint64_t>& tags) {
  out.clear();
  if (end < begin) std::swap(begin, end);
  std::vector<TEvent> ghosts;
  ProcessScheduledEvents(end, ghosts);
  TTransactionFilter filter;
  filter.Tags = tags;
  QueryContext q(*this, filter);
  std::vector<const TEvent*> rows;
  auto consider = [&](const TEvent& e) {
    TimeInterval span(e.Data.FirstDate, e.Data.SecondDate);
    if (!span.Overlaps(begin, end) || q.Hidden(e)) return;
    if (!q.TagsPass(e.IsGhost ? e.ScheduleID : e.Header.ID)) return;
    rows.push_back(&e);
  };
  for (const auto& [id, e] : tables_[2]) {
    if (e->Header.Type == etEvent) consider(static_cast<const TEvent&>(*e));
  }
  for (const TEvent& g : ghosts) consider(g);
  std::sort(rows.begin(), rows.end(), [](const TEvent* a, const TEvent* b) {
    return std::tie(a->Data.FirstDate, a->Data.SecondDate, a->Header.ID) <
           std::tie(b->Data.FirstDate, b->Data.SecondDate, b->Header.ID);
  });
  out.reserve(rows.size());
  for (const TEvent* e : rows) out.push_back(*e);
  return out.size();
}

size_t DataBase::QueryScheduledEvents(std::vector<TScheduledEvent>& out) {
  out.clear();
  std::vector<TEvent> none;
  ProcessScheduledEvents(TodayADate(), none);
  const TTransactionFilter no_filter;
  QueryContext q(*this, no_filter);
  std::vector<const TScheduledEvent*> rows;
  for (const auto& [id, e] : tables_[0]) {
    if (e->Header.Type != etScheduledEvent) continue;
    const auto& s = static_cast<const TScheduledEvent&>(*e);
    if (!q.Hidden(s)) rows.push_back(&s);
  }
  out.reserve(rows.size());
  for (const TScheduledEvent* row : rows) {
    const TScheduledEvent& s = *row;
    TSchedule schedule = s.Schedule;
    std::vector<ADate> unused;
    ADate next = ExpandSchedule(schedule, kNoLimit, unused, unused, true);
    TScheduledEvent& copy = out.emplace_back(s);
    int32_t span = s.Data.SecondDate.Val - s.Data.FirstDate.Val;
    copy.Data.FirstDate = next;
    copy.Data.SecondDate =
        next.Val == 0
            ? next
            : ADate(static_cast<int32_t>(std::min<int64_t>(int64_t{next.Val} + span, INT32_MAX)));
  }
  return out.size();
}

}  // namespace vemra
