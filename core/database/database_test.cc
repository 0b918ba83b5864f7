#include "core/database/database.h"

#include <gtest/gtest.h>

#include <tuple>

#include "core/records/account.h"
#include "core/records/currency.h"
#include "core/records/ex_rate.h"
#include "core/records/scheduled_transaction.h"
#include "core/records/transaction.h"
#include "core/records/user.h"
#include "platform/clock.h"

namespace vemra {
namespace {

constexpr int64_t kNoon = int64_t{20000} * 86400 + 12 * 3600;

class DataBaseTest : public ::testing::Test {
 protected:
  DataBaseTest() { db.SetCurrentUser(0); }

  uint64_t AddAccount(const std::wstring& name, uint64_t owner = 0, bool read_only = false) {
    auto a = std::make_unique<TAccount>();
    a->Name = name;
    a->Header.OwnerID = owner;
    a->Header.ReadOnly = read_only;
    return db.StoreEntry(std::move(a));
  }
  std::wstring NameOf(uint64_t id) {
    auto copy = db.GetEntry(id, 0);
    return copy ? static_cast<TAccount&>(*copy).Name : L"<none>";
  }
  uint64_t StampOf(uint64_t id, uint32_t table = 0) {
    return db.FindEntry(id, table)->Header.LastModDate;
  }

  platform::ScopedClockPin pin{kNoon};
  DataBase db;
};

TEST_F(DataBaseTest, IdsAlwaysRiseAndJumpAheadOfAFastLastId) {
  uint64_t a = db.NewID();
  uint64_t b = db.NewID();  // same clock tick
  EXPECT_GT(b, a);
  EXPECT_GE(a, ModStamp());
  db.LastID = ModStamp() + 1'000'000;
  uint64_t c = db.NewID();
  EXPECT_GE(c, ModStamp() + 1'000'000 + 3000);
  EXPECT_LE(c, ModStamp() + 1'000'000 + 9999);
}

TEST_F(DataBaseTest, StoreKeepsTextsInStringRecordsAndStampsNeverGoBack) {
  uint64_t id = AddAccount(L"Cash");
  ASSERT_NE(id, 0u);
  const auto* stored = static_cast<const TAccount*>(db.FindEntry(id, 0));
  EXPECT_TRUE(stored->Name.empty());  // tables hold no texts
  EXPECT_EQ(NameOf(id), L"Cash");
  EXPECT_EQ(db.GetTable(6).size(), 1u);
  uint64_t first_stamp = StampOf(id);

  // The clock is behind the stored stamp: the replacement is still newer.
  auto copy = db.GetEntry(id, 0);
  static_cast<TAccount&>(*copy).Name = L"";
  EXPECT_EQ(db.StoreEntry(std::move(copy), 5), id);
  EXPECT_EQ(StampOf(id), first_stamp + 1);
  EXPECT_EQ(NameOf(id), L"");
  EXPECT_TRUE(db.GetTable(6).empty());  // the empty name deleted its string record

  // A different type under the same ID is refused and the record stays.
  auto other = std::make_unique<TAccount>();
  other->Header.ID = id;
  other->Header.Type = etCategory;
  EXPECT_EQ(db.StoreEntry(std::move(other)), 0u);
  EXPECT_NE(db.FindEntry(id, 0), nullptr);
  EXPECT_EQ(db.SetString(0, L""), 0u);
  std::wstring text = L"x";
  EXPECT_FALSE(db.GetString(id, text));  // not a string record
  EXPECT_TRUE(text.empty());
}

TEST_F(DataBaseTest, DeletionLeavesMarkerThatARestoredRecordOutranks) {
  uint64_t id = AddAccount(L"Old");
  EXPECT_TRUE(db.DeleteEntry(0, id));
  ASSERT_EQ(db.DeletedHeaders().count(id), 1u);
  const THeader& marker = db.DeletedHeaders().at(id);
  EXPECT_EQ(marker.Type, etDeleted);
  EXPECT_EQ(marker.SecondaryType, etAccount);
  EXPECT_EQ(marker.Size, 0u);
  uint64_t marker_stamp = marker.LastModDate;
  EXPECT_TRUE(db.GetTable(6).empty());  // its name went with it
  EXPECT_FALSE(db.DeleteEntry(0, id));  // already deleted: nothing changes
  EXPECT_EQ(db.DeletedHeaders().at(id).LastModDate, marker_stamp);

  auto back = std::make_unique<TAccount>();
  back->Header.ID = id;
  EXPECT_EQ(db.StoreEntry(std::move(back), 1), id);
  EXPECT_EQ(db.DeletedHeaders().count(id), 0u);
  EXPECT_GT(StampOf(id), marker_stamp);
  const auto& journal = db.SyncJournal();
  ASSERT_GE(journal.size(), 3u);
  EXPECT_EQ(journal.back(), (TAutomaticSyncItem{id, 0, etAccount}));
}

TEST_F(DataBaseTest, ReadOnlyRecordsOfAnotherUserAreProtected) {
  auto user = std::make_unique<TUser>();
  uint64_t owner = db.StoreEntry(std::move(user));
  uint64_t guest = db.StoreEntry(std::make_unique<TUser>());
  db.SetCurrentUser(owner);
  uint64_t id = AddAccount(L"Mine", owner, true);
  auto hidden = std::make_unique<TAccount>();
  hidden->Header.OwnerID = owner;
  hidden->Header.Hidden = 1;
  uint64_t hidden_id = db.StoreEntry(std::move(hidden));

  db.SetCurrentUser(guest);
  EXPECT_EQ(db.StoreEntry(db.GetEntry(id, 0)), 0u);
  EXPECT_FALSE(db.DeleteEntry(0, id));
  std::vector<const TBaseEntry*> visible;
  EXPECT_TRUE(db.ListEntries(etAccount, 0, visible));
  ASSERT_EQ(visible.size(), 1u);  // the hidden account is not listed
  EXPECT_EQ(visible[0]->Header.ID, id);

  db.SetCurrentUser(owner);
  auto mine = db.GetEntry(id, 0);
  static_cast<TAccount&>(*mine).Name = L"Still mine";
  EXPECT_EQ(db.StoreEntry(std::move(mine)), id);
  EXPECT_TRUE(db.DeleteEntry(0, hidden_id));
}

TEST_F(DataBaseTest, UndoAndRedoExchangeVersions) {
  db.BeginUndoStep(2);
  uint64_t id = AddAccount(L"New");
  db.Undo();
  EXPECT_EQ(db.FindEntry(id, 0), nullptr);
  EXPECT_EQ(db.DeletedHeaders().count(id), 1u);
  uint64_t marker_stamp = db.DeletedHeaders().at(id).LastModDate;
  db.Redo();
  ASSERT_NE(db.FindEntry(id, 0), nullptr);
  EXPECT_EQ(db.DeletedHeaders().count(id), 0u);
  EXPECT_GT(StampOf(id), marker_stamp);
  EXPECT_EQ(NameOf(id), L"New");

  for (const wchar_t* name : {L"Edit 1", L"Edit 2"}) {
    db.BeginUndoStep(3);
    auto copy = db.GetEntry(id, 0);
    static_cast<TAccount&>(*copy).Name = name;
    db.StoreEntry(std::move(copy));
  }
  db.Undo();
  EXPECT_EQ(NameOf(id), L"Edit 1");
  // After undoing a pure replacement the step holds the version that was current before.
  const TUndoHistoryItem& step = db.UndoHistory().at(db.UndoIndex() + 1);
  EXPECT_TRUE(step.Added.empty());
  EXPECT_EQ(step.Replaced.size(), 2u);  // the account and its name string, as "Edit 2"
  db.Undo();
  EXPECT_EQ(NameOf(id), L"New");
  db.Redo();
  EXPECT_EQ(NameOf(id), L"Edit 1");
  db.Redo();
  EXPECT_EQ(NameOf(id), L"Edit 2");

  // A new action after an undo discards the step that could have been redone.
  db.Undo();
  db.BeginUndoStep(3);
  EXPECT_EQ(db.UndoHistory().count(db.UndoIndex() + 1), 0u);
  db.Redo();
  EXPECT_EQ(NameOf(id), L"Edit 1");

  // Step 0 is no user action: undo stops above it, and changes made outside any step keep no
  // displaced versions, however long the book stays open.
  while (db.UndoIndex() > 0) db.Undo();
  db.Undo();
  EXPECT_EQ(db.UndoIndex(), 0u);
  EXPECT_EQ(db.FindEntry(id, 0), nullptr);  // step 1 added it
  uint64_t other = AddAccount(L"Outside");
  auto renamed = db.GetEntry(other, 0);
  static_cast<TAccount&>(*renamed).Name = L"Renamed";
  db.StoreEntry(std::move(renamed));
  db.DeleteEntry(0, other);
  EXPECT_EQ(db.UndoHistory().count(0), 0u);
  db.Redo();
  EXPECT_EQ(NameOf(id), L"New");
}

TEST_F(DataBaseTest, SortOrdersArePerUserAndNeverUndoable) {
  uint64_t id = AddAccount(L"A");
  uint32_t order = 99;
  bool expanded = false;
  db.GetSortOrder(id, order, expanded);
  EXPECT_EQ(order, 99u);  // none stored: unchanged
  uint32_t before = db.UndoIndex();
  db.SetSortOrder(id, 4, true);
  db.SetSortOrder(id, 7, false);
  EXPECT_EQ(db.UndoIndex(), before);
  size_t count = 0;
  for (const auto& [lid, e] : db.GetTable(4)) count += e->Header.Type == etSortOrder;
  EXPECT_EQ(count, 1u);
  db.SetCurrentUser(0);  // clears the cache: the value comes from the record
  db.GetSortOrder(id, order, expanded);
  EXPECT_EQ(order, 7u);
  EXPECT_FALSE(expanded);
  auto account = db.GetEntry(id, 0);
  EXPECT_EQ(static_cast<TAccount&>(*account).Order, 7u);
}

TEST_F(DataBaseTest, FirstTransactionDateIsEarliestButNotAfterToday) {
  EXPECT_EQ(db.FirstTransactionDate(), TodayADate());
  for (int32_t day : {20005, 19990, 19995}) {
    auto t = std::make_unique<TTransaction>();
    t->Data.Date = ADate(day);
    db.StoreEntry(std::move(t));
  }
  EXPECT_EQ(db.FirstTransactionDate().Val, 19990);
  auto early = std::make_unique<TTransaction>();
  early->Data.Date = ADate(-40);
  db.StoreEntry(std::move(early));
  EXPECT_EQ(db.FirstTransactionDate().Val, 0);
}

TEST_F(DataBaseTest, SplitPartsTakeTheSplitsSharedFields) {
  TSplit split;
  split.Data.Time = 777;
  split.Data.FlagB = 0;  // the split's cleared state
  split.Header.Hidden = 1;
  split.Name = L"Receipt";
  TTransaction item;
  item.Data.WithdrawAccountID = AddAccount(L"Card");
  item.Data.TargetAmount = 9;  // no target account: dropped
  item.Name = L"Item";
  std::vector<TTransaction> parts(3, item);
  ASSERT_TRUE(db.StoreSplit(split, parts));
  const auto& t = static_cast<const TTransaction&>(*db.GetTable(1).begin()->second);
  EXPECT_EQ(std::tuple(t.Data.SplitID, t.Data.Time, t.Data.Cleared, t.Header.Hidden),
            std::tuple(split.Header.ID, 777u, int8_t{0}, uint8_t{1}));
  EXPECT_EQ(t.Data.TargetAmount, 0);
  size_t strings = db.GetTable(6).size();
  parts.pop_back();  // again with one part fewer: the old parts go, the split's name stays
  ASSERT_TRUE(db.StoreSplit(split, parts));
  EXPECT_EQ(db.GetTable(1).size(), 2u);
  EXPECT_EQ(db.GetTable(6).size(), strings - 1);
}

TEST_F(DataBaseTest, DatabaseTextsAreJournalledButNotUndoable) {
  db.SetDatabaseText(0, L"Custom field #1");
  auto [id, stamp] = db.DatabaseTexts[0];
  EXPECT_EQ(db.UndoIndex(), 0u);
  EXPECT_EQ(db.SyncJournal().back(), (TAutomaticSyncItem{id, 0, etString}));
  db.SetDatabaseText(0, L"Reference");
  EXPECT_EQ(db.DatabaseTexts[0], std::pair(id, stamp + 1));  // the clock stands still
  db.ReadOnly = true;
  db.SetDatabaseText(0, L"Ignored");
  EXPECT_EQ(db.GetDatabaseText(0), L"Reference");
}

TEST_F(DataBaseTest, ClearDatabaseKeepsWhatTheFlagsSpare) {
  TCurrency currency;
  currency.Header.OwnerID = 5;
  uint64_t euro = db.StoreEntry(currency.Clone());
  uint64_t account = AddAccount(L"Cash");
  auto t = std::make_unique<TTransaction>();
  t->Tags = {account};
  uint64_t transaction = db.StoreEntry(std::move(t));
  db.SetDatabaseText(1, L"Caption");
  db.DeleteEntry(0, AddAccount(L"Gone"));
  db.ClearDatabase(false, false, true, true, true, true, true, true);
  EXPECT_NE(db.FindEntry(account, 0), nullptr);
  EXPECT_EQ(db.FindEntry(transaction, 1), nullptr);
  EXPECT_TRUE(db.GetTable(4).empty());  // tag links always go
  EXPECT_EQ(db.FindEntry(euro, 0)->Header.OwnerID, 0u);
  EXPECT_EQ(db.GetDatabaseText(1), L"Caption");
  EXPECT_TRUE(db.DeletedHeaders().empty() && db.SyncJournal().empty());
  EXPECT_NE(db.Header.DatabaseID, 0u);
  db.ClearDatabase(true, false, false, false, false, false, false, false);
  EXPECT_EQ(db.FindEntry(account, 0), nullptr);
  EXPECT_NE(db.FindEntry(euro, 0), nullptr);
  uint64_t user = db.StoreEntry(std::make_unique<TUser>());
  db.SetCurrentUser(user);
  db.ClearDatabase(true, true, true, true, true, true, true, true);
  EXPECT_NE(db.FindEntry(user, 3), nullptr);  // refused while a user is logged in
}

TEST_F(DataBaseTest, LoggingInRebuildsRatesAndEntersDueSchedules) {
  TExRate rate;
  rate.Data = {1, 2, 4.0, ADate(1), 0};
  db.StoreEntry(rate.Clone());
  TScheduledTransaction s;
  s.Schedule.ScheduleType = 2;
  s.Schedule.BeginDate = ADate(19999);
  s.Data.TargetAccountID = AddAccount(L"Salary");
  db.StoreEntry(s.Clone());
  db.SetCurrentUser(0);
  EXPECT_DOUBLE_EQ(db.GetExRate(1, 2), 4.0);
  EXPECT_EQ(db.GetTable(1).size(), 2u);  // yesterday and today
  db.Refresh();
  EXPECT_EQ(db.GetTable(1).size(), 2u);
}

}  // namespace
}  // namespace vemra
