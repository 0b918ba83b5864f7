#include "core/records/entry_factory.h"

#include <gtest/gtest.h>

#include "core/records/testing/body_bytes.h"

namespace vemra {
namespace {

TEST(EntryFactoryTest, EveryTypeCodeMakesItsClassWithCurrentLayout) {
  struct Row {
    uint32_t type, table, version, size;
  };
  // The record type table: code, table, current version, body size.
  const Row rows[] = {
      {100, 0, 0, 32},  {101, 0, 1, 56},  {102, 0, 1, 40}, {103, 0, 0, 32},
      {104, 5, 0, 32},  {105, 0, 1, 104}, {106, 4, 0, 24}, {107, 0, 2, 128},
      {108, 2, 1, 72},  {109, 4, 0, 16},  {110, 3, 0, 64}, {111, 4, 0, 24},
      {200, 1, 1, 168}, {201, 0, 2, 208}, {202, 0, 0, 72}, {203, 0, 1, 112},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.type);
    std::unique_ptr<TBaseEntry> e = CreateEntry(row.type);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->Header.Type, row.type);
    EXPECT_EQ(e->Header.SecondaryType, row.version);
    EXPECT_EQ(e->Header.Size, row.size);
    EXPECT_EQ(e->GetTableIndex(), row.table);
    EXPECT_EQ(TableOfType(row.type), row.table);
    EXPECT_FALSE(TypeName(row.type).empty());
    // The body written is exactly Size bytes, and it reads back as the current version into a
    // fresh object that writes the same bytes again.
    testing::Bytes body = testing::SavedBody(*e);
    EXPECT_EQ(body.size(), row.size);
    std::unique_ptr<TBaseEntry> back = CreateEntry(row.type);
    ASSERT_TRUE(testing::LoadBody(*back, body, row.version));
    EXPECT_EQ(testing::SavedBody(*back), body);
    // One byte short is refused.
    body.pop_back();
    EXPECT_FALSE(testing::LoadBody(*CreateEntry(row.type), body, row.version));
    // A copy is of the same class.
    std::unique_ptr<TBaseEntry> copy = e->Clone();
    EXPECT_EQ(typeid(*copy), typeid(*e));
  }
  std::unique_ptr<TBaseEntry> s = CreateEntry(etString);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(s->GetTableIndex(), 6u);
  for (uint32_t none : {0u, 1u, 2u, 99u, 112u, 199u, 204u, 0xFFFFFFFFu}) {
    EXPECT_EQ(CreateEntry(none), nullptr) << none;
    EXPECT_EQ(TableOfType(none), 0u);
  }
}

}  // namespace
}  // namespace vemra
