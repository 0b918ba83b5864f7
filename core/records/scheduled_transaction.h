// TScheduledTransaction: a transaction with a recurrence rule, from which the schedule
// processing generates the future occurrences.
#pragma once

#include <cstdint>
#include <memory>

#include "core/records/schedule.h"
#include "core/records/transaction.h"

namespace vemra {

// Type 201, table 0. Stores its schedule in front of the transaction body; texts and tags are
// kept exactly like those of a transaction.
class TScheduledTransaction : public TTransaction {
 public:
  TSchedule Schedule;

  static constexpr uint32_t kVersion = 2;
  static constexpr uint32_t kBodySize = 208;

  // A new scheduled transaction with the defaults of a new transaction and of a new schedule.
  TScheduledTransaction() : TTransaction(etScheduledTransaction, kVersion, kBodySize) {}

  // Writes Schedule, Categories and Data; returns the count written.
  size_t SaveData(IOutputStream& out) override;
  // Reads version 2 (current), 1 (schedule without Ghost) or 0 (schedule without Ghost and the
  // older 160-byte transaction body); Ghost is 0 after an old layout.
  bool LoadData(IInputStream& in, uint32_t version) override;
  uint32_t GetTableIndex() const override { return 0; }
  std::unique_ptr<TBaseEntry> Clone() const override {
    return std::make_unique<TScheduledTransaction>(*this);
  }

  // Makes `out` an occurrence of this schedule: copies Data, Categories, Tags and the five
  // texts, links it to this record (ScheduleID, IsGhostSchedule) and gives it this record's
  // owner and visibility. Unless `keep_string_ids`, the text IDs are zeroed so that storing the
  // occurrence as a transaction creates string records of its own. The ID of `out` and its
  // IsGhost flag are left to the caller.
  void CopyToTransaction(TTransaction& out, bool keep_string_ids) const;
  // Takes the transaction part from `t`: Data, Categories, Tags, the five texts, OwnerID,
  // Hidden and ReadOnly; nothing else changes.
  void CopyFromTransaction(const TTransaction& t);
};

}  // namespace vemra
