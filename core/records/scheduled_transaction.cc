#include "core/records/scheduled_transaction.h"

namespace vemra {

size_t TScheduledTransaction::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  Schedule.Write(w);
  WriteTransactionPart(w);
  return WriteBody(out, body, kBodySize);
}

bool TScheduledTransaction::LoadData(IInputStream& in, uint32_t version) {
  uint8_t body[kBodySize];
  // Versions 0 and 1 hold the schedule without Ghost; version 0 also the old transaction body.
  size_t size;
  switch (version) {
    case 2:
      size = kBodySize;
      break;
    case 1:
      size = TSchedule::kOldSize + TTransaction::kBodySize;
      break;
    case 0:
      size = TSchedule::kOldSize + kOldBodySize;
      break;
    default:
      return false;
  }
  if (!ReadExactly(in, body, size)) return false;
  BodyReader r(body);
  Schedule.Read(r, version < 2);
  if (version == 0) {
    ReadOldTransactionPart(r);
  } else {
    ReadTransactionPart(r);
  }
  return true;
}

void TScheduledTransaction::CopyToTransaction(TTransaction& out, bool keep_string_ids) const {
  out.CopyTransactionPart(*this);
  if (!keep_string_ids) out.ClearStringIDs();
  out.ScheduleID = Header.ID;
  out.IsGhostSchedule = Schedule.Ghost != 0;
}

void TScheduledTransaction::CopyFromTransaction(const TTransaction& t) {
  CopyTransactionPart(t);
}

}  // namespace vemra
