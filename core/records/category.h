// TCategory, the record of one node of a category tree.
#pragma once

#include <cstdint>
#include <string>

#include "core/records/base_entry.h"

namespace vemra {

// Type 103, table 0. Name and comment live in string records; the position among its siblings
// comes from the sort-order records.
class TCategory : public TBaseEntry {
 public:
  struct TData {
    uint64_t NameID = 0;
    uint64_t CommentID = 0;
    // The parent category; for a top-level category the fixed root of its tree.
    uint64_t RootID = 0;
    uint32_t ImageIndex = 0;
    uint32_t Reserved1 = 0;

    friend bool operator==(const TData&, const TData&) = default;
  } Data;

  // Run-time members, never written.
  uint32_t Order = 0;     // position among its siblings
  bool Expanded = false;  // open state in the category tree
  std::wstring Name;
  std::wstring Comment;

  static constexpr uint32_t kVersion = 0;
  static constexpr uint32_t kBodySize = 32;

  TCategory() : TBaseEntry(etCategory, kVersion, kBodySize) {}
  void SaveDependents(TCoreDB& db) override;
  // Empties the texts, deletes their string records and the category's sort-order records.
  void DeleteDependents(TCoreDB& db) override;
  void ClearStrings() override;
  void ClearStringIDs() override;
  size_t SaveData(IOutputStream& out) override;
  // Knows only version 0.
  bool LoadData(IInputStream& in, uint32_t version) override;
  uint32_t GetTableIndex() const override { return 0; }
  // Reads name and comment, then Order and Expanded from the sort-order records.
  void LoadDependents(TCoreDB& db) override;
  std::unique_ptr<TBaseEntry> Clone() const override { return std::make_unique<TCategory>(*this); }
};

}  // namespace vemra
