// The undo history of DataBase: steps of displaced record versions, undone and redone by
// exchanging the versions in the tables with those the step holds.
#include "core/database/database.h"

namespace vemra {

void DataBase::DiscardStepsFrom(uint32_t first) {
  undo_history_.erase(undo_history_.lower_bound(first), undo_history_.end());
}

void DataBase::BeginUndoStep(uint32_t kind) {
  uint32_t n = undo_index_ + 1;
  DiscardStepsFrom(n);
  undo_index_ = n;
  undo_history_[n].Kind = kind;
}

void DataBase::DropUndoStep() {
  auto it = undo_history_.find(undo_index_);
  if (it == undo_history_.end()) return;
  undo_history_.erase(it);
  --undo_index_;
}

void DataBase::Undo() {
  // Step 0 holds changes made outside any user action: there is nothing to undo below step 1.
  if (undo_index_ == 0) return;
  Modified = true;
  auto it = undo_history_.find(undo_index_);
  if (it == undo_history_.end()) return;
  std::vector<std::unique_ptr<TBaseEntry>> replaced = std::move(it->second.Replaced);
  std::vector<std::pair<uint32_t, uint64_t>> added = std::move(it->second.Added);
  it->second.Replaced.clear();
  it->second.Added.clear();

  // Records the step added go away like a user deletion, so they reach the journal and leave
  // markers; DeleteEntry puts them into this same step for the redo.
  for (const auto& [table, id] : added) DeleteEntry(table, id);

  for (std::unique_ptr<TBaseEntry>& r : replaced) {
    uint64_t stamp = ModStamp();
    if (auto marker = deleted_headers_.find(r->Header.ID); marker != deleted_headers_.end()) {
      stamp = std::max(marker->second.LastModDate + 1, stamp);
      deleted_headers_.erase(marker);
    }
    uint32_t table_index = r->GetTableIndex();
    uint64_t id = r->Header.ID;
    uint32_t type = r->Header.Type;
    Table& table = tables_[table_index];
    auto held = table.find(id);
    if (held != table.end()) {
      // The restored version must be newer than every version it displaces.
      r->Header.LastModDate = std::max(held->second->Header.LastModDate + 1, stamp);
      it->second.Replaced.push_back(Exchange(held->second, std::move(r)));
    } else {
      r->Header.LastModDate = stamp;
      Insert(std::move(r));
      it->second.Added.emplace_back(table_index, id);
    }
    sync_journal_.push_back({id, 0, type});
  }
  sort_order_cache_.clear();
  --undo_index_;
}

void DataBase::Redo() {
  if (undo_history_.find(undo_index_ + 1) == undo_history_.end()) return;
  ++undo_index_;
  Undo();
  ++undo_index_;
}

}  // namespace vemra
