#include "core/records/event.h"

namespace vemra {

TEvent::TEvent(uint32_t type, uint32_t version, uint32_t size) : TBaseEntry(type, version, size) {}

void TEvent::SaveDependents(TCoreDB& db) {
  StoreText(db, Data.Text1ID, Text1);
  StoreText(db, Data.Text2ID, Text2);
  StoreText(db, Data.Text3ID, Text3);
  SaveTags(db, Header.ID);
}

void TEvent::DeleteDependents(TCoreDB& db) {
  db.DeleteString(Data.Text1ID);
  db.DeleteString(Data.Text2ID);
  db.DeleteString(Data.Text3ID);
  DeleteTags(db, Header.ID);
}

void TEvent::ClearStrings() {
  Text1.clear();
  Text2.clear();
  Text3.clear();
  Tags.clear();
}

void TEvent::ClearStringIDs() {
  Data.Text1ID = Data.Text2ID = Data.Text3ID = 0;
}

void TEvent::WriteEventPart(BodyWriter& w) const {
  Categories.Write(w);
  w.U64(Data.Text1ID);
  w.U64(Data.Text2ID);
  w.U64(Data.Text3ID);
  w.Date(Data.FirstDate);
  w.U8(Data.Field60);
  w.Zeros(3);
  w.Date(Data.SecondDate);
  w.U8(Data.Field68);
  w.U8(Data.Field69);
  w.U8(Data.Field70);
  w.Zeros(1);
}

void TEvent::ReadEventPart(BodyReader& r) {
  Categories.Read(r);
  Data.Text1ID = r.U64();
  Data.Text2ID = r.U64();
  Data.Text3ID = r.U64();
  Data.FirstDate = r.Date();
  Data.Field60 = r.U8();
  r.Skip(3);
  Data.SecondDate = r.Date();
  Data.Field68 = r.U8();
  Data.Field69 = r.U8();
  Data.Field70 = r.U8();
  r.Skip(1);
}

size_t TEvent::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  WriteEventPart(w);
  return WriteBody(out, body, kBodySize);
}

bool TEvent::LoadData(IInputStream& in, uint32_t version) {
  if (version == kVersion) {
    uint8_t body[kBodySize];
    if (!ReadExactly(in, body, kBodySize)) return false;
    BodyReader r(body);
    ReadEventPart(r);
    return true;
  }
  if (version != 0) return false;
  uint8_t old[kOldBodySize];
  if (!ReadExactly(in, old, kOldBodySize)) return false;
  // Fields the old layout lacks get the values of a new event.
  BodyReader r(old);
  TData d;
  TCategories c;
  d.Text1ID = r.U64();
  d.Text2ID = r.U64();
  c.CategoryID = r.U64();
  c.FamilyID = r.U64();
  c.PayeeID = r.U64();
  d.FirstDate = d.SecondDate = r.Date();
  r.Skip(4);
  d.Field69 = r.U8() != 0 ? 2 : 1;
  Data = d;
  Categories = c;
  return true;
}

void TEvent::LoadDependents(TCoreDB& db) {
  LoadText(db, Data.Text1ID, Text1);
  LoadText(db, Data.Text2ID, Text2);
  LoadText(db, Data.Text3ID, Text3);
  LoadTags(db, IsGhost ? ScheduleID : Header.ID);
}

}  // namespace vemra
