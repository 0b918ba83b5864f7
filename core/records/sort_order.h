// TSortOrder, the link record that keeps one user's position and open state of an account,
// account group or category in its list.
#pragma once

#include <cstdint>
#include <memory>

#include "core/records/base_entry.h"

namespace vemra {

// Type 111, table 4: the list position of one record for one user.
class TSortOrder : public TBaseEntry {
 public:
  struct TData {
    uint64_t UserID = 0;   // the user the order belongs to, 0 when there are no users
    uint64_t EntryID = 0;  // the account, account group or category described
    uint32_t Order = 0;    // position in the list
    uint8_t Expanded = 1;  // shown opened
  } Data;

  static constexpr uint32_t kVersion = 0;
  static constexpr uint32_t kBodySize = 24;

  TSortOrder() : TBaseEntry(etSortOrder, kVersion, kBodySize) {}
  void SaveDependents(TCoreDB&) override {}
  void DeleteDependents(TCoreDB&) override {}
  void ClearStrings() override {}
  void ClearStringIDs() override {}
  size_t SaveData(IOutputStream& out) override;
  bool LoadData(IInputStream& in, uint32_t version) override;
  // The record whose order this is.
  uint64_t GetParentID() const override { return Data.EntryID; }
  uint32_t GetTableIndex() const override { return 4; }
  void LoadDependents(TCoreDB&) override {}
  std::unique_ptr<TBaseEntry> Clone() const override { return std::make_unique<TSortOrder>(*this); }
};

}  // namespace vemra
