#include "core/database/transaction_index.h"

#include <algorithm>
#include <tuple>

namespace vemra {
namespace {

// More changes than this between two uses cost more applied one by one (each moves part of an
// array) than one rebuild.
constexpr uint32_t kMaxChangesInPlace = 64;

// The first position in `rows` (index order) dated on or after `d`.
auto FirstOnOrAfter(const std::vector<const TTransaction*>& rows, ADate d) {
  return std::partition_point(rows.begin(), rows.end(),
                              [d](const TTransaction* t) { return t->Data.Date < d; });
}

}  // namespace

bool TransactionIndex::Before(const TTransaction* a, const TTransaction* b) {
  return std::tie(a->Data.Date, a->Data.Time, a->Data.SplitID, a->Header.ID) <
         std::tie(b->Data.Date, b->Data.Time, b->Data.SplitID, b->Header.ID);
}

void TransactionIndex::Clear() {
  rows_ = {};
  accounts_.clear();
  built_ = false;
  changes_ = 0;
}

void TransactionIndex::Build() {
  // Sorting flat keys is several times faster than sorting pointers that compare through them.
  struct Key {
    uint64_t when;  // date, then time
    uint64_t split;
    uint64_t id;
    const TTransaction* t;
  };
  std::vector<Key> keys;
  keys.reserve(rows_.size());
  for (const TTransaction* t : rows_) {
    // The date's sign bit flipped, so that unsigned order is the signed order of dates.
    uint64_t date = static_cast<uint32_t>(t->Data.Date.Val) ^ 0x80000000u;
    keys.push_back({date << 32 | t->Data.Time, t->Data.SplitID, t->Header.ID, t});
  }
  std::sort(keys.begin(), keys.end(), [](const Key& a, const Key& b) {
    return std::tie(a.when, a.split, a.id) < std::tie(b.when, b.split, b.id);
  });
  accounts_.clear();
  for (size_t i = 0; i < keys.size(); ++i) {
    const TTransaction* t = rows_[i] = keys[i].t;
    const uint64_t w = t->Data.WithdrawAccountID, g = t->Data.TargetAccountID;
    if (w != 0) accounts_[w].rows.push_back(t);
    if (g != 0 && g != w) accounts_[g].rows.push_back(t);
  }
  for (auto& [id, a] : accounts_) a.cleared.resize(a.rows.size());
  built_ = true;
  changes_ = 0;
}

void TransactionIndex::Place(std::vector<const TTransaction*>& rows, const TTransaction& t,
                             bool add, size_t* at) {
  auto it = std::lower_bound(rows.begin(), rows.end(), &t, Before);
  if (at != nullptr) *at = static_cast<size_t>(it - rows.begin());
  if (add) {
    rows.insert(it, &t);
  } else if (it != rows.end() && *it == &t) {
    rows.erase(it);
  }
}

void TransactionIndex::Place(const TTransaction& t, bool add) {
  Place(rows_, t, add, nullptr);
  const uint64_t w = t.Data.WithdrawAccountID, g = t.Data.TargetAccountID;
  for (uint64_t id : {w, g == w ? 0 : g}) {
    if (id == 0) continue;
    Account& a = accounts_[id];
    size_t at = 0;
    Place(a.rows, t, add, &at);
    a.cleared.resize(a.rows.size());
    a.valid = std::min(a.valid, at);
  }
}

void TransactionIndex::Note(const TTransaction& t, bool add) {
  if (!built_) return;
  if (++changes_ > kMaxChangesInPlace) {
    Clear();
    return;
  }
  Place(t, add);
}

std::span<const TTransaction* const> TransactionIndex::Range(ADate begin, ADate end) const {
  auto first = FirstOnOrAfter(rows_, begin);
  auto last = end.Val == INT32_MAX ? rows_.end() : FirstOnOrAfter(rows_, ADate(end.Val + 1));
  if (last < first) last = first;
  return {first, last};
}

double TransactionIndex::Balance(uint64_t account, ADate before, ADate today) {
  auto found = accounts_.find(account);
  if (found == accounts_.end()) return 0;
  Account& a = found->second;
  const int64_t tomorrow = int64_t{today.Val} + 1;
  const ADate cut = before.Val < tomorrow ? before : ADate(static_cast<int32_t>(tomorrow));
  const size_t n = static_cast<size_t>(FirstOnOrAfter(a.rows, cut) - a.rows.begin());
  for (; a.valid < n; ++a.valid) {
    double sum = a.valid == 0 ? 0.0 : a.cleared[a.valid - 1];
    const TTransaction& t = *a.rows[a.valid];
    if (t.Data.Cleared != 0) AddEffect(sum, t, account);
    a.cleared[a.valid] = sum;
  }
  double sum = n == 0 ? 0.0 : a.cleared[n - 1];
  // After today every transaction counts, cleared or not.
  for (size_t i = n; i < a.rows.size() && a.rows[i]->Data.Date < before; ++i) {
    AddEffect(sum, *a.rows[i], account);
  }
  return sum;
}

}  // namespace vemra
