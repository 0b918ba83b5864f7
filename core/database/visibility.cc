#include "core/database/visibility.h"

#include "core/records/acc_group.h"
#include "core/records/account.h"
#include "core/records/category.h"

namespace vemra {

namespace {

// Bound of every walk up a parent chain, so that a cyclic chain ends.
constexpr int kMaxChainSteps = 100000;

}  // namespace

bool Visibility::Hidden(const TTransaction& t) {
  if (user_ == 0) return false;
  if (MarkedHidden(t.Header)) return true;
  if (uint64_t s = t.Data.SplitID; s != 0) {
    auto [it, fresh] = splits_.try_emplace(s, false);
    if (fresh) {
      const TBaseEntry* split = db_.FindEntry(s, 0);
      it->second = split != nullptr && split->Header.Type == etSplit && MarkedHidden(split->Header);
    }
    if (it->second) return true;
  }
  const uint64_t w = t.Data.WithdrawAccountID;
  const uint64_t g = t.Data.TargetAccountID;
  const bool hw = w != 0 && AccountHidden(w);
  const bool hg = g != 0 && AccountHidden(g);
  // One hidden side of a transfer is not enough: the other side's owner still sees the money
  // leave or arrive.
  if (w != 0 && g != 0 ? hw && hg : hw || hg) return true;
  return CategoriesHidden(t.Categories);
}

bool Visibility::Hidden(const TEvent& e) {
  if (user_ == 0) return false;
  return MarkedHidden(e.Header) || CategoriesHidden(e.Categories);
}

bool Visibility::AccountHidden(uint64_t id) {
  if (user_ == 0 || id == 0) return false;
  auto [it, fresh] = accounts_.try_emplace(id, false);
  if (!fresh) return it->second;
  const TBaseEntry* e = db_.FindEntry(id, 0);
  if (e == nullptr || e->Header.Type != etAccount) return false;
  if (MarkedHidden(e->Header)) return it->second = true;
  const TBaseEntry* group = db_.FindEntry(static_cast<const TAccount*>(e)->Data.GroupID, 0);
  it->second = group != nullptr && group->Header.Type == etAccGroup && MarkedHidden(group->Header);
  return it->second;
}

bool Visibility::CategoryHidden(uint64_t id) {
  if (id == 0 || user_ == 0) return false;
  auto [it, fresh] = categories_.try_emplace(id, false);
  if (!fresh) return it->second;
  uint64_t current = id;
  for (int step = 0; step < kMaxChainSteps; ++step) {
    const TBaseEntry* e = db_.FindEntry(current, 0);
    if (e == nullptr || e->Header.Type != etCategory) break;
    if (MarkedHidden(e->Header)) {
      it->second = true;
      break;
    }
    current = static_cast<const TCategory*>(e)->Data.RootID;
  }
  return it->second;
}

}  // namespace vemra
