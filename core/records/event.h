// TEvent, a calendar event with categories and tags, kept in its own table beside the
// transactions.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "core/records/base_entry.h"
#include "core/records/body_codec.h"
#include "core/records/dates.h"
#include "core/records/tagged_entry.h"

namespace vemra {

// Type 108, table 2. Body: Categories (32 bytes), then the event data (40 bytes).
class TEvent : public TBaseEntry, public TTaggedEntry {
 public:
  struct TData {
    uint64_t Text1ID = 0;
    uint64_t Text2ID = 0;
    uint64_t Text3ID = 0;
    ADate FirstDate = TodayADate();
    uint8_t Field60 = 0;
    ADate SecondDate = TodayADate();
    uint8_t Field68 = 1;
    uint8_t Field69 = 1;
    uint8_t Field70 = 2;
    friend bool operator==(const TData&, const TData&) = default;
  } Data;

  std::wstring Text1;
  std::wstring Text2;
  std::wstring Text3;
  bool IsGhost = false;          // a generated occurrence of a scheduled event, not a stored record
  uint64_t ScheduleID = 0;       // for an occurrence, the scheduled event it came from
  bool IsGhostSchedule = false;  // copy of the schedule's Ghost

  static constexpr uint32_t kVersion = 1;
  static constexpr uint32_t kBodySize = 72;
  // The layout before Categories and the third text existed.
  static constexpr size_t kOldBodySize = 56;

  TEvent() : TEvent(etEvent, kVersion, kBodySize) {}
  // Stores the three texts, then the tag links of this record's ID.
  void SaveDependents(TCoreDB& db) override;
  // Deletes the three string records and the tag links.
  void DeleteDependents(TCoreDB& db) override;
  void ClearStrings() override;
  void ClearStringIDs() override;
  size_t SaveData(IOutputStream& out) override;
  // Version 1: the current body; version 0: the 56-byte old body, converted.
  bool LoadData(IInputStream& in, uint32_t version) override;
  uint32_t GetTableIndex() const override { return 2; }
  // Reads the three texts and the tags of this record's ID, or of ScheduleID for an occurrence
  // (IsGhost), whose tags are those of its scheduled event.
  void LoadDependents(TCoreDB& db) override;
  std::unique_ptr<TBaseEntry> Clone() const override { return std::make_unique<TEvent>(*this); }

 protected:
  // For TScheduledEvent, which stores the same event part behind its schedule.
  TEvent(uint32_t type, uint32_t version, uint32_t size);
  static constexpr size_t kEventPartSize = TCategories::kSize + 40;
  // Writes or reads Categories and the event data (kEventPartSize bytes).
  void WriteEventPart(BodyWriter& w) const;
  void ReadEventPart(BodyReader& r);
};

}  // namespace vemra
