// TAccount, the record of one account.
#pragma once

#include <cstdint>
#include <string>

#include "core/records/base_entry.h"
#include "core/records/dates.h"

namespace vemra {

// Version-0 account and account-group bodies number their pictures this much lower than
// version 1 does; reading such a body adds it to ImageIndex.
inline constexpr uint32_t kVersion0ImageShift = 601;

// Type 101, table 0. Name and comment live in string records; the list position comes from
// the sort-order records; balances are computed by the accounts collection.
class TAccount : public TBaseEntry {
 public:
  struct TData {
    uint64_t NameID = 0;
    uint64_t CommentID = 0;
    uint64_t CurrencyID = 0;  // TCurrency
    uint64_t GroupID = 0;     // TAccGroup, 0 for none
    uint32_t ImageIndex = 0;
    uint32_t Reserved1 = 0;
    double InitialBalance = 0;  // opening balance in the account's currency
    ADate LastReconciliationDate;
    uint8_t Visible = 1;
    uint8_t Reserved2 = 0;
    uint8_t Reserved3 = 0;
    uint8_t Reserved4 = 0;

    friend bool operator==(const TData&, const TData&) = default;
  } Data;

  // Run-time members, never written.
  std::wstring Name;
  std::wstring Comment;
  uint32_t Order = 0;     // position in the account list
  bool Expanded = false;  // open state in the account list
  double Balance = 0;
  double ClearedBalance = 0;
  double ExpectedIncome = 0;
  double ExpectedExpense = 0;
  bool HasGroup = false;
  uint32_t GroupImage = 0;
  bool DrawGroupImage = false;
  std::wstring Code;
  uint64_t TemplateID = 0;

  static constexpr uint32_t kVersion = 1;
  static constexpr uint32_t kBodySize = 56;

  TAccount() : TBaseEntry(etAccount, kVersion, kBodySize) {}
  void SaveDependents(TCoreDB& db) override;
  // Empties the texts, deletes their string records and the account's sort-order records.
  void DeleteDependents(TCoreDB& db) override;
  void ClearStrings() override;
  void ClearStringIDs() override;
  size_t SaveData(IOutputStream& out) override;
  // Reads version 1, and version 0 (same size) converted: picture indexes moved up by 601,
  // Reserved1 cleared.
  bool LoadData(IInputStream& in, uint32_t version) override;
  uint32_t GetTableIndex() const override { return 0; }
  // Reads name and comment, then Order and Expanded from the sort-order records.
  void LoadDependents(TCoreDB& db) override;
  std::unique_ptr<TBaseEntry> Clone() const override { return std::make_unique<TAccount>(*this); }
};

}  // namespace vemra
