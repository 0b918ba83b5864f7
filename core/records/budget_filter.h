// TBudgetFilter, the link record that names one account or category a budget counts.
#pragma once

#include <cstdint>
#include <memory>

#include "core/records/base_entry.h"

namespace vemra {

// Type 106, table 4: one account or category of one budget.
class TBudgetFilter : public TBaseEntry {
 public:
  struct TData {
    uint64_t BudgetID = 0;  // the owning budget
    uint64_t TargetID = 0;  // the account or category counted
    uint8_t Field16 = 0;
    uint8_t IsCategory = 0;  // TargetID names a category, else an account
  } Data;

  static constexpr uint32_t kVersion = 0;
  static constexpr uint32_t kBodySize = 24;

  TBudgetFilter() : TBaseEntry(etBudgetFilter, kVersion, kBodySize) {}
  void SaveDependents(TCoreDB&) override {}
  void DeleteDependents(TCoreDB&) override {}
  void ClearStrings() override {}
  void ClearStringIDs() override {}
  size_t SaveData(IOutputStream& out) override;
  bool LoadData(IInputStream& in, uint32_t version) override;
  // The budget the filter belongs to.
  uint64_t GetParentID() const override { return Data.BudgetID; }
  uint32_t GetTableIndex() const override { return 4; }
  void LoadDependents(TCoreDB&) override {}
  std::unique_ptr<TBaseEntry> Clone() const override {
    return std::make_unique<TBudgetFilter>(*this);
  }
};

}  // namespace vemra
