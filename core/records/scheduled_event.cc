#include "core/records/scheduled_event.h"

namespace vemra {

size_t TScheduledEvent::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  Schedule.Write(w);
  WriteEventPart(w);
  return WriteBody(out, body, kBodySize);
}

bool TScheduledEvent::LoadData(IInputStream& in, uint32_t version) {
  if (version != kVersion && version != 0) return false;
  const bool old_schedule = version == 0;
  const size_t size = (old_schedule ? TSchedule::kOldSize : TSchedule::kSize) + kEventPartSize;
  uint8_t body[kBodySize];
  if (!ReadExactly(in, body, size)) return false;
  BodyReader r(body);
  Schedule.Read(r, old_schedule);
  ReadEventPart(r);
  return true;
}

void TScheduledEvent::CopyToEvent(TEvent& out, bool keep_string_ids) const {
  out.Data = Data;
  out.Categories = Categories;
  out.Tags = Tags;
  out.Text1 = Text1;
  out.Text2 = Text2;
  out.Text3 = Text3;
  if (!keep_string_ids) out.ClearStringIDs();
  out.ScheduleID = Header.ID;
  out.IsGhostSchedule = Schedule.Ghost != 0;
  out.Header.OwnerID = Header.OwnerID;
  out.Header.Hidden = Header.Hidden;
  out.Header.ReadOnly = Header.ReadOnly;
}

void TScheduledEvent::CopyFromEvent(const TEvent& e) {
  Data = e.Data;
  Categories = e.Categories;
  Tags = e.Tags;
  Text1 = e.Text1;
  Text2 = e.Text2;
  Text3 = e.Text3;
  Header.OwnerID = e.Header.OwnerID;
  Header.Hidden = e.Header.Hidden;
  Header.ReadOnly = e.Header.ReadOnly;
}

}  // namespace vemra
