#include "core/records/transaction.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "core/records/scheduled_transaction.h"
#include "core/records/split.h"
#include "core/records/testing/body_bytes.h"
#include "core/records/testing/fake_core_db.h"
#include "platform/clock.h"

namespace vemra {
namespace {

using testing::Bytes;
using testing::Hex;

// Day 20000 at 01:01:01 local time.
constexpr int64_t kPinnedSeconds = int64_t{20000} * 86400 + 3661;

std::string ZeroBytes(size_t n) {
  return std::string(2 * n, '0');
}

// clang-format off
// The hand-written body pieces of the transaction made by Fill().
const std::string kCategories = "0100000000000000 0200000000000000"  // CategoryID 1, FamilyID 2
                                "0300000000000000 0400000000000000"; // PayeeID 3, ProjectID 4
const std::string kAccounts = "1100000000000000 1200000000000000"    // WithdrawAccountID, TargetAccountID
                              "1300000000000000 1400000000000000";   // SplitID, LoanID
const std::string kTextIDs = "2100000000000000 2200000000000000"     // NameID, CommentID
                             "2300000000000000 2400000000000000"     // CustomText1ID, CustomText2ID
                             "2500000000000000 2600000000000000";    // CurrencyID, FileLinksID
const std::string kAmounts = "0000000000005940 0000000000006940"     // WithdrawAmount 100, TargetAmount 200
                             "0000000000000440";                     // Quantity 2.5
const std::string kAmountTax = "000000000000f83f 00000000000000c0";  // Amount 1.5, Tax -2
const std::string kData = kAccounts + kTextIDs
    + "204e0000 04030201"        // Date 20000, Time 0x01020304
    + kAmounts
    + "ff 01 01 7f 0d0c0b0a"     // Cleared -1, CustomCheckBox, bSMS, Reserved2, Reserved3
    + kAmountTax;
// The same transaction as a version-0 body, with FamilyID 7 and CategoryID 9.
const std::string kOldBody = kAccounts
    + "0700000000000000 0900000000000000 0300000000000000"  // FamilyID, CategoryID, PayeeID
    + kTextIDs
    + "204e0000 aaaaaaaa"        // Date, not used
    + kAmounts
    + "ff 01 aaaaaaaaaaaa"       // Cleared, CustomCheckBox, not used
    + kAmountTax;
// The old body written back: ProjectID, Time, bSMS and the reserved fields as constructed.
const std::string kOldBodyAsV1 =
    "0900000000000000 0700000000000000 0300000000000000 0000000000000000"  // Categories
    + kAccounts + kTextIDs
    + "204e0000 c8dc3700"        // Date, Time of construction 3661000
    + kAmounts
    + "ff 01 00 00 00000000"     // Cleared, CustomCheckBox, bSMS, Reserved2, Reserved3
    + kAmountTax;
// The first 36 bytes of the schedule of FillSchedule().
const std::string kSchedule36 = "03 000000"           // ScheduleType weekly, padding
                                "204e0000 844e0000"   // BeginDate 20000, EndDate 20100
                                "01 00 0200"          // End, padding, Day 2
                                "01000000000001 01"   // WeekDays Monday and Sunday, WeekType 1
                                "000100000000000000000001";  // Months February and December
// clang-format on

void Fill(TTransaction& t) {
  t.Categories = {1, 2, 3, 4};
  t.Data = {0x11,       0x12, 0x13, 0x14, 0x21, 0x22, 0x23, 0x24, 0x25,       0x26, ADate(20000),
            0x01020304, 100,  200,  2.5,  -1,   1,    1,    0x7f, 0x0a0b0c0d, 1.5,  -2};
}

// Each body with its last byte cut off, and the first body read as version `unknown`, are
// refused and leave a new entry unchanged.
template <typename T>
void ExpectRefused(const std::vector<std::pair<Bytes, uint32_t>>& bodies, uint32_t unknown) {
  T entry;
  const Bytes before = testing::SavedBody(entry);
  for (auto [body, version] : bodies) {
    body.pop_back();
    EXPECT_FALSE(testing::LoadBody(entry, body, version)) << "version " << version;
  }
  EXPECT_FALSE(testing::LoadBody(entry, bodies.front().first, unknown));
  EXPECT_EQ(testing::SavedBody(entry), before);
}

TEST(TransactionTest, NewRecordsCarryTheirDefaults) {
  platform::ScopedClockPin pin(kPinnedSeconds);
  TTransaction t;
  EXPECT_EQ(testing::SavedBody(t), Hex(ZeroBytes(112) + "204e0000 c8dc3700"  // today, now
                                       + ZeroBytes(16) + "000000000000f03f"  // Quantity 1
                                       + "01 00 00 00 00000000"              // Cleared 1
                                       + ZeroBytes(16)));
  EXPECT_EQ(t.ExRate, 1.0);
  // Type, version and body size of each class.
  EXPECT_EQ(testing::SavedHeader(t), Hex(ZeroBytes(24) + "c8000000 01000000 a8000000 0000 0000"));
  TScheduledTransaction s;
  EXPECT_EQ(testing::SavedHeader(s), Hex(ZeroBytes(24) + "c9000000 02000000 d0000000 0000 0000"));
  EXPECT_EQ(s.Data, t.Data);
  TSplit split;
  EXPECT_EQ(testing::SavedHeader(split),
            Hex(ZeroBytes(24) + "ca000000 00000000 48000000 0000 0000"));
  EXPECT_EQ(testing::SavedBody(split),
            Hex("204e0000 c8dc3700" + ZeroBytes(56) + "01" + ZeroBytes(7)));  // FlagB 1
}

TEST(TransactionTest, CurrentAndOldBodies) {
  platform::ScopedClockPin pin(kPinnedSeconds);
  TTransaction t;
  Fill(t);
  EXPECT_EQ(testing::SavedBody(t), Hex(kCategories + kData));
  TTransaction back;
  ASSERT_TRUE(testing::LoadBody(back, Hex(kCategories + kData), 1));
  EXPECT_EQ(back.Data, t.Data);
  EXPECT_EQ(back.Categories, t.Categories);

  TTransaction old;
  ASSERT_TRUE(testing::LoadBody(old, Hex(kOldBody), 0));
  EXPECT_EQ(old.Categories.FamilyID, 7u);
  EXPECT_EQ(old.Categories.CategoryID, 9u);
  EXPECT_EQ(testing::SavedBody(old), Hex(kOldBodyAsV1));
  ExpectRefused<TTransaction>({{Hex(kCategories + kData), 1}, {Hex(kOldBody), 0}}, 2);
}

TEST(ScheduledTransactionTest, AllVersionsLoadAndSaveAsTheCurrentOne) {
  platform::ScopedClockPin pin(kPinnedSeconds);
  TTransaction filled;
  Fill(filled);
  const Bytes v2 = Hex(kSchedule36 + "01 000000" + kCategories + kData);  // Ghost 1, padding
  TScheduledTransaction s;
  ASSERT_TRUE(testing::LoadBody(s, v2, 2));
  EXPECT_EQ(s.Schedule.EndDate.Val, 20100);
  EXPECT_EQ(s.Schedule.Ghost, 1);
  EXPECT_EQ(s.Categories, filled.Categories);
  EXPECT_EQ(s.Data, filled.Data);
  EXPECT_EQ(testing::SavedBody(s), v2);

  // The older layouts have no Ghost; they are written back as version 2.
  const Bytes v1 = Hex(kSchedule36 + kCategories + kData);
  ASSERT_TRUE(testing::LoadBody(s, v1, 1));
  EXPECT_EQ(s.Header.SecondaryType, 2u);
  EXPECT_EQ(testing::SavedBody(s), Hex(kSchedule36 + "00 000000" + kCategories + kData));
  const Bytes v0 = Hex(kSchedule36 + kOldBody);
  TScheduledTransaction old;
  ASSERT_TRUE(testing::LoadBody(old, v0, 0));
  EXPECT_EQ(testing::SavedBody(old), Hex(kSchedule36 + "00 000000" + kOldBodyAsV1));
  ExpectRefused<TScheduledTransaction>({{v2, 2}, {v1, 1}, {v0, 0}}, 3);
}

TEST(SplitTest, BodyAndTexts) {
  TSplit split;
  split.Data = {ADate(20000), 0x05060708, 0x31, 0x32, 0x33, 0x34, 0x35, 2, 0x36, 0};
  // clang-format off
  const std::string head = "204e0000 08070605"                  // Date 20000, Time
                           "3100000000000000 3200000000000000"  // AccountID, NameID
                           "3300000000000000 3400000000000000"  // CommentID, CustomText1ID
                           "3500000000000000 02";               // CustomText2ID, FlagA
  const std::string file_links = "3600000000000000", flag_b = "00";
  // clang-format on
  EXPECT_EQ(testing::SavedBody(split),
            Hex(head + ZeroBytes(7) + file_links + flag_b + ZeroBytes(7)));
  TSplit back;  // padding is ignored when read
  ASSERT_TRUE(testing::LoadBody(
      back, Hex(head + "aaaaaaaaaaaaaa" + file_links + flag_b + "bbbbbbbbbbbbbb"), 0));
  EXPECT_EQ(back.Data, split.Data);
  ExpectRefused<TSplit>({{testing::SavedBody(split), 0}}, 1);

  testing::FakeCoreDB db;
  split.FileLinks = L"a.pdf";
  split.SaveDependents(db);
  EXPECT_EQ(split.Data.NameID, 0u);  // an empty text has no record
  split.ClearStrings();
  split.LoadDependents(db);
  EXPECT_EQ(split.FileLinks, L"a.pdf");
  split.DeleteDependents(db);
  EXPECT_TRUE(db.tables[6].empty());
}

TEST(TransactionTest, TextsAndTagsLiveInStringAndLinkRecords) {
  testing::FakeCoreDB db;
  TTransaction t;
  t.Header.ID = 50;
  t.Comment = L"May";
  t.CustomText2 = L"c2";
  t.FileLinks = L"f";
  t.Data.CurrencyID = 7;
  t.Tags = {5, 3, 5};
  t.SaveDependents(db);
  EXPECT_EQ(db.tables[6].size(), 3u);
  std::wstring text;
  db.GetString(t.Data.CustomText2ID, text);
  EXPECT_EQ(text, L"c2");
  EXPECT_EQ(db.CountOfType(etTag), 2u);

  TTransaction copy = t;
  copy.ClearStrings();
  EXPECT_TRUE(copy.Tags.empty());
  copy.LoadDependents(db);
  EXPECT_EQ(copy.Comment, L"May");
  EXPECT_EQ(copy.Tags, (std::vector<uint64_t>{3, 5}));
  copy.ClearStringIDs();
  EXPECT_EQ(copy.Data.CommentID + copy.Data.CustomText2ID + copy.Data.FileLinksID, 0u);
  EXPECT_EQ(copy.Data.CurrencyID, 7u);

  TTransaction occurrence;  // shows the tags of its schedule
  occurrence.Header.ID = 51;
  occurrence.ScheduleID = 50;
  occurrence.IsGhost = true;
  occurrence.LoadDependents(db);
  EXPECT_EQ(occurrence.Tags, (std::vector<uint64_t>{3, 5}));

  t.DeleteDependents(db);
  EXPECT_TRUE(db.tables[6].empty());
  EXPECT_EQ(db.CountOfType(etTag), 0u);
}

TEST(ScheduledTransactionTest, OccurrenceCopyAndReverseCopy) {
  TScheduledTransaction s;
  Fill(s);
  s.Header = {70, 0, 3, etScheduledTransaction, 2, 208, 1, 1};
  s.Schedule.Ghost = 1;
  s.Tags = {4, 2};
  s.FileLinks = L"f";
  s.ExRate = 2;

  TTransaction occurrence;
  occurrence.Header.ID = 9;
  s.CopyToTransaction(occurrence, false);
  TTransaction::TData want = s.Data;
  want.NameID = want.CommentID = want.CustomText1ID = want.CustomText2ID = want.FileLinksID = 0;
  EXPECT_EQ(occurrence.Data, want);
  EXPECT_EQ(std::tie(occurrence.Categories, occurrence.Tags, occurrence.FileLinks),
            std::tie(s.Categories, s.Tags, s.FileLinks));
  EXPECT_EQ(std::tuple(occurrence.ScheduleID, occurrence.IsGhostSchedule, occurrence.ExRate),
            std::tuple(70u, true, 1.0));
  EXPECT_EQ(occurrence.Header, (THeader{9, 0, 3, etTransaction, 1, 168, 1, 1}));
  s.CopyToTransaction(occurrence, true);
  EXPECT_EQ(occurrence.Data, s.Data);

  occurrence.Data.WithdrawAmount = 5;
  occurrence.Categories.PayeeID = 8;
  occurrence.Tags = {1};
  occurrence.Comment = L"x";
  occurrence.ExRate = 3;
  occurrence.Header = {9, 0, 4, etTransaction, 1, 168, 0, 1};
  s.CopyFromTransaction(occurrence);
  EXPECT_EQ(std::tie(s.Data, s.Categories, s.Tags, s.Comment),
            std::tie(occurrence.Data, occurrence.Categories, occurrence.Tags, occurrence.Comment));
  EXPECT_EQ(s.Header, (THeader{70, 0, 4, etScheduledTransaction, 2, 208, 0, 1}));
  EXPECT_EQ(std::tuple(s.ExRate, s.Schedule.Ghost), std::tuple(2.0, uint8_t{1}));
}

// One coupled edit and the withdraw amount, target amount and quantity expected after it.
struct Edit {
  void (TTransaction::*set)(double);
  double value;
  double withdraw, target, quantity;
};
void ExpectEdits(TTransaction& t, std::initializer_list<Edit> edits) {
  for (const Edit& e : edits) {
    (t.*e.set)(e.value);
    EXPECT_EQ(std::tuple(t.Data.WithdrawAmount, t.Data.TargetAmount, t.Data.Quantity),
              std::tuple(e.withdraw, e.target, e.quantity))
        << "after setting " << e.value;
  }
}

TEST(TransactionTest, CouplingRecomputesTheLeastRecentlyEditedField) {
  using T = TTransaction;
  T::ResetEditOrder();
  T t;
  t.Data.WithdrawAmount = 100;
  t.Data.TargetAmount = 200;
  ExpectEdits(t, {{&T::SetTargetAmount, 300, 150, 300, 1},  // {0 1}: at the old rate 2
                  {&T::SetExRate, 0, 300, 300, 1}});        // {0 1 2}: rate 0 copies the target
  t.Data.WithdrawAmount = 0;  // the rate falls back to ExRate 0: no division
  ExpectEdits(t, {{&T::SetTargetAmount, 50, 50, 50, 1}});  // {0 2 1}

  T::ResetEditOrder();
  T u;
  u.ExRate = 2;
  ExpectEdits(u, {{&T::SetWithdrawAmount, 10, 10, 20, 1},  // {0}: no amounts, 10 x ExRate
                  {&T::SetExRate, 4, 5, 20, 1},            // {0 2}
                  {&T::SetTargetAmount, 40, 10, 40, 1},    // {0 2 1}: old rate 20 / 5
                  {&T::SetWithdrawAmount, 20, 20, 40, 1},  // {2 1 0}: the rate is oldest
                  {&T::SetExRate, 3, 20, 60, 1}});         // {1 0 2}: the target is oldest

  T::ResetEditOrder();
  T p;
  p.Data.WithdrawAccountID = 1;
  p.Data.WithdrawAmount = p.Data.TargetAmount = 100;
  p.Data.Quantity = 4;
  ExpectEdits(p, {{&T::SetQuantity, 2, 50, 50, 2},  // {0 2}: the amount is oldest, price 25
                  {&T::SetPrice, 30, 60, 60, 2},    // {0 2 1}: the amount is oldest
                  {&T::SetAmount, 90, 90, 90, 3},   // {2 1 0}: the quantity is oldest
                  {&T::SetPrice, 45, 90, 90, 2},    // {2 0 1}
                  {&T::SetPrice, 0, 90, 90, 1}});   // no price: quantity 1
  p.Data.WithdrawAccountID = 0;  // without a withdraw account the price uses the target amount
  p.Data.TargetAmount = 120;
  ExpectEdits(p, {{&T::SetQuantity, 3, 360, 360, 3}});  // {0 1 2}
  p.Data.Quantity = 0;
  p.Data.WithdrawAmount = 7;
  EXPECT_EQ(p.GetPrice(), 7);

  // Both triples and all transactions share one list.
  T::ResetEditOrder();
  p.SetQuantity(1);                                              // {0 2}
  ExpectEdits(u, {{&T::SetWithdrawAmount, 1000, 1000, 60, 1}});  // {2 0}: the target stays
  T::ResetEditOrder();
  u.SetExRate(3);  // {0 2}
  p.Data = {};
  p.Data.WithdrawAccountID = 1;
  p.Data.WithdrawAmount = 10;
  p.Data.Quantity = 2;
  ExpectEdits(p, {{&T::SetAmount, 20, 20, 20, 4}});  // {2 0}: the quantity is oldest, 20 / 5
}

}  // namespace
}  // namespace vemra
