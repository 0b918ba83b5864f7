// TLoan, the record of a loan with its categories and tags.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "core/records/base_entry.h"
#include "core/records/dates.h"
#include "core/records/tagged_entry.h"

namespace vemra {

// Type 107, table 0. Body: Categories (32 bytes), then the loan data (96 bytes). Fields are
// named after their body offset.
class TLoan : public TBaseEntry, public TTaggedEntry {
 public:
  struct TData {
    uint64_t Text1ID = 0;
    uint64_t Text2ID = 0;
    uint64_t Field48 = 0;
    uint64_t Field56 = 0;
    uint64_t Field64 = 0;
    uint8_t Field72 = 1;
    uint64_t Field80 = 0;
    uint64_t Field88 = 0;
    uint8_t Field96 = 1;
    uint64_t Field104 = 0;
    uint32_t Field112 = 12;
    uint8_t Field116 = 1;
    uint8_t Field117 = 0;
    uint16_t Field118 = 0;
    ADate Field120 = TodayADate();
    ADate Field124 = ADate(TodayADate().Val + 30);
  } Data;

  std::wstring Text1;
  std::wstring Text2;

  static constexpr uint32_t kVersion = 2;
  static constexpr uint32_t kBodySize = 128;
  // Version 1: Categories, then 88 bytes of older loan data.
  static constexpr size_t kV1BodySize = TCategories::kSize + 88;
  // Version 0: 112 bytes with the categories in the middle.
  static constexpr size_t kV0BodySize = 112;

  TLoan() : TBaseEntry(etLoan, kVersion, kBodySize) {}
  // Stores the two texts, then the tag links of this record's ID.
  void SaveDependents(TCoreDB& db) override;
  // Deletes the two string records and the tag links.
  void DeleteDependents(TCoreDB& db) override;
  void ClearStrings() override;
  void ClearStringIDs() override;
  size_t SaveData(IOutputStream& out) override;
  // Versions 2 (current), 1 and 0; the old ones are converted and get Field96 = 1.
  bool LoadData(IInputStream& in, uint32_t version) override;
  uint32_t GetTableIndex() const override { return 0; }
  // Reads the two texts and the tags of this record's ID.
  void LoadDependents(TCoreDB& db) override;
  std::unique_ptr<TBaseEntry> Clone() const override { return std::make_unique<TLoan>(*this); }
};

}  // namespace vemra
