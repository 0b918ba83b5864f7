#include "core/records/base_entry.h"

#include <gtest/gtest.h>

#include "core/records/schedule.h"
#include "core/records/tagged_entry.h"
#include "core/records/testing/body_bytes.h"
#include "core/records/testing/fake_core_db.h"
#include "platform/clock.h"

namespace vemra {
namespace {

using testing::Hex;

TEST(HeaderTest, FortyBytesFieldByFieldWithZeroPadding) {
  THeader h;
  h.ID = 0x0102030405060708;
  h.LastModDate = 0x1122334455667788;
  h.OwnerID = 5;
  h.Type = etAccount;
  h.SecondaryType = 1;
  h.Size = 56;
  h.Hidden = 1;
  h.ReadOnly = 0;
  const testing::Bytes want =
      Hex("0807060504030201"       // ID
          "8877665544332211"       // LastModDate
          "0500000000000000"       // OwnerID
          "65000000 01000000"      // Type 101, SecondaryType 1
          "38000000 01 00 0000");  // Size 56, Hidden, ReadOnly, padding
  OutputStream out;
  EXPECT_EQ(h.Save(out), 40u);
  EXPECT_EQ(out.MemoryData(), want);
  // Padding bytes are ignored when read.
  testing::Bytes padded = want;
  padded[38] = 0xAA;
  padded[39] = 0xBB;
  THeader back;
  back.Decode(padded.data());
  EXPECT_EQ(back, h);
}

TEST(StringEntryTest, UnitsCountsAndSurrogatePairs) {
  TStringEntry s;
  s.SetText({L'a', wchar_t(0x416), wchar_t(0x1F600)});
  testing::Bytes header = testing::SavedHeader(s);
  ASSERT_EQ(header.size(), 40u);
  EXPECT_EQ(s.Header.SecondaryType, 4u);  // a surrogate pair counts as two units
  EXPECT_EQ(s.Header.Size, 8u);
  EXPECT_EQ(testing::SavedBody(s), Hex("6100 1604 3dd8 00de"));

  TStringEntry back;
  ASSERT_TRUE(testing::LoadBody(back, Hex("6100 1604 3dd8 00de"), 4));
  EXPECT_EQ(back.Text(), s.Text());
  // Three characters: SecondaryType 3, Size 6.
  s.SetText(L"abc");
  testing::SavedHeader(s);
  EXPECT_EQ(s.Header.SecondaryType, 3u);
  EXPECT_EQ(s.Header.Size, 6u);
  // A short body is refused and a huge count does not allocate past the data.
  EXPECT_FALSE(testing::LoadBody(back, Hex("6100 62"), 2));
  EXPECT_FALSE(testing::LoadBody(back, Hex("6100"), 0xFFFFFFFF));
  EXPECT_TRUE(testing::LoadBody(back, {}, 0));
  EXPECT_EQ(back.Text(), L"");
}

TEST(TaggedEntryTest, TagsStoredOncePerValueAndReadBackSorted) {
  struct Tagged : TTaggedEntry {
    using TTaggedEntry::DeleteTags;
    using TTaggedEntry::LoadTags;
    using TTaggedEntry::SaveTags;
  } rec;
  testing::FakeCoreDB db;
  rec.Tags = {5, 3, 5};
  rec.SaveTags(db, 77);
  EXPECT_EQ(db.CountOfType(etTag), 2u);
  // Another record's tag and a tag of parent 0 are never returned.
  auto other = std::make_unique<TTag>();
  other->Data = {78, 9};
  db.Add(std::move(other));
  auto orphan = std::make_unique<TTag>();
  orphan->Data = {0, 4};
  db.Add(std::move(orphan));

  rec.Tags.clear();
  rec.LoadTags(db, 77);
  EXPECT_TRUE(rec.Loaded);
  EXPECT_EQ(rec.Tags, (std::vector<uint64_t>{3, 5}));
  rec.LoadTags(db, 0);
  EXPECT_TRUE(rec.Tags.empty());

  // Saving again keeps the link IDs it can and removes the rest.
  std::vector<const TBaseEntry*> before;
  db.CollectChildren(77, etTag, before);
  uint64_t first_id = before[0]->Header.ID;
  rec.Tags = {8};
  rec.SaveTags(db, 77);
  std::vector<const TBaseEntry*> after;
  db.CollectChildren(77, etTag, after);
  ASSERT_EQ(after.size(), 1u);
  EXPECT_EQ(after[0]->Header.ID, first_id);
  Tagged::DeleteTags(db, 77);
  after.clear();
  db.CollectChildren(77, etTag, after);
  EXPECT_TRUE(after.empty());
  EXPECT_EQ(db.CountOfType(etTag), 2u);  // the other record's and the orphan
}

TEST(TaggedEntryTest, TagLinkBody) {
  TTag tag;
  tag.Data = {0x1122, 7};
  const testing::Bytes body = Hex("2211000000000000 0700000000000000");
  EXPECT_EQ(testing::SavedBody(tag), body);
  TTag back;
  ASSERT_TRUE(testing::LoadBody(back, body, 0));
  EXPECT_EQ(back.GetParentID(), 0x1122u);
  EXPECT_EQ(back.Data.TagID, 7u);
  EXPECT_FALSE(testing::LoadBody(back, body, 1));
  EXPECT_FALSE(testing::LoadBody(back, Hex("2211"), 0));
}

TEST(ScheduleTest, DefaultsAndBothLayouts) {
  platform::ScopedClockPin pin(int64_t{20000} * 86400 + 5);
  TSchedule s;
  EXPECT_EQ(s.BeginDate.Val, 20000);
  EXPECT_EQ(s.EndDate.Val, 20030);
  const testing::Bytes want =
      Hex("00 000000"                 // ScheduleType, padding
          "204e0000 3e4e0000"         // BeginDate 20000, EndDate 20030
          "00 00 0100"                // End, padding, Day 1
          "01010101010101 00"         // WeekDays, WeekType
          "010101010101010101010101"  // Months
          "00 000000");               // Ghost, padding
  uint8_t buf[TSchedule::kSize];
  BodyWriter w(buf);
  s.Write(w);
  EXPECT_EQ(testing::Bytes(buf, buf + sizeof buf), want);

  // The old 36-byte layout has no Ghost.
  const testing::Bytes old =
      Hex("04 000000 10270000 20270000 01 00 0f00 01000100010001 02 000000000000000000000001");
  TSchedule o;
  o.Ghost = 1;
  BodyReader r(old.data());
  o.Read(r, true);
  EXPECT_EQ(r.Offset(), 36u);
  EXPECT_EQ(o.ScheduleType, 4);
  EXPECT_EQ(o.BeginDate.Val, 10000);
  EXPECT_EQ(o.EndDate.Val, 10016);
  EXPECT_EQ(o.End, 1);
  EXPECT_EQ(o.Day, 15);
  EXPECT_EQ(o.WeekDays, (std::array<uint8_t, 7>{1, 0, 1, 0, 1, 0, 1}));
  EXPECT_EQ(o.WeekType, 2);
  EXPECT_EQ(o.Months[11], 1);
  EXPECT_EQ(o.Months[0], 0);
  EXPECT_EQ(o.Ghost, 0);
}

}  // namespace
}  // namespace vemra
