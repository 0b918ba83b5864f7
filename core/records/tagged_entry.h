// The category set and tag list shared by transactions, events, budgets and loans, and TTag,
// the link record that stores one tag of one record.
#pragma once

#include <cstdint>
#include <vector>

#include "core/records/base_entry.h"
#include "core/records/body_codec.h"

namespace vemra {

// Stored at the start of the body of every tagged record (32 bytes).
struct TCategories {
  uint64_t CategoryID = 0;
  uint64_t FamilyID = 0;
  uint64_t PayeeID = 0;  // a category of the payee tree
  uint64_t ProjectID = 0;

  static constexpr size_t kSize = 32;
  void Write(BodyWriter& w) const;
  void Read(BodyReader& r);
  friend bool operator==(const TCategories&, const TCategories&) = default;
};

// Second base class of tagged records (not polymorphic).
class TTaggedEntry {
 public:
  TCategories Categories;
  std::vector<uint64_t> Tags;  // run-time; stored as one TTag link per distinct value
  // Last, so that a derived record's own flags can sit in the padding after it.
  bool Loaded = false;  // the tag list has been read from the link records

 protected:
  // Stores one TTag link per distinct value of Tags (first occurrence order) for `record_id`.
  void SaveTags(TCoreDB& db, uint64_t record_id) const;
  // Reads the tags of `parent_id` in ascending order without duplicates; sets Loaded.
  void LoadTags(TCoreDB& db, uint64_t parent_id);
  // Removes every tag link of `record_id`.
  static void DeleteTags(TCoreDB& db, uint64_t record_id);
};

// Type 109, table 4: one tag value of one record.
class TTag : public TBaseEntry {
 public:
  struct TData {
    uint64_t EntryID = 0;  // the tagged record
    uint64_t TagID = 0;    // the tag value
  } Data;

  static constexpr uint32_t kVersion = 0;
  static constexpr uint32_t kBodySize = 16;

  TTag() : TBaseEntry(etTag, kVersion, kBodySize) {}
  void SaveDependents(TCoreDB&) override {}
  void DeleteDependents(TCoreDB&) override {}
  void ClearStrings() override {}
  void ClearStringIDs() override {}
  size_t SaveData(IOutputStream& out) override;
  bool LoadData(IInputStream& in, uint32_t version) override;
  uint64_t GetParentID() const override { return Data.EntryID; }
  uint32_t GetTableIndex() const override { return 4; }
  void LoadDependents(TCoreDB&) override {}
  std::unique_ptr<TBaseEntry> Clone() const override { return std::make_unique<TTag>(*this); }
};

}  // namespace vemra
