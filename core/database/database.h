// DataBase: the in-memory form of one open database file. It owns every record in seven tables
// keyed by record ID, the deletion markers of deleted records, the undo history and the change
// journal that sync parts are written from. Everything above it changes records only through
// StoreEntry, DeleteEntry and SetString, which keep stamps, markers, undo steps and the journal
// consistent. Not thread-safe: a document calls it from its one serial work queue.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "core/database/db_header.h"
#include "core/records/base_entry.h"
#include "core/records/user.h"

namespace vemra {

constexpr uint32_t kTableCount = 7;

// One change noted for the next sync part.
struct TAutomaticSyncItem {
  uint64_t ID = 0;
  uint8_t Action = 0;  // 0 stored (added or replaced), 1 deleted
  uint32_t Type = 0;
  friend bool operator==(const TAutomaticSyncItem&, const TAutomaticSyncItem&) = default;
};

// One undo step: the versions it displaced and the records it added.
struct TUndoHistoryItem {
  uint32_t Kind = 0;  // 1 import, 2 add, 3 edit, 4 delete, 5 reconciliation; 0 implicit
  std::vector<std::unique_ptr<TBaseEntry>> Replaced;  // in the order of the changes
  std::vector<std::pair<uint32_t, uint64_t>> Added;   // (table, ID)
};

class DataBase : public TCoreDB {
 public:
  using Table = std::map<uint64_t, std::unique_ptr<TBaseEntry>>;

  DataBase();
  ~DataBase() override;
  DataBase(const DataBase&) = delete;
  DataBase& operator=(const DataBase&) = delete;

  // --- Records ---

  // Returns a new record ID, above every ID handed out or read before: the clock's stamp plus a
  // little noise, or, when the clock is behind, 3000 to 9999 above the last ID.
  uint64_t NewID();
  // Returns record `id` of `table` (owned by the database), or null; no visibility check.
  const TBaseEntry* FindEntry(uint64_t id, uint32_t table) override;
  // Appends, in ID order, the records of `table` of `type` that the current user may see.
  // Returns false, listing nothing, before a user was chosen unless `table` is the user table.
  bool ListEntries(uint32_t type, uint32_t table, std::vector<const TBaseEntry*>& out);
  // Adds `entry` (ID 0: a new ID) or replaces the record with its ID, stamping it with `stamp`
  // (never lower than the stamp it replaces), storing its texts and links, and noting the
  // change in the current undo step and the journal. Takes ownership in every case; returns the
  // record's ID, or 0 when refused (another user's read-only record, or a change of type), in
  // which case the record is destroyed.
  uint64_t StoreEntry(std::unique_ptr<TBaseEntry> entry, uint64_t stamp);
  uint64_t StoreEntry(std::unique_ptr<TBaseEntry> entry) {
    return StoreEntry(std::move(entry), ModStamp());
  }
  // Deletes record `id` of `table`, leaving a deletion marker; the current undo step keeps the
  // record. Returns false for ID 0, an absent record or another user's read-only record.
  bool DeleteEntry(uint32_t table, uint64_t id) override;
  // Returns a copy of record `id` of `table` with its texts loaded, or null.
  std::unique_ptr<TBaseEntry> GetEntry(uint64_t id, uint32_t table);

  // --- Texts and link records (the services records call) ---

  uint64_t SetString(uint64_t id, const std::wstring& text) override;
  bool GetString(uint64_t id, std::wstring& text) override;
  bool CollectChildren(uint64_t parent_id, uint32_t type,
                       std::vector<const TBaseEntry*>& out) override;
  void ReplaceChildren(uint64_t parent_id, uint32_t type,
                       std::vector<std::unique_ptr<TBaseEntry>>& links) override;
  void GetSortOrder(uint64_t item_id, uint32_t& order, bool& expanded) override;
  // Stores the current user's order and open state of `item_id`; never undoable, journalled.
  void SetSortOrder(uint64_t item_id, uint32_t order, bool expanded);
  ADate FirstTransactionDate() override;
  int8_t HeaderOption0() override { return Header.Option0; }

  // --- Users ---

  // Logs in `user_id` (0: no user): clears the undo history and the sort-order cache; a user's
  // own default currency becomes the working one.
  void SetCurrentUser(uint64_t user_id);
  uint64_t CurrentUserID() const { return current_user_id_; }

  // --- Undo history ---

  // Opens a new step of `kind` after the current one, discarding the steps that could have
  // been redone.
  void BeginUndoStep(uint32_t kind);
  // Discards the current step with the record versions it holds (its changes stay made).
  void DropUndoStep();
  // Undoes the current step by exchanging record versions; the step then describes the redo.
  void Undo();
  // Redoes the step after the current one.
  void Redo();
  uint32_t UndoIndex() const { return undo_index_; }
  const std::map<uint32_t, TUndoHistoryItem>& UndoHistory() const { return undo_history_; }

  // --- State ---

  // Destroys every record, marker, undo step and journal entry; the database is empty and not
  // loaded afterwards.
  void Close();

  const Table& GetTable(uint32_t table) const { return tables_[table]; }
  const std::map<uint64_t, THeader>& DeletedHeaders() const { return deleted_headers_; }
  const std::vector<TAutomaticSyncItem>& SyncJournal() const { return sync_journal_; }

  TDBHeader Header;
  TDBUserSettings UserSettings;  // working copy of the settings block
  TUser CurrentUser;
  bool Modified = false;
  bool Loaded = false;
  bool ReadOnly = false;
  uint64_t LastID = 0;

 private:
  // True when the current user may not change record `e` (someone else's read-only record).
  bool IsForeignReadOnly(const TBaseEntry& e) const;
  TUndoHistoryItem& CurrentStep();
  void DiscardStepsFrom(uint32_t first);
  // Puts `e` into its table; returns the ID.
  uint64_t Insert(std::unique_ptr<TBaseEntry> e);

  Table tables_[kTableCount];
  std::map<uint64_t, THeader> deleted_headers_;
  std::map<uint32_t, TUndoHistoryItem> undo_history_;
  uint32_t undo_index_ = 0;
  std::vector<TAutomaticSyncItem> sync_journal_;
  std::map<uint64_t, std::pair<uint32_t, bool>> sort_order_cache_;
  uint64_t current_user_id_ = 0;
  bool user_selected_ = false;
  std::minstd_rand rng_;
};

}  // namespace vemra
