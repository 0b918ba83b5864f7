#include "core/records/header.h"

#include "core/records/body_codec.h"

namespace vemra {

void THeader::Encode(uint8_t* dst) const {
  BodyWriter w(dst);
  w.U64(ID);
  w.U64(LastModDate);
  w.U64(OwnerID);
  w.U32(Type);
  w.U32(SecondaryType);
  w.U32(Size);
  w.U8(Hidden);
  w.U8(ReadOnly);
  w.Zeros(2);
}

void THeader::Decode(const uint8_t* src) {
  BodyReader r(src);
  ID = r.U64();
  LastModDate = r.U64();
  OwnerID = r.U64();
  Type = r.U32();
  SecondaryType = r.U32();
  Size = r.U32();
  Hidden = r.U8();
  ReadOnly = r.U8();
}

size_t THeader::Save(IOutputStream& out) const {
  uint8_t buf[kHeaderSize];
  Encode(buf);
  return out.Write(buf, kHeaderSize);
}

bool THeader::Load(IInputStream& in) {
  uint8_t buf[kHeaderSize];
  if (!ReadExactly(in, buf, kHeaderSize)) return false;
  Decode(buf);
  return true;
}

}  // namespace vemra
