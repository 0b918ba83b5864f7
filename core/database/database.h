// DataBase: the in-memory form of one open database file. It owns every record in seven tables
// keyed by record ID, the deletion markers of deleted records, the undo history and the change
// journal that sync parts are written from. Everything above it changes records only through
// StoreEntry, DeleteEntry and SetString, which keep stamps, markers, undo steps and the journal
// consistent. Not thread-safe: a document calls it from its one serial work queue.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "core/database/db_header.h"
#include "core/database/transaction_index.h"
#include "core/records/base_entry.h"
#include "core/records/dates.h"
#include "core/records/event.h"
#include "core/records/schedule.h"
#include "core/records/scheduled_event.h"
#include "core/records/sort_order.h"
#include "core/records/split.h"
#include "core/records/transaction.h"
#include "core/records/user.h"
#include "core/streams/stream.h"

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

// Result codes of the file and sync-part operations.
enum : int {
  kResultOK = 0,
  kResultNotDatabase = -1,     // signature mismatch, or the record area cannot be decompressed
  kResultCantOpen = -2,        // the file cannot be opened or created, or writing failed
  kResultOldFormat = -3,       // format 280..399 at open (needs a conversion not offered here)
  kResultBackupFailed = -4,    // no backup copy before a conversion
  kResultTooOld = -5,          // format below 280
  kResultTooNew = -6,          // format above 440
  kResultVersionMismatch = 1,  // format 280..399 met while merging
  kResultOlderFormat = 2,      // header reader: format 400..439, readable (callers: success)
  kResultWrongDatabase = 3,    // another database, or a bad sync part
  kResultWrongPassword = 4,
  kResultNothingToWrite = 6,  // empty change journal
};

// Writes `e` as a record stream holds it: its 40-byte header, then its body. Returns false
// when a write fell short.
bool WriteRecord(TBaseEntry& e, IOutputStream& out);

// How the last read of a record stream (an open, a merge of another copy or a sync part) ended.
struct TReadReport {
  uint64_t Records = 0;  // whole records and deletion markers read
  int64_t Offset = 0;    // bytes of the record stream they took, from its start
  // The stream ended exactly after a whole record. False when a body could not be read, bytes
  // were left over, or a record claimed more bytes than the stream holds; the read then stopped
  // at Offset, keeping what came before.
  bool Complete = true;
};

// The format version this system writes.
constexpr uint32_t kFileFormat = 440;

// Key of one currency pair in the exchange-rate index: (lower ID, higher ID).
struct TExRateHeader {
  uint64_t LowerID = 0;
  uint64_t HigherID = 0;
  friend auto operator<=>(const TExRateHeader&, const TExRateHeader&) = default;
};

// One rate of a pair: the price of one unit of the lower-ID currency in the higher-ID one.
struct TExRateValue {
  uint64_t ID = 0;  // the TExRate record
  ADate Date;
  double Rate = 1.0;
};

// Filters of QueryTransactions and QueryScheduledTransactions. Empty ID sets do not filter
// (an empty account set means every account).
struct TTransactionFilter {
  uint64_t CurrencyID = 0;  // amounts and balances are converted into this currency
  ADate Begin;
  ADate End;
  std::set<uint64_t> Accounts;
  std::set<uint64_t> Categories;  // each set matches its entries and everything under them
  std::set<uint64_t> Families;
  std::set<uint64_t> Payees;
  std::set<uint64_t> Projects;
  std::set<uint64_t> Tags;
  std::optional<uint8_t> CustomCheckBox;  // keep only this star mark
  std::optional<int8_t> Cleared;          // keep only this cleared state
  bool LoanMode = false;  // every transaction with a loan, any date, no amounts or balances
};

class DataBase : public TCoreDB {
 public:
  using Table =
      std::map<uint64_t, std::unique_ptr<TBaseEntry>, std::less<uint64_t>,
               RecordPoolAllocator<std::pair<const uint64_t, std::unique_ptr<TBaseEntry>>>>;

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

  // Logs in `user_id` (0: no user): clears the undo history and the sort-order cache, rebuilds
  // the exchange-rate index and enters the due occurrences of every schedule; a user's own
  // default currency becomes the working one.
  void SetCurrentUser(uint64_t user_id);
  uint64_t CurrentUserID() const { return current_user_id_; }

  // --- Undo history ---

  // Opens a new step of `kind` after the current one, discarding the steps that could have
  // been redone.
  void BeginUndoStep(uint32_t kind);
  // Discards the current step with the record versions it holds (its changes stay made).
  void DropUndoStep();
  // Undoes the current step by exchanging record versions; the step then describes the redo.
  // Does nothing at step 0, which holds no user action.
  void Undo();
  // Redoes the step after the current one.
  void Redo();
  uint32_t UndoIndex() const { return undo_index_; }
  const std::map<uint32_t, TUndoHistoryItem>& UndoHistory() const { return undo_history_; }

  // Stores split `split` and its part transactions `parts` (each gets the split's ID, date,
  // time, cleared state (flag B) and owner flags, and loses the amount of a side without
  // account); an existing split's old parts are deleted first. Returns true when the split and
  // every part were stored; stops at the first failure. `split` and the stored parts receive
  // the header and data of their stored records (IDs, text IDs, stamps).
  bool StoreSplit(TSplit& split, std::vector<TTransaction>& parts);

  // --- Database texts ---

  // Returns the text of slot 0..4 (empty for an empty slot or another index).
  std::wstring GetDatabaseText(uint32_t slot);
  // Stores the text of slot 0..4 with a new stamp; journalled, not undoable; does nothing when
  // the database is read-only.
  void SetDatabaseText(uint32_t slot, const std::wstring& text);
  // (string record ID, change stamp) of the five slots.
  std::array<std::pair<uint64_t, uint64_t>, 5> DatabaseTexts{};

  // --- Database file (file.cc) ---

  // Reads the first 224 bytes of a database file into `header` and `version`. Returns 0 for the
  // current format, 2 for 400..439, 1 for 280..399 (header not read), -5, -6, or -1 for a bad
  // signature or a short file. On failure `header` is unchanged.
  static int ReadHeader(IInputStream& in, TDBHeader& header, uint32_t& version);
  // Writes the 1024-byte head of a file from Header and DatabaseTexts.
  void WriteHeader(IOutputStream& out) const;
  // Closes the loaded database and loads the file in `in`. Returns 0, or a result code; on
  // failure the database stays not loaded. A record area that is not read to its end cleanly
  // (LastRead() says where it stopped) is a damaged file: -1, nothing loaded.
  int Open(IInputStream& in);
  int OpenFile(const std::string& path);
  // Writes the whole database (current format) to `out`. Returns 0, or -2 when a write or the
  // compression failed; 0 with nothing written when no database is loaded.
  int Save(IOutputStream& out);
  // Saves to `path` atomically: a temporary file in the same folder, flushed to disk, then
  // renamed over `path`. On failure `path` is untouched and the temporary file removed.
  int SaveFile(const std::string& path);
  // Writes what Save writes, but split: the 1024-byte head to `head` and the record stream
  // uncompressed to `records`, so that the caller can compress it on another thread (the
  // compressed `records` appended to `head` is the file). Returns 0, or -2 when a write failed;
  // 0 with nothing written when no database is loaded.
  int SaveUncompressed(IOutputStream& head, IOutputStream& records);
  // Merges another copy of this database (same DatabaseID): records by change stamp, then the
  // newer settings, password and texts, into the header and the working state a save writes.
  // Returns 0, -1 (not a database, or a record area that fails to decompress: the database is
  // left as it was before the merge), -2 (a read failed, likewise), -5, -6, 1 (format 280..399)
  // or 3 (another database); nothing happens and 0 is returned when no database is loaded. A
  // record stream that ends early inside an undamaged area is merged up to the damage and
  // counts as success; LastRead() tells.
  int MergeFile(IInputStream& in);
  int MergeFilePath(const std::string& path);
  // The administrator password (at most 60 UTF-16 units); empty when none or not loaded.
  std::wstring GetAdminPassword() const;
  // Merges a record stream into the tables by LastModDate: of two versions of a record, or of
  // two deletion markers, the newer wins, and on equal stamps the one whose stored bytes compare
  // greater; a record wins over a marker with the same stamp. So copies end the same whatever
  // order their streams arrive in. An unreadable body ends the read, keeping what came before.
  // Leaves no undo history. Returns how the read ended, which LastRead() then also holds.
  TReadReport ReadRecords(IInputStream& in, bool reset_last_id);
  // How the record stream of the last Open, MergeFile or ReadPart ended.
  const TReadReport& LastRead() const { return last_read_; }
  // Writes the record stream: tables 0..6 in ID order, then the deletion markers. Returns
  // false when a write failed.
  bool WriteRecords(IOutputStream& out);

  // --- Sync parts (part.cc) ---

  // Writes the journalled changes to a new part file at `path` and empties the journal.
  // Returns 0, 6 (empty journal, no file created) or -2 (cannot create or write).
  int WritePart(const std::string& path);
  // Writes the journalled changes to `out` as the uncompressed content of a part file (the
  // caller compresses it into the file) and empties the journal. Returns 0, 6 (empty journal,
  // nothing written) or -2 (a write fell short; the journal is emptied all the same).
  int TakePart(IOutputStream& out);
  // Merges the part file at `path`. Returns 0, -2 (cannot open or decompress) or 3 (bad
  // signature, another database or format above 440; nothing merged). Records that end early
  // are merged up to the damage; LastRead() tells.
  int ReadPart(const std::string& path);
  int ReadPart(IInputStream& compressed);

  // --- Exchange rates (ex_rates.cc) ---

  // Rebuilds the exchange-rate index from the TExRate records.
  void RebuildExRates();
  // The factor that converts an amount in currency `from` into currency `to`: the newest rate
  // of the pair, else the cross rate over the default currency when both legs have one (1.0
  // for equal currencies or when there is no usable rate; FindExRate tells the two apart).
  double GetExRate(uint64_t from, uint64_t to) const;
  // The same factor in `rate`; false (leaving `rate` alone) when there is no usable rate.
  bool FindExRate(uint64_t from, uint64_t to, double& rate) const;
  // Stores the price of one unit of `from` in `to` as the pair's only rate record, dated today.
  // Returns false (changing nothing) for equal currencies or a rate <= 0.
  bool SetExRate(uint64_t from, uint64_t to, double rate);
  const std::map<TExRateHeader, std::vector<TExRateValue>>& ExRates() const { return ex_rates_; }

  // --- Schedules (schedules.cc) ---

  // Walks the occurrences of `schedule` from its BeginDate up to `limit` (or EndDate when End
  // is set and earlier). With `next_only`, returns the first occurrence (0 when none) and
  // changes nothing. Otherwise appends occurrences on or before today to `due` (unless Ghost),
  // later ones to `ghosts`, moves BeginDate past the due ones and returns 0.
  static ADate ExpandSchedule(TSchedule& schedule, ADate limit, std::vector<ADate>& due,
                              std::vector<ADate>& ghosts, bool next_only);
  // The occurrence dates of `schedule` in [from, until] by the rule ExpandSchedule follows
  // (from BeginDate on, not after EndDate when End is set), ascending, at most `max` of them.
  // Pure; the cost grows with the occurrences listed and, for weekly schedules, the days.
  static std::vector<ADate> ScheduleOccurrences(const TSchedule& schedule, ADate from, ADate until,
                                                size_t max);
  // Enters the due occurrences (up to the earlier of today and `limit`) of every scheduled
  // transaction as transactions, with IDs and stamps that depend only on the schedule and the
  // date, outside the undo history; an occurrence whose record or deletion marker is held (it
  // was entered here or in another copy, and perhaps deleted) is not entered again; each schedule's
  // BeginDate and Date move past its due dates in place, without a journal entry, its stamp rising
  // by their number. A schedule with neither account left only moves on. Appends the occurrences
  // after today up to `limit` to `ghosts`: copies without texts (text IDs kept) with the schedule's
  // ID and IsGhost set.
  void ProcessSchedules(ADate limit, std::vector<TTransaction>& ghosts);
  // The same for scheduled events: due occurrences become TEvent records (same ID and stamp
  // scheme), later ones ghost events carrying the scheduled event's ID. Every occurrence starts
  // on its date and keeps the length of the scheduled event's FirstDate..SecondDate span; the
  // scheduled event's own dates move with its BeginDate.
  void ProcessScheduledEvents(ADate limit, std::vector<TEvent>& ghosts);

  // --- Queries (query.cc) ---

  // Replaces `out` with the transactions of the filter's period (after processing schedules up
  // to its end, ghosts included) with Amount converted into the filter's currency and Balance
  // the running balance; returns the count listed. An empty account set means every account
  // the current user may see. The copies carry no texts, only their text IDs.
  size_t QueryTransactions(std::vector<TTransaction>& out, const TTransactionFilter& filter);
  // Replaces `out` with a transaction copy (ID = the schedule's) of every scheduled transaction,
  // in ID order, that the current user may see and that passes the filter's account, category,
  // tag, check-box and cleared filters (period ignored), dated at its next occurrence (0 when
  // none), with Amount converted; returns the count. Due occurrences are entered first.
  size_t QueryScheduledTransactions(std::vector<TTransaction>& out,
                                    const TTransactionFilter& filter);
  // Replaces `out` with the events whose span shares a day with [begin, end] (either order),
  // the ghost occurrences of the scheduled events after today up to the later date included,
  // sorted by (FirstDate, SecondDate, ID). Events hidden from the current user are left out;
  // a non-empty `tags` keeps only events with a tag under one of its entries. Returns the count.
  size_t QueryEvents(std::vector<TEvent>& out, ADate begin, ADate end,
                     const std::set<uint64_t>& tags);
  // Replaces `out` with a copy of every scheduled event the current user may see, in ID order,
  // after entering the due occurrences. Each copy's FirstDate is its next occurrence and its
  // SecondDate keeps the event's length; both are 0 when no occurrence is left. Returns the
  // count.
  size_t QueryScheduledEvents(std::vector<TScheduledEvent>& out);

  // Adds to each entry of `sums` (account ID -> sum) the sum of the effects on that account of
  // the transactions the current user may see that count for its balance before day `before`:
  // the cleared ones dated up to today and every one dated after today, added in the order
  // (Date, Time, SplitID, ID), withdrawal before deposit. Without hidden records (or with no
  // user logged in) this costs O(accounts x log n) from the transaction index, otherwise one
  // pass over the transactions in that order; both give the same bits.
  void AddBalanceSums(std::map<uint64_t, double>& sums, ADate before);
  // Makes AddBalanceSums always take the pass (false) or use the index when it may (true, the
  // default), for tests that hold the two against each other.
  void UseBalanceIndex(bool use) { use_balance_index_ = use; }
  // The transactions dated within [begin, end] in (Date, Time, SplitID, ID) order; valid until
  // the next change of the database.
  std::span<const TTransaction* const> TransactionsByDate(ADate begin, ADate end);

  // What changed among transactions and texts since the last TakeTextChanges, for caches of
  // transaction texts (the descriptions offered as suggestions) to catch up without a pass.
  struct TextChanges {
    std::vector<uint64_t> Transactions;  // transactions stored or removed
    std::vector<uint64_t> Names;         // their NameIDs, before and after
    std::vector<uint64_t> Strings;       // string records stored or removed
    bool Overflow = true;                // too much changed (or nothing was taken yet): start over
  };
  // Returns the changes noted since the last call and starts a new list. There is one taker (the
  // book's transactions collection): a second would see only what the first left.
  TextChanges TakeTextChanges();
  // True when the logged-in user may not see some records (another owner hid them), so that
  // answers must be checked record by record.
  bool SomethingHidden() const { return current_user_id_ != 0 && hidden_marks_ != 0; }

  // --- Whole database ---

  // Rebuilds the exchange-rate index and processes the schedules up to today.
  void Refresh();
  // Empties the database for reuse as a new one: a fresh header and DatabaseID, no undo
  // history, journal or deletion markers. Currencies, exchange rates and texts always stay;
  // f1 removes accounts, groups, transactions, splits and schedules; f2 categories; f3
  // transactions and splits; f4 scheduled transactions; f5 loans; f6 budgets and their filters;
  // f7 users (and makes every record ownerless and visible); f8 events and scheduled events;
  // tags and sort orders always go. With f1 the working DefaultAccountID is cleared too. Does
  // nothing while a user is logged in.
  void ClearDatabase(bool f1, bool f2, bool f3, bool f4, bool f5, bool f6, bool f7, bool f8);

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
  TimeInterval Period;  // the period the views show; saved into the header's settings block
  bool Modified = false;
  bool Loaded = false;
  bool ReadOnly = false;
  uint64_t LastID = 0;

  // Seeds the noise NewID adds, so that a generator can make the same IDs on every run (with
  // the clock pinned).
  void SeedIDs(uint32_t seed) { rng_.seed(seed); }

 private:
  // True when the current user may not change record `e` (someone else's read-only record).
  bool IsForeignReadOnly(const TBaseEntry& e) const;
  // The current user's sort-order records of `item_id`, in ID order.
  std::vector<const TSortOrder*> SortOrders(uint64_t item_id);
  void DiscardStepsFrom(uint32_t first);
  // The only ways records enter and leave the tables, so that the link index stays right.
  // Puts `e` into its table (replacing and destroying a record with its ID); returns the ID.
  uint64_t Insert(std::unique_ptr<TBaseEntry> e);
  // Puts `e` into the occupied table slot `slot`; returns the record it displaced.
  std::unique_ptr<TBaseEntry> Exchange(std::unique_ptr<TBaseEntry>& slot,
                                       std::unique_ptr<TBaseEntry> e);
  // Removes the record at `it` from `table` and returns it.
  std::unique_ptr<TBaseEntry> Take(Table& table, Table::iterator it);
  // Enters the due occurrences of scheduled transactions and events up to today.
  void ProcessDueSchedules();
  // Writes the uncompressed record stream; false when a write failed.
  bool WriteRecordStream(IOutputStream& out);
  // Brings the header's default account, period and default currency up to the working state
  // before a save.
  void PrepareHeaderForSave();
  // The newest usable rate of the pair itself; false when it has none.
  bool FindDirectExRate(uint64_t from, uint64_t to, double& rate) const;
  // The ID for the record of kind `type` entered for occurrence `d` of schedule `schedule_id`,
  // the same in every copy of the database; 0 when that occurrence was entered already (its
  // record or deletion marker is held). `claimed` maps each residue of the occurrence ID
  // scheme to the lowest schedule ID that uses it (see schedules.cc).
  uint64_t OccurrenceSlot(ADate d, uint64_t schedule_id, uint8_t schedule_type, uint32_t type,
                          const std::map<uint64_t, uint64_t>& claimed);
  // Residue -> lowest ID of the scheduled transactions and events that can occur.
  std::map<uint64_t, uint64_t> ClaimedResidues() const;
  // Keeps `record`, displaced by a change, in the current undo step; outside any step (step 0)
  // nothing is undoable and it is destroyed.
  void KeepForUndo(std::unique_ptr<TBaseEntry> record);
  // Notes a record the current step added (nothing at step 0).
  void NoteAdded(uint32_t table, uint64_t id);
  // Keeps the derived state (link records by parent, exchange rates, the transaction index, the
  // count of hidden records, the text changes) in step with a record entering (`add`) or leaving
  // its table.
  void Index(const TBaseEntry& e, bool add);
  // The transaction index, built first when it is not.
  TransactionIndex& BuiltTransactionIndex();
  // Adds `id` to one list of text_changes_, or marks them overflowed when they grew too long.
  void NoteTextChange(std::vector<uint64_t>* list, uint64_t id);
  // The exchange-rate part of Index (ex_rates.cc).
  void IndexRate(const TBaseEntry& e, bool add);
  // What a merge of another copy changed, so that a failed merge can be taken back.
  struct MergeLog;
  TReadReport ReadRecords(IInputStream& in, bool reset_last_id, MergeLog* log);
  // Puts the records and markers `log` noted back as they were before the merge.
  void RollBack(MergeLog& log);
  // Merges one deletion marker or one record read from a stream, by the merge rules of
  // ReadRecords, noting what changes in `log` when there is one.
  void MergeMarker(const THeader& h, MergeLog* log);
  void MergeRecord(std::unique_ptr<TBaseEntry> e, MergeLog* log);
  // Whether a record with header `h` (its class that of `e`) read in a merge can change
  // anything: false when a newer version or a newer deletion of it is held. Sets `held` to a
  // held version with the same stamp, whose bytes decide.
  bool Undecided(const THeader& h, const TBaseEntry& e, const TBaseEntry*& held);

  Table tables_[kTableCount];
  std::map<uint64_t, THeader> deleted_headers_;
  std::map<uint32_t, TUndoHistoryItem> undo_history_;
  uint32_t undo_index_ = 0;
  std::vector<TAutomaticSyncItem> sync_journal_;
  std::map<uint64_t, std::pair<uint32_t, bool>> sort_order_cache_;
  std::map<TExRateHeader, std::vector<TExRateValue>> ex_rates_;
  TransactionIndex transaction_index_;
  // Records of tables 0 and 1 marked hidden: while there are none, nothing is hidden from anyone
  // and balances come from the index.
  size_t hidden_marks_ = 0;
  bool use_balance_index_ = true;
  TextChanges text_changes_;
  // (parent ID, record ID) of every link record of table 4 with a parent, for CollectChildren.
  std::set<std::pair<uint64_t, uint64_t>> children_;
  uint64_t current_user_id_ = 0;
  bool user_selected_ = false;
  TReadReport last_read_;
  std::minstd_rand rng_;
};

}  // namespace vemra
