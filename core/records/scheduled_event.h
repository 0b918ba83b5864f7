// TScheduledEvent, an event with a recurrence rule from which occurrences are generated.
#pragma once

#include <cstdint>
#include <memory>

#include "core/records/event.h"
#include "core/records/schedule.h"

namespace vemra {

// Type 203, table 0. Body: Schedule (40 bytes), Categories (32), the event data (40). Texts and
// tags are stored and read as for TEvent.
class TScheduledEvent : public TEvent {
 public:
  TSchedule Schedule;

  static constexpr uint32_t kVersion = 1;
  static constexpr uint32_t kBodySize = 112;

  TScheduledEvent() : TEvent(etScheduledEvent, kVersion, kBodySize) {}
  size_t SaveData(IOutputStream& out) override;
  // Version 1: the current body; version 0: the 36-byte old schedule (Ghost 0), then the
  // current event part.
  bool LoadData(IInputStream& in, uint32_t version) override;
  uint32_t GetTableIndex() const override { return 0; }
  std::unique_ptr<TBaseEntry> Clone() const override {
    return std::make_unique<TScheduledEvent>(*this);
  }

  // Fills `out` as an occurrence of this scheduled event: event data, Categories, Tags and
  // texts, the owner and visibility flags, ScheduleID = this record's ID and IsGhostSchedule =
  // Schedule.Ghost. Unless `keep_string_ids`, the text IDs are zeroed so that storing the
  // occurrence creates string records of its own. The occurrence's ID is left to the caller.
  void CopyToEvent(TEvent& out, bool keep_string_ids) const;
  // Takes the event data, Categories, Tags, texts, owner and visibility flags of `e`; the
  // schedule and this record's ID stay.
  void CopyFromEvent(const TEvent& e);
};

}  // namespace vemra
