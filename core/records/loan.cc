#include "core/records/loan.h"

#include "core/records/body_codec.h"

namespace vemra {
namespace {

// The tail shared by the old layouts, from the u64 that became Field104 to the second date
// (loan data 72..95 in the current layout).
void ReadOldTail(BodyReader& r, TLoan::TData& d) {
  d.Field104 = r.U64();
  d.Field112 = r.U32();
  d.Field116 = r.U8();
  d.Field117 = r.U8();
  r.Skip(2);
  d.Field120 = r.Date();
  d.Field124 = r.Date();
}

}  // namespace

void TLoan::SaveDependents(TCoreDB& db) {
  StoreText(db, Data.Text1ID, Text1);
  StoreText(db, Data.Text2ID, Text2);
  SaveTags(db, Header.ID);
}

void TLoan::DeleteDependents(TCoreDB& db) {
  db.DeleteString(Data.Text1ID);
  db.DeleteString(Data.Text2ID);
  DeleteTags(db, Header.ID);
}

void TLoan::ClearStrings() {
  Text1.clear();
  Text2.clear();
  Tags.clear();
}

void TLoan::ClearStringIDs() {
  Data.Text1ID = Data.Text2ID = 0;
}

size_t TLoan::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  Categories.Write(w);
  w.U64(Data.Text1ID);
  w.U64(Data.Text2ID);
  w.U64(Data.Field48);
  w.U64(Data.Field56);
  w.U64(Data.Field64);
  w.U8(Data.Field72);
  w.Zeros(7);
  w.U64(Data.Field80);
  w.U64(Data.Field88);
  w.U8(Data.Field96);
  w.Zeros(7);
  w.U64(Data.Field104);
  w.U32(Data.Field112);
  w.U8(Data.Field116);
  w.U8(Data.Field117);
  w.U16(Data.Field118);
  w.Date(Data.Field120);
  w.Date(Data.Field124);
  return WriteBody(out, body, kBodySize);
}

bool TLoan::LoadData(IInputStream& in, uint32_t version) {
  size_t size = 0;
  switch (version) {
    case 2:
      size = kBodySize;
      break;
    case 1:
      size = kV1BodySize;
      break;
    case 0:
      size = kV0BodySize;
      break;
    default:
      return false;
  }
  uint8_t body[kBodySize];
  if (!ReadExactly(in, body, size)) return false;
  BodyReader r(body);
  if (version == kVersion) {
    Categories.Read(r);
    Data.Text1ID = r.U64();
    Data.Text2ID = r.U64();
    Data.Field48 = r.U64();
    Data.Field56 = r.U64();
    Data.Field64 = r.U64();
    Data.Field72 = r.U8();
    r.Skip(7);
    Data.Field80 = r.U64();
    Data.Field88 = r.U64();
    Data.Field96 = r.U8();
    r.Skip(7);
    Data.Field104 = r.U64();
    Data.Field112 = r.U32();
    Data.Field116 = r.U8();
    Data.Field117 = r.U8();
    Data.Field118 = r.U16();
    Data.Field120 = r.Date();
    Data.Field124 = r.Date();
    return true;
  }
  // The old layouts lack Field96 (set to 1) and Field118 (a new loan's value); version 0 also
  // lacks ProjectID.
  TData d;
  TCategories c;
  if (version == 1) {
    c.Read(r);
    d.Text1ID = r.U64();
    d.Text2ID = r.U64();
    d.Field48 = r.U64();
    d.Field56 = r.U64();
    d.Field64 = r.U64();
    d.Field72 = r.U8();
    r.Skip(7);
  } else {
    d.Text1ID = r.U64();
    d.Text2ID = r.U64();
    d.Field48 = r.U64();
    d.Field56 = r.U64();
    c.CategoryID = r.U64();
    c.FamilyID = r.U64();
    c.PayeeID = r.U64();
    d.Field64 = r.U64();
    d.Field72 = r.U8();
    r.Skip(7);
  }
  d.Field80 = r.U64();
  d.Field88 = r.U64();
  d.Field96 = 1;
  ReadOldTail(r, d);
  Data = d;
  Categories = c;
  return true;
}

void TLoan::LoadDependents(TCoreDB& db) {
  LoadText(db, Data.Text1ID, Text1);
  LoadText(db, Data.Text2ID, Text2);
  LoadTags(db, Header.ID);
}

}  // namespace vemra
