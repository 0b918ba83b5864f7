#include "core/records/sort_order.h"

#include "core/records/body_codec.h"

namespace vemra {

size_t TSortOrder::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  w.U64(Data.UserID);
  w.U64(Data.EntryID);
  w.U32(Data.Order);
  w.U8(Data.Expanded);
  w.Zeros(3);
  return WriteBody(out, body, kBodySize);
}

bool TSortOrder::LoadData(IInputStream& in, uint32_t version) {
  uint8_t body[kBodySize];
  if (version != kVersion || !ReadExactly(in, body, kBodySize)) return false;
  BodyReader r(body);
  Data.UserID = r.U64();
  Data.EntryID = r.U64();
  Data.Order = r.U32();
  Data.Expanded = r.U8();
  return true;
}

}  // namespace vemra
