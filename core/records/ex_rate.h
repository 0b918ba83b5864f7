// TExRate, the record that stores one exchange rate between two currencies.
#pragma once

#include <cstdint>
#include <memory>

#include "core/records/base_entry.h"
#include "core/records/dates.h"

namespace vemra {

// Type 104, table 5: the price of one unit of the first currency in the second, on a date.
class TExRate : public TBaseEntry {
 public:
  struct TData {
    uint64_t FirstCurrencyID = 0;
    uint64_t SecondCurrencyID = 0;
    double Rate = 1.0;  // price of one unit of the first currency in the second
    ADate Date;
    uint32_t Field28 = 0;
  } Data;

  static constexpr uint32_t kVersion = 0;
  static constexpr uint32_t kBodySize = 32;

  TExRate() : TBaseEntry(etExRate, kVersion, kBodySize) {}
  void SaveDependents(TCoreDB&) override {}
  void DeleteDependents(TCoreDB&) override {}
  void ClearStrings() override {}
  void ClearStringIDs() override {}
  size_t SaveData(IOutputStream& out) override;
  bool LoadData(IInputStream& in, uint32_t version) override;
  uint32_t GetTableIndex() const override { return 5; }
  void LoadDependents(TCoreDB&) override {}
  std::unique_ptr<TBaseEntry> Clone() const override { return std::make_unique<TExRate>(*this); }
};

}  // namespace vemra
