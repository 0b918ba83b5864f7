// TCurrency, the record of one currency: symbol, name, display rules and letter code.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "core/records/base_entry.h"

namespace vemra {

// Type 100, table 0. Symbol and name live in string records; the body holds their IDs.
class TCurrency : public TBaseEntry {
 public:
  struct TData {
    uint64_t SymbolID = 0;
    uint64_t NameID = 0;
    uint32_t ImageIndex = 0;
    uint8_t AlignRight = 0;         // the symbol follows the amount instead of preceding it
    uint8_t Decimals = 2;           // decimal places shown
    uint8_t Enabled = 1;            // offered for use
    uint8_t Default = 0;            // default-currency mark (the settings name the working default)
    uint8_t UpdateExRates = 0;      // included in automatic exchange-rate updates
    std::array<uint8_t, 3> Code{};  // one byte per character, zero-padded
    uint32_t Reserved1 = 0;

    friend bool operator==(const TData&, const TData&) = default;
  } Data;

  // Run-time texts, filled by LoadDependents.
  std::wstring Name;
  std::wstring Symbol;

  static constexpr uint32_t kVersion = 0;
  static constexpr uint32_t kBodySize = 32;

  TCurrency() : TBaseEntry(etCurrency, kVersion, kBodySize) {}
  void SaveDependents(TCoreDB& db) override;
  // Deletes the name and symbol string records.
  void DeleteDependents(TCoreDB& db) override;
  void ClearStrings() override;
  void ClearStringIDs() override;
  size_t SaveData(IOutputStream& out) override;
  // Knows only version 0.
  bool LoadData(IInputStream& in, uint32_t version) override;
  uint32_t GetTableIndex() const override { return 0; }
  void LoadDependents(TCoreDB& db) override;
  std::unique_ptr<TBaseEntry> Clone() const override { return std::make_unique<TCurrency>(*this); }

  // Returns the letter code: the bytes of Code up to the first zero byte, at most 3.
  std::string GetCode() const;
  // Stores the low 8 bits of the first three characters of `code`, zero-filling the rest;
  // longer codes are cut to three characters.
  void SetCode(const std::wstring& code);
};

}  // namespace vemra
