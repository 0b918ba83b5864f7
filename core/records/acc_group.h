// TAccGroup, the record of one account group.
#pragma once

#include <cstdint>
#include <string>

#include "core/records/base_entry.h"

namespace vemra {

// Type 102, table 0. Name and comment live in string records; the list position comes from
// the sort-order records.
class TAccGroup : public TBaseEntry {
 public:
  struct TData {
    uint64_t Field0 = 0;  // kept as read and written back unchanged; new groups write 0
    uint64_t NameID = 0;
    uint64_t CommentID = 0;
    uint64_t CurrencyID = 0;  // TCurrency
    uint32_t ImageIndex = 0;
    uint32_t Reserved1 = 0;

    friend bool operator==(const TData&, const TData&) = default;
  } Data;

  // Run-time members, never written.
  uint32_t Order = 0;     // position in the account list
  bool Expanded = false;  // open state in the account list
  std::wstring Name;
  std::wstring Comment;

  static constexpr uint32_t kVersion = 1;
  static constexpr uint32_t kBodySize = 40;

  TAccGroup() : TBaseEntry(etAccGroup, kVersion, kBodySize) {}
  void SaveDependents(TCoreDB& db) override;
  // Empties the texts, deletes their string records and the group's sort-order records.
  void DeleteDependents(TCoreDB& db) override;
  void ClearStrings() override;
  void ClearStringIDs() override;
  size_t SaveData(IOutputStream& out) override;
  // Reads version 1, and version 0 (same size) converted: picture index moved up by 601,
  // Reserved1 cleared.
  bool LoadData(IInputStream& in, uint32_t version) override;
  uint32_t GetTableIndex() const override { return 0; }
  // Reads name and comment, then Order and Expanded from the sort-order records.
  void LoadDependents(TCoreDB& db) override;
  std::unique_ptr<TBaseEntry> Clone() const override { return std::make_unique<TAccGroup>(*this); }
};

}  // namespace vemra
