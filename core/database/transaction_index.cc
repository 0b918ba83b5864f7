#include "core/database/transaction_index.h"

#include <algorithm>
#include <thread>
#include <tuple>

namespace vemra {
namespace {

// More changes than this between two uses cost more applied one by one (each moves part of an
// array) than one rebuild.
constexpr uint32_t kMaxChangesInPlace = 64;
// From this many transactions a second thread sorts half of the keys (low enough that the
// tests run both ways).
constexpr size_t kParallelSort = 1024;

// The first position in `rows` (index order) dated on or after `d`.
template <class Rows>
auto FirstOnOrAfter(const Rows& rows, ADate d) {
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
  keys_ = {};
  gathering_ = true;
  built_ = false;
  changes_ = 0;
}

TransactionIndex::Key TransactionIndex::KeyOf(const TTransaction& t) {
  const uint64_t date = static_cast<uint32_t>(t.Data.Date.Val) ^ 0x80000000u;
  return {date << 32 | t.Data.Time, t.Data.SplitID,        t.Header.ID, &t,
          t.Data.WithdrawAccountID, t.Data.TargetAccountID};
}

void TransactionIndex::Build() {
  // Sorting flat keys is several times faster than sorting pointers that compare through them.
  // A large index sorts its two halves on two threads; the pass below merges them as it goes.
  auto before = [](const Key& a, const Key& b) {
    return std::tie(a.when, a.split, a.id) < std::tie(b.when, b.split, b.id);
  };
  const auto begin = keys_.begin(), end = keys_.end();
  auto middle =
      keys_.size() < kParallelSort ? end : begin + static_cast<std::ptrdiff_t>(keys_.size() / 2);
  {
    std::thread half;
    if (middle != end) half = std::thread([&] { std::sort(middle, end, before); });
    std::sort(begin, middle, before);
    if (half.joinable()) half.join();
  }
  accounts_.clear();
  Account* last = nullptr;  // transactions of one account often follow each other
  uint64_t last_id = 0;
  auto account = [&](uint64_t id) -> Account& {
    if (last == nullptr || id != last_id) {
      last = &accounts_[id];
      last_id = id;
    }
    return *last;
  };
  // Count first, so that every array is made once at its size.
  std::unordered_map<const Account*, size_t> counts;
  for (const Key& k : keys_) {
    if (k.withdraw != 0) ++counts[&account(k.withdraw)];
    if (k.target != 0 && k.target != k.withdraw) ++counts[&account(k.target)];
  }
  for (auto& [id, a] : accounts_) a.rows.reserve(counts[&a]);
  rows_.resize(keys_.size());
  auto left = begin, right = middle;
  for (size_t i = 0; i < keys_.size(); ++i) {
    const Key& k = right == end || (left != middle && !before(*right, *left)) ? *left++ : *right++;
    rows_[i] = k.t;
    if (k.withdraw != 0) account(k.withdraw).rows.push_back(k.t);
    if (k.target != 0 && k.target != k.withdraw) account(k.target).rows.push_back(k.t);
  }
  for (auto& [id, a] : accounts_) a.cleared.resize(a.rows.size());
  keys_ = {};
  gathering_ = false;
  built_ = true;
  changes_ = 0;
}

void TransactionIndex::Place(LargeVector<const TTransaction*>& rows, const TTransaction& t,
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
  if (!built_) {
    if (!gathering_) return;
    if (add) {
      keys_.push_back(KeyOf(t));
    } else {
      keys_ = {};
      gathering_ = false;
    }
    return;
  }
  if (++changes_ > kMaxChangesInPlace) {
    Clear();
    gathering_ = false;
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
