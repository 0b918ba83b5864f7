// TTransaction: one movement of money between up to two accounts, with its category set and
// tags, and the rule that keeps its amounts, exchange rate, price and quantity consistent while
// the user edits one of them.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "core/records/base_entry.h"
#include "core/records/body_codec.h"
#include "core/records/dates.h"
#include "core/records/tagged_entry.h"

namespace vemra {

// Type 200, table 1. The object is either a stored record or, with IsGhost set, an occurrence
// generated from a scheduled transaction that is not stored.
class TTransaction : public TBaseEntry, public TTaggedEntry {
 public:
  // First, in the padding after TTaggedEntry's members: a million records are 8 MB smaller.
  bool IsGhost = false;          // a generated occurrence of a scheduled transaction
  bool IsGhostSchedule = false;  // copy of the schedule's Ghost
  bool Import = false;
  // The stored body after the 32 bytes of Categories (136 bytes).
  struct TData {
    uint64_t WithdrawAccountID = 0;  // the money leaves this account; 0 for none
    uint64_t TargetAccountID = 0;    // the money arrives in this account; 0 for none
    uint64_t SplitID = 0;            // the TSplit this transaction is part of
    uint64_t LoanID = 0;             // the loan it belongs to
    uint64_t NameID = 0;
    uint64_t CommentID = 0;
    uint64_t CustomText1ID = 0;
    uint64_t CustomText2ID = 0;
    uint64_t CurrencyID = 0;
    uint64_t FileLinksID = 0;
    ADate Date;         // the constructor sets today
    uint32_t Time = 0;  // time of day in ms; the constructor sets now
    double WithdrawAmount = 0;
    double TargetAmount = 0;
    double Quantity = 1.0;       // amount = price x quantity
    int8_t Cleared = 1;          // non-zero: cleared; other values than 0/1 are kept as read
    uint8_t CustomCheckBox = 0;  // the star mark
    uint8_t bSMS = 0;
    uint8_t Reserved2 = 0;
    uint32_t Reserved3 = 0;
    double Amount = 0;
    double Tax = 0;

    static constexpr size_t kSize = 136;
    friend bool operator==(const TData&, const TData&) = default;
  } Data;

  RuntimeText Name;
  RuntimeText Comment;
  RuntimeText CustomText1;
  RuntimeText CustomText2;
  RuntimeText FileLinks;
  double Amount = 0;
  double Balance = 0;
  double ExRate = 1.0;      // the rate used while one of the two amounts is still 0
  uint64_t ScheduleID = 0;  // for an occurrence, the scheduled transaction it came from
  double Percent = 0;
  double Remainder = 0;

  static constexpr uint32_t kVersion = 1;
  static constexpr uint32_t kBodySize = 168;

  // A new transaction dated today at the current time of day, quantity 1, cleared.
  TTransaction() : TTransaction(etTransaction, kVersion, kBodySize) {}

  // Stores the five texts as string records, then the tag links under this record's ID.
  void SaveDependents(TCoreDB& db) override;
  // Deletes the five string records, then every tag link of this record.
  void DeleteDependents(TCoreDB& db) override;
  // Empties the five texts and the tag list.
  void ClearStrings() override;
  // Zeroes the five text IDs (CurrencyID is a reference, not a text, and is kept).
  void ClearStringIDs() override;
  // Writes Categories then Data; returns the count written.
  size_t SaveData(IOutputStream& out) override;
  // Reads version 1 (the current body) or version 0 (the older 160-byte body, converted).
  bool LoadData(IInputStream& in, uint32_t version) override;
  uint32_t GetTableIndex() const override { return 1; }
  // Reads the five texts and the tags; an occurrence reads the tags of its schedule.
  void LoadDependents(TCoreDB& db) override;
  std::unique_ptr<TBaseEntry> Clone() const override {
    return std::make_unique<TTransaction>(*this);
  }

  // True when the money moves between two accounts.
  bool IsTransfer() const { return Data.WithdrawAccountID != 0 && Data.TargetAccountID != 0; }

  // Amount coupling. The three fields of each triple (withdraw amount / target amount /
  // exchange rate, and amount / price / quantity) carry the codes 0, 1, 2. One process-wide
  // list remembers the order in which the codes were last set; each setter moves its own code
  // to the end and then recomputes only the least recently edited field (the list's first
  // element). Both triples share the list.

  // The unit price: the withdraw amount (or the target amount when there is no withdraw
  // account) divided by Quantity; the withdraw amount when Quantity is not positive.
  double GetPrice() const;
  // TargetAmount / WithdrawAmount when both are positive, else ExRate.
  double GetRate() const;
  // Code 0: recomputes TargetAmount from the rate unless the rate was edited longest ago.
  void SetWithdrawAmount(double v);
  // Code 1: recomputes WithdrawAmount from the rate when it was edited longest ago.
  void SetTargetAmount(double v);
  // Code 2: recomputes TargetAmount when it was edited longest ago, else WithdrawAmount.
  void SetExRate(double v);
  // Code 0: sets both amounts; recomputes Quantity from the price when it was edited longest
  // ago.
  void SetAmount(double v);
  // Code 1: recomputes Quantity unless the amount was edited longest ago, then the amounts.
  void SetPrice(double v);
  // Code 2: recomputes both amounts from the price when the amount was edited longest ago.
  void SetQuantity(double v);
  // Returns the process-wide edit order to its starting state {0}; meant for tests.
  static void ResetEditOrder();

  // Copies the transaction part of `t` into this object: Data, Categories, Tags, the five texts,
  // OwnerID, Hidden and ReadOnly. Nothing else changes.
  void CopyTransactionPart(const TTransaction& t);

 protected:
  // The body of version 0: no ProjectID, Time, bSMS or reserved fields.
  static constexpr size_t kOldBodySize = 160;

  // Constructs with the given header values and the defaults of a new transaction.
  TTransaction(uint32_t type, uint32_t version, uint32_t size);

  // Writes Categories and Data (168 bytes).
  void WriteTransactionPart(BodyWriter& w) const;
  // Reads Categories and Data (168 bytes).
  void ReadTransactionPart(BodyReader& r);
  // Reads the 160-byte old body into Categories and Data; the fields it lacks keep their
  // values.
  void ReadOldTransactionPart(BodyReader& r);

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
