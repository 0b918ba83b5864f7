// TSplit: the shared head of a transaction that is divided into several transactions.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/records/base_entry.h"
#include "core/records/dates.h"
#include "core/records/transaction.h"

namespace vemra {

// Type 202, table 0. The transactions of a split point to it through their SplitID.
class TSplit : public TBaseEntry {
 public:
  struct TData {
    ADate Date;              // shared date of the split's transactions; the constructor sets today
    uint32_t Time = 0;       // shared time of day in ms; the constructor sets now
    uint64_t AccountID = 0;  // the account the split was made from
    uint64_t NameID = 0;
    uint64_t CommentID = 0;
    uint64_t CustomText1ID = 0;
    uint64_t CustomText2ID = 0;
    uint8_t FlagA = 0;  // meaning unsettled; stored and copied unchanged
    uint64_t FileLinksID = 0;
    uint8_t FlagB = 1;  // meaning unsettled; stored and copied unchanged

    friend bool operator==(const TData&, const TData&) = default;
  } Data;

  RuntimeText Name;
  RuntimeText Comment;
  RuntimeText CustomText1;
  RuntimeText CustomText2;
  RuntimeText FileLinks;
  // The split's transactions; filled by the splits collection, never stored here.
  std::vector<TTransaction> Transactions;
  // What a receipt import read besides the records: the fiscal document number and the
  // receipt's total. Never stored.
  int32_t FiscalDocumentNumber = 0;
  double Total = 0;

  static constexpr uint32_t kVersion = 0;
  static constexpr uint32_t kBodySize = 72;

  // A new split dated today at the current time of day.
  TSplit();
  // Stores the five texts as string records and puts their IDs into Data.
  void SaveDependents(TCoreDB& db) override;
  // Deletes the five string records.
  void DeleteDependents(TCoreDB& db) override;
  // Empties the five texts.
  void ClearStrings() override;
  // Zeroes the five text IDs.
  void ClearStringIDs() override;
  // Writes the 72 body bytes; returns the count written.
  size_t SaveData(IOutputStream& out) override;
  // Accepts version 0 only.
  bool LoadData(IInputStream& in, uint32_t version) override;
  uint32_t GetTableIndex() const override { return 0; }
  // Reads the five texts.
  void LoadDependents(TCoreDB& db) override;
  std::unique_ptr<TBaseEntry> Clone() const override { return std::make_unique<TSplit>(*this); }

 private:
  // The five texts with their ID fields, in stored order.
  std::array<TextSlot, 5> Texts() {
    return {{{&Data.NameID, &Name},
             {&Data.CommentID, &Comment},
             {&Data.CustomText1ID, &CustomText1},
             {&Data.CustomText2ID, &CustomText2},
             {&Data.FileLinksID, &FileLinks}}};
  }
};

}  // namespace vemra
