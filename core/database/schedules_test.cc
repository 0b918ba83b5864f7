#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "core/database/database.h"
#include "core/records/account.h"
#include "core/records/scheduled_transaction.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
#include "platform/clock.h"

namespace vemra {
namespace {

// Today is day 20000, Friday 2024-10-04; 2024-01-01 was a Monday, so a 2024 date's week number
// is its 0-based day of the year / 7.
constexpr int32_t kToday = 20000;

TSchedule Make(uint8_t type, ADate begin, uint16_t day = 1) {
  TSchedule s;
  s.ScheduleType = type;
  s.BeginDate = begin;
  s.Day = day;
  return s;
}

// The due dates and the later ones up to `limit`, in one list.
std::vector<ADate> All(TSchedule s, ADate limit) {
  std::vector<ADate> due, later;
  DataBase::ExpandSchedule(s, limit, due, later, false);
  due.insert(due.end(), later.begin(), later.end());
  return due;
}

TEST(ExpandScheduleTest, OccurrenceRulesAndTheMovingBegin) {
  platform::ScopedClockPin pin(int64_t{kToday} * 86400);
  auto date = [](int m, int d) { return MakeADate(2024, m - 1, d); };
  EXPECT_EQ(All(Make(4, date(2, 1), 31), date(4, 30)),
            (std::vector{date(2, 29), date(3, 31), date(4, 30)}));
  TSchedule april = Make(4, date(2, 1), 33);
  april.Months.fill(0);
  april.Months[3] = 1;
  EXPECT_EQ(All(april, date(5, 31)), std::vector{date(4, 29)});
  TSchedule mondays = Make(3, date(9, 30));
  mondays.WeekDays.fill(0);
  mondays.WeekDays[0] = 1;
  mondays.WeekType = 1;  // weeks 40 and 42, not 39 and 41
  EXPECT_EQ(All(mondays, date(10, 27)), (std::vector{date(10, 7), date(10, 21)}));

  std::vector<ADate> due, later;
  TSchedule daily = Make(2, ADate(kToday - 1), 0);  // Day 0 counts as 1
  EXPECT_EQ(DataBase::ExpandSchedule(daily, ADate(kToday + 1), due, later, false).Val, 0);
  EXPECT_EQ(due, (std::vector{ADate(kToday - 1), ADate(kToday)}));
  EXPECT_EQ(later, std::vector{ADate(kToday + 1)});
  EXPECT_EQ(daily.BeginDate.Val, kToday + 1);

  TSchedule every3 = Make(2, ADate(kToday - 6), 3);
  TSchedule copy = every3;
  EXPECT_EQ(DataBase::ExpandSchedule(copy, ADate(kToday + 9), due, later, true).Val, kToday - 6);
  EXPECT_EQ(copy, every3);  // asking for the next date changes nothing
  every3.Ghost = 1;         // due dates are skipped, but the begin moves past them
  EXPECT_EQ(All(every3, ADate(kToday + 6)), (std::vector{ADate(kToday + 3), ADate(kToday + 6)}));
  DataBase::ExpandSchedule(every3, ADate(kToday), due, later, false);
  EXPECT_EQ(every3.BeginDate.Val, kToday + 3);
  every3.EndDate = ADate(kToday + 4);
  EXPECT_EQ(All(every3, ADate(kToday + 6)).size(), 2u);  // End not set: EndDate ignored
  every3.End = 1;
  EXPECT_EQ(All(every3, ADate(kToday + 6)).size(), 1u);
}

TEST(ProcessSchedulesTest, DueDatesBecomeTransactionsWithIdsAndStampsFromTheDate) {
  platform::ScopedClockPin pin(int64_t{kToday} * 86400);
  DataBase db;
  db.SetCurrentUser(0);
  auto add = [&](uint64_t id, uint64_t account) {  // a daily expense named "Rent"
    TScheduledTransaction s;
    s.Header.ID = id;
    s.Schedule = Make(2, ADate(kToday - 1));
    s.Data.WithdrawAccountID = account;
    s.Name = L"Rent";
    return db.StoreEntry(s.Clone());
  };
  auto stored = [&](uint64_t id) {
    return static_cast<const TScheduledTransaction&>(*db.FindEntry(id, 0));
  };
  uint64_t account = db.StoreEntry(std::make_unique<TAccount>());
  const uint64_t sid = add(5 * 86400 + 7, account);
  uint64_t stamp = stored(sid).Header.LastModDate;
  size_t journal = db.SyncJournal().size();
  std::vector<TTransaction> ghosts;
  db.ProcessSchedules(ADate(kToday + 2), ghosts);

  // ID = day x 86400 + (schedule ID mod 86400) + kind; stamp = day x 864000000.
  ASSERT_EQ(db.GetTable(1).size(), 2u);
  ASSERT_NE(db.FindEntry(1727913609, 1), nullptr);
  EXPECT_EQ(db.FindEntry(1727913609, 1)->Header.LastModDate, 17279136000000u);
  auto entered = db.GetEntry(1728000009, 1);
  ASSERT_NE(entered, nullptr);
  EXPECT_EQ(static_cast<const TTransaction&>(*entered).Name, L"Rent");
  EXPECT_EQ(stored(sid).Schedule.BeginDate.Val, kToday + 1);
  EXPECT_EQ(stored(sid).Header.LastModDate, stamp + 2);
  EXPECT_EQ(db.SyncJournal().size(), journal + 4);  // two transactions and their names
  EXPECT_EQ(db.UndoHistory().count(1), 0u);
  ASSERT_EQ(ghosts.size(), 2u);
  EXPECT_TRUE(ghosts[1].IsGhost);
  EXPECT_EQ(ghosts[1].Header.ID, sid);
  EXPECT_EQ(ghosts[1].Data.Date.Val, kToday + 2);

  db.ProcessSchedules(ADate(kToday), ghosts);  // a second run on the same day
  EXPECT_EQ(db.GetTable(1).size(), 2u);
  add(sid + 86400, account);  // its occurrence IDs are taken: fresh ones
  db.ProcessSchedules(ADate(kToday), ghosts);
  ASSERT_EQ(db.GetTable(1).size(), 4u);
  EXPECT_GT(db.GetTable(1).rbegin()->first, 1'000'000'000'000u);
  db.DeleteEntry(0, account);  // without accounts a schedule only moves on
  uint64_t orphan = add(0, account);
  db.ProcessSchedules(ADate(kToday), ghosts);
  EXPECT_EQ(db.GetTable(1).size(), 4u);
  EXPECT_EQ(stored(orphan).Schedule.BeginDate.Val, kToday + 1);
}

// Copies of one book each process their schedules; a copy may hold an occurrence already (from a
// part of another copy) or its deletion marker.
TEST(ProcessSchedulesTest, CopiesEnterEachOccurrenceOnceAndNeverBringADeletedOneBack) {
  auto daily = [](uint64_t id, uint64_t account) {
    TScheduledTransaction s;
    s.Header.ID = id;
    s.Schedule = Make(2, ADate(kToday - 2));
    s.Data.WithdrawAccountID = account;
    s.Name = L"Rent";
    return s.Clone();
  };
  OutputStream base;
  {
    platform::ScopedClockPin before(int64_t{kToday - 10} * 86400);
    DataBase db;
    db.Loaded = true;
    db.Header.DatabaseID = 77;
    uint64_t account = db.StoreEntry(std::make_unique<TAccount>());
    db.StoreEntry(daily(5 * 86400 + 7, account));
    // A later schedule whose occurrence IDs collide with the first one's takes other IDs, the
    // same in every copy.
    db.StoreEntry(daily(9 * 86400 + 7, account));
    ASSERT_EQ(db.Save(base), 0);
  }
  platform::ScopedClockPin pin(int64_t{kToday} * 86400);
  DataBase copies[3];
  for (DataBase& c : copies) {
    InputStream in;
    OutputStream bytes;
    bytes.Write(base.MemoryData().data(), base.MemoryData().size());
    in.AttachMemory(bytes);
    ASSERT_EQ(c.Open(in), 0);
  }
  auto ids = [](DataBase& db) {
    std::vector<uint64_t> out;
    for (const auto& [id, e] : db.GetTable(1)) out.push_back(id);
    return out;
  };
  std::vector<TTransaction> ghosts;
  DataBase& a = copies[0];
  DataBase& b = copies[1];
  DataBase& c = copies[2];
  a.ProcessSchedules(ADate(kToday), ghosts);
  ASSERT_EQ(a.GetTable(1).size(), 6u);
  const std::string dir = ::testing::TempDir() + "kestrum_schedules_" + std::to_string(::getpid());
  std::filesystem::create_directories(dir);
  ASSERT_EQ(a.WritePart(dir + "/p1"), 0);
  const std::vector<uint64_t> entered = ids(a);
  const uint64_t yesterday = uint64_t{kToday - 1} * 86400 + 7 + 2;  // day x 86400 + residue
  ASSERT_NE(a.FindEntry(yesterday, 1), nullptr);
  ASSERT_TRUE(a.DeleteEntry(1, yesterday));
  ASSERT_EQ(a.WritePart(dir + "/p2"), 0);

  // b has received the occurrences before it processes: it enters none again.
  ASSERT_EQ(b.ReadPart(dir + "/p1"), 0);
  b.ProcessSchedules(ADate(kToday), ghosts);
  EXPECT_EQ(ids(b), entered);
  // c has received only the deletion: the deleted occurrence is not entered again.
  ASSERT_EQ(c.ReadPart(dir + "/p2"), 0);
  c.ProcessSchedules(ADate(kToday), ghosts);
  EXPECT_EQ(c.FindEntry(yesterday, 1), nullptr);
  ASSERT_EQ(b.ReadPart(dir + "/p2"), 0);
  ASSERT_EQ(c.ReadPart(dir + "/p1"), 0);
  EXPECT_EQ(ids(a), ids(b));
  EXPECT_EQ(ids(a), ids(c));
  EXPECT_EQ(a.GetTable(1).size(), 5u);
  EXPECT_EQ(a.DeletedHeaders(), c.DeletedHeaders());
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace vemra
