#include "core/records/user.h"

namespace vemra {

void TDBUserSettings::Write(BodyWriter& w) const {
  w.U64(DefaultCurrencyID);
  w.U64(DefaultAccountID);
  w.Date(PeriodBegin);
  w.Date(PeriodEnd);
}

void TDBUserSettings::Read(BodyReader& r) {
  DefaultCurrencyID = r.U64();
  DefaultAccountID = r.U64();
  PeriodBegin = r.Date();
  PeriodEnd = r.Date();
}

TUser::TUser() : TBaseEntry(etUser, kVersion, kBodySize) {
  Data.Settings.PeriodBegin = TodayADate();
  Data.Settings.PeriodEnd = Data.Settings.PeriodBegin;
}

void TUser::SaveDependents(TCoreDB& db) {
  StoreText(db, Data.Text1ID, Text1);
  StoreText(db, Data.Text2ID, Text2);
  StoreText(db, Data.Text3ID, Text3);
  StoreText(db, Data.Text4ID, Text4);
}

void TUser::DeleteDependents(TCoreDB& db) {
  db.DeleteString(Data.Text1ID);
  db.DeleteString(Data.Text2ID);
  db.DeleteString(Data.Text3ID);
  db.DeleteString(Data.Text4ID);
}

void TUser::ClearStrings() {
  Text1.clear();
  Text2.clear();
  Text3.clear();
  Text4.clear();
}

void TUser::ClearStringIDs() {
  Data.Text1ID = Data.Text2ID = Data.Text3ID = Data.Text4ID = 0;
}

size_t TUser::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  w.U64(Data.Text1ID);
  w.U64(Data.Text2ID);
  w.U64(Data.Text3ID);
  w.U64(Data.Text4ID);
  w.I8(Data.Field32);
  w.Zeros(3);
  w.U32(Data.Field36);
  Data.Settings.Write(w);
  return WriteBody(out, body, kBodySize);
}

bool TUser::LoadData(IInputStream& in, uint32_t version) {
  uint8_t body[kBodySize];
  if (version != kVersion || !ReadExactly(in, body, kBodySize)) return false;
  BodyReader r(body);
  Data.Text1ID = r.U64();
  Data.Text2ID = r.U64();
  Data.Text3ID = r.U64();
  Data.Text4ID = r.U64();
  Data.Field32 = r.I8();
  r.Skip(3);
  Data.Field36 = r.U32();
  Data.Settings.Read(r);
  return true;
}

void TUser::LoadDependents(TCoreDB& db) {
  LoadText(db, Data.Text1ID, Text1);
  LoadText(db, Data.Text2ID, Text2);
  LoadText(db, Data.Text3ID, Text3);
  LoadText(db, Data.Text4ID, Text4);
}

}  // namespace vemra
