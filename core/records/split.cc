#include "core/records/split.h"

#include "core/records/body_codec.h"

namespace vemra {

TSplit::TSplit() : TBaseEntry(etSplit, kVersion, kBodySize) {
  Data.Date = TodayADate();
  Data.Time = NowTime();
}

void TSplit::SaveDependents(TCoreDB& db) {
  StoreTexts(db, Texts());
}

void TSplit::DeleteDependents(TCoreDB& db) {
  DeleteTexts(db, Texts());
}

void TSplit::ClearStrings() {
  ClearTexts(Texts());
}

void TSplit::ClearStringIDs() {
  ClearTextIDs(Texts());
}

size_t TSplit::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  w.Date(Data.Date);
  w.U32(Data.Time);
  w.U64(Data.AccountID);
  w.U64(Data.NameID);
  w.U64(Data.CommentID);
  w.U64(Data.CustomText1ID);
  w.U64(Data.CustomText2ID);
  w.U8(Data.FlagA);
  w.Zeros(7);
  w.U64(Data.FileLinksID);
  w.U8(Data.FlagB);
  w.Zeros(7);
  return WriteBody(out, body, kBodySize);
}

bool TSplit::LoadData(IInputStream& in, uint32_t version) {
  uint8_t body[kBodySize];
  if (version != kVersion || !ReadExactly(in, body, kBodySize)) return false;
  BodyReader r(body);
  Data.Date = r.Date();
  Data.Time = r.U32();
  Data.AccountID = r.U64();
  Data.NameID = r.U64();
  Data.CommentID = r.U64();
  Data.CustomText1ID = r.U64();
  Data.CustomText2ID = r.U64();
  Data.FlagA = r.U8();
  r.Skip(7);
  Data.FileLinksID = r.U64();
  Data.FlagB = r.U8();
  r.Skip(7);
  return true;
}

void TSplit::LoadDependents(TCoreDB& db) {
  LoadTexts(db, Texts());
}

}  // namespace vemra
