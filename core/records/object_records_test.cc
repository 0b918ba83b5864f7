#include <gtest/gtest.h>

#include <typeinfo>

#include "core/records/acc_group.h"
#include "core/records/account.h"
#include "core/records/category.h"
#include "core/records/currency.h"
#include "core/records/tagged_entry.h"
#include "core/records/testing/body_bytes.h"
#include "core/records/testing/fake_core_db.h"

namespace vemra {
namespace {

using testing::Bytes;
using testing::Hex;
using testing::LoadBody;
using testing::SavedBody;
using Deleted = std::vector<std::pair<uint32_t, uint64_t>>;

// A link record of the sort-order type belonging to `parent` (a relabelled tag link).
struct SortOrderLink : TTag {
  explicit SortOrderLink(uint64_t parent) {
    Header.Type = etSortOrder;
    Data.EntryID = parent;
  }
};

Bytes Slice(const Bytes& b, size_t from, size_t to) {
  return Bytes(b.begin() + from, b.begin() + to);
}

TEST(CurrencyTest, BodyDefaultsAndCode) {
  TCurrency c;
  EXPECT_EQ(SavedBody(c), Hex("0000000000000000 0000000000000000"  // SymbolID, NameID
                              "00000000"                           // ImageIndex
                              "00 02 01 00 00"  // AlignRight, Decimals 2, Enabled 1, Default, ..
                              "000000 00000000"));  // Code, Reserved1
  const Bytes body =
      Hex("0201000000000000"  // SymbolID
          "0403000000000000"  // NameID
          "07000000"          // ImageIndex
          "01 03 00 01 01"    // AlignRight, Decimals 3, Enabled 0, Default, UpdateExRates
          "455552"            // Code "EUR"
          "0d0c0b0a");        // Reserved1
  ASSERT_TRUE(LoadBody(c, body, 0));
  EXPECT_EQ(c.Data,
            (TCurrency::TData{0x102, 0x304, 7, 1, 3, 0, 1, 1, {'E', 'U', 'R'}, 0x0a0b0c0d}));
  EXPECT_EQ(SavedBody(c), body);
  // Unknown versions and short bodies are refused and change nothing.
  TCurrency fresh;
  EXPECT_FALSE(LoadBody(fresh, body, 1));
  EXPECT_FALSE(LoadBody(fresh, Slice(body, 0, 31), 0));
  EXPECT_EQ(fresh.Data, TCurrency::TData{});

  EXPECT_EQ(c.GetCode(), "EUR");
  c.SetCode(L"kr");
  EXPECT_EQ(Slice(SavedBody(c), 25, 28), Hex("6b 72 00"));
  EXPECT_EQ(c.GetCode(), "kr");
  c.SetCode(L"ABCD");
  EXPECT_EQ(Slice(SavedBody(c), 25, 28), Hex("41 42 43"));
  EXPECT_EQ(c.GetCode(), "ABC");
}

TEST(AccountTest, BodyDefaultsAndVersionZeroUpgrade) {
  TAccount a;
  EXPECT_EQ(SavedBody(a), Hex("0000000000000000 0000000000000000"  // NameID, CommentID
                              "0000000000000000 0000000000000000"  // CurrencyID, GroupID
                              "00000000 00000000"                  // ImageIndex, Reserved1
                              "0000000000000000 00000000"  // InitialBalance, LastReconciliation
                              "01 00 00 00"));             // Visible 1, Reserved2..4
  const Bytes body =
      Hex("1100000000000000 1200000000000000"  // NameID, CommentID
          "1300000000000000 1400000000000000"  // CurrencyID, GroupID
          "05000000 07000000"                  // ImageIndex 5, Reserved1 7
          "000000000000f83f"                   // InitialBalance 1.5
          "ffffffff"                           // LastReconciliationDate -1
          "00 01 02 03");                      // Visible 0, Reserved2..4
  const TAccount::TData want{0x11, 0x12, 0x13, 0x14, 5, 7, 1.5, ADate(-1), 0, 1, 2, 3};
  ASSERT_TRUE(LoadBody(a, body, 1));
  EXPECT_EQ(a.Data, want);
  EXPECT_EQ(SavedBody(a), body);

  // Version 0 has the same layout; pictures move up by 601 and Reserved1 is cleared.
  TAccount old;
  ASSERT_TRUE(LoadBody(old, body, 0));
  EXPECT_EQ(Slice(SavedBody(old), 32, 40), Hex("5e020000 00000000"));             // 606, 0
  EXPECT_EQ(Slice(testing::SavedHeader(old), 28, 36), Hex("01000000 38000000"));  // version, size
  // A short version-0 body is refused without the upgrade; so are unknown versions.
  EXPECT_FALSE(LoadBody(a, Slice(body, 0, 55), 0));
  EXPECT_FALSE(LoadBody(a, body, 2));
  EXPECT_EQ(a.Data, want);
}

TEST(AccGroupAndCategoryTest, Bodies) {
  TAccGroup g;
  EXPECT_EQ(SavedBody(g), Bytes(40, 0));
  const Bytes group_body =
      Hex("0807060504030201"                   // Field0, kept as read
          "2100000000000000 2200000000000000"  // NameID, CommentID
          "2300000000000000"                   // CurrencyID
          "05000000 07000000");                // ImageIndex 5, Reserved1 7
  const TAccGroup::TData want{0x0102030405060708, 0x21, 0x22, 0x23, 5, 7};
  ASSERT_TRUE(LoadBody(g, group_body, 1));
  EXPECT_EQ(g.Data, want);
  EXPECT_EQ(SavedBody(g), group_body);
  TAccGroup old;
  ASSERT_TRUE(LoadBody(old, group_body, 0));
  EXPECT_EQ(Slice(SavedBody(old), 32, 40), Hex("5e020000 00000000"));  // 606, 0
  EXPECT_EQ(old.Header.SecondaryType, 1u);
  EXPECT_FALSE(LoadBody(g, Slice(group_body, 0, 39), 0));
  EXPECT_FALSE(LoadBody(g, group_body, 2));
  EXPECT_EQ(g.Data, want);

  TCategory c;
  EXPECT_EQ(SavedBody(c), Bytes(32, 0));
  const Bytes category_body =
      Hex("3100000000000000 3200000000000000"  // NameID, CommentID
          "3300000000000000"                   // RootID
          "09000000 0a000000");                // ImageIndex 9, Reserved1 10
  ASSERT_TRUE(LoadBody(c, category_body, 0));
  EXPECT_EQ(c.Data, (TCategory::TData{0x31, 0x32, 0x33, 9, 10}));
  EXPECT_EQ(SavedBody(c), category_body);
  EXPECT_FALSE(LoadBody(c, category_body, 1));
  EXPECT_FALSE(LoadBody(c, Slice(category_body, 0, 31), 0));
}

// Deleting a `T` removes its two string records and its sort-order records, nothing else.
template <class T>
void ExpectDeleteRemovesStringsAndSortOrders() {
  SCOPED_TRACE(typeid(T).name());
  testing::FakeCoreDB db;
  T rec;
  rec.Header.ID = 50;
  rec.Name = L"Name";
  rec.Comment = L"Comment";
  rec.SaveDependents(db);                       // IDs 1000, 1001
  db.Add(std::make_unique<SortOrderLink>(50));  // 1002
  db.Add(std::make_unique<SortOrderLink>(51));  // another record's
  db.Add(std::make_unique<SortOrderLink>(50));  // 1004
  auto tag = std::make_unique<TTag>();          // a link of another type
  tag->Data.EntryID = 50;
  db.Add(std::move(tag));
  rec.DeleteDependents(db);
  EXPECT_EQ(db.deleted, (Deleted{{6, 1000}, {6, 1001}, {4, 1002}, {4, 1004}}));
  EXPECT_TRUE(rec.Name.empty() && rec.Comment.empty());
  EXPECT_EQ(db.tables[4].size(), 2u);
}

TEST(ObjectRecordsTest, Dependents) {
  testing::FakeCoreDB db;
  TAccount a;
  a.Header.ID = 40;
  a.Name = L"Cash";
  a.Comment = L"wallet";
  a.SaveDependents(db);
  const uint64_t old_name = a.Data.NameID;
  // An empty name deletes its string record; a later name gets a new one.
  a.Name.clear();
  a.SaveDependents(db);
  EXPECT_EQ(a.Data.NameID, 0u);
  EXPECT_EQ(db.deleted, (Deleted{{6, old_name}}));
  a.Name = L"A";
  a.SaveDependents(db);
  EXPECT_NE(a.Data.NameID, 0u);
  EXPECT_NE(a.Data.NameID, old_name);

  db.sort_orders[40] = {3, true};
  TAccount copy = a;
  copy.ClearStrings();
  copy.LoadDependents(db);
  EXPECT_EQ(copy.Name + L"|" + copy.Comment, L"A|wallet");
  EXPECT_EQ(copy.Order, 3u);
  EXPECT_TRUE(copy.Expanded);

  TCurrency cur;
  cur.Name = L"Euro";
  cur.Symbol = L"€";
  cur.SaveDependents(db);
  TCurrency cur_copy = cur;
  cur_copy.ClearStrings();
  cur_copy.LoadDependents(db);
  EXPECT_EQ(cur_copy.Name + L"|" + cur_copy.Symbol, L"Euro|€");
  db.deleted.clear();
  cur.DeleteDependents(db);
  EXPECT_EQ(db.deleted, (Deleted{{6, cur.Data.NameID}, {6, cur.Data.SymbolID}}));

  ExpectDeleteRemovesStringsAndSortOrders<TAccount>();
  ExpectDeleteRemovesStringsAndSortOrders<TAccGroup>();
  ExpectDeleteRemovesStringsAndSortOrders<TCategory>();
}

}  // namespace
}  // namespace vemra
